// A planar edge graph: nodes with plane positions and undirected edges held
// as pairs of half-edges linked around their faces, so that every face can be
// walked. Output type of the triangulator and of the Voronoi adaptor.
//
// The graph models the Boost.Graph concepts VertexListGraph, EdgeListGraph,
// IncidenceGraph and AdjacencyGraph (undirected): the free functions
// num_vertices, num_edges, vertices, edges, out_edges, out_degree, degree,
// adjacent_vertices, source and target are found by argument-dependent
// lookup, get(boost::vertex_index, g) is the identity and
// get(boost::edge_weight, g) the Euclidean length of an edge, so Boost's
// searches (breadth_first_search, dijkstra_shortest_paths,
// connected_components, ...) run on it unchanged. get(node_pos, g) is the
// position map of the nodes.
//
// Vertices are the numbers 0 .. num_vertices - 1. Edge k consists of the
// half-edges 2k and 2k + 1: 2k runs from the first node given to add_edge to
// the second, 2k + 1 back.
#pragma once

#include <math/types.h>

#include <boost/graph/adjacency_iterator.hpp>
#include <boost/graph/graph_traits.hpp>
#include <boost/graph/properties.hpp>
#include <boost/iterator/counting_iterator.hpp>
#include <boost/iterator/iterator_facade.hpp>
#include <boost/iterator/transform_iterator.hpp>
#include <boost/property_map/function_property_map.hpp>
#include <boost/property_map/property_map.hpp>

#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace Math {
namespace egraph {

// A half-edge, and for the undirected edge lists the edge it belongs to.
// Two descriptors are equal only when they name the same half-edge.
struct CHalfEdge {
  std::uint32_t h = 0;
  friend bool operator==(CHalfEdge a, CHalfEdge b) { return a.h == b.h; }
  friend bool operator!=(CHalfEdge a, CHalfEdge b) { return a.h != b.h; }
  friend bool operator<(CHalfEdge a, CHalfEdge b) { return a.h < b.h; }
};

// The tag of the node position map: get(node_pos, g).
struct node_pos_t {};
inline constexpr node_pos_t node_pos{};

class KMATH_API CGraph {
 public:
  using vertex = std::uint32_t;
  static constexpr std::uint32_t npos = 0xFFFFFFFFu;

  CGraph() = default;
  // Isolated nodes at the given positions.
  explicit CGraph(std::vector<CPointD> pos);

  // A new isolated node; returns its number.
  vertex add_vertex(CPointD const& p);

  // Joins u and v and returns the half-edge u -> v. The edge is placed in the
  // rotation of each end by the direction of the other end (atan2), so that
  // the faces of a straight-line plane embedding come out right; the caller
  // keeps the embedding planar (no crossings), the graph does not check.
  // Equal directions at one node keep the earlier edge first. A node number
  // out of range, u == v, or a non-finite position of u or v adds nothing
  // and returns npos.
  std::uint32_t add_edge(vertex u, vertex v);

  std::size_t num_vertices() const { return m_pos.size(); }
  std::size_t num_edges() const { return m_target.size() / 2; }
  std::size_t num_half_edges() const { return m_target.size(); }

  CPointD const& node_pos(vertex v) const { return m_pos[v]; }
  std::vector<CPointD> const& node_positions() const { return m_pos; }

  // Half-edge links: the twin runs the other way; next is the half-edge that
  // follows h along the face on h's left (counter-clockwise for an inner
  // face, y up); first_out is one half-edge leaving v, or npos.
  static std::uint32_t twin(std::uint32_t h) { return h ^ 1u; }
  vertex source(std::uint32_t h) const { return m_target[h ^ 1u]; }
  vertex target(std::uint32_t h) const { return m_target[h]; }
  std::uint32_t next(std::uint32_t h) const { return m_next[h]; }
  std::uint32_t first_out(vertex v) const { return m_out[v]; }
  // The next half-edge leaving source(h), clockwise around it.
  std::uint32_t next_out(std::uint32_t h) const { return m_next[h ^ 1u]; }
  std::size_t out_degree(vertex v) const;

