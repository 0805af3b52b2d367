#include <math/ptstat.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/geometries.hpp>
#include <boost/geometry/geometries/point_xy.hpp>

#include "core/tolerance.h"
#include "test_values.h"
#include "xy_reader.h"

namespace {

using kmath_test::IsBad;
using kmath_test::kInf;
using kmath_test::kNaN;
using Pts = std::vector<CPointD>;

bool Near(double a, double b) { return std::abs(a - b) <= 1e-12; }
bool Same(Pts const& a, Pts const& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0);
}

// The hull must be Boost.Geometry's counter-clockwise ring of the caller's
// exact points, closed, started at one of its vertices.
void CheckHull(Pts h, int trace) {
  using BPoint = boost::geometry::model::d2::point_xy<double>;
  boost::geometry::model::multi_point<BPoint> mp;
  boost::geometry::model::ring<BPoint, false> peer;
  for (CPointD const& p : h) mp.emplace_back(p.x, p.y);
  boost::geometry::convex_hull(mp, peer);
  Math::ConvexHull(h);
  std::size_t n = peer.size() - 1, s = 0;
  auto const same = [&](auto i, auto j) { return h[i].x == peer[j % n].x() && h[i].y == peer[j % n].y(); };
  while (s < n && !same(0, s)) ++s;
  ASSERT_TRUE(h.size() == n + 1 && s < n) << trace;
  for (std::size_t i = 0; i <= n; ++i) EXPECT_TRUE(same(i, s + i)) << trace << ", vertex " << i;
}

}  // namespace

TEST(PtStat, SumsMergeExactlyAndTheFitsAreLeastSquaresLines) {
  CPointD const pts[] = {{1, 2}, {3, -1}, {0.5, 4}, {-2, 0}}, horiz[] = {{0, 2}, {5, 2}}, vert[] = {{3, 0}, {3, 9}};
  Math::CPtStat s(pts, 2);
  s += Math::CPtStat(pts + 2, 2);
  s.AddPoint(CPointD{9, 9});
  s.DelPoint(CPointD{9, 9});
  EXPECT_TRUE(s.GetCount() == 4u && s.AvgPoint().x == 0.625 && s.AvgPoint().y == 1.25);
  // Residuals 8, 4, 11.5, 1 of x + 2y + 3; the largest |y - 1| is 3.
  EXPECT_TRUE(Near(s.MSError(1, 2, 3), std::sqrt(213.25 / 4)) && Math::MaxDeviation({0, 1, 1}, pts, 4) == 3.0);
  // Along x the form is (0, 1), along y (-1, 0).
  Math::CLinForm f{};
  EXPECT_TRUE(Math::CPtStat(horiz, 2).InitLine(f) && f.a == 0.0 && f.b == 1.0 && Near(f.c, -2.0));
  EXPECT_TRUE(Math::CPtStat(vert, 2).InitLine(f) && f.a == -1.0 && Near(f.b, 0.0) && Near(f.c, 3.0));
  // Random clouds: the unit normal through the centroid; turning it either way raises the residual.
  std::mt19937 rng(21);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (int k = 0; k < 100; ++k) {
    Pts cloud(50, CPointD{std::cos(k * 0.7), std::sin(k * 0.7)});  // the main direction, spread below
    for (CPointD& p : cloud) p = p * (20 * u(rng)) + CPointD{u(rng), u(rng)};
    Math::CPtStat const st(cloud.data(), 50);
    CPointD const m = st.AvgPoint();
    ASSERT_TRUE(st.InitLine(f) && Near(f.a * m.x + f.b * m.y + f.c, 0.0) && Near(std::hypot(f.a, f.b), 1.0));
    auto const rms = [&](Math::CLine const& l) { return st.MSError(l.cosP(), l.sinP(), -l.rho()); };
    for (double d : {-1e-3, 1e-3}) EXPECT_LT(st.MSError(), rms(Math::CLine(m, std::atan2(f.b, f.a) + d)));
  }
  // Through a point: the regression of y on x about it (pts about (1, 0): Sxx = 13.25, Sxy = -4), a = Syy on the
  // vertical through it.
  EXPECT_TRUE(s.InitLine(f, CPointD{1, 0}) && Near(f.a, 4) && Near(f.b, 13.25) && Near(f.c, -4));
  EXPECT_TRUE(Math::CPtStat(vert, 2).InitLine(f, CPointD{3, 1}) && Near(f.a, 65) && f.b == 0 && Near(f.c, -195));
}

