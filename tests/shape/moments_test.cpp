#include <math/moments.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "test_values.h"
#include "xy_reader.h"

#ifdef KMATH_TEST_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Ring = std::vector<CPointD>;
using M10 = std::array<double, 10>;
using M6 = std::array<double, 6>;
using H7 = std::array<double, 7>;
using kmath_test::kInf;
using kmath_test::kNaN;
constexpr int kP[10] = {0, 1, 0, 2, 1, 0, 3, 2, 1, 0}, kQ[10] = {0, 0, 1, 0, 1, 2, 0, 1, 2, 3};

// Copied out of the packed record in field order, so they can be indexed.
M10 Fields(Math::CRawMoments m) { return {m.m00, m.m10, m.m01, m.m20, m.m11, m.m02, m.m30, m.m21, m.m12, m.m03}; }
Math::CRawMoments Raw(Ring const& r) { return Math::CRawMoments(r.data(), static_cast<unsigned>(r.size())); }
Math::CHuMoments Hu(Ring const& r) { return Math::CHuMoments(Math::CRCMoments(Raw(r))); }
Math::CHuMoments Hu(H7 const& v) {
  Math::CHuMoments h;
  std::copy(v.begin(), v.end(), h.h);
  return h;
}

// The light records of a ring's area or a wire as {size, cx, cy, mu20, mu11, mu02}.
M6 Light(Ring const& r, bool wire) {
  Math::CEdgeMoments2 const e(r.data(), static_cast<unsigned>(r.size()));
  Math::CAreaMoments2 const a(r.data(), static_cast<unsigned>(r.size()));
  return wire ? M6{e.dLength, e.dCx, e.dCy, e.dMu20, e.dMu11, e.dMu02}
              : M6{a.dArea, a.dCx, a.dCy, a.dMu20, a.dMu11, a.dMu02};
}

// Signed moments by a triangle fan from the first vertex, each triangle by a
// quadrature exact to degree 3 (centroid weight -27/48, the barycentric
// points (0.6, 0.2, 0.2) 25/48 each).
M10 FanMoments(Ring const& r) {
  M10 m{};
  for (size_t i = 1; i + 1 < r.size(); ++i) {
    CPointD const a = r[0], b = r[i], c = r[i + 1];
    double const area = ((b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y)) / 2;
    CPointD const q[4] = {(a + b + c) / 3, a * 0.6 + (b + c) * 0.2, b * 0.6 + (a + c) * 0.2, c * 0.6 + (a + b) * 0.2};
    double const w[4] = {-27 * area / 48, 25 * area / 48, 25 * area / 48, 25 * area / 48};
    for (int j = 0; j < 4; ++j)
      for (int k = 0; k < 10; ++k) m[k] += w[j] * std::pow(q[j].x, kP[k]) * std::pow(q[j].y, kQ[k]);
  }
  return m;
}

Ring Transformed(Ring r, double angle, double scale, CPointD shift) {
  double const c = std::cos(angle) * scale, s = std::sin(angle) * scale;
  for (CPointD& p : r) p = CPointD{c * p.x - s * p.y + shift.x, s * p.x + c * p.y + shift.y};
  return r;
}

// London footprints are moved near the origin: moments about a far origin
// lose their digits to cancellation, whoever computes them.
TEST(PolygonMoments, RealOutlinesMatchTriangleFan) {
  struct Source {
    char const* name;
    CPointD shift;
  };
  for (Source const& src : {Source{"horse_crack.xy", {0, 0}}, Source{"coins_crack.xy", {0, 0}},
                            Source{"london_buildings.xy", {-529000, -181000}}}) {
    SCOPED_TRACE(src.name);
    for (Ring r : kmath_test::LoadPolylines(src.name)) {
      for (CPointD& p : r) p += src.shift;
      M10 const fan = FanMoments(r);
      if (std::abs(fan[0]) < 1.0) continue;
      double const sign = fan[0] < 0 ? -1.0 : 1.0, a = std::abs(fan[0]);
      double l = 1;
      for (CPointD const& p : r) l = std::max({l, std::abs(p.x), std::abs(p.y)});
      M10 const f = Fields(Raw(r));
      for (int k = 0; k < 10; ++k) EXPECT_NEAR(f[k], sign * fan[k], 1e-10 * a * std::pow(l, kP[k] + kQ[k])) << k;
    }
  }
}

