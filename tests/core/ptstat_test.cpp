#include <math/ptstat.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/multi_point.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>

#include "core/tolerance.h"
#include "xy_reader.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
using Pts = std::vector<CPointD>;

bool IsBad(double v) { double const bad = Math::tol::BadValue(); return std::memcmp(&v, &bad, sizeof v) == 0; }
bool Near(double a, double b) { return std::abs(a - b) <= 1e-12; }

// Hulls the points: the hull must have Boost.Geometry's vertices, closed,
// counter-clockwise and strictly convex.
void CheckHull(Pts const& input) {
  using BPoint = boost::geometry::model::d2::point_xy<double>;
  boost::geometry::model::multi_point<BPoint> mp;
  for (CPointD const& p : input) mp.push_back(BPoint(p.x, p.y));
  boost::geometry::model::polygon<BPoint> peer;
  boost::geometry::convex_hull(mp, peer);
  std::set<std::pair<double, double>> want, got;
  for (BPoint const& b : peer.outer()) want.insert({b.x(), b.y()});
  Pts h = input;
  Math::ConvexHull(h);
  ASSERT_GE(h.size(), 4u);
  std::size_t const n = h.size() - 1;
  for (std::size_t i = 0; i < n; ++i) {
    CPointD const a = h[(i + n - 1) % n], c = h[i + 1];
    EXPECT_GT((h[i].x - a.x) * (c.y - a.y) - (h[i].y - a.y) * (c.x - a.x), 0.0) << "vertex " << i;
    got.insert({h[i].x, h[i].y});
  }
  EXPECT_TRUE(got == want && h[0].x == h[n].x && h[0].y == h[n].y);
}

}  // namespace

TEST(CPtStat, SumsMergeExactlyAndTheFitsAreLeastSquaresLines) {
  CPointD const pts[] = {{1, 2}, {3, -1}, {0.5, 4}, {-2, 0}}, horiz[] = {{0, 2}, {5, 2}}, vert[] = {{3, 0}, {3, 9}};
  Math::CPtStat s(pts, 2);
  s += Math::CPtStat(pts + 2, 2);
  s.AddPoint(CPointD{9, 9});
  s.DelPoint(CPointD{9, 9});
  EXPECT_TRUE(s.GetCount() == 4u && s.AvgPoint().x == 0.625 && s.AvgPoint().y == 1.25);
  EXPECT_DOUBLE_EQ(s.MSError(1, 2, 3), std::sqrt(213.25 / 4));  // residuals 8, 4, 11.5, 1
  EXPECT_EQ(Math::MaxDeviation(Math::CLine(0, 1, 1), pts, 4), 3.0);  // the largest |y - 1|
  Math::CLinForm f{};
  EXPECT_TRUE(Math::CPtStat(horiz, 2).InitLine(f) && f.a == 0.0 && f.b == 1.0 && Near(f.c, -2.0));
  EXPECT_TRUE(Math::CPtStat(vert, 2).InitLine(f) && f.a == -1.0 && Near(f.b, 0.0) && Near(f.c, 3.0));
  // Random clouds: turning the line about the centroid either way raises the residual.
  std::mt19937 rng(21);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (int k = 0; k < 100; ++k) {
    CPointD const dir{std::cos(k * 0.7), std::sin(k * 0.7)};
    Pts cloud(50);
    for (CPointD& p : cloud) p = dir * (20 * u(rng)) + CPointD{u(rng), u(rng)};
    Math::CPtStat const st(cloud.data(), 50);
    CPointD const m = st.AvgPoint();
    ASSERT_TRUE(st.InitLine(f));
    EXPECT_TRUE(Near(f.a * m.x + f.b * m.y + f.c, 0.0) && Near(st.MSError(), st.MSError(f.a, f.b, f.c)));
    for (double d : {-1e-3, 1e-3}) {
      double const a = f.a * std::cos(d) - f.b * std::sin(d), b = f.a * std::sin(d) + f.b * std::cos(d);
      EXPECT_LT(st.MSError(f.a, f.b, f.c), st.MSError(a, b, -(a * m.x + b * m.y)));
    }
  }
  // Through a point: the regression of y on x about it, a = Syy on the vertical through it.
  CPointD const diag[] = {{0, 0}, {1, 1}, {2, 2}};  // about (0, 1): Sxx = 5, Sxy = 2
  EXPECT_TRUE(Math::CPtStat(diag, 3).InitLine(f, CPointD{0, 1}) && Near(f.a, -2) && Near(f.b, 5) && Near(f.c, -5));
  EXPECT_TRUE(Math::CPtStat(vert, 2).InitLine(f, CPointD{3, 1}) && Near(f.a, 65) && f.b == 0 && Near(f.c, -195));
}

