// Inputs shared by the benchmarks: synthetic traced polylines built from a
// fixed seed, and the counters every size sweep reports.
#pragma once

#include <math/types.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace kmath_bench {

// A digitised wandering curve: the heading drifts randomly, the pen moves 0.8
// pixel per step and every new pixel centre is a vertex, so consecutive
// vertices are 8-neighbours, as in a traced boundary chain. With `corners`
// the heading jumps by 1.5 rad now and then, as at the corners of a drawing.
inline std::vector<CPointD> TracedWalk(std::size_t n, bool corners = false) {
  std::mt19937 rng(4242);
  std::normal_distribution<double> turn(0.0, 0.08);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  std::vector<CPointD> pts{{0, 0}};
  pts.reserve(n + 1);
  double x = 0, y = 0, heading = 0;
  while (pts.size() < n) {
    heading += turn(rng);
    if (corners && u(rng) < 0.002) heading += (u(rng) < 0.5 ? 1.0 : -1.0) * 1.5;
    x += 0.8 * std::cos(heading);
    y += 0.8 * std::sin(heading);
    CPointD const px{std::round(x), std::round(y)};
    if (px.x != pts.back().x || px.y != pts.back().y) pts.push_back(px);
  }
  return pts;
}

// The counters of every benchmark: `items` processed per iteration (for the
// items-per-second rate) and `n`, the size the complexity fit runs against.
inline void SetCounts(benchmark::State& state, std::size_t items, std::size_t n) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(items));
  state.SetComplexityN(static_cast<int64_t>(n));
}

// The common case: the size is what each iteration processes.
inline void SetCounts(benchmark::State& state, std::size_t n) { SetCounts(state, n, n); }

}  // namespace kmath_bench
