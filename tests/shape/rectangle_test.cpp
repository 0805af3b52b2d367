#include <math/rectangle.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "xy_reader.h"

namespace {

using Math::CRectangle;
using Pts = std::vector<CPointD>;

constexpr double kPi = 3.14159265358979323846;
constexpr double kFltEps = 1.1920928955078125e-07;

CPointD Rot(CPointD const& p, double a) {
  return {p.x * std::cos(a) - p.y * std::sin(a), p.x * std::sin(a) + p.y * std::cos(a)};
}

// Corners of the rectangle with centre c, half sides a (along angle t) and b,
// counter-clockwise from the corner low in both local coordinates.
Pts Corners(CPointD c, double a, double b, double t) {
  Pts out;
  for (CPointD const& p : {CPointD{-a, -b}, CPointD{a, -b}, CPointD{a, b}, CPointD{-a, b}}) out.push_back(Rot(p, t) + c);
  return out;
}

// Two directions are the same line direction when they differ by a multiple
// of pi.
double LineAngleDiff(double a, double b) {
  double d = std::fmod(std::abs(a - b), kPi);
  return std::min(d, kPi - d);
}

// The smallest area over the bounding boxes along every direction through
// two of the points: a superset of the hull edges, on one of which the
// optimum has a side.
double BruteMinArea(Pts const& pts) {
  double best = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < pts.size(); ++i)
    for (std::size_t j = i + 1; j < pts.size(); ++j) {
      CPointD const d = pts[j] - pts[i];
      double const l = std::hypot(d.x, d.y);
      if (l < 1e-9) continue;
      CPointD const u = d / l, n{-u.y, u.x};
      double u0 = 1e300, u1 = -1e300, n0 = 1e300, n1 = -1e300;
      for (CPointD const& p : pts) {
        double const a = p.x * u.x + p.y * u.y, b = p.x * n.x + p.y * n.y;
        u0 = std::min(u0, a);
        u1 = std::max(u1, a);
        n0 = std::min(n0, b);
        n1 = std::max(n1, b);
      }
      best = std::min(best, (u1 - u0) * (n1 - n0));
    }
  return best;
}

}  // namespace

TEST(Rectangle, SizesDistancesAndTurnsFollowTheHalfSides) {
  CRectangle r({3, 4}, 1, 2, 0);
  EXPECT_EQ(r.Width(), 2);
  EXPECT_EQ(r.Height(), 4);
  EXPECT_EQ(r.Area(), 8);
  EXPECT_DOUBLE_EQ(r.Hypot(), 4 * std::sqrt(5.0));
  EXPECT_EQ(r.Size().cx, 2);
  EXPECT_TRUE(r.IsValid());
  EXPECT_DOUBLE_EQ(r.Excess(), 0.5);
  EXPECT_EQ(CRectangle({0, 0}, -1, -2, 0).Area(), 8) << "half sizes are taken by magnitude";

  // Distance: to the nearest side from inside, to the corner beyond it.
  EXPECT_DOUBLE_EQ(r.Distance({3, 4}), 1);
  EXPECT_DOUBLE_EQ(r.Distance({3 + 1 + 3, 4 + 2 + 4}), 5);
  EXPECT_DOUBLE_EQ(r.Distance({3, 4 - 2 - 0.5}), 0.5);
  EXPECT_EQ(r.Distance({4 + 1e-13, 4}), 0) << "a hair outside a side is on it";
  EXPECT_TRUE(r.IsInside({4, 6}));
  EXPECT_FALSE(r.IsInside({4.001, 6}));
  EXPECT_EQ(CRectangle().Distance({1, 1}), 0);
  EXPECT_FALSE(CRectangle().IsValid());
  EXPECT_FALSE(CRectangle().IsInside({0, 0}));

  // Turning: a rotated rectangle measures in its own axes.
  CRectangle t({0, 0}, 3, 1, kPi / 6);
  CPointD const alongWidth = Rot({2.5, 0}, kPi / 6);
  EXPECT_NEAR(t.Distance(alongWidth), 0.5, 1e-12);
  t.Rotate(kPi / 3);
  EXPECT_NEAR(t.Angle(), kPi / 2, 1e-12);
  t.Rotate(1e-13);
  EXPECT_NEAR(t.Angle(), kPi / 2, 1e-15);

  // SwapSides keeps the point set; twice it turns the direction by 180
  // degrees.
  CRectangle s({1, 1}, 3, 1, 0.4);
  CRectangle s1 = s;
  s1.SwapSides();
  EXPECT_EQ(s1.Width(), 2);
  EXPECT_EQ(s1.Height(), 6);
  for (CPointD const& p : Corners({1, 1}, 3, 1, 0.4)) EXPECT_NEAR(s1.Distance(p), 0, 1e-12);
  s1.SwapSides();
  EXPECT_NEAR(LineAngleDiff(s1.Angle(), 0.4), 0, 1e-12);
  EXPECT_NEAR(std::abs(s1.Angle() - 0.4), kPi, 1e-12);

  // The mid-lines and sides run through the corners.
  auto edges = s.Edges(true);
  Pts const c = Corners({1, 1}, 3, 1, 0.4);
  EXPECT_NEAR(std::hypot(edges.first.p0.x - c[3].x, edges.first.p0.y - c[3].y), 0, 1e-12);
  EXPECT_NEAR(std::hypot(edges.second.p1.x - c[1].x, edges.second.p1.y - c[1].y), 0, 1e-12);
  Math::CEdge const ax = s.Axial(false);
  EXPECT_NEAR(std::hypot(ax.p1.x - ax.p0.x, ax.p1.y - ax.p0.y), 2, 1e-12);
  CPolarVector const v = s.Vector(false);
  EXPECT_NEAR(v.dx, -std::sin(0.4), 1e-15);
  EXPECT_EQ(v.length, 1);

  // From an axis-aligned box, turned when the width should be the longer.
  CRectangle tall(CRectD{0, 0, 2, 6}, true);
  EXPECT_EQ(tall.Width(), 6);
  EXPECT_EQ(tall.Center().y, 3);
  EXPECT_EQ(CRectangle(CRectD{0, 0, 2, 6}, false).Width(), 2);
}

