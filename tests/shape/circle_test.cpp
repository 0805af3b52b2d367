#include <math/circle.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <math/moments.h>

#include "core/tolerance.h"
#include "xy_reader.h"

namespace {

using Poly = Math::poly_base<CPointD>;
using Result = Math::CCircleReduce::CResult;

double const kNaN = std::numeric_limits<double>::quiet_NaN();
double const kInf = std::numeric_limits<double>::infinity();

double Dist(CPointD const& a, CPointD const& b) { return std::hypot(a.x - b.x, a.y - b.y); }

bool SameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Vertex radius of an N-gon whose circle runs halfway between vertices and
// chord midpoints: R (1 + cos(pi/N)) / 2 = r.
double HalfwayDeviation(double r, int sides) {
  double const c = std::cos(M_PI / sides);
  return r * (1 - c) / (1 + c);
}

// Largest distance of the ring's vertices and chord midpoints from the circle.
double RingDeviation(std::vector<CPointD> const& ring, CPointD c, double r) {
  double dev = 0;
  for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
    dev = std::max(dev, std::abs(Dist(ring[i], c) - r));
    dev = std::max(dev, std::abs(Dist((ring[i] + ring[i + 1]) / 2, c) - r));
  }
  return dev;
}

// The result is packed: its doubles are copied out before gtest binds
// references to them.
void ExpectZeroResult(Result const& r) {
  CPointD const c = r.ptCenter;
  double const radius = r.dRadius, dev = r.dDeviation;
  EXPECT_FALSE(r.bValid);
  EXPECT_EQ(c.x, 0.0);
  EXPECT_EQ(c.y, 0.0);
  EXPECT_EQ(radius, 0.0);
  EXPECT_EQ(dev, 0.0);
}

TEST(Circle, RadiusIsStoredAbsoluteAndAngleNeedsOne) {
  Math::CCircle const c({1, 2}, -5);
  EXPECT_EQ(c.Radius(), 5.0);
  EXPECT_TRUE(c.IsValid());
  EXPECT_EQ(c.Center().x, 1.0);
  EXPECT_DOUBLE_EQ(c.Angle({1, 7}), M_PI / 2);
  EXPECT_DOUBLE_EQ(c.Angle({-3, 2}), M_PI);

  for (double r : {0.0, 1e-13, kNaN}) {
    Math::CCircle const z({1, 2}, r);
    EXPECT_FALSE(z.IsValid()) << r;
    EXPECT_TRUE(SameBits(z.Angle({3, 3}), Math::tol::BadValue())) << r;
  }
  EXPECT_TRUE(Math::CCircle({0, 0}, 1e-12).IsValid());
}

TEST(CircleMakePoly, ToleranceZeroGivesExactlyNMaxSides) {
  Math::CCircle const c({-3, 4}, 2.5);
  for (int n : {3, 7, 8, 13, 100, 1000}) {
    Poly out;
    ASSERT_TRUE(c.MakePoly(out, 0.0, n));
    ASSERT_EQ(out.size(), static_cast<std::size_t>(n) + 1) << n;
    EXPECT_EQ(out.back().x, out.front().x);
    EXPECT_EQ(out.back().y, out.front().y);
    EXPECT_NEAR(out[0].x, -3 + 2.5 / ((1 + std::cos(M_PI / n)) / 2), 1e-12) << n;
  }
  // A tolerance as large as the radius: the octagon cap decides, unless
  // nMax asks for fewer.
  Poly out;
  ASSERT_TRUE(c.MakePoly(out, 2.5, 100));
  EXPECT_EQ(out.size(), 9u);
  ASSERT_TRUE(c.MakePoly(out, 2.5, 6));
  EXPECT_EQ(out.size(), 7u);
}