TEST(LIRLine, WeightedFitMatchesAStepByStepEvaluation) {
  // Trapezoid weights and the smaller-eigenvalue normal, worked in a
  // throwaway script, signed as every fit is (b >= 0). With pos < 0 the
  // Laplace kernel keeps exp(-sharpness*pos) at the first vertex.
  CPointD const poly[] = {{0, 0}, {1, 0}, {2, 1}, {3, 3}, {3, 5}};
  auto const fits = [&](double pos, double sharpness, bool laplace, double a, double b, double c) {
    Math::CLinForm f{};
    return Math::LIRLine(f, poly, 5, pos, sharpness, laplace) && Near(f.a, a) && Near(f.b, b) && Near(f.c, c);
  };
  EXPECT_TRUE(fits(-0.5, 4.0, true, -0.5799622480719918, 0.8146433519100745, 0.013929128713653843));
  EXPECT_TRUE(fits(0.7, 3.0, false, -0.9148610307128815, 0.40376886269617684, 1.2753130039002123));
  EXPECT_TRUE(fits(0.3, 2.0, true, -0.8633434741596816, 0.5046167314169153, 0.9505098890613248));
}

TEST(Solvers, ClosedFormsAndTheOpenIntervalOfSolveQuadratic) {
  double m[] = {2, 1, 1, 3}, r[] = {5, 10}, odd[] = {9, -1, 4, 4, 7}, even[] = {3, 1, 2, 4}, x[2] = {}, k = 0, b = 0;
  EXPECT_TRUE(Math::SolveKramer(m, x, r) && Near(x[0], 1.0) && Near(x[1], 3.0));
  // x = 0..3, y = 0, 2, 1, 4: cov 1.375, var 1.25, so k = 1.1, b = 0.1.
  EXPECT_TRUE(Near(Math::Regression({{0, 0}, {1, 2}, {2, 1}, {3, 4}}, k, b), 1.1) && Near(k, 1.1) && Near(b, 0.1));
  EXPECT_TRUE(Math::CalcMedian(odd, 5) == 4.0 && Math::CalcMedian(even, 4) == 2.5 && even[0] == 3.0);
  auto const roots = [](double a, double b, double c, double lo, double hi, int n, double r1, double r2) {
    double x1 = -99, x2 = -99;
    return Math::SolveQuadratic(a, b, c, x1, x2, lo, hi) == n && (n == 0 || (Near(x1, r1) && Near(x2, r2)));
  };
  // Two roots, ascending; a double root counts once; a constant has none.
  EXPECT_TRUE(roots(-1, 3, -2, 0, 10, 2, 1, 2) && roots(1, -4, 4, 0, 10, 1, 2, 2) && roots(0, 0, 1, -10, 10, 0, 0, 0));
  // A root on lo or on hi is out, x2 then repeats x1; both outside.
  EXPECT_TRUE(roots(1, -3, 2, 1, 10, 1, 2, 2) && roots(1, -3, 2, 0, 2, 1, 1, 1) && roots(1, -3, 2, 3, 10, 0, 0, 0));
  // Roots closer than FLT_EPS count once; a leading coefficient under FLT_EPS is linear.
  EXPECT_TRUE(roots(1, -1e-8, 0, -1, 1, 1, 0, 1e-8) && roots(1e-8, 2, -3, 0, 10, 1, 1.5, 1.5));
}

TEST(NextCombination, LexicographicSubsetsAndTheSignedBound) {
  auto const all = [](unsigned n, unsigned k, std::vector<int> comb) {
    std::vector<std::vector<int>> seen;
    while (Math::NextCombination(n, k, comb)) seen.push_back(comb);
    return seen;
  };
  EXPECT_EQ(all(4, 2, {}), (std::vector<std::vector<int>>{{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}}));
  EXPECT_TRUE(all(7, 3, {}).size() == 35 && all(4, 0, {}).empty() && all(2, 4, {}).size() == 1);  // k > n: one subset
  EXPECT_EQ(all(5, 2, {3, 1, 4}).front(), (std::vector<int>{0, 1}));  // a wrong size restarts
}

