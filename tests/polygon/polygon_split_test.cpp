#include "polygon_oracle.h"

namespace kmath_test {
namespace {

TEST(SplitPoly, CutsAtEveryContactJoinsPiecesThatMeetAndSurvivesBadInput) {
  char const* const sq = "0 0, 10 0, 10 10, 0 10, 0 0";
  char const* const loop = "5 5, 15 5, 15 8, 5 8, 5 5";
  char const* const messy = "| 3 3 | 1 1, 1 1 | 0 0, 10 0, 10 10, 0 10, 0 0 | 20 0, nan 5, 20 10";
  // bdIn: boundaryInside. `in` and `out`: the pieces each result gains.
  struct Case {
    char const* name;
    char const* plg;
    char const* line;
    bool closed, bdIn;
    char const *in, *out;
  };
  Case const cases[] = {
      {"holes count even-odd", "0 0, 10 0, 10 10, 0 10, 0 0 | 4 4, 6 4, 6 6, 4 6, 4 4", "-5 5, 3 5, 15 5", false, true,
       "0 5, 3 5, 4 5 | 6 5, 10 5", "-5 5, 0 5 | 4 5, 6 5 | 10 5, 15 5"},
      {"a corner touched from outside: the halves join", sq, "-5 -5, 0 0, -5 5", false, true, "", "-5 -5, 0 0, -5 5"},
      {"through a corner", sq, "-5 -5, 5 5", false, true, "0 0, 5 5", "-5 -5, 0 0"},
      {"through a vertex lying on an edge", sq, "5 -5, 5 0, 5 5", false, true, "5 0, 5 5", "5 -5, 5 0"},
      {"within FLT_EPSILON of an edge is a touch", sq, "5 -5, 5 1e-8, 6 -5", false, true, "", "5 -5, 5 1e-8, 6 -5"},
      {"along an edge, boundaryInside", sq, "-5 0, 5 0, 5 5", false, true, "0 0, 5 0, 5 5", "-5 0, 0 0"},
      {"along an edge, not boundaryInside", sq, "-5 0, 5 0, 5 5", false, false, "5 0, 5 5", "-5 0, 0 0, 5 0"},
      {"all on it: the side is the second segment's", sq, "0 0, 0 10, 10 0", false, true, "0 0, 0 10, 10 0", ""},
      {"the first segment's midpoint is never asked", sq, "0 0, 10 10, 10 0", false, true, "", ""},
      {"closed: last piece joins the first", sq, loop, true, true, "10 8, 5 8, 5 5, 10 5", "10 5, 15 5, 15 8, 10 8"},
      {"open: the ends stay apart", sq, loop, false, true, "5 5, 10 5 | 10 8, 5 8, 5 5", "10 5, 15 5, 15 8, 10 8"},
      // Bad input. Degenerate contours and NaN vertices of the polygon are
      // passed over, but the point of the zero-length contour is boundary.
      {"no polygon: all outside", "", "0 0, 1 1", false, true, "", "0 0, 1 1"},
      {"a crossing line alternates", messy, "-5 5, 15 5", false, true, "0 5, 10 5", "-5 5, 0 5 | 10 5, 15 5"},
      {"starting on the zero-length contour", messy, "1 1, 2 2", false, true, "1 1, 2 2", ""},
      {"empty line: no side", messy, "", false, true, "", ""},
      {"one point: no segment", messy, "5 5", false, true, "5 5", ""},
      {"repeated", messy, "-5 5, -5 5, 0 5, 0 5, 5 5, 5 5", false, true, "0 5, 0 5, 5 5, 5 5", "-5 5, -5 5, 0 5"},
      {"a NaN vertex is boundary", sq, "-5 5, nan nan, 5 5, 15 5", false, false, "", "-5 5, nan nan, 5 5, 10 5, 15 5"},
  };
  for (Case const& c : cases) {
    MPoly in = Polys("100 100"), out = Polys("200 200");  // appended to, never touched
    Math::CSplitPoly1(CStdPlgn(Polys(c.plg)), c.closed)(R(c.line), in, out, c.bdIn);
    EXPECT_EQ(Text(in), Text(Polys("100 100 |" + std::string(c.in)))) << c.name;
    EXPECT_EQ(Text(out), Text(Polys("200 200 |" + std::string(c.out)))) << c.name;
  }
  CStdPlgn const plg(Polys(sq));
  Math::CSplitPoly1 moved(plg, false), split(std::move(moved));
  Math::mpoly_base<CPoint3D> in, out;
  // A moved-from splitter outputs nothing: `in` gains only the cut below.
  moved(Math::poly_base<CPoint3D>{{1, 1, 1}, {2, 2, 2}}, in, out, true);  // NOLINT(bugprone-use-after-move)
  split(Math::poly_base<CPoint3D>{{-5, 5, 0}, {15, 5, 20}}, in, out, true);
  ASSERT_EQ(Text(in), " 0 5, 10 5");
  EXPECT_DOUBLE_EQ(in[0][0].z, 5.0);
  EXPECT_DOUBLE_EQ(in[0][1].z, 15.0);
}

// Truths: the winding number for a point's side, the distance to the
// polygon's segments for "on the boundary". Quarter points of every piece
// away from the boundary lie on its result's side, every cut end lies on the
// boundary, and no length is lost.
void CheckSplit(char const* name, CStdPlgn const& plg, std::vector<Ring> const& lines, bool closed, bool bdIn) {
  SCOPED_TRACE(name);
  Math::CSplitPoly1 const split(plg, closed);
  int crossed = 0, samples = 0;
  for (Ring const& line : lines) {
    SCOPED_TRACE(testing::Message() << "line " << &line - lines.data());
    MPoly pieces[2];
    split(line, pieces[0], pieces[1], bdIn);
    crossed += !pieces[0].empty() && !pieces[1].empty();
    double total = 0.0;
    for (int side = 0; side < 2; ++side)
      for (Ring const& piece : pieces[side]) {
        ASSERT_GE(piece.size(), 2u);
        total += Length(piece);
        for (CPointD const& e : {piece.front(), piece.back()})
          ASSERT_TRUE(Side(e, plg, 1e-6) == 0 || Length({e, line[0]}) * Length({e, line.back()}) == 0);
        for (std::size_t i = 0; i + 1 < piece.size(); ++i)
          for (double t : {0.25, 0.5, 0.75}) {
            CPointD const p = piece[i] + (piece[i + 1] - piece[i]) * t;
            int const want = Side(p, plg, 1e-6);
            samples += want != 0;
            ASSERT_TRUE(want == 0 || want == (side == 0 ? 1 : -1)) << "p = " << p.x << " " << p.y;
          }
      }
    if (pieces[0].empty() && pieces[1].empty()) continue;  // on the boundary throughout
    EXPECT_NEAR(total, Length(line), 1e-9 * total);
  }
  EXPECT_TRUE(crossed > 10 && samples > 100) << crossed << " crossed, " << samples << " samples";
}

TEST(SplitPoly, PiecesLieOnTheirSideAndKeepTheLengthOnRealData) {
  auto const counties = Rings("nc_counties.xy");
  std::vector<Ring> plg, lines;
  for (std::size_t i = 0; i < counties.size(); ++i) (i % 3 == 0 ? plg : lines).push_back(counties[i]);
  CheckSplit("counties by counties: shared borders", CStdPlgn(plg), lines, true, true);
  std::mt19937 rng(31337);
  std::uniform_real_distribution<double> ux(-180, 180), uy(-60, 80);
  std::vector<Ring> walks(12, Ring(6));
  for (Ring& w : walks) std::generate(w.begin(), w.end(), [&] { return CPointD{ux(rng), uy(rng)}; });
  CheckSplit("countries by random lines", CStdPlgn(Rings("world_ne110m_countries.xy")), walks, false, false);
}

}  // namespace
}  // namespace kmath_test
