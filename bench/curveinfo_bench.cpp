// Curve analysis at many positions of a traced polyline. A call costs the
// stretch it fits (cut, kink scan, resampling, a small QR), not the whole
// polyline: the time per position should not grow with the polyline.
#include <math/curveinfo.h>
#include <math/smoothing.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "bench_inputs.h"

namespace {

// A traced walk lightly smoothed, as a tracing pipeline would before asking
// for directions.
Math::poly_base<CPointD> SmoothedWalk(std::size_t n) {
  Math::poly_base<CPointD> pts(kmath_bench::TracedWalk(n));
  Math::GaussSmoothing(pts);
  Math::GaussSmoothing(pts);
  return pts;
}

// range(0) positions spread evenly over a polyline of range(1) vertices,
// each analysed forward and backward over 20 units with a cubic.
void BM_CurveInfo(benchmark::State& state) {
  auto const positions = static_cast<std::size_t>(state.range(0));
  auto const n = static_cast<std::size_t>(state.range(1));
  auto const poly = SmoothedWalk(n);
  std::vector<Math::poly_hit> hits;
  for (std::size_t i = 0; i < positions; ++i) hits.emplace_back(static_cast<int>(i * (n - 1) / positions), 0.37);
  double sum = 0;
  for (auto _ : state) {
    for (auto const& h : hits) {
      Math::CCurveInfo const fwd = Math::CurveInfo(poly, h, 20.0, false, 3);
      Math::CCurveInfo const bwd = Math::CurveInfo(poly, h, 20.0, true, 3);
      if (fwd.IsValid()) sum += fwd.Curvature();
      if (bwd.IsValid()) sum += bwd.Curvature();
    }
    benchmark::DoNotOptimize(sum);
  }
  kmath_bench::SetCounts(state, positions);
}
BENCHMARK(BM_CurveInfo)
    ->Args({100, 100000})
    ->Args({1000, 100000})
    ->Args({10000, 100000})
    ->Args({10000, 10000})
    ->Args({10000, 1000000})
    ->Unit(benchmark::kMillisecond);

// End directions of many short polylines cut from the walk: the span caps
// the work, whatever the polyline's length.
void BM_PolyEndDirections(benchmark::State& state) {
  auto const span = static_cast<unsigned>(state.range(0));
  auto const poly = SmoothedWalk(200000);
  constexpr unsigned kPiece = 400;
  std::size_t const pieces = poly.size() / kPiece;
  double sum = 0;
  for (auto _ : state) {
    for (std::size_t k = 0; k < pieces; ++k) {
      CPointD const* p = poly.data() + k * kPiece;
      CPointD const s = Math::PolyStartingDir(p, kPiece, span, 5.0, 1.0);
      CPointD const e = Math::PolyEndingDir(p, kPiece, span, 5.0, 1.0);
      sum += s.x + e.y;
    }
    benchmark::DoNotOptimize(sum);
  }
  kmath_bench::SetCounts(state, pieces);
}
BENCHMARK(BM_PolyEndDirections)->ArgsProduct({{25, 100, 400}})->Unit(benchmark::kMillisecond);

}  // namespace
