// Kmath against the libraries users weigh it against, on the same real
// inputs in the same process. Every benchmark is named
// <operation>/<library>/<size>, and before any timing each operation is run
// once through every library and the answers compared, so a fast wrong
// answer shows in the output ("agree ..." lines, also written as JSON with
// --agreement_out=<file>). bench/run-peers turns both into a report.
//
// Inputs come from data/: traced pixel outlines (integer coordinates, the
// natural input of reduction and moments) and shorelines and country
// borders (real-valued coordinates) for hulls, point queries and fills.
// Sizes above what a file holds reuse its shapes, shifted clear of the
// copies before them.
#include <math/fillpoly.h>
#include <math/moments.h>
#include <math/polyapprox.h>
#include <math/polygon.h>
#include <math/plgnoperator.h>
#include <math/prepared.h>
#include <math/rectangle.h>
#include <math/ptstat.h>

#include <benchmark/benchmark.h>
#include <clipper.hpp>
#include <geos_c.h>

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/convex_hull_2.h>
#include <boost/geometry.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "xy_reader.h"

namespace {

namespace bg = boost::geometry;
using BgPt = bg::model::d2::point_xy<double>;
using BgLine = bg::model::linestring<BgPt>;
using BgRing = bg::model::ring<BgPt, false, true>;  // counter-clockwise, closed
using BgPoly = bg::model::polygon<BgPt, false, true>;
using Poly = std::vector<CPointD>;
using Polys = std::vector<Poly>;

template <class P>
std::size_t Count(P const& ps) {
  std::size_t n = 0;
  for (auto const& p : ps) n += p.size();
  return n;
}

// ------------------------------------------------------------------ inputs

// Whole shapes in file order until `n` vertices, the last one cut to fit;
// past the end of the files the shapes come round again, each round shifted
// right by `shift` times the round.
Polys Take(Polys const& pool, std::size_t n, double shift) {
  Polys out;
  std::size_t have = 0;
  for (std::size_t round = 0; have < n; ++round) {
    for (auto const& p : pool) {
      if (have >= n) break;
      std::size_t const k = std::min(p.size(), n - have);
      Poly q(p.begin(), p.begin() + static_cast<std::ptrdiff_t>(k));
      for (auto& v : q) v.x += shift * static_cast<double>(round);
      out.push_back(std::move(q));
      have += k;
    }
  }
  return out;
}

// Traced pixel-boundary outlines, opened (the closing repeat left out) so
// every library reads them as the same open polylines.
Polys const& TracedPool() {
  static Polys const pool = [] {
    Polys out;
    for (char const* f : {"ccitt1_crack.xy", "footprints_traced.xy", "ccitt2_crack.xy", "soho_buildings_crack.xy",
                          "coins_crack.xy", "horse_crack.xy"}) {
      for (auto& b : kmath_test::LoadXY(f)) {
        if (b.Attr("kind") == "truth" || b.pts.size() < 4) continue;
        if (b.IsClosed()) b.pts.pop_back();
        out.push_back(std::move(b.pts));
      }
    }
    return out;
  }();
  return pool;
}

// Shoreline and border rings (closed), largest shapes of each file first.
Polys const& GeoPool() {
  static Polys const pool = [] {
    Polys out;
    for (char const* f : {"gshhg_f_british_isles.xy", "dcw_countries_west_europe.xy"}) {
      for (auto& b : kmath_test::LoadXY(f)) {
        if (b.Attr("ring") == "outer" && b.pts.size() >= 4) out.push_back(std::move(b.pts));
      }
    }
    return out;
  }();
  return pool;
}

// Traced outlines as closed rings (for areas and moments).
Polys TracedRings(std::size_t n) {
  Polys rings = Take(TracedPool(), n, 0.0);
  for (auto& r : rings) r.push_back(r.front());
  return rings;
}

Poly Flatten(Polys const& ps) {
  Poly out;
  for (auto const& p : ps) out.insert(out.end(), p.begin(), p.end());
  return out;
}

// The hull's points: shoreline and border vertices, rounds shifted by 40
// degrees so larger sizes add new hull vertices.
Poly HullPoints(std::size_t n) { return Flatten(Take(GeoPool(), n, 40.0)); }

// The point-in-polygon workload: the 15 polygons with the most vertices
// among the shorelines and borders (all rings of one id), and queries spread
// uniformly over each polygon's box.
struct CPipCase {
  CStdPlgn plgn;
  std::vector<CPointD> queries;
};
constexpr int kPipPolygons = 15;

std::vector<CPipCase> const& PipCases(std::size_t perPolygon) {
  static std::map<std::size_t, std::vector<CPipCase>> cache;
  auto& out = cache[perPolygon];
  if (!out.empty()) return out;
  std::vector<CStdPlgn> all;
  for (char const* f : {"gshhg_f_british_isles.xy", "dcw_countries_west_europe.xy", "world_ne110m_countries.xy"}) {
    std::string id = "";
    for (auto& b : kmath_test::LoadXY(f)) {
      if (b.Attr("id") != id || all.empty()) all.emplace_back();
      id = b.Attr("id");
      all.back().push_back(std::move(b.pts));
    }
  }
  // An unclosed ring means something else to each library (Kmath walks no
  // closing edge, GEOS refuses it), so such polygons are not in the set.
  all.erase(std::remove_if(all.begin(), all.end(),
                           [](CStdPlgn const& p) {
                             return std::any_of(p.begin(), p.end(), [](auto const& r) {
                               return r.front().x != r.back().x || r.front().y != r.back().y;
                             });
                           }),
            all.end());
  std::stable_sort(all.begin(), all.end(), [](auto const& a, auto const& b) { return Count(a) > Count(b); });
  std::mt19937 rng(15);
  for (int i = 0; i < kPipPolygons; ++i) {
    CPipCase c{all[static_cast<std::size_t>(i)], {}};
    double l = HUGE_VAL, r = -HUGE_VAL, t = HUGE_VAL, b = -HUGE_VAL;
    for (auto const& ring : c.plgn) {
      for (auto const& p : ring) l = std::min(l, p.x), r = std::max(r, p.x), t = std::min(t, p.y), b = std::max(b, p.y);
    }
    std::uniform_real_distribution<double> ux(l, r), uy(t, b);
    for (std::size_t k = 0; k < perPolygon; ++k) c.queries.push_back({ux(rng), uy(rng)});
    out.push_back(std::move(c));
  }
  return out;
}

// Shoreline rings scaled into a square mask of `side` pixels and joined into
// one polygon by bridges walked out and back (they cancel under the
// even-odd rule), so each library fills a single polygon.
constexpr int kFillSide = 4096;
std::vector<tagPOINT> FillPolygon(std::size_t n) {
  Polys const rings = Take(GeoPool(), n, 40.0);
  double x0 = HUGE_VAL, y0 = HUGE_VAL, x1 = -HUGE_VAL, y1 = -HUGE_VAL;
  for (auto const& r : rings) {
    for (auto const& p : r) x0 = std::min(x0, p.x), y0 = std::min(y0, p.y), x1 = std::max(x1, p.x), y1 = std::max(y1, p.y);
  }
  double const s = (kFillSide - 1) / std::max(x1 - x0, y1 - y0);
  std::vector<tagPOINT> out;
  for (auto const& r : rings) {
    for (auto const& p : r) {
      out.push_back({static_cast<int>(std::lround((p.x - x0) * s)), static_cast<int>(std::lround((y1 - p.y) * s))});
    }
    if (r.front().x != r.back().x || r.front().y != r.back().y) out.push_back(out[out.size() - r.size()]);
  }
  for (std::size_t k = rings.size(), at = out.size(); k-- > 1;) {
    at -= rings[k].size() + (rings[k].front().x != rings[k].back().x || rings[k].front().y != rings[k].back().y);
    out.push_back(out[at]);
  }
  return out;
}

// ------------------------------------------------------------------- peers

class CGeos {
 public:
  CGeos() : m_h(GEOS_init_r()) {
    GEOSContext_setErrorMessageHandler_r(m_h, [](char const* msg, void*) { std::fprintf(stderr, "GEOS: %s\n", msg); }, nullptr);
  }
  ~CGeos() { GEOS_finish_r(m_h); }
  CGeos(CGeos const&) = delete;
  CGeos& operator=(CGeos const&) = delete;
  GEOSContextHandle_t operator*() const { return m_h; }

