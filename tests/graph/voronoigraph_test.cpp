#include <math/kmath.h>

#include <gtest/gtest.h>

#include <boost/graph/connected_components.hpp>

#include <cmath>
#include <limits>
#include <set>

#include "graph/voronoi_impl.h"
#include "graph_test.h"
#include "xy_reader.h"

namespace kmath_test {
namespace {

using Math::Voronoi::CSite;
using Math::Voronoi::CVoronoiGraph;

double SegDist(CPointD const& p, CPointD const& a, CPointD const& b) {
  CPointD const d = b - a, v = p - a;
  double const l2 = d.x * d.x + d.y * d.y;
  double const t = l2 > 0 ? std::clamp((v.x * d.x + v.y * d.y) / l2, 0.0, 1.0) : 0.0;
  CPointD const q = a + d * t - p;
  return std::hypot(q.x, q.y);
}

struct Sites {
  std::vector<CPointD> pts;
  std::vector<Math::CEdge> segs;
  double Distance(CSite s, CPointD const& p) const {
    if (s.index < pts.size()) return std::hypot(p.x - pts[s.index].x, p.y - pts[s.index].y);
    Math::CEdge const& e = segs[s.index - pts.size()];
    if (s.part == 1) return std::hypot(p.x - e.p0.x, p.y - e.p0.y);
    if (s.part == 2) return std::hypot(p.x - e.p1.x, p.y - e.p1.y);
    return SegDist(p, e.p0, e.p1);
  }
};

// Every Voronoi vertex is as far from each site around it as from the
// others, within 1e-9 of the sites' extent (the integer grid's rounding);
// so is every sample of a parabola from its two sites.
void ExpectEquidistant(CVoronoiGraph const& vg, Sites const& s, double extent) {
  auto const& g = vg.Graph();
  int vertices = 0;
  for (std::uint32_t v = 0; v < g.num_vertices(); ++v) {
    std::vector<double> d;
    for (auto [e, end] = out_edges(v, g); e != end; ++e) {
      CSite const l = vg.LeftSite((*e).h), r = vg.LeftSite((*e).h ^ 1u);
      if (l.index != CVoronoiGraph::npos) d.push_back(s.Distance(l, g.node_pos(v)));
      if (!vg.IsVoronoiVertex(v) && r.index != CVoronoiGraph::npos && l.index != CVoronoiGraph::npos) {
        d.push_back(s.Distance(r, g.node_pos(v)));
      }
    }
    if (d.size() < 2) continue;
    vertices += vg.IsVoronoiVertex(v);
    auto const [lo, hi] = std::minmax_element(d.begin(), d.end());
    EXPECT_LE(*hi - *lo, 1e-9 * extent) << g.node_pos(v).x << " " << g.node_pos(v).y;
  }
  EXPECT_GT(vertices, 0);
}

struct Faces {
  std::vector<std::vector<std::uint32_t>> loops;
  std::vector<double> areas;
  void begin_loop() { loops.emplace_back(); }
  void loop_edge(std::uint32_t h) { loops.back().push_back(h); }
  void end_loop(double a) { areas.push_back(a); }
};

// Point sites: one inner face per distinct site, every half-edge of it
// naming that site (or a box side), the site inside it, and the faces
// tiling the box.
void ExpectCellsAreFaces(CVoronoiGraph const& vg, std::vector<CPointD> const& pts, CRectD const& box) {
  Faces f;
  vg.Graph().visit_loops(f);
  std::set<std::pair<double, double>> distinct;
  for (CPointD const& p : pts) distinct.insert({p.x, p.y});
  std::size_t inner = 0;
  double area = 0;
  std::set<std::pair<double, double>> seen;
  for (std::size_t k = 0; k < f.loops.size(); ++k) {
    if (f.areas[k] <= 0) continue;
    ++inner;
    area += f.areas[k];
    std::uint32_t site = CVoronoiGraph::npos;
    Math::poly_base<CPointD> ring;
    for (std::uint32_t h : f.loops[k]) {
      ring.push_back(vg.Graph().node_pos(vg.Graph().source(h)));
      std::uint32_t const s = vg.LeftSite(h).index;
      if (s == CVoronoiGraph::npos) continue;
      if (site == CVoronoiGraph::npos) site = s;
      EXPECT_EQ(s, site);
    }
    ring.push_back(ring.front());
    ASSERT_NE(site, CVoronoiGraph::npos);
    EXPECT_TRUE(CStdPlgn::PtInside(pts[site], ring));
    seen.insert({pts[site].x, pts[site].y});
  }
  EXPECT_EQ(inner, distinct.size());
  EXPECT_EQ(seen.size(), distinct.size());
  double const boxArea = (box.right - box.left) * (box.bottom - box.top);
  EXPECT_NEAR(area, boxArea, 1e-9 * boxArea);
}

TEST(VoronoiGraph, PointCellsAreFacesAndVerticesEquidistant) {
  std::vector<CPointD> shore;
  std::set<std::pair<double, double>> seen;
  for (auto const& poly : LoadPolylines("gshhg_h_british_isles.xy")) {
    for (CPointD const& p : poly) {
      if (shore.size() < 5000 && seen.insert({p.x, p.y}).second) shore.push_back(p);
    }
  }
  std::vector<CPointD> line;
  for (int k = 0; k < 20; ++k) line.push_back({k * 1.5, 0.5 * k});
  struct Case {
    char const* name;
    std::vector<CPointD> pts;
    CRectD box;
  } const cases[] = {
      {"uniform", RandomPoints(2000, 41), {-50, -50, 1050, 1050}},
      {"grid: cocircular everywhere", GridPoints(30, 20), {-1, -1, 30, 20}},
      {"collinear: strips, no vertex inside", line, {-5, -5, 35, 15}},
      {"shoreline vertices", shore, {-12, 49, 3, 62}},
      {"box cutting through the sites", RandomPoints(500, 42), {200, 300, 700, 600}},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    CVoronoiGraph vg;
    ASSERT_TRUE(vg.Build(c.pts, {}, c.box, 0.01));
    double lo = 1e300, hi = -1e300;
    for (CPointD const& p : c.pts) lo = std::min({lo, p.x, p.y}), hi = std::max({hi, p.x, p.y});
    if (std::string(c.name).rfind("collinear", 0) != 0) ExpectEquidistant(vg, Sites{c.pts, {}}, hi - lo);
    if (std::string(c.name).rfind("box cutting", 0) == 0) continue;
    ExpectCellsAreFaces(vg, c.pts, c.box);
  }
}

TEST(VoronoiGraph, SegmentSitesGiveSampledParabolas) {
  // A closed square outline and a point inside it: the point-segment
  // bisectors are parabolas.
  Sites s;
  s.pts = {{3, 4}};
  s.segs = {{{0, 0}, {10, 0}}, {{10, 0}, {10, 10}}, {{10, 10}, {0, 10}}, {{0, 10}, {0, 0}}};
  CVoronoiGraph vg;
  ASSERT_TRUE(vg.Build(s.pts, s.segs, {-5, -5, 15, 15}, 1e-3));
  ExpectEquidistant(vg, s, 10.0);
  // Samples are spaced so that chords stay within the tolerance: far more
  // nodes than the diagram's vertices.
  std::size_t samples = 0, vertices = 0;
  for (std::uint32_t v = 0; v < vg.Graph().num_vertices(); ++v) {
    if (vg.IsVoronoiVertex(v)) ++vertices;
    else if (vg.Graph().out_degree(v) == 2) ++samples;
  }
  EXPECT_GT(samples, 10 * vertices);
  // Boost.Graph sees one connected graph.
  std::vector<int> comp(num_vertices(vg.Graph()));
  EXPECT_EQ(boost::connected_components(vg.Graph(), comp.data()), 1);
}

TEST(VoronoiGraph, BadInputGivesAnEmptyGraph) {
  double const nan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    char const* name;
    std::vector<CPointD> pts;
    std::vector<Math::CEdge> segs;
    CRectD box;
  } const cases[] = {
      {"no sites", {}, {}, {0, 0, 1, 1}},
      {"NaN point", {{0, 0}, {nan, 1}}, {}, {0, 0, 1, 1}},
      {"infinite segment end", {{0, 0}}, {{{1, 1}, {HUGE_VAL, 2}}}, {0, 0, 1, 1}},
      {"empty box", {{0, 0}, {1, 1}}, {}, {0, 0, 0, 1}},
      {"inverted box", {{0, 0}, {1, 1}}, {}, {1, 1, 0, 0}},
      {"NaN box", {{0, 0}, {1, 1}}, {}, {0, 0, nan, 1}},
  };
  for (Case const& c : cases) {
    CVoronoiGraph vg;
    EXPECT_FALSE(vg.Build(c.pts, c.segs, c.box, 0.1)) << c.name;
    EXPECT_EQ(vg.Graph().num_vertices(), 0u) << c.name;
  }
  // One site: its cell is the whole box.
  CVoronoiGraph vg;
  ASSERT_TRUE(vg.Build({{0.5, 0.5}}, {}, {0, 0, 1, 1}, 0.1));
  EXPECT_EQ(vg.Graph().num_loops(), 2u);
}

// A parabola sampled between points 1e114 apart wants more pieces than an int
// holds: the count was converted before it was clamped (undefined; centre
// lines of a huge outline reached it). The cap holds instead.
TEST(VoronoiGraph, ParabolaFarBeyondThePieceCapIsClampedBeforeConversion) {
  std::vector<CPointD> out;
  Math::graph_detail::SampleParabola({0, 1}, {0, 0}, {1, 0}, {-1e114, 0}, {1e114, 0}, 1e-3, out);
  EXPECT_EQ(out.size(), static_cast<std::size_t>(Math::tol::kMaxParabolaPieces - 1));
  out.clear();
  Math::graph_detail::SampleParabola({0, 1}, {0, 0}, {1, 0}, {0, 0.5}, {0, 0.5}, 1e-3, out);
  EXPECT_TRUE(out.empty());  // a zero span is one piece: nothing inside it
}

}  // namespace
}  // namespace kmath_test
