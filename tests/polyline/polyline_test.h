// What the polyline tests share: the includes, the point list and the two
// ways a result can be "untouched" or "failed".
#pragma once

#include <math/types.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "test_values.h"
#include "xy_reader.h"

namespace polyline_test {

using Pts = std::vector<CPointD>;
using kmath_test::IsBad;
using kmath_test::kInf;
using kmath_test::kNaN;

// Equal bit for bit, NaN included: what "left untouched" means.
inline bool Same(Pts const& a, Pts const& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(CPointD)) == 0);
}

}  // namespace polyline_test