  GEOSCoordSequence* Seq(Poly const& pts) const {
    return GEOSCoordSeq_copyFromBuffer_r(m_h, &pts[0].x, static_cast<unsigned>(pts.size()), 0, 0);
  }
  GEOSGeometry* Line(Poly const& pts) const { return GEOSGeom_createLineString_r(m_h, Seq(pts)); }
  GEOSGeometry* Polygon(Poly const& ring) const {
    return GEOSGeom_createPolygon_r(m_h, GEOSGeom_createLinearRing_r(m_h, Seq(ring)), nullptr, 0);
  }
  GEOSGeometry* Points(Poly const& pts) const {
    std::vector<GEOSGeometry*> g;
    for (auto const& p : pts) g.push_back(GEOSGeom_createPointFromXY_r(m_h, p.x, p.y));
    return GEOSGeom_createCollection_r(m_h, GEOS_MULTIPOINT, g.data(), static_cast<unsigned>(g.size()));
  }
  // The even-odd region of several rings is their symmetric difference;
  // GEOS wants it as valid polygons, which the union of XORs gives.
  GEOSGeometry* EvenOdd(CStdPlgn const& plgn) const {
    GEOSGeometry* acc = nullptr;
    for (auto const& r : plgn) {
      // Real rings may touch themselves; GEOS's overlay wants valid input.
      GEOSGeometry* raw = Polygon(r);
      GEOSGeometry* p = GEOSisValid_r(m_h, raw) == 1 ? raw : GEOSMakeValid_r(m_h, raw);
      if (p != raw) GEOSGeom_destroy_r(m_h, raw);
      if (!acc) {
        acc = p;
        continue;
      }
      GEOSGeometry* x = GEOSSymDifference_r(m_h, acc, p);
      GEOSGeom_destroy_r(m_h, acc);
      GEOSGeom_destroy_r(m_h, p);
      acc = x;
    }
    return acc;
  }
  Poly Coords(GEOSGeometry const* g) const {
    GEOSCoordSequence const* s = GEOSGeom_getCoordSeq_r(m_h, g);
    unsigned n = 0;
    GEOSCoordSeq_getSize_r(m_h, s, &n);
    Poly out(n);
    for (unsigned i = 0; i < n; ++i) GEOSCoordSeq_getXY_r(m_h, s, i, &out[i].x, &out[i].y);
    return out;
  }
  void Free(GEOSGeometry* g) const { GEOSGeom_destroy_r(m_h, g); }

 private:
  GEOSContextHandle_t m_h;
};

BgLine ToBgLine(Poly const& p) {
  BgLine l;
  for (auto const& v : p) l.emplace_back(v.x, v.y);
  return l;
}

// Rings as Boost wants them for its orientation (closed, counter-clockwise).
BgRing ToBgRing(Poly const& p) {
  BgRing r;
  for (auto const& v : p) r.emplace_back(v.x, v.y);
  bg::correct(r);
  return r;
}

std::vector<cv::Point> ToCvInt(Poly const& p) {
  std::vector<cv::Point> out;
  for (auto const& v : p) out.emplace_back(static_cast<int>(v.x), static_cast<int>(v.y));
  return out;
}


// A GEOS (multi)polygon as Boost.Geometry's multi-polygon, rings copied.
bg::model::multi_polygon<BgPoly> ToBg(CGeos const& g, GEOSGeometry const* geom) {
  bg::model::multi_polygon<BgPoly> out;
  auto const ring = [&g](GEOSGeometry const* r, BgRing& to) {
    for (auto const& v : g.Coords(r)) to.emplace_back(v.x, v.y);
  };
  int const parts = GEOSGetNumGeometries_r(*g, geom);
  for (int i = 0; i < parts; ++i) {
    GEOSGeometry const* p = GEOSGetGeometryN_r(*g, geom, i);
    out.emplace_back();
    ring(GEOSGetExteriorRing_r(*g, p), out.back().outer());
    int const holes = GEOSGetNumInteriorRings_r(*g, p);
    for (int h = 0; h < holes; ++h) {
      out.back().inners().emplace_back();
      ring(GEOSGetInteriorRingN_r(*g, p, h), out.back().inners().back());
    }
  }
  bg::correct(out);
  return out;
}

using CgalK = CGAL::Exact_predicates_inexact_constructions_kernel;

// --------------------------------------------------------------- agreement

struct CAgreement {
  std::string op, peer;
  std::size_t size;
  bool ok;
  std::string detail;
};
std::vector<CAgreement> g_agreements;

void Agree(std::string op, std::string peer, std::size_t size, bool ok, std::string detail) {
  std::printf("agree %-8s %-18s %8zu %-4s %s\n", op.c_str(), peer.c_str(), size, ok ? "ok" : "FAIL", detail.c_str());
  std::fflush(stdout);
  g_agreements.push_back({std::move(op), std::move(peer), size, ok, std::move(detail)});
}

bool SamePoints(Poly const& a, Poly const& b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](auto const& p, auto const& q) { return p.x == q.x && p.y == q.y; });
}

std::string Fmt(char const* f, double a, double b = 0) {
  char buf[160];
  std::snprintf(buf, sizeof buf, f, a, b);
  return buf;
}

double RelDiff(double a, double b) { return std::abs(a - b) / std::max({std::abs(a), std::abs(b), 1e-300}); }

