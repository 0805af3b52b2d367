#include <math/kmath.h>

#include <gtest/gtest.h>

#include <boost/graph/breadth_first_search.hpp>
#include <boost/graph/connected_components.hpp>
#include <boost/graph/dijkstra_shortest_paths.hpp>

#include <cmath>
#include <limits>

#include "graph_test.h"

namespace kmath_test {
namespace {

using Math::egraph::CGraph;

struct LoopRecorder {
  std::vector<std::vector<std::uint32_t>> loops;
  std::vector<double> areas;
  void begin_loop() { loops.emplace_back(); }
  void loop_edge(std::uint32_t h) { loops.back().push_back(h); }
  void end_loop(double a) { areas.push_back(a); }
};

TEST(EGraph, LoopsWalkEveryFaceOnceWithSignedAreas) {
  // A unit square with one diagonal and a pendant edge, beside a separate
  // path: faces are the two triangles, the square's outside (which also
  // runs both ways along the pendant) and the path's single face.
  CGraph g({{0, 0}, {1, 0}, {1, 1}, {0, 1}, {2, 2}, {5, 0}, {6, 0}, {7, 1}});
  for (auto [u, v] : std::vector<std::pair<int, int>>{{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 2}, {2, 4}, {5, 6}, {6, 7}}) {
    EXPECT_NE(g.add_edge(u, v), CGraph::npos);
  }
  LoopRecorder rec;
  g.visit_loops(rec);
  std::multiset<double> areas(rec.areas.begin(), rec.areas.end());
  EXPECT_EQ(areas, (std::multiset<double>{-1.0, 0.0, 0.5, 0.5}));
  std::set<std::uint32_t> seen;
  for (auto const& l : rec.loops) {
    for (std::size_t k = 0; k < l.size(); ++k) {
      EXPECT_TRUE(seen.insert(l[k]).second);
      EXPECT_EQ(g.target(l[k]), g.source(l[(k + 1) % l.size()]));  // a closed walk
    }
  }
  EXPECT_EQ(seen.size(), g.num_half_edges());
  EXPECT_EQ(g.out_degree(2), 4u);
  EXPECT_EQ(g.out_degree(4), 1u);
  // Nothing is added for bad ends.
  CGraph bad({{0, 0}, {std::nan(""), 1}});
  EXPECT_EQ(bad.add_edge(0, 0), CGraph::npos);
  EXPECT_EQ(bad.add_edge(0, 1), CGraph::npos);
  EXPECT_EQ(bad.add_edge(0, 7), CGraph::npos);
  EXPECT_EQ(bad.num_edges(), 0u);
}

TEST(EGraph, TriangulationFacesObeyEuler) {
  std::vector<CPointD> const pts = RandomPoints(3000, 21);
  Math::Fortune::CTriangulator tr;
  ASSERT_TRUE(tr.Triangulate(pts));
  CGraph const g = tr.Graph();
  LoopRecorder rec;
  g.visit_loops(rec);
  // V - E + F = 2, with one negative (outer) face whose area cancels the rest.
  EXPECT_EQ(g.num_vertices() - g.num_edges() + rec.loops.size(), 2u);
  EXPECT_EQ(rec.loops.size(), tr.TriangleCount() + 1);
  double inner = 0, outer = 0;
  int negative = 0;
  for (double a : rec.areas) {
    if (a < 0) ++negative, outer += a;
    else inner += a;
  }
  EXPECT_EQ(negative, 1);
  EXPECT_NEAR(inner, -outer, 1e-6 * inner);
}

TEST(EGraph, BoostSearchesRunUnchanged) {
  // Two triangulated clouds far apart, in one graph.
  std::vector<CPointD> pts = RandomPoints(500, 31);
  for (CPointD const& p : RandomPoints(300, 32)) pts.push_back(p + CPointD{5000, 0});
  Math::Fortune::CTriangulator a, b;
  ASSERT_TRUE(a.Triangulate(std::vector<CPointD>(pts.begin(), pts.begin() + 500)));
  ASSERT_TRUE(b.Triangulate(std::vector<CPointD>(pts.begin() + 500, pts.end())));
  CGraph g(pts);
  auto const addAll = [&g](CGraph const& h, std::uint32_t offset) {
    auto [e, end] = edges(h);
    for (; e != end; ++e) g.add_edge(source(*e, h) + offset, target(*e, h) + offset);
  };
  addAll(a.Graph(), 0);
  addAll(b.Graph(), 500);

  std::vector<int> comp(num_vertices(g));
  EXPECT_EQ(boost::connected_components(g, comp.data()), 2);
  EXPECT_EQ(comp[0], comp[499]);
  EXPECT_NE(comp[0], comp[500]);

  // Dijkstra with the default weights (edge lengths): never shorter than
  // the straight line, equal to it along an edge, unreachable across.
  std::vector<double> dist(num_vertices(g));
  boost::dijkstra_shortest_paths(g, 0u, boost::distance_map(dist.data()));
  auto const* pos = get(Math::egraph::node_pos, g);
  for (std::uint32_t v = 0; v < 500; ++v) {
    CPointD const d = pos[v] - pos[0];
    EXPECT_GE(dist[v], std::hypot(d.x, d.y) * (1 - 1e-12));
  }
  auto [oe, oend] = out_edges(0u, g);
  for (; oe != oend; ++oe) {
    CPointD const d = pos[target(*oe, g)] - pos[0];
    EXPECT_DOUBLE_EQ(dist[target(*oe, g)], std::hypot(d.x, d.y));
  }
  EXPECT_EQ(dist[600], std::numeric_limits<double>::max());

  // Breadth-first search reaches exactly one component, through each
  // vertex's neighbours (adjacent_vertices agrees with out_edges).
  std::size_t reached = 0;
  struct Count : boost::default_bfs_visitor {
    std::size_t* n;
    void discover_vertex(std::uint32_t, CGraph const&) const { ++*n; }
  } vis;
  vis.n = &reached;
  boost::breadth_first_search(g, 500u, boost::visitor(vis));
  EXPECT_EQ(reached, 300u);
  auto [av, aend] = adjacent_vertices(7u, g);
  EXPECT_EQ(static_cast<std::size_t>(std::distance(av, aend)), out_degree(7u, g));
}

}  // namespace
}  // namespace kmath_test