TEST(CircleMakePoly, FewestSidesWithinTolerance) {
  struct Case {
    double r, t;
  };
  for (Case const& k : {Case{10, 0.1}, Case{5, 0.01}, Case{1, 1e-3}, Case{300, 0.05}, Case{0.5, 1e-6}}) {
    SCOPED_TRACE(k.r);
    Math::CCircle const c({7, -1}, k.r);
    Poly out;
    ASSERT_TRUE(c.MakePoly(out, k.t, 100000));
    int const sides = static_cast<int>(out.size()) - 1;
    ASSERT_GT(sides, 8);
    // The side count's rounding slack may exceed the tolerance by a hair.
    EXPECT_LE(RingDeviation(out, c.ptCenter, k.r), k.t * 1.001);
    EXPECT_GT(HalfwayDeviation(k.r, sides - 1), k.t);
    // Halfway: vertices as far outside as chord midpoints are inside.
    EXPECT_NEAR(Dist(out[0], c.ptCenter) - k.r, k.r - Dist((out[0] + out[1]) / 2, c.ptCenter), 1e-9 * k.r);
  }
}

TEST(CircleMakePoly, RefusesDegenerateRequests) {
  Poly const sentinel{{9, 9}};
  struct Case {
    char const* name;
    CPointD c;
    double r, t;
    int n;
  };
  for (Case const& k : {Case{"tolerance cancels radius", {0, 0}, 1, -1, 100},
                        Case{"nMax 0", {0, 0}, 1, 0.1, 0}, Case{"nMax 1", {0, 0}, 1, 0.1, 1},
                        Case{"nMax negative", {0, 0}, 1, 0.1, -4}, Case{"zero circle, zero tolerance", {0, 0}, 0, 0, 50},
                        Case{"NaN centre", {kNaN, 0}, 1, 0.1, 100}, Case{"infinite radius", {0, 0}, kInf, 0.1, 100},
                        Case{"NaN radius", {0, 0}, kNaN, 0.1, 100}}) {
    SCOPED_TRACE(k.name);
    Poly out = sentinel;
    EXPECT_FALSE(Math::CCircle(k.c, k.r).MakePoly(out, k.t, k.n));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].x, 9.0);
  }
  // Odd but defined: a negative or NaN tolerance has no step of its own and
  // falls back to the octagon; a zero radius gives the centre nine times.
  for (double t : {-0.5, kNaN}) {
    Poly out;
    ASSERT_TRUE(Math::CCircle({1, 1}, 1).MakePoly(out, t, 100));
    EXPECT_EQ(out.size(), 9u);
    for (CPointD const& p : out) EXPECT_TRUE(std::isfinite(p.x) && std::isfinite(p.y));
  }
  Poly out;
  ASSERT_TRUE(Math::CCircle({1, 1}, 0).MakePoly(out, 0.5, 100));
  for (CPointD const& p : out) EXPECT_EQ(Dist(p, {1, 1}), 0.0);
}

TEST(CircleToPoly, AppendsRingsClosedOnTheVectorsFirstPoint) {
  std::vector<CPointD> out;
  ASSERT_TRUE(Math::CircleToPoly(out, {0, 0}, 10, 0.1, 1000));
  // s = 2 acos(2 * 10 / 10.1 - 1) = 0.3985 rad, ceil(2 pi / s) = 16 sides.
  ASSERT_EQ(out.size(), 17u);
  EXPECT_EQ(out.back().x, out.front().x);
  EXPECT_EQ(out.back().y, out.front().y);
  EXPECT_LE(RingDeviation(out, {0, 0}, 10), 0.1 * 1.001);

  ASSERT_TRUE(Math::CircleToPoly(out, {100, 0}, 10, 0.1, 1000));
  ASSERT_EQ(out.size(), 34u);
  // The second ring ends on the first point of the vector, not its own.
  EXPECT_EQ(out.back().x, out.front().x);
  EXPECT_NEAR(out[17].x, 100 + out[0].x, 1e-12);
}

