// Squaring: PolyOrtho and CPolyOrtho on every traced footprint of the
// ground-truth file (each reduced once, outside the timed loop, as a caller
// reduces before squaring), and CPolyOrtho on a synthetic stepped outline of
// growing corner count to show how a build grows with the corners.
#include <math/polyapprox.h>
#include <math/polyortho.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

namespace {

using Ring = std::vector<CPointD>;

// The traced rings of the footprint file, reduced at 0.9 px as in the quality
// report.
std::vector<Ring> const& ReducedFootprints() {
  static std::vector<Ring> const rings = [] {
    std::vector<Ring> out;
    for (kmath_test::XYBlock const& b : kmath_test::LoadXY("footprints_traced.xy")) {
      if (b.Attr("kind") != "traced") continue;
      Ring r = b.pts;
      Math::PolyApprox(r, 0.9, std::numeric_limits<double>::max());
      out.push_back(r);
    }
    return out;
  }();
  return rings;
}

std::size_t Vertices(std::vector<Ring> const& rings) {
  std::size_t n = 0;
  for (Ring const& r : rings) n += r.size();
  return n;
}

void BM_CPolyOrtho_Footprints(benchmark::State& state) {
  auto const& rings = ReducedFootprints();
  std::size_t accepted = 0;
  for (auto _ : state) {
    accepted = 0;
    for (Ring const& r : rings) {
      Ring poly = r;
      Math::CPolyOrtho::CParams p(0.3, 1.5);
      p.nCorners = 1000;
      accepted += Math::CPolyOrtho(p)(poly);
      benchmark::DoNotOptimize(poly.data());
    }
  }
  state.counters["rings"] = static_cast<double>(rings.size());
  state.counters["accepted"] = static_cast<double>(accepted);
  kmath_bench::SetCounts(state, Vertices(rings));
}
BENCHMARK(BM_CPolyOrtho_Footprints)->Unit(benchmark::kMillisecond);

void BM_PolyOrtho_Footprints(benchmark::State& state) {
  auto const& rings = ReducedFootprints();
  for (auto _ : state) {
    for (Ring const& r : rings) {
      Ring poly = r;
      bool const ok = Math::PolyOrtho(poly, 0.9, 0.375, false, false, nullptr);
      benchmark::DoNotOptimize(ok);
      benchmark::DoNotOptimize(poly.data());
    }
  }
  state.counters["rings"] = static_cast<double>(rings.size());
  kmath_bench::SetCounts(state, Vertices(rings));
}
BENCHMARK(BM_PolyOrtho_Footprints)->Unit(benchmark::kMillisecond);

// A rotated outline with `steps` stairs on one side (4 + 2 steps corners),
// a vertex every unit with a small wobble across the sides.
Ring SteppedOutline(int steps) {
  Ring corners{{0, 0}};
  for (int i = 0; i < steps; ++i) {
    corners.push_back({10.0 * i + 10, 10.0 * i});
    corners.push_back({10.0 * i + 10, 10.0 * i + 10});
  }
  corners.push_back({0, 10.0 * steps});
  corners.push_back({0, 0});
  double const a = 0.3;
  Ring out;
  int k = 0;
  for (std::size_t i = 0; i + 1 < corners.size(); ++i) {
    CPointD const p = corners[i], q = corners[i + 1];
    double const l = std::hypot(q.x - p.x, q.y - p.y);
    int const n = static_cast<int>(l);
    for (int s = 0; s < n; ++s) {
      double const t = static_cast<double>(s) / n;
      double const w = s == 0 ? 0.0 : ((k++ % 3) - 1) * 0.2;
      CPointD const v{p.x + (q.x - p.x) * t - (q.y - p.y) / l * w, p.y + (q.y - p.y) * t + (q.x - p.x) / l * w};
      out.push_back({v.x * std::cos(a) - v.y * std::sin(a), v.x * std::sin(a) + v.y * std::cos(a)});
    }
  }
  out.push_back(out.front());
  return out;
}

void BM_CPolyOrtho_Steps(benchmark::State& state) {
  Ring const ring = SteppedOutline(static_cast<int>(state.range(0)));
  bool ok = false;
  for (auto _ : state) {
    Ring poly = ring;
    Math::CPolyOrtho::CParams p(0.3, 1.5);
    p.nCorners = 1u << 20;
    ok = Math::CPolyOrtho(p)(poly);
    benchmark::DoNotOptimize(poly.data());
  }
  state.counters["accepted"] = ok;
  kmath_bench::SetCounts(state, ring.size());
}
BENCHMARK(BM_CPolyOrtho_Steps)->RangeMultiplier(4)->Range(4, 1024)->Complexity()->Unit(benchmark::kMillisecond);

}  // namespace
