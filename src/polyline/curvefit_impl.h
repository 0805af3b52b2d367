// Shared by the Bézier fit, the smoothing and the smooth join: cleaning of
// the input, corner detection and the cubic's evaluation.
#pragma once

#include <math/curvefit.h>

#include <cmath>
#include <vector>

namespace Math::curvefit_detail {

inline double Dot(CPointD const& u, CPointD const& v) { return u.x * v.x + u.y * v.y; }
inline double Cross(CPointD const& u, CPointD const& v) { return u.x * v.y - u.y * v.x; }
inline double Norm(CPointD const& u) { return std::hypot(u.x, u.y); }

inline CPointD Bezier(CBezierPiece const& b, double t) {
  double const s = 1 - t;
  return b.p0 * (s * s * s) + b.p1 * (3 * s * s * t) + b.p2 * (3 * s * t * t) + b.p3 * (t * t * t);
}
inline CPointD BezierD1(CBezierPiece const& b, double t) {
  double const s = 1 - t;
  return (b.p1 - b.p0) * (3 * s * s) + (b.p2 - b.p1) * (6 * s * t) + (b.p3 - b.p2) * (3 * t * t);
}
inline CPointD BezierD2(CBezierPiece const& b, double t) {
  return (b.p2 - b.p1 * 2 + b.p0) * (6 * (1 - t)) + (b.p3 - b.p2 * 2 + b.p1) * (6 * t);
}

// A polyline without repeats: consecutive points closer than 1e-12 merged,
// and for a closed one the repeated end point dropped, so `v` holds each
// vertex of the ring once. False on a NaN or infinite coordinate or fewer
// than 2 distinct points (3 for a ring).
bool CleanPolyline(std::vector<CPointD> const& poly, std::vector<CPointD>& v, bool& closed);

// Indices into `v` (as CleanPolyline left it) of the sharp corners: the
// vertices kept by the approximation at `dApprox` whose chords turn by more
// than `dCornerAngle`. For a ring every vertex is a candidate; for an open
// polyline the end points are not listed.
std::vector<std::size_t> FindCorners(std::vector<CPointD> const& v, bool closed, double dApprox, double dCornerAngle);

}  // namespace Math::curvefit_detail
