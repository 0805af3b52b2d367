#include <math/fillpoly.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "xy_reader.h"

#ifdef KMATH_TEST_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Ring = std::vector<tagPOINT>;
using Mask = std::vector<std::vector<unsigned char>>;  // [y][x], 1 = set

// A real ring scaled so its larger extent spans `size` pixels, rounded to
// whole pixels two pixels in from the origin, the closing repeat dropped.
Ring PixelRing(std::vector<CPointD> const& pts, double size) {
  double x0 = pts[0].x, x1 = x0, y0 = pts[0].y, y1 = y0;
  for (auto const& p : pts) {
    x0 = std::min(x0, p.x), x1 = std::max(x1, p.x), y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
  }
  double const s = size / std::max(x1 - x0, y1 - y0);
  Ring r;
  for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
    r.push_back({2 + static_cast<int>(std::lround((pts[i].x - x0) * s)),
                 2 + static_cast<int>(std::lround((y1 - pts[i].y) * s))});
  }
  return r;
}

std::vector<Ring> RealRings(std::string const& file, double size, std::size_t stride) {
  std::vector<Ring> out;
  auto const blocks = kmath_test::LoadXY(file);
  for (std::size_t i = 0; i < blocks.size(); i += stride) {
    if (blocks[i].Attr("ring") == "outer" && blocks[i].pts.size() >= 4) out.push_back(PixelRing(blocks[i].pts, size));
  }
  return out;
}

// ceil(a / b) for b > 0.
long long CeilDiv(long long a, long long b) { return a >= 0 ? (a + b - 1) / b : -((-a) / b); }

// The fill rule from first principles: on line y an edge crossing at the
// exact x covers pixels from ceil(x); pixels between alternate crossings are
// inside. Exact integer arithmetic, no stepping.
Mask OracleMask(Ring const& r, int width, int height) {
  Mask m(height, std::vector<unsigned char>(width, 0));
  std::vector<long long> xs;
  for (int y = 0; y < height; ++y) {
    xs.clear();
    for (std::size_t i = 0; i < r.size(); ++i) {
      tagPOINT a = r[i == 0 ? r.size() - 1 : i - 1], b = r[i];
      if (a.y == b.y) continue;
      if (b.y < a.y) std::swap(a, b);
      if (y < a.y || y >= b.y) continue;
      long long const dy = b.y - a.y;
      xs.push_back(CeilDiv(static_cast<long long>(a.x) * dy + static_cast<long long>(y - a.y) * (b.x - a.x), dy));
    }
    std::sort(xs.begin(), xs.end());
    for (std::size_t k = 0; k + 1 < xs.size(); k += 2) {
      for (long long x = std::max(0LL, xs[k]); x < std::min<long long>(width, xs[k + 1]); ++x) m[y][x] = 1;
    }
  }
  return m;
}

unsigned BytesPerLine(int bpp, int width) { return static_cast<unsigned>((width * bpp + 7) / 8); }

// Whether pixel x of a packed line is set, for each depth (a set pixel is all
// ones; anything else in a pixel is a fault).
int PixelAt(std::vector<unsigned char> const& line, int bpp, int x) {
  switch (bpp) {
    case 1: return (line[x / 8] >> (7 - x % 8)) & 1;
    case 4: {
      int const nib = (x % 2 == 0) ? line[x / 2] >> 4 : line[x / 2] & 0x0f;
      return nib == 0x0f ? 1 : nib == 0 ? 0 : -1;
    }
    default: {
      int const k = bpp / 8, first = line[x * k];
      for (int i = 1; i < k; ++i) {
        if (line[x * k + i] != first) return -1;
      }
      return first == 0xff ? 1 : first == 0 ? 0 : -1;
    }
  }
}