TEST(CircleToPoly, RepeatedAdditionMayAddAVertexBesideTheFirst) {
  // Six additions of 2 pi / 6 stay just below 2 pi, so a seventh vertex
  // lands on the first before the closing copy; with 8 they reach 2 pi.
  std::vector<CPointD> six;
  ASSERT_TRUE(Math::CircleToPoly(six, {0, 0}, 1, 0, 6));
  ASSERT_EQ(six.size(), 8u);
  EXPECT_NEAR(Dist(six[6], six[0]), 0.0, 1e-12);
  std::vector<CPointD> eight;
  ASSERT_TRUE(Math::CircleToPoly(eight, {0, 0}, 1, 0, 8));
  EXPECT_EQ(eight.size(), 9u);

  std::vector<CPointD> out{{5, 5}};
  for (unsigned n : {0u, 1u}) EXPECT_FALSE(Math::CircleToPoly(out, {0, 0}, 1, 0.1, n));
  EXPECT_FALSE(Math::CircleToPoly(out, {0, 0}, 2, -2, 100));
  EXPECT_FALSE(Math::CircleToPoly(out, {kNaN, 0}, 2, 0.1, 100));
  EXPECT_EQ(out.size(), 1u);
}

TEST(Arc, OrientationAndValidity) {
  Math::CArc const a({1, 1}, -3, 0, -M_PI / 2);
  EXPECT_EQ(a.dRadius, 3.0);
  EXPECT_TRUE(a.IsClockwise());
  EXPECT_TRUE(a.IsValid());
  EXPECT_FALSE(Math::CArc({1, 1}, 3, 0, M_PI / 2).IsClockwise());
  EXPECT_FALSE(Math::CArc({1, 1}, 3, 0, 0).IsValid());
  EXPECT_FALSE(Math::CArc({1, 1}, 3, 1e-13, -1e-13).IsValid());
  EXPECT_TRUE(Math::CArc({1, 1}, 3, 0, 1e-12).IsValid());
  EXPECT_TRUE(Math::CArc({1, 1}, 3, 2 * M_PI, 2 * M_PI).IsValid());
}

TEST(ArcMakePoly, CountsEndsAndDeviation) {
  struct Case {
    char const* name;
    double r, t, start, end;
    int nMax;
    int segments;       // worked out by hand from the step rules
    bool fromTolerance;  // the step is the tolerance's chord angle
  };
  Case const cases[] = {
      // s = 2 acos(0.99) = 0.2831; trunc(1.5708 / 0.2831 + 0.9) = 6.
      {"quarter", 10, 0.1, 0, M_PI / 2, 100, 6, true},
      // t > 2r: no chord angle, four segments.
      {"huge tolerance", 10, 25, 0, M_PI / 2, 100, 4, false},
      // s = 2 pi / 3 is longer than half the sweep: four segments.
      {"coarse", 10, 5, 0, M_PI / 2, 100, 4, false},
      {"capped", 10, 0.1, 0, M_PI / 2, 3, 2, false},
      // s = 0.028285; trunc(9.4248 / 0.028285 + 0.9) = 334, clockwise.
      {"one and a half turns back", 10, 0.001, 1, 1 - 3 * M_PI, 1000, 334, true},
  };
  for (Case const& k : cases) {
    SCOPED_TRACE(k.name);
    Math::CArc const arc({-2, 3}, k.r, k.start, k.end);
    Poly out;
    ASSERT_TRUE(arc.MakePoly(out, k.t, k.nMax));
    ASSERT_EQ(out.size(), static_cast<std::size_t>(k.segments) + 1);
    EXPECT_NEAR(out.front().x, -2 + k.r * std::cos(k.start), 1e-12);
    EXPECT_NEAR(out.front().y, 3 + k.r * std::sin(k.start), 1e-12);
    EXPECT_EQ(out.back().x, -2 + k.r * std::cos(k.end));
    EXPECT_EQ(out.back().y, 3 + k.r * std::sin(k.end));
    double const chord = 2 * k.r * std::sin(std::abs(k.end - k.start) / k.segments / 2);
    for (std::size_t i = 0; i + 1 < out.size(); ++i) {
      EXPECT_NEAR(Dist(out[i], arc.ptCenter), k.r, 1e-12);
      EXPECT_NEAR(Dist(out[i], out[i + 1]), chord, 1e-9);
    }
    if (k.fromTolerance) {
      // Rounding the count to nearest (+0.9) may stretch the step a little.
      double const sagitta = k.r * (1 - std::cos(std::abs(k.end - k.start) / k.segments / 2));
      EXPECT_LE(sagitta, 1.25 * k.t);
    }
  }
}

