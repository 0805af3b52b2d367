// The size PolyResample reserves, shared with the callers that must refuse
// a resampling before it allocates.
#pragma once

#include <math/types.h>

#include <cmath>
#include <cstddef>

namespace Math::resample_detail {

// An upper bound on the points resampling at `step` makes: the last point,
// one per segment, and ceil(L / step) more for a segment longer than step
// (k - 1 inner points, plus the one rounding can leave just short of the
// end). Summed in double so that a tiny step against huge coordinates
// cannot overflow the count; a NaN coordinate makes it NaN.
inline double Capacity(CPointD const* pts, std::size_t n, double step) {
  double total = 1.0;
  for (std::size_t i = 1; i < n; ++i) {
    CPointD const d = pts[i] - pts[i - 1];
    double const len = std::hypot(d.x, d.y);
    total += 1.0;
    if (len > step) total += std::ceil(len / step);
  }
  return total;
}

}  // namespace Math::resample_detail
