#include <math/dtw.h>

#include <algorithm>
#include <random>
#include <stdexcept>

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/linestring.hpp>
#include <boost/geometry/geometries/point_xy.hpp>

#include "polyline/dtw_impl.h"
#include "polyline_test.h"

namespace polyline_test {
namespace {

using Math::CDTWParams;
using Math::CDTWPoly;
using Math::CPolyWinding;
using Math::DTWMatch;
using Math::poly_hit;
using Hits = std::vector<poly_hit>;
using Pairs = std::vector<std::pair<poly_hit, poly_hit>>;
constexpr double kPi = 3.14159265358979323846;

double Dist(CPointD a, CPointD b) { return std::hypot(a.x - b.x, a.y - b.y); }
bool Eq(poly_hit a, poly_hit b) { return a.index == b.index && std::abs(a.param - b.param) < 1e-12; }
bool Eq(Hits const& a, Hits const& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](poly_hit x, poly_hit y) { return Eq(x, y); });
}
bool Eq(Pairs const& a, Pairs const& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](auto const& x, auto const& y) {
           return Eq(x.first, y.first) && Eq(x.second, y.second);
         });
}
// Pairs of vertex positions, written as (a vertex, b vertex).
Pairs VertexPairs(std::vector<std::pair<int, int>> const& ij) {
  Pairs out;
  for (auto [i, j] : ij) out.emplace_back(poly_hit(i, 0.0), poly_hit(j, 0.0));
  return out;
}

Pts const kSquare = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
Pts const kLine = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}};

// The largest block of a bundled file.
Pts Largest(char const* file) {
  Pts best;
  for (auto const& b : kmath_test::LoadXY(file))
    if (b.pts.size() > best.size()) best = b.pts;
  return best;
}

// ---- sections ----

TEST(CDTWPoly, HitsFollowTheOrderOfTravel) {
  struct Case { char const* name; Pts const* poly; poly_hit begin, end; Hits want; } const cases[] = {
      {"forward", &kLine, {1, 0.5}, {3, 0.25}, {{1, 0.5}, {2, 0}, {3, 0}, {3, 0.25}}},
      {"forward from a vertex", &kLine, {1, 0}, {3, 0}, {{1, 0}, {2, 0}, {3, 0}}},
      {"within one segment", &kLine, {2, 0.2}, {2, 0.7}, {{2, 0.2}, {2, 0.7}}},
      {"backward", &kLine, {3, 0.25}, {1, 0.5}, {{3, 0.25}, {3, 0}, {2, 0}, {1, 0.5}}},
      {"backward within one segment", &kLine, {2, 0.7}, {2, 0.2}, {{2, 0.7}, {2, 0.2}}},
      {"open, ends equal", &kLine, {2, 0.5}, {2, 0.5}, {{2, 0.5}}},
      {"ring, forward", &kSquare, {0, 0.5}, {2, 0.5}, {{0, 0.5}, {1, 0}, {2, 0}, {2, 0.5}}},
      {"ring, through the closing point", &kSquare, {2, 0.5}, {1, 0.25},
       {{2, 0.5}, {3, 0}, {4, 0}, {0, 0}, {1, 0}, {1, 0.25}}},
      {"ring, ending on vertex 0 = vertex n - 1", &kSquare, {2, 0.5}, {0, 0}, {{2, 0.5}, {3, 0}, {4, 0}}},
      {"ring, ends equal: once round", &kSquare, {1, 0.5}, {1, 0.5},
       {{1, 0.5}, {2, 0}, {3, 0}, {4, 0}, {0, 0}, {1, 0}, {1, 0.5}}},
      {"ring, backward within one segment goes round", &kSquare, {1, 0.5}, {1, 0.25},
       {{1, 0.5}, {2, 0}, {3, 0}, {4, 0}, {0, 0}, {1, 0}, {1, 0.25}}},
      {"bad begin", &kLine, {7, 0}, {1, 0}, {}},
      {"bad end", &kLine, {0, 0}, {1, 1.5}, {}},
      {"NaN parameter", &kLine, {0, kNaN}, {1, 0}, {}},
  };
  for (Case const& c : cases) {
    Hits const got = CDTWPoly(*c.poly, c.begin, c.end).Hits();
    EXPECT_TRUE(Eq(got, c.want)) << c.name;
  }
  Hits const whole = CDTWPoly(kLine).Hits();
  EXPECT_TRUE(Eq(whole, {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}}));
  Pts const empty;
  EXPECT_TRUE(CDTWPoly(empty).Hits().empty());
  EXPECT_TRUE(CDTWPoly(empty).Resample(1).empty());
  CDTWPoly const sec(kSquare);
  EXPECT_TRUE(Dist(sec.Point({2, 0.5}), {0.5, 1}) == 0);
  Pts const pts = sec.Points({{0, 0.25}, {9, 0}});
  EXPECT_TRUE(pts.size() == 2 && pts[0].x == 0.25 && kmath_test::IsBad(pts[1].x) && kmath_test::IsBad(pts[1].y));
}

