#include <math/line.h>
#include <math/polyapprox.h>
#include <math/smoothing.h>

#include <algorithm>
#include <random>

#include "polyline_test.h"

namespace polyline_test {
namespace {

using Idx = std::vector<int>;
constexpr double kMax = std::numeric_limits<double>::max();

// Point-to-segment distance from the core relation: past an end, the
// distance to that end (a degenerate edge has a NaN t and measures from p0).
double SegDist(CPointD const& a, CPointD const& b, CPointD const& p) {
  Math::CPtToEdge const pe(Math::CEdge{a, b}, p);
  if (pe.t < 0 || pe.t > 1) return std::hypot(p.x - (pe.t < 0 ? a : b).x, p.y - (pe.t < 0 ? a : b).y);
  return std::abs(pe.dist);
}

TEST(PolyApprox, TracedOutlinesStayWithinToleranceAndChordLimit) {
  std::pair<char const*, size_t> const sources[] = {// every k-th block of the big files
                                                    {"horse_crack.xy", 1},
                                                    {"coins_chain.xy", 1},
                                                    {"ccitt2_centerlines.xy", 3},
                                                    {"soho_buildings_chain.xy", 6}};
  double const settings[][2] = {{0.7, kMax}, {1.5, kMax}, {1.0, 12.0}, {3.0, 25.0}, {-1.0, 12.0}};
  for (auto const& src : sources) {
    auto const polys = kmath_test::LoadPolylines(src.first);
    for (size_t b = 0; b < polys.size(); b += src.second) {
      Pts const& p = polys[b];
      for (auto const& s : settings) {
        if (p.size() < 3) break;
        SCOPED_TRACE(std::string(src.first) + " block " + std::to_string(b) + " tol " + std::to_string(s[0]));
        Idx idx;
        bool const changed = Math::CPolyApprox(s[0], s[1]).GetInflections(p.data(), unsigned(p.size()), idx);
        for (size_t k = 1; k < idx.size(); ++k) {
          int const a = idx[k - 1], z = idx[k];
          double worst = 0, dist = -1;
          for (int v = a + 1; v < z; ++v)  // a later vertex is worse only by 1e-12, as in the library
            if (SegDist(p[a], p[z], p[v]) - worst >= 1e-12) worst = SegDist(p[a], p[z], p[v]);
          ASSERT_LE(worst, std::max(s[0], 0.0) + 1e-12) << "chord " << a << "-" << z;
          Math::CPolyApprox(0, 0).OutmostPoint(&p[a], &p[z], dist);
          ASSERT_EQ(dist, worst);  // the core relation's distance, bit for bit
          ASSERT_TRUE(z - a == 1 || std::hypot(p[z].x - p[a].x, p[z].y - p[a].y) <= s[1] + 1e-12);
        }
        bool const closed = std::hypot(p.back().x - p[0].x, p.back().y - p[0].y) < 1e-12;
        EXPECT_EQ(changed, idx.size() + (closed ? 1 : 0) < p.size());
      }
    }
  }
}

// Rows that fail (false) must leave both the index list and the polyline as
// passed; a valid input that keeps too much still writes its list.
TEST(PolyApprox, SmallCasesFollowTheTieClosedAndBadInputRules) {
  Pts const run = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, {7, 0}, {8, 0}, {9, 0}};
  struct Case {
    char const* name;
    Pts pts;
    double tol, limit;
    Idx idx;
    bool changed;
  } const cases[] = {
      {"zero limit never splits a segment", {{0, 0}, {1, 0.1}, {2, 0}, {3, 0.1}}, 0.5, 0.0, {0, 1, 2, 3}, false},
      {"flat chord over the limit: middle index", run, 1.0, 4.0, {0, 4, 6, 9}, true},
      {"over the limit by under 1e-12", {{0, 0}, {1, 0}, {2, 0}}, 0.5, 2 - 5e-13, {0, 2}, true},
      {"ring: degenerate chord", {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}}, 0.1, kMax, {0, 1, 2, 3, 4}, false},
      {"ring losing one", {{0, 0}, {1, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}}, 0.1, kMax, {0, 2, 3, 4, 5}, false},
      {"ring losing two", {{0, 0}, {1, 0}, {2, 0}, {2, 1}, {2, 2}, {0, 2}, {0, 0}}, .1, kMax, {0, 2, 4, 5, 6}, true},
      {"beyond by under 1e-12", {{0, 0}, {1, 0.5 + 5e-13}, {2, 0}}, 0.5, kMax, {0, 2}, true},
      {"equal distances: the first", {{0, 0}, {1, 1}, {2, 0}, {3, 1}, {4, 0}}, 0.7, kMax, {0, 1, 4}, true},
      {"hairpin past the chord's end", {{0, 0}, {3, 0.5}, {1, 0}}, 1.0, kMax, {0, 1, 2}, false},
      {"repeated points", {{0, 0}, {0, 0}, {0, 0}, {1, 0}, {1, 0}, {2, 0}, {2, 0}}, 0.1, kMax, {0, 6}, true},
      {"empty", {}, 0.5, kMax, {42}, false},
      {"one point", {{1, 2}}, 0.5, kMax, {42}, false},
      {"two points", {{1, 2}, {3, 4}}, 0.5, kMax, {42}, false},
      {"NaN", {{0, 0}, {1, kNaN}, {2, 0}, {3, 0}}, 0.5, kMax, {42}, false},
      {"infinity", {{0, 0}, {1, 0}, {kInf, 0}, {3, 0}}, 0.5, kMax, {42}, false},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Idx idx{42};
    EXPECT_EQ(Math::CPolyApprox(c.tol, c.limit).GetInflections(c.pts.data(), unsigned(c.pts.size()), idx), c.changed);
    EXPECT_EQ(idx, c.idx);
    Pts poly = c.pts, want;
    for (int i : c.changed ? c.idx : Idx{}) want.push_back(c.pts[i]);
    EXPECT_EQ(Math::PolyApprox(poly, c.tol, c.limit), c.changed);
    EXPECT_TRUE(Same(poly, c.changed ? want : c.pts));
  }
  Idx idx{7};
  EXPECT_FALSE(Math::CPolyApprox(0.5, kMax).GetInflections(nullptr, 5, idx) || Math::PolyInflections({}, 0.5, idx));
  EXPECT_EQ(idx, Idx{7});
}

