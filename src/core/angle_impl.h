// Angles of plane vectors with rounding noise snapped to zero, for the edge
// relations (line.cpp) and the kink test of curve analysis (curveinfo.cpp).
// Snapping keeps a component that is pure noise (a "vertical" vector with
// x = 1e-17) from flipping an angle between -pi and pi.
#pragma once

#include <math/types.h>

#include <cmath>

#include "core/tolerance.h"

namespace Math::angle_detail {

// Zero for |v| < kEps, v otherwise.
inline double SnapZero(double v) { return std::abs(v) < tol::kEps ? 0.0 : v; }

// atan2(y, x) of the vector, each component below kEps taken as zero.
inline double VectorAngle(CPointD const& v) { return std::atan2(SnapZero(v.y), SnapZero(v.x)); }

// The signed angle turning u onto v, in [-pi, pi]: atan2(cross, dot), each
// below kEps taken as zero. Positive is counter-clockwise (y up).
inline double SignedAngle(CPointD const& u, CPointD const& v) {
  double const cross = u.x * v.y - u.y * v.x;
  double const dot = u.x * v.x + u.y * v.y;
  return std::atan2(SnapZero(cross), SnapZero(dot));
}

}  // namespace Math::angle_detail
