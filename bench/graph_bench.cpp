// Delaunay triangulation of 1e3 .. 1e6 points (uniform, clustered, an
// integer grid, and real pixel corners) beside CGAL's
// Delaunay_triangulation_2 (range insert) and GEOS's Delaunay
// triangulation. Each run reports its peak heap use (bytes per point) from
// the counting allocator below, so memory is compared in the same run.
// Also the Voronoi graph of uniform points and the centre lines of a whole
// traced drawing.
#include <math/centerline.h>
#include <math/triangulator.h>
#include <math/voronoigraph.h>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstdlib>
#include <new>
#include <random>
#include <set>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

#ifdef KMATH_BENCH_HAVE_CGAL
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#endif

#ifdef KMATH_BENCH_HAVE_GEOS
#include <geos_c.h>
#endif

// Heap accounting for the whole benchmark binary: current and peak bytes
// held through operator new. Single-threaded, like the benchmarks.
namespace {
std::size_t g_heapNow = 0;
std::size_t g_heapPeak = 0;
void* Counted(std::size_t n) {
  void* p = std::malloc(n ? n : 1);
  if (!p) throw std::bad_alloc();
  g_heapNow += malloc_usable_size(p);
  if (g_heapNow > g_heapPeak) g_heapPeak = g_heapNow;
  return p;
}
void Uncounted(void* p) {
  if (!p) return;
  g_heapNow -= malloc_usable_size(p);
  std::free(p);
}
}  // namespace

void* operator new(std::size_t n) { return Counted(n); }
void* operator new[](std::size_t n) { return Counted(n); }
void operator delete(void* p) noexcept { Uncounted(p); }
void operator delete[](void* p) noexcept { Uncounted(p); }
void operator delete(void* p, std::size_t) noexcept { Uncounted(p); }
void operator delete[](void* p, std::size_t) noexcept { Uncounted(p); }

