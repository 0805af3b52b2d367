#include <math/kmath.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/box.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>

#include "polygon_oracle.h"

namespace {

namespace bg = boost::geometry;
using polygon_oracle::Ring;
using MPoly = Math::mpoly_base<CPointD>;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

void ExpectPts(std::vector<CPointD> const& got, std::vector<CPointD> const& want) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < want.size(); ++i) {
    EXPECT_DOUBLE_EQ(got[i].x, want[i].x) << "point " << i;
    EXPECT_DOUBLE_EQ(got[i].y, want[i].y) << "point " << i;
  }
}

bool InRect(CPointD const& p, CRectD const& r) {
  return p.x >= r.left && p.x <= r.right && p.y >= r.top && p.y <= r.bottom;
}

CRectD const kBox{0.0, 0.0, 10.0, 10.0};

TEST(ClipPolyByRect, OpenPolylineLeavingAndReenteringGivesTwoPieces) {
  // Out through the bottom side y = 10 at x = 5, back in at x = 8: the
  // stretch of side between them is not part of any piece.
  MPoly polys{Ring{{-5, 5}, {5, 5}, {5, 15}, {8, 15}, {8, 5}, {15, 5}}};
  Math::ClipPolyByRect(polys, kBox, true);  // not closed: the flag does nothing
  ASSERT_EQ(polys.size(), 2u);
  ExpectPts(polys[0], {{0, 5}, {5, 5}, {5, 10}});
  ExpectPts(polys[1], {{8, 10}, {8, 5}, {10, 5}});
}

TEST(ClipPolyByRect, KeepsInputOrderAndDropsWhatIsOutside) {
  MPoly polys{Ring{{20, 20}, {30, 30}}, Ring{{1, 1}, {2, 2}}, Ring{{-1, 30}, {30, -1}}, Ring{{5, -5}, {5, 15}}};
  Math::ClipPolyByRect(polys, kBox, false);
  ASSERT_EQ(polys.size(), 2u);
  ExpectPts(polys[0], {{1, 1}, {2, 2}});
  ExpectPts(polys[1], {{5, 0}, {5, 10}});
}

TEST(ClipPolyByRect, BoundaryStretchesOnlyWhenTheInputHasThem) {
  struct Case {
    char const* name;
    Ring in;
    std::vector<std::vector<CPointD>> want;
  };
  Case const cases[] = {
      {"input segment along the left side is kept", Ring{{0, -5}, {0, 5}, {5, 5}}, {{{0, 0}, {0, 5}, {5, 5}}}},
      {"touching a side from outside yields nothing", Ring{{-5, 5}, {0, 5}, {-5, 6}}, {}},
      {"grazing a corner yields nothing", Ring{{-5, 5}, {5, -5}}, {}},
      {"out and back through one point is one piece", Ring{{5, 5}, {-5, 5}, {5, 5}}, {{{5, 5}, {0, 5}, {5, 5}}}},
      {"vertex on a side with both neighbours inside", Ring{{5, 5}, {0, 7}, {5, 9}}, {{{5, 5}, {0, 7}, {5, 9}}}},
      // Out through the top, through the corner (10,0), back in by the right
      // side: the corner is a lone touch, not joined to either piece.
      {"through a corner and back by another side", Ring{{5, 5}, {5, -5}, {15, 5}, {5, 5}},
       {{{5, 5}, {5, 0}}, {{10, 5}, {5, 5}}}},
      {"around a corner outside", Ring{{5, 9}, {5, 20}, {20, 5}, {9, 5}}, {{{5, 9}, {5, 10}}, {{10, 5}, {9, 5}}}},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    MPoly polys{c.in};
    Math::ClipPolyByRect(polys, kBox, false);
    ASSERT_EQ(polys.size(), c.want.size());
    for (std::size_t i = 0; i < c.want.size(); ++i) ExpectPts(polys[i], c.want[i]);
  }
}

