#include <math/voronoigraph.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>

#include "core/tolerance.h"
#include "graph/voronoi_impl.h"

namespace Math {
namespace Voronoi {
namespace {

using namespace graph_detail;
namespace bp = boost::polygon;

bool Finite(CPointD const& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// Liang-Barsky: the parameter range of a + t (b - a), t in [0, 1], inside
// the box; false when none.
bool Clip(CPointD const& a, CPointD const& b, double x0, double y0, double x1, double y1, double& t0, double& t1) {
  t0 = 0.0;
  t1 = 1.0;
  double const dx = b.x - a.x, dy = b.y - a.y;
  double const p[4] = {-dx, dx, -dy, dy};
  double const q[4] = {a.x - x0, x1 - a.x, a.y - y0, y1 - a.y};
  for (int i = 0; i < 4; ++i) {
    if (p[i] == 0.0) {
      if (q[i] < 0.0) return false;
      continue;
    }
    double const r = q[i] / p[i];
    if (p[i] < 0.0) {
      if (r > t1) return false;
      t0 = std::max(t0, r);
    } else {
      if (r < t0) return false;
      t1 = std::min(t1, r);
    }
  }
  return t0 <= t1;
}

}  // namespace

bool CVoronoiGraph::Build(std::vector<CPointD> const& points, std::vector<CEdge> const& segments, CRectD const& box,
                          double dChordTol) {
  m_graph = egraph::CGraph();
  m_site.clear();
  m_isVertex.clear();
  m_scale = 1.0;
  if (points.empty() && segments.empty()) return false;
  CPointD const c0{box.left, box.top}, c1{box.right, box.bottom};
  if (!Finite(c0) || !Finite(c1) || !(box.left < box.right) || !(box.top < box.bottom)) return false;
  double minX = std::numeric_limits<double>::infinity(), minY = minX, maxX = -minX, maxY = -minX;
  auto const extend = [&](CPointD const& p) {
    minX = std::min(minX, p.x), maxX = std::max(maxX, p.x);
    minY = std::min(minY, p.y), maxY = std::max(maxY, p.y);
    return Finite(p);
  };
  for (CPointD const& p : points) {
    if (!extend(p)) return false;
  }
  for (CEdge const& s : segments) {
    if (!extend(s.p0) || !extend(s.p1)) return false;
  }
  CScaling sc;
  if (!sc.Define(minX, minY, maxX, maxY)) return false;

  // Boost's cells name their sources by position in its own input; keep the
  // way back to the caller's sites.
  std::vector<CIntPoint> ipts;
  std::vector<CIntSegment> isegs;
  std::vector<std::uint32_t> ptSite, segSite;
  for (std::size_t k = 0; k < points.size(); ++k) {
    ipts.push_back(sc.ToInt(points[k]));
    ptSite.push_back(static_cast<std::uint32_t>(k));
  }
  for (std::size_t k = 0; k < segments.size(); ++k) {
    CIntPoint const a = sc.ToInt(segments[k].p0), b = sc.ToInt(segments[k].p1);
    auto const site = static_cast<std::uint32_t>(points.size() + k);
    if (a == b) {
      ipts.push_back(a);
      ptSite.push_back(site);
    } else {
      isegs.emplace_back(a, b);
      segSite.push_back(site);
    }
  }
  CDiagram vd;
  bp::construct_voronoi(ipts.begin(), ipts.end(), isegs.begin(), isegs.end(), &vd);

  auto const siteOf = [&](CDiagram::cell_type const& c) {
    std::size_t const k = c.source_index();
    if (k < ipts.size()) return CSite{ptSite[k], 0};
    unsigned char part = 0;
    if (c.contains_point()) part = c.source_category() == bp::SOURCE_CATEGORY_SEGMENT_START_POINT ? 1 : 2;
    return CSite{segSite[k - ipts.size()], part};
  };
  auto const pointOf = [&](CDiagram::cell_type const& c) {
    std::size_t const k = c.source_index();
    if (k < ipts.size()) return P(ipts[k]);
    CIntSegment const& s = isegs[k - ipts.size()];
    return c.source_category() == bp::SOURCE_CATEGORY_SEGMENT_START_POINT ? P(s.low()) : P(s.high());
  };

  // The box in integer units; every cut and sample is computed there.
  double const x0 = (box.left - sc.origin.x) * sc.scale, x1 = (box.right - sc.origin.x) * sc.scale;
  double const y0 = (box.top - sc.origin.y) * sc.scale, y1 = (box.bottom - sc.origin.y) * sc.scale;
  double const w = x1 - x0, h = y1 - y0;
  if (!std::isfinite(w) || !std::isfinite(h)) return false;
  double const reach = 4.0 * (std::hypot(w, h) + std::hypot(0.5 * (x0 + x1), 0.5 * (y0 + y1)) + tol::kVoronoiUnits);

  std::vector<CPointD> pos;
  std::map<std::pair<double, double>, std::uint32_t> onBox;
  std::vector<std::pair<double, std::uint32_t>> perimeter;
  std::vector<std::uint32_t> nodeOfVertex(vd.vertices().size(), npos);
  auto const perimeterParam = [&](CPointD const& p) {
    if (p.y == y0) return p.x - x0;
    if (p.x == x1) return w + (p.y - y0);
    if (p.y == y1) return w + h + (x1 - p.x);
    return 2.0 * w + h + (y1 - p.y);
  };
  auto const addNode = [&](CPointD const& p, bool vertex) {
    pos.push_back(sc.ToWorld(p.x, p.y));
    m_isVertex.push_back(vertex ? 1 : 0);
    return static_cast<std::uint32_t>(pos.size() - 1);
  };
  auto const boxNode = [&](CPointD p) {
    // Snap to the nearest side, so the point sorts onto the perimeter.
    double const d[4] = {std::abs(p.x - x0), std::abs(p.x - x1), std::abs(p.y - y0), std::abs(p.y - y1)};
    int const side = static_cast<int>(std::min_element(d, d + 4) - d);
    p.x = std::clamp(p.x, x0, x1);
    p.y = std::clamp(p.y, y0, y1);
    if (side == 0) p.x = x0;
    if (side == 1) p.x = x1;
    if (side == 2) p.y = y0;
    if (side == 3) p.y = y1;
    auto const [it, added] = onBox.emplace(std::make_pair(p.x, p.y), 0u);
    if (added) {
      it->second = addNode(p, false);
      perimeter.emplace_back(perimeterParam(p), it->second);
    }
    return it->second;
  };
  auto const vertexNode = [&](CDiagram::vertex_type const* v) {
    std::size_t const k = static_cast<std::size_t>(v - &vd.vertices()[0]);
    if (nodeOfVertex[k] == npos) {
      CPointD const p{v->x(), v->y()};
      nodeOfVertex[k] = addNode(p, true);
      if (p.x == x0 || p.x == x1 || p.y == y0 || p.y == y1) {
        onBox.emplace(std::make_pair(p.x, p.y), nodeOfVertex[k]);
        perimeter.emplace_back(perimeterParam(p), nodeOfVertex[k]);
      }
    }
    return nodeOfVertex[k];
  };

  struct CLink {
    std::uint32_t u, v;
    CSite left, right;
  };
  std::vector<CLink> links;
  std::vector<CPointD> poly;
  std::vector<std::uint32_t> piece;
  double const sampleTol = std::max(dChordTol, 0.0) * sc.scale;
  for (auto const& e : vd.edges()) {
    if (&e > e.twin()) continue;
    CDiagram::cell_type const& ca = *e.cell();
    CDiagram::cell_type const& cb = *e.twin()->cell();
    CSite const left = siteOf(ca), right = siteOf(cb);
    poly.clear();
    if (e.is_finite()) {
      CPointD const p0{e.vertex0()->x(), e.vertex0()->y()}, p1{e.vertex1()->x(), e.vertex1()->y()};
      poly.push_back(p0);
      if (e.is_curved()) {
        CDiagram::cell_type const& pc = ca.contains_point() ? ca : cb;
        CDiagram::cell_type const& scell = ca.contains_point() ? cb : ca;
        CIntSegment const& s = isegs[scell.source_index() - ipts.size()];
        SampleParabola(pointOf(pc), P(s.low()), P(s.high()), p0, p1, sampleTol, poly);
      }
      poly.push_back(p1);
    } else {
      // Only point-point and point-segment pairs have infinite edges; the
      // edge runs with its own cell on the left.
      CPointD origin, dir;
      if (ca.contains_point() && cb.contains_point()) {
        CPointD const a = pointOf(ca), b = pointOf(cb);
        origin = (a + b) * 0.5;
        dir = {a.y - b.y, b.x - a.x};
      } else {
        origin = ca.contains_segment() ? pointOf(cb) : pointOf(ca);
        CIntSegment const& s = isegs[(ca.contains_segment() ? ca : cb).source_index() - ipts.size()];
        CPointD const d = P(s.high()) - P(s.low());
        dir = ((P(s.low()).x == origin.x && P(s.low()).y == origin.y) != ca.contains_point()) ? CPointD{d.y, -d.x}
                                                                                                  : CPointD{-d.y, d.x};
      }
      double const len = std::hypot(dir.x, dir.y);
      if (!(len > 0.0)) continue;
      dir = dir * (reach / len);
      poly.push_back(e.vertex0() ? CPointD{e.vertex0()->x(), e.vertex0()->y()} : origin - dir);
      poly.push_back(e.vertex1() ? CPointD{e.vertex1()->x(), e.vertex1()->y()} : origin + dir);
    }

    // Cut to the box; a sampled curve may leave and come back.
    piece.clear();
    auto const flush = [&]() {
      for (std::size_t k = 1; k < piece.size(); ++k) {
        if (piece[k - 1] != piece[k]) links.push_back({piece[k - 1], piece[k], left, right});
      }
      piece.clear();
    };
    std::size_t const last = poly.size() - 1;
    for (std::size_t k = 0; k < last; ++k) {
      double t0, t1;
      if (!Clip(poly[k], poly[k + 1], x0, y0, x1, y1, t0, t1)) {
        flush();
        continue;
      }
      CPointD const d = poly[k + 1] - poly[k];
      if (piece.empty() || t0 > 0.0) {
        flush();
        if (t0 > 0.0) {
          piece.push_back(boxNode(poly[k] + d * t0));
        } else if (k == 0 && e.vertex0()) {
          piece.push_back(vertexNode(e.vertex0()));
        } else {
          piece.push_back(addNode(poly[k], false));
        }
      }
      if (t1 < 1.0) {
        piece.push_back(boxNode(poly[k] + d * t1));
        flush();
      } else if (k + 1 == last && e.vertex1()) {
        piece.push_back(vertexNode(e.vertex1()));
      } else if (k + 1 == last) {
        piece.push_back(boxNode(poly[k + 1]));
      } else {
        piece.push_back(addNode(poly[k + 1], false));
      }
    }
    flush();
  }
  // The box's corners and sides close the cells cut open at the box.
  for (CPointD const& corner : {CPointD{x0, y0}, CPointD{x1, y0}, CPointD{x1, y1}, CPointD{x0, y1}}) boxNode(corner);
  std::sort(perimeter.begin(), perimeter.end());
  CSite const none{npos, 0};
  for (std::size_t k = 0; k < perimeter.size(); ++k) {
    std::uint32_t const u = perimeter[k].second, v = perimeter[(k + 1) % perimeter.size()].second;
    if (u != v) links.push_back({u, v, none, none});
  }

  m_graph = egraph::CGraph(std::move(pos));
  m_site.reserve(2 * links.size());
  for (CLink const& l : links) {
    if (m_graph.add_edge(l.u, l.v) == npos) continue;
    m_site.push_back(l.left);
    m_site.push_back(l.right);
  }
  m_scale = sc.scale;
  return true;
}

}  // namespace Voronoi
}  // namespace Math
