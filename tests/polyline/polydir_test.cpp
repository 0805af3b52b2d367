#include <math/polydir.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>

#include "polyline_test.h"
#include "test_picture.h"

#ifdef KMATH_TEST_HAVE_GEOS
#include <geos_c.h>
#endif

namespace polyline_test {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDeg = kPi / 180.0;

double Dist(CPointD a, CPointD b) { return std::hypot(a.x - b.x, a.y - b.y); }

// Smallest difference of two angles modulo `period`.
double AngleGap(double a, double b, double period) {
  double d = std::fmod(std::abs(a - b), period);
  return std::min(d, period - d);
}

bool Inside(Pts const& ring, CPointD p) {
  bool in = false;
  for (std::size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++)
    if ((ring[i].y > p.y) != (ring[j].y > p.y) &&
        p.x < ring[j].x + (p.y - ring[j].y) * (ring[i].x - ring[j].x) / (ring[i].y - ring[j].y))
      in = !in;
  return in;
}

// The pixel-boundary outline of a convex polygon rasterised with the
// pixel-centre rule, counter-clockwise, one vertex per pixel side: the shape
// of the bundled *_crack.xy traces, made here so the true corners are known.
Pts CrackTrace(Pts const& ring) {
  double x0 = 1e300, y0 = 1e300, x1 = -1e300, y1 = -1e300;
  for (CPointD const& p : ring) {
    x0 = std::min(x0, p.x); y0 = std::min(y0, p.y); x1 = std::max(x1, p.x); y1 = std::max(y1, p.y);
  }
  int const i0 = static_cast<int>(std::floor(x0)) - 1, j0 = static_cast<int>(std::floor(y0)) - 1;
  int const w = static_cast<int>(std::ceil(x1)) + 2 - i0, h = static_cast<int>(std::ceil(y1)) + 2 - j0;
  std::vector<char> mask(static_cast<std::size_t>(w * h), 0);
  auto on = [&](int i, int j) { return i >= 0 && j >= 0 && i < w && j < h && mask[static_cast<std::size_t>(j * w + i)]; };
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i) mask[static_cast<std::size_t>(j * w + i)] = Inside(ring, {i0 + i + 0.5, j0 + j + 0.5});
  // Directed sides with the pixel on their left. Where two pixels touch only
  // at a corner two sides leave it: take the left turn, which keeps the
  // pixels together (8-connected), and use each side once.
  std::multimap<std::pair<int, int>, std::pair<int, int>> next;
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i) {
      if (!on(i, j)) continue;
      if (!on(i, j - 1)) next.insert({{i, j}, {i + 1, j}});
      if (!on(i + 1, j)) next.insert({{i + 1, j}, {i + 1, j + 1}});
      if (!on(i, j + 1)) next.insert({{i + 1, j + 1}, {i, j + 1}});
      if (!on(i - 1, j)) next.insert({{i, j + 1}, {i, j}});
    }
  Pts out;
  if (next.empty()) return out;
  auto const start = next.begin()->first;
  auto at = start;
  std::pair<int, int> dir{1, 0};
  do {
    out.push_back({static_cast<double>(at.first + i0), static_cast<double>(at.second + j0)});
    auto range = next.equal_range(at);
    auto pick = range.first;
    for (auto it = range.first; it != range.second; ++it) {
      std::pair<int, int> const d{it->second.first - at.first, it->second.second - at.second};
      if (dir.first * d.second - dir.second * d.first > 0) pick = it;
    }
    dir = {pick->second.first - at.first, pick->second.second - at.second};
    at = pick->second;
    next.erase(pick);
  } while (at != start);
  out.push_back(out.front());
  return out;
}

// A regular polygon of k corners, circumradius r, first corner at angle a.
Pts Regular(int k, double r, double a, CPointD c) {
  Pts p;
  for (int i = 0; i <= k; ++i) {
    double const t = a + 2.0 * kPi * (i % k) / k;
    p.push_back({c.x + r * std::cos(t), c.y + r * std::sin(t)});
  }
  return p;
}

