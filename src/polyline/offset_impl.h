// The loop removal behind PolyOffset: the region a set of closed raw offset
// loops winds around positively, and its boundary.
#pragma once

#include <math/types.h>

#include <vector>

namespace Math::curvefit_detail {

// A closed loop; tags[i] labels the segment pts[i] -> pts[(i + 1) % n].
struct CLoop {
  std::vector<CPointD> pts;
  std::vector<unsigned char> tags;
};

// Splits every segment of the loops at every crossing and touch with another
// (a uniform grid finds the candidate pairs), merges overlapping pieces into
// one edge carrying their net direction count, walks the faces of the planar
// arrangement and gives each its winding number (0 outside, one step per
// crossed edge). The boundary of {winding > 0} then keeps the region on its
// left and turns as sharply left as it can at a vertex where parts of the
// region touch, so no output crosses or touches itself.
// tag < 0: `out` receives the boundary rings, closed (first point repeated),
// outer rings counter-clockwise and holes clockwise.
// tag >= 0: `out` receives the maximal chains of boundary edges that carry
// that tag, in the direction the loops traverse them (a chain that closes
// on itself repeats its first point).
void WindingBoundary(std::vector<CLoop> const& loops, int tag, std::vector<std::vector<CPointD>>& out);

}  // namespace Math::curvefit_detail