// Fills r at `bpp` line by line from line 0; every line buffer carries a
// guard byte past `bytes` that must stay untouched.
Mask Fill(Ring const& r, int width, int height, int bpp = 8, int firstLine = 0) {
  CFillPoly fill;
  EXPECT_EQ(fill.Init(r.data(), static_cast<int>(r.size())), 1);
  fill.SetBitPixel(bpp);
  unsigned const bytes = BytesPerLine(bpp, width);
  Mask m(height, std::vector<unsigned char>(width, 0));
  std::vector<unsigned char> line(bytes + 1);
  for (int y = firstLine; y < height; ++y) {
    std::fill(line.begin(), line.end(), 0xa5);
    fill.NextScanLine(y);
    fill.GetLineMask(line.data(), bytes, static_cast<unsigned>(width));
    EXPECT_EQ(line[bytes], 0xa5) << "line " << y << " written past its bytes";
    for (int x = 0; x < width; ++x) m[y][x] = static_cast<unsigned char>(PixelAt(line, bpp, x));
    // Padding bits past the width stay clear.
    if (bpp == 1 && width % 8 != 0) {
      EXPECT_EQ(line[bytes - 1] & (0xff >> (width % 8)), 0);
    }
    if (bpp == 4 && width % 2 != 0) {
      EXPECT_EQ(line[bytes - 1] & 0x0f, 0);
    }
  }
  return m;
}

long long Count(Mask const& m) {
  long long n = 0;
  for (auto const& row : m) n += std::count(row.begin(), row.end(), 1);
  return n;
}

void Extent(Ring const& r, int& w, int& h) {
  w = h = 0;
  for (auto const& p : r) w = std::max(w, p.x + 3), h = std::max(h, p.y + 3);
}

}  // namespace

TEST(CFillPoly, RealPolygonsFillTheExactRuleAndTheirAreaWithinThePerimeter) {
  struct Case {
    char const* file;
    std::size_t stride;
    double size;
  } const cases[] = {
      {"nc_counties.xy", 9, 40}, {"nc_counties.xy", 7, 150}, {"nc_counties.xy", 13, 600},
      {"london_buildings.xy", 11, 30}, {"london_buildings.xy", 17, 200}, {"world_ne110m_countries.xy", 23, 300},
  };
  int rings = 0;
  for (auto const& c : cases) {
    for (Ring const& r : RealRings(c.file, c.size, c.stride)) {
      SCOPED_TRACE(std::string(c.file) + " at " + std::to_string(c.size) + " px, ring of " + std::to_string(r.size()));
      int w, h;
      Extent(r, w, h);
      Mask const m = Fill(r, w, h);
      ASSERT_TRUE(m == OracleMask(r, w, h));
      double area2 = 0, perimeter = 0;
      for (std::size_t i = 0; i < r.size(); ++i) {
        auto const& a = r[i == 0 ? r.size() - 1 : i - 1];
        auto const& b = r[i];
        area2 += static_cast<double>(a.x) * b.y - static_cast<double>(b.x) * a.y;
        perimeter += std::hypot(b.x - a.x, b.y - a.y);
      }
      EXPECT_LE(std::abs(Count(m) - std::abs(area2) / 2), perimeter);
      ++rings;
    }
  }
  EXPECT_GT(rings, 40);
}

TEST(CFillPoly, EveryDepthAgreesWithEightBits) {
  // Odd widths so the last byte of a 1- or 4-bit line is partly padding, and
  // rings reaching past the width so the clamp cuts spans.
  auto const rings = RealRings("nc_counties.xy", 90, 10);
  for (std::size_t i = 0; i < rings.size(); ++i) {
    int w, h;
    Extent(rings[i], w, h);
    w = w - 7 - static_cast<int>(i % 8);
    Mask const eight = Fill(rings[i], w, h, 8);
    EXPECT_GT(Count(eight), 0);
    for (int bpp : {1, 4, 16, 24, 32}) {
      SCOPED_TRACE("ring " + std::to_string(i) + " at " + std::to_string(bpp) + " bits");
      EXPECT_TRUE(Fill(rings[i], w, h, bpp) == eight);
    }
  }
}