TEST(ArcMakePoly, RefusesDegenerateRequests) {
  Poly const sentinel{{9, 9}};
  struct Case {
    char const* name;
    double r, t, start, end;
    int n;
  };
  for (Case const& k : {Case{"tolerance 0", 1, 0, 0, 1, 100}, Case{"negative tolerance", 1, -0.1, 0, 1, 100},
                        Case{"NaN tolerance", 1, kNaN, 0, 1, 100}, Case{"zero radius", 0, 0.1, 0, 1, 100},
                        Case{"no sweep", 1, 0.1, 0.5, 0.5, 100}, Case{"NaN angle", 1, 0.1, kNaN, 1, 100},
                        Case{"infinite sweep", 1, 0.1, 0, kInf, 100}, Case{"nMax 1", 1, 0.1, 0, 1, 1},
                        Case{"nMax 0", 1, 0.1, 0, 1, 0}}) {
    SCOPED_TRACE(k.name);
    Poly out = sentinel;
    EXPECT_FALSE(Math::CArc({0, 0}, k.r, k.start, k.end).MakePoly(out, k.t, k.n));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].x, 9.0);
  }
}

void ExpectZeroArc(Math::CArc const& a) {
  EXPECT_EQ(a.ptCenter.x, 0.0);
  EXPECT_EQ(a.ptCenter.y, 0.0);
  EXPECT_EQ(a.dRadius, 0.0);
  EXPECT_EQ(a.dStart, 0.0);
  EXPECT_EQ(a.dEnd, 0.0);
  EXPECT_FALSE(a.IsValid());
}

TEST(MakeArc, FilletsARightAngle) {
  CPointD const pts[3] = {{10, 0}, {0, 0}, {0, 10}};
  Math::CArc const a = Math::MakeArc(pts, 2);
  EXPECT_NEAR(a.ptCenter.x, 2, 1e-12);
  EXPECT_NEAR(a.ptCenter.y, 2, 1e-12);
  EXPECT_EQ(a.dRadius, 2.0);
  // From the tangent point (2, 0) to (0, 2), a quarter turn.
  EXPECT_NEAR(a.dStart, 3 * M_PI / 2, 1e-12);
  EXPECT_NEAR(a.dEnd, M_PI, 1e-12);
  EXPECT_TRUE(a.IsClockwise());

  ExpectZeroArc(Math::MakeArc(pts, 20));

  // A negative radius keeps its sign for the tangent distance: the fillet
  // of the opposite (vertical) angle, on the legs' extensions.
  Math::CArc const b = Math::MakeArc(pts, -2);
  EXPECT_NEAR(b.ptCenter.x, -2, 1e-12);
  EXPECT_NEAR(b.ptCenter.y, -2, 1e-12);
  EXPECT_EQ(b.dRadius, 2.0);
}

