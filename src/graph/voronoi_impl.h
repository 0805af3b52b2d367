// What the Voronoi adaptor and the centre lines share: the exact power-of-two
// scaling of doubles to Boost.Polygon's integer sites, distances to sites,
// and the sampling of parabolic edges.
#pragma once

#include <math/types.h>

#include <boost/polygon/point_data.hpp>
#include <boost/polygon/segment_data.hpp>
#include <boost/polygon/voronoi.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/tolerance.h"

namespace Math::graph_detail {

using CIntPoint = boost::polygon::point_data<int>;
using CIntSegment = boost::polygon::segment_data<int>;
using CDiagram = boost::polygon::voronoi_diagram<double>;

// x -> round((x - origin.x) * scale). The scale is a power of two, so
// multiplying back by 1 / scale is exact and only the rounding to the
// integer grid (half a unit) is lost.
struct CScaling {
  CPointD origin{0, 0};
  double scale = 1.0;

  // False for an empty or non-finite extent.
  bool Define(double minX, double minY, double maxX, double maxY) {
    double const ext = std::max(maxX - minX, maxY - minY);
    if (!std::isfinite(ext) || !std::isfinite(minX) || !std::isfinite(minY)) return false;
    origin = {0.5 * minX + 0.5 * maxX, 0.5 * minY + 0.5 * maxY};
    int e = 0;
    std::frexp(ext > 0.0 ? ext : 1.0, &e);  // ext < 2^e
    // ext * scale < 2^31: within +-2^30 of the centre.
    scale = std::ldexp(tol::kVoronoiUnits, -e);
    return std::isfinite(scale) && scale > 0.0;
  }
  CIntPoint ToInt(CPointD const& p) const {
    return CIntPoint(static_cast<int>(std::lround((p.x - origin.x) * scale)),
                     static_cast<int>(std::lround((p.y - origin.y) * scale)));
  }
  CPointD ToWorld(double x, double y) const { return {x / scale + origin.x, y / scale + origin.y}; }
};

inline CPointD P(CIntPoint const& p) { return {double(p.x()), double(p.y())}; }

inline double DistToSegment(CPointD const& p, CPointD const& a, CPointD const& b) {
  CPointD const d = b - a, v = p - a;
  double const l2 = d.x * d.x + d.y * d.y;
  double t = l2 > 0.0 ? (v.x * d.x + v.y * d.y) / l2 : 0.0;
  t = std::clamp(t, 0.0, 1.0);
  CPointD const q = a + d * t - p;
  return std::hypot(q.x, q.y);
}

// The interior points of the parabola between focus f and the line through
// a, b, from p0 to p1 (both on it), so that no piece departs from its chord
// by more than tol (all in the same units); appended to out.
inline void SampleParabola(CPointD const& f, CPointD const& a, CPointD const& b, CPointD const& p0,
                           CPointD const& p1, double tol, std::vector<CPointD>& out) {
  CPointD const d = b - a;
  double const len = std::hypot(d.x, d.y);
  if (!(len > 0.0)) return;
  CPointD const u = d / len;
  auto const local = [&](CPointD const& p) {
    CPointD const v = p - a;
    return CPointD{v.x * u.x + v.y * u.y, u.x * v.y - u.y * v.x};
  };
  CPointD const fl = local(f);
  if (fl.y == 0.0) return;
  double const x0 = local(p0).x, x1 = local(p1).x;
  // A parabola's chord deviation is span^2 * |y''| / 8 with y'' = 1 / |fy|.
  double const piece = std::sqrt(8.0 * std::abs(fl.y) * std::max(tol, 0.0));
  double const span = std::abs(x1 - x0);
  // Clamped as a double: a span far beyond the piece length (sites 1e114
  // apart) is no int, and converting it is undefined.
  double const want = piece > 0.0 ? std::ceil(span / piece) : tol::kMaxParabolaPieces;
  int const n = !(want >= 1.0) ? 1 : want >= tol::kMaxParabolaPieces ? tol::kMaxParabolaPieces : static_cast<int>(want);
  for (int k = 1; k < n; ++k) {
    double const x = x0 + (x1 - x0) * k / n;
    double const y = ((x - fl.x) * (x - fl.x) + fl.y * fl.y) / (2.0 * fl.y);
    out.push_back(a + CPointD{x * u.x - y * u.y, x * u.y + y * u.x});
  }
}

}  // namespace Math::graph_detail
