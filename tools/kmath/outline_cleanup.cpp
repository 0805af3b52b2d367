#include "outline_cleanup.h"

#include <math/kmath.h>

namespace kmath_tool {

CleanedOutline CleanOutline(std::vector<Ring> const& rings, CleanupOptions const& o) {
  CleanedOutline out;
  out.applied = "reduced";
  for (std::size_t r = 0; r < rings.size(); ++r) {
    Ring ring = rings[r];
    Math::PolyApprox(ring, o.tolerance, o.maxChord);
    if (ring.size() < 4) {
      if (r == 0) return CleanedOutline{};
      continue;
    }
    out.rings.push_back(std::move(ring));
  }
  return out;
}

}  // namespace kmath_tool