// The corners of a true footprint: vertices left after repeatedly merging
// the two sides at the vertex of smallest turn while that turn is at most
// 20 degrees (how the data's corners= count was made).
Pts TrueCorners(Pts ring) {
  ring.pop_back();
  for (;;) {
    std::size_t const k = ring.size();
    if (k <= 3) break;
    double best = 1e300;
    std::size_t bi = 0;
    for (std::size_t i = 0; i < k; ++i) {
      CPointD const a = ring[(i + k - 1) % k], b = ring[i], c = ring[(i + 1) % k];
      CPointD const u = b - a, v = c - b;
      double const turn = std::abs(std::atan2(u.x * v.y - u.y * v.x, u.x * v.x + u.y * v.y));
      if (turn < best) { best = turn; bi = i; }
    }
    if (best > 20.0 * kDeg) break;
    ring.erase(ring.begin() + static_cast<std::ptrdiff_t>(bi));
  }
  return ring;
}

// Every true corner has a result corner within `tol`, and the counts match.
bool CornersMatch(Pts const& truth, Pts const& result, double tol, double* worst) {
  Pts r(result.begin(), result.end() - 1);
  *worst = 0.0;
  if (r.size() != truth.size()) return false;
  for (CPointD const& t : truth) {
    double best = 1e300;
    for (CPointD const& q : r) best = std::min(best, Dist(t, q));
    *worst = std::max(*worst, best);
  }
  return *worst <= tol;
}

struct Pair {
  std::string setting;
  double rot;
  Pts truth, traced;
};

std::vector<Pair> const& Footprints() {
  static std::vector<Pair> const pairs = [] {
    std::vector<Pair> out;
    auto const blocks = kmath_test::LoadXY("footprints_traced.xy");
    for (std::size_t i = 0; i + 1 < blocks.size(); i += 2)
      out.push_back({blocks[i].Attr("setting"), std::stod(blocks[i].Attr("rot")), blocks[i].pts, blocks[i + 1].pts});
    return out;
  }();
  return pairs;
}

// ---- dominant direction ----

// The truth's axis averages the footprint's sides that lie near it, and real
// footprints have sides a few degrees off square: a resolution of 8 degrees
// lets the same sides vote.
TEST(PolyBaseDir, FindsTheAxesOfTracedFootprints) {
  std::map<std::string, std::pair<int, int>> hits;  // setting -> (within 1 degree, all)
  for (Pair const& p : Footprints()) {
    double const a = Math::PolyBaseDir(p.traced.data(), static_cast<unsigned>(p.traced.size()), 8.0 * kDeg);
    bool const ok = AngleGap(a, p.rot * kDeg, 0.5 * kPi) <= 1.0 * kDeg;
    auto& h = hits[p.setting];
    h.first += ok;
    ++h.second;
    if (!ok && p.setting != "12px") {
      kmath_test::Picture pic("PolyBaseDir_" + p.setting + "_" + std::to_string(h.second));
      pic.Polyline("truth", p.truth, kmath_test::kGreen);
      pic.Polyline("traced", p.traced, kmath_test::kBlue);
      CPointD const c = p.traced.front(), u{std::cos(a) * 20.0, std::sin(a) * 20.0};
      pic.Polyline("found_axis", {c - u, c + u}, kmath_test::kRed);
    }
  }
  int good = 0, all = 0;
  for (auto const& [setting, h] : hits) {
    std::printf("PolyBaseDir %s: %.1f %% within 1 degree (%d of %d)\n", setting.c_str(), 100.0 * h.first / h.second,
                h.first, h.second);
    if (setting == "12px") continue;
    good += h.first;
    all += h.second;
    EXPECT_GE(h.first, 0.9 * h.second) << setting;
  }
  EXPECT_GE(good, 0.95 * all);
}

TEST(PolyBaseDir, ExactOnCleanOutlinesModuloNinetyDegrees) {
  for (double rot : {0.0, 10.0, 44.9, 45.1, 89.0, 123.0, -30.0}) {
    SCOPED_TRACE(rot);
    // An L-shape: sides of both axes, unequal lengths.
    Pts l = {{0, 0}, {40, 0}, {40, 10}, {10, 10}, {10, 30}, {0, 30}, {0, 0}};
    double const c = std::cos(rot * kDeg), s = std::sin(rot * kDeg);
    for (CPointD& p : l) p = {c * p.x - s * p.y + 1000.0, s * p.x + c * p.y - 500.0};
    double const a = Math::PolyBaseDir(l.data(), static_cast<unsigned>(l.size()), 2.0 * kDeg);
    double expect = std::fmod(rot, 90.0);
    if (expect < 0) expect += 90.0;
    EXPECT_LT(AngleGap(a, expect * kDeg, 0.5 * kPi), 1e-9);
    EXPECT_GE(a, 0.0);
    EXPECT_LT(a, 0.5 * kPi);
  }
}

