// Direction analysis, straight-run generalisation and distance profiles of
// traced polylines. Every function should grow as n log n: the straightening
// is the approximation's split plus one linear joining pass, and the distance
// profile asks an R-tree over b once per vertex of a.
#include <math/polydir.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

#ifdef KMATH_BENCH_HAVE_GEOS
#include <geos_c.h>
#endif

namespace {

constexpr double kDeg = 3.14159265358979323846 / 180.0;

void BM_PolyBaseDir(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = kmath_bench::TracedWalk(n, true);
  for (auto _ : state) benchmark::DoNotOptimize(Math::PolyBaseDir(pts.data(), static_cast<unsigned>(pts.size()), 8 * kDeg));
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_PolyBaseDir)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oNLogN);

void BM_PolyDirClusters(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = kmath_bench::TracedWalk(n, true);
  std::vector<std::pair<CPointD, double>> out;
  for (auto _ : state) {
    Math::PolyDirClusters(pts.data(), static_cast<unsigned>(pts.size()), out, 10 * kDeg);
    benchmark::DoNotOptimize(out.data());
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_PolyDirClusters)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oNLogN);

void BM_PolyBroken2(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = kmath_bench::TracedWalk(n, true);
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<CPointD> p = pts;
    state.ResumeTiming();
    benchmark::DoNotOptimize(Math::PolyBroken2(p, 1.0, false, true));
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_PolyBroken2)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oNLogN);

// Two walks a little apart: b is a, shifted and re-traced by a second seed of
// the same walk, so every vertex of a has b's segments nearby.
void BM_PolyDistances(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const a = kmath_bench::TracedWalk(n, true);
  auto b = a;
  for (CPointD& p : b) p = p + CPointD{0.37, -0.61};
  for (auto _ : state) benchmark::DoNotOptimize(Math::PolyDistances(a, b));
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_PolyDistances)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oNLogN);

// The British Isles' full-resolution shorelines joined into one line of
// about 1.5e5 vertices, its first n vertices measured against a copy jittered
// by about 10 m: the comparison a user makes of a traced coast with a
// reference.
std::vector<CPointD> const& Coast() {
  static std::vector<CPointD> const coast = [] {
    std::vector<CPointD> all;
    for (auto const& p : kmath_test::LoadPolylines("gshhg_f_british_isles.xy")) all.insert(all.end(), p.begin(), p.end());
    return all;
  }();
  return coast;
}

void BM_PolyDistances_Coastline(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  std::vector<CPointD> const a(Coast().begin(), Coast().begin() + static_cast<std::ptrdiff_t>(std::min(n, Coast().size())));
  std::vector<CPointD> b;
  for (std::size_t i = 0; i < a.size(); ++i) b.push_back(a[i] + CPointD{1e-4 * (i % 3), -1e-4 * (i % 5)});
  for (auto _ : state) benchmark::DoNotOptimize(Math::PolyDistances(a, b));
  kmath_bench::SetCounts(state, a.size());
}
BENCHMARK(BM_PolyDistances_Coastline)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

#ifdef KMATH_BENCH_HAVE_GEOS
// GEOS baseline: project and distance per vertex against a prepared line
// (GEOS walks every segment per query, so it is only run at small sizes).
void BM_PolyDistances_Geos(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const a = kmath_bench::TracedWalk(n, true);
  GEOSContextHandle_t h = GEOS_init_r();
  GEOSCoordSequence* s = GEOSCoordSeq_create_r(h, static_cast<unsigned>(a.size()), 2);
  for (unsigned i = 0; i < a.size(); ++i) GEOSCoordSeq_setXY_r(h, s, i, a[i].x + 0.37, a[i].y - 0.61);
  GEOSGeometry* line = GEOSGeom_createLineString_r(h, s);
  std::vector<GEOSGeometry*> pts;
  for (CPointD const& p : a) {
    GEOSCoordSequence* q = GEOSCoordSeq_create_r(h, 1, 2);
    GEOSCoordSeq_setXY_r(h, q, 0, p.x, p.y);
    pts.push_back(GEOSGeom_createPoint_r(h, q));
  }
  for (auto _ : state) {
    double sum = 0.0;
    for (GEOSGeometry* p : pts) {
      double d = 0.0;
      GEOSDistance_r(h, line, p, &d);
      sum += d + GEOSProject_r(h, line, p);
    }
    benchmark::DoNotOptimize(sum);
  }
  for (GEOSGeometry* p : pts) GEOSGeom_destroy_r(h, p);
  GEOSGeom_destroy_r(h, line);
  GEOS_finish_r(h);
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_PolyDistances_Geos)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
