// Polygons with holes over the polyline model (polyline.h), and the
// operations on them that need no sweep: point in polygon, holes, point
// classification, clipping by a rectangle and splitting by a polygon.
#pragma once

#include <math/line.h>
#include <math/polyline.h>
#include <math/types.h>

#include <memory>
#include <utility>
#include <vector>

// A polygon with holes: closed CPointD contours under the even-odd rule. No
// contour is marked outer or hole; a contour's role follows from containment.
// After IncludeHoles every contour is an outer ring with negative signed area
// (clockwise, y up) into which its holes (positive area) are spliced.
class KMATH_API CStdPlgn : public Math::mpoly_base<CPointD> {
  using Base = Math::mpoly_base<CPointD>;

 public:
  using Base::Base;
  CStdPlgn() = default;
  CStdPlgn(Base const& contours) : Base(contours) {}
  CStdPlgn(Base&& contours) : Base(std::move(contours)) {}

  // Even-odd crossing test of p against one ring, walking only the pairs
  // ring[i], ring[i+1]: an unclosed ring lacks its closing edge. A pair
  // counts when p.y lies in its y range half-open (lower end in, upper end
  // out), so horizontal edges never count and a vertex at p.y counts for the
  // edge that leaves it upward; a counting pair flips the result when its
  // crossing x, (a.x - b.x) * (p.y - b.y) / (a.y - b.y) + b.x, is strictly
  // greater than p.x. No tolerance: a point on the boundary goes either way.
  // Fewer than two points give false; pairs with a NaN never flip, and a
  // point with a NaN coordinate is never inside.
  static bool PtInside(CPointD const& p, Math::poly_base<CPointD> const& ring);
  // True when p lies inside an odd number of contours (holes exclude).
  bool PtInside(CPointD const& p) const;

  // Splices every hole into the outer contour that holds it, in place.
  // Contours are taken by the left side of their bounding box (NaN
  // coordinates ignored), ascending, ties in input order. A contour C is a
  // hole of the most recently added outer ring O whose first-seen box holds
  // C's box (non-strict) and whose current ring holds the midpoint of C's
  // first segment (static PtInside); otherwise C becomes an outer ring.
  // Holes are turned to positive signed area (area <= 0 within 1e-12 is
  // reversed), outer rings to negative (area > 0 beyond 1e-12 is reversed).
  // The area walks the stored pairs only (no closing edge). Splicing:
  // the hole is rotated to start at its first leftmost vertex and closed on
  // it; the bridge vertex is the outer vertex nearest to that start among
  // those with x <= its x (or within FLT_EPSILON of it), starting from the
  // outer ring's first vertex and replaced only by one nearer by at least
  // FLT_EPSILON; the ring then runs O[k], hole..., O[k], O[k+1], ... and,
  // when O[k] lies within 1e-12 of the hole's start, the hole's duplicate
  // end points are left out. Bridges are not tested for crossings. An island
  // inside a hole is not inside the spliced ring and so becomes an outer
  // ring of its own. The result lists the outer rings by ascending box left.
  // With fewer than two contours nothing changes (whatever the
  // orientation). Degenerate input: a contour of fewer than two points has
  // no first segment and is kept as an outer contour; an unclosed hole gets
  // its last point overwritten by its new start (its last point is not a
  // candidate for the start).
  void IncludeHoles();
};

// Position of a point against the directed edge p0 -> p1, with the relative
// tolerance 1e-8. Two points are near-equal when |p - q| / max(|p|, |q|)
// < 1e-8 (or |p - q| < 1e-8 when neither length exceeds FLT_EPSILON); two
// numbers likewise with their absolute values.
class KMATH_API CClassifyPoint {
 public:
  enum PT_POSITION {
    PT_LEFT = 0,     // (p1 - p0) x (p - p0) > 0: left of the direction, y up
    PT_RIGHT = 1,    // the other side
    PT_BEYOND = 2,   // on the edge's line past p1
    PT_BEHIND = 3,   // on the edge's line before p0
    PT_ON_EDGE = 4,  // near-equal to an end, or on the segment
  };

  explicit CClassifyPoint(Math::CEdge const& edge) : m_edge(edge) {}
  CClassifyPoint& operator=(CClassifyPoint const&) = default;

  // PT_ON_EDGE when p is near-equal to p0 or p1. Otherwise, with d = p1 - p0
  // and v = p - p0, L = v.y * d.x and R = v.x * d.y: when L and R are not
  // near-equal, PT_LEFT if R < L else PT_RIGHT. Collinear: PT_BEHIND when
  // v.x * d.x < 0 or v.y * d.y < 0, PT_BEYOND when |d| < |v|, else
  // PT_ON_EDGE. A zero-length edge reports every other point PT_BEYOND; a
  // NaN coordinate gives PT_RIGHT.
  PT_POSITION operator()(CPointD const& p) const;

 private:
  Math::CEdge m_edge;
};

