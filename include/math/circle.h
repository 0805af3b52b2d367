// Circles and circular arcs as values, the fillet arc that rounds a corner,
// circles and arcs turned into polylines within a distance tolerance, and a
// weighted circle fit.
//
// Angles are radians, counter-clockwise from the x axis (atan2 convention).
// Lengths and angles are zero below EPS = 1e-12. Nothing throws.
#pragma once

#include <math/polyline.h>
#include <math/types.h>

#include <vector>

namespace Math {

// A circle; the radius is stored as its absolute value.
class KMATH_API CCircle {
 public:
  CCircle(CPointD const& center, double radius);

  // Radius at least EPS (a NaN radius is not valid).
  bool IsValid() const;
  // atan2 of p - centre; the all-ones NaN when the radius is below EPS.
  double Angle(CPointD const& p) const;
  CPointD Center() const { return ptCenter; }
  double Radius() const { return dRadius; }
  // Replaces out by a closed polygon (N + 1 points, the last repeating the
  // first, vertex k at angle 2 pi k / N). N is the fewest sides whose chords
  // stay within `tolerance` of the circle, at least 8 (unless nMax is
  // smaller) and at most about nMax; the vertices sit outside the circle so
  // that it runs halfway between vertices and chord midpoints, and the
  // polygon strays at most `tolerance` to either side. Tolerance 0 gives
  // nMax sides, a tolerance as large as the radius 8. False,
  // out untouched, when |tolerance + radius| < EPS, when nMax < 2 (no
  // polygon) or when the centre or radius is not finite.
  bool MakePoly(poly_base<CPointD>& out, double tolerance, int nMax) const;

  CPointD ptCenter;
  double dRadius;
};

// A circular arc from dStart to dEnd (radians, not normalised): clockwise
// when dEnd < dStart. Both angles within EPS of 0 is the invalid arc.
class KMATH_API CArc {
 public:
  CArc(CPointD const& center, double radius, double start, double end);

  // dEnd - dStart < 0.
  bool IsClockwise() const;
  // False only when both angles are within EPS of 0.
  bool IsValid() const;
  // Replaces out by N + 1 points on the arc (radius not compensated), the
  // first at dStart and the last exactly at dEnd, evenly spread. With
  // s = 2 acos((r - t) / r), the chord angle of deviation t, the step is s,
  // or a quarter of the sweep when s is a NaN (t > 2r) or longer than half
  // the sweep; N = trunc(sweep / step + 0.9), at most nMax - 1 (nMax 1: the
  // end point alone). False, out untouched, unless radius and tolerance are
  // at least EPS; also for a zero or non-finite sweep, a centre or radius
  // that is not finite, and nMax < 1.
  bool MakePoly(poly_base<CPointD>& out, double tolerance, int nMax) const;

  CPointD ptCenter;
  double dRadius;
  double dStart;
  double dEnd;
};

// The fillet of the corner pts[1] between the legs to pts[0] and pts[2]:
// the arc of |radius| tangent to both legs, from the tangent point on the
// first leg to the one on the second (their distance from the corner is
// radius / tan(angle / 2), the sign of radius kept). The start angle is
// moved by 2 pi when needed so that the sweep is at most pi. The all-zero
// (invalid) arc when a tangent point would lie beyond the end of its leg,
// when the legs are straight (no corner), for a radius of 0 or when the
// input is not finite. Any other radius has its fillet; one too small to
// move the tangent points off the corner gives an invalid arc there.
// pts must hold three points.
KMATH_API CArc MakeArc(CPointD const* pts, double radius);

// Appends to out (not cleared) a polygon approximating the circle with the
// step of CCircle::MakePoly but N = ceil(2 pi / s), the angle stepping by
// repeated addition of 2 pi / N while below 2 pi (rounding may add a last
// vertex next to the first), then a copy of out's first element, which
// closes the ring only when out was empty. False, out untouched, when
// |tolerance + radius| < EPS, nMax < 2 or centre or radius is not finite.
KMATH_API bool CircleToPoly(std::vector<CPointD>& out, CPointD const& center, double radius, double tolerance,
                            unsigned nMax);

// A weighted circle fit, read through its result.
class KMATH_API CCircleReduce {
 public:
#pragma pack(push, 2)
  // Packed (2-byte alignment) and copied as a whole; all zero or false
  // until a fit succeeds. Copy the misaligned fields rather than binding
  // references to them (a const CPointD& parameter, std::max). dDeviation is the root-mean-square radial distance
  // |p - ptCenter| - dRadius of the points, weighted as in the fit.
  struct CResult {
    bool bValid;
    CPointD ptCenter;
    double dRadius;
    double dDeviation;
  };
#pragma pack(pop)

  // A point of a polyline and its weight.
  struct CPt {
    CPointD pt;
    double w;
  };

  // Circle of a closed polyline (more than 2 points, the last within EPS of
  // the first); otherwise, or with a non-finite coordinate, the all-zero
  // record. A closed polyline is always valid.
  //
  // Each vertex (the repeated closing point counted once) weighs half the
  // length of its two segments, normalised to a sum of 1, so the fit
  // approximates the integral along the curve whatever the sampling
  // density. The circle is Taubin's algebraic fit (nearly free of the
  // radius bias the plain algebraic fit shows on short arcs), refined by
  // Levenberg-Marquardt steps on the weighted sum of squared radial
  // distances, so it is the geometric least-squares circle and dDeviation
  // is the quantity it minimises. Points that define no circle (collinear:
  // a radius beyond 1/EPS times their spread; or all coincident) give their
  // weighted centroid and mean distance from it, still valid. A fit that
  // overflows (coordinates near the largest double) gives the all-zero
  // record.
  explicit CCircleReduce(poly_base<CPointD> const& poly);
  // The algebraic fit x^2 + y^2 = 2ax + 2by - k of n points with weights
  // w = weights[i]^2 (all 1 when weights is null). The normal equations use
  // the point count n where the weight sum would belong, also with
  // weights: non-unit weights scale the fitted radius. Invalid (all zero)
  // for n <= 2, a singular system (collinear points) or k > a^2 + b^2.
  CCircleReduce(CPointD const* pts, unsigned n, double const* weights);

  operator CResult() const { return m_result; }

 private:
  // Half the length of the two segments around each distinct vertex of a
  // closed polyline; uniform when the polyline has no length.
  static void WeightPoly(poly_base<CPointD> const& poly, std::vector<CPt>& out);
  // Scales the weights to a sum of 1.
  static void NormalizeWeights(std::vector<CPt>& pts);

  CResult m_result;
};

}  // namespace Math
