#include <math/smoothing.h>

#include <functional>

#include "polyline_test.h"

namespace polyline_test {
namespace {

using Op = std::function<void(Pts&)>;
Op Resample(double step) {
  return [step](Pts& p) { Math::PolyResample(p, step); };
}
Op Reconnect(unsigned k) {
  return [k](Pts& p) { Math::ReconnectPoly(p, k); };
}
Op const kGauss = [](Pts& p) { Math::GaussSmoothing(p); };

// Worked-out results, and bad input (no `out`: the polyline must come back
// bit for bit as it went in).
TEST(Smoothing, SmallCasesGiveTheWorkedOutResultsAndBadInputIsLeftAlone) {
  Pts const sq = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}}, open = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0.5}};
  struct Case {
    char const* name;
    Pts in;
    Op op;
    Pts out;
  } const cases[] = {
      {"resample step 1", {{0, 0}, {3, 0}}, Resample(1), {{0, 0}, {1, 0}, {2, 0}, {3, 0}}},
      {"resample step 2", {{0, 0}, {3, 0}}, Resample(2), {{0, 0}, {1.5, 0}, {3, 0}}},
      {"resample step = segment", {{0, 0}, {3, 0}}, Resample(3), {{0, 0}, {3, 0}}},
      {"repeats kept", {{0, 0}, {0, 0}, {0, 2}, {0, 2}}, Resample(1), {{0, 0}, {0, 0}, {0, 1}, {0, 2}, {0, 2}}},
      {"smooth open: ends kept", {{0, 0}, {1, 1}, {2, 0}}, kGauss, {{0, 0}, {1, 0.5}, {2, 0}}},
      // Both ends become 0.25 (0,1) + 0.5 (0,0) + 0.25 (1,0).
      {"smooth closed", sq, kGauss, {{.25, .25}, {.75, .25}, {.75, .75}, {.25, .75}, {.25, .25}}},
      {"reconnect at 2", sq, Reconnect(2), {{1, 1}, {0, 1}, {0, 0}, {1, 0}, {1, 1}}},
      {"resample one point", {{1, 2}}, Resample(0.1), {}},
      {"resample zero step", {{0, 0}, {3, 0}}, Resample(0), {}},
      {"resample NaN point", {{0, 0}, {kNaN, 0}, {3, 0}}, Resample(1), {}},
      {"resample absurd count", {{0, 0}, {1, 0}}, Resample(1e-300), {}},
      {"smooth two points", {{0, 0}, {2, 2}}, kGauss, {}},
      {"smooth NaN point", {{0, 0}, {kNaN, 1}, {2, 0}}, kGauss, {}},
      {"reconnect k = 0", sq, Reconnect(0), {}},
      {"reconnect k = n - 1", sq, Reconnect(4), {}},
      {"reconnect open", open, Reconnect(2), {}},
  };
  for (Case const& c : cases) {
    Pts p = c.in;
    c.op(p);
    EXPECT_TRUE(Same(p, c.out.empty() ? c.in : c.out)) << c.name;
  }
  // Repeated addition: 0.1 summed ten times is 0.9999999999999999 < 1, so
  // the ten-part split gains an eleventh inner point just short of the end.
  Pts p = {{0, 0}, {10, 0}};
  Math::PolyResample(p, 1.0);
  EXPECT_TRUE(p.size() == 12 && p[10].x == 9.999999999999998);
}

// On every traced outline no resampled step is longer than asked. Rings stay
// closed pass after pass of smoothing, and weights summing to 1 keep the
// vertex sum.
TEST(Smoothing, TracedOutlinesKeepTheStepTheClosureAndTheVertexSum) {
  for (char const* f : {"horse_crack.xy", "coins_chain.xy", "ccitt2_centerlines.xy"}) {
    for (auto const& block : kmath_test::LoadXY(f)) {
      Pts const& in = block.pts;
      for (double step : {0.3, 0.7, 2.5}) {
        Pts p = in;
        Math::PolyResample(p, step);
        ASSERT_GE(p.size(), in.size());
        for (size_t k = 1; k < p.size(); ++k)
          ASSERT_LE(std::hypot(p[k].x - p[k - 1].x, p[k].y - p[k - 1].y), step * (1 + 1e-12)) << f << " step " << step;
      }
      if (!block.IsClosed() || in.size() < 4) continue;
      Pts p = in;
      for (int pass = 0; pass < 3; ++pass) Math::GaussSmoothing(p);
      ASSERT_TRUE(Same({p.front()}, {p.back()}));
      double dx = 0, dy = 0, scale = 0;
      for (size_t i = 0; i + 1 < in.size(); ++i)
        dx += p[i].x - in[i].x, dy += p[i].y - in[i].y, scale += std::abs(in[i].x) + std::abs(in[i].y);
      EXPECT_LT(std::hypot(dx, dy), scale * 1e-13);
    }
  }
}

}  // namespace
}  // namespace polyline_test