TEST(ClipPolyByRect, ClosedRingWithKeepClosedStaysOneRing) {
  struct Case {
    char const* name;
    Ring ring;
    double area;
  };
  Case const cases[] = {
      {"square over a corner, starting outside", Ring{{-5, -5}, {5, -5}, {5, 5}, {-5, 5}, {-5, -5}}, 25.0},
      {"same square starting inside", Ring{{5, 5}, {-5, 5}, {-5, -5}, {5, -5}, {5, 5}}, 25.0},
      {"ring around the rectangle", Ring{{-1, -1}, {11, -1}, {11, 11}, {-1, 11}, {-1, -1}}, 100.0},
      {"U shape leaving twice through one side",
       Ring{{2, 2}, {2, 20}, {4, 20}, {4, 4}, {6, 4}, {6, 20}, {8, 20}, {8, 2}, {2, 2}}, -(6 * 8 - 2 * 6)},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    MPoly polys{c.ring};
    Math::ClipPolyByRect(polys, kBox, true);
    ASSERT_EQ(polys.size(), 1u);
    auto const& r = polys[0];
    EXPECT_EQ(r.front().x, r.back().x);
    EXPECT_EQ(r.front().y, r.back().y);
    EXPECT_DOUBLE_EQ(polygon_oracle::Area(r), c.area);
    for (auto const& p : r) EXPECT_TRUE(InRect(p, kBox));
  }
  // Without the flag the same ring falls apart into its stretches inside.
  MPoly polys{cases[0].ring};
  Math::ClipPolyByRect(polys, kBox, false);
  ASSERT_EQ(polys.size(), 1u);
  ExpectPts(polys[0], {{5, 0}, {5, 5}, {0, 5}});
  // A ring outside, or meeting the rectangle in one corner, is removed.
  MPoly away{Ring{{20, 20}, {30, 20}, {30, 30}, {20, 20}}, Ring{{-5, -5}, {0, -5}, {0, 0}, {-5, 0}, {-5, -5}}};
  Math::ClipPolyByRect(away, kBox, true);
  EXPECT_TRUE(away.empty());
}

TEST(ClipPolyByRect, CutPointsOfSpaceAndIntegerPolylines) {
  Math::mpoly_base<CPoint3D> p3{Math::poly_base<CPoint3D>{{-10, 0, 0}, {10, 0, 20}}};
  Math::ClipPolyByRect(p3, CRectD{0, -1, 5, 1}, false);
  ASSERT_EQ(p3.size(), 1u);
  ASSERT_EQ(p3[0].size(), 2u);
  EXPECT_DOUBLE_EQ(p3[0][0].z, 10.0);  // z linear along the segment
  EXPECT_DOUBLE_EQ(p3[0][1].z, 15.0);

  // y = 1.5 at x = 0 rounds to 2 (nearest, half away from zero), y = 2.25 at
  // x = 5 to 2: each from the true crossing, not from the rounded first cut
  // (which would give 2.5 and round to 3).
  Math::mpoly_base<tagPOINT> pi{Math::poly_base<tagPOINT>{{-10, 0}, {10, 3}}};
  Math::ClipPolyByRect(pi, CRectD{0, -5, 5, 5}, false);
  ASSERT_EQ(pi.size(), 1u);
  ASSERT_EQ(pi[0].size(), 2u);
  EXPECT_EQ(pi[0][0].x, 0);
  EXPECT_EQ(pi[0][0].y, 2);
  EXPECT_EQ(pi[0][1].x, 5);
  EXPECT_EQ(pi[0][1].y, 2);
  // Fractional sides: the cut moves inward to the first integer inside.
  Math::mpoly_base<tagPOINT> pf{Math::poly_base<tagPOINT>{{-10, 0}, {10, 3}}};
  Math::ClipPolyByRect(pf, CRectD{0.5, -5, 4.5, 5}, false);
  ASSERT_EQ(pf.size(), 1u);
  ASSERT_EQ(pf[0].size(), 2u);
  EXPECT_EQ(pf[0][0].x, 1);
  EXPECT_EQ(pf[0][1].x, 4);
  // Rounding that lands the cut on the inside end adds no repeated point.
  Math::mpoly_base<tagPOINT> pr{Math::poly_base<tagPOINT>{{5, 5}, {-10, 5}}};
  Math::ClipPolyByRect(pr, CRectD{4.2, 0, 10, 10}, false);
  EXPECT_TRUE(pr.empty());  // only (5,5) is left: one point is no piece
}

