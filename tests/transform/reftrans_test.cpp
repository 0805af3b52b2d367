#include <math/reftrans.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "georef_data.h"

namespace {

using Math::CLinearTrans;
using Math::CRefPoint;
using Math::CSqrTrans;

double const kPi = std::acos(-1.0);

double Dist(CPointD const& a, CPointD const& b) { return std::hypot(a.x - b.x, a.y - b.y); }

std::vector<CPointD> PixelGrid(double w, double h, int nx, int ny) {
  std::vector<CPointD> g;
  for (int j = 0; j < ny; ++j)
    for (int i = 0; i < nx; ++i) g.push_back({w * i / (nx - 1), h * j / (ny - 1)});
  return g;
}

// A second-order map written out by hand, in the block's monomial order.
CPointD Poly(double const* c, CPointD const& p) {
  double const f[6] = {p.x * p.x, p.y * p.y, p.x * p.y, p.x, p.y, 1.0};
  CPointD r{0, 0};
  for (int i = 0; i < 6; ++i) {
    r.x += c[i] * f[i];
    r.y += c[6 + i] * f[i];
  }
  return r;
}

bool IsFallback(CSqrTrans const& t) {
  CPointD const p = t.Point({3, 7});
  CPointD const q = t.Inverse().Point({-2, 5});
  return p.x == 7 && p.y == 1 && q.x == 5 && q.y == 1;
}

// Scan of a map sheet to a reference raster: about 34 px of second-order
// distortion over 4000 x 3000 pixels.
constexpr double kSheet[12] = {1e-6, -2e-6, 3e-6, 0.98, 0.05, 120.0, -1.5e-6, 0.5e-6, 2e-6, -0.03, 1.01, -80.0};

TEST(LinearTrans, TwoPairsFixScaleAndRotation) {
  CRefPoint const rps[3] = {{{0, 0}, {10, 10}}, {{1, 0}, {10, 12}}, {{5, 5}, {100, -3}}};
  for (unsigned n : {2u, 3u}) {  // the third pair has no say
    SCOPED_TRACE(n);
    CLinearTrans const t(rps, n);
    CPointD const q = t.Point({0, 1});
    EXPECT_EQ(q.x, 8.0);
    EXPECT_EQ(q.y, 10.0);
    CPointD const back = t.Inverse().Point(q);
    EXPECT_EQ(back.x, 0.0);
    EXPECT_EQ(back.y, 1.0);
    // a = 0, b = 2: a quarter turn and a doubling.
    EXPECT_EQ(t.Coefficients()[0], 0.0);
    EXPECT_EQ(t.Coefficients()[1], 2.0);
    EXPECT_EQ(t.Distance(1, true), 2.0);
    EXPECT_EQ(t.Distance(-3, false), 6.0);
    EXPECT_DOUBLE_EQ(t.Angle(0), kPi / 2);
    EXPECT_DOUBLE_EQ(t.Inverse().Angle(0), -kPi / 2);
    EXPECT_DOUBLE_EQ(t.Inverse().Distance(1, true), 0.5);
  }
}

TEST(LinearTrans, SimilarityOfGeorefGridRoundTrips) {
  // 0.5 m pixels turned by about 1.7 degrees, placed near (5e5, 6e6).
  double const a = 0.4998, b = 0.0147, tx = 512345.25, ty = 6123456.75;
  auto map = [&](CPointD p) { return CPointD{a * p.x - b * p.y + tx, b * p.x + a * p.y + ty}; };
  auto const grid = PixelGrid(10000, 8000, 60, 50);
  CRefPoint const corners[2] = {{grid.front(), map(grid.front())}, {grid.back(), map(grid.back())}};
  CLinearTrans const t(corners, 2);
  CLinearTrans const inv = t.Inverse();
  double worst = 0, worstBack = 0;
  for (auto const& p : grid) {
    worst = std::max(worst, Dist(t.Point(p), map(p)));
    worstBack = std::max(worstBack, Dist(inv.Point(t.Point(p)), p));
  }
  EXPECT_LT(worst, 1e-6);
  EXPECT_LT(worstBack, 1e-7);
  // The probes subtract two mapped points near 6e6, whose spacing is ~1e-9.
  EXPECT_NEAR(t.Distance(1, true), std::hypot(a, b), 1e-8);
  EXPECT_NEAR(t.Angle(0.5), 0.5 + std::atan2(b, a), 1e-8);
}

TEST(LinearTrans, OffsetKeepsTheInverseInStep) {
  CRefPoint const rps[2] = {{{10, 20}, {-3, 4}}, {{50, -10}, {7, 30}}};
  CLinearTrans t(rps, 2);
  CPointD const p{123.5, -77.25};
  CPointD const before = t.Point(p);
  t.Offset({1000, -250});
  CPointD const after = t.Point(p);
  EXPECT_NEAR(after.x, before.x + 1000, 1e-9);
  EXPECT_NEAR(after.y, before.y - 250, 1e-9);
  EXPECT_LT(Dist(t.Inverse().Point(after), p), 1e-9);
  EXPECT_LT(Dist(t.Inverse().Point(rps[0].dst + CPointD{1000, -250}), rps[0].src), 1e-9);
}

TEST(LinearTrans, DegeneratePairsLeaveTheIdentityOrTheOldMap) {
  double const nan = std::nan("");
  struct Case {
    char const* name;
    std::vector<CRefPoint> rps;
  } const cases[] = {
      {"one pair", {{{0, 0}, {1, 1}}}},
      {"coincident sources", {{{2, 2}, {0, 0}}, {{2, 2}, {5, 0}}, {{9, 9}, {1, 1}}}},
      {"coincident targets", {{{0, 0}, {3, 3}}, {{5, 0}, {3, 3}}}},
      // Ss = 2 * (5e-5)^2 is under the absolute 1.19e-7.
      {"sources 1e-4 apart", {{{0, 0}, {0, 0}}, {{1e-4, 0}, {5, 0}}}},
      {"nan", {{{0, 0}, {0, 0}}, {{nan, 0}, {5, 0}}}},
      {"overflow", {{{-1e300, 0}, {0, 0}}, {{1e300, 0}, {5, 0}}}},
  };
  CRefPoint const good[2] = {{{0, 0}, {10, 10}}, {{1, 0}, {10, 12}}};
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    CLinearTrans const fresh(c.rps.data(), static_cast<unsigned>(c.rps.size()));
    EXPECT_EQ(fresh.Point({3, 4}).x, 3.0);
    EXPECT_EQ(fresh.Point({3, 4}).y, 4.0);
    EXPECT_EQ(fresh.Inverse().Point({3, 4}).x, 3.0);
    CLinearTrans t(good, 2);
    EXPECT_FALSE(t.Define(c.rps.data(), static_cast<unsigned>(c.rps.size())));
    EXPECT_EQ(t.Point({0, 1}).x, 8.0);
  }
  CLinearTrans t(good, 2);
  EXPECT_FALSE(t.Define(static_cast<CRefPoint const*>(nullptr), 2u));
  EXPECT_FALSE(t.Define(t.Coefficients(), nullptr));
  EXPECT_EQ(t.Point({0, 1}).x, 8.0);
  CLinearTrans const id(nullptr, nullptr);
  EXPECT_EQ(id.Point({3, 4}).y, 4.0);
}

