#include <math/polyortho.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "footprint_measure.h"
#include "polyline_test.h"

namespace {

using polyline_test::kNaN;
using polyline_test::Pts;
using polyline_test::Same;
using Math::CPolyOrtho;

constexpr double kPi = 3.14159265358979323846;

CPointD Rot(CPointD const& p, double a) {
  return {p.x * std::cos(a) - p.y * std::sin(a), p.x * std::sin(a) + p.y * std::cos(a)};
}

// The direction a reduced into [-pi/8, 3pi/8) modulo 90 degrees.
double Fold(double a) {
  double const q = kPi / 2;
  a = std::fmod(a + kPi / 8, q);
  if (a < 0) a += q;
  return a - kPi / 8;
}

// A closed ring through the corners, rotated by `angle` about the origin,
// with a vertex every pixel and a deterministic wobble of +-`noise` across
// each side, as a traced and lightly thinned outline has.
Pts Noisy(Pts const& corners, double angle, double noise, CPointD shift = {100, 100}) {
  Pts out;
  int k = 0;
  for (std::size_t i = 0; i + 1 < corners.size(); ++i) {
    CPointD const a = corners[i], b = corners[i + 1];
    double const l = std::hypot(b.x - a.x, b.y - a.y);
    int const steps = std::max(1, static_cast<int>(l));
    CPointD const nrm{-(b.y - a.y) / l, (b.x - a.x) / l};
    for (int s = 0; s < steps; ++s) {
      double const t = static_cast<double>(s) / steps;
      double const w = s == 0 ? 0.0 : ((k++ % 3) - 1) * noise;
      out.push_back(Rot(a + (b - a) * t + nrm * w, angle) + shift);
    }
  }
  out.push_back(out.front());
  return out;
}

Pts Transformed(Pts const& corners, double angle, CPointD shift = {100, 100}) {
  Pts out;
  for (CPointD const& p : corners) out.push_back(Rot(p, angle) + shift);
  return out;
}

// An L-shaped footprint (6 corners, counter-clockwise).
Pts const kL{{0, 0}, {40, 0}, {40, 15}, {18, 15}, {18, 30}, {0, 30}, {0, 0}};

bool Closed(Pts const& p) { return p.size() > 1 && p.front().x == p.back().x && p.front().y == p.back().y; }

}  // namespace

TEST(PolyOrthoDir, ShortPolylinesGiveTheirSegmentAndDegenerateOnesTheFailureValue) {
  struct Case {
    char const* name;
    Pts pts;
    bool ok;
    double angle;
  };
  Case const cases[] = {
      {"two points keep the full atan2 range", {{0, 0}, {-1, -1}}, true, -3 * kPi / 4},
      {"closed three points use the first segment", {{0, 0}, {0, -2}, {0, 0}}, true, -kPi / 2},
      {"all segments shorter than 1e-12", {{1, 1}, {1, 1 + 1e-13}, {1, 1}, {1 + 1e-13, 1}}, false, 0},
      {"sides at 0 and 45 degrees cancel", {{0, 0}, {1, 0}, {1 + std::sqrt(0.5), std::sqrt(0.5)}}, false, 0},
      {"one point", {{3, 4}}, false, 0},
      {"two equal points", {{3, 4}, {3, 4}}, false, 0},
      {"a NaN coordinate", {{0, 0}, {1, kNaN}, {2, 0}}, false, 0},
      // The weighted sums overflow to infinity and their ratio is NaN: it
      // used to be returned as a direction.
      {"sums beyond the double range",
       {{1.1758762371021668e-321, 1e-300},
        {8.4879831638610893e-313, -7.4036710872871904e-171},
        {-1.7195732428143781e+308, -2.8044894062599426e+307},
        {-1.0565890622713304e+270, 0},
        {1.1758762371021668e-321, 1e-300},
        {0, 1e-300},
        {0, 1e-300}},
       false,
       0},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    double a = 0;
    EXPECT_EQ(Math::PolyOrthoDir(c.pts.data(), static_cast<unsigned>(c.pts.size()), a), c.ok);
    if (c.ok)
      EXPECT_NEAR(a, c.angle, 1e-12);
    else
      EXPECT_TRUE(kmath_test::IsBad(a));
  }
  double a = 0;
  EXPECT_FALSE(Math::PolyOrthoDir(nullptr, 5, a));
}

