#include <math/line.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/segment.hpp>

#include <math/ptstat.h>

#include "core/tolerance.h"

namespace {

using Math::CEdge;
using Math::CLine;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool IsBad(double v) { double const bad = Math::tol::BadValue(); return std::memcmp(&v, &bad, sizeof v) == 0; }
bool Same(CEdge const& a, CEdge const& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
// Within tol; a NaN expectation is met only by a NaN.
bool Match(double g, double w, double tol = 1e-12) { return std::isnan(w) ? std::isnan(g) : std::abs(g - w) <= tol; }
bool Match(CPointD const& g, CPointD const& w, double t = 1e-12) { return Match(g.x, w.x, t) && Match(g.y, w.y, t); }

}  // namespace

TEST(CLine, RandomLinesKeepTheNormalFormInvariants) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-100.0, 100.0);
  for (int i = 0; i < 300; ++i) {
    CPointD const p1{u(rng), u(rng)}, p2{u(rng), u(rng)}, q{u(rng), u(rng)}, d = p2 - p1;
    double const len = std::hypot(d.x, d.y), a = u(rng);
    // Signed distance, positive right of the travel p1 -> p2 (y up); Vector runs p2 -> p1.
    double const right = (d.y * (q.x - p1.x) - d.x * (q.y - p1.y)) / len;
    CLine const l(p1, p2), f(Math::CLinForm{2 * d.y, -2 * d.x, 2 * (d.x * p1.y - d.y * p1.x)});
    Math::CPtToEdge const pe(CEdge{p1, p2}, q);
    CPointD const foot = p1 + d * pe.t, on[] = {p1, foot, p2}, centroid = (p1 + foot + p2) / 3.0;
    CPointD at{};  // the perpendicular through q meets l at the foot
    ASSERT_TRUE(Math::LineToLine(l, Math::OrthoLine(l, q), at));
    EXPECT_TRUE(Match(std::hypot(l.cosP(), l.sinP()), 1.0, 1e-15) && Match(l.Vector() * -len, d, 1e-9));
    EXPECT_TRUE(Match(l.Value(q), right, 1e-9) && Match(f.Value(q), right, 1e-9) && Match(pe.dist, right, 1e-9));
    EXPECT_TRUE(Match(at, foot, 1e-9) && Match(l.Project(q), foot, 1e-9));
    EXPECT_TRUE(Match(l.Value(CPointD{l.X(q.y), q.y}), 0, 1e-9) && Match(l.Value(CPointD{q.x, l.Y(q.x)}), 0, 1e-9));
    EXPECT_TRUE(Match(Math::MakeLine(on, 3, a).Value(centroid), 0, 1e-9) && Match(CLine(q, a).Value(q), 0, 1e-9));
    // The fits of points on the line find it (either normal).
    EXPECT_TRUE(Match(std::abs(CLine(on, 3).Value(q)), std::abs(right), 1e-6) &&
                Match(std::abs(Math::MakeLine(on, 3, 0.5, 2.0, true).Value(q)), std::abs(right), 1e-6));
  }
}

TEST(CLine, BadOpIsThrownExactlyWhereDocumented) {
  CPointD const p{1, 2};
  // Just under EPS throws, at EPS nothing is thrown (nor for NaN: see the bad input below).
  std::function<void()> const throwing[] = {
      [&] { (void)CLine(p, CPointD{1 + 0.9e-12, 2}); }, [] { (void)CLine(Math::CLinForm{0, 0.9e-12, 5}); },
      [] { (void)CLine(0.9e-12, 1, 3).X(1); }, [] { (void)CLine(1, 0.9e-12, 3).Y(1); },
      [&] { CEdge e{p, p}; (void)Math::ClipEdge(e, CRectD{0, 0, 5, 5}); }, [&] { (void)Math::BisectLine(p, p); },
      [&] { (void)Math::BisectEdge(p, p, p); }};
  std::function<void()> const quiet[] = {
      [&] { (void)CLine(p, CPointD{1 + 1e-12, 2}); }, [] { (void)CLine(Math::CLinForm{0, 1e-12, 5}); },
      [] { (void)CLine(1e-12, 1, 3).X(1); }, [] { (void)CLine(1, 1e-12, 3).Y(1); },
      [&] { (void)Math::BisectEdge(p, p, CPointD{4, 6}); }};  // one empty arm
  for (auto const& call : throwing) EXPECT_THROW(call(), CLine::CBadOp) << &call - throwing;
  for (auto const& call : quiet) EXPECT_NO_THROW(call()) << &call - quiet;
}

