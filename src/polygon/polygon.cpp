#include <math/polygon.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "core/geom_impl.h"
#include "core/tolerance.h"
#include "polygon/polygon_impl.h"

namespace {

using Ring = Math::poly_base<CPointD>;
using Math::plgn_detail::BoundingBox;
using Math::plgn_detail::SignedArea;

double Dist(CPointD const& a, CPointD const& b) { return std::hypot(a.x - b.x, a.y - b.y); }

// Box containment is non-strict on all four sides: a hole may share its
// extreme coordinates with the outer ring (a traced hole often does).
bool BoxHolds(CRectD const& outer, CRectD const& inner) {
  return outer.left <= inner.left && outer.right >= inner.right && outer.top <= inner.top &&
         outer.bottom >= inner.bottom;
}

// Splices hole h (at least two points, already oriented) into ring o.
void SpliceHole(Ring& o, Ring& h) {
  std::size_t const n = h.size();
  // The leftmost vertex starts the hole. The last vertex is left out of the
  // search: it repeats the first of a closed ring, and the rotation below
  // cannot bring it to the front anyway.
  std::size_t lm = 0;
  for (std::size_t i = 1; i + 1 < n; ++i) {
    if (h[i].x < h[lm].x) lm = i;
  }
  if (lm != 0) {
    std::rotate(h.begin(), h.begin() + static_cast<std::ptrdiff_t>(lm), h.end() - 1);
    h.back() = h.front();
  }
  if (o.empty()) {
    o = h;
    return;
  }
  CPointD const h0 = h[0];
  // Outer vertices right of the hole's start could only bridge across the
  // hole itself; FLT_EPSILON admits vertices sharing its x up to rounding.
  std::size_t k = 0;
  double best = Dist(o[0], h0);
  for (std::size_t i = 0; i < o.size(); ++i) {
    if (!(o[i].x <= h0.x || std::abs(o[i].x - h0.x) < Math::tol::kFltEps)) continue;
    double const d = Dist(o[i], h0);
    if (Math::tol::LtBeyond(d, best, Math::tol::kFltEps)) {
      best = d;
      k = i;
    }
  }
  // When the bridge vertex is the hole's start, the hole's closing copies of
  // it would only repeat O[k].
  std::size_t const c = best < Math::tol::kEps ? 1 : 0;
  CPointD const bridge = o[k];
  auto const at = o.begin() + static_cast<std::ptrdiff_t>(k + 1);
  auto const pos = o.insert(at, bridge);
  if (n > 2 * c) o.insert(pos, h.begin() + static_cast<std::ptrdiff_t>(c), h.end() - static_cast<std::ptrdiff_t>(c));
}

}  // namespace

bool CStdPlgn::PtInside(CPointD const& p, Math::poly_base<CPointD> const& ring) {
  bool inside = false;
  for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
    if (Math::geom_detail::CrossesRightOf(p, ring[i], ring[i + 1])) inside = !inside;
  }
  return inside;
}

bool CStdPlgn::PtInside(CPointD const& p) const {
  bool odd = false;
  for (auto const& ring : *this) {
    if (PtInside(p, ring)) odd = !odd;
  }
  return odd;
}

void CStdPlgn::IncludeHoles() {
  if (size() < 2) return;

  struct CEntry {
    std::size_t index;
    CRectD box;
  };
  std::vector<CEntry> order;
  order.reserve(size());
  for (std::size_t i = 0; i < size(); ++i) order.push_back({i, BoundingBox((*this)[i])});
  // Ascending left, input order on ties: the sort is stable, so contours
  // with equal lefts keep the caller's order. A NaN left (all x NaN) sorts
  // last, keeping the order a strict weak one.
  std::stable_sort(order.begin(), order.end(), [](CEntry const& a, CEntry const& b) {
    if (std::isnan(a.box.left)) return false;
    return std::isnan(b.box.left) || a.box.left < b.box.left;
  });

  struct COuter {
    Ring ring;
    CRectD box;  // as first seen: splicing holes never widens it
  };
  std::vector<COuter> outers;
  Base contours;
  contours.swap(*this);

  for (CEntry const& e : order) {
    Ring c = std::move(contours[e.index]);
    COuter* holder = nullptr;
    if (c.size() >= 2) {
      CPointD const mid = (c[0] + c[1]) / 2.0;
      // Latest first: among nested outer rings the innermost was added last
      // (it has the larger left), so a hole goes to the ring around it.
      for (std::size_t j = outers.size(); j-- > 0;) {
        if (BoxHolds(outers[j].box, e.box) && PtInside(mid, outers[j].ring)) {
          holder = &outers[j];
          break;
        }
      }
    }
    double const area = SignedArea(c);
    if (holder != nullptr) {
      if (Math::tol::LeWithin(area, 0.0)) std::reverse(c.begin(), c.end());
      SpliceHole(holder->ring, c);
    } else {
      if (Math::tol::GtBeyond(area, 0.0)) std::reverse(c.begin(), c.end());
      outers.push_back({std::move(c), e.box});
    }
  }

  reserve(outers.size());
  for (COuter& o : outers) push_back(std::move(o.ring));
}

CClassifyPoint::PT_POSITION CClassifyPoint::operator()(CPointD const& p) const {
  using Math::plgn_detail::NearEqual;
  using Math::tol::kRelEps;
  CPointD const& beg = m_edge.p0;
  CPointD const& end = m_edge.p1;
  if (NearEqual(p, beg, kRelEps) || NearEqual(p, end, kRelEps)) return PT_ON_EDGE;
  CPointD const d = end - beg;
  CPointD const v = p - beg;
  double const l = v.y * d.x;
  double const r = v.x * d.y;
  if (!NearEqual(l, r, kRelEps)) return r < l ? PT_LEFT : PT_RIGHT;
  if (v.x * d.x < 0.0 || v.y * d.y < 0.0) return PT_BEHIND;
  if (std::hypot(d.x, d.y) < std::hypot(v.x, v.y)) return PT_BEYOND;
  return PT_ON_EDGE;
}