TEST(PolyOrthoDir, RotatedRectilinearOutlinesGiveTheirRotationModuloAQuarterTurn) {
  for (int i = 0; i < 72; ++i) {
    double const rot = -kPi + i * (2 * kPi / 72) + 0.01;
    SCOPED_TRACE(rot);
    Pts const ring = Transformed(kL, rot);
    double a = 0;
    ASSERT_TRUE(Math::PolyOrthoDir(ring.data(), static_cast<unsigned>(ring.size()), a));
    EXPECT_GE(a, -kPi / 8 - 1e-12);
    EXPECT_LT(a, 3 * kPi / 8);
    EXPECT_NEAR(a, Fold(rot), 1e-9);
  }
}

TEST(CGroupCoord, MergesWithinTheToleranceCascadingAndRoundsToTheNearerGroup) {
  EXPECT_FALSE(CPolyOrtho::CGroupCoord::LessValue(1, 2, 1));
  EXPECT_TRUE(CPolyOrtho::CGroupCoord::LessValue(0.99, 2, 1));

  CPolyOrtho::CGroupCoord g(1.0);
  g.Add(10, 1);
  g.Add(10.5, 1);
  ASSERT_EQ(g.Groups().size(), 1u);
  EXPECT_DOUBLE_EQ(g.Groups().begin()->first, 10.25);
  EXPECT_DOUBLE_EQ(g.Groups().begin()->second, 2);
  g.Add(11.2, 1);
  ASSERT_EQ(g.Groups().size(), 1u);
  EXPECT_DOUBLE_EQ(g.Groups().begin()->first, (10.25 * 2 + 11.2) / 3);

  // A heavy value between two groups merges with the first, and the moved
  // mean then meets the second: one group at the mean of all three.
  CPolyOrtho::CGroupCoord c(1.0);
  c.Add(0, 1);
  c.Add(1.9, 10);
  ASSERT_EQ(c.Groups().size(), 2u);
  CPolyOrtho::CGroupCoord const before = c;
  c.Add(0.95, 100);
  ASSERT_EQ(c.Groups().size(), 1u);
  EXPECT_NEAR(c.Groups().begin()->first, (0.95 * 100 + 1.9 * 10) / 111, 1e-12);
  EXPECT_DOUBLE_EQ(c.Groups().begin()->second, 111);
  EXPECT_EQ(before.Groups().size(), 2u) << "a copy shares nothing";

  CPolyOrtho::CGroupCoord r(1.0);
  r.Add(0, 1);
  r.Add(3, 1);
  struct Case {
    double in, out;
  };
  for (Case const k : {Case{1.5, 0}, Case{1.6, 3}, Case{10, 3}, Case{-5, 0}, Case{2.2, 3}}) {
    double v = k.in;
    r.GetRound(v);
    EXPECT_EQ(v, k.out) << k.in;
  }
  CPolyOrtho::CGroupCoord empty(1.0);
  double v = 7;
  empty.GetRound(v);
  EXPECT_EQ(v, 7);
}

TEST(CBaseDir, PresetDirectionsFoldIntoTheFirstQuadrantAndFixTheAxes) {
  Pts const ring = Transformed(kL, 0.3);
  struct Case {
    CPointD preset, axis1, axis2;
  };
  Case const cases[] = {
      {{3, 4}, {3, 4}, {-4, 3}},
      {{-3, -4}, {3, 4}, {4, -3}},
      {{1, -2}, {2, 1}, {2, 1}},  // folded onto the perpendicular, kept as it is
      {{0, -5}, {0, 5}, {5, 0}},
  };
  for (Case const& c : cases) {
    CPolyOrtho::CBaseDir d(ring, c.preset, false);
    EXPECT_TRUE(d.bFixed);
    EXPECT_EQ(d.axis1.x, c.axis1.x);
    EXPECT_EQ(d.axis1.y, c.axis1.y);
    EXPECT_EQ(d.axis2.x, c.axis2.x);
    EXPECT_EQ(d.axis2.y, c.axis2.y);
    EXPECT_TRUE(d.RemoveCorner(2));
    EXPECT_EQ(d.axis1.x, c.axis1.x) << "fixed axes survive a removal";
  }
  CPolyOrtho::CBaseDir m(ring, {0, 0}, false);
  EXPECT_FALSE(m.bFixed);
  EXPECT_EQ(m.corners.size(), ring.size() - 1);
  EXPECT_NEAR(Fold(m.Angle()), Fold(0.3), 1e-9);
  EXPECT_NEAR(m.AxisLength(), 2.0, 1e-12);
  EXPECT_TRUE(m.RemoveCorner(3));
  EXPECT_FALSE(m.RemoveCorner(3));
  EXPECT_TRUE(std::isnan(m.axis1.x) && std::isnan(m.axis2.y));
  EXPECT_TRUE(m.EnsureAxes());
  EXPECT_FALSE(std::isnan(m.axis1.x));
}

