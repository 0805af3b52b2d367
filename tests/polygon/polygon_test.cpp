#include <math/kmath.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "polygon_oracle.h"

namespace {

using polygon_oracle::Ring;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

Ring Square(double x0, double y0, double x1, double y1) { return Ring{{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}, {x0, y0}}; }

void ExpectRing(Ring const& got, std::vector<CPointD> const& want) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < want.size(); ++i) {
    EXPECT_EQ(got[i].x, want[i].x) << "point " << i;
    EXPECT_EQ(got[i].y, want[i].y) << "point " << i;
  }
}

// ---------------------------------------------------------------- PtInside

TEST(PtInside, DegenerateRingsHoldNothing) {
  CPointD const p{0.0, 0.0};
  EXPECT_FALSE(CStdPlgn::PtInside(p, Ring{}));
  EXPECT_FALSE(CStdPlgn::PtInside(p, Ring{{0.0, 0.0}}));
  // Two points: one edge, crossed once to the right of p, so it counts.
  EXPECT_TRUE(CStdPlgn::PtInside({0.0, 0.5}, Ring{{1.0, 0.0}, {1.0, 1.0}}));
  // Zero-area ring (out and back) and repeated points: every crossing pairs up.
  EXPECT_FALSE(CStdPlgn::PtInside({0.0, 0.5}, Ring{{1.0, 0.0}, {1.0, 1.0}, {1.0, 1.0}, {1.0, 0.0}}));
  // NaN: the pairs holding it never count; the query point NaN is never in.
  EXPECT_FALSE(CStdPlgn::PtInside({kNaN, 0.5}, Square(0, 0, 1, 1)));
  EXPECT_FALSE(CStdPlgn::PtInside({0.5, kNaN}, Square(0, 0, 1, 1)));
  Ring withNaN = Square(0, 0, 4, 4);
  withNaN.insert(withNaN.begin() + 2, CPointD{kNaN, kNaN});
  // Edges (4,0)-NaN and NaN-(4,4) drop out: the ring is open on the right.
  EXPECT_FALSE(CStdPlgn::PtInside({2.0, 2.0}, withNaN));
}

TEST(PtInside, HalfOpenRuleDecidesBoundaryPoints) {
  Ring const sq = Square(0, 0, 4, 4);
  // Bottom edge: the side edges start at y = 0 and count; only the right one
  // lies right of p, so the bottom edge is in. The top edge is out: no edge
  // has y = 4 in its half-open range.
  EXPECT_TRUE(CStdPlgn::PtInside({2.0, 0.0}, sq));
  EXPECT_FALSE(CStdPlgn::PtInside({2.0, 4.0}, sq));
  // Left edge: crossing x == p.x is not "strictly greater", the right edge
  // flips. Right edge: nothing lies strictly right.
  EXPECT_TRUE(CStdPlgn::PtInside({0.0, 2.0}, sq));
  EXPECT_FALSE(CStdPlgn::PtInside({4.0, 2.0}, sq));
  // A vertex at p.y counts once, for the edge leaving it upward: the apex
  // (2,2) of the diamond is met by two edges both going down from it.
  Ring const diamond{{2, 0}, {4, 2}, {2, 4}, {0, 2}, {2, 0}};
  EXPECT_TRUE(CStdPlgn::PtInside({1.0, 2.0}, diamond));
  EXPECT_FALSE(CStdPlgn::PtInside({-1.0, 2.0}, diamond));
  EXPECT_FALSE(CStdPlgn::PtInside({-1.0, 4.0}, diamond));
  EXPECT_FALSE(CStdPlgn::PtInside({-1.0, 0.0}, diamond));
}

TEST(PtInside, UnclosedRingLacksItsClosingEdge) {
  // Triangle (0,0) (4,0) (4,4). (0.5, 1) lies outside it, left of the
  // diagonal: closed, the diagonal and the right edge both flip; unclosed,
  // only the right edge does.
  Ring const closed{{0, 0}, {4, 0}, {4, 4}, {0, 0}};
  Ring const open{{0, 0}, {4, 0}, {4, 4}};
  EXPECT_FALSE(CStdPlgn::PtInside({0.5, 1.0}, closed));
  EXPECT_TRUE(CStdPlgn::PtInside({0.5, 1.0}, open));
  EXPECT_TRUE(CStdPlgn::PtInside({3.0, 1.0}, closed));
}

TEST(PtInside, MemberCountsContoursEvenOdd) {
  CStdPlgn plg{Square(0, 0, 10, 10), Square(2, 2, 8, 8), Square(4, 4, 6, 6), Square(20, 0, 30, 10)};
  EXPECT_TRUE(plg.PtInside({1.0, 1.0}));
  EXPECT_FALSE(plg.PtInside({3.0, 3.0}));  // in the hole
  EXPECT_TRUE(plg.PtInside({5.0, 5.0}));   // on the island
  EXPECT_TRUE(plg.PtInside({25.0, 5.0}));
  EXPECT_FALSE(plg.PtInside({15.0, 5.0}));
  EXPECT_FALSE(CStdPlgn{}.PtInside({0.0, 0.0}));
}

// Random points in each ring's box, away from its boundary, against the
// winding number. Countries, coastlines and counties: thousands of rings.
TEST(PtInside, AgreesWithWindingNumberOnRealRings) {
  std::mt19937 rng(20240611);
  for (std::string const file :
       {"world_ne110m_countries.xy", "dcw_countries_west_europe.xy", "gshhg_h_british_isles.xy", "nc_counties.xy"}) {
    SCOPED_TRACE(file);
    int checked = 0;
    int inside = 0;
    for (Ring const& ring : polygon_oracle::Rings(file)) {
      // Open shorelines (cut by the data's region) are no rings.
      if (ring.size() < 4 || ring.front().x != ring.back().x || ring.front().y != ring.back().y) continue;
      CRectD box{ring[0].x, ring[0].y, ring[0].x, ring[0].y};
      for (auto const& p : ring) {
        box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x), std::max(box.bottom, p.y)};
      }
      std::uniform_real_distribution<double> ux(box.left, box.right);
      std::uniform_real_distribution<double> uy(box.top, box.bottom);
      int const tries = ring.size() > 1000 ? 60 : 6;
      for (int k = 0; k < tries; ++k) {
        CPointD const p{ux(rng), uy(rng)};
        if (polygon_oracle::BoundaryDist(p, {ring}) < 1e-9) continue;
        bool const want = polygon_oracle::Winding(p, ring) != 0;
        ASSERT_EQ(CStdPlgn::PtInside(p, ring), want) << "seed 20240611, p = " << p.x << " " << p.y;
        ++checked;
        inside += want;
      }
    }
    // The boxes are mostly filled by their rings: a real mix of both answers.
    EXPECT_GT(checked, 500);
    EXPECT_GT(inside, checked / 5);
    EXPECT_LT(inside, checked * 9 / 10);
  }
}

