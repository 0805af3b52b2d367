#include <math/prepared.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "polygon_oracle.h"

namespace kmath_test {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// Points where the crossing rule is most fragile: every vertex (a vertex at
// p.y, crossings exactly at p.x), edge midpoints (on the boundary up to
// rounding), the vertex's y with x nudged by one ulp either way, and a
// spread over the box and a little beyond it.
std::vector<CPointD> Probes(CStdPlgn const& plgn, std::size_t maxProbes, std::mt19937& rng) {
  std::vector<CPointD> pts;
  double l = kInf, r = -kInf, t = kInf, b = -kInf;
  for (Ring const& ring : plgn) {
    for (std::size_t i = 0; i < ring.size(); ++i) {
      CPointD const v = ring[i];
      pts.push_back(v);
      pts.push_back({std::nextafter(v.x, -kInf), v.y});
      pts.push_back({std::nextafter(v.x, kInf), v.y});
      if (i + 1 < ring.size()) pts.push_back((v + ring[i + 1]) * 0.5);
      if (std::isfinite(v.x) && std::isfinite(v.y)) {
        l = std::min(l, v.x), r = std::max(r, v.x), t = std::min(t, v.y), b = std::max(b, v.y);
      }
    }
  }
  if (pts.size() > maxProbes) {
    std::shuffle(pts.begin(), pts.end(), rng);
    pts.resize(maxProbes);
  }
  if (l <= r) {
    double const mx = 0.05 * (r - l) + 1, my = 0.05 * (b - t) + 1;
    std::uniform_real_distribution<double> ux(l - mx, r + mx), uy(t - my, b + my);
    for (std::size_t i = 0; i < maxProbes / 2 + 16; ++i) pts.push_back({ux(rng), uy(rng)});
  }
  return pts;
}

// Returns the number of probes inside, so a caller can see the probes were
// not all on one side.
std::size_t ExpectSameAnswers(CStdPlgn const& plgn, std::size_t maxProbes, std::string const& name) {
  std::mt19937 rng(7);
  Math::CPreparedPlgn const prep(plgn);
  std::size_t in = 0, bad = 0;
  for (CPointD const& p : Probes(plgn, maxProbes, rng)) {
    bool const want = plgn.PtInside(p);
    in += want;
    if (prep.PtInside(p) != want && ++bad <= 3) {
      ADD_FAILURE() << name << ": (" << p.x << ", " << p.y << ") should be " << (want ? "in" : "out");
    }
  }
  EXPECT_EQ(bad, 0u) << name;
  return in;
}

// Each polygon of a file (its consecutive blocks of one id), then the whole
// file as one even-odd polygon, where the rings of many shapes share bands.
TEST(PreparedPlgn, AnswersAsPtInsideOnEveryRealPolygon) {
  char const* const files[] = {"world_ne110m_countries.xy", "nc_counties.xy", "dcw_countries_west_europe.xy",
                               "gshhg_h_british_isles.xy", "gshhg_f_british_isles.xy", "london_buildings.xy",
                               "osm_buildings_swabia.xy", "omap_forest_buildings.xy", "horse_crack.xy",
                               "coins_crack.xy", "soho_buildings_crack.xy", "ccitt2_crack.xy",
                               "footprints_traced.xy"};
  for (char const* file : files) {
    std::vector<XYBlock> const blocks = LoadXY(file);
    CStdPlgn all, one;
    std::string id = "none";
    std::size_t polygons = 0, inside = 0;
    auto const flush = [&] {
      if (one.empty()) return;
      inside += ExpectSameAnswers(one, 400, std::string(file) + " id=" + id);
      ++polygons;
      one.clear();
    };
    for (XYBlock const& blk : blocks) {
      std::string const key = blk.Attr("id", "?") + "/" + blk.Attr("kind");
      if (key != id) flush();
      id = key;
      one.emplace_back(blk.pts);
      all.emplace_back(blk.pts);
    }
    flush();
    EXPECT_GT(polygons, 0u) << file;
    EXPECT_GT(inside, 0u) << file;
    ExpectSameAnswers(all, 1000, std::string(file) + " as one polygon");
  }
}

TEST(PreparedPlgn, AnswersAsPtInsideOnDegenerateContours) {
  struct Case { char const* name; char const* polys; } const cases[] = {
      {"empty polygon", ""},
      {"one empty contour and one single point", " | 1 1"},
      {"unclosed ring: no closing edge", "0 0, 4 0, 4 4, 0 4"},
      {"only horizontal edges", "0 0, 4 0, 8 0"},
      {"square with a hole and an island in the hole",
       "0 0, 10 0, 10 10, 0 10, 0 0 | 2 2, 8 2, 8 8, 2 8, 2 2 | 4 4, 6 4, 6 6, 4 6, 4 4"},
      {"two overlapping squares cancel where they overlap", "0 0, 4 0, 4 4, 0 4, 0 0 | 2 2, 6 2, 6 6, 2 6, 2 2"},
      {"repeated points and zero-length edges", "0 0, 0 0, 4 0, 4 4, 4 4, 4 4, 0 4, 0 0"},
      {"a NaN vertex drops its two edges", "0 0, 4 0, nan 2, 4 4, 0 4, 0 0"},
      {"NaN x only", "0 0, 4 0, 4 nan, 4 4, 0 4, 0 0"},
      {"an infinite x", "0 0, inf 2, 0 4, 0 0"},
      {"an infinite y: edges with it are checked for every y", "0 0, 4 0, 2 inf, 0 0 | 1 -1, 3 -1, 2 -inf, 1 -1"},
      {"huge coordinates: the y extent overflows", "-1e308 -1e308, 1e308 -1e308, 1e308 1e308, -1e308 1e308, -1e308 -1e308"},
      {"a spike: one very long edge among short ones", "0 0, 1 0, 1 1000000, 1.5 1, 2 0, 3 0, 3 -1, 0 -1, 0 0"},
  };
  std::vector<CPointD> const extra = {{kNaN, 1}, {1, kNaN}, {kInf, 1}, {-kInf, 1}, {1, kInf}, {1, -kInf},
                                      {2, 2},    {5, 5},    {3, 3},    {1, 0.5},  {0, 0},   {2, 1e300}};
  for (Case const& c : cases) {
    CStdPlgn const plgn(Polys(c.polys));
    Math::CPreparedPlgn const prep(plgn);
    std::mt19937 rng(3);
    std::vector<CPointD> probes = Probes(plgn, 1000, rng);
    probes.insert(probes.end(), extra.begin(), extra.end());
    for (CPointD const& p : probes) {
      EXPECT_EQ(prep.PtInside(p), plgn.PtInside(p)) << c.name << " at (" << p.x << ", " << p.y << ")";
    }
  }
  // The index keeps its own copy: the polygon may go away.
  auto const heap = std::make_unique<CStdPlgn>(Polys("0 0, 4 0, 4 4, 0 4, 0 0"));
  Math::CPreparedPlgn const kept(*heap);
  heap->clear();
  EXPECT_TRUE(kept.PtInside({2, 2}));
  EXPECT_EQ(kept.EdgeCount(), 2u);  // the two horizontal sides never count
}

}  // namespace
}  // namespace kmath_test
