#include <math/smoothing.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "xy_reader.h"

namespace {

using Pts = std::vector<CPointD>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

void ExpectSame(Pts const& got, Pts const& want) {
  ASSERT_EQ(got.size(), want.size());
  for (size_t i = 0; i < got.size(); ++i) {
    EXPECT_EQ(got[i].x, want[i].x) << "point " << i;
    EXPECT_EQ(got[i].y, want[i].y) << "point " << i;
  }
}

// Identity of doubles including NaN payloads: "unchanged" means bit for bit.
void ExpectBitSame(Pts const& got, Pts const& want) {
  ASSERT_EQ(got.size(), want.size());
  for (size_t i = 0; i < got.size(); ++i) {
    EXPECT_EQ(std::memcmp(&got[i], &want[i], sizeof(CPointD)), 0) << "point " << i;
  }
}

std::vector<Pts> TracedRings() {
  std::vector<Pts> rings;
  for (char const* f : {"horse_crack.xy", "coins_chain.xy", "soho_buildings_crack.xy"}) {
    for (auto const& b : kmath_test::LoadXY(f))
      if (b.IsClosed() && b.pts.size() >= 4) rings.push_back(b.pts);
  }
  return rings;
}

TEST(PolyResample, SubdividesOnlySegmentsLongerThanTheStep) {
  struct Case {
    char const* name;
    Pts in;
    double step;
    Pts out;
  };
  Case const cases[] = {
      {"step 1", {{0, 0}, {3, 0}}, 1.0, {{0, 0}, {1, 0}, {2, 0}, {3, 0}}},
      {"step equal to the segment", {{0, 0}, {3, 0}}, 3.0, {{0, 0}, {3, 0}}},
      {"step 2", {{0, 0}, {3, 0}}, 2.0, {{0, 0}, {1.5, 0}, {3, 0}}},
      {"segments not longer than the step", {{0, 0}, {1, 0}, {1, 0.5}}, 1.0, {{0, 0}, {1, 0}, {1, 0.5}}},
      {"coincident points kept", {{0, 0}, {0, 0}, {0, 2}, {0, 2}}, 1.0, {{0, 0}, {0, 0}, {0, 1}, {0, 2}, {0, 2}}},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Pts p = c.in;
    Math::PolyResample(p, c.step);
    ExpectSame(p, c.out);
  }
}

// 0.1 added ten times is 0.9999999999999999 < 1: the ten-part split of a
// segment of length 10 gains a tenth inner point just short of its end.
TEST(PolyResample, AccumulatesTheParameterByRepeatedAddition) {
  Pts p = {{0, 0}, {10, 0}};
  Math::PolyResample(p, 1.0);
  ASSERT_EQ(p.size(), 12u);
  EXPECT_EQ(p[10].x, 9.999999999999998);
  EXPECT_EQ(p[11].x, 10.0);
  EXPECT_EQ(p[3].x, 10 * (0.1 + 0.1 + 0.1));
}

TEST(PolyResample, NoSegmentOfATracedOutlineExceedsTheStep) {
  size_t checked = 0;
  for (char const* f : {"horse_chain.xy", "coins_crack.xy", "ccitt2_centerlines.xy"}) {
    auto const polys = kmath_test::LoadPolylines(f);
    for (size_t b = 0; b < polys.size(); b += 5) {
      for (double step : {0.3, 0.7, 2.5}) {
        SCOPED_TRACE(std::string(f) + " block " + std::to_string(b) + " step " + std::to_string(step));
        Pts const& in = polys[b];
        Pts out = in;
        Math::PolyResample(out, step);
        ASSERT_GE(out.size(), in.size());
        // The input vertices come back in order, and every point in between
        // lies on the segment it subdivides.
        size_t j = 0;
        for (size_t i = 0; i < in.size(); ++i) {
          if (i > 0) {
            CPointD const a = in[i - 1], d = {in[i].x - a.x, in[i].y - a.y};
            for (; j < out.size() && !(out[j].x == in[i].x && out[j].y == in[i].y); ++j)
              ASSERT_NEAR(d.x * (out[j].y - a.y) - d.y * (out[j].x - a.x), 0.0, 1e-9);
          }
          ASSERT_LT(j, out.size());
          ++j;
        }
        EXPECT_EQ(j, out.size());
        for (size_t k = 1; k < out.size(); ++k)
          ASSERT_LE(std::hypot(out[k].x - out[k - 1].x, out[k].y - out[k - 1].y), step * (1 + 1e-12));
        ++checked;
      }
    }
  }
  EXPECT_GT(checked, 300u);
}

TEST(PolyResample, BadInputLeavesThePolylineUnchanged) {
  struct Case {
    char const* name;
    Pts in;
    double step;
  };
  Case const cases[] = {
      {"empty", {}, 1.0},
      {"one point", {{1, 2}}, 0.1},
      {"zero step", {{0, 0}, {3, 0}}, 0.0},
      {"negative step", {{0, 0}, {3, 0}}, -1.0},
      {"NaN step", {{0, 0}, {3, 0}}, kNaN},
      {"NaN coordinate", {{0, 0}, {kNaN, 0}, {3, 0}}, 1.0},
      {"infinite coordinate", {{0, 0}, {kInf, 0}}, 1.0},
      {"absurd point count", {{0, 0}, {1, 0}}, 1e-300},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Pts p = c.in;
    Math::PolyResample(p, c.step);
    ExpectBitSame(p, c.in);
  }
}

TEST(GaussSmoothing, SmallCases) {
  Pts open = {{0, 0}, {1, 1}, {2, 0}};
  Math::GaussSmoothing(open);
  ExpectSame(open, {{0, 0}, {1, 0.5}, {2, 0}});

  // Both ends of the ring become 0.25 (0,1) + 0.5 (0,0) + 0.25 (1,0).
  Pts square = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
  Math::GaussSmoothing(square);
  ExpectSame(square, {{0.25, 0.25}, {0.75, 0.25}, {0.75, 0.75}, {0.25, 0.75}, {0.25, 0.25}});
}

// Closed rings stay closed pass after pass, and a ring filter with weights
// summing to 1 keeps the vertex sum (hence the centroid of the vertices).
TEST(GaussSmoothing, TracedRingsStayClosedAndKeepTheirVertexSum) {
  for (Pts const& ring : TracedRings()) {
    Pts p = ring;
    for (int pass = 0; pass < 3; ++pass) Math::GaussSmoothing(p);
    ASSERT_EQ(p.size(), ring.size());
    ASSERT_EQ(p.front().x, p.back().x);
    ASSERT_EQ(p.front().y, p.back().y);
    double sx0 = 0, sy0 = 0, sx = 0, sy = 0, scale = 0;
    for (size_t i = 0; i + 1 < ring.size(); ++i) {
      sx0 += ring[i].x, sy0 += ring[i].y, sx += p[i].x, sy += p[i].y;
      scale += std::abs(ring[i].x) + std::abs(ring[i].y);
    }
    EXPECT_NEAR(sx, sx0, scale * 1e-13);
    EXPECT_NEAR(sy, sy0, scale * 1e-13);
  }
  for (Pts const& line : kmath_test::LoadPolylines("ccitt2_centerlines.xy")) {
    if (line.size() < 3 || (line.front().x == line.back().x && line.front().y == line.back().y)) continue;
    Pts p = line;
    Math::GaussSmoothing(p);
    ASSERT_EQ(p.front().x, line.front().x);
    ASSERT_EQ(p.back().y, line.back().y);
  }
}

TEST(GaussSmoothing, BadInputLeavesThePolylineUnchanged) {
  for (Pts const& in : {Pts{}, Pts{{1, 1}}, Pts{{1, 1}, {1, 1}}, Pts{{0, 0}, {2, 2}},
                        Pts{{0, 0}, {kNaN, 1}, {2, 0}}, Pts{{0, 0}, {1, kInf}, {2, 0}, {0, 0}}}) {
    SCOPED_TRACE(in.size());
    Pts p = in;
    Math::GaussSmoothing(p);
    ExpectBitSame(p, in);
  }
}

TEST(ReconnectPoly, StartsTheRingAtTheGivenVertex) {
  Pts square = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
  Math::ReconnectPoly(square, 2);
  ExpectSame(square, {{1, 1}, {0, 1}, {0, 0}, {1, 0}, {1, 1}});
}

TEST(ReconnectPoly, LeavesEndIndicesAndOpenPolylinesAlone) {
  Pts const square = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
  Pts const open = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0.5}};
  struct Case {
    char const* name;
    Pts in;
    unsigned k;
  };
  Case const cases[] = {{"k = 0", square, 0},     {"k = n - 1", square, 4}, {"k = n", square, 5},
                        {"k huge", square, ~0u},  {"open", open, 2},        {"empty", {}, 1},
                        {"one point", {{1, 1}}, 0}};
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    Pts p = c.in;
    Math::ReconnectPoly(p, c.k);
    ExpectSame(p, c.in);
  }
}

// Rotating to k and then to n - 1 - k brings back the ring, with the old
// first point replaced by its (identical) closing copy.
TEST(ReconnectPoly, RotatingBackRestoresATracedRing) {
  for (Pts const& ring : TracedRings()) {
    unsigned const n = static_cast<unsigned>(ring.size());
    for (unsigned k : {1u, n / 3, n - 2}) {
      Pts p = ring;
      Math::ReconnectPoly(p, k);
      ASSERT_EQ(p.front().x, ring[k].x);
      ASSERT_EQ(p.back().y, ring[k].y);
      Math::ReconnectPoly(p, n - 1 - k);
      ExpectSame(p, ring);
    }
  }
}

}  // namespace