TEST(CBaseDir, ClassifiesSidesAndTurnsThemIntoTheCanonicalQuarter) {
  CPolyOrtho::CBaseDir d(Transformed(kL, 0), {1, 0}, false);  // axis 1 (1, 0), axis 2 (0, 1)
  struct Case {
    CPointD v;
    int cls;
    CPointD turned;
  };
  double const t15 = std::tan(15.5 * kPi / 180);
  Case const cases[] = {
      {{1, 0.1}, 2, {1, 0.1}},
      {{-1, 0.1}, 2, {1, -0.1}},
      {{1, t15}, 3, {1, t15}},       // beyond 15 degrees
      {{1, 1}, 1, {1, 1}},           // a tie goes to axis 2
      {{0.2, -1}, 0, {-0.2, 1}},
      {{0, 0}, 1, {0, 0}},
  };
  for (Case const& c : cases) {
    CPointD v = c.v;
    EXPECT_EQ(d.Classify(v), c.cls) << c.v.x << " " << c.v.y;
    EXPECT_EQ(v.x, c.turned.x);
    EXPECT_EQ(v.y, c.turned.y);
  }
  for (CPointD const v : {CPointD{0, 1}, CPointD{-1, 0}, CPointD{0, -1}, CPointD{1, 0}}) {
    CPointD const c = d.Canonical(v);
    EXPECT_NEAR(c.x, 1, 1e-15);
    EXPECT_NEAR(c.y, 0, 1e-15);
  }
}

TEST(CPolyOrtho, SmoothPolyIsEmptyWithoutTwoDistinctPointsAndRestartsARingAtACorner) {
  CPolyOrtho::CParams const p(0.3, 1.5);
  EXPECT_TRUE(CPolyOrtho::SmoothPoly({{1, 1}}, p).empty());
  EXPECT_TRUE(CPolyOrtho::SmoothPoly({{1, 1}, {1, 1}}, p).empty());
  EXPECT_TRUE(CPolyOrtho::SmoothPoly({}, p).empty());
  EXPECT_TRUE(CPolyOrtho::SmoothPoly({{0, 0}, {kNaN, 1}, {2, 2}}, p).empty());

  Pts const ring = Noisy(kL, 0.4, 0.2);
  Pts const s = CPolyOrtho::SmoothPoly(ring, p);
  ASSERT_GE(s.size(), 7u);
  EXPECT_TRUE(Closed(s));
  EXPECT_LT(s.size(), ring.size() / 4);
  // The seam sits on one of the true corners.
  Pts const corners = Transformed(kL, 0.4);
  double nearest = 1e9;
  for (CPointD const& c : corners) nearest = std::min(nearest, kmath_quality::Len(s.front() - c));
  EXPECT_LT(nearest, 0.5);
}

TEST(CPolyOrtho, SquaresANoisyOutlineOntoItsTrueCornersAtAnyRotation) {
  for (int i = 0; i < 24; ++i) {
    double const rot = i * (kPi / 24) - 0.2;
    SCOPED_TRACE(rot);
    Pts poly = Noisy(kL, rot, 0.25);
    CPolyOrtho::CParams p(0.3, 1.5);
    p.nCorners = 100;
    std::vector<Pts> variants;
    ASSERT_TRUE(CPolyOrtho(p)(poly, variants));
    EXPECT_FALSE(variants.empty());
    EXPECT_TRUE(kmath_quality::Rectilinear(poly));
    EXPECT_TRUE(Closed(poly));
    EXPECT_EQ(p.nCorners, 6u);
    EXPECT_EQ(kmath_quality::Open(poly).size(), 6u);
    EXPECT_LT(kmath_quality::Hausdorff(poly, Transformed(kL, rot)), 0.3);
    EXPECT_LT(p.dMaxRms, CPolyOrtho::CParams(0.3, 1.5).dMaxRms);
    // The direction comes back scaled by the summed axis length (two unit
    // axes).
    EXPECT_NEAR(std::hypot(p.baseDir.x, p.baseDir.y), 2.0, 1e-9);
    EXPECT_NEAR(Fold(std::atan2(p.baseDir.y, p.baseDir.x)), Fold(rot), 0.01);
  }
}

