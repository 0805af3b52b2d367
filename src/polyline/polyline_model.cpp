#include <math/polyline.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "core/geom_impl.h"
#include "core/tolerance.h"
#include "polyline/polyline_model_impl.h"

namespace Math {
namespace {

double SegLength(std::vector<CPointD> const& poly, int i) {
  CPointD const d = poly[i + 1] - poly[i];
  return std::hypot(d.x, d.y);
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
  // Not clamped: a param up to 1e-12 past 1 lies that far past the vertex.
  return poly_detail::PointAt(poly, hit);
}

double MoveAlong(std::vector<CPointD> const& poly, poly_hit& hit, double dist, bool bWrap) {
  if (!IsValidHit(poly, hit) || std::isnan(dist)) return tol::BadValue();
  int const last = static_cast<int>(poly.size()) - 1;
  poly_hit h = poly_detail::Normalised(hit);
  bool const wrap = bWrap && std::isfinite(dist) && geom_detail::IsClosedRing(poly);
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
    // Backward, a normalised position sits at the start of its segment, so
    // param 0 means "at vertex index" and the segment to walk is the one
    // before: step onto it at param 1 (the same point) before measuring.
    while (left > 0.0) {
      if (h.param <= 0.0) {
        if (h.index == 0) {
          if (!wrap || !lap()) {
            stopped = true;
            break;
          }
          // Vertex 0 of a ring is also vertex n - 1: carry on from there,
          // onto the last segment.
          h.index = last;
        }
        h = {h.index - 1, 1.0};
      }
      double const seg = SegLength(poly, h.index);
      // The part of this segment behind the position; a zero-length segment
      // offers none and is passed over without dividing by its length.
      double const avail = h.param * seg;
      if (left < avail) {
        h.param -= left / seg;
        moved += left;
        left = 0.0;
        break;
      }
      left -= avail;
      moved += avail;
      // At the segment's start: already the normalised form of this vertex,
      // and the next round, if any, steps onto the segment before.
      h.param = 0.0;
    }
  }

  hit = poly_detail::Normalised(h);
  if (wrap && !stopped) return dist;
  return dist < 0.0 ? -moved : moved;
}

bool CutBetween(std::vector<CPointD> const& poly, poly_hit from, poly_hit to, std::vector<CPointD>& out) {
  if (!IsValidHit(poly, from) || !IsValidHit(poly, to)) return false;
  std::vector<CPointD> cut;
  poly_detail::Cut(poly, poly_detail::Normalised(from), poly_detail::Normalised(to), cut);
  out.swap(cut);
  return true;
}

}  // namespace Math
