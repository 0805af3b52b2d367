// What `trace` does to each traced outline after reducing it: square it
// when it is right-angled, smooth it when it is curved, or leave the
// reduction as it is.
//
// The rectilinearity test is the squarer's own acceptance: an outline is
// right-angled when CPolyOrtho can build a squared outline within its
// deviation bound of the reduced trace (root-mean-square 0.64 px with the
// settings below, sides of at least 1.5 px). Everything else is curved: its
// traced staircase is fitted with cubic pieces that keep its corners.
#pragma once

#include <string>
#include <vector>

#include "geometry.h"

namespace kmath_tool {

enum class CleanupMode { Auto, Square, Smooth, LinesOnly, Raw };

struct CleanupOptions {
  CleanupMode mode = CleanupMode::Auto;
  double tolerance = 0.9;  // pixels: the reduction before squaring or smoothing
  double maxChord = 1e300;
  double minSide = 1.5;   // pixels: shortest wall a squared outline keeps
  double squareRatio = 0.3;  // squarer's dRatio: its deviation bound is dMinSide * dRatio / (1 - dRatio)
  double smoothTolerance = 1.0;  // pixels: the curve fit's largest distance from the traced staircase
  double cornerAngle = 0.8726646259971648;  // radians (50 degrees): sharper turns stay corners
  double chordTolerance = 0.3;  // pixels: flattening of the fitted curve, below the raster's own precision
};

struct CleanedOutline {
  std::vector<Ring> rings;  // outer ring first, then holes, each closed
  std::string applied;      // "squared", "smoothed", "reduced", "raw"
};

// Cleans one region (outer ring and holes, pixel-corner coordinates).
// Rings that collapse are dropped; an empty result means the outer ring
// collapsed. Safe to call from several threads at once.
CleanedOutline CleanOutline(std::vector<Ring> const& rings, CleanupOptions const& o);

}  // namespace kmath_tool