TEST(CDTWPoly, ResampleKeepsTheStepAndALastStepOfMoreThanHalf) {
  Pts const poly = {{0, 0}, {4, 0}, {10, 0}};
  auto xs = [&](poly_hit b, poly_hit e, double step) {
    std::vector<double> x;
    CDTWPoly const sec(poly, b, e);
    for (CPointD p : sec.Points(sec.Resample(step))) x.push_back(p.x);
    return x;
  };
  using V = std::vector<double>;
  EXPECT_EQ(xs({0, 0}, {2, 0}, 3), (V{0, 3, 6, 10}));             // 1 left after 9: the 9 goes
  EXPECT_EQ(xs({0, 0}, {2, 0}, 4), (V{0, 4, 10}));                // exactly half left: goes too
  EXPECT_EQ(xs({0, 0}, {2, 0}, 2.5), (V{0, 2.5, 5, 7.5, 10}));   // a whole step left: kept
  EXPECT_EQ(xs({0, 0}, {2, 0}, 30), (V{0, 10}));
  EXPECT_EQ(xs({2, 0}, {0, 0}, 3), (V{10, 7, 4, 0}));             // backward
  EXPECT_EQ(xs({0, 0.5}, {1, 0.5}, 1.5), (V{2, 3.5, 5, 7}));
  EXPECT_TRUE(Eq(CDTWPoly(poly, {2, 0}, {0, 0}).Resample(3), {{2, 0}, {1, 0.5}, {1, 0}, {0, 0}}));
  EXPECT_TRUE(Eq(CDTWPoly(poly, {1, 0.5}, {1, 0.5}).Resample(3), {{1, 0.5}}));
  for (double bad : {0.0, -1.0, kNaN}) EXPECT_TRUE(CDTWPoly(poly).Resample(bad).empty()) << bad;
  Pts const inf = {{0, 0}, {kInf, 0}};
  EXPECT_TRUE(CDTWPoly(inf).Resample(1).empty());

  // Through a traced ring's closing point: arc lengths (measured on the ring
  // by CPolyWinding) advance by the step, the last by more than half of it.
  Pts const ring = Largest("horse_chain.xy");
  int const n = int(ring.size());
  ASSERT_GT(n, 1000);
  CPolyWinding const w(ring);
  double const total = w.lengths.back();
  for (double step : {0.7, 2.5, 40.0}) {
    Hits const h = CDTWPoly(ring, {n - 60, 0.5}, {100, 0.25}).Resample(step);
    ASSERT_GT(h.size(), 3u);
    for (size_t k = 1; k < h.size(); ++k) {
      double arc = w.Length(h[k]) - w.Length(h[k - 1]);
      if (arc < 0) arc += total;
      if (k + 1 < h.size())
        ASSERT_NEAR(arc, step, 1e-9) << step << " " << k;
      else
        EXPECT_TRUE(arc > 0.5 * step && arc <= 1.5 * step) << step << " " << arc;
    }
  }
}

// ---- matching ----

TEST(DTWMatch, SelfAndReversedCopiesPairVertexForVertexFromTheEnds) {
  // The ring without its closing point: a ring's reversed copy starts where
  // it ends, so the end-point test could not tell the directions apart.
  Pts a = Largest("coins_chain.xy");
  a.pop_back();
  int const n = int(a.size());
  Pts rev(a.rbegin(), a.rend());
  std::vector<std::pair<int, int>> self, reversed;
  for (int k = n - 1; k >= 0; --k) self.emplace_back(k, k);
  // The reversed sections are detected, so a's positions run backward: the
  // first pair is a's first vertex against b's last.
  for (int k = 0; k < n; ++k) reversed.emplace_back(k, n - 1 - k);
  for (bool check : {false, true}) {
    Pairs pairs = VertexPairs({{5, 5}});
    DTWMatch(CDTWPoly(a), CDTWPoly(a), pairs, CDTWParams(check, 0.0, false));
    EXPECT_TRUE(Eq(pairs, VertexPairs(self))) << check;
    DTWMatch(CDTWPoly(a), CDTWPoly(rev), pairs, CDTWParams(check, -1.0, false));
    EXPECT_TRUE(Eq(pairs, VertexPairs(reversed))) << check;
  }
  Pairs nanStep;
  DTWMatch(CDTWPoly(a), CDTWPoly(rev), nanStep, CDTWParams(false, kNaN, false));
  EXPECT_TRUE(Eq(nanStep, VertexPairs(reversed)));
}

