// Resampling and three-point smoothing of traced polylines, 10^3 to 10^6
// vertices; both are single linear passes, so the time per vertex should
// stay flat.
#include <math/smoothing.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "bench_inputs.h"

namespace {

// A traced walk closed into a ring, so the smoothing takes its wrap-around
// path too.
std::vector<CPointD> TracedRing(std::size_t n) {
  std::vector<CPointD> pts = kmath_bench::TracedWalk(n);
  pts.push_back(pts.front());
  return pts;
}

// Step 0.5 against 8-connected steps of 1 and 1.41: every segment gains one
// or two points. The copy of the input is part of the timed work.
void BM_PolyResample(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = TracedRing(n);
  std::size_t out = 0;
  for (auto _ : state) {
    std::vector<CPointD> p = pts;
    Math::PolyResample(p, 0.5);
    out = p.size();
    benchmark::DoNotOptimize(p.data());
  }
  state.counters["out"] = static_cast<double>(out);
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_PolyResample)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMicrosecond);

// Repeated passes on the same vector, as a caller smoothing k times would do.
void BM_GaussSmoothing(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto p = TracedRing(n);
  for (auto _ : state) {
    Math::GaussSmoothing(p);
    benchmark::DoNotOptimize(p.data());
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_GaussSmoothing)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
