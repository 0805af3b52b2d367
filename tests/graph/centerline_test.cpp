#include <math/kmath.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "centerline_metrics.h"
#include "xy_reader.h"

namespace kmath_test {
namespace {

using Ring = Math::poly_base<CPointD>;

Ring Rect(double x0, double y0, double x1, double y1) { return Ring{{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}, {x0, y0}}; }

// Every vertex lies inside the polygon and its half-width is its distance
// to the outline, found here by brute force over the ring edges.
void ExpectHalfWidthsAreOutlineDistances(CStdPlgn const& plg, std::vector<Math::CCenterLine> const& lines) {
  std::vector<std::vector<CPointD>> rings(plg.begin(), plg.end());
  SegmentIndex const outline(rings, 8.0);
  for (auto const& l : lines) {
    ASSERT_EQ(l.halfWidths.size(), l.pts.size());
    for (std::size_t k = 0; k < l.pts.size(); ++k) {
      EXPECT_TRUE(plg.PtInside(l.pts[k]));
      // The search stops beyond half-width + 1: a wrong half-width still fails.
      EXPECT_NEAR(l.halfWidths[k], outline.Distance(l.pts[k], l.halfWidths[k] + 1.0), 1e-6);
    }
  }
}

TEST(CenterLines, ClosedFormsOfBarsAndRings) {
  // A bar: one line along its middle, from one end's inscribed circle to
  // the other's; the corner branches are not centre lines.
  CStdPlgn const bar({Rect(0, 0, 100, 10)});
  std::vector<Math::CCenterLine> lines;
  ASSERT_TRUE(Math::CenterLines(bar, 2.0, 0.1, lines, true));
  ASSERT_EQ(lines.size(), 1u);
  ASSERT_EQ(lines[0].pts.size(), 2u);
  CPointD const a = lines[0].pts.front(), b = lines[0].pts.back();
  EXPECT_NEAR(std::min(a.x, b.x), 5.0, 1e-9);
  EXPECT_NEAR(std::max(a.x, b.x), 95.0, 1e-9);
  EXPECT_NEAR(a.y, 5.0, 1e-9);
  EXPECT_NEAR(b.y, 5.0, 1e-9);
  EXPECT_NEAR(lines[0].halfWidths[0], 5.0, 1e-9);
  ExpectHalfWidthsAreOutlineDistances(bar, lines);

  // A square ring: one closed loop around the hole, halfway between the
  // sides (half-width 2.5 there), bending round the hole's corners.
  CStdPlgn const ring({Rect(0, 0, 20, 20), Rect(5, 5, 15, 15)});
  ASSERT_TRUE(Math::CenterLines(ring, 2.0, 0.05, lines, true));
  ASSERT_EQ(lines.size(), 1u);
  auto const& loop = lines[0].pts;
  EXPECT_EQ(loop.front().x, loop.back().x);
  EXPECT_EQ(loop.front().y, loop.back().y);
  ExpectHalfWidthsAreOutlineDistances(ring, lines);
  for (CPointD const& p : loop) {
    // Never nearer the hole than the outer side, never beyond the diagonal's
    // meeting point with the hole corner's parabola.
    EXPECT_GE(std::min({p.x, p.y, 20 - p.x, 20 - p.y}), 2.5 - 1e-9);
    EXPECT_LE(std::min({p.x, p.y, 20 - p.x, 20 - p.y}), 5 * std::sqrt(2.0) / (1 + std::sqrt(2.0)) + 1e-9);
  }

  // Without half-widths asked for, none are given.
  ASSERT_TRUE(Math::CenterLines(bar, 2.0, 0.1, lines));
  EXPECT_TRUE(lines[0].halfWidths.empty());
}

TEST(CenterLines, BadRingsFailAndLeaveTheLines) {
  double const nan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    char const* name;
    CStdPlgn plg;
  } const cases[] = {
      {"unclosed", CStdPlgn({Ring{{0, 0}, {4, 0}, {4, 4}, {0, 4}}})},
      {"NaN vertex", CStdPlgn({Ring{{0, 0}, {4, 0}, {nan, 4}, {0, 4}, {0, 0}}})},
      {"infinite vertex", CStdPlgn({Ring{{0, 0}, {4, 0}, {4, HUGE_VAL}, {0, 4}, {0, 0}}})},
      {"two distinct vertices", CStdPlgn({Ring{{0, 0}, {4, 0}, {4, 0}, {0, 0}, {0, 0}}})},
      {"a good ring beside a point", CStdPlgn({Rect(0, 0, 9, 3), Ring{{1, 1}}})},
  };
  for (Case const& c : cases) {
    std::vector<Math::CCenterLine> lines(1);
    lines[0].pts = {{7, 7}};
    EXPECT_FALSE(Math::CenterLines(c.plg, 2.0, 0.5, lines)) << c.name;
    ASSERT_EQ(lines.size(), 1u) << c.name;
    EXPECT_EQ(lines[0].pts.size(), 1u) << c.name;
  }
  std::vector<Math::CCenterLine> lines(3);
  EXPECT_TRUE(Math::CenterLines(CStdPlgn(), 2.0, 0.5, lines));
  EXPECT_TRUE(lines.empty());
}

TEST(CenterLines, TracedDrawingFollowsItsSkeleton) {
  // The outlines of a scanned drawing against the skeleton traced from the
  // same raster (pixel centres, moved half a pixel onto the corners' grid).
  CStdPlgn const plg = OutlinePolygon(LoadPolylines("ccitt2_crack.xy"));
  auto const skeleton = ShiftHalfPixel(LoadPolylines("ccitt2_centerlines.xy"));
  std::vector<Math::CCenterLine> lines;
  ASSERT_TRUE(Math::CenterLines(plg, 4.0, 0.5, lines, true));
  CenterlineFigures const f = MeasureCenterlines(lines, skeleton);
  EXPECT_LE(f.medianHausdorff, 1.0);
  EXPECT_LE(f.p95Hausdorff, 3.0);
  EXPECT_GE(f.coverage, 0.97);
  EXPECT_LE(double(f.lineVertices), 0.2 * double(f.skeletonVertices));
  ExpectHalfWidthsAreOutlineDistances(plg, lines);
}

}  // namespace
}  // namespace kmath_test
