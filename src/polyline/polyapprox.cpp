#include <math/polyapprox.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

#include "core/geom_impl.h"
#include "core/tolerance.h"
#include "polyline/polyapprox_impl.h"

namespace Math {
namespace approx_detail {
namespace {

// The unit roundoff, 2^-53: every bound below is in its multiples.
constexpr double kRound = tol::kUlp / 2;

// Exact a - b == s (no rounding happened), by Knuth's two-sum.
bool ExactDiff(double a, double b, double s) {
  double const bb = s - a;
  return (a - (s - bb)) + (-b - bb) == 0.0;
}

// Sign of (b - a) x (c - a) when it can be certified: 1 left turn, -1
// right turn, 0 exactly collinear; 2 when rounding leaves it open. The
// filter's 8 units of roundoff cover the three roundings of each product
// term and of their difference; below it the sign is trusted only when
// every operation was exact (small integer coordinates, as traced data
// has), so collinear runs are recognised as such.
int Turn(CPointD const& a, CPointD const& b, CPointD const& c) {
  double const ux = b.x - a.x, uy = b.y - a.y, vx = c.x - a.x, vy = c.y - a.y;
  double const l = ux * vy, r = uy * vx;
  double const det = l - r;
  double const bound = 8 * kRound * (std::abs(l) + std::abs(r));
  if (det > bound) return 1;
  if (det < -bound) return -1;
  bool const exact = ExactDiff(b.x, a.x, ux) && ExactDiff(b.y, a.y, uy) && ExactDiff(c.x, a.x, vx) &&
                     ExactDiff(c.y, a.y, vy) && std::fma(ux, vy, -l) == 0.0 && std::fma(uy, vx, -r) == 0.0;
  if (!exact) return 2;
  return det > 0.0 ? 1 : (det < 0.0 ? -1 : 0);
}

}  // namespace

CFarthestIndex::CFarthestIndex(CPointD const* pts, int n) : m_pts(pts), m_n(n) {
  int const blocks = (n + kLeaf - 1) / kLeaf;
  while (m_leaves < blocks) m_leaves *= 2;
  m_nodes.assign(static_cast<std::size_t>(2 * m_leaves), CNode{});
  std::vector<int> idx, chain;
  idx.reserve(2 * kCap + kLeaf);
  chain.reserve(2 * kCap + kLeaf);
  for (int k = 0; k < m_leaves; ++k) {
    idx.clear();
    for (int i = k * kLeaf; i < std::min(n, (k + 1) * kLeaf); ++i) idx.push_back(i);
    SetHull(m_leaves + k, idx, chain);
  }
  for (int node = m_leaves - 1; node >= 1; --node) {
    CNode const& l = m_nodes[static_cast<std::size_t>(2 * node)];
    CNode const& r = m_nodes[static_cast<std::size_t>(2 * node + 1)];
    if (l.count < 0 || r.count < 0) continue;
    idx.assign(m_hull.begin() + l.first, m_hull.begin() + l.first + l.count);
    idx.insert(idx.end(), m_hull.begin() + r.first, m_hull.begin() + r.first + r.count);
    SetHull(node, idx, chain);
  }
}

// Andrew's monotone chain, except that a vertex is dropped only when the
// turn is certainly not a left one. Every dropped vertex then lies on the
// inner side of the chain as it was, and the chain only ever moves outward
// from it, so the region between the lower and the upper chain, whose
// vertices are kept, holds every vertex of the block: a rounding error can
// keep a vertex too many, never lose one.
void CFarthestIndex::SetHull(int node, std::vector<int>& idx, std::vector<int>& chain) {
  CNode& out = m_nodes[static_cast<std::size_t>(node)];
  out = CNode{static_cast<int>(m_hull.size()), 0};
  if (idx.empty()) return;
  CPointD const* pts = m_pts;
  std::sort(idx.begin(), idx.end(),
            [pts](int i, int j) { return pts[i].x < pts[j].x || (pts[i].x == pts[j].x && pts[i].y < pts[j].y); });
  auto const build = [&](auto begin, auto end) {
    std::size_t const base = chain.size();
    for (auto it = begin; it != end; ++it) {
      while (chain.size() >= base + 2) {
        int const t = Turn(pts[chain[chain.size() - 2]], pts[chain.back()], pts[*it]);
        if (t != -1 && t != 0) break;
        chain.pop_back();
      }
      chain.push_back(*it);
    }
  };
  chain.clear();
  build(idx.begin(), idx.end());
  build(idx.rbegin(), idx.rend());
  // The two chains share their ends; a repeat costs a little time, nothing else.
  if (chain.size() > static_cast<std::size_t>(kCap)) {
    out.count = -1;
    return;
  }
  m_hull.insert(m_hull.end(), chain.begin(), chain.end());
  out.count = static_cast<int>(chain.size());
}

// With p0 the chord's start, (dx, dy) its direction and len its length, as
// CChordDistance holds them, a vertex p in its perpendicular branch
// measures |C(p)| / len with C(p) = (p - p0) x (dx, dy), and it is in that
// branch when 0 <= D(p) <= len^2 for D(p) = (p - p0) . (dx, dy), both as
// rounded. C and D are linear, |p.x - p0.x| and |p.y - p0.y| convex, so
// over the block their extremes are at the kept vertices. Each computed
// C or D is within 4.02 units of roundoff of (|ax| |dy| + |dx| |ay|) (resp.
// |dx| |ax| + |dy| |ay|) of the exact value, so the vertices' computed
// extremes plus twice that (once for the vertex, once for the block's
// vertex) bound every vertex's computed value; 10 units cover both with
// room for the bound's own rounding.
bool CFarthestIndex::Ruled(CNode const& node, CChordDistance const& chord, double dist) const {
  CPointD const p0 = chord.Start();
  double const dx = chord.Direction().x, dy = chord.Direction().y, len = chord.Length();
  double maxC = 0.0, maxAx = 0.0, maxAy = 0.0;
  double minD = HUGE_VAL, maxD = -HUGE_VAL;
  for (int k = node.first; k < node.first + node.count; ++k) {
    CPointD const& v = m_pts[m_hull[static_cast<std::size_t>(k)]];
    double const ax = v.x - p0.x, ay = v.y - p0.y;
    double const c = ax * dy - dx * ay;
    double const d = dx * ax + dy * ay;
    // An overflow here (coordinates near the largest double) would slip
    // past max and min; such a block is simply scanned.
    if (!std::isfinite(c) || !std::isfinite(d)) return false;
    maxC = std::max(maxC, std::abs(c));
    minD = std::min(minD, d);
    maxD = std::max(maxD, d);
    maxAx = std::max(maxAx, std::abs(ax));
    maxAy = std::max(maxAy, std::abs(ay));
  }
  double const errC = 10 * kRound * (maxAx * std::abs(dy) + std::abs(dx) * maxAy);
  double const errD = 10 * kRound * (std::abs(dx) * maxAx + std::abs(dy) * maxAy);
  // Written so that a NaN or an overflow never rules a block out.
  if (!(minD - errD > 0.0) || !(maxD + errD < len * len)) return false;
  // The largest distance any vertex of the block can measure, rounded up.
  double const bound = (maxC + errC) / len * (1 + 8 * kRound);
  // The scan replaces the best only when fl(d - dist) >= 1e-12 and
  // fl(d - dist) <= (d - dist)(1 + u); below 0.99e-12 here, d - dist stays
  // clearly short of that.
  return bound - dist < tol::kRuledOutGap;
}

int CFarthestIndex::Outmost(int a, int b, double& dist) const {
  dist = 0.0;
  int best = b;
  if (b - a < 2) return best;
  CChordDistance const chord(CEdge{m_pts[a], m_pts[b]});
  if (b - a <= kMinStretch || chord.Length() < tol::kEps) {
    for (int i = a + 1; i < b; ++i) Consider(chord, m_pts, i, dist, best);
    return best;
  }
  // Depth-first, left child first, so blocks are met in vertex order and the
  // scan sees the vertices it cannot rule out in its own order.
  int stack[2 * 64];
  int top = 0;
  stack[top++] = 1;
  while (top > 0) {
    int const node = stack[--top];
    // The node's vertex range: its leaves times the block size.
    int width = 1;
    int first = node;
    while (first < m_leaves) {
      first *= 2;
      width *= 2;
    }
    // In 64 bits: the last leaf's end may pass INT_MAX.
    auto const lo = static_cast<int>(std::max<std::int64_t>(std::int64_t{first - m_leaves} * kLeaf, a + 1));
    auto const hi = static_cast<int>(std::min<std::int64_t>(std::int64_t{first - m_leaves + width} * kLeaf, b));
    if (lo >= hi) continue;
    CNode const& nd = m_nodes[static_cast<std::size_t>(node)];
    if (nd.count > 0 && Ruled(nd, chord, dist)) continue;
    if (node >= m_leaves || hi - lo <= kLeaf) {
      for (int i = lo; i < hi; ++i) Consider(chord, m_pts, i, dist, best);
      continue;
    }
    stack[top++] = 2 * node + 1;
    stack[top++] = 2 * node;
  }
  return best;
}

}  // namespace approx_detail

using approx_detail::CChordDistance;

CPointD const* CPolyApprox::OutmostPoint(CPointD const* first, CPointD const* last, double& dist) const {
  dist = 0.0;
  CPointD const* best = last;
  if (first == nullptr || last == nullptr || last - first < 2) return best;
  CChordDistance const chord(CEdge{*first, *last});
  for (CPointD const* p = first + 1; p != last; ++p) {
    double const d = chord(*p);
    if (tol::GtBeyond(d, dist)) {
      dist = d;
      best = p;
    }
  }
  return best;
}

bool CPolyApprox::GetInflections(CPointD const* pts, unsigned int n, std::vector<int>& idx) const {
  if (n < 3 || pts == nullptr || n > static_cast<unsigned int>(std::numeric_limits<int>::max())) return false;
  if (!geom_detail::AllFinite(pts, n)) return false;
  bool const closed = geom_detail::IsClosedRing(pts, n);

  int const count = static_cast<int>(n);
  // Built only where it pays: below a few stretches' worth of vertices the
  // plain scan is as fast. The index answers exactly as OutmostPoint does.
  std::unique_ptr<approx_detail::CFarthestIndex> index;
  if (count > 4 * approx_detail::CFarthestIndex::kMinStretch) {
    index = std::make_unique<approx_detail::CFarthestIndex>(pts, count);
  }

  idx.clear();
  idx.reserve(n);
  idx.push_back(0);
  // Pending right ends of the stretches still to settle; the left end is
  // always the last kept vertex, so indices come out in increasing order.
  std::vector<int> stack;
  stack.push_back(static_cast<int>(n) - 1);
  while (!stack.empty()) {
    int const a = idx.back();
    int const b = stack.back();
    double dist = 0.0;
    int const m = index ? index->Outmost(a, b, dist) : static_cast<int>(OutmostPoint(pts + a, pts + b, dist) - pts);
    // m == b means no vertex departs from the chord by 1e-12: only a
    // negative tolerance could call that a deviation, and pushing b again
    // would never end, so it is treated as a tolerance of 0.
    if (m != b && tol::GtBeyond(dist, m_dTolerance)) {
      stack.push_back(m);
      continue;
    }
    CPointD const d = pts[b] - pts[a];
    double const c = std::hypot(d.x, d.y);
    if (!tol::LeWithin(c, m_dChordLimit) && b - a > 1) {
      // a + (b - a) / 2 is (a + b) / 2 rounded down, without the overflow.
      stack.push_back(m != b ? m : a + (b - a) / 2);
      continue;
    }
    idx.push_back(b);
    stack.pop_back();
  }
  return idx.size() + (closed ? 1 : 0) < n;
}

bool CPolyApprox::operator()(std::vector<CPointD>& poly) const {
  std::vector<int> idx;
  if (poly.size() > std::numeric_limits<unsigned int>::max()) return false;
  if (!GetInflections(poly.data(), static_cast<unsigned int>(poly.size()), idx)) return false;
  // Kept indices increase, so every source lies at or after its target.
  for (std::size_t k = 0; k < idx.size(); ++k) poly[k] = poly[static_cast<std::size_t>(idx[k])];
  poly.resize(idx.size());
  return true;
}

bool PolyApprox(std::vector<CPointD>& poly, double dTolerance, double dChordLimit) {
  return CPolyApprox(dTolerance, dChordLimit)(poly);
}

bool PolyInflections(std::vector<CPointD> const& poly, double dTolerance, std::vector<int>& idx) {
  if (poly.size() > std::numeric_limits<unsigned int>::max()) return false;
  return PolyInflections(poly.data(), static_cast<unsigned int>(poly.size()), dTolerance, idx);
}

bool PolyInflections(CPointD const* pts, unsigned int n, double dTolerance, std::vector<int>& idx) {
  return CPolyApprox(dTolerance, std::numeric_limits<double>::max()).GetInflections(pts, n, idx);
}

}  // namespace Math
