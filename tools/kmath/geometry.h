// The tool's plain geometry: what the library's functions take, without
// OGR. A feature's geometry is a list of parts; a part is a list of rings
// (a polygon: outer ring first, then its holes; a line or a point: one ring).
#pragma once

#include <math/types.h>

#include <string>
#include <vector>

namespace kmath_tool {

using Ring = std::vector<CPointD>;

enum class GeomKind { None, Point, Line, Polygon };

struct Geometry {
  GeomKind kind = GeomKind::None;
  std::vector<std::vector<Ring>> parts;

  bool Empty() const { return parts.empty(); }
  std::size_t VertexCount() const;
  // Every vertex finite; the name of the first offender otherwise.
  bool AllFinite() const;
};

// Twice-signed area of a closed ring (shoelace, closing edge included).
double SignedArea(Ring const& ring);
// Area of a polygon geometry: outer rings minus holes, by absolute values.
double PolygonArea(Geometry const& g);
// A ring repeats its first point at the end.
bool IsClosed(Ring const& ring);
// Makes every polygon ring closed (first point repeated), as the library's
// ring functions expect.
void CloseRings(Geometry& g);

}  // namespace kmath_tool
