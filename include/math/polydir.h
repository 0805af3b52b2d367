// Which way a polyline runs as a whole, its generalisation into straight runs
// meeting at corners, and how far one polyline strays from another.
//
// Angles are radians from +x towards +y. An outline traced on a pixel grid
// steps along the grid, so its own edges only ever point along the axes or
// the diagonals. The direction functions therefore first straighten the
// polyline (PolyInflections, polyapprox.h) at a deviation of the median edge
// length, at most 1: one pixel for traced outlines, less for vector data whose
// edges are shorter. The straight stretches left are the "runs" whose
// directions, weighted by their chord lengths, are measured.
#pragma once

#include <math/types.h>

#include <utility>
#include <vector>

namespace Math {

// The dominant direction of a polyline modulo 90 degrees, in [0, pi/2): the
// direction of the axes of a right-angled outline, robust to the staircase of
// a trace. `d` is the angular resolution: runs whose directions lie within d
// of each other (modulo 90 degrees) vote together, and the direction with the
// largest total run length wins (of equal votes the smaller angle). The
// answer is then refined by one least-squares fit of two perpendicular
// families of parallel lines to the points of the runs that voted, so it is
// finer than d. Costs O(n log n).
// The all-ones NaN when pts is null, n < 2, a coordinate is NaN or infinite,
// d is not in (0, pi/4], or the polyline has no length.
KMATH_API double PolyBaseDir(CPointD const* pts, unsigned n, double d);

// The distinct directions of a polyline modulo 180 degrees. On success `out`
// is replaced by one pair per direction: a unit vector with its angle in
// [0, pi), and that direction's share of the total run length (the shares sum
// to 1), heaviest first, equal shares by increasing angle. The run directions
// are sorted round the half circle and neighbours closer than `d` (radians)
// join one direction (single linkage: a gently curving line that never turns
// by d between runs stays one direction); each direction is the
// length-weighted mean of its runs. So a rectangle or an L-shape gives its
// two axes and a hexagon its three side directions. Costs O(n log n).
// Bad input as for PolyBaseDir, with d in (0, pi/2]: `out` is left unchanged.
KMATH_API void PolyDirClusters(CPointD const* pts, unsigned n, std::vector<std::pair<CPointD, double>>& out,
                               double d);

// Generalises a traced curve into straight runs meeting at corners placed at
// the intersection of the runs' fitted lines, not at traced vertices.
// The stretches of PolyInflections at deviation `dTolerance` are joined while
// one total-least-squares line holds them within dTolerance; the runs are
// those whose chords are at least `dMinRun` long, each with the line fitted
// through its points (its first and last points left out when it has four or
// more, as they belong to the corners). Shorter stretches are dropped, and so
// is a run whose two neighbours' lines cross within 2 dTolerance of its own
// line: the bevel a trace cuts at a corner. Neighbouring runs that are
// parallel (sine of their angle below 0.05) and each within dTolerance of the
// other's line become one. Consecutive lines meet at their intersection
// unless they are parallel or it lies farther from the two runs' ends than
// twice the gap between them plus dMinRun; then the runs are joined by a step
// from the end of the first, projected on its line, to the start of the
// next, projected on its line.
// `bClosed`: the polyline is a ring (whether or not it repeats its first point
// at the end); the result is a ring of the corners, its first point repeated
// at the end. Otherwise it is open and `bKeepEnds` says whether its first and
// last points stay where they are (else they are projected onto the first and
// last runs' lines); bKeepEnds has no effect on a ring.
// True when `poly` was replaced. False, `poly` unchanged, when it has fewer
// than 2 points (3 for a ring), a NaN or infinite coordinate, dTolerance not
// above 0 or not finite, dMinRun negative or NaN, no run (a ring: fewer than
// 3 runs), or when the result equals the input. Costs O(n log n).
KMATH_API bool PolyBroken(std::vector<CPointD>& poly, double dTolerance, double dMinRun, bool bClosed,
                          bool bKeepEnds);

// PolyBroken with the minimum run length 3 * dTolerance: a run must be long
// enough that its direction is known to better than the tolerance allows
// a single step to bend it.
KMATH_API bool PolyBroken2(std::vector<CPointD>& poly, double dTolerance, bool bClosed, bool bKeepEnds);

// The deviation profile of `a` against the reference polyline `b`: for each
// vertex of a, in order, the pair (x = arc length along b of the nearest
// point of b, y = the signed distance to it, positive on the left of b's
// direction of travel, y up). Of equally near segments the earliest wins, so
// the arc length is the one a walk from b's start meets first. Where the
// nearest point is a vertex of b between two segments, the side is decided
// by both segments (a point in the wedge outside a convex corner is outside).
// b with one point (or all points equal): arc length 0 and the distance,
// positive. Empty when a or b is empty or b has a NaN or infinite coordinate;
// a vertex of a that is not finite gets the all-ones NaN in both fields.
// Costs O((n + m) log m) for n vertices of a and m of b: b's segments go into
// an R-tree.
KMATH_API std::vector<CPointD> PolyDistances(std::vector<CPointD> const& a, std::vector<CPointD> const& b);

}  // namespace Math
