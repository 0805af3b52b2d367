#include <math/kmath.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "graph_test.h"
#include "xy_reader.h"

#ifdef KMATH_TEST_HAVE_CGAL
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>
#endif

namespace kmath_test {
namespace {

using Math::Fortune::CTriangulator;

double const kNaN = std::numeric_limits<double>::quiet_NaN();
double const kInf = std::numeric_limits<double>::infinity();

// Distinct usable points, hull points, triangle and edge counts must obey
// Euler's formula for a triangulated convex region: T = 2n - h - 2.
// The hull comparison uses ConvexHull, whose 1e-12 tolerances exceed the
// spread of the tiniest and thinnest test sets: those check instead, with
// exact signs, that no point lies outside the hull.
void ExpectValidTriangulation(CTriangulator const& tr, std::size_t distinct, bool compareHull = true) {
  std::vector<CPointD> const& p = tr.Points();
  EXPECT_EQ(DelaunayFaults(p, tr.Triangles()), 0);
  std::size_t const h = tr.Hull().size();
  EXPECT_EQ(tr.TriangleCount(), 2 * distinct - h - 2);
  std::set<std::uint32_t> used(tr.Triangles().begin(), tr.Triangles().end());
  EXPECT_EQ(used.size(), distinct);
  // The hull turns left or runs straight, and holds every extreme point.
  for (std::size_t k = 0; k < h; ++k) {
    EXPECT_GE(Math::graph_detail::Orient(p[tr.Hull()[k]], p[tr.Hull()[(k + 1) % h]], p[tr.Hull()[(k + 2) % h]]), 0);
  }
  if (!compareHull) {
    int outside = 0;
    for (std::uint32_t i : used) {
      for (std::size_t k = 0; k < h; ++k) {
        outside += Math::graph_detail::Orient(p[tr.Hull()[k]], p[tr.Hull()[(k + 1) % h]], p[i]) < 0;
      }
    }
    EXPECT_EQ(outside, 0);
    return;
  }
  std::vector<CPointD> extreme;
  for (std::uint32_t i : used) extreme.push_back(p[i]);
  Math::ConvexHull(extreme);
  std::set<std::pair<double, double>> hullPts;
  for (std::uint32_t i : tr.Hull()) hullPts.insert({p[i].x, p[i].y});
  for (CPointD const& q : extreme) EXPECT_TRUE(hullPts.count({q.x, q.y})) << q.x << " " << q.y;
}

#ifdef KMATH_TEST_HAVE_CGAL
// Triangles of ours that CGAL does not have, each without a cocircular
// neighbour across one of its edges (where the triangulation is unique).
int UniqueMismatches(std::vector<CPointD> const& p, std::vector<std::uint32_t> const& t, std::set<Tri> const& want) {
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> opposite;
  for (std::size_t k = 0; k + 2 < t.size(); k += 3) {
    for (int j = 0; j < 3; ++j) opposite[{t[k + j], t[k + (j + 1) % 3]}] = t[k + (j + 2) % 3];
  }
  int bad = 0;
  for (std::size_t k = 0; k + 2 < t.size(); k += 3) {
    if (want.count(Canonical(t[k], t[k + 1], t[k + 2]))) continue;
    bool cocircular = false;
    for (int j = 0; j < 3; ++j) {
      auto const it = opposite.find({t[k + (j + 1) % 3], t[k + j]});
      if (it != opposite.end() && Math::graph_detail::InCircle(p[t[k]], p[t[k + 1]], p[t[k + 2]], p[it->second]) == 0) {
        cocircular = true;
      }
    }
    bad += !cocircular;
  }
  return bad;
}

// Orientation and in-circle signs on the classic near-degenerate grids
// (points a few ulps off a line or circle), against CGAL's exact kernel.
TEST(Predicates, AgreeWithCgalNearDegeneracy) {
  using K = CGAL::Exact_predicates_inexact_constructions_kernel;
  int disagree = 0, zeros = 0;
  for (int i = 0; i < 64; ++i) {
    for (int j = 0; j < 64; ++j) {
      CPointD const p{std::nextafter(0.5, 1.0) + i * std::ldexp(1.0, -53), 0.5 + j * std::ldexp(1.0, -53)};
      CPointD const q{12.0, 12.0}, r{24.0, 24.0};
      int const o = Math::graph_detail::Orient(p, q, r);
      zeros += o == 0;
      disagree += o != static_cast<int>(CGAL::orientation(K::Point_2(p.x, p.y), K::Point_2(q.x, q.y), K::Point_2(r.x, r.y)));
      // Three points of the unit circle scaled by 1e3 and a fourth nudged
      // around (1e3, 0).
      CPointD const a{-1e3, 0}, b{0, -1e3}, c{0.6e3, 0.8e3};
      CPointD const d{1e3 + (i - 32) * std::ldexp(1.0, -43), (j - 32) * std::ldexp(1.0, -43)};
      int const ic = Math::graph_detail::InCircle(a, b, c, d);
      int const want = static_cast<int>(CGAL::side_of_oriented_circle(K::Point_2(a.x, a.y), K::Point_2(b.x, b.y),
                                                                       K::Point_2(c.x, c.y), K::Point_2(d.x, d.y)));
      disagree += ic != want;
    }
  }
  EXPECT_EQ(disagree, 0);
  EXPECT_GT(zeros, 0);
}

std::set<Tri> CgalTriangles(std::vector<CPointD> const& pts) {
  using K = CGAL::Exact_predicates_inexact_constructions_kernel;
  using Vb = CGAL::Triangulation_vertex_base_with_info_2<std::uint32_t, K>;
  using Tds = CGAL::Triangulation_data_structure_2<Vb>;
  using DT = CGAL::Delaunay_triangulation_2<K, Tds>;
  std::vector<std::pair<K::Point_2, std::uint32_t>> in;
  for (std::uint32_t i = 0; i < pts.size(); ++i) in.push_back({K::Point_2(pts[i].x, pts[i].y), i});
  DT dt(in.begin(), in.end());
  std::set<Tri> s;
  for (auto f = dt.finite_faces_begin(); f != dt.finite_faces_end(); ++f) {
    s.insert(Canonical(f->vertex(0)->info(), f->vertex(1)->info(), f->vertex(2)->info()));
  }
  return s;
}
#endif

std::vector<CPointD> DistinctVertices(char const* file, std::size_t limit) {
  std::set<std::pair<double, double>> seen;
  std::vector<CPointD> out;
  for (auto const& poly : LoadPolylines(file)) {
    for (CPointD const& p : poly) {
      if (out.size() < limit && seen.insert({p.x, p.y}).second) out.push_back(p);
    }
  }
  return out;
}

TEST(Triangulator, MatchesCgalWhereUniqueAndIsDelaunayEverywhere) {
  struct Case {
    char const* name;
    std::vector<CPointD> pts;
    bool cgal;  // the triangle sets can be compared (cocircular spots excepted)
  } const cases[] = {
      {"uniform", RandomPoints(20000, 7), true},
      {"uniform, small", RandomPoints(50, 8), true},
      {"clustered", ClusteredPoints(20000, 9), true},
      {"shoreline vertices", DistinctVertices("gshhg_h_british_isles.xy", 30000), true},
      {"integer grid: every square is cocircular", GridPoints(120, 90), false},
      {"traced pixel corners", DistinctVertices("coins_crack.xy", 30000), true},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    CTriangulator tr;
    ASSERT_TRUE(tr.Triangulate(c.pts));
    EXPECT_EQ(tr.SkippedCount(), 0u);
    EXPECT_EQ(tr.DuplicateCount(), 0u);
    ExpectValidTriangulation(tr, c.pts.size());
#ifdef KMATH_TEST_HAVE_CGAL
    std::set<Tri> const want = CgalTriangles(c.pts);
    EXPECT_EQ(want.size(), tr.TriangleCount());
    if (c.cgal) {
      EXPECT_EQ(UniqueMismatches(c.pts, tr.Triangles(), want), 0);
    }
#endif
  }
}

TEST(Triangulator, DegenerateSetsStayValid) {
  std::vector<CPointD> circle;  // cocircular, exactly: Pythagorean triples
  for (auto const& [a, b] : std::vector<std::pair<double, double>>{{3, 4}, {5, 0}, {4, 3}, {0, 5}}) {
    for (double sx : {-1.0, 1.0}) {
      for (double sy : {-1.0, 1.0}) circle.push_back({sx * a, sy * b});
    }
  }
  std::vector<CPointD> huge, tiny, mixed = GridPoints(30, 30), collinearRuns;
  for (CPointD const& p : RandomPoints(3000, 11)) huge.push_back({1e15 + p.x * 1e6, -1e15 + p.y * 1e6});
  for (CPointD const& p : RandomPoints(3000, 12)) tiny.push_back({p.x * 1e-15, p.y * 1e-15});
  for (CPointD const& p : RandomPoints(900, 13, 29.0)) mixed.push_back(p);
  for (int k = 0; k < 400; ++k) collinearRuns.push_back({k * 0.1, k * 0.1 * 3.0});
  for (int k = 0; k < 400; ++k) collinearRuns.push_back({k * 0.1, 50.0 - k * 0.1});
  collinearRuns.push_back({0.0, 1.0});
  // A band 1e-10 thick along a line, alone and with points exactly on the
  // line: the distance order puts many points inside the hull already swept
  // or onto its edges, the cases the sweep must insert by locating them.
  std::vector<CPointD> band, bandOnLine;
  std::mt19937 rng(14);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (int k = 0; k < 2000; ++k) {
    double const t = u(rng) * 1e3;
    band.push_back({t, 0.5 * t + (u(rng) - 0.5) * 1e-10});
    double const s = std::floor(u(rng) * 2048) * 0.5;
    bandOnLine.push_back(k % 2 ? CPointD{s, 0.5 * s} : band.back());
  }
  struct Case {
    char const* name;
    std::vector<CPointD> pts;
  } const cases[] = {
      {"cocircular", circle},
      {"coordinates near 1e15", huge},
      {"spread of 1e-15", tiny},
      {"grid with random points among it", mixed},
      {"two long collinear runs", collinearRuns},
      {"grid of 300 x 300", GridPoints(300, 300)},
      {"thin band", band},
      {"thin band with points on its line", bandOnLine},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    std::set<std::pair<double, double>> distinct;
    for (CPointD const& p : c.pts) distinct.insert({p.x, p.y});
    CTriangulator tr;
    ASSERT_TRUE(tr.Triangulate(c.pts));
    EXPECT_EQ(tr.DuplicateCount(), c.pts.size() - distinct.size());
    std::string const name = c.name;
    ExpectValidTriangulation(tr, distinct.size(), name != "spread of 1e-15" && name.rfind("thin band", 0) != 0);
#ifdef KMATH_TEST_HAVE_CGAL
    // Any triangulation of the same points has as many triangles.
    EXPECT_EQ(CgalTriangles(c.pts).size(), tr.TriangleCount());
#endif
  }
}

TEST(Triangulator, BadInputSkipsCountsAndFallsBackToAPath) {
  struct Case {
    char const* name;
    std::vector<CPointD> pts;
    bool ok;
    std::size_t skipped, duplicates, pathEdges, triangles;
  } const cases[] = {
      {"empty", {}, false, 0, 0, 0, 0},
      {"one point", {{1, 1}}, false, 0, 0, 0, 0},
      {"two points", {{1, 1}, {2, 2}}, false, 0, 0, 1, 0},
      {"all equal", {{3, 3}, {3, 3}, {3, 3}, {3, 3}}, false, 0, 3, 0, 0},
      {"collinear, shuffled, with a duplicate", {{2, 2}, {0, 0}, {3, 3}, {1, 1}, {2, 2}}, false, 0, 1, 3, 0},
      {"NaN and infinities skipped", {{0, 0}, {kNaN, 1}, {1, 0}, {1, kInf}, {0, 1}, {-kInf, 0}}, true, 3, 0, 0, 1},
      {"beyond 1e60 skipped", {{0, 0}, {1, 0}, {0, 1}, {1e61, 0}}, true, 1, 0, 0, 1},
      {"duplicates of the seed points", {{0, 0}, {1, 0}, {0, 1}, {0, 0}, {1, 0}, {0, 1}, {1, 1}}, true, 0, 3, 0, 2},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    CTriangulator tr;
    EXPECT_EQ(tr.Triangulate(c.pts), c.ok);
    EXPECT_EQ(tr.SkippedCount(), c.skipped);
    EXPECT_EQ(tr.DuplicateCount(), c.duplicates);
    EXPECT_EQ(tr.TriangleCount(), c.triangles);
    Math::egraph::CGraph const g = tr.Graph();
    EXPECT_EQ(g.num_vertices(), c.pts.size());
    if (!c.ok) {
      EXPECT_EQ(g.num_edges(), c.pathEdges);
    }
  }
  // The path of collinear points runs in order along the line.
  CTriangulator tr;
  tr.Triangulate({{2, 2}, {0, 0}, {3, 3}, {1, 1}});
  EXPECT_EQ(tr.Hull(), (std::vector<std::uint32_t>{1, 3, 0, 2}));
}

double SignedArea(std::vector<CPointD> const& p, std::vector<std::uint32_t> const& t) {
  double a = 0;
  for (std::size_t k = 0; k + 2 < t.size(); k += 3) {
    CPointD const u = p[t[k + 1]] - p[t[k]], v = p[t[k + 2]] - p[t[k]];
    a += 0.5 * (u.x * v.y - u.y * v.x);
  }
  return a;
}

double RingArea(Math::poly_base<CPointD> const& r) {
  double a = 0;
  for (std::size_t k = 0; k + 1 < r.size(); ++k) a += 0.5 * (r[k].x * r[k + 1].y - r[k + 1].x * r[k].y);
  return a;
}

// Every ring edge appears as a triangle side.
bool KeepsRingEdges(CTriangulator const& tr, CStdPlgn const& plg) {
  std::set<std::array<double, 4>> sides;
  auto const& p = tr.Points();
  auto const& t = tr.Triangles();
  for (std::size_t k = 0; k < t.size(); ++k) {
    CPointD const a = p[t[k]], b = p[t[k % 3 == 2 ? k - 2 : k + 1]];
    sides.insert({a.x, a.y, b.x, b.y});
    sides.insert({b.x, b.y, a.x, a.y});
  }
  for (auto const& r : plg) {
    for (std::size_t k = 0; k + 1 < r.size(); ++k) {
      if (!sides.count({r[k].x, r[k].y, r[k + 1].x, r[k + 1].y})) return false;
    }
  }
  return true;
}

TEST(TriangulatePolygon, KeepsRingsFillsEvenOddAndRejectsBadRings) {
  using Ring = Math::poly_base<CPointD>;
  Ring const outer{{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}};
  Ring const hole{{3, 3}, {3, 7}, {7, 7}, {7, 3}, {3, 3}};
  Ring const island{{4, 4}, {6, 4}, {6, 6}, {4, 6}, {4, 4}};
  Ring const comb{{0, 0}, {9, 0}, {9, 1}, {1, 1}, {1, 2}, {9, 2}, {9, 3}, {1, 3}, {1, 4}, {9, 4}, {9, 5}, {0, 5}, {0, 0}};
  Ring const collinearEdge{{0, 0}, {4, 0}, {8, 0}, {8, 2}, {0, 2}, {0, 0}};
  struct Case {
    char const* name;
    CStdPlgn plg;
    double area;
    std::size_t triangles;  // n + 2 * holes - 2
  } const cases[] = {
      {"square with a hole", CStdPlgn({outer, hole}), 100 - 16, 8},
      {"island in the hole, rings in any orientation", CStdPlgn({outer, hole, island}), 100 - 16 + 4, 10},
      {"concave comb", CStdPlgn({comb}), 45 - 8 - 8, 10},
      {"vertex on a straight run", CStdPlgn({collinearEdge}), 16, 3},
      {"two squares sharing a side: it is held twice, so both are inside",
       CStdPlgn({Ring{{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}}, Ring{{2, 0}, {4, 0}, {4, 2}, {2, 2}, {2, 0}}}), 8, 4},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    CTriangulator tr;
    ASSERT_TRUE(tr.TriangulatePolygon(c.plg));
    EXPECT_NEAR(SignedArea(tr.Points(), tr.Triangles()), c.area, 1e-9);
    EXPECT_EQ(tr.TriangleCount(), c.triangles);
    EXPECT_TRUE(KeepsRingEdges(tr, c.plg));
  }
  struct Bad {
    char const* name;
    CStdPlgn plg;
  } const bad[] = {
      {"bow tie", CStdPlgn({Ring{{0, 0}, {4, 4}, {4, 0}, {0, 4}, {0, 0}}})},
      {"unclosed", CStdPlgn({Ring{{0, 0}, {4, 0}, {4, 4}, {0, 4}}})},
      {"crossing rings", CStdPlgn({outer, Ring{{5, 5}, {15, 5}, {15, 6}, {5, 6}, {5, 5}}})},
      {"two distinct vertices", CStdPlgn({Ring{{0, 0}, {1, 1}, {0, 0}, {1, 1}, {0, 0}}})},
      {"NaN vertex", CStdPlgn({Ring{{0, 0}, {4, 0}, {kNaN, 4}, {0, 4}, {0, 0}}})},
      {"collinear ring", CStdPlgn({Ring{{0, 0}, {1, 1}, {2, 2}, {0, 0}}})},
      {"no rings", CStdPlgn()},
  };
  for (Bad const& c : bad) {
    SCOPED_TRACE(c.name);
    CTriangulator tr;
    EXPECT_FALSE(tr.TriangulatePolygon(c.plg));
    EXPECT_TRUE(tr.Triangles().empty());
    EXPECT_TRUE(tr.Points().empty());
  }
}

TEST(TriangulatePolygon, TracedOutlinesWithHoles) {
  // The first polygons of a traced drawing, each outer ring with its holes:
  // staircase outlines full of collinear runs and cocircular corners.
  std::vector<CStdPlgn> polys;
  for (auto const& b : LoadXY("ccitt2_crack.xy")) {
    if (b.Attr("ring") == "outer") polys.emplace_back();
    if (!polys.empty()) polys.back().emplace_back(b.pts);
  }
  ASSERT_GT(polys.size(), 20u);
  for (std::size_t k = 0; k < 40 && k < polys.size(); ++k) {
    SCOPED_TRACE(k);
    CStdPlgn const& plg = polys[k];
    double area = 0;
    std::size_t n = 0;
    for (auto const& r : plg) area += std::abs(RingArea(r)), n += r.size() - 1;
    area = 2 * std::abs(RingArea(plg[0])) - area;
    CTriangulator tr;
    ASSERT_TRUE(tr.TriangulatePolygon(plg));
    EXPECT_NEAR(SignedArea(tr.Points(), tr.Triangles()), area, 1e-6);
    if (tr.DuplicateCount() == 0) {
      EXPECT_EQ(tr.TriangleCount(), n + 2 * (plg.size() - 1) - 2);
    }
    EXPECT_TRUE(KeepsRingEdges(tr, plg));
  }
}

}  // namespace
}  // namespace kmath_test
