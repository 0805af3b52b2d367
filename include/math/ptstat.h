// The small numerical kit: an accumulator of first and second moments of a
// point set with the line fits built on it, a locally weighted line fit
// along a polyline, small solvers, a regression, a median, k-subsets and the
// convex hull.
//
// EPS is 1e-12; FLT_EPS is the single-precision epsilon. No function throws.
#pragma once

#include <math/line.h>
#include <math/types.h>

#include <cstdint>
#include <vector>

namespace Math {

// Raw sums of x, y, x^2, xy, y^2 and the count: adding, removing and merging
// are exact inverses up to rounding, constant-time and allocation-free.
class KMATH_API CPtStat {
 public:
  CPtStat() = default;
  // Adds the n points; n <= 0 or a null pointer adds nothing.
  CPtStat(CPointD const* pts, int n);

  unsigned int GetCount() const { return m_count; }
  void AddPoint(CPointD const& p);
  // The mirror of AddPoint; removing a point never added is not checked.
  void DelPoint(CPointD const& p);
  // n <= 0 or a null pointer adds nothing.
  void AddPoints(CPointD const* pts, int n);
  CPtStat& operator+=(CPtStat const& o);

  // The centroid; the all-ones NaN point for count 0.
  CPointD AvgPoint() const;
  // Total-least-squares line through the centroid, (a, b) unit. False (f
  // untouched) when count < 2, the spread has no main direction (its
  // variances equal within EPS and covariance below EPS) or a sum is not
  // finite.
  bool InitLine(CLinForm& f) const;
  // Least-squares regression line forced through p, not normalised; for
  // points on the vertical through p (|a|, |b| < EPS), a = Syy and b keeps
  // its tiny Sxx. Always true: all-zero form when every point equals p (or
  // there are none), NaN form for NaN.
  bool InitLine(CLinForm& f, CPointD const& p) const;
  // Root-mean-square of a*x + b*y + c over the points; 0 for no points or a
  // non-positive sum of squares.
  double MSError(double a, double b, double c) const;
  // MSError of the InitLine(f) form; 0 when that fit fails.
  double MSError() const;

 private:
  double m_sx = 0.0;
  double m_sy = 0.0;
  double m_sxx = 0.0;
  double m_sxy = 0.0;
  double m_syy = 0.0;
  std::uint32_t m_count = 0;
};

// Largest |l.Value(p)| over the points; 0 for n = 0 or null pts, the
// all-ones NaN when a deviation is NaN.
KMATH_API double MaxDeviation(CLine const& l, CPointD const* pts, unsigned int n);
// Line fit along a polyline in which each vertex weighs by how close its
// relative arc position is to pos: exp(-sharpness*u^2), or
// exp(-sharpness*|u|) when laplace (the first vertex then uses
// exp(-sharpness*pos), sign kept). Trapezoid integration over the segments.
// False (f untouched) for a polyline shorter than EPS (n < 2 included), no
// main direction, or NaN input. With total weight <= EPS the raw weighted
// sums are used uncentred.
KMATH_API bool LIRLine(CLinForm& f, CPointD const* pts, unsigned int n, double pos, double sharpness, bool laplace);
// Solves the 2x2 system m*x = r (m row by row); false (x untouched) when
// |det| <= EPS, det is NaN or a pointer is null.
KMATH_API bool SolveKramer(double const* m, double* x, double const* r);
// Number of roots of a*x^2 + b*x + c = 0 strictly inside (lo, hi), 0 to 2.
// Roots closer than FLT_EPS count once; the surviving root is in x1, and x2
// repeats it when only one survives. |a| <= FLT_EPS solves the linear case
// (0 when |b| <= FLT_EPS too). x1, x2 untouched when there is no real root;
// a NaN root never counts.
KMATH_API int SolveQuadratic(double a, double b, double c, double& x1, double& x2, double lo, double hi);
// Least-squares y = k*x + b; returns k. Points on one vertical, or none,
// give non-finite values.
KMATH_API double Regression(std::vector<CPointD> const& pts, double& k, double& b);
// Median of the n values (mean of the middle two for even n); the input is
// not modified. The all-ones NaN for n = 0, a null v, or a NaN among the
// values.
KMATH_API double CalcMedian(double const* v, unsigned int n);
// Steps comb to the next k-subset of 0..n-1 in lexicographic order; a comb
// of the wrong size becomes the first subset. False at the last subset,
// comb unchanged; k = 0 with an empty comb is at once the last. The bound
// n - k + i is compared signed, so k > n ends after the first subset. n or
// k above 2^31 (elements an int cannot hold): false, comb unchanged.
KMATH_API bool NextCombination(unsigned int n, unsigned int k, std::vector<int>& comb);
// Replaces pts by their convex hull (Graham scan): counter-clockwise (y up)
// from the lowest point (y within EPS: the smaller x beyond EPS, else the
// earlier) and closed by repeating it; collinear points and duplicates are
// dropped. Points sort by angle about the pivot, angles within EPS by
// radius. The vertices are the caller's exact points. Three points or fewer, and any
// input with a NaN or infinite coordinate, are left exactly as they are.
// Any finite magnitude is handled: points beyond 2^500 (about 3.3e150) are
// scaled by a power of two for the scan, where 1e-12 is far below their
// rounding. O(n log n).
KMATH_API void ConvexHull(std::vector<CPointD>& pts);

}  // namespace Math
