// Circle fits on up to 1e5 points (the polyline fit with its geometric
// refinement, and the plain weighted algebraic fit) and the conversion of
// circles and arcs to polylines.
#include <math/circle.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "bench_inputs.h"

namespace {

// A closed, noisy, unevenly sampled circle of radius 500.
Math::poly_base<CPointD> NoisyCircle(std::size_t n) {
  std::mt19937 rng(31337);
  std::normal_distribution<double> noise(0, 0.7);
  std::uniform_real_distribution<double> jitter(-0.4, 0.4);
  Math::poly_base<CPointD> p(n + 1);
  for (std::size_t i = 0; i < n; ++i) {
    double const a = 2 * M_PI * (static_cast<double>(i) + jitter(rng)) / static_cast<double>(n);
    p[i] = {1200 + 500 * std::cos(a) + noise(rng), -300 + 500 * std::sin(a) + noise(rng)};
  }
  p[n] = p[0];
  return p;
}

using kmath_bench::SetCounts;

void BM_CircleReducePolyline(benchmark::State& state) {
  auto const poly = NoisyCircle(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Math::CCircleReduce::CResult const r = Math::CCircleReduce(poly);
    benchmark::DoNotOptimize(r);
  }
  SetCounts(state, poly.size());
}
BENCHMARK(BM_CircleReducePolyline)->RangeMultiplier(10)->Range(100, 100000)->Complexity(benchmark::oN);

void BM_CircleReduceWeighted(benchmark::State& state) {
  auto const poly = NoisyCircle(static_cast<std::size_t>(state.range(0)));
  std::vector<double> w(poly.size());
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> u(0.5, 1.5);
  for (double& x : w) x = u(rng);
  for (auto _ : state) {
    Math::CCircleReduce::CResult const r =
        Math::CCircleReduce(poly.data(), static_cast<unsigned>(poly.size()), w.data());
    benchmark::DoNotOptimize(r);
  }
  SetCounts(state, poly.size());
}
BENCHMARK(BM_CircleReduceWeighted)->RangeMultiplier(10)->Range(100, 100000)->Complexity(benchmark::oN);

// Tolerance relative to a radius of 100: the side count grows as 1/sqrt(t).
void BM_CircleMakePoly(benchmark::State& state) {
  double const t = 100.0 / static_cast<double>(state.range(0));
  Math::CCircle const c({10, 20}, 100);
  Math::poly_base<CPointD> out;
  for (auto _ : state) {
    bool const ok = c.MakePoly(out, t, 1 << 20);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(out.data());
  }
  SetCounts(state, out.size());
}
BENCHMARK(BM_CircleMakePoly)->RangeMultiplier(100)->Range(100, 100000000);

void BM_CircleToPoly(benchmark::State& state) {
  double const t = 100.0 / static_cast<double>(state.range(0));
  std::vector<CPointD> out;
  for (auto _ : state) {
    out.clear();
    bool const ok = Math::CircleToPoly(out, {10, 20}, 100, t, 1u << 20);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(out.data());
  }
  SetCounts(state, out.size());
}
BENCHMARK(BM_CircleToPoly)->RangeMultiplier(100)->Range(100, 100000000);

void BM_ArcMakePoly(benchmark::State& state) {
  double const t = 100.0 / static_cast<double>(state.range(0));
  Math::CArc const arc({10, 20}, 100, 0.3, 0.3 + 1.5 * M_PI);
  Math::poly_base<CPointD> out;
  for (auto _ : state) {
    bool const ok = arc.MakePoly(out, t, 1 << 20);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(out.data());
  }
  SetCounts(state, out.size());
}
BENCHMARK(BM_ArcMakePoly)->RangeMultiplier(100)->Range(100, 100000000);

}  // namespace
