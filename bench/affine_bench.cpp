// Affine raster-to-world maps: applying a direct handle to many points and
// the least-squares fit from reference pairs, against OpenCV's cv::transform
// as the baseline for the mapping.
#include <math/affine.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "bench_inputs.h"

#ifdef KMATH_BENCH_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

// 0.5 m pixels, slightly rotated, near (5e5, 6e6): a typical georeference.
constexpr double kGeo[6] = {0.4998, 0.0150, 512345.25, 0.0147, -0.5002, 6123456.75};

std::vector<CPointD> RandomPixels(std::size_t n) {
  std::mt19937 rng(12345);
  std::uniform_real_distribution<double> u(0.0, 1e4);
  std::vector<CPointD> pts(n);
  for (auto& p : pts) p = {u(rng), u(rng)};
  return pts;
}

void BM_AffineDirectMap(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const src = RandomPixels(n);
  std::vector<CPointD> dst(n);
  Math::CAffineParams const p(kGeo, nullptr);
  auto const fwd = p.Direct();
  for (auto _ : state) {
    for (std::size_t i = 0; i < n; ++i) dst[i] = fwd(src[i]);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_AffineDirectMap)->RangeMultiplier(32)->Range(1 << 10, 1 << 20)->Arg(1000000)->Complexity(benchmark::oN);

void BM_AffineFit(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const src = RandomPixels(n);
  std::mt19937 rng(777);
  std::normal_distribution<double> noise(0.0, 0.5);
  std::vector<Math::CRefPoint> rps(n);
  for (std::size_t i = 0; i < n; ++i) {
    CPointD const& s = src[i];
    rps[i] = {
        s,
        {kGeo[0] * s.x + kGeo[1] * s.y + kGeo[2] + noise(rng), kGeo[3] * s.x + kGeo[4] * s.y + kGeo[5] + noise(rng)}};
  }
  Math::CAffineParams p;
  for (auto _ : state) {
    bool const ok = p.Define(rps.data(), static_cast<unsigned>(n));
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(p);
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_AffineFit)->RangeMultiplier(16)->Range(16, 1 << 20)->Complexity(benchmark::oN);

#ifdef KMATH_BENCH_HAVE_OPENCV
void BM_OpenCVTransform(benchmark::State& state) {
  auto const n = static_cast<int>(state.range(0));
  auto const pts = RandomPixels(static_cast<std::size_t>(n));
  cv::Mat src(n, 1, CV_64FC2), dst(n, 1, CV_64FC2);
  for (int i = 0; i < n; ++i) src.at<cv::Vec2d>(i) = {pts[i].x, pts[i].y};
  cv::Mat const m = (cv::Mat_<double>(2, 3) << kGeo[0], kGeo[1], kGeo[2], kGeo[3], kGeo[4], kGeo[5]);
  for (auto _ : state) {
    cv::transform(src, dst, m);
    benchmark::DoNotOptimize(dst.data);
    benchmark::ClobberMemory();
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_OpenCVTransform)->RangeMultiplier(32)->Range(1 << 10, 1 << 20)->Arg(1000000)->Complexity(benchmark::oN);
#endif

}  // namespace