// ------------------------------------------------------------- reduction

constexpr double kReduceTol = 1.5;

Poly KmathReduce(Poly const& p, std::vector<int>& idx) {
  Poly out;
  if (Math::PolyInflections(p, kReduceTol, idx)) {
    for (int i : idx) out.push_back(p[static_cast<std::size_t>(i)]);
  } else {
    out = p;
  }
  return out;
}

double SegDist(CPointD const& p, CPointD const& a, CPointD const& b) {
  double const dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
  double const t = l2 > 0 ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / l2, 0.0, 1.0) : 0.0;
  return std::hypot(a.x + t * dx - p.x, a.y + t * dy - p.y);
}

double LineDist(CPointD const& p, CPointD const& a, CPointD const& b) {
  double const dx = b.x - a.x, dy = b.y - a.y, l = std::hypot(dx, dy);
  return l > 0 ? std::abs((p.x - a.x) * dy - (p.y - a.y) * dx) / l : std::hypot(p.x - a.x, p.y - a.y);
}

// `kept` is a subsequence of `in` from its first to its last vertex, and
// every vertex left out lies within the tolerance of the chord replacing it.
// With `line`, distance to the chord's line (OpenCV's measure).
bool WithinTolerance(Poly const& in, Poly const& kept, bool line = false) {
  if (kept.size() < 2) return false;
  std::size_t i = 0;
  auto const same = [](CPointD const& a, CPointD const& b) { return a.x == b.x && a.y == b.y; };
  if (!same(in[0], kept[0])) return false;
  for (std::size_t k = 1; k < kept.size(); ++k) {
    std::size_t j = i + 1;
    while (j < in.size() && !same(in[j], kept[k])) ++j;
    if (j == in.size()) return false;
    for (std::size_t m = i + 1; m < j; ++m) {
      double const d = line ? LineDist(in[m], in[i], in[j]) : SegDist(in[m], in[i], in[j]);
      if (d > kReduceTol * (1 + 1e-12)) return false;
    }
    i = j;
  }
  return i + 1 == in.size();
}

// Where two vertices lie at the same distance from a chord up to rounding,
// which one splits it first is each library's tie rule, so the kept
// vertices may differ; such a pair agrees when both are reductions within
// the tolerance, and the count of identical answers is reported beside it.
void CheckReduce(std::size_t n) {
  Polys const in = Take(TracedPool(), n, 0.0);
  CGeos g;
  std::size_t same[3] = {0, 0, 0}, valid[3] = {0, 0, 0}, kmathValid = 0, kept = 0;
  std::vector<int> idx;
  for (auto const& p : in) {
    Poly const k = KmathReduce(p, idx);
    kept += k.size();
    kmathValid += WithinTolerance(p, k);
    Poly got[3];
    GEOSGeometry* line = g.Line(p);
    GEOSGeometry* s = GEOSSimplify_r(*g, line, kReduceTol);
    got[0] = g.Coords(s);
    g.Free(s);
    g.Free(line);
    BgLine b;
    bg::simplify(ToBgLine(p), b, kReduceTol);
    for (auto const& v : b) got[1].push_back({v.x(), v.y()});
    std::vector<cv::Point> c;
    cv::approxPolyDP(ToCvInt(p), c, kReduceTol, false);
    for (auto const& v : c) got[2].push_back({static_cast<double>(v.x), static_cast<double>(v.y)});
    for (int i = 0; i < 3; ++i) {
      bool const eq = SamePoints(k, got[i]);
      same[i] += eq;
      // OpenCV measures against the chord's whole line, not the segment.
      valid[i] += eq || WithinTolerance(p, got[i], i == 2);
    }
  }
  char const* peers[] = {"geos", "boost", "opencv"};
  for (int i = 0; i < 3; ++i) {
    Agree("reduce", peers[i], n, valid[i] == in.size() && kmathValid == in.size(),
          Fmt("same kept vertices in %.0f of %.0f polylines", static_cast<double>(same[i]), static_cast<double>(in.size())) +
              Fmt(", both within the tolerance in %.0f (Kmath keeps %.0f vertices)",
                  static_cast<double>(std::min(valid[i], kmathValid)), static_cast<double>(kept)));
  }
}

void BM_Reduce_Kmath(benchmark::State& state) {
  Polys const in = Take(TracedPool(), static_cast<std::size_t>(state.range(0)), 0.0);
  std::vector<int> idx;
  for (auto _ : state) {
    for (auto const& p : in) {
      Math::PolyInflections(p, kReduceTol, idx);
      benchmark::DoNotOptimize(idx.data());
    }
  }
}

void BM_Reduce_Geos(benchmark::State& state) {
  Polys const in = Take(TracedPool(), static_cast<std::size_t>(state.range(0)), 0.0);
  CGeos g;
  std::vector<GEOSGeometry*> lines;
  for (auto const& p : in) lines.push_back(g.Line(p));
  for (auto _ : state) {
    for (auto* l : lines) g.Free(GEOSSimplify_r(*g, l, kReduceTol));
  }
  for (auto* l : lines) g.Free(l);
}

void BM_Reduce_Boost(benchmark::State& state) {
  Polys const in = Take(TracedPool(), static_cast<std::size_t>(state.range(0)), 0.0);
  std::vector<BgLine> lines;
  for (auto const& p : in) lines.push_back(ToBgLine(p));
  BgLine out;
  for (auto _ : state) {
    for (auto const& l : lines) {
      out.clear();
      bg::simplify(l, out, kReduceTol);
      benchmark::DoNotOptimize(out.data());
    }
  }
}

void BM_Reduce_OpenCv(benchmark::State& state) {
  Polys const in = Take(TracedPool(), static_cast<std::size_t>(state.range(0)), 0.0);
  std::vector<std::vector<cv::Point>> lines;
  for (auto const& p : in) lines.push_back(ToCvInt(p));
  std::vector<cv::Point> out;
  for (auto _ : state) {
    for (auto const& l : lines) {
      cv::approxPolyDP(l, out, kReduceTol, false);
      benchmark::DoNotOptimize(out.data());
    }
  }
}

// -------------------------------------------------------------------- hull

// Hulls compared as vertex sets: each library starts its ring elsewhere.
std::set<std::pair<double, double>> VertexSet(Poly const& p) {
  std::set<std::pair<double, double>> s;
  for (auto const& v : p) s.insert({v.x, v.y});
  return s;
}

