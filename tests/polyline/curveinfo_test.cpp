#include <math/curveinfo.h>
#include <math/polygon.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "xy_reader.h"

namespace {

using Math::CCurveInfo;
using Math::poly_hit;
using Poly = Math::poly_base<CPointD>;

constexpr double kPi = 3.14159265358979323846;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool AllOnes(double d) {
  std::uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  return bits == ~std::uint64_t{0};
}

double Length(std::vector<CPointD> const& p) {
  double s = 0;
  for (size_t i = 1; i < p.size(); ++i) s += std::hypot(p[i].x - p[i - 1].x, p[i].y - p[i - 1].y);
  return s;
}

// Counter-clockwise circle of radius r about c, one vertex per `step` of
// arc, closed.
Poly Circle(double r, double step, CPointD c = {0, 0}) {
  int const n = static_cast<int>(std::ceil(2 * kPi * r / step));
  Poly p;
  for (int i = 0; i < n; ++i) p.push_back({c.x + r * std::cos(2 * kPi * i / n), c.y + r * std::sin(2 * kPi * i / n)});
  p.push_back(p.front());
  return p;
}

void RestoreKinkDefaults() { CCurveInfo::SetKinkParms(2.0, kPi / 3); }

// ---- positions along a polyline ----

TEST(PolylineModel, PointAtInterpolatesAndRejectsBadHits) {
  std::vector<CPointD> const p = {{0, 0}, {4, 0}, {4, 2}};
  struct Case {
    poly_hit h;
    CPointD want;
  };
  Case const good[] = {{{0, 0.0}, {0, 0}}, {{0, 0.25}, {1, 0}}, {{1, 0.5}, {4, 1}},
                       {{1, 1.0}, {4, 2}}, {{2, 0.0}, {4, 2}},  {{1, 5e-13}, {4, 0}}};
  for (Case const& c : good) {
    SCOPED_TRACE(std::to_string(c.h.index) + " " + std::to_string(c.h.param));
    EXPECT_TRUE(Math::IsValidHit(p, c.h));
    CPointD const q = Math::PointAt(p, c.h);
    EXPECT_EQ(q.x, c.want.x);
    EXPECT_EQ(q.y, c.want.y);
  }
  poly_hit const bad[] = {{-1, 0.0}, {3, 0.0}, {2, 0.5}, {0, -0.1}, {0, 1.1}, {0, kNaN}};
  for (poly_hit const& h : bad) {
    SCOPED_TRACE(std::to_string(h.index) + " " + std::to_string(h.param));
    EXPECT_FALSE(Math::IsValidHit(p, h));
    CPointD const q = Math::PointAt(p, h);
    EXPECT_TRUE(AllOnes(q.x) && AllOnes(q.y));
  }
  EXPECT_TRUE(AllOnes(Math::PointAt({}, poly_hit(0, 0.0)).x));
}

TEST(PolylineModel, MoveAlongWalksArcLengthAndStopsAtTheEnds) {
  // Lengths 3, 0, 4: the repeated vertex is a zero-length segment.
  std::vector<CPointD> const p = {{0, 0}, {3, 0}, {3, 0}, {3, 4}};
  struct Case {
    char const* name;
    poly_hit from;
    double dist, moved;
    CPointD at;
  };
  Case const cases[] = {
      {"within a segment", {0, 0.0}, 1.5, 1.5, {1.5, 0}},
      {"over the zero-length segment", {0, 0.5}, 3.5, 3.5, {3, 2}},
      {"onto a vertex", {0, 0.0}, 3.0, 3.0, {3, 0}},
      {"clamped at the end", {0, 0.5}, 100.0, 5.5, {3, 4}},
      {"infinite distance", {1, 0.0}, std::numeric_limits<double>::infinity(), 4.0, {3, 4}},
      {"backward", {2, 0.5}, -3.0, -3.0, {2, 0}},
      {"clamped at the start", {2, 0.5}, -10.0, -5.0, {0, 0}},
      {"no move", {2, 0.25}, 0.0, 0.0, {3, 1}},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    poly_hit h = c.from;
    EXPECT_NEAR(Math::MoveAlong(p, h, c.dist), c.moved, 1e-12);
    EXPECT_TRUE(Math::IsValidHit(p, h));
    EXPECT_GE(h.param, 0.0);
    EXPECT_LT(h.param, 1.0);
    CPointD const q = Math::PointAt(p, h);
    EXPECT_NEAR(q.x, c.at.x, 1e-12);
    EXPECT_NEAR(q.y, c.at.y, 1e-12);
  }
  poly_hit end(0, 0.0);
  Math::MoveAlong(p, end, 7.0);
  EXPECT_EQ(end.index, 3);
  EXPECT_EQ(end.param, 0.0);
}

TEST(PolylineModel, MoveAlongWrapsRoundAClosedRingOnRequest) {
  std::vector<CPointD> const square = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
  struct Case {
    poly_hit from;
    double dist;
    CPointD at;
  };
  Case const cases[] = {{{0, 0.0}, 5.0, {1, 0}},
                        {{0, 0.0}, -1.0, {0, 1}},
                        {{3, 0.5}, 1.0, {0.5, 0}},
                        {{0, 0.5}, -1.0, {0, 0.5}},
                        {{0, 0.0}, 4e6 + 2.5, {0.5, 1}}};
  for (Case const& c : cases) {
    SCOPED_TRACE(c.dist);
    poly_hit h = c.from;
    EXPECT_EQ(Math::MoveAlong(square, h, c.dist, true), c.dist);
    CPointD const q = Math::PointAt(square, h);
    EXPECT_NEAR(q.x, c.at.x, 1e-9);
    EXPECT_NEAR(q.y, c.at.y, 1e-9);
  }
  // Without the flag, or on an open polyline, the ends still stop the move.
  poly_hit h(0, 0.0);
  EXPECT_EQ(Math::MoveAlong(square, h, -1.0), 0.0);
  std::vector<CPointD> const open = {{0, 0}, {1, 0}, {1, 1}};
  h = poly_hit(1, 0.0);
  EXPECT_EQ(Math::MoveAlong(open, h, 5.0, true), 1.0);
}

TEST(PolylineModel, BadMovesAndCutsLeaveTheCallersDataUntouched) {
  std::vector<CPointD> const p = {{0, 0}, {1, 0}, {2, 0}};
  for (poly_hit bad : {poly_hit(-1, 0.0), poly_hit(2, 0.5), poly_hit(0, 2.0), poly_hit(0, kNaN)}) {
    poly_hit h = bad;
    EXPECT_TRUE(AllOnes(Math::MoveAlong(p, h, 1.0)));
    EXPECT_EQ(h.index, bad.index);
    std::vector<CPointD> out{{9, 9}};
    EXPECT_FALSE(Math::CutBetween(p, bad, poly_hit(0, 0.0), out));
    EXPECT_FALSE(Math::CutBetween(p, poly_hit(0, 0.0), bad, out));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].x, 9.0);
  }
  poly_hit h(0, 0.5);
  EXPECT_TRUE(AllOnes(Math::MoveAlong(p, h, kNaN)));
  EXPECT_EQ(h.param, 0.5);
  EXPECT_TRUE(AllOnes(Math::MoveAlong({}, h, 1.0)));
}

