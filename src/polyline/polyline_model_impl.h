// The position arithmetic of the polyline model for any point type with x
// and y (and z, interpolated alike), unchecked: the public operations in
// polyline.h validate and normalise, then call these; the polygon splitter
// calls them directly on positions it has built valid and normalised.
#pragma once

#include <math/polyline.h>
#include <math/types.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "core/tolerance.h"

namespace Math::poly_detail {

// Snaps a valid hit to the canonical form: param in [0, 1), the end of a
// segment expressed as the start of the next one.
inline poly_hit Normalised(poly_hit hit) {
  if (std::abs(hit.param - 1.0) < tol::kEps || hit.param > 1.0) return {hit.index + 1, 0.0};
  if (std::abs(hit.param) < tol::kEps || hit.param < 0.0) return {hit.index, 0.0};
  return hit;
}

// Order of two normalised hits: -1, 0 or 1; the same index and params within
// 1e-12 are one position.
inline int Compare(poly_hit a, poly_hit b) {
  if (a.index != b.index) return a.index < b.index ? -1 : 1;
  if (std::abs(a.param - b.param) < tol::kEps) return 0;
  return a.param < b.param ? -1 : 1;
}

inline CPointD Lerp(CPointD const& a, CPointD const& b, double t) {
  return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}
inline CPoint3D Lerp(CPoint3D const& a, CPoint3D const& b, double t) {
  return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t, a.z + (b.z - a.z) * t};
}

// The vertex itself when |param| < 1e-12, so a position on a vertex hands
// back the caller's point bit for bit; otherwise interpolated, not clamped.
template <class T>
T PointAt(std::vector<T> const& poly, poly_hit hit) {
  auto const i = static_cast<std::size_t>(hit.index);
  if (std::abs(hit.param) < tol::kEps) return poly[i];
  return Lerp(poly[i], poly[i + 1], hit.param);
}

// The cut of CutBetween between two normalised hits, into `out` (replaced).
template <class T>
void Cut(std::vector<T> const& poly, poly_hit from, poly_hit to, std::vector<T>& out) {
  out.clear();
  out.push_back(PointAt(poly, from));
  int const order = Compare(from, to);
  if (order < 0) {
    // A target on a vertex is that vertex: the walk stops one short and the
    // target's own point closes the cut.
    int const hi = to.param > 0.0 ? to.index : to.index - 1;
    out.reserve(static_cast<std::size_t>(std::max(0, hi - from.index)) + 2);
    for (int k = from.index + 1; k <= hi; ++k) out.push_back(poly[static_cast<std::size_t>(k)]);
  } else if (order > 0) {
    int const hi = from.param > 0.0 ? from.index : from.index - 1;
    out.reserve(static_cast<std::size_t>(std::max(0, hi - to.index)) + 2);
    for (int k = hi; k > to.index; --k) out.push_back(poly[static_cast<std::size_t>(k)]);
  }
  if (order != 0) out.push_back(PointAt(poly, to));
}

}  // namespace Math::poly_detail
