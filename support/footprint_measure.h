// Measures of a squared footprint against the footprint it was traced from,
// shared by the real-data test of squaring and the quality report in bench/:
// rectilinearity, corner count, Hausdorff distance and area error. Written
// independently of the squaring code (plain loops, no library geometry) so
// the two cannot share a fault.
#pragma once

#include <math/polyapprox.h>
#include <math/polyortho.h>
#include <math/types.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace kmath_quality {

inline double Len(CPointD const& v) { return std::hypot(v.x, v.y); }
inline double Cross(CPointD const& a, CPointD const& b) { return a.x * b.y - a.y * b.x; }
inline double Dot(CPointD const& a, CPointD const& b) { return a.x * b.x + a.y * b.y; }

// The ring's distinct vertices (closing duplicate dropped).
inline std::vector<CPointD> Open(std::vector<CPointD> r) {
  if (r.size() > 1 && r.front().x == r.back().x && r.front().y == r.back().y) r.pop_back();
  return r;
}

inline double Area(std::vector<CPointD> const& ring) {
  std::vector<CPointD> const r = Open(ring);
  double s = 0;
  for (std::size_t i = 0; i < r.size(); ++i) s += Cross(r[i], r[(i + 1) % r.size()]);
  return 0.5 * s;
}

inline bool Proper(CPointD const& a, CPointD const& b, CPointD const& c, CPointD const& d) {
  double const d1 = Cross(b - a, c - a), d2 = Cross(b - a, d - a);
  double const d3 = Cross(d - c, a - c), d4 = Cross(d - c, b - c);
  return ((d1 > 0) != (d2 > 0)) && ((d3 > 0) != (d4 > 0)) && d1 != 0 && d2 != 0 && d3 != 0 && d4 != 0;
}

// Every turn within 1e-9 rad of +-90 degrees, no side shorter than 1e-9, no
// two non-adjacent sides crossing, at least 4 corners.
inline bool Rectilinear(std::vector<CPointD> const& ring) {
  std::vector<CPointD> const r = Open(ring);
  std::size_t const n = r.size();
  if (n < 4) return false;
  for (std::size_t i = 0; i < n; ++i) {
    CPointD const a = r[(i + 1) % n] - r[i];
    CPointD const b = r[(i + 2) % n] - r[(i + 1) % n];
    if (Len(a) < 1e-9) return false;
    double const turn = std::atan2(Cross(a, b), Dot(a, b));
    if (std::abs(std::abs(turn) - M_PI / 2) > 1e-9) return false;
  }
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = i + 2; j < n; ++j) {
      if (i == 0 && j == n - 1) continue;
      if (Proper(r[i], r[(i + 1) % n], r[j], r[(j + 1) % n])) return false;
    }
  return true;
}

// Every corner within 1 degree of 90 once sides turning by less than 1 degree
// are merged.
inline bool TruthRectilinear(std::vector<CPointD> const& ring) {
  std::vector<CPointD> r = Open(ring);
  auto turn = [&](std::size_t i) {
    std::size_t const n = r.size();
    CPointD const a = r[i] - r[(i + n - 1) % n];
    CPointD const b = r[(i + 1) % n] - r[i];
    return std::abs(std::atan2(Cross(a, b), Dot(a, b)));
  };
  double const one = M_PI / 180;
  for (bool again = true; again && r.size() > 3;) {
    again = false;
    std::size_t best = r.size();
    double bt = one;
    for (std::size_t i = 0; i < r.size(); ++i)
      if (turn(i) < bt) {
        bt = turn(i);
        best = i;
      }
    if (best < r.size()) {
      r.erase(r.begin() + static_cast<std::ptrdiff_t>(best));
      again = true;
    }
  }
  if (r.size() < 4) return false;
  for (std::size_t i = 0; i < r.size(); ++i)
    if (std::abs(turn(i) - M_PI / 2) > one) return false;
  return true;
}

inline double SegDist(CPointD const& p, CPointD const& a, CPointD const& b) {
  CPointD const d = b - a;
  double const l2 = Dot(d, d);
  double const t = l2 > 0 ? std::clamp(Dot(p - a, d) / l2, 0.0, 1.0) : 0.0;
  return Len(p - (a + d * t));
}

