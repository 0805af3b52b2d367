#include <boost/geometry.hpp>
#include <boost/geometry/geometries/geometries.hpp>

#include "polygon_oracle.h"
#include "test_picture.h"

namespace kmath_test {
namespace {

namespace bg = boost::geometry;

// tagPOINT rows (ints): y = 1.5 at x = 0 rounds to 2, half away from zero;
// y = 2.25 at x = 5 to 2 (rounding the first cut and clipping on would give
// 2.5, so 3).
TEST(ClipPolyByRect, PiecesRunAlongASideOnlyWhereTheInputDoesCutsRoundOnceAndBadInputIsHarmless) {
  char const* const corner = "-5 -5, 5 -5, 5 5, -5 5, -5 -5";
  struct Case {
    char const *name, *in;
    bool keep;
    char const* want;
    CRectD rect{0, 0, 10, 10};
    bool ints = false;
  };
  Case const cases[] = {
      // keep: keepClosed, which does nothing to a polyline that is not closed.
      {"out and back in: two pieces", "-5 5, 5 5, 5 15, 8 15, 8 5, 15 5", true, "0 5, 5 5, 5 10 | 8 10, 8 5, 10 5"},
      {"input order kept, what lies outside dropped", "20 20, 30 30 | 1 1, 2 2 | -1 30, 30 -1 | 5 -5, 5 15", false,
       "1 1, 2 2 | 5 0, 5 10"},
      {"an input segment along a side is kept", "0 -5, 0 5, 5 5", false, "0 0, 0 5, 5 5"},
      {"touching a side from outside: nothing", "-5 5, 0 5, -5 6", false, ""},
      {"out and back through one point: one piece", "5 5, -5 5, 5 5", false, "5 5, 0 5, 5 5"},
      {"around a corner outside", "5 9, 5 20, 20 5, 9 5", false, "5 9, 5 10 | 10 5, 9 5"},
      {"a ring without keepClosed falls apart", corner, false, "5 0, 5 5, 0 5"},
      {"with keepClosed it stays one ring along the sides", corner, true, "5 0, 5 5, 0 5, 0 0, 5 0"},
      {"a ring around it: its outline", "-1 -1, 11 -1, 11 11, -1 11, -1 -1", true, "0 10, 0 0, 10 0, 10 10, 0 10"},
      {"rings away or on a corner: removed", "20 20, 30 20, 30 30, 20 20 | -5 -5, 0 -5, 0 0, -5 0, -5 -5", true, ""},
      {"ints: each cut rounds once from the true crossing", "-10 0, 10 3", false, "0 2, 5 2", {0, -5, 5, 5}, true},
      {"ints: fractional sides move cuts inward", "-10 0, 10 3", false, "1 2, 4 2", {0.5, -5, 4.5, 5}, true},
      {"ints: a cut rounding onto its neighbour is dropped", "5 5, -10 5", false, "", {4.2, 0, 10, 10}, true},
      {"ints: no integer column, nothing", "0 5, 1 5", false, "", {0.2, 0, 0.8, 10}, true},
      // Bad input.
      {"left > right", "1 1, 2 2 | 5 5, 6 5, 6 6, 5 5", true, "", CRectD{10, 0, 0, 10}},
      {"NaN side", "1 1, 2 2 | 5 5, 6 5, 6 6, 5 5", true, "", CRectD{kNaN, 0, 10, 10}},
      {"zero width keeps what runs along it", "3 -5, 3 15", false, "3 0, 3 10", CRectD{3, 0, 3, 10}},
      {"an empty polyline, one point inside", "| 1 1", true, ""},
      {"repeated points inside are kept", "1 1, 1 1, 2 2", false, "1 1, 1 1, 2 2"},
      {"NaN and infinite vertices break it", "1 1, 2 1, inf 1, 2 2, nan nan, 3 3, 4 4", false, "1 1, 2 1 | 3 3, 4 4"},
      {"a kept ring leaves a NaN vertex out", "1 1, 2 1, nan 0, 1 2, 1 1", true, "1 1, 2 1, 1 2, 1 1"},
      {"huge coordinates", "-1e308 5, 1e308 5", false, "0 5, 10 5"},
  };
  auto const clip = [](auto p, Case const& c) {
    Math::ClipPolyByRect(p, c.rect, c.keep);
    return Text(p);
  };
  for (Case const& c : cases) {
    MPoly const polys = Polys(c.in);
    Math::mpoly_base<tagPOINT> ints(polys.size());
    for (std::size_t i = 0; c.ints && i < polys.size(); ++i)
      for (CPointD const& p : polys[i]) ints[i].push_back({static_cast<int>(p.x), static_cast<int>(p.y)});
    EXPECT_EQ(c.ints ? clip(ints, c) : clip(polys, c), Text(Polys(c.want))) << c.name;
  }
  Math::mpoly_base<CPoint3D> p3{Math::poly_base<CPoint3D>{{-10, 0, 0}, {10, 0, 20}}};
  Math::ClipPolyByRect(p3, CRectD{0, -1, 5, 1}, false);
  ASSERT_EQ(Text(p3), " 0 0, 5 0");
  EXPECT_DOUBLE_EQ(p3[0][0].z, 10.0);
  EXPECT_DOUBLE_EQ(p3[0][1].z, 15.0);
}

// Random windows between vertices of real lines and rings. Open clipping
// keeps the length of the input inside the window; a kept ring has the area
// of its intersection with the window. Boost.Geometry computes both.
TEST(ClipPolyByRect, AgreesWithBoostGeometryOnRealData) {
  using Pt = bg::model::point<double, 2, bg::cs::cartesian>;
  std::mt19937 rng(4242);
  int cut = 0;
  for (std::string const file : {"omap_forest_contours.xy", "ccitt2_centerlines.xy", "gshhg_h_british_isles.xy",
                                 "nc_counties.xy", "world_ne110m_countries.xy", "soho_buildings_crack.xy"}) {
    SCOPED_TRACE(file);
    std::vector<Ring> const lines = Rings(file);
    auto const vertex = [&] {
      Ring const& l = lines[rng() % lines.size()];
      return l[rng() % l.size()];
    };
    for (int k = 0; k < 4; ++k) {
      CPointD const a = vertex(), b = vertex();
      CRectD const r{std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
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
        for (Ring const& piece : open) got += Length(piece);
        for (MPoly const* res : {&open, &kept})
          for (Ring const& piece : *res)
            for (CPointD const& p : piece)
              ASSERT_TRUE(p.x >= r.left && p.x <= r.right && p.y >= r.top && p.y <= r.bottom);
        if (line.size() < 4 || line.front().x != line.back().x || line.front().y != line.back().y) continue;
        bg::correct(poly);
        bg::model::multi_polygon<bg::model::polygon<Pt>> parts;
        bg::intersection(poly, box, parts);
        double const area = bg::area(parts), tol = 1e-9 * std::abs(Area(line)) + 1e-15;
        ASSERT_LE(kept.size(), 1u);
        if (std::abs((kept.empty() ? 0.0 : std::abs(Area(kept[0]))) - area) > tol) {
          Picture pic("ClipPolyByRect_" + file + "_" + std::to_string(k));
          pic.Polygon("input", MPoly{line}, kGrey);
          pic.Polygon("kept", kept, kRed);
          pic.Polyline("window", {{r.left, r.top}, {r.right, r.top}, {r.right, r.bottom}, {r.left, r.bottom}, {r.left, r.top}}, kBlue);
        }
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
