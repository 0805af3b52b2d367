"""kmath operations on Shapely geometries.

LineString and LinearRing map to (n, 2) arrays, Polygon to its exterior and
interior rings; coordinates pass through bit for bit (only x and y: a z is
dropped). Multi-part geometries are handled part by part.
"""

import numpy as np
from shapely.geometry import (GeometryCollection, LinearRing, LineString, MultiLineString,
                              MultiPolygon, Polygon, shape)

from . import _kmath

__all__ = ["simplify", "square", "convex_hull", "min_area_rectangle", "boolean", "union_all", "rasterize",
           "centerlines", "offset_curve", "buffer", "to_arrays", "from_arrays", "apply", "GeoSeriesOps"]


def _xy(coords):
    return np.ascontiguousarray(np.asarray(coords, dtype=np.float64)[:, :2])


def to_arrays(geom):
    """The rings (Polygon: exterior first) or the line of a single geometry."""
    if isinstance(geom, Polygon):
        return [_xy(geom.exterior.coords)] + [_xy(r.coords) for r in geom.interiors]
    if isinstance(geom, (LineString, LinearRing)):
        return [_xy(geom.coords)]
    raise TypeError(f"expected a LineString, LinearRing or Polygon, got {geom.geom_type}")


def from_arrays(kind, arrays):
    """Rebuilds a geometry of the given kind ('Polygon', 'LineString', 'LinearRing')."""
    if kind == "Polygon":
        if len(arrays) == 0 or len(arrays[0]) < 4:
            return Polygon()
        return Polygon(arrays[0], [a for a in arrays[1:] if len(a) >= 4])
    if kind == "LinearRing":
        return LinearRing(arrays[0])
    return LineString(arrays[0]) if len(arrays[0]) >= 2 else LineString()


def apply(geom, ring_op):
    """Applies ring_op (an (n, 2) array -> (m, 2) array) to every ring or line of geom."""
    if geom is None or geom.is_empty:
        return geom
    if isinstance(geom, MultiPolygon):
        parts = [apply(p, ring_op) for p in geom.geoms]
        return MultiPolygon([p for p in parts if not p.is_empty])
    if isinstance(geom, MultiLineString):
        return MultiLineString([apply(p, ring_op) for p in geom.geoms])
    if isinstance(geom, GeometryCollection):
        return GeometryCollection([apply(p, ring_op) for p in geom.geoms])
    return from_arrays(geom.geom_type, [ring_op(a) for a in to_arrays(geom)])


def simplify(geom, tolerance, max_chord=None):
    """kmath.simplify on every ring or line of geom (see kmath.simplify)."""
    if max_chord is None:
        return apply(geom, lambda a: _kmath.simplify(a, tolerance))
    return apply(geom, lambda a: _kmath.simplify(a, tolerance, max_chord))


def square(geom, tolerance=None, **kwargs):
    """Squares every ring of a polygon (kmath.square, same arguments); a ring
    the squarer refuses stays as it was given."""
    return apply(geom, lambda a: _kmath.square(a, tolerance, **kwargs)[0])


def convex_hull(geom):
    """The convex hull of all vertices of geom as a Polygon."""
    pts = [a for a in to_arrays_all(geom)]
    if not pts:
        return Polygon()
    hull = _kmath.convex_hull(np.concatenate(pts))
    return Polygon(hull) if len(hull) >= 4 else Polygon()


def min_area_rectangle(geom):
    """The smallest-area rectangle holding every vertex of geom, as a Polygon."""
    pts = to_arrays_all(geom)
    if not pts:
        return Polygon()
    rect = _kmath.min_area_rectangle(np.concatenate(pts))
    return Polygon(rect["corners"]) if rect["area"] > 0 else Polygon()


def _polygon_rings(geom):
    """The rings of a Polygon or MultiPolygon as one even-odd ring list."""
    if geom is None or geom.is_empty:
        return []
    if isinstance(geom, MultiPolygon):
        return [a for p in geom.geoms for a in to_arrays(p)]
    if isinstance(geom, Polygon):
        return to_arrays(geom)
    raise TypeError(f"expected a Polygon or MultiPolygon, got {geom.geom_type}")


