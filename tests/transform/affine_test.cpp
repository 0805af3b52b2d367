#include <math/affine.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <random>

#include "georef_data.h"

namespace kmath_test {
namespace {

using Math::CAffineParams;
using Math::CTfwInfo;

// Pixel to a projected system: 0.5 m pixels turned by about 1.7 degrees,
// top-left corner near (5e5, 6e6), y pointing south in the image.
CPointD Geo(CPointD p) { return {0.4998 * p.x + 0.0150 * p.y + 512345.25, 0.0147 * p.x - 0.5002 * p.y + 6123456.75}; }

TEST(AffineParams, RealWorldFilesMapTheCornersAndWriteBackUnchanged) {
  auto const images = LoadGeoref();
  ASSERT_EQ(images.size(), 2u);
  for (auto const& img : images) {
    SCOPED_TRACE(img.header);
    ASSERT_EQ(img.rows.size(), 25u);
    CAffineParams p;
    for (bool absY : {true, false}) {  // false last: with E < 0 absY moves the corners a pixel
      ASSERT_TRUE(p.Define(img.tfw, absY));
      CTfwInfo const b = p.TfwInfo(absY);
      char buf[160];
      std::snprintf(buf, sizeof buf, "tfw %.15g %.15g %.15g %.15g %.15g %.15g", b.A, b.D, b.B, b.E, b.C, b.F);
      EXPECT_EQ(std::string(buf), img.tfwLine);
    }
    EXPECT_FALSE(p.HasRotation());
    for (auto const& r : img.rows) {
      EXPECT_LT(Dist(p.Direct()(r.pixel), r.projected), 1e-6);
      EXPECT_LT(Dist(p.Inverse()(r.projected), r.pixel), 1e-9);
    }
  }
}

TEST(AffineParams, FitToGeorefGridRoundTripsAndAveragesNoiseAway) {
  auto const grid = PixelGrid(10000, 8000, 50, 40);
  CAffineParams p;
  auto worst = [&] { return Worst(grid, [&](CPointD q) { return Dist(p.Direct()(q), Geo(q)); }); };
  ASSERT_TRUE(p.Define(Pairs(grid, Geo).data(), N(grid)));
  EXPECT_LT(worst(), 1e-6);  // metres, at 6e6
  EXPECT_LT(Worst(grid, [&](CPointD q) { return Dist(p.Inverse()(p.Direct()(q)), q); }), 1e-7);
  // A determinant of 9e-11 is under the absolute 1e-10: Inverse() keeps the
  // stale block (the fit's inverse) without notice.
  ASSERT_TRUE(p.Define(CPointD{0, 0}, CSizeD{1e-5, 9e-6}, 0.0));
  EXPECT_LT(Dist(p.Inverse()(Geo({5, 5})), {5, 5}), 1e-6);
  EXPECT_FALSE(p.InverseValid());
  // 2000 pairs average 0.5 m of noise down to about 0.03 m at the corners.
  std::mt19937 rng(20240611);
  std::normal_distribution<double> noise(0.0, 0.5);
  auto const noisy = Pairs(grid, [&](CPointD q) { return Geo(q) + CPointD{noise(rng), noise(rng)}; });
  ASSERT_TRUE(p.Define(noisy.data(), N(noisy)));
  EXPECT_LT(worst(), 0.15);
}

TEST(AffineParams, DefinitionsMapAsDocumentedAndOnlyGivenInversesStayValid) {
  // Each row edits (2x + 10, 4y + 20), defined with its inverse: the image
  // of (1, 1) afterwards, and whether the inverse is still trusted.
  double const m[6] = {2, 0, 10, 0, 4, 20}, mi[6] = {0.5, 0, -5, 0, 0.25, -5};
  double const rot[6] = {0, -2, 10, 2, 0, 20}, stretch[6] = {3, 0, 1, 0, 1, 0};
  CRefPoint const rp{{100, 200}, {5e5, 6e6}}, three[3] = {{{0, 0}, {1, 1}}, {{1, 0}, {3, 1}}, {{0, 1}, {1, 5}}};
  struct Case {
    char const* name;
    std::function<void(CAffineParams&)> edit;
    CPointD image;
    bool valid;
  } const cases[] = {
      {"reference and scale",
       [&](auto& p) {
         p.Define(rp, CSizeD{0.5, -0.25});
       },
       {499950.5, 6000049.75},
       true},
      {"null: identity", [](auto& p) { p.Define(nullptr, nullptr); }, {1, 1}, true},
      {"direct block", [&](auto& p) { p.Define(rot, nullptr); }, {8, 22}, false},
      {"fit", [&](auto& p) { p.Define(three, 3); }, {3, 5}, false},
      // The half-pixel shift uses A and E only: a true corner would give (100.125, 199.25).
      {"world file",
       [&](auto& p) {
         p.Define(CTfwInfo{2, 0.5, 0.25, -2, 100, 200}, false);
       },
       {101.25, 199.5},
       false},
      {"world file, absY",
       [&](auto& p) {
         p.Define(CTfwInfo{2, 0.5, 0.25, -2, 100, 200}, true);
       },
       {101.25, 197.5},
       false},
      {"origin, scale, angle",
       [](auto& p) {
         p.Define(CPointD{10, 20}, CSizeD{2, 3}, std::acos(0.0));
       },
       {7, 22},
       false},
      {"offset",
       [](auto& p) {
         p.Offset({-10, 100});
       },
       {2, 124},
       false},
      // m(stretch(1, 1)) = m(4, 1); the other order would give (37, 24).
      {"composition", [&](auto& p) { p *= CAffineParams(stretch, nullptr); }, {18, 24}, false},
      {"composition in place", [](auto& p) { p *= p; }, {34, 116}, false},
      {"own blocks swapped",
       [](auto& p) { p.Define(p.Inverse().Coefficients(), p.Direct().Coefficients()); },
       {-4.5, -4.75},
       true},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    CAffineParams p(m, mi);
    c.edit(p);
    EXPECT_EQ(p.InverseValid(), c.valid);
    auto const d = p.Direct();
    EXPECT_LT(Dist(d({1, 1}), c.image), 1e-9);
    EXPECT_EQ(d.ScaleY(), Dist(d.Vector({0, 1}), {0, 0}));  // kept in step with the block
    EXPECT_LT(Dist(p.Inverse()(d({1, 1})), {1, 1}), 1e-9);
  }
  EXPECT_EQ(Dist(CAffineParams(m, m).Inverse()({12, 24}), {34, 116}), 0.0);  // trusted unchecked
}

TEST(AffineParams, BadInputFailsAndChangesNothing) {
  using Define = std::function<bool(CAffineParams&)>;
  double const m[6] = {2, 0, 1, 0, 3, -1}, nan = std::nan("");
  auto fit = [](std::vector<CRefPoint> v) -> Define {
    return [v](CAffineParams& p) { return p.Define(v.data(), N(v)); };
  };
  auto scale = [](CSizeD s) -> Define {
    return [s](CAffineParams& p) { return p.Define(CRefPoint{{0, 0}, {1, 1}}, s); };
  };
  // A fit past the count check stales the inverse even when it fails.
  struct Case {
    char const* name;
    Define define;
    bool stales;
  } const cases[] = {
      {"two pairs", fit({{{0, 0}, {0, 0}}, {{1, 0}, {1, 0}}}), false},
      {"null pairs", [](auto& p) { return p.Define(static_cast<CRefPoint const*>(nullptr), 5); }, false},
      {"nearly collinear", fit({{{0, 0}, {0, 0}}, {{1, 1e-6}, {1, 0}}, {{2, 0}, {0, 1}}}), true},
      {"nan source", fit({{{0, 0}, {0, 0}}, {{1, 0}, {1, 0}}, {{nan, 0}, {0, 1}}}), true},
      {"inf target", fit({{{0, 0}, {0, 0}}, {{1, 0}, {1, 0}}, {{0, 1}, {HUGE_VAL, 1}}}), true},
      {"scale below 1e-12", scale({1, -1e-13}), false},
      {"nan scale", scale({nan, 1}), false},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    CAffineParams p(m, m);  // an inverse given is trusted
    EXPECT_FALSE(c.define(p));
    EXPECT_EQ(p.InverseValid(), !c.stales);
    double const* b = p.Direct().Coefficients();
    EXPECT_EQ(std::vector<double>(b, b + 8), (std::vector<double>{2, 0, 1, 0, 3, -1, 2, 3}));
  }
  // A world file or an origin with scale and angle is never refused, a NaN included.
  CAffineParams p(m, m);
  EXPECT_TRUE(p.Define(CTfwInfo{2, 0, 0, nan, 100, 200}, false) && std::isnan(p.Direct()({1, 1}).y));
  EXPECT_TRUE(p.Define(CPointD{0, 0}, CSizeD{1, 1}, nan) && std::isnan(p.Direct()({1, 1}).x) && !p.InverseValid());
}

TEST(TfwInfo, TermsCompareAbsolutelyAndPositionsByRatio) {
  CTfwInfo const a{32.8, 0, 2, -32.8, 681496.4, 1913033.6};  // B alone makes it a rotated record
  CAffineParams w;
  EXPECT_TRUE(w.Define(a, false) && w.HasRotation());
  EXPECT_TRUE(w.TfwInfo(false) == a);  // written back through the A- and E-only shift
  double CTfwInfo::*const field[6] = {&CTfwInfo::A, &CTfwInfo::D, &CTfwInfo::B,
                                      &CTfwInfo::E, &CTfwInfo::C, &CTfwInfo::F};
  for (int i = 0; i < 6; ++i)
    for (double d : {1e-8, 1e-6, std::nan("")}) {
      CTfwInfo b = a;
      b.*field[i] = i < 4 ? b.*field[i] + d : b.*field[i] * (1 + d);  // C, F: 1e-8 of them is millimetres
      EXPECT_EQ(a == b, d < 1e-7) << "field " << i << " changed by " << d;
    }
  // A zero position compares as 0/0: such a record is not even equal to itself.
  EXPECT_TRUE((CTfwInfo{1, 0, 0, -1, 0, 5} != CTfwInfo{1, 0, 0, -1, 0, 5}));
}

}  // namespace
}  // namespace kmath_test
