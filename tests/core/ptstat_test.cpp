#include <math/ptstat.h>

#include <gtest/gtest.h>

#include <algorithm>
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

bool IsBadValue(double v) {
  double const bad = Math::tol::BadValue();
  return std::memcmp(&v, &bad, sizeof v) == 0;
}

double Cross(CPointD const& o, CPointD const& a, CPointD const& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// Principal axis of the points by the textbook two-pass route: centre
// first, then theta = atan2(2 Sxy, Sxx - Syy) / 2.
double MajorAxis(std::vector<CPointD> const& pts, CPointD& centroid) {
  CPointD m{0, 0};
  for (CPointD const& p : pts) m += p;
  m = m / static_cast<double>(pts.size());
  double sxx = 0, sxy = 0, syy = 0;
  for (CPointD const& p : pts) {
    sxx += (p.x - m.x) * (p.x - m.x);
    sxy += (p.x - m.x) * (p.y - m.y);
    syy += (p.y - m.y) * (p.y - m.y);
  }
  centroid = m;
  return 0.5 * std::atan2(2 * sxy, sxx - syy);
}

using PointSet = std::set<std::pair<double, double>>;

// The hull by Boost.Geometry, as a vertex set with collinear vertices
// dropped (Kmath drops them; the peer's choice is not the point here).
PointSet PeerHull(std::vector<CPointD> const& pts) {
  namespace bg = boost::geometry;
  using BPoint = bg::model::d2::point_xy<double>;
  bg::model::multi_point<BPoint> mp;
  for (CPointD const& p : pts) mp.push_back(BPoint(p.x, p.y));
  bg::model::polygon<BPoint> hull;
  bg::convex_hull(mp, hull);
  std::vector<CPointD> ring;
  for (BPoint const& b : hull.outer()) ring.push_back(CPointD{b.x(), b.y()});
  ring.pop_back();  // closed ring
  PointSet out;
  std::size_t const n = ring.size();
  for (std::size_t i = 0; i < n; ++i) {
    if (Cross(ring[(i + n - 1) % n], ring[i], ring[(i + 1) % n]) != 0.0) out.insert({ring[i].x, ring[i].y});
  }
  return out;
}

// The invariants every hull of `input` must satisfy.
void ExpectValidHull(std::vector<CPointD> const& input, std::vector<CPointD> const& hull) {
  ASSERT_GE(hull.size(), 3u);
  // Closed, starting at the lowest (then leftmost) input point.
  EXPECT_EQ(hull.front().x, hull.back().x);
  EXPECT_EQ(hull.front().y, hull.back().y);
  for (CPointD const& p : input) {
    EXPECT_TRUE(p.y > hull.front().y || (p.y == hull.front().y && p.x >= hull.front().x));
  }
  // Every vertex is an input point.
  PointSet const in = [&] {
    PointSet s;
    for (CPointD const& p : input) s.insert({p.x, p.y});
    return s;
  }();
  for (CPointD const& v : hull) EXPECT_TRUE(in.count({v.x, v.y}));
  // Strictly convex and counter-clockwise (y up), with no repeated vertex.
  std::size_t const n = hull.size() - 1;
  for (std::size_t i = 0; i < n; ++i) {
    EXPECT_GT(Cross(hull[(i + n - 1) % n], hull[i], hull[(i + 1) % n]), 0.0) << "vertex " << i;
  }
  // Every input point inside or on the hull.
  for (CPointD const& p : input) {
    for (std::size_t i = 0; i < n; ++i) {
      double const len = std::hypot(hull[i + 1].x - hull[i].x, hull[i + 1].y - hull[i].y);
      ASSERT_GE(Cross(hull[i], hull[i + 1], p) / len, -1e-9) << "point " << p.x << " " << p.y;
    }
  }
}

PointSet VertexSet(std::vector<CPointD> const& hull) {
  PointSet s;
  for (CPointD const& p : hull) s.insert({p.x, p.y});
  return s;
}

}  // namespace

