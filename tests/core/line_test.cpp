#include <math/line.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/segment.hpp>

#include <math/ptstat.h>

#include "core/tolerance.h"

namespace {

using Math::CEdge;
using Math::CLine;

constexpr double kPi = 3.14159265358979323846;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool IsBadValue(double v) {
  double const bad = Math::tol::BadValue();
  return std::memcmp(&v, &bad, sizeof v) == 0;
}

bool SameBits(CPointD const& a, CPointD const& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

double Cross(CPointD const& u, CPointD const& v) { return u.x * v.y - u.y * v.x; }

}  // namespace

TEST(CLine, TwoPointLineRunsBackwardsAndIsPositiveOnTheRight) {
  CLine const l(CPointD{0, 0}, CPointD{1, 0});
  EXPECT_EQ(l.cosP(), 0.0);
  EXPECT_EQ(l.sinP(), -1.0);
  EXPECT_EQ(l.rho(), 0.0);
  EXPECT_EQ(l.Vector().x, -1.0);
  EXPECT_EQ(l.Vector().y, 0.0);

  // Random lines: Value is the signed distance, positive right of p1 -> p2.
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-100.0, 100.0);
  for (int i = 0; i < 300; ++i) {
    CPointD const p1{u(rng), u(rng)};
    CPointD const p2{u(rng), u(rng)};
    CPointD const q{u(rng), u(rng)};
    CLine const line(p1, p2);
    double const len = std::hypot(p2.x - p1.x, p2.y - p1.y);
    EXPECT_NEAR(std::hypot(line.cosP(), line.sinP()), 1.0, 1e-15);
    EXPECT_NEAR(line.Value(p1), 0.0, 1e-12);
    EXPECT_NEAR(line.Value(p2), 0.0, 1e-12);
    EXPECT_NEAR(line.Value(q), -Cross(p2 - p1, q - p1) / len, 1e-9);
  }
}

TEST(CLine, ConstructorsAndMembersAgreeWithTheNormalForm) {
  // The line through (2, 3) with normal at 60 degrees.
  double const a = kPi / 3;
  CLine l(CPointD{2, 3}, a);
  EXPECT_DOUBLE_EQ(l.rho(), 2 * 0.5 + 3 * std::sqrt(3.0) / 2);
  EXPECT_NEAR(l.Value(CPointD{2, 3}), 0.0, 1e-15);

  CPointD const p{-4, 7};
  CPointD const proj = l.Project(p);
  CPointD const refl = l.Reflect(p);
  EXPECT_NEAR(l.Value(proj), 0.0, 1e-12);
  EXPECT_NEAR(l.Value(refl), -l.Value(p), 1e-12);
  EXPECT_NEAR((refl.x + p.x) / 2, proj.x, 1e-12);
  EXPECT_NEAR((refl.y + p.y) / 2, proj.y, 1e-12);
  EXPECT_NEAR(l.X(l.Y(5.0)), 5.0, 1e-12);

  EXPECT_DOUBLE_EQ(CLine(l).Move(2.5).Value(p), l.Value(p) - 2.5);
  EXPECT_NEAR(CLine(l).MoveTo(p).Value(p), 0.0, 1e-12);

  // 3x + 4y - 10 = 0: unit normal (0.6, 0.8), rho 2.
  CLine const f(Math::CLinForm{3, 4, -10});
  EXPECT_DOUBLE_EQ(f.cosP(), 0.6);
  EXPECT_DOUBLE_EQ(f.sinP(), 0.8);
  EXPECT_DOUBLE_EQ(f.rho(), 2.0);

  // The three-double constructor does not normalise.
  CLine const raw(3, 4, 5);
  EXPECT_EQ(raw.cosP(), 3.0);
  EXPECT_TRUE(raw.Valid());
  EXPECT_FALSE(CLine().Valid());
  EXPECT_FALSE(CLine(1e-13, 0, 1).Valid());
}