TEST(PolylineModel, CutBetweenFollowsTheOrderOfTravel) {
  std::vector<CPointD> const p = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}};
  struct Case {
    char const* name;
    poly_hit from, to;
    std::vector<double> xs;
  };
  Case const cases[] = {
      {"forward", {0, 0.5}, {2, 0.5}, {0.5, 1, 2, 2.5}},
      {"forward onto vertices", {1, 0.0}, {3, 0.0}, {1, 2, 3}},
      {"end of segment counts as the next vertex", {1, 1.0}, {3, 1 - 1e-13}, {2, 3, 4}},
      {"within one segment", {2, 0.25}, {2, 0.75}, {2.25, 2.75}},
      {"backward", {3, 0.5}, {0, 0.5}, {3.5, 3, 2, 1, 0.5}},
      {"backward from a vertex", {3, 0.0}, {1, 0.0}, {3, 2, 1}},
      {"same position", {2, 0.5}, {2, 0.5 + 1e-13}, {2.5}},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<CPointD> out;
    ASSERT_TRUE(Math::CutBetween(p, c.from, c.to, out));
    ASSERT_EQ(out.size(), c.xs.size());
    for (size_t i = 0; i < out.size(); ++i) EXPECT_NEAR(out[i].x, c.xs[i], 1e-12);
  }
}

