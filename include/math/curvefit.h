// What turns a traced staircase into a drawn outline: fitting with cubic
// Bézier pieces that keep the corners, corner-preserving smoothing, smooth
// joins of two polylines, and parallel offsets.
//
// All work on vectors of CPointD edited in place and return whether they
// changed them; on failure the caller's vector is left exactly as it was.
// A polyline is closed when its first and last points are closer than 1e-12.
// Consecutive points closer than 1e-12 count as one. Geometry is y-up: the
// left of a direction is its counter-clockwise side.
#pragma once

#include <math/types.h>

#include <vector>

namespace Math {

// One cubic Bézier piece: B(t) = (1-t)^3 p0 + 3(1-t)^2 t p1 + 3(1-t) t^2 p2
// + t^3 p3. `bCorner` is true when p0 is a sharp corner (or the start of an
// open chain): the tangent there is not continued from the previous piece.
// Everywhere else a piece starts in the direction its predecessor ends.
struct CBezierPiece {
  CPointD p0;
  CPointD p1;
  CPointD p2;
  CPointD p3;
  bool bCorner;
};

// Fits the polyline with a chain of cubic pieces: every vertex lies within
// `dTolerance` of the chain, the vertices where the polyline turns by more
// than `dCornerAngle` radians (measured at the vertices PolyInflections
// keeps at `dTolerance`, between their neighbouring chords) stay sharp
// corners, and the pieces join with a common tangent direction everywhere
// else (an open chain's ends are corners; a closed ring without corners is
// one smooth loop). Each run between corners is covered greedily by the
// longest pieces that still fit (least squares with Newton
// reparametrisation of the chord-length parameters), so the piece count is
// near the least the tolerance allows; time O(n log n) at worst, linear on
// traced outlines.
// `pieces` receives the chain in order (pieces[k].p3 == pieces[k+1].p0; a
// ring's last piece ends at its first point). False, `pieces` untouched:
// fewer than 2 distinct points, a NaN or infinite coordinate, a tolerance or
// corner angle that is not positive or is NaN.
KMATH_API bool BezierFit(std::vector<CPointD> const& poly, double dTolerance, double dCornerAngle,
                         std::vector<CBezierPiece>& pieces);

// Appends the flattening of the chain to `out`: every piece is cut into
// equal-parameter steps, just enough that no chord strays more than
// `dChordTol` from its piece (the bound (3/4) max|p(i) - 2 p(i+1) + p(i+2)|
// / n^2 on the chord error); corners and piece ends are exact vertices.
// False, `out` untouched: an empty chain, or a chord tolerance that is not
// positive or is NaN, or more than 1e8 points would be needed.
KMATH_API bool BezierFlatten(std::vector<CBezierPiece> const& pieces, double dChordTol,
                             std::vector<CPointD>& out);

// BezierFit then BezierFlatten: the polyline is replaced by the flattened
// chain (closed again when it was closed; corners and the end points are
// kept exactly) and `pieces`, when given, receives the chain. The result lies
// within dTolerance + dChordTol of every original vertex. Returns true when
// the polyline was replaced; any failure of the two steps leaves it (and
// `pieces`) untouched and returns false.
KMATH_API bool BezierSmoothing(std::vector<CPointD>& poly, double dTolerance, double dCornerAngle,
                               double dChordTol, std::vector<CBezierPiece>* pieces = nullptr);

// Corner-preserving smoothing: the polyline keeps its vertex count; the
// corners (as in BezierFit, with the inflections taken at dSigma / 2, which
// sees through a pixel staircase at the usual sigma of 2 pixels)
// and the ends of an open polyline stay where they are, every other vertex
// is replaced by the Gaussian average, along arc length with deviation
// `dSigma`, of its run between corners (a run is mirrored through its fixed
// ends, so a straight run stays straight and the ends do not drift). A
// closed ring then has its area restored: the free vertices move along their
// normals until the signed area is within 1e-9 relative of the original, so
// the ring does not shrink the way repeated three-point smoothing makes it.
// A run's effective deviation is capped at a third of its length.
// False, unchanged: fewer than 3 points, a NaN or infinite coordinate, a
// sigma or corner angle that is not positive or is NaN, or nothing to move
// (every vertex a corner or an end).
KMATH_API bool PolySmoothing(std::vector<CPointD>& poly, double dSigma, double dCornerAngle);

// Joins `b` onto `poly` where an end of one lies within `dJoinTol` of an end
// of the other (pairs tried in the order poly's end to b's start, poly's end
// to b's end, poly's start to b's end, poly's start to b's start; the first
// that meets wins; `b` is reversed where needed so that the result runs
// through poly in poly's own direction). The joint is replaced by one cubic
// piece from the point `dLength` before it (along the first polyline) to the
// point `dLength` after it (along the second), tangent to both there, with
// handles of two thirds of the walked length (so two straight sides give the
// parabola with the joint as control point), flattened within `dChordTol`.
// Vertices farther than `dLength` from the joint along either polyline are
// kept exactly; consecutive repeated points are dropped. A polyline shorter
// than `dLength` is walked to its far end. False, unchanged: either
// polyline with fewer than 2 distinct points, a NaN or infinite coordinate,
// no pair of ends within the tolerance, a negative or NaN tolerance, a
// length or chord tolerance that is not positive or is NaN.
KMATH_API bool PolysSmoothJoin(std::vector<CPointD>& poly, std::vector<CPointD> const& b, double dJoinTol,
                               double dLength, double dChordTol);

// How PolyOffset turns at a vertex on its outer side.
enum EOffsetJoin {
  JoinMiter,  // the sides' offsets extended until they meet, bevelled beyond the limit
  JoinRound,  // an arc around the vertex
  JoinBevel   // a straight chord between the two offset ends
};

// How the closed outline around an open polyline ends.
enum EOffsetCap {
  CapFlat,    // straight across at the end point
  CapRound,   // a half circle around the end point
  CapSquare   // straight across, |d| beyond the end point
};

struct COffsetParams {
  EOffsetJoin eJoin = JoinRound;
  // Largest distance of a miter point from its vertex, in multiples of |d|;
  // a sharper turn is bevelled. Values below 1 act as 1.
  double dMiterLimit = 4.0;
  // Largest distance of a round join's or cap's chords from the true arc.
  // Arcs take at most 100000 chords to a full turn, so a tolerance below
  // about 2e-9 |d| is not met.
  double dChordTol = 0.01;
  // Open polylines only: false gives the offset curve on one side, true the
  // closed outline at |d| around the polyline with the caps below.
  bool bOutline = false;
  EOffsetCap eCap = CapRound;
};

// The parallel offset at signed distance `dDist`, positive to the left of the
// direction of travel (for a counter-clockwise ring: inwards).
// - A closed ring gives the boundary of the ring's region grown (or shrunk)
//   by |dDist|: rings that keep the input ring's orientation around what is
//   inside, the opposite orientation around holes. A ring shrunk past its
//   inscribed radius gives nothing; a narrow neck splits it into several.
// - An open polyline gives its offset curve: the parts of the raw offset that
//   stay at least |dDist| from every part of the polyline, in the
//   polyline's direction; loops at concave turns and across narrow necks are
//   removed, so it may come in several pieces.
// - An open polyline with bOutline gives the rings of its outline, outer
//   rings counter-clockwise, holes clockwise.
// No result crosses itself or another result (they may touch at a point).
// Crossings are found by a grid sweep and the kept parts chosen by their
// winding number, so the time is O((n + k) log(n + k)) for n vertices and
// k crossings of the raw offset.
// Returns true and replaces `result` when the offset is defined (possibly
// with no polyline left). False, `result` untouched: dDist is 0, NaN or
// infinite; fewer than 2 distinct points (a closed ring needs 3); a NaN or
// infinite coordinate; a chord tolerance that is not positive or is NaN; or
// a raw offset point beyond 1e150 in x or y.
KMATH_API bool PolyOffset(std::vector<CPointD> const& poly, double dDist, COffsetParams const& params,
                          std::vector<std::vector<CPointD>>& result);

// The same in place, for callers who expect one polyline back: `poly` is
// replaced when the offset gives exactly one polyline, cleared when it gives
// none (true in both cases); several pieces, or any failure above, leave it
// unchanged and return false.
KMATH_API bool PolyOffset(std::vector<CPointD>& poly, double dDist, COffsetParams const& params);

}  // namespace Math