TEST(CLine, BadOpIsThrownExactlyWhereDocumented) {
  CPointD const p{1, 2};
  CPointD const q{1 + 1e-13, 2};
  EXPECT_THROW((void)CLine(p, p), CLine::CBadOp);
  EXPECT_THROW((void)CLine(p, q), CLine::CBadOp);
  EXPECT_THROW((void)CLine(Math::CLinForm{0, 0, 5}), CLine::CBadOp);
  EXPECT_THROW((void)CLine(0, 1, 3).X(1.0), CLine::CBadOp);  // horizontal: no x at a y
  EXPECT_THROW((void)CLine(1, 0, 3).Y(1.0), CLine::CBadOp);  // vertical: no y at an x
  CEdge zero{p, p};
  EXPECT_THROW(Math::ClipEdge(zero, CRectD{0, 0, 5, 5}), CLine::CBadOp);
  EXPECT_THROW((void)Math::BisectLine(p, p), CLine::CBadOp);
  EXPECT_THROW((void)Math::BisectEdge(p, p, p), CLine::CBadOp);

  // Failure without an exception.
  CPointD const nanPt{kNaN, 0};
  EXPECT_NO_THROW((void)CLine(nanPt, p));
  EXPECT_FALSE(CLine(nanPt, p).Valid());
  EXPECT_NO_THROW((void)CLine(Math::CLinForm{kNaN, 1, 0}));
  EXPECT_FALSE(CLine(&p, 1).Valid());
  EXPECT_FALSE(CLine(nullptr, 5).Valid());
  EXPECT_NO_THROW((void)Math::BisectEdge(p, p, CPointD{4, 6}));  // one empty arm is fine
  CEdge tiny{CPointD{-1e-15, 0}, CPointD{1e-15, 0}};
  EXPECT_FALSE(Math::CLineToEdge(CLine(1e6, 0, 0), tiny).CrossData());
}

TEST(LineFunctions, OrthoLineAndLineToLine) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> u(-50.0, 50.0);
  for (int i = 0; i < 200; ++i) {
    CPointD const x{u(rng), u(rng)};
    CLine const l1(x, u(rng));
    CLine const l2(x, u(rng));
    CPointD out{};
    if (std::abs(std::sin(std::atan2(l1.sinP(), l1.cosP()) - std::atan2(l2.sinP(), l2.cosP()))) < 1e-3) continue;
    ASSERT_TRUE(Math::LineToLine(l1, l2, out));
    EXPECT_NEAR(out.x, x.x, 1e-8);
    EXPECT_NEAR(out.y, x.y, 1e-8);

    CPointD const p{u(rng), u(rng)};
    CLine const o = Math::OrthoLine(l1, p);
    EXPECT_NEAR(o.cosP() * l1.cosP() + o.sinP() * l1.sinP(), 0.0, 1e-15);
    EXPECT_NEAR(o.Value(p), 0.0, 1e-12);
  }

  CPointD out{9, 9};
  EXPECT_FALSE(Math::LineToLine(CLine(0, 1, 1), CLine(0, 1, 3), out));
  EXPECT_FALSE(Math::LineToLine(CLine(kNaN, 1, 1), CLine(1, 0, 3), out));
  EXPECT_EQ(out.x, 9.0);
  EXPECT_EQ(out.y, 9.0);
}

TEST(LineFunctions, MakeLineFamily) {
  // MakeLine(pts, n, angle): normal at the angle, through the centroid (2, 1).
  CPointD const pts[] = {{0, 0}, {4, 0}, {2, 3}};
  CLine const l = Math::MakeLine(pts, 3, kPi / 2);
  EXPECT_NEAR(l.cosP(), 0.0, 1e-16);
  EXPECT_EQ(l.sinP(), 1.0);
  EXPECT_DOUBLE_EQ(l.rho(), 1.0);
  EXPECT_TRUE(std::isnan(Math::MakeLine(pts, 0, 0.3).rho()));
  EXPECT_TRUE(std::isnan(Math::MakeLine(nullptr, 0, 0.3).rho()));

  // MakeLine(stat, err): the fit and its residual; failure leaves err alone.
  CPointD const onLine[] = {{0, 1}, {1, 3}, {2, 5}, {3, 7}};
  double err = -1;
  CLine const fit = Math::MakeLine(Math::CPtStat(onLine, 4), &err);
  for (CPointD const& p : onLine) EXPECT_NEAR(fit.Value(p), 0.0, 1e-12);
  EXPECT_NEAR(err, 0.0, 1e-6);
  EXPECT_NEAR(Math::CLine(onLine, 4).Value(CPointD{10, 21}), 0.0, 1e-10);
  double untouched = 42;
  EXPECT_FALSE(Math::MakeLine(Math::CPtStat(onLine, 1), &untouched).Valid());
  EXPECT_EQ(untouched, 42.0);
  EXPECT_FALSE(Math::MakeLine(Math::CPtStat(), nullptr).Valid());

  // MakeLine(pts, n, pos, sharpness, laplace): the LIRLine fit.
  CLine const lir = Math::MakeLine(onLine, 4, 0.5, 2.0, false);
  EXPECT_NEAR(lir.Value(CPointD{5, 11}), 0.0, 1e-10);
  EXPECT_FALSE(Math::MakeLine(onLine, 1, 0.5, 2.0, false).Valid());
}