TEST(Rectangle, SizeComparisonsScalingAndMoves) {
  CRectangle r({0, 0}, 5, 2, 0);  // 10 x 4
  EXPECT_EQ(r.SizeDiff({4, 10}), 0);
  EXPECT_EQ(r.SizeDiff({-10, -4}), 0);
  EXPECT_EQ(r.SizeDiff({9, 6}), 2);  // pairings give max(2, 1) and max(5, 3)
  r.Adjust({3, 11});                 // crossed pairing is nearer: (5.5, 1.5) vs (1.5, 5.5)
  EXPECT_EQ(r.Width(), 11);
  EXPECT_EQ(r.Height(), 3);
  r.Adjust({6, 6});  // a tie keeps the straight pairing
  EXPECT_EQ(r.Width(), 6);
  r *= -2;
  EXPECT_EQ(r.Width(), 12);
  r *= CSizeD{0.5, -3};
  EXPECT_EQ(r.Width(), 6);
  EXPECT_EQ(r.Height(), 36);
  r += CPointD{1, 2};
  r -= CPointD{0, 1};
  EXPECT_EQ(r.Center().x, 1);
  EXPECT_EQ(r.Center().y, 1);
  r.SetWidth(-8);
  r.SetHeight(2);
  EXPECT_EQ(r.Area(), 16);
}

