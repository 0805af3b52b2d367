#include <math/line.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/geometries.hpp>

#include <math/ptstat.h>

#include "core/tolerance.h"
#include "test_values.h"

namespace {

using Math::CEdge;
using Math::CEdgeToEdge;
using Math::CLine;

using kmath_test::IsBad;
using kmath_test::kNaN;

bool Same(CEdge const& a, CEdge const& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
// Within tol; a NaN expectation is met only by a NaN.
bool Match(double g, double w, double tol = 1e-12) { return std::isnan(w) ? std::isnan(g) : std::abs(g - w) <= tol; }
bool Match(CPointD const& g, CPointD const& w, double t = 1e-12) { return Match(g.x, w.x, t) && Match(g.y, w.y, t); }

}  // namespace

TEST(Line, RandomLinesKeepTheNormalFormInvariants) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-100.0, 100.0);
  for (int i = 0; i < 300; ++i) {
    CPointD const p1{u(rng), u(rng)}, p2{u(rng), u(rng)}, q{u(rng), u(rng)}, d = p2 - p1, ends[] = {p1, p2};
    // Signed distance, positive right of the travel p1 -> p2 (y up).
    double const a = u(rng), right = (d.y * (q.x - p1.x) - d.x * (q.y - p1.y)) / std::hypot(d.x, d.y);
    CLine const l(p1, p2), f(Math::CLinForm{2 * d.y, -2 * d.x, 2 * (d.x * p1.y - d.y * p1.x)});
    Math::CPtToEdge const pe(CEdge{p1, p2}, q);
    CPointD at{}, n{std::cos(a), std::sin(a)};
    // The perpendicular through q meets l at the foot.
    EXPECT_TRUE(Math::LineToLine(l, Math::OrthoLine(l, q), at) && Match(at, p1 + d * pe.t, 1e-9));
    EXPECT_TRUE(Match(l.Value(q), right, 1e-9) && Match(f.Value(q), right, 1e-9) && Match(pe.dist, right, 1e-9));
    // By angle: one unit along the normal n from the centroid, or from q, is at distance 1.
    EXPECT_TRUE(Match(Math::MakeLine(ends, 2, a).Value((p1 + p2) / 2.0 + n), 1, 1e-9) &&
                Match(CLine(q, a).Value(q + n), 1, 1e-9));
  }
}

TEST(Line, BadOpIsThrownExactlyWhereDocumented) {
  CPointD const p{1, 2};
  // Just under EPS throws, at EPS nothing is thrown (nor for NaN: see the bad input below): X(1) = Y(1) = 2 / EPS.
  std::function<void()> const throwing[] = {[&] {
                                              (void)CLine(p, CPointD{1 + 9e-13, 2});
                                            },
                                            [] {
                                              (void)CLine(Math::CLinForm{0, 9e-13, 5});
                                            },
                                            [&] {
                                              CEdge e{p, p};
                                              Math::ClipEdge(e, CRectD{});
                                            },
                                            [&] { Math::BisectEdge(p, p, p); },
                                            [] { CLine(9e-13, 1, 3).X(1); },
                                            [] { CLine(1, 9e-13, 3).Y(1); },
                                            [&] { Math::BisectLine(p, p); }};
  std::function<void()> const quiet[] = {[&] {
                                           (void)CLine(p, CPointD{1 + 1e-12, 2});
                                         },
                                         [] {
                                           (void)CLine(Math::CLinForm{0, 1e-12, 5});
                                         },
                                         [] { EXPECT_DOUBLE_EQ(CLine(1e-12, 1, 3).X(1), 2e12); },
                                         [] { EXPECT_DOUBLE_EQ(CLine(1, 1e-12, 3).Y(1), 2e12); },
                                         [&] {
                                           (void)Math::BisectEdge(p, p, CPointD{4, 6});
                                         }};  // one empty arm
  for (auto const& call : throwing) EXPECT_THROW(call(), CLine::CBadOp) << &call - throwing;
  for (auto const& call : quiet) EXPECT_NO_THROW(call()) << &call - quiet;
}

TEST(LineToRect, SidesBeforeTopAndBottomAndACornerTwice) {
  auto const meets = [](CLine const& l, CPointD const& a, CPointD const& b) {
    CPointD out[2] = {};
    return Math::LineToRect(l, CRectD{0, 0, 10, 5}, out) && Match(out[0], a) && Match(out[1], b);
  };
  // Left then bottom; the corner from the left and again from the top; left, right above the top within EPS.
  EXPECT_TRUE(meets(CLine({0, 1}, {4, 9}), {0, 1}, {2, 5}) && meets(CLine({0, 0}, {1, -1}), {0, 0}, {0, 0}));
  EXPECT_TRUE(meets(CLine(0, 1, -5e-13), {0, -5e-13}, {10, -5e-13}));
}