TEST(CFillPoly, SpanEndsLandOnTheRightBitsAtEveryDepth) {
  // A one-line rectangle [x1, x2) x [0, 1) writes exactly one span on line 0.
  struct Case {
    int bpp, x1, x2, width;
    std::vector<unsigned char> line;
  } const cases[] = {
      {1, 3, 5, 16, {0x18, 0x00}},
      {1, 0, 16, 16, {0xff, 0xff}},
      {1, 7, 9, 16, {0x01, 0x80}},
      {1, 5, 21, 24, {0x07, 0xff, 0xf8}},
      {1, -40, 3, 16, {0xe0, 0x00}},   // clamped on the left
      {1, 12, 900, 13, {0x00, 0x08}},  // clamped to the width on the right
      {1, 20, 30, 16, {0x00, 0x00}},   // entirely right of the width
      {1, -9, -2, 16, {0x00, 0x00}},   // entirely left of 0
      {4, 1, 2, 4, {0x0f, 0x00}},
      {4, 1, 4, 4, {0x0f, 0xff}},
      {4, 0, 3, 4, {0xff, 0xf0}},
      {4, 2, 3, 6, {0x00, 0xf0, 0x00}},
      {16, 1, 3, 3, {0, 0, 0xff, 0xff, 0xff, 0xff}},
      {24, 0, 1, 2, {0xff, 0xff, 0xff, 0, 0, 0}},
      {32, 1, 9, 2, {0, 0, 0, 0, 0xff, 0xff, 0xff, 0xff}},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(std::to_string(c.bpp) + " bits, [" + std::to_string(c.x1) + ", " + std::to_string(c.x2) + ")");
    Ring const r{{c.x1, 0}, {c.x2, 0}, {c.x2, 1}, {c.x1, 1}};
    CFillPoly fill;
    ASSERT_EQ(fill.Init(r.data(), 4), 1);
    fill.SetBitPixel(c.bpp);
    fill.SetBitPixel(12);  // not a depth: keeps the one chosen
    std::vector<unsigned char> line(c.line.size(), 0x5a);
    fill.NextScanLine(0);
    fill.GetLineMask(line.data(), static_cast<unsigned>(line.size()), static_cast<unsigned>(c.width));
    EXPECT_EQ(line, c.line);
    // The lower edge is exclusive: line 1 is empty.
    fill.NextScanLine(1);
    fill.GetLineMask(line.data(), static_cast<unsigned>(line.size()), static_cast<unsigned>(c.width));
    EXPECT_EQ(std::count(line.begin(), line.end(), 0), static_cast<long>(line.size()));
  }
}

TEST(CFillPoly, DegenerateAndHostileInputWritesNothingWrong) {
  CFillPoly fill;
  Ring const two{{0, 0}, {5, 5}};
  Ring const flat{{0, 3}, {9, 3}, {4, 3}, {-2, 3}};
  Ring const square{{1, 1}, {6, 1}, {6, 6}, {1, 6}};
  EXPECT_EQ(fill.Init(two.data(), 2), 0);
  EXPECT_EQ(fill.Init(square.data(), 4), 1);
  EXPECT_EQ(fill.Init(nullptr, 4), 0);
  EXPECT_EQ(fill.Init(square.data(), -3), 0);
  // Spans 2^31 wide cannot be stepped in int.
  Ring const huge{{INT_MIN, 0}, {INT_MAX, 0}, {0, 10}};
  EXPECT_EQ(fill.Init(huge.data(), 3), 0);
  // After a failed Init, and for a polygon on one row, every line is clear.
  std::vector<unsigned char> line(8, 0x77);
  fill.NextScanLine(3);
  fill.GetLineMask(line.data(), 8, 64);
  EXPECT_EQ(std::count(line.begin(), line.end(), 0), 8);
  ASSERT_EQ(fill.Init(flat.data(), 4), 1);
  for (int y = 0; y < 6; ++y) {
    std::fill(line.begin(), line.end(), 0x77);
    fill.NextScanLine(y);
    fill.GetLineMask(line.data(), 8, 64);
    EXPECT_EQ(std::count(line.begin(), line.end(), 0), 8);
  }
  // Width 0 writes nothing; a buffer shorter than the width needs is the
  // caller's error, yet nothing lands past its bytes (ASan watches the
  // exact-size heap buffers).
  ASSERT_EQ(fill.Init(square.data(), 4), 1);
  fill.NextScanLine(2);
  std::vector<unsigned char> none(1, 0x33), tiny(1, 0x33);
  fill.GetLineMask(none.data(), 1, 0);
  EXPECT_EQ(none[0], 0);
  for (int bpp : {1, 4, 8, 32}) {
    fill.SetBitPixel(bpp);
    fill.GetLineMask(tiny.data(), 1, 64);
  }
  fill.GetLineMask(nullptr, 16, 64);
}