TEST(Rectangle, ExtendAndShrinkKeepTheDirection) {
  double const t = 0.3;
  CRectangle r({0, 0}, 1, 1, t);
  Pts const pts{Rot({4, 0}, t), Rot({-2, 3}, t), Rot({0.5, -0.5}, t)};
  ASSERT_TRUE(r.Extend(pts.data(), 3));
  EXPECT_NEAR(r.Angle(), t, 1e-15);
  EXPECT_NEAR(r.Width(), 6 + 2 * kFltEps, 1e-12);
  EXPECT_NEAR(r.Height(), 4 + 2 * kFltEps, 1e-12);
  for (CPointD const& p : pts) EXPECT_TRUE(r.IsInside(p));

  ASSERT_TRUE(r.Shrink(pts.data(), 2));
  EXPECT_NEAR(r.Width(), 6, 1e-12);
  EXPECT_NEAR(r.Height(), 3, 1e-12);
  EXPECT_NEAR(r.Angle(), t, 1e-15);
  CPointD const c = Rot({1, 1.5}, t);
  EXPECT_NEAR(r.Center().x, c.x, 1e-12);
  EXPECT_NEAR(r.Center().y, c.y, 1e-12);

  // Points beyond the rectangle are clipped to it: it never grows.
  CRectangle box({0, 0}, 2, 2, 0);
  Pts const far{{-1, -1}, {10, 1}};
  ASSERT_TRUE(box.Shrink(far.data(), 2));
  EXPECT_EQ(box.Width(), 3);
  EXPECT_EQ(box.Height(), 2);
  Pts const outside{{10, 10}};
  CRectangle same({0, 0}, 2, 2, 0);
  EXPECT_FALSE(same.Shrink(outside.data(), 1));
  EXPECT_FALSE(same.Shrink(nullptr, 1));
  EXPECT_EQ(same.Width(), 4);

  // An empty rectangle is first replaced by the moments' rectangle.
  CRectangle empty;
  Pts const sq = Corners({5, 5}, 2, 1, 0.2);
  ASSERT_TRUE(empty.Extend(sq.data(), 4));
  for (CPointD const& p : sq) EXPECT_TRUE(empty.IsInside(p));
  CRectangle none;
  Pts const line{{0, 0}, {1, 1}, {2, 2}};
  EXPECT_FALSE(none.Extend(line.data(), 3));
}

TEST(ExtentRectangle, EnclosesKnownRectanglesAndKeepsTheFirstPointQuirk) {
  // The first point alone has the largest x: the maximum comes from the
  // third point only.
  Pts const a{{1, 1}, {0, 0}, {0, 1}};
  CRectangle const ra = Math::ExtentRectangle(a.data(), 3, 0);
  EXPECT_EQ(ra.Width(), 0);
  EXPECT_EQ(ra.Center().x, 0);
  Pts const b{{0, 0}, {1, 1}, {0, 1}};
  CRectangle const rb = Math::ExtentRectangle(b.data(), 3, 0);
  EXPECT_NEAR(rb.Center().x, 0.5, 1e-15);
  EXPECT_NEAR(rb.Center().y, 0.5, 1e-15);
  EXPECT_NEAR(rb.Width(), 1, 1e-15);
  EXPECT_NEAR(rb.Height(), 1, 1e-15);

  for (double t : {0.0, 0.3, 1.2, -0.7, 2.5}) {
    SCOPED_TRACE(t);
    Pts pts = Corners({7, -3}, 4, 1.5, t);
    pts.push_back(Rot({1, 0.5}, t) + CPointD{7, -3});  // inside
    CRectangle const r = Math::ExtentRectangle(pts.data(), static_cast<unsigned>(pts.size()), t);
    EXPECT_NEAR(r.Center().x, 7, 1e-12);
    EXPECT_NEAR(r.Center().y, -3, 1e-12);
    EXPECT_NEAR(r.Width(), 8, 1e-12);
    EXPECT_NEAR(r.Height(), 3, 1e-12);
    EXPECT_NEAR(r.Angle(), std::atan2(std::sin(t), std::cos(t)), 1e-12);

    // The fitted direction: the moments' rectangle of the corners is the
    // rectangle itself, and extending it only adds the inflation.
    CRectangle const fit = Math::ExtentRectangle(pts.data(), 4);
    EXPECT_TRUE(fit.IsValid());
    for (CPointD const& p : pts) EXPECT_TRUE(fit.IsInside(p));
    EXPECT_NEAR(fit.Width(), 8 + 2 * kFltEps, 1e-9);
    EXPECT_NEAR(fit.Height(), 3 + 2 * kFltEps, 1e-9);
  }
  EXPECT_FALSE(Math::ExtentRectangle(a.data(), 0).IsValid());
  EXPECT_EQ(Math::ExtentRectangle(a.data(), 0).Area(), 0);
  EXPECT_EQ(Math::ExtentRectangle(a.data(), 0, 0.5).Area(), 0);
  EXPECT_EQ(Math::ExtentRectangle(a.data(), 3, std::nan("")).Area(), 0);
  // Collinear points have no moments: the bounding box.
  Pts const line{{0, 0}, {2, 1}, {4, 2}};
  CRectangle const box = Math::ExtentRectangle(line.data(), 3);
  EXPECT_EQ(box.Width(), 4);
  EXPECT_EQ(box.Height(), 2);
}

