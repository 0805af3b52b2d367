// Polylines, multi-polylines and polygons with holes, and the operations on
// them that need no sweep.
//
// A polyline is a plain sequence of points with no closed flag: a closed
// contour repeats its first point at the end, and operations that walk a
// ring use only the consecutive pairs p[0]p[1] .. p[n-2]p[n-1], never an
// implicit closing pair.
#pragma once

#include <math/line.h>
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

// ---- polyline model: positions along a CPointD polyline ----------------
// (owned by the polyline family; declarations below this line and above the
// polygon section)

// ---- polygon model -------------------------------------------------------

}  // namespace Math