void CheckHull(std::size_t n) {
  Poly const pts = HullPoints(n);
  Poly k = pts;
  Math::ConvexHull(k);
  auto const want = VertexSet(k);
  CGeos g;
  GEOSGeometry* mp = g.Points(pts);
  GEOSGeometry* h = GEOSConvexHull_r(*g, mp);
  Poly gh = g.Coords(GEOSGetExteriorRing_r(*g, h));
  g.Free(h);
  g.Free(mp);
  bg::model::multi_point<BgPt> bmp;
  for (auto const& p : pts) bmp.emplace_back(p.x, p.y);
  BgRing br;
  bg::convex_hull(bmp, br);
  Poly bh;
  for (auto const& v : br) bh.push_back({v.x(), v.y()});
  std::vector<cv::Point2f> cin;
  for (auto const& p : pts) cin.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y));
  std::vector<int> ci;
  cv::convexHull(cin, ci, false, false);
  Poly ch;
  for (int i : ci) ch.push_back(pts[static_cast<std::size_t>(i)]);
  std::vector<CgalK::Point_2> cg, cgo;
  for (auto const& p : pts) cg.emplace_back(p.x, p.y);
  CGAL::convex_hull_2(cg.begin(), cg.end(), std::back_inserter(cgo));
  Poly cgh;
  for (auto const& v : cgo) cgh.push_back({v.x(), v.y()});
  std::pair<char const*, Poly const*> const peers[] = {{"geos", &gh}, {"boost", &bh}, {"opencv(float)", &ch}, {"cgal", &cgh}};
  for (auto const& [name, hull] : peers) {
    auto const got = VertexSet(*hull);
    Agree("hull", name, n, got == want,
          Fmt("%.0f hull vertices, peer %.0f", static_cast<double>(want.size()), static_cast<double>(got.size())));
  }
}

void BM_Hull_Kmath(benchmark::State& state) {
  Poly const pts = HullPoints(static_cast<std::size_t>(state.range(0)));
  Poly work;
  for (auto _ : state) {
    work = pts;
    Math::ConvexHull(work);
    benchmark::DoNotOptimize(work.data());
  }
}

void BM_Hull_Geos(benchmark::State& state) {
  Poly const pts = HullPoints(static_cast<std::size_t>(state.range(0)));
  CGeos g;
  GEOSGeometry* mp = g.Points(pts);
  for (auto _ : state) g.Free(GEOSConvexHull_r(*g, mp));
  g.Free(mp);
}

void BM_Hull_Boost(benchmark::State& state) {
  Poly const pts = HullPoints(static_cast<std::size_t>(state.range(0)));
  bg::model::multi_point<BgPt> mp;
  for (auto const& p : pts) mp.emplace_back(p.x, p.y);
  BgRing r;
  for (auto _ : state) {
    r.clear();
    bg::convex_hull(mp, r);
    benchmark::DoNotOptimize(r.data());
  }
}

void BM_Hull_OpenCv(benchmark::State& state) {
  Poly const pts = HullPoints(static_cast<std::size_t>(state.range(0)));
  std::vector<cv::Point2f> in;
  for (auto const& p : pts) in.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y));
  std::vector<int> out;
  for (auto _ : state) {
    cv::convexHull(in, out, false, false);
    benchmark::DoNotOptimize(out.data());
  }
}

void BM_Hull_Cgal(benchmark::State& state) {
  Poly const pts = HullPoints(static_cast<std::size_t>(state.range(0)));
  std::vector<CgalK::Point_2> in, out;
  for (auto const& p : pts) in.emplace_back(p.x, p.y);
  for (auto _ : state) {
    out.clear();
    CGAL::convex_hull_2(in.begin(), in.end(), std::back_inserter(out));
    benchmark::DoNotOptimize(out.data());
  }
}

// ------------------------------------------------------ moments and areas

// Kmath's exact third-order polygon moments and Hu invariants against
// OpenCV's contour moments (the same integrals, on the same integer rings).
void CheckMoments(std::size_t n) {
  Polys const rings = TracedRings(n);
  double worstArea = 0, worstHu = 0;
  for (auto const& r : rings) {
    Math::CRawMoments const raw(r.data(), static_cast<unsigned>(r.size()));
    Math::CHuMoments const hu{Math::CRCMoments(raw)};
    Poly open(r.begin(), r.end() - 1);
    cv::Moments const m = cv::moments(ToCvInt(open));
    double h[7];
    cv::HuMoments(m, h);
    worstArea = std::max(worstArea, RelDiff(raw.m00, std::abs(m.m00)));
    // The invariants span many decades; each is compared against the
    // largest, the scale at which they are used together.
    double const scale = std::max(std::abs(hu.h[0]), std::abs(h[0]));
    for (int i = 0; i < 7; ++i) worstHu = std::max(worstHu, std::abs(hu.h[i] - h[i]) / scale);
  }
  // Central moments come from raw ones by subtraction, losing about
  // (distance from the origin / size)^2 of the 1e-16: outlines a few
  // thousand pixels out keep some 1e-9 of h[0], so Hu is held to 1e-6.
  Agree("moments", "opencv", n, worstArea <= 1e-9 && worstHu <= 1e-6,
        Fmt("worst relative area difference %.2g, Hu %.2g", worstArea, worstHu));
}

// Area and centroid together, the job of CAreaMoments1.
void CheckArea(std::size_t n) {
  Polys const rings = TracedRings(n);
  CGeos g;
  double worst[2] = {0, 0};
  for (auto const& r : rings) {
    Math::CAreaMoments1 const a(r.data(), static_cast<unsigned>(r.size()));
    double const ka = std::abs(a.dArea);
    GEOSGeometry* p = g.Polygon(r);
    double ga = 0, gx = 0, gy = 0;
    GEOSArea_r(*g, p, &ga);
    GEOSGeometry* c = GEOSGetCentroid_r(*g, p);
    GEOSGeomGetX_r(*g, c, &gx);
    GEOSGeomGetY_r(*g, c, &gy);
    g.Free(c);
    g.Free(p);
    BgPt bc(0, 0);
    BgRing const br = ToBgRing(r);
    bg::centroid(br, bc);
    worst[0] = std::max({worst[0], RelDiff(ka, ga), RelDiff(a.dCx, gx), RelDiff(a.dCy, gy)});
    worst[1] = std::max({worst[1], RelDiff(ka, std::abs(bg::area(br))), RelDiff(a.dCx, bc.x()), RelDiff(a.dCy, bc.y())});
  }
  Agree("area", "geos", n, worst[0] <= 1e-9, Fmt("worst relative difference of area and centroid %.2g", worst[0]));
  Agree("area", "boost", n, worst[1] <= 1e-9, Fmt("worst relative difference of area and centroid %.2g", worst[1]));
}

void BM_Moments_Kmath(benchmark::State& state) {
  Polys const rings = TracedRings(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    for (auto const& r : rings) {
      Math::CRawMoments const raw(r.data(), static_cast<unsigned>(r.size()));
      Math::CHuMoments hu{Math::CRCMoments(raw)};
      benchmark::DoNotOptimize(hu);
    }
  }
}