// Every pixel of a traced mask: the outlines run along pixel sides, so a
// pixel centre is never on them and must be inside exactly when the pixel
// is foreground (holes included).
TEST(PtInside, ReproducesTheTracedMask) {
  for (std::string const name : {"horse", "coins"}) {
    SCOPED_TRACE(name);
    CStdPlgn plg;
    for (auto& r : polygon_oracle::Rings(name + "_crack.xy")) plg.push_back(r);
    auto const mask = polygon_oracle::LoadMask(name + "_mask.pbm");
    int wrong = 0;
    int fg = 0;
    for (int y = 0; y < mask.height; y += 3) {
      for (int x = 1; x < mask.width; x += 2) {
        bool const want = mask.At(x, y);
        fg += want;
        wrong += plg.PtInside({x + 0.5, y + 0.5}) != want;
      }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(fg, 1000);
  }
}

// ------------------------------------------------------------ IncludeHoles

TEST(IncludeHoles, FewerThanTwoContoursAreLeftAlone) {
  CStdPlgn none;
  none.IncludeHoles();
  EXPECT_TRUE(none.empty());
  Ring const ccw = Square(0, 0, 1, 1);  // positive area, yet untouched
  CStdPlgn one{ccw};
  one.IncludeHoles();
  ASSERT_EQ(one.size(), 1u);
  ExpectRing(one[0], ccw);
}

TEST(IncludeHoles, NestedSquaresBecomeOneBridgedRing) {
  // Outer counter-clockwise, hole clockwise: both get reversed. The hole's
  // leftmost point (2,2) is its first after reversal; the nearest outer
  // vertex with x <= 2 is (0,0).
  CStdPlgn plg{Square(0, 0, 10, 10), Ring{{2, 2}, {2, 4}, {4, 4}, {4, 2}, {2, 2}}};
  plg.IncludeHoles();
  ASSERT_EQ(plg.size(), 1u);
  ExpectRing(plg[0], {{0, 0}, {2, 2}, {4, 2}, {4, 4}, {2, 4}, {2, 2}, {0, 0}, {0, 10}, {10, 10}, {10, 0}, {0, 0}});
  EXPECT_DOUBLE_EQ(polygon_oracle::Area(plg[0]), -100.0 + 4.0);
}

TEST(IncludeHoles, HoleIsRotatedToItsFirstLeftmostPoint) {
  // The hole (positive area already) starts at (5,5); its leftmost x = 3 is
  // met first at (3,6), then at (3,4). The outer ring is clockwise already;
  // of its vertices with x <= 3, (0,10) is nearest to (3,6): 5 against
  // sqrt(45) for (0,0).
  Ring const outer{{0, 0}, {0, 10}, {10, 10}, {10, 0}, {0, 0}};
  Ring const hole{{5, 5}, {5, 7}, {3, 6}, {3, 4}, {5, 5}};
  CStdPlgn plg{hole, outer};  // input order does not matter: sorted by left
  plg.IncludeHoles();
  ASSERT_EQ(plg.size(), 1u);
  ExpectRing(plg[0], {{0, 0}, {0, 10}, {3, 6}, {3, 4}, {5, 5}, {5, 7}, {3, 6}, {0, 10}, {10, 10}, {10, 0}, {0, 0}});
}

TEST(IncludeHoles, HoleTouchingAnOuterVertexIsNotDuplicated) {
  // The outer ring has a vertex at (0,5), the hole's leftmost point.
  CStdPlgn plg{Ring{{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 5}, {0, 0}}, Ring{{0, 5}, {3, 4}, {3, 6}, {0, 5}}};
  plg.IncludeHoles();
  ASSERT_EQ(plg.size(), 1u);
  ExpectRing(plg[0], {{0, 0}, {0, 5}, {3, 4}, {3, 6}, {0, 5}, {0, 10}, {10, 10}, {10, 0}, {0, 0}});
}

TEST(IncludeHoles, BridgeVertexNeedsAClearWinAndMayShareTheHolesX) {
  // Hole start (5,5); the clockwise outer ring's first two vertices are
  // both sqrt(50) away, and (1e-9, 10) is nearer by less than FLT_EPSILON:
  // the first vertex keeps the bridge.
  Ring const hole{{5, 5}, {6, 4}, {6, 6}, {5, 5}};
  {
    CStdPlgn plg{Ring{{0, 0}, {1e-9, 10}, {20, 10}, {20, 0}, {0, 0}}, hole};
    plg.IncludeHoles();
    ASSERT_EQ(plg.size(), 1u);
    ExpectRing(plg[0], {{0, 0}, {5, 5}, {6, 4}, {6, 6}, {5, 5}, {0, 0}, {1e-9, 10}, {20, 10}, {20, 0}, {0, 0}});
  }
  {
    // (5 + 1e-8, 10) lies right of the hole's start by less than
    // FLT_EPSILON and is nearest (5): taken. (5 + 1e-6, 9.9) is nearer
    // still but too far right to be considered.
    CStdPlgn plg{Ring{{0, 0}, {0, 10}, {5 + 1e-8, 10}, {5 + 1e-6, 9.9}, {20, 10}, {20, 0}, {0, 0}}, hole};
    plg.IncludeHoles();
    ASSERT_EQ(plg.size(), 1u);
    ExpectRing(plg[0], {{0, 0}, {0, 10}, {5 + 1e-8, 10}, {5, 5}, {6, 4}, {6, 6}, {5, 5}, {5 + 1e-8, 10},
                        {5 + 1e-6, 9.9}, {20, 10}, {20, 0}, {0, 0}});
  }
}

TEST(IncludeHoles, IslandInAHoleBecomesAnOuterRing) {
  CStdPlgn plg{Square(0, 0, 10, 10), Square(2, 2, 8, 8), Square(4, 4, 6, 6)};
  plg.IncludeHoles();
  ASSERT_EQ(plg.size(), 2u);
  EXPECT_DOUBLE_EQ(polygon_oracle::Area(plg[0]), -100.0 + 36.0);
  ExpectRing(plg[1], {{4, 4}, {4, 6}, {6, 6}, {6, 4}, {4, 4}});
  // Outer rings in order of their left side; a disjoint ring further left
  // comes first although it was given last.
  CStdPlgn two{Square(0, 0, 1, 1), Square(-5, 0, -4, 1)};
  two.IncludeHoles();
  ASSERT_EQ(two.size(), 2u);
  EXPECT_EQ(two[0][0].x, -5.0);
}

TEST(IncludeHoles, DegenerateContoursNeverCrash) {
  CStdPlgn plg{Ring{}, Square(0, 0, 10, 10), Ring{{5, 5}}, Ring{{3, 3}, {4, 4}},
               Ring{{kNaN, kNaN}, {kNaN, 1}}, Ring{{2, 2}, {2, 2}, {2, 2}}, Ring{{1, 1}, {kNaN, 2}, {1, 3}, {1, 1}}};
  plg.IncludeHoles();
  // Holes: the zero-area (2,2) triple and the unclosed 2-point (3,3)-(4,4),
  // both with a first-segment midpoint inside the square. Everything else
  // stays a contour of its own: the empty, one-point and all-NaN ones have
  // no usable first segment, and the NaN midpoint of the last one is in
  // nothing.
  ASSERT_EQ(plg.size(), 5u);
  std::size_t empties = 0;
  std::size_t singles = 0;
  std::size_t spliced = 0;
  for (auto const& r : plg) {
    empties += r.empty();
    singles += r.size() == 1;
    if (!r.empty() && r[0].x == 0 && r[0].y == 0) spliced = r.size();
  }
  EXPECT_EQ(empties, 1u);
  EXPECT_EQ(singles, 1u);
  // 5 square points, each hole's points plus one copy of its bridge vertex.
  EXPECT_EQ(spliced, 5u + 4u + 3u);
}

// Splicing only concatenates rings with doubled bridges, so the even-odd
// answer is unchanged away from the boundary; on clean traced data the
// number of rings left is the number of outer rings the tracer wrote.
TEST(IncludeHoles, KeepsEvenOddAnswersAndLeavesOneRingPerOuter) {
  std::mt19937 rng(77);
  struct Case {
    std::string file;
    bool cleanTopology;
  };
  for (Case const& c : {Case{"coins_crack.xy", true}, Case{"soho_buildings_crack.xy", true},
                        Case{"horse_crack.xy", true}, Case{"dcw_countries_west_europe.xy", false},
                        Case{"world_ne110m_countries.xy", false}}) {
    SCOPED_TRACE(c.file);
    auto const blocks = kmath_test::LoadXY(c.file);
    CStdPlgn before;
    std::size_t outers = 0;
    for (auto const& b : blocks) {
      before.emplace_back(b.pts);
      outers += b.Attr("ring") == "outer";
    }
    CStdPlgn after = before;
    after.IncludeHoles();
    if (c.cleanTopology) {
      EXPECT_EQ(after.size(), outers);
    }
    EXPECT_LT(after.size(), before.size());
    for (auto const& r : after) EXPECT_LE(polygon_oracle::Area(r), 1e-12);

    CRectD box{before[0][0].x, before[0][0].y, before[0][0].x, before[0][0].y};
    for (auto const& r : before) {
      for (auto const& p : r) {
        box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x), std::max(box.bottom, p.y)};
      }
    }
    std::uniform_real_distribution<double> ux(box.left, box.right);
    std::uniform_real_distribution<double> uy(box.top, box.bottom);
    int in = 0;
    for (int k = 0; k < 400; ++k) {
      CPointD const p{ux(rng), uy(rng)};
      bool const want = before.PtInside(p);
      in += want;
      EXPECT_EQ(after.PtInside(p), want) << "seed 77, p = " << p.x << " " << p.y;
    }
    EXPECT_GT(in, 10);
  }
}

