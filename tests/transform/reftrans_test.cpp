#include <math/reftrans.h>

#include <gtest/gtest.h>

#include "georef_data.h"

namespace kmath_test {
namespace {

using Math::CLinearTrans;
using Math::CSqrTrans;

// A second-order map written out by hand, in the block's monomial order.
CPointD Poly(double const* c, CPointD p) {
  return {c[0] * p.x * p.x + c[1] * p.y * p.y + c[2] * p.x * p.y + c[3] * p.x + c[4] * p.y + c[5],
          c[6] * p.x * p.x + c[7] * p.y * p.y + c[8] * p.x * p.y + c[9] * p.x + c[10] * p.y + c[11]};
}

bool IsFallback(CSqrTrans const& t) {  // (x, y) -> (y, 1) both ways
  return Dist(t.Point({3, 7}), {7, 1}) == 0 && Dist(t.Inverse().Point({-2, 5}), {5, 1}) == 0;
}

TEST(LinearTrans, FirstTwoPairsFixTheMapAndItsInverse) {
  // x' = 3x - 4y + 10, y' = 4x + 3y + 10: scale 5, turned by atan2(4, 3).
  // The third pair has no say.
  CRefPoint const rps[3] = {{{0, 0}, {10, 10}}, {{1, 0}, {13, 14}}, {{5, 5}, {100, -3}}};
  for (unsigned n : {2u, 3u}) {
    CLinearTrans t(rps, n);
    EXPECT_EQ(Dist(t.Point({0, 1}), {6, 13}), 0.0);
    for (int k = 0; k < 2; ++k) EXPECT_LT(Dist(t.Inverse().Point(rps[k].dst), rps[k].src), 1e-14);
    EXPECT_DOUBLE_EQ(t.Distance(-2, false), 10.0);
    EXPECT_DOUBLE_EQ(t.Angle(0.5), 0.5 + std::atan2(4, 3));
    t.Offset({5e5, -6e6});  // moves the output; the inverse follows
    EXPECT_EQ(Dist(t.Point({0, 1}), {500006, -5999987}), 0.0);
    CLinearTrans u = t;
    u.Define(u.Inverse().Coefficients(), u.Coefficients());  // turned round in place
    EXPECT_LT(Dist(u.Point(t.Point({-7, 9})), {-7, 9}), 1e-9);
    EXPECT_EQ(Dist(u.Inverse().Point({0, 1}), {500006, -5999987}), 0.0);
  }
}

TEST(LinearTrans, BadInputLeavesTheIdentityOrTheOldMap) {
  struct Case {
    char const* name;
    std::vector<CRefPoint> rps;
  } const cases[] = {
      {"one pair", {{{0, 0}, {1, 1}}}},
      {"coincident sources", {{{2, 2}, {0, 0}}, {{2, 2}, {5, 0}}, {{9, 9}, {1, 1}}}},
      {"coincident targets", {{{0, 0}, {3, 3}}, {{5, 0}, {3, 3}}}},
      {"sources 1e-4 apart", {{{0, 0}, {0, 0}}, {{1e-4, 0}, {5, 0}}}},  // Ss = 5e-9, absolute
      {"nan", {{{0, 0}, {0, 0}}, {{std::nan(""), 0}, {5, 0}}}},
  };
  CRefPoint const good[2] = {{{0, 0}, {10, 10}}, {{1, 0}, {13, 14}}};
  CLinearTrans t(good, 2);
  EXPECT_FALSE(t.Define(static_cast<CRefPoint const*>(nullptr), 2u));
  EXPECT_FALSE(t.Define(t.Coefficients(), nullptr));
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Dist(CLinearTrans(c.rps.data(), N(c.rps)).Point({3, 4}), {3, 4}), 0.0);  // the identity
    EXPECT_FALSE(t.Define(c.rps.data(), N(c.rps)));
    EXPECT_EQ(Dist(t.Point({0, 1}), {6, 13}), 0.0);
  }
}

TEST(SqrTrans, RecoversSecondOrderMapAtPixelScale) {
  // Scan of a map sheet to a reference raster: ~34 px of distortion over 4000 x 3000 px.
  double const sheet[12] = {1e-6, -2e-6, 3e-6, 0.98, 0.05, 120.0, -1.5e-6, 0.5e-6, 2e-6, -0.03, 1.01, -80.0};
  auto const grid = PixelGrid(4000, 3000, 60, 50);
  auto const rps = Pairs(grid, [&](CPointD p) { return Poly(sheet, p); });
  CSqrTrans const t(rps.data(), N(rps));
  EXPECT_LT(Worst(grid, [&](CPointD p) { return Dist(t.Point(p), Poly(sheet, p)); }), 1e-6);
  // The inverse of a second-order map is not second order; the separately
  // fitted inverse undoes the distortion to about a tenth of a pixel.
  EXPECT_LT(Worst(grid, [&](CPointD p) { return Dist(t.Inverse().Point(t.Point(p)), p); }), 0.2);
  CSqrTrans u = t;
  u.Define(u.Inverse().Coefficients(), u.Coefficients());  // turned round in place
  EXPECT_LT(Worst(grid, [&](CPointD p) { return Dist(u.Inverse().Point(p), Poly(sheet, p)); }), 1e-6);
}