TEST(CPtStat, AccumulatesAndMirrorsExactly) {
  std::vector<CPointD> const pts = {{1, 2}, {3, -1}, {0.5, 4}, {-2, 0}};
  Math::CPtStat all(pts.data(), 4);
  EXPECT_EQ(all.GetCount(), 4u);
  CPointD const c = all.AvgPoint();
  EXPECT_DOUBLE_EQ(c.x, 2.5 / 4);
  EXPECT_DOUBLE_EQ(c.y, 5.0 / 4);

  // Merging two halves equals accumulating all.
  Math::CPtStat a(pts.data(), 2), b(pts.data() + 2, 2);
  a += b;
  EXPECT_EQ(a.GetCount(), 4u);
  EXPECT_EQ(a.AvgPoint().x, c.x);
  EXPECT_EQ(a.MSError(1, 2, 3), all.MSError(1, 2, 3));

  // Removing a point undoes adding it.
  Math::CPtStat s(pts.data(), 3);
  s.AddPoint(pts[3]);
  s.DelPoint(pts[3]);
  EXPECT_EQ(s.GetCount(), 3u);
  EXPECT_DOUBLE_EQ(s.AvgPoint().x, 1.5);

  // Nothing to add.
  Math::CPtStat none(nullptr, 5);
  none.AddPoints(pts.data(), 0);
  none.AddPoints(pts.data(), -3);
  EXPECT_EQ(none.GetCount(), 0u);
  EXPECT_TRUE(IsBadValue(none.AvgPoint().x));
  EXPECT_TRUE(IsBadValue(none.AvgPoint().y));
  EXPECT_EQ(none.MSError(1, 1, 1), 0.0);
}

TEST(CPtStat, InitLineIsTheTotalLeastSquaresAxis) {
  Math::CLinForm f{7, 7, 7};
  // Two points: the line through them, (a, b) unit.
  CPointD const two[] = {{1, 1}, {4, 5}};
  ASSERT_TRUE(Math::CPtStat(two, 2).InitLine(f));
  EXPECT_NEAR(std::hypot(f.a, f.b), 1.0, 1e-15);
  for (CPointD const& p : two) EXPECT_NEAR(f.a * p.x + f.b * p.y + f.c, 0.0, 1e-12);

  // Axis-aligned spreads take the exact branches.
  CPointD const horiz[] = {{0, 2}, {5, 2}, {9, 2}};
  ASSERT_TRUE(Math::CPtStat(horiz, 3).InitLine(f));
  EXPECT_EQ(f.a, 0.0);
  EXPECT_EQ(f.b, 1.0);
  EXPECT_DOUBLE_EQ(f.c, -2.0);
  CPointD const vert[] = {{3, 0}, {3, 5}, {3, 9}};
  ASSERT_TRUE(Math::CPtStat(vert, 3).InitLine(f));
  EXPECT_EQ(f.a, -1.0);
  EXPECT_NEAR(f.b, 0.0, 1e-16);
  EXPECT_DOUBLE_EQ(f.c, 3.0);

  // Failures leave f alone: one point, no main direction (square corners,
  // or all on one spot), NaN.
  Math::CLinForm const keep{7, 8, 9};
  CPointD const square[] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  CPointD const same[] = {{2, 2}, {2, 2}, {2, 2}};
  CPointD const nan[] = {{0, 0}, {kNaN, 1}, {2, 2}};
  CPointD const inf[] = {{0, 0}, {kInf, 1}, {2, 2}};
  for (auto [pts, n] : {std::pair{two, 1}, std::pair{square, 4}, std::pair{same, 3}, std::pair{nan, 3},
                        std::pair{inf, 3}}) {
    f = keep;
    EXPECT_FALSE(Math::CPtStat(pts, n).InitLine(f));
    EXPECT_EQ(f.a, 7.0);
    EXPECT_EQ(f.c, 9.0);
    EXPECT_EQ(Math::CPtStat(pts, n).MSError(), 0.0);
  }

  // Random clouds: the normal is perpendicular to the textbook major axis
  // and the line passes through the centroid.
  std::mt19937 rng(21);
  std::normal_distribution<double> noise(0.0, 1.0);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (int k = 0; k < 100; ++k) {
    double const dir = 3.0 * u(rng);
    std::vector<CPointD> pts;
    for (int i = 0; i < 50; ++i) {
      double const s = 20.0 * u(rng);
      pts.push_back(CPointD{10 + s * std::cos(dir) + noise(rng), -5 + s * std::sin(dir) + noise(rng)});
    }
    CPointD m{};
    double const theta = MajorAxis(pts, m);
    ASSERT_TRUE(Math::CPtStat(pts.data(), 50).InitLine(f));
    EXPECT_NEAR(f.a * std::cos(theta) + f.b * std::sin(theta), 0.0, 1e-9);
    EXPECT_NEAR(f.a * m.x + f.b * m.y + f.c, 0.0, 1e-9);
  }
}