// ---- distinct directions ----

TEST(PolyDirClusters, FindsTheAxesOrTheHexagonSides) {
  struct Case { char const* name; Pts poly; std::vector<double> angles; std::vector<double> shares; double tol; };
  Pts const rect = {{0, 0}, {30, 0}, {30, 10}, {0, 10}, {0, 0}};
  Pts const ell = {{0, 0}, {40, 0}, {40, 10}, {10, 10}, {10, 30}, {0, 30}, {0, 0}};
  Pts const hex = CrackTrace(Regular(6, 40.0, 10.0 * kDeg, {50.3, 50.7}));
  Case const cases[] = {
      {"rectangle", rect, {0.0, 90.0}, {0.75, 0.25}, 1e-12},
      {"L-shape", ell, {0.0, 90.0}, {80.0 / 140, 60.0 / 140}, 1e-12},
      {"traced hexagon", hex, {10.0, 70.0, 130.0}, {1.0 / 3, 1.0 / 3, 1.0 / 3}, 1.0},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<std::pair<CPointD, double>> out;
    Math::PolyDirClusters(c.poly.data(), static_cast<unsigned>(c.poly.size()), out, 10.0 * kDeg);
    double sum = 0.0;
    for (auto const& [v, w] : out) sum += w;
    EXPECT_NEAR(sum, 1.0, 1e-12);
    // Directions may come in any order of equal shares: match each expected
    // one to the nearest found.
    ASSERT_GE(out.size(), c.angles.size());
    double heavy = 0.0;
    for (std::size_t k = 0; k < c.angles.size(); ++k) {
      auto it = std::min_element(out.begin(), out.end(), [&](auto const& a, auto const& b) {
        return AngleGap(std::atan2(a.first.y, a.first.x), c.angles[k] * kDeg, kPi) <
               AngleGap(std::atan2(b.first.y, b.first.x), c.angles[k] * kDeg, kPi);
      });
      EXPECT_NEAR(AngleGap(std::atan2(it->first.y, it->first.x), c.angles[k] * kDeg, kPi), 0.0, c.tol * kDeg);
      EXPECT_NEAR(it->second, c.shares[k], c.tol == 1e-12 ? 1e-12 : 0.05);
      EXPECT_NEAR(std::hypot(it->first.x, it->first.y), 1.0, 1e-12);
      heavy += it->second;
    }
    // Whatever else was found (bevels at corners) is a small remainder.
    EXPECT_GT(heavy, 0.9);
    for (std::size_t k = 1; k < out.size(); ++k) EXPECT_GE(out[k - 1].second, out[k].second);
  }
}

// ---- straight runs ----

TEST(PolyBroken, PutsCornersOfRasterisedPolygonsWithinHalfAPixel) {
  std::mt19937 rng(17);
  std::uniform_real_distribution<double> angle(0.0, 2.0 * kPi), frac(0.0, 1.0);
  int good = 0, all = 0;
  double worstSeen = 0.0;
  for (double size : {20.0, 35.0, 50.0, 75.0, 100.0})
    for (int k : {3, 4})
      for (int rep = 0; rep < 10; ++rep) {
        Pts truth = Regular(k, size / (2.0 * std::sin(kPi / k)), angle(rng), {size + frac(rng), size + frac(rng)});
        Pts traced = CrackTrace(truth);
        Pts result = traced;
        bool const changed = Math::PolyBroken2(result, 1.0, true, false);
        truth.pop_back();
        double worst = 0.0;
        bool const ok = changed && CornersMatch(truth, result, 0.5, &worst);
        good += ok;
        ++all;
        if (ok) worstSeen = std::max(worstSeen, worst);
        if (!ok) {
          kmath_test::Picture pic("PolyBroken_regular_" + std::to_string(all));
          pic.Polyline("traced", traced, kmath_test::kBlue);
          pic.Polyline("result", result, kmath_test::kRed);
          pic.Points("true_corners", truth, kmath_test::kGreen);
        }
      }
  std::printf("PolyBroken squares and triangles: %d of %d match, worst matched corner %.3f px\n", good, all, worstSeen);
  EXPECT_GE(good, 0.9 * all);
}

