// Centre lines of thin shapes: the inner medial axis of a traced outline,
// cleaned of the branches its boundary noise grows, as polylines.
#pragma once

#include <math/polygon.h>
#include <math/types.h>

#include <vector>

namespace Math {

// One centre line: a polyline from an end point or junction to the next
// (a closed loop repeats its first point), with the half-width (distance to
// the outline) at every vertex when asked for, else an empty vector.
struct CCenterLine {
  std::vector<CPointD> pts;
  std::vector<double> halfWidths;
};

// The centre lines of the polygon (even-odd rings, as traced: no two edges
// may cross). The medial axis comes from the Voronoi diagram of the ring
// edges (Boost.Polygon, on integer sites scaled as voronoigraph.h
// describes): the parts of its edges inside the polygon, bisectors between
// an edge and its own end points left out. Branches are pruned from the
// leaves inwards: a branch from an end point to a junction is removed while
// its length, less the amount by which the junction's inscribed circle is
// larger than the end's (the part of any branch that merely runs into a
// corner of that circle), is below dPrune; a branch between two end points
// always stays. Parabolic pieces are sampled within a quarter of
// dTolerance, then each line is reduced with PolyApprox(dTolerance, no
// chord limit) (polyapprox.h), so its vertices are a subset of the medial
// axis points. Lines come ordered by their first point (y, then x).
// Returns false and leaves `lines` untouched when a ring has fewer than
// three distinct vertices, is not closed (first and last point within
// 1e-12), or has a NaN or infinite coordinate; an empty polygon gives true
// and no lines. O(n log n) in the number of ring vertices.
KMATH_API bool CenterLines(CStdPlgn const& plgn, double dPrune, double dTolerance, std::vector<CCenterLine>& lines,
                           bool bHalfWidths = false);

}  // namespace Math