TEST(LIRLine, WeightedFitMatchesAStepByStepEvaluation) {
  // Trapezoid weights and the smaller-eigenvalue normal, worked in a
  // throwaway script. With pos < 0 the Laplace kernel keeps
  // exp(-sharpness*pos) at the first vertex.
  CPointD const poly[] = {{0, 0}, {1, 0}, {2, 1}, {3, 3}, {3, 5}};
  auto const fits = [&](double pos, double sharpness, bool laplace, double a, double b, double c) {
    Math::CLinForm f{};
    bool const ok = Math::LIRLine(f, poly, 5, pos, sharpness, laplace);
    double const s = f.a * a + f.b * b < 0 ? -1.0 : 1.0;  // a form's sign is free
    return ok && Near(s * f.a, a) && Near(s * f.b, b) && Near(s * f.c, c);
  };
  EXPECT_TRUE(fits(-0.5, 4.0, true, 0.5799622480719918, -0.8146433519100745, -0.013929128713653843));
  EXPECT_TRUE(fits(0.7, 3.0, false, 0.9148610307128815, -0.40376886269617684, -1.2753130039002123));
  EXPECT_TRUE(fits(0.3, 2.0, true, 0.8633434741596816, -0.5046167314169153, -0.9505098890613248));
}

TEST(Solvers, ClosedFormsAndTheOpenIntervalOfSolveQuadratic) {
  double const m[] = {2, 1, 1, 3}, r[] = {5, 10}, odd[] = {9, -1, 4, 4, 7}, even[] = {3, 1, 2, 4};
  double x[2] = {0, 0}, k = 0, b = 0;
  EXPECT_TRUE(Math::SolveKramer(m, x, r) && Near(x[0], 1.0) && Near(x[1], 3.0));
  // x = 0..3, y = 0, 2, 1, 4: cov 1.375, var 1.25, so k = 1.1, b = 0.1.
  EXPECT_TRUE(Near(Math::Regression({{0, 0}, {1, 2}, {2, 1}, {3, 4}}, k, b), 1.1) && Near(k, 1.1) && Near(b, 0.1));
  EXPECT_TRUE(Math::CalcMedian(odd, 5) == 4.0 && Math::CalcMedian(even, 4) == 2.5 && even[0] == 3.0);
  auto const roots = [](double a, double b, double c, double lo, double hi, int n, double r1, double r2) {
    double x1 = -99, x2 = -99;
    return Math::SolveQuadratic(a, b, c, x1, x2, lo, hi) == n && (n == 0 || (Near(x1, r1) && Near(x2, r2)));
  };
  EXPECT_TRUE(roots(-1, 3, -2, 0, 10, 2, 1, 2));        // two roots, ascending
  EXPECT_TRUE(roots(1, -3, 2, 1, 10, 1, 2, 2));         // a root on lo is out; x2 repeats x1
  EXPECT_TRUE(roots(1, -3, 2, 0, 2, 1, 1, 1));          // a root on hi is out
  EXPECT_TRUE(roots(1, -3, 2, 3, 10, 0, 0, 0));         // both outside
  EXPECT_TRUE(roots(1, -4, 4, 0, 10, 1, 2, 2));         // a double root counts once
  EXPECT_TRUE(roots(1, -1e-8, 0, -1, 1, 1, 0, 1e-8));   // roots closer than FLT_EPS count once
  EXPECT_TRUE(roots(1e-8, 2, -3, 0, 10, 1, 1.5, 1.5));  // linear under FLT_EPS
  EXPECT_TRUE(roots(0, 0, 1, -10, 10, 0, 0, 0) && roots(kNaN, 1, 1, -10, 10, 0, 0, 0));  // constant, NaN
}