namespace Math {

// Replaces `polys` by their parts inside the closed rectangle (a point on a
// side is inside), in input order. Each polyline is clipped by
// Sutherland-Hodgman against left, top, right, bottom in turn; a cut point
// lies exactly on its side, its other coordinate interpolated and kept
// between the segment's ends.
// - keepClosed and a closed polyline (more than one point, first and last
//   closer than 1e-12): the result is one closed ring, running along the
//   rectangle's sides where the input ring leaves it (the polygon clip).
//   It may be degenerate (zero area) when the ring only grazes the
//   rectangle; a ring that meets it in one point or not at all is removed.
// - Otherwise the clipped path is cut wherever clipping joined an exit to
//   the next entry, so a piece never runs along a side unless the input
//   did; pieces are the input's stretches inside, in order, each of at
//   least two points (a polyline that only touches the rectangle, or has a
//   single point, yields nothing). An input segment lying on a side is kept.
// Clipping adds no consecutive repeated points (an exit and re-entry at the
// very same point is not a cut); repeated input points inside are kept.
// CPoint3D: z of a cut point is interpolated linearly along the segment.
// tagPOINT: clipped in double precision, then each cut point is rounded
// once to the nearest integer point (half away from zero) and clamped into
// the rectangle's integer range, so a fractional side moves it inward; a cut
// that rounds onto the point before it is dropped. A rectangle holding no
// integer point column or row gives an empty result.
// Bad input: a point with a NaN or infinite x or y lies in no rectangle and
// no segment touching it is cut (an open polyline breaks there; a kept ring
// leaves the point out); a rectangle with left > right, top > bottom or a
// NaN side holds nothing, so the result is empty. Linear in the number of
// points; the argument is replaced only at the end.
KMATH_API void ClipPolyByRect(mpoly_base<CPointD>& polys, CRectD const& rect, bool keepClosed);
KMATH_API void ClipPolyByRect(mpoly_base<CPoint3D>& polys, CRectD const& rect, bool keepClosed);
KMATH_API void ClipPolyByRect(mpoly_base<tagPOINT>& polys, CRectD const& rect, bool keepClosed);

// Splits polylines by one polygon into the pieces inside and the pieces
// outside. Keeps a reference to the polygon: it must outlive the splitter
// and must not change while the splitter is used. Not copyable (it owns its
// segment indexes); movable, and a moved-from splitter outputs nothing.
//
// Points are classified with the absolute tolerance FLT_EPSILON: on the
// boundary (0) when closer than that to any segment of any contour,
// otherwise inside (1) when inside an odd number of contours (the static
// CStdPlgn::PtInside rule), else outside (-1). A point with a NaN or
// infinite coordinate classifies 0 like a boundary point (skipped when
// finding the side, sent where boundary pieces go), and segments of the
// polygon with such a coordinate are ignored.
//
// Cost: construction sorts the segments, O(n log n) for n segments. A call
// with a polyline of m segments costs O(m log m + (k + 1) log n + K +
// c (log n + h)): k polygon segments span the polyline's leftmost x, K pairs
// of polyline and polygon segments overlap in x (a sweep finds them; close
// to the crossings for real outlines with short segments), c pieces are
// classified and h polygon segments span a piece's middle y. Never m * n
// unless the x ranges really all overlap.
class KMATH_API CSplitPoly1 {
 public:
  // `closed`: the polylines given to operator() are closed rings, so the
  // last piece of a result joins its first one through the ring's start.
  CSplitPoly1(CStdPlgn const& plgn, bool closed);
  ~CSplitPoly1();
  CSplitPoly1(CSplitPoly1 const&) = delete;
  CSplitPoly1& operator=(CSplitPoly1 const&) = delete;
  CSplitPoly1(CSplitPoly1&&) noexcept;
  CSplitPoly1& operator=(CSplitPoly1&&) noexcept;

  // Appends the pieces of `poly` inside the polygon to `inside` and those
  // outside to `outside`; what they held is kept and not joined with.
  // - The polyline's side is the class of its first vertex off the boundary,
  //   else of the first segment midpoint off the boundary counting from the
  //   second segment (the first segment's midpoint is never asked), else 0:
  //   then nothing is output (a polyline lying on the boundary, or a
  //   two-point chord between boundary points).
  // - The cut positions are every point where the polyline meets the
  //   boundary within FLT_EPSILON: proper crossings, touches (a vertex of
  //   either on the other's segment) and both ends of a stretch running along
  //   a polygon edge. None: the whole polyline goes to its side's result.
  // - Otherwise each piece between consecutive positions goes where the
  //   midpoint of its middle segment (the mean of its points (m-1)/2 and m/2
  //   for m points) classifies; a piece on the boundary (along an edge) goes
  //   to `inside` when boundaryInside is set (the polygon as a closed set,
  //   like a GIS intersection), else to `outside`. No piece is dropped, so
  //   the inside and outside lengths add up to the polyline's.
  // - Pieces of one result that meet end to start (closer than 1e-12) are
  //   joined; with the constructor's closed flag and more than one piece,
  //   the last piece is put in front of the first when it ends at the
  //   first's start (relative 1e-12).
  // A cut point interpolates between the segment's ends (z too, for
  // CPoint3D). Zero-length segments are fine; NaN vertices never crash.
  void operator()(poly_base<CPointD> const& poly, mpoly_base<CPointD>& inside, mpoly_base<CPointD>& outside,
                  bool boundaryInside) const;
  void operator()(poly_base<CPoint3D> const& poly, mpoly_base<CPoint3D>& inside, mpoly_base<CPoint3D>& outside,
                  bool boundaryInside) const;

 private:
  struct CState;
  std::unique_ptr<CState> m_state;
};

}  // namespace Math
