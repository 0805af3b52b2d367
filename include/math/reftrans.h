// Transforms fitted to reference-point pairs that carry their own inverse: a
// similarity fixed by two pairs (CLinearTrans) and a second-order polynomial
// map fitted by least squares (CSqrTrans), with mix-ins that derive the image
// of a direction and of a distance from the transform's Point().
#pragma once

#include <math/affine.h>
#include <math/types.h>

#include <cmath>

namespace Math {

// Adds Angle() to a transform T that has `CPointD Point(CPointD) const`.
template <class T>
class CAngleCmnTrns {
 public:
  // Direction angle (radians, atan2 range) of the image of the unit vector
  // at angle a, probed at the source origin: atan2 of
  // Point((cos a, sin a)) - Point((0, 0)). For a non-linear map this is the
  // behaviour near (0, 0) only, and a map that collapses the probe gives 0.
  // Being a difference of two mapped points, it carries the rounding of
  // their magnitude: about 1e-9 rad when the map shifts to around 6e6.
  double Angle(double a) const {
    T const& t = static_cast<T const&>(*this);
    CPointD const p0 = t.Point(CPointD{0.0, 0.0});
    CPointD const p1 = t.Point(CPointD{std::cos(a), std::sin(a)});
    return std::atan2(p1.y - p0.y, p1.x - p0.x);
  }
};

// Adds Distance() to a transform T that has `CPointD Point(CPointD) const`.
template <class T>
class CDistCmnTrns {
 public:
  // Length of the image of the vector (d, 0) (alongX) or (0, d), probed at
  // the source origin: |Point(v) - Point((0, 0))|. Never negative; for a
  // non-linear map it describes the map near (0, 0) only. Like Angle() it
  // is a difference of mapped points: an absolute error of about the
  // rounding of their coordinates (~1e-9 near 6e6), however small d is.
  double Distance(double d, bool alongX) const {
    T const& t = static_cast<T const&>(*this);
    CPointD const v = alongX ? CPointD{d, 0.0} : CPointD{0.0, d};
    CPointD const q = t.Point(v) - t.Point(CPointD{0.0, 0.0});
    return std::hypot(q.x, q.y);
  }
};

// A similarity (rotation, uniform scale, shift) with its inverse. Each block
// is (a, b, tx, ty): x' = a*x - b*y + tx, y' = b*x + a*y + ty.
class KMATH_API CLinearTrans : public CAngleCmnTrns<CLinearTrans>, public CDistCmnTrns<CLinearTrans> {
 public:
  // The identity in both directions.
  CLinearTrans();
  // Define(direct, inverse); the identity if that fails (null pointers only).
  CLinearTrans(double const* direct, double const* inverse);
  // Define(rps, n); the identity if the fit fails.
  CLinearTrans(CRefPoint const* rps, unsigned int n);

  // Copies four doubles into each block; the inverse is trusted, not
  // checked, and both are read before either is written (this object's own
  // blocks may be passed). True, except that a null pointer gives false and
  // changes nothing.
  bool Define(double const* direct, double const* inverse);
  // The similarity through the FIRST TWO pairs only (further pairs are
  // ignored), with the inverse fitted from the same two pairs rather than by
  // inverting the direct block. With centred offsets (dx, dy) of the sources
  // and (du, dv) of the targets: a = dot/Ss, b = cross/Ss, and the inverse
  // a' = dot/St, b' = -cross/St, where Ss, St are the sums of squared source
  // and target offsets. False, nothing changed, for n < 2, a null `rps`,
  // Ss or St below 1.1920928955078125e-07 (coincident sources or targets,
  // absolute, so pairs less than about 2.4e-4 apart count as coincident), or
  // a NaN or infinity in Ss or St.
  bool Define(CRefPoint const* rps, unsigned int n);

  // The direct map of p.
  CPointD Point(CPointD p) const;
  // A transform with the two blocks exchanged.
  CLinearTrans Inverse() const;
  // Shifts the output by d (tx += d.x, ty += d.y) and adjusts the inverse so
  // that it still undoes the direct map.
  void Offset(CPointD const& d);