TEST(MakeRectangle, ARectangleGivesItselfAndDegenerateMomentsNeedTheHull) {
  for (double t : {0.0, 0.4, 1.0, -1.3}) {
    SCOPED_TRACE(t);
    Pts const pts = Corners({2, 3}, 5, 2, t);
    CRectangle const r = Math::MakeRectangle(pts.data(), 4, false);
    EXPECT_NEAR(r.Center().x, 2, 1e-12);
    EXPECT_NEAR(r.Center().y, 3, 1e-12);
    EXPECT_NEAR(r.Width(), 10, 1e-12);
    EXPECT_NEAR(r.Height(), 4, 1e-12);
    EXPECT_NEAR(LineAngleDiff(r.Angle(), t), 0, 1e-12);
  }
  // A bow-tie has zero area; its hull is the unit square.
  Pts const bow{{0, 0}, {1, 1}, {1, 0}, {0, 1}};
  EXPECT_FALSE(Math::MakeRectangle(bow.data(), 4, false).IsValid());
  CRectangle const h = Math::MakeRectangle(bow.data(), 4, true);
  EXPECT_NEAR(h.Area(), 1, 1e-12);
  EXPECT_NEAR(h.Center().x, 0.5, 1e-12);
  Pts const line{{0, 0}, {1, 1}, {2, 2}};
  EXPECT_FALSE(Math::MakeRectangle(line.data(), 3, true).IsValid());
  EXPECT_FALSE(Math::MakeRectangle(nullptr, 3, true).IsValid());
}

TEST(MinAreaRectangle, MatchesBruteForceOnRandomAndRealPointSets) {
  std::vector<Pts> sets;
  std::mt19937 rng(20261124);
  std::uniform_real_distribution<double> u(-50, 50);
  for (int s = 0; s < 150; ++s) {
    Pts p(3 + s % 40);
    for (CPointD& q : p) q = {u(rng), u(rng) * (s % 3 == 0 ? 0.2 : 1.0)};
    sets.push_back(p);
  }
  for (Pts const& ring : kmath_test::LoadPolylines("london_buildings.xy")) sets.push_back(ring);
  for (Pts const& pts : sets) {
    CRectangle const r = Math::MinAreaRectangle(pts.data(), static_cast<unsigned>(pts.size()), false);
    double const want = BruteMinArea(pts);
    ASSERT_NEAR(r.Area(), want, 1e-9 * std::max(1.0, want));
    EXPECT_GE(r.Width(), r.Height());
    double worst = 0;
    for (CPointD const& p : pts) {
      CPointD const d = p - r.Center();
      double const a = std::abs(d.x * std::cos(r.Angle()) + d.y * std::sin(r.Angle()));
      double const b = std::abs(-d.x * std::sin(r.Angle()) + d.y * std::cos(r.Angle()));
      worst = std::max({worst, a - r.Width() / 2, b - r.Height() / 2});
    }
    EXPECT_LT(worst, 1e-9 * std::max(1.0, r.Hypot()));
  }
}

TEST(MinAreaRectangle, SquaresSegmentsGivenHullsAndBadInput) {
  Pts const sq = Corners({1, 2}, 3, 3, 0.3);
  CRectangle const r = Math::MinAreaRectangle(sq.data(), 4, false);
  EXPECT_NEAR(r.Width(), r.Height(), 1e-12);
  EXPECT_NEAR(r.Area(), 36, 1e-12);
  EXPECT_NEAR(r.Center().x, 1, 1e-12);

  // A hull given in either sense, closed or not.
  Pts cw(sq.rbegin(), sq.rend());
  cw.push_back(cw.front());
  EXPECT_NEAR(Math::MinAreaRectangle(cw.data(), 5, true).Area(), 36, 1e-12);

  Pts const seg{{0, 0}, {3, 4}};
  CRectangle const s = Math::MinAreaRectangle(seg.data(), 2, false);
  EXPECT_EQ(s.Width(), 5);
  EXPECT_EQ(s.Height(), 0);
  EXPECT_NEAR(s.Angle(), std::atan2(4, 3), 1e-15);
  Pts const closedSeg{{0, 0}, {3, 4}, {0, 0}};
  EXPECT_EQ(Math::MinAreaRectangle(closedSeg.data(), 3, true).Width(), 5);

  Pts const bad{{0, 0}, {1, std::nan("")}, {2, 0}};
  EXPECT_EQ(Math::MinAreaRectangle(bad.data(), 3, false).Area(), 0);
  EXPECT_EQ(Math::MinAreaRectangle(nullptr, 3, false).Area(), 0);
  Pts const huge{{0, 0}, {1e300, 1e300}, {-1e300, 1e300}, {1e300, -1e300}};
  EXPECT_GE(Math::MinAreaRectangle(huge.data(), 4, false).Width(), 0);  // no crash; overflow gives inf
  Pts const one{{2, 2}, {2, 2}, {2, 2}};
  EXPECT_FALSE(Math::MinAreaRectangle(one.data(), 3, false).IsValid());
}

