#include <math/kmath.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "polygon_oracle.h"

namespace {

using polygon_oracle::Ring;
using MPoly = Math::mpoly_base<CPointD>;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

Ring Square(double x0, double y0, double x1, double y1) { return Ring{{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}, {x0, y0}}; }

void ExpectPieces(MPoly const& got, std::vector<std::vector<CPointD>> const& want) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < want.size(); ++i) {
    SCOPED_TRACE("piece " + std::to_string(i));
    ASSERT_EQ(got[i].size(), want[i].size());
    for (std::size_t j = 0; j < want[i].size(); ++j) {
      EXPECT_DOUBLE_EQ(got[i][j].x, want[i][j].x) << "point " << j;
      EXPECT_DOUBLE_EQ(got[i][j].y, want[i][j].y) << "point " << j;
    }
  }
}

struct Split {
  MPoly in;
  MPoly out;
};

Split SplitBy(CStdPlgn const& plg, Ring const& line, bool closed = false, bool boundaryInside = true) {
  Math::CSplitPoly1 const split(plg, closed);
  Split r;
  split(line, r.in, r.out, boundaryInside);
  return r;
}

TEST(SplitPoly, CrossingLineAlternatesInsideAndOutside) {
  CStdPlgn const sq{Square(0, 0, 10, 10)};
  Split const r = SplitBy(sq, Ring{{-5, 5}, {15, 5}});
  ExpectPieces(r.in, {{{0, 5}, {10, 5}}});
  ExpectPieces(r.out, {{{-5, 5}, {0, 5}}, {{10, 5}, {15, 5}}});

  // Holes count by even-odd, without IncludeHoles.
  CStdPlgn const holed{Square(0, 0, 10, 10), Square(4, 4, 6, 6)};
  Split const h = SplitBy(holed, Ring{{-5, 5}, {3, 5}, {15, 5}});
  ExpectPieces(h.in, {{{0, 5}, {3, 5}, {4, 5}}, {{6, 5}, {10, 5}}});
  ExpectPieces(h.out, {{{-5, 5}, {0, 5}}, {{4, 5}, {6, 5}}, {{10, 5}, {15, 5}}});
}

TEST(SplitPoly, WholePolylinesGoToTheirSideAndResultsAreAppended) {
  CStdPlgn const sq{Square(0, 0, 10, 10)};
  Math::CSplitPoly1 const split(sq, false);
  MPoly in{Ring{{100, 100}}};
  MPoly out;
  split(Ring{{1, 1}, {2, 3}, {4, 1}}, in, out, true);
  split(Ring{{11, 1}, {12, 3}}, in, out, true);
  split(Ring{{5, 5}}, in, out, true);  // one point: no segment, no crossing
  ExpectPieces(in, {{{100, 100}}, {{1, 1}, {2, 3}, {4, 1}}, {{5, 5}}});
  ExpectPieces(out, {{{11, 1}, {12, 3}}});
}

TEST(SplitPoly, TouchesAndVertexCrossings) {
  CStdPlgn const sq{Square(0, 0, 10, 10)};
  // Touching the corner from outside: cut there, both halves outside, joined.
  Split const t = SplitBy(sq, Ring{{-5, -5}, {0, 0}, {-5, 5}});
  EXPECT_TRUE(t.in.empty());
  ExpectPieces(t.out, {{{-5, -5}, {0, 0}, {-5, 5}}});
  // Through the corner into the square.
  Split const c = SplitBy(sq, Ring{{-5, -5}, {5, 5}});
  ExpectPieces(c.in, {{{0, 0}, {5, 5}}});
  ExpectPieces(c.out, {{{-5, -5}, {0, 0}}});
  // A vertex on an edge, the polyline crossing there.
  Split const v = SplitBy(sq, Ring{{5, -5}, {5, 0}, {5, 5}});
  ExpectPieces(v.in, {{{5, 0}, {5, 5}}});
  ExpectPieces(v.out, {{{5, -5}, {5, 0}}});
  // Within FLT_EPSILON of an edge counts as on it.
  Split const n = SplitBy(sq, Ring{{5, -5}, {5, 1e-8}, {6, -5}});
  EXPECT_TRUE(n.in.empty());
  ExpectPieces(n.out, {{{5, -5}, {5, 1e-8}, {6, -5}}});
}

TEST(SplitPoly, StretchAlongAnEdgeGoesWhereBoundaryInsideSays) {
  CStdPlgn const sq{Square(0, 0, 10, 10)};
  Ring const line{{-5, 0}, {5, 0}, {5, 5}};
  Split const closedSet = SplitBy(sq, line, false, true);
  ExpectPieces(closedSet.in, {{{0, 0}, {5, 0}, {5, 5}}});
  ExpectPieces(closedSet.out, {{{-5, 0}, {0, 0}}});
  Split const openSet = SplitBy(sq, line, false, false);
  ExpectPieces(openSet.in, {{{5, 0}, {5, 5}}});
  ExpectPieces(openSet.out, {{{-5, 0}, {0, 0}, {5, 0}}});
}

