#include <math/polyapprox.h>

#include <math/line.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "xy_reader.h"

namespace {

using Math::CPolyApprox;
using Pts = std::vector<CPointD>;

constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Distance to the closed segment, written out independently of the library.
double SegDist(CPointD const& a, CPointD const& b, CPointD const& p) {
  double const dx = b.x - a.x, dy = b.y - a.y;
  double const len2 = dx * dx + dy * dy;
  if (std::sqrt(len2) < 1e-12) return std::hypot(p.x - a.x, p.y - a.y);
  double const t = ((p.x - a.x) * dx + (p.y - a.y) * dy) / len2;
  if (t < 0) return std::hypot(p.x - a.x, p.y - a.y);
  if (t > 1) return std::hypot(p.x - b.x, p.y - b.y);
  return std::abs((p.x - a.x) * dy - (p.y - a.y) * dx) / std::sqrt(len2);
}

// The textbook recursive split-at-the-farthest-point, as the oracle for the
// stack-driven version (same tie rule: a later vertex must win by 1e-12).
void Reference(Pts const& p, int a, int b, double tol, double limit, std::vector<int>& out) {
  int m = b;
  double best = 0;
  for (int k = a + 1; k < b; ++k) {
    double const d = SegDist(p[a], p[b], p[k]);
    if (d - best >= 1e-12) best = d, m = k;
  }
  if (m != b && best - tol >= 1e-12) {
    Reference(p, a, m, tol, limit, out);
    Reference(p, m, b, tol, limit, out);
    return;
  }
  double const c = std::hypot(p[b].x - p[a].x, p[b].y - p[a].y);
  if (c - limit >= 1e-12 && b - a > 1) {
    int const s = m != b ? m : (a + b) / 2;
    Reference(p, a, s, tol, limit, out);
    Reference(p, s, b, tol, limit, out);
    return;
  }
  out.push_back(b);
}

std::vector<int> Kept(Pts const& p, double tol, double limit) {
  std::vector<int> idx;
  CPolyApprox(tol, limit).GetInflections(p.data(), static_cast<unsigned>(p.size()), idx);
  return idx;
}

TEST(PolyApprox, TooFewPointsLeaveEverythingUntouched) {
  for (Pts const& pts : {Pts{}, Pts{{1, 2}}, Pts{{1, 2}, {3, 4}}}) {
    SCOPED_TRACE(pts.size());
    std::vector<int> idx{7, 8};
    EXPECT_FALSE(CPolyApprox(0.5, kMax).GetInflections(pts.data(), static_cast<unsigned>(pts.size()), idx));
    EXPECT_FALSE(Math::PolyInflections(pts, 0.5, idx));
    EXPECT_EQ(idx, (std::vector<int>{7, 8}));
    Pts copy = pts;
    EXPECT_FALSE(Math::PolyApprox(copy, 0.5, kMax));
    EXPECT_EQ(copy.size(), pts.size());
  }
  std::vector<int> idx{7};
  EXPECT_FALSE(CPolyApprox(0.5, kMax).GetInflections(nullptr, 5, idx));
  EXPECT_EQ(idx, std::vector<int>{7});
}

TEST(PolyApprox, SmallCasesKeepTheExpectedVertices) {
  struct Case {
    char const* name;
    Pts pts;
    double tol, limit;
    std::vector<int> idx;
    bool changed;
  };
  Pts const run10 = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, {7, 0}, {8, 0}, {9, 0}};
  Case const cases[] = {
      {"collinear triple", {{0, 0}, {1, 0}, {2, 0}}, 0.5, kMax, {0, 2}, true},
      {"zero chord limit", {{0, 0}, {1, 0.1}, {2, 0}, {3, 0.1}}, 0.5, 0.0, {0, 1, 2, 3}, false},
      {"long chord split at the middle index", run10, 1.0, 4.0, {0, 4, 6, 9}, true},
      // The chord 0-4 is degenerate: the farthest vertex is the farthest
      // from the first point.
      {"closed square", {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}}, 0.1, kMax, {0, 1, 2, 3, 4}, false},
      {"open run drops one vertex", {{0, 0}, {1, 0}, {2, 0}, {2, 2}}, 0.1, kMax, {0, 2, 3}, true},
      // Dropping one vertex of a ring is not worth reporting...
      {"ring drops one vertex", {{0, 0}, {1, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}}, 0.1, kMax, {0, 2, 3, 4, 5}, false},
      // ...dropping two is.
      {"ring drops two vertices",
       {{0, 0}, {1, 0}, {2, 0}, {2, 1}, {2, 2}, {0, 2}, {0, 0}},
       0.1,
       kMax,
       {0, 2, 4, 5, 6},
       true},
      {"distance beyond tolerance by less than eps", {{0, 0}, {1, 0.5 + 5e-13}, {2, 0}}, 0.5, kMax, {0, 2}, true},
      {"distance clearly beyond tolerance", {{0, 0}, {1, 0.5 + 1e-9}, {2, 0}}, 0.5, kMax, {0, 1, 2}, false},
      {"repeated points", {{0, 0}, {0, 0}, {0, 0}, {1, 0}, {1, 0}, {2, 0}, {2, 0}}, 0.1, kMax, {0, 6}, true},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<int> idx{42};
    EXPECT_EQ(CPolyApprox(c.tol, c.limit).GetInflections(c.pts.data(), static_cast<unsigned>(c.pts.size()), idx),
              c.changed);
    EXPECT_EQ(idx, c.idx);

