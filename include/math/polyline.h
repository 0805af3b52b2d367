// The polyline model: plain point sequences of one point type, sequences of
// them, and positions along a polyline with the walks between positions.
//
// A polyline is a plain sequence of points with no closed flag: a closed
// contour repeats its first point at the end, and operations that walk a
// ring use only the consecutive pairs p[0]p[1] .. p[n-2]p[n-1], never an
// implicit closing pair.
#pragma once

#include <math/types.h>

#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace Math {

// A position on a polyline: segment `index` (the segment from vertex index to
// vertex index + 1) and `param` along it, 0 at its start and 1 at its end.
struct poly_hit {
  int index = 0;
  double param = 0.0;

  poly_hit() = default;
  poly_hit(int index_, double param_) : index(index_), param(param_) {}
};

// A polyline of one point type (CPointD, CPoint3D or tagPOINT): the whole
// vector interface, nothing added to the data.
template <class T, template <class, class> class Container = std::vector, class Alloc = std::allocator<T>>
class poly_base : public Container<T, Alloc> {
  using Base = Container<T, Alloc>;

 public:
  using Base::Base;
  poly_base() = default;
  poly_base(std::initializer_list<T> pts) : Base(pts) {}
  poly_base(Base const& pts) : Base(pts) {}
  poly_base(Base&& pts) : Base(std::move(pts)) {}
};

// An ordered sequence of polylines of one point type.
template <class T>
class mpoly_base : public std::vector<poly_base<T>> {
  using Base = std::vector<poly_base<T>>;

 public:
  using Base::Base;
  mpoly_base() = default;
  mpoly_base(std::initializer_list<poly_base<T>> polys) : Base(polys) {}
  mpoly_base(Base const& polys) : Base(polys) {}
  mpoly_base(Base&& polys) : Base(std::move(polys)) {}
};

// Positions along a CPointD polyline.
//
// A valid hit on a polyline of n points has 0 <= index <= n - 1 and a finite
// param in [0, 1] within 1e-12; index n - 1 (the last vertex) only with
// |param| < 1e-12. The operations below normalise what they return: param
// in [0, 1), a param within 1e-12 of 1 becomes (index + 1, 0) and one within
// 1e-12 of 0 becomes exactly 0, so the end of the polyline is (n - 1, 0).

// True when `hit` is a valid position on `poly` (see above).
KMATH_API bool IsValidHit(std::vector<CPointD> const& poly, poly_hit hit);

// The point at `hit`: the vertex itself when |param| < 1e-12, otherwise
// vertex[index] + (vertex[index + 1] - vertex[index]) * param, param as
// given (not clamped). The all-ones NaN point for an invalid hit.
KMATH_API CPointD PointAt(std::vector<CPointD> const& poly, poly_hit hit);

// Moves `hit` along the polyline by the arc length `dist`: forward when
// positive, backward when negative. Zero-length segments are passed over. On
// an open polyline (or with bWrap false) the move stops at the first or last
// vertex; with bWrap set and a closed polyline (first and last points closer
// than 1e-12, total length at least 1e-12) it runs on through the closing
// point, any number of times round. Returns the signed arc length actually
// travelled (less than |dist| in magnitude only when stopped at an end) and
// leaves `hit` normalised. An invalid hit or a NaN dist: returns the all-ones
// NaN and leaves `hit` unchanged. An infinite dist runs to the end (no wrap).
// Cost: linear in the number of segments passed.
KMATH_API double MoveAlong(std::vector<CPointD> const& poly, poly_hit& hit, double dist, bool bWrap = false);

// The sub-polyline from `from` to `to` in the order of travel: the point at
// `from`, every vertex strictly between the two positions, the point at
// `to`. When `to` lies before `from` the walk runs backward (vertices in
// descending order). Two positions within 1e-12 of each other (same index)
// give the single point. On success `out` is replaced and the result is
// true; an invalid hit gives false with `out` untouched.
KMATH_API bool CutBetween(std::vector<CPointD> const& poly, poly_hit from, poly_hit to, std::vector<CPointD>& out);

}  // namespace Math