namespace {

// Edges that start above the first line join late with their x advanced by
// truncation, which may differ from the exact ceiling by one pixel at a span
// end, never more. Returns the number of such pixels from line `from` on.
long long ExpectNearExact(Mask const& m, Mask const& exact, int from) {
  long long off = 0;
  for (int y = from; y < static_cast<int>(m.size()); ++y) {
    int const w = static_cast<int>(m[y].size());
    for (int x = 0; x < w; ++x) {
      if (m[y][x] == exact[y][x]) continue;
      ++off;
      bool const nearEnd = (x > 0 && exact[y][x - 1] != exact[y][x]) || (x + 1 < w && exact[y][x + 1] != exact[y][x]);
      EXPECT_TRUE(nearEnd) << "pixel " << x << ", " << y;
    }
  }
  return off;
}

}  // namespace

TEST(CFillPoly, EdgesFromAboveTheFirstLineJoinWithinAPixel) {
  // A triangle with vertices a million pixels away.
  Ring const r{{-1000000, -900000}, {1200000, 40}, {-30, 2000000}};
  int const w = 200, h = 150;
  Mask const m = Fill(r, w, h);
  EXPECT_LE(ExpectNearExact(m, OracleMask(r, w, h), 0), 2 * h);
  EXPECT_GT(Count(m), w * h / 3);
  // A comb whose teeth start at scrambled heights, entered below every
  // tooth's top: all their sides join on the first line in one call, in
  // order of height rather than x, and only the first line's extra sort
  // puts them right. Vertical sides, so the x is exact.
  Ring comb{{0, 45}};
  for (int i = 0; i < 24; ++i) {
    int const top = (i * 7) % 13;
    comb.push_back({10 * i, 40});
    comb.push_back({10 * i, top});
    comb.push_back({10 * i + 5, top});
    comb.push_back({10 * i + 5, 40});
  }
  comb.push_back({240, 45});
  for (int from : {13, 20, 39}) {
    SCOPED_TRACE("first line " + std::to_string(from));
    Mask m = Fill(comb, 250, 50, 8, from), exact = OracleMask(comb, 250, 50);
    std::fill(exact.begin(), exact.begin() + from, std::vector<unsigned char>(250, 0));
    EXPECT_TRUE(m == exact);
  }
}

#ifdef KMATH_TEST_HAVE_OPENCV
TEST(CFillPoly, AgreesWithOpenCvFillPolyAwayFromTheOutline) {
  // OpenCV also paints the outline itself, so it may set more pixels, but
  // only next to edges, and never misses one of ours.
  for (Ring const& r : RealRings("nc_counties.xy", 200, 11)) {
    int w, h;
    Extent(r, w, h);
    cv::Mat img = cv::Mat::zeros(h, w, CV_8UC1);
    std::vector<cv::Point> pts;
    for (auto const& p : r) pts.emplace_back(p.x, p.y);
    cv::fillPoly(img, std::vector<std::vector<cv::Point>>{pts}, cv::Scalar(255), cv::LINE_8);
    Mask const m = Fill(r, w, h);
    long long extra = 0, missed = 0;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        bool const theirs = img.at<unsigned char>(y, x) != 0;
        extra += theirs && !m[y][x];
        missed += !theirs && m[y][x];
      }
    }
    double perimeter = 0;
    for (std::size_t i = 0; i < r.size(); ++i) {
      auto const& a = r[i == 0 ? r.size() - 1 : i - 1];
      perimeter += std::abs(r[i].x - a.x) + std::abs(r[i].y - a.y);
    }
    EXPECT_EQ(missed, 0);
    EXPECT_LE(extra, perimeter + static_cast<double>(r.size()));
  }
}
#endif

