#include "geometry.h"

#include <cmath>

namespace kmath_tool {

std::size_t Geometry::VertexCount() const {
  std::size_t n = 0;
  for (auto const& part : parts)
    for (auto const& ring : part) n += ring.size();
  return n;
}

bool Geometry::AllFinite() const {
  for (auto const& part : parts)
    for (auto const& ring : part)
      for (CPointD const& p : ring)
        if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
  return true;
}

double SignedArea(Ring const& ring) {
  double a = 0;
  for (std::size_t i = 0, n = ring.size(); i < n; ++i) {
    CPointD const& p = ring[i];
    CPointD const& q = ring[(i + 1) % n];
    a += p.x * q.y - q.x * p.y;
  }
  return a / 2;
}

double PolygonArea(Geometry const& g) {
  if (g.kind != GeomKind::Polygon) return 0;
  double a = 0;
  for (auto const& part : g.parts)
    for (std::size_t r = 0; r < part.size(); ++r) a += (r == 0 ? 1 : -1) * std::abs(SignedArea(part[r]));
  return a;
}

bool IsClosed(Ring const& ring) {
  return ring.size() > 1 && ring.front().x == ring.back().x && ring.front().y == ring.back().y;
}

void CloseRings(Geometry& g) {
  if (g.kind != GeomKind::Polygon) return;
  for (auto& part : g.parts)
    for (auto& ring : part)
      if (!ring.empty() && !IsClosed(ring)) ring.push_back(ring.front());
}

}  // namespace kmath_tool
