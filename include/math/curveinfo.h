// Which way a polyline runs and how it bends at a given place: a parametric
// polynomial fitted to a stretch of given arc length (tangent, curvature),
// a straight fit over the first half of it (overall direction), and the
// running direction at either end of a polyline.
//
// Angles are radians, y up: a counter-clockwise turn has positive curvature.
#pragma once

#include <math/polyline.h>
#include <math/types.h>

#include <vector>

namespace Math {

// A stretch's start described by two least-squares fits against chord length
// t (the distance along the stretch from its first point, x and y fitted
// independently, equal weights): the polynomial P(t) = c0 + c1 t + ... + cd
// t^d and the line c0' + c1' t over the first half of the stretch.
//
// Two process-wide kink parameters (SetKinkParms) steer CurveInfo; they are
// written without a lock, so SetKinkParms must not run while another thread
// calls CurveInfo.
class KMATH_API CCurveInfo {
 public:
  // Fits a stretch of `poly` of arc length `dLength` and the given degree.
  // The parameters are the chord lengths minus `dOffset`; they run while the
  // length walked so far does not exceed dLength beyond 1e-12, so the first
  // point that carries it past dLength is still used. The degree drops to
  // (points used - 1) when not smaller. The line is fitted to the points
  // whose parameter is at most dLength / 2 (at least the first two) plus the
  // point at arc length dLength / 2 along the polyline. Fewer than 2 points,
  // a NaN length, a NaN or infinite offset, or a NaN or infinite coordinate
  // among the points either fit uses (the line's two first points even when
  // a negative length leaves the polynomial one): the invalid object, all
  // three vectors empty. The
  // fit is a Householder QR on the centred and scaled parameter, converted to
  // the monomial basis in t; when fewer distinct parameters than coefficients
  // exist, the higher coefficients are 0.
  CCurveInfo(poly_base<CPointD> const& poly, double dLength, unsigned int nDegree, double dOffset);

  // The polynomial is not empty.
  bool IsValid() const { return !m_polynom.empty(); }
  // c0 .. cd; empty when invalid.
  std::vector<CPointD> const& Polynom() const { return m_polynom; }
  // The line's point at t = 0 and its direction per unit of t.
  std::vector<CPointD> const& RegLine() const { return m_regline; }
  // Chord-length parameter of each point used, minus the offset.
  std::vector<double> const& Params() const { return m_params; }

  // The tangent vector at the start, c1 (not normalised).
  CPointD TanVector() const;
  // P'(t) by Horner's rule; (0, 0) for a constant polynomial.
  CPointD TanVector(double t) const;
  // atan2(c1.y, c1.x).
  double Tangent() const;
  // The line's direction per unit of t.
  CPointD DirVector() const;
  // atan2 of DirVector (y first).
  double Direction() const;
  // Signed curvature at t = 0: 2 (c1 x c2) / |c1|^3.
  double Curvature() const;
  // The accessors above read c1, c2 or the line without the caller having to
  // check: a coefficient the object does not have gives the all-ones NaN
  // (point or angle), and Curvature of a degree-1 fit is that NaN.

  // Sets the two process-wide kink parameters (defaults 2.0 and pi/3): a
  // vertex is a kink when at least one of its arms (vectors to its
  // neighbours) is at least `dArmLength` long and the absolute angle between
  // the arms is at most `dAngle`.
  static void SetKinkParms(double dArmLength, double dAngle);

 private:
  void InitChordLength(poly_base<CPointD> const& poly, double dLength, double dOffset);
  // The number of parameters not greater than x, but at least 2.
  unsigned int GetNotExceedCnt(double x) const;

  std::vector<CPointD> m_polynom;
  std::vector<CPointD> m_regline;
  std::vector<double> m_params;
};

// The curve information at `hit` over `dLength` of arc, forward or (with
// bBackward) backward from the hit, the stretch then starting at the hit and
// running against the polyline's direction. A hit within 1e-12 of the end
// of its segment counts as the next vertex. The stretch is cut with
// CutBetween (the move along the polyline stops at its ends, no wrap across
// a ring's closing point), cut after its first kink vertex, resampled at
// step 1.0 and fitted with offset 0. A polyline shorter than 1e-12 in total,
// an invalid hit, or a negative or NaN length: the invalid object. So is a
// stretch whose resampling could exceed 2^20 = 1048576 points (counting the
// last point, one per vertex and ceil(L) more per segment longer than 1:
// about one point per unit of length, so stretches beyond about a million
// units), refused before anything is allocated for it.
KMATH_API CCurveInfo CurveInfo(poly_base<CPointD> const& poly, poly_hit hit, double dLength, bool bBackward,
                               unsigned int nDegree);

// The running direction at the start of a polyline, a vector (not
// normalised) from the projection of the first point to the projection of
// the stretch's last point on a line fitted by LIRLine (relative position
// 0.4, sharpness ln 3 / (0.4 - v)^2, v = min(len / stretch length, 0.2)).
// Only the first min(n, nSpan) points are looked at; the stretch ends at the
// first inflection (PolyInflections with dTolerance) at least 2 dLength
// from the first point, else at the last entry of the list. When
// PolyInflections returns false (nothing dropped, or one vertex of a ring),
// 0 and the span's last index are appended to its list (not replacing it).
// (0, 0) for fewer than 2 points in the span, a failed fit, a vector shorter
// than 1e-12, or a NaN or infinite coordinate in the span.
KMATH_API CPointD PolyStartingDir(CPointD const* pts, unsigned int n, unsigned int nSpan, double dLength,
                                  double dTolerance);

// The mirror image at the end of the polyline, pointing towards the last
// point, over the last min(n, nSpan) points, with its own constants:
// relative position 0.65 and sharpness ln 3 / (0.35 - v)^2. The inflections
// are walked back from the second-last entry of the list, so when
// PolyInflections returns false the appended 0 is tried first and the
// whole span is used when its ends lie at least 2 dLength apart. (0, 0) as
// for PolyStartingDir.
KMATH_API CPointD PolyEndingDir(CPointD const* pts, unsigned int n, unsigned int nSpan, double dLength,
                                double dTolerance);

}  // namespace Math
