#include <math/moments.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "xy_reader.h"

#ifdef KMATH_TEST_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Ring = std::vector<CPointD>;

// Moments m00 .. m03 in the record's field order, copied out of the packed
// record so they can be indexed.
std::array<double, 10> Fields(Math::CRawMoments const& m) {
  return {m.m00, m.m10, m.m01, m.m20, m.m11, m.m02, m.m30, m.m21, m.m12, m.m03};
}
constexpr int kDegree[10] = {0, 1, 1, 2, 2, 2, 3, 3, 3, 3};
constexpr int kPx[10] = {0, 1, 0, 2, 1, 0, 3, 2, 1, 0};

// Moments of a ring by a triangle fan from its first vertex, each triangle
// integrated with a quadrature exact to degree 3 (centroid weight -27/48,
// three points at barycentric (0.6, 0.2, 0.2) weight 25/48). Signed: a
// clockwise ring gives negative values.
std::array<double, 10> FanMoments(Ring const& r) {
  std::array<double, 10> m{};
  auto add = [&m](double w, CPointD const& p) {
    for (int k = 0; k < 10; ++k) {
      m[k] += w * std::pow(p.x, kPx[k]) * std::pow(p.y, kDegree[k] - kPx[k]);
    }
  };
  for (size_t i = 1; i + 1 < r.size(); ++i) {
    CPointD const a = r[0], b = r[i], c = r[i + 1];
    double const area = ((b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y)) / 2;
    add(-27.0 / 48 * area, (a + b + c) / 3);
    add(25.0 / 48 * area, a * 0.6 + b * 0.2 + c * 0.2);
    add(25.0 / 48 * area, a * 0.2 + b * 0.6 + c * 0.2);
    add(25.0 / 48 * area, a * 0.2 + b * 0.2 + c * 0.6);
  }
  return m;
}

double Reach(Ring const& r) {
  double l = 1;
  for (CPointD const& p : r) l = std::max({l, std::abs(p.x), std::abs(p.y)});
  return l;
}

Ring Transformed(Ring r, double angle, double scale, CPointD shift, bool mirror = false) {
  double const c = std::cos(angle) * scale, s = std::sin(angle) * scale;
  for (CPointD& p : r) {
    double const x = mirror ? -p.x : p.x;
    p = CPointD{c * x - s * p.y + shift.x, s * x + c * p.y + shift.y};
  }
  return r;
}

// Foreground pixels of a binary PBM (P4) of the bundled data.
std::vector<CPoint> MaskPixels(std::string const& name) {
  std::ifstream in(kmath_test::DataPath(name), std::ios::binary);
  std::string magic;
  in >> magic;
  int dims[2] = {0, 0};
  for (int got = 0; got < 2;) {
    in >> std::ws;
    if (in.peek() == '#') {
      std::string skip;
      std::getline(in, skip);
    } else {
      in >> dims[got++];
    }
  }
  in.get();
  int const w = dims[0], h = dims[1], rowBytes = (w + 7) / 8;
  std::vector<char> bits((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<CPoint> px;
  if (magic != "P4" || static_cast<int>(bits.size()) < rowBytes * h) return px;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      if ((static_cast<unsigned char>(bits[y * rowBytes + x / 8]) >> (7 - x % 8)) & 1) px.emplace_back(x, y);
    }
  }
  return px;
}

Ring UnitSquare(CPointD shift = {0, 0}) {
  return {CPointD{0, 0} + shift, CPointD{1, 0} + shift, CPointD{1, 1} + shift, CPointD{0, 1} + shift,
          CPointD{0, 0} + shift};
}

TEST(RawMoments, UnitSquareInEitherOrientation) {
  Ring ccw = UnitSquare();
  Ring cw(ccw.rbegin(), ccw.rend());
  for (Ring const* r : {&ccw, &cw}) {
    Math::CRawMoments const m(r->data(), static_cast<unsigned>(r->size()));
    EXPECT_EQ(m.nOrder, 3);
    EXPECT_TRUE(m.IsValid());
    // Integrals of x^p y^q over [0,1]^2 are 1 / ((p+1)(q+1)).
    std::array<double, 10> const f = Fields(m);
    for (int k = 0; k < 10; ++k) EXPECT_NEAR(f[k], 1.0 / ((kPx[k] + 1) * (kDegree[k] - kPx[k] + 1)), 1e-15) << k;
    EXPECT_DOUBLE_EQ(m.Centroid().x, 0.5);
    EXPECT_DOUBLE_EQ(m.Centroid().y, 0.5);
    Math::CRCMoments const rc(m);
    EXPECT_NEAR(rc.mu20, 1.0 / 12, 1e-15);
    EXPECT_NEAR(rc.mu02, 1.0 / 12, 1e-15);
    EXPECT_NEAR(rc.mu11, 0.0, 1e-15);
    EXPECT_NEAR(rc.mu30, 0.0, 1e-15);
    EXPECT_NEAR(rc.mu21, 0.0, 1e-15);
  }
}

