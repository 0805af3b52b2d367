"""kmath on Shapely geometries and GeoPandas columns."""

import numpy as np
import pytest

shapely_geometry = pytest.importorskip("shapely.geometry")
import kmath
import kmath.shapely as ks
from conftest import read_xy
from shapely.geometry import LineString, MultiPolygon, Polygon


def test_round_trip_keeps_coordinates_bit_for_bit():
    rng = np.random.default_rng(3)
    outer = np.cumsum(rng.normal(size=(50, 2)), axis=0) * np.pi
    outer = np.vstack([outer, outer[:1]])
    hole = outer[::5][:4] * 0.01 + outer.mean(axis=0)
    hole = np.vstack([hole, hole[:1]])
    poly = Polygon(outer, [hole])
    arrays = ks.to_arrays(poly)
    assert arrays[0].tobytes() == np.asarray(poly.exterior.coords).tobytes()
    back = ks.from_arrays("Polygon", arrays)
    assert np.asarray(back.exterior.coords).tobytes() == np.asarray(poly.exterior.coords).tobytes()
    assert np.asarray(back.interiors[0].coords).tobytes() == np.asarray(poly.interiors[0].coords).tobytes()


def test_simplify_on_geometries_equals_the_array_call():
    for _, pts in read_xy("london_buildings.xy")[:20]:
        poly = Polygon(pts)
        got = ks.simplify(poly, 1.0)
        np.testing.assert_array_equal(np.asarray(got.exterior.coords), kmath.simplify(pts, 1.0))
    line = LineString([(0, 0), (1, 0.1), (2, 0), (3, 0.1), (4, 0)])
    assert list(ks.simplify(line, 0.5).coords) == [(0, 0), (4, 0)]
    multi = MultiPolygon([Polygon([(0, 0), (1, 0), (1, 1), (0, 0)]), Polygon([(5, 5), (6, 5), (6, 6), (5, 5)])])
    assert len(ks.simplify(multi, 0.1).geoms) == 2


def test_hull_matches_shapely():
    pts = np.random.default_rng(1).normal(size=(500, 2))
    from shapely.geometry import MultiPoint
    ours = ks.convex_hull(MultiPoint(pts))
    theirs = MultiPoint(pts).convex_hull
    assert ours.symmetric_difference(theirs).area < 1e-12


def test_geoseries_helper_keeps_index_and_crs():
    geopandas = pytest.importorskip("geopandas")
    polys = [Polygon(p) for _, p in read_xy("london_buildings.xy")[:5]]
    series = geopandas.GeoSeries(polys, index=list("abcde"), crs="EPSG:27700")
    out = ks.GeoSeriesOps(series).simplify(1.0)
    assert list(out.index) == list("abcde")
    assert out.crs == series.crs
    for a, b in zip(out, polys):
        assert a.equals(ks.simplify(b, 1.0))


def test_polygon_helpers_on_geometries():
    a = Polygon([(0, 0), (10, 0), (10, 10), (0, 10)], [[(3, 3), (3, 7), (7, 7), (7, 3)]])
    b = Polygon([(5, -5), (15, -5), (15, 5), (5, 5)])
    for op, method in (("intersection", "intersection"), ("union", "union"), ("difference", "difference"),
                       ("symdifference", "symmetric_difference")):
        ours = ks.boolean(a, b, op)
        assert ours.is_valid
        assert ours.symmetric_difference(getattr(a, method)(b)).area < 1e-9, op
    parts = ks.boolean(a, b, "symdifference")
    assert isinstance(parts, MultiPolygon)
    union = ks.union_all([a, b, MultiPolygon([Polygon([(20, 0), (21, 0), (21, 1)])])])
    assert union.area == pytest.approx(a.union(b).area + 0.5)
    assert ks.boolean(a, Polygon(), "intersection").is_empty
    mask = ks.rasterize([a], 12, 12)
    assert mask.sum() == 100 - 16
    rect = ks.min_area_rectangle(b)
    assert rect.symmetric_difference(b).area < 1e-9
    bar = Polygon([(0, 0), (100, 0), (100, 10), (0, 10)])
    lines = ks.centerlines(bar, 3.0, 0.5)
    assert len(lines.geoms) == 1 and lines.length > 80