TEST(CPolyOrtho, APresetDirectionIsTheOneTheSidesFollow) {
  double const rot = 0.25;
  Pts poly = Noisy(kL, rot, 0.2);
  CPolyOrtho::CParams p(0.3, 1.5);
  p.nCorners = UINT32_MAX;  // any count, without wrapping round
  p.baseDir = {std::cos(rot + 0.004), std::sin(rot + 0.004)};
  ASSERT_TRUE(CPolyOrtho(p)(poly));
  for (std::size_t i = 0; i + 1 < poly.size(); ++i) {
    CPointD const d = poly[i + 1] - poly[i];
    EXPECT_NEAR(Fold(std::atan2(d.y, d.x)), Fold(rot + 0.004), 1e-9);
  }
}

TEST(CPolyOrtho, RefusesWhatIsNotRightAngledAndLeavesItUntouched) {
  CPolyOrtho::CParams const fresh(0.3, 1.5);
  Pts hexagon;
  for (int i = 0; i <= 60; ++i) hexagon.push_back({50 + 20 * std::cos(i * kPi / 30), 50 + 20 * std::sin(i * kPi / 30)});
  hexagon.back() = hexagon.front();
  Pts parallelogram = Noisy({{0, 0}, {40, 0}, {55, 25}, {15, 25}, {0, 0}}, 0.1, 0.2);
  Pts triangle{{0, 0}, {30, 0}, {0, 20}, {0, 0}};
  Pts open = Noisy(kL, 0.2, 0.2);
  open.pop_back();
  Pts withNaN = Noisy(kL, 0.2, 0.2);
  withNaN[5].x = kNaN;
  struct Case {
    char const* name;
    Pts poly;
    CPolyOrtho::CParams params;
  };
  CPolyOrtho::CParams ratioOne(1.0, 1.5);
  CPolyOrtho::CParams ratioAbove(1.5, 1.5);
  CPolyOrtho::CParams fourCorners(0.3, 1.5);  // an L cannot become a rectangle
  Case cases[] = {
      {"circle", hexagon, fresh},
      {"parallelogram", parallelogram, fresh},
      {"triangle", triangle, fresh},
      {"open polyline", open, fresh},
      {"NaN coordinate", withNaN, fresh},
      {"dRatio 1", Noisy(kL, 0.2, 0.2), ratioOne},
      {"dRatio above 1", Noisy(kL, 0.2, 0.2), ratioAbove},
      {"four corners asked of an L", Noisy(kL, 0.2, 0.2), fourCorners},
      {"empty", {}, fresh},
      {"one point", {{1, 2}}, fresh},
  };
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    c.params.nCorners = std::string(c.name) == "four corners asked of an L" ? 4 : 100;
    Pts poly = c.poly;
    EXPECT_FALSE(CPolyOrtho(c.params)(poly));
    EXPECT_TRUE(Same(poly, c.poly));
  }
}

TEST(CPolyOrtho, SpikesAndRepeatedPointsNeverBreakTheOutline) {
  Pts poly = Noisy(kL, 0.6, 0.2);
  // A spike out and back, and a run of repeated vertices.
  poly.insert(poly.begin() + 10, {poly[10] + CPointD{7, 9}, poly[10]});
  poly.insert(poly.begin() + 30, 4, poly[30]);
  Pts const before = poly;
  CPolyOrtho::CParams p(0.3, 1.5);
  p.nCorners = 100;
  if (CPolyOrtho(p)(poly))
    EXPECT_TRUE(kmath_quality::Rectilinear(poly));
  else
    EXPECT_TRUE(Same(poly, before));
}

TEST(CPolyOrtho, HugeCoordinatesNeitherCrashNorHalfWrite) {
  for (double scale : {1e150, 1e300}) {
    SCOPED_TRACE(scale);
    Pts poly = Noisy(kL, 0.3, 0.2);
    for (CPointD& p : poly) p = p * scale;
    Pts const before = poly;
    CPolyOrtho::CParams p(0.3, 1.5 * scale);
    p.nCorners = 100;
    if (CPolyOrtho(p)(poly))
      EXPECT_EQ(kmath_quality::Open(poly).size(), 6u);
    else
      EXPECT_TRUE(Same(poly, before));
    Pts line = before;
    if (!Math::PolyOrtho(line, scale, 0, true, true, nullptr)) {
      EXPECT_TRUE(Same(line, before));
    }
  }
}