TEST(LineToEdge, AnEndOnTheLineWinsElseTheEndsMustStraddle) {
  auto const cross = [](CEdge const& e, double y, double t) {  // against x = 1
    auto const c = Math::CLineToEdge(CLine(1, 0, 1), e).CrossData();
    return c && Match(c->first, CPointD{1, y}) && std::abs(c->second - t) < 1e-15;
  };
  EXPECT_TRUE(cross({{0, 0}, {4, 2}}, 0.5, 0.25) && cross({{3, 3}, {1 + 1e-13, 9}}, 9, 1));  // p1 within EPS
  EXPECT_TRUE(cross({{1 - 5e-13, 0}, {1, 9}}, 0, 0));  // p0 within EPS wins, even with the edge on the line
  // Both ends on one side; ends straddling an unnormalised line, under EPS apart.
  EXPECT_FALSE(Math::CLineToEdge(CLine(1, 0, 1), CEdge{{2, 0}, {3, 5}}).CrossData() ||
               Math::CLineToEdge(CLine(1e6, 0, 0), CEdge{{-1e-15, 0}, {1e-15, 0}}).CrossData());
}

TEST(EdgeToEdge, CrossDataCollinearOrderMinAngleAndDistance) {
  CEdge const e1{{0, 0}, {4, 0}};
  auto const params = [](CEdge const& a, CEdge const& b, bool bounded, double t1, double t2) {
    auto const c = CEdgeToEdge(a, b).CrossData(bounded);
    return c && Match(c->first, t1) && Match(c->second, t2);
  };
  EXPECT_TRUE(params(e1, {{12, -1}, {12, 1}}, false, 3, 0.5));               // unbounded: unclamped
  EXPECT_TRUE(params(e1, {{4 + 4e-13, -1}, {4 + 4e-13, 1}}, true, 1, 0.5));  // past the end within EPS
  EXPECT_FALSE(CEdgeToEdge(e1, {{0, 1}, {4, 1 + 1e-8}}).CrossData(false));   // parallel in single precision
  // Collinear: the first of Q0, Q1, P0, P1 on the other edge; unbounded takes Q0 untested.
  EXPECT_TRUE(params(e1, {{1, 0}, {3, 0}}, true, 0.25, 0) && params(e1, {{5, 0}, {3, 0}}, true, 0.75, 1));
  EXPECT_TRUE(params(e1, {{-1, 0}, {6, 0}}, true, 0, 1.0 / 7) && params(e1, {{5, 0}, {6, 0}}, false, 1.25, 0));
  EXPECT_TRUE(params({{9, 0}, {9, 0}}, e1, true, kNaN, 0));  // a point edge's NaN parameter passes
  auto const angle = [](CPointD d1, CPointD d2) {            // in degrees
    return CEdgeToEdge(CEdge{{0, 0}, d1}, CEdge{{5, 0}, CPointD{5, 0} + d2}).MinAngle() / std::acos(0.0) * 90;
  };
  // Folded into [0, 90]; components under EPS are zero; within EPS of a right angle nothing is folded.
  EXPECT_TRUE(Match(angle({1, 0}, {0, -3}), 90) && Match(angle({1, 0}, {-std::sqrt(3.0), 1}), 30) &&
              Match(angle({1, 1}, {-2, -2}), 0) && angle({1, 0}, {1, 5e-13}) == 0.0 && angle({0, 1}, {2, -1e-12}) > 90);
  // Trapezoid area over mean length, with the second edge running back.
  EXPECT_TRUE(Match(CEdgeToEdge(e1, {{3, -2}, {1, -2}}).Distance(), 2));
}

