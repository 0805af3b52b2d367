// Moments: exact polygon moments and the light area moments on rings up to a
// million vertices, and pixel accumulation with AddPoint over masks up to
// 4096 x 4096, against OpenCV's contour and image moments as baselines.
#include <math/moments.h>

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

// A closed star-shaped ring with a noisy radius, counter-clockwise.
std::vector<CPointD> NoisyRing(std::size_t n) {
  std::mt19937 rng(2024);
  std::uniform_real_distribution<double> u(0.8, 1.2);
  std::vector<CPointD> r(n + 1);
  for (std::size_t i = 0; i < n; ++i) {
    double const a = 2 * M_PI * static_cast<double>(i) / static_cast<double>(n);
    double const rad = 1000 * u(rng);
    r[i] = {rad * std::cos(a), rad * std::sin(a)};
  }
  r[n] = r[0];
  return r;
}

// A side x side mask holding a filled ellipse with a ragged edge.
std::vector<std::uint8_t> EllipseMask(int side) {
  std::mt19937 rng(99);
  std::uniform_real_distribution<double> u(-0.01, 0.01);
  std::vector<std::uint8_t> m(static_cast<std::size_t>(side) * side);
  double const c = side / 2.0, a = side * 0.45, b = side * 0.3;
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      double const dx = (x - c) / a, dy = (y - c) / b;
      m[static_cast<std::size_t>(y) * side + x] = dx * dx + dy * dy < 1 + u(rng) ? 1 : 0;
    }
  }
  return m;
}

using kmath_bench::SetCounts;

void BM_PolygonMoments(benchmark::State& state) {
  auto const ring = NoisyRing(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Math::CRawMoments const m(ring.data(), static_cast<unsigned>(ring.size()));
    benchmark::DoNotOptimize(m);
  }
  SetCounts(state, ring.size());
}
BENCHMARK(BM_PolygonMoments)->RangeMultiplier(16)->Range(1 << 6, 1 << 20)->Complexity(benchmark::oN);

void BM_AreaMoments1(benchmark::State& state) {
  auto const ring = NoisyRing(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Math::CAreaMoments1 const m(ring.data(), static_cast<unsigned>(ring.size()));
    benchmark::DoNotOptimize(m);
  }
  SetCounts(state, ring.size());
}
BENCHMARK(BM_AreaMoments1)->RangeMultiplier(16)->Range(1 << 6, 1 << 20)->Complexity(benchmark::oN);

void BM_AreaMoments2(benchmark::State& state) {
  auto const ring = NoisyRing(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Math::CAreaMoments2 const m(ring.data(), static_cast<unsigned>(ring.size()));
    benchmark::DoNotOptimize(m);
  }
  SetCounts(state, ring.size());
}
BENCHMARK(BM_AreaMoments2)->RangeMultiplier(16)->Range(1 << 6, 1 << 20)->Complexity(benchmark::oN);

void BM_EdgeMoments2(benchmark::State& state) {
  auto const ring = NoisyRing(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Math::CEdgeMoments2 const m(ring.data(), static_cast<unsigned>(ring.size()));
    benchmark::DoNotOptimize(m);
  }
  SetCounts(state, ring.size());
}
BENCHMARK(BM_EdgeMoments2)->RangeMultiplier(16)->Range(1 << 6, 1 << 20)->Complexity(benchmark::oN);

// Every ring of the full-resolution British Isles shorelines (147k vertices).
void BM_PolygonMomentsShorelines(benchmark::State& state) {
  auto const rings = kmath_test::LoadPolylines("gshhg_f_british_isles.xy");
  std::size_t n = 0;
  for (auto const& r : rings) n += r.size();
  for (auto _ : state) {
    for (auto const& r : rings) {
      Math::CRCMoments const m(Math::CRawMoments(r.data(), static_cast<unsigned>(r.size())));
      benchmark::DoNotOptimize(m);
    }
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_PolygonMomentsShorelines);

void BM_AddPointMask(benchmark::State& state) {
  int const side = static_cast<int>(state.range(0));
  auto const mask = EllipseMask(side);
  for (auto _ : state) {
    Math::CRawMoments m;
    for (int y = 0; y < side; ++y) {
      std::uint8_t const* row = mask.data() + static_cast<std::size_t>(y) * side;
      for (int x = 0; x < side; ++x) {
        if (row[x]) m.AddPoint(CPoint(x, y), 1.0);
      }
    }
    benchmark::DoNotOptimize(m);
  }
  SetCounts(state, mask.size());
}
BENCHMARK(BM_AddPointMask)
    ->RangeMultiplier(4)
    ->Range(256, 4096)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

#ifdef KMATH_BENCH_HAVE_OPENCV
void BM_OpenCVContourMoments(benchmark::State& state) {
  auto const ring = NoisyRing(static_cast<std::size_t>(state.range(0)));
  std::vector<cv::Point2f> contour;
  for (CPointD const& p : ring) contour.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y));
  for (auto _ : state) {
    cv::Moments const m = cv::moments(contour);
    benchmark::DoNotOptimize(m);
  }
  SetCounts(state, ring.size());
}
BENCHMARK(BM_OpenCVContourMoments)->RangeMultiplier(16)->Range(1 << 6, 1 << 20)->Complexity(benchmark::oN);

void BM_OpenCVImageMoments(benchmark::State& state) {
  int const side = static_cast<int>(state.range(0));
  auto mask = EllipseMask(side);
  cv::Mat const img(side, side, CV_8UC1, mask.data());
  for (auto _ : state) {
    cv::Moments const m = cv::moments(img, true);
    benchmark::DoNotOptimize(m);
  }
  SetCounts(state, mask.size());
}
BENCHMARK(BM_OpenCVImageMoments)
    ->RangeMultiplier(4)
    ->Range(256, 4096)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);
#endif

}  // namespace