// A stretch of a traced outline against a copy with extra points in its
// segments, every point moved by noise, and its direction reversed: each
// vertex of the stretch must be paired with the point made from it.
TEST(DTWMatch, NoisyDensifiedReversedCopyPairsEveryVertexWithItsCounterpart) {
  Pts const ring = Largest("horse_chain.xy");
  for (size_t from : {200u, 900u, 1500u}) {
    Pts const a(ring.begin() + long(from), ring.begin() + long(from) + 300);
    std::mt19937 rng{static_cast<unsigned>(from)};
    std::uniform_real_distribution<double> noise(-0.03, 0.03);
    auto jitter = [&](CPointD p) { return CPointD{p.x + noise(rng), p.y + noise(rng)}; };
    Pts b;
    std::vector<size_t> made(a.size());
    for (size_t i = 0; i < a.size(); ++i) {
      made[i] = b.size();
      b.push_back(jitter(a[i]));
      size_t const extra = i % 3;
      for (size_t j = 1; i + 1 < a.size() && j <= extra; ++j)
        b.push_back(jitter(a[i] + (a[i + 1] - a[i]) * (double(j) / double(extra + 1))));
    }
    std::reverse(b.begin(), b.end());
    int const nb = int(b.size());
    for (bool axis : {false, true}) {
      Pairs pairs;
      DTWMatch(CDTWPoly(a), CDTWPoly(b), pairs, CDTWParams(false, 0.0, axis));
      ASSERT_FALSE(pairs.empty());
      EXPECT_TRUE(Eq(pairs.front().first, {0, 0}) && Eq(pairs.front().second, {nb - 1, 0})) << axis;
      for (size_t i = 0; i < a.size(); ++i) {
        poly_hit const want(nb - 1 - int(made[i]), 0.0);
        bool const found = std::any_of(pairs.begin(), pairs.end(), [&](auto const& pr) {
          return Eq(pr.first, poly_hit(int(i), 0.0)) && Eq(pr.second, want);
        });
        ASSERT_TRUE(found) << "from " << from << " vertex " << i << " axis " << axis;
      }
    }
  }
}

TEST(DTWMatch, AxisStepTieRulesAndResampledPositions) {
  // P = Q = three points one apart, cost |i - j|. The relaxed start makes
  // D[1][1] = 0; D[3][3] = 2 is reached equally from left and from up, and
  // ties go along P, so the path zigzags instead of running diagonally.
  Pts const p = {{0, 0}, {1, 0}, {2, 0}};
  Pairs pairs;
  DTWMatch(CDTWPoly(p), CDTWPoly(p), pairs, CDTWParams(false, 0.0, true));
  EXPECT_TRUE(Eq(pairs, VertexPairs({{2, 2}, {1, 2}, {1, 1}, {0, 1}, {0, 0}})));

  // Resampled sections of two parallel lines: positions 2.5 apart, matched
  // straight across.
  Pts const low = {{0, 0}, {10, 0}}, high = {{0, 1}, {10, 1}};
  DTWMatch(CDTWPoly(low), CDTWPoly(high), pairs, CDTWParams(true, 2.5, false));
  ASSERT_EQ(pairs.size(), 5u);
  for (size_t k = 0; k < 5; ++k) {
    EXPECT_NEAR(PointAt(low, pairs[k].first).x, 10 - 2.5 * double(k), 1e-12);
    EXPECT_NEAR(PointAt(high, pairs[k].second).x, 10 - 2.5 * double(k), 1e-12);
  }
}