// Real footprints keep notches of a few pixels whose corners a 1-pixel
// tolerance cannot resolve, so fewer of them come out whole than of the
// clean polygons above; the floor guards against losing what works.
TEST(PolyBroken, RecoversFootprintCorners) {
  std::map<std::string, std::pair<int, int>> hits;
  for (Pair const& p : Footprints()) {
    if (p.setting == "12px") continue;
    Pts const truth = TrueCorners(p.truth);
    Pts result = p.traced;
    double worst = 0.0;
    bool const ok = Math::PolyBroken2(result, 1.0, true, false) && CornersMatch(truth, result, 0.5, &worst);
    auto& h = hits[p.setting];
    h.first += ok;
    ++h.second;
  }
  for (auto const& [setting, h] : hits) {
    std::printf("PolyBroken footprints %s: %.1f %% corners within 0.5 px (%d of %d)\n", setting.c_str(),
                100.0 * h.first / h.second, h.first, h.second);
    EXPECT_GE(h.first, 0.5 * h.second) << setting;
  }
}

TEST(PolyBroken, OpenLineMeetsAtTheFittedCornerAndKeepsOrProjectsItsEnds) {
  // Two exact legs, along y = 0 and x = 20, whose corner the trace cut with
  // a bevel: the corner is the legs' crossing (20, 0), which is no vertex.
  Pts p;
  for (int i = 0; i <= 18; ++i) p.push_back({static_cast<double>(i), 0.0});
  p.push_back({19.5, 0.5});
  for (int j = 2; j <= 20; ++j) p.push_back({20.0, static_cast<double>(j)});
  p.front().y = 0.3;  // a stray first point, kept or projected
  Pts kept = p, projected = p;
  ASSERT_TRUE(Math::PolyBroken(kept, 0.5, 5.0, false, true));
  ASSERT_TRUE(Math::PolyBroken(projected, 0.5, 5.0, false, false));
  ASSERT_EQ(kept.size(), 3u);
  ASSERT_EQ(projected.size(), 3u);
  EXPECT_TRUE(Same({kept[0]}, {p.front()}) && Same({kept[2]}, {p.back()}));
  EXPECT_LT(Dist(kept[1], {20.0, 0.0}), 1e-9);
  EXPECT_LT(Dist(projected[0], {0.0, 0.0}), 1e-9);
  EXPECT_LT(Dist(projected[2], {20.0, 20.0}), 1e-9);
  // A ring given without its closing point is closed all the same.
  Pts sq = {{0, 0}, {10, 0}, {10, 10}, {0, 10}};
  ASSERT_TRUE(Math::PolyBroken2(sq, 0.5, true, false));
  ASSERT_EQ(sq.size(), 5u);
  EXPECT_TRUE(Same({sq.front()}, {sq.back()}));
  for (CPointD c : {CPointD{0, 0}, CPointD{10, 0}, CPointD{10, 10}, CPointD{0, 10}})
    EXPECT_TRUE(std::any_of(sq.begin(), sq.end(), [&](CPointD q) { return Dist(q, c) < 1e-9; }));
}

TEST(PolyBroken, BadInputLeavesThePolylineUnchanged) {
  Pts const line = {{0, 0}, {5, 0.1}, {10, 0}, {10, 10}};
  struct Case { char const* name; Pts poly; double tol, run; bool closed; };
  Case const cases[] = {
      {"empty", {}, 1.0, 3.0, false},
      {"one point", {{1, 1}}, 1.0, 3.0, false},
      {"two-point ring", {{0, 0}, {1, 0}}, 1.0, 3.0, true},
      {"all points equal", {{2, 2}, {2, 2}, {2, 2}, {2, 2}}, 1.0, 3.0, true},
      {"NaN coordinate", {{0, 0}, {kNaN, 1}, {10, 0}}, 1.0, 3.0, false},
      {"infinite coordinate", {{0, 0}, {kInf, 1}, {10, 0}}, 1.0, 3.0, false},
      {"zero tolerance", line, 0.0, 3.0, false},
      {"negative tolerance", line, -1.0, 3.0, false},
      {"NaN tolerance", line, kNaN, 3.0, false},
      {"negative run", line, 1.0, -1.0, false},
      {"NaN run", line, 1.0, kNaN, false},
      {"no run long enough", line, 1.0, 1e9, false},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Pts p = c.poly;
    EXPECT_FALSE(Math::PolyBroken(p, c.tol, c.run, c.closed, false));
    EXPECT_TRUE(Same(p, c.poly));
    if (c.run == 3.0) {
      EXPECT_FALSE(Math::PolyBroken2(p, c.tol, c.closed, true));
      EXPECT_TRUE(Same(p, c.poly));
    }
  }
}

