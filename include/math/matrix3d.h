// A 3x3 matrix of doubles for linear maps of CPoint3D: arithmetic, in-place
// inversion and transposition, axis rotations, rotation about an arbitrary
// axis and mirrors; and spherical coordinates of a space point.
//
// Points are column vectors: (M * p).x = m[0][0]*x + m[0][1]*y + m[0][2]*z.
// The rotation factories put +sin above the diagonal: RotateX, RotateZ and
// Rotation turn points by -a (they turn the frame by a), RotateY turns points
// by +a. Nothing allocates, nothing throws.
#pragma once

#include <math/types.h>

namespace Math {

class KMATH_API CMatrix3D {
 public:
  // The zero matrix.
  CMatrix3D() : CMatrix3D(0.0) {}
  // s on the diagonal, 0 elsewhere.
  explicit CMatrix3D(double s);

  CMatrix3D& operator+=(CMatrix3D const& b);
  CMatrix3D& operator-=(CMatrix3D const& b);
  CMatrix3D& operator*=(double s);
  // this = this * b (this on the left).
  CMatrix3D& operator*=(CMatrix3D const& b);

  // Replaces the matrix by its inverse by Gauss-Jordan elimination without
  // row exchange: a row whose pivot is exactly 1 is not divided, a zero
  // met on the diagonal during elimination gives non-finite entries (even
  // for an invertible matrix such as a permutation), and a singular matrix
  // is not reported.
  void Invert();
  // Swaps m[i][j] and m[j][i].
  void Transpose();

  // Rows (1, 0, 0), (0, cos a, sin a), (0, -sin a, cos a).
  static CMatrix3D RotateX(double a);
  // Rows (cos a, 0, sin a), (0, 1, 0), (-sin a, 0, cos a).
  static CMatrix3D RotateY(double a);
  // Rows (cos a, sin a, 0), (-sin a, cos a, 0), (0, 0, 1).
  static CMatrix3D RotateZ(double a);
  // The identity with -1 at m[0][0], m[1][1], m[2][2] respectively.
  static CMatrix3D MirrorX();
  static CMatrix3D MirrorY();
  static CMatrix3D MirrorZ();
  // Rotation by a about `axis`, the transpose of the usual right-handed
  // matrix (consistent with RotateX and RotateZ: Rotation({0, 0, 1}, a) is
  // RotateZ(a)). Normalises the caller's axis in place; a zero axis is not
  // guarded and gives NaN entries.
  static CMatrix3D Rotation(CPoint3D& axis, double a);

  // Row, column.
  double m[3][3];
};

KMATH_API CMatrix3D operator+(CMatrix3D const& a, CMatrix3D const& b);
KMATH_API CMatrix3D operator-(CMatrix3D const& a, CMatrix3D const& b);
KMATH_API CMatrix3D operator*(CMatrix3D const& a, CMatrix3D const& b);
KMATH_API CMatrix3D operator*(CMatrix3D const& a, double s);
// The matrix times the point as a column vector.
KMATH_API CPoint3D operator*(CMatrix3D const& a, CPoint3D const& p);

}  // namespace Math

// (r, azimuth, elevation) of p: r = |p|, azimuth = atan2(y, x) in the xy
// plane from the x axis, elevation = asin(z / r) above the xy plane.
// (0, 0, 0) when r < 1e-12; NaN fields for a NaN coordinate.
KMATH_API CPoint3D Spherical(CPoint3D const& p);