// On real outlines: the cut between a position and the one moved d along
// is d long, and moving back by what was travelled returns to the start.
TEST(PolylineModel, MovingThereAndBackOnATracedOutlineIsARoundTrip) {
  std::mt19937 rng(7);
  for (char const* f : {"horse_chain.xy", "coins_crack.xy", "ccitt2_centerlines.xy"}) {
    auto const polys = kmath_test::LoadPolylines(f);
    for (size_t b = 0; b < polys.size(); b += 7) {
      std::vector<CPointD> const& p = polys[b];
      if (p.size() < 2) continue;
      std::uniform_int_distribution<int> seg(0, static_cast<int>(p.size()) - 2);
      std::uniform_real_distribution<double> par(0.0, 1.0), dist(-40.0, 40.0);
      for (int k = 0; k < 20; ++k) {
        poly_hit const h0(seg(rng), par(rng));
        poly_hit h = h0;
        double const moved = Math::MoveAlong(p, h, dist(rng));
        std::vector<CPointD> cut;
        ASSERT_TRUE(Math::CutBetween(p, h0, h, cut));
        ASSERT_NEAR(Length(cut), std::abs(moved), 1e-9);
        poly_hit back = h;
        ASSERT_NEAR(Math::MoveAlong(p, back, -moved), -moved, 1e-9);
        CPointD const a = Math::PointAt(p, h0), z = Math::PointAt(p, back);
        ASSERT_NEAR(a.x, z.x, 1e-9);
        ASSERT_NEAR(a.y, z.y, 1e-9);
      }
    }
  }
}

// ---- the fitted stretch ----

TEST(CCurveInfo, FewerThanTwoPointsGiveAnInvalidObject) {
  for (Poly const& p : {Poly{}, Poly{{1, 1}}}) {
    CCurveInfo const ci(p, 10.0, 3, 0.0);
    EXPECT_FALSE(ci.IsValid());
    EXPECT_TRUE(ci.Polynom().empty() && ci.RegLine().empty() && ci.Params().empty());
    EXPECT_TRUE(AllOnes(ci.Tangent()));
    EXPECT_TRUE(AllOnes(ci.Curvature()));
    EXPECT_TRUE(AllOnes(ci.TanVector().x));
    EXPECT_TRUE(AllOnes(ci.TanVector(1.0).x));
    EXPECT_TRUE(AllOnes(ci.Direction()));
    EXPECT_TRUE(AllOnes(ci.DirVector().y));
  }
  EXPECT_FALSE(CCurveInfo(Poly{{0, 0}, {kNaN, 1}, {2, 2}}, 10.0, 3, 0.0).IsValid());
  EXPECT_FALSE(CCurveInfo(Poly{{0, 0}, {1, 1}}, kNaN, 3, 0.0).IsValid());
}

TEST(CCurveInfo, ChordLengthParametersIncludeThePointThatPassesTheLength) {
  Poly const p = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}};
  struct Case {
    double length, offset;
    std::vector<double> params;
  };
  Case const cases[] = {{2.5, 0.0, {0, 1, 2, 3}},
                        {3.0, 0.0, {0, 1, 2, 3, 4}},  // reaching the length is not passing it
                        {2.5, 0.5, {-0.5, 0.5, 1.5, 2.5}},
                        {100.0, 0.0, {0, 1, 2, 3, 4, 5}}};
  for (Case const& c : cases) {
    SCOPED_TRACE(c.length);
    CCurveInfo const ci(p, c.length, 2, c.offset);
    EXPECT_EQ(ci.Params(), c.params);
  }
}

