// The hostile values every suite feeds the library, and the one check for
// its failure value.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

namespace kmath_test {

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInf = std::numeric_limits<double>::infinity();

// The library's failure value has all 64 bits set; callers may test bits,
// so isnan alone would let a wrong NaN through.
inline bool IsBad(double d) {
  std::uint64_t u;
  std::memcpy(&u, &d, sizeof u);
  return u == ~std::uint64_t{0};
}

}  // namespace kmath_test