TEST(NextCombination, LexicographicSubsetsAndTheSignedBound) {
  auto const all = [](unsigned n, unsigned k, std::vector<int> comb) {
    std::vector<std::vector<int>> seen;
    while (Math::NextCombination(n, k, comb)) seen.push_back(comb);
    return seen;
  };
  EXPECT_EQ(all(4, 2, {}), (std::vector<std::vector<int>>{{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}}));
  EXPECT_TRUE(all(7, 3, {}).size() == 35 && all(4, 0, {}).empty() && all(2, 4, {}).size() == 1);  // k > n: one subset
  EXPECT_EQ(all(5, 2, {3, 1, 4}).front(), (std::vector<int>{0, 1}));    // a wrong size restarts
}

TEST(PtStat, BadInputGivesFailureValuesAndKeepsOutputs) {
  CPointD const one[] = {{1, 1}}, square[] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}}, spot[] = {{2, 2}, {2, 2}, {2, 2}},
                nan[] = {{0, 0}, {kNaN, 1}, {2, 2}}, inf[] = {{0, 0}, {kInf, 1}, {2, 2}};
  // Too few points, no main direction, non-finite sums.
  struct Case { CPointD const* pts; int n; bool lirFails; };
  for (Case const c : {Case{one, 1, true}, {square, 4, false}, {spot, 3, true}, {nan, 3, true}, {inf, 3, false}}) {
    Math::CLinForm f{7, 8, 9};
    Math::CPtStat const s(c.pts, c.n);
    EXPECT_TRUE(!s.InitLine(f) && f.a == 7 && f.b == 8 && f.c == 9 && s.MSError() == 0.0) << c.n;
    EXPECT_TRUE(!c.lirFails || (!Math::LIRLine(f, c.pts, c.n, 0.5, 1.0, true) && f.a == 7)) << c.n;
  }
  Math::CPtStat none(nullptr, 5);
  none.AddPoints(square, -3);
  Math::CLinForm f{7, 8, 9};
  EXPECT_TRUE(none.GetCount() == 0u && IsBad(none.AvgPoint().x) && IsBad(none.AvgPoint().y));
  EXPECT_EQ(none.MSError(1, 1, 1), 0.0);
  EXPECT_TRUE(none.InitLine(f, CPointD{1, 1}) && f.a == 0.0 && f.b == 0.0 && f.c == 0.0);  // also for all at p
  EXPECT_TRUE(Math::CPtStat(nan, 3).InitLine(f, CPointD{0, 0}) && std::isnan(f.a));     // true, with a NaN form
  EXPECT_FALSE(Math::LIRLine(f, nullptr, 3, 0.5, 1.0, false) || Math::LIRLine(f, square, 0, 0.5, 1.0, false));
  Math::CLine const yIs1(0, 1, 1);
  EXPECT_TRUE(Math::MaxDeviation(yIs1, square, 0) == 0.0 && Math::MaxDeviation(yIs1, nullptr, 3) == 0.0);
  EXPECT_TRUE(IsBad(Math::MaxDeviation(yIs1, nan, 3)));

  double const r[] = {5, 10}, singular[] = {1, 2, 2, 4}, nanM[] = {kNaN, 2, 2, 4}, atEps[] = {1e-12, 0, 0, 1};
  double x[2] = {7, 8}, k = 0, b = 0;
  EXPECT_FALSE(Math::SolveKramer(singular, x, r) || Math::SolveKramer(nanM, x, r) || Math::SolveKramer(atEps, x, r) ||
               Math::SolveKramer(nullptr, x, r));
  for (double const c : {1.0, kNaN}) {  // no real root: nothing written
    EXPECT_TRUE(Math::SolveQuadratic(1, 0, c, x[0], x[1], -10, 10) == 0 && x[0] == 7 && x[1] == 8);
  }
  EXPECT_TRUE(Math::SolveQuadratic(0, 1, kNaN, x[0], x[1], -10, 10) == 0 && x[0] == 7 && x[1] == 8);
  EXPECT_FALSE(std::isfinite(Math::Regression({}, k, b)) || std::isfinite(Math::Regression({{2, 1}, {2, 5}}, k, b)));
  double const withNaN[] = {1, kNaN, 3};
  EXPECT_TRUE(IsBad(Math::CalcMedian(withNaN, 0)) && IsBad(Math::CalcMedian(nullptr, 3)));
  EXPECT_TRUE(IsBad(Math::CalcMedian(withNaN, 3)));
}