TEST(MakeArc, TangentToBothLegsOnRandomCorners) {
  std::mt19937 rng(20240611);
  std::uniform_real_distribution<double> coord(-50, 50), dir(-M_PI, M_PI), open(0.2, M_PI - 0.2), len(3, 20),
      rad(0.3, 6);
  int fillets = 0, refused = 0;
  for (int i = 0; i < 300; ++i) {
    CPointD const c{coord(rng), coord(rng)};
    double const a0 = dir(rng), phi = open(rng), a2 = a0 + (i % 2 ? phi : -phi);
    double const l0 = len(rng), l2 = len(rng), r = rad(rng);
    CPointD const pts[3] = {c + CPointD{std::cos(a0), std::sin(a0)} * l0, c,
                            c + CPointD{std::cos(a2), std::sin(a2)} * l2};
    Math::CArc const arc = Math::MakeArc(pts, r);
    double const d = r / std::tan(phi / 2);
    SCOPED_TRACE(i);
    if (d > l0 || d > l2) {
      ExpectZeroArc(arc);
      ++refused;
      continue;
    }
    ++fillets;
    CPointD const t0 = c + CPointD{std::cos(a0), std::sin(a0)} * d;
    CPointD const t2 = c + CPointD{std::cos(a2), std::sin(a2)} * d;
    EXPECT_NEAR(arc.dRadius, r, 1e-12);
    EXPECT_NEAR(Dist(arc.ptCenter, c), r / std::sin(phi / 2), 1e-9);
    CPointD const start = arc.ptCenter + CPointD{std::cos(arc.dStart), std::sin(arc.dStart)} * r;
    CPointD const end = arc.ptCenter + CPointD{std::cos(arc.dEnd), std::sin(arc.dEnd)} * r;
    EXPECT_NEAR(Dist(start, t0), 0.0, 1e-9);
    EXPECT_NEAR(Dist(end, t2), 0.0, 1e-9);
    EXPECT_NEAR(std::abs(arc.dEnd - arc.dStart), M_PI - phi, 1e-9);
  }
  EXPECT_GT(fillets, 100);
  EXPECT_GT(refused, 10);
}

TEST(MakeArc, DegenerateCornersGiveTheZeroArc) {
  struct Case {
    char const* name;
    CPointD pts[3];
    double r;
  };
  for (Case const& k : {Case{"straight", {{-5, 0}, {0, 0}, {5, 0}}, 1},
                        Case{"legs overlap", {{5, 0}, {0, 0}, {3, 0}}, 1},
                        Case{"zero leg", {{0, 0}, {0, 0}, {0, 5}}, 1},
                        Case{"zero leg, negative radius", {{0, 0}, {0, 0}, {0, 5}}, -1},
                        Case{"zero radius", {{5, 0}, {0, 0}, {0, 5}}, 0},
                        Case{"NaN radius", {{5, 0}, {0, 0}, {0, 5}}, kNaN},
                        Case{"NaN point", {{5, kNaN}, {0, 0}, {0, 5}}, 1},
                        Case{"infinite radius", {{5, 0}, {0, 0}, {0, 5}}, kInf}}) {
    SCOPED_TRACE(k.name);
    ExpectZeroArc(Math::MakeArc(k.pts, k.r));
  }
}

std::vector<CPointD> const kUnitCross = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};

TEST(CircleReduceWeighted, FourPointsAndTheWeightQuirks) {
  Result const r = Math::CCircleReduce(kUnitCross.data(), 4, nullptr);
  EXPECT_TRUE(r.bValid);
  EXPECT_NEAR(r.ptCenter.x, 0, 1e-15);
  EXPECT_NEAR(r.ptCenter.y, 0, 1e-15);
  EXPECT_NEAR(r.dRadius, 1, 1e-15);
  EXPECT_NEAR(r.dDeviation, 0, 1e-15);

  // Weights are squared: -1 weighs as 1.
  double const minus[4] = {-1, -1, -1, -1};
  Result const rm = Math::CCircleReduce(kUnitCross.data(), 4, minus);
  EXPECT_NEAR(rm.dRadius, 1, 1e-15);
  // Weights 2 weigh 4 each, but the last normal equation keeps -n = -4
  // where the weight sum 16 would belong: -4k = sum w q = 16, k = -4,
  // radius sqrt(0 + 4) = 2.
  double const two[4] = {2, 2, 2, 2};
  Result const r2 = Math::CCircleReduce(kUnitCross.data(), 4, two);
  EXPECT_TRUE(r2.bValid);
  EXPECT_NEAR(r2.dRadius, 2, 1e-14);
  EXPECT_NEAR(r2.dDeviation, 1, 1e-14);
}