TEST(LineToRect, SidesOrderAndCornerFoundTwice) {
  CRectD const r{0, 0, 10, 5};
  CPointD out[2];
  // Horizontal line y = 2: found on the left and right sides, in that order.
  ASSERT_TRUE(Math::LineToRect(CLine(0, 1, 2), r, out));
  EXPECT_EQ(out[0].x, 0.0);
  EXPECT_EQ(out[1].x, 10.0);
  EXPECT_DOUBLE_EQ(out[0].y, 2.0);
  // Vertical line x = 3: top, then bottom.
  ASSERT_TRUE(Math::LineToRect(CLine(1, 0, 3), r, out));
  EXPECT_DOUBLE_EQ(out[0].x, 3.0);
  EXPECT_EQ(out[0].y, 0.0);
  EXPECT_EQ(out[1].y, 5.0);
  // y = -x touches only the corner (0, 0): once from the left side, once
  // from the top, and both are returned.
  ASSERT_TRUE(Math::LineToRect(CLine(CPointD{0, 0}, CPointD{1, -1}), r, out));
  EXPECT_NEAR(out[0].x, 0.0, 1e-15);
  EXPECT_NEAR(out[0].y, 0.0, 1e-15);
  EXPECT_NEAR(out[1].x, 0.0, 1e-15);
  EXPECT_NEAR(out[1].y, 0.0, 1e-15);
  // A slanted line through the left and bottom sides.
  ASSERT_TRUE(Math::LineToRect(CLine(CPointD{0, 1}, CPointD{4, 9}), r, out));
  EXPECT_NEAR(out[0].y, 1.0, 1e-12);
  EXPECT_NEAR(out[1].x, 2.0, 1e-12);
  EXPECT_EQ(out[1].y, 5.0);

  // Misses write nothing.
  CPointD keep[2] = {{7, 7}, {8, 8}};
  EXPECT_FALSE(Math::LineToRect(CLine(0, 1, 6), r, keep));
  EXPECT_FALSE(Math::LineToRect(CLine(), r, keep));
  EXPECT_FALSE(Math::LineToRect(CLine(0, 1, kNaN), r, keep));
  EXPECT_FALSE(Math::LineToRect(CLine(0, 1, 2), r, nullptr));
  EXPECT_EQ(keep[0].x, 7.0);
  EXPECT_EQ(keep[1].y, 8.0);
}

TEST(CPtToEdge, ParameterAndSignedDistance) {
  Math::CPtToEdge const a(CEdge{{0, 0}, {2, 0}}, CPointD{1, 1});
  EXPECT_DOUBLE_EQ(a.t, 0.5);
  EXPECT_DOUBLE_EQ(a.dist, -1.0);  // left of the travel: negative
  Math::CPtToEdge const b(CEdge{{0, 0}, {2, 0}}, CPointD{5, -3});
  EXPECT_DOUBLE_EQ(b.t, 2.5);  // not clamped
  EXPECT_DOUBLE_EQ(b.dist, 3.0);

  // A point edge: the unsigned distance and the all-ones NaN parameter.
  Math::CPtToEdge const z(CEdge{{1, 1}, {1, 1}}, CPointD{4, -3});
  EXPECT_DOUBLE_EQ(z.dist, 5.0);
  EXPECT_TRUE(IsBadValue(z.t));
  EXPECT_TRUE(Math::tol::InUnitWithin(z.t));
}