TEST(SqrTrans, RecoversSecondOrderMapAtPixelScale) {
  auto const grid = PixelGrid(4000, 3000, 60, 50);
  std::vector<CRefPoint> rps;
  for (auto const& p : grid) rps.push_back({p, Poly(kSheet, p)});
  CSqrTrans const t(rps.data(), static_cast<unsigned>(rps.size()));
  ASSERT_FALSE(IsFallback(t));
  CSqrTrans const inv = t.Inverse();
  double worst = 0, worstBack = 0;
  for (auto const& r : rps) {
    worst = std::max(worst, Dist(t.Point(r.src), r.dst));
    worstBack = std::max(worstBack, Dist(inv.Point(t.Point(r.src)), r.src));
  }
  EXPECT_LT(worst, 1e-6);
  // The inverse of a second-order map is not second order; the separately
  // fitted inverse undoes 34 px of distortion to about a tenth of a pixel.
  EXPECT_LT(worstBack, 0.2);
  for (int i = 0; i < 12; ++i) EXPECT_NEAR(t.Coefficients()[i], kSheet[i], 1e-9 * (1 + std::abs(kSheet[i])));

  // An affine relation is second order both ways: the round trip is exact.
  double const affine[12] = {0, 0, 0, 1.02, -0.04, 35.5, 0, 0, 0, 0.03, 0.99, -12.25};
  rps.clear();
  for (auto const& p : grid) rps.push_back({p, Poly(affine, p)});
  CSqrTrans const a(rps.data(), static_cast<unsigned>(rps.size()));
  worstBack = 0;
  for (auto const& r : rps) worstBack = std::max(worstBack, Dist(a.Inverse().Point(a.Point(r.src)), r.src));
  EXPECT_LT(worstBack, 1e-6);
}

