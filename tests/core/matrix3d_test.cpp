#include <math/matrix3d.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

using Math::CMatrix3D;

constexpr double kPi = 3.14159265358979323846;

void ExpectNear(CMatrix3D const& a, CMatrix3D const& b, double tol) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(a.m[i][j], b.m[i][j], tol) << "entry " << i << "," << j;
  }
}

void ExpectNear(CPoint3D const& a, CPoint3D const& b, double tol) {
  EXPECT_NEAR(a.x, b.x, tol);
  EXPECT_NEAR(a.y, b.y, tol);
  EXPECT_NEAR(a.z, b.z, tol);
}

CMatrix3D Rows(double a, double b, double c, double d, double e, double f, double g, double h, double i) {
  CMatrix3D r;
  double const v[9] = {a, b, c, d, e, f, g, h, i};
  for (int k = 0; k < 9; ++k) r.m[k / 3][k % 3] = v[k];
  return r;
}

CMatrix3D Transposed(CMatrix3D m) {
  m.Transpose();
  return m;
}

// Rodrigues' formula for a right-handed turn of v by a about the unit axis k.
CPoint3D Rodrigues(CPoint3D const& k, double a, CPoint3D const& v) {
  CPoint3D const kxv{k.y * v.z - k.z * v.y, k.z * v.x - k.x * v.z, k.x * v.y - k.y * v.x};
  double const kv = k.x * v.x + k.y * v.y + k.z * v.z;
  return v * std::cos(a) + kxv * std::sin(a) + k * (kv * (1 - std::cos(a)));
}

}  // namespace

TEST(CMatrix3D, ConstructionAndArithmetic) {
  CMatrix3D const zero;
  CMatrix3D const two(2.0);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      EXPECT_EQ(zero.m[i][j], 0.0);
      EXPECT_EQ(two.m[i][j], i == j ? 2.0 : 0.0);
    }
  }

  CMatrix3D const a = Rows(1, 2, 3, 4, 5, 6, 7, 8, 10);
  CMatrix3D const b = Rows(-1, 0, 2, 3, 1, 1, 0, 5, -2);
  // a * b worked by hand, row by column.
  ExpectNear(a * b, Rows(5, 17, -2, 11, 35, 1, 17, 58, 2), 0);
  ExpectNear(a * CMatrix3D(1.0), a, 0);
  ExpectNear((a + b) - b, a, 0);
  ExpectNear(a * 3.0, a + a + a, 0);
  CMatrix3D c = a;
  c *= b;
  ExpectNear(c, a * b, 0);
  c = a;
  c *= c;  // aliasing: the product must use the old entries
  ExpectNear(c, a * a, 0);
  c = a;
  c += b;
  c -= a;
  ExpectNear(c, b, 0);
  c *= 0.5;
  EXPECT_EQ(c.m[2][1], 2.5);

  // (a * b) * p == a * (b * p); column-vector convention.
  CPoint3D const p{1, -2, 0.5};
  ExpectNear((a * b) * p, a * (b * p), 1e-12);
  CPoint3D const ap = a * p;
  EXPECT_EQ(ap.x, 1 * 1 + 2 * -2 + 3 * 0.5);
  EXPECT_EQ(ap.z, 7 * 1 + 8 * -2 + 10 * 0.5);

  CMatrix3D t = a;
  t.Transpose();
  EXPECT_EQ(t.m[0][2], 7.0);
  EXPECT_EQ(t.m[2][0], 3.0);
  t.Transpose();
  ExpectNear(t, a, 0);
}

TEST(CMatrix3D, InvertWithoutPivoting) {
  // A pivot of exactly 1 is not divided; the others give exact reciprocals.
  CMatrix3D d = Rows(1, 0, 0, 0, 4, 0, 0, 0, 0.5);
  d.Invert();
  EXPECT_EQ(d.m[0][0], 1.0);
  EXPECT_EQ(d.m[1][1], 0.25);
  EXPECT_EQ(d.m[2][2], 2.0);
  EXPECT_EQ(d.m[0][1], 0.0);

  // A zero on the diagonal at elimination time: non-finite, though the
  // permutation is its own inverse.
  CMatrix3D perm = Rows(0, 1, 0, 1, 0, 0, 0, 0, 1);
  perm.Invert();
  bool anyNonFinite = false;
  for (auto const& row : perm.m) {
    for (double v : row) anyNonFinite |= !std::isfinite(v);
  }
  EXPECT_TRUE(anyNonFinite);

  // Well-conditioned random matrices (diagonally dominant, so no pivot
  // comes near zero): inverse times matrix is the identity.
  std::mt19937 rng(4);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (int k = 0; k < 200; ++k) {
    CMatrix3D m;
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) m.m[i][j] = u(rng);
      m.m[i][i] += u(rng) > 0 ? 3.0 : -3.0;
    }
    CMatrix3D inv = m;
    inv.Invert();
    ExpectNear(inv * m, CMatrix3D(1.0), 1e-13);
    ExpectNear(m * inv, CMatrix3D(1.0), 1e-13);
  }
}