  // Calls vis.begin_loop(), then vis.loop_edge(half_edge) for each half-edge
  // of one face in walking order, then vis.end_loop(area) with the face's
  // signed area (shoelace over its node positions): positive for an inner
  // face, negative for the outer face of each connected component, zero for
  // a component without a cycle (a tree, whose one face runs along both
  // sides of every edge). Every half-edge belongs to exactly one loop, so
  // every face is walked once; isolated nodes have none.
  template <class Visitor>
  void visit_loops(Visitor& vis) const;

  // The number of faces, outer faces included (one per component with an edge).
  std::size_t num_loops() const;

 private:
  std::vector<CPointD> m_pos;
  std::vector<std::uint32_t> m_out;     // per node
  std::vector<std::uint32_t> m_target;  // per half-edge
  std::vector<std::uint32_t> m_next;    // per half-edge
};

template <class Visitor>
void CGraph::visit_loops(Visitor& vis) const {
  std::vector<bool> seen(m_target.size(), false);
  for (std::uint32_t start = 0; start < m_target.size(); ++start) {
    if (seen[start]) continue;
    vis.begin_loop();
    // Shoelace relative to the loop's first node: cancels most rounding
    // when the coordinates are large and the face small.
    CPointD const o = m_pos[source(start)];
    double area2 = 0.0;
    std::uint32_t h = start;
    do {
      seen[h] = true;
      vis.loop_edge(h);
      CPointD const a = m_pos[source(h)] - o;
      CPointD const b = m_pos[target(h)] - o;
      area2 += a.x * b.y - a.y * b.x;
      h = m_next[h];
    } while (h != start);
    vis.end_loop(0.5 * area2);
  }
}

// ---- Boost.Graph interface ------------------------------------------------

// Walks the rotation of one node: next_out until back at the first.
class COutEdgeIterator
    : public boost::iterator_facade<COutEdgeIterator, CHalfEdge, boost::forward_traversal_tag, CHalfEdge> {
 public:
  COutEdgeIterator() = default;
  COutEdgeIterator(CGraph const* g, std::uint32_t first, bool end) : m_g(g), m_first(first), m_h(end ? CGraph::npos : first) {}

 private:
  friend class boost::iterator_core_access;
  CHalfEdge dereference() const { return CHalfEdge{m_h}; }
  bool equal(COutEdgeIterator const& o) const { return m_h == o.m_h; }
  void increment() {
    m_h = m_g->next_out(m_h);
    if (m_h == m_first) m_h = CGraph::npos;
  }
  CGraph const* m_g = nullptr;
  std::uint32_t m_first = CGraph::npos;
  std::uint32_t m_h = CGraph::npos;
};

struct CEdgeOfIndex {
  CHalfEdge operator()(std::uint32_t k) const { return CHalfEdge{2u * k}; }
};

struct CTraversal : boost::vertex_list_graph_tag,
                    boost::edge_list_graph_tag,
                    boost::incidence_graph_tag,
                    boost::adjacency_graph_tag {};

using CVertexIterator = boost::counting_iterator<std::uint32_t>;
using CEdgeIterator = boost::transform_iterator<CEdgeOfIndex, boost::counting_iterator<std::uint32_t>, CHalfEdge, CHalfEdge>;

inline std::size_t num_vertices(CGraph const& g) { return g.num_vertices(); }
inline std::size_t num_edges(CGraph const& g) { return g.num_edges(); }
inline std::uint32_t source(CHalfEdge e, CGraph const& g) { return g.source(e.h); }
inline std::uint32_t target(CHalfEdge e, CGraph const& g) { return g.target(e.h); }
inline std::size_t out_degree(std::uint32_t v, CGraph const& g) { return g.out_degree(v); }
inline std::size_t degree(std::uint32_t v, CGraph const& g) { return g.out_degree(v); }

inline std::pair<CVertexIterator, CVertexIterator> vertices(CGraph const& g) {
  return {CVertexIterator(0u), CVertexIterator(static_cast<std::uint32_t>(g.num_vertices()))};
}
inline std::pair<CEdgeIterator, CEdgeIterator> edges(CGraph const& g) {
  auto const n = static_cast<std::uint32_t>(g.num_edges());
  return {CEdgeIterator(boost::counting_iterator<std::uint32_t>(0u), CEdgeOfIndex{}),
          CEdgeIterator(boost::counting_iterator<std::uint32_t>(n), CEdgeOfIndex{})};
}
inline std::pair<COutEdgeIterator, COutEdgeIterator> out_edges(std::uint32_t v, CGraph const& g) {
  std::uint32_t const h = g.first_out(v);
  return {COutEdgeIterator(&g, h, h == CGraph::npos), COutEdgeIterator(&g, h, true)};
}

}  // namespace egraph
}  // namespace Math