TEST(SqrTrans, FitToNoisyPointsIsGoodToTheNoise) {
  std::mt19937 rng(7411);
  std::normal_distribution<double> noise(0.0, 0.3);  // pixels
  auto const grid = PixelGrid(4000, 3000, 40, 30);
  std::vector<CRefPoint> rps;
  for (auto const& p : grid) rps.push_back({p, Poly(kSheet, p) + CPointD{noise(rng), noise(rng)}});
  CSqrTrans const t(rps.data(), static_cast<unsigned>(rps.size()));
  ASSERT_FALSE(IsFallback(t));
  double worst = 0;
  for (auto const& p : PixelGrid(4000, 3000, 17, 13)) worst = std::max(worst, Dist(t.Point(p), Poly(kSheet, p)));
  // 1200 pairs, six unknowns per axis: the fitted surface has a standard
  // error of about 0.04 px per axis at the corners, 0.016 px in the middle.
  EXPECT_LT(worst, 0.15);
}

TEST(SqrTrans, ProjectedWorldMagnitudesSpoilTheInverseFit) {
  // 0.5 m pixels over 4000 x 4000: a 2 km square near (5e5, 6e6). The
  // direct fit (from pixels) is sound; the inverse fit from raw projected
  // coordinates solves normal equations whose monomials are nearly
  // dependent, and either fails outright or misses by a large fraction of a
  // pixel. The same fit after moving the world coordinates near the origin
  // is exact.
  double const x0 = 512345.25, y0 = 6123456.75;
  double const world[12] = {0, 0, 0, 0.4998, 0.0150, x0, 0, 0, 0, 0.0147, -0.5002, y0};
  auto const grid = PixelGrid(4000, 4000, 40, 40);
  std::vector<CRefPoint> raw, local;
  for (auto const& p : grid) {
    CPointD const w = Poly(world, p);
    raw.push_back({p, w});
    local.push_back({p, w - CPointD{x0, y0}});
  }
  CSqrTrans t;
  bool const ok = t.Define(raw.data(), static_cast<unsigned>(raw.size()));
  double worst = 0, worstBack = 0;
  for (auto const& r : raw) {
    worst = std::max(worst, Dist(t.Point(r.src), r.dst));
    worstBack = std::max(worstBack, Dist(t.Inverse().Point(r.dst), r.src));
  }
  EXPECT_LT(worst, 1e-5);  // metres: the direct block is replaced and good
  // A failed inverse fit leaves the old inverse block (here the fallback).
  EXPECT_TRUE(!ok || worstBack > 0.01) << "inverse error " << worstBack << " px";

  CSqrTrans l;
  ASSERT_TRUE(l.Define(local.data(), static_cast<unsigned>(local.size())));
  worstBack = 0;
  for (auto const& r : local) worstBack = std::max(worstBack, Dist(l.Inverse().Point(r.dst), r.src));
  EXPECT_LT(worstBack, 1e-6);
}

TEST(SqrTrans, RealProjectionIsFollowedFarBetterThanByAffine) {
  // Pixel to WGS 84 degrees through a real projection: fit on the even
  // points of each 5 x 5 grid and check on the odd ones.
  for (auto const& img : kmath_test::LoadGeoref()) {
    SCOPED_TRACE(img.header);
    std::vector<CRefPoint> fit, check;
    for (std::size_t i = 0; i < img.rows.size(); ++i)
      (i % 2 ? check : fit).push_back({img.rows[i].pixel, img.rows[i].lonlat});
    CSqrTrans const s(fit.data(), static_cast<unsigned>(fit.size()));
    ASSERT_FALSE(IsFallback(s));
    Math::CAffineParams a;
    ASSERT_TRUE(a.Define(fit.data(), static_cast<unsigned>(fit.size())));
    double es = 0, ea = 0;
    for (auto const& r : check) {
      es = std::max(es, Dist(s.Point(r.src), r.dst));
      ea = std::max(ea, Dist(a.Direct()(r.src), r.dst));
    }
    EXPECT_LT(es * 50, ea) << "second order " << es << " deg, affine " << ea << " deg";
  }
}