TEST(CircleReduceWeighted, ExactCircleAndRadialDeviation) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> ang(0, 2 * M_PI);
  std::vector<CPointD> pts;
  for (int i = 0; i < 25; ++i) {
    double const a = ang(rng);
    pts.push_back({3 + 12 * std::cos(a), -7 + 12 * std::sin(a)});
  }
  Result const r = Math::CCircleReduce(pts.data(), static_cast<unsigned>(pts.size()), nullptr);
  ASSERT_TRUE(r.bValid);
  EXPECT_NEAR(r.ptCenter.x, 3, 1e-10);
  EXPECT_NEAR(r.ptCenter.y, -7, 1e-10);
  EXPECT_NEAR(r.dRadius, 12, 1e-10);
  EXPECT_NEAR(r.dDeviation, 0, 1e-10);

  // Two concentric crosses of radius 1 and 2: centre 0 and, from the last
  // normal equation, radius^2 = mean of x^2 + y^2 = 2.5; the points lie
  // sqrt(2.5) - 1 inside and 2 - sqrt(2.5) outside.
  std::vector<CPointD> two = kUnitCross;
  for (CPointD const& p : kUnitCross) two.push_back(p * 2);
  Result const t = Math::CCircleReduce(two.data(), 8, nullptr);
  double const rr = std::sqrt(2.5);
  EXPECT_NEAR(t.dRadius, rr, 1e-14);
  EXPECT_NEAR(t.dDeviation, std::sqrt((std::pow(rr - 1, 2) + std::pow(2 - rr, 2)) / 2), 1e-14);
}

TEST(CircleReduceWeighted, DegenerateInputGivesTheZeroRecord) {
  std::vector<CPointD> const line = {{0, 0}, {1, 0}, {2, 0}, {5, 0}};
  std::vector<CPointD> const slanted = {{0, 0}, {1, 0.7}, {2, 1.4}, {5, 3.5}, {-3, -2.1}};
  std::vector<CPointD> const nan = {{1, 0}, {0, 1}, {-1, kNaN}, {0, -1}};
  double const zero[4] = {0, 0, 0, 0};
  ExpectZeroResult(Math::CCircleReduce(kUnitCross.data(), 2, nullptr));
  ExpectZeroResult(Math::CCircleReduce(nullptr, 4, nullptr));
  ExpectZeroResult(Math::CCircleReduce(line.data(), 4, nullptr));
  ExpectZeroResult(Math::CCircleReduce(slanted.data(), 5, nullptr));
  ExpectZeroResult(Math::CCircleReduce(nan.data(), 4, nullptr));
  ExpectZeroResult(Math::CCircleReduce(kUnitCross.data(), 4, zero));
}

Poly ClosedCircle(CPointD c, double r, std::vector<double> angles) {
  std::sort(angles.begin(), angles.end());
  Poly p;
  for (double a : angles) p.push_back({c.x + r * std::cos(a), c.y + r * std::sin(a)});
  p.push_back(p.front());
  return p;
}

TEST(CircleReducePolyline, ReproducesAnExactCircleFromItsVertices) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> ang(0, 2 * M_PI);
  struct Case {
    CPointD c;
    double r;
    double tol;
  };
  for (Case const& k : {Case{{250.5, -80.25}, 37.5, 1e-9}, Case{{1e6, -2e6}, 10, 1e-6}, Case{{0, 0}, 1e-4, 1e-15}}) {
    std::vector<double> angles;
    for (int i = 0; i < 40; ++i) angles.push_back(ang(rng));
    Result const r = Math::CCircleReduce(ClosedCircle(k.c, k.r, angles));
    ASSERT_TRUE(r.bValid);
    EXPECT_NEAR(r.ptCenter.x, k.c.x, k.tol);
    EXPECT_NEAR(r.ptCenter.y, k.c.y, k.tol);
    EXPECT_NEAR(r.dRadius, k.r, k.tol);
    EXPECT_NEAR(r.dDeviation, 0, k.tol);
  }
}