TEST(ConvexHull, OrderTieRulesAndUntouchedInput) {
  // nearPt and farPt lie on one ray from the pivot, yet atan2 rounds farPt's
  // angle below nearPt's: the tie within EPS must still put nearPt first.
  CPointD const nearPt{106.0, 125.85714285714286}, farPt{318.0, 377.57142857142856};
  Pts const sq = {{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}};
  auto const hulls = [](Pts p, Pts const& want) {  // bit for bit, NaN included
    Math::ConvexHull(p);
    if (p.size() != want.size()) return false;
    return p.empty() || std::memcmp(p.data(), want.data(), p.size() * sizeof(CPointD)) == 0;
  };
  EXPECT_TRUE(hulls({{4, 4}, {2, 2}, {0, 4}, {2, 0}, {4, 0}, {0, 0}, {4, 0}, {0, 2}}, sq));  // inner, sides, repeats
  EXPECT_TRUE(hulls({{0, 0}, {4, 0}, {4, 4}, {2, 4 + 1e-13}, {0, 4}}, sq));                  // within EPS of a chord
  EXPECT_TRUE(hulls({{2, 1}, {0, 0}, {4, 2}, {2, 1}, {8, 4}}, {{0, 0}, {8, 4}, {0, 0}}));   // collinear: the extremes
  EXPECT_TRUE(hulls({{0, 0}, farPt, nearPt, {-50, 100}, {-20, 200}}, {{0, 0}, farPt, {-20, 200}, {-50, 100}, {0, 0}}));
  // The pivot: the lowest within EPS, then the smaller x beyond EPS, then the earlier.
  EXPECT_TRUE(hulls({{2, 0}, {0, 1e-13}, {5, 3}, {-1, 2}}, {{0, 1e-13}, {2, 0}, {5, 3}, {-1, 2}, {0, 1e-13}}));
  EXPECT_TRUE(hulls({{0, 5e-13}, {0, 0}, {3, 1}, {2, 3}}, {{0, 5e-13}, {3, 1}, {2, 3}, {0, 5e-13}}));
  EXPECT_TRUE(hulls({{0, 0}, {-5e-13, 0}, {3, 1}, {2, 3}}, {{0, 0}, {3, 1}, {2, 3}, {-5e-13, 0}, {0, 0}}));
  // Three points or fewer, and non-finite input, are left as they are.
  Pts const three = {{3, 3}, {0, 0}, {1, 1}}, nan = {{0, 0}, {kNaN, 2}, {4, 0}, {4, 4}};
  Pts const inf = {{0, -kInf}, {4, 0}, {4, 4}, {1, 1}};
  EXPECT_TRUE(hulls(three, three) && hulls(nan, nan) && hulls(inf, inf) && hulls({}, {}));
}

TEST(ConvexHull, RandomSetsAndRealOutlinesMatchBoostGeometry) {
  std::mt19937 rng(12345);
  std::uniform_real_distribution<double> u(-1000.0, 1000.0);
  std::normal_distribution<double> g(0.0, 100.0);
  for (int k = 0; k < 300; ++k) {
    Pts pts(4 + k % 150);
    for (CPointD& p : pts) p = k % 2 ? CPointD{u(rng), u(rng)} : CPointD{g(rng), g(rng)};
    pts.push_back(pts[k % pts.size()]);
    for (CPointD& p : pts) {
      if (k % 5 == 0) p = CPointD{std::round(p.x / 100), std::round(p.y / 100)};  // collinear runs, ties
      if (k % 7 == 3) p = CPointD{100 * std::cos(p.x), 100 * std::sin(p.x)};      // all on a circle
    }
    SCOPED_TRACE(k);
    CheckHull(pts);
  }
  for (char const* file : {"horse_crack.xy", "nc_counties.xy"}) {
    for (kmath_test::XYBlock const& block : kmath_test::LoadXY(file)) CheckHull(block.pts);
  }
}