TEST(CLineToEdge, EndsWinThenStrictCrossing) {
  CLine const xIs1(1, 0, 1);
  auto c = Math::CLineToEdge(xIs1, CEdge{{0, 0}, {4, 2}}).CrossData();
  ASSERT_TRUE(c);
  EXPECT_DOUBLE_EQ(c->first.x, 1.0);
  EXPECT_DOUBLE_EQ(c->first.y, 0.5);
  EXPECT_DOUBLE_EQ(c->second, 0.25);

  // An edge on the line: p0 with 0.
  c = Math::CLineToEdge(xIs1, CEdge{{1, 5}, {1, 9}}).CrossData();
  ASSERT_TRUE(c);
  EXPECT_EQ(c->first.y, 5.0);
  EXPECT_EQ(c->second, 0.0);
  // Touching at p1.
  c = Math::CLineToEdge(xIs1, CEdge{{3, 3}, {1 + 1e-13, 9}}).CrossData();
  ASSERT_TRUE(c);
  EXPECT_EQ(c->second, 1.0);
  // Both ends on one side, or NaN.
  EXPECT_FALSE(Math::CLineToEdge(xIs1, CEdge{{2, 0}, {3, 5}}).CrossData());
  EXPECT_FALSE(Math::CLineToEdge(xIs1, CEdge{{kNaN, 0}, {3, 5}}).CrossData());
}

TEST(CEdgeToEdge, CrossDataGeneralPosition) {
  auto const c = Math::CEdgeToEdge(CEdge{{0, 0}, {2, 2}}, CEdge{{0, 2}, {2, 0}}).CrossData(true);
  ASSERT_TRUE(c);
  EXPECT_DOUBLE_EQ(c->first, 0.5);
  EXPECT_DOUBLE_EQ(c->second, 0.5);

  // Lines crossing beyond the edges: unbounded only, unclamped.
  Math::CEdgeToEdge const apart(CEdge{{0, 0}, {1, 0}}, CEdge{{3, -1}, {3, 1}});
  EXPECT_FALSE(apart.CrossData(true));
  EXPECT_FALSE(apart.CrossPoint());
  auto const u = apart.CrossData(false);
  ASSERT_TRUE(u);
  EXPECT_DOUBLE_EQ(u->first, 3.0);
  EXPECT_DOUBLE_EQ(u->second, 0.5);

  // The parallel test is absolute in single precision: a slope of 1e-8 is
  // parallel, and parallel edges that are apart never cross, even unbounded.
  Math::CEdgeToEdge const nearly(CEdge{{0, 0}, {1, 0}}, CEdge{{0, 1}, {1, 1 + 1e-8}});
  EXPECT_FALSE(nearly.CrossData(false));

  auto const p = Math::CEdgeToEdge(CEdge{{0, 0}, {4, 0}}, CEdge{{1, -1}, {1, 3}}).CrossPoint();
  ASSERT_TRUE(p);
  EXPECT_DOUBLE_EQ(p->x, 1.0);
  EXPECT_EQ(p->y, 0.0);

  // Bounded means within EPS of the ends.
  auto const past = Math::CEdgeToEdge(CEdge{{0, 0}, {1, 0}}, CEdge{{1 + 1e-13, -1}, {1 + 1e-13, 1}}).CrossData(true);
  ASSERT_TRUE(past);
  EXPECT_GT(past->first, 1.0);

  EXPECT_FALSE(Math::CEdgeToEdge(CEdge{{kNaN, 0}, {4, 0}}, CEdge{{1, -1}, {1, 3}}).CrossData(false));
  EXPECT_FALSE(Math::CEdgeToEdge(CEdge{{kNaN, 0}, {4, 0}}, CEdge{{1, -1}, {1, 3}}).CrossData(true));
}

TEST(CEdgeToEdge, CollinearCandidatesInOrderQ0Q1P0P1) {
  CEdge const e1{{0, 0}, {4, 0}};
  struct Case {
    char const* name;
    CEdge e2;
    bool bounded;
    bool found;
    double t1, t2;
  } const cases[] = {
      {"Q0 inside", {{1, 0}, {3, 0}}, true, true, 0.25, 0.0},
      {"Q0 outside, Q1 inside", {{5, 0}, {3, 0}}, true, true, 0.75, 1.0},
      {"e2 covers e1: P0", {{-1, 0}, {6, 0}}, true, true, 0.0, 1.0 / 7},
      {"e2 covers e1 reversed: P0", {{6, 0}, {-1, 0}}, true, true, 0.0, 6.0 / 7},
      {"shared end Q1 = P0", {{-3, 0}, {0, 0}}, true, true, 0.0, 1.0},
      {"disjoint bounded", {{5, 0}, {6, 0}}, true, false, 0, 0},
      {"disjoint unbounded: Q0 untested", {{5, 0}, {6, 0}}, false, true, 1.25, 0.0},
      {"parallel apart", {{0, 1}, {4, 1}}, false, false, 0, 0},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    auto const r = Math::CEdgeToEdge(e1, c.e2).CrossData(c.bounded);
    ASSERT_EQ(bool(r), c.found);
    if (!r) continue;
    EXPECT_DOUBLE_EQ(r->first, c.t1);
    EXPECT_DOUBLE_EQ(r->second, c.t2);
  }

  // A point edge on the other edge's line, far outside it: collinear, and
  // its NaN parameter passes the tolerant test of the first candidate.
  auto const z = Math::CEdgeToEdge(CEdge{{9, 0}, {9, 0}}, e1).CrossData(true);
  ASSERT_TRUE(z);
  EXPECT_TRUE(std::isnan(z->first));
  EXPECT_EQ(z->second, 0.0);
}