TEST(EdgeToEdge, HasCrossMatchesBoostGeometryAndKeepsItsTolerances) {
  CEdge const e1{{0, 0}, {2, 0}};
  EXPECT_TRUE(CEdgeToEdge(e1, {{2 + 1e-13, -1}, {2 + 1e-13, 1}}).HasCross());  // box slack within EPS
  // The side test's EPS is absolute on a product of cross products: a near
  // miss a thousandth in size passes, the same figure at size 1 does not.
  EXPECT_TRUE(CEdgeToEdge({{0, 0}, {1e-3, 0}}, {{1.2e-3, 1e-4}, {1e-3, -1e-4}}).HasCross() &&
              !CEdgeToEdge({{0, 0}, {1, 0}}, {{1.2, 0.1}, {1, -0.1}}).HasCross());
  // At an end means not further than EPS from it; the point edge's NaN parameter is no further.
  auto const isEnd = CEdgeToEdge::IsEndCross;
  auto const atEnd = [=](CEdge const& a, CEdge const& b) { return isEnd(CEdgeToEdge(a, b).CrossData(true)); };
  EXPECT_TRUE(atEnd(e1, {{2, 0}, {3, 4}}) && atEnd({{9, 0}, {9, 0}}, e1) && isEnd(std::make_pair(1e-12, 1.0)));
  EXPECT_FALSE(atEnd(e1, {{1, 0}, {1, 3}}) || isEnd(std::make_pair(1.0, 1.5e-12)));  // a T-junction; beyond EPS
  // Random pairs: Boost.Geometry's verdict, and the crossing point lies on both edges.
  using BPoint = boost::geometry::model::point<double, 2, boost::geometry::cs::cartesian>;
  using BSegment = boost::geometry::model::segment<BPoint>;
  auto const seg = [](CEdge const& e) { return BSegment({e.p0.x, e.p0.y}, {e.p1.x, e.p1.y}); };
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> u(-10.0, 10.0);
  for (int i = 0; i < 500; ++i) {
    CEdge const a{{u(rng), u(rng)}, {u(rng), u(rng)}}, b{{u(rng), u(rng)}, {u(rng), u(rng)}};
    CEdgeToEdge const ee(a, b);
    bool const peer = boost::geometry::intersects(seg(a), seg(b));
    ASSERT_TRUE(ee.HasCross() == peer && bool(ee.CrossData(true)) == peer) << i;
    EXPECT_TRUE(!peer || std::abs(Math::CPtToEdge(b, *ee.CrossPoint()).dist) < 1e-9) << i;
  }
}

TEST(EdgeToCircle, LargerParameterFirstAndBoundedOnesPacked) {
  auto const params = [](CEdge const& e, bool unbounded, int n, double t0, double t1) {
    double t[2] = {-7, -7};  // against the circle about (5, 0) of radius 2
    return Math::EdgeToCircle(e, {5, 0}, 2, t, unbounded) == n && Match(t[0], t0) && (n < 2 || Match(t[1], t1));
  };
  // Tangent: an equal pair; an end within EPS.
  EXPECT_TRUE(params({{0, 2}, {10, 2}}, false, 2, 0.5, 0.5) && params({{0, 0}, {3 - 1e-12, 0}}, false, 1, 1, 0));
  // Bounded, only the smaller is on the edge, packed; unbounded keeps both.
  EXPECT_TRUE(params({{0, 0}, {4, 0}}, false, 1, 0.75, 0) && params({{0, 0}, {4, 0}}, true, 2, 1.75, 0.75));
}

TEST(ClipEdge, KeepsDirectionAndTheCallersEndsOrFailsUntouched) {
  auto const disc = [](CPointD c, double r) { return [=](CEdge& e) { return Math::ClipEdge(e, c, r); }; };
  auto const rect = [](CEdge& e) { return Math::ClipEdge(e, CRectD{0, 0, 10, 5}); };
  // An all-zero want: the edge must come back bit for bit (a failure, or an edge wholly inside).
  auto const clips = [](CEdge e, std::function<bool(CEdge&)> const& clip, bool ok, CEdge const& want = {}) {
    CEdge const in = e;
    return clip(e) == ok && (Same(want, CEdge{}) ? Same(e, in) : Match(e.p0, want.p0) && Match(e.p1, want.p1));
  };
  EXPECT_TRUE(clips({{0.1, 0.3}, {9.7, 0.3}}, disc({0, 0}, 5), true, {{0.1, 0.3}, {std::sqrt(24.91), 0.3}}));
  EXPECT_TRUE(clips({{12, 6}, {-2, -1}}, rect, true, {{10, 5}, {0, 0}}));  // corner to corner, direction kept
  EXPECT_TRUE(clips({{1.1, 0.2}, {0.3, -0.3}}, disc({0, 0}, 5), true) && clips({{8.9, 4.7}, {1.1, 1.3}}, rect, true));
  // Tangent, zero length, NaN; outside on a crossing line.
  EXPECT_TRUE(clips({{0, 0}, {10, 0}}, disc({5, 2}, 2), false) && clips({{1, 1}, {1, 1}}, disc({0, 0}, 5), false) &&
              clips({{0, 0}, {1, kNaN}}, disc({0, 0}, 5), false) && clips({{12, 2}, {20, 3}}, rect, false));
}