TEST(SqrTrans, FailedFitsLeaveTheRecognisableFallback) {
  std::vector<CRefPoint> general;
  for (auto const& p : PixelGrid(100, 80, 4, 3)) general.push_back({p, Poly(kSheet, p)});
  std::vector<CRefPoint> onAxis, nanTarget, flatTargets;
  for (int i = 0; i < 6; ++i) onAxis.push_back({{10.0 * i, 0}, {1.0 * i, 2.0 * i}});
  nanTarget = general;
  nanTarget[4].dst.y = std::nan("");
  // Sources in general position, targets all on the x axis: the direct fit
  // works, the inverse one is singular.
  for (auto const& r : general) flatTargets.push_back({r.src, {r.src.x + r.src.y * r.src.y, 0}});
  std::vector<CRefPoint> nanSource = general;
  nanSource[0].src.x = std::nan("");

  struct Case {
    char const* name;
    std::vector<CRefPoint> const* rps;
    unsigned n;
    bool directReplaced;
  } const cases[] = {
      {"five pairs", &general, 5, false},
      {"sources on the x axis", &onAxis, 6, false},
      {"nan source", &nanSource, 12, false},
      {"nan target", &nanTarget, 12, false},
      {"targets on the x axis", &flatTargets, 12, true},
  };
  double const keep[12] = {0, 0, 0, 2, 0, 1, 0, 0, 0, 0, 2, 1};  // (2x + 1, 2y + 1)
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(IsFallback(CSqrTrans(c.rps->data(), c.n)));
    CSqrTrans t(keep, keep);
    EXPECT_FALSE(t.Define(c.rps->data(), c.n));
    CPointD const p = t.Point({7, 3});
    CPointD const q = t.Inverse().Point({7, 3});
    if (c.directReplaced) {
      EXPECT_NEAR(p.x, 16.0, 1e-9);  // 7 + 3^2
      EXPECT_NEAR(p.y, 0.0, 1e-9);
    } else {
      EXPECT_EQ(p.x, 15.0);
      EXPECT_EQ(p.y, 7.0);
    }
    EXPECT_EQ(q.x, 15.0);  // the inverse block is never half-written
    EXPECT_EQ(q.y, 7.0);
  }
  EXPECT_TRUE(IsFallback(CSqrTrans()));
  EXPECT_TRUE(IsFallback(CSqrTrans(keep, nullptr)));
  EXPECT_TRUE(IsFallback(CSqrTrans(static_cast<CRefPoint const*>(nullptr), 6u)));
}

TEST(SqrTrans, DiagonalThresholdIsAbsoluteOnRawCoordinates) {
  // The product of the Cholesky diagonal is sqrt(det N), and det N grows as
  // the spread s of the sources to the 16th power: the same well-posed 4 x 3
  // grid passes at s = 1 (product ~0.5) and fails at s = 0.01 (~5e-17).
  for (double s : {1.0, 0.01}) {
    SCOPED_TRACE(s);
    std::vector<CRefPoint> rps;
    for (auto const& p : PixelGrid(s, s, 4, 3)) rps.push_back({p, {p.x + p.y, p.x - p.y}});
    CSqrTrans const t(rps.data(), static_cast<unsigned>(rps.size()));
    EXPECT_EQ(IsFallback(t), s < 1.0);
  }
}

TEST(SqrTrans, AngleAndDistanceProbeAtTheSourceOrigin) {
  // (x, y) -> (x^2 + x, 2y + 3).
  double const c[12] = {1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 2, 3};
  CSqrTrans const t(c, c);
  EXPECT_EQ(t.Distance(2, true), 6.0);
  EXPECT_EQ(t.Distance(2, false), 4.0);
  EXPECT_EQ(t.Distance(-1, true), 0.0);  // (-1)^2 - 1: the probe folds back
  EXPECT_DOUBLE_EQ(t.Angle(kPi / 2), kPi / 2);
  double const h = std::sqrt(0.5);
  EXPECT_DOUBLE_EQ(t.Angle(kPi / 4), std::atan2(2 * h, h * h + h));
  // The fallback collapses every probe onto the line y' = 1.
  CSqrTrans const f;
  EXPECT_EQ(f.Angle(kPi / 2), 0.0);
  EXPECT_EQ(f.Distance(5, true), 0.0);
  EXPECT_EQ(f.Distance(5, false), 5.0);
}

}  // namespace