TEST(RawMoments, OpenRingLacksItsClosingEdge) {
  // Away from the origin the missing edge (2,4) -> (2,3) carries area.
  Ring closed = UnitSquare({2, 3});
  Ring open(closed.begin(), closed.end() - 1);
  Math::CRawMoments const mc(closed.data(), 5);
  Math::CRawMoments const mo(open.data(), 4);
  EXPECT_DOUBLE_EQ(mc.m00, 1.0);
  // Cross products of the three edges left: -3, 3 and 4, so m00 = 4 / 2.
  EXPECT_DOUBLE_EQ(mo.m00, 2.0);
}

TEST(RawMoments, DegenerateInputGivesEmptyOrderZeroRecord) {
  double const nan = std::numeric_limits<double>::quiet_NaN();
  double const inf = std::numeric_limits<double>::infinity();
  std::vector<Ring> const cases = {
      {},
      {{1, 1}},
      {{0, 0}, {5, 5}},
      {{0, 0}, {1, 1}, {2, 2}, {0, 0}},                      // collinear: no area
      {{0, 0}, {1e-5, 0}, {1e-5, 1e-5}, {0, 0}},              // area 5e-11 <= FLT_EPS
      {{0, 0}, {1, 0}, {nan, 1}, {0, 0}},
      {{0, 0}, {inf, 0}, {1, 1}, {0, 0}},
  };
  for (Ring const& r : cases) {
    Math::CRawMoments const m(r.data(), static_cast<unsigned>(r.size()));
    EXPECT_EQ(m.nOrder, 0) << r.size();
    for (double v : Fields(m)) EXPECT_EQ(v, 0.0);
    EXPECT_FALSE(m.IsValid());
  }
  Math::CRawMoments const none(nullptr, 5);
  EXPECT_EQ(none.nOrder, 0);

  // The default central record is zero throughout, its order included, and
  // central moments of an invalid record are not computed.
  Math::CRCMoments const rc;
  EXPECT_EQ(rc.nOrder, 0);
  // Packed doubles: copied (double{...}) before gtest binds a reference.
  EXPECT_EQ(double{rc.mu20}, 0.0);
  Math::CRawMoments raw;
  EXPECT_EQ(raw.nOrder, 3);
  raw.AddPoint(CPoint(4, 5), 1e-9);
  Math::CRCMoments const tiny(raw);
  EXPECT_EQ(tiny.nOrder, 3);
  EXPECT_EQ(double{tiny.mu20}, 0.0);
  EXPECT_EQ(double{tiny.mu11}, 0.0);
}

TEST(RawMoments, AddPointAccumulatesOnlyItsOrder) {
  for (unsigned char order : {0, 1, 2, 3}) {
    Math::CRawMoments m(order);
    m.AddPoint(CPoint(2, 3), 0.5);
    m.AddPoint(CPoint(-1, 4), 2.0);
    EXPECT_EQ(m.nOrder, order);
    EXPECT_DOUBLE_EQ(m.m00, 2.5);
    EXPECT_DOUBLE_EQ(m.m10, 0.5 * 2 + 2.0 * -1);
    EXPECT_DOUBLE_EQ(m.m01, 0.5 * 3 + 2.0 * 4);
    EXPECT_DOUBLE_EQ(m.m11, 0.5 * 6 + 2.0 * -4);  // even at orders 0 and 1
    EXPECT_DOUBLE_EQ(m.m20, order > 1 ? 0.5 * 4 + 2.0 * 1 : 0.0);
    EXPECT_DOUBLE_EQ(m.m02, order > 1 ? 0.5 * 9 + 2.0 * 16 : 0.0);
    EXPECT_DOUBLE_EQ(m.m30, order > 2 ? 0.5 * 8 + 2.0 * -1 : 0.0);
    EXPECT_DOUBLE_EQ(m.m21, order > 2 ? 0.5 * 12 + 2.0 * 4 : 0.0);
    EXPECT_DOUBLE_EQ(m.m12, order > 2 ? 0.5 * 18 + 2.0 * -16 : 0.0);
    EXPECT_DOUBLE_EQ(m.m03, order > 2 ? 0.5 * 27 + 2.0 * 64 : 0.0);
  }
}