TEST(CCurveInfo, StraightStretchHasZeroTangentDirectionAndCurvature) {
  Poly p;
  for (int i = 0; i <= 20; ++i) p.push_back({1e6 + i, -3e5});
  CCurveInfo const ci(p, 10.0, 3, 0.0);
  ASSERT_TRUE(ci.IsValid());
  ASSERT_EQ(ci.Polynom().size(), 4u);
  EXPECT_NEAR(ci.TanVector().x, 1.0, 1e-9);
  EXPECT_NEAR(ci.TanVector().y, 0.0, 1e-9);
  EXPECT_NEAR(ci.TanVector(3.0).x, 1.0, 1e-9);
  EXPECT_NEAR(ci.Tangent(), 0.0, 1e-9);
  EXPECT_NEAR(ci.Direction(), 0.0, 1e-9);
  EXPECT_NEAR(ci.Curvature(), 0.0, 1e-9);
  EXPECT_NEAR(ci.DirVector().x, 1.0, 1e-9);
  EXPECT_NEAR(ci.RegLine()[0].x, 1e6, 1e-6);
}

TEST(CCurveInfo, DegreeDropsBelowThePointCount) {
  CCurveInfo const two(Poly{{0, 0}, {3, 4}}, 10.0, 3, 0.0);
  ASSERT_EQ(two.Polynom().size(), 2u);
  EXPECT_NEAR(two.TanVector().x, 0.6, 1e-12);
  EXPECT_NEAR(two.TanVector().y, 0.8, 1e-12);
  EXPECT_TRUE(AllOnes(two.Curvature()));  // no c2 to read
  EXPECT_EQ(CCurveInfo(Poly{{0, 0}, {1, 0}, {1, 1}}, 10.0, 5, 0.0).Polynom().size(), 3u);
  // Repeated points give fewer distinct parameters than coefficients: the
  // surplus coefficients are 0, the rest still fits.
  CCurveInfo const dup(Poly{{0, 0}, {0, 0}, {2, 0}, {2, 0}}, 10.0, 3, 0.0);
  ASSERT_EQ(dup.Polynom().size(), 4u);
  EXPECT_NEAR(dup.TanVector().x, 1.0, 1e-12);
  EXPECT_EQ(dup.Polynom()[2].x, 0.0);
  EXPECT_EQ(dup.Polynom()[3].x, 0.0);
}

// Half of length 0.5 is below every parameter but the first: the line still
// takes the first two points, plus the point at arc 0.25, (0.25, 0). With
// t = 0, 1, 1.75 and x = 0, 1, 0.25 the least-squares line is
// x = 9/37 + 7/37 t (worked out with exact fractions).
TEST(CCurveInfo, RegressionLineTakesAtLeastTheFirstTwoPoints) {
  CCurveInfo const ci(Poly{{0, 0}, {1, 0}, {1, 1}, {1, 2}}, 0.5, 2, 0.0);
  ASSERT_EQ(ci.RegLine().size(), 2u);
  EXPECT_NEAR(ci.RegLine()[0].x, 9.0 / 37, 1e-12);
  EXPECT_NEAR(ci.RegLine()[1].x, 7.0 / 37, 1e-12);
  EXPECT_NEAR(ci.RegLine()[0].y, 0.0, 1e-12);
  EXPECT_NEAR(ci.RegLine()[1].y, 0.0, 1e-12);
}

