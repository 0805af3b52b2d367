// The tridiagonal solve behind the spline slopes. Inline so the tests can
// drive it with systems the spline code never builds (singular pivots).
#pragma once

#include <math/types.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "core/tolerance.h"

namespace Math::spline_detail {

// Solves the m x m system whose row i reads a[i] x[i-1] + b[i] x[i] +
// c[i] x[i+1] = r[i], x and y of the right-hand side at once. a[0] sits in
// the last column and c[m-1] in the first (the corner terms); the system
// counts as cyclic only when one of them exceeds 1e-12 in magnitude,
// otherwise they are ignored and this is the plain forward sweep and back
// substitution. Gaussian elimination without pivoting; each row before the
// last carries, besides its diagonal and upper entries, its entry in the
// last column (the fill-in of a[0]), and the last row carries one moving
// entry left of its diagonal (the fill-in of c[m-1]). False when a pivot's
// magnitude is at most 1e-12 (a NaN pivot also fails); `x` is written only
// on success. Sizes must all be m >= 1.
inline bool SolveTridiagonal(std::vector<double> const& a, std::vector<double> const& b, std::vector<double> const& c,
                             std::vector<CPointD> const& r, std::vector<CPointD>& x) {
  std::size_t const m = b.size();
  if (m == 0 || a.size() != m || c.size() != m || r.size() != m) return false;
  auto const badPivot = [](double p) { return !(std::abs(p) > tol::kEps); };
  if (m == 1) {
    // One unknown: both corners fall on the diagonal when the system wraps.
    double const p = b[0] + ((std::abs(a[0]) > tol::kEps || std::abs(c[0]) > tol::kEps) ? a[0] + c[0] : 0.0);
    if (badPivot(p)) return false;
    x.assign(1, r[0] / p);
    return true;
  }
  bool const cyclic = std::abs(a[0]) > tol::kEps || std::abs(c[m - 1]) > tol::kEps;
  std::size_t const last = m - 1;

  // Rows 0 .. last-1 after elimination: d x[i] + u x[i+1] + s x[last] = y.
  // Row last-1's upper entry is in the last column, so it lives in s.
  std::vector<double> d(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(last));
  std::vector<double> u(c.begin(), c.begin() + static_cast<std::ptrdiff_t>(last));
  std::vector<double> s(last, 0.0);
  std::vector<CPointD> y(r.begin(), r.begin() + static_cast<std::ptrdiff_t>(last));
  if (cyclic) s[0] = a[0];
  s[last - 1] += u[last - 1];
  u[last - 1] = 0.0;

  // The last row: lk at column k (starts at column 0), ld on the diagonal.
  double lk = cyclic ? c[last] : 0.0;
  if (last == 1) lk += a[last];
  double ld = b[last];
  CPointD ly = r[last];

  for (std::size_t i = 0; i < last; ++i) {
    if (badPivot(d[i])) return false;
    if (i + 1 < last) {
      double const f = a[i + 1] / d[i];
      d[i + 1] -= f * u[i];
      s[i + 1] -= f * s[i];
      y[i + 1] -= y[i] * f;
    }
    double const g = lk / d[i];
    ld -= g * s[i];
    ly -= y[i] * g;
    lk = (i + 2 == last ? a[last] : 0.0) - g * u[i];
  }
  if (badPivot(ld)) return false;

  std::vector<CPointD> sol(m);
  sol[last] = ly / ld;
  for (std::size_t i = last; i-- > 0;) {
    CPointD v = y[i] - sol[last] * s[i];
    if (i + 1 < last) v -= sol[i + 1] * u[i];
    sol[i] = v / d[i];
  }
  x.swap(sol);
  return true;
}

}  // namespace Math::spline_detail
