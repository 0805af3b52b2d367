// Bézier fitting and parallel offsets of traced polylines, 10^3 to 10^6
// vertices. The fit covers each run greedily with doubling then halving
// spans, so its time per vertex should stay flat (a log factor of the piece
// length at most); the offset finds crossings through a grid and sorts its
// nodes, n log n. Potrace (the fit's peer, tracing the same masks) and
// GEOS's offset curve are the baselines.
#include <math/curvefit.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

#ifdef KMATH_BENCH_HAVE_GEOS
#include <geos_c.h>
#endif
#ifdef KMATH_BENCH_HAVE_POTRACE
#include <potracelib.h>
#endif

namespace {

// A traced walk closed into a ring.
std::vector<CPointD> TracedRing(std::size_t n) {
  std::vector<CPointD> pts = kmath_bench::TracedWalk(n, true);
  pts.push_back(pts.front());
  return pts;
}

void BM_BezierFit(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = TracedRing(n);
  std::vector<Math::CBezierPiece> pieces;
  for (auto _ : state) {
    Math::BezierFit(pts, 1.0, 1.2, pieces);
    benchmark::DoNotOptimize(pieces.data());
  }
  state.counters["pieces"] = static_cast<double>(pieces.size());
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_BezierFit)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oN)->Unit(benchmark::kMillisecond);

void BM_PolySmoothing(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = TracedRing(n);
  for (auto _ : state) {
    std::vector<CPointD> p = pts;
    Math::PolySmoothing(p, 2.0, 1.3);
    benchmark::DoNotOptimize(p.data());
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_PolySmoothing)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oN)->Unit(benchmark::kMillisecond);

// The offset curve of an open traced walk at 3 pixels: its wiggles make
// many concave loops to remove, about one crossing per few vertices.
void BM_PolyOffset(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = kmath_bench::TracedWalk(n, true);
  Math::COffsetParams prm;
  prm.dChordTol = 0.01;
  std::vector<std::vector<CPointD>> out;
  for (auto _ : state) {
    Math::PolyOffset(pts, 3.0, prm, out);
    benchmark::DoNotOptimize(out.data());
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_PolyOffset)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oNLogN)->Unit(benchmark::kMillisecond);

// Outline of a real coastline ring grown by 0.01 degrees.
void BM_PolyOffset_Coast(benchmark::State& state) {
  std::vector<CPointD> ring;
  for (auto const& p : kmath_test::LoadPolylines("gshhg_f_british_isles.xy"))
    if (p.size() > ring.size()) ring = p;
  Math::COffsetParams prm;
  prm.dChordTol = 1e-4;
  std::vector<std::vector<CPointD>> out;
  for (auto _ : state) {
    Math::PolyOffset(ring, -0.01, prm, out);
    benchmark::DoNotOptimize(out.data());
  }
  kmath_bench::SetCounts(state, ring.size());
}
BENCHMARK(BM_PolyOffset_Coast)->Unit(benchmark::kMillisecond);

#ifdef KMATH_BENCH_HAVE_GEOS
// Segments per quarter circle that keep GEOS's arcs within 0.01 of 3.
constexpr int kQuadSegs = 8;

void BM_GeosOffsetCurve(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  auto const pts = kmath_bench::TracedWalk(n, true);
  GEOSContextHandle_t h = GEOS_init_r();
  GEOSCoordSequence* seq = GEOSCoordSeq_create_r(h, static_cast<unsigned>(n), 2);
  for (std::size_t i = 0; i < n; ++i) GEOSCoordSeq_setXY_r(h, seq, static_cast<unsigned>(i), pts[i].x, pts[i].y);
  GEOSGeometry* line = GEOSGeom_createLineString_r(h, seq);
  for (auto _ : state) {
    GEOSGeometry* off = GEOSOffsetCurve_r(h, line, 3.0, kQuadSegs, GEOSBUF_JOIN_ROUND, 2.0);
    benchmark::DoNotOptimize(off);
    GEOSGeom_destroy_r(h, off);
  }
  GEOSGeom_destroy_r(h, line);
  GEOS_finish_r(h);
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_GeosOffsetCurve)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oNLogN)->Unit(benchmark::kMillisecond);
#endif

// The same masks two ways: potrace traces and fits the bitmap; we fit the
// bundled traced outlines of it (tracing is not ours to time).
#ifdef KMATH_BENCH_HAVE_POTRACE
void BM_PotraceMask(benchmark::State& state, std::string const& name) {
  std::ifstream in(kmath_test::DataPath(name + "_mask.pbm"), std::ios::binary);
  std::string magic, line;
  int w = 0, hgt = 0;
  in >> magic;
  while (in >> std::ws && in.peek() == '#') std::getline(in, line);
  in >> w >> hgt;
  in.get();
  std::vector<unsigned char> bits(static_cast<std::size_t>((w + 7) / 8) * hgt);
  in.read(reinterpret_cast<char*>(bits.data()), static_cast<std::streamsize>(bits.size()));
  int const wb = 8 * sizeof(potrace_word), dy = (w + wb - 1) / wb;
  std::vector<potrace_word> map(static_cast<std::size_t>(dy) * hgt, 0);
  for (int y = 0; y < hgt; ++y)
    for (int x = 0; x < w; ++x)
      if (bits[static_cast<std::size_t>(hgt - 1 - y) * ((w + 7) / 8) + x / 8] >> (7 - x % 8) & 1)
        map[static_cast<std::size_t>(y) * dy + x / wb] |= potrace_word{1} << (wb - 1 - x % wb);
  potrace_bitmap_t bm{w, hgt, dy, map.data()};
  potrace_param_t* prm = potrace_param_default();
  for (auto _ : state) {
    potrace_state_t* st = potrace_trace(prm, &bm);
    benchmark::DoNotOptimize(st);
    potrace_state_free(st);
  }
  potrace_param_free(prm);
}
BENCHMARK_CAPTURE(BM_PotraceMask, coins, std::string("coins"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_PotraceMask, ccitt2, std::string("ccitt2"))->Unit(benchmark::kMillisecond);
#endif

void BM_BezierFitMask(benchmark::State& state, std::string const& name) {
  auto const rings = kmath_test::LoadPolylines(name + "_crack.xy");
  std::size_t n = 0;
  for (auto const& r : rings) n += r.size();
  std::vector<Math::CBezierPiece> pieces;
  for (auto _ : state)
    for (auto const& r : rings) {
      Math::BezierFit(r, 1.0, 1.2, pieces);
      benchmark::DoNotOptimize(pieces.data());
    }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK_CAPTURE(BM_BezierFitMask, coins, std::string("coins"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_BezierFitMask, ccitt2, std::string("ccitt2"))->Unit(benchmark::kMillisecond);

}  // namespace