TEST(Bisect, HalvesTheAngleWithBothArmsStretchedToTheLonger) {
  // The unit arms summed, times the longer length; a straight angle gives the unit normal of CLine(a, b).
  EXPECT_TRUE(Match(Math::BisectEdge({3, 0}, {0, 0}, {0, 1}).p1, CPointD{3, 3}) &&
              Match(Math::BisectEdge({-2, 0}, {0, 0}, {3, 0}).p1, CPointD{0, -1}));
  CLine const perp = Math::BisectLine(CPointD{1, 0}, CPointD{3, 0});  // x = 2
  EXPECT_TRUE(Match(perp.Value({2, 7}), 0) && Match(std::abs(perp.Value({0, 0})), 2));
}

TEST(LineFunctions, BadInputGivesFailureValuesAndKeepsOutputs) {
  CPointD p{1, 2}, band[] = {{0, 1}, {4, 1}, {0, -1}, {4, -1}}, out[2] = {{7, 7}, {8, 8}};
  double err = -1, t[2] = {7, 7};
  // The band's fit is y = 0 with an RMS residual of 1; the failed fits below leave err alone.
  EXPECT_TRUE(Math::MakeLine(Math::CPtStat(band, 4), &err).Valid() && Match(err, 1.0) &&
              Match(CLine(band, 4).Value({7, 0}), 0));
  for (CLine const& l : {CLine(CPointD{kNaN, 0}, p), CLine(Math::CLinForm{kNaN, 1, 0}), CLine(nullptr, 5),
                         Math::MakeLine(Math::CPtStat(&p, 1), &err), Math::MakeLine(&p, 1, 0.5, 2.0, false)})
    EXPECT_FALSE(l.Valid());
  EXPECT_TRUE(err == 1.0 && std::isnan(Math::MakeLine(nullptr, 0, 0.3).rho()));
  // A determinant under EPS or NaN finds nothing (at EPS, last, the crossing is found); out stays as it was.
  EXPECT_FALSE(Math::LineToLine(CLine(0, 1, 1), CLine(0.9e-12, 1, 0), out[0]) ||
               Math::LineToLine(CLine(kNaN, 1, 1), CLine(1, 0, 3), out[0]));
  for (CLine const& l : {CLine(0, 1, 6), {}, {0, 1, kNaN}}) EXPECT_FALSE(Math::LineToRect(l, {0, 0, 10, 5}, out));
  EXPECT_TRUE(!Math::LineToRect(CLine(0, 1, 2), {0, 0, 10, 5}, nullptr) && out[0].x == 7.0 && out[1].y == 8.0);
  EXPECT_TRUE(Math::LineToLine(CLine(0, 1, 1), CLine(1e-12, 1, 0), out[0]));

  CEdge const good{{-1, -1}, {1, 1}}, nanEdge{{0, 0}, {1, kNaN}}, point{{1, 1}, {1, 1}};
  CEdgeToEdge const ee(nanEdge, good);
  EXPECT_FALSE(ee.HasCross() || ee.CrossData(false) || ee.CrossPoint() || CEdgeToEdge::IsEndCross(boost::none));
  EXPECT_TRUE(!Math::CLineToEdge(CLine(0, 1, 0.5), nanEdge).CrossData() && IsBad(ee.MinAngle()));
  EXPECT_TRUE(!Math::EdgeToCircle(nanEdge, {0, 0}, 1, t, true) && !Math::EdgeToCircle(good, {0, 0}, kNaN, t, true) &&
              !Math::EdgeToCircle(good, {0, 0}, 1, nullptr, true) && t[0] == 7.0 && t[1] == 7.0);
  // A zero-length edge: the unsigned distance and the all-ones NaN
  // parameter, which the tolerant range tests let through.
  EXPECT_TRUE(Math::CPtToEdge(point, {4, -3}).dist == 5.0 && IsBad(Math::CPtToEdge(point, {4, -3}).t));
  EXPECT_TRUE(Math::EdgeToCircle(point, CPointD{1, 2}, 2, t, false) == 2 && std::isnan(t[0]) && std::isnan(t[1]));
  EXPECT_FALSE(std::isfinite(CEdgeToEdge(point, CEdge{{2, 2}, {2, 2}}).Distance()));
}