// A long stretch at large coordinates: the cubic must still be the
// least-squares one, i.e. its residuals orthogonal to 1, u, u^2, u^3 (u the
// parameter scaled to [-1, 1]), and a straight line must come back exactly.
TEST(CCurveInfo, PolynomialIsALeastSquaresFitOnLongStretches) {
  Poly wiggle, line;
  for (int i = 0; i <= 2000; ++i) {
    double const s = 50.0 * i;
    wiggle.push_back({1e6 + s, 2e6 + 300 * std::sin(s / 7000) + 40 * std::cos(s / 900)});
    line.push_back({1e6 + 0.6 * s, 2e6 + 0.8 * s});
  }
  CCurveInfo const straight(line, 2e5, 3, 0.0);
  ASSERT_EQ(straight.Polynom().size(), 4u);
  EXPECT_NEAR(straight.TanVector().x, 0.6, 1e-9);
  EXPECT_NEAR(straight.TanVector().y, 0.8, 1e-9);
  for (size_t i = 0; i < line.size(); i += 100) {
    double const t = straight.Params()[i];
    auto const& c = straight.Polynom();
    double const x = ((c[3].x * t + c[2].x) * t + c[1].x) * t + c[0].x;
    double const y = ((c[3].y * t + c[2].y) * t + c[1].y) * t + c[0].y;
    ASSERT_NEAR(x, line[i].x, 1e-6);
    ASSERT_NEAR(y, line[i].y, 1e-6);
  }

  CCurveInfo const ci(wiggle, 2e5, 3, 0.0);
  auto const& c = ci.Polynom();
  auto const& t = ci.Params();
  ASSERT_EQ(c.size(), 4u);
  ASSERT_EQ(t.size(), wiggle.size());
  double const tmax = t.back();
  for (int k = 0; k <= 3; ++k) {
    double dot = 0, rr = 0, uu = 0;
    for (size_t i = 0; i < t.size(); ++i) {
      double const ti = t[i];
      double const r = wiggle[i].y - (((c[3].y * ti + c[2].y) * ti + c[1].y) * ti + c[0].y);
      double const u = std::pow(2 * ti / tmax - 1, k);
      dot += r * u, rr += r * r, uu += u * u;
    }
    EXPECT_LT(std::abs(dot), 1e-7 * std::sqrt(rr * uu)) << "power " << k;
  }
}

// ---- curve information at a position ----

// A low-degree fit over an arc of angle a underestimates (degree 2) or
// overestimates (degree 3) the curvature by an amount growing with a^2 (about
// 8% and 3% at a = 0.5); at a = 0.2 both are within 2%.
TEST(CurveInfo, CurvatureOfASampledCircleIsTheInverseRadius) {
  for (double r : {20.0, 50.0, 150.0}) {
    Poly const circle = Circle(r, 1.0, {300, -200});
    for (unsigned degree : {2u, 3u}) {
      for (int idx : {3, static_cast<int>(circle.size()) / 2}) {
        SCOPED_TRACE("r " + std::to_string(r) + " degree " + std::to_string(degree));
        double const len = std::min(0.2 * r, 25.0);
        CCurveInfo const fwd = Math::CurveInfo(circle, poly_hit(idx, 0.0), len, false, degree);
        CCurveInfo const bwd = Math::CurveInfo(circle, poly_hit(idx, 0.0), len, true, degree);
        ASSERT_TRUE(fwd.IsValid() && bwd.IsValid());
        EXPECT_NEAR(fwd.Curvature() * r, 1.0, 0.02);
        EXPECT_NEAR(bwd.Curvature() * r, -1.0, 0.02);
        // Counter-clockwise travel: the tangent at the vertex is the radius
        // direction turned by +90 degrees, backwards by -90 degrees.
        CPointD const v = circle[idx];
        double const radial = std::atan2(v.y + 200, v.x - 300);
        EXPECT_NEAR(std::remainder(fwd.Tangent() - radial - kPi / 2, 2 * kPi), 0.0, 0.02);
        EXPECT_NEAR(std::remainder(bwd.Tangent() - radial + kPi / 2, 2 * kPi), 0.0, 0.02);
        // The overall direction leans into the bend: about a quarter of the
        // arc's angle ahead of the tangent.
        EXPECT_GT(std::remainder(fwd.Direction() - fwd.Tangent(), 2 * kPi), 0.0);
      }
    }
  }
}

TEST(CurveInfo, HitAtTheEndOfASegmentCountsAsTheNextVertex) {
  Poly const circle = Circle(15.0, 1.3);
  CCurveInfo const a = Math::CurveInfo(circle, poly_hit(3, 1 - 1e-13), 8.0, false, 3);
  CCurveInfo const b = Math::CurveInfo(circle, poly_hit(4, 0.0), 8.0, false, 3);
  ASSERT_TRUE(a.IsValid());
  ASSERT_EQ(a.Polynom().size(), b.Polynom().size());
  for (size_t i = 0; i < a.Polynom().size(); ++i) {
    EXPECT_EQ(a.Polynom()[i].x, b.Polynom()[i].x);
    EXPECT_EQ(a.Polynom()[i].y, b.Polynom()[i].y);
  }
}