namespace boost {

template <>
struct graph_traits<Math::egraph::CGraph> {
  using vertex_descriptor = std::uint32_t;
  using edge_descriptor = Math::egraph::CHalfEdge;
  using directed_category = undirected_tag;
  using edge_parallel_category = allow_parallel_edge_tag;
  using traversal_category = Math::egraph::CTraversal;
  using vertex_iterator = Math::egraph::CVertexIterator;
  using edge_iterator = Math::egraph::CEdgeIterator;
  using out_edge_iterator = Math::egraph::COutEdgeIterator;
  using adjacency_iterator =
      adjacency_iterator_generator<Math::egraph::CGraph, vertex_descriptor, out_edge_iterator>::type;
  using vertices_size_type = std::size_t;
  using edges_size_type = std::size_t;
  using degree_size_type = std::size_t;
  static vertex_descriptor null_vertex() { return Math::egraph::CGraph::npos; }
};

}  // namespace boost

namespace Math {
namespace egraph {

inline std::pair<boost::graph_traits<CGraph>::adjacency_iterator, boost::graph_traits<CGraph>::adjacency_iterator>
adjacent_vertices(std::uint32_t v, CGraph const& g) {
  using It = boost::graph_traits<CGraph>::adjacency_iterator;
  auto const oe = out_edges(v, g);
  return {It(oe.first, &g), It(oe.second, &g)};
}

// The Euclidean length of an edge, the default weight of Boost's searches.
struct CEdgeLength {
  CGraph const* g;
  double operator()(CHalfEdge e) const {
    CPointD const d = g->node_pos(g->target(e.h)) - g->node_pos(g->source(e.h));
    return std::hypot(d.x, d.y);
  }
};

using CEdgeLengthMap = boost::function_property_map<CEdgeLength, CHalfEdge, double>;
using CVertexIndexMap = boost::typed_identity_property_map<std::uint32_t>;

inline CVertexIndexMap get(boost::vertex_index_t, CGraph const&) { return CVertexIndexMap(); }
inline std::uint32_t get(boost::vertex_index_t, CGraph const&, std::uint32_t v) { return v; }
inline CEdgeLengthMap get(boost::edge_weight_t, CGraph const& g) { return CEdgeLengthMap(CEdgeLength{&g}); }
// The node positions as a readable property map (a pointer indexed by node).
inline CPointD const* get(node_pos_t, CGraph const& g) { return g.node_positions().data(); }

}  // namespace egraph
}  // namespace Math

namespace boost {

template <>
struct property_map<Math::egraph::CGraph, vertex_index_t> {
  using type = Math::egraph::CVertexIndexMap;
  using const_type = Math::egraph::CVertexIndexMap;
};
template <>
struct property_map<Math::egraph::CGraph, edge_weight_t> {
  using type = Math::egraph::CEdgeLengthMap;
  using const_type = Math::egraph::CEdgeLengthMap;
};
template <>
struct property_map<Math::egraph::CGraph, Math::egraph::node_pos_t> {
  using type = CPointD const*;
  using const_type = CPointD const*;
};

}  // namespace boost