// Real outlines for the polygon and area moments. London footprints are
// moved near the origin: moments about a far origin lose their digits to
// cancellation, whoever computes them.
struct Source {
  char const* name;
  CPointD shift;
};
constexpr Source kOutlines[] = {
    {"horse_crack.xy", {0, 0}}, {"coins_crack.xy", {0, 0}}, {"london_buildings.xy", {-529000, -181000}}};

// Against the fan quadrature, and OpenCV's contour moments where available.
TEST(RawMoments, RealOutlinesMatchTriangleFanQuadrature) {
  int checked = 0;
  for (Source const& src : kOutlines) {
    SCOPED_TRACE(src.name);
    for (Ring r : kmath_test::LoadPolylines(src.name)) {
      for (CPointD& p : r) p += src.shift;
      std::array<double, 10> fan = FanMoments(r);
      if (std::abs(fan[0]) < 1.0) continue;
      double const sign = fan[0] < 0 ? -1.0 : 1.0;
      Math::CRawMoments const m(r.data(), static_cast<unsigned>(r.size()));
      ASSERT_EQ(m.nOrder, 3);
      std::array<double, 10> const f = Fields(m);
      double const l = Reach(r);
      for (int k = 0; k < 10; ++k) {
        double const scale = std::abs(fan[0]) * std::pow(l, kDegree[k]);
        EXPECT_NEAR(f[k], sign * fan[k], 1e-10 * scale) << "ring " << checked << " moment " << k;
      }
#ifdef KMATH_TEST_HAVE_OPENCV
      if (std::string(src.name) != "london_buildings.xy") {  // pixel corners: exact in float
        std::vector<cv::Point2f> contour;
        for (CPointD const& p : r) contour.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y));
        cv::Moments const cm = cv::moments(contour);
        double const cvm[10] = {cm.m00, cm.m10, cm.m01, cm.m20, cm.m11, cm.m02, cm.m30, cm.m21, cm.m12, cm.m03};
        for (int k = 0; k < 10; ++k) {
          EXPECT_NEAR(f[k], cvm[k], 1e-10 * std::abs(fan[0]) * std::pow(l, kDegree[k])) << "opencv " << k;
        }
      }
#endif
      ++checked;
    }
  }
  EXPECT_GT(checked, 150);
}

// Summing unit-pixel points with AddPoint and integrating the pixel-boundary
// outline of the same mask describe the same set: pixel (x, y) is the square
// [x, x+1] x [y, y+1], so the areas agree, the centroids differ by half a
// pixel, mu20 and mu02 by m00 / 12 (a unit square's own inertia) and mu11
// and the third order (symmetric squares) not at all.
TEST(RawMoments, MaskPixelsAgreeWithTheirTracedOutline) {
  for (std::string const base : {"horse", "coins"}) {
    SCOPED_TRACE(base);
    std::vector<CPoint> const px = MaskPixels(base + "_mask.pbm");
    ASSERT_FALSE(px.empty());
    Math::CRawMoments pixels;
    for (CPoint const& p : px) pixels.AddPoint(p, 1.0);

    std::array<double, 10> sum{};
    for (auto const& block : kmath_test::LoadXY(base + "_crack.xy")) {
      Math::CRawMoments const m(block.pts.data(), static_cast<unsigned>(block.pts.size()));
      ASSERT_EQ(m.nOrder, 3);
      double const sign = block.Attr("ring") == "hole" ? -1.0 : 1.0;
      std::array<double, 10> const f = Fields(m);
      for (int k = 0; k < 10; ++k) sum[k] += sign * f[k];
    }
    Math::CRawMoments outline;
    outline.m00 = sum[0];
    outline.m10 = sum[1];
    outline.m01 = sum[2];
    outline.m20 = sum[3];
    outline.m11 = sum[4];
    outline.m02 = sum[5];
    outline.m30 = sum[6];
    outline.m21 = sum[7];
    outline.m12 = sum[8];
    outline.m03 = sum[9];

    EXPECT_EQ(double{pixels.m00}, static_cast<double>(px.size()));
    EXPECT_NEAR(outline.m00, pixels.m00, 1e-9);
    EXPECT_NEAR(outline.Centroid().x, pixels.Centroid().x + 0.5, 1e-9);
    EXPECT_NEAR(outline.Centroid().y, pixels.Centroid().y + 0.5, 1e-9);
    Math::CRCMoments const a(pixels), b(outline);
    double const n = pixels.m00;
    EXPECT_NEAR(b.mu20, a.mu20 + n / 12, 1e-9 * a.mu20);
    EXPECT_NEAR(b.mu02, a.mu02 + n / 12, 1e-9 * a.mu02);
    EXPECT_NEAR(b.mu11, a.mu11, 1e-9 * a.mu20);
    double const third = n * std::pow(400.0, 3);
    EXPECT_NEAR(b.mu30, a.mu30, 1e-10 * third);
    EXPECT_NEAR(b.mu21, a.mu21, 1e-10 * third);
    EXPECT_NEAR(b.mu12, a.mu12, 1e-10 * third);
    EXPECT_NEAR(b.mu03, a.mu03, 1e-10 * third);
    // Cross-check the central third order against the raw sums: pixel
    // centres are a plain point set, sum (x - cx)^3 directly.
    double cx = a.Centroid().x, s3 = 0;
    for (CPoint const& p : px) s3 += std::pow(p.x - cx, 3);
    EXPECT_NEAR(a.mu30, s3, 1e-10 * third);
  }
}

