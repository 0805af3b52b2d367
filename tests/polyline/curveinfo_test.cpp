#include <math/curveinfo.h>
#include <math/polygon.h>

#include <random>

#include "polyline_test.h"

namespace polyline_test {
namespace {

using Math::CCurveInfo;
using Math::poly_hit;
using Poly = Math::poly_base<CPointD>;
constexpr double kPi = 3.14159265358979323846;

double Dist(CPointD a, CPointD b) { return std::hypot(a.x - b.x, a.y - b.y); }

// ---- the fitted stretch ----

TEST(CurveInfo, ParametersDegreeAndLineFollowTheStretchRules) {
  Poly const run = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}};
  // The point that carries the walked length past dLength is still used;
  // reaching it exactly is not passing it.
  EXPECT_EQ(CCurveInfo(run, 2.5, 2, 0.0).Params(), (std::vector<double>{0, 1, 2, 3}));
  EXPECT_EQ(CCurveInfo(run, 3.0, 2, 0.0).Params(), (std::vector<double>{0, 1, 2, 3, 4}));
  EXPECT_EQ(CCurveInfo(run, 2.5, 2, 0.5).Params(), (std::vector<double>{-0.5, 0.5, 1.5, 2.5}));
  CCurveInfo const two(Poly{{0, 0}, {3, 4}}, 10.0, 3, 0.0);  // degree 1: no c2 for the curvature
  EXPECT_TRUE(two.Polynom().size() == 2 && std::abs(two.TanVector().y - 0.8) < 1e-12 && IsBad(two.Curvature()));
  // Two distinct parameters for four coefficients: the surplus ones are 0.
  auto const dup = CCurveInfo(Poly{{0, 0}, {0, 0}, {2, 0}, {2, 0}}, 10.0, 3, 0.0).Polynom();
  EXPECT_TRUE(dup.size() == 4 && std::abs(dup[1].x - 1) < 1e-12 && dup[2].x == 0 && dup[3].x == 0);
  // Half of 0.5 is below every parameter but the first: the line still takes
  // the first two points plus (0.25, 0) at arc 0.25. t = 0, 1, 1.75 against
  // x = 0, 1, 0.25 fit to x = 9/37 + 7/37 t (exact fractions).
  auto const line = CCurveInfo(Poly{{0, 0}, {1, 0}, {1, 1}, {1, 2}}, 0.5, 2, 0.0).RegLine();
  EXPECT_TRUE(line.size() == 2 && std::abs(line[0].x - 9.0 / 37) < 1e-12 && std::abs(line[1].x - 7.0 / 37) < 1e-12);
}

// ---- curve information at a position ----

// Over an arc of angle 0.2 a degree-2 or -3 fit is within 2% of 1/r, far
// from the origin too; the tangent is the radius turned by +90 degrees (-90
// backwards) and the overall direction leans into the bend. A hit within
// 1e-12 of a segment's end is the next vertex.
TEST(CurveInfo, CurvatureOfASampledCircleIsTheInverseRadius) {
  for (double r : {20.0, 50.0, 150.0}) {
    int const n = static_cast<int>(std::ceil(2 * kPi * r));  // counter-clockwise, about 1 apart, closed
    double const w = 2 * kPi / n;
    Poly circle;
    for (int i = 0; i <= n; ++i) circle.push_back({3e5 + r * std::cos(w * (i % n)), r * std::sin(w * (i % n))});
    for (int k = 0; k < 4; ++k) {
      unsigned const degree = 2 + k % 2;
      int const idx = k < 2 ? 3 : n / 2;
      double const len = std::min(0.2 * r, 25.0), radial = w * idx;
      SCOPED_TRACE("r " + std::to_string(r) + " degree " + std::to_string(degree));
      CCurveInfo const fwd = Math::CurveInfo(circle, poly_hit(idx, 0.0), len, false, degree);
      CCurveInfo const bwd = Math::CurveInfo(circle, poly_hit(idx, 0.0), len, true, degree);
      EXPECT_NEAR(fwd.Curvature() * r, 1.0, 0.02);
      EXPECT_NEAR(bwd.Curvature() * r, -1.0, 0.02);
      EXPECT_EQ(Math::CurveInfo(circle, poly_hit(idx - 1, 1 - 1e-13), len, false, degree).Curvature(), fwd.Curvature());
      EXPECT_NEAR(std::remainder(fwd.Tangent() - radial - kPi / 2, 2 * kPi), 0.0, 0.02);
      EXPECT_NEAR(std::remainder(bwd.Tangent() - radial + kPi / 2, 2 * kPi), 0.0, 0.02);
      EXPECT_GT(std::remainder(fwd.Direction() - fwd.Tangent(), 2 * kPi), 0.0);
    }
  }
}