// Regression: with n = 2^32 - 1 the bound n - k + i passed INT_MAX and the
// increment of the subset's last element overflowed its int.
TEST(NextCombination, CountsBeyondIntAreRejectedInsteadOfOverflowing) {
  int const top = std::numeric_limits<int>::max();
  std::vector<int> comb{top - 1};
  EXPECT_FALSE(Math::NextCombination(4294967295u, 1, comb));
  EXPECT_FALSE(Math::NextCombination(4294967295u, 1, comb));
  EXPECT_FALSE(Math::NextCombination(1u << 31 | 1u, 1, comb));
  EXPECT_EQ(comb, std::vector<int>{top - 1});
  std::vector<int> none;
  EXPECT_TRUE(!Math::NextCombination(3, 4294967295u, none) && none.empty());  // no 16 GB first subset
  // 2^31 is the largest count: its last element INT_MAX ends the run.
  EXPECT_TRUE(Math::NextCombination(1u << 31, 1, comb) && comb == std::vector<int>{top});
  EXPECT_FALSE(Math::NextCombination(1u << 31, 1, comb));
  EXPECT_EQ(comb, std::vector<int>{top});
}

TEST(PtStat, BadInputGivesFailureValuesAndKeepsOutputs) {
  CPointD const one[] = {{1, 1}}, square[] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}}, spot[] = {{2, 2}, {2, 2}, {2, 2}},
                nan[] = {{0, 0}, {kNaN, 1}, {2, 2}}, inf[] = {{0, 0}, {kInf, 1}, {2, 2}};
  // Nothing, too few points, no main direction, non-finite sums.
  Math::CLinForm f{7, 8, 9};
  for (auto const& [pts, n, lirFails] : {std::tuple{one, 1, true},
                                         {square, 0, true},
                                         {nullptr, 5, true},
                                         {square, 4, false},
                                         {spot, 3, true},
                                         {nan, 3, true},
                                         {inf, 3, false}}) {
    Math::CPtStat const s(pts, n);
    EXPECT_TRUE(!s.InitLine(f) && f.a == 7 && f.b == 8 && f.c == 9 && s.MSError() == 0.0) << n;
    EXPECT_TRUE(!lirFails || (!Math::LIRLine(f, pts, n, 0.5, 1.0, true) && f.a == 7)) << n;
  }
  Math::CPtStat const none(square, -3);
  EXPECT_TRUE(none.GetCount() == 0u && IsBad(none.AvgPoint().x) && IsBad(none.AvgPoint().y));
  // The forced fit is all-zero when every point is at p (or there are none).
  EXPECT_TRUE(none.MSError(1, 1, 1) == 0 && none.InitLine(f, CPointD{1, 1}) && f.a == 0.0 && f.b == 0.0 && f.c == 0.0);
  EXPECT_TRUE(Math::CPtStat(nan, 3).InitLine(f, CPointD{0, 0}) && std::isnan(f.a));  // true, with a NaN form
  EXPECT_TRUE(Math::MaxDeviation({0, 1, 1}, square, 0) == 0.0 && Math::MaxDeviation({0, 1, 1}, nullptr, 3) == 0.0 &&
              IsBad(Math::MaxDeviation({0, 1, 1}, nan, 3)));

  double const r[] = {5, 10}, singular[] = {1, 2, 2, 4}, nanM[] = {kNaN, 2, 2, 4}, atEps[] = {1e-12, 0, 0, 1};
  double x[2] = {7, 8}, k = 0, b = 0, withNaN[] = {1, kNaN, 3};
  EXPECT_FALSE(Math::SolveKramer(singular, x, r) || Math::SolveKramer(nanM, x, r) || Math::SolveKramer(atEps, x, r) ||
               Math::SolveKramer(nullptr, x, r));
  // No real root, or a NaN coefficient: nothing written.
  for (CPoint3D const& q : {CPoint3D{1, 0, 1}, CPoint3D{1, 0, kNaN}, CPoint3D{0, 1, kNaN}, CPoint3D{kNaN, 1, 1}})
    EXPECT_TRUE(Math::SolveQuadratic(q.x, q.y, q.z, x[0], x[1], -10, 10) == 0 && x[0] == 7 && x[1] == 8);
  EXPECT_FALSE(std::isfinite(Math::Regression({}, k, b)) || std::isfinite(Math::Regression({{2, 1}, {2, 5}}, k, b)));
  EXPECT_TRUE(IsBad(Math::CalcMedian(withNaN, 0)) && IsBad(Math::CalcMedian(nullptr, 3)) &&
              IsBad(Math::CalcMedian(withNaN, 3)));
}