namespace {

enum Kind { kUniform, kClustered, kGrid, kReal };

std::vector<CPointD> Points(Kind kind, std::size_t n) {
  std::mt19937 rng(1234);
  std::vector<CPointD> pts;
  pts.reserve(n);
  if (kind == kUniform) {
    std::uniform_real_distribution<double> u(0.0, 1e6);
    while (pts.size() < n) pts.push_back({u(rng), u(rng)});
  } else if (kind == kClustered) {
    std::uniform_real_distribution<double> u(0.0, 1e6);
    std::normal_distribution<double> g(0.0, 2e3);
    std::vector<CPointD> centres(std::max<std::size_t>(1, n / 1000));
    for (auto& c : centres) c = {u(rng), u(rng)};
    for (std::size_t k = 0; k < n; ++k) pts.push_back(centres[k % centres.size()] + CPointD{g(rng), g(rng)});
  } else if (kind == kGrid) {
    auto const w = static_cast<std::size_t>(std::ceil(std::sqrt(double(n))));
    for (std::size_t k = 0; k < n; ++k) pts.push_back({double(k % w), double(k / w)});
  } else {
    // Distinct pixel corners of the traced drawings, repeated with an offset
    // until there are n.
    static std::vector<CPointD> const corners = [] {
      std::set<std::pair<double, double>> seen;
      std::vector<CPointD> out;
      for (char const* f : {"ccitt1_crack.xy", "ccitt2_crack.xy", "coins_crack.xy", "soho_buildings_crack.xy"}) {
        for (auto const& poly : kmath_test::LoadPolylines(f)) {
          for (CPointD const& p : poly) {
            if (seen.insert({p.x, p.y}).second) out.push_back(p);
          }
        }
      }
      return out;
    }();
    for (std::size_t k = 0; pts.size() < n; ++k) {
      double const shift = 4096.0 * double(k / corners.size());
      pts.push_back(corners[k % corners.size()] + CPointD{shift, 0.0});
    }
  }
  return pts;
}

void Report(benchmark::State& state, std::size_t n, std::size_t before) {
  kmath_bench::SetCounts(state, n);
  state.counters["peak_bytes_per_point"] = double(g_heapPeak - before) / double(n);
}

void BM_Triangulate(benchmark::State& state, Kind kind) {
  auto const n = static_cast<std::size_t>(state.range(0));
  std::vector<CPointD> const pts = Points(kind, n);
  g_heapPeak = g_heapNow;
  std::size_t const before = g_heapNow;
  for (auto _ : state) {
    Math::Fortune::CTriangulator tr;
    tr.Triangulate(pts);
    benchmark::DoNotOptimize(tr.Triangles().data());
  }
  Report(state, n, before);
}

#ifdef KMATH_BENCH_HAVE_CGAL
void BM_CgalDelaunay(benchmark::State& state, Kind kind) {
  using K = CGAL::Exact_predicates_inexact_constructions_kernel;
  auto const n = static_cast<std::size_t>(state.range(0));
  std::vector<CPointD> const src = Points(kind, n);
  std::vector<K::Point_2> pts;
  pts.reserve(n);
  for (CPointD const& p : src) pts.emplace_back(p.x, p.y);
  g_heapPeak = g_heapNow;
  std::size_t const before = g_heapNow;
  for (auto _ : state) {
    CGAL::Delaunay_triangulation_2<K> dt(pts.begin(), pts.end());
    benchmark::DoNotOptimize(dt.number_of_faces());
  }
  Report(state, n, before);
}
#endif

#ifdef KMATH_BENCH_HAVE_GEOS
void BM_GeosDelaunay(benchmark::State& state, Kind kind) {
  auto const n = static_cast<std::size_t>(state.range(0));
  std::vector<CPointD> const src = Points(kind, n);
  GEOSContextHandle_t h = GEOS_init_r();
  GEOSCoordSequence* seq = GEOSCoordSeq_create_r(h, static_cast<unsigned>(n), 2);
  for (std::size_t k = 0; k < n; ++k) GEOSCoordSeq_setXY_r(h, seq, static_cast<unsigned>(k), src[k].x, src[k].y);
  GEOSGeometry* line = GEOSGeom_createLineString_r(h, seq);
  g_heapPeak = g_heapNow;
  std::size_t const before = g_heapNow;
  for (auto _ : state) {
    GEOSGeometry* tri = GEOSDelaunayTriangulation_r(h, line, 0.0, 0);
    benchmark::DoNotOptimize(tri);
    GEOSGeom_destroy_r(h, tri);
  }
  Report(state, n, before);
  GEOSGeom_destroy_r(h, line);
  GEOS_finish_r(h);
}
#endif

// Centre lines of every stroke of a traced drawing (199 rings, 55 thousand
// pixel-corner vertices).
void BM_CenterLines(benchmark::State& state) {
  static CStdPlgn const plg = [] {
    CStdPlgn p;
    for (auto& r : kmath_test::LoadPolylines("ccitt2_crack.xy")) p.emplace_back(r);
    return p;
  }();
  std::size_t n = 0;
  for (auto const& r : plg) n += r.size();
  for (auto _ : state) {
    std::vector<Math::CCenterLine> lines;
    Math::CenterLines(plg, 4.0, 0.5, lines, true);
    benchmark::DoNotOptimize(lines.data());
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_CenterLines)->Unit(benchmark::kMillisecond);

// The Voronoi diagram of uniform points as a graph cut to their box.
void BM_VoronoiGraph(benchmark::State& state) {
  auto const n = static_cast<std::size_t>(state.range(0));
  std::vector<CPointD> const pts = Points(kUniform, n);
  for (auto _ : state) {
    Math::Voronoi::CVoronoiGraph vg;
    vg.Build(pts, {}, {-1e4, -1e4, 1.01e6, 1.01e6}, 1.0);
    benchmark::DoNotOptimize(vg.Graph().num_edges());
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_VoronoiGraph)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);

void Sizes(benchmark::internal::Benchmark* b) {
  b->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(BM_Triangulate, uniform, kUniform)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_Triangulate, clustered, kClustered)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_Triangulate, grid, kGrid)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_Triangulate, real, kReal)->Apply(Sizes);
#ifdef KMATH_BENCH_HAVE_CGAL
BENCHMARK_CAPTURE(BM_CgalDelaunay, uniform, kUniform)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_CgalDelaunay, clustered, kClustered)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_CgalDelaunay, grid, kGrid)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_CgalDelaunay, real, kReal)->Apply(Sizes);
#endif
#ifdef KMATH_BENCH_HAVE_GEOS
BENCHMARK_CAPTURE(BM_GeosDelaunay, uniform, kUniform)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_GeosDelaunay, clustered, kClustered)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_GeosDelaunay, grid, kGrid)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_GeosDelaunay, real, kReal)->Apply(Sizes);
#endif

}  // namespace