// Noisy 60-degree arcs, traced as thin strokes (out along the arc and back,
// so the polyline is closed). The plain algebraic fit pulls the radius in;
// the polyline fit must not.
TEST(CircleReducePolyline, BeatsThePlainAlgebraicFitOnNoisyShortArcs) {
  unsigned const seed = 424242;
  std::mt19937 rng(seed);
  std::normal_distribution<double> noise(0, 1.0);
  std::uniform_real_distribution<double> start(0, 2 * M_PI), centre(-200, 200);
  double const r0 = 50;
  int const trials = 300, m = 61;
  double sumPoly = 0, sumPlain = 0, sqPoly = 0, sqPlain = 0;
  for (int t = 0; t < trials; ++t) {
    CPointD const c{centre(rng), centre(rng)};
    double const a0 = start(rng);
    std::vector<CPointD> arc;
    for (int i = 0; i < m; ++i) {
      double const a = a0 + M_PI / 3 * i / (m - 1);
      arc.push_back({c.x + r0 * std::cos(a) + noise(rng), c.y + r0 * std::sin(a) + noise(rng)});
    }
    Poly stroke(arc);
    for (int i = m - 2; i >= 0; --i) stroke.push_back(arc[i]);
    Result const fit = Math::CCircleReduce(stroke);
    Result const plain = Math::CCircleReduce(arc.data(), m, nullptr);
    ASSERT_TRUE(fit.bValid && plain.bValid) << "seed " << seed << " trial " << t;
    sumPoly += fit.dRadius - r0;
    sqPoly += std::pow(fit.dRadius - r0, 2);
    sumPlain += plain.dRadius - r0;
    sqPlain += std::pow(plain.dRadius - r0, 2);
  }
  double const biasPoly = sumPoly / trials, biasPlain = sumPlain / trials;
  double const rmsPoly = std::sqrt(sqPoly / trials), rmsPlain = std::sqrt(sqPlain / trials);
  // The plain fit loses about 8 units of 50 here; the standard error of the
  // polyline fit's mean over 300 trials is about 0.2.
  EXPECT_LT(biasPlain, -5.0) << "seed " << seed;
  EXPECT_LT(std::abs(biasPoly), 1.0) << "seed " << seed;
  EXPECT_LT(rmsPoly, 0.6 * rmsPlain) << "seed " << seed;
}

// The documented weights (half the two adjacent segment lengths, the
// closing point counted once) and the weighted root-mean-square radial
// distance: the fit reports it and no nearby circle has less.
double WeightedRadialRms(Poly const& p, CPointD c, double r) {
  std::size_t const m = p.size() - 1;
  double num = 0, den = 0;
  for (std::size_t i = 0; i < m; ++i) {
    double const w = (Dist(p[i], p[i + 1]) + Dist(p[i], p[(i + m - 1) % m])) / 2;
    num += w * std::pow(Dist(p[i], c) - r, 2);
    den += w;
  }
  return std::sqrt(num / den);
}

TEST(CircleReducePolyline, DeviationIsTheMinimisedWeightedRadialRms) {
  std::mt19937 rng(99);
  std::normal_distribution<double> noise(0, 0.8);
  std::uniform_real_distribution<double> step(0.05, 0.4);
  Poly p;
  // An uneven, noisy three-quarter turn closed by its chord.
  for (double a = 0; a < 1.5 * M_PI; a += step(rng)) {
    p.push_back({30 + 20 * std::cos(a) + noise(rng), -5 + 20 * std::sin(a) + noise(rng)});
  }
  p.push_back(p.front());
  Result const r = Math::CCircleReduce(p);
  ASSERT_TRUE(r.bValid);
  CPointD const c = r.ptCenter;
  double const radius = r.dRadius;
  double const best = WeightedRadialRms(p, c, radius);
  EXPECT_NEAR(r.dDeviation, best, 1e-12 * best);
  double const h = 1e-3;
  for (CPointD const d : {CPointD{h, 0}, CPointD{-h, 0}, CPointD{0, h}, CPointD{0, -h}, CPointD{0, 0}}) {
    for (double dr : {-h, 0.0, h}) {
      if (d.x == 0 && d.y == 0 && dr == 0) continue;
      EXPECT_GT(WeightedRadialRms(p, c + d, radius + dr), best);
    }
  }
}