TEST(ConvexHull, OrderTieRulesAndUntouchedInput) {
  auto const hulls = [](Pts p, Pts const& want) {  // bit for bit, NaN included
    Math::ConvexHull(p);
    return p.size() == want.size() && (p.empty() || std::memcmp(p.data(), want.data(), p.size() * sizeof p[0]) == 0);
  };
  // Within EPS of a chord is on it; of collinear points only the extremes stay.
  EXPECT_TRUE(hulls({{0, 0}, {4, 0}, {4, 4}, {2, 4 + 1e-13}, {0, 4}}, {{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}}));
  EXPECT_TRUE(hulls({{2, 1}, {0, 0}, {4, 2}, {2, 1}, {8, 4}}, {{0, 0}, {8, 4}, {0, 0}}));
  // nearPt and farPt lie on one ray from the pivot, yet atan2 rounds farPt's
  // angle below nearPt's: the tie within EPS must still put nearPt first.
  CPointD const nearPt{106.0, 125.85714285714286}, farPt{318.0, 377.57142857142856};
  EXPECT_TRUE(hulls({{0, 0}, farPt, nearPt, {-50, 100}, {-20, 200}}, {{0, 0}, farPt, {-20, 200}, {-50, 100}, {0, 0}}));
  // The pivot: the lowest within EPS, then the smaller x beyond EPS, then the earlier.
  EXPECT_TRUE(hulls({{2, 0}, {0, 1e-13}, {5, 3}, {-1, 2}}, {{0, 1e-13}, {2, 0}, {5, 3}, {-1, 2}, {0, 1e-13}}));
  EXPECT_TRUE(hulls({{0, 5e-13}, {0, 0}, {3, 1}, {2, 3}}, {{0, 5e-13}, {3, 1}, {2, 3}, {0, 5e-13}}));
  EXPECT_TRUE(hulls({{0, 0}, {-5e-13, 0}, {3, 1}, {2, 3}}, {{0, 0}, {3, 1}, {2, 3}, {-5e-13, 0}, {0, 0}}));
  // Three points or fewer, and non-finite input, are left as they are.
  for (Pts const& p :
       {Pts{{3, 3}, {0, 0}, {1, 1}}, {{0, 0}, {kNaN, 2}, {4, 0}, {4, 4}}, {}, {{0, -kInf}, {4, 0}, {4, 4}, {1, 1}}})
    EXPECT_TRUE(hulls(p, p)) << p.size();
}

// Regression: differences of coordinates near the largest double overflowed
// to infinity and the square with corners at +-1e308 came back degenerate.
TEST(ConvexHull, HugeFiniteCoordinatesGiveTheTrueHull) {
  for (double c : {1e308, std::numeric_limits<double>::max(), 1e200, 0x1p500 * 1.5}) {
    Pts p = {{0, 0}, {c, c}, {-c, c}, {c, -c}, {-c, -c}, {c / 2, -c / 4}};
    Math::ConvexHull(p);
    EXPECT_TRUE(Same(p, {{-c, -c}, {c, -c}, {c, c}, {-c, c}, {-c, -c}})) << c;
  }
  // Scaling by a power of two is exact, so the hull of the scaled points is
  // the scaled hull, vertex for vertex.
  std::mt19937 rng(99);
  std::uniform_real_distribution<double> u(-1000.0, 1000.0);
  for (int k = 0; k < 100; ++k) {
    Pts pts(4 + k % 60);
    for (CPointD& q : pts) q = CPointD{u(rng), u(rng)};
    Pts hull = pts;
    Math::ConvexHull(hull);
    for (int e : {450, 520, 1000}) {
      Pts big;
      for (CPointD const& q : pts) big.push_back({std::ldexp(q.x, e), std::ldexp(q.y, e)});
      Math::ConvexHull(big);
      Pts want;
      for (CPointD const& q : hull) want.push_back({std::ldexp(q.x, e), std::ldexp(q.y, e)});
      EXPECT_TRUE(Same(big, want)) << "set " << k << ", scale 2^" << e;
    }
  }
}

TEST(ConvexHull, RandomSetsAndRealOutlinesMatchBoostGeometry) {
  std::mt19937 rng(12345);
  std::uniform_real_distribution<double> u(-1000.0, 1000.0);
  for (int k = 0; k < 300; ++k) {
    Pts pts(4 + k % 150);
    for (CPointD& p : pts) {
      p = CPointD{u(rng), u(rng)};
      if (k % 5 == 0) p = CPointD{std::round(p.x / 100), std::round(p.y / 100)};  // collinear runs, ties
      if (k % 7 == 3) p = CPointD{100 * std::cos(p.x), 100 * std::sin(p.x)};      // all on a circle
    }
    CheckHull(pts, k);
  }
  for (char const* file : {"horse_crack.xy", "nc_counties.xy"}) {
    for (kmath_test::XYBlock const& block : kmath_test::LoadXY(file)) CheckHull(block.pts, -1);
  }
}
