// Reference-point transforms: the second-order least-squares fit (two 6 x 6
// normal systems accumulated in one pass each) and point mapping.
#include <math/reftrans.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "bench_inputs.h"

namespace {

// Scan of a map sheet to a reference raster: pixel scale on both sides,
// where the raw-coordinate normal equations are well conditioned.
std::vector<Math::CRefPoint> SheetPairs(std::size_t n) {
  std::mt19937 rng(4242);
  std::uniform_real_distribution<double> ux(0.0, 4000.0), uy(0.0, 3000.0);
  std::normal_distribution<double> noise(0.0, 0.3);
  std::vector<Math::CRefPoint> rps(n);
  for (auto& r : rps) {
    double const x = ux(rng), y = uy(rng);
    r.src = {x, y};
    r.dst = {1e-6 * x * x - 2e-6 * y * y + 3e-6 * x * y + 0.98 * x + 0.05 * y + 120.0 + noise(rng),
             -1.5e-6 * x * x + 0.5e-6 * y * y + 2e-6 * x * y - 0.03 * x + 1.01 * y - 80.0 + noise(rng)};
  }
  return rps;
}

void BM_SqrTransFit(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const rps = SheetPairs(n);
  Math::CSqrTrans t;
  for (auto _ : state) {
    bool const ok = t.Define(rps.data(), static_cast<unsigned>(n));
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(t);
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_SqrTransFit)->ArgsProduct({{16, 100, 1000, 10000, 100000}})->Complexity(benchmark::oN);

template <class T>
void MapAll(benchmark::State& state, T const& t) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const rps = SheetPairs(n);
  std::vector<CPointD> out(n);
  for (auto _ : state) {
    for (std::size_t i = 0; i < n; ++i) out[i] = t.Point(rps[i].src);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  kmath_bench::SetCounts(state, n);
}

void BM_SqrTransPoint(benchmark::State& state) {
  auto const rps = SheetPairs(1000);
  MapAll(state, Math::CSqrTrans(rps.data(), 1000));
}
BENCHMARK(BM_SqrTransPoint)->Arg(1000000);

void BM_LinearTransPoint(benchmark::State& state) {
  auto const rps = SheetPairs(2);
  MapAll(state, Math::CLinearTrans(rps.data(), 2));
}
BENCHMARK(BM_LinearTransPoint)->Arg(1000000);

}  // namespace
