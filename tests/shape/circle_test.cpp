#include <math/circle.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "core/tolerance.h"
#include "test_values.h"

namespace {

using Poly = Math::poly_base<CPointD>;
using Result = Math::CCircleReduce::CResult;
using kmath_test::IsBad;
using kmath_test::kInf;
using kmath_test::kNaN;

double Dist(CPointD const& a, CPointD const& b) { return std::hypot(a.x - b.x, a.y - b.y); }
CPointD OnCircle(CPointD c, double r, double a) { return c + CPointD{std::cos(a), std::sin(a)} * r; }

// The result is packed: the centre is copied out before gtest binds it.
void ExpectFit(Result const& r, bool valid, CPointD c, double radius, double dev, double tol) {
  CPointD const pc = r.ptCenter;
  EXPECT_TRUE(r.bValid == valid && Dist(pc, c) <= tol && std::abs(r.dRadius - radius) <= tol &&
              std::abs(r.dDeviation - dev) <= tol)
      << r.bValid << " (" << pc.x << ", " << pc.y << ") r " << r.dRadius << " dev " << r.dDeviation;
}

TEST(CirclePolygons, FewestSidesWithinToleranceOrNMax) {
  // sides 0: the fewest within t; vertices as far outside the circle as
  // chord midpoints are inside (up to the count's rounding slack), and one
  // side fewer, placed the same way, would stray beyond t. Tolerance 0 gives
  // nMax sides; a tolerance as large as the radius, or NaN, gives 8, or nMax
  // when smaller.
  struct Case {
    double r, t;
    int nMax, sides;
  };
  for (Case const& k : {Case{10, 0.1, 100000, 0}, Case{300, 0.05, 100000, 0}, Case{0.5, 1e-6, 100000, 0},
                        Case{2.5, 0, 7, 7}, Case{2.5, 2.5, 100, 8}, Case{2.5, 2.5, 6, 6}, Case{1, kNaN, 100, 8}}) {
    SCOPED_TRACE(testing::Message() << k.r << " " << k.t << " " << k.nMax);
    Poly out;
    ASSERT_TRUE(Math::CCircle({7, -1}, k.r).MakePoly(out, k.t, k.nMax));
    EXPECT_TRUE(out.back().x == out.front().x && out.back().y == out.front().y);
    EXPECT_TRUE(k.sides == 0 || out.size() == k.sides + 1u) << out.size();
    double const outside = Dist(out[0], {7, -1}) - k.r, cs = std::cos(M_PI / (out.size() - 2));
    EXPECT_NEAR(outside, k.r - Dist((out[0] + out[1]) / 2, {7, -1}), 1e-9 * k.r);
    EXPECT_TRUE(k.sides != 0 || (outside <= k.t * 1.001 && k.r * (1 - cs) / (1 + cs) > k.t)) << outside;
  }
  // CircleToPoly: s = 2 acos(2 * 10 / 10.1 - 1) = 0.3985, ceil(2 pi / s) = 16
  // sides. A second ring is closed on the vector's first point, not its own.
  std::vector<CPointD> out, six, eight;
  ASSERT_TRUE(Math::CircleToPoly(out, {0, 0}, 10, 0.1, 1000) && out.size() == 17u);
  EXPECT_NEAR(Dist(out[0], {0, 0}), 10 / ((1 + std::cos(M_PI / 16)) / 2), 1e-12);  // halfway, as above
  ASSERT_TRUE(Math::CircleToPoly(out, {100, 0}, 10, 0.1, 1000) && out.size() == 34u);
  EXPECT_TRUE(out.back().x == out.front().x && std::abs(out[17].x - 100 - out[0].x) < 1e-12);
  // Six additions of 2 pi / 6 stay just below 2 pi: a seventh vertex lands
  // on the first before the closing copy. Eight additions reach 2 pi.
  ASSERT_TRUE(Math::CircleToPoly(six, {0, 0}, 1, 0, 6) && Math::CircleToPoly(eight, {0, 0}, 1, 0, 8));
  EXPECT_TRUE(six.size() == 8 && Dist(six[6], six[0]) < 1e-12 && eight.size() == 9);
}

TEST(CirclePolygons, RefuseBadRequestsLeavingOutputUntouched) {
  struct Case {
    char const* name;
    CPointD c;
    double r, t;
    int n;
  };
  for (Case const& k : {Case{"tolerance cancels radius", {0, 0}, 1, -1, 100}, Case{"nMax 1", {0, 0}, 1, 0.1, 1},
                        Case{"NaN centre", {kNaN, 0}, 1, 0.1, 100}, Case{"infinite radius", {0, 0}, kInf, 0.1, 100}}) {
    Poly out{{9, 9}};
    std::vector<CPointD> vec{{9, 9}};
    EXPECT_TRUE(!Math::CCircle(k.c, k.r).MakePoly(out, k.t, k.n) && !Math::CircleToPoly(vec, k.c, k.r, k.t, k.n) &&
                out.size() == 1 && out[0].x == 9 && vec.size() == 1 && vec[0].x == 9)
        << k.name;
  }
  // The radius is stored absolute; one below EPS has no angle: the all-ones NaN.
  EXPECT_TRUE(Math::CCircle({1, 2}, -5).Radius() == 5 && Math::CCircle({1, 2}, -5).Angle({-3, 2}) == M_PI);
  for (double r : {0.0, 1e-13, kNaN}) {
    EXPECT_TRUE(!Math::CCircle({1, 2}, r).IsValid() && IsBad(Math::CCircle({1, 2}, r).Angle({3, 3}))) << r;
  }
}

TEST(ArcMakePoly, CountsEndsAndBadRequests) {
  // Counts worked out by hand; -1: refused, the output untouched.
  struct Case {
    char const* name;
    double r, t, start, end;
    int nMax, segments;
  };
  for (Case const& k : {Case{"s = 2 acos(0.99): trunc(5.55 + 0.9)", 10, 0.1, 0, M_PI / 2, 100, 6},
                        Case{"t > 2r", 10, 25, 0, M_PI / 2, 100, 4}, Case{"nMax - 1", 10, 0.1, 0, M_PI / 2, 3, 2},
                        Case{"s = 2 pi / 3 over half the sweep", 10, 5, 0, M_PI / 2, 100, 4},
                        Case{"clockwise: trunc(333.2 + 0.9)", 10, 0.001, 1, 1 - 3 * M_PI, 1000, 334},
                        Case{"tolerance 0", 1, 0, 0, 1, 100, -1}, Case{"NaN tolerance", 1, kNaN, 0, 1, 100, -1},
                        Case{"zero radius", 0, 0.1, 0, 1, 100, -1}, Case{"no sweep", 1, 0.1, 0.5, 0.5, 100, -1},
                        Case{"infinite sweep", 1, 0.1, 0, kInf, 100, -1}, Case{"nMax 0", 1, 0.1, 0, 1, 0, -1},
                        Case{"a sweep under EPS: a quarter of it", 10, 0.1, 0.5, 0.5 + 2e-13, 100, 4},
                        Case{"nMax 1: the end point alone", 10, 0.1, 0, 1, 1, 0}}) {
    SCOPED_TRACE(k.name);
    Poly out{{9, 9}};
    ASSERT_EQ(Math::CArc({-2, 3}, k.r, k.start, k.end).MakePoly(out, k.t, k.nMax), k.segments >= 0);
    ASSERT_EQ(out.size(), k.segments < 0 ? 1u : k.segments + 1u);
    EXPECT_EQ(out.back().x, k.segments < 0 ? 9 : OnCircle({-2, 3}, 10, k.end).x);  // exactly at the end angle
    double const da = (k.end - k.start) / k.segments;
    for (int i = 0; i < k.segments; ++i) EXPECT_NEAR(Dist(out[i], OnCircle({-2, 3}, 10, k.start + i * da)), 0, 1e-9);
  }
  // Invalid only with both angles within EPS of 0.
  EXPECT_TRUE(!Math::CArc({1, 1}, 3, 1e-13, -1e-13).IsValid() && Math::CArc({1, 1}, 3, 0, 1e-12).IsValid());
}

// Tangent points r / tan(angle / 2) from the corner, worked out by hand. The
// start angle moves by 2 pi when the arc would go the long way round. A
// negative radius fillets the opposite angle, on the legs' extensions; only
// a zero radius refuses, any other, however small, has its fillet. Rows
// without a centre expect the all-zero, invalid arc.
TEST(MakeArc, TangentToBothLegsOrTheAllZeroArc) {
  double const k3 = std::sqrt(3.0);
  struct Case {
    char const* name;
    CPointD pts[3];
    double r, radius = 0;
    CPointD c{};
    double start = 0, end = 0;
  };
  for (Case const& k : {Case{"right angle", {{10, 0}, {0, 0}, {0, 10}}, 2, 2, {2, 2}, 1.5 * M_PI, M_PI},
                        Case{"60 degrees", {{2.5, 2.5 * k3}, {0, 0}, {5, 0}}, 1, 1, {k3, 1}, -7 * M_PI / 6, -M_PI / 2},
                        Case{"negative radius", {{10, 0}, {0, 0}, {0, 10}}, -2, 2, {-2, -2}, M_PI / 2, 0},
                        Case{"tiny radius", {{10, 0}, {0, 0}, {0, 10}}, 1e-13, 1e-13, {1e-13, 1e-13}, 1.5 * M_PI, M_PI},
                        Case{"past a leg", {{1, 0}, {0, 0}, {0, 10}}, 2}, Case{"no turn", {{-5, 0}, {0, 0}, {5, 0}}, 1},
                        Case{"zero leg", {{0, 0}, {0, 0}, {0, 5}}, -1}, Case{"zero r", {{5, 0}, {0, 0}, {0, 5}}, 0},
                        Case{"NaN y", {{5, kNaN}, {0, 0}, {0, 5}}, 1}, Case{"NaN r", {{5, 0}, {0, 0}, {0, 5}}, kNaN},
                        Case{"infinite r", {{5, 0}, {0, 0}, {0, 5}}, kInf}}) {
    Math::CArc const a = Math::MakeArc(k.pts, k.r);
    CPointD const c = a.ptCenter;
    EXPECT_TRUE(Dist(c, k.c) < 1e-12 && std::abs(a.dStart - k.start) < 1e-12 && std::abs(a.dEnd - k.end) < 1e-12 &&
                a.dRadius == k.radius && a.IsValid() == (k.radius > 0))
        << k.name << ": (" << c.x << ", " << c.y << ") " << a.dRadius << " from " << a.dStart << " to " << a.dEnd;
  }
}

TEST(CircleReduceWeighted, ExactCircleSquaredWeightsCountQuirkAndBadInput) {
  // Weights are squared: -1 weighs as 1. Weights 2 weigh 4, but the last
  // normal equation keeps -n = -4 where the weight sum 16 belongs: -4 k =
  // sum w q = 16, k = -4, radius 2, all points 1 inside.
  CPointD const cross[4] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}}, moved[4] = {{4, -7}, {3, -6}, {2, -7}, {3, -8}};
  double const minus[4] = {-1, -1, -1, -1}, two[4] = {2, 2, 2, 2}, zero[4] = {};
  ExpectFit(Math::CCircleReduce(moved, 4, minus), true, {3, -7}, 1, 0, 1e-12);
  ExpectFit(Math::CCircleReduce(cross, 4, two), true, {0, 0}, 2, 1, 1e-14);
  // Too few points, none, collinear, NaN, zero weights: the all-zero record.
  CPointD const line[4] = {{0, 0}, {1, 0.7}, {2, 1.4}, {5, 3.5}}, nan[4] = {{1, 0}, {0, 1}, {-1, kNaN}, {0, -1}};
  struct Bad {
    CPointD const* p;
    unsigned n;
    double const* w;
  };
  for (Bad const& b : {Bad{cross, 2, nullptr}, Bad{nullptr, 4, nullptr}, Bad{line, 4, nullptr}, Bad{nan, 4, nullptr},
                       Bad{cross, 4, zero}})
    ExpectFit(Math::CCircleReduce(b.p, b.n, b.w), false, {0, 0}, 0, 0, 0);
}

TEST(CircleReducePolyline, ReproducesAnExactCircleAndTheGeometricOne) {
  struct Case {
    CPointD c;
    double r, tol;
  };
  for (Case const& k : {Case{{250.5, -80.25}, 37.5, 1e-9}, Case{{1e6, -2e6}, 10, 1e-6}, Case{{0, 0}, 1e-4, 1e-15}}) {
    Poly p;
    for (int i = 0; i <= 40; ++i) p.push_back(OnCircle(k.c, k.r, 2 * M_PI * (i % 40 + 0.45 * std::sin(i % 40)) / 40));
    ExpectFit(Math::CCircleReduce(p), true, k.c, k.r, 0, k.tol);
  }
  // Radii alternating 8 and 12 at even angles weigh alike: the least-squares
  // circle is r = 10 with a radial rms of 2, where an algebraic fit, which
  // minimises in r^2, would take r = sqrt(104).
  Poly p;
  for (int i = 0; i <= 40; ++i) p.push_back(OnCircle({5, 5}, i % 2 ? 12 : 8, 2 * M_PI * i / 40));
  ExpectFit(Math::CCircleReduce(p), true, {5, 5}, 10, 2, 1e-9);
}

// Noisy 60-degree arcs traced as thin strokes (out along the arc and back, so
// the polyline is closed): the plain algebraic fit pulls the radius in by
// about 8 of 50; the polyline fit must not (its mean's standard error ~0.2).
TEST(CircleReducePolyline, BeatsThePlainAlgebraicFitOnNoisyShortArcs) {
  std::mt19937 rng(424242);
  std::normal_distribution<double> noise(0, 1.0);
  std::uniform_real_distribution<double> start(0, 2 * M_PI), centre(-200, 200);
  double polyline = 0, plain = 0;  // mean radius errors; an invalid fit's radius 0 would show
  for (int t = 0; t < 300; ++t) {
    CPointD const c{centre(rng), centre(rng)};
    double const a0 = start(rng);
    Poly arc;
    for (int i = 0; i <= 60; ++i) arc.push_back(OnCircle(c, 50, a0 + M_PI / 180 * i) + CPointD{noise(rng), noise(rng)});
    for (int i = 59; i >= 0; --i) arc.push_back(arc[i]);  // and back
    polyline += (Result(Math::CCircleReduce(arc)).dRadius - 50) / 300;
    plain += (Result(Math::CCircleReduce(arc.data(), 61, nullptr)).dRadius - 50) / 300;  // the way out only
  }
  EXPECT_TRUE(plain < -5 && std::abs(polyline) < 1) << plain << " " << polyline;
}

TEST(CircleReducePolyline, OpenShortOrBadPolylinesAndOnesWithoutACircle) {
  for (Poly const& p : {Poly{{1, 0}, {0, 1}, {-1, 0}, {0, -1}}, Poly{{1, 0}, {1, 0}}, Poly{},
                        Poly{{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 1e-11}}, Poly{{1, 0}, {0, kNaN}, {-1, 0}, {1, 0}},
                        Poly{{1, 0}, {0, kInf}, {-1, 0}, {1, 0}}})
    ExpectFit(Math::CCircleReduce(p), false, {0, 0}, 0, 0, 0);
  // Closed within 1e-12 counts as closed. Two distinct points give the circle
  // on their diameter, one point repeated a circle of radius 0 there. A
  // straight stroke has no circle: the weighted centroid and mean distance.
  // Segments 1, 3, 3, 1 weigh the vertices 0, 1, 4, 1 by 1, 2, 3, 2: centre
  // x = 16 / 8, distances 2, 1, 2, 1 average 1.5, each 0.5 off.
  ExpectFit(Math::CCircleReduce(Poly{{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 1e-13}}), true, {0, 0}, 1, 0, 1e-12);
  ExpectFit(Math::CCircleReduce(Poly{{1, 1}, {5, 4}, {1, 1}}), true, {3, 2.5}, 2.5, 0, 1e-12);
  ExpectFit(Math::CCircleReduce(Poly{{4, 4}, {4, 4}, {4, 4}}), true, {4, 4}, 0, 0, 0);
  ExpectFit(Math::CCircleReduce(Poly{{0, 0}, {1, 0}, {4, 0}, {1, 0}, {0, 0}}), true, {2, 0}, 1.5, 0.5, 1e-12);
}

}  // namespace