TEST(IncludeHoles, ItalyKeepsSanMarinoAndVaticanOut) {
  auto const blocks = kmath_test::LoadXY("dcw_countries_west_europe.xy");
  CStdPlgn italy;
  std::vector<Ring> holes;
  for (auto const& b : blocks) {
    if (b.Attr("id") != "Italy") continue;
    italy.emplace_back(b.pts);
    if (b.Attr("ring") == "hole") holes.emplace_back(b.pts);
  }
  ASSERT_EQ(holes.size(), 2u);
  std::size_t const rings = italy.size();
  italy.IncludeHoles();
  // At least the two enclaves were spliced (the file also repeats a few
  // small rings on top of each other, and those pair up as well).
  EXPECT_LE(italy.size(), rings - 2);
  std::mt19937 rng(5);
  for (Ring const& h : holes) {
    // Points of the enclave (by the winding number) are not in Italy.
    double const x0 = h[0].x;
    double const y0 = h[0].y;
    std::uniform_real_distribution<double> d(-0.05, 0.05);
    int tested = 0;
    for (int k = 0; k < 400 && tested < 20; ++k) {
      CPointD const p{x0 + d(rng), y0 + d(rng)};
      if (polygon_oracle::Winding(p, h) == 0 || polygon_oracle::BoundaryDist(p, {h}) < 1e-9) continue;
      ++tested;
      EXPECT_FALSE(italy.PtInside(p));
    }
    EXPECT_GT(tested, 0);
  }
}