TEST(LineToRect, SidesBeforeTopAndBottomAndACornerTwice) {
  auto const meets = [](CLine const& l, CPointD const& a, CPointD const& b) {
    CPointD out[2] = {};
    return Math::LineToRect(l, CRectD{0, 0, 10, 5}, out) && Match(out[0], a) && Match(out[1], b);
  };
  EXPECT_TRUE(meets(CLine(0, 1, 2), {0, 2}, {10, 2}));                       // left, right
  EXPECT_TRUE(meets(CLine(CPointD{0, 1}, CPointD{4, 9}), {0, 1}, {2, 5}));   // left, then bottom
  EXPECT_TRUE(meets(CLine(CPointD{0, 0}, CPointD{1, -1}), {0, 0}, {0, 0}));  // the corner from the left and the top
  EXPECT_TRUE(meets(CLine(0, 1, -5e-13), {0, -5e-13}, {10, -5e-13}));        // above the top within EPS
}

TEST(CLineToEdge, AnEndOnTheLineWinsElseTheEndsMustStraddle) {
  auto const cross = [](CEdge const& e, double y, double t) {  // against x = 1
    auto const c = Math::CLineToEdge(CLine(1, 0, 1), e).CrossData();
    return c && Match(c->first, CPointD{1, y}) && std::abs(c->second - t) < 1e-15;
  };
  EXPECT_TRUE(cross({{0, 0}, {4, 2}}, 0.5, 0.25));
  EXPECT_TRUE(cross({{1 - 5e-13, 0}, {1, 9}}, 0, 0));  // p0 within EPS wins, even with the edge on the line
  EXPECT_TRUE(cross({{3, 3}, {1 + 1e-13, 9}}, 9, 1));  // p1 within EPS
  EXPECT_FALSE(Math::CLineToEdge(CLine(1, 0, 1), CEdge{{2, 0}, {3, 5}}).CrossData());  // both on one side
}

TEST(CEdgeToEdge, CrossDataParametersAndTheCollinearOrderQ0Q1P0P1) {
  CEdge const e1{{0, 0}, {4, 0}};
  auto const params = [](CEdge const& a, CEdge const& b, bool bounded, double t1, double t2) {
    auto const c = Math::CEdgeToEdge(a, b).CrossData(bounded);
    return c && Match(c->first, t1) && Match(c->second, t2);
  };
  EXPECT_TRUE(params(e1, {{12, -1}, {12, 1}}, false, 3, 0.5));                  // unbounded: unclamped
  EXPECT_TRUE(params(e1, {{4 + 4e-13, -1}, {4 + 4e-13, 1}}, true, 1, 0.5));     // past the end within EPS
  EXPECT_FALSE(Math::CEdgeToEdge(e1, {{0, 1}, {4, 1 + 1e-8}}).CrossData(false));  // parallel in single precision
  // Collinear: the first of Q0, Q1, P0, P1 on the other edge.
  EXPECT_TRUE(params(e1, {{1, 0}, {3, 0}}, true, 0.25, 0));
  EXPECT_TRUE(params(e1, {{5, 0}, {3, 0}}, true, 0.75, 1));
  EXPECT_TRUE(params(e1, {{-1, 0}, {6, 0}}, true, 0, 1.0 / 7));
  EXPECT_TRUE(params(e1, {{5, 0}, {6, 0}}, false, 1.25, 0));    // unbounded takes Q0 untested
  EXPECT_TRUE(params({{9, 0}, {9, 0}}, e1, true, kNaN, 0));      // a point edge's NaN parameter passes
}

