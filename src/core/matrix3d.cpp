#include <math/matrix3d.h>

#include <cmath>
#include <utility>

#include "core/tolerance.h"

namespace Math {
namespace {

// The rotation by a in the plane of axes i < j, written with the same signs
// for every plane: (i, i) and (j, j) hold cos a, (i, j) sin a and (j, i)
// -sin a.
CMatrix3D PlaneRotation(double a, int i, int j) {
  double const c = std::cos(a);
  double const s = std::sin(a);
  CMatrix3D r(1.0);
  r.m[i][i] = c;
  r.m[i][j] = s;
  r.m[j][i] = -s;
  r.m[j][j] = c;
  return r;
}

}  // namespace

CMatrix3D::CMatrix3D(double s) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) m[i][j] = i == j ? s : 0.0;
  }
}

CMatrix3D& CMatrix3D::operator+=(CMatrix3D const& b) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) m[i][j] += b.m[i][j];
  }
  return *this;
}

CMatrix3D& CMatrix3D::operator-=(CMatrix3D const& b) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) m[i][j] -= b.m[i][j];
  }
  return *this;
}

CMatrix3D& CMatrix3D::operator*=(double s) {
  for (auto& row : m) {
    for (double& v : row) v *= s;
  }
  return *this;
}

CMatrix3D& CMatrix3D::operator*=(CMatrix3D const& b) {
  // Through a copy: b may be this very matrix.
  *this = *this * b;
  return *this;
}

void CMatrix3D::Invert() {
  CMatrix3D acc(1.0);
  for (int i = 0; i < 3; ++i) {
    double const p = m[i][i];
    // The exact test skips a division that would change nothing but could
    // round; no zero test, no row exchange: the method is kept as callers
    // know it, zero pivots and all.
    if (p != 1.0) {
      for (int j = 0; j < 3; ++j) {
        m[i][j] /= p;
        acc.m[i][j] /= p;
      }
    }
    for (int k = 0; k < 3; ++k) {
      if (k == i) continue;
      double const f = m[k][i];
      if (f == 0.0) continue;
      for (int j = 0; j < 3; ++j) {
        m[k][j] -= f * m[i][j];
        acc.m[k][j] -= f * acc.m[i][j];
      }
    }
  }
  *this = acc;
}

void CMatrix3D::Transpose() {
  std::swap(m[0][1], m[1][0]);
  std::swap(m[0][2], m[2][0]);
  std::swap(m[1][2], m[2][1]);
}

CMatrix3D CMatrix3D::RotateX(double a) { return PlaneRotation(a, 1, 2); }
CMatrix3D CMatrix3D::RotateY(double a) { return PlaneRotation(a, 0, 2); }
CMatrix3D CMatrix3D::RotateZ(double a) { return PlaneRotation(a, 0, 1); }

CMatrix3D CMatrix3D::MirrorX() {
  CMatrix3D r(1.0);
  r.m[0][0] = -1.0;
  return r;
}

CMatrix3D CMatrix3D::MirrorY() {
  CMatrix3D r(1.0);
  r.m[1][1] = -1.0;
  return r;
}

CMatrix3D CMatrix3D::MirrorZ() {
  CMatrix3D r(1.0);
  r.m[2][2] = -1.0;
  return r;
}

CMatrix3D CMatrix3D::Rotation(CPoint3D& axis, double a) {
  double const c = std::cos(a);
  double const s = std::sin(a);
  double const len = std::sqrt(axis.x * axis.x + axis.y * axis.y + axis.z * axis.z);
  axis.x /= len;
  axis.y /= len;
  axis.z /= len;
  double const x = axis.x;
  double const y = axis.y;
  double const z = axis.z;
  double const t = 1.0 - c;
  CMatrix3D r;
  r.m[0][0] = (1.0 - x * x) * c + x * x;
  r.m[0][1] = z * s + t * x * y;
  r.m[0][2] = t * x * z - y * s;
  r.m[1][0] = t * x * y - z * s;
  r.m[1][1] = (1.0 - y * y) * c + y * y;
  r.m[1][2] = x * s + t * y * z;
  r.m[2][0] = y * s + t * x * z;
  r.m[2][1] = t * y * z - x * s;
  r.m[2][2] = z * z + (1.0 - z * z) * c;
  return r;
}

CMatrix3D operator+(CMatrix3D const& a, CMatrix3D const& b) {
  CMatrix3D r = a;
  r += b;
  return r;
}

CMatrix3D operator-(CMatrix3D const& a, CMatrix3D const& b) {
  CMatrix3D r = a;
  r -= b;
  return r;
}

CMatrix3D operator*(CMatrix3D const& a, CMatrix3D const& b) {
  CMatrix3D r;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
  }
  return r;
}

CMatrix3D operator*(CMatrix3D const& a, double s) {
  CMatrix3D r = a;
  r *= s;
  return r;
}

CPoint3D operator*(CMatrix3D const& a, CPoint3D const& p) {
  return CPoint3D{a.m[0][0] * p.x + a.m[0][1] * p.y + a.m[0][2] * p.z,
                  a.m[1][0] * p.x + a.m[1][1] * p.y + a.m[1][2] * p.z,
                  a.m[2][0] * p.x + a.m[2][1] * p.y + a.m[2][2] * p.z};
}

}  // namespace Math

CPoint3D Spherical(CPoint3D const& p) {
  double const r = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
  if (r < Math::tol::kEps) return CPoint3D{0.0, 0.0, 0.0};
  // |z| / r can round a hair above 1 when x and y are negligible; asin
  // would then give a NaN for what is plainly a pole.
  double sinEl = p.z / r;
  if (sinEl > 1.0) sinEl = 1.0;
  if (sinEl < -1.0) sinEl = -1.0;
  return CPoint3D{r, std::atan2(p.y, p.x), std::asin(sinEl)};
}
