// The polygon model on real shorelines (GSHHG full resolution, British
// Isles): point in ring and in polygon, rectangle clipping and splitting
// polylines by a polygon. Baselines: Boost.Geometry's within and
// intersection, GEOS's prepared contains, rectangle clip and overlay.
#include <math/polygon.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

#ifdef KMATH_BENCH_HAVE_BOOST_GEOMETRY
#include <boost/geometry.hpp>
#include <boost/geometry/geometries/box.hpp>
#include <boost/geometry/geometries/linestring.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>
#endif

#ifdef KMATH_BENCH_HAVE_GEOS
#include <geos_c.h>
#endif

namespace {

using Ring = Math::poly_base<CPointD>;

// Closed shoreline rings, largest first (the file's order); its largest
// ring has 49305 vertices, all of them together 146 thousand.
std::vector<Ring> const& Shorelines() {
  static std::vector<Ring> const rings = [] {
    std::vector<Ring> out;
    for (auto& b : kmath_test::LoadXY("gshhg_f_british_isles.xy")) {
      if (b.Attr("ring") == "outer") out.emplace_back(std::move(b.pts));
    }
    return out;
  }();
  return rings;
}

CRectD const kRegion{-11.0, 49.8, 2.0, 61.0};

// The ring whose size is nearest to n.
Ring const& RingOfSize(std::size_t n) {
  auto const& rings = Shorelines();
  std::size_t best = 0;
  for (std::size_t i = 1; i < rings.size(); ++i) {
    auto const d = [n](std::size_t s) { return s > n ? s - n : n - s; };
    if (d(rings[i].size()) < d(rings[best].size())) best = i;
  }
  return rings[best];
}

// Rings taken from the smallest up until they hold at least n vertices, so
// the set is many rings for small n and includes the large ones for big n.
CStdPlgn RingsUpTo(std::size_t n) {
  auto const& rings = Shorelines();
  CStdPlgn out;
  std::size_t total = 0;
  for (auto it = rings.rbegin(); it != rings.rend() && total < n; ++it) {
    out.push_back(*it);
    total += it->size();
  }
  return out;
}

std::size_t Vertices(CStdPlgn const& p) {
  std::size_t n = 0;
  for (auto const& r : p) n += r.size();
  return n;
}

CRectD Box(std::vector<CPointD> const& pts) {
  CRectD b{HUGE_VAL, HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
  for (auto const& p : pts)
    b = {std::min(b.left, p.x), std::min(b.top, p.y), std::max(b.right, p.x), std::max(b.bottom, p.y)};
  return b;
}

std::vector<CPointD> RandomPoints(CRectD const& r, std::size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> ux(r.left, r.right), uy(r.top, r.bottom);
  std::vector<CPointD> pts(n);
  for (auto& p : pts) p = {ux(rng), uy(rng)};
  return pts;
}

// A random walk of m steps kept inside the region: a stand-in for a long
// traced line meandering over the coast.
Ring RandomWalk(std::size_t m, double step, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> us(-step, step);
  Ring walk{{-4.0, 54.0}};
  for (std::size_t k = 0; k < m; ++k) {
    CPointD p = walk.back() + CPointD{us(rng), us(rng)};
    p.x = std::clamp(p.x, kRegion.left, kRegion.right);
    p.y = std::clamp(p.y, kRegion.top, kRegion.bottom);
    walk.push_back(p);
  }
  return walk;
}

constexpr std::size_t kQueries = 100000;

// ---------------------------------------------------------------- PtInside

void BM_PtInsideRing(benchmark::State& state) {
  Ring const& ring = RingOfSize(static_cast<std::size_t>(state.range(0)));
  auto const pts = RandomPoints(Box(ring), kQueries, 1);
  for (auto _ : state) {
    std::size_t in = 0;
    for (auto const& p : pts) in += CStdPlgn::PtInside(p, ring);
    benchmark::DoNotOptimize(in);
  }
  state.counters["vertices"] = static_cast<double>(ring.size());
  kmath_bench::SetCounts(state, kQueries, ring.size());
}
BENCHMARK(BM_PtInsideRing)
    ->ArgsProduct({{100, 1000, 5000, 50000}})
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

// Every closed shoreline as one polygon, 146 thousand vertices.
void BM_PtInsidePolygon(benchmark::State& state) {
  CStdPlgn const plg = RingsUpTo(static_cast<std::size_t>(state.range(0)));
  auto const pts = RandomPoints(kRegion, 10000, 2);
  for (auto _ : state) {
    std::size_t in = 0;
    for (auto const& p : pts) in += plg.PtInside(p);
    benchmark::DoNotOptimize(in);
  }
  state.counters["vertices"] = static_cast<double>(Vertices(plg));
  kmath_bench::SetCounts(state, pts.size());
}
BENCHMARK(BM_PtInsidePolygon)->ArgsProduct({{1000, 200000}})->Unit(benchmark::kMillisecond);

#ifdef KMATH_BENCH_HAVE_BOOST_GEOMETRY
namespace bg = boost::geometry;
using BgPt = bg::model::d2::point_xy<double>;
using BgPoly = bg::model::polygon<BgPt, false, true>;
using BgLine = bg::model::linestring<BgPt>;

BgPoly ToBg(Ring const& r) {
  BgPoly poly;
  for (auto const& p : r) bg::append(poly.outer(), BgPt(p.x, p.y));
  bg::correct(poly);
  return poly;
}

void BM_BoostWithinRing(benchmark::State& state) {
  Ring const& ring = RingOfSize(static_cast<std::size_t>(state.range(0)));
  BgPoly const poly = ToBg(ring);
  auto const pts = RandomPoints(Box(ring), kQueries, 1);
  for (auto _ : state) {
    std::size_t in = 0;
    for (auto const& p : pts) in += bg::within(BgPt(p.x, p.y), poly);
    benchmark::DoNotOptimize(in);
  }
  kmath_bench::SetCounts(state, kQueries, ring.size());
}
BENCHMARK(BM_BoostWithinRing)
    ->ArgsProduct({{100, 1000, 5000, 50000}})
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);
#endif

#ifdef KMATH_BENCH_HAVE_GEOS
class CGeos {
 public:
  CGeos() : m_h(GEOS_init_r()) {}
  ~CGeos() { GEOS_finish_r(m_h); }
  CGeos(CGeos const&) = delete;
  CGeos& operator=(CGeos const&) = delete;
  GEOSContextHandle_t get() const { return m_h; }