def _from_layout(rings):
    """A result of the boolean operations (each counter-clockwise outer ring
    followed by its clockwise holes) as a Polygon or MultiPolygon."""
    polys = []
    for r in rings:
        if _kmath.area_centroid(r)["area"] > 0 or not polys:
            polys.append([r])
        else:
            polys[-1].append(r)
    shapes = [Polygon(p[0], p[1:]) for p in polys]
    if not shapes:
        return Polygon()
    return shapes[0] if len(shapes) == 1 else MultiPolygon(shapes)


def boolean(a, b, op):
    """kmath.boolean on two Polygons or MultiPolygons; op as there
    ('intersection', 'union', 'difference', 'reverse_difference',
    'symdifference'). Returns a Polygon or MultiPolygon."""
    return _from_layout(_kmath.boolean(_polygon_rings(a), _polygon_rings(b), op))


def union_all(geoms):
    """The union of many Polygons and MultiPolygons in one pass."""
    return _from_layout(_kmath.union_all([_polygon_rings(g) for g in geoms if g is not None and not g.is_empty]))


def rasterize(geoms, width, height):
    """A (height, width) uint8 mask of the Polygons (even-odd over all their
    rings; vertices rounded to pixel indices, see kmath.rasterize)."""
    return _kmath.rasterize([a for g in geoms for a in _polygon_rings(g)], width, height)


def centerlines(geom, prune, tolerance):
    """The centre lines of a Polygon or MultiPolygon as a MultiLineString."""
    lines = [l for p in (geom.geoms if isinstance(geom, MultiPolygon) else [geom])
             for l in _kmath.centerlines(_polygon_rings(p), prune, tolerance)]
    return MultiLineString([l for l in lines if len(l) >= 2])


def offset_curve(line, distance, **kwargs):
    """kmath.offset of a LineString (positive distance to its left) as a
    MultiLineString of the pieces that stay |distance| away from it."""
    pieces = _kmath.offset(to_arrays(line)[0], distance, **kwargs)
    return MultiLineString([p for p in pieces if len(p) >= 2])


def buffer(geom, distance, **kwargs):
    """The region within `distance` of a Polygon, MultiPolygon or LineString
    (negative distances shrink polygons), built from kmath.offset: outer
    rings grow, holes shrink, and kmath.boolean puts the pieces together.
    kwargs: join, miter_limit, chord_tolerance (and cap for lines)."""
    if geom is None or geom.is_empty:
        return Polygon()
    if isinstance(geom, (LineString, LinearRing)) and not geom.is_ring:
        if distance <= 0:
            return Polygon()
        rings = _kmath.offset(to_arrays(geom)[0], distance, outline=True, **kwargs)
        return _from_layout(_kmath.boolean(rings, [], "normalize_a"))
    if isinstance(geom, (LineString, LinearRing)):
        geom = Polygon(geom)
    kwargs.pop("cap", None)
    polys = geom.geoms if isinstance(geom, MultiPolygon) else [geom]
    grown = []
    for p in polys:
        ext, *holes = to_arrays(p)
        region = _kmath.offset(_ccw(ext), -distance, **kwargs)
        cut = [r for h in holes for r in _kmath.offset(_ccw(h), distance, **kwargs)]
        grown.append(_kmath.boolean(region, cut, "difference") if cut else region)
    return _from_layout(_kmath.union_all(grown))


def _ccw(ring):
    return ring if _kmath.area_centroid(ring)["area"] > 0 else np.ascontiguousarray(ring[::-1])


def to_arrays_all(geom):
    """Every vertex array of any geometry, points included."""
    if geom is None or geom.is_empty:
        return []
    if geom.geom_type == "Point":
        return [_xy([geom.coords[0]])]
    if hasattr(geom, "geoms"):
        return [a for g in geom.geoms for a in to_arrays_all(g)]
    return to_arrays(geom)


class GeoSeriesOps:
    """Maps a kmath operation over a GeoPandas GeoSeries (or any iterable of
    geometries), keeping the index: GeoSeriesOps(series).simplify(1.0)."""

    def __init__(self, series):
        self._s = series

    def _map(self, fn):
        import geopandas
        return geopandas.GeoSeries([fn(g) for g in self._s], index=self._s.index, crs=self._s.crs)

    def simplify(self, tolerance, max_chord=None):
        return self._map(lambda g: simplify(g, tolerance, max_chord))

    def square(self, tolerance, **kwargs):
        return self._map(lambda g: square(g, tolerance, **kwargs))

    def convex_hull(self):
        return self._map(convex_hull)

    def buffer(self, distance, **kwargs):
        return self._map(lambda g: buffer(g, distance, **kwargs))