TEST(CEdgeToEdge, HasCrossAndIsEndCross) {
  CEdge const e1{{0, 0}, {2, 0}};
  // Shared end point.
  Math::CEdgeToEdge const shared(e1, CEdge{{2, 0}, {3, 4}});
  EXPECT_TRUE(shared.HasCross());
  auto const s = shared.CrossData(true);
  ASSERT_TRUE(s);
  EXPECT_DOUBLE_EQ(s->first, 1.0);
  EXPECT_EQ(s->second, 0.0);
  EXPECT_TRUE(Math::CEdgeToEdge::IsEndCross(s));
  // T-junction: the end of e2 on the middle of e1.
  Math::CEdgeToEdge const tee(e1, CEdge{{1, 0}, {1, 3}});
  EXPECT_TRUE(tee.HasCross());
  EXPECT_FALSE(Math::CEdgeToEdge::IsEndCross(tee.CrossData(true)));
  EXPECT_FALSE(Math::CEdgeToEdge::IsEndCross(boost::none));

  EXPECT_FALSE(Math::CEdgeToEdge(e1, CEdge{{3, -1}, {3, 1}}).HasCross());  // boxes apart
  EXPECT_FALSE(Math::CEdgeToEdge(e1, CEdge{{1, 1}, {3, -0.5}}).HasCross());  // boxes meet, edges don't
  EXPECT_FALSE(Math::CEdgeToEdge(e1, CEdge{{kNaN, 1}, {1, -1}}).HasCross());
  EXPECT_TRUE(Math::CEdgeToEdge(e1, CEdge{{2 + 1e-13, -1}, {2 + 1e-13, 1}}).HasCross());  // EPS slack
  EXPECT_TRUE(Math::CEdgeToEdge(e1, CEdge{{1, 1e-14}, {1, 3}}).HasCross());  // an end a hair off e1

  // The side test's EPS is absolute on a product of cross products: edges a
  // thousandth long pass it although they miss by a tenth of their length,
  // which the same figure a thousand times larger does not.
  auto const scaled = [](double k) {
    return Math::CEdgeToEdge(CEdge{{0, 0}, {1e-3 * k, 0}}, CEdge{{1.2e-3 * k, 1e-4 * k}, {1.0e-3 * k, -1e-4 * k}});
  };
  EXPECT_TRUE(scaled(1).HasCross());
  EXPECT_FALSE(scaled(1).CrossData(true));
  EXPECT_FALSE(scaled(1000).HasCross());

  // Against Boost.Geometry on random segments in general position.
  namespace bg = boost::geometry;
  using BPoint = bg::model::d2::point_xy<double>;
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> u(-10.0, 10.0);
  int crossing = 0;
  for (int i = 0; i < 500; ++i) {
    CEdge const a{{u(rng), u(rng)}, {u(rng), u(rng)}};
    CEdge const b{{u(rng), u(rng)}, {u(rng), u(rng)}};
    bool const peer = bg::intersects(bg::model::segment<BPoint>(BPoint(a.p0.x, a.p0.y), BPoint(a.p1.x, a.p1.y)),
                                      bg::model::segment<BPoint>(BPoint(b.p0.x, b.p0.y), BPoint(b.p1.x, b.p1.y)));
    Math::CEdgeToEdge const ee(a, b);
    ASSERT_EQ(ee.HasCross(), peer) << "case " << i;
    ASSERT_EQ(bool(ee.CrossData(true)), peer) << "case " << i;
    if (peer) {
      ++crossing;
      auto const p = ee.CrossPoint();
      ASSERT_TRUE(p);
      // The point lies on both edges.
      EXPECT_NEAR(Math::CPtToEdge(b, *p).dist, 0.0, 1e-9);
    }
  }
  EXPECT_GT(crossing, 50);
}