Ring Ellipse(double a, double b, double angle, CPointD c, int n) {
  Ring r;
  for (int i = 0; i <= n; ++i) {
    double const t = 2 * M_PI * (i % n) / n;
    r.push_back({a * std::cos(t), b * std::sin(t)});
  }
  return Transformed(r, angle, 1.0, c);
}

TEST(CentralMoments, EllipseAndTriangleMeasures) {
  // 20000 sides: the polygon's moments are the ellipse's to about 1e-8.
  Ring const e = Ellipse(3, 1, 0.3, {5, -2}, 20000);
  Math::CRCMoments const m(Math::CRawMoments(e.data(), static_cast<unsigned>(e.size())));
  EXPECT_NEAR(m.Orientation(), 0.3, 1e-9);
  EXPECT_NEAR(m.PrimaryAxes().cx, 3.0, 1e-6);
  EXPECT_NEAR(m.PrimaryAxes().cy, 1.0, 1e-6);
  EXPECT_NEAR(m.Eccentricity(), 1.0 / 3, 1e-6);
  EXPECT_NEAR(m.Skewness().cx, 0.0, 1e-9);
  EXPECT_NEAR(m.AMI1(), 1 / (16 * M_PI * M_PI), 1e-9);
  double ellipse = 0, triangle = 0;
  m.Descriptors(ellipse, triangle);
  EXPECT_NEAR(ellipse, 1.0, 1e-6);
  EXPECT_NEAR(triangle, 108 / (16 * M_PI * M_PI), 1e-6);

  // Any triangle: AMI1 = 1/108 exactly; the ellipse descriptor folds
  // 16 pi^2 / 108 > 1 back to its reciprocal.
  Ring const t = {{0, 0}, {1, 0}, {0, 1}, {0, 0}};
  Math::CRCMoments const mt(Math::CRawMoments(t.data(), 4));
  mt.Descriptors(ellipse, triangle);
  EXPECT_NEAR(triangle, 1.0, 1e-12);
  EXPECT_NEAR(ellipse, 108 / (16 * M_PI * M_PI), 1e-12);
  // The right triangle's x marginal: mu30 = 1/270, mu20 = 1/36.
  EXPECT_NEAR(mt.Skewness().cx, 0.8, 1e-12);
  EXPECT_NEAR(mt.Skewness().cy, 0.8, 1e-12);
  EXPECT_NEAR(mt.Orientation(), -M_PI / 4, 1e-12);
}