// A stretch whose third vertex turns back by 150 degrees (or turns by 90),
// arms `arm` long, resampled at step 1: where it ends shows whether that
// vertex is a kink under the process-wide parameters (defaults: arm length 2,
// angle pi/3; the angle between the arms may equal the limit).
TEST(CurveInfo, StretchIsCutAfterTheFirstKinkByProcessWideParameters) {
  CPointD const back = {-std::sqrt(0.75), 0.5}, up = {0, 1};
  struct Case {
    char const* name;
    double arm, kinkArm, kinkAngle;
    CPointD leg;
    double reach;
  } const cases[] = {
      {"arms of 3: a kink, cut at arc 6", 3.0, 2.0, kPi / 3, back, 6.0},
      {"arms of 1.5, under the arm length: no kink", 1.5, 2.0, kPi / 3, back, 9.0},
      {"shorter arm length: a kink", 1.5, 1.0, kPi / 3, back, 3.0},
      {"narrower angle: no kink", 3.0, 2.0, 0.4, back, 18.0},
      {"right angle at a right-angle limit: a kink", 3.0, 2.0, kPi / 2, up, 6.0},
  };
  for (Case const& c : cases) {
    Poly p = {{0, 0}, {c.arm, 0}, {2 * c.arm, 0}};
    for (int i = 1; i <= 4; ++i) p.push_back({(2 + i * c.leg.x) * c.arm, i * c.leg.y * c.arm});
    CCurveInfo::SetKinkParms(c.kinkArm, c.kinkAngle);
    CCurveInfo const ci = Math::CurveInfo(p, poly_hit(0, 0.0), 40.0, false, 2);
    EXPECT_NEAR(ci.IsValid() ? ci.Params().back() : -1.0, c.reach, 1e-9) << c.name;
  }
  CCurveInfo::SetKinkParms(2.0, kPi / 3);
}

TEST(CurveInfo, BadInputGivesTheInvalidObject) {
  Poly const p = {{0, 0}, {1, 0}, {2, 0}, {3, 1}};
  auto at = [&p](poly_hit h, double len, bool back) { return Math::CurveInfo(p, h, len, back, 3); };
  struct Case {
    char const* name;
    CCurveInfo ci;
  } const cases[] = {
      {"fit of no point", CCurveInfo(Poly{}, 10.0, 3, 0.0)},
      {"fit of one point", CCurveInfo(Poly{{1, 1}}, 10.0, 3, 0.0)},
      {"fit over a NaN", CCurveInfo(Poly{{0, 0}, {kNaN, 1}, {2, 2}}, 10.0, 3, 0.0)},
      {"fit of NaN length", CCurveInfo(Poly{{0, 0}, {1, 1}}, kNaN, 3, 0.0)},
      {"zero total length", Math::CurveInfo(Poly{{1, 1}, {1, 1}, {1, 1}}, poly_hit(0, 0.0), 5.0, true, 3)},
      {"NaN coordinate", Math::CurveInfo(Poly{{0, 0}, {1, 0}, {kNaN, 0}, {3, 1}}, poly_hit(0, 0.0), 5.0, false, 3)},
      {"index past the end", at({4, 0.0}, 5.0, true)},
      {"NaN length", at({1, 0.0}, kNaN, false)},
      {"negative length", at({1, 0.0}, -2.0, true)},
      {"forward from the end", at({2, 1.0}, 5.0, false)},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(!c.ci.IsValid() && c.ci.Params().empty() && c.ci.RegLine().empty());
    EXPECT_TRUE(IsBad(c.ci.Tangent()) && IsBad(c.ci.Curvature()) && IsBad(c.ci.Direction()));
    EXPECT_TRUE(IsBad(c.ci.TanVector().x) && IsBad(c.ci.TanVector(1.0).y) && IsBad(c.ci.DirVector().x));
  }
}