TEST(CEdgeToEdge, HasCrossMatchesBoostGeometryAndKeepsItsTolerances) {
  CEdge const e1{{0, 0}, {2, 0}};
  EXPECT_TRUE(Math::CEdgeToEdge(e1, {{2 + 1e-13, -1}, {2 + 1e-13, 1}}).HasCross());  // box slack within EPS
  // The side test's EPS is absolute on a product of cross products: a near
  // miss a thousandth in size passes, the same figure at size 1 does not.
  EXPECT_TRUE(Math::CEdgeToEdge({{0, 0}, {1e-3, 0}}, {{1.2e-3, 1e-4}, {1e-3, -1e-4}}).HasCross());
  EXPECT_FALSE(Math::CEdgeToEdge({{0, 0}, {1, 0}}, {{1.2, 0.1}, {1, -0.1}}).HasCross());
  // At an end means not further than EPS from it; the point edge's NaN parameter is no further.
  Math::CEdgeToEdge::CParams const ends[] = {Math::CEdgeToEdge(e1, {{2, 0}, {3, 4}}).CrossData(true),
                                             std::make_pair(1e-12, 1.0),
                                             Math::CEdgeToEdge({{9, 0}, {9, 0}}, e1).CrossData(true)};
  for (auto const& c : ends) EXPECT_TRUE(Math::CEdgeToEdge::IsEndCross(c)) << &c - ends;
  EXPECT_FALSE(Math::CEdgeToEdge::IsEndCross(Math::CEdgeToEdge(e1, {{1, 0}, {1, 3}}).CrossData(true)) ||
               Math::CEdgeToEdge::IsEndCross(std::make_pair(1.0, 1.5e-12)));  // a T-junction; beyond EPS

  using BPoint = boost::geometry::model::d2::point_xy<double>;
  using BSegment = boost::geometry::model::segment<BPoint>;
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> u(-10.0, 10.0);
  for (int i = 0; i < 500; ++i) {
    CEdge const a{{u(rng), u(rng)}, {u(rng), u(rng)}}, b{{u(rng), u(rng)}, {u(rng), u(rng)}};
    Math::CEdgeToEdge const ee(a, b);
    bool const peer = boost::geometry::intersects(BSegment(BPoint(a.p0.x, a.p0.y), BPoint(a.p1.x, a.p1.y)),
                                                  BSegment(BPoint(b.p0.x, b.p0.y), BPoint(b.p1.x, b.p1.y)));
    ASSERT_TRUE(ee.HasCross() == peer && bool(ee.CrossData(true)) == peer) << i;
    // The crossing point lies on both edges.
    EXPECT_TRUE(!peer || std::abs(Math::CPtToEdge(b, *ee.CrossPoint()).dist) < 1e-9) << i;
  }
}

TEST(CEdgeToEdge, MinAngleDistanceAndParallel) {
  auto const angle = [](CPointD d1, CPointD d2) {
    return Math::CEdgeToEdge(CEdge{{1, 1}, CPointD{1, 1} + d1}, CEdge{{5, 0}, CPointD{5, 0} + d2}).MinAngle();
  };
  EXPECT_TRUE(Match(angle({1, 0}, {0, -3}), std::atan2(1.0, 0.0)) && Match(angle({1, 1}, {-2, -2}), 0.0));
  EXPECT_TRUE(Match(angle({1, 0}, {-std::sqrt(3.0), 1}), std::atan(1 / std::sqrt(3.0))));
  EXPECT_EQ(angle({1, 0}, {1, 5e-13}), 0.0);  // components under EPS are zero
  EXPECT_GT(angle({0, 1}, {2, -1e-12}), std::atan2(1.0, 0.0));  // within EPS of a right angle: not folded
  Math::CEdgeToEdge const tilt(CEdge{{0, 0}, {1, 0}}, CEdge{{0, 1}, {1, 1 + std::tan(0.01)}});
  EXPECT_TRUE(tilt.IsParallel(0.02) && !tilt.IsParallel(0.005));
  // Trapezoid area over mean length, whichever way the second edge runs.
  CEdge const base{{0, 0}, {4, 0}};
  EXPECT_TRUE(Match(Math::CEdgeToEdge(base, {{4, 2}, {0, 2}}).Distance(), 2) &&
              Match(Math::CEdgeToEdge(base, {{3, -2}, {1, -2}}).Distance(), 2));
}

