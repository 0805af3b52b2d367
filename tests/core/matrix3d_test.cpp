#include <math/matrix3d.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

namespace {

using Math::CMatrix3D;

// The nine entries row by row.
CMatrix3D Rows(std::initializer_list<double> v) {
  CMatrix3D r;
  std::memcpy(r.m, v.begin(), sizeof r.m);
  return r;
}
CMatrix3D Inverse(CMatrix3D m) {
  m.Invert();
  return m;
}
// Sum of the entries' absolute differences: a NaN or infinity shows.
double Diff(CMatrix3D const& a, CMatrix3D const& b) {
  double d = 0.0;
  for (int k = 0; k < 9; ++k) d += std::abs(a.m[k / 3][k % 3] - b.m[k / 3][k % 3]);
  return d;
}
double Dist(CPoint3D const& a, CPoint3D const& b) { return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z); }
// Rodrigues' formula: v turned right-handed by a about the unit axis k.
CPoint3D Rodrigues(CPoint3D const& k, double a, CPoint3D const& v) {
  CPoint3D const kxv{k.y * v.z - k.z * v.y, k.z * v.x - k.x * v.z, k.x * v.y - k.y * v.x};
  return v * std::cos(a) + kxv * std::sin(a) + k * ((k.x * v.x + k.y * v.y + k.z * v.z) * (1 - std::cos(a)));
}

}  // namespace

TEST(Matrix3D, HandWorkedValuesAndDocumentedQuirks) {
  CMatrix3D const a = Rows({1, 2, 3, 4, 5, 6, 7, 8, 10}), b = Rows({-1, 0, 2, 3, 1, 1, 0, 5, -2});
  CMatrix3D c = a, self = a;
  c *= b;  // a on the left: a * b is (5, 17, -2), (11, 35, 1), (17, 58, 2) by hand
  c.Transpose();
  self *= self;  // from the old entries
  EXPECT_TRUE(Diff(c, Rows({5, 11, 17, 17, 35, 58, -2, 1, 2})) + Diff(self, a * a) + Diff(a - b + b * 2, a + b) == 0.0);
  // A zero met on the diagonal gives non-finite entries, though a permutation is its own inverse.
  EXPECT_FALSE(std::isfinite(Diff(Inverse(Rows({0, 1, 0, 1, 0, 0, 0, 0, 1})), a)));
  EXPECT_TRUE(Dist(Spherical({1e-13, 0, 0}), {0, 0, 0}) == 0.0 && std::isnan(Spherical({std::nan(""), 0, 1}).x));
}

TEST(Matrix3D, InversesRotationsAndSphericalRoundTrip) {
  std::mt19937 rng(8);
  std::uniform_real_distribution<double> u(-3.0, 3.0);
  for (int k = 0; k < 200; ++k) {
    CMatrix3D m = Rows({u(rng), u(rng), u(rng), u(rng), u(rng), u(rng), u(rng), u(rng), u(rng)});
    for (int i = 0; i < 3; ++i) m.m[i][i] = std::copysign(10.0, m.m[i][i]);  // no pivot near zero
    EXPECT_LT(Diff(Inverse(m) * m, CMatrix3D(1.0)) + Diff(m * Inverse(m), CMatrix3D(1.0)), 1e-13) << k;
    double const a = u(rng);
    CPoint3D const v{u(rng), u(rng), u(rng)}, raw{u(rng), u(rng), u(rng)}, s = Spherical(v);
    CPoint3D axis = raw;
    auto const turns = [&](CMatrix3D const& t, CPoint3D const& n, double b) { return Dist(t * v, Rodrigues(n, b, v)); };
    // RotateX, RotateZ and Rotation turn points by -a, RotateY by +a. Rotation normalises the axis in place
    // before turns reads it.
    EXPECT_LT(turns(CMatrix3D::RotateX(a), {1, 0, 0}, -a) + turns(CMatrix3D::RotateY(a), {0, 1, 0}, a) +
                  turns(CMatrix3D::RotateZ(a), {0, 0, 1}, -a) + turns(CMatrix3D::Rotation(axis, a), axis, -a),
              1e-12);
    EXPECT_LT(Dist(axis, raw * (1 / std::hypot(raw.x, raw.y, raw.z))), 1e-15);
    // s is (r, azimuth, elevation).
    EXPECT_LT(Dist({s.x * std::cos(s.z) * std::cos(s.y), s.x * std::cos(s.z) * std::sin(s.y), s.x * std::sin(s.z)}, v),
              1e-13);
  }
}
