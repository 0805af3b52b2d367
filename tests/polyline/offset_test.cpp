#include <math/curvefit.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "polyline_test.h"

#ifdef KMATH_TEST_HAVE_GEOS
#include <geos_c.h>
#endif
#ifdef KMATH_TEST_HAVE_CLIPPER
#include <polyclipping/clipper.hpp>
#endif

namespace polyline_test {
namespace {

using Polys = std::vector<Pts>;

// Shoelace about the first point: at map coordinates (5e5 m) the products
// about the origin would cancel away the area's last digits.
double Area(Pts const& r) {
  double a = 0;
  for (std::size_t i = 1; i + 1 < r.size(); ++i) {
    CPointD const u = r[i] - r[0], v = r[i + 1] - r[0];
    a += u.x * v.y - v.x * u.y;
  }
  return 0.5 * a;
}
double TotalArea(Polys const& rs) {
  double a = 0;
  for (Pts const& r : rs) a += Area(r);
  return a;
}
double Length(Pts const& p) {
  double l = 0;
  for (std::size_t i = 0; i + 1 < p.size(); ++i) l += std::hypot(p[i + 1].x - p[i].x, p[i + 1].y - p[i].y);
  return l;
}
Pts Reversed(Pts p) { std::reverse(p.begin(), p.end()); return p; }
Math::COffsetParams Params(Math::EOffsetJoin join, bool outline = false, Math::EOffsetCap cap = Math::CapRound,
                           double chord = 0.01) {
  Math::COffsetParams p;
  p.eJoin = join;
  p.bOutline = outline;
  p.eCap = cap;
  p.dChordTol = chord;
  return p;
}

// Areas worked out by hand: a 10 x 10 square grown by 1 gains four 10 x 1
// strips and four corners (1 mitred, 1/2 bevelled, a quarter circle round,
// inscribed within the chord tolerance); shrunk by 1 it is 8 x 8 whatever
// the join. A straight segment's outline is 2 x 10 plus its caps.
TEST(PolyOffset, WorkedAreasForEveryJoinAndCap) {
  Pts const sq = {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}};
  Pts const seg = {{0, 0}, {10, 0}};
  double const round = 140 + M_PI;
  struct Case { char const* name; Pts in; double d; Math::COffsetParams prm; double area, tol; std::size_t rings; } const cases[] = {
      {"grow miter", sq, -1, Params(Math::JoinMiter), 144, 1e-9, 1},
      {"grow bevel", sq, -1, Params(Math::JoinBevel), 142, 1e-9, 1},
      {"grow round", sq, -1, Params(Math::JoinRound), round, 4 * 0.01 * M_PI / 2, 1},
      {"miter past its limit bevels", sq, -1, [] { auto p = Params(Math::JoinMiter); p.dMiterLimit = 1.2; return p; }(), 142, 1e-9, 1},
      {"shrink", sq, 1, Params(Math::JoinRound), 64, 1e-9, 1},
      {"clockwise ring grows to the left", Reversed(sq), 1, Params(Math::JoinMiter), -144, 1e-9, 1},
      {"shrunk past the inscribed radius", sq, 5.5, Params(Math::JoinRound), 0, 0, 0},
      {"flat caps", seg, 1, Params(Math::JoinRound, true, Math::CapFlat), 20, 1e-9, 1},
      {"square caps", seg, 1, Params(Math::JoinRound, true, Math::CapSquare), 24, 1e-9, 1},
      {"round caps", seg, -1, Params(Math::JoinRound, true, Math::CapRound), 20 + M_PI, 2 * 0.01 * M_PI, 1},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Polys out;
    ASSERT_TRUE(Math::PolyOffset(c.in, c.d, c.prm, out));
    EXPECT_EQ(out.size(), c.rings);
    EXPECT_NEAR(TotalArea(out), c.area, c.tol + 1e-9);
    for (Pts const& r : out) EXPECT_TRUE(r.front().x == r.back().x && r.front().y == r.back().y);
  }
}

TEST(PolyOffset, OpenLineIsShiftedToItsLeftForPositiveDistances) {
  Pts const line = {{0, 0}, {10, 0}, {10, 10}};
  for (double d : {2.0, -2.0}) {
    SCOPED_TRACE(d);
    Polys out;
    ASSERT_TRUE(Math::PolyOffset(line, d, Params(Math::JoinMiter), out));
    ASSERT_EQ(out.size(), 1u);
    // Left of a left turn is its inside: the miter point is (8, 2); right of
    // it the miter point is (12, -2).
    Pts const want = d > 0 ? Pts{{0, 2}, {8, 2}, {8, 10}} : Pts{{0, -2}, {12, -2}, {12, 10}};
    ASSERT_EQ(out[0].size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i) {
      EXPECT_NEAR(out[0][i].x, want[i].x, 1e-12);
      EXPECT_NEAR(out[0][i].y, want[i].y, 1e-12);
    }
  }
}

// Two 10 x 10 rooms joined by a corridor 2 wide: shrinking by more than 1
// closes the corridor and leaves two rings; growing a U whose gap is
// narrower than twice the distance closes the gap into a hole.
TEST(PolyOffset, NarrowNeckSplitsAndClosedGapLeavesAHole) {
  Pts const dumbbell = {{0, 0}, {10, 0}, {10, 4}, {20, 4}, {20, 0}, {30, 0}, {30, 10}, {20, 10}, {20, 6}, {10, 6}, {10, 10}, {0, 10}, {0, 0}};
  Polys out;
  ASSERT_TRUE(Math::PolyOffset(dumbbell, 1.5, Params(Math::JoinMiter), out));
  ASSERT_EQ(out.size(), 2u);
  EXPECT_NEAR(TotalArea(out), 2 * 7 * 7, 1e-9);

  // A box with a 20 x 20 cavity whose mouth is 2 wide: grown by 1.5 the
  // mouth closes and the cavity, shrunk to 17 x 17, is a hole.
  Pts const c = {{0, 0}, {30, 0}, {30, 30}, {16, 30}, {16, 25}, {25, 25}, {25, 5}, {5, 5}, {5, 25}, {14, 25}, {14, 30}, {0, 30}, {0, 0}};
  ASSERT_TRUE(Math::PolyOffset(c, -1.5, Params(Math::JoinMiter), out));
  ASSERT_EQ(out.size(), 2u);
  int holes = 0;
  for (Pts const& r : out) holes += Area(r) < 0;
  EXPECT_EQ(holes, 1);
  EXPECT_NEAR(TotalArea(out), 33 * 33 - 17 * 17, 1e-9);
}

// A spike (a 180-degree turn), repeated points and a line that doubles back
// on itself: the outline is still a simple ring of the right area.
TEST(PolyOffset, SpikesRepeatsAndOverlapsGiveSimpleOutlines) {
  Pts const spike = {{0, 0}, {10, 0}, {10, 0}, {5, 0}, {5, 5}};
  Polys out;
  ASSERT_TRUE(Math::PolyOffset(spike, 1, Params(Math::JoinMiter, true, Math::CapFlat), out));
  ASSERT_EQ(out.size(), 1u);
  // The rectangle around 0..10 on y, the one around the stem above it, with
  // a flat end at (10, 0) lying across the spike and mitred corners.
  EXPECT_NEAR(Area(out[0]), 2 * 10 + 2 * 4, 1e-9);
}

TEST(PolyOffset, BadInputLeavesTheResultAlone) {
  Pts const sq = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
  struct Case { char const* name; Pts in; double d; double chord; } const cases[] = {
      {"empty", {}, 1, 0.01},
      {"one point", {{1, 1}}, 1, 0.01},
      {"one point repeated", {{1, 1}, {1, 1}, {1, 1}}, 1, 0.01},
      {"ring of two points", {{0, 0}, {1, 0}, {0, 0}}, 1, 0.01},
      {"NaN point", {{0, 0}, {kNaN, 0}, {1, 1}}, 1, 0.01},
      {"infinite point", {{0, 0}, {kInf, 0}}, 1, 0.01},
      {"zero distance", sq, 0, 0.01},
      {"NaN distance", sq, kNaN, 0.01},
      {"infinite distance", sq, kInf, 0.01},
      {"zero chord tolerance", sq, 1, 0},
      {"NaN chord tolerance", sq, 1, kNaN},
      {"overflowing offset", {{0, 0}, {1e308, 1e308}, {-1e308, 1e308}}, 1e308, 0.01},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Polys out = {{{7, 7}}};
    EXPECT_FALSE(Math::PolyOffset(c.in, c.d, Params(Math::JoinRound, false, Math::CapRound, c.chord), out));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_TRUE(Same(out[0], Pts{{7, 7}}));
    Pts p = c.in;
    EXPECT_FALSE(Math::PolyOffset(p, c.d, Params(Math::JoinRound, false, Math::CapRound, c.chord)));
    EXPECT_TRUE(Same(p, c.in));
  }
  // In place: one ring replaces, none clears, two leave the polyline alone.
  Pts p = sq;
  EXPECT_TRUE(Math::PolyOffset(p, 0.25, Params(Math::JoinMiter)));
  EXPECT_NEAR(Area(p), 0.25, 1e-12);
  EXPECT_TRUE(Math::PolyOffset(p, 1, Params(Math::JoinMiter)));
  EXPECT_TRUE(p.empty());
  Pts const dumbbell = {{0, 0}, {10, 0}, {10, 4}, {20, 4}, {20, 0}, {30, 0}, {30, 10}, {20, 10}, {20, 6}, {10, 6}, {10, 10}, {0, 10}, {0, 0}};
  p = dumbbell;
  EXPECT_FALSE(Math::PolyOffset(p, 1.5, Params(Math::JoinMiter)));
  EXPECT_TRUE(Same(p, dumbbell));
}

#ifdef KMATH_TEST_HAVE_GEOS

// GEOS as the oracle: regions are built as the even-odd combination of the
// rings, which is what a set of nested simple rings means.
class CGeos {
 public:
  CGeos() : m_h(GEOS_init_r()) {}
  ~CGeos() { GEOS_finish_r(m_h); }
  CGeos(CGeos const&) = delete;
  CGeos& operator=(CGeos const&) = delete;
  GEOSContextHandle_t h() const { return m_h; }