TEST(SqrTrans, ProjectedWorldMagnitudesSpoilTheInverseFit) {
  // 0.5 m pixels over a 2 km square near (5e5, 6e6). The direct fit (from
  // pixels) is sound; the inverse fit from raw projected coordinates solves
  // nearly dependent normal equations and either fails or misses by a large
  // fraction of a pixel. Moved near the origin first, it is exact.
  double const world[12] = {0, 0, 0, 0.4998, 0.0150, 512345.25, 0, 0, 0, 0.0147, -0.5002, 6123456.75};
  auto const grid = PixelGrid(4000, 4000, 40, 40);
  auto const raw = Pairs(grid, [&](CPointD p) { return Poly(world, p); });
  auto const local = Pairs(grid, [&](CPointD p) { return Poly(world, p) - CPointD{world[5], world[11]}; });
  CSqrTrans t;
  bool const ok = t.Define(raw.data(), N(raw));
  auto back = [&](CRefPoint const& r) { return Dist(t.Inverse().Point(r.dst), r.src); };
  EXPECT_LT(Worst(raw, [&](CRefPoint const& r) { return Dist(t.Point(r.src), r.dst); }), 1e-5);  // metres
  EXPECT_TRUE(!ok || Worst(raw, back) > 0.01) << "inverse error " << Worst(raw, back) << " px";
  ASSERT_TRUE(t.Define(local.data(), N(local)));
  EXPECT_LT(Worst(local, back), 1e-6);
}

TEST(SqrTrans, FailedFitsKeepTheBlocksOrLeaveTheFallback) {
  // Well-posed 4 x 3 grids: at spread 0.01 the Cholesky diagonal product
  // is ~5e-17, under the absolute 1e-12; at spread 1 it is ~0.5.
  auto grid = [](double s) {
    return Pairs(PixelGrid(s, s, 4, 3), [](CPointD p) { return CPointD{p.x + p.y, p.x - p.y}; });
  };
  auto const g = grid(100);
  auto nanAt = [&](bool src) {
    auto v = g;
    (src ? v[0].src.x : v[4].dst.y) = std::nan("");
    return v;
  };
  struct Case {
    char const* name;
    std::vector<CRefPoint> rps;
    unsigned n;
    bool directReplaced;
  } const cases[] = {
      {"five pairs", g, 5, false},
      {"sources on the x axis", Pairs(PixelGrid(50, 0, 6, 2), [](CPointD p) { return p; }), 12, false},
      {"nan source", nanAt(true), 12, false},
      {"nan target", nanAt(false), 12, false},
      {"spread 0.01", grid(0.01), 12, false},
      // Targets all on the x axis: the direct fit works, the inverse one is singular.
      {"flat targets",
       Pairs(PixelGrid(100, 80, 4, 3),
             [](CPointD p) {
               return CPointD{p.x + p.y * p.y, 0};
             }),
       12, true},
  };
  double const keep[12] = {0, 0, 0, 2, 0, 1, 0, 0, 0, 0, 2, 1};  // (2x + 1, 2y + 1)
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(IsFallback(CSqrTrans(c.rps.data(), c.n)));
    CSqrTrans t(keep, keep);
    EXPECT_FALSE(t.Define(c.rps.data(), c.n));
    // x + y^2 at (7, 3) for the replaced block; the inverse is never half-written.
    EXPECT_LT(Dist(t.Point({7, 3}), c.directReplaced ? CPointD{16, 0} : CPointD{15, 7}), 1e-9);
    EXPECT_EQ(Dist(t.Inverse().Point({7, 3}), {15, 7}), 0.0);
  }
  EXPECT_FALSE(IsFallback(CSqrTrans(grid(1).data(), 12)));
  EXPECT_TRUE(IsFallback(CSqrTrans(keep, nullptr)));
  EXPECT_TRUE(IsFallback(CSqrTrans(static_cast<CRefPoint const*>(nullptr), 6u)));
}

}  // namespace
}  // namespace kmath_test