// A single position against a polyline is paired with every point of it:
// the joins fan out from (0, 0). Those to (2, 3) and (-2, 3) cross b's
// first segment; the one to (2, 1) crosses a's segment (0,-2)-(1,2) at
// 2/7 of its length. The join to (-2, 1) meets each polyline only at its
// own end, also where that end is a ring's closing vertex.
TEST(DTWMatch, CrossingFilterDropsPairsWhoseJoinsMeetAPolylineTwice) {
  Pts const a = {{0, 0}, {0, -2}, {1, 2}};
  Pts const b = {{-2, 1}, {2, 1}, {2, 3}, {-2, 3}};
  Pts const ring = {{-2, 1}, {2, 1}, {2, 3}, {-2, 3}, {-2, 1}};
  CDTWPoly const one(a, {0, 0}, {0, 0});
  Pairs pairs;
  DTWMatch(one, CDTWPoly(b), pairs, CDTWParams(false, 0.0, false));
  EXPECT_TRUE(Eq(pairs, VertexPairs({{0, 3}, {0, 2}, {0, 1}, {0, 0}})));
  DTWMatch(one, CDTWPoly(b), pairs, CDTWParams(true, 0.0, false));
  EXPECT_TRUE(Eq(pairs, VertexPairs({{0, 0}})));
  DTWMatch(one, CDTWPoly(ring), pairs, CDTWParams(true, 0.0, false));
  EXPECT_TRUE(Eq(pairs, VertexPairs({{0, 4}, {0, 0}})));
}

// How often a join meets a polyline: once at its own end `own` on it (that
// end is on the polyline by construction, though rounding may put it a hair
// off), plus every other place where Boost.Geometry finds the two meeting.
namespace bg = boost::geometry;
using BPoint = bg::model::d2::point_xy<double>;
using BLine = bg::model::linestring<BPoint>;
int Meetings(CPointD p, CPointD q, CPointD own, Pts const& poly) {
  BLine const join{{p.x, p.y}, {q.x, q.y}};
  std::vector<BPoint> at{{own.x, own.y}};
  for (size_t s = 0; s + 1 < poly.size(); ++s) {
    CPointD const u = poly[s], v = poly[s + 1];
    if (std::max(u.x, v.x) < std::min(p.x, q.x) - 1e-9 || std::min(u.x, v.x) > std::max(p.x, q.x) + 1e-9 ||
        std::max(u.y, v.y) < std::min(p.y, q.y) - 1e-9 || std::min(u.y, v.y) > std::max(p.y, q.y) + 1e-9)
      continue;
    std::vector<BPoint> here;
    bg::intersection(join, BLine{{u.x, u.y}, {v.x, v.y}}, here);
    for (BPoint const& h : here)
      if (std::none_of(at.begin(), at.end(), [&](BPoint const& o) { return bg::distance(o, h) < 1e-9; }))
        at.push_back(h);
  }
  return int(at.size());
}

// On a traced stretch against a copy moved by up to 1.5 pixel, the filtered
// pairs are exactly the unfiltered ones whose joins Boost.Geometry finds
// meeting each polyline fewer than 2 times, in the same order.
TEST(DTWMatch, CrossingFilterAgreesWithBoostGeometryOnATracedOutline) {
  Pts const ring = Largest("horse_chain.xy");
  Pts const a(ring.begin() + 300, ring.begin() + 600);
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> noise(-1.5, 1.5);
  Pts b;
  for (size_t i = 0; i < a.size(); i += 1 + i % 2) b.push_back({a[i].x + noise(rng), a[i].y + noise(rng)});
  for (bool axis : {false, true}) {
    for (double step : {0.0, 0.6}) {
      Pairs all, kept;
      DTWMatch(CDTWPoly(a), CDTWPoly(b), all, CDTWParams(false, step, axis));
      DTWMatch(CDTWPoly(a), CDTWPoly(b), kept, CDTWParams(true, step, axis));
      Pairs want;
      for (auto const& pr : all) {
        CPointD const p = PointAt(a, pr.first), q = PointAt(b, pr.second);
        if (Dist(p, q) < 1e-12 || (Meetings(p, q, p, a) < 2 && Meetings(p, q, q, b) < 2)) want.push_back(pr);
      }
      EXPECT_TRUE(Eq(kept, want)) << "axis " << axis << " step " << step << ": " << kept.size() << " vs " << want.size();
      EXPECT_LT(want.size(), all.size());
      EXPECT_GT(want.size(), all.size() / 2);
    }
  }
}

