// Small predicates on points and point runs that several families apply to
// caller geometry: the finite check every entry point starts with, the
// closed-ring test, the even-odd crossing rule, and pi. One definition each,
// so that two families can never disagree on what "closed" or "inside" is.
#pragma once

#include <math/types.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "core/tolerance.h"

namespace Math::geom_detail {

inline constexpr double kPi = 3.14159265358979323846;
inline constexpr double kHalfPi = kPi / 2.0;

// x and y finite; z (of a CPoint3D) is the caller's business.
template <class T>
bool IsFinite(T const& p) {
  return std::isfinite(static_cast<double>(p.x)) && std::isfinite(static_cast<double>(p.y));
}

template <class T>
bool AllFinite(T const* pts, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i)
    if (!IsFinite(pts[i])) return false;
  return true;
}

template <class T>
bool AllFinite(std::vector<T> const& pts) {
  return AllFinite(pts.data(), pts.size());
}

// Closer than 1e-12 in the plane (z ignored); computed in double so integer
// points cannot overflow.
template <class T>
bool CloseTo(T const& a, T const& b) {
  double const dx = static_cast<double>(a.x) - static_cast<double>(b.x);
  double const dy = static_cast<double>(a.y) - static_cast<double>(b.y);
  return std::hypot(dx, dy) < tol::kEps;
}

// A ring repeats its first point at the end: more than one point, first and
// last closer than 1e-12.
template <class T>
bool IsClosedRing(T const* pts, std::size_t n) {
  return n > 1 && CloseTo(pts[0], pts[n - 1]);
}

template <class T>
bool IsClosedRing(std::vector<T> const& pts) {
  return IsClosedRing(pts.data(), pts.size());
}

// The even-odd rule for one pair a-b: true when the pair counts for p and
// its crossing lies strictly right of p. A pair counts when p.y lies in its
// y range half-open (lower end in, upper end out), so horizontal pairs never
// count and a vertex at p.y counts once for the pair leaving it upward. A
// NaN anywhere fails a comparison and so never flips.
inline bool CrossesRightOf(CPointD const& p, CPointD const& a, CPointD const& b) {
  if ((b.y <= p.y && p.y < a.y) || (a.y <= p.y && p.y < b.y)) {
    double const x = (a.x - b.x) * (p.y - b.y) / (a.y - b.y) + b.x;
    return x > p.x;
  }
  return false;
}

}  // namespace Math::geom_detail