TEST(PolyDirections, BadInputGivesTheFailureValue) {
  Pts const sq = {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}};
  struct Case { char const* name; Pts poly; double d; bool null; };
  Case const cases[] = {
      {"null pointer", sq, 0.1, true},
      {"empty", {}, 0.1, false},
      {"one point", {{1, 2}}, 0.1, false},
      {"all points equal", {{1, 2}, {1, 2}, {1, 2}}, 0.1, false},
      {"NaN coordinate", {{0, 0}, {1, kNaN}, {2, 0}}, 0.1, false},
      {"zero resolution", sq, 0.0, false},
      {"negative resolution", sq, -0.1, false},
      {"NaN resolution", sq, kNaN, false},
      {"resolution beyond a right angle", sq, 2.0, false},
  };
  std::vector<std::pair<CPointD, double>> const sentinel = {{{7, 7}, 7.0}};
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    CPointD const* p = c.null ? nullptr : c.poly.data();
    auto const n = static_cast<unsigned>(c.poly.size());
    EXPECT_TRUE(kmath_test::IsBad(Math::PolyBaseDir(p, n, c.d)));
    auto out = sentinel;
    Math::PolyDirClusters(p, n, out, c.d);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].second, 7.0);
  }
  // A right angle is the widest resolution modulo 90 degrees.
  EXPECT_FALSE(kmath_test::IsBad(Math::PolyBaseDir(sq.data(), 5, 0.25 * kPi)));
  EXPECT_TRUE(kmath_test::IsBad(Math::PolyBaseDir(sq.data(), 5, 0.25 * kPi + 1e-9)));
}

// ---- distance profile ----

TEST(PolyDistances, ClosedFormsAndSides) {
  Pts const b = {{0, 0}, {10, 0}, {10, 0}, {10, 10}};  // a zero-length segment in the middle
  Pts const a = {{5, 2}, {5, -3}, {12, 5}, {13, -4}, {-3, -4}, {10, 0}, {kNaN, 0}};
  auto const d = Math::PolyDistances(a, b);
  ASSERT_EQ(d.size(), a.size());
  struct Want { double pos, dist; };
  Want const want[] = {
      {5.0, 2.0},     // left of the first segment
      {5.0, -3.0},    // right of it
      {15.0, -2.0},   // right of the second leg (it runs up x = 10)
      {10.0, -5.0},   // outside the convex corner: right of both legs
      {0.0, -5.0},    // before the start: nearest is the first vertex
      {10.0, 0.0},    // on the corner
  };
  for (std::size_t i = 0; i < std::size(want); ++i) {
    SCOPED_TRACE(i);
    EXPECT_NEAR(d[i].x, want[i].pos, 1e-12);
    EXPECT_NEAR(d[i].y, want[i].dist, 1e-12);
  }
  EXPECT_TRUE(kmath_test::IsBad(d[6].x) && kmath_test::IsBad(d[6].y));
  // Equally near segments: the earliest along b wins.
  Pts const hairpin = {{0, 0}, {10, 0}, {10, 2}, {0, 2}};
  auto const h = Math::PolyDistances({{5, 1}}, hairpin);
  EXPECT_NEAR(h[0].x, 5.0, 1e-12);
  EXPECT_NEAR(h[0].y, 1.0, 1e-12);

  EXPECT_TRUE(Math::PolyDistances(a, {}).empty());
  EXPECT_TRUE(Math::PolyDistances({}, b).empty());
  EXPECT_TRUE(Math::PolyDistances(a, {{0, 0}, {kNaN, 1}}).empty());
  auto const single = Math::PolyDistances({{3, 4}}, {{0, 0}, {0, 0}});
  ASSERT_EQ(single.size(), 1u);
  EXPECT_EQ(single[0].x, 0.0);
  EXPECT_EQ(single[0].y, 5.0);
}

