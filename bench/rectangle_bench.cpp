// Oriented rectangles: MinAreaRectangle on 10^3..10^6 points, uniform in a
// disc (a hull of a few dozen vertices) and on a circle (every point on the
// hull, the calipers' worst case), and on every real building footprint.
// OpenCV's minAreaRect is the baseline on the same points.
#include <math/rectangle.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

#ifdef KMATH_BENCH_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

std::vector<CPointD> Points(std::size_t n, bool onCircle) {
  std::mt19937 rng(77);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  std::vector<CPointD> pts(n);
  for (CPointD& p : pts) {
    double const a = 6.283185307179586 * u(rng);
    double const r = onCircle ? 1000.0 : 1000.0 * std::sqrt(u(rng));
    p = {r * std::cos(a), 0.5 * r * std::sin(a)};
  }
  return pts;
}

void BM_MinAreaRectangle(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = Points(n, state.range(1) != 0);
  for (auto _ : state) {
    Math::CRectangle const r = Math::MinAreaRectangle(pts.data(), static_cast<unsigned>(n), false);
    benchmark::DoNotOptimize(r);
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_MinAreaRectangle)
    ->ArgsProduct({{1000, 10000, 100000, 1000000}, {0, 1}})
    ->Complexity(benchmark::oNLogN)
    ->Unit(benchmark::kMicrosecond);

void BM_MinAreaRectangle_Buildings(benchmark::State& state) {
  auto const rings = kmath_test::LoadPolylines("london_buildings.xy");
  std::size_t total = 0;
  for (auto const& r : rings) total += r.size();
  for (auto _ : state)
    for (auto const& r : rings) {
      Math::CRectangle const m = Math::MinAreaRectangle(r.data(), static_cast<unsigned>(r.size()), false);
      benchmark::DoNotOptimize(m);
    }
  kmath_bench::SetCounts(state, total);
}
BENCHMARK(BM_MinAreaRectangle_Buildings)->Unit(benchmark::kMicrosecond);

#ifdef KMATH_BENCH_HAVE_OPENCV
void BM_OpenCV_minAreaRect(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const src = Points(n, state.range(1) != 0);
  std::vector<cv::Point2f> pts;
  for (CPointD const& p : src) pts.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y));
  for (auto _ : state) {
    cv::RotatedRect const r = cv::minAreaRect(pts);
    benchmark::DoNotOptimize(r);
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_OpenCV_minAreaRect)->ArgsProduct({{1000, 10000, 100000, 1000000}, {0, 1}})->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
