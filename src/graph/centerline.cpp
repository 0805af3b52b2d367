#include <math/centerline.h>

#include <math/polyapprox.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>

#include "core/tolerance.h"
#include "graph/voronoi_impl.h"

namespace Math {
namespace {

using namespace graph_detail;
namespace bp = boost::polygon;

constexpr std::uint32_t kNone = 0xFFFFFFFFu;

double Cross(CPointD const& a, CPointD const& b) { return a.x * b.y - a.y * b.x; }

struct CSeg {
  CPointD a, b;       // integer units
  std::uint32_t prev, next, ring;
  double pos;  // arc length along the ring up to a
};

struct CNode {
  CPointD p;  // integer units
  double r;   // distance to the outline, integer units
  std::vector<std::uint32_t> edges;
  std::uint32_t alive = 0;  // live edges
};

struct CArc {
  std::uint32_t u, v;
  std::vector<CPointD> inner;  // samples strictly between u and v
  std::vector<double> innerR;
  double len = 0;
  bool alive = true;
};

class CMedialAxis {
 public:
  std::vector<CNode> nodes;
  std::vector<CArc> arcs;

  std::uint32_t Other(std::uint32_t a, std::uint32_t n) const { return arcs[a].u == n ? arcs[a].v : arcs[a].u; }
  std::uint32_t LiveArc(std::uint32_t n, std::uint32_t except) const {
    for (std::uint32_t a : nodes[n].edges) {
      if (arcs[a].alive && a != except) return a;
    }
    return kNone;
  }
  void Kill(std::uint32_t a) {
    arcs[a].alive = false;
    --nodes[arcs[a].u].alive;
    --nodes[arcs[a].v].alive;
  }

  // From a leaf through nodes of degree two: the arcs passed, the node
  // reached and the length.
  std::uint32_t Walk(std::uint32_t leaf, std::vector<std::uint32_t>& path, double& len) const {
    path.clear();
    len = 0;
    std::uint32_t n = leaf, a = LiveArc(leaf, kNone);
    while (a != kNone) {
      path.push_back(a);
      len += arcs[a].len;
      n = Other(a, n);
      if (nodes[n].alive != 2 || n == leaf) break;
      a = LiveArc(n, a);
    }
    return n;
  }

  // Each pass judges every leaf branch against the graph as the pass found
  // it. A junction keeps at least two branches per pass, the weakest go:
  // when a stroke's end and a spur meet at one junction the spur goes and
  // the end joins the stroke, instead of the stroke being eaten from its
  // end pass by pass.
  void Prune(double prune) {
    std::vector<std::uint32_t> path;
    struct Cand {
      std::uint32_t junction;
      double sig;
      std::uint32_t leaf;
    };
    std::vector<Cand> cands;
    for (bool changed = true; changed;) {
      changed = false;
      cands.clear();
      for (std::uint32_t n = 0; n < nodes.size(); ++n) {
        if (nodes[n].alive != 1) continue;
        double len;
        std::uint32_t const j = Walk(n, path, len);
        if (nodes[j].alive < 3) continue;
        double const sig = len - (nodes[j].r - nodes[n].r);
        if (sig < prune) cands.push_back({j, sig, n});
      }
      std::sort(cands.begin(), cands.end(), [](Cand const& a, Cand const& b) {
        if (a.junction != b.junction) return a.junction < b.junction;
        return a.sig != b.sig ? a.sig < b.sig : a.leaf < b.leaf;
      });
      for (std::size_t i = 0; i < cands.size();) {
        std::size_t k = i;
        while (k < cands.size() && cands[k].junction == cands[i].junction) ++k;
        std::size_t const degree = nodes[cands[i].junction].alive;
        std::size_t const take = std::min(k - i, degree - 2);
        for (std::size_t m = i; m < i + take; ++m) {
          double len;
          Walk(cands[m].leaf, path, len);
          for (std::uint32_t a : path) Kill(a);
          changed = true;
        }
        i = k;
      }
    }
  }