TEST(CEdgeToEdge, MinAngleDistanceAndParallel) {
  auto const angle = [](CPointD d1, CPointD d2) {
    return Math::CEdgeToEdge(CEdge{{1, 1}, CPointD{1, 1} + d1}, CEdge{{5, 0}, CPointD{5, 0} + d2}).MinAngle();
  };
  EXPECT_DOUBLE_EQ(angle({1, 0}, {0, 3}), kPi / 2);
  EXPECT_DOUBLE_EQ(angle({1, 0}, {0, -3}), kPi / 2);
  EXPECT_NEAR(angle({1, 1}, {-2, -2}), 0.0, 1e-15);
  EXPECT_NEAR(angle({1, 0}, {std::cos(kPi / 6), std::sin(kPi / 6)}), kPi / 6, 1e-15);
  EXPECT_NEAR(angle({1, 0}, {std::cos(5 * kPi / 6), std::sin(5 * kPi / 6)}), kPi / 6, 1e-15);
  EXPECT_NEAR(angle({-1, 0}, {std::cos(-kPi / 3), std::sin(-kPi / 3)}), kPi / 3, 1e-15);
  EXPECT_TRUE(std::isnan(angle({kNaN, 0}, {1, 0})));
  // Components below EPS are zero, so this is exactly horizontal.
  EXPECT_EQ(angle({1, 0}, {1, 5e-13}), 0.0);
  // Within EPS of pi/2 the difference is returned unfolded, a hair above.
  EXPECT_GT(angle({0, 1}, {2, -1e-12}), kPi / 2);

  Math::CEdgeToEdge const tilt(CEdge{{0, 0}, {1, 0}}, CEdge{{0, 1}, {std::cos(0.01), 1 + std::sin(0.01)}});
  EXPECT_TRUE(tilt.IsParallel(0.02));
  EXPECT_FALSE(tilt.IsParallel(0.005));

  // Trapezoid area over mean length, whichever way the second edge runs.
  EXPECT_DOUBLE_EQ(Math::CEdgeToEdge(CEdge{{0, 0}, {4, 0}}, CEdge{{0, 2}, {4, 2}}).Distance(), 2.0);
  EXPECT_DOUBLE_EQ(Math::CEdgeToEdge(CEdge{{0, 0}, {4, 0}}, CEdge{{4, 2}, {0, 2}}).Distance(), 2.0);
  EXPECT_DOUBLE_EQ(Math::CEdgeToEdge(CEdge{{0, 0}, {4, 0}}, CEdge{{3, -2}, {1, -2}}).Distance(), 2.0);
  EXPECT_FALSE(std::isfinite(Math::CEdgeToEdge(CEdge{{0, 0}, {0, 0}}, CEdge{{1, 1}, {1, 1}}).Distance()));
}

TEST(EdgeToCircle, ParametersLargerFirstAndBoundedPacking) {
  double t[2];
  CEdge const e{{0, 0}, {10, 0}};
  ASSERT_EQ(Math::EdgeToCircle(e, CPointD{5, 0}, 2, t, false), 2);
  EXPECT_DOUBLE_EQ(t[0], 0.7);
  EXPECT_DOUBLE_EQ(t[1], 0.3);
  // Tangent: two equal parameters.
  ASSERT_EQ(Math::EdgeToCircle(e, CPointD{5, 2}, 2, t, false), 2);
  EXPECT_DOUBLE_EQ(t[0], 0.5);
  EXPECT_DOUBLE_EQ(t[1], 0.5);
  // Only the smaller parameter is on the edge: packed to the front.
  CEdge const shortEdge{{0, 0}, {4, 0}};
  ASSERT_EQ(Math::EdgeToCircle(shortEdge, CPointD{5, 0}, 2, t, false), 1);
  EXPECT_DOUBLE_EQ(t[0], 0.75);
  ASSERT_EQ(Math::EdgeToCircle(shortEdge, CPointD{5, 0}, 2, t, true), 2);
  EXPECT_DOUBLE_EQ(t[0], 1.75);
  // Missing the circle: 0 even unbounded.
  EXPECT_EQ(Math::EdgeToCircle(e, CPointD{5, 3}, 2, t, true), 0);
  EXPECT_EQ(Math::EdgeToCircle(e, CPointD{5, 0}, kNaN, t, true), 0);
  EXPECT_EQ(Math::EdgeToCircle(e, CPointD{kNaN, 0}, 2, t, true), 0);
  EXPECT_EQ(Math::EdgeToCircle(e, CPointD{5, 0}, 2, nullptr, true), 0);
}

