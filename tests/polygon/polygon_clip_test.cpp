#include <boost/geometry.hpp>
#include <boost/geometry/geometries/geometries.hpp>

#include "polygon_oracle.h"

namespace kmath_test {
namespace {

namespace bg = boost::geometry;

TEST(ClipPolyByRect, PiecesRunAlongASideOnlyWhereTheInputDoesAndBadInputIsHarmless) {
  char const* const corner = "-5 -5, 5 -5, 5 5, -5 5, -5 -5";
  char const* const two = "1 1, 2 2 | 5 5, 6 5, 6 6, 5 5";
  struct Case { char const* name; char const* in; bool keepClosed; char const* want; CRectD rect = {0, 0, 10, 10}; };
  Case const cases[] = {
      // keepClosed does nothing to a polyline that is not closed.
      {"out and back in: two pieces", "-5 5, 5 5, 5 15, 8 15, 8 5, 15 5", true, "0 5, 5 5, 5 10 | 8 10, 8 5, 10 5"},
      {"input order kept, what lies outside dropped", "20 20, 30 30 | 1 1, 2 2 | -1 30, 30 -1 | 5 -5, 5 15", false,
       "1 1, 2 2 | 5 0, 5 10"},
      {"an input segment along a side is kept", "0 -5, 0 5, 5 5", false, "0 0, 0 5, 5 5"},
      {"touching a side from outside: nothing", "-5 5, 0 5, -5 6", false, ""},
      {"grazing a corner: nothing", "-5 5, 5 -5", false, ""},
      {"out and back through one point: one piece", "5 5, -5 5, 5 5", false, "5 5, 0 5, 5 5"},
      {"a vertex on a side between inside neighbours", "5 5, 0 7, 5 9", false, "5 5, 0 7, 5 9"},
      {"out, through a corner, back by another side", "5 5, 5 -5, 15 5, 5 5", false, "5 5, 5 0 | 10 5, 5 5"},
      {"around a corner outside", "5 9, 5 20, 20 5, 9 5", false, "5 9, 5 10 | 10 5, 9 5"},
      {"a ring without keepClosed falls apart", corner, false, "5 0, 5 5, 0 5"},
      {"with keepClosed it stays one ring along the sides", corner, true, "5 0, 5 5, 0 5, 0 0, 5 0"},
      {"a ring around it: its outline", "-1 -1, 11 -1, 11 11, -1 11, -1 -1", true, "0 10, 0 0, 10 0, 10 10, 0 10"},
      {"rings away or on a corner: removed", "20 20, 30 20, 30 30, 20 20 | -5 -5, 0 -5, 0 0, -5 0, -5 -5", true, ""},
      // Bad input.
      {"left > right", two, true, "", CRectD{10, 0, 0, 10}},
      {"NaN side", two, true, "", CRectD{kNaN, 0, 10, 10}},
      {"zero width keeps what runs along it", "3 -5, 3 15", false, "3 0, 3 10", CRectD{3, 0, 3, 10}},
      {"empty polylines", "|", true, ""},
      {"one point inside", "1 1", true, ""},
      {"repeated points inside are kept", "1 1, 1 1, 2 2", false, "1 1, 1 1, 2 2"},
      {"NaN and infinite vertices break it", "1 1, 2 1, inf 1, 2 2, nan nan, 3 3, 4 4", false, "1 1, 2 1 | 3 3, 4 4"},
      {"a kept ring leaves a NaN vertex out", "1 1, 2 1, nan 0, 1 2, 1 1", true, "1 1, 2 1, 1 2, 1 1"},
      {"zero-area ring", "1 1, 2 2, 1 1", true, "1 1, 2 2, 1 1"},
      {"huge coordinates", "-1e308 5, 1e308 5", false, "0 5, 10 5"},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    MPoly polys = Polys(c.in);
    Math::ClipPolyByRect(polys, c.rect, c.keepClosed);
    ExpectPolys(polys, c.want);
  }
}

TEST(ClipPolyByRect, IntegerCutsRoundOnceAndSpaceCutsInterpolateZ) {
  Math::mpoly_base<CPoint3D> p3{Math::poly_base<CPoint3D>{{-10, 0, 0}, {10, 0, 20}}};
  Math::ClipPolyByRect(p3, CRectD{0, -1, 5, 1}, false);
  ASSERT_EQ(Text(p3), " 0 0, 5 0");
  EXPECT_DOUBLE_EQ(p3[0][0].z, 10.0);
  EXPECT_DOUBLE_EQ(p3[0][1].z, 15.0);
  struct Case { char const* name; CRectD rect; char const* in; char const* want; } const cases[] = {
      // y = 1.5 at x = 0 rounds to 2, half away from zero; y = 2.25 at x = 5
      // to 2 (rounding the first cut and clipping on would give 2.5, so 3).
      {"each cut rounds once from the true crossing", {0, -5, 5, 5}, "-10 0, 10 3", "0 2, 5 2"},
      {"fractional sides move cuts inward", {0.5, -5, 4.5, 5}, "-10 0, 10 3", "1 2, 4 2"},
      {"a cut rounding onto its neighbour is dropped", {4.2, 0, 10, 10}, "5 5, -10 5", ""},
      {"no integer column: nothing", {0.2, 0, 0.8, 10}, "0 5, 1 5", ""},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Math::mpoly_base<tagPOINT> pi(1);
    for (CPointD const& p : R(c.in)) pi[0].push_back({static_cast<int>(p.x), static_cast<int>(p.y)});
    Math::ClipPolyByRect(pi, c.rect, false);
    ExpectPolys(pi, c.want);
  }
}

// Random windows over real lines and rings. Open clipping keeps the length
// of the input inside the window; a kept ring has the area of its
// intersection with the window. Boost.Geometry computes both.
TEST(ClipPolyByRect, AgreesWithBoostGeometryOnRealData) {
  using Pt = bg::model::point<double, 2, bg::cs::cartesian>;
  std::mt19937 rng(4242);
  int cut = 0;
  for (std::string const file : {"omap_forest_contours.xy", "ccitt2_centerlines.xy", "gshhg_h_british_isles.xy",
                                 "nc_counties.xy", "world_ne110m_countries.xy", "soho_buildings_crack.xy"}) {
    SCOPED_TRACE(file);
    std::vector<Ring> const lines = Rings(file);
    CRectD ext = Extent({});
    for (auto const& l : lines) ext = Extent(l, ext);
    std::uniform_real_distribution<double> ux(ext.left, ext.right), uy(ext.top, ext.bottom);
    for (int k = 0; k < 4; ++k) {
      double const x0 = ux(rng), x1 = ux(rng), y0 = uy(rng), y1 = uy(rng);
      CRectD const r{std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1)};
      bg::model::box<Pt> const box(Pt(r.left, r.top), Pt(r.right, r.bottom));
      double got = 0.0, want = 0.0;
      for (Ring const& line : lines) {
        bg::model::polygon<Pt> poly;
        for (auto const& p : line) bg::append(poly.outer(), Pt(p.x, p.y));
        bg::model::multi_linestring<bg::model::linestring<Pt>> inside;
        bg::intersection(bg::model::linestring<Pt>(poly.outer().begin(), poly.outer().end()), box, inside);
        want += bg::length(inside);
        MPoly open{line}, kept{line};
        Math::ClipPolyByRect(open, r, false);
        Math::ClipPolyByRect(kept, r, true);
        CRectD b = Extent({});
        for (auto const& piece : open) b = Extent(piece, b);
        for (auto const& piece : kept) b = Extent(piece, b);
        for (auto const& piece : open) got += Length(piece);
        ASSERT_TRUE(b.left >= r.left && b.right <= r.right && b.top >= r.top && b.bottom <= r.bottom);
        if (line.size() < 4 || line.front().x != line.back().x || line.front().y != line.back().y) continue;
        bg::correct(poly);
        bg::model::multi_polygon<bg::model::polygon<Pt>> parts;
        bg::intersection(poly, box, parts);
        double const area = bg::area(parts);
        double const tol = 1e-9 * std::abs(Area(line)) + 1e-15;
        ASSERT_LE(kept.size(), 1u);
        EXPECT_NEAR(kept.empty() ? 0.0 : std::abs(Area(kept[0])), area, tol);
        cut += area > tol && area < bg::area(poly) - tol;
      }
      EXPECT_NEAR(got, want, 1e-9 * want) << "window " << k;
    }
  }
  EXPECT_GT(cut, 20);
}

}  // namespace
}  // namespace kmath_test
