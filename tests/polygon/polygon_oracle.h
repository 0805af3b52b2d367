// Independent truths for the polygon tests (winding numbers, distances to a
// boundary, lengths, areas), written from the textbook definitions rather
// than from the library's code, and a short text form of polylines for the
// hand-worked cases.
#pragma once

#include <math/kmath.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <sstream>

#include "test_values.h"
#include "xy_reader.h"

namespace kmath_test {

using Ring = Math::poly_base<CPointD>;
using MPoly = Math::mpoly_base<CPointD>;

// "x y, x y | x y, x y": polylines split at '|', points at ','. "" holds no
// polyline, " " one empty polyline; nan, inf and 1e308 are numbers.
inline MPoly Polys(std::string const& text) {
  MPoly out;
  std::istringstream polys(text);
  for (std::string poly, pt; std::getline(polys, poly, '|');) {
    out.emplace_back();
    for (std::istringstream pts(poly); std::getline(pts, pt, ',');)
      if (double x, y; std::sscanf(pt.c_str(), "%lf %lf", &x, &y) == 2) out.back().push_back({x, y});
  }
  return out;
}
inline Ring R(std::string const& text) { return text.empty() ? Ring{} : Polys(text)[0]; }

// The same text form with 12 significant digits: the rounding noise of a
// cut point never shows, a wrong point always does.
template <class P>
std::string Text(P const& polys) {
  std::ostringstream s;
  s.precision(12);
  for (std::size_t i = 0; i < polys.size(); ++i) {
    s << (i ? " |" : "");
    for (std::size_t j = 0; j < polys[i].size(); ++j) s << (j ? ", " : " ") << +polys[i][j].x << ' ' << +polys[i][j].y;
  }
  return s.str();
}

inline double Cross(CPointD const& u, CPointD const& v) { return u.x * v.y - u.y * v.x; }

// Upward crossings left of the edge count +1, downward ones right of it -1.
inline int Winding(CPointD const& p, std::vector<CPointD> const& ring) {
  int wn = 0;
  for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
    CPointD const a = ring[i], b = ring[i + 1];
    wn += (a.y <= p.y && b.y > p.y && Cross(b - a, p - a) > 0) - (a.y > p.y && b.y <= p.y && Cross(b - a, p - a) < 0);
  }
  return wn;
}

inline double SegDist(CPointD const& p, CPointD const& a, CPointD const& b) {
  double const dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
  double const t = l2 > 0 ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / l2, 0.0, 1.0) : 0.0;
  return std::hypot(a.x + t * dx - p.x, a.y + t * dy - p.y);
}

// Of simple rings: 0 within tol of a segment, else 1 when an odd number of
// rings wind around p, else -1.
inline int Side(CPointD const& p, std::vector<Ring> const& rings, double tol) {
  bool odd = false;
  for (Ring const& r : rings) {
    for (std::size_t k = 0; k + 1 < r.size(); ++k)
      if (SegDist(p, r[k], r[k + 1]) < tol) return 0;
    odd ^= Winding(p, r) != 0;
  }
  return odd ? 1 : -1;
}

inline double Length(std::vector<CPointD> const& pts) {
  double s = 0.0;
  for (std::size_t i = 0; i + 1 < pts.size(); ++i) s += std::hypot(pts[i + 1].x - pts[i].x, pts[i + 1].y - pts[i].y);
  return s;
}

// Shoelace about the first vertex, so small rings far from the origin lose
// no digits.
inline double Area(std::vector<CPointD> const& r) {
  double s = 0.0;
  for (std::size_t i = 1; i + 1 < r.size(); ++i) s += Cross(r[i] - r[0], r[i + 1] - r[0]);
  return s / 2.0;
}

// The polylines of a data file; with `closedOnly`, without the open
// shorelines the data's region cut.
inline std::vector<Ring> Rings(std::string const& file, bool closedOnly = false) {
  std::vector<Ring> out;
  for (auto const& b : LoadXY(file))
    if (!closedOnly || (b.pts.size() > 3 && b.IsClosed())) out.emplace_back(b.pts);
  return out;
}

}  // namespace kmath_test