TEST(ClipPolyByRect, BadInputGivesDocumentedResults) {
  // Inverted or NaN rectangles hold nothing.
  for (CRectD r : {CRectD{10, 0, 0, 10}, CRectD{0, 10, 10, 0}, CRectD{kNaN, 0, 10, 10}}) {
    MPoly polys{Ring{{1, 1}, {2, 2}}, Ring{{5, 5}, {6, 5}, {6, 6}, {5, 5}}};
    Math::ClipPolyByRect(polys, r, true);
    EXPECT_TRUE(polys.empty());
  }
  // A zero-width rectangle keeps what runs along it.
  MPoly line{Ring{{3, -5}, {3, 15}}};
  Math::ClipPolyByRect(line, CRectD{3, 0, 3, 10}, false);
  ASSERT_EQ(line.size(), 1u);
  ExpectPts(line[0], {{3, 0}, {3, 10}});

  struct Case {
    char const* name;
    Ring in;
    bool keepClosed;
    std::vector<std::vector<CPointD>> want;
  };
  Case const cases[] = {
      {"empty", Ring{}, true, {}},
      {"one point inside", Ring{{1, 1}}, true, {}},
      {"repeated points inside are kept", Ring{{1, 1}, {1, 1}, {2, 2}}, false, {{{1, 1}, {1, 1}, {2, 2}}}},
      {"NaN vertex breaks the polyline", Ring{{1, 1}, {kNaN, kNaN}, {2, 2}, {3, 3}}, false, {{{2, 2}, {3, 3}}}},
      {"infinite vertex too", Ring{{1, 1}, {2, 1}, {kInf, 1}, {2, 2}, {3, 3}}, false, {{{1, 1}, {2, 1}}, {{2, 2}, {3, 3}}}},
      {"NaN vertex left out of a kept ring", Ring{{1, 1}, {2, 1}, {kNaN, 0}, {1, 2}, {1, 1}}, true,
       {{{1, 1}, {2, 1}, {1, 2}, {1, 1}}}},
      {"zero-area ring", Ring{{1, 1}, {2, 2}, {1, 1}}, true, {{{1, 1}, {2, 2}, {1, 1}}}},
      {"huge coordinates", Ring{{-1e308, 5}, {1e308, 5}}, false, {{{0, 5}, {10, 5}}}},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    MPoly polys{c.in};
    Math::ClipPolyByRect(polys, kBox, c.keepClosed);
    ASSERT_EQ(polys.size(), c.want.size());
    for (std::size_t i = 0; i < c.want.size(); ++i) ExpectPts(polys[i], c.want[i]);
  }
}

// The truth for an open polyline: each segment clipped on its own by its
// parameter range inside the rectangle (Liang-Barsky), consecutive clipped
// segments chained where one ends at its end and the next starts at its
// start. Returns the piece lengths.
std::vector<double> ParametricPieces(std::vector<CPointD> const& pts, CRectD const& r) {
  std::vector<double> pieces;
  bool open = false;
  for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
    CPointD const a = pts[i];
    CPointD const d = pts[i + 1] - a;
    double t0 = 0.0;
    double t1 = 1.0;
    double const p[4] = {-d.x, d.x, -d.y, d.y};
    double const q[4] = {a.x - r.left, r.right - a.x, a.y - r.top, r.bottom - a.y};
    bool empty = false;
    for (int k = 0; k < 4; ++k) {
      if (p[k] == 0.0) {
        empty |= q[k] < 0.0;
      } else if (p[k] < 0.0) {
        t0 = std::max(t0, q[k] / p[k]);
      } else {
        t1 = std::min(t1, q[k] / p[k]);
      }
    }
    if (empty || t0 >= t1) {
      open = false;
      continue;
    }
    double const len = (t1 - t0) * std::hypot(d.x, d.y);
    if (open && t0 == 0.0) {
      pieces.back() += len;
    } else {
      pieces.push_back(len);
    }
    open = t1 == 1.0;
  }
  return pieces;
}

