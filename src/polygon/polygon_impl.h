// Internals shared by the polygon-model sources: the relative near-equality
// of the point classifier and the joining step, bounding boxes and ring
// areas, and a static interval index for "which segments span this value".
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

inline bool IsFinite(CPointD const& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

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

// A polygon segment: contour index, segment index within the contour (the
// pair vertex[segment], vertex[segment + 1]) and the key it is sorted by.
struct CSegKey {
  std::int32_t contour;
  std::int32_t segment;
  double x;
};

// Segments sorted by the low end of an interval, with a max-tree over the
// high ends in the same order. The sorted list alone finds the segments
// starting inside a range as one run; the tree adds those that started
// earlier and still span it, in O(log n) per reported segment, which two
// plain sorted lists cannot do without walking a whole prefix.
class CIntervalIndex {
 public:
  struct CItem {
    CSegKey key;  // key.x = low end
    double hi;
    // The segment's range on the other axis, kept beside the keys so that
    // a candidate is rejected without touching the polygon's points.
    double otherLo;
    double otherHi;
  };

  // Items must have finite ends; they are sorted here (ties by contour and
  // segment, so the order never depends on the input permutation).
  void Build(std::vector<CItem> items) {
    std::sort(items.begin(), items.end(), [](CItem const& a, CItem const& b) {
      if (a.key.x != b.key.x) return a.key.x < b.key.x;
      if (a.key.contour != b.key.contour) return a.key.contour < b.key.contour;
      return a.key.segment < b.key.segment;
    });
    m_keys.resize(items.size());
    m_other.resize(items.size());
    m_leaves = 1;
    while (m_leaves < items.size()) m_leaves *= 2;
    m_tree.assign(2 * m_leaves, -HUGE_VAL);
    for (std::size_t i = 0; i < items.size(); ++i) {
      m_keys[i] = items[i].key;
      m_other[i] = {items[i].otherLo, items[i].otherHi};
      m_tree[m_leaves + i] = items[i].hi;
    }
    for (std::size_t i = m_leaves - 1; i >= 1; --i) m_tree[i] = std::max(m_tree[2 * i], m_tree[2 * i + 1]);
  }

  std::size_t size() const { return m_keys.size(); }
  CSegKey const& Key(std::size_t i) const { return m_keys[i]; }
  double Lo(std::size_t i) const { return m_keys[i].x; }
  double Hi(std::size_t i) const { return m_tree[m_leaves + i]; }
  double OtherLo(std::size_t i) const { return m_other[i].first; }
  double OtherHi(std::size_t i) const { return m_other[i].second; }

  // Index of the first item whose low end is greater than q.
  std::size_t UpperBound(double q) const {
    return static_cast<std::size_t>(
        std::upper_bound(m_keys.begin(), m_keys.end(), q, [](double v, CSegKey const& k) { return v < k.x; }) -
        m_keys.begin());
  }

  // Calls f(i) for every item among the first `count` whose high end is at
  // least q, in index order.
  template <class F>
  void SpanningAmong(std::size_t count, double q, F&& f) const {
    if (count == 0 || std::isnan(q)) return;
    // Explicit stack of (node, node begin, node width): depth is log2(n).
    struct Frame {
      std::size_t node, begin, width;
    };
    Frame stack[2 * 64];
    int top = 0;
    stack[top++] = {1, 0, m_leaves};
    while (top > 0) {
      Frame const fr = stack[--top];
      if (fr.begin >= count || m_tree[fr.node] < q) continue;
      if (fr.width == 1) {
        f(fr.begin);
        continue;
      }
      std::size_t const half = fr.width / 2;
      stack[top++] = {2 * fr.node + 1, fr.begin + half, half};
      stack[top++] = {2 * fr.node, fr.begin, half};
    }
  }

  // Calls f(i) for every item whose interval meets [lo, hi].
  template <class F>
  void Overlapping(double lo, double hi, F&& f) const {
    if (std::isnan(lo) || std::isnan(hi)) return;
    SpanningAmong(UpperBound(hi), lo, f);
  }

 private:
  std::vector<CSegKey> m_keys;
  std::vector<std::pair<double, double>> m_other;
  std::vector<double> m_tree;
  std::size_t m_leaves = 1;
};

}  // namespace Math::plgn_detail
