// Small in-place operations on a polyline: resampling to a largest step, one
// pass of three-point smoothing, and rotation of a closed ring.
//
// Each builds its result aside and swaps it in, so the caller's vector is
// either fully replaced or left exactly as it was.
#pragma once

#include <math/types.h>

#include <vector>

namespace Math {

// Splits every segment longer than `dStep` (strictly) into ceil(L / dStep)
// equal parts; the input vertices are all kept, coincident ones included. The
// inner points are at t = dt, dt + dt, ... while t < 1 (dt = 1 / k summed by
// repeated addition, not j * dt), so rounding may leave one extra point just
// short of the segment's end: 10 parts of 0.1 sum to 0.9999999999999999.
// Left unchanged: fewer than 2 points, a step that is not positive or is NaN,
// a NaN or infinite coordinate, or a result that would exceed INT_MAX points.
KMATH_API void PolyResample(std::vector<CPointD>& poly, double dStep);

// One pass of the binomial filter: every inner point becomes 0.25 of its
// predecessor + 0.5 of itself + 0.25 of its successor, all from the
// unsmoothed points. An open polyline keeps its end points. A closed one
// (first and last points within 1e-12 in x and in y separately) is smoothed
// across its repeated end point and both ends become the same new point, so
// it stays closed. Left unchanged: fewer than 3 points, or a NaN or infinite
// coordinate.
KMATH_API void GaussSmoothing(std::vector<CPointD>& poly);

// For a closed ring (first and last points closer than 1e-12) and
// 0 < k < n - 1: the ring p(k) .. p(n-1), p(1) .. p(k), which starts and
// ends at p(k); the old duplicate end point stays inside the ring and p(0)
// is dropped. Otherwise the vector is left unchanged.
KMATH_API void ReconnectPoly(std::vector<CPointD>& poly, unsigned int k);

}  // namespace Math
