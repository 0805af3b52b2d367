#include <math/splines.h>

#include <algorithm>
#include <functional>

#include "polyline/splines_impl.h"
#include "polyline_test.h"

namespace polyline_test {
namespace {

using Math::CSpline;
using Math::CSplineItem;

double Dist(CPointD a, CPointD b) { return std::hypot(a.x - b.x, a.y - b.y); }
bool Near(CPointD a, CPointD b, double tol) { return Dist(a, b) <= tol; }

// Distance of p from the line through a and b.
double LineDist(CPointD a, CPointD b, CPointD p) {
  CPointD const d = b - a;
  return std::abs(d.x * (p.y - a.y) - d.y * (p.x - a.x)) / std::hypot(d.x, d.y);
}

// Blocks of a bundled file with between lo and hi points, at most `count`.
std::vector<Pts> Blocks(char const* file, size_t lo, size_t hi, size_t count) {
  std::vector<Pts> out;
  for (auto const& b : kmath_test::LoadXY(file))
    if (b.pts.size() >= lo && b.pts.size() <= hi && out.size() < count) out.push_back(b.pts);
  return out;
}

// The spline system written out in full from its definition (unit spacing:
// M[i-1] + 4 M[i] + M[i+1] = 6 (second difference), natural, clamped or
// periodic ends) and solved by dense Gaussian elimination with partial
// pivoting: nothing shared with the library's banded elimination.
Pts DenseSlopes(Pts const& p, CPointD const* tangent) {
  bool const closed = Dist(p.front(), p.back()) < 1e-12;
  size_t const k = closed ? p.size() - 1 : p.size();
  auto at = [&](long i) { return p[static_cast<size_t>((i + long(k)) % long(k))]; };
  Pts out(k);
  for (int coord = 0; coord < 2; ++coord) {
    std::vector<std::vector<double>> A(k, std::vector<double>(k + 1, 0.0));
    auto v = [&](CPointD q) { return coord == 0 ? q.x : q.y; };
    for (size_t i = 0; i < k; ++i) {
      bool const end = !closed && (i == 0 || i == k - 1);
      if (end && i == 0 && tangent) {
        A[0][0] = 2, A[0][1] = 1, A[0][k] = 6 * (v(p[1]) - v(p[0]) - v(*tangent));
      } else if (end) {
        A[i][i] = 1;
      } else {
        A[i][(i + k - 1) % k] += 1, A[i][i] += 4, A[i][(i + 1) % k] += 1;
        A[i][k] = 6 * (v(at(long(i) - 1)) - 2 * v(at(long(i))) + v(at(long(i) + 1)));
      }
    }
    for (size_t c = 0; c < k; ++c) {
      size_t piv = c;
      for (size_t r = c + 1; r < k; ++r)
        if (std::abs(A[r][c]) > std::abs(A[piv][c])) piv = r;
      std::swap(A[c], A[piv]);
      for (size_t r = c + 1; r < k; ++r) {
        double const f = A[r][c] / A[c][c];
        for (size_t q = c; q <= k; ++q) A[r][q] -= f * A[c][q];
      }
    }
    for (size_t c = k; c-- > 0;) {
      double s = A[c][k];
      for (size_t q = c + 1; q < k; ++q) s -= A[c][q] * (coord == 0 ? out[q].x : out[q].y);
      (coord == 0 ? out[c].x : out[c].y) = s / A[c][c];
    }
  }
  if (closed) out.push_back(out.front());
  return out;
}

// ---- one cubic piece ----

TEST(CSplineItem, PieceInterpolatesItsEndsAndDerivativesShiftTheCoefficients) {
  CPointD const p0{1, 2}, m0{0.5, -3}, p1{4, -1}, m1{-2, 1};
  CSplineItem const s = CSplineItem::Create(p0, m0, p1, m1);
  CSplineItem const d2 = s.Derivative(2), d3 = s.Derivative(3), d9 = s.Derivative(9);
  EXPECT_TRUE(Near(s(0), p0, 1e-15) && Near(s.Value(1), p1, 1e-14));
  EXPECT_TRUE(Near(d2(0), m0, 1e-15) && Near(d2(1), m1, 1e-14));
  EXPECT_TRUE(d3.c0.x == 6 * s.c3.x && d3.c0.y == 6 * s.c3.y && d3.c1.x == 0 && d3.c3.y == 0);
  EXPECT_TRUE(d9.c0.x == 0 && d9.c0.y == 0);
  // The operators act on all four coefficients alike: this is 3 u.
  CSplineItem const u({1, 1}, {2, 2}, {3, 3}, {4, 4});
  CSplineItem w = (u + u * 2.0 - (-u)) / 2.0;
  (w *= 3.0) /= 2.0;
  EXPECT_TRUE(w.c0.x == 3 && w.c1.y == 6 && w.c2.x == 9 && w.c3.y == 12);
}

// The arch S(t) = (t, 4 h t (1 - t)) over the chord (0,0)-(1,0): its
// height over a sub-chord of width w is h w^2 measured vertically, so
// h w^2 / sqrt(1 + slope^2) across it.
CSplineItem Arch(double h) { return CSplineItem({0, 0}, {1, 4 * h}, {0, -4 * h}, {0, 0}); }
// The S curve (t, t - 3 t^2 + 2 t^3): extremes of height 0.0962 at
// t = (3 -+ sqrt 3) / 6, on either side of the chord.
CSplineItem const kS({0, 0}, {1, 1}, {0, -3}, {0, 2});

TEST(CSplineItem, DeviationAndAdaptiveParametersMatchTheClosedForms) {
  EXPECT_NEAR(Arch(1).Deviation(0, 1), 1.0, 1e-15);
  EXPECT_NEAR(Arch(1).Deviation(0, 0.5), 0.25 / std::sqrt(5.0), 1e-15);
  EXPECT_NEAR(kS.Deviation(0, 1), std::sqrt(3.0) / 18, 1e-15);
  EXPECT_EQ(CSplineItem({0, 0}, {3, 4}, {0, 0}, {0, 0}).Deviation(0, 1), 0.0);  // straight
  EXPECT_EQ(Arch(1).Deviation(0.5, 0.5), 0.0);                                   // no chord
  EXPECT_EQ(Arch(1).Deviation(0, 1e-8), 0.0);  // chord 4e-8, below the single-precision epsilon

  // Arch, tol 0.1: 1 -> split at 0.5; [0, 0.5] is 0.25 / sqrt 5 = 0.112
  // high -> split at 0.25 (re-examined, not skipped); the quarters are
  // 0.0625 / sqrt 10 and 0.0625 / sqrt 2 high: kept. S curve, tol 0.09:
  // both extremes count, so three equal parts at once; the parts are 0.054
  // and 0.0036 high.
  struct Case { char const* name; CSplineItem s; double tol; std::vector<double> want; } const cases[] = {
      {"arch", Arch(1), 0.1, {0, 0.25, 0.5, 0.75, 1}},
      {"S curve", kS, 0.09, {0, 1.0 / 3, 2.0 / 3, 1}},
      {"within tolerance", Arch(1), 1.5, {0, 1}},
      {"closed loop: no chord, stop at once", CSplineItem({0, 0}, {1, 1}, {-1, -1}, {0, 0}), 1e-9, {0, 1}},
      {"NaN tolerance", Arch(1), kNaN, {0, 1}},
  };
  for (Case const& c : cases) {
    std::vector<double> params{42, 43, 44};
    EXPECT_EQ(c.s.GetParams(params, c.tol), int(c.want.size())) << c.name;
    ASSERT_EQ(params.size(), c.want.size()) << c.name;
    for (size_t i = 0; i < params.size(); ++i) EXPECT_NEAR(params[i], c.want[i], 1e-15) << c.name << " " << i;
  }
}

TEST(CSplineItem, BuildCurveStepsByAdditionAndReplacesTheLastSample) {
  CSplineItem const line({0, 0}, {10, 0}, {0, 0}, {0, 0});  // S(t) = (10 t, 0)
  auto xs = [&](double step) {
    Pts out{{7, 7}};
    line.BuildCurve(out, step);
    std::vector<double> x;
    for (CPointD p : out) x.push_back(p.x);
    return x;
  };
  // Step 4: samples at 0, 4, 8; the 8 is overwritten by the end.
  EXPECT_EQ(xs(4), (std::vector<double>{0, 4, 10}));
  EXPECT_EQ(xs(2.5), (std::vector<double>{0, 2.5, 5, 7.5, 10}));
  EXPECT_EQ(xs(20), (std::vector<double>{0, 10}));
  // dt = 0.1 summed: the eleventh sample (t = 0.9999999999999999) still
  // counts and is replaced by S(1); the ninth is 10 * (0.1 added 8 times).
  std::vector<double> const x = xs(1);
  double t = 0;
  for (int k = 0; k < 8; ++k) t += 0.1;
  EXPECT_TRUE(x.size() == 11 && x[8] == 10 * t && x[8] != 8.0 && x[10] == 10.0);

  for (double bad : {0.0, -1.0, kNaN, 1e-300}) EXPECT_EQ(xs(bad), std::vector<double>{7}) << bad;
  Pts out{{7, 7}};
  CSplineItem().BuildCurve(out, 1.0);  // no chord
  EXPECT_TRUE(out.empty());
}

// ---- whole splines ----

TEST(CSpline, SlopesSolveTheSplineSystemWithNaturalTangentAndCyclicEnds) {
  CPointD const tangent{0.3, -0.2};
  struct Set { char const* file; bool withTangent; } const sets[] = {
      {"nc_counties.xy", false},           // closed rings: cyclic
      {"ccitt2_centerlines.xy", false},    // open: natural ends
      {"ccitt2_centerlines.xy", true},     // open: tangent start, natural finish
      {"omap_forest_contours.xy", true},
  };
  int checked = 0;
  for (Set const& s : sets) {
    for (Pts const& p : Blocks(s.file, 4, 250, 6)) {
      CSpline sp;
      ASSERT_TRUE(sp.Create(p, s.withTangent ? &tangent : nullptr));
      Pts const want = DenseSlopes(p, s.withTangent ? &tangent : nullptr);
      ASSERT_EQ(sp.slopes.size(), p.size());
      ASSERT_TRUE(Same(sp.points, p));
      double scale = 1;
      for (CPointD m : want) scale = std::max({scale, std::abs(m.x), std::abs(m.y)});
      for (size_t i = 0; i < p.size(); ++i)
        ASSERT_TRUE(Near(sp.slopes[i], want[i], 1e-10 * scale)) << s.file << " vertex " << i;
      ++checked;
    }
  }
  EXPECT_EQ(checked, 24);
}

// Position, first and second derivative agree where two pieces meet, at
// every inner vertex and (on rings) at the closing one; open ends are
// natural, and a start tangent sets S'(0) while the finish stays natural.
TEST(CSpline, IsTwiceContinuouslyDifferentiableOnRealOutlines) {
  int rings = 0, open = 0;
  for (char const* file : {"horse_chain.xy", "coins_chain.xy", "ccitt2_centerlines.xy", "gshhg_h_british_isles.xy"}) {
    for (Pts const& p : Blocks(file, 4, 5000, 40)) {
      bool const closed = Dist(p.front(), p.back()) < 1e-12;
      CPointD const tangent{1, 1};
      for (bool withTangent : {false, true}) {
        if (withTangent && closed) continue;
        CSpline sp;
        ASSERT_TRUE(sp.Create(p, withTangent ? &tangent : nullptr)) << file;
        double scale = 1;
        for (size_t i = 0; i < p.size(); ++i)
          scale = std::max({scale, std::abs(p[i].x), std::abs(p[i].y), std::abs(sp.slopes[i].x), std::abs(sp.slopes[i].y)});
        double const tol = 1e-9 * scale;
        unsigned const n = sp.Count();
        for (unsigned i = 0; i < n; ++i) {
          CSplineItem const s = sp.Item(i);
          // The ring's last piece meets the first one at the closing point.
          unsigned const next = i + 1 < n ? i + 1 : 0;
          if (i + 1 == n && !closed) break;
          CSplineItem const t = sp.Item(next);
          ASSERT_TRUE(Near(s(1), t(0), tol)) << file << " " << i;
          ASSERT_TRUE(Near(s.Derivative(1)(1), t.Derivative(1)(0), tol)) << file << " " << i;
          ASSERT_TRUE(Near(s.Derivative(2)(1), t.Derivative(2)(0), tol)) << file << " " << i;
        }
        if (!closed) {
          EXPECT_TRUE(Near(sp.Item(n - 1).Derivative(2)(1), {0, 0}, tol));
          if (withTangent)
            EXPECT_TRUE(Near(sp.Item(0).Derivative(1)(0), tangent, tol));
          else
            EXPECT_TRUE(Near(sp.Item(0).Derivative(2)(0), {0, 0}, tol));
        }
        (closed ? rings : open)++;
      }
    }
  }
  EXPECT_GT(rings, 40);
  EXPECT_GT(open, 40);
}

TEST(CSpline, SmallCasesBoundsAndFailures) {
  // Three points: M1 = 6 (P0 - 2 P1 + P2) / 4 between natural ends.
  CSpline sp;
  ASSERT_TRUE(sp.Create({{0, 0}, {1, 2}, {3, 1}}));
  EXPECT_TRUE(Same(sp.slopes, {{0, 0}, {1.5, -4.5}, {0, 0}}));

  // The unit square ring: second differences d = (1,1), (-1,1), (-1,-1),
  // (1,-1); neighbours cancel, so 4 M = 6 d and M = 1.5 d, the last M again
  // the first.
  Pts const sq = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
  ASSERT_TRUE(sp.Create(sq));
  Pts const m = {{1.5, 1.5}, {-1.5, 1.5}, {-1.5, -1.5}, {1.5, -1.5}, {1.5, 1.5}};
  ASSERT_EQ(sp.slopes.size(), 5u);
  for (size_t i = 0; i < 5; ++i) EXPECT_TRUE(Near(sp.slopes[i], m[i], 1e-15)) << i;
  EXPECT_TRUE(std::memcmp(&sp.slopes[0], &sp.slopes[4], sizeof(CPointD)) == 0);

  // Points and Slopes never hand out the last entry; Item beyond the pieces
  // is the zero item.
  EXPECT_TRUE(sp.Count() == 4 && sp.Points(3) == &sp.points[3] && sp.Slopes(3) == &sp.slopes[3]);
  EXPECT_TRUE(sp.Points(4) == nullptr && sp.Slopes(4) == nullptr && sp.Points(~0u) == nullptr);
  CSplineItem const beyond = sp.Item(4);
  EXPECT_TRUE(beyond.c0.x == 0 && beyond.c1.y == 0 && beyond.c3.x == 0);
  EXPECT_TRUE(Near(sp.Item(3)(1), {0, 0}, 1e-15));

  // Failures leave the spline empty, whatever it held before.
  CPointD const nanTangent{kNaN, 0};
  struct Case { char const* name; Pts p; CPointD const* tangent; } const bad[] = {
      {"two points", {{0, 0}, {1, 1}}, nullptr},
      {"closed with 3 points", {{0, 0}, {1, 1}, {0, 0}}, nullptr},
      {"empty", {}, nullptr},
      {"NaN point", {{0, 0}, {kNaN, 1}, {2, 0}}, nullptr},
      {"infinite point", {{0, 0}, {1, kInf}, {2, 0}}, nullptr},
      {"NaN tangent", {{0, 0}, {1, 1}, {2, 0}}, &nanTangent},
  };
  for (Case const& c : bad) {
    ASSERT_TRUE(sp.Create(sq));
    EXPECT_FALSE(sp.Create(c.p, c.tangent)) << c.name;
    EXPECT_TRUE(sp.Empty() && sp.slopes.empty() && sp.Count() == 0 && !sp.Points(0) && !sp.Slopes(0)) << c.name;
  }
}

// The elimination reports a vanishing pivot instead of dividing by it, with
// and without the corner terms; the spline's own systems never have one.
TEST(CSpline, SingularSystemsFailWithoutWriting) {
  using Math::spline_detail::SolveTridiagonal;
  Pts const r = {{1, 1}, {2, 2}, {3, 3}};
  Pts x = {{9, 9}};
  EXPECT_FALSE(SolveTridiagonal({0, 1, 1}, {0, 4, 4}, {1, 1, 0}, r, x));        // first pivot 0
  EXPECT_FALSE(SolveTridiagonal({0, 1, 1}, {1, 1, 4}, {1, 1, 0}, r, x));        // second pivot 1 - 1
  EXPECT_FALSE(SolveTridiagonal({1, 1, 1}, {1, 1, 1}, {1, 1, 1}, r, x));        // cyclic, all rows equal
  // Cyclic [[1,1,2],[1,2,1],[2,1,5]]: only the last pivot, 5 - 4 - 1, vanishes.
  EXPECT_FALSE(SolveTridiagonal({2, 1, 1}, {1, 2, 5}, {1, 1, 2}, r, x));
  EXPECT_TRUE(Same(x, {{9, 9}}));
  // A cyclic 3 x 3 against its dense solution: [[4,1,2],[1,4,1],[3,1,4]].
  ASSERT_TRUE(SolveTridiagonal({2, 1, 1}, {4, 4, 4}, {1, 1, 3}, r, x));
  for (size_t i = 0; i < 3; ++i) {
    double const row[3][3] = {{4, 1, 2}, {1, 4, 1}, {3, 1, 4}};
    EXPECT_NEAR(row[i][0] * x[0].x + row[i][1] * x[1].x + row[i][2] * x[2].x, r[i].x, 1e-14);
  }
}

// ---- densification ----

// The output points of one input segment: from its first vertex up to (not
// including) its second, found by walking the output.
std::vector<Pts> SegmentRuns(Pts const& in, Pts const& out) {
  std::vector<Pts> runs;
  size_t k = 0;
  for (size_t i = 0; i + 1 < in.size(); ++i) {
    Pts run;
    while (k < out.size() && !(Same({out[k]}, {in[i + 1]}) && !run.empty())) run.push_back(out[k++]);
    runs.push_back(run);
  }
  return runs;
}

TEST(ReduceToSpline, FixedCountKeepsEveryVertexWithKPointsAfterIt) {
  Pts const in = Blocks("horse_chain.xy", 100, 5000, 1)[0];
  Pts out = in;
  ASSERT_EQ(Math::ReduceToSpline(out, 3), 1);
  ASSERT_EQ(out.size(), in.size() + (in.size() - 1) * 3);
  for (size_t i = 0; i < in.size(); ++i) ASSERT_TRUE(Same({out[i * 4]}, {in[i]})) << i;
}

// Every curve point between two consecutive output points lies within the
// tolerance of their line. The curve is sampled densely and each output
// point's parameter found by search, independently of the subdivision.
TEST(ReduceToSpline, AdaptivePointsMeetTheToleranceOnEverySegment) {
  for (char const* file : {"horse_chain.xy", "ccitt2_centerlines.xy"}) {
    for (Pts const& in : Blocks(file, 20, 5000, 3)) {
      CSpline sp;
      ASSERT_TRUE(sp.Create(in));
      for (double tol : {0.02, 0.2}) {
        Pts out = in;
        int const rc = Math::ReduceToSpline(out, tol);
        ASSERT_EQ(rc, out.size() > in.size() ? 1 : 0) << file;
        std::vector<Pts> const runs = SegmentRuns(in, out);
        ASSERT_EQ(runs.size() + 0, in.size() - 1);
        size_t total = 1;
        for (size_t i = 0; i < runs.size(); ++i) {
          total += runs[i].size();
          CSplineItem const s = sp.Item(unsigned(i));
          auto nearest = [&](CPointD q, double from) {
            double best = from, bd = kInf;
            for (int g = 0; g <= 4000; ++g) {
              double const t = from + (1 - from) * g / 4000.0;
              if (Dist(s(t), q) < bd) bd = Dist(s(t), q), best = t;
            }
            return best;
          };
          Pts pts = runs[i];
          pts.push_back(in[i + 1]);
          double t0 = 0;
          for (size_t j = 1; j < pts.size(); ++j) {
            double const t1 = j + 1 == pts.size() ? 1.0 : nearest(pts[j], t0);
            for (int g = 1; g < 200; ++g) {
              double const t = t0 + (t1 - t0) * g / 200.0;
              ASSERT_LE(LineDist(pts[j - 1], pts[j], s(t)), tol * (1 + 1e-6) + 1e-9)
                  << file << " tol " << tol << " segment " << i << " part " << j;
            }
            t0 = t1;
          }
        }
        EXPECT_EQ(total, out.size());
      }
    }
  }
}

// Worked-out results and bad input (no `out`: the polyline must come back
// bit for bit as it went in).
TEST(ReduceToSpline, SmallCasesAndBadInputWithTheReportedResult) {
  using Fn = std::function<int(Pts&)>;
  auto count = [](int k) -> Fn { return [k](Pts& p) { return Math::ReduceToSpline(p, k); }; };
  auto adaptive = [](double tol) -> Fn { return [tol](Pts& p) { return Math::ReduceToSpline(p, tol); }; };
  auto smooth = [](double step) -> Fn { return [step](Pts& p) { return Math::SplineSmoothing(p, step); }; };
  Pts const three = {{0, 0}, {1, 1}, {2, 0}}, two = {{0, 0}, {1, 1}}, nan = {{0, 0}, {kNaN, 1}, {2, 0}};
  // Collinear and evenly spaced: every M is 0 and the pieces are straight.
  Pts const even = {{0, 0}, {3, 0}, {6, 0}};
  struct Case { char const* name; Pts in; Fn fn; int rc; Pts out; } const cases[] = {
      {"count 1 on a straight run: midpoints", even, count(1), 1, {{0, 0}, {1.5, 0}, {3, 0}, {4.5, 0}, {6, 0}}},
      {"step 1.5 on chords of 3: t = 0.5 only", even, smooth(1.5), 1, {{0, 0}, {1.5, 0}, {3, 0}, {4.5, 0}, {6, 0}}},
      {"k = 0", three, count(0), 0, {}},
      {"k < 0", three, count(-2), 0, {}},
      {"count, two points", two, count(3), 0, {}},
      {"count, one point", {{1, 1}}, count(3), 0, {}},
      {"count, NaN", nan, count(1), -1, {}},
      {"tol 0", three, adaptive(0.0), 0, {}},
      {"tol < 0", three, adaptive(-1.0), 0, {}},
      {"tol NaN", three, adaptive(kNaN), 0, {}},
      {"adaptive, two points", two, adaptive(0.1), 0, {}},
      {"adaptive, NaN", nan, adaptive(0.1), -1, {}},
      {"adaptive, straight: nothing to add", even, adaptive(0.1), 0, {}},
      {"step 0", three, smooth(0.0), 0, {}},
      {"step < 0", three, smooth(-1.0), 0, {}},
      {"step NaN", three, smooth(kNaN), 0, {}},
      {"step lost when added to 1", three, smooth(1e-300), 0, {}},
      {"step longer than every segment", three, smooth(5.0), 0, {}},
      {"smoothing, two points", two, smooth(0.1), 0, {}},
      {"smoothing, infinite point", {{0, 0}, {kInf, 1}, {2, 0}}, smooth(0.1), -1, {}},
  };
  for (Case const& c : cases) {
    Pts p = c.in;
    EXPECT_EQ(c.fn(p), c.rc) << c.name;
    EXPECT_TRUE(Same(p, c.out.empty() ? c.in : c.out)) << c.name;
  }
  // A repeated vertex gets nothing in its zero-length segment.
  Pts const in = {{0, 0}, {2, 1}, {2, 1}, {4, 0}, {6, 2}};
  CPointD const tangent{1, 0};
  Pts p = in;
  ASSERT_EQ(Math::SplineSmoothing(p, 0.5, &tangent), 1);
  std::vector<Pts> const runs = SegmentRuns(in, p);
  EXPECT_TRUE(runs[0].size() > 1 && runs[1].size() == 1 && runs[2].size() > 1 && runs[3].size() > 1);
}

}  // namespace
}  // namespace polyline_test
