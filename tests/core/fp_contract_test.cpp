// Built with -ffp-contract=fast: the header's inline arithmetic must still
// round every product on its own, as the library does.
#include <math/line.h>

#include <gtest/gtest.h>

namespace {

// 1 + 2^-30: its square is 1 + 2^-29 + 2^-60, and the 2^-60 is lost when the
// product is rounded on its own but kept when it is fused into an add.
constexpr double kA = 1.0 + 1.0 / (1u << 30);

// The same sum as CLine::Value, written here so this file's flags decide:
// with FMA it is contracted, which shows that the test can tell.
__attribute__((target("fma"), noinline)) double ContractedHere(double x, double c, double y, double s) {
  return x * c + y * s;
}

__attribute__((target("fma"), noinline)) double ValueFromHere(Math::CLine const& l, CPointD const& p) {
  return l.Value(p);
}

TEST(FpContract, InlineLineValueRoundsEachProductUnderCallersFastContraction) {
  if (!__builtin_cpu_supports("fma")) GTEST_SKIP() << "no FMA on this processor";
  // Rounded separately the products are 1 + 2^-29 and its negative: 0. Any
  // fused form leaves +-2^-60.
  // Read at run time, so the compiler cannot fold the sums away.
  volatile double opaque = kA;
  double const a = opaque;
  ASSERT_NE(ContractedHere(a, a, -a, a), 0.0) << "this file is not compiled with contraction";
  EXPECT_EQ(ValueFromHere(Math::CLine(a, a, 0.0), CPointD{a, -a}), 0.0);
}

}  // namespace
