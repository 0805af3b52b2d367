// What `trace` does to each traced outline after reducing it: square it
// when it is right-angled, smooth it when it is curved, or leave the
// reduction as it is.
#pragma once

#include <string>
#include <vector>

#include "geometry.h"

namespace kmath_tool {

enum class CleanupMode { Auto, Square, Smooth, LinesOnly };

struct CleanupOptions {
  CleanupMode mode = CleanupMode::Auto;
  double tolerance = 1.0;  // pixels: reduction and squaring tolerance
  double maxChord = 1e300;
};

struct CleanedOutline {
  std::vector<Ring> rings;  // outer ring first, then holes, each closed
  std::string applied;      // "squared", "smoothed", "reduced"
};

// Cleans one region (outer ring and holes, pixel-corner coordinates).
// Rings that collapse are dropped; an empty result means the outer ring
// collapsed.
CleanedOutline CleanOutline(std::vector<Ring> const& rings, CleanupOptions const& o);

}  // namespace kmath_tool