TEST(CentralMoments, AffineInvariantSurvivesShearOfRealOutline) {
  Ring const horse = kmath_test::LoadPolylines("horse_crack.xy").front();
  Ring sheared = horse;
  for (CPointD& p : sheared) p = CPointD{1.7 * p.x + 0.6 * p.y + 40, -0.2 * p.x + 0.9 * p.y - 13};
  Math::CRCMoments const a(Math::CRawMoments(horse.data(), static_cast<unsigned>(horse.size())));
  Math::CRCMoments const b(Math::CRawMoments(sheared.data(), static_cast<unsigned>(sheared.size())));
  EXPECT_NEAR(b.AMI1(), a.AMI1(), 1e-9 * a.AMI1());
}

TEST(HuMoments, InvariantUnderSimilarityOfRealOutline) {
  Ring const horse = kmath_test::LoadPolylines("horse_crack.xy").front();
  auto hu = [](Ring const& r) {
    return Math::CHuMoments(Math::CRCMoments(Math::CRawMoments(r.data(), static_cast<unsigned>(r.size()))));
  };
  Math::CHuMoments const h0 = hu(horse);
  struct Case {
    char const* name;
    double angle, scale;
    CPointD shift;
    bool mirror;
  };
  for (Case const& c : {Case{"rotated", 0.65, 1.0, {0, 0}, false}, Case{"scaled", 0.0, 2.5, {0, 0}, false},
                        Case{"moved", 0.0, 1.0, {1000, -700}, false}, Case{"all", -2.1, 0.37, {-55, 230}, false},
                        Case{"mirrored", 0.4, 1.3, {10, 10}, true}}) {
    SCOPED_TRACE(c.name);
    Math::CHuMoments const h = hu(Transformed(horse, c.angle, c.scale, c.shift, c.mirror));
    for (int k = 0; k < 7; ++k) {
      // A reflection flips the sign of the seventh invariant only.
      double const expected = (c.mirror && k == 6) ? -h0.h[k] : h0.h[k];
      EXPECT_NEAR(h.h[k], expected, 1e-9 * std::abs(h0.h[k])) << k;
    }
  }
  EXPECT_GT(std::abs(h0.h[6]), 0.0);
  Math::CHuMoments const zero;
  for (double v : zero.h) EXPECT_EQ(v, 0.0);
}

TEST(HuMoments, ValuesOfKnownShapes) {
  // A w x h rectangle: eta20 = w / (12 h), eta02 = h / (12 w), no third order.
  double const w = 4, h = 1.5;
  Ring const rect = Transformed({{0, 0}, {w, 0}, {w, h}, {0, h}, {0, 0}}, 0.0, 1.0, {3, 8});
  Math::CHuMoments const hr(Math::CRCMoments(Math::CRawMoments(rect.data(), 5)));
  double const e20 = w / (12 * h), e02 = h / (12 * w);
  EXPECT_NEAR(hr.h[0], e20 + e02, 1e-14);
  EXPECT_NEAR(hr.h[1], (e20 - e02) * (e20 - e02), 1e-14);
  for (int k = 2; k < 7; ++k) EXPECT_NEAR(hr.h[k], 0.0, 1e-14) << k;

#ifdef KMATH_TEST_HAVE_OPENCV
  // OpenCV normalises the same way (mu_pq / m00^((p+q)/2 + 1)).
  for (Ring const& r : kmath_test::LoadPolylines("horse_crack.xy")) {
    std::vector<cv::Point2f> contour;
    for (CPointD const& p : r) contour.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y));
    double cvh[7];
    cv::HuMoments(cv::moments(contour), cvh);
    Math::CHuMoments const hu(Math::CRCMoments(Math::CRawMoments(r.data(), static_cast<unsigned>(r.size()))));
    for (int k = 0; k < 7; ++k) EXPECT_NEAR(hu.h[k], cvh[k], 1e-9 * std::abs(cvh[k])) << k;
  }
#endif
}