void BM_Moments_OpenCv(benchmark::State& state) {
  Polys const rings = TracedRings(static_cast<std::size_t>(state.range(0)));
  std::vector<std::vector<cv::Point>> in;
  for (auto const& r : rings) in.push_back(ToCvInt(Poly(r.begin(), r.end() - 1)));
  double h[7];
  for (auto _ : state) {
    for (auto const& c : in) {
      cv::HuMoments(cv::moments(c), h);
      benchmark::DoNotOptimize(h);
    }
  }
}

void BM_Area_Kmath(benchmark::State& state) {
  Polys const rings = TracedRings(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    for (auto const& r : rings) {
      Math::CAreaMoments1 a(r.data(), static_cast<unsigned>(r.size()));
      benchmark::DoNotOptimize(a);
    }
  }
}

void BM_Area_Geos(benchmark::State& state) {
  Polys const rings = TracedRings(static_cast<std::size_t>(state.range(0)));
  CGeos g;
  std::vector<GEOSGeometry*> polys;
  for (auto const& r : rings) polys.push_back(g.Polygon(r));
  double a = 0;
  for (auto _ : state) {
    for (auto* p : polys) {
      GEOSArea_r(*g, p, &a);
      benchmark::DoNotOptimize(a);
      g.Free(GEOSGetCentroid_r(*g, p));
    }
  }
  for (auto* p : polys) g.Free(p);
}

void BM_Area_Boost(benchmark::State& state) {
  Polys const rings = TracedRings(static_cast<std::size_t>(state.range(0)));
  std::vector<BgRing> in;
  for (auto const& r : rings) in.push_back(ToBgRing(r));
  for (auto _ : state) {
    for (auto const& r : in) {
      BgPt c(0, 0);
      bg::centroid(r, c);
      benchmark::DoNotOptimize(bg::area(r));
      benchmark::DoNotOptimize(c);
    }
  }
}

// ---------------------------------------------------------- point in polygon

// Sizes are query counts over the 15 polygons. The prepared forms are timed
// with their preparation, so small counts show its cost.
std::size_t PerPolygon(benchmark::State const& state) {
  return static_cast<std::size_t>(state.range(0)) / kPipPolygons;
}

constexpr std::size_t kPipJudged = 1000;

void CheckPip(std::size_t n) {
  auto const& cases = PipCases(n / kPipPolygons);
  CGeos g;
  std::size_t bad[5] = {0, 0, 0, 0, 0}, inside = 0, total = 0;
  for (auto const& c : cases) {
    Math::CPreparedPlgn const prep(c.plgn);
    GEOSGeometry* poly = g.EvenOdd(c.plgn);
    GEOSPreparedGeometry const* gp = GEOSPrepare_r(*g, poly);
    auto const bp = ToBg(g, poly);
    // The plain walk is the truth but costs the whole polygon per query, so
    // it judges the first queries; the two prepared forms meet on all.
    for (std::size_t k = 0; k < c.queries.size(); ++k) {
      CPointD const q = c.queries[k];
      GEOSGeometry* pt = GEOSGeom_createPointFromXY_r(*g, q.x, q.y);
      bool const fast = prep.PtInside(q);
      bad[4] += (GEOSPreparedContains_r(*g, gp, pt) == 1) != fast;
      if (k >= kPipJudged) {
        g.Free(pt);
        continue;
      }
      bool const want = c.plgn.PtInside(q);
      inside += want;
      ++total;
      bad[0] += fast != want;
      bad[1] += (GEOSPreparedContains_r(*g, gp, pt) == 1) != want;
      // GEOS's unprepared test builds a full relate graph per point.
      if (k < kPipJudged / 40) bad[2] += (GEOSContains_r(*g, poly, pt) == 1) != want;
      g.Free(pt);
      bad[3] += bg::within(BgPt(q.x, q.y), bp) != want;
    }
    GEOSPreparedGeom_destroy_r(*g, gp);
    g.Free(poly);
  }
  char const* names[] = {"kmath-prepared", "geos-prepared", "geos", "boost"};
  for (int i = 0; i < 4; ++i) {
    Agree("pip", names[i], n, bad[i] == 0,
          Fmt("%.0f of the answers differ from PtInside", static_cast<double>(bad[i])) +
              Fmt(" (%.0f queries judged; of all %.0f judged by PtInside", static_cast<double>(i == 2 ? total / 40 : total),
                  static_cast<double>(total)) +
              Fmt(", %.0f inside)", static_cast<double>(inside)));
  }
  Agree("pip", "kmath-vs-geos-prep", n, bad[4] == 0,
        Fmt("%.0f of all %.0f answers differ", static_cast<double>(bad[4]), static_cast<double>(n)));
}

void BM_Pip_KmathPrepared(benchmark::State& state) {
  auto const& cases = PipCases(PerPolygon(state));
  for (auto _ : state) {
    std::size_t in = 0;
    for (auto const& c : cases) {
      Math::CPreparedPlgn const prep(c.plgn);
      for (auto const& q : c.queries) in += prep.PtInside(q);
    }
    benchmark::DoNotOptimize(in);
  }
}

void BM_Pip_Kmath(benchmark::State& state) {
  auto const& cases = PipCases(PerPolygon(state));
  for (auto _ : state) {
    std::size_t in = 0;
    for (auto const& c : cases) {
      for (auto const& q : c.queries) in += c.plgn.PtInside(q);
    }
    benchmark::DoNotOptimize(in);
  }
}

// GEOS takes points as geometries; they are made before the timing.
struct CGeosPip {
  CGeos g;
  std::vector<GEOSGeometry*> polys;
  std::vector<std::vector<GEOSGeometry*>> pts;
  explicit CGeosPip(std::vector<CPipCase> const& cases) {
    for (auto const& c : cases) {
      polys.push_back(g.EvenOdd(c.plgn));
      pts.emplace_back();
      for (auto const& q : c.queries) pts.back().push_back(GEOSGeom_createPointFromXY_r(*g, q.x, q.y));
    }
  }
  ~CGeosPip() {
    for (auto* p : polys) g.Free(p);
    for (auto& v : pts) {
      for (auto* p : v) g.Free(p);
    }
  }
};

void BM_Pip_GeosPrepared(benchmark::State& state) {
  CGeosPip const w(PipCases(PerPolygon(state)));
  for (auto _ : state) {
    std::size_t in = 0;
    for (std::size_t i = 0; i < w.polys.size(); ++i) {
      GEOSPreparedGeometry const* gp = GEOSPrepare_r(*w.g, w.polys[i]);
      for (auto* q : w.pts[i]) in += GEOSPreparedContains_r(*w.g, gp, q) == 1;
      GEOSPreparedGeom_destroy_r(*w.g, gp);
    }
    benchmark::DoNotOptimize(in);
  }
}

void BM_Pip_Geos(benchmark::State& state) {
  CGeosPip const w(PipCases(PerPolygon(state)));
  for (auto _ : state) {
    std::size_t in = 0;
    for (std::size_t i = 0; i < w.polys.size(); ++i) {
      for (auto* q : w.pts[i]) in += GEOSContains_r(*w.g, w.polys[i], q) == 1;
    }
    benchmark::DoNotOptimize(in);
  }
}

