// The C++ side of bench/python_bench.py: the same operations on the same real
// files, called directly, so the script can show what the Python layer costs.
// Each benchmark processes every block of one file per iteration.
#include <math/kmath.h>

#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

namespace {

std::vector<std::vector<CPointD>> const& Blocks(std::string const& name) {
  static std::string cachedName;
  static std::vector<std::vector<CPointD>> cached;
  if (cachedName != name) {
    cached = kmath_test::LoadPolylines(name);
    cachedName = name;
  }
  return cached;
}

std::size_t VertexCount(std::vector<std::vector<CPointD>> const& blocks) {
  std::size_t n = 0;
  for (auto const& b : blocks) n += b.size();
  return n;
}

void BM_PyBaseline_Simplify(benchmark::State& state, std::string const& name) {
  auto const& blocks = Blocks(name);
  std::vector<CPointD> work;
  for (auto _ : state) {
    for (auto const& b : blocks) {
      work = b;
      Math::PolyApprox(work, 1.0, 1e300);
      benchmark::DoNotOptimize(work.data());
    }
  }
  kmath_bench::SetCounts(state, VertexCount(blocks));
}

void BM_PyBaseline_Hull(benchmark::State& state, std::string const& name) {
  auto const& blocks = Blocks(name);
  std::vector<CPointD> work;
  for (auto _ : state) {
    for (auto const& b : blocks) {
      work = b;
      Math::ConvexHull(work);
      benchmark::DoNotOptimize(work.data());
    }
  }
  kmath_bench::SetCounts(state, VertexCount(blocks));
}

// 100 000 uniform queries in the bounding box of the file's largest ring.
void BM_PyBaseline_Contains(benchmark::State& state, std::string const& name) {
  auto const& blocks = Blocks(name);
  std::size_t biggest = 0;
  for (std::size_t i = 0; i < blocks.size(); ++i)
    if (blocks[i].size() > blocks[biggest].size()) biggest = i;
  CStdPlgn const plgn({Math::poly_base<CPointD>(blocks[biggest])});
  double x0 = 1e300, y0 = 1e300, x1 = -1e300, y1 = -1e300;
  for (CPointD const& p : blocks[biggest]) {
    x0 = std::min(x0, p.x), x1 = std::max(x1, p.x), y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
  }
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> ux(x0, x1), uy(y0, y1);
  std::vector<CPointD> q(100000);
  for (auto& p : q) p = CPointD{ux(rng), uy(rng)};
  std::vector<char> inside(q.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < q.size(); ++i) inside[i] = plgn.PtInside(q[i]);
    benchmark::DoNotOptimize(inside.data());
  }
  kmath_bench::SetCounts(state, q.size());
}

BENCHMARK_CAPTURE(BM_PyBaseline_Simplify, soho_buildings_crack, std::string("soho_buildings_crack.xy"));
BENCHMARK_CAPTURE(BM_PyBaseline_Simplify, gshhg_f_british_isles, std::string("gshhg_f_british_isles.xy"));
BENCHMARK_CAPTURE(BM_PyBaseline_Hull, soho_buildings_crack, std::string("soho_buildings_crack.xy"));
BENCHMARK_CAPTURE(BM_PyBaseline_Hull, gshhg_f_british_isles, std::string("gshhg_f_british_isles.xy"));
BENCHMARK_CAPTURE(BM_PyBaseline_Contains, gshhg_h_british_isles, std::string("gshhg_h_british_isles.xy"));

}  // namespace