TEST(SplitPoly, PolylineOnTheBoundaryOutputsNothing) {
  CStdPlgn const sq{Square(0, 0, 10, 10)};
  for (Ring const& line : {Ring{{0, 0}, {10, 0}, {10, 10}}, Square(0, 0, 10, 10), Ring{{3, 10}, {7, 10}}}) {
    Split const r = SplitBy(sq, line, true);
    EXPECT_TRUE(r.in.empty());
    EXPECT_TRUE(r.out.empty());
  }
}

TEST(SplitPoly, ClosedFlagJoinsThroughTheRingsStart) {
  CStdPlgn const sq{Square(0, 0, 10, 10)};
  Ring const ring{{5, 5}, {15, 5}, {15, 8}, {5, 8}, {5, 5}};
  Split const closed = SplitBy(sq, ring, true);
  ExpectPieces(closed.in, {{{10, 8}, {5, 8}, {5, 5}, {10, 5}}});
  ExpectPieces(closed.out, {{{10, 5}, {15, 5}, {15, 8}, {10, 8}}});
  Split const open = SplitBy(sq, ring, false);
  ExpectPieces(open.in, {{{5, 5}, {10, 5}}, {{10, 8}, {5, 8}, {5, 5}}});
}

TEST(SplitPoly, SpacePolylinesInterpolateZ) {
  CStdPlgn const sq{Square(0, 0, 10, 10)};
  Math::CSplitPoly1 const split(sq, false);
  Math::mpoly_base<CPoint3D> in;
  Math::mpoly_base<CPoint3D> out;
  split(Math::poly_base<CPoint3D>{{-5, 5, 0}, {15, 5, 20}}, in, out, true);
  ASSERT_EQ(in.size(), 1u);
  ASSERT_EQ(in[0].size(), 2u);
  EXPECT_DOUBLE_EQ(in[0][0].z, 5.0);
  EXPECT_DOUBLE_EQ(in[0][1].z, 15.0);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_DOUBLE_EQ(out[0][0].z, 0.0);
  EXPECT_DOUBLE_EQ(out[1][1].z, 20.0);
}

TEST(SplitPoly, BadInputNeverCrashes) {
  // No polygon at all: everything is outside.
  Split const none = SplitBy(CStdPlgn{}, Ring{{0, 0}, {1, 1}});
  EXPECT_TRUE(none.in.empty());
  ExpectPieces(none.out, {{{0, 0}, {1, 1}}});
  // Degenerate contours and a NaN vertex in the polygon are passed over:
  // the square still decides, minus its two edges at the NaN.
  CStdPlgn const messy{Ring{}, Ring{{3, 3}}, Ring{{1, 1}, {1, 1}}, Square(0, 0, 10, 10),
                       Ring{{20, 0}, {kNaN, 5}, {20, 10}}};
  Split const m = SplitBy(messy, Ring{{-5, 5}, {15, 5}});
  ExpectPieces(m.in, {{{0, 5}, {10, 5}}});
  // A polyline on the degenerate contour's point: that point is boundary.
  Split const onDot = SplitBy(messy, Ring{{1, 1}, {2, 2}});
  ExpectPieces(onDot.in, {{{1, 1}, {2, 2}}});
  // Empty polyline: no side, nothing out.
  Split const empty = SplitBy(messy, Ring{});
  EXPECT_TRUE(empty.in.empty() && empty.out.empty());
  // NaN vertices: no crash, every finite piece still lands somewhere.
  Split const nan = SplitBy(messy, Ring{{-5, 5}, {kNaN, kNaN}, {5, 5}, {15, 5}});
  EXPECT_FALSE(nan.in.empty() && nan.out.empty());
  // Repeated points and zero-length segments.
  Split const rep = SplitBy(messy, Ring{{-5, 5}, {-5, 5}, {0, 5}, {0, 5}, {5, 5}, {5, 5}});
  ExpectPieces(rep.in, {{{0, 5}, {0, 5}, {5, 5}, {5, 5}}});
  ExpectPieces(rep.out, {{{-5, 5}, {-5, 5}, {0, 5}}});
  // A moved-from splitter outputs nothing; the moved-to one works.
  CStdPlgn const sq{Square(0, 0, 10, 10)};
  Math::CSplitPoly1 a(sq, false);
  Math::CSplitPoly1 b(std::move(a));
  MPoly in, out;
  a(Ring{{1, 1}, {2, 2}}, in, out, true);  // NOLINT(bugprone-use-after-move): documented
  EXPECT_TRUE(in.empty() && out.empty());
  b(Ring{{1, 1}, {2, 2}}, in, out, true);
  EXPECT_EQ(in.size(), 1u);
}