TEST(CPolyOrtho, BuildOfACleanRectangleIsThatRectangleWithNoDeviation) {
  Pts const rect = Transformed({{0, 0}, {30, 0}, {30, 12}, {0, 12}, {0, 0}}, 0.7, {5, 5});
  CPolyOrtho::CBaseDir dir(rect, {0, 0}, false);
  CPolyOrtho::CParams p(0.3, 1.5);
  Pts out;
  ASSERT_TRUE(CPolyOrtho::BuildOrto(out, dir, rect, p));
  EXPECT_TRUE(Closed(out));
  EXPECT_EQ(p.nCorners, 4u);
  EXPECT_EQ(p.nDeviation, 0u);
  EXPECT_LT(p.dMaxRms, 1e-9);
  EXPECT_LT(kmath_quality::Hausdorff(out, rect), 1e-9);

  // Reduction from a start of 4 corners takes the first outline with fewer
  // than 5.
  CPolyOrtho::CParams best(0, 0);
  Pts red;
  CPolyOrtho::CBaseDir dir2(rect, {0, 0}, false);
  EXPECT_TRUE(CPolyOrtho::Reduction(rect, red, CPolyOrtho::CParams(0.3, 1.5), best, dir2));
  EXPECT_EQ(best.nCorners, 4u);
  EXPECT_EQ(red.size(), 5u);
}

TEST(PolyOrtho, SquaresRingsAndOpenLinesAndKeepsTheEndsWhenAsked) {
  double const rot = 0.35;
  Pts ring = Noisy(kL, rot, 0.2);
  Pts const corners = Transformed(kL, rot);
  ASSERT_TRUE(Math::PolyOrtho(ring, 1.0, 0.5, false, false, nullptr));
  EXPECT_TRUE(kmath_quality::Rectilinear(ring));
  EXPECT_EQ(kmath_quality::Open(ring).size(), 6u);
  EXPECT_LT(kmath_quality::Hausdorff(ring, corners), 0.4);

  // A preset angle is used as given and handed back.
  Pts preset = Noisy(kL, rot, 0.2);
  double given = rot + 0.002;
  ASSERT_TRUE(Math::PolyOrtho(preset, 1.0, 0.5, false, false, &given));
  EXPECT_EQ(given, rot + 0.002);
  for (std::size_t i = 0; i + 1 < preset.size(); ++i) {
    CPointD const d = preset[i + 1] - preset[i];
    EXPECT_NEAR(Fold(std::atan2(d.y, d.x)), Fold(rot + 0.002), 1e-9);
  }

  // An open staircase-like line: the kept ends are where they were, every
  // inner turn is a right angle.
  Pts open = Noisy(kL, rot, 0.2);
  open.resize(open.size() / 2);
  Pts const in = open;
  ASSERT_TRUE(Math::PolyOrtho(open, 1.0, 0.0, true, true, nullptr));
  EXPECT_EQ(open.front().x, in.front().x);
  EXPECT_EQ(open.front().y, in.front().y);
  EXPECT_EQ(open.back().x, in.back().x);
  EXPECT_EQ(open.back().y, in.back().y);
  for (std::size_t i = 1; i + 1 < open.size(); ++i) {
    CPointD const a = open[i] - open[i - 1], b = open[i + 1] - open[i];
    EXPECT_NEAR(std::abs(std::atan2(kmath_quality::Cross(a, b), kmath_quality::Dot(a, b))), kPi / 2, 1e-9);
  }

  // A kept first vertex of a ring moves its side through it and the ring
  // stays square.
  Pts keep = Noisy(kL, rot, 0.2);
  CPointD const first = keep.front();
  ASSERT_TRUE(Math::PolyOrtho(keep, 1.0, 0.5, true, false, nullptr));
  EXPECT_TRUE(kmath_quality::Rectilinear(keep));
  double onSide = 1e9;
  for (std::size_t i = 0; i + 1 < keep.size(); ++i) onSide = std::min(onSide, kmath_quality::SegDist(first, keep[i], keep[i + 1]));
  EXPECT_LT(onSide, 1e-9);
}

