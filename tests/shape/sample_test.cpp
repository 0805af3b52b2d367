#include <math/sample.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// Every modifier must drop the cached mean and dispersion; the checks read
// them before each change so that a stale cache would show.
TEST(Sample, PopulationMomentsAndTheLazyCache) {
  Stat::CSample2 s, a, b, one, same;
  double const v[] = {7, -1, 7, -1, 7}, disp = 149.0 / 5 - 3.8 * 3.8;  // mean 3.8
  s.AddVal(7, 3);  // a multiplicity is the same as repeating the value
  s.AddVal(-1, 2);
  a.AddVals(v, 2);
  b.AddVals(v + 2, 3);
  EXPECT_DOUBLE_EQ(s.Disp(), disp);
  EXPECT_DOUBLE_EQ(a.Mean(), 3.0);
  a += b;
  s.AddVal(11, 1);
  EXPECT_DOUBLE_EQ(a.Disp(), disp);
  EXPECT_DOUBLE_EQ(s.Mean(), 5.0);
  // Deleting the last value leaves the stale cached 0, not 0/0; deleting from
  // empty wraps the count, adding back restores it; null adds nothing.
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

TEST(LenEstimation, LikelihoodAndClassesFollowStandardDeviations) {
  // The thresholds, computed once per process, are exactly the likelihoods
  // at 2, 1 and 0.5 sigma; a value within 1e-12 below one starts its class.
  CLenEstimation const le, again;
  for (int i = 0; i < 3; ++i) {
    double const t = CEstimation::ExpFactor(std::ldexp(2.0, -i), 1);  // 2, 1, 0.5
    EXPECT_TRUE(le.Classify(t) == i + 1 && again.Classify(t - 1e-13) == i + 1 && le.Classify(t - 1e-11) == i) << i;
  }
  EXPECT_TRUE(le.Classify(-1e-11) == -1 && le.Classify(-1e-13) == 0 && le.Classify(std::nan("")) == -1);

  // n values v and m values w. Five 8s and five 12s: mean 10, sigma 2, no
  // small-sample floor; three 10s: sigma floored at 10 / 5.
  struct Row {
    char const* name;
    double v;
    unsigned n;
    double w;
    unsigned m;
    double len;
    bool one;
    double want;
  };
  for (Row const& r : {Row{"1.5 sigma", 8, 5, 12, 5, 13, false, std::exp(-9.0 / 8)},
                       Row{"3 sigma, one-sided", 8, 5, 12, 5, 16, true, std::exp(-4.5)},
                       Row{"floored, shorter", 10, 3, 0, 0, 8, false, std::exp(-0.5)},
                       Row{"shorter, one-sided", 10, 3, 0, 0, 8, true, 1}, Row{"empty", 0, 0, 0, 0, 3, false, 0},
                       Row{"flat, at the mean", 4, 10, 0, 0, 4, false, 1}, Row{"flat", 4, 10, 0, 0, 4.5, false, 0}}) {
    Stat::CSample2 t;
    t.AddVal(r.v, r.n);
    t.AddVal(r.w, r.m);
    EXPECT_DOUBLE_EQ(CLenEstimation::Estimate(r.len, t, r.one), r.want) << r.name;
  }
}

TEST(DirMeasure, FactorsOfTheAngle) {
  // Modes 0..3 and an unknown mode; sqrt(1 - c^2) turns the last bit of c
  // near +-1 into 2e-8.
  struct Case {
    CPointD a, b;
    double f[5];
  };
  for (Case const& c : {Case{{2, 0}, {0, -3}, {0.5, 0.5, 0, 1, 0}}, Case{{1, 2}, {-2, -4}, {0, 1, 1, 0, 0}},
                        Case{{1, 0}, {1, std::sqrt(3.0)}, {0.75, 0.25, 0.5, std::sqrt(0.75), 0}}})
    for (int m = 0; m < 5; ++m) EXPECT_NEAR(CDirMeasure::Factor(c.a, c.b, m < 4 ? m : 7), c.f[m], 1e-7) << m;
  // Parallel vectors whose cosine rounds to 1 + 2^-52 are clamped: a sine of
  // 0, not a NaN.
  CPointD const a{-0.27, 2.19};
  EXPECT_TRUE(CDirMeasure::Factor(a, a * 8.0, 3) == 0 && CDirMeasure::Factor(a, a * 8.0, 0) == 1);
}

}  // namespace