// ---------------------------------------------------------------------------

namespace {

using Px = std::pair<int, int>;
using Pixels = std::vector<Px>;

Px AsPair(CPoint const& p) { return {p.x, p.y}; }

Pixels Walk8(CPoint a, CPoint b) {
  CSegmBuilder s;
  s.Init(a, b);
  Pixels out{AsPair(a)};
  CPoint p;
  while (s.GetNext(p)) out.push_back(AsPair(p));
  EXPECT_EQ(s.GetCount(), static_cast<int>(out.size()));
  return out;
}

Pixels Walk4(CPoint a, CPoint b) {
  CSegmBuilder4 s;
  s.Init(a, b);
  Pixels out{AsPair(a)};
  CPoint p;
  while (s.GetNext(p)) out.push_back(AsPair(p));
  EXPECT_EQ(s.GetCount(), static_cast<int>(out.size()));
  return out;
}

// Chebyshev distance from pixel centre p to the segment's line: at most 0.5
// means the line passes through the pixel's square.
double SquareDistance(Px p, CPoint a, CPoint b) {
  double const dx = b.x - a.x, dy = b.y - a.y;
  return std::abs(dx * (p.second - a.y) - dy * (p.first - a.x)) / (std::abs(dx) + std::abs(dy));
}

}  // namespace

TEST(CSegmBuilder, StepsBresenhamFromTheFirstPointExcluded) {
  EXPECT_EQ(Walk8({0, 0}, {3, 1}), (Pixels{{0, 0}, {1, 0}, {2, 1}, {3, 1}}));
  // Equal runs are a clean diagonal; a zero-length segment is its one point.
  EXPECT_EQ(Walk8({5, 5}, {2, 8}), (Pixels{{5, 5}, {4, 6}, {3, 7}, {2, 8}}));
  EXPECT_EQ(Walk8({-4, 7}, {-4, 7}), (Pixels{{-4, 7}}));
  // Beyond the run limit only the first point comes out.
  EXPECT_EQ(Walk8({INT_MIN, 0}, {INT_MAX, 1}), (Pixels{{INT_MIN, 0}}));
  EXPECT_EQ(Walk4({0, INT_MAX}, {1, INT_MIN}), (Pixels{{0, INT_MAX}}));
}

TEST(CSegmBuilder, SegmentsAreConnectedEndRightAndHugTheLine) {
  std::mt19937 rng(1307);
  std::uniform_int_distribution<int> coord(-60, 60);
  for (int i = 0; i < 600; ++i) {
    CPoint const a(coord(rng), coord(rng)), b(coord(rng), coord(rng));
    SCOPED_TRACE("seed 1307, case " + std::to_string(i));
    auto const p8 = Walk8(a, b), p4 = Walk4(a, b);
    int const adx = std::abs(b.x - a.x), ady = std::abs(b.y - a.y);
    ASSERT_EQ(p8.size(), static_cast<std::size_t>(std::max(adx, ady) + 1));
    ASSERT_EQ(p4.size(), static_cast<std::size_t>(adx + ady + 1));
    EXPECT_TRUE(p8.back() == AsPair(b) && p4.back() == AsPair(b));
    for (std::size_t k = 1; k < p8.size(); ++k) {
      // 8-connected and one step along the major axis each time.
      int const mx = std::abs(p8[k].first - p8[k - 1].first), my = std::abs(p8[k].second - p8[k - 1].second);
      EXPECT_TRUE(ady < adx ? mx == 1 && my <= 1 : my == 1 && mx <= 1);
      // Along the minor axis within half a pixel of the exact line.
      double const minorOff = ady < adx ? std::abs(p8[k].second - (a.y + double(p8[k].first - a.x) * (b.y - a.y) / (b.x - a.x)))
                                        : std::abs(p8[k].first - (a.x + double(p8[k].second - a.y) * (b.x - a.x) / (b.y - a.y)));
      EXPECT_LE(minorOff, 0.5 + 1e-9);
    }
    for (std::size_t k = 1; k < p4.size(); ++k) {
      EXPECT_EQ(std::abs(p4[k].first - p4[k - 1].first) + std::abs(p4[k].second - p4[k - 1].second), 1);
      EXPECT_LE(SquareDistance(p4[k], a, b), 0.5 + 1e-9);
    }
    // The const range walks the same pixels as the builder, twice over.
    Math::CSegmPoints const range(a, b);
    Pixels r1, r2;
    for (CPoint const& p : range) r1.push_back(AsPair(p));
    for (auto it = range.begin(); it != range.end(); it++) r2.push_back(AsPair(*it));
    EXPECT_TRUE(r1 == p8 && r2 == p8 && range.size() == static_cast<int>(p8.size()));
  }
}

