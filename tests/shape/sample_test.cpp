#include <math/sample.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

double const kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Sample, MeanAndPopulationDispersion) {
  Stat::CSample2 s;
  EXPECT_EQ(s.Count(), 0u);
  EXPECT_EQ(s.Mean(), 0.0);
  EXPECT_EQ(s.Disp(), 0.0);
  EXPECT_EQ(s.Sigma(), 0.0);

  double const v[] = {1, 2, 3, 4};
  s.AddVals(v, 4);
  EXPECT_EQ(s.Count(), 4u);
  EXPECT_DOUBLE_EQ(s.Mean(), 2.5);
  EXPECT_DOUBLE_EQ(s.Disp(), 1.25);  // (1 + 4 + 9 + 16) / 4 - 6.25
  EXPECT_DOUBLE_EQ(s.Sigma(), std::sqrt(1.25));

  // A multiplicity is the same as repeating the value.
  Stat::CSample2 k, r;
  k.AddVal(7, 3);
  k.AddVal(-1, 2);
  double const rep[] = {7, 7, 7, -1, -1};
  r.AddVals(rep, 5);
  EXPECT_EQ(k.Count(), r.Count());
  EXPECT_DOUBLE_EQ(k.Mean(), r.Mean());
  EXPECT_DOUBLE_EQ(k.Disp(), r.Disp());

  // Merging two samples equals one sample of all values.
  Stat::CSample2 a, b, all;
  double const x[] = {0.5, 9, -3}, y[] = {4, 4.25};
  a.AddVals(x, 3);
  b.AddVals(y, 2);
  all.AddVals(x, 3);
  all.AddVals(y, 2);
  a += b;
  EXPECT_EQ(a.Count(), 5u);
  EXPECT_DOUBLE_EQ(a.Mean(), all.Mean());
  EXPECT_DOUBLE_EQ(a.Disp(), all.Disp());
}

TEST(Sample, EveryModifierInvalidatesTheCache) {
  Stat::CSample2 s;
  double const v[] = {1, 2, 3};
  s.AddVals(v, 3);
  EXPECT_DOUBLE_EQ(s.Mean(), 2.0);  // cached with a non-zero dispersion
  s.AddVal(10, 1);
  EXPECT_DOUBLE_EQ(s.Mean(), 4.0);
  s.DelVal(10);
  EXPECT_DOUBLE_EQ(s.Mean(), 2.0);
  Stat::CSample2 t;
  t.AddVal(8, 3);
  s += t;
  EXPECT_DOUBLE_EQ(s.Mean(), 30.0 / 6);
  Stat::CSample2 copy;
  copy = s;
  EXPECT_EQ(copy.Count(), 6u);
  EXPECT_DOUBLE_EQ(copy.Disp(), s.Disp());
  // AddVal(v, 0) adds nothing; the cache is refreshed to the same values.
  double const before = s.Disp();
  s.AddVal(1e6, 0);
  EXPECT_EQ(s.Count(), 6u);
  EXPECT_DOUBLE_EQ(s.Disp(), before);
}

TEST(Sample, IdenticalValuesAndEmptiedSamples) {
  // 0.1 is not representable: sum(v^2)/n - mean^2 rounds a hair below 0,
  // which must not make Sigma a NaN.
  Stat::CSample2 s;
  s.AddVal(0.1, 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(s.Mean(), 0.1, 1e-16);
    EXPECT_EQ(s.Disp(), 0.0);
    EXPECT_EQ(s.Sigma(), 0.0);
  }
  Stat::CSample2 one;
  one.AddVal(5, 1);
  EXPECT_EQ(one.Mean(), 5.0);
  one.DelVal(5);
  EXPECT_EQ(one.Count(), 0u);
  EXPECT_EQ(one.Mean(), 0.0);  // stale cached 0
  // Deleting from an empty sample does not wrap the count round.
  one.DelVal(5);
  EXPECT_EQ(one.Count(), 0u);
  one.AddVals(nullptr, 4);
  EXPECT_EQ(one.Count(), 0u);
}

TEST(Estimation, ClassifyByThresholdsWithTolerantEdges) {
  CEstimation const e(0, 1, 2, 3);
  struct Case {
    double v;
    int cls;
  };
  for (Case const& c : {Case{-0.5, -1}, Case{-1e-11, -1}, Case{-1e-13, 0}, Case{0, 0}, Case{0.5, 0},
                        Case{1 - 1e-11, 0}, Case{1 - 1e-13, 1}, Case{1, 1}, Case{2.5, 2}, Case{3 - 1e-13, 3},
                        Case{3, 3}, Case{1e300, 3}, Case{kNaN, -1}}) {
    EXPECT_EQ(e.Classify(c.v), c.cls) << c.v;
  }
  EXPECT_DOUBLE_EQ(CEstimation::ExpFactor(2, 1), std::exp(-2.0));
  EXPECT_DOUBLE_EQ(CEstimation::ExpFactor(3, 4.5), std::exp(-1.0));
}