TEST(CPtStat, InitLineThroughPointAndMSError) {
  Math::CLinForm f{};
  // Regression of y on x through the origin: Sxx = 5, Sxy = 5.
  CPointD const diag[] = {{0, 0}, {1, 1}, {2, 2}};
  ASSERT_TRUE(Math::CPtStat(diag, 3).InitLine(f, CPointD{0, 0}));
  EXPECT_DOUBLE_EQ(f.a, -5.0);
  EXPECT_DOUBLE_EQ(f.b, 5.0);
  EXPECT_EQ(f.c, 0.0);
  // Through (0, 1): about p the points are (0,-1), (1,0), (2,1): Sxx = 5, Sxy = 2.
  ASSERT_TRUE(Math::CPtStat(diag, 3).InitLine(f, CPointD{0, 1}));
  EXPECT_DOUBLE_EQ(f.a, -2.0);
  EXPECT_DOUBLE_EQ(f.b, 5.0);
  EXPECT_DOUBLE_EQ(f.c, -5.0);
  // All on the vertical through p: a = Syy = 0 + 1 + 9.
  CPointD const vert[] = {{1, 0}, {1, 1}, {1, 3}};
  ASSERT_TRUE(Math::CPtStat(vert, 3).InitLine(f, CPointD{1, 0}));
  EXPECT_DOUBLE_EQ(f.a, 10.0);
  EXPECT_EQ(f.b, 0.0);
  EXPECT_DOUBLE_EQ(f.c, -10.0);
  // All equal to p: true with the all-zero form.
  CPointD const same[] = {{2, 3}, {2, 3}};
  ASSERT_TRUE(Math::CPtStat(same, 2).InitLine(f, CPointD{2, 3}));
  EXPECT_EQ(f.a, 0.0);
  EXPECT_EQ(f.b, 0.0);
  EXPECT_EQ(f.c, 0.0);

  // RMS residual of y = 0 over points at heights +-1 and +-3.
  CPointD const band[] = {{0, 1}, {0, -1}, {2, 3}, {2, -3}};
  EXPECT_DOUBLE_EQ(Math::CPtStat(band, 4).MSError(0, 1, 0), std::sqrt(5.0));
  // Points on their fitted line.
  CPointD const onLine[] = {{0, 1}, {1, 3}, {2, 5}, {3, 7}, {4, 9}};
  EXPECT_NEAR(Math::CPtStat(onLine, 5).MSError(), 0.0, 1e-6);
}

TEST(MaxDeviation, LargestAbsoluteValue) {
  Math::CLine const yIs1(0, 1, 1);
  CPointD const pts[] = {{0, 1.5}, {3, -2}, {9, 1}};
  EXPECT_DOUBLE_EQ(Math::MaxDeviation(yIs1, pts, 3), 3.0);
  EXPECT_EQ(Math::MaxDeviation(yIs1, pts, 0), 0.0);
  EXPECT_EQ(Math::MaxDeviation(yIs1, nullptr, 3), 0.0);
  CPointD const bad[] = {{0, 1.5}, {kNaN, 7}, {9, 1}};
  EXPECT_TRUE(IsBadValue(Math::MaxDeviation(yIs1, bad, 3)));
}

