// Moment descriptors of shapes: raw moments up to third order (accumulated
// from weighted pixels or exact for a polygon), central moments with the
// measures derived from them, Hu's seven invariants and their comparison,
// and the light second-order moments of a polygon's area and of a
// polyline's edges.
//
// All records are plain values with public fields; nothing allocates and
// nothing throws. The validity threshold of the moments is the
// single-precision epsilon FLT_EPS = 1.1920928955078125e-07.
#pragma once

#include <math/types.h>

namespace Math {

#pragma pack(push, 2)

// Raw moments: m_pq = sum of w * x^p * y^q. Packed (the order byte directly
// followed by the doubles, 2-byte alignment) so that a record is copied as
// a plain block of bytes. The doubles are misaligned: read or copy them,
// but do not bind them to references (std::max, std::min, a const double&
// parameter), which is undefined behaviour.
class KMATH_API CRawMoments {
 public:
  // Order 3, all moments 0.
  CRawMoments();
  // The given order, all moments 0. Order 0 or 1 keeps the zeroth and first
  // moments and m11; 2 adds m20 and m02; 3 adds the third order.
  explicit CRawMoments(unsigned char order);
  // Exact moments of the polygon bounded by the edges p[i-1] -> p[i],
  // i = 1..n-1. No closing edge is added: pass a closed ring (first point
  // repeated at the end). Either orientation gives the moments of the
  // positively oriented polygon. Order 3 on success; order 0 with every
  // moment 0 when twice the area is at most FLT_EPS (fewer than two points,
  // a collinear or zero-area ring) or the area is not finite (NaN or
  // infinite input). So a record with an area in (FLT_EPS / 2, FLT_EPS)
  // has order 3 and is still not IsValid.
  CRawMoments(CPointD const* pts, unsigned n);

  // Adds the integer point p with weight w: m00, m10, m01 and m11 at every
  // order, the second order from order 2 and the third from order 3.
  void AddPoint(CPoint const& p, double w);
  // (m10 / m00, m01 / m00), unguarded: test IsValid first.
  CPointD Centroid() const;
  // |m00| >= FLT_EPS.
  bool IsValid() const;

  unsigned char nOrder;
  double m00;
  double m10, m01;
  double m20, m11, m02;
  double m30, m21, m12, m03;
};

// Raw moments plus the central moments mu_pq about the centroid. The
// measures below divide without guards: on a record that is not valid they
// give infinities or NaNs, so callers test IsValid first.
class KMATH_API CRCMoments : public CRawMoments {
 public:
  // The whole record zero, the order included (order 0, not 3).
  CRCMoments();
  // A copy of raw plus its central moments; the third-order ones only for
  // order 3. When raw is not valid (|m00| < FLT_EPS) the central moments
  // stay 0.
  explicit CRCMoments(CRawMoments const& raw);

  // Direction of the major axis, 0.5 * atan2(2 mu11, mu20 - mu02), radians.
  double Orientation() const;
  // Semi-axes (major, minor) of the ellipse with the same second moments.
  CSizeD PrimaryAxes() const;
  // Minor over major semi-axis: 1 for a disc, towards 0 for a needle.
  double Eccentricity() const;
  // (mu30 / mu20^1.5, mu03 / mu02^1.5).
  CSizeD Skewness() const;
  // First affine moment invariant (mu20 mu02 - mu11^2) / m00^4:
  // 1 / (16 pi^2) for any ellipse, 1 / 108 for any triangle.
  double AMI1() const;
  // Likeness to an ellipse and to a triangle from AMI1, each 1 for a perfect
  // match and folded into [0, 1] (a value above 1 by at least 1e-12 is
  // replaced by its reciprocal).
  void Descriptors(double& ellipse, double& triangle) const;

  double mu20, mu11, mu02;
  double mu30, mu21, mu12, mu03;
};

#pragma pack(pop)

// Hu's seven moment invariants: unchanged by translation, rotation and
// scaling of the shape (h[6] changes sign under reflection).
class KMATH_API CHuMoments {
 public:
  // Seven zeros.
  CHuMoments();
  // The invariants of the normalised central moments of rc; unguarded like
  // the measures of CRCMoments.
  explicit CHuMoments(CRCMoments const& rc);

  double h[7];
};

// Distance of two sets of invariants. Each value v with |v| > 1e-5 is taken
// to log10(|v|); the sign is dropped, so v and -v compare as equal.
//   0: sum over the pairs of |1/log a - 1/log b| (a value not taken to the
//      logarithm enters as it is). A value of exactly +-1 has log 0 and
//      makes the result infinite.
//   1: sum of |log a - log b|.
//   2: the largest |log a - log b| / (|log a| + |log b|). A pair of which
//      only one value passes the 1e-5 floor is retried with both values
//      times 10; if still only one passes, the given values are compared
//      untransformed. A pair of which neither passes contributes nothing.
// Any other method gives 0.
KMATH_API double Difference(CHuMoments const& a, CHuMoments const& b, int method);

// Signed area and centroid of a polygon, closed implicitly (the edge from
// the last point to the first is included; a repeated closing point adds
// nothing). dArea > 0 for counter-clockwise order (y up).
// Fewer than 3 points, or a non-finite area: all fields 0. When
// |area| < FLT_EPS, dArea is 0 and dCx, dCy hold the undivided sums
// sum (x + x_prev) c and sum (y + y_prev) c, with c the edge's cross product.
class KMATH_API CAreaMoments1 {
 public:
  CAreaMoments1(CPointD const* pts, unsigned n);

  double dArea;
  double dCx;
  double dCy;
};

// CAreaMoments1 plus the central second moments of the area (integrals of
// x^2, xy, y^2 about the centroid, as for the positively oriented polygon).
// All three are 0 when |dArea| < 1e-12, and also when the result is not
// positive semi-definite within 1e-12 (dMu20 or dMu02 below -1e-12, or
// dMu11^2 - dMu20 dMu02 above 1e-12).
class KMATH_API CAreaMoments2 : public CAreaMoments1 {
 public:
  CAreaMoments2(CPointD const* pts, unsigned n);

  double dMu20;
  double dMu11;
  double dMu02;
};

// Length, centroid and central second moments of the open polyline
// p[0] .. p[n-1] taken as a uniform wire. A polyline not longer than FLT_EPS
// gives length 0, centroid p[0] and zero moments; n = 0 or a non-finite
// length gives all fields 0. The moments pass the same semi-definiteness
// check as CAreaMoments2.
class KMATH_API CEdgeMoments2 {
 public:
  CEdgeMoments2(CPointD const* pts, unsigned n);

  double dLength;
  double dCx;
  double dCy;
  double dMu20;
  double dMu11;
  double dMu02;
};

}  // namespace Math