    Pts poly = c.pts;
    EXPECT_EQ(Math::PolyApprox(poly, c.tol, c.limit), c.changed);
    Pts expected = c.pts;
    if (c.changed) {
      expected.clear();
      for (int i : c.idx) expected.push_back(c.pts[i]);
    }
    ASSERT_EQ(poly.size(), expected.size());
    for (size_t i = 0; i < poly.size(); ++i) {
      EXPECT_EQ(poly[i].x, expected[i].x);
      EXPECT_EQ(poly[i].y, expected[i].y);
    }
  }
}

TEST(PolyApprox, OutmostPointMeasuresToTheSegmentAndPrefersTheFirstOfEqualDistances) {
  CPolyApprox const approx(0.0, kMax);
  double dist = -1;

  Pts const ties = {{0, 0}, {1, 1}, {2, -1}, {3, 1}, {4, 0}};
  EXPECT_EQ(approx.OutmostPoint(&ties[0], &ties[4], dist), &ties[1]);
  EXPECT_DOUBLE_EQ(dist, 1.0);

  // (3, 1) lies past the end (1, 0): its distance is sqrt(5), more than the
  // 2 of (0.5, 2), though its distance from the chord's line is only 1.
  Pts const beyond = {{0, 0}, {3, 1}, {0.5, 2}, {1, 0}};
  EXPECT_EQ(approx.OutmostPoint(&beyond[0], &beyond[3], dist), &beyond[1]);
  EXPECT_DOUBLE_EQ(dist, std::sqrt(5.0));

  Pts const degenerate = {{0, 0}, {3, 4}, {1, 1}, {0, 0}};
  EXPECT_EQ(approx.OutmostPoint(&degenerate[0], &degenerate[3], dist), &degenerate[1]);
  EXPECT_DOUBLE_EQ(dist, 5.0);

  Pts const flat = {{0, 0}, {1, 5e-13}, {2, 0}};
  EXPECT_EQ(approx.OutmostPoint(&flat[0], &flat[2], dist), &flat[2]);
  EXPECT_EQ(dist, 0.0);
  dist = -1;
  EXPECT_EQ(approx.OutmostPoint(&flat[0], &flat[1], dist), &flat[1]);
  EXPECT_EQ(dist, 0.0);
}

// The farthest vertex and its distance are exactly those that the library's
// point-to-edge relation gives, clamped to the segment: same bits, so the
// 1e-12 tie rule decides the same way.
TEST(PolyApprox, OutmostPointAgreesWithThePointToEdgeRelation) {
  std::mt19937 rng(99);
  CPolyApprox const approx(0.0, kMax);
  for (char const* f : {"horse_chain.xy", "ccitt2_centerlines.xy"}) {
    for (Pts const& p : kmath_test::LoadPolylines(f)) {
      if (p.size() < 3) continue;
      std::uniform_int_distribution<size_t> pick(0, p.size() - 3);
      for (int k = 0; k < 10; ++k) {
        size_t const a = pick(rng), b = std::min(p.size() - 1, a + 2 + pick(rng) % 60);
        Math::CEdge const e{p[a], p[b]};
        size_t best = b;
        double bestd = 0;
        for (size_t v = a + 1; v < b; ++v) {
          Math::CPtToEdge const pe(e, p[v]);
          double d = std::abs(pe.dist);
          if (pe.t < 0) d = std::hypot(p[v].x - p[a].x, p[v].y - p[a].y);
          if (pe.t > 1) d = std::hypot(p[v].x - p[b].x, p[v].y - p[b].y);
          if (std::abs(d - bestd) >= 1e-12 && d > bestd) best = v, bestd = d;
        }
        double dist = -1;
        ASSERT_EQ(approx.OutmostPoint(&p[a], &p[b], dist) - &p[0], static_cast<std::ptrdiff_t>(best));
        ASSERT_EQ(dist, bestd);
      }
    }
  }
}