TEST(HuMoments, DifferenceMethods) {
  Math::CHuMoments a, b;
  a.h[0] = 100;
  a.h[1] = 1e-3;
  b.h[0] = 10;
  b.h[1] = 1e-2;
  // Logs: a -> (2, -3), b -> (1, -2); the zero pairs stay below the floor.
  EXPECT_NEAR(Math::Difference(a, b, 0), std::abs(0.5 - 1.0) + std::abs(-1.0 / 3 + 0.5), 1e-14);
  EXPECT_NEAR(Math::Difference(a, b, 1), 1.0 + 1.0, 1e-14);
  // A maximum over the pairs (1/3 and 1/5), not their sum.
  EXPECT_NEAR(Math::Difference(a, b, 2), 1.0 / 3, 1e-14);
  for (int method : {0, 1, 2}) EXPECT_EQ(Math::Difference(a, a, method), 0.0) << method;
  EXPECT_EQ(Math::Difference(a, b, 3), 0.0);
  EXPECT_EQ(Math::Difference(a, b, -1), 0.0);

  // The sign is dropped with the logarithm.
  Math::CHuMoments p, q;
  p.h[3] = -0.5;
  q.h[3] = 0.5;
  EXPECT_EQ(Math::Difference(p, q, 1), 0.0);
  EXPECT_EQ(Math::Difference(p, q, 2), 0.0);

  // Method 2 with one value under the floor: retried a decade up ...
  Math::CHuMoments u, v;
  u.h[2] = 5e-6;
  v.h[2] = 2e-5;
  double const la = std::log10(5e-5), lb = std::log10(2e-4);
  EXPECT_NEAR(Math::Difference(u, v, 2), std::abs(la - lb) / (std::abs(la) + std::abs(lb)), 1e-14);
  // ... and compared untransformed when that does not help either.
  u.h[2] = 5e-7;
  EXPECT_NEAR(Math::Difference(u, v, 2), (2e-5 - 5e-7) / (2e-5 + 5e-7), 1e-14);
}

TEST(AreaMoments, SquareClosedImplicitlyAndSigned) {
  Ring const sq = UnitSquare({2, -1});
  Ring const open(sq.begin(), sq.end() - 1);
  Ring const cw(open.rbegin(), open.rend());
  for (Ring const* r : {&sq, &open, &cw}) {
    Math::CAreaMoments2 const m(r->data(), static_cast<unsigned>(r->size()));
    EXPECT_NEAR(m.dArea, r == &cw ? -1.0 : 1.0, 1e-15);
    EXPECT_NEAR(m.dCx, 2.5, 1e-15);
    EXPECT_NEAR(m.dCy, -0.5, 1e-15);
    EXPECT_NEAR(m.dMu20, 1.0 / 12, 1e-15);
    EXPECT_NEAR(m.dMu02, 1.0 / 12, 1e-15);
    EXPECT_NEAR(m.dMu11, 0.0, 1e-15);
  }
}

TEST(AreaMoments, RealOutlinesMatchFanQuadrature) {
  int checked = 0;
  for (Source const& src : kOutlines) {
    SCOPED_TRACE(src.name);
    for (Ring r : kmath_test::LoadPolylines(src.name)) {
      for (CPointD& p : r) p += src.shift;
      std::array<double, 10> const fan = FanMoments(r);
      if (std::abs(fan[0]) < 1.0) continue;
      Math::CAreaMoments2 const m(r.data(), static_cast<unsigned>(r.size()));
      double const cx = fan[1] / fan[0], cy = fan[2] / fan[0];
      double const l = Reach(r);
      EXPECT_NEAR(m.dArea, fan[0], 1e-9 * l * l);
      EXPECT_NEAR(m.dCx, cx, 1e-9 * l);
      EXPECT_NEAR(m.dCy, cy, 1e-9 * l);
      // Central moments of the fan, taken about its centroid in the
      // positive orientation, as the record reports them.
      double const sign = fan[0] < 0 ? -1.0 : 1.0;
      double const mu20 = sign * (fan[3] - fan[1] * cx);
      double const mu11 = sign * (fan[4] - fan[1] * cy);
      double const mu02 = sign * (fan[5] - fan[2] * cy);
      // The fan's raw moments about the origin lose about eps * A * l^2.
      double const tolm = 1e-9 * (std::abs(mu20) + std::abs(mu02)) + 1e-12 * std::abs(fan[0]) * l * l;
      EXPECT_NEAR(m.dMu20, mu20, tolm);
      EXPECT_NEAR(m.dMu11, mu11, tolm);
      EXPECT_NEAR(m.dMu02, mu02, tolm);
      ++checked;
    }
  }
  EXPECT_GT(checked, 150);
}