// The selection exactly as written down (split at OutmostPoint's vertex,
// kept indices from a stack), with nothing to speed it up: the oracle for the
// indexed search GetInflections uses on long polylines.
Idx PlainSelection(Pts const& p, double tol, double limit) {
  auto const beyond = [](double x, double y) { return std::abs(x - y) >= 1e-12 && x > y; };
  Math::CPolyApprox const approx(tol, limit);
  Idx idx{0}, stack{static_cast<int>(p.size()) - 1};
  while (!stack.empty()) {
    int const a = idx.back(), b = stack.back();
    double dist = 0;
    int const m = static_cast<int>(approx.OutmostPoint(&p[a], &p[b], dist) - p.data());
    double const c = std::hypot(p[b].x - p[a].x, p[b].y - p[a].y);
    if (m != b && beyond(dist, tol)) {
      stack.push_back(m);
    } else if (!(std::abs(c - limit) < 1e-12 || c < limit) && b - a > 1) {
      stack.push_back(m != b ? m : a + (b - a) / 2);
    } else {
      idx.push_back(b);
      stack.pop_back();
    }
  }
  return idx;
}

// Regression: a chord limit on a long, nearly straight line split at vertices
// off the chord by rounding noise only, next to the chord's start, so every
// split rescanned the rest of the line: quadratic. The search that fixed it
// must keep every result, noise-level ties included.
TEST(PolyApprox, LongNearlyStraightLinesKeepThePlainResultBitForBit) {
  std::mt19937 rng(2024);
  std::normal_distribution<double> jitter(0.0, 1.0);
  auto resampled = [](CPointD a, CPointD b, double step) {
    std::vector<CPointD> p{a, b};
    Math::PolyResample(p, step);
    return p;
  };
  struct Case {
    char const* name;
    Pts pts;
    double tol, limit;
  };
  std::vector<Case> cases = {
      {"the reported line, shortened", resampled({181273.64417963702, 529555.4412286698}, {181272.7, 489555.0}, 2.0),
       10.0, 5.0},
      {"diagonal far from the origin", resampled({123456.789, 654321.123}, {131456.789, 662321.5}, 1.3), 10.0, 5.0},
      {"the same without a limit", resampled({123456.789, 654321.123}, {131456.789, 662321.5}, 1.3), 1e-11, kMax},
      {"exactly vertical", resampled({181273.64417963702, 529555.44}, {181273.64417963702, 509555.0}, 2.0), 10.0, 5.0},
  };
  Pts noisy, stairs, hairpins;
  for (int i = 0; i < 6000; ++i) noisy.push_back({i * 0.5, 3e-12 * jitter(rng)});
  for (int i = 0; i < 6000; ++i) stairs.push_back({static_cast<double>(i / 7), static_cast<double>((i + 3) / 7)});
  for (int i = 0; i < 6000; ++i) hairpins.push_back({(i % 400 < 200 ? i % 200 : 200 - i % 200) * 1.0, i * 1e-3});
  cases.push_back({"noise at the 1e-12 tie scale", noisy, 1e-12, 40.0});
  cases.push_back({"integer staircase", stairs, 0.5, 30.0});
  cases.push_back({"hairpins past the chord's ends", hairpins, 0.25, kMax});
  // A wandering pixel chain: the heading drifts, every new pixel is a vertex.
  Pts walk{{0, 0}};
  double x = 0, y = 0, heading = 0;
  while (walk.size() < 20000) {
    heading += 0.08 * jitter(rng);
    x += 0.8 * std::cos(heading);
    y += 0.8 * std::sin(heading);
    CPointD const px{std::round(x), std::round(y)};
    if (px.x != walk.back().x || px.y != walk.back().y) walk.push_back(px);
  }
  cases.push_back({"traced walk", walk, 1.0, 20.0});
  cases.push_back({"traced walk, deviation only", walk, 0.5, kMax});
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Idx got;
    Math::CPolyApprox(c.tol, c.limit).GetInflections(c.pts.data(), static_cast<unsigned>(c.pts.size()), got);
    EXPECT_EQ(got, PlainSelection(c.pts, c.tol, c.limit));
  }
}

}  // namespace
}  // namespace polyline_test
