#include <math/egraph.h>

#include <cmath>

namespace Math {
namespace egraph {
namespace {

constexpr double kTwoPi = 6.283185307179586476925286766559;

double Direction(CPointD const& from, CPointD const& to) { return std::atan2(to.y - from.y, to.x - from.x); }

// Clockwise turn from direction a to direction b, in [0, 2 pi).
double CwTurn(double a, double b) {
  double d = a - b;
  if (d < 0.0) d += kTwoPi;
  if (d >= kTwoPi) d -= kTwoPi;
  return d;
}

bool Finite(CPointD const& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

}  // namespace

CGraph::CGraph(std::vector<CPointD> pos) : m_pos(std::move(pos)), m_out(m_pos.size(), npos) {}

CGraph::vertex CGraph::add_vertex(CPointD const& p) {
  m_pos.push_back(p);
  m_out.push_back(npos);
  return static_cast<vertex>(m_pos.size() - 1);
}

std::uint32_t CGraph::add_edge(vertex u, vertex v) {
  if (u >= m_pos.size() || v >= m_pos.size() || u == v) return npos;
  if (!Finite(m_pos[u]) || !Finite(m_pos[v])) return npos;
  // Half-edge numbers must stay below npos.
  if (m_target.size() >= std::size_t{npos} - 1) return npos;
  auto const h = static_cast<std::uint32_t>(m_target.size());
  m_target.push_back(v);
  m_target.push_back(u);
  m_next.push_back(npos);
  m_next.push_back(npos);

  // Splices the half-edge `out` (leaving node a towards b) into a's rotation:
  // it goes right after the outgoing edge from which it is the smallest
  // clockwise turn, so the rotation stays sorted clockwise.
  auto const splice = [this](std::uint32_t out, vertex a, vertex b) {
    std::uint32_t const in = out ^ 1u;
    std::uint32_t const first = m_out[a];
    if (first == npos) {
      m_next[in] = out;
      m_out[a] = out;
      return;
    }
    double const dir = Direction(m_pos[a], m_pos[b]);
    std::uint32_t prev = first;
    std::uint32_t x = first;
    do {
      std::uint32_t const y = m_next[x ^ 1u];
      double const dx = Direction(m_pos[a], m_pos[m_target[x]]);
      double const span = y == x ? kTwoPi : CwTurn(dx, Direction(m_pos[a], m_pos[m_target[y]]));
      if (CwTurn(dx, dir) < span) {
        prev = x;
        break;
      }
      x = y;
    } while (x != first);
    m_next[in] = m_next[prev ^ 1u];
    m_next[prev ^ 1u] = out;
  };
  splice(h, u, v);
  splice(h ^ 1u, v, u);
  return h;
}

std::size_t CGraph::out_degree(vertex v) const {
  std::uint32_t const first = m_out[v];
  if (first == npos) return 0;
  std::size_t n = 0;
  std::uint32_t h = first;
  do {
    ++n;
    h = m_next[h ^ 1u];
  } while (h != first);
  return n;
}

std::size_t CGraph::num_loops() const {
  struct Counter {
    std::size_t n = 0;
    void begin_loop() { ++n; }
    void loop_edge(std::uint32_t) {}
    void end_loop(double) {}
  } counter;
  visit_loops(counter);
  return counter.n;
}

}  // namespace egraph
}  // namespace Math
