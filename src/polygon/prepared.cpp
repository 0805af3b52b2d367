#include <math/prepared.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Math {

namespace {

// Bands per edge at most: enough that a band holds about the edges one
// horizontal line meets, few enough that the index stays linear in size.
constexpr double kEntriesPerEdge = 2.0;

}  // namespace

CPreparedPlgn::CPreparedPlgn(CStdPlgn const& plgn) {
  std::vector<CEdge> edges;
  double ymin = HUGE_VAL, ymax = -HUGE_VAL, span = 0.0;
  for (auto const& ring : plgn) {
    for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
      CPointD const& a = ring[i];
      CPointD const& b = ring[i + 1];
      // Neither a horizontal pair nor one with a NaN ever flips the answer.
      if (std::isnan(a.x) || std::isnan(a.y) || std::isnan(b.x) || std::isnan(b.y) || a.y == b.y) continue;
      CEdge const e{a.x, a.y, b.x, b.y};
      if (std::isinf(a.y) || std::isinf(b.y)) {
        m_always.push_back(e);
        continue;
      }
      edges.push_back(e);
      double const lo = std::min(a.y, b.y), hi = std::max(a.y, b.y);
      ymin = std::min(ymin, lo);
      ymax = std::max(ymax, hi);
      span += hi - lo;
    }
  }
  m_edgeCount = edges.size() + m_always.size();
  if (edges.empty()) return;

  // With bands of height h an edge of height d lands in about d / h + 1 of
  // them, so the entries come to span * bands / height + n.
  double const n = static_cast<double>(edges.size());
  double const height = ymax - ymin;
  double bands = n;
  if (std::isfinite(height) && std::isfinite(span) && height > 0.0) {
    if (span * n > kEntriesPerEdge * n * height) bands = kEntriesPerEdge * n * height / span;
  } else {
    bands = 1.0;
  }
  m_bands = static_cast<std::size_t>(std::max(1.0, std::floor(bands)));
  m_y0 = ymin;
  m_y1 = ymax;
  m_scale = std::isfinite(height) && height > 0.0 ? static_cast<double>(m_bands) / height : 0.0;

  // Counting sort of the band entries: counts, prefix sums, then placement.
  m_start.assign(m_bands + 1, 0);
  for (CEdge const& e : edges) {
    std::size_t const b0 = BandOf(std::min(e.ay, e.by)), b1 = BandOf(std::max(e.ay, e.by));
    for (std::size_t b = b0; b <= b1; ++b) ++m_start[b + 1];
  }
  for (std::size_t b = 0; b < m_bands; ++b) m_start[b + 1] += m_start[b];
  m_edges.resize(m_start[m_bands]);
  std::vector<std::size_t> fill(m_start.begin(), m_start.end() - 1);
  for (CEdge const& e : edges) {
    std::size_t const b0 = BandOf(std::min(e.ay, e.by)), b1 = BandOf(std::max(e.ay, e.by));
    for (std::size_t b = b0; b <= b1; ++b) m_edges[fill[b]++] = e;
  }
}

// Monotone in y (every step rounds monotonically), so a point whose y lies
// in an edge's y range falls in one of the bands the edge was entered in.
std::size_t CPreparedPlgn::BandOf(double y) const {
  double const t = (y - m_y0) * m_scale;
  if (!(t > 0.0)) return 0;
  if (t >= static_cast<double>(m_bands)) return m_bands - 1;
  return static_cast<std::size_t>(t);
}

bool CPreparedPlgn::PtInside(CPointD const& p) const {
  if (std::isnan(p.x) || std::isnan(p.y)) return false;
  bool inside = false;
  // The crossing rule of the member PtInside, term for term: only the
  // choice of edges to look at differs, and it never drops a counting one.
  auto const cross = [&p, &inside](CEdge const& e) {
    if ((e.by <= p.y && p.y < e.ay) || (e.ay <= p.y && p.y < e.by)) {
      double const x = (e.ax - e.bx) * (p.y - e.by) / (e.ay - e.by) + e.bx;
      if (x > p.x) inside = !inside;
    }
  };
  for (CEdge const& e : m_always) cross(e);
  // Every banded edge lies within [y0, y0 + height]; a counting edge needs
  // its lower end at or below p.y and its upper end above it.
  if (m_bands != 0 && p.y >= m_y0 && p.y < m_y1) {
    std::size_t const b = BandOf(p.y);
    CEdge const* it = m_edges.data() + m_start[b];
    CEdge const* const end = m_edges.data() + m_start[b + 1];
    for (; it != end; ++it) cross(*it);
  }
  return inside;
}

}  // namespace Math
