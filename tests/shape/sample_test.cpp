#include <math/sample.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// Every modifier must drop the cached mean and dispersion; the checks read
// them before each change so that a stale cache would show.
TEST(Sample, PopulationMomentsAndTheLazyCache) {
  Stat::CSample2 s, a, b;
  s.AddVal(7, 3);  // a multiplicity is the same as repeating the value
  s.AddVal(-1, 2);
  EXPECT_DOUBLE_EQ(s.Disp(), 149.0 / 5 - 3.8 * 3.8);  // mean 3.8
  double const v[] = {7, -1, 7, -1, 7};
  a.AddVals(v, 2);
  b.AddVals(v + 2, 3);
  EXPECT_DOUBLE_EQ(a.Mean(), 3.0);
  a += b;
  EXPECT_DOUBLE_EQ(a.Disp(), s.Disp());
  s.AddVal(11, 1);
  EXPECT_DOUBLE_EQ(s.Mean(), 5.0);
  // Deleting the last value leaves the stale cached 0, not 0/0; deleting from
  // empty wraps the count, adding back restores it; null adds nothing.
  Stat::CSample2 one, same;
  one.AddVal(5, 1);
  EXPECT_EQ(one.Mean(), 5.0);
  one.DelVal(5);
  EXPECT_EQ(one.Mean(), 0.0);
  one.DelVal(5);
  EXPECT_EQ(one.Count(), 0xFFFFFFFFu);
  one.AddVal(5, 1);
  one.AddVals(nullptr, 4);
  EXPECT_EQ(one.Count(), 0u);
  // 0.1 is not representable: sum(v^2)/n - mean^2 rounds a hair below 0,
  // stored as 0 (and recomputed on each access), never a NaN sigma.
  same.AddVal(0.1, 3);
  EXPECT_TRUE(same.Sigma() == 0 && same.Sigma() == 0);
}

TEST(LenEstimation, ClassesFollowStandardDeviations) {
  // The thresholds, computed once per process, are exactly the likelihoods
  // at 2, 1 and 0.5 sigma; a value within 1e-12 below one starts its class.
  CLenEstimation const le, again;
  double const sigmas[] = {2, 1, 0.5};
  for (int i = 0; i < 3; ++i) {
    double const t = CEstimation::ExpFactor(sigmas[i], 1);
    EXPECT_TRUE(le.Classify(t) == i + 1 && again.Classify(t - 1e-13) == i + 1 && le.Classify(t - 1e-11) == i) << i;
  }
  EXPECT_TRUE(le.Classify(-1e-11) == -1 && le.Classify(-1e-13) == 0 && le.Classify(std::nan("")) == -1);
  // Five 8s and five 12s: mean 10, sigma 2, no small-sample floor.
  Stat::CSample2 s;
  s.AddVal(8, 5);
  s.AddVal(12, 5);
  struct Case { double len; int cls; };
  for (Case const& c : {Case{10.8, 3}, Case{11.4, 2}, Case{8.6, 2}, Case{13, 1}, Case{16, 0}, Case{3, 0}}) {
    EXPECT_EQ(le.Classify(CLenEstimation::Estimate(c.len, s, false)), c.cls) << c.len;
  }
  EXPECT_EQ(le.Classify(CLenEstimation::Estimate(16, s, true)), 0);  // one-sided still penalises longer

  struct Row { char const* name; double v; unsigned n; double len; bool oneSided; double expected; };
  for (Row const& r : {Row{"three 10s: sigma floored at 10 / 5", 10, 3, 12, false, std::exp(-0.5)},
                       Row{"shorter, two-sided", 10, 3, 8, false, std::exp(-0.5)},
                       Row{"shorter, one-sided", 10, 3, 8, true, 1}, Row{"empty, at the mean", 0, 0, 0, false, 1},
                       Row{"empty, off the mean", 0, 0, 3, false, 0}, Row{"flat, at the mean", 4, 10, 4, false, 1},
                       Row{"flat, off the mean", 4, 10, 4.5, false, 0}}) {
    Stat::CSample2 t;
    t.AddVal(r.v, r.n);
    EXPECT_DOUBLE_EQ(CLenEstimation::Estimate(r.len, t, r.oneSided), r.expected) << r.name;
  }
}

TEST(DirMeasure, FactorsOfTheAngle) {
  struct Case { CPointD a, b; double f[5]; };  // modes 0..3 and an unknown mode
  for (Case const& c : {Case{{2, 0}, {0, -3}, {0.5, 0.5, 0, 1, 0}}, Case{{1, 2}, {-2, -4}, {0, 1, 1, 0, 0}},
                        Case{{1, 0}, {1, std::sqrt(3.0)}, {0.75, 0.25, 0.5, std::sqrt(0.75), 0}}}) {
    // sqrt(1 - c^2) turns the last bit of c near +-1 into 2e-8.
    for (int m = 0; m < 5; ++m) EXPECT_NEAR(CDirMeasure::Factor(c.a, c.b, m < 4 ? m : 7), c.f[m], 1e-7) << m;
  }
  // Parallel vectors whose cosine rounds to 1 + 2^-52 are clamped: a sine of
  // 0, not a NaN. Zero vectors are not guarded: a NaN, not a made-up factor.
  CPointD const a{-0.27, 2.19};
  EXPECT_TRUE(CDirMeasure::Factor(a, a * 8.0, 3) == 0 && CDirMeasure::Factor(a, a * 8.0, 0) == 1);
  EXPECT_TRUE(std::isnan(CDirMeasure::Factor({0, 0}, {1, 0}, 0)));
}

}  // namespace