// Properties on real data. Truths: the winding number for the side of a
// point, the distance to the polygon's segments for "on the boundary".
// Every piece's segment quarter points away from the boundary lie on its
// result's side; each cut end lies on the boundary; no length is lost.
void CheckSplitProperties(CStdPlgn const& plg, std::vector<Ring> const& lines, bool closed, bool boundaryInside,
                          int minCrossed) {
  polygon_oracle::RingSet const rings(std::vector<Ring>(plg.begin(), plg.end()));
  Math::CSplitPoly1 const split(plg, closed);
  int crossed = 0;
  int samples = 0;
  for (std::size_t li = 0; li < lines.size(); ++li) {
    Ring const& line = lines[li];
    MPoly in;
    MPoly out;
    split(line, in, out, boundaryInside);
    if (in.empty() && out.empty()) continue;  // on the boundary throughout
    crossed += !in.empty() && !out.empty();
    double total = 0.0;
    for (int side = 0; side < 2; ++side) {
      for (Ring const& piece : side == 0 ? in : out) {
        ASSERT_GE(piece.size(), 2u);
        total += polygon_oracle::Length(piece);
        for (CPointD const& end : {piece.front(), piece.back()}) {
          bool const lineEnd = (end.x == line.front().x && end.y == line.front().y) ||
                               (end.x == line.back().x && end.y == line.back().y);
          if (!lineEnd) {
            ASSERT_TRUE(rings.OnBoundary(end, 1e-6)) << "line " << li;
          }
        }
        for (std::size_t i = 0; i + 1 < piece.size(); ++i) {
          for (double t : {0.25, 0.5, 0.75}) {
            CPointD const p = piece[i] + (piece[i + 1] - piece[i]) * t;
            if (rings.OnBoundary(p, 1e-6)) continue;
            ++samples;
            ASSERT_EQ(rings.Inside(p), side == 0)
                << "line " << li << (side == 0 ? " inside" : " outside") << " piece, p = " << p.x << " " << p.y;
          }
        }
      }
    }
    double const want = polygon_oracle::Length(line);
    EXPECT_NEAR(total, want, 1e-9 * want) << "line " << li;
  }
  EXPECT_GE(crossed, minCrossed);
  EXPECT_GT(samples, 100);
}

TEST(SplitPoly, CountiesSplitByOtherCounties) {
  // Neighbouring counties share borders: long collinear stretches.
  auto const rings = polygon_oracle::Rings("nc_counties.xy");
  CStdPlgn plg;
  std::vector<Ring> lines;
  for (std::size_t i = 0; i < rings.size(); ++i) {
    if (i % 3 == 0) {
      plg.push_back(rings[i]);
    } else {
      lines.push_back(rings[i]);
    }
  }
  CheckSplitProperties(plg, lines, true, true, 10);
}

std::vector<Ring> RandomWalks(unsigned seed, int count, int steps, CRectD const& area, double step) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> ux(area.left, area.right), uy(area.top, area.bottom), us(-step, step);
  std::vector<Ring> walks;
  for (int w = 0; w < count; ++w) {
    Ring walk{{ux(rng), uy(rng)}};
    for (int k = 0; k < steps; ++k) walk.push_back(walk.back() + CPointD{us(rng), us(rng)});
    walks.push_back(std::move(walk));
  }
  return walks;
}

TEST(SplitPoly, CountriesAndCoastlinesSplitByRandomWalks) {
  {
    SCOPED_TRACE("world countries, seed 31337");
    auto const rings = polygon_oracle::Rings("world_ne110m_countries.xy");
    CStdPlgn plg;
    for (std::size_t i = 0; i < rings.size(); i += 2) plg.push_back(rings[i]);
    CheckSplitProperties(plg, RandomWalks(31337, 100, 60, CRectD{-180, -60, 180, 80}, 4.0), false, true, 40);
  }
  {
    SCOPED_TRACE("British Isles shorelines, seed 2718");
    CStdPlgn plg;
    // Shorelines cut by the region's edge are open: not part of a polygon.
    for (auto& r : polygon_oracle::Rings("gshhg_h_british_isles.xy", "ring", "outer")) plg.push_back(r);
    CheckSplitProperties(plg, RandomWalks(2718, 10, 150, CRectD{-11, 49.8, 2, 61}, 0.3), true, false, 5);
  }
}

TEST(SplitPoly, TracedOutlineSplitByGridLines) {
  // Crack outlines run on the integer grid: lines along grid rows and
  // columns overlap edges and pass through vertices everywhere.
  CStdPlgn plg;
  for (auto& r : polygon_oracle::Rings("horse_crack.xy")) plg.push_back(r);
  std::vector<Ring> lines;
  for (int k = 0; k <= 328; k += 7) lines.push_back(Ring{{-1, double(k)}, {401, double(k)}});
  for (int k = 0; k <= 400; k += 9) lines.push_back(Ring{{double(k), -1}, {double(k), 329}});
  for (int k = -300; k <= 400; k += 23) lines.push_back(Ring{{double(k), 0}, {double(k) + 150, 150}, {double(k), 300}});
  CheckSplitProperties(plg, lines, false, false, 30);
}

}  // namespace
