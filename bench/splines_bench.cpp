// Spline densification of traced rings, 10^3 to 10^5 vertices. The slopes
// are one banded elimination and every segment is handled once, so the time
// per vertex should stay flat; the adaptive variant pays per point it adds.
#include <math/splines.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

namespace {

// A traced walk closed into a ring: the cyclic system, the harder case.
std::vector<CPointD> TracedRing(std::size_t n) {
  std::vector<CPointD> pts = kmath_bench::TracedWalk(n);
  pts.push_back(pts.front());
  return pts;
}

// Adaptive points to within 0.1 pixel of every sub-chord. The copy of the
// input is part of the timed work.
void BM_ReduceToSplineTol(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const ring = TracedRing(n);
  std::size_t out = 0;
  for (auto _ : state) {
    std::vector<CPointD> p = ring;
    benchmark::DoNotOptimize(Math::ReduceToSpline(p, 0.1));
    out = p.size();
  }
  kmath_bench::SetCounts(state, n);
  state.counters["out/in"] = static_cast<double>(out) / static_cast<double>(ring.size());
}
BENCHMARK(BM_ReduceToSplineTol)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond)->Complexity();

// Three points per segment, no subdivision: the slopes and the insertion.
void BM_ReduceToSplineCount(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const ring = TracedRing(n);
  for (auto _ : state) {
    std::vector<CPointD> p = ring;
    benchmark::DoNotOptimize(Math::ReduceToSpline(p, 3));
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_ReduceToSplineCount)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond)->Complexity();

// The slopes alone, open with a start tangent.
void BM_CSplineCreate(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const walk = kmath_bench::TracedWalk(n);
  CPointD const tangent{1, 0};
  Math::CSpline sp;
  for (auto _ : state) benchmark::DoNotOptimize(sp.Create(walk, &tangent));
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_CSplineCreate)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond)->Complexity();

// The Great Britain shoreline at full resolution (about 49,000 vertices, in
// degrees): adaptive points to within 1e-4 degree.
void BM_ReduceToSplineShoreline(benchmark::State& state) {
  std::vector<CPointD> shore;
  for (auto const& b : kmath_test::LoadXY("gshhg_f_british_isles.xy"))
    if (b.pts.size() > shore.size()) shore = b.pts;
  std::size_t out = 0;
  for (auto _ : state) {
    std::vector<CPointD> p = shore;
    benchmark::DoNotOptimize(Math::ReduceToSpline(p, 1e-4));
    out = p.size();
  }
  kmath_bench::SetCounts(state, shore.size());
  state.counters["out/in"] = static_cast<double>(out) / static_cast<double>(shore.size());
}
BENCHMARK(BM_ReduceToSplineShoreline)->Unit(benchmark::kMillisecond);

}  // namespace