TEST(CircleReducePolyline, RoundCoinsFromTheirTracedOutlines) {
  int coins = 0;
  for (auto const& block : kmath_test::LoadXY("coins_crack.xy")) {
    if (block.Attr("ring") != "outer") continue;
    Math::CAreaMoments1 const am(block.pts.data(), static_cast<unsigned>(block.pts.size()));
    if (std::abs(am.dArea) < 1000) continue;
    Result const r = Math::CCircleReduce(Poly(block.pts));
    ASSERT_TRUE(r.bValid);
    double const equalArea = std::sqrt(std::abs(am.dArea) / M_PI);
    // The threshold also keeps a large irregular region: not a coin.
    if (r.dDeviation > 0.1 * equalArea) continue;
    ++coins;
    // A traced disc: the staircase deviates by under 2 pixels, the circle
    // has the disc's area and centroid to a fraction of a pixel.
    EXPECT_LT(double{r.dDeviation}, 2.0);
    EXPECT_NEAR(r.dRadius, equalArea, 0.01 * equalArea);
    EXPECT_NEAR(r.ptCenter.x, am.dCx, 0.01 * equalArea);
    EXPECT_NEAR(r.ptCenter.y, am.dCy, 0.01 * equalArea);
  }
  EXPECT_GE(coins, 20);
}

TEST(CircleReducePolyline, OpenShortOrBadPolylinesAreInvalid) {
  Poly const open = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
  ExpectZeroResult(Math::CCircleReduce(open));
  ExpectZeroResult(Math::CCircleReduce(Poly{{1, 0}, {1, 0}}));
  ExpectZeroResult(Math::CCircleReduce(Poly{}));
  ExpectZeroResult(Math::CCircleReduce(Poly{{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 1e-11}}));
  ExpectZeroResult(Math::CCircleReduce(Poly{{1, 0}, {0, kNaN}, {-1, 0}, {0, -1}, {1, 0}}));
  ExpectZeroResult(Math::CCircleReduce(Poly{{1, 0}, {0, kInf}, {-1, 0}, {0, -1}, {1, 0}}));
  // Closed within 1e-12 counts as closed.
  Result const r = Math::CCircleReduce(Poly{{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 1e-13}});
  EXPECT_TRUE(r.bValid);
  EXPECT_NEAR(r.dRadius, 1, 1e-12);
}

TEST(CircleReducePolyline, ClosedPolylinesWithoutACircleStayValid) {
  // Two distinct points: the circle on their diameter.
  Result const two = Math::CCircleReduce(Poly{{1, 1}, {5, 4}, {1, 1}});
  EXPECT_TRUE(two.bValid);
  EXPECT_NEAR(two.ptCenter.x, 3, 1e-12);
  EXPECT_NEAR(two.ptCenter.y, 2.5, 1e-12);
  EXPECT_NEAR(two.dRadius, 2.5, 1e-12);
  EXPECT_NEAR(two.dDeviation, 0, 1e-12);

  // A straight stroke: still finite, and the deviation says it is no circle.
  Result const line = Math::CCircleReduce(Poly{{0, 0}, {1, 1}, {2, 2}, {3, 3}, {2, 2}, {1, 1}, {0, 0}});
  EXPECT_TRUE(line.bValid);
  EXPECT_TRUE(std::isfinite(line.dRadius));
  EXPECT_GT(double{line.dDeviation}, 0.3 * line.dRadius);

  // One point repeated: a circle of radius 0 at that point.
  Result const dot = Math::CCircleReduce(Poly{{4, 4}, {4, 4}, {4, 4}, {4, 4}});
  EXPECT_TRUE(dot.bValid);
  EXPECT_EQ(double{dot.ptCenter.x}, 4.0);
  EXPECT_EQ(double{dot.dRadius}, 0.0);
  EXPECT_EQ(double{dot.dDeviation}, 0.0);
}

}  // namespace