TEST(PolyApprox, NegativeToleranceTerminatesAndActsAsZero) {
  std::mt19937 rng(20240611);
  std::uniform_int_distribution<int> step(-1, 1);
  Pts walk{{0, 0}};
  for (int i = 0; i < 3000; ++i) walk.push_back({walk.back().x + 1, walk.back().y + step(rng)});
  EXPECT_EQ(Kept(walk, -1.0, kMax), Kept(walk, 0.0, kMax));
  EXPECT_EQ(Kept(walk, -1.0, 5.0), Kept(walk, 0.0, 5.0));
  Pts const line = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}};
  EXPECT_EQ(Kept(line, -1.0, kMax), (std::vector<int>{0, 4}));
}

TEST(PolyApprox, NonFiniteCoordinatesAreRefused) {
  double const inf = std::numeric_limits<double>::infinity();
  for (CPointD bad : {CPointD{kNaN, 0}, CPointD{0, kNaN}, CPointD{inf, 0}}) {
    Pts poly = {{0, 0}, {1, 0}, bad, {3, 0}, {4, 0}, {5, 0}};
    std::vector<int> idx{3};
    EXPECT_FALSE(Math::PolyInflections(poly, 0.5, idx));
    EXPECT_EQ(idx, std::vector<int>{3});
    EXPECT_FALSE(Math::PolyApprox(poly, 0.5, kMax));
    EXPECT_EQ(poly.size(), 6u);
  }
}

// Every traced outline: the kept indices run from 0 to n - 1, every dropped
// vertex lies within the tolerance of its chord, no kept chord joining more
// than one segment exceeds the limit, the result flag follows the closed
// rule, and the whole selection equals the recursive textbook version.
TEST(PolyApprox, TracedOutlinesStayWithinToleranceAndChordLimit) {
  struct Source {
    char const* file;
    int every;  // use every k-th block of the big files
  };
  Source const sources[] = {{"horse_crack.xy", 1},   {"horse_chain.xy", 1},         {"coins_crack.xy", 1},
                            {"coins_chain.xy", 1},   {"ccitt2_centerlines.xy", 3}, {"ccitt2_crack.xy", 4},
                            {"soho_buildings_chain.xy", 6}};
  struct Setting {
    double tol, limit;
  };
  Setting const settings[] = {{0.7, kMax}, {1.5, kMax}, {1.0, 12.0}, {3.0, 25.0}};
  size_t checked = 0, before = 0, after = 0;
  for (Source const& src : sources) {
    auto const polys = kmath_test::LoadPolylines(src.file);
    for (size_t b = 0; b < polys.size(); b += src.every) {
      Pts const& p = polys[b];
      if (p.size() < 3) continue;
      for (Setting const& s : settings) {
        SCOPED_TRACE(std::string(src.file) + " block " + std::to_string(b) + " tol " + std::to_string(s.tol));
        std::vector<int> idx;
        bool const changed = CPolyApprox(s.tol, s.limit).GetInflections(p.data(), static_cast<unsigned>(p.size()), idx);
        ASSERT_GE(idx.size(), 2u);
        ASSERT_EQ(idx.front(), 0);
        ASSERT_EQ(idx.back(), static_cast<int>(p.size()) - 1);
        for (size_t k = 1; k < idx.size(); ++k) {
          int const a = idx[k - 1], z = idx[k];
          ASSERT_LT(a, z);
          for (int v = a + 1; v < z; ++v) ASSERT_LE(SegDist(p[a], p[z], p[v]), s.tol + 1e-12) << "vertex " << v;
          if (z - a > 1) {
            ASSERT_LE(std::hypot(p[z].x - p[a].x, p[z].y - p[a].y), s.limit + 1e-12);
          }
        }
        bool const closed = std::hypot(p.back().x - p[0].x, p.back().y - p[0].y) < 1e-12;
        EXPECT_EQ(changed, idx.size() + (closed ? 1 : 0) < p.size());

        std::vector<int> ref{0};
        Reference(p, 0, static_cast<int>(p.size()) - 1, s.tol, s.limit, ref);
        ASSERT_EQ(idx, ref);
        ++checked;
        before += p.size();
        after += idx.size();
      }
    }
  }
  EXPECT_GT(checked, 500u);
  // Traced outlines carry one vertex per pixel step: most must go.
  EXPECT_LT(after * 4, before);
}

}  // namespace