TEST(RawMoments, QuirksAndDegenerateInput) {
  // Without the closing point the edge (2,4) -> (2,3) is missing: cross
  // products -3, 3 and 4 leave an area of 2, not 1.
  EXPECT_TRUE(Raw({{2, 3}, {3, 3}, {3, 4}, {2, 4}}).m00 == 2 && Raw({{2, 3}, {3, 3}, {3, 4}, {2, 4}, {2, 3}}).m00 == 1);
  // The default central record is zero with order 0 (the raw default is 3).
  EXPECT_TRUE(Math::CRCMoments().nOrder == 0 && Math::CRawMoments().nOrder == 3);
  // m11 is summed at every order, m20 from order 2, m03 from order 3.
  Math::CRawMoments one(1), three(3), light;
  one.AddPoint(CPoint(2, 3), 0.5);
  three.AddPoint(CPoint(2, 3), 0.5);
  EXPECT_TRUE(one.m11 == 3 && one.m20 == 0 && three.m20 == 2 && three.m03 == 13.5);
  light.AddPoint(CPoint(0, 0), 5e-8);  // m00 = 1e-7 < FLT_EPS: no central moments
  light.AddPoint(CPoint(2, 0), 5e-8);
  EXPECT_EQ(double{Math::CRCMoments(light).mu20}, 0.0);  // packed: copied before gtest binds it

  // Too few points, no area, an area of 5e-11 <= FLT_EPS, NaN, infinity.
  for (Ring const& r : std::vector<Ring>{{},
                                         {{1, 1}},
                                         {{0, 0}, {5, 5}},
                                         {{0, 0}, {1, 1}, {2, 2}, {0, 0}},
                                         {{0, 0}, {1e-5, 0}, {1e-5, 1e-5}, {0, 0}},
                                         {{0, 0}, {1, 0}, {kNaN, 1}, {0, 0}},
                                         {{0, 0}, {kInf, 0}, {1, 1}, {0, 0}}})
    EXPECT_TRUE(Raw(r).nOrder == 0 && Fields(Raw(r)) == M10{}) << r.size();
  EXPECT_TRUE(Math::CRawMoments(nullptr, 5).nOrder == 0 && Math::CAreaMoments1(nullptr, 4).dArea == 0 &&
              Math::CEdgeMoments2(nullptr, 4).dLength == 0);
}

TEST(CentralMoments, MeasuresOfEllipseAndTriangle) {
  // 20000 sides: the polygon's moments are the ellipse's to about 1e-8.
  Ring e;
  for (int i = 0; i <= 20000; ++i) e.push_back({3 * std::cos(M_PI * i / 10000), std::sin(M_PI * i / 10000)});
  // The triangle's ellipse likeness, 16 pi^2 / 108 > 1, folds to its
  // reciprocal. The right triangle's marginal: mu30 / mu20^1.5 = (1/270) /
  // (1/36)^1.5 = 0.8.
  Math::CRCMoments const m(Raw(Transformed(e, 0.3, 1.0, {5, -2}))), t(Raw({{0, 0}, {1, 0}, {0, 1}, {0, 0}}));
  double el[2], tr[2], ratio = 108 / (16 * M_PI * M_PI);  // AMI1 of a triangle over an ellipse's
  m.Descriptors(el[0], tr[0]);
  t.Descriptors(el[1], tr[1]);
  EXPECT_NEAR(m.Orientation(), 0.3, 1e-9);
  EXPECT_NEAR(m.PrimaryAxes().cx, 3.0, 1e-6);
  EXPECT_NEAR(m.Eccentricity(), 1.0 / 3, 1e-6);  // minor 1
  EXPECT_NEAR(t.Skewness().cy, 0.8, 1e-12);
  EXPECT_TRUE(std::abs(el[0] - 1) < 1e-6 && std::abs(tr[0] - ratio) < 1e-6 && std::abs(tr[1] - 1) < 1e-12 &&
              std::abs(el[1] - ratio) < 1e-12)
      << el[0] << " " << tr[0] << " " << el[1] << " " << tr[1];
}

TEST(HuMoments, MatchOpenCVAndStayInvariantUnderSimilarityOfRealOutline) {
  Ring const horse = kmath_test::LoadPolylines("horse_crack.xy").front();
  Math::CHuMoments const h0 = Hu(horse);
#ifdef KMATH_TEST_HAVE_OPENCV
  std::vector<cv::Point2f> contour;  // pixel corners: exact in float
  for (CPointD const& p : horse) contour.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y));
  double cvh[7];
  cv::HuMoments(cv::moments(contour), cvh);
  for (int k = 0; k < 7; ++k) EXPECT_NEAR(h0.h[k], cvh[k], 1e-9 * std::abs(cvh[k])) << k;
