#include "polygon_oracle.h"
#include "test_picture.h"

namespace kmath_test {
namespace {

TEST(PtInside, HalfOpenCrossingRuleNoClosingEdgeAndBadInput) {
  char const* const sq = "0 0, 4 0, 4 4, 0 4, 0 0";
  struct Case {
    char const* name;
    char const* ring;
    CPointD p;
    bool want;
  } const cases[] = {
      {"bottom edge: the side edges count from their lower end", sq, {2, 0}, true},
      {"top edge: no edge holds y = 4 half-open", sq, {2, 4}, false},
      {"left edge: a crossing at p.x is not strictly right", sq, {0, 2}, true},
      {"right edge: nothing lies strictly right", sq, {4, 2}, false},
      {"a vertex at p.y counts once, for the edge leaving it upward", "2 0, 4 2, 2 4, 0 2, 2 0", {1, 2}, true},
      {"unclosed triangle: (0.5, 1), left of the missing diagonal, is in", "0 0, 4 0, 4 4", {0.5, 1}, true},
      // Bad input.
      {"empty ring (one point likewise)", "", {0, 0}, false},
      {"two points: one edge, crossed right of p", "1 0, 1 1", {0, 0.5}, true},
      {"zero-area ring with a repeated point: crossings pair up", "1 0, 1 1, 1 1, 1 0", {0, 0.5}, false},
      {"NaN x", sq, {kNaN, 2}, false},
      {"NaN y", sq, {2, kNaN}, false},
      {"a NaN vertex drops both its edges", "0 0, 4 0, nan nan, 4 4, 0 4, 0 0", {2, 2}, false},
  };
  for (Case const& c : cases) EXPECT_EQ(CStdPlgn::PtInside(c.p, R(c.ring)), c.want) << c.name;
}

// Outer rings turn clockwise, holes counter-clockwise (y up).
TEST(IncludeHoles, SplicesHolesByTheTieRulesAndSurvivesBadContours) {
  struct Case {
    char const* name;
    char const* in;
    char const* want;
  } const cases[] = {
      {"one contour is left alone, whatever its orientation", "0 0, 1 0, 1 1, 0 1, 0 0", "0 0, 1 0, 1 1, 0 1, 0 0"},
      {"bridged from the nearest vertex left of the hole", "0 0, 10 0, 10 10, 0 10, 0 0 | 2 2, 2 4, 4 4, 4 2, 2 2",
       "0 0, 2 2, 4 2, 4 4, 2 4, 2 2, 0 0, 0 10, 10 10, 10 0, 0 0"},
      {"hole first, started at its first leftmost point", "5 5, 5 7, 3 6, 3 4, 5 5 | 0 0, 0 10, 10 10, 10 0, 0 0",
       "0 0, 0 10, 3 6, 3 4, 5 5, 5 7, 3 6, 0 10, 10 10, 10 0, 0 0"},
      {"equal left, outer first: a hole; a bridge vertex at its start is not doubled",
       "0 0, 10 0, 10 10, 0 10, 0 5, 0 0 | 0 5, 3 4, 3 6, 0 5", "0 0, 0 5, 3 4, 3 6, 0 5, 0 10, 10 10, 10 0, 0 0"},
      {"a nearer vertex must win by FLT_EPSILON", "0 0, 1e-9 10, 20 10, 20 0, 0 0 | 5 5, 6 4, 6 6, 5 5",
       "0 0, 5 5, 6 4, 6 6, 5 5, 0 0, 1e-9 10, 20 10, 20 0, 0 0"},
      {"a vertex right of the start by less than FLT_EPSILON may bridge",
       "0 0, 0 10, 5.00000001 10, 5.000001 9.9, 20 10, 20 0, 0 0 | 5 5, 6 4, 6 6, 5 5",
       "0 0, 0 10, 5.00000001 10, 5 5, 6 4, 6 6, 5 5, 5.00000001 10, 5.000001 9.9, 20 10, 20 0, 0 0"},
      {"an island in a hole is an outer ring; outers by ascending left",
       "4 4, 6 4, 6 6, 4 6, 4 4 | 2 2, 8 2, 8 8, 2 8, 2 2 | 0 0, 10 0, 10 10, 0 10, 0 0",
       "0 0, 2 2, 8 2, 8 8, 2 8, 2 2, 0 0, 0 10, 10 10, 10 0, 0 0 | 4 4, 4 6, 6 6, 6 4, 4 4"},
      {"equal left, hole listed first: two outers", "0 4, 3 4, 3 6, 0 6, 0 4 | 0 0, 10 0, 10 10, 0 10, 0 0",
       "0 4, 0 6, 3 6, 3 4, 0 4 | 0 0, 0 10, 10 10, 10 0, 0 0"},
      {"overlapping outers: the later one takes the hole",
       "0 0, 10 0, 10 10, 0 10, 0 0 | 5 0, 15 0, 15 10, 5 10, 5 0 | 6 4, 8 4, 8 6, 6 6, 6 4",
       "0 0, 0 10, 10 10, 10 0, 0 0 | 5 0, 6 4, 8 4, 8 6, 6 6, 6 4, 5 0, 5 10, 15 10, 15 0, 5 0"},
      // Bad input. Holes: the zero-area triple and the unclosed pair. Outer:
      // those with no usable first segment (empty, one point, all NaN) or a
      // NaN midpoint; a NaN left sorts last.
      {"no contours", "", ""},
      {"degenerate contours",
       "| 0 0, 9 0, 9 9, 0 9, 0 0 | 5 5 | 3 3, 4 4 | nan nan, nan 1 | 2 2, 2 2, 2 2 | 1 1, nan 2, 1 3, 1 1",
       "| 0 0, 2 2, 4 4, 3 3, 2 2, 2 2, 2 2, 0 0, 0 9, 9 9, 9 0, 0 0 | 1 1, nan 2, 1 3, 1 1 | 5 5 | nan nan, nan 1"},
  };
  for (Case const& c : cases) {
    CStdPlgn plg(Polys(c.in));
    plg.IncludeHoles();
    EXPECT_EQ(Text(plg), Text(Polys(c.want))) << c.name;
  }
}

// Random points on chords of rings picked by their number of points, away
// from every boundary: the even-odd answer over simple rings is the winding
// number's, ring by ring and over all of them, and splicing, which only adds
// doubled bridges, keeps it. Traced data is left with one ring per outer ring
// (positive area).
TEST(PtInside, AgreesWithWindingNumbersOnRealRingsBeforeAndAfterIncludeHoles) {
  std::mt19937 rng(77);
  for (std::string const file : {"world_ne110m_countries.xy", "gshhg_h_british_isles.xy", "soho_buildings_crack.xy"}) {
    SCOPED_TRACE(file);
    CStdPlgn const before(Rings(file, true));
    CStdPlgn after = before;
    after.IncludeHoles();
    auto const outers = std::count_if(before.begin(), before.end(), [](Ring const& r) { return Area(r) > 0; });
    EXPECT_TRUE(file.find("_crack") == std::string::npos || after.size() == std::size_t(outers)) << after.size();
    for (auto const& r : after) EXPECT_LE(Area(r), 1e-12);
    // The weight of ring i is read at x = i + 0.5.
    std::discrete_distribution<> pick(before.size(), 0, before.size(), [&](double x) { return before[int(x)].size(); });
    int in = 0;
    for (int k = 0; k < 200; ++k) {
      Ring const& ring = before[pick(rng)];
      CPointD const a = ring[rng() % ring.size()], b = ring[rng() % ring.size()];
      CPointD const p = a + (b - a) * std::uniform_real_distribution<double>()(rng);
      int const side = Side(p, before, 1e-9);
      if (side == 0) continue;
      in += side > 0;
      SCOPED_TRACE(testing::Message() << "p = " << p.x << " " << p.y);
      if (CStdPlgn::PtInside(p, ring) != (Winding(p, ring) != 0)) {
        Picture pic("PtInside_" + file + "_" + std::to_string(k));
        pic.Polygon("ring", MPoly{ring}, kGrey);
        pic.Points("point", {p}, kRed);
      }
      ASSERT_EQ(CStdPlgn::PtInside(p, ring), Winding(p, ring) != 0);
      ASSERT_EQ(before.PtInside(p), side > 0);
      ASSERT_EQ(after.PtInside(p), side > 0);
    }
    EXPECT_GT(in, 60);
  }
}

TEST(ClassifyPoint, PositionsAgainstADirectedEdgeWithRelativeTolerance) {
  using P = CClassifyPoint;
  Math::CEdge const e{{0, 0}, {2, 0}}, far{{1e13, 0}, {2e13, 1e13}}, dot{{1, 1}, {1, 1}};
  struct Case {
    char const* name;
    Math::CEdge edge;
    CPointD p;
    P::PT_POSITION want;
  } const cases[] = {
      {"past the end by a relative 5e-9: on it", e, {2 + 1e-8, 0}, P::PT_ON_EDGE},
      {"past the end by a relative 5e-7", e, {2 + 1e-6, 0}, P::PT_BEYOND},
      {"L = 2e-9 and R = 0 near-equal: collinear, behind", e, {-1, 1e-9}, P::PT_BEHIND},
      {"L = 2e-7 is not near 0: left (y up)", e, {1, 1e-7}, P::PT_LEFT},
      {"NaN", e, {kNaN, 0}, P::PT_RIGHT},
      {"1e4 off a line at 1e13 is collinear", far, {1.5e13, 0.5e13 + 1e4}, P::PT_ON_EDGE},
      {"zero-length edge: anything else is beyond", dot, {1, -7}, P::PT_BEYOND},
  };
  for (Case const& c : cases) EXPECT_EQ(P(c.edge)(c.p), c.want) << c.name;
}

}  // namespace
}  // namespace kmath_test
