// The one home of every constant the library compares against, and of the
// failure value for an undefined parameter, angle or point. Algorithm code
// names these; it never spells a bare 1e-12.
//
// Which comparison applies (strict or not, within or beyond) is part of each
// operation's contract: use the helper the operation names, do not tidy.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace Math::tol {

// Below this a length, parameter, cross product or angle is zero.
inline constexpr double kEps = 1e-12;
// Single-precision machine epsilon: parallelism, the quadratic solver,
// world-file comparison, moments and the polygon code.
inline constexpr double kFltEps = 1.1920928955078125e-07;
static_assert(kFltEps == static_cast<double>(std::numeric_limits<float>::epsilon()));
// Determinants of the affine fits.
inline constexpr double kDetEps = 1e-10;
// Relative tolerance of the point-against-edge classifier.
inline constexpr double kRelEps = 1e-8;
// Grid of edge-touch distances in the crossing sweep.
inline constexpr double kGrid = 0.001;
// Relative depth (of the coordinates' magnitude) by which a point must lie
// inside the extreme points' quadrilateral before the hull may skip it: far
// above rounding of the side tests, so only points the scan would drop anyway
// are skipped.
inline constexpr double kHullSkipRel = 1e-9;

// Offsets and curve fitting: an end point closer than this (relative to the
// coordinates' magnitude) to another segment of a raw offset lies on it, so
// a touch is split exactly there instead of being missed by rounding.
inline constexpr double kOffsetSnapRel = 1e-13;
// Offsets and curve fitting: the area of a smoothed ring is restored to this
// relative error.
inline constexpr double kAreaRel = 1e-9;

// Offsets: coordinates (of input or raw offset) beyond this magnitude are
// refused, so that extents, products and the crossing grid stay finite.
inline constexpr double kHugeCoord = 1e150;

// "a >= b within t": a near-tie counts as not smaller.
inline bool GeWithin(double a, double b, double t = kEps) { return std::abs(a - b) < t || a > b; }
// "a <= b within t": a near-tie counts as not larger.
inline bool LeWithin(double a, double b, double t = kEps) { return std::abs(a - b) < t || a < b; }
// "a > b beyond t": only a clear win replaces the best so far, so ties keep
// the earlier one.
inline bool GtBeyond(double a, double b, double t = kEps) { return std::abs(a - b) >= t && a > b; }
// "a < b beyond t".
inline bool LtBeyond(double a, double b, double t = kEps) { return std::abs(a - b) >= t && a < b; }
// Within [0, 1] with the tolerant ends of an edge parameter. A NaN passes:
// both comparisons with it are false, so neither end rejects it.
inline bool InUnitWithin(double t, double tol = kEps) {
  return !(LtBeyond(t, 0.0, tol) || GtBeyond(t, 1.0, tol));
}

// The failure value: the double whose 64 bits are all set (a quiet NaN).
// Callers may test bits, not only isnan, so it is always this exact value.
inline double BadValue() {
  std::uint64_t const bits = ~std::uint64_t{0};
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

}  // namespace Math::tol