TEST(LIRLine, WeightedFitFollowsThePosition) {
  Math::CLinForm f{};
  // Points on one line: any weighting gives that line.
  CPointD const straight[] = {{0, 1}, {1, 3}, {2, 5}, {4, 9}};
  for (bool laplace : {false, true}) {
    ASSERT_TRUE(Math::LIRLine(f, straight, 4, 0.3, 5.0, laplace));
    EXPECT_NEAR(std::hypot(f.a, f.b), 1.0, 1e-15);
    EXPECT_NEAR(f.a * 10 + f.b * 21 + f.c, 0.0, 1e-9);
  }

  // An L of two long legs: a sharp kernel at either end follows that leg.
  std::vector<CPointD> ell;
  for (int i = 0; i <= 20; ++i) ell.push_back(CPointD{double(i), 0});
  for (int i = 1; i <= 20; ++i) ell.push_back(CPointD{20, double(i)});
  ASSERT_TRUE(Math::LIRLine(f, ell.data(), unsigned(ell.size()), 0.0, 200.0, false));
  EXPECT_GT(std::abs(f.b), 0.99);  // normal ~ y: the horizontal leg
  ASSERT_TRUE(Math::LIRLine(f, ell.data(), unsigned(ell.size()), 1.0, 200.0, false));
  EXPECT_GT(std::abs(f.a), 0.99);  // the vertical leg

  // Expected forms worked out step by step (trapezoid weights) in a
  // throwaway script. The first case has pos < 0 with the Laplace kernel,
  // where the first vertex keeps exp(-sharpness*pos).
  CPointD const poly[] = {{0, 0}, {1, 0}, {2, 1}, {3, 3}, {3, 5}};
  struct Case {
    double pos, sharpness;
    bool laplace;
    double a, b, c;
  } const cases[] = {
      {-0.5, 4.0, true, -0.5799622480719918, 0.8146433519100745, 0.013929128713653843},
      {0.7, 3.0, false, -0.9148610307128815, 0.4037688626961768, 1.2753130039002123},
      {0.3, 2.0, true, -0.8633434741596818, 0.504616731416915, 0.9505098890613258},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.pos);
    ASSERT_TRUE(Math::LIRLine(f, poly, 5, c.pos, c.sharpness, c.laplace));
    // The sign of a form is free; compare up to it.
    double const sgn = (f.b * c.b + f.a * c.a) < 0 ? -1.0 : 1.0;
    EXPECT_NEAR(sgn * f.a, c.a, 1e-12);
    EXPECT_NEAR(sgn * f.b, c.b, 1e-12);
    EXPECT_NEAR(sgn * f.c, c.c, 1e-12);
  }

  // Failures leave f alone.
  Math::CLinForm const keep{7, 8, 9};
  CPointD const one[] = {{1, 1}};
  CPointD const spot[] = {{1, 1}, {1, 1}, {1, 1}};
  CPointD const nan[] = {{0, 0}, {kNaN, 1}, {2, 2}};
  f = keep;
  EXPECT_FALSE(Math::LIRLine(f, one, 1, 0.5, 1.0, false));
  EXPECT_FALSE(Math::LIRLine(f, spot, 3, 0.5, 1.0, false));
  EXPECT_FALSE(Math::LIRLine(f, nan, 3, 0.5, 1.0, true));
  EXPECT_FALSE(Math::LIRLine(f, nullptr, 0, 0.5, 1.0, true));
  EXPECT_FALSE(Math::LIRLine(f, straight, 0, 0.5, 1.0, true));
  EXPECT_EQ(f.a, 7.0);
  EXPECT_EQ(f.c, 9.0);
}

TEST(Solvers, SolveKramer) {
  double const m[] = {2, 1, 1, 3};
  double const r[] = {5, 10};
  double x[2] = {0, 0};
  ASSERT_TRUE(Math::SolveKramer(m, x, r));
  EXPECT_DOUBLE_EQ(x[0], 1.0);
  EXPECT_DOUBLE_EQ(x[1], 3.0);

  double const singular[] = {1, 2, 2, 4};
  double const nanM[] = {kNaN, 2, 2, 4};
  double keep[2] = {7, 8};
  EXPECT_FALSE(Math::SolveKramer(singular, keep, r));
  EXPECT_FALSE(Math::SolveKramer(nanM, keep, r));
  EXPECT_FALSE(Math::SolveKramer(nullptr, keep, r));
  EXPECT_EQ(keep[0], 7.0);
  EXPECT_EQ(keep[1], 8.0);
}

