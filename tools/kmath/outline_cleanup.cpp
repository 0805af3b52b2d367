#include "outline_cleanup.h"

#include <math/kmath.h>

#include <cmath>

namespace kmath_tool {

namespace {

bool Square(Ring& ring, CleanupOptions const& o) {
  // Each call owns its record: the squarer writes its results into it.
  Math::CPolyOrtho::CParams params(o.squareRatio, o.minSide);
  params.nCorners = 1000;
  return Math::CPolyOrtho(params)(ring);
}

// Cubic pieces fitted to the traced staircase itself (not its reduction:
// the fit wants every pixel step), within a pixel, corners sharper than
// 50 degrees kept, flattened within a third of a pixel.
// The fit holds the curve to the polyline's vertices only; a traced outline
// merges collinear pixel edges into long segments (along the raster's border,
// say), between whose ends an unconstrained curve would bulge. Points every
// pixel along them keep the curve on the trace.
Ring SplitLongSegments(Ring const& ring, double step) {
  Ring out;
  out.reserve(ring.size());
  for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
    CPointD const a = ring[i], b = ring[i + 1];
    out.push_back(a);
    int const pieces = static_cast<int>(std::ceil(std::hypot(b.x - a.x, b.y - a.y) / step));
    for (int k = 1; k < pieces; ++k) out.push_back(a + (b - a) * (static_cast<double>(k) / pieces));
  }
  if (!ring.empty()) out.push_back(ring.back());
  return out;
}

bool Smooth(Ring& ring, CleanupOptions const& o) {
  Ring dense = SplitLongSegments(ring, 1.0);
  if (!Math::BezierSmoothing(dense, o.smoothTolerance, o.cornerAngle, o.chordTolerance)) return false;
  ring = std::move(dense);
  return true;
}

}  // namespace

CleanedOutline CleanOutline(std::vector<Ring> const& rings, CleanupOptions const& o) {
  CleanedOutline out;
  out.applied = "reduced";
  if (o.mode == CleanupMode::Raw) {
    out.rings = rings;
    out.applied = "raw";
    return out;
  }
  // The outer ring decides for the whole region; holes follow its choice
  // where they can (a hole the squarer refuses keeps its reduction).
  CleanupMode decided = o.mode;
  bool outerDone = false;
  for (std::size_t r = 0; r < rings.size(); ++r) {
    Ring ring = rings[r];
    Ring const traced = ring;
    Math::PolyApprox(ring, o.tolerance, o.maxChord);
    if (ring.size() < 4) {
      if (r == 0) return CleanedOutline{};
      continue;
    }
    bool done = false;
    if (decided == CleanupMode::Auto) {
      done = Square(ring, o);
      decided = done ? CleanupMode::Square : CleanupMode::Smooth;
    } else if (decided == CleanupMode::Square) {
      done = Square(ring, o);
    }
    if (decided == CleanupMode::Smooth) {
      Ring curve = traced;
      done = Smooth(curve, o) && curve.size() >= 4;
      if (done) ring = std::move(curve);
    }
    if (r == 0) outerDone = done;
    out.rings.push_back(std::move(ring));
  }
  if (outerDone) out.applied = decided == CleanupMode::Square ? "squared" : "smoothed";
  return out;
}

}  // namespace kmath_tool
