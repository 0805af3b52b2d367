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
// Half the grid: the sweep's touch distance. Polygon-operation nodes this
// close are one node, so a touch that cut an edge leaves no gap.
inline constexpr double kNodeMerge = 0.5 * kGrid;
// Relative depth (of the coordinates' magnitude) by which a point must lie
// inside the extreme points' quadrilateral before the hull may skip it: far
// above rounding of the side tests, so only points the scan would drop anyway
// are skipped.
inline constexpr double kHullSkipRel = 1e-9;
// kFltEps squared: the polygon splitter compares squared distances, which
// saves a square root per candidate segment.
inline constexpr double kFltEps2 = kFltEps * kFltEps;
// Double-precision machine epsilon, the unit for rounding slack.
inline constexpr double kUlp = std::numeric_limits<double>::epsilon();
// Units in the last place (of the segment's x magnitudes) by which the
// splitter's crossing x may round beyond the segment's own x range.
inline constexpr double kCrossSlackUlps = 16.0;
// Hu invariants below this are compared as they are, not by their
// logarithm, which would blow tiny differences up.
inline constexpr double kLogFloor = 1e-5;
// Largest set or subset size NextCombination enumerates: its elements
// (0 .. size - 1) must fit the int of the subset.
inline constexpr unsigned int kMaxSubsetCount = 2147483648u;
static_assert(kMaxSubsetCount - 1u == static_cast<unsigned int>(std::numeric_limits<int>::max()));
// Largest coordinate magnitude the hull works on as given (2^500): twice it
// squared, a product of two coordinate differences, stays finite.
inline constexpr double kHullMaxDirect = 0x1p500;
// Most points CurveInfo resamples a stretch to (2^20, some 32 MB with the
// fit's work): beyond, the stretch is refused rather than allocated.
inline constexpr double kMaxCurveSamples = 1048576.0;
// Gap below which a bound on a vertex's distance, less the best distance
// so far, proves the vertex cannot win by kEps: kEps less room for the
// rounding of the scan's own subtraction.
inline constexpr double kRuledOutGap = 0.99 * kEps;

// Longest axis run a digital segment traces: twice it, the Bresenham error
// step, must fit in an int.
inline constexpr long long kMaxSegmentRun = (1LL << 30) - 1;
// Largest radius the doubled-grid circle traces: (2r)^2 must fit in an int.
inline constexpr int kMaxTraceRadius = 23170;
// The step of a pixel trace: the direction functions straighten a polyline
// at its median edge length, never more than this, so a staircase does not
// count as directions while vector detail above a pixel survives.
inline constexpr double kTraceStep = 1.0;
// Sine of the angle below which two fitted runs count as parallel: their
// intersection would move by 20 times any error across them, so they are
// joined by a step instead.
inline constexpr double kParallelSine = 0.05;
// Depth, in deviation tolerances, of a corner cut that PolyBroken treats as
// a trace's bevel rather than a side of the shape.
inline constexpr double kBevelDepth = 2.0;
// How far, in gaps between two runs (plus the minimum run length), PolyBroken
// lets their corner lie from their ends before it joins them by a step: a
// crossing farther out belongs to lines that barely converge.
inline constexpr double kCornerReach = 2.0;
// PolyBroken2's minimum run length in deviation tolerances: shorter runs turn
// by more than the tolerance lets one step bend a line.
inline constexpr double kBrokenRunFactor = 3.0;

// Most points of an arc drawn by the debug drawing: a picture needs no finer
// curve, and a huge arc under a huge zoom must not exhaust memory.
inline constexpr int kDebugArcMaxPoints = 4096;

// Squaring: a side leaning further than this (15 degrees) from its axis is
// off-axis, a cut corner or a step rather than a wall.
inline constexpr double kOrthoOffAxis = 0.2617993877991494;
// Squaring: the grid on which a squared corner is recognised again after
// the outline was cleaned up.
inline constexpr double kOrthoGrid = 0.001;
// Squaring: walls along one axis closer than this share of the shortest kept
// side are snapped to one line.
inline constexpr double kOrthoSnapShare = 0.25;
// Oriented rectangles: the start of a running minimum or maximum, the
// largest single-precision value.
inline constexpr double kFltMax = 3.4028234663852886e+38;
// Oriented rectangles: a rectangle this close to a square (smaller side over
// larger) gets a second direction search, its cost having two near minima.
inline constexpr double kRectSquarish = 0.75;

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
inline bool InUnitWithin(double t, double tol = kEps) { return !(LtBeyond(t, 0.0, tol) || GtBeyond(t, 1.0, tol)); }

// The failure value: the double whose 64 bits are all set (a quiet NaN).
// Callers may test bits, not only isnan, so it is always this exact value.
inline double BadValue() {
  std::uint64_t const bits = ~std::uint64_t{0};
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

}  // namespace Math::tol

namespace Math::tol {
// Error bounds of the floating-point filters of the orientation and
// in-circle predicates (relative to the sum of the magnitudes of their terms,
// unit round-off 2^-53): a result beyond them has the right sign, anything
// within is recomputed exactly.
inline constexpr double kOrientFilter = (3.0 + 16.0 * 0x1p-53) * 0x1p-53;
inline constexpr double kInCircleFilter = (10.0 + 96.0 * 0x1p-53) * 0x1p-53;
// Largest coordinate magnitude the triangulator accepts: the in-circle
// determinant has terms of degree four, which must stay finite.
inline constexpr double kMaxTriangulatorCoord = 1e60;
}  // namespace Math::tol

namespace Math::tol {
// Voronoi sites are scaled to integers by a power of two that maps the
// larger extent of the input onto fewer than this many units, centred on
// zero: the 32-bit range Boost.Polygon takes, and no more.
inline constexpr double kVoronoiUnits = 2147483648.0;  // 2^31
// A Voronoi vertex closer to its sites than this many integer units lies on
// the boundary (it is a vertex of the input, up to the construction's rounding).
inline constexpr double kVoronoiOnSite = 1.0;
// Parabolic Voronoi edges are sampled in at most this many pieces.
inline constexpr int kMaxParabolaPieces = 4096;
}  // namespace Math::tol
