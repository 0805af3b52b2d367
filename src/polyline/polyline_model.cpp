#include <math/polygon.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <algorithm>

#include "core/tolerance.h"

namespace Math {
namespace {

double SegLength(std::vector<CPointD> const& poly, int i) {
  CPointD const d = poly[i + 1] - poly[i];
  return std::hypot(d.x, d.y);
}

// Snaps a valid hit to the canonical form: param in [0, 1), the end of a
// segment expressed as the start of the next one.
poly_hit Normalised(poly_hit hit) {
  if (std::abs(hit.param - 1.0) < tol::kEps || hit.param > 1.0) return {hit.index + 1, 0.0};
  if (std::abs(hit.param) < tol::kEps || hit.param < 0.0) return {hit.index, 0.0};
  return hit;
}

// Strict order of two normalised hits; equal within EPS of param otherwise.
int Compare(poly_hit a, poly_hit b) {
  if (a.index != b.index) return a.index < b.index ? -1 : 1;
  if (std::abs(a.param - b.param) < tol::kEps) return 0;
  return a.param < b.param ? -1 : 1;
}

bool IsRing(std::vector<CPointD> const& poly) {
  if (poly.size() < 2) return false;
  CPointD const d = poly.back() - poly.front();
  return std::hypot(d.x, d.y) < tol::kEps;
}

double TotalLength(std::vector<CPointD> const& poly) {
  double s = 0.0;
  for (std::size_t i = 1; i < poly.size(); ++i) s += SegLength(poly, static_cast<int>(i - 1));
  return s;
}

}  // namespace

bool IsValidHit(std::vector<CPointD> const& poly, poly_hit hit) {
  if (poly.empty() || poly.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return false;
  int const last = static_cast<int>(poly.size()) - 1;
  if (hit.index < 0 || hit.index > last || !std::isfinite(hit.param)) return false;
  if (!tol::InUnitWithin(hit.param)) return false;
  return hit.index < last || std::abs(hit.param) < tol::kEps;
}

CPointD PointAt(std::vector<CPointD> const& poly, poly_hit hit) {
  if (!IsValidHit(poly, hit)) return {tol::BadValue(), tol::BadValue()};
  CPointD const& p = poly[hit.index];
  if (std::abs(hit.param) < tol::kEps) return p;
  // Not clamped: a param up to 1e-12 past 1 lies that far past the vertex.
  return p + (poly[hit.index + 1] - p) * hit.param;
}

double MoveAlong(std::vector<CPointD> const& poly, poly_hit& hit, double dist, bool bWrap) {
  if (!IsValidHit(poly, hit) || std::isnan(dist)) return tol::BadValue();
  int const last = static_cast<int>(poly.size()) - 1;
  poly_hit h = Normalised(hit);
  bool const wrap = bWrap && std::isfinite(dist) && IsRing(poly);
  double total = -1.0;  // computed on the first pass through the closing point
  double left = std::abs(dist);
  double moved = 0.0;  // summed, not dist - left: an infinite dist must give a finite answer
  bool stopped = false;

  // Called at the closing point: a ring too short to travel stops the move,
  // otherwise whole laps are dropped so a huge distance costs one lap at most.
  auto const lap = [&]() {
    if (total < 0.0) {
      total = TotalLength(poly);
      if (total >= tol::kEps) left = std::fmod(left, total);
    }
    return total >= tol::kEps;
  };

  if (dist > 0.0) {
    while (left > 0.0) {
      if (h.index >= last) {
        if (!wrap || !lap()) {
          stopped = true;
          break;
        }
        h = {0, 0.0};
        continue;
      }
      double const seg = SegLength(poly, h.index);
      double const avail = (1.0 - h.param) * seg;
      if (left < avail) {
        h.param += left / seg;
        moved += left;
        left = 0.0;
        break;
      }
      left -= avail;
      moved += avail;
      h = {h.index + 1, 0.0};
    }
  } else if (dist < 0.0) {
    while (left > 0.0) {
      if (h.param <= 0.0) {
        if (h.index == 0) {
          if (!wrap || !lap()) {
            stopped = true;
            break;
          }
          h.index = last;
        }
        h = {h.index - 1, 1.0};
      }
      double const seg = SegLength(poly, h.index);
      double const avail = h.param * seg;
      if (left < avail) {
        h.param -= left / seg;
        moved += left;
        left = 0.0;
        break;
      }
      left -= avail;
      moved += avail;
      h.param = 0.0;
    }
  }

  hit = Normalised(h);
  if (wrap && !stopped) return dist;
  return dist < 0.0 ? -moved : moved;
}

bool CutBetween(std::vector<CPointD> const& poly, poly_hit from, poly_hit to, std::vector<CPointD>& out) {
  if (!IsValidHit(poly, from) || !IsValidHit(poly, to)) return false;
  from = Normalised(from);
  to = Normalised(to);
  std::vector<CPointD> cut;
  cut.push_back(PointAt(poly, from));
  int const order = Compare(from, to);
  if (order < 0) {
    int const hi = to.param > 0.0 ? to.index : to.index - 1;
    cut.reserve(static_cast<std::size_t>(std::max(0, hi - from.index)) + 2);
    for (int k = from.index + 1; k <= hi; ++k) cut.push_back(poly[k]);
  } else if (order > 0) {
    int const hi = from.param > 0.0 ? from.index : from.index - 1;
    cut.reserve(static_cast<std::size_t>(std::max(0, hi - to.index)) + 2);
    for (int k = hi; k > to.index; --k) cut.push_back(poly[k]);
  }
  if (order != 0) cut.push_back(PointAt(poly, to));
  out.swap(cut);
  return true;
}

}  // namespace Math