  using G = std::unique_ptr<GEOSGeometry, std::function<void(GEOSGeometry*)>>;
  G Own(GEOSGeometry* g) const { return G(g, [h = m_h](GEOSGeometry* p) { GEOSGeom_destroy_r(h, p); }); }

  GEOSCoordSequence* Seq(Pts const& p) const {
    GEOSCoordSequence* s = GEOSCoordSeq_create_r(m_h, static_cast<unsigned>(p.size()), 2);
    for (std::size_t i = 0; i < p.size(); ++i) GEOSCoordSeq_setXY_r(m_h, s, static_cast<unsigned>(i), p[i].x, p[i].y);
    return s;
  }
  G Line(Pts const& p) const { return Own(GEOSGeom_createLineString_r(m_h, Seq(p))); }
  G Polygon(Pts const& ring) const {
    return Own(GEOSGeom_createPolygon_r(m_h, GEOSGeom_createLinearRing_r(m_h, Seq(ring)), nullptr, 0));
  }
  G Region(Polys const& rings) const {
    G acc = Own(GEOSGeom_createEmptyPolygon_r(m_h));
    for (Pts const& r : rings) acc = Own(GEOSSymDifference_r(m_h, acc.get(), Polygon(r).get()));
    return acc;
  }
  double SymDiffArea(GEOSGeometry const* a, GEOSGeometry const* b) const {
    G const x = Own(GEOSSymDifference_r(m_h, a, b));
    double area = 0;
    GEOSArea_r(m_h, x.get(), &area);
    return area;
  }
  double Area(GEOSGeometry const* g) const { double a = 0; GEOSArea_r(m_h, g, &a); return a; }
  Polys Rings(GEOSGeometry const* g) const {
    Polys out;
    auto ring = [&](GEOSGeometry const* r) {
      GEOSCoordSequence const* s = GEOSGeom_getCoordSeq_r(m_h, r);
      unsigned n = 0;
      GEOSCoordSeq_getSize_r(m_h, s, &n);
      Pts p(n);
      for (unsigned i = 0; i < n; ++i) GEOSCoordSeq_getXY_r(m_h, s, i, &p[i].x, &p[i].y);
      out.push_back(p);
    };
    for (int k = 0; k < GEOSGetNumGeometries_r(m_h, g); ++k) {
      GEOSGeometry const* part = GEOSGetGeometryN_r(m_h, g, k);
      if (GEOSGeomTypeId_r(m_h, part) == GEOS_LINESTRING) { ring(part); continue; }
      ring(GEOSGetExteriorRing_r(m_h, part));
      for (int i = 0; i < GEOSGetNumInteriorRings_r(m_h, part); ++i) ring(GEOSGetInteriorRingN_r(m_h, part, i));
    }
    return out;
  }