// A stretch that turns back by 150 degrees at its third vertex: with arms of
// 3 the vertex is a kink and the stretch ends there (arc 6, resampled at
// step 1); with arms of 1.5 (below the arm length 2) it runs on.
TEST(CurveInfo, StretchIsCutAfterTheFirstKink) {
  auto turn = [](double arm) {
    double const c = std::cos(150 * kPi / 180), s = std::sin(150 * kPi / 180);
    Poly p = {{0, 0}, {arm, 0}, {2 * arm, 0}};
    for (int i = 1; i <= 4; ++i) p.push_back({2 * arm + i * arm * c, i * arm * s});
    return p;
  };
  auto reach = [](Poly const& p) {
    CCurveInfo const ci = Math::CurveInfo(p, poly_hit(0, 0.0), 40.0, false, 2);
    return ci.IsValid() ? ci.Params().back() : -1.0;
  };
  RestoreKinkDefaults();
  EXPECT_NEAR(reach(turn(3.0)), 6.0, 1e-9);
  EXPECT_NEAR(reach(turn(1.5)), 9.0, 1e-9);
  // The parameters are process-wide: a shorter arm length makes the small
  // turn a kink, a narrower angle makes the big one none.
  CCurveInfo::SetKinkParms(1.0, kPi / 3);
  EXPECT_NEAR(reach(turn(1.5)), 3.0, 1e-9);
  CCurveInfo::SetKinkParms(2.0, 0.4);
  EXPECT_NEAR(reach(turn(3.0)), 18.0, 1e-9);
  RestoreKinkDefaults();
}

TEST(CurveInfo, BadInputGivesTheInvalidObject) {
  Poly const p = {{0, 0}, {1, 0}, {2, 0}, {3, 1}};
  struct Case {
    char const* name;
    Poly poly;
    poly_hit hit;
    double len;
  };
  Case const cases[] = {
      {"empty", {}, {0, 0.0}, 5.0},
      {"one point", {{1, 1}}, {0, 0.0}, 5.0},
      {"zero total length", {{1, 1}, {1, 1}, {1, 1}}, {0, 0.0}, 5.0},
      {"index below", p, {-1, 0.0}, 5.0},
      {"index past the end", p, {4, 0.0}, 5.0},
      {"index at the end with a parameter", p, {3, 0.5}, 5.0},
      {"parameter above 1", p, {1, 1.5}, 5.0},
      {"parameter below 0", p, {1, -0.5}, 5.0},
      {"NaN parameter", p, {1, kNaN}, 5.0},
      {"NaN length", p, {1, 0.0}, kNaN},
      {"negative length", p, {1, 0.0}, -2.0},
      {"zero length", p, {1, 0.0}, 0.0},
      {"NaN coordinate", {{0, 0}, {1, 0}, {kNaN, 0}, {3, 1}}, {0, 0.0}, 5.0},
      {"at the end", p, {2, 1.0}, 5.0},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    for (bool backward : {false, true}) {
      if (std::string(c.name) == "at the end" && backward) continue;
      CCurveInfo const ci = Math::CurveInfo(c.poly, c.hit, c.len, backward, 3);
      EXPECT_FALSE(ci.IsValid());
      EXPECT_TRUE(ci.Params().empty() && ci.RegLine().empty());
    }
  }
}

// ---- directions at the ends ----

double Norm(CPointD v) { return std::hypot(v.x, v.y); }

