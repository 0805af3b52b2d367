// The plain value types every Kmath family passes around: plane and space
// points, sizes, rectangles, polar vectors, the platform integer point,
// directed edges and implicit line forms.
//
// All are aggregates (or nearly) with public fields; nothing allocates.
// Geometry is y-up: positive signed area is counter-clockwise.
#pragma once

#include <math/export.h>
#include <math/fp_contract.h>

// Point or vector in the plane.
struct CPointD {
  double x;
  double y;

  CPointD& operator+=(CPointD const& o) {
    x += o.x;
    y += o.y;
    return *this;
  }
  CPointD& operator-=(CPointD const& o) {
    x -= o.x;
    y -= o.y;
    return *this;
  }
};

KMATH_FP_CONTRACT_OFF_BEGIN
inline CPointD operator+(CPointD const& a, CPointD const& b) { return {a.x + b.x, a.y + b.y}; }
inline CPointD operator-(CPointD const& a, CPointD const& b) { return {a.x - b.x, a.y - b.y}; }
inline CPointD operator-(CPointD const& a) { return {-a.x, -a.y}; }
inline CPointD operator*(CPointD const& a, double s) { return {a.x * s, a.y * s}; }
inline CPointD operator/(CPointD const& a, double s) { return {a.x / s, a.y / s}; }
KMATH_FP_CONTRACT_OFF_END

// Extent along x and along y.
struct CSizeD {
  double cx;
  double cy;
};

// Axis-aligned rectangle; x runs from left to right, y from top to bottom,
// so `top` is the smaller y. Operations expect left <= right, top <= bottom.
struct CRectD {
  double left;
  double top;
  double right;
  double bottom;
};

// Point or vector in space.
struct CPoint3D {
  double x;
  double y;
  double z;
};

KMATH_FP_CONTRACT_OFF_BEGIN
inline CPoint3D operator+(CPoint3D const& a, CPoint3D const& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline CPoint3D operator-(CPoint3D const& a, CPoint3D const& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline CPoint3D operator*(CPoint3D const& a, double s) { return {a.x * s, a.y * s, a.z * s}; }
KMATH_FP_CONTRACT_OFF_END

// The platform's integer point: element type of integer polylines and of
// rasterisation.
struct tagPOINT {
  int x;
  int y;
};

struct CPoint : tagPOINT {
  CPoint() : tagPOINT{0, 0} {}
  CPoint(int x_, int y_) : tagPOINT{x_, y_} {}
};

// A vector split into its unit direction (dx, dy) and its length. Anything
// not longer than 1e-12 is stored as the all-zero vector, so a direction is
// either unit or absent, never tiny.
struct KMATH_API CPolarVector {
  double dx = 0.0;
  double dy = 0.0;
  double length = 0.0;

  CPolarVector() = default;
  CPolarVector(CPointD const& v);
  // The vector q - p.
  CPolarVector(CPointD const& p, CPointD const& q);
};

// Each operand turned back into its vector, the vectors added, the sum
// split again (so two opposite vectors give the all-zero polar vector).
KMATH_API CPolarVector operator+(CPolarVector const& a, CPolarVector const& b);
// p + (dx, dy) * length.
KMATH_API CPointD operator+(CPointD const& p, CPolarVector const& v);

namespace Math {

// A directed segment; the parameter t is 0 at p0 and 1 at p1, and the point
// at t is p0 + t * (p1 - p0).
struct CEdge {
  CPointD p0;
  CPointD p1;
};

// The implicit line a*x + b*y + c = 0, not normalised. Output of the fits.
struct CLinForm {
  double a;
  double b;
  double c;
};

}  // namespace Math