// ---------------------------------------------------------- CClassifyPoint

TEST(ClassifyPoint, PositionsAgainstADirectedEdge) {
  CClassifyPoint const cls(Math::CEdge{{0.0, 0.0}, {2.0, 0.0}});
  struct Case {
    char const* name;
    CPointD p;
    CClassifyPoint::PT_POSITION want;
  };
  Case const cases[] = {
      {"left (y up)", {1.0, 1.0}, CClassifyPoint::PT_LEFT},
      {"right", {1.0, -1.0}, CClassifyPoint::PT_RIGHT},
      {"beyond", {3.0, 0.0}, CClassifyPoint::PT_BEYOND},
      {"behind", {-1.0, 0.0}, CClassifyPoint::PT_BEHIND},
      {"on segment", {1.0, 0.0}, CClassifyPoint::PT_ON_EDGE},
      {"at start", {0.0, 0.0}, CClassifyPoint::PT_ON_EDGE},
      {"at end", {2.0, 0.0}, CClassifyPoint::PT_ON_EDGE},
      // Relative 1e-8: 2 + 1e-8 is near-equal to the end (1e-8 / 2 < 1e-8).
      {"near end, outside", {2.0 + 1e-8, 0.0}, CClassifyPoint::PT_ON_EDGE},
      {"clearly past end", {2.0 + 1e-6, 0.0}, CClassifyPoint::PT_BEYOND},
      // L = 2e-9 and R = 0 are near-equal (absolute below FLT_EPSILON): collinear.
      {"hair above the segment", {1.0, 1e-9}, CClassifyPoint::PT_ON_EDGE},
      {"hair above, behind", {-1.0, 1e-9}, CClassifyPoint::PT_BEHIND},
      {"just above the segment", {1.0, 1e-7}, CClassifyPoint::PT_LEFT},
      {"NaN", {kNaN, 0.0}, CClassifyPoint::PT_RIGHT},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(cls(c.p), c.want);
  }
  // Far from the origin the tolerance scales: 1e4 off a line at 1e13 is
  // still collinear, while it is not at unit scale.
  CClassifyPoint const far(Math::CEdge{{1e13, 0.0}, {2e13, 1e13}});
  EXPECT_EQ(far({1.5e13, 0.5e13 + 1e4}), CClassifyPoint::PT_ON_EDGE);
  EXPECT_EQ(far({1.5e13, 0.5e13 + 1e7}), CClassifyPoint::PT_LEFT);
}

TEST(ClassifyPoint, ZeroLengthEdgeReportsEverythingElseBeyond) {
  CClassifyPoint cls(Math::CEdge{{1.0, 1.0}, {1.0, 1.0}});
  EXPECT_EQ(cls({1.0, 1.0}), CClassifyPoint::PT_ON_EDGE);
  for (CPointD p : {CPointD{0, 0}, CPointD{5, 3}, CPointD{1, -7}}) EXPECT_EQ(cls(p), CClassifyPoint::PT_BEYOND);
  // Copy assignment takes the other edge.
  cls = CClassifyPoint(Math::CEdge{{0.0, 0.0}, {0.0, 1.0}});
  EXPECT_EQ(cls({-1.0, 0.5}), CClassifyPoint::PT_LEFT);
}

}  // namespace
