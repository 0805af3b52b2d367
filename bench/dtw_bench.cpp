// Dynamic time warping of two sections of n points each. The cost matrix
// has (n + 1)^2 cells, so time and memory grow with the square of n: 8 MB
// at n = 1,000, 72 MB at n = 3,000. The crossing filter adds a test of each
// emitted pair against both polylines, run through blocks of segments.
#include <math/dtw.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "bench_inputs.h"

namespace {

// A traced walk and a second trace of the same line with about as many
// points: every third vertex dropped, a midpoint added after every other
// third, everything moved by up to half a pixel.
std::pair<std::vector<CPointD>, std::vector<CPointD>> TwoTraces(std::size_t n) {
  std::vector<CPointD> const a = kmath_bench::TracedWalk(n);
  std::mt19937 rng(99);
  std::uniform_real_distribution<double> noise(-0.5, 0.5);
  auto jitter = [&](CPointD p) { return CPointD{p.x + noise(rng), p.y + noise(rng)}; };
  std::vector<CPointD> b;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (i % 3 != 2) b.push_back(jitter(a[i]));
    if (i % 3 == 0 && i + 1 < a.size()) b.push_back(jitter((a[i] + a[i + 1]) * 0.5));
  }
  return {a, b};
}

// range(0): points per section; range(1): 0 classic, 1 axis steps;
// range(2): crossing filter off or on.
void BM_DTWMatch(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const [a, b] = TwoTraces(n);
  Math::CDTWParams const params(state.range(2) != 0, 0.0, state.range(1) != 0);
  std::vector<std::pair<Math::poly_hit, Math::poly_hit>> pairs;
  for (auto _ : state) {
    Math::DTWMatch(Math::CDTWPoly(a), Math::CDTWPoly(b), pairs, params);
    benchmark::DoNotOptimize(pairs.data());
  }
  // Cells of the cost matrix per second, and its size.
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>((n + 1) * (n + 1)));
  state.SetComplexityN(static_cast<int64_t>(n));
  state.counters["matrix_MB"] = static_cast<double>((n + 1) * (n + 1) * sizeof(double)) / 1e6;
  state.counters["pairs"] = static_cast<double>(pairs.size());
}
BENCHMARK(BM_DTWMatch)
    ->ArgsProduct({{300, 1000, 3000}, {0, 1}, {0}})
    ->ArgsProduct({{1000, 3000}, {0}, {1}})
    ->Unit(benchmark::kMillisecond);

// Resampled sections: the positions come from Resample at 0.5 pixel, about
// twice as many as the vertices.
void BM_DTWMatchResampled(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const [a, b] = TwoTraces(n);
  Math::CDTWParams const params(false, 0.5, false);
  std::vector<std::pair<Math::poly_hit, Math::poly_hit>> pairs;
  for (auto _ : state) {
    Math::DTWMatch(Math::CDTWPoly(a), Math::CDTWPoly(b), pairs, params);
    benchmark::DoNotOptimize(pairs.data());
  }
  state.counters["pairs"] = static_cast<double>(pairs.size());
}
BENCHMARK(BM_DTWMatchResampled)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace
