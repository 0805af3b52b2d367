// Boolean operations on real shoreline pairs (GSHHG full resolution, British
// Isles, in micro-degrees): a shoreline against a copy of itself turned by
// half a degree and shifted by 1% of its extent, so the two boundaries cross
// everywhere. Each operation at about 1e3, 1e4 and 1e5 vertices per operand
// (constructor included: noding is the cost) beside Clipper, GEOS and
// Boost.Geometry on the same input; the dissolve of North Carolina's 100
// counties beside GEOS's unary union; the crossing sweep on random segment
// sets of growing size.
#include <math/edgecross.h>
#include <math/plgnoperator.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench_inputs.h"
#include "xy_reader.h"

#ifdef KMATH_BENCH_HAVE_BOOST_GEOMETRY
#include <boost/geometry.hpp>
#include <boost/geometry/geometries/multi_polygon.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>
#endif

#ifdef KMATH_BENCH_HAVE_GEOS
#include <geos_c.h>
#endif

#ifdef KMATH_BENCH_HAVE_CLIPPER
#include <clipper.hpp>
#endif

namespace {

using Ring = Math::poly_base<CPointD>;

std::size_t Vertices(CStdPlgn const& p) {
  std::size_t n = 0;
  for (auto const& r : p) n += r.size();
  return n;
}

double SignedArea(std::vector<CPointD> const& r) {
  double s = 0;
  for (std::size_t i = 0; i + 1 < r.size(); ++i) s += (r[i].x - r[0].x) * (r[i + 1].y - r[0].y) - (r[i + 1].x - r[0].x) * (r[i].y - r[0].y);
  return 0.5 * s;
}

// Counter-clockwise outer shoreline rings in micro-degrees (whole numbers,
// so Clipper's integer coordinates hold them exactly), largest first.
std::vector<Ring> const& Shorelines() {
  static std::vector<Ring> const rings = [] {
    std::vector<Ring> out;
    for (auto const& b : kmath_test::LoadXY("gshhg_f_british_isles.xy")) {
      if (b.Attr("ring") != "outer") continue;
      Ring r;
      for (CPointD const& p : b.pts) r.push_back({std::round(p.x * 1e6), std::round(p.y * 1e6)});
      if (SignedArea(r) < 0) std::reverse(r.begin(), r.end());
      out.push_back(std::move(r));
    }
    std::sort(out.begin(), out.end(), [](Ring const& a, Ring const& b) { return a.size() > b.size(); });
    return out;
  }();
  return rings;
}

// The single ring nearest to n vertices when one is within a fifth of n,
// otherwise the largest rings until n are held.
CStdPlgn OperandA(std::size_t n) {
  auto const& rings = Shorelines();
  for (auto const& r : rings) {
    if (r.size() * 5 >= n * 4 && r.size() * 5 <= n * 6) return CStdPlgn{r};
  }
  CStdPlgn out;
  std::size_t total = 0;
  for (auto it = rings.begin(); it != rings.end() && total < n; ++it) {
    out.push_back(*it);
    total += it->size();
  }
  return out;
}

CStdPlgn TurnedCopy(CStdPlgn const& a) {
  double l = 1e300, r = -1e300, b = 1e300, t = -1e300;
  for (auto const& c : a)
    for (CPointD const& p : c) l = std::min(l, p.x), r = std::max(r, p.x), b = std::min(b, p.y), t = std::max(t, p.y);
  CPointD const ctr{(l + r) / 2, (b + t) / 2};
  double const cs = std::cos(0.5 * M_PI / 180), sn = std::sin(0.5 * M_PI / 180);
  CStdPlgn out = a;
  for (auto& c : out) {
    for (CPointD& p : c) {
      CPointD const d = p - ctr;
      p = {std::round(ctr.x + cs * d.x - sn * d.y + 0.01 * (r - l)), std::round(ctr.y + sn * d.x + cs * d.y + 0.01 * (t - b))};
    }
  }
  return out;
}

struct CPair {
  CStdPlgn a, b;
};

CPair const& PairOf(std::size_t n) {
  static std::map<std::size_t, CPair> cache;
  auto it = cache.find(n);
  if (it == cache.end()) {
    CStdPlgn a = OperandA(n);
    CStdPlgn b = TurnedCopy(a);
    it = cache.emplace(n, CPair{std::move(a), std::move(b)}).first;
  }
  return it->second;
}

void SizeArgs(benchmark::internal::Benchmark* b) {
  for (int op = 2; op <= 6; ++op)
    for (int n : {1000, 10000, 100000}) b->Args({op, n});
  b->Unit(benchmark::kMillisecond);
}

char const* const kNames[] = {"NormA", "NormB", "Cross", "Union", "AnotB", "BnotA", "AXorB"};

void BM_PlgnOperator(benchmark::State& state) {
  auto const op = static_cast<Math::EPlgnOperation>(state.range(0));
  CPair const& p = PairOf(static_cast<std::size_t>(state.range(1)));
  std::size_t out = 0;
  for (auto _ : state) {
    Math::CPlgnOperator oper(p.a, p.b);
    CStdPlgn const r = oper(op);
    out = Vertices(r);
    benchmark::DoNotOptimize(out);
  }
  state.SetLabel(kNames[state.range(0)]);
  state.counters["out_vertices"] = static_cast<double>(out);
  kmath_bench::SetCounts(state, Vertices(p.a) + Vertices(p.b));
}
BENCHMARK(BM_PlgnOperator)->Apply(SizeArgs);

// Every operation on one operator: the noding is done once.
void BM_PlgnOperatorAllSeven(benchmark::State& state) {
  CPair const& p = PairOf(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Math::CPlgnOperator oper(p.a, p.b);
    for (int k = 0; k < 7; ++k) benchmark::DoNotOptimize(oper(static_cast<Math::EPlgnOperation>(k)).size());
  }
  kmath_bench::SetCounts(state, Vertices(p.a) + Vertices(p.b));
}
BENCHMARK(BM_PlgnOperatorAllSeven)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_NormalizeShoreline(benchmark::State& state) {
  CPair const& p = PairOf(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(Math::CPlgnOperator(p.b, true)(Math::NormA).size());
  kmath_bench::SetCounts(state, Vertices(p.b));
}
BENCHMARK(BM_NormalizeShoreline)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->Complexity();

// North Carolina's counties in micro-degrees, one polygon each.
std::vector<CStdPlgn> const& Counties() {
  static std::vector<CStdPlgn> const counties = [] {
    std::map<std::string, CStdPlgn> byId;
    for (auto const& b : kmath_test::LoadXY("nc_counties.xy")) {
      Ring r;
      for (CPointD const& p : b.pts) r.push_back({p.x * 1e6, p.y * 1e6});
      byId[b.Attr("id")].push_back(std::move(r));
    }
    std::vector<CStdPlgn> out;
    for (auto& [id, p] : byId) out.push_back(std::move(p));
    return out;
  }();
  return counties;
}

#ifdef KMATH_BENCH_HAVE_CLIPPER
void BM_ClipperOperation(benchmark::State& state) {
  CPair const& p = PairOf(static_cast<std::size_t>(state.range(1)));
  auto paths = [](CStdPlgn const& pl) {
    ClipperLib::Paths out;
    for (auto const& r : pl) {
      ClipperLib::Path path;
      for (std::size_t i = 0; i + 1 < r.size(); ++i)
        path.push_back({static_cast<ClipperLib::cInt>(r[i].x), static_cast<ClipperLib::cInt>(r[i].y)});
      out.push_back(std::move(path));
    }
    return out;
  };
  ClipperLib::Paths const a = paths(p.a), b = paths(p.b);
  ClipperLib::ClipType const types[] = {ClipperLib::ctIntersection, ClipperLib::ctUnion, ClipperLib::ctDifference,
                                        ClipperLib::ctDifference, ClipperLib::ctXor};
  int const op = static_cast<int>(state.range(0));
  bool const swap = op == 5;
  for (auto _ : state) {
    ClipperLib::Clipper c;
    c.AddPaths(swap ? b : a, ClipperLib::ptSubject, true);
    c.AddPaths(swap ? a : b, ClipperLib::ptClip, true);
    ClipperLib::Paths sol;
    c.Execute(types[op - 2], sol, ClipperLib::pftEvenOdd, ClipperLib::pftEvenOdd);
    benchmark::DoNotOptimize(sol.size());
  }
  state.SetLabel(kNames[op]);
  kmath_bench::SetCounts(state, Vertices(p.a) + Vertices(p.b));
}
BENCHMARK(BM_ClipperOperation)->Apply(SizeArgs);
#endif

#ifdef KMATH_BENCH_HAVE_GEOS
class CGeosBench {
 public:
  CGeosBench() : m_h(GEOS_init_r()) {}
  ~CGeosBench() { GEOS_finish_r(m_h); }
  GEOSContextHandle_t h() const { return m_h; }
  // Rings as separate polygons of a multipolygon: the shoreline rings do not
  // overlap one another.
  GEOSGeometry* Polygon(CStdPlgn const& pl) const {
    std::vector<GEOSGeometry*> polys;
    for (auto const& r : pl) {
      GEOSCoordSequence* seq = GEOSCoordSeq_create_r(m_h, static_cast<unsigned>(r.size()), 2);
      for (unsigned i = 0; i < r.size(); ++i) GEOSCoordSeq_setXY_r(m_h, seq, i, r[i].x, r[i].y);
      polys.push_back(GEOSGeom_createPolygon_r(m_h, GEOSGeom_createLinearRing_r(m_h, seq), nullptr, 0));
    }
    return GEOSGeom_createCollection_r(m_h, GEOS_MULTIPOLYGON, polys.data(), static_cast<unsigned>(polys.size()));
  }

 private:
  GEOSContextHandle_t m_h;
};

void BM_GeosOperation(benchmark::State& state) {
  CPair const& p = PairOf(static_cast<std::size_t>(state.range(1)));
  CGeosBench g;
  GEOSGeometry* a = g.Polygon(p.a);
  GEOSGeometry* b = g.Polygon(p.b);
  int const op = static_cast<int>(state.range(0));
  for (auto _ : state) {
    GEOSGeometry* r = nullptr;
    switch (op) {
      case 2: r = GEOSIntersection_r(g.h(), a, b); break;
      case 3: r = GEOSUnion_r(g.h(), a, b); break;
      case 4: r = GEOSDifference_r(g.h(), a, b); break;
      case 5: r = GEOSDifference_r(g.h(), b, a); break;
      default: r = GEOSSymDifference_r(g.h(), a, b);
    }
    benchmark::DoNotOptimize(r);
    GEOSGeom_destroy_r(g.h(), r);
  }
  GEOSGeom_destroy_r(g.h(), a);
  GEOSGeom_destroy_r(g.h(), b);
  state.SetLabel(kNames[op]);
  kmath_bench::SetCounts(state, Vertices(p.a) + Vertices(p.b));
}
BENCHMARK(BM_GeosOperation)->Apply(SizeArgs);

void BM_GeosUnaryUnionCounties(benchmark::State& state) {
  CGeosBench g;
  std::vector<GEOSGeometry*> parts;
  std::size_t n = 0;
  for (auto const& c : Counties()) {
    parts.push_back(g.Polygon(CStdPlgn{c}));
    n += Vertices(c);
  }
  GEOSGeometry* coll = GEOSGeom_createCollection_r(g.h(), GEOS_GEOMETRYCOLLECTION, parts.data(), static_cast<unsigned>(parts.size()));
  for (auto _ : state) {
    GEOSGeometry* r = GEOSUnaryUnion_r(g.h(), coll);
    benchmark::DoNotOptimize(r);
    GEOSGeom_destroy_r(g.h(), r);
  }
  GEOSGeom_destroy_r(g.h(), coll);
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_GeosUnaryUnionCounties)->Unit(benchmark::kMillisecond);
#endif

void BM_MultiPlgnUnionCounties(benchmark::State& state) {
  std::size_t n = 0;
  for (auto const& c : Counties()) n += Vertices(c);
  for (auto _ : state) {
    Math::CMultiPlgnUnion u(false);
    // Each county's rings are simple and counter-clockwise as stored.
    for (auto const& c : Counties()) u.AddPolygon(c, false);
    benchmark::DoNotOptimize(u().size());
  }
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_MultiPlgnUnionCounties)->Unit(benchmark::kMillisecond);

#ifdef KMATH_BENCH_HAVE_BOOST_GEOMETRY
namespace bg = boost::geometry;
using BgPt = bg::model::d2::point_xy<double>;
using BgPoly = bg::model::polygon<BgPt, false, true>;  // counter-clockwise, closed
using BgMulti = bg::model::multi_polygon<BgPoly>;

void BM_BoostOperation(benchmark::State& state) {
  CPair const& p = PairOf(static_cast<std::size_t>(state.range(1)));
  auto multi = [](CStdPlgn const& pl) {
    BgMulti m;
    for (auto const& r : pl) {
      BgPoly poly;
      for (CPointD const& q : r) bg::append(poly.outer(), BgPt(q.x, q.y));
      bg::correct(poly);
      m.push_back(std::move(poly));
    }
    return m;
  };
  BgMulti const a = multi(p.a), b = multi(p.b);
  int const op = static_cast<int>(state.range(0));
  for (auto _ : state) {
    BgMulti out;
    switch (op) {
      case 2: bg::intersection(a, b, out); break;
      case 3: bg::union_(a, b, out); break;
      case 4: bg::difference(a, b, out); break;
      case 5: bg::difference(b, a, out); break;
      default: bg::sym_difference(a, b, out);
    }
    benchmark::DoNotOptimize(out.size());
  }
  state.SetLabel(kNames[op]);
  kmath_bench::SetCounts(state, Vertices(p.a) + Vertices(p.b));
}
BENCHMARK(BM_BoostOperation)->Apply(SizeArgs);
#endif

// Random short segments in a square, their length shrinking with the count
// so each meets a few others: the crossings grow like the segments.
void BM_SplitAtCrossings(benchmark::State& state) {
  std::size_t const n = static_cast<std::size_t>(state.range(0));
  std::mt19937 rng(77);
  std::uniform_real_distribution<double> u(0, 1e6);
  double const len = 3e6 / std::sqrt(static_cast<double>(n));
  std::uniform_real_distribution<double> d(-len, len);
  Math::sba_detail::CEvents events;
  for (unsigned i = 0; i < n; ++i) {
    CPointD p{u(rng), u(rng)}, q{p.x + d(rng), p.y + d(rng)};
    if (q.x < p.x) std::swap(p, q);
    events.Add(Math::sba_detail::CEdge(i, {p, q}));
    events.AddX(q.x);
  }
  std::size_t cut = 0;
  for (auto _ : state) {
    Math::sba_detail::CSplitTable splits;
    Math::SplitAtCrossings(events, splits);
    cut = splits.size();
    benchmark::DoNotOptimize(cut);
  }
  state.counters["cut_edges"] = static_cast<double>(cut);
  kmath_bench::SetCounts(state, n);
}
BENCHMARK(BM_SplitAtCrossings)->RangeMultiplier(4)->Range(256, 65536)->Unit(benchmark::kMillisecond)->Complexity();

}  // namespace