TEST(CMatrix3D, AxisRotationsAndMirrors) {
  double const a = 0.7;
  double const c = std::cos(a), s = std::sin(a);
  ExpectNear(CMatrix3D::RotateX(a), Rows(1, 0, 0, 0, c, s, 0, -s, c), 0);
  ExpectNear(CMatrix3D::RotateY(a), Rows(c, 0, s, 0, 1, 0, -s, 0, c), 0);
  ExpectNear(CMatrix3D::RotateZ(a), Rows(c, s, 0, -s, c, 0, 0, 0, 1), 0);

  // RotateX and RotateZ turn points by -a about their axis (right-handed),
  // RotateY by +a.
  ExpectNear(CMatrix3D::RotateX(a) * CPoint3D{0, 1, 0}, Rodrigues({1, 0, 0}, -a, {0, 1, 0}), 1e-15);
  ExpectNear(CMatrix3D::RotateZ(a) * CPoint3D{1, 0, 0}, Rodrigues({0, 0, 1}, -a, {1, 0, 0}), 1e-15);
  ExpectNear(CMatrix3D::RotateY(a) * CPoint3D{0, 0, 1}, Rodrigues({0, 1, 0}, a, {0, 0, 1}), 1e-15);

  // Orthonormal with determinant +1.
  for (CMatrix3D const& r : {CMatrix3D::RotateX(a), CMatrix3D::RotateY(-2.1), CMatrix3D::RotateZ(4.0)}) {
    ExpectNear(r * Transposed(r), CMatrix3D(1.0), 1e-15);
    double const det = r.m[0][0] * (r.m[1][1] * r.m[2][2] - r.m[1][2] * r.m[2][1]) -
                       r.m[0][1] * (r.m[1][0] * r.m[2][2] - r.m[1][2] * r.m[2][0]) +
                       r.m[0][2] * (r.m[1][0] * r.m[2][1] - r.m[1][1] * r.m[2][0]);
    EXPECT_NEAR(det, 1.0, 1e-15);
  }

  CPoint3D const p{1, 2, 3};
  ExpectNear(CMatrix3D::MirrorX() * p, CPoint3D{-1, 2, 3}, 0);
  ExpectNear(CMatrix3D::MirrorY() * p, CPoint3D{1, -2, 3}, 0);
  ExpectNear(CMatrix3D::MirrorZ() * p, CPoint3D{1, 2, -3}, 0);
}

TEST(CMatrix3D, RotationAboutAnAxis) {
  double const a = 1.3;
  CPoint3D axis{0, 0, 2};
  ExpectNear(CMatrix3D::Rotation(axis, a), CMatrix3D::RotateZ(a), 1e-15);
  EXPECT_EQ(axis.x, 0.0);
  EXPECT_EQ(axis.y, 0.0);
  EXPECT_EQ(axis.z, 1.0);
  CPoint3D xAxis{5, 0, 0};
  ExpectNear(CMatrix3D::Rotation(xAxis, a), CMatrix3D::RotateX(a), 1e-15);
  // About y the transposed form is RotateY of the opposite angle.
  CPoint3D yAxis{0, 0.5, 0};
  ExpectNear(CMatrix3D::Rotation(yAxis, a), CMatrix3D::RotateY(-a), 1e-15);

  // Any axis: the turn by -a of Rodrigues' formula, orthonormal, axis fixed.
  std::mt19937 rng(8);
  std::uniform_real_distribution<double> u(-3.0, 3.0);
  for (int k = 0; k < 100; ++k) {
    CPoint3D const raw{u(rng), u(rng), u(rng)};
    CPoint3D unit = raw;
    double const angle = u(rng);
    CMatrix3D const r = CMatrix3D::Rotation(unit, angle);
    double const len = std::sqrt(raw.x * raw.x + raw.y * raw.y + raw.z * raw.z);
    ExpectNear(unit, raw * (1 / len), 1e-15);
    ExpectNear(r * Transposed(r), CMatrix3D(1.0), 1e-14);
    ExpectNear(r * unit, unit, 1e-14);
    CPoint3D const v{u(rng), u(rng), u(rng)};
    ExpectNear(r * v, Rodrigues(unit, -angle, v), 1e-13);
  }

  // A zero axis is not guarded: NaN entries, no crash.
  CPoint3D zero{0, 0, 0};
  EXPECT_TRUE(std::isnan(CMatrix3D::Rotation(zero, a).m[0][1]));
}

TEST(Spherical, RadiusAzimuthElevation) {
  CPoint3D const pole = Spherical(CPoint3D{0, 0, 5});
  EXPECT_EQ(pole.x, 5.0);
  EXPECT_EQ(pole.y, 0.0);
  EXPECT_DOUBLE_EQ(pole.z, kPi / 2);
  CPoint3D const tiny = Spherical(CPoint3D{1e-13, 0, 0});
  EXPECT_EQ(tiny.x, 0.0);
  EXPECT_EQ(tiny.y, 0.0);
  EXPECT_EQ(tiny.z, 0.0);
  CPoint3D const q = Spherical(CPoint3D{0, -2, 0});
  EXPECT_EQ(q.x, 2.0);
  EXPECT_DOUBLE_EQ(q.y, -kPi / 2);
  EXPECT_EQ(q.z, 0.0);
  EXPECT_TRUE(std::isnan(Spherical(CPoint3D{std::numeric_limits<double>::quiet_NaN(), 0, 1}).x));

  // Back to Cartesian coordinates.
  std::mt19937 rng(2);
  std::uniform_real_distribution<double> u(-10.0, 10.0);
  for (int k = 0; k < 200; ++k) {
    CPoint3D const p{u(rng), u(rng), u(rng)};
    CPoint3D const sph = Spherical(p);
    double const r = sph.x, az = sph.y, el = sph.z;
    ExpectNear(CPoint3D{r * std::cos(el) * std::cos(az), r * std::cos(el) * std::sin(az), r * std::sin(el)}, p,
               1e-13);
    EXPECT_LE(std::abs(el), kPi / 2);
  }
}
