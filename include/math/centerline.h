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
// describes), keeping the parts of its edges inside the polygon except
//  - bisectors between an edge and its own end points,
//  - edges that reach the outline (they run into convex corners), and
//  - edges whose inscribed circles touch the outline at two points between
//    which the outline is longer than the chord by less than dPrune: there
//    the circle sits in a dent of boundary noise; along a stroke the
//    outline between the touch points runs round the stroke's end, so
//    lines stop about dPrune / 2 short of the ends.
// Then leaf branches (from an end point to a junction) are removed pass by
// pass while their length, less the amount by which the junction's
// inscribed circle is larger than the end's, is below dPrune; per pass a
// junction keeps at least two branches, losing its weakest first. What is
// left is cut into polylines between end points and junctions (a loop
// without junctions repeats its first point at the end). Parabolic pieces
// are sampled within a quarter of dTolerance, then each line is reduced
// with CPolyApprox(dTolerance, no chord limit) (polyapprox.h), so its
// vertices are points of the medial axis. Lines come ordered by their first
// point (y, then x). Returns false and leaves `lines` untouched when a ring
// has fewer than three distinct vertices, is not closed (first and last
// point within 1e-12), or has a NaN or infinite coordinate; an empty
// polygon gives true and no lines. O(n log n) in the number of ring
// vertices, plus one point-in-polygon test per ring.
KMATH_API bool CenterLines(CStdPlgn const& plgn, double dPrune, double dTolerance, std::vector<CCenterLine>& lines,
                           bool bHalfWidths = false);

}  // namespace Math