void BM_Pip_Boost(benchmark::State& state) {
  auto const& cases = PipCases(PerPolygon(state));
  CGeos g;
  std::vector<bg::model::multi_polygon<BgPoly>> polys;
  for (auto const& c : cases) {
    GEOSGeometry* p = g.EvenOdd(c.plgn);
    polys.push_back(ToBg(g, p));
    g.Free(p);
  }
  for (auto _ : state) {
    std::size_t in = 0;
    for (std::size_t i = 0; i < cases.size(); ++i) {
      for (auto const& q : cases[i].queries) in += bg::within(BgPt(q.x, q.y), polys[i]);
    }
    benchmark::DoNotOptimize(in);
  }
}

// -------------------------------------------------------------------- fill

std::size_t Filled(std::vector<unsigned char> const& m) {
  return static_cast<std::size_t>(std::count_if(m.begin(), m.end(), [](unsigned char c) { return c != 0; }));
}

void KmathFill(std::vector<tagPOINT> const& poly, std::vector<unsigned char>& mask, CFillPoly& fill) {
  fill.Init(poly.data(), static_cast<int>(poly.size()));
  fill.SetBitPixel(8);
  for (int y = 0; y < kFillSide; ++y) {
    fill.NextScanLine(y);
    fill.GetLineMask(mask.data() + static_cast<std::size_t>(y) * kFillSide, kFillSide, kFillSide);
  }
}

// The two libraries draw boundary pixels by different rules, so the counts
// may differ by up to the perimeter in pixels, not more.
void CheckFill(std::size_t n) {
  auto const poly = FillPolygon(n);
  std::vector<unsigned char> mask(static_cast<std::size_t>(kFillSide) * kFillSide);
  CFillPoly fill;
  KmathFill(poly, mask, fill);
  std::size_t const k = Filled(mask);
  cv::Mat cm(kFillSide, kFillSide, CV_8UC1, cv::Scalar(0));
  std::vector<std::vector<cv::Point>> cp(1);
  for (auto const& p : poly) cp[0].emplace_back(p.x, p.y);
  cv::fillPoly(cm, cp, cv::Scalar(255), cv::LINE_8);
  std::size_t const o = static_cast<std::size_t>(cv::countNonZero(cm));
  double perim = 0;
  for (std::size_t i = 0; i < poly.size(); ++i) {
    auto const& a = poly[i];
    auto const& b = poly[(i + 1) % poly.size()];
    perim += std::max(std::abs(a.x - b.x), std::abs(a.y - b.y)) + 1;
  }
  double const diff = std::abs(static_cast<double>(k) - static_cast<double>(o));
  Agree("fill", "opencv", n, diff <= perim,
        Fmt("pixel counts differ by %.0f, perimeter %.0f pixels", diff, perim) +
            Fmt(" (Kmath fills %.0f)", static_cast<double>(k)));
}

void BM_Fill_Kmath(benchmark::State& state) {
  auto const poly = FillPolygon(static_cast<std::size_t>(state.range(0)));
  std::vector<unsigned char> mask(static_cast<std::size_t>(kFillSide) * kFillSide);
  CFillPoly fill;
  for (auto _ : state) {
    KmathFill(poly, mask, fill);
    benchmark::DoNotOptimize(mask.data());
    benchmark::ClobberMemory();
  }
}

void BM_Fill_OpenCv(benchmark::State& state) {
  auto const poly = FillPolygon(static_cast<std::size_t>(state.range(0)));
  std::vector<std::vector<cv::Point>> cp(1);
  for (auto const& p : poly) cp[0].emplace_back(p.x, p.y);
  cv::Mat mask(kFillSide, kFillSide, CV_8UC1);
  for (auto _ : state) {
    mask.setTo(0);
    cv::fillPoly(mask, cp, cv::Scalar(255), cv::LINE_8);
    benchmark::DoNotOptimize(mask.data);
    benchmark::ClobberMemory();
  }
}

// ------------------------------------------------------ minimum rectangle

// OpenCV reads floats: both libraries get the points rounded to float, and
// OpenCV's float sizes hold the area to about 1e-7, so 1e-6 is the bar.
Poly FloatPoints(std::size_t n) {
  Poly pts = HullPoints(n);
  for (auto& p : pts) p = {static_cast<float>(p.x), static_cast<float>(p.y)};
  return pts;
}

std::vector<cv::Point2f> ToCvFloat(Poly const& p) {
  std::vector<cv::Point2f> out;
  for (auto const& v : p) out.emplace_back(static_cast<float>(v.x), static_cast<float>(v.y));
  return out;
}

void CheckRect(std::size_t n) {
  Poly const pts = FloatPoints(n);
  Math::CRectangle const k = Math::MinAreaRectangle(pts.data(), static_cast<unsigned>(pts.size()), false);
  cv::RotatedRect const o = cv::minAreaRect(ToCvFloat(pts));
  double const d = RelDiff(k.Area(), static_cast<double>(o.size.width) * o.size.height);
  Agree("rect", "opencv", n, d <= 1e-6, Fmt("relative area difference %.2g (area %.6g)", d, k.Area()));
}

void BM_Rect_Kmath(benchmark::State& state) {
  Poly const pts = FloatPoints(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(Math::MinAreaRectangle(pts.data(), static_cast<unsigned>(pts.size()), false));
  }
}

void BM_Rect_OpenCv(benchmark::State& state) {
  auto const pts = ToCvFloat(FloatPoints(static_cast<std::size_t>(state.range(0))));
  for (auto _ : state) benchmark::DoNotOptimize(cv::minAreaRect(pts));
}

// ------------------------------------------------------ boolean operations

// Shoreline rings in micro-degrees (whole numbers, exact in Clipper's
// integers) against a copy turned by half a degree and shifted by 1% of the
// extent, so the boundaries cross all along. The shoreline data holds some
// 150 thousand vertices; larger sizes are left out.
constexpr std::size_t kBoolMax = 150000;

struct CBoolPair {
  CStdPlgn a, b;
};