TEST(Solvers, SolveQuadraticOpenInterval) {
  struct Case {
    char const* name;
    double a, b, c, lo, hi;
    int n;
    double x1, x2;
  } const cases[] = {
      {"two roots", 1, -3, 2, 0, 10, 2, 1, 2},
      {"lower root on lo: excluded", 1, -3, 2, 1, 10, 1, 2, 2},
      {"upper root on hi: excluded", 1, -3, 2, 0, 2, 1, 1, 1},
      {"both outside", 1, -3, 2, 3, 10, 0, 0, 0},
      {"double root counts once", 1, -4, 4, 0, 10, 1, 2, 2},
      {"negative leading coefficient", -1, 3, -2, 0, 10, 2, 1, 2},
      {"linear", 0, 2, -3, 0, 10, 1, 1.5, 1.5},
      {"linear under FLT_EPS", 1e-8, 2, -3, 0, 10, 1, 1.5, 1.5},
      {"no real roots", 1, 0, 1, -10, 10, 0, 0, 0},
      {"constant", 0, 0, 1, -10, 10, 0, 0, 0},
      {"NaN coefficient", kNaN, 1, 1, -10, 10, 0, 0, 0},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    double x1 = -99, x2 = -99;
    int const n = Math::SolveQuadratic(c.a, c.b, c.c, x1, x2, c.lo, c.hi);
    EXPECT_EQ(n, c.n);
    if (n > 0) {
      EXPECT_DOUBLE_EQ(x1, c.x1);
      EXPECT_DOUBLE_EQ(x2, c.x2);
    }
  }
  // Roots 0 and 1e-8, distinct but closer than FLT_EPS: one root.
  {
    double x1 = 5, x2 = 5;
    EXPECT_EQ(Math::SolveQuadratic(1, -1e-8, 0, x1, x2, -1, 1), 1);
    EXPECT_EQ(x1, 0.0);
    EXPECT_DOUBLE_EQ(x2, 1e-8);
  }
  // No real root: the outputs are not touched.
  double x1 = -99, x2 = -98;
  Math::SolveQuadratic(1, 0, 1, x1, x2, -10, 10);
  EXPECT_EQ(x1, -99.0);
  EXPECT_EQ(x2, -98.0);
}

TEST(Solvers, RegressionAndMedian) {
  double k = 0, b = 0;
  std::vector<CPointD> const pts = {{0, 1}, {1, 3}, {2, 5}, {5, 11}};
  EXPECT_DOUBLE_EQ(Math::Regression(pts, k, b), 2.0);
  EXPECT_DOUBLE_EQ(k, 2.0);
  EXPECT_DOUBLE_EQ(b, 1.0);
  // Scattered: x = 0..3, y = 0, 2, 1, 4: cov = 16/4 - 1.5*1.75 = 1.375,
  // var = 14/4 - 1.5^2 = 1.25, so k = 1.1 and b = 1.75 - 1.1*1.5 = 0.1.
  std::vector<CPointD> const scatter = {{0, 0}, {1, 2}, {2, 1}, {3, 4}};
  Math::Regression(scatter, k, b);
  EXPECT_DOUBLE_EQ(k, 1.1);
  EXPECT_NEAR(b, 0.1, 1e-15);
  EXPECT_FALSE(std::isfinite(Math::Regression({}, k, b)));
  EXPECT_FALSE(std::isfinite(Math::Regression({{2, 1}, {2, 5}}, k, b)));

  double const even[] = {3, 1, 2, 4};
  EXPECT_EQ(Math::CalcMedian(even, 4), 2.5);
  EXPECT_EQ(even[0], 3.0);  // input untouched
  double const odd[] = {9, -1, 4, 4, 7};
  EXPECT_EQ(Math::CalcMedian(odd, 5), 4.0);
  EXPECT_EQ(Math::CalcMedian(odd, 1), 9.0);
  EXPECT_TRUE(IsBadValue(Math::CalcMedian(odd, 0)));
  EXPECT_TRUE(IsBadValue(Math::CalcMedian(nullptr, 3)));
  double const nan[] = {1, kNaN, 3};
  EXPECT_TRUE(IsBadValue(Math::CalcMedian(nan, 3)));

  // Against a full sort on random data.
  std::mt19937 rng(9);
  std::uniform_int_distribution<int> u(-50, 50);
  for (unsigned n = 1; n < 40; ++n) {
    std::vector<double> v(n);
    for (double& x : v) x = u(rng);
    std::vector<double> s = v;
    std::sort(s.begin(), s.end());
    double const truth = n % 2 ? s[n / 2] : (s[n / 2 - 1] + s[n / 2]) / 2;
    EXPECT_EQ(Math::CalcMedian(v.data(), n), truth);
  }
}