  GEOSGeometry* Line(std::vector<CPointD> const& pts) const { return GEOSGeom_createLineString_r(m_h, Seq(pts)); }
  GEOSGeometry* Polygon(std::vector<CPointD> const& ring) const {
    return GEOSGeom_createPolygon_r(m_h, GEOSGeom_createLinearRing_r(m_h, Seq(ring)), nullptr, 0);
  }
  GEOSGeometry* MultiPolygon(CStdPlgn const& plg) const {
    std::vector<GEOSGeometry*> parts;
    for (auto const& r : plg) parts.push_back(Polygon(r));
    return GEOSGeom_createCollection_r(m_h, GEOS_MULTIPOLYGON, parts.data(), static_cast<unsigned>(parts.size()));
  }

 private:
  GEOSCoordSequence* Seq(std::vector<CPointD> const& pts) const {
    return GEOSCoordSeq_copyFromBuffer_r(m_h, &pts[0].x, static_cast<unsigned>(pts.size()), 0, 0);
  }
  GEOSContextHandle_t m_h;
};

// A prepared polygon indexes its edges: O(log n) per point after a build,
// a different algorithm from the crossing walk, shown for scale.
void BM_GeosPreparedContainsRing(benchmark::State& state) {
  Ring const& ring = RingOfSize(static_cast<std::size_t>(state.range(0)));
  CGeos g;
  GEOSGeometry* poly = g.Polygon(ring);
  GEOSPreparedGeometry const* prep = GEOSPrepare_r(g.get(), poly);
  auto const pts = RandomPoints(Box(ring), kQueries, 1);
  std::vector<GEOSGeometry*> geoms;
  for (auto const& p : pts) geoms.push_back(GEOSGeom_createPointFromXY_r(g.get(), p.x, p.y));
  for (auto _ : state) {
    std::size_t in = 0;
    for (auto* q : geoms) in += GEOSPreparedContains_r(g.get(), prep, q) == 1;
    benchmark::DoNotOptimize(in);
  }
  for (auto* q : geoms) GEOSGeom_destroy_r(g.get(), q);
  GEOSPreparedGeom_destroy_r(g.get(), prep);
  GEOSGeom_destroy_r(g.get(), poly);
  kmath_bench::SetCounts(state, kQueries, ring.size());
}
BENCHMARK(BM_GeosPreparedContainsRing)->ArgsProduct({{100, 1000, 5000, 50000}})->Unit(benchmark::kMillisecond);
#endif

// ---------------------------------------------------------- ClipPolyByRect

// The middle quarter of the region: cuts through the large rings and drops
// most small islands.
CRectD const kClip{-7.75, 52.6, -1.25, 58.2};

void BM_ClipPolyByRect(benchmark::State& state) {
  CStdPlgn const src = RingsUpTo(static_cast<std::size_t>(state.range(0)));
  bool const keepClosed = state.range(1) != 0;
  std::size_t const n = Vertices(src);
  Math::mpoly_base<CPointD> polys;
  for (auto _ : state) {
    state.PauseTiming();
    polys = src;
    state.ResumeTiming();
    Math::ClipPolyByRect(polys, kClip, keepClosed);
    benchmark::DoNotOptimize(polys.data());
  }
  state.counters["vertices"] = static_cast<double>(n);
  state.counters["pieces"] = static_cast<double>(polys.size());
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_ClipPolyByRect)
    ->ArgsProduct({{1000, 10000, 60000, 200000}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

#ifdef KMATH_BENCH_HAVE_BOOST_GEOMETRY
// Polygon intersection with a box, ring by ring (keepClosed's counterpart).
void BM_BoostIntersectRingsWithBox(benchmark::State& state) {
  CStdPlgn const src = RingsUpTo(static_cast<std::size_t>(state.range(0)));
  std::vector<BgPoly> polys;
  for (auto const& r : src) polys.push_back(ToBg(r));
  bg::model::box<BgPt> const box(BgPt(kClip.left, kClip.top), BgPt(kClip.right, kClip.bottom));
  for (auto _ : state) {
    std::size_t parts = 0;
    for (auto const& p : polys) {
      std::vector<BgPoly> out;
      bg::intersection(p, box, out);
      parts += out.size();
    }
    benchmark::DoNotOptimize(parts);
  }
  kmath_bench::SetCounts(state, Vertices(src));
}
BENCHMARK(BM_BoostIntersectRingsWithBox)->ArgsProduct({{1000, 10000, 60000, 200000}})->Unit(benchmark::kMillisecond);
#endif

#ifdef KMATH_BENCH_HAVE_GEOS
// GEOS's dedicated rectangle clipper on the rings as lines (the open case).
void BM_GeosClipByRectLines(benchmark::State& state) {
  CStdPlgn const src = RingsUpTo(static_cast<std::size_t>(state.range(0)));
  CGeos g;
  std::vector<GEOSGeometry*> lines;
  for (auto const& r : src) lines.push_back(g.Line(r));
  for (auto _ : state) {
    std::size_t made = 0;
    for (auto* l : lines) {
      GEOSGeometry* out = GEOSClipByRect_r(g.get(), l, kClip.left, kClip.top, kClip.right, kClip.bottom);
      made += out != nullptr;
      GEOSGeom_destroy_r(g.get(), out);
    }
    benchmark::DoNotOptimize(made);
  }
  for (auto* l : lines) GEOSGeom_destroy_r(g.get(), l);
  kmath_bench::SetCounts(state, Vertices(src));
}
BENCHMARK(BM_GeosClipByRectLines)->ArgsProduct({{1000, 10000, 60000, 200000}})->Unit(benchmark::kMillisecond);
#endif

// ------------------------------------------------------------- CSplitPoly1

// Building the segment indexes: a sort of the polygon's segments.
void BM_SplitPolyBuild(benchmark::State& state) {
  CStdPlgn const plg = RingsUpTo(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Math::CSplitPoly1 split(plg, false);
    benchmark::DoNotOptimize(&split);
  }
  kmath_bench::SetCounts(state, Vertices(plg));
}
BENCHMARK(BM_SplitPolyBuild)
    ->ArgsProduct({{1000, 10000, 60000, 200000}})
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

// A walk of m steps against every shoreline (146 thousand vertices).
void BM_SplitPolyWalk(benchmark::State& state) {
  static CStdPlgn const plg = RingsUpTo(1000000);
  static Math::CSplitPoly1 const split(plg, false);
  auto const m = static_cast<std::size_t>(state.range(0));
  Ring const walk = RandomWalk(m, 0.05, 3);
  std::size_t pieces = 0;
  for (auto _ : state) {
    Math::mpoly_base<CPointD> in, out;
    split(walk, in, out, true);
    pieces = in.size() + out.size();
    benchmark::DoNotOptimize(pieces);
  }
  state.counters["pieces"] = static_cast<double>(pieces);
  kmath_bench::SetCounts(state, m);
}
BENCHMARK(BM_SplitPolyWalk)
    ->RangeMultiplier(10)
    ->Range(100, 100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

// A fixed walk of 1000 steps against polygons of growing size.
void BM_SplitPolyPolygonSize(benchmark::State& state) {
  CStdPlgn const plg = RingsUpTo(static_cast<std::size_t>(state.range(0)));
  Math::CSplitPoly1 const split(plg, false);
  Ring const walk = RandomWalk(1000, 0.05, 4);
  for (auto _ : state) {
    Math::mpoly_base<CPointD> in, out;
    split(walk, in, out, true);
    benchmark::DoNotOptimize(in.data());
  }
  state.counters["vertices"] = static_cast<double>(Vertices(plg));
  kmath_bench::SetCounts(state, walk.size(), Vertices(plg));
}
BENCHMARK(BM_SplitPolyPolygonSize)->ArgsProduct({{1000, 10000, 60000, 200000}})->Unit(benchmark::kMillisecond);

#ifdef KMATH_BENCH_HAVE_GEOS
// The same split by GEOS overlay: intersection and difference of the walk
// with the shorelines as one multipolygon.
void BM_GeosSplitWalk(benchmark::State& state) {
  static CStdPlgn const plg = RingsUpTo(1000000);
  CGeos g;
  GEOSGeometry* mp = g.MultiPolygon(plg);
  auto const m = static_cast<std::size_t>(state.range(0));
  GEOSGeometry* line = g.Line(RandomWalk(m, 0.05, 3));
  for (auto _ : state) {
    GEOSGeometry* in = GEOSIntersection_r(g.get(), line, mp);
    GEOSGeometry* out = GEOSDifference_r(g.get(), line, mp);
    if (in == nullptr || out == nullptr) state.SkipWithError("GEOS overlay failed");
    benchmark::DoNotOptimize(in);
    GEOSGeom_destroy_r(g.get(), in);
    GEOSGeom_destroy_r(g.get(), out);
  }
  GEOSGeom_destroy_r(g.get(), line);
  GEOSGeom_destroy_r(g.get(), mp);
  kmath_bench::SetCounts(state, m);
}
BENCHMARK(BM_GeosSplitWalk)->ArgsProduct({{100, 10000}})->Unit(benchmark::kMillisecond);
#endif

}  // namespace
