#include <math/affine.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "georef_data.h"

namespace {

using Math::CAffineParams;
using Math::CRefPoint;
using Math::CTfwInfo;

double Dist(CPointD const& a, CPointD const& b) { return std::hypot(a.x - b.x, a.y - b.y); }

// A pixel grid over [0, w] x [0, h], nx * ny points.
std::vector<CPointD> PixelGrid(double w, double h, int nx, int ny) {
  std::vector<CPointD> g;
  for (int j = 0; j < ny; ++j)
    for (int i = 0; i < nx; ++i) g.push_back({w * i / (nx - 1), h * j / (ny - 1)});
  return g;
}

// The map written out by hand, independent of the class under test.
CPointD Apply(double const* m, CPointD const& p) { return {m[0] * p.x + m[1] * p.y + m[2], m[3] * p.x + m[4] * p.y + m[5]}; }

// Pixel to a projected system: 0.5 m pixels, rotated by about 1.7 degrees,
// top-left corner near (5e5, 6e6), y pointing south in the image.
constexpr double kGeo[6] = {0.4998, 0.0150, 512345.25, 0.0147, -0.5002, 6123456.75};

std::string Fmt(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.15g", v);
  return buf;
}

TEST(AffineParams, WorldFileRecordsOfRealImagesWriteBackUnchanged) {
  auto const images = kmath_test::LoadGeoref();
  ASSERT_EQ(images.size(), 2u);
  for (auto const& img : images) {
    SCOPED_TRACE(img.header);
    for (bool absY : {false, true}) {
      CAffineParams p;
      ASSERT_TRUE(p.Define(img.tfw, absY));
      CTfwInfo const back = p.TfwInfo(absY);
      EXPECT_TRUE(back == img.tfw);
      // Written back as text the record is the file's own line.
      double const v[6] = {back.A, back.D, back.B, back.E, back.C, back.F};
      for (int i = 0; i < 6; ++i) EXPECT_EQ(Fmt(v[i]), img.tokens[i]) << "number " << i;
    }
  }
}

TEST(AffineParams, WorldFileMapsPixelCornersOfRealImages) {
  for (auto const& img : kmath_test::LoadGeoref()) {
    SCOPED_TRACE(img.header);
    ASSERT_EQ(img.rows.size(), 25u);
    CAffineParams p;
    ASSERT_TRUE(p.Define(img.tfw, false));
    for (auto const& r : img.rows) {
      // The file's projected coordinates come from the image's own
      // corner-based geotransform, printed to 0.1 units.
      EXPECT_LT(Dist(p.Direct()(r.pixel), r.projected), 1e-6);
      EXPECT_LT(Dist(p.Inverse()(r.projected), r.pixel), 1e-9);
    }
    EXPECT_FALSE(p.HasRotation());
  }
}

TEST(AffineParams, FitToRealReferencePointsRecoversTheWorldFile) {
  for (auto const& img : kmath_test::LoadGeoref()) {
    SCOPED_TRACE(img.header);
    std::vector<CRefPoint> rps;
    for (auto const& r : img.rows) rps.push_back({r.pixel, r.projected});
    CAffineParams p;
    ASSERT_TRUE(p.Define(rps.data(), static_cast<unsigned>(rps.size())));
    EXPECT_TRUE(p.TfwInfo(false) == img.tfw);
    EXPECT_NEAR(p.Direct().ScaleX(), img.tfw.A, 1e-9);
    EXPECT_NEAR(p.Direct().ScaleY(), std::abs(img.tfw.E), 1e-9);
  }
}

TEST(AffineParams, AbsoluteDeterminantRefusesToInvertMetresToDegrees) {
  // A map from projected units to degrees has a determinant of about
  // 1/(111 km * 111 km * cos(lat)), ~1e-10 per square metre and ~1e-11 per
  // square US foot: under the absolute 1e-10, so it counts as singular.
  for (auto const& img : kmath_test::LoadGeoref()) {
    SCOPED_TRACE(img.header);
    std::vector<CRefPoint> rps;
    for (auto const& r : img.rows) rps.push_back({r.projected, r.lonlat});
    CAffineParams p;
    ASSERT_TRUE(p.Define(rps.data(), static_cast<unsigned>(rps.size())));
    auto const inv = p.Inverse();
    EXPECT_FALSE(p.InverseValid());
    // The default-constructed inverse block is all zero and stays so.
    EXPECT_EQ(inv(rps[0].dst).x, 0.0);
    EXPECT_EQ(inv(rps[0].dst).y, 0.0);
  }
}

TEST(AffineParams, FitOfExactGridRoundTrips) {
  auto const grid = PixelGrid(10000, 8000, 60, 50);
  std::vector<CRefPoint> rps;
  for (auto const& q : grid) rps.push_back({q, Apply(kGeo, q)});
  CAffineParams p;
  ASSERT_TRUE(p.Define(rps.data(), static_cast<unsigned>(rps.size())));
  EXPECT_FALSE(p.InverseValid());
  auto const fwd = p.Direct();
  auto const inv = p.Inverse();
  EXPECT_TRUE(p.InverseValid());
  double worst = 0, worstBack = 0;
  for (auto const& r : rps) {
    worst = std::max(worst, Dist(fwd(r.src), r.dst));
    worstBack = std::max(worstBack, Dist(inv(fwd(r.src)), r.src));
  }
  EXPECT_LT(worst, 1e-6);      // metres, at 6e6
  EXPECT_LT(worstBack, 1e-7);  // pixels
  EXPECT_NEAR(fwd.ScaleX(), std::hypot(kGeo[0], kGeo[3]), 1e-12);
  EXPECT_NEAR(fwd.ScaleY(), std::hypot(kGeo[1], kGeo[4]), 1e-12);
  EXPECT_TRUE(p.HasRotation());

  // Three pairs already fix the map.
  CRefPoint const three[3] = {rps[0], rps[59], rps[2999]};
  CAffineParams q;
  ASSERT_TRUE(q.Define(three, 3));
  for (auto const& r : rps) EXPECT_LT(Dist(q.Direct()(r.src), r.dst), 1e-6);
}

TEST(AffineParams, FitToNoisyPointsIsGoodToTheNoise) {
  std::mt19937 rng(20240611);
  std::normal_distribution<double> noise(0.0, 0.5);  // metres
  auto const grid = PixelGrid(10000, 8000, 50, 40);
  std::vector<CRefPoint> rps;
  for (auto const& q : grid) rps.push_back({q, Apply(kGeo, q) + CPointD{noise(rng), noise(rng)}});
  CAffineParams p;
  ASSERT_TRUE(p.Define(rps.data(), static_cast<unsigned>(rps.size())));
  double worst = 0, sum2 = 0;
  for (auto const& r : rps) {
    worst = std::max(worst, Dist(p.Direct()(r.src), Apply(kGeo, r.src)));
    double const d = Dist(p.Direct()(r.src), r.dst);
    sum2 += d * d;
  }
  // 2000 pairs average 0.5 m noise down to a few centimetres (about 0.03 m
  // standard error at the corners of the grid); the residual keeps
  // the noise itself (two axes of sigma 0.5).
  EXPECT_LT(worst, 0.15);
  EXPECT_NEAR(std::sqrt(sum2 / rps.size()), 0.5 * std::sqrt(2.0), 0.05);
}

TEST(AffineParams, DegenerateFitsFailAndKeepTheBlocks) {
  double const m[6] = {2, 0, 1, 0, 3, -1};
  CPointD const nan{std::nan(""), 0};
  struct Case {
    char const* name;
    std::vector<CRefPoint> rps;
  } const cases[] = {
      {"two pairs", {{{0, 0}, {0, 0}}, {{1, 0}, {1, 0}}}},
      {"collinear", {{{0, 0}, {0, 0}}, {{1, 1}, {5, 1}}, {{2, 2}, {2, 7}}, {{5, 5}, {1, 1}}}},
      {"coincident", {{{4, 4}, {0, 0}}, {{4, 4}, {1, 0}}, {{4, 4}, {0, 1}}}},
      {"nearly collinear", {{{0, 0}, {0, 0}}, {{1, 1e-6}, {1, 0}}, {{2, 0}, {0, 1}}}},
      {"nan source", {{{0, 0}, {0, 0}}, {{1, 0}, {1, 0}}, {nan, {0, 1}}}},
      {"inf target", {{{0, 0}, {0, 0}}, {{1, 0}, {1, 0}}, {{0, 1}, {HUGE_VAL, 1}}}},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    CAffineParams p(m, nullptr);
    ASSERT_TRUE(p.Inverse()({5, 2}).x == 2.0);  // makes the inverse valid
    EXPECT_FALSE(p.Define(c.rps.data(), static_cast<unsigned>(c.rps.size())));
    // Too few pairs return before the fit starts; a fit that starts stales
    // the inverse even when it fails.
    EXPECT_EQ(p.InverseValid(), c.rps.size() < 3);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(p.Direct().Coefficients()[i], m[i]);
    EXPECT_EQ(p.Direct().ScaleY(), 3.0);
  }
  CAffineParams p(m, nullptr);
  EXPECT_FALSE(p.Define(static_cast<CRefPoint const*>(nullptr), 5));
}

TEST(AffineParams, ScaleDefinitionMapsTheReferenceWithExactInverse) {
  CAffineParams p;
  CRefPoint const rp{{100, 200}, {5e5, 6e6}};
  ASSERT_TRUE(p.Define(rp, CSizeD{0.5, -0.25}));
  EXPECT_TRUE(p.InverseValid());
  EXPECT_EQ(p.Direct()(rp.src).x, 5e5);
  EXPECT_EQ(p.Direct()(rp.src).y, 6e6);
  EXPECT_EQ(p.Direct()({0, 0}).x, 499950.0);
  EXPECT_EQ(p.Direct()({0, 0}).y, 6000050.0);
  EXPECT_EQ(p.Inverse()(rp.dst).x, 100.0);
  EXPECT_EQ(p.Inverse()(rp.dst).y, 200.0);
  EXPECT_EQ(p.Inverse().ScaleX(), 2.0);
  EXPECT_EQ(p.Inverse().ScaleY(), 4.0);
  EXPECT_FALSE(p.HasRotation());

  // Zero, tiny or NaN scales fail and change nothing.
  for (CSizeD s : {CSizeD{0, 1}, CSizeD{1, -1e-13}, CSizeD{std::nan(""), 1}, CSizeD{1, HUGE_VAL}}) {
    EXPECT_FALSE(p.Define(CRefPoint{{0, 0}, {1, 1}}, s));
    EXPECT_TRUE(p.InverseValid());
    EXPECT_EQ(p.Direct()(rp.src).x, 5e5);
  }
  EXPECT_FALSE(p.Define(CRefPoint{{0, std::nan("")}, {1, 1}}, CSizeD{1, 1}));
  EXPECT_EQ(p.Direct()(rp.src).y, 6e6);
}

TEST(AffineParams, InverseIsTrustedWhenGivenAndRecomputedWhenStale) {
  double const m[6] = {2, 0, 10, 0, 4, 20};
  double const wrong[6] = {1, 0, 0, 0, 1, 0};
  CAffineParams p(m, wrong);
  EXPECT_TRUE(p.InverseValid());
  EXPECT_EQ(p.Inverse()({12, 24}).x, 12.0);  // the given inverse, unchecked

  p.Define(m, nullptr);
  EXPECT_FALSE(p.InverseValid());
  EXPECT_EQ(p.Inverse()({12, 24}).x, 1.0);
  EXPECT_EQ(p.Inverse()({12, 24}).y, 1.0);
  EXPECT_TRUE(p.InverseValid());

  // Offset stales the inverse; the next Inverse() includes the shift.
  p.Offset({-10, 100});
  EXPECT_FALSE(p.InverseValid());
  EXPECT_EQ(p.Direct()({1, 1}).x, 2.0);
  EXPECT_EQ(p.Direct()({1, 1}).y, 124.0);
  EXPECT_EQ(p.Inverse()({2, 124}).x, 1.0);
  EXPECT_EQ(p.Inverse()({2, 124}).y, 1.0);

  // Every other definition stales it too.
  CAffineParams q = p;
  EXPECT_TRUE(q.InverseValid());
  q.Define(CTfwInfo{1, 0, 0, -1, 0.5, 0.5}, false);
  EXPECT_FALSE(q.InverseValid());
  q = p;
  q.Define(CPointD{0, 0}, CSizeD{1, 1}, 0.3);
  EXPECT_FALSE(q.InverseValid());
  q = p;
  q *= p;
  EXPECT_FALSE(q.InverseValid());

  // A handle reads the block it points at, so it sees later edits.
  auto const fwd = p.Direct();
  EXPECT_EQ(fwd.Flags(), 0);
  p.Offset({1, 0});
  EXPECT_EQ(fwd({1, 1}).x, 3.0);
}

TEST(AffineParams, SingularMapLeavesTheStaleInverse) {
  CAffineParams p(CPointD{10, 20}, CSizeD{2, 2}, 0.0);
  EXPECT_EQ(p.Inverse()({12, 22}).x, 1.0);
  ASSERT_TRUE(p.Define(CPointD{10, 20}, CSizeD{0, 3}, 0.0));  // zero x scale
  auto const inv = p.Inverse();
  EXPECT_FALSE(p.InverseValid());
  EXPECT_EQ(inv({12, 22}).x, 1.0);  // still the old map's inverse
  EXPECT_EQ(p.Direct().ScaleX(), 0.0);
  EXPECT_EQ(p.Direct()({5, 1}).x, 10.0);

  double const rankOne[6] = {1, 2, 0, 2, 4, 0};
  p.Define(rankOne, nullptr);
  p.Inverse();
  EXPECT_FALSE(p.InverseValid());

  CAffineParams z;  // all zero until defined
  EXPECT_EQ(z.Inverse()({3, 4}).x, 0.0);
  EXPECT_FALSE(z.InverseValid());
}

TEST(AffineParams, NullDirectGivesIdentityBothWays) {
  CAffineParams p(nullptr, nullptr);
  EXPECT_TRUE(p.InverseValid());
  EXPECT_EQ(p.Direct()({3, -4}).x, 3.0);
  EXPECT_EQ(p.Inverse()({3, -4}).y, -4.0);
  EXPECT_EQ(p.Direct().ScaleX(), 1.0);
  EXPECT_EQ(p.Inverse().ScaleY(), 1.0);
}

TEST(AffineParams, CompositionAppliesTheOtherMapFirst) {
  double const rot[6] = {0, -2, 10, 2, 0, 20};  // (x, y) -> (10 - 2y, 20 + 2x)
  double const stretch[6] = {3, 0, 1, 0, 1, 0};  // (x, y) -> (3x + 1, y)
  CAffineParams p(rot, nullptr);
  p *= CAffineParams(stretch, nullptr);
  // p(stretch(1, 1)) = p(4, 1) = (8, 28); the other order would give (25, 22).
  EXPECT_EQ(p.Direct()({1, 1}).x, 8.0);
  EXPECT_EQ(p.Direct()({1, 1}).y, 28.0);
  EXPECT_EQ(p.Direct().ScaleX(), 6.0);
  EXPECT_EQ(p.Direct().ScaleY(), 2.0);

  // A map composed with its own inverse is the identity, and squaring in
  // place reads the old coefficients.
  CAffineParams g(kGeo, nullptr);
  CAffineParams ginv(g.Inverse().Coefficients(), g.Direct().Coefficients());
  CAffineParams id = g;
  id *= ginv;
  for (CPointD q : {CPointD{5e5, 6e6}, CPointD{517000, 6119000}}) EXPECT_LT(Dist(id.Direct()(q), q), 1e-8);
  CAffineParams sq(rot, nullptr);
  sq *= sq;  // (x, y) -> (10 - 2(20 + 2x), 20 + 2(10 - 2y))
  EXPECT_EQ(sq.Direct()({1, 1}).x, -34.0);
  EXPECT_EQ(sq.Direct()({1, 1}).y, 36.0);
}

TEST(AffineParams, OriginScaleAngle) {
  CAffineParams p(CPointD{10, 20}, CSizeD{2, 3}, std::acos(-1.0) / 2);
  auto const d = p.Direct();
  EXPECT_NEAR(d({1, 0}).x, 10.0, 1e-14);
  EXPECT_NEAR(d({1, 0}).y, 22.0, 1e-14);
  EXPECT_NEAR(d({0, 1}).x, 7.0, 1e-14);
  EXPECT_NEAR(d({0, 1}).y, 20.0, 1e-14);
  EXPECT_EQ(d({0, 0}).x, 10.0);
  EXPECT_NEAR(d.ScaleX(), 2.0, 1e-15);
  EXPECT_NEAR(d.ScaleY(), 3.0, 1e-15);
  EXPECT_TRUE(p.HasRotation());
  // Distances and angles for the handle's users.
  EXPECT_NEAR(d.Distance(-5, true), 10.0, 1e-14);
  EXPECT_NEAR(d.Distance(5, false), 15.0, 1e-14);
  EXPECT_NEAR(d.Angle(0.0), std::acos(-1.0) / 2, 1e-15);
  // The unequal scales bend other directions: (cos a, sin a) maps to
  // (-3 sin a, 2 cos a).
  EXPECT_NEAR(d.Angle(0.25), std::atan2(2 * std::cos(0.25), -3 * std::sin(0.25)), 1e-15);

  CAffineParams r(CPointD{0, 0}, CSizeD{1, 1}, 1e-11);
  EXPECT_FALSE(r.HasRotation());  // rotation terms below 1e-10
  EXPECT_FALSE(r.Define(CPointD{0, 0}, CSizeD{1, 1}, std::nan("")));
  EXPECT_EQ(r.Direct().Coefficients()[3], std::sin(1e-11));
}

TEST(AffineParams, HalfPixelShiftUsesAAndEOnly) {
  // With rotation the true corner of the first pixel would be at
  // C - (A + B)/2, F - (D + E)/2 = (98.875, 200.75); the shift ignores B, D.
  CTfwInfo const t{2, 0.5, 0.25, -2, 100, 200};
  CAffineParams p;
  ASSERT_TRUE(p.Define(t, false));
  EXPECT_EQ(p.Direct()({0, 0}).x, 99.0);
  EXPECT_EQ(p.Direct()({0, 0}).y, 201.0);
  EXPECT_TRUE(p.HasRotation());
  ASSERT_TRUE(p.Define(t, true));  // |E|/2: the step in y is always down
  EXPECT_EQ(p.Direct()({0, 0}).y, 199.0);
  EXPECT_TRUE(p.TfwInfo(true) == t);
  EXPECT_EQ(p.TfwInfo(false).F, 198.0);

  // A record with a NaN or infinity is refused and nothing changes.
  EXPECT_FALSE(p.Define(CTfwInfo{2, 0, 0, std::nan(""), 100, 200}, false));
  EXPECT_FALSE(p.Define(CTfwInfo{2, 0, 0, -2, -HUGE_VAL, 200}, false));
  EXPECT_EQ(p.Direct()({0, 0}).y, 199.0);
}

TEST(TfwInfo, TermsCompareAbsolutelyAndPositionsByRatio) {
  CTfwInfo const a{32.8, 0, 0, -32.8, 681496.4, 1913033.6};
  struct Case {
    char const* name;
    CTfwInfo b;
    bool equal;
  } const cases[] = {
      {"same", a, true},
      {"C off by 1e-8 relative", {32.8, 0, 0, -32.8, 681496.4 * (1 + 1e-8), 1913033.6}, true},
      {"C off by 0.05 m", {32.8, 0, 0, -32.8, 681496.45, 1913033.6}, true},
      {"F off by 1e-6 relative", {32.8, 0, 0, -32.8, 681496.4, 1913033.6 * (1 + 1e-6)}, false},
      {"A off by 1e-8", {32.8 + 1e-8, 0, 0, -32.8, 681496.4, 1913033.6}, true},
      {"A off by 1e-6", {32.8 + 1e-6, 0, 0, -32.8, 681496.4, 1913033.6}, false},
      {"D off by 2e-7", {32.8, 2e-7, 0, -32.8, 681496.4, 1913033.6}, false},
      {"B off by 1e-7", {32.8, 0, 1e-7, -32.8, 681496.4, 1913033.6}, true},
      {"E sign", {32.8, 0, 0, 32.8, 681496.4, 1913033.6}, false},
      {"NaN", {32.8, 0, 0, std::nan(""), 681496.4, 1913033.6}, false},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(a == c.b, c.equal);
    EXPECT_EQ(a != c.b, !c.equal);
  }
  // Zero positions compare by 0/0: not even equal to themselves.
  CTfwInfo const z{1, 0, 0, -1, 0, 5};
  EXPECT_FALSE(z == z);
  EXPECT_TRUE(z != z);
  // The ratio is taken against the right-hand side.
  CTfwInfo const n{1, 0, 0, -1, 1e-9, 5};
  EXPECT_FALSE(n == z);
}

}  // namespace