CBoolPair const& BoolPair(std::size_t n) {
  static std::map<std::size_t, CBoolPair> cache;
  auto it = cache.find(n);
  if (it != cache.end()) return it->second;
  static Polys const rings = [] {
    Polys out;
    for (auto const& b : kmath_test::LoadXY("gshhg_f_british_isles.xy")) {
      if (b.Attr("ring") != "outer" || !b.IsClosed() || b.pts.size() < 4) continue;
      Poly r;
      for (auto const& p : b.pts) r.push_back({std::round(p.x * 1e6), std::round(p.y * 1e6)});
      out.push_back(std::move(r));
    }
    std::stable_sort(out.begin(), out.end(), [](auto const& a, auto const& b) { return a.size() > b.size(); });
    return out;
  }();
  // One coastline near the size when there is one (within a fifth), else
  // the largest coastlines until the size is held.
  CBoolPair pr;
  for (auto const& r : rings) {
    if (r.size() * 5 >= n * 4 && r.size() * 5 <= n * 6) {
      pr.a.push_back(r);
      break;
    }
  }
  if (pr.a.empty()) {
    std::size_t have = 0;
    for (auto const& r : rings) {
      if (have >= n) break;
      pr.a.push_back(r);
      have += r.size();
    }
  }
  double l = HUGE_VAL, r = -HUGE_VAL, t = HUGE_VAL, bt = -HUGE_VAL;
  for (auto const& c : pr.a) {
    for (auto const& p : c) l = std::min(l, p.x), r = std::max(r, p.x), t = std::min(t, p.y), bt = std::max(bt, p.y);
  }
  CPointD const ctr{(l + r) / 2, (t + bt) / 2};
  double const cs = std::cos(0.5 * M_PI / 180), sn = std::sin(0.5 * M_PI / 180);
  pr.b = pr.a;
  for (auto& c : pr.b) {
    for (auto& p : c) {
      CPointD const d = p - ctr;
      p = {std::round(ctr.x + cs * d.x - sn * d.y + 0.01 * (r - l)), std::round(ctr.y + sn * d.x + cs * d.y + 0.01 * (bt - t))};
    }
  }
  return cache.emplace(n, std::move(pr)).first->second;
}

// Rings come out outer and hole oppositely turned, so the signed sum is the
// area up to sign.
double TotalArea(CStdPlgn const& p) {
  double s = 0;
  for (auto const& r : p) {
    for (std::size_t i = 0; i + 1 < r.size(); ++i) s += (r[i].x - r[0].x) * (r[i + 1].y - r[0].y) - (r[i + 1].x - r[0].x) * (r[i].y - r[0].y);
  }
  return std::abs(s / 2);
}

ClipperLib::Paths ToClipper(CStdPlgn const& p) {
  ClipperLib::Paths out;
  for (auto const& r : p) {
    ClipperLib::Path path;
    for (std::size_t i = 0; i + 1 < r.size(); ++i) {
      path.push_back({static_cast<ClipperLib::cInt>(r[i].x), static_cast<ClipperLib::cInt>(r[i].y)});
    }
    out.push_back(std::move(path));
  }
  return out;
}

GEOSGeometry* ToGeosMulti(CGeos const& g, CStdPlgn const& p) {
  std::vector<GEOSGeometry*> parts;
  for (auto const& r : p) parts.push_back(g.Polygon(r));
  return GEOSGeom_createCollection_r(*g, GEOS_MULTIPOLYGON, parts.data(), static_cast<unsigned>(parts.size()));
}

bg::model::multi_polygon<BgPoly> ToBgMulti(CStdPlgn const& p) {
  bg::model::multi_polygon<BgPoly> m;
  for (auto const& r : p) {
    m.emplace_back();
    for (auto const& q : r) m.back().outer().emplace_back(q.x, q.y);
  }
  bg::correct(m);
  return m;
}

// Intersection (op 0) and union (op 1) of the pair.
CStdPlgn KmathBool(CBoolPair const& p, int op) {
  Math::CPlgnOperator oper(p.a, p.b);
  return oper(op == 0 ? Math::Cross : Math::Union);
}

double ClipperBool(ClipperLib::Paths const& a, ClipperLib::Paths const& b, int op) {
  ClipperLib::Clipper c;
  c.AddPaths(a, ClipperLib::ptSubject, true);
  c.AddPaths(b, ClipperLib::ptClip, true);
  ClipperLib::Paths sol;
  c.Execute(op == 0 ? ClipperLib::ctIntersection : ClipperLib::ctUnion, sol, ClipperLib::pftEvenOdd,
            ClipperLib::pftEvenOdd);
  double area = 0;
  for (auto const& path : sol) area += ClipperLib::Area(path);
  return std::abs(area);
}

GEOSGeometry* GeosBool(CGeos const& g, GEOSGeometry const* a, GEOSGeometry const* b, int op) {
  return op == 0 ? GEOSIntersection_r(*g, a, b) : GEOSUnion_r(*g, a, b);
}

void CheckBool(std::size_t n, int op) {
  if (n > kBoolMax) return;
  CBoolPair const& p = BoolPair(n);
  CStdPlgn const res = KmathBool(p, op);
  double const k = TotalArea(res);
  double const c = ClipperBool(ToClipper(p.a), ToClipper(p.b), op);
  CGeos g;
  GEOSGeometry* ga = ToGeosMulti(g, p.a);
  GEOSGeometry* gb = ToGeosMulti(g, p.b);
  GEOSGeometry* gr = GeosBool(g, ga, gb, op);
  double garea = 0;
  GEOSArea_r(*g, gr, &garea);
  g.Free(gr);
  g.Free(ga);
  g.Free(gb);
  bg::model::multi_polygon<BgPoly> br;
  auto const ba = ToBgMulti(p.a), bb = ToBgMulti(p.b);
  if (op == 0) {
    bg::intersection(ba, bb, br);
  } else {
    bg::union_(ba, bb, br);
  }
  double const barea = bg::area(br);
  char const* name = op == 0 ? "and" : "or";
  // Clipper puts every new crossing on its integer grid, moving the boundary
  // by up to half a unit, so its area may differ by half the perimeter.
  double perim = 0;
  for (auto const& r : res) {
    for (std::size_t i = 0; i + 1 < r.size(); ++i) perim += std::hypot(r[i + 1].x - r[i].x, r[i + 1].y - r[i].y);
  }
  Agree(name, "clipper", n, std::abs(k - c) <= 0.5 * perim,
        Fmt("area difference %.3g, half the perimeter %.3g", std::abs(k - c), 0.5 * perim) +
            Fmt(" (relative %.2g)", RelDiff(k, c)));
  std::pair<char const*, double> const peers[] = {{"geos", garea}, {"boost", barea}};
  for (auto const& [peer, area] : peers) {
    double const d = RelDiff(k, area);
    Agree(name, peer, n, d <= 1e-9, Fmt("relative area difference %.2g (area %.6g)", d, k));
  }
}

void CheckAnd(std::size_t n) { CheckBool(n, 0); }
void CheckOr(std::size_t n) { CheckBool(n, 1); }

