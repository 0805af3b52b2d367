// Polyline approximation on traced outlines: the real pixel-boundary and
// centre-line files, and a synthetic traced curve of up to 10^6 vertices to
// show the n log n growth. GEOS's Douglas-Peucker simplification and
// OpenCV's approxPolyDP are the baselines on the same synthetic input.
#include <math/polyapprox.h>
#include <math/smoothing.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

#ifdef KMATH_BENCH_HAVE_GEOS
#include <geos_c.h>
#endif
#ifdef KMATH_BENCH_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

// A traced walk with the odd corner, as in a line drawing.
std::vector<CPointD> TracedWalk(std::size_t n) { return kmath_bench::TracedWalk(n, true); }

constexpr double kNoLimit = std::numeric_limits<double>::max();

void BM_GetInflections_TracedWalk(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  double const limit = state.range(1) > 0 ? static_cast<double>(state.range(1)) : kNoLimit;
  auto const pts = TracedWalk(n);
  Math::CPolyApprox const approx(1.0, limit);
  std::vector<int> idx;
  for (auto _ : state) {
    bool const changed = approx.GetInflections(pts.data(), static_cast<unsigned>(n), idx);
    benchmark::DoNotOptimize(changed);
    benchmark::DoNotOptimize(idx.data());
  }
  state.counters["kept"] = static_cast<double>(idx.size());
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_GetInflections_TracedWalk)
    ->ArgsProduct({{1000, 10000, 100000, 1000000}, {0}})
    ->Complexity(benchmark::oNLogN)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GetInflections_TracedWalk)->ArgsProduct({{1000, 100000, 1000000}, {20}})->Unit(benchmark::kMicrosecond);

// Whole files of real traced outlines, every block approximated in place
// (the copy of the input is part of the timed work, as for a caller who
// keeps the original).
void BM_PolyApprox_RealData(benchmark::State& state, char const* file, double tol) {
  auto const polys = kmath_test::LoadPolylines(file);
  std::size_t total = 0, kept = 0;
  for (auto const& p : polys) total += p.size();
  for (auto _ : state) {
    kept = 0;
    for (auto const& p : polys) {
      std::vector<CPointD> q = p;
      Math::PolyApprox(q, tol, kNoLimit);
      kept += q.size();
      benchmark::DoNotOptimize(q.data());
    }
  }
  state.counters["vertices"] = static_cast<double>(total);
  state.counters["kept"] = static_cast<double>(kept);
  kmath_bench::SetCounts(state, total);
}
BENCHMARK_CAPTURE(BM_PolyApprox_RealData, horse_crack, "horse_crack.xy", 1.0)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_PolyApprox_RealData, coins_chain, "coins_chain.xy", 1.0)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_PolyApprox_RealData, ccitt2_centerlines, "ccitt2_centerlines.xy", 1.0)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_PolyApprox_RealData, soho_buildings_crack, "soho_buildings_crack.xy", 1.0)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_PolyApprox_RealData, ccitt1_crack, "ccitt1_crack.xy", 1.0)->Unit(benchmark::kMicrosecond);

// A chord limit on a long, nearly straight line: the deviations are all
// rounding noise. The line from the report, resampled at step 2 (264779
// vertices) and its prefixes, against a traced walk of as many vertices with
// the same tolerances: the two should cost alike.
std::vector<CPointD> NearlyStraightLine(std::size_t n) {
  std::vector<CPointD> p{{181273.64417963702, 529555.4412286698}, {181261.1773580086, 0}};
  Math::PolyResample(p, 2.0);
  p.resize(std::min(n, p.size()));
  return p;
}

void BM_GetInflections_ChordLimit(benchmark::State& state, bool straight) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = straight ? NearlyStraightLine(n) : TracedWalk(n);
  Math::CPolyApprox const approx(10.0, 5.0);
  std::vector<int> idx;
  for (auto _ : state) {
    benchmark::DoNotOptimize(approx.GetInflections(pts.data(), static_cast<unsigned>(pts.size()), idx));
    benchmark::DoNotOptimize(idx.data());
  }
  state.counters["kept"] = static_cast<double>(idx.size());
  kmath_bench::SetCounts(state, pts.size());
}
BENCHMARK_CAPTURE(BM_GetInflections_ChordLimit, nearly_straight, true)
    ->ArgsProduct({{16384, 65536, 264779}})
    ->Complexity(benchmark::oNLogN)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_GetInflections_ChordLimit, traced_walk, false)
    ->ArgsProduct({{16384, 65536, 264779}})
    ->Complexity(benchmark::oNLogN)
    ->Unit(benchmark::kMillisecond);

#ifdef KMATH_BENCH_HAVE_GEOS
void BM_GeosSimplify_TracedWalk(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = TracedWalk(n);
  GEOSContextHandle_t ctx = GEOS_init_r();
  GEOSCoordSequence* seq = GEOSCoordSeq_create_r(ctx, static_cast<unsigned>(n), 2);
  for (std::size_t i = 0; i < n; ++i) GEOSCoordSeq_setXY_r(ctx, seq, static_cast<unsigned>(i), pts[i].x, pts[i].y);
  GEOSGeometry* line = GEOSGeom_createLineString_r(ctx, seq);
  int kept = 0;
  for (auto _ : state) {
    GEOSGeometry* s = GEOSSimplify_r(ctx, line, 1.0);
    kept = GEOSGeomGetNumPoints_r(ctx, s);
    benchmark::DoNotOptimize(kept);
    GEOSGeom_destroy_r(ctx, s);
  }
  state.counters["kept"] = kept;
  GEOSGeom_destroy_r(ctx, line);
  GEOS_finish_r(ctx);
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_GeosSimplify_TracedWalk)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Complexity(benchmark::oNLogN)
    ->Unit(benchmark::kMicrosecond);
#endif

#ifdef KMATH_BENCH_HAVE_OPENCV
void BM_OpenCVApproxPolyDP_TracedWalk(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = TracedWalk(n);
  std::vector<cv::Point2f> in;
  for (auto const& p : pts) in.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y));
  std::vector<cv::Point2f> out;
  for (auto _ : state) {
    cv::approxPolyDP(in, out, 1.0, false);
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["kept"] = static_cast<double>(out.size());
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_OpenCVApproxPolyDP_TracedWalk)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Complexity(benchmark::oNLogN)
    ->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
