// What the polyline tests share: the includes, the point list and the two
// ways a result can be "untouched" or "failed".
#pragma once

#include <math/types.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "xy_reader.h"

namespace polyline_test {

using Pts = std::vector<CPointD>;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Equal bit for bit, NaN included: what "left untouched" means.
inline bool Same(Pts const& a, Pts const& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(CPointD)) == 0);
}

// The library's failure value has all 64 bits set.
inline bool AllOnes(double d) { std::uint64_t u; std::memcpy(&u, &d, sizeof u); return u == ~std::uint64_t{0}; }

}  // namespace polyline_test