TEST(PolyOrtho, BadInputFailsAndLeavesThePolylineAndAngleAlone) {
  struct Case {
    char const* name;
    Pts poly;
    double angle;
  };
  Case const cases[] = {
      {"empty", {}, 0.1},
      {"one point", {{1, 1}}, 0.1},
      {"all points equal", {{1, 1}, {1, 1}, {1, 1}}, 0.1},
      {"NaN coordinate", {{0, 0}, {kNaN, 1}, {3, 3}}, 0.1},
      {"NaN preset angle", {{0, 0}, {5, 1}, {9, 3}}, kNaN},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Pts poly = c.poly;
    double a = c.angle;
    EXPECT_FALSE(Math::PolyOrtho(poly, 1.0, 0.5, true, true, &a));
    EXPECT_TRUE(Same(poly, c.poly));
    EXPECT_TRUE(std::isnan(c.angle) ? std::isnan(a) : a == c.angle);
  }
  // Collinear points square into their one line.
  Pts line{{0, 0}, {1, 1}, {2, 2}, {3, 3}};
  ASSERT_TRUE(Math::PolyOrtho(line, 0.5, 0, false, false, nullptr));
  ASSERT_EQ(line.size(), 2u);
  EXPECT_NEAR(line.back().x - line.front().x, 3, 1e-12);
}

// The acceptance bar on real traced footprints: squaring must be safe on
// every pair and closer to the truth than the staircase it starts from.
TEST(CPolyOrtho, TracedFootprintsComeOutSquareAndCloseToTheirTruth) {
  std::vector<kmath_test::XYBlock> const blocks = kmath_test::LoadXY("footprints_traced.xy");
  kmath_quality::Settings const set;
  struct Tally {
    int n = 0, accepted = 0, right = 0;
    std::vector<double> hd, area;
  };
  Tally all, rect[2];
  for (std::size_t b = 0; b + 1 < blocks.size(); b += 2) {
    kmath_test::XYBlock const& t = blocks[b];
    ASSERT_EQ(t.Attr("kind"), "truth");
    std::string const scale = t.Attr("setting");
    SCOPED_TRACE("id=" + t.Attr("id") + " " + scale);
    Pts const reduced = kmath_quality::Reduce(blocks[b + 1].pts, set);
    Pts poly = reduced;
    CPolyOrtho::CParams p(set.ratio, set.minSide);
    p.nCorners = 1000;
    bool const ok = CPolyOrtho(p)(poly);
    if (ok)
      ASSERT_TRUE(kmath_quality::Rectilinear(poly));
    else
      ASSERT_TRUE(Same(poly, reduced));
    kmath_quality::Figures const f = kmath_quality::Measure(poly, t.pts, std::stoi(t.Attr("corners")), ok);
    std::vector<Tally*> into{&all};
    if ((scale == "25px" || scale == "50px") && kmath_quality::TruthRectilinear(t.pts))
      into.push_back(&rect[scale == "25px" ? 0 : 1]);
    for (Tally* y : into) {
      ++y->n;
      y->accepted += ok;
      y->right += f.right;
      y->hd.push_back(f.hausdorff);
      y->area.push_back(f.areaError);
    }
  }
  // Percentiles interpolate between the order statistics (numpy's default).
  auto pct = [](std::vector<double> v, double q) {
    std::sort(v.begin(), v.end());
    double const pos = q * static_cast<double>(v.size() - 1);
    auto const lo = static_cast<std::size_t>(pos);
    std::size_t const hi = std::min(lo + 1, v.size() - 1);
    return v[lo] + (v[hi] - v[lo]) * (pos - static_cast<double>(lo));
  };
  ASSERT_EQ(all.n, 462);
  for (Tally const& r : rect) {
    ASSERT_GT(r.n, 20);
    EXPECT_GE(r.accepted, 0.95 * r.n);
    EXPECT_GE(r.right, 0.85 * r.n);
    EXPECT_LE(pct(r.hd, 0.5), 0.5);
    EXPECT_LE(pct(r.hd, 0.95), 1.0);
    EXPECT_LT(pct(r.area, 0.5), 0.01);
  }
  // Better than the map editors' squaring over the whole file (their best
  // figures: 40.5 % right, 1.46 px median, 6.0 px at the 95th percentile,
  // 3.4 % area error).
  EXPECT_GT(all.right, 0.405 * all.n);
  EXPECT_LT(pct(all.hd, 0.5), 1.46);
  EXPECT_LT(pct(all.hd, 0.95), 6.0);
  EXPECT_LT(pct(all.area, 0.5), 0.034);
}