  // The direct block (a, b, tx, ty); Inverse().Coefficients() gives the
  // inverse one.
  double const* Coefficients() const { return m_direct; }

 private:
  void SetDummyTrans();

  double m_direct[4];
  double m_inverse[4];
};

// A second-order polynomial map with its inverse. Each block holds six
// coefficients for x' and six for y', each in the monomial order
// x^2, y^2, x*y, x, y, 1.
//
// Conditioning. The fit solves the normal equations of the raw monomials
// (no centring, no scaling) by Cholesky. Sources spread from 0 to a few
// thousand, as pixel coordinates are, fit to rounding. Sources far from
// the origin compared with their spread, such as projected world coordinates
// (x ~ 5e5, y ~ 6e6 over a few kilometres), make x^2, y^2, x*y, x, y and 1
// nearly dependent: the fit towards pixels then misses by tenths of a pixel
// to whole pixels, or meets a non-positive pivot and fails, which
// Define(rps, n) reports only by its result while keeping the good direct
// block. Move such coordinates near the origin (subtract a reference point
// of the area) before fitting, and add it back after mapping. Sources spread
// over well under a unit fail the absolute 1e-12 test below even when the
// fit is well posed (the diagonal product grows as the spread to the 8th
// power).
class KMATH_API CSqrTrans : public CAngleCmnTrns<CSqrTrans>, public CDistCmnTrns<CSqrTrans> {
 public:
  // The fallback map (x, y) -> (y, 1) in both directions (see Define).
  CSqrTrans();
  // Define(direct, inverse); the fallback map if a pointer is null.
  CSqrTrans(double const* direct, double const* inverse);
  // Define(rps, n); the fallback map if the fit fails, so a caller can tell
  // a failed fit by Point((x, y)) == (y, 1).
  CSqrTrans(CRefPoint const* rps, unsigned int n);

  // False, nothing changed, if either pointer is null; else copies twelve
  // doubles into each block (the inverse is trusted; this object's own
  // blocks may be passed) and returns true.
  bool Define(double const* direct, double const* inverse);
  // Least squares over the n pairs: the direct block from src to dst, then
  // the inverse block from dst to src, each an independent fit (neither is
  // the inverse of the other except for an exactly affine relation). False
  // for n < 6 or a null `rps`, blocks untouched. A fit fails when the
  // absolute value of the product of the Cholesky diagonal is below 1e-12 or
  // is a NaN (a negative or zero pivot met as 0/0), as for sources all on
  // one axis or all alike, or when its coefficients are not finite (a NaN
  // or infinity among the targets); a failed direct fit returns false at once
  // with both blocks untouched, a failed inverse fit returns false with the
  // direct block already replaced. The threshold is absolute and applies to
  // raw coordinates (see Conditioning above).
  bool Define(CRefPoint const* rps, unsigned int n);

  // The direct polynomial map of p.
  CPointD Point(CPointD p) const;
  // A transform with the two blocks exchanged.
  CSqrTrans Inverse() const;

  // The direct block (twelve doubles); Inverse().Coefficients() gives the
  // inverse one.
  double const* Coefficients() const { return m_direct; }

 private:
  // Both blocks (x, y) -> (y, 1): a recognisable failure, not the identity.
  void SetDummyTrans();

  double m_direct[12];
  double m_inverse[12];
};

KMATH_FP_CONTRACT_OFF_BEGIN
inline CPointD CLinearTrans::Point(CPointD p) const {
  double const* m = m_direct;
  return {m[0] * p.x - m[1] * p.y + m[2], m[1] * p.x + m[0] * p.y + m[3]};
}
inline CPointD CSqrTrans::Point(CPointD p) const {
  double const* c = m_direct;
  double const xx = p.x * p.x, yy = p.y * p.y, xy = p.x * p.y;
  return {c[0] * xx + c[1] * yy + c[2] * xy + c[3] * p.x + c[4] * p.y + c[5],
          c[6] * xx + c[7] * yy + c[8] * xy + c[9] * p.x + c[10] * p.y + c[11]};
}
KMATH_FP_CONTRACT_OFF_END

}  // namespace Math