TEST(ClipPolyByRect, OpenPiecesMatchParametricClippingOnRealLines) {
  std::mt19937 rng(4242);
  for (std::string const file : {"omap_forest_contours.xy", "gshhg_h_british_isles.xy", "ccitt2_centerlines.xy"}) {
    SCOPED_TRACE(file);
    auto const lines = polygon_oracle::Rings(file);
    CRectD ext{lines[0][0].x, lines[0][0].y, lines[0][0].x, lines[0][0].y};
    for (auto const& l : lines) {
      for (auto const& p : l) {
        ext = {std::min(ext.left, p.x), std::min(ext.top, p.y), std::max(ext.right, p.x), std::max(ext.bottom, p.y)};
      }
    }
    std::uniform_real_distribution<double> ux(ext.left, ext.right);
    std::uniform_real_distribution<double> uy(ext.top, ext.bottom);
    std::size_t totalPieces = 0;
    for (int k = 0; k < 6; ++k) {
      double const x0 = ux(rng), x1 = ux(rng), y0 = uy(rng), y1 = uy(rng);
      CRectD const r{std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1)};
      MPoly polys;
      std::vector<double> want;
      for (auto const& l : lines) {
        polys.push_back(l);
        auto const w = ParametricPieces(l, r);
        want.insert(want.end(), w.begin(), w.end());
      }
      Math::ClipPolyByRect(polys, r, false);
      ASSERT_EQ(polys.size(), want.size()) << "seed 4242, rectangle " << k;
      for (std::size_t i = 0; i < want.size(); ++i) {
        EXPECT_NEAR(polygon_oracle::Length(polys[i]), want[i], 1e-9 * (1.0 + want[i]));
        for (auto const& p : polys[i]) ASSERT_TRUE(InRect(p, r));
      }
      totalPieces += want.size();
    }
    EXPECT_GT(totalPieces, 20u);
  }
}

// A kept ring is the polygon clip: its area is the area of the ring's
// intersection with the rectangle, as Boost.Geometry computes it.
TEST(ClipPolyByRect, KeptRingsHaveTheAreaOfTheIntersection) {
  using Pt = bg::model::d2::point_xy<double>;
  using Poly = bg::model::polygon<Pt, false, true>;  // counter-clockwise, closed
  std::mt19937 rng(99);
  for (std::string const file : {"nc_counties.xy", "world_ne110m_countries.xy", "soho_buildings_crack.xy"}) {
    SCOPED_TRACE(file);
    auto const rings = polygon_oracle::Rings(file);
    CRectD ext{rings[0][0].x, rings[0][0].y, rings[0][0].x, rings[0][0].y};
    for (auto const& l : rings) {
      for (auto const& p : l) {
        ext = {std::min(ext.left, p.x), std::min(ext.top, p.y), std::max(ext.right, p.x), std::max(ext.bottom, p.y)};
      }
    }
    std::uniform_real_distribution<double> ux(ext.left, ext.right);
    std::uniform_real_distribution<double> uy(ext.top, ext.bottom);
    int cut = 0;
    for (int k = 0; k < 4; ++k) {
      double const x0 = ux(rng), x1 = ux(rng), y0 = uy(rng), y1 = uy(rng);
      CRectD const r{std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1)};
      bg::model::box<Pt> const box(Pt(r.left, r.top), Pt(r.right, r.bottom));
      for (auto const& ring : rings) {
        MPoly polys{ring};
        Math::ClipPolyByRect(polys, r, true);
        Poly poly;
        for (auto const& p : ring) bg::append(poly.outer(), Pt(p.x, p.y));
        bg::correct(poly);
        std::vector<Poly> parts;
        bg::intersection(poly, box, parts);
        double want = 0.0;
        for (auto const& part : parts) want += bg::area(part);
        double const ringArea = std::abs(polygon_oracle::Area(ring));
        if (polys.empty()) {
          EXPECT_NEAR(want, 0.0, 1e-9 * ringArea);
          continue;
        }
        ASSERT_EQ(polys.size(), 1u);
        cut += want < ringArea * (1 - 1e-9) && want > 0;
        EXPECT_NEAR(std::abs(polygon_oracle::Area(polys[0])), want, 1e-9 * ringArea);
        for (auto const& p : polys[0]) ASSERT_TRUE(InRect(p, r));
      }
    }
    EXPECT_GT(cut, 3);
  }
}

}  // namespace