TEST(PolyDirections, DegenerateInputGivesZero) {
  std::vector<CPointD> const run = {{0, 0}, {1, 0}, {2, 0}, {3, 0}};
  std::vector<CPointD> const nan = {{0, 0}, {1, kNaN}, {2, 0}, {3, 0}};
  for (auto dir : {Math::PolyStartingDir, Math::PolyEndingDir}) {
    for (unsigned n : {0u, 1u}) EXPECT_EQ(Norm(dir(run.data(), n, 10, 1.0, 0.5)), 0.0);
    EXPECT_EQ(Norm(dir(run.data(), 4, 0, 1.0, 0.5)), 0.0);  // no span
    EXPECT_EQ(Norm(dir(run.data(), 4, 1, 1.0, 0.5)), 0.0);  // a one-point span
    EXPECT_EQ(Norm(dir(nullptr, 4, 4, 1.0, 0.5)), 0.0);
    EXPECT_EQ(Norm(dir(nan.data(), 4, 4, 1.0, 0.5)), 0.0);
    std::vector<CPointD> const same = {{2, 2}, {2, 2}, {2, 2}};
    EXPECT_EQ(Norm(dir(same.data(), 3, 3, 1.0, 0.5)), 0.0);
  }
}

TEST(PolyDirections, StraightRunPointsAlongTheRun) {
  std::vector<CPointD> run;
  for (int i = 0; i <= 10; ++i) run.push_back({double(i), 0});
  for (unsigned span : {11u, 1000u}) {
    for (auto dir : {Math::PolyStartingDir, Math::PolyEndingDir}) {
      CPointD const v = dir(run.data(), 11, span, 2.0, 0.5);
      EXPECT_NEAR(v.x, 10.0, 1e-9);
      EXPECT_NEAR(v.y, 0.0, 1e-9);
    }
  }
  // A span of 4 at the end looks at x = 7 .. 10 only.
  CPointD const tail = Math::PolyEndingDir(run.data(), 11, 4, 2.0, 0.5);
  EXPECT_NEAR(tail.x, 3.0, 1e-9);
}

// A quarter circle of radius 10 in 5-degree steps, whole stretch at both ends
// (tolerance 100 keeps only the ends). The expected vectors were worked out
// with an independent script of the weighted fit: start at relative position
// 0.4 with sharpness ln 3 / (0.4 - v)^2, end at 0.65 with ln 3 / (0.35 - v)^2.
// Mirror-image constants would make the end of the reversed arc equal the
// negated start; they do not.
TEST(PolyDirections, StartAndEndUseTheirOwnWeightingConstants) {
  std::vector<CPointD> arc;
  for (int a = 0; a <= 90; a += 5) arc.push_back({10 * std::cos(a * kPi / 180), 10 * std::sin(a * kPi / 180)});
  unsigned const n = static_cast<unsigned>(arc.size());
  CPointD const s = Math::PolyStartingDir(arc.data(), n, n, 3.0, 100.0);
  CPointD const e = Math::PolyEndingDir(arc.data(), n, n, 3.0, 100.0);
  EXPECT_NEAR(s.x, -8.2997428986536494, 1e-9);
  EXPECT_NEAR(s.y, 11.253934505795916, 1e-9);
  EXPECT_NEAR(e.x, -11.715841514313498, 1e-9);
  EXPECT_NEAR(e.y, 7.2130234419507167, 1e-9);

  std::vector<CPointD> rev(arc.rbegin(), arc.rend());
  CPointD const er = Math::PolyEndingDir(rev.data(), n, n, 3.0, 100.0);
  EXPECT_GT(Norm(CPointD{er.x + s.x, er.y + s.y}), 0.1);
}

// A zig-zag keeps every vertex, so 0 and 20 are appended to the full index
// list. The start walks it forward and stops at x = 4 (the first vertex 2
// len = 4 away); the end walks back from the second-last entry, which is
// the appended 0, and takes the whole span.
TEST(PolyDirections, EndDirectionTriesTheAppendedStartFirst) {
  std::vector<CPointD> zig;
  for (int i = 0; i <= 20; ++i) zig.push_back({double(i), 0.5 * (i % 2)});
  CPointD const s = Math::PolyStartingDir(zig.data(), 21, 21, 2.0, 0.01);
  CPointD const e = Math::PolyEndingDir(zig.data(), 21, 21, 2.0, 0.01);
  EXPECT_NEAR(s.x, 3.4916707811803365, 1e-9);
  EXPECT_NEAR(s.y, -1.3322605903399103, 1e-9);
  EXPECT_NEAR(e.x, 19.999998445328167, 1e-9);
  EXPECT_NEAR(e.y, 0.0055761486902169343, 1e-9);
}

}  // namespace