TEST(AdjustRectangle, PicksTheDirectionThatFitsThePointsBest) {
  double const t = 0.35;
  Pts const pts = Corners({0, 0}, 6, 2, t);
  CRectangle r({0, 0}, 6, 2, 0);
  ASSERT_TRUE(Math::AdjustRectangle(r, pts.data(), 4));
  EXPECT_NEAR(LineAngleDiff(r.Angle(), t), 0, 1e-9);
  for (CPointD const& p : pts) EXPECT_NEAR(r.Distance(p), 0, 1e-9);

  // Already best: the rectangle's own angle stays (later candidates must be
  // strictly better).
  CRectangle keep({0, 0}, 6, 2, t);
  ASSERT_TRUE(Math::AdjustRectangle(keep, pts.data(), 4));
  EXPECT_NEAR(keep.Angle(), t, 1e-12);

  Pts const nothing{{1, 1}, {1, 1}, {1, 1}, {1, 1}};
  CRectangle same({0, 0}, 6, 2, 0.1);
  EXPECT_FALSE(Math::AdjustRectangle(same, nothing.data(), 4));
  EXPECT_NEAR(same.Angle(), 0.1, 1e-15);
}

TEST(OptimizeRectangle, GoldenSectionFindsTheDirectionOfLeastLargestDistance) {
  for (double off : {0.05, 0.3, 0.6}) {
    SCOPED_TRACE(off);
    double const t = 0.2;
    Pts const pts = Corners({0, 0}, 8, 3, t);
    CRectangle r({0, 0}, 8, 3, t - off);  // the true angle is within a quarter turn ahead
    Math::OptimizeRectangle(r, pts.data(), 4, 1e-6);
    double worst = 0;
    for (CPointD const& p : pts) worst = std::max(worst, r.Distance(p));
    // Twenty evaluations shrink the pi/4 bracket to about 1e-4 rad.
    EXPECT_NEAR(LineAngleDiff(r.Angle(), t), 0, 2e-4);
    EXPECT_LT(worst, 8 * 3e-4);
  }
  // A near-square also looks behind its start.
  Pts const sq = Corners({0, 0}, 4, 3.5, 0.0);
  CRectangle behind({0, 0}, 4, 3.5, 0.3);
  Math::OptimizeRectangle(behind, sq.data(), 4, 1e-6);
  EXPECT_NEAR(LineAngleDiff(behind.Angle(), 0.0), 0, 2e-4);
  // Nothing to fit: unchanged.
  CRectangle none({0, 0}, 4, 3, 0.3);
  Math::OptimizeRectangle(none, sq.data(), 0, 1e-6);
  EXPECT_EQ(none.Angle(), 0.3);
}

// A hull whose every turn is below the tolerance (a long edge beside one of
// 1e-13) must still be read in its true sense: the wrong sense measured the
// widths outside the edges and gave the short edge's own segment.
TEST(MinAreaRectangle, ThinHullTurningBelowTheToleranceHoldsEveryPoint) {
  Pts const thin{{0, 8}, {1e-13, 8}, {0, 0}};
  for (bool convex : {false, true}) {
    CRectangle const r = Math::MinAreaRectangle(thin.data(), 3, convex);
    EXPECT_NEAR(r.Width(), 8, 1e-9);
    EXPECT_LE(r.Height(), 1e-12);
    EXPECT_NEAR(r.Center().y, 4, 1e-9);
  }
}
