// Rectangles of any orientation, kept as centre, half sizes and the unit
// direction of the width side, and the fits of such rectangles to point
// sets: minimum-area enclosing rectangle, rectangle of equal second area
// moments, enclosing rectangle for a given or fitted direction, and two
// direction refiners that minimise the largest point-to-border distance.
//
// A point p has local coordinates u = cosA (p.x - cx) + sinA (p.y - cy)
// along the width and v = cosA (p.y - cy) - sinA (p.x - cx) across it. The
// all-zero rectangle is the empty one. Tolerances: 1e-12 on lengths, the
// single-precision epsilon for the inflation of Extend. No function throws.
#pragma once

#include <math/types.h>

#include <utility>

namespace Math {

class KMATH_API CRectangle {
 public:
  // All zero: the empty rectangle.
  CRectangle() = default;
  // Centre c, half-width |hw|, half-height |hh|, direction (cos a, sin a).
  CRectangle(CPointD const& c, double hw, double hh, double angle);
  // The middle of r, half sizes |right - left| / 2 and |bottom - top| / 2,
  // direction (1, 0); with widthLonger a taller than wide r is turned by
  // SwapSides so that the width is the longer side.
  CRectangle(CRectD const& r, bool widthLonger);

  double Width() const { return 2.0 * m_hw; }
  double Height() const { return 2.0 * m_hh; }
  CSizeD Size() const { return {2.0 * m_hw, 2.0 * m_hh}; }
  double Area() const { return 4.0 * m_hw * m_hh; }
  // 4 * hypot(half-width, half-height): twice the diagonal.
  double Hypot() const;
  // Direction of the width side, atan2 with components below 1e-12 taken as
  // zero.
  double Angle() const;
  void SetAngle(double a);
  // Half-width = |w| / 2; SetHeight likewise.
  void SetWidth(double w);
  void SetHeight(double h);
  // Turns the direction by a about the centre; |a| < 1e-12 changes nothing.
  void Rotate(double a);
  // Exchanges the half sizes and turns the direction to (sinA, -cosA): the
  // same point set, the width now along the former height.
  void SwapSides();
  // Smaller half size over the larger (half-width / half-height when the
  // half-width is smaller by 1e-12 or more); 0 for the empty rectangle.
  double Excess() const;
  // Both half sizes at least 1e-12 and a direction with a component at least
  // 1e-12 in magnitude.
  bool IsValid() const;
  CPointD Center() const { return m_c; }
  // (cosA, sinA, half-width) along the width, (-sinA, cosA, half-height)
  // across it. The fields are set as they stand, so an empty side keeps its
  // unit direction.
  CPolarVector Vector(bool alongWidth) const;
  // The full mid-line along the width (or the height), centre -+ half side.
  CEdge Axial(bool alongWidth) const;
  // The two sides parallel to Axial(alongWidth): that mid-line shifted by
  // + and - Vector(!alongWidth), in that order.
  std::pair<CEdge, CEdge> Edges(bool alongWidth) const;
  // Distance to the border, never negative: from outside, the distance to
  // the nearest side or corner (a coordinate counts as outside only beyond
  // 1e-12); from inside, to the nearest side. 0 for an invalid rectangle.
  double Distance(CPointD const& p) const;
  // Valid, |u| <= half-width and |v| <= half-height, each within 1e-12.
  bool IsInside(CPointD const& p) const;
  // The worse side mismatch with s in the better of the two pairings of the
  // full sides: min(max(|H - |s.cy||, |W - |s.cx||), max(|H - |s.cx||,
  // |W - |s.cy||)).
  double SizeDiff(CSizeD const& s) const;
  // Half sizes (|s.cx| / 2, |s.cy| / 2), or exchanged when that pairing
  // differs strictly less from the current half sizes (worse of the two
  // differences).
  void Adjust(CSizeD const& s);
  // Grows the rectangle in its own axes to hold the points (NaN points are
  // ignored), then inflates both half sizes by the single-precision epsilon
  // so the points lie strictly inside. An invalid rectangle is first
  // replaced by MakeRectangle(pts, n, false); false when that is invalid too.
  bool Extend(CPointD const* pts, unsigned int n);
  // Shrinks the rectangle, keeping its direction, to the tightest box around
  // the points that lies inside it: the points' box in local coordinates
  // clipped to the current one. False (unchanged) for no finite point, a
  // null pointer, or points whose box misses the rectangle.
  bool Shrink(CPointD const* pts, unsigned int n);

  CRectangle& operator+=(CPointD const& d);
  CRectangle& operator-=(CPointD const& d);
  // Both half sizes times |f|.
  CRectangle& operator*=(double f);
  // Half-width times |s.cx|, half-height times |s.cy|.
  CRectangle& operator*=(CSizeD const& s);

 private:
  // c - U - V, c + U - V, c + U + V, c - U + V with U, V the half sides;
  // false for an invalid rectangle.
  bool CalcVertices(CPointD* out) const;

  CPointD m_c{0, 0};
  double m_hw = 0.0;
  double m_hh = 0.0;
  double m_cos = 0.0;
  double m_sin = 0.0;
};

// The minimum-area rectangle enclosing the points, by rotating calipers
// over their convex hull (taken unless isConvex says the points already are
// one, in either sense). Two points (three when the last repeats the first
// within 1e-12) give the segment's rectangle of half-height 0. Equal areas
// keep the first hull edge. The result has half-width >= half-height. The
// all-zero rectangle for no points, one distinct point, a null pointer or a
// NaN or infinite coordinate.
KMATH_API CRectangle MinAreaRectangle(CPointD const* pts, unsigned int n, bool isConvex);
// The rectangle with the centroid and central second area moments of the
// polygon pts (closed implicitly), along its principal direction (0 when it
// has none). When the moments are degenerate (dMu20 and dMu02 both within
// 1e-12 of zero, which includes a zero area) useHull retries with the convex
// hull of the points; otherwise, or when that fails too, the all-zero
// rectangle.
KMATH_API CRectangle MakeRectangle(CPointD const* pts, unsigned int n, bool useHull);
// The rectangle of direction `angle` enclosing the points, measured along
// the two lines through pts[0]. The running minimum and maximum are updated
// else-if: a value that lowers the minimum is not tested against the
// maximum, so pts[0] never counts as a maximum. All zero for no points, a
// null pointer or a non-finite angle.
KMATH_API CRectangle ExtentRectangle(CPointD const* pts, unsigned int n, double angle);
// MakeRectangle(pts, n, false) extended over the points; when that is not
// valid, the axis-aligned bounding box. All zero for no points.
KMATH_API CRectangle ExtentRectangle(CPointD const* pts, unsigned int n);
// Sets r's direction to whichever of its own angle, the PolyOrthoDir angle a
// of the points and a + pi/2 gives the smallest largest Distance to the
// points (a later candidate must be strictly better). False (r unchanged)
// when PolyOrthoDir finds no direction.
KMATH_API bool AdjustRectangle(CRectangle& r, CPointD const* pts, unsigned int n);
// Golden-section search for the direction of smallest largest Distance over
// [a, a + pi/4], a = r's angle, until the bracket is not longer than tol or
// after 20 evaluations; a rectangle with Excess() >= 0.75 also searches
// [a - pi/4, a]. r's direction becomes the best angle seen; centre and sizes
// are kept. No points or an invalid r: unchanged.
KMATH_API void OptimizeRectangle(CRectangle& r, CPointD const* pts, unsigned int n, double tol);

}  // namespace Math