// A traced outline with one vertex 2.7e154 off its grid: the grid cell of a
// query was the int conversion of an infinite quotient (undefined), before it
// was clamped. The squarer must come back either way, the input untouched
// when it refuses.
TEST(CPolyOrtho, QueryFarOffTheDistanceGridIsClampedBeforeConversion) {
  Pts const in{
      {2.2250738585072014e-308, 0}, {-0, 8.1451662373387905e-320}, {-2, 8.1456603029846318e-320},
      {0, 8.1466484342763143e-320}, {2, 1.4092193013628754e-315}, {0, 3.4994893586703788e-310},
      {0, 3.4997546081442495e-310}, {0, 3.5000198576181202e-310}, {0, 3.5002851070919908e-310},
      {0, 3.5004973066710873e-310}, {0, 2.3952027490520511e-312}, {0, 0}, {0, 0}, {8, 8},
      {8.0000000000000995, 8}, {8.000000000000199, 8}, {8.0000000000002984, 8}, {8.0000000000003979, 8},
      {8.0000000000004974, 8}, {8.0000000000005969, 8}, {8.0000000000006963, 8}, {8.0000000000007958, 8},
      {8.0000000000008953, 8}, {8.0000000000009948, 8}, {8.0000000000010942, 8}, {8.0000000000011937, 8},
      {8.0000000000012932, 8}, {8.0000000000013927, 8}, {8.0000000000014921, 8}, {8.0000000000015916, 8},
      {8.0000000000016911, 8}, {8.0000000000017906, 8}, {8.00000000000189, 8}, {8.0000000000019895, 8},
      {8.000000000002089, 8}, {8.0000000000021885, 8}, {8.0000000000022879, 8}, {8.0000000000023874, 8},
      {8.0000000000024869, 8}, {8.0000000000025864, 8}, {8.0000000000026859, 8}, {8.0000000000027853, 8},
      {8.0000000000028848, 8}, {8.0000000000029843, 8}, {8.0000000000030838, 8}, {8.0000000000031832, 8},
      {8.0000000000032827, 8}, {8.0000000000033822, 8}, {8.0000000000034817, 8}, {8.0000000000035811, 8},
      {1.8035266626572042e-307, 1.8243324069884605e-307}, {21.000000044237822, 169}, {19, 160}, {20, 0},
      {0, 0}, {0, 0}, {-2.681561585998307e+154, 1.0321387528069552e-309}, {2.0789649972972978e-317, 8},
      {1e-13, 8}, {2.0000000000000001e-13, 8}, {3.0000000000000003e-13, 8}, {4.0000000000000001e-13, 8},
      {4.9999999999999999e-13, 8}, {5.9999999999999997e-13, 8}, {6.9999999999999995e-13, 8},
      {7.9999999999999992e-13, 8}, {8.999999999999999e-13, 8}, {9.9999999999999998e-13, 8}, {1.1e-12, 8},
      {1.1999999999999999e-12, 8}, {1.2999999999999999e-12, 8}, {1.3999999999999999e-12, 8},
      {1.4999999999999999e-12, 8}, {1.5999999999999998e-12, 8}, {1.6999999999999998e-12, 8},
      {1.7999999999999998e-12, 8}, {1.9e-12, 8}, {2e-12, 8}, {2.0999999999999999e-12, 8},
      {2.1999999999999999e-12, 8}, {2.2999999999999999e-12, 8}, {2.3999999999999999e-12, 8},
      {2.4999999999999998e-12, 8}, {2.5999999999999998e-12, 8}, {2.6999999999999998e-12, 8},
      {2.7999999999999998e-12, 8}, {2.8999999999999998e-12, 8}, {2.9999999999999997e-12, 8},
      {3.0999999999999997e-12, 8}, {2.0850518860540619e-317, 2.0787120356866271e-317},
      {2.0849095951480597e-317, 0}, {0, 0}, {0, 0}};
  Pts poly = in;
  Math::CPolyOrtho::CParams params(0.0, 0.0);
  bool const ok = Math::CPolyOrtho(params)(poly);
  if (!ok) EXPECT_EQ(poly.size(), in.size());
  else EXPECT_EQ(poly.front().x, poly.back().x);
}
