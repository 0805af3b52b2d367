// Delaunay triangulation of a point set by a radial sweep (an advancing
// convex hull that takes the points in order of their distance from a seed
// triangle, legalising every new triangle with edge flips), and constrained
// triangulation of polygons with holes.
//
// Every decision is an orientation or in-circle sign computed by a
// floating-point filter with an exact fallback, so duplicates, collinear
// runs, cocircular sets and integer grids give a valid triangulation: no
// triangle is inverted or empty, and every edge not forced by a constraint
// passes the empty-circle test exactly. Where four or more points are
// cocircular the choice among the valid triangulations is the sweep's.
#pragma once

#include <math/egraph.h>
#include <math/polygon.h>
#include <math/types.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Math {
namespace Fortune {

class KMATH_API CTriangulator {
 public:
  // Triangulates the points. Indices in every result refer to `pts` as
  // given. A point with a NaN or infinite coordinate, or a coordinate beyond
  // 1e60 in magnitude (whose in-circle terms would overflow), is skipped and
  // counted in SkippedCount; a point equal to an earlier one (exactly) is
  // left out and counted in DuplicateCount. Returns true when at least one
  // triangle was made; with fewer than three distinct usable points, or all
  // of them collinear, returns false with no triangles, and Hull() lists the
  // usable distinct points along their line (the graph is then a path).
  // More than 2^29 points: false and nothing done. Runs in O(n log n)
  // expected time and about 100 bytes per point at its peak.
  bool Triangulate(std::vector<CPointD> const& pts);

  // Constrained triangulation of a polygon with holes under the even-odd
  // rule: every ring edge is an edge of the result and only the triangles
  // inside the polygon are kept. Points are the ring vertices in ring order,
  // each ring without its closing repeat (see Points()). Edges not forced by
  // a ring are flipped to the constrained Delaunay condition. Every ring must
  // be closed (last point equal to the first within 1e-12) with at least
  // three distinct vertices and coordinates within 1e60, and no two ring
  // edges may cross (rings may touch at vertices; a vertex on another edge
  // splits it, and edges that overlap count once each, so an overlap held
  // twice is outside); otherwise returns false and every result is empty.
  // A vertex repeated within or across rings is merged with its first
  // occurrence (counted in DuplicateCount), and triangles refer to that one.
  // More than 2^29 vertices in all: false.
  bool TriangulatePolygon(CStdPlgn const& plgn);

  // The points the indices refer to (a copy of the input, or the ring
  // vertices of TriangulatePolygon).
  std::vector<CPointD> const& Points() const { return m_pts; }
  // Three point indices per triangle, counter-clockwise (y up).
  std::vector<std::uint32_t> const& Triangles() const { return m_tri; }
  std::size_t TriangleCount() const { return m_tri.size() / 3; }
  // The convex hull, counter-clockwise (y up) from the point where the
  // sweep ended; points on hull edges are included, so consecutive triples
  // may be collinear. After a collinear input: the distinct points in
  // lexicographic (x, then y) order, which runs along their line. Empty
  // after TriangulatePolygon.
  std::vector<std::uint32_t> const& Hull() const { return m_hull; }
  std::size_t SkippedCount() const { return m_skipped; }
  std::size_t DuplicateCount() const { return m_duplicates; }

  // The triangulation as a planar graph: one node per point (skipped and
  // duplicate points stay isolated nodes), one edge per triangle side; for
  // collinear input the path through the sorted points.
  egraph::CGraph Graph() const;

 private:
  void Clear();

  std::vector<CPointD> m_pts;
  std::vector<std::uint32_t> m_tri;
  std::vector<std::uint32_t> m_hull;
  std::size_t m_skipped = 0;
  std::size_t m_duplicates = 0;
};

}  // namespace Fortune
}  // namespace Math