// Largest distance from a point of ring a (vertices and points every `step`
// along its sides) to ring b.
inline double Directed(std::vector<CPointD> const& a, std::vector<CPointD> const& b, double step) {
  double worst = 0;
  for (std::size_t i = 0; i + 1 < a.size(); ++i) {
    CPointD const d = a[i + 1] - a[i];
    int const k = std::max(1, static_cast<int>(std::ceil(Len(d) / step)));
    for (int j = 0; j < k; ++j) {
      CPointD const p = a[i] + d * (static_cast<double>(j) / k);
      double best = std::numeric_limits<double>::infinity();
      for (std::size_t m = 0; m + 1 < b.size(); ++m) best = std::min(best, SegDist(p, b[m], b[m + 1]));
      worst = std::max(worst, best);
    }
  }
  return worst;
}

// Symmetric Hausdorff distance of two closed rings, sampled every 0.05 px
// (so within 0.025 px of the exact value).
inline double Hausdorff(std::vector<CPointD> const& a, std::vector<CPointD> const& b) {
  return std::max(Directed(a, b, 0.05), Directed(b, a, 0.05));
}

struct Figures {
  bool accepted = false;
  bool right = false;  // rectilinear, valid, the truth's corner count
  double hausdorff = 0;
  double areaError = 0;  // relative
};

inline Figures Measure(std::vector<CPointD> const& result, std::vector<CPointD> const& truth, int corners,
                       bool accepted) {
  Figures f;
  f.accepted = accepted;
  f.right = Rectilinear(result) && static_cast<int>(Open(result).size()) == corners;
  f.hausdorff = Hausdorff(result, truth);
  double const at = Area(truth);
  f.areaError = std::abs(Area(result) - at) / std::abs(at);
  return f;
}

// The parameters of the report and of the real-data test.
struct Settings {
  // Chosen on this file: below 0.9 px the reduction keeps the staircase's
  // wobble as sides, above it loses the 1.5 to 2 px jogs of real walls.
  double reduceTol = 0.9;  // PolyApprox deviation tolerance, px
  double minSide = 1.5;    // CParams dMinSide, px
  double ratio = 0.3;      // CParams dRatio: dMaxRms 0.643 px
};

struct CPairResult {
  bool truthRectilinear = false;
  // staircase, reduction, PolyOrtho, CPolyOrtho with the reduction kept on
  // refusal
  Figures fig[4];
  std::vector<CPointD> reduced;
  std::vector<CPointD> squared;
  bool accepted = false;
  double rms = 0;  // the root-mean-square deviation the squaring reached
};

inline std::vector<CPointD> Reduce(std::vector<CPointD> const& traced, Settings const& s) {
  std::vector<CPointD> r = traced;
  Math::PolyApprox(r, s.reduceTol, std::numeric_limits<double>::max());
  return r;
}

inline CPairResult SquarePair(std::vector<CPointD> const& truth, std::vector<CPointD> const& traced, int corners,
                              Settings const& s) {
  CPairResult r;
  r.truthRectilinear = TruthRectilinear(truth);
  r.fig[0] = Measure(traced, truth, corners, false);
  r.reduced = Reduce(traced, s);
  r.fig[1] = Measure(r.reduced, truth, corners, false);

  std::vector<CPointD> po = r.reduced;
  // PolyOrtho splits at its own inflections: coarser than the reduction, so
  // a staircase's wobble stays inside one piece, and walls within the
  // shortest side of each other snap to one line.
  bool const poOk = Math::PolyOrtho(po, s.reduceTol * 1.5, s.minSide, false, false, nullptr);
  r.fig[2] = Measure(poOk ? po : r.reduced, truth, corners, poOk);

  Math::CPolyOrtho::CParams params(s.ratio, s.minSide);
  // Any corner count: the build, not a target count, decides.
  params.nCorners = 1000;
  r.squared = r.reduced;
  r.accepted = Math::CPolyOrtho(params)(r.squared);
  r.rms = params.dMaxRms;
  r.fig[3] = Measure(r.squared, truth, corners, r.accepted);
  return r;
}

}  // namespace kmath_quality
