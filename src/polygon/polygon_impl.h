// Internals shared by the polygon-model sources: the relative near-equality
// of the point classifier and the joining step, bounding boxes and ring
// areas, and a static interval index for "which segments meet this range".
#pragma once

#include <math/polygon.h>
#include <math/types.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/tolerance.h"

namespace Math::plgn_detail {

// |a - b| scaled by the larger magnitude, unscaled when both are tiny, so a
// tolerance reads as relative for large values and absolute near zero.
inline bool NearEqualScaled(double diff, double m, double t) {
  double const d = m > tol::kFltEps ? diff / m : diff;
  return d < t;
}

inline bool NearEqual(double a, double b, double t) {
  return NearEqualScaled(std::abs(a - b), std::max(std::abs(a), std::abs(b)), t);
}

inline bool NearEqual(CPointD const& p, CPointD const& q, double t) {
  double const m = std::max(std::hypot(p.x, p.y), std::hypot(q.x, q.y));
  return NearEqualScaled(std::hypot(p.x - q.x, p.y - q.y), m, t);
}

// Bounding box of a point run; NaN coordinates are passed over (fmin/fmax),
// so one bad vertex does not poison the box. Empty run: all zero.
inline CRectD BoundingBox(std::vector<CPointD> const& pts) {
  if (pts.empty()) return CRectD{0.0, 0.0, 0.0, 0.0};
  CRectD r{pts[0].x, pts[0].y, pts[0].x, pts[0].y};
  for (CPointD const& p : pts) {
    r.left = std::fmin(r.left, p.x);
    r.top = std::fmin(r.top, p.y);
    r.right = std::fmax(r.right, p.x);
    r.bottom = std::fmax(r.bottom, p.y);
  }
  return r;
}

// Shoelace over the stored pairs only: an unclosed ring lacks its closing
// edge here exactly as in PtInside.
inline double SignedArea(std::vector<CPointD> const& ring) {
  if (ring.size() < 3) return 0.0;
  double s = 0.0;
  for (std::size_t i = 0; i + 1 < ring.size(); ++i) s += ring[i].x * ring[i + 1].y - ring[i].y * ring[i + 1].x;
  return 0.5 * s;
}

// A polygon segment as an index entry: contour index, segment index within
// the contour (the pair vertex[segment], vertex[segment + 1]) and the value
// the entry is sorted by.
struct CSegKey {
  std::int32_t contour;
  std::int32_t segment;
  double x;
};

// The segments' ranges on one axis, listed twice: by their low end and by
// their high end, each list sorted by its own value (ties by contour, then
// segment, so the order never depends on the input permutation). The
// low-end list gives the segments starting inside a range as one slice; the
// high-end list gives those still running at a value as its tail, and a
// min-tree over the low ends, in the high-end list's order, picks out of
// that tail the ones that have already started: O(log n) per segment
// reported, where the lists alone would walk a whole prefix or tail. Each
// entry carries the segment's range on the other axis, so that a caller
// can reject a candidate without touching the polygon's points.
class CIntervalIndex {
 public:
  struct CRange {
    double lo;
    double hi;
  };
  struct CItem {
    std::int32_t contour;
    std::int32_t segment;
    double lo;
    double hi;
    CRange other;
  };

  // Items must have finite ends.
  void Build(std::vector<CItem> items) {
    auto const byKey = [](double CItem::*end) {
      return [end](CItem const& a, CItem const& b) {
        if (a.*end != b.*end) return a.*end < b.*end;
        if (a.contour != b.contour) return a.contour < b.contour;
        return a.segment < b.segment;
      };
    };
    std::sort(items.begin(), items.end(), byKey(&CItem::lo));
    m_byLo.resize(items.size());
    m_loOther.resize(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
      m_byLo[i] = {items[i].contour, items[i].segment, items[i].lo};
      m_loOther[i] = items[i].other;
    }
    std::sort(items.begin(), items.end(), byKey(&CItem::hi));
    m_byHi.resize(items.size());
    m_hiOther.resize(items.size());
    m_leaves = 1;
    while (m_leaves < items.size()) m_leaves *= 2;
    m_minLo.assign(2 * m_leaves, HUGE_VAL);
    for (std::size_t i = 0; i < items.size(); ++i) {
      m_byHi[i] = {items[i].contour, items[i].segment, items[i].hi};
      m_hiOther[i] = items[i].other;
      m_minLo[m_leaves + i] = items[i].lo;
    }
    for (std::size_t i = m_leaves - 1; i >= 1; --i) m_minLo[i] = std::min(m_minLo[2 * i], m_minLo[2 * i + 1]);
  }

  std::size_t size() const { return m_byLo.size(); }
  CSegKey const& ByLo(std::size_t i) const { return m_byLo[i]; }
  CRange const& ByLoOther(std::size_t i) const { return m_loOther[i]; }

  // Position in the low-end list of the first segment whose low end is
  // greater than q.
  std::size_t LoUpperBound(double q) const {
    auto const it =
        std::upper_bound(m_byLo.begin(), m_byLo.end(), q, [](double v, CSegKey const& k) { return v < k.x; });
    return static_cast<std::size_t>(it - m_byLo.begin());
  }

  // Calls f(key, other range) for every segment with lo <= q <= hi (key.x
  // is its hi).
  template <class F>
  void Stabbing(double q, F&& f) const {
    if (std::isnan(q)) return;
    auto const it =
        std::lower_bound(m_byHi.begin(), m_byHi.end(), q, [](CSegKey const& k, double v) { return k.x < v; });
    std::size_t const from = static_cast<std::size_t>(it - m_byHi.begin());
    // Explicit stack of (node, first leaf, width): the depth is log2(n).
    struct CFrame {
      std::size_t node, begin, width;
    };
    CFrame stack[2 * 64];
    int top = 0;
    stack[top++] = {1, 0, m_leaves};
    while (top > 0) {
      CFrame const fr = stack[--top];
      if (fr.begin + fr.width <= from || fr.begin >= m_byHi.size() || m_minLo[fr.node] > q) continue;
      if (fr.width == 1) {
        f(m_byHi[fr.begin], m_hiOther[fr.begin]);
        continue;
      }
      std::size_t const half = fr.width / 2;
      stack[top++] = {2 * fr.node + 1, fr.begin + half, half};
      stack[top++] = {2 * fr.node, fr.begin, half};
    }
  }

  // Calls f(key, other range) once for every segment whose range meets
  // [lo, hi]; key.x is the low or the high end, whichever list found it.
  template <class F>
  void Overlapping(double lo, double hi, F&& f) const {
    if (std::isnan(lo) || std::isnan(hi)) return;
    Stabbing(lo, f);
    for (std::size_t i = LoUpperBound(lo); i < m_byLo.size() && m_byLo[i].x <= hi; ++i) f(m_byLo[i], m_loOther[i]);
  }

 private:
  std::vector<CSegKey> m_byLo;
  std::vector<CSegKey> m_byHi;
  std::vector<CRange> m_loOther;
  std::vector<CRange> m_hiOther;
  std::vector<double> m_minLo;
  std::size_t m_leaves = 1;
};

}  // namespace Math::plgn_detail