 private:
  GEOSContextHandle_t m_h;
};

// Segments per quarter circle for GEOS so that its arcs stray no more than
// the chord tolerance.
int QuadSegs(double chord, double r) { return static_cast<int>(std::ceil(M_PI / 4 / std::acos(1 - chord / r))); }

// Every ring simple, no two overlapping: each ring alone is a valid polygon,
// and the even-odd region's area is the sum of the signed areas (an overlap
// would count twice in the sum and not at all in the region).
void ExpectSimpleAndDisjoint(CGeos const& g, Polys const& rings, double region) {
  for (Pts const& r : rings) {
    auto const p = g.Polygon(r);
    EXPECT_EQ(GEOSisValid_r(g.h(), p.get()), 1) << "ring of " << r.size() << " points crosses itself";
  }
  EXPECT_NEAR(std::abs(TotalArea(rings)), region, 1e-8 * (region + 1));
}

struct COracleCase {
  std::string file;
  std::size_t maxBlocks;
  double dist;  // in the file's units
};

// Real rings and lines, grown and shrunk with round joins at a chord
// tolerance of 3e-6 of the distance: GEOS's buffer (and Clipper's offset)
// at the same tolerance cover the same region to within 1e-6 of the area
// the offset sweeps (the length times the distance).
TEST(PolyOffset, MatchesGeosAndClipperOnRealData) {
  CGeos g;
  COracleCase const cases[] = {
      {"london_buildings.xy", 6, 1.5},  // footprints, metres
      {"london_buildings.xy", 6, 6},
      {"osm_buildings_swabia.xy", 4, 2},
      {"omap_forest_contours.xy", 2, 3},  // contour lines (open and closed)
      {"nc_counties.xy", 2, 0.02},        // counties, degrees
      {"gshhg_h_british_isles.xy", 5, 0.01},
  };
  double worstGeos = 0, worstClipper = 0;
  for (COracleCase const& c : cases) {
    auto const blocks = kmath_test::LoadXY(c.file);
    std::size_t done = 0;
    for (auto const& b : blocks) {
      if (done == c.maxBlocks) break;
      // Long rings at this chord tolerance cost GEOS seconds each.
      if (b.pts.size() < 3 || b.pts.size() > 300) continue;
      ++done;
      bool const closed = b.IsClosed();
      double const chord = 3e-6 * c.dist;
      for (double d : {c.dist, -c.dist}) {
        SCOPED_TRACE(c.file + " block " + std::to_string(done) + " d " + std::to_string(d));
        Polys mine;
        auto prm = Params(Math::JoinRound, !closed, Math::CapRound, chord);
        ASSERT_TRUE(Math::PolyOffset(b.pts, d, prm, mine));
        auto const region = g.Region(mine);
        ExpectSimpleAndDisjoint(g, mine, g.Area(region.get()));
        double const swept = Length(b.pts) * c.dist;

        // GEOS: grow the ring's polygon outwards or inwards according to the
        // side the distance names, or buffer the open line on both sides.
        GEOSBufferParams* bp = GEOSBufferParams_create_r(g.h());
        GEOSBufferParams_setQuadrantSegments_r(g.h(), bp, QuadSegs(chord, c.dist));
        GEOSBufferParams_setJoinStyle_r(g.h(), bp, GEOSBUF_JOIN_ROUND);
        GEOSBufferParams_setEndCapStyle_r(g.h(), bp, GEOSBUF_CAP_ROUND);
        double const ccw = Area(b.pts) > 0 ? 1 : -1;
        auto const src = closed ? g.Polygon(b.pts) : g.Line(b.pts);
        double const gd = closed ? -ccw * d : c.dist;
        auto const peer = g.Own(GEOSBufferWithParams_r(g.h(), src.get(), bp, gd));
        GEOSBufferParams_destroy_r(g.h(), bp);
        double const eg = g.SymDiffArea(region.get(), peer.get()) / swept;
        EXPECT_LT(eg, 1e-6);
        worstGeos = std::max(worstGeos, eg);

#ifdef KMATH_TEST_HAVE_CLIPPER
        // Clipper works on integers: the ring's extent spread over 2^40 keeps
        // its rounding far below the tolerance.
        double ext = 0;
        for (CPointD const& p : b.pts) ext = std::max({ext, std::abs(p.x - b.pts[0].x), std::abs(p.y - b.pts[0].y)});
        double const scale = std::ldexp(1.0, 40) / (ext + c.dist), x0 = b.pts[0].x, y0 = b.pts[0].y;
        ClipperLib::Path path;
        for (CPointD const& p : b.pts)
          path.push_back({static_cast<ClipperLib::cInt>(std::llround((p.x - x0) * scale)),
                          static_cast<ClipperLib::cInt>(std::llround((p.y - y0) * scale))});
        if (closed) path.pop_back();
        ClipperLib::ClipperOffset co(2.0, chord * scale);
        co.AddPath(path, ClipperLib::jtRound, closed ? ClipperLib::etClosedPolygon : ClipperLib::etOpenRound);
        ClipperLib::Paths sol;
        co.Execute(sol, (closed ? -ccw * d : c.dist) * scale);
        Polys theirs;
        for (auto const& sp : sol) {
          Pts r;
          for (auto const& q : sp) r.push_back({static_cast<double>(q.X) / scale + x0, static_cast<double>(q.Y) / scale + y0});
          r.push_back(r.front());
          theirs.push_back(r);
        }
        double const ec = g.SymDiffArea(region.get(), g.Region(theirs).get()) / swept;
        EXPECT_LT(ec, 1e-6);
        worstClipper = std::max(worstClipper, ec);
#endif
      }
    }
  }
  std::printf("[ offset ] worst symmetric difference / swept area: GEOS %.3g, Clipper %.3g\n", worstGeos, worstClipper);
}

// Open lines: the offset curve lies where GEOS's offset curve lies (each
// vertex of one within a few chord tolerances of the other: GEOS's arcs are
// spaced differently) and never crosses
// itself.
TEST(PolyOffset, OffsetCurveOfOpenLinesMatchesGeos) {
  CGeos g;
  auto const blocks = kmath_test::LoadXY("omap_forest_contours.xy");
  double worst = 0;
  std::size_t done = 0;
  for (auto const& b : blocks) {
    if (b.IsClosed() || b.pts.size() < 3) continue;
    if (++done > 20) break;
    for (double d : {4.0, -4.0}) {
      SCOPED_TRACE("block " + std::to_string(done) + " d " + std::to_string(d));
      double const chord = 1e-4;
      Polys mine;
      ASSERT_TRUE(Math::PolyOffset(b.pts, d, Params(Math::JoinRound, false, Math::CapRound, chord), mine));
      auto const line = g.Line(b.pts);
      auto const peer = g.Own(GEOSOffsetCurve_r(g.h(), line.get(), d, QuadSegs(chord, 4), GEOSBUF_JOIN_ROUND, 2.0));
      std::vector<GEOSGeometry*> parts;
      for (Pts const& p : mine) {
        auto l = g.Line(p);
        EXPECT_EQ(GEOSisSimple_r(g.h(), l.get()), 1);
        parts.push_back(l.release());
      }
      auto const all = g.Own(GEOSGeom_createCollection_r(g.h(), GEOS_MULTILINESTRING, parts.data(), static_cast<unsigned>(parts.size())));
      double hd = 0;
      GEOSHausdorffDistance_r(g.h(), all.get(), peer.get(), &hd);
      EXPECT_LT(hd, 3 * chord);
      worst = std::max(worst, hd);
    }
  }
  std::printf("[ offset ] worst Hausdorff distance to GEOS's offset curve: %.3g\n", worst);
}

#endif  // KMATH_TEST_HAVE_GEOS

}  // namespace
}  // namespace polyline_test
