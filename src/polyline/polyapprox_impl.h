// The farthest-vertex search of the approximation, and an index that makes
// it fast on long stretches without changing a single result.
//
// The search is a scan: a vertex replaces the best so far only when farther
// by at least 1e-12 (tol::GtBeyond). On a long, nearly straight polyline the
// distances are rounding noise, the best is found near the stretch's start,
// and every split re-scans the whole rest of the stretch only to confirm
// that nothing later wins: quadratic. The index keeps, for blocks of
// consecutive vertices, a few vertices whose convex hull holds the whole
// block; a linear bound over those vertices, widened by a proven bound on
// the rounding of the scan's own arithmetic, shows that no vertex of the
// block can win, and the scan passes the block over. Vertices it cannot rule
// out are measured exactly as the plain scan measures them, in the same
// order, so the result (vertex and distance) is the plain scan's, bit for
// bit.
#pragma once

#include <math/types.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "core/tolerance.h"

namespace Math::approx_detail {

// Distances from the points of one stretch to its chord, as a segment: the
// arithmetic of CPtToEdge (line.h) term for term, with the chord's length
// taken once per stretch instead of once per vertex; the tests hold the two
// equal bit for bit. A vertex past an end is measured to that end, not to
// the chord's line, or a hairpin would be dropped.
class CChordDistance {
 public:
  explicit CChordDistance(CEdge const& e) : m_p0(e.p0), m_p1(e.p1), m_d(e.p1 - e.p0), m_len(std::hypot(m_d.x, m_d.y)) {}

  double operator()(CPointD const& p) const {
    // A degenerate chord measures from its first point.
    if (m_len < tol::kEps) return std::hypot(p.x - m_p0.x, p.y - m_p0.y);
    double const t = (m_d.x * (p.x - m_p0.x) + m_d.y * (p.y - m_p0.y)) / (m_len * m_len);
    if (t < 0.0) return std::hypot(p.x - m_p0.x, p.y - m_p0.y);
    if (t > 1.0) return std::hypot(p.x - m_p1.x, p.y - m_p1.y);
    return std::abs(((p.x - m_p0.x) * m_d.y - m_d.x * (p.y - m_p0.y)) / m_len);
  }

  CPointD const& Start() const { return m_p0; }
  CPointD const& Direction() const { return m_d; }
  double Length() const { return m_len; }

 private:
  CPointD m_p0, m_p1, m_d;
  double m_len;
};

// One step of the scan: p replaces the best when farther by at least 1e-12.
inline void Consider(CChordDistance const& chord, CPointD const* pts, int i, double& dist, int& best) {
  double const d = chord(pts[i]);
  if (tol::GtBeyond(d, dist)) {
    dist = d;
    best = i;
  }
}

// Blocks of consecutive vertices in a complete binary tree, each with a
// small set of its vertices whose convex hull contains the block.
class CFarthestIndex {
 public:
  // Below this many vertices between the ends the plain scan is as fast.
  static constexpr int kMinStretch = 256;

  CFarthestIndex(CPointD const* pts, int n);

  // The plain scan's answer for the vertices strictly between a and b:
  // the index of the farthest (b when none is at 1e-12 or more) and its
  // distance in `dist`.
  int Outmost(int a, int b, double& dist) const;

 private:
  static constexpr int kLeaf = 32;  // vertices per leaf block
  static constexpr int kCap = 64;   // most hull vertices kept for one block

  struct CNode {
    int first = 0;   // into m_hull
    int count = -1;  // -1: no hull kept (too many vertices); the block is always descended
  };

  // The hull vertices of `idx` (sorted and deduplicated inside) appended to
  // m_hull for `node`, or none when more than kCap.
  void SetHull(int node, std::vector<int>& idx, std::vector<int>& chain);
  // True when no vertex of the block can replace a best at `dist`.
  bool Ruled(CNode const& node, CChordDistance const& chord, double dist) const;

  CPointD const* m_pts;
  int m_n;
  int m_leaves = 1;  // a power of two
  std::vector<CNode> m_nodes;
  std::vector<int> m_hull;
};

}  // namespace Math::approx_detail
