// Core geometry: the convex hull (against Boost.Geometry), the point
// statistics accumulator and its line fit, and the edge crossing.
#include <math/line.h>
#include <math/ptstat.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

#ifdef KMATH_BENCH_HAVE_BOOST_GEOMETRY
#include <boost/geometry.hpp>
#include <boost/geometry/geometries/multi_point.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>
#endif

namespace {

constexpr unsigned kSeed = 20240611;

std::vector<CPointD> RandomSquare(std::size_t n) {
  std::mt19937 rng(kSeed);
  std::uniform_real_distribution<double> u(-1000.0, 1000.0);
  std::vector<CPointD> pts(n);
  for (CPointD& p : pts) p = CPointD{u(rng), u(rng)};
  return pts;
}

// Every point on the hull: the scan's worst case for kept vertices.
std::vector<CPointD> OnCircle(std::size_t n) {
  std::mt19937 rng(kSeed);
  std::uniform_real_distribution<double> u(0.0, 6.283185307179586);
  std::vector<CPointD> pts(n);
  for (CPointD& p : pts) {
    double const a = u(rng);
    p = CPointD{1000.0 * std::cos(a), 1000.0 * std::sin(a)};
  }
  return pts;
}

// The hull works in place, so each iteration copies its input; the copy is
// linear and small beside the sort.
void TimeHull(benchmark::State& state, std::vector<CPointD> const& input) {
  std::vector<CPointD> pts;
  for (auto _ : state) {
    pts = input;
    Math::ConvexHull(pts);
    benchmark::DoNotOptimize(pts.data());
  }
  kmath_bench::SetCounts(state, input.size());
}

void BM_ConvexHull_Random(benchmark::State& state) {
  TimeHull(state, RandomSquare(static_cast<std::size_t>(state.range(0))));
}
void BM_ConvexHull_Circle(benchmark::State& state) {
  TimeHull(state, OnCircle(static_cast<std::size_t>(state.range(0))));
}
BENCHMARK(BM_ConvexHull_Random)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oNLogN);
BENCHMARK(BM_ConvexHull_Circle)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oNLogN);

void BM_ConvexHull_Horse(benchmark::State& state) {
  std::vector<CPointD> input;
  for (auto const& poly : kmath_test::LoadPolylines("horse_crack.xy"))
    input.insert(input.end(), poly.begin(), poly.end());
  TimeHull(state, input);
}
BENCHMARK(BM_ConvexHull_Horse);

#ifdef KMATH_BENCH_HAVE_BOOST_GEOMETRY
namespace bg = boost::geometry;
using BPoint = bg::model::d2::point_xy<double>;

void PeerHullBench(benchmark::State& state, std::vector<CPointD> (*make)(std::size_t)) {
  bg::model::multi_point<BPoint> mp;
  for (CPointD const& p : make(static_cast<std::size_t>(state.range(0)))) mp.push_back(BPoint(p.x, p.y));
  for (auto _ : state) {
    bg::model::polygon<BPoint> hull;
    bg::convex_hull(mp, hull);
    benchmark::DoNotOptimize(hull.outer().data());
  }
  kmath_bench::SetCounts(state, static_cast<std::size_t>(state.range(0)));
}

void BM_BoostConvexHull_Random(benchmark::State& state) { PeerHullBench(state, RandomSquare); }
void BM_BoostConvexHull_Circle(benchmark::State& state) { PeerHullBench(state, OnCircle); }
BENCHMARK(BM_BoostConvexHull_Random)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oNLogN);
BENCHMARK(BM_BoostConvexHull_Circle)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oNLogN);
#endif

void BM_CPtStat_AddPoints(benchmark::State& state) {
  std::vector<CPointD> const pts = RandomSquare(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Math::CPtStat stat;
    stat.AddPoints(pts.data(), static_cast<int>(pts.size()));
    benchmark::DoNotOptimize(stat);
  }
  kmath_bench::SetCounts(state, static_cast<std::size_t>(state.range(0)));
}
BENCHMARK(BM_CPtStat_AddPoints)->RangeMultiplier(8)->Range(16, 1 << 16)->Complexity(benchmark::oN);

// The fit reads the sums alone: constant time whatever the point count.
void BM_CPtStat_InitLine(benchmark::State& state) {
  std::vector<CPointD> const pts = RandomSquare(1000);
  Math::CPtStat const stat(pts.data(), static_cast<int>(pts.size()));
  Math::CLinForm f{};
  for (auto _ : state) {
    benchmark::DoNotOptimize(stat.InitLine(f));
    benchmark::DoNotOptimize(f);
  }
  kmath_bench::SetCounts(state, 1);
}
BENCHMARK(BM_CPtStat_InitLine);

// 4096 random edges; consecutive pairs cross about a third of the time.
std::vector<Math::CEdge> RandomEdges() {
  std::mt19937 rng(kSeed);
  std::uniform_real_distribution<double> u(-10.0, 10.0);
  std::vector<Math::CEdge> edges(4096);
  for (Math::CEdge& e : edges) e = Math::CEdge{{u(rng), u(rng)}, {u(rng), u(rng)}};
  return edges;
}

// Bounded and unbounded.
void BM_CEdgeToEdge_CrossData(benchmark::State& state) {
  bool const bounded = state.range(0) != 0;
  std::vector<Math::CEdge> const edges = RandomEdges();
  std::size_t i = 0;
  for (auto _ : state) {
    Math::CEdgeToEdge const ee(edges[i & 4095], edges[(i + 1) & 4095]);
    benchmark::DoNotOptimize(ee.CrossData(bounded));
    ++i;
  }
  kmath_bench::SetCounts(state, 1);
}
BENCHMARK(BM_CEdgeToEdge_CrossData)->ArgsProduct({{0, 1}});

void BM_CEdgeToEdge_HasCross(benchmark::State& state) {
  std::vector<Math::CEdge> const edges = RandomEdges();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Math::CEdgeToEdge(edges[i & 4095], edges[(i + 1) & 4095]).HasCross());
    ++i;
  }
  kmath_bench::SetCounts(state, 1);
}
BENCHMARK(BM_CEdgeToEdge_HasCross);

}  // namespace