  // Appends the arc's points after its start node `from`, with radii.
  void Append(std::uint32_t a, std::uint32_t from, std::vector<CPointD>& pts, std::vector<double>& rs) const {
    CArc const& arc = arcs[a];
    if (arc.u == from) {
      pts.insert(pts.end(), arc.inner.begin(), arc.inner.end());
      rs.insert(rs.end(), arc.innerR.begin(), arc.innerR.end());
    } else {
      pts.insert(pts.end(), arc.inner.rbegin(), arc.inner.rend());
      rs.insert(rs.end(), arc.innerR.rbegin(), arc.innerR.rend());
    }
    std::uint32_t const to = Other(a, from);
    pts.push_back(nodes[to].p);
    rs.push_back(nodes[to].r);
  }

  void Chains(std::vector<std::vector<CPointD>>& lines, std::vector<std::vector<double>>& radii) const {
    std::vector<bool> used(arcs.size(), false);
    auto const trace = [&](std::uint32_t start, std::uint32_t a) {
      std::vector<CPointD> pts{nodes[start].p};
      std::vector<double> rs{nodes[start].r};
      std::uint32_t n = start;
      while (a != kNone && !used[a]) {
        used[a] = true;
        Append(a, n, pts, rs);
        n = Other(a, n);
        if (nodes[n].alive != 2) break;
        a = LiveArc(n, a);
      }
      lines.push_back(std::move(pts));
      radii.push_back(std::move(rs));
    };
    for (std::uint32_t n = 0; n < nodes.size(); ++n) {
      if (nodes[n].alive == 0 || nodes[n].alive == 2) continue;
      for (std::uint32_t a : nodes[n].edges) {
        if (arcs[a].alive && !used[a]) trace(n, a);
      }
    }
    // What is left are loops without a junction.
    for (std::uint32_t a = 0; a < arcs.size(); ++a) {
      if (arcs[a].alive && !used[a]) trace(arcs[a].u, a);
    }
  }
};

}  // namespace

bool CenterLines(CStdPlgn const& plgn, double dPrune, double dTolerance, std::vector<CCenterLine>& lines,
                 bool bHalfWidths) {
  // Rings without repeated consecutive vertices, and the extent.
  std::vector<std::vector<CPointD>> rings;
  double minX = std::numeric_limits<double>::infinity(), minY = minX, maxX = -minX, maxY = -minX;
  for (auto const& ring : plgn) {
    if (ring.size() < 4) return false;
    for (CPointD const& p : ring) {
      if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
    }
    CPointD const d = ring.back() - ring.front();
    if (!(std::hypot(d.x, d.y) <= tol::kEps)) return false;
    std::vector<CPointD> r;
    for (std::size_t k = 0; k + 1 < ring.size(); ++k) {
      if (r.empty() || ring[k].x != r.back().x || ring[k].y != r.back().y) r.push_back(ring[k]);
      minX = std::min(minX, ring[k].x), maxX = std::max(maxX, ring[k].x);
      minY = std::min(minY, ring[k].y), maxY = std::max(maxY, ring[k].y);
    }
    while (r.size() > 1 && r.back().x == r.front().x && r.back().y == r.front().y) r.pop_back();
    if (r.size() < 3) return false;
    rings.push_back(std::move(r));
  }
  if (rings.empty()) {
    lines.clear();
    return true;
  }
  CScaling sc;
  if (!sc.Define(minX, minY, maxX, maxY)) return false;

  // The side of each ring that is inside: probe just left of the middle of
  // its longest edge (a point that close to one ring is far from the others).
  std::vector<bool> leftInside(rings.size());
  for (std::size_t r = 0; r < rings.size(); ++r) {
    auto const& ring = rings[r];
    std::size_t best = 0;
    double bestLen = -1;
    for (std::size_t k = 0; k < ring.size(); ++k) {
      CPointD const d = ring[(k + 1) % ring.size()] - ring[k];
      double const l = std::hypot(d.x, d.y);
      if (l > bestLen) bestLen = l, best = k;
    }
    CPointD const a = ring[best], b = ring[(best + 1) % ring.size()];
    CPointD const d = (b - a) / bestLen;
    CPointD const probe = (a + b) * 0.5 + CPointD{-d.y, d.x} * (bestLen * 1e-6);
    leftInside[r] = plgn.PtInside(probe);
  }

  std::vector<CIntSegment> segs;
  std::vector<CSeg> info;
  std::vector<double> perimeter;
  for (std::size_t r = 0; r < rings.size(); ++r) {
    auto const& ring = rings[r];
    auto const base = static_cast<std::uint32_t>(info.size());
    auto const n = static_cast<std::uint32_t>(ring.size());
    double pos = 0;
    for (std::uint32_t k = 0; k < n; ++k) {
      CIntPoint const a = sc.ToInt(ring[k]), b = sc.ToInt(ring[(k + 1) % n]);
      segs.emplace_back(a, b);
      info.push_back({P(a), P(b), base + (k + n - 1) % n, base + (k + 1) % n, static_cast<std::uint32_t>(r), pos});
      // Differences in double: two ends of the scaled range are 2^31 apart.
      pos += std::hypot(double(b.x()) - double(a.x()), double(b.y()) - double(a.y()));
    }
    perimeter.push_back(pos);
  }
  CDiagram vd;
  bp::construct_voronoi(segs.begin(), segs.end(), &vd);

  // Inside test of a point m of a Voronoi edge of the cell c. In a segment's
  // cell the edge keeps to one side of it; in an end point's cell the
  // interior is the wedge between the two edges that meet there.
  auto const inside = [&](CDiagram::cell_type const& c, CPointD const& m) {
    CSeg const& s = info[c.source_index()];
    bool const left = leftInside[s.ring];
    if (c.contains_segment()) return (Cross(s.b - s.a, m - s.a) > 0.0) == left;
    bool const start = c.source_category() == bp::SOURCE_CATEGORY_SEGMENT_START_POINT;
    CSeg const& in = start ? info[s.prev] : s;
    CSeg const& out = start ? s : info[s.next];
    double const sgn = left ? 1.0 : -1.0;
    bool const l1 = sgn * Cross(in.b - in.a, m - in.a) > 0.0;
    bool const l2 = sgn * Cross(out.b - out.a, m - out.a) > 0.0;
    bool const convex = sgn * Cross(in.b - in.a, out.b - out.a) > 0.0;
    return convex ? (l1 && l2) : (l1 || l2);
  };
  auto const radius = [&](CDiagram::cell_type const& c, CPointD const& p) {
    CSeg const& s = info[c.source_index()];
    if (c.contains_segment()) return DistToSegment(p, s.a, s.b);
    CPointD const q = (c.source_category() == bp::SOURCE_CATEGORY_SEGMENT_START_POINT ? s.a : s.b) - p;
    return std::hypot(q.x, q.y);
  };

  // Where the inscribed circle centred at m touches the site of c: the
  // point, and its arc length along the ring.
  auto const touch = [&](CDiagram::cell_type const& c, CPointD const& m, double& pos) {
    CSeg const& s = info[c.source_index()];
    CPointD const d = s.b - s.a;
    double const len = std::hypot(d.x, d.y);
    double t;
    if (c.contains_segment()) {
      CPointD const v = m - s.a;
      t = len > 0.0 ? std::clamp((v.x * d.x + v.y * d.y) / (len * len), 0.0, 1.0) : 0.0;
    } else {
      t = c.source_category() == bp::SOURCE_CATEGORY_SEGMENT_START_POINT ? 0.0 : 1.0;
    }
    pos = s.pos + t * len;
    return s.a + d * t;
  };
  // How much longer the outline between the two touch points is than the
  // chord between them: near zero where the circle sits in a corner of
  // boundary noise, large along a stroke (infinite across rings).
  auto const residual = [&](CDiagram::cell_type const& c1, CDiagram::cell_type const& c2, CPointD const& m) {
    std::uint32_t const r1 = info[c1.source_index()].ring, r2 = info[c2.source_index()].ring;
    if (r1 != r2) return std::numeric_limits<double>::infinity();
    double s1, s2;
    CPointD const t = touch(c1, m, s1) - touch(c2, m, s2);
    double const along = std::abs(s1 - s2);
    return std::min(along, perimeter[r1] - along) - std::hypot(t.x, t.y);
  };

  CMedialAxis ax;
  std::vector<std::uint32_t> nodeOf(vd.vertices().size(), kNone);
  auto const node = [&](CDiagram::vertex_type const* v, CDiagram::cell_type const& c) {
    std::size_t const k = static_cast<std::size_t>(v - &vd.vertices()[0]);
    if (nodeOf[k] == kNone) {
      CPointD const p{v->x(), v->y()};
      nodeOf[k] = static_cast<std::uint32_t>(ax.nodes.size());
      ax.nodes.push_back({p, radius(c, p), {}, 0});
    }
    return nodeOf[k];
  };
  double const prune = std::max(dPrune, 0.0) * sc.scale;
  double const sampleTol = 0.25 * std::max(dTolerance, 0.0) * sc.scale;
  for (auto const& e : vd.edges()) {
    if (&e > e.twin() || !e.is_finite() || !e.is_primary()) continue;
    CDiagram::cell_type const& c1 = *e.cell();
    CDiagram::cell_type const& c2 = *e.twin()->cell();
    CPointD const p0{e.vertex0()->x(), e.vertex0()->y()}, p1{e.vertex1()->x(), e.vertex1()->y()};
    CArc arc;
    if (e.is_curved()) {
      CDiagram::cell_type const& pc = c1.contains_point() ? c1 : c2;
      CDiagram::cell_type const& scell = c1.contains_point() ? c2 : c1;
      CSeg const& ps = info[pc.source_index()];
      CPointD const f = pc.source_category() == bp::SOURCE_CATEGORY_SEGMENT_START_POINT ? ps.a : ps.b;
      CSeg const& ss = info[scell.source_index()];
      SampleParabola(f, ss.a, ss.b, p0, p1, sampleTol, arc.inner);
    }
    CPointD const mid = arc.inner.empty() ? (p0 + p1) * 0.5 : arc.inner[arc.inner.size() / 2];
    CDiagram::cell_type const& judge = c1.contains_segment() || !c2.contains_segment() ? c1 : c2;
    if (!inside(judge, mid) || residual(c1, c2, mid) < prune) continue;
    arc.u = node(e.vertex0(), c1);
    arc.v = node(e.vertex1(), c1);
    // An arc that reaches the outline runs into a convex corner: part of the
    // exact medial axis, never of a centre line.
    if (arc.u == arc.v || ax.nodes[arc.u].r < tol::kVoronoiOnSite || ax.nodes[arc.v].r < tol::kVoronoiOnSite) continue;
    CPointD prev = p0;
    for (CPointD const& q : arc.inner) {
      arc.innerR.push_back(radius(c1, q));
      arc.len += std::hypot(q.x - prev.x, q.y - prev.y);
      prev = q;
    }
    arc.len += std::hypot(p1.x - prev.x, p1.y - prev.y);
    auto const id = static_cast<std::uint32_t>(ax.arcs.size());
    ax.nodes[arc.u].edges.push_back(id);
    ax.nodes[arc.v].edges.push_back(id);
    ++ax.nodes[arc.u].alive;
    ++ax.nodes[arc.v].alive;
    ax.arcs.push_back(std::move(arc));
  }
  // A branch that only runs from a junction into the edge of its inscribed
  // circle adds nothing to the shape: weigh branches by what reaches beyond.
  ax.Prune(prune);

  std::vector<std::vector<CPointD>> raw;
  std::vector<std::vector<double>> radii;
  ax.Chains(raw, radii);

  std::vector<CCenterLine> out;
  out.reserve(raw.size());
  CPolyApprox const approx(dTolerance, std::numeric_limits<double>::max());
  std::vector<int> keep;
  for (std::size_t k = 0; k < raw.size(); ++k) {
    CCenterLine line;
    for (CPointD const& p : raw[k]) line.pts.push_back(sc.ToWorld(p.x, p.y));
    std::vector<double> rs;
    for (double r : radii[k]) rs.push_back(r / sc.scale);
    if (approx.GetInflections(line.pts.data(), static_cast<unsigned>(line.pts.size()), keep)) {
      std::vector<CPointD> pts;
      std::vector<double> ws;
      for (int i : keep) pts.push_back(line.pts[i]), ws.push_back(rs[i]);
      line.pts.swap(pts);
      rs.swap(ws);
    }
    if (bHalfWidths) line.halfWidths = std::move(rs);
    out.push_back(std::move(line));
  }
  std::sort(out.begin(), out.end(), [](CCenterLine const& a, CCenterLine const& b) {
    CPointD const &p = a.pts.front(), &q = b.pts.front();
    return p.y != q.y ? p.y < q.y : p.x < q.x;
  });
  lines.swap(out);
  return true;
}

}  // namespace Math