#endif
  // Rotated, scaled and moved: any part that is not invariant shows.
  Math::CHuMoments const h = Hu(Transformed(horse, -2.1, 2.5, {-55, 230}));
  for (int k = 0; k < 7; ++k) EXPECT_NEAR(h.h[k], h0.h[k], 1e-9 * std::abs(h0.h[k])) << k;
}

TEST(HuMoments, DifferenceMethodsAndTheirQuirks) {
  double const la = -std::log10(5e-5), lb = -std::log10(2e-4);  // |log| of the values times 10
  H7 const a{100, 1e-3}, b{10, 1e-2};  // logs (2, -3) and (1, -2); the zeros stay under the 1e-5 floor
  struct Row {
    char const* name;
    H7 a, b;
    int method;
    double expected;
  };
  for (Row const& r : {Row{"reciprocal logs", a, b, 0, 0.5 + 1.0 / 6}, Row{"log differences", a, b, 1, 2.0},
                       Row{"largest ratio, not the sum 8/15", a, b, 2, 1.0 / 3}, Row{"unknown method", a, b, 3, 0.0},
                       Row{"sign dropped", {0, 0, 0, -0.5}, {0, 0, 0, 0.5}, 1, 0.0},
                       Row{"one under: a decade up", {0, 0, 5e-6}, {0, 0, 2e-5}, 2, (la - lb) / (la + lb)},
                       Row{"still one under: as given", {0, 0, 5e-7}, {0, 0, 2e-5}, 2, 1.95e-5 / 2.05e-5},
                       Row{"log of 1 is 0: infinite", {1}, {2}, 0, kInf}}) {
    double const d = Math::Difference(Hu(r.a), Hu(r.b), r.method);
    EXPECT_TRUE(d == r.expected || std::abs(d - r.expected) < 1e-14) << r.name << ": " << d;
  }
}

// The right triangle: mu20 = 1/12 - 1/18, mu11 = 1/24 - 1/18. The bow tie's
// lobes (area 1/4, opposite senses) have centroids at x = 1/6 and 5/6:
// sum (x + x_prev) c = 6 (1/24 - 5/24) = -1, left undivided. The hourglass's
// lobes (crossing at (24/11, 6/11)) net area 0.4 and centroid (-16/3, 11/15),
// but inertia of both signs; the crossed quad's net mu20 = 1/108, mu02 =
// 19/108, mu11 = -47/216 have a negative determinant. Neither is a
// covariance: zeroed. A unit square's wire: the vertical sides add 2 * 1/4 to
// mu20, the horizontal ones 2 * 1/12. A wire without length sits at its first
// point.
TEST(LightMoments, AreaClosedImplicitlyWireOpenAndDegenerate) {
  struct Row {
    char const* name;
    bool wire;
    Ring r;
    M6 want;
  };  // trailing zeros left out of want
  for (Row const& k :
       {Row{"open clockwise square", false, {{2, 0}, {3, 0}, {3, -1}, {2, -1}}, {-1, 2.5, -0.5, 1.0 / 12, 0, 1.0 / 12}},
        Row{"right triangle", false, {{0, 0}, {1, 0}, {0, 1}}, {0.5, 1.0 / 3, 1.0 / 3, 1.0 / 36, -1.0 / 72, 1.0 / 36}},
        Row{"bow tie", false, {{0, 0}, {1, 1}, {1, 0}, {0, 1}}, {0, -1}},
        Row{"hourglass", false, {{0, 0}, {4, 1}, {4, 0}, {0, 1.2}}, {0.4, -16.0 / 3, 11.0 / 15}},
        Row{"crossed quad", false, {{0, 0}, {0, 1}, {2, 1}, {1, 3}}, {1.5, 11.0 / 9, 16.0 / 9}},
        Row{"pair", false, {{1, 2}, {3, 4}}, {}}, Row{"NaN", false, {{0, 0}, {1, 0}, {kNaN, 1}}, {}},
        Row{"square wire", true, {{-4, 7}, {-3, 7}, {-3, 8}, {-4, 8}, {-4, 7}}, {4, -3.5, 7.5, 2.0 / 3, 0, 2.0 / 3}},
        Row{"wire without length", true, {{3, -2}, {3, -2}}, {0, 3, -2}}, Row{"empty wire", true, {}, {}},
        Row{"NaN wire", true, {{0, 0}, {kNaN, 0}}, {}}}) {
    M6 const m = Light(k.r, k.wire);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(m[i], k.want[i], 1e-12) << k.name << " " << i;
  }
}

}  // namespace