TEST(NextCombination, LexicographicSubsets) {
  std::vector<int> c;
  std::vector<std::vector<int>> seen;
  while (Math::NextCombination(4, 2, c)) seen.push_back(c);
  std::vector<std::vector<int>> const expected = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(c, (std::vector<int>{2, 3}));  // the last subset stays

  // Counts are binomial coefficients.
  auto const count = [](unsigned n, unsigned k) {
    std::vector<int> comb;
    int m = 0;
    while (Math::NextCombination(n, k, comb)) ++m;
    return m;
  };
  EXPECT_EQ(count(7, 3), 35);
  EXPECT_EQ(count(5, 5), 1);
  EXPECT_EQ(count(6, 1), 6);
  // k = 0 with an empty vector: already the last subset.
  std::vector<int> empty;
  EXPECT_FALSE(Math::NextCombination(4, 0, empty));
  // k > n: the signed bound ends the enumeration after the first subset.
  EXPECT_EQ(count(2, 4), 1);
  // A vector of the wrong size restarts.
  std::vector<int> wrong = {3, 1, 4};
  EXPECT_TRUE(Math::NextCombination(5, 2, wrong));
  EXPECT_EQ(wrong, (std::vector<int>{0, 1}));
}

TEST(ConvexHull, SquareWithCentre) {
  std::vector<CPointD> pts = {{1, 1}, {0.5, 0.5}, {0, 1}, {0, 0}, {1, 0}};
  Math::ConvexHull(pts);
  std::vector<std::pair<double, double>> got;
  for (CPointD const& p : pts) got.push_back({p.x, p.y});
  std::vector<std::pair<double, double>> const expected = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
  EXPECT_EQ(got, expected);
}

TEST(ConvexHull, SmallOrNonFiniteInputIsLeftAlone) {
  std::vector<CPointD> const three = {{3, 3}, {0, 0}, {1, 1}};
  std::vector<CPointD> pts = three;
  Math::ConvexHull(pts);
  ASSERT_EQ(pts.size(), 3u);
  EXPECT_EQ(pts[0].x, 3.0);
  std::vector<CPointD> empty;
  Math::ConvexHull(empty);
  EXPECT_TRUE(empty.empty());

  for (double bad : {kNaN, kInf, -kInf}) {
    std::vector<CPointD> const in = {{0, 0}, {4, 0}, {bad, 2}, {4, 4}, {0, 4}};
    pts = in;
    Math::ConvexHull(pts);
    ASSERT_EQ(pts.size(), in.size());
    EXPECT_EQ(pts[1].x, 4.0);
    EXPECT_EQ(pts[4].y, 4.0);
  }
}