TEST(LenEstimation, SmallSampleUsesAFifthOfTheMean) {
  Stat::CSample2 s;
  s.AddVal(10, 3);
  // Dispersion 0, but fewer than 5 values: sigma at least 10 / 5 = 2.
  double const e = CLenEstimation::Estimate(12, s, false);
  EXPECT_DOUBLE_EQ(e, std::exp(-0.5));
  CLenEstimation const le;
  EXPECT_EQ(le.Classify(e), 2);
  EXPECT_EQ(CLenEstimation::Estimate(8, s, true), 1.0);
  EXPECT_DOUBLE_EQ(CLenEstimation::Estimate(8, s, false), std::exp(-0.5));
}

TEST(LenEstimation, ClassesFollowStandardDeviations) {
  // Five 8s and five 12s: mean 10, sigma 2, no small-sample floor.
  Stat::CSample2 s;
  s.AddVal(8, 5);
  s.AddVal(12, 5);
  ASSERT_DOUBLE_EQ(s.Sigma(), 2.0);
  CLenEstimation const le;
  struct Case {
    double len;
    int cls;
  };
  for (Case const& c : {Case{10, 3}, Case{10.8, 3}, Case{11.4, 2}, Case{8.6, 2}, Case{13, 1}, Case{16, 0},
                        Case{3, 0}}) {
    EXPECT_EQ(le.Classify(CLenEstimation::Estimate(c.len, s, false)), c.cls) << c.len;
  }
  // A longer length is penalised even one-sided.
  EXPECT_EQ(le.Classify(CLenEstimation::Estimate(16, s, true)), 0);
}

TEST(LenEstimation, EmptyOrFlatSamplesGiveNoNaN) {
  Stat::CSample2 empty;
  EXPECT_EQ(CLenEstimation::Estimate(0, empty, false), 1.0);
  EXPECT_EQ(CLenEstimation::Estimate(3, empty, false), 0.0);
  Stat::CSample2 flat;
  flat.AddVal(4, 10);
  EXPECT_EQ(CLenEstimation::Estimate(4, flat, false), 1.0);
  EXPECT_EQ(CLenEstimation::Estimate(4.5, flat, false), 0.0);
}

TEST(DirMeasure, FactorsOfTheAngle) {
  struct Case {
    CPointD a, b;
    double f[5];  // modes 0..3 and an unknown mode
  };
  for (Case const& c : {Case{{2, 0}, {0, -3}, {0.5, 0.5, 0, 1, 0}}, Case{{1, 1}, {3, 3}, {1, 0, 1, 0, 0}},
                        Case{{1, 2}, {-2, -4}, {0, 1, 1, 0, 0}},
                        Case{{1, 0}, {1, std::sqrt(3.0)}, {0.75, 0.25, 0.5, std::sqrt(0.75), 0}}}) {
    for (int mode = 0; mode < 5; ++mode) {
      double const got = CDirMeasure::Factor(c.a, c.b, mode == 4 ? 7 : mode);
      EXPECT_FALSE(std::isnan(got));
      // sqrt(1 - c^2) turns the last bit of c near +-1 into 2e-8.
      EXPECT_NEAR(got, c.f[mode], mode == 3 ? 1e-7 : 1e-15) << c.a.x << "," << c.a.y << " mode " << mode;
    }
  }
  // Parallel vectors whose cosine rounds to 1 + 2^-52 (checked in double
  // arithmetic) still give a sine of 0, and a same-direction factor of 1.
  struct Pair {
    CPointD a;
    double k;
  };
  for (Pair const& p : {Pair{{-0.27, 2.19}, 8.0}, Pair{{2.14, 4.21}, 3.9}, Pair{{3.79, -4.03}, 1.7}}) {
    EXPECT_EQ(CDirMeasure::Factor(p.a, p.a * p.k, 3), 0.0);
    EXPECT_EQ(CDirMeasure::Factor(p.a, p.a * p.k, 0), 1.0);
  }
  // Zero vectors are not guarded: a NaN, not a made-up factor.
  EXPECT_TRUE(std::isnan(CDirMeasure::Factor({0, 0}, {1, 0}, 0)));
}

}  // namespace
