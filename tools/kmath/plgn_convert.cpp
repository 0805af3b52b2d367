#include "plgn_convert.h"

namespace kmath_tool {

CStdPlgn ToPlgn(Geometry const& g) {
  CStdPlgn p;
  if (g.kind != GeomKind::Polygon) return p;
  for (auto const& part : g.parts)
    for (Ring const& ring : part) {
      Ring closed = ring;
      if (!closed.empty() && !IsClosed(closed)) closed.push_back(closed.front());
      p.emplace_back(std::move(closed));
    }
  return p;
}

Geometry FromPlgn(CStdPlgn const& p) {
  Geometry g;
  g.kind = GeomKind::Polygon;
  for (auto const& ring : p) {
    if (ring.size() < 4) continue;
    Ring r(ring.begin(), ring.end());
    if (SignedArea(r) > 0 || g.parts.empty())
      g.parts.push_back({std::move(r)});
    else
      g.parts.back().push_back(std::move(r));
  }
  return g;
}

}  // namespace kmath_tool