// On a counter-clockwise ring, left is inside: the sign of every distance
// must agree with point-in-polygon.
TEST(PolyDistances, SignMatchesInsideOnRealRings) {
  auto const coast = kmath_test::LoadXY("gshhg_h_british_isles.xy");
  std::mt19937 rng(15);
  int checked = 0;
  for (std::size_t k = 0; k < 40 && k < coast.size(); ++k) {
    Pts const& ring = coast[k].pts;
    if (!coast[k].IsClosed() || coast[k].Attr("ring") != "outer") continue;
    double x0 = 1e300, y0 = 1e300, x1 = -1e300, y1 = -1e300;
    for (CPointD const& p : ring) {
      x0 = std::min(x0, p.x); y0 = std::min(y0, p.y); x1 = std::max(x1, p.x); y1 = std::max(y1, p.y);
    }
    std::uniform_real_distribution<double> ux(x0, x1), uy(y0, y1);
    Pts a;
    for (int i = 0; i < 200; ++i) a.push_back({ux(rng), uy(rng)});
    auto const d = Math::PolyDistances(a, ring);
    for (std::size_t i = 0; i < a.size(); ++i)
      if (std::abs(d[i].y) > 1e-9) {
        EXPECT_EQ(d[i].y > 0, Inside(ring, a[i])) << "ring " << k << " point " << i;
        ++checked;
      }
  }
  EXPECT_GT(checked, 1000);
}

#ifdef KMATH_TEST_HAVE_GEOS
// GEOS measures the same profile unsigned: its distance is |y| and its
// projection (nearest point's arc length, first segment on ties) is x.
TEST(PolyDistances, AgreesWithGeosOnContourLines) {
  GEOSContextHandle_t h = GEOS_init_r();
  auto line = [&](Pts const& p) {
    GEOSCoordSequence* s = GEOSCoordSeq_create_r(h, static_cast<unsigned>(p.size()), 2);
    for (unsigned i = 0; i < p.size(); ++i) GEOSCoordSeq_setXY_r(h, s, i, p[i].x, p[i].y);
    return GEOSGeom_createLineString_r(h, s);
  };
  auto const contours = kmath_test::LoadPolylines("omap_forest_contours.xy");
  int compared = 0;
  for (std::size_t k = 0; k + 1 < contours.size(); k += 3) {
    Pts const& a = contours[k];
    Pts const& b = contours[k + 1];
    if (b.size() < 2) continue;
    auto const d = Math::PolyDistances(a, b);
    ASSERT_EQ(d.size(), a.size());
    GEOSGeometry* gb = line(b);
    for (std::size_t i = 0; i < a.size(); ++i) {
      GEOSCoordSequence* s = GEOSCoordSeq_create_r(h, 1, 2);
      GEOSCoordSeq_setXY_r(h, s, 0, a[i].x, a[i].y);
      GEOSGeometry* pt = GEOSGeom_createPoint_r(h, s);
      double dist = 0.0;
      GEOSDistance_r(h, gb, pt, &dist);
      double const pos = GEOSProject_r(h, gb, pt);
      EXPECT_NEAR(std::abs(d[i].y), dist, 1e-9) << "contour " << k << " vertex " << i;
      EXPECT_NEAR(d[i].x, pos, 1e-9) << "contour " << k << " vertex " << i;
      if (std::abs(std::abs(d[i].y) - dist) > 1e-9 || std::abs(d[i].x - pos) > 1e-9) {
        kmath_test::Picture pic("PolyDistances_contour_" + std::to_string(k) + "_" + std::to_string(i));
        pic.Polyline("b", b, kmath_test::kBlue);
        pic.Points("vertex_of_a", {a[i]}, kmath_test::kRed);
      }
      GEOSGeom_destroy_r(h, pt);
      ++compared;
    }
    GEOSGeom_destroy_r(h, gb);
  }
  GEOS_finish_r(h);
  EXPECT_GT(compared, 1000);
}
#endif

}  // namespace
}  // namespace polyline_test

// A reference whose distances overflow to NaN: the box around the tree's
// nearest segment finds nothing, and that must not leave the profile without
// a segment (it read one past the end).
TEST(PolyDistances, OverflowingReferenceStillAnswersEveryVertex) {
  std::vector<CPointD> const b{{-1.9779405047893779e+303, 0}, {0, 0}};
  auto const d = Math::PolyDistances({{7, -15}}, b);
  ASSERT_EQ(d.size(), 1u);
  EXPECT_TRUE(std::isnan(d[0].y) || std::fabs(d[0].y) <= std::hypot(7.0, 15.0) * (1 + 1e-12));
}