TEST(AreaMoments, DegenerateRings) {
  Ring const two = {{1, 2}, {3, 4}};
  Math::CAreaMoments2 const m2(two.data(), 2);
  EXPECT_EQ(m2.dArea, 0.0);
  EXPECT_EQ(m2.dCx, 0.0);
  EXPECT_EQ(m2.dCy, 0.0);
  EXPECT_EQ(m2.dMu20, 0.0);

  // A bow tie has zero net area but a first moment: its lobes (area 1/4
  // each, opposite senses) have centroids at x = 1/6 and 5/6, so
  // sum (x + x_prev) c = 6 * (1/4 * 1/6 - 1/4 * 5/6) = -1, left undivided.
  Ring const bow = {{0, 0}, {1, 1}, {1, 0}, {0, 1}};
  Math::CAreaMoments2 const mb(bow.data(), 4);
  EXPECT_EQ(mb.dArea, 0.0);
  EXPECT_NEAR(mb.dCx, -1.0, 1e-15);
  EXPECT_NEAR(mb.dCy, 0.0, 1e-15);
  EXPECT_EQ(mb.dMu20, 0.0);

  // An hourglass with unbalanced lobes has area 0.4 (shoelace by hand:
  // (-4 + 4.8) / 2) but "inertia" of opposite signs: not a covariance.
  Ring const glass = {{0, 0}, {4, 1}, {4, 0}, {0, 1.2}};
  Math::CAreaMoments2 const mg(glass.data(), 4);
  EXPECT_NEAR(mg.dArea, 0.4, 1e-15);
  EXPECT_EQ(mg.dMu20, 0.0);
  EXPECT_EQ(mg.dMu11, 0.0);
  EXPECT_EQ(mg.dMu02, 0.0);

  double const nan = std::numeric_limits<double>::quiet_NaN();
  Ring const bad = {{0, 0}, {1, 0}, {nan, 1}};
  Math::CAreaMoments2 const mn(bad.data(), 3);
  EXPECT_EQ(mn.dArea, 0.0);
  EXPECT_EQ(mn.dCx, 0.0);
  EXPECT_EQ(mn.dMu20, 0.0);
  Math::CAreaMoments1 const none(nullptr, 4);
  EXPECT_EQ(none.dArea, 0.0);
}

TEST(EdgeMoments, WireClosedForms) {
  // Unit square's perimeter: sides x = 0 and x = 1 add 2 * 1/4, the two
  // horizontal sides 2 * 1/12, so mu20 = mu02 = 2/3.
  Ring const sq = UnitSquare({-4, 7});
  Math::CEdgeMoments2 const m(sq.data(), 5);
  EXPECT_NEAR(m.dLength, 4.0, 1e-15);
  EXPECT_NEAR(m.dCx, -3.5, 1e-14);
  EXPECT_NEAR(m.dCy, 7.5, 1e-14);
  EXPECT_NEAR(m.dMu20, 2.0 / 3, 1e-12);
  EXPECT_NEAR(m.dMu02, 2.0 / 3, 1e-12);
  EXPECT_NEAR(m.dMu11, 0.0, 1e-12);

  // A segment of length L along 30 degrees: L^3/12 along it, nothing across.
  double const l = 5, c = std::cos(M_PI / 6), s = std::sin(M_PI / 6);
  Ring const seg = {{1, 1}, {1 + l * c, 1 + l * s}};
  Math::CEdgeMoments2 const ms(seg.data(), 2);
  EXPECT_NEAR(ms.dLength, l, 1e-14);
  EXPECT_NEAR(ms.dMu20, l * l * l / 12 * c * c, 1e-11);
  EXPECT_NEAR(ms.dMu11, l * l * l / 12 * c * s, 1e-11);
  // Across the segment the moment is 0 up to rounding, or zeroed by the
  // semi-definiteness check; never clearly negative.
  EXPECT_NEAR(ms.dMu02, l * l * l / 12 * s * s, 1e-11);

  CPointD const one{3, -2};
  Math::CEdgeMoments2 const mp(&one, 1);
  EXPECT_EQ(mp.dLength, 0.0);
  EXPECT_EQ(mp.dCx, 3.0);
  EXPECT_EQ(mp.dCy, -2.0);
  EXPECT_EQ(mp.dMu20, 0.0);
  Math::CEdgeMoments2 const empty(nullptr, 0);
  EXPECT_EQ(empty.dCx, 0.0);
  double const nan = std::numeric_limits<double>::quiet_NaN();
  Ring const bad = {{0, 0}, {nan, 0}};
  Math::CEdgeMoments2 const mn(bad.data(), 2);
  EXPECT_EQ(mn.dLength, 0.0);
  EXPECT_EQ(mn.dCx, 0.0);
}

}  // namespace