TEST(EdgeToCircle, LargerParameterFirstAndBoundedOnesPacked) {
  auto const params = [](CEdge const& e, bool unbounded, int n, double t0, double t1) {
    double t[2] = {-7, -7};
    int const got = Math::EdgeToCircle(e, {5, 0}, 2, t, unbounded);  // the circle about (5, 0) of radius 2
    return got == n && (n < 1 || Match(t[0], t0)) && (n < 2 || Match(t[1], t1));
  };
  EXPECT_TRUE(params({{0, 2}, {10, 2}}, false, 2, 0.5, 0.5));     // tangent: an equal pair
  EXPECT_TRUE(params({{0, 0}, {4, 0}}, false, 1, 0.75, 0));       // only the smaller on the edge, packed
  EXPECT_TRUE(params({{0, 0}, {4, 0}}, true, 2, 1.75, 0.75));     // unbounded keeps both
  EXPECT_TRUE(params({{0, 0}, {3 - 1e-12, 0}}, false, 1, 1, 0));  // an end within EPS
}

TEST(ClipEdge, KeepsDirectionAndTheCallersEndsOrFailsUntouched) {
  auto const disc = [](CPointD c, double r) { return [=](CEdge& e) { return Math::ClipEdge(e, c, r); }; };
  auto const rect = [](CEdge& e) { return Math::ClipEdge(e, CRectD{0, 0, 10, 5}); };
  // A failure changes nothing; an end that survives is the caller's own bits.
  auto const clips = [](CEdge e, std::function<bool(CEdge&)> const& clip, bool ok, CEdge const& want) {
    CEdge const in = e;
    auto const end = [](CPointD const& g, CPointD const& w, CPointD const& i) {
      return w.x == i.x && w.y == i.y ? std::memcmp(&g, &i, sizeof g) == 0 : Match(g, w);
    };
    return clip(e) == ok && (ok ? end(e.p0, want.p0, in.p0) && end(e.p1, want.p1, in.p1) : Same(e, in));
  };
  EXPECT_TRUE(clips({{0.1, 0.3}, {9.7, 0.3}}, disc({0, 0}, 5), true, {{0.1, 0.3}, {std::sqrt(24.91), 0.3}}));
  EXPECT_TRUE(clips({{1.1, 0.2}, {0.3, -0.3}}, disc({0, 0}, 5), true, {{1.1, 0.2}, {0.3, -0.3}}));  // inside
  EXPECT_TRUE(clips({{12, 6}, {-2, -1}}, rect, true, {{10, 5}, {0, 0}}));  // corner to corner, direction kept
  EXPECT_TRUE(clips({{8.9, 4.7}, {1.1, 1.3}}, rect, true, {{8.9, 4.7}, {1.1, 1.3}}));  // inside
  for (auto const& [e, clip] : {std::pair<CEdge, std::function<bool(CEdge&)>>{{{0, 0}, {10, 0}}, disc({5, 2}, 2)},
                                {{{1, 1}, {1, 1}}, disc({0, 0}, 5)}, {{{0, 0}, {1, kNaN}}, disc({0, 0}, 5)},
                                {{{12, 2}, {20, 3}}, rect}, {{{0, 0}, {1, kNaN}}, rect}}) {
    EXPECT_TRUE(clips(e, clip, false, {}));  // tangent, zero length, NaN; outside on a crossing line, NaN
  }
}

TEST(Bisect, HalvesTheAngleAndKeepsTheLongerArm) {
  CPointD const o{0, 0}, x3{3, 0}, y1{0, 1}, at120{-1, std::sqrt(3.0)};
  EXPECT_TRUE(Match(Math::BisectEdge(x3, o, y1).p1, CPointD{3, 3}));  // along (1, 1), as long as 3
  EXPECT_TRUE(Match(Math::BisectEdge(CPointD{1, 0}, o, at120).p1, CPointD{1, std::sqrt(3.0)}));  // 60 degrees, length 2
  EXPECT_TRUE(Match(Math::BisectEdge(CPointD{-2, 0}, o, x3).p1, CPointD{0, -1}));  // straight: normal of CLine(a, b)
  CLine const along = Math::BisectLine(x3, o, y1), perp = Math::BisectLine(CPointD{1, 0}, x3);
  EXPECT_TRUE(Match(along.Value({5, 5}), 0) && Match(perp.Value({2, 7}), 0) && Match(std::abs(perp.Value(o)), 2));
}