TEST(ClipEdge, ByDisc) {
  CEdge e{{0, 0}, {10, 0}};
  ASSERT_TRUE(Math::ClipEdge(e, CPointD{5, 1}, std::sqrt(5.0)));
  EXPECT_NEAR(e.p0.x, 3.0, 1e-12);
  EXPECT_NEAR(e.p1.x, 7.0, 1e-12);
  // The direction is kept.
  CEdge back{{10, 0}, {0, 0}};
  ASSERT_TRUE(Math::ClipEdge(back, CPointD{5, 0}, 2));
  EXPECT_NEAR(back.p0.x, 7.0, 1e-12);
  EXPECT_NEAR(back.p1.x, 3.0, 1e-12);
  // Half in: from p0 to the circle.
  CEdge half{{0.1, 0.3}, {9.7, 0.3}};
  ASSERT_TRUE(Math::ClipEdge(half, CPointD{0, 0}, 5));
  EXPECT_TRUE(SameBits(half.p0, CPointD{0.1, 0.3}));
  EXPECT_NEAR(std::hypot(half.p1.x, half.p1.y), 5.0, 1e-12);

  // Wholly inside: bit for bit the same edge.
  // 1.1 + (0.3 - 1.1) is not 0.3 in doubles: the ends are kept, not recomputed.
  CEdge const inside{{1.1, 0.2}, {0.3, -0.3}};
  CEdge in = inside;
  ASSERT_TRUE(Math::ClipEdge(in, CPointD{0, 0}, 5));
  EXPECT_TRUE(SameBits(in.p0, inside.p0) && SameBits(in.p1, inside.p1));

  // Failures leave the edge alone.
  CEdge const orig{{0, 0}, {10, 0}};
  struct Miss {
    char const* name;
    CPointD c;
    double r;
  } const misses[] = {
      {"line misses", {5, 3}, 2.0},
      {"tangent", {5, 2}, 2.0},
      {"line hits, edge doesn't", {20, 0}, 2.0},
      {"NaN radius", {5, 0}, kNaN},
  };
  for (Miss const& m : misses) {
    SCOPED_TRACE(m.name);
    CEdge x = orig;
    EXPECT_FALSE(Math::ClipEdge(x, m.c, m.r));
    EXPECT_TRUE(SameBits(x.p0, orig.p0) && SameBits(x.p1, orig.p1));
  }
  CEdge point{{1, 1}, {1, 1}};
  EXPECT_FALSE(Math::ClipEdge(point, CPointD{0, 0}, 5));
  EXPECT_EQ(point.p1.x, 1.0);
}

TEST(ClipEdge, ByRectangle) {
  CRectD const r{0, 0, 10, 5};
  CEdge across{{-5, 2}, {15, 2}};
  ASSERT_TRUE(Math::ClipEdge(across, r));
  EXPECT_DOUBLE_EQ(across.p0.x, 0.0);
  EXPECT_DOUBLE_EQ(across.p1.x, 10.0);
  EXPECT_DOUBLE_EQ(across.p0.y, 2.0);

  CEdge diag{{12, 6}, {-2, -1}};  // enters on the right, leaves on the left
  ASSERT_TRUE(Math::ClipEdge(diag, r));
  EXPECT_NEAR(diag.p0.x, 10.0, 1e-12);
  EXPECT_NEAR(diag.p0.y, 5.0, 1e-12);
  EXPECT_NEAR(diag.p1.x, 0.0, 1e-12);
  EXPECT_NEAR(diag.p1.y, 0.0, 1e-12);

  CEdge const inside{{8.9, 4.7}, {1.1, 1.3}};
  CEdge in = inside;
  ASSERT_TRUE(Math::ClipEdge(in, r));
  EXPECT_TRUE(SameBits(in.p0, inside.p0) && SameBits(in.p1, inside.p1));

  // Outside, though its line crosses the rectangle.
  CEdge const out{{12, 2}, {20, 3}};
  CEdge o = out;
  EXPECT_FALSE(Math::ClipEdge(o, r));
  EXPECT_TRUE(SameBits(o.p0, out.p0));
  CEdge miss{{-5, 7}, {15, 7}};
  EXPECT_FALSE(Math::ClipEdge(miss, r));
  CEdge nanEdge{{kNaN, 1}, {3, 3}};
  EXPECT_FALSE(Math::ClipEdge(nanEdge, r));
}

