// A polygon prepared for many point-in-polygon queries: an index built once
// over a CStdPlgn that answers every query exactly as CStdPlgn::PtInside
// (the member form) does, in time proportional to the edges one horizontal
// line through the point meets rather than to all edges.
#pragma once

#include <math/export.h>
#include <math/polygon.h>
#include <math/types.h>

#include <cstddef>
#include <vector>

namespace Math {

// Holds a copy of the edges it needs, not a reference: the polygon may
// change or go away after construction (the answers stay those of the
// polygon as it was).
//
// The answer is bit-for-bit the member CStdPlgn::PtInside: the same edges
// (consecutive pairs of each contour, no closing pair), the same half-open
// y rule, the same crossing expression and strict comparison, so points on
// the boundary go the same way. Pairs with a NaN coordinate never flip and
// are left out; a point with a NaN coordinate is never inside. Edges with an
// infinite y are checked for every query.
//
// Cost: construction O(n) for n edges plus one pass per band an edge spans,
// with the band count chosen so the stored entries stay within a small
// multiple of n (a few long edges cannot make it quadratic). A query is O(1)
// to find its band plus the edges registered there.
class KMATH_API CPreparedPlgn {
 public:
  CPreparedPlgn() = default;
  explicit CPreparedPlgn(CStdPlgn const& plgn);

  // True when p lies inside an odd number of the polygon's contours.
  bool PtInside(CPointD const& p) const;

  // Number of edges that can count (non-horizontal, no NaN).
  std::size_t EdgeCount() const { return m_edgeCount; }

 private:
  // One pair as the crossing rule reads it: a = ring[i], b = ring[i + 1].
  struct CEdge {
    double ax, ay, bx, by;
  };

  std::size_t BandOf(double y) const;

  double m_y0 = 0.0;
  double m_y1 = 0.0;
  double m_scale = 0.0;
  std::size_t m_bands = 0;
  std::size_t m_edgeCount = 0;
  // Band b holds m_edges[m_start[b] .. m_start[b + 1]).
  std::vector<std::size_t> m_start;
  std::vector<CEdge> m_edges;
  // Edges with an infinite y end: no band range holds them.
  std::vector<CEdge> m_always;
};

}  // namespace Math