TEST(CSegmBuilder4, TiesStepXAndEqualPointsGiveNothing) {
  EXPECT_EQ(Walk4({0, 0}, {2, 2}), (Pixels{{0, 0}, {1, 0}, {1, 1}, {2, 1}, {2, 2}}));
  EXPECT_EQ(Walk4({3, 3}, {3, 3}), (Pixels{{3, 3}}));
  EXPECT_EQ(Walk4({0, 0}, {0, -3}), (Pixels{{0, 0}, {0, -1}, {0, -2}, {0, -3}}));
}

TEST(CCircleBuilder2, CirclesAreClosedConnectedAndNearTheirRadius) {
  for (int r = 1; r <= 70; ++r) {
    for (CPoint const c : {CPoint(0, 0), CPoint(-17, 40)}) {
      SCOPED_TRACE("radius " + std::to_string(r) + " centre " + std::to_string(c.x) + ", " + std::to_string(c.y));
      CCircleBuilder2 circle;
      circle.Init(c, r);
      Px const head = AsPair(circle.GetHead());
      ASSERT_EQ(head, Px(c.x + r, c.y));
      Pixels pts{head};
      CPoint p;
      while (circle.GetNext(p) && pts.size() < 100000u) pts.push_back(AsPair(p));
      ASSERT_GE(pts.size(), 4u);
      double const pi = std::acos(-1.0);
      EXPECT_LE(pts.size(), static_cast<std::size_t>(8 * r + 4));
      EXPECT_GE(pts.size(), static_cast<std::size_t>(2 * pi * r / std::sqrt(2.0)));
      int quadrants = 0;
      for (std::size_t k = 0; k < pts.size(); ++k) {
        auto const [x, y] = pts[k];
        auto const [px, py] = pts[k == 0 ? pts.size() - 1 : k - 1];  // the lap closes on the head
        EXPECT_LE(std::max(std::abs(x - px), std::abs(y - py)), 1) << "step " << k;
        EXPECT_LE(std::abs(std::hypot(x - c.x, y - c.y) - r), 1.0) << "pixel " << k;
        if (x == c.x || y == c.y) ++quadrants;  // crosses the axes
      }
      EXPECT_GE(quadrants, 4);
      // GetHead restarts the same lap.
      EXPECT_TRUE(AsPair(circle.GetHead()) == head && circle.GetNext(p) && AsPair(p) == pts[1]);
    }
  }
}

TEST(CCircleBuilder2, EmptyRadiiProduceNothingAfterTheHead) {
  for (int r : {0, -1, -25, 23171, INT_MAX}) {
    CCircleBuilder2 circle;
    circle.Init(CPoint(3, 4), r);
    CPoint p(99, 99);
    EXPECT_EQ(circle.GetNext(p), 0) << r;
    circle.GetHead();
    EXPECT_EQ(circle.GetNext(p), 0) << r;
    EXPECT_EQ(AsPair(p), Px(99, 99));
  }
  // The largest radius traced, at the edge of the int range.
  CCircleBuilder2 circle;
  circle.Init(CPoint(INT_MAX - 23170, 0), 23170);
  CPoint p;
  long long n = 0;
  while (circle.GetNext(p)) ++n;
  EXPECT_GT(n, 4 * 23170);
}
