// The Voronoi diagram of point and segment sites (Boost.Polygon's
// voronoi_diagram<double>) presented as a planar edge graph: the same
// Boost.Graph traits and node_pos map as every egraph (egraph.h), with
// infinite edges clipped to a box and parabolic edges sampled.
//
// Boost.Polygon builds from 32-bit integer sites. Coordinates are mapped to
// integers by x -> round((x - cx) * s), with (cx, cy) the centre of the
// sites' bounding box and s the largest power of two that fits its larger
// side into fewer than 2^31 units (Scale()); results are mapped back
// exactly (s is a power of two). What is lost is the rounding of each site
// to the grid of 1 / s: at most 2^-31 of the extent per coordinate (about
// 5e-10 relative), so sites closer than that merge and distances from a
// vertex to its sites agree only to about 1e-9 of the extent.
#pragma once

#include <math/egraph.h>
#include <math/types.h>

#include <cstdint>
#include <vector>

namespace Math {
namespace Voronoi {

// The site whose cell lies left of a half-edge: its index (points first,
// then segments: points.size() + segment number) and which part of it
// (0 a point site or a segment's interior, 1 a segment's first point, 2 its
// second point). Box sides have no site: index npos.
struct CSite {
  std::uint32_t index;
  unsigned char part;
};

class KMATH_API CVoronoiGraph {
 public:
  static constexpr std::uint32_t npos = egraph::CGraph::npos;

  // Builds the diagram and its graph. Every edge is cut to `box`
  // (left <= right, top <= bottom; pass one that holds the sites), and the
  // box's sides join the cut ends, so that each cell of a site inside the
  // box is one inner face of the graph. Parabolic edges are sampled so that
  // no piece departs from the curve by more than dChordTol (at most 4096
  // pieces per edge); straight edges are single graph edges. Segments must
  // not cross one another except at shared end points (Boost.Polygon's
  // requirement; a zero-length segment counts as a point). Returns false,
  // with an empty graph, for no sites, a NaN or infinite coordinate, or an
  // empty box, or one too large to scale with the sites (beyond the double
  // range once scaled).
  bool Build(std::vector<CPointD> const& points, std::vector<CEdge> const& segments, CRectD const& box,
             double dChordTol);

  egraph::CGraph const& Graph() const { return m_graph; }
  // Per half-edge of Graph().
  CSite const& LeftSite(std::uint32_t h) const { return m_site[h]; }
  // True for nodes that are vertices of the diagram (not cut points, box
  // corners or samples of a parabola).
  bool IsVoronoiVertex(std::uint32_t v) const { return m_isVertex[v] != 0; }
  double Scale() const { return m_scale; }

 private:
  egraph::CGraph m_graph;
  std::vector<CSite> m_site;
  std::vector<unsigned char> m_isVertex;
  double m_scale = 1.0;
};

}  // namespace Voronoi
}  // namespace Math
