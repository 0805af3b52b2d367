// Orientation and in-circle tests with a floating-point filter and an exact
// fallback on expansion arithmetic, so that their signs are always right for
// finite input whose degree-four products neither overflow nor underflow.
#pragma once

#include <math/types.h>

#include <cmath>

#include "core/tolerance.h"

namespace Math::graph_detail {

// Exact signs, used when the filters cannot decide.
int OrientExact(CPointD const& a, CPointD const& b, CPointD const& c);
int InCircleExact(CPointD const& a, CPointD const& b, CPointD const& c, CPointD const& d);

// +1 when a -> b -> c turns counter-clockwise (y up), -1 clockwise, 0 collinear.
inline int Orient(CPointD const& a, CPointD const& b, CPointD const& c) {
  double const l = (a.x - c.x) * (b.y - c.y);
  double const r = (a.y - c.y) * (b.x - c.x);
  double const det = l - r;
  double const bound = tol::kOrientFilter * (std::abs(l) + std::abs(r));
  if (det > bound) return 1;
  if (-det > bound) return -1;
  if (l == 0.0 && r == 0.0) return 0;
  return OrientExact(a, b, c);
}

// +1 when d lies inside the circle through the counter-clockwise a, b, c,
// -1 outside, 0 on it (the signs flip for a clockwise triple).
inline int InCircle(CPointD const& a, CPointD const& b, CPointD const& c, CPointD const& d) {
  double const adx = a.x - d.x, ady = a.y - d.y;
  double const bdx = b.x - d.x, bdy = b.y - d.y;
  double const cdx = c.x - d.x, cdy = c.y - d.y;
  double const bc1 = bdx * cdy, bc2 = cdx * bdy;
  double const ca1 = cdx * ady, ca2 = adx * cdy;
  double const ab1 = adx * bdy, ab2 = bdx * ady;
  double const al = adx * adx + ady * ady;
  double const bl = bdx * bdx + bdy * bdy;
  double const cl = cdx * cdx + cdy * cdy;
  double const det = al * (bc1 - bc2) + bl * (ca1 - ca2) + cl * (ab1 - ab2);
  double const perm = (std::abs(bc1) + std::abs(bc2)) * al + (std::abs(ca1) + std::abs(ca2)) * bl +
                      (std::abs(ab1) + std::abs(ab2)) * cl;
  double const bound = tol::kInCircleFilter * perm;
  if (det > bound) return 1;
  if (-det > bound) return -1;
  if (perm == 0.0) return 0;
  return InCircleExact(a, b, c, d);
}

}  // namespace Math::graph_detail
