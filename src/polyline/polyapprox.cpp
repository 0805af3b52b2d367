#include <math/polyapprox.h>

#include <cmath>
#include <cstddef>
#include <limits>

#include "core/geom_impl.h"
#include "core/tolerance.h"

namespace Math {
namespace {

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

 private:
  CPointD m_p0, m_p1, m_d;
  double m_len;
};

}  // namespace

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
    int const m = static_cast<int>(OutmostPoint(pts + a, pts + b, dist) - pts);
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