TEST(Bisect, EdgeLineAndPerpendicular) {
  // Right angle at the origin, arms of length 1 and 3: the bisector runs
  // along (1, 1), as long as the longer arm times sqrt(2).
  CEdge const e = Math::BisectEdge(CPointD{3, 0}, CPointD{0, 0}, CPointD{0, 1});
  EXPECT_EQ(e.p0.x, 0.0);
  EXPECT_NEAR(e.p1.x, 3.0, 1e-12);
  EXPECT_NEAR(e.p1.y, 3.0, 1e-12);

  // Straight angle: the unit normal of CLine(a, b) at b.
  CEdge const s = Math::BisectEdge(CPointD{-2, 0}, CPointD{0, 0}, CPointD{5, 0});
  EXPECT_NEAR(s.p1.x, 0.0, 1e-15);
  EXPECT_NEAR(s.p1.y, -1.0, 1e-15);

  // The bisector line is equidistant from both arms' lines.
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> u(-20.0, 20.0);
  for (int i = 0; i < 200; ++i) {
    CPointD const a{u(rng), u(rng)}, b{u(rng), u(rng)}, c{u(rng), u(rng)};
    CLine const bis = Math::BisectLine(a, b, c);
    EXPECT_NEAR(bis.Value(b), 0.0, 1e-9);
    CPointD const q = b + bis.Vector() * 3.0;
    EXPECT_NEAR(std::abs(CLine(b, a).Value(q)), std::abs(CLine(b, c).Value(q)), 1e-8);

    CLine const perp = Math::BisectLine(a, c);
    EXPECT_NEAR(std::abs(perp.Value(a)), std::hypot(c.x - a.x, c.y - a.y) / 2, 1e-9);
    EXPECT_NEAR(perp.Value(a), -perp.Value(c), 1e-9);
  }
}

TEST(LineFunctions, HostileEdgesGiveFailureValues) {
  double const inf = std::numeric_limits<double>::infinity();
  struct Case {
    char const* name;
    CEdge e;
  } const cases[] = {
      {"NaN start", {{kNaN, 0}, {1, 1}}},
      {"NaN end", {{0, 0}, {1, kNaN}}},
      {"infinite end", {{0, 0}, {inf, 1}}},
      {"huge", {{-1e300, -1e300}, {1e300, 1e300}}},
  };
  CEdge const good{{-1, -1}, {1, 1}};
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Math::CEdgeToEdge const ee(c.e, good);
    EXPECT_NO_THROW({
      (void)ee.HasCross();
      (void)ee.CrossData(true);
      (void)ee.CrossData(false);
      (void)ee.MinAngle();
      (void)ee.Distance();
      (void)Math::CLineToEdge(CLine(0, 1, 0), c.e).CrossData();
      (void)Math::BisectEdge(c.e.p0, c.e.p1, CPointD{3, 4});
    });
    bool const hasNaN = std::isnan(c.e.p0.x + c.e.p0.y + c.e.p1.x + c.e.p1.y);
    if (hasNaN) {
      EXPECT_FALSE(ee.HasCross());
      EXPECT_FALSE(ee.CrossData(false));
      EXPECT_FALSE(ee.CrossPoint());
    }
    double t[2] = {7, 7};
    int const n = Math::EdgeToCircle(c.e, CPointD{0, 0}, 1, t, false);
    for (int i = 0; i < n; ++i) EXPECT_FALSE(std::isnan(t[i]));
    CEdge clip = c.e;
    if (!Math::ClipEdge(clip, CPointD{0, 0}, 1)) {
      EXPECT_TRUE(SameBits(clip.p0, c.e.p0) && SameBits(clip.p1, c.e.p1));
    }
    clip = c.e;
    if (!Math::ClipEdge(clip, CRectD{-1, -1, 1, 1})) {
      EXPECT_TRUE(SameBits(clip.p0, c.e.p0) && SameBits(clip.p1, c.e.p1));
    }
  }
}