TEST(ConvexHull, CollinearDuplicateAndPivotTies) {
  // All on one line: the two extremes, closed.
  std::vector<CPointD> line = {{2, 1}, {0, 0}, {4, 2}, {2, 1}, {6, 3}, {8, 4}};
  Math::ConvexHull(line);
  ASSERT_EQ(line.size(), 3u);
  EXPECT_EQ(line[0].x, 0.0);
  EXPECT_EQ(line[1].x, 8.0);
  EXPECT_EQ(line[2].x, 0.0);

  // Side midpoints and repeated corners are dropped.
  std::vector<CPointD> box = {{0, 0}, {2, 0}, {4, 0}, {4, 0}, {4, 2}, {4, 4}, {2, 4}, {0, 4}, {0, 2}, {0, 0}, {1, 3}};
  Math::ConvexHull(box);
  EXPECT_EQ(VertexSet(box), (PointSet{{0, 0}, {4, 0}, {4, 4}, {0, 4}}));
  EXPECT_EQ(box.size(), 5u);

  // A vertex within EPS of the chord of its neighbours is not a corner.
  std::vector<CPointD> bump = {{0, 0}, {4, 0}, {4, 4}, {2, 4 + 1e-13}, {0, 4}};
  Math::ConvexHull(bump);
  EXPECT_EQ(VertexSet(bump), (PointSet{{0, 0}, {4, 0}, {4, 4}, {0, 4}}));

  // near and far lie on one ray from the pivot, but atan2 rounds far's
  // angle below near's: the angle tie within EPS must still put the nearer
  // point first, or the scan drops far and loses a corner.
  CPointD const nearPt{106.0, 125.85714285714286};
  CPointD const farPt{318.0, 377.57142857142856};
  ASSERT_LT(std::atan2(farPt.y, farPt.x), std::atan2(nearPt.y, nearPt.x));
  std::vector<CPointD> const ray = {{0, 0}, farPt, nearPt, {-50, 100}, {-20, 200}};
  std::vector<CPointD> rayHull = ray;
  Math::ConvexHull(rayHull);
  ExpectValidHull(ray, rayHull);
  EXPECT_EQ(VertexSet(rayHull), (PointSet{{0, 0}, {farPt.x, farPt.y}, {-50, 100}, {-20, 200}}));

  // Lowest y within EPS: the smaller x wins even when slightly higher.
  std::vector<CPointD> tie = {{2, 0}, {0, 1e-13}, {5, 3}, {1, 4}, {-1, 2}};
  Math::ConvexHull(tie);
  EXPECT_EQ(tie.front().x, 0.0);
  EXPECT_EQ(tie.front().y, 1e-13);
  // Same x, y within EPS: the earlier point stays the pivot.
  std::vector<CPointD> early = {{0, 5e-13}, {0, 0}, {3, 1}, {2, 3}};
  Math::ConvexHull(early);
  EXPECT_EQ(early.front().y, 5e-13);
  EXPECT_EQ(early.back().y, 5e-13);
}

TEST(ConvexHull, RandomSetsMatchBoostGeometry) {
  std::mt19937 rng(12345);
  std::uniform_real_distribution<double> u(-1000.0, 1000.0);
  std::normal_distribution<double> g(0.0, 100.0);
  for (int k = 0; k < 300; ++k) {
    SCOPED_TRACE("seed 12345, case " + std::to_string(k));
    std::size_t const n = 4 + k % 150;
    std::vector<CPointD> pts(n);
    for (CPointD& p : pts) p = k % 2 ? CPointD{u(rng), u(rng)} : CPointD{g(rng), g(rng)};
    // Some duplicates and a snapped grid now and then.
    if (k % 3 == 0) pts.push_back(pts[k % n]);
    if (k % 5 == 0) {
      for (CPointD& p : pts) p = CPointD{std::round(p.x / 100), std::round(p.y / 100)};
    }
    std::vector<CPointD> hull = pts;
    Math::ConvexHull(hull);
    ExpectValidHull(pts, hull);
    EXPECT_EQ(VertexSet(hull), PeerHull(pts));
  }
}

TEST(ConvexHull, PointsOnACircleAllStay) {
  std::mt19937 rng(77);
  std::uniform_real_distribution<double> u(0.0, 6.283185307179586);
  std::vector<double> angles(200);
  for (double& a : angles) a = u(rng);
  std::sort(angles.begin(), angles.end());
  angles.erase(std::unique(angles.begin(), angles.end(), [](double a, double b) { return b - a < 1e-3; }),
               angles.end());
  std::vector<CPointD> pts;
  for (double a : angles) pts.push_back(CPointD{100 * std::cos(a), 100 * std::sin(a)});
  std::shuffle(pts.begin(), pts.end(), rng);
  std::vector<CPointD> hull = pts;
  Math::ConvexHull(hull);
  EXPECT_EQ(hull.size(), pts.size() + 1);
  ExpectValidHull(pts, hull);
}

TEST(ConvexHull, TracedHorseOutline) {
  for (auto const& block : kmath_test::LoadXY("horse_crack.xy")) {
    std::vector<CPointD> hull = block.pts;
    Math::ConvexHull(hull);
    ExpectValidHull(block.pts, hull);
    EXPECT_EQ(VertexSet(hull), PeerHull(block.pts));
  }
}