template <int Op>
void BM_Bool_Kmath(benchmark::State& state) {
  CBoolPair const& p = BoolPair(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(KmathBool(p, Op).size());
}

template <int Op>
void BM_Bool_Clipper(benchmark::State& state) {
  CBoolPair const& p = BoolPair(static_cast<std::size_t>(state.range(0)));
  ClipperLib::Paths const a = ToClipper(p.a), b = ToClipper(p.b);
  for (auto _ : state) benchmark::DoNotOptimize(ClipperBool(a, b, Op));
}

template <int Op>
void BM_Bool_Geos(benchmark::State& state) {
  CBoolPair const& p = BoolPair(static_cast<std::size_t>(state.range(0)));
  CGeos g;
  GEOSGeometry* a = ToGeosMulti(g, p.a);
  GEOSGeometry* b = ToGeosMulti(g, p.b);
  for (auto _ : state) g.Free(GeosBool(g, a, b, Op));
  g.Free(a);
  g.Free(b);
}

template <int Op>
void BM_Bool_Boost(benchmark::State& state) {
  CBoolPair const& p = BoolPair(static_cast<std::size_t>(state.range(0)));
  auto const a = ToBgMulti(p.a), b = ToBgMulti(p.b);
  for (auto _ : state) {
    bg::model::multi_polygon<BgPoly> out;
    if (Op == 0) {
      bg::intersection(a, b, out);
    } else {
      bg::union_(a, b, out);
    }
    benchmark::DoNotOptimize(out.size());
  }
}

// ------------------------------------------------------------ registration

struct COp {
  char const* name;
  void (*check)(std::size_t);
  std::vector<std::pair<char const*, void (*)(benchmark::State&)>> libs;
};

std::vector<COp> const& Ops() {
  static std::vector<COp> const ops = {
      {"reduce", CheckReduce,
       {{"kmath", BM_Reduce_Kmath}, {"geos", BM_Reduce_Geos}, {"boost", BM_Reduce_Boost}, {"opencv", BM_Reduce_OpenCv}}},
      {"hull", CheckHull,
       {{"kmath", BM_Hull_Kmath}, {"geos", BM_Hull_Geos}, {"boost", BM_Hull_Boost}, {"opencv", BM_Hull_OpenCv},
        {"cgal", BM_Hull_Cgal}}},
      {"moments", CheckMoments, {{"kmath", BM_Moments_Kmath}, {"opencv", BM_Moments_OpenCv}}},
      {"area", CheckArea, {{"kmath", BM_Area_Kmath}, {"geos", BM_Area_Geos}, {"boost", BM_Area_Boost}}},
      {"pip", CheckPip,
       {{"kmath-prepared", BM_Pip_KmathPrepared}, {"geos-prepared", BM_Pip_GeosPrepared}}},
      {"pip-plain", nullptr, {{"kmath", BM_Pip_Kmath}, {"geos", BM_Pip_Geos}, {"boost", BM_Pip_Boost}}},
      {"fill", CheckFill, {{"kmath", BM_Fill_Kmath}, {"opencv", BM_Fill_OpenCv}}},
      {"rect", CheckRect, {{"kmath", BM_Rect_Kmath}, {"opencv", BM_Rect_OpenCv}}},
      {"and", CheckAnd,
       {{"kmath", BM_Bool_Kmath<0>}, {"clipper", BM_Bool_Clipper<0>}, {"geos", BM_Bool_Geos<0>},
        {"boost", BM_Bool_Boost<0>}}},
      {"or", CheckOr,
       {{"kmath", BM_Bool_Kmath<1>}, {"clipper", BM_Bool_Clipper<1>}, {"geos", BM_Bool_Geos<1>},
        {"boost", BM_Bool_Boost<1>}}},
  };
  return ops;
}

std::vector<std::size_t> ParseSizes(std::string const& s) {
  std::vector<std::size_t> out;
  std::stringstream in(s);
  for (std::string tok; std::getline(in, tok, ',');) out.push_back(static_cast<std::size_t>(std::stod(tok)));
  return out;
}

void WriteAgreements(std::string const& path) {
  std::ofstream out(path);
  out << "[\n";
  for (std::size_t i = 0; i < g_agreements.size(); ++i) {
    auto const& a = g_agreements[i];
    out << "  {\"op\": \"" << a.op << "\", \"peer\": \"" << a.peer << "\", \"size\": " << a.size
        << ", \"ok\": " << (a.ok ? "true" : "false") << ", \"detail\": \"" << a.detail << "\"}"
        << (i + 1 < g_agreements.size() ? ",\n" : "\n");
  }
  out << "]\n";
}

}  // namespace

// Own options, taken out before Google Benchmark reads the rest:
//   --sizes=1e3,1e4,...   vertex counts of every operation but pip
//   --pip_sizes=N,...     queries over the 15 polygons for the prepared forms
//   --pip_plain_size=N    queries for the plain point-in-polygon walks
//   --ops=reduce,hull,... which operations (default all)
//   --agreement_out=FILE  the agreement checks as JSON
//   --skip_agreement      time only
int main(int argc, char** argv) {
  std::vector<std::size_t> sizes = {1000, 10000, 100000, 1000000};
  std::vector<std::size_t> pipSizes = {15000, 150000, 1500000};
  std::size_t pipPlain = 150;
  std::set<std::string> ops;
  std::string agreementOut;
  bool agreement = true;
  std::vector<char*> rest;
  for (int i = 0; i < argc; ++i) {
    std::string const a = argv[i];
    auto const value = [&a](char const* key) {
      return a.rfind(key, 0) == 0 ? a.substr(std::strlen(key)) : std::string();
    };
    if (!value("--sizes=").empty()) {
      sizes = ParseSizes(value("--sizes="));
    } else if (!value("--pip_sizes=").empty()) {
      pipSizes = ParseSizes(value("--pip_sizes="));
    } else if (!value("--pip_plain_size=").empty()) {
      pipPlain = ParseSizes(value("--pip_plain_size="))[0];
    } else if (!value("--ops=").empty()) {
      std::stringstream in(value("--ops="));
      for (std::string tok; std::getline(in, tok, ',');) ops.insert(tok);
    } else if (!value("--agreement_out=").empty()) {
      agreementOut = value("--agreement_out=");
    } else if (a == "--skip_agreement") {
      agreement = false;
    } else {
      rest.push_back(argv[i]);
    }
  }
  for (auto const& op : Ops()) {
    if (!ops.empty() && !ops.count(op.name)) continue;
    std::string const name = op.name;
    std::vector<std::size_t> const mine =
        name == "pip-plain" ? std::vector<std::size_t>{pipPlain} : name == "pip" ? pipSizes : sizes;
    for (std::size_t n : mine) {
      if ((name == "and" || name == "or") && n > kBoolMax) continue;
      if (agreement && op.check) op.check(n);
      for (auto const& [lib, fn] : op.libs) {
        std::string const bench = name + "/" + lib;
        benchmark::RegisterBenchmark(bench.c_str(), fn)->Arg(static_cast<int64_t>(n))->Unit(benchmark::kMillisecond);
      }
    }
  }
  if (!agreementOut.empty()) WriteAgreements(agreementOut);
  int rargc = static_cast<int>(rest.size());
  benchmark::Initialize(&rargc, rest.data());
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
