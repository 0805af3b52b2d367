#include <math/polyline.h>

#include <random>
#include <string>

#include "polyline_test.h"

namespace polyline_test {
namespace {

using Math::poly_hit;

double Dist(CPointD a, CPointD b) { return std::hypot(a.x - b.x, a.y - b.y); }

// MoveAlong leaves the hit normalised (valid, param in [0, 1)); CutBetween
// lists the vertices strictly between its ends in the order of travel.
TEST(PolylineModel, MoveAlongAndCutBetweenFollowTheOrderOfTravel) {
  Pts const p = {{0, 0}, {3, 0}, {3, 0}, {3, 4}};  // lengths 3, 0, 4
  Pts const sq = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}}, run = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}};
  struct Move {
    char const* name;
    Pts const* poly;
    poly_hit from;
    double dist;
    bool wrap;
    double moved;
    CPointD at;
  };
  Move const moves[] = {
      {"over the zero-length segment", &p, {0, 0.5}, 3.5, false, 3.5, {3, 2}},
      {"open: stopped at the end, no wrap", &p, {0, 0.5}, 100.0, true, 5.5, {3, 4}},
      {"infinite distance", &p, {1, 0.0}, kInf, false, 4.0, {3, 4}},
      {"ring without wrap", &sq, {0, 0.0}, -1.0, false, 0.0, {0, 0}},
      {"ring backward past the start", &sq, {0, 0.5}, -1.0, true, -1.0, {0, 0.5}},
      {"ring through the closing point", &sq, {3, 0.5}, 1.0, true, 1.0, {0.5, 0}},
      {"ring a million times round", &sq, {0, 0.0}, 4e6 + 2.5, true, 4e6 + 2.5, {0.5, 1}},
  };
  for (Move const& c : moves) {
    SCOPED_TRACE(c.name);
    poly_hit h = c.from;
    EXPECT_NEAR(Math::MoveAlong(*c.poly, h, c.dist, c.wrap), c.moved, 1e-12);
    EXPECT_TRUE(Math::IsValidHit(*c.poly, h) && h.param >= 0.0 && h.param < 1.0);
    EXPECT_NEAR(Dist(Math::PointAt(*c.poly, h), c.at), 0.0, 1e-9);
  }
  EXPECT_GT(Math::PointAt(Pts{{0, 0}, {1e6, 0}}, poly_hit(0, 1 + 5e-13)).x, 1e6);  // valid, so not clamped
  struct Cut {
    char const* name;
    poly_hit from, to;
    std::vector<double> xs;
  } const cuts[] = {
      {"end of a segment is the next vertex", {1, 1.0}, {3, 1 - 1e-13}, {2, 3, 4}},
      {"backward", {3, 0.5}, {0, 0.5}, {3.5, 3, 2, 1, 0.5}},
      {"backward from a vertex", {3, 0.0}, {1, 0.0}, {3, 2, 1}},
      {"same position", {2, 0.5}, {2, 0.5 + 1e-13}, {2.5}},
  };
  for (Cut const& c : cuts) {
    Pts out;
    std::vector<double> xs;
    EXPECT_TRUE(Math::CutBetween(run, c.from, c.to, out)) << c.name;
    for (CPointD const& q : out) xs.push_back(q.x);
    EXPECT_EQ(xs, c.xs) << c.name;
  }
}

TEST(PolylineModel, BadHitsFailAndLeaveTheCallersDataUntouched) {
  Pts const p = {{0, 0}, {1, 0}, {2, 0}};
  for (poly_hit bad : {poly_hit(-1, 0), poly_hit(3, 0), poly_hit(2, 0.5), poly_hit(0, -0.1), poly_hit(0, kNaN)}) {
    SCOPED_TRACE(std::to_string(bad.index) + " " + std::to_string(bad.param));
    poly_hit h = bad;
    Pts out{{9, 9}};
    EXPECT_FALSE(Math::IsValidHit(p, bad));
    EXPECT_TRUE(IsBad(Math::PointAt(p, bad).x) && IsBad(Math::PointAt(p, bad).y));
    EXPECT_TRUE(IsBad(Math::MoveAlong(p, h, 1.0)) && h.index == bad.index);
    EXPECT_FALSE(Math::CutBetween(p, bad, poly_hit(0, 0), out) || Math::CutBetween(p, poly_hit(0, 0), bad, out));
    EXPECT_TRUE(Same(out, {{9, 9}}));
  }
  poly_hit h(0, 0.5);
  EXPECT_TRUE(IsBad(Math::MoveAlong(p, h, kNaN)) && h.param == 0.5);
  EXPECT_TRUE(IsBad(Math::MoveAlong({}, h, 1.0)) && IsBad(Math::PointAt({}, h).x));
}

// On real outlines the cut between a position and the one moved d along is
// d long, and moving back by what was travelled returns to the start.
TEST(PolylineModel, MovingThereAndBackOnATracedOutlineIsARoundTrip) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (char const* f : {"horse_chain.xy", "coins_crack.xy", "ccitt2_centerlines.xy"}) {
    auto const polys = kmath_test::LoadPolylines(f);
    for (size_t b = 0; b < polys.size(); b += 7) {
      Pts const& p = polys[b];
      for (int k = 0; k < 20 && p.size() >= 2; ++k) {
        poly_hit const h0(static_cast<int>(rng() % (p.size() - 1)), unit(rng));
        poly_hit h = h0;
        double const moved = Math::MoveAlong(p, h, 80 * unit(rng) - 40);
        Pts cut;
        ASSERT_TRUE(Math::CutBetween(p, h0, h, cut));
        double len = 0;
        for (size_t i = 1; i < cut.size(); ++i) len += Dist(cut[i], cut[i - 1]);
        ASSERT_NEAR(len, std::abs(moved), 1e-9);
        ASSERT_NEAR(Math::MoveAlong(p, h, -moved), -moved, 1e-9);
        ASSERT_NEAR(Dist(Math::PointAt(p, h0), Math::PointAt(p, h)), 0.0, 1e-9);
      }
    }
  }
}

}  // namespace
}  // namespace polyline_test