TEST(LineFunctions, BadInputGivesFailureValuesAndKeepsOutputs) {
  CPointD const p{1, 2}, band[] = {{0, 1}, {4, 1}, {0, -1}, {4, -1}};
  double err = -1;
  EXPECT_TRUE(Math::MakeLine(Math::CPtStat(band, 4), &err).Valid() && Match(err, 1.0));  // about y = 0
  for (CLine const& l : {CLine(CPointD{kNaN, 0}, p), CLine(Math::CLinForm{kNaN, 1, 0}), CLine(&p, 1), CLine(nullptr, 5),
                         Math::MakeLine(Math::CPtStat(&p, 1), &err), Math::MakeLine(&p, 1, 0.5, 2.0, false)}) {
    EXPECT_FALSE(l.Valid());
  }
  EXPECT_TRUE(err == 1.0 && std::isnan(Math::MakeLine(nullptr, 0, 0.3).rho()));
  CPointD out[2] = {{7, 7}, {8, 8}};
  CRectD const r{0, 0, 10, 5};
  EXPECT_FALSE(Math::LineToLine(CLine(0, 1, 1), CLine(0.9e-12, 1, 0), out[0]));  // determinant under EPS
  EXPECT_FALSE(Math::LineToLine(CLine(kNaN, 1, 1), CLine(1, 0, 3), out[0]));
  for (CLine const& l : {CLine(0, 1, 6), CLine(), CLine(0, 1, kNaN)}) EXPECT_FALSE(Math::LineToRect(l, r, out));
  EXPECT_TRUE(!Math::LineToRect(CLine(0, 1, 2), r, nullptr) && out[0].x == 7.0 && out[0].y == 7.0 && out[1].x == 8.0);
  EXPECT_TRUE(Math::LineToLine(CLine(0, 1, 1), CLine(1e-12, 1, 0), out[0]));  // at EPS: found

  CEdge const good{{-1, -1}, {1, 1}}, nanEdge{{0, 0}, {1, kNaN}}, point{{1, 1}, {1, 1}};
  Math::CEdgeToEdge const ee(nanEdge, good);
  EXPECT_FALSE(ee.HasCross() || ee.CrossData(false) || ee.CrossPoint() || Math::CEdgeToEdge::IsEndCross(boost::none));
  EXPECT_TRUE(!Math::CLineToEdge(CLine(0, 1, 0.5), nanEdge).CrossData() && IsBad(ee.MinAngle()));
  double t[2] = {7, 7};
  auto const none = [](CEdge e, CPointD c, double r, double* out) { return !Math::EdgeToCircle(e, c, r, out, true); };
  EXPECT_TRUE(none(nanEdge, {0, 0}, 1, t) && none(good, {kNaN, 0}, 1, t) && none(good, {0, 0}, kNaN, t) &&
              none(good, {0, 0}, 1, nullptr) && t[0] == 7.0 && t[1] == 7.0);
  // A zero-length edge: the unsigned distance and the all-ones NaN
  // parameter, which the tolerant range tests let through.
  Math::CPtToEdge const z(point, CPointD{4, -3});
  EXPECT_TRUE(z.dist == 5.0 && IsBad(z.t));
  EXPECT_TRUE(Math::EdgeToCircle(point, CPointD{1, 2}, 2, t, false) == 2 && std::isnan(t[0]) && std::isnan(t[1]));
  EXPECT_FALSE(std::isfinite(Math::CEdgeToEdge(point, CEdge{{2, 2}, {2, 2}}).Distance()));
  // Under EPS, ends straddling an unnormalised line give no crossing.
  EXPECT_FALSE(Math::CLineToEdge(CLine(1e6, 0, 0), CEdge{{-1e-15, 0}, {1e-15, 0}}).CrossData());
}