// Regression: a negative length fits the polynomial to the first point only,
// but the line still reads the second point; a NaN or infinity there gave a
// valid object with a NaN line.
TEST(CurveInfo, NegativeLengthOverANonFinitePointIsInvalidNotANaNLine) {
  for (Poly const& p : {Poly{{0, 0}, {kNaN, 1}, {2, 2}}, Poly{{0, 0}, {1, kInf}}}) {
    for (double len : {-1.0, -5.0, -1e300}) {
      CCurveInfo const ci(p, len, 3, 0.0);
      EXPECT_TRUE(!ci.IsValid() && ci.Params().empty() && ci.RegLine().empty()) << len;
    }
  }
  // A bad point neither fit reads does not refuse: the third one here.
  EXPECT_TRUE(CCurveInfo(Poly{{0, 0}, {1, 1}, {kNaN, kNaN}}, -1.0, 3, 0.0).IsValid());
}

// Regression: the stretch was resampled at step 1 whatever its length, so a
// length of 1e7 built ten million points and 1e8 needed some 8 GB.
TEST(CurveInfo, StretchesBeyondTheSampleBoundAreRefusedBeforeResampling) {
  double const bound = 1048576;  // 2^20
  auto info = [](double len) { return Math::CurveInfo(Poly{{0, 0}, {len, 0}}, poly_hit(0, 0.0), len, false, 1); };
  for (double len : {1e7, 1e8, 1e300}) EXPECT_FALSE(info(len).IsValid()) << len;
  // A straight stretch of whole length L reserves L + 2 points (L + 1 made,
  // one spare for rounding): the bound falls between L = 2^20 - 2 and 2^20 - 1.
  EXPECT_FALSE(info(bound - 1).IsValid());
  CCurveInfo const longest = info(bound - 2);
  EXPECT_TRUE(longest.IsValid() && longest.Params().size() >= bound - 1 && longest.Params().size() <= bound);
  EXPECT_NEAR(longest.Tangent(), 0.0, 1e-9);
}

// ---- directions at the ends ----

// The arc's vectors were worked out with an independent script of the
// weighted fit: start at relative position 0.4 with sharpness ln 3 /
// (0.4 - v)^2, end at 0.65 with ln 3 / (0.35 - v)^2 (not mirror images). A
// zig-zag keeps every vertex, so 0 and 20 are appended to the full list: the
// start stops at x = 4 (the first entry 2 len away), the end tries the
// appended 0 first and takes the whole span. A straight run's end looks at
// its last nSpan points only. Degenerate spans give (0, 0).
TEST(PolyDirections, EndsUseTheirOwnConstantsAndWalkTheAppendedList) {
  Pts arc, zig, run;
  for (int a = 0; a <= 90; a += 5) arc.push_back({10 * std::cos(a * kPi / 180), 10 * std::sin(a * kPi / 180)});
  for (int i = 0; i <= 20; ++i) zig.push_back({double(i), 0.5 * (i % 2)});
  for (int i = 0; i <= 10; ++i) run.push_back({double(i), 0});
  Pts const nan = {{0, 0}, {1, kNaN}, {2, 0}, {3, 0}}, same(3, {2, 2});
  struct Case {
    char const* name;
    CPointD got, want;
  } const cases[] = {
      {"arc start", Math::PolyStartingDir(arc.data(), 19, 19, 3, 100), {-8.2997428986536494, 11.253934505795916}},
      {"arc end", Math::PolyEndingDir(arc.data(), 19, 19, 3, 100), {-11.715841514313498, 7.2130234419507167}},
      {"zig-zag start", Math::PolyStartingDir(zig.data(), 21, 21, 2, 0.01), {3.4916707811803365, -1.3322605903399103}},
      {"zig-zag end", Math::PolyEndingDir(zig.data(), 21, 21, 2, 0.01), {19.999998445328167, 0.0055761486902169343}},
      {"run start", Math::PolyStartingDir(run.data(), 11, 1000, 2, 0.5), {10, 0}},
      {"run end, span 4", Math::PolyEndingDir(run.data(), 11, 4, 2, 0.5), {3, 0}},
  };
  for (Case const& c : cases) EXPECT_NEAR(Dist(c.got, c.want), 0.0, 1e-9) << c.name;
  for (auto dir : {Math::PolyStartingDir, Math::PolyEndingDir}) {
    for (CPointD const v : {dir(run.data(), 1, 9, 1, .5), dir(run.data(), 4, 0, 1, .5), dir(run.data(), 4, 1, 1, .5),
                            dir(nullptr, 4, 4, 1, .5), dir(nan.data(), 4, 4, 1, .5), dir(same.data(), 3, 3, 1, .5)})
      EXPECT_TRUE(v.x == 0.0 && v.y == 0.0);
  }
}

}  // namespace
}  // namespace polyline_test
