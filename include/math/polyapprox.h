// Thinning of dense traced polylines to the vertices that carry their shape
// (split at the farthest point until every dropped vertex lies within a
// deviation tolerance of its chord). The kept vertices are called
// inflections throughout: the vertices the approximation keeps, not points
// where the curvature changes sign.
//
// Distances are point-to-segment distances (CPtToEdge, line.h): the
// perpendicular distance when the foot falls on the segment, else the
// distance to the nearer end; a chord shorter than 1e-12 measures from its
// first point. "Beyond" a tolerance means by at least 1e-12.
#pragma once

#include <math/types.h>

#include <vector>

namespace Math {

// The two tolerances of the approximation; every operation is const.
class KMATH_API CPolyApprox {
 public:
  // Deviation tolerance (largest distance of a dropped vertex from the chord
  // that replaces it; should not be negative, a negative value acts as 0)
  // and chord limit (a chord longer than this beyond 1e-12 is split further
  // even when no vertex departs from it).
  CPolyApprox(double dTolerance, double dChordLimit) : m_dTolerance(dTolerance), m_dChordLimit(dChordLimit) {}

  double Tolerance() const { return m_dTolerance; }
  double ChordLimit() const { return m_dChordLimit; }

  // Of the vertices strictly between `first` and `last` (both inclusive
  // ends of one array), the one farthest from the segment first-last; `dist`
  // receives its distance. A later vertex wins only by at least 1e-12, so of
  // (nearly) equal distances the first is taken. With no vertex between, or
  // none at 1e-12 or more: returns `last` and dist = 0.
  CPointD const* OutmostPoint(CPointD const* first, CPointD const* last, double& dist) const;

  // Writes the kept vertex indices to `idx` (cleared first), increasing,
  // from 0 to n - 1. A stretch is split at its farthest vertex while that
  // lies beyond the tolerance; a chord beyond the limit is split at its
  // farthest vertex, or at the middle index when no vertex departs from it,
  // unless it joins consecutive vertices. Result: kept count, plus 1 for a
  // closed polyline (first and last closer than 1e-12), is less than n; so a
  // ring that loses only one vertex reports false. n < 3, a null pointer, a
  // count beyond INT_MAX or a NaN or infinite coordinate: false and `idx`
  // left exactly as passed. No recursion; memory linear in n. Long
  // stretches are searched through an index of vertex blocks that passes
  // over blocks proven unable to hold the farthest vertex, so a chord limit
  // on a long, nearly straight polyline (whose deviations are rounding
  // noise) costs about what any other polyline of that size costs; the
  // kept indices are exactly those of the plain search.
  bool GetInflections(CPointD const* pts, unsigned int n, std::vector<int>& idx) const;

  // GetInflections on the vector; when true the vector is replaced by its
  // kept vertices, in order. False leaves it unchanged.
  bool operator()(std::vector<CPointD>& poly) const;

 private:
  double m_dTolerance;
  double m_dChordLimit;
};

// CPolyApprox(dTolerance, dChordLimit)(poly).
KMATH_API bool PolyApprox(std::vector<CPointD>& poly, double dTolerance, double dChordLimit);

// GetInflections with the largest finite double as chord limit, so that only
// the deviation tolerance decides.
KMATH_API bool PolyInflections(std::vector<CPointD> const& poly, double dTolerance, std::vector<int>& idx);
KMATH_API bool PolyInflections(CPointD const* pts, unsigned int n, double dTolerance, std::vector<int>& idx);

}  // namespace Math