TEST(DTWMatch, EmptySectionsClearThePairsAndBadInputDoesNotCrash) {
  Pts const empty, one = {{3, 3}};
  for (CDTWPoly const& bad : {CDTWPoly(empty), CDTWPoly(kLine, {9, 0}, {1, 0})}) {
    Pairs pairs = VertexPairs({{1, 1}});
    DTWMatch(bad, CDTWPoly(kLine), pairs, CDTWParams(true, 1.0, true));
    EXPECT_TRUE(pairs.empty());
  }
  Pairs pairs;
  DTWMatch(CDTWPoly(one), CDTWPoly(kLine), pairs, CDTWParams(true, 0.0, false));
  EXPECT_TRUE(Eq(pairs, VertexPairs({{0, 4}, {0, 3}, {0, 2}, {0, 1}, {0, 0}})));
  // NaN coordinates: every comparison fails, the walk still ends.
  Pts const nan = {{0, 0}, {kNaN, 1}, {2, kNaN}, {3, 0}};
  for (bool axis : {false, true}) {
    DTWMatch(CDTWPoly(nan), CDTWPoly(kLine), pairs, CDTWParams(true, 0.0, axis));
    EXPECT_TRUE(pairs.size() >= 1 && pairs.size() <= nan.size() + kLine.size() - 1);
  }
  CDTWParams const prm(true, 2.5, false);  // fields in another order than the arguments
  EXPECT_TRUE(sizeof prm == 10 && prm.bCheckCross && !prm.bAxisSteps && prm.dStep == 2.5);

  Math::dtw_detail::CCostMatrix m(2, 3);
  for (auto [r, c] : {std::pair<size_t, size_t>{2, 0}, {0, 3}}) {
    try {
      m.at(r, c);
      ADD_FAILURE() << r << " " << c;
    } catch (std::out_of_range const& e) {
      EXPECT_STREQ(e.what(), "invalid vector<T> subscript");
    }
  }
}

// ---- winding ----

TEST(CPolyWinding, FactorsLengthsAndTheLongWayRound) {
  using W = CPolyWinding;
  EXPECT_TRUE(W::ZuFactor(5, 5) == 0 && W::ZuFactor(0, 5) == 1 && W::ZuFactor(3, 0) == 1);
  EXPECT_NEAR(W::ZuFactor(3, 5), 0.8, 1e-15);
  EXPECT_NEAR(W::ZuFactor(5, 3), 4.0 / 3, 1e-15);  // |1 - r^2| for a chord longer than its arc

  CPolyWinding const w(kSquare);
  EXPECT_EQ(w.lengths, (std::vector<double>{0, 1, 2, 3, 4}));
  EXPECT_TRUE(w.Length({1, 1.0}) == 2 && w.Length({2, 0.25}) == 2.25 && w.Length({3, 1.0 - 1e-13}) == 4);
  // Past the last vertex, or before the first: 0.
  EXPECT_TRUE(w.Length({5, 0.0}) == 0 && w.Length({4, 0.5}) == 0 && w.Length({-1, 0.5}) == 0);
  EXPECT_TRUE(kmath_test::IsBad(w.Length({1, kNaN})));
  // From (0, 0.5) on the left side to (0.5, 0) on the bottom: forward the
  // arc is 1, through the closing point; backward 3.
  EXPECT_NEAR(w.ZuFactor(poly_hit(3, 0.5), poly_hit(0, 0.5)), std::sqrt(0.5), 1e-15);
  EXPECT_NEAR(w.ZuFactor(poly_hit(0, 0.5), poly_hit(3, 0.5)), std::sqrt(1 - 0.5 / 9), 1e-15);

  // A regular N-gon ring, span two sides: from vertex i - 1 to i + 1 the
  // chord is 2R sin(2 pi / N) over an arc of 4R sin(pi / N), a factor of
  // sin(pi / N) everywhere, the closing vertex included.
  for (int N : {5, 12, 40}) {
    Pts ngon;
    for (int k = 0; k <= N; ++k) ngon.push_back({3 * std::cos(2 * kPi * k / N) + 7, 3 * std::sin(2 * kPi * k / N)});
    ngon.back() = ngon.front();
    std::vector<double> f;
    CPolyWinding(ngon).ZuFactor(2 * 6 * std::sin(kPi / N), f);
    ASSERT_EQ(f.size(), ngon.size());
    for (double x : f) EXPECT_NEAR(x, std::sin(kPi / N), 1e-9) << N;
  }
  // Open ends stop the move: a straight run never winds.
  std::vector<double> f;
  CPolyWinding(kLine).ZuFactor(3, f);
  EXPECT_EQ(f, std::vector<double>(5, 0.0));
  std::vector<double> g{9};
  CPolyWinding(kLine).ZuFactor(-1, g);
  CPolyWinding(kLine).ZuFactor(kNaN, g);
  CPolyWinding(Pts{{1, 1}}).ZuFactor(1, g);
  CPolyWinding().ZuFactor(1, g);
  EXPECT_EQ(g, std::vector<double>{9});
}

}  // namespace
}  // namespace polyline_test
