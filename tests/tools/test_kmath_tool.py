"""End-to-end tests of the kmath tool on real data: formats, agreement with
the library, tracing, and bad input."""

import os
import sys

import numpy as np
import pytest
from osgeo import gdal, ogr

from conftest import BUILD, DATA, read_xy, write_geojson

gdal.UseExceptions()
sys.path.insert(0, str(BUILD / "python"))
kmath = pytest.importorskip("kmath")


def features(path):
    """[(properties dict, geometry as nested lists of (x, y))] read back with OGR."""
    ds = ogr.Open(str(path))
    layer = ds.GetLayer(0)
    out = []
    for f in layer:
        g = f.GetGeometryRef()
        out.append((f.items(), rings_of(g)))
    return out


def rings_of(g):
    if g is None:
        return []
    name = g.GetGeometryName()
    if name in ("POLYGON",):
        return [[g.GetGeometryRef(i).GetPoints()] for i in range(g.GetGeometryCount())]
    if name == "LINESTRING":
        return [[g.GetPoints()]]
    if name.startswith("MULTI"):
        return [r for i in range(g.GetGeometryCount()) for r in rings_of(g.GetGeometryRef(i))]
    raise AssertionError(name)


def xy(points):
    return np.array([p[:2] for p in points], dtype=np.float64)


@pytest.mark.parametrize("ext", [".gpkg", ".geojson", ".shp", ".fgb", ".csv"])
def test_each_format_keeps_geometry_and_attributes(run, buildings, tmp_path, ext):
    out = tmp_path / ("measured" + ext)
    run("measure", buildings, out, "-q")
    got = features(out)
    want = features(buildings)
    assert len(got) == len(want)
    for (gp, gg), (wp, wg) in zip(got, want):
        assert int(gp["id"]) == wp["id"] and gp["name"] == wp["name"]
        assert float(gp["height"]) == wp["height"]
        # Shapefiles reorient rings; the vertex set and the area must stay.
        a, b = xy(gg[0][0]), xy(wg[0][0])
        if ext == ".shp":
            assert sorted(map(tuple, a)) == sorted(map(tuple, b))
        else:
            np.testing.assert_array_equal(a, b)
    assert not [p for p in tmp_path.iterdir() if p.name.startswith(".kmath-tmp")]


def test_stdin_to_stdout_geojson(run, buildings):
    proc = run("simplify", "-", "-", "-t", "1.0", "-q", stdin=buildings.read_text())
    import json
    fc = json.loads(proc.stdout)
    assert len(fc["features"]) == len(read_xy("london_buildings.xy"))


def test_simplify_equals_the_library(run, contours, tmp_path):
    out = tmp_path / "simple.gpkg"
    run("simplify", contours, out, "-t", "1.5", "--max-chord", "30", "-q", "-j", "2")
    got = features(out)
    for (props, rings), line in zip(got, read_xy("omap_forest_contours.xy")):
        expected = kmath.simplify(np.array(line), 1.5, 30.0)
        np.testing.assert_array_equal(xy(rings[0][0]), expected)
        assert props["kmath_vertices_in"] == len(line)
        assert props["kmath_vertices_out"] == len(expected)


def test_hull_circle_and_measure_equal_the_library(run, buildings, tmp_path):
    run("hull", buildings, tmp_path / "hull.gpkg", "-q")
    run("measure", buildings, tmp_path / "m.gpkg", "-q")
    hulls = features(tmp_path / "hull.gpkg")
    measured = features(tmp_path / "m.gpkg")
    for (_, hull), (props, _), ring in zip(hulls, measured, read_xy("london_buildings.xy")):
        np.testing.assert_array_equal(xy(hull[0][0]), kmath.convex_hull(np.array(ring)))
        closed = np.array(ring if ring[0] == ring[-1] else ring + [ring[0]])
        m = kmath.moments(closed)
        assert props["kmath_area"] == pytest.approx(abs(kmath.area_centroid(closed)["area"]), rel=1e-12)
        if m["valid"]:
            assert props["kmath_cx"] == pytest.approx(m["centroid"][0], rel=1e-12)
            np.testing.assert_allclose([props[f"kmath_hu{i}"] for i in range(1, 8)], kmath.hu_moments(closed),
                                       rtol=1e-9)


def test_clip_keeps_every_vertex_inside(run, contours, tmp_path):
    pts = np.vstack([np.array(b) for b in read_xy("omap_forest_contours.xy")])
    x0, y0 = np.percentile(pts, 25, axis=0)
    x1, y1 = np.percentile(pts, 75, axis=0)
    run("clip", contours, tmp_path / "c.gpkg", "--rect", f"{x0},{y0},{x1},{y1}", "-q")
    got = features(tmp_path / "c.gpkg")
    assert got
    for _, rings in got:
        for part in rings:
            a = xy(part[0])
            assert (a[:, 0] >= x0).all() and (a[:, 0] <= x1).all() and (a[:, 1] >= y0).all() and (a[:, 1] <= y1).all()


def test_georef_fits_and_reports(run, tmp_path):
    rng = np.random.default_rng(5)
    src = rng.uniform(0, 2000, size=(12, 2))
    A = np.array([[0.5, 0.02], [-0.01, -0.5]])
    dst = src @ A.T + [440000.0, 4600000.0]
    csv = tmp_path / "refs.csv"
    csv.write_text("src_x,src_y,dst_x,dst_y\n" + "".join(f"{s[0]!r},{s[1]!r},{d[0]!r},{d[1]!r}\n"
                                                        for s, d in zip(src, dst)))
    proc = run("georef", "--points", csv, "--model", "poly2", "--residuals", tmp_path / "res.csv")
    residuals = np.loadtxt(tmp_path / "res.csv", delimiter=",", skiprows=1)[:, -1]
    assert residuals.max() < 1e-6, proc.stderr
    run("georef", "--points", csv, "--model", "affine", "--world-file", tmp_path / "w.tfw", "-q")
    tfw = np.loadtxt(tmp_path / "w.tfw")
    # The record names the centre of the first pixel; the half-pixel shift
    # uses the pixel sizes only (C = a/2 + c, F = e/2 + f).
    np.testing.assert_allclose(tfw[4:], [A[0, 0] / 2 + 440000.0, A[1, 1] / 2 + 4600000.0], rtol=1e-12)
    np.testing.assert_allclose(tfw[:4], [A[0, 0], A[1, 0], A[0, 1], A[1, 1]], rtol=1e-9)


def test_trace_finds_the_lake_in_its_own_coordinates(run, tmp_path):
    out = tmp_path / "lake.gpkg"
    run("trace", DATA / "chicago_ortho.tif", out, "--invert", "--min-area", "20000", "-q")
    got = features(out)
    assert len(got) >= 1
    ds = gdal.Open(str(DATA / "chicago_ortho.tif"))
    gt = ds.GetGeoTransform()
    x0, y1 = gt[0], gt[3]
    x1, y0 = gt[0] + gt[1] * ds.RasterXSize, gt[3] + gt[5] * ds.RasterYSize
    # The smoothed shoreline keeps within its fitting tolerance (a pixel) of
    # the traced one, which lies inside the raster.
    slack = 1.01 * gt[1]
    for _, rings in got:
        a = xy(rings[0][0])
        assert (a[:, 0] >= x0 - slack).all() and (a[:, 0] <= x1 + slack).all()
        assert (a[:, 1] >= y0 - slack).all() and (a[:, 1] <= y1 + slack).all()
    out_ds = ogr.Open(str(out))  # keep the dataset alive while its layer is used
    srs = out_ds.GetLayer(0).GetSpatialRef()
    assert srs is not None and srs.IsSame(ds.GetSpatialRef())


@pytest.mark.parametrize("args, message", [
    (["simplify", "missing.geojson", "{out}", "-t", "1"], "missing.geojson"),
    (["simplify", "{buildings}", "{dir}/out.xyz", "-t", "1"], "out.xyz"),
    (["simplify", "{buildings}", "{out}", "-t", "-1"], "tolerance"),
    (["simplify", "{buildings}", "{out}", "-t", "nan"], "tolerance"),
    (["frobnicate", "{buildings}", "{out}"], "frobnicate"),
    (["simplify", "{corrupt}", "{out}", "-t", "1"], "corrupt.geojson"),
    (["simplify", "{nan}", "{out}", "-t", "1"], "feature"),
    (["clip", "{buildings}", "{out}", "--rect", "1,2,0,3"], "rect"),
    (["trace", "{buildings}", "{out}"], "buildings.geojson"),
    (["simplify", "{buildings}", "{buildings}", "-t", "1"], "input"),
])
def test_bad_input_gives_one_error_line_and_no_output(run, buildings, tmp_path, args, message):
    corrupt = tmp_path / "corrupt.geojson"
    corrupt.write_text('{"type": "FeatureCollection", "features": [ {"type": "Feat')
    nan = tmp_path / "nan.geojson"
    nan.write_text('{"type":"FeatureCollection","features":[{"type":"Feature","properties":{},'
                   '"geometry":{"type":"LineString","coordinates":[[0,0],[NaN,1],[2,2]]}}]}')
    out = tmp_path / "out.gpkg"
    before = buildings.read_bytes()
    subst = {"out": out, "dir": tmp_path, "buildings": buildings, "corrupt": corrupt, "nan": nan}
    proc = run(*[a.format(**subst) for a in args], ok=False)
    assert proc.returncode != 0
    assert message in proc.stderr
    assert len(proc.stderr.strip().splitlines()) <= 2  # the error, and CLI11's "Run with --help" hint
    assert not out.exists()
    assert not [p for p in tmp_path.iterdir() if p.name.startswith(".kmath-tmp")]
    assert buildings.read_bytes() == before


def test_skip_invalid_continues_and_reports(run, tmp_path):
    path = write_geojson(tmp_path / "mixed.geojson", [
        ({"id": 1}, {"type": "LineString", "coordinates": [[0, 0], [5, 0.1], [10, 0]]}),
        ({"id": 2}, {"type": "LineString", "coordinates": [[0, 0], [1e400, 1], [2, 2]]}),
        ({"id": 3}, {"type": "LineString", "coordinates": [[0, 0], [5, 3], [10, 0]]}),
    ])
    proc = run("simplify", path, tmp_path / "o.gpkg", "-t", "1", "--skip-invalid")
    assert "skipped 1 invalid feature" in proc.stderr
    assert [p["id"] for p, _ in features(tmp_path / "o.gpkg")] == [1, 3]


def test_help_and_version(run):
    assert "kmath" in run("--version").stdout
    top = run("--help").stdout
    for sub in ("simplify", "trace", "georef", "clip", "measure"):
        assert sub in top
        assert "Example" in run(sub, "--help").stdout


def polygon_area(ring):
    a = np.array(ring)[:, :2]
    return 0.5 * abs(np.dot(a[:-1, 0], a[1:, 1]) - np.dot(a[1:, 0], a[:-1, 1]))


def test_trace_gives_back_rasterised_polygons(run, buildings, tmp_path):
    pixel = 0.25
    run("rasterize", buildings, tmp_path / "b.tif", "-r", pixel, "-q")
    run("trace", tmp_path / "b.tif", tmp_path / "t.gpkg", "--min-area", "2", "-q")
    traced = [(props, rings[0][0]) for props, rings in features(tmp_path / "t.gpkg")]
    truth = [r if r[0] == r[-1] else r + [r[0]] for r in read_xy("london_buildings.xy")]
    # Pair each truth polygon with the traced outline holding its centroid.
    ring_of = {}
    for k, ring in enumerate(truth):
        c = np.array(ring[:-1]).mean(axis=0)
        for props, outline in traced:
            if kmath.contains([np.array(outline)[:, :2]], c[None, :])[0]:
                ring_of[k] = (props, outline)
                break
    assert len(ring_of) >= 0.9 * len(truth)
    for k, (props, outline) in ring_of.items():
        ring = np.array(truth[k])
        perimeter = np.hypot(*np.diff(ring, axis=0).T).sum()
        # Touching buildings trace as one region: compare only lone ones.
        if sum(1 for j, (_, o) in ring_of.items() if o is outline) > 1:
            continue
        assert abs(props["kmath_area"] - polygon_area(ring)) <= perimeter * pixel, k


def test_rasterize_covers_the_area(run, buildings, tmp_path):
    pixel = 0.5
    run("rasterize", buildings, tmp_path / "b.tif", "-r", pixel, "-q")
    band = gdal.Open(str(tmp_path / "b.tif")).ReadAsArray()
    rings = [r if r[0] == r[-1] else r + [r[0]] for r in read_xy("london_buildings.xy")]
    area = sum(polygon_area(r) for r in rings)
    perimeter = sum(np.hypot(*np.diff(np.array(r), axis=0).T).sum() for r in rings)
    set_area = (band > 0).sum() * pixel * pixel
    # Overlapping buildings count once in the raster; the perimeter bounds the rest.
    assert set_area <= area + perimeter * pixel
    assert set_area >= area - perimeter * pixel - 0.01 * area


shapely_geometry = pytest.importorskip("shapely.geometry")
from shapely.geometry import MultiPoint, Polygon  # noqa: E402
from shapely.ops import unary_union  # noqa: E402


def shapes(path):
    """Shapely geometries of a file, read back with OGR."""
    from shapely import wkt
    ds = ogr.Open(str(path))
    out = [wkt.loads(f.GetGeometryRef().ExportToWkt()) for f in ds.GetLayer(0) if f.GetGeometryRef() is not None]
    return out


def test_offset_grows_and_shrinks_like_geos_buffer(run, buildings, tmp_path):
    polys = [Polygon(r) for r in read_xy("london_buildings.xy")]
    for d in (2.0, -0.5):
        out = tmp_path / f"off{d}.gpkg"
        run("offset", buildings, out, "-d", d, "--chord-tol", "0.001", "-q")
        ours = sum(g.area for g in shapes(out))
        theirs = sum(p.buffer(d, resolution=256).area for p in polys)
        assert ours == pytest.approx(theirs, rel=2e-3), d


def test_overlay_and_dissolve_areas_match_shapely(run, buildings, tmp_path):
    polys = [Polygon(r) for r in read_xy("london_buildings.xy")]
    shifted = [Polygon(np.array(r) + [3.0, 2.0]) for r in read_xy("london_buildings.xy")]
    b = write_geojson(tmp_path / "shifted.geojson",
                      [({"k": i}, {"type": "Polygon", "coordinates": [np.array(r).tolist()]})
                       for i, r in enumerate(np.array(p.exterior.coords) for p in shifted)])
    run("overlay", buildings, b, tmp_path / "x.gpkg", "--op", "intersection", "-q")
    ours = sum(g.area for g in shapes(tmp_path / "x.gpkg"))
    theirs = sum(p.intersection(q).area for p in polys for q in shifted if p.intersects(q))
    assert ours == pytest.approx(theirs, rel=1e-6)
    run("overlay", buildings, b, tmp_path / "d.gpkg", "--op", "difference", "-q")
    sb = unary_union(shifted)
    assert sum(g.area for g in shapes(tmp_path / "d.gpkg")) == pytest.approx(sum(p.difference(sb).area for p in polys),
                                                                             rel=1e-6)
    run("dissolve", buildings, tmp_path / "u.gpkg", "-q")
    assert sum(g.area for g in shapes(tmp_path / "u.gpkg")) == pytest.approx(unary_union(polys).area, rel=1e-6)


def test_minrect_holds_the_points_with_the_least_area(run, buildings, tmp_path):
    run("minrect", buildings, tmp_path / "r.gpkg", "-q")
    for rect, ring in zip(shapes(tmp_path / "r.gpkg"), read_xy("london_buildings.xy")):
        pts = MultiPoint(ring)
        assert rect.buffer(1e-6).contains(pts)
        assert rect.area == pytest.approx(pts.minimum_rotated_rectangle.area, rel=1e-9, abs=1e-9)


def test_triangulation_obeys_euler(run, tmp_path):
    rng = np.random.default_rng(9)
    pts = rng.uniform(0, 100, size=(400, 2))
    path = write_geojson(tmp_path / "pts.geojson",
                         [({}, {"type": "Point", "coordinates": p.tolist()}) for p in pts])
    run("triangulate", path, tmp_path / "t.gpkg", "-q")
    hull = len(kmath.convex_hull(pts)) - 1
    assert len(shapes(tmp_path / "t.gpkg")) == 2 * len(pts) - hull - 2
    assert sum(g.area for g in shapes(tmp_path / "t.gpkg")) == pytest.approx(MultiPoint(pts).convex_hull.area)


def test_traced_rectangles_come_back_square(run, tmp_path):
    # Rotated rectangles and an L-shape with known corners, 25-60 px across.
    # The fill takes integer vertices, so the rectangles are turned by
    # Pythagorean angles (3-4-5, 5-12-13) that keep every corner on a pixel
    # centre (k + 0.5) and the raster holds the exact shape.
    def rect(x, y, u, v, k, m):
        pts = [(x, y), (x + k * u[0], y + k * u[1]), (x + k * u[0] + m * v[0], y + k * u[1] + m * v[1]),
               (x + m * v[0], y + m * v[1])]
        return [[px + 0.5, py + 0.5] for px, py in pts + pts[:1]]
    truth = [rect(40, 20, (4, 3), (-3, 4), 8, 5), rect(150, 30, (12, 5), (-5, 12), 3, 2),
             rect(70, 120, (3, -4), (4, 3), 6, 6),
             [[130, 130], [190, 130], [190, 150], [150, 150], [150, 190], [130, 190], [130, 130]]]
    path = write_geojson(tmp_path / "truth.geojson", [({}, {"type": "Polygon", "coordinates": [t]}) for t in truth])
    run("rasterize", path, tmp_path / "m.tif", "--extent", "0,0,220,220", "-r", "1", "-q")
    run("trace", tmp_path / "m.tif", tmp_path / "t.gpkg", "--square", "-q")
    traced = features(tmp_path / "t.gpkg")
    assert len(traced) == len(truth)
    for props, rings in traced:
        assert props["kmath_cleanup"] == "squared"
        out = xy(rings[0][0])[:-1]
        t = min(truth, key=lambda t: np.hypot(*(np.mean(t[:-1], axis=0) - out.mean(axis=0))))
        corners = np.array(t[:-1])
        assert len(out) == len(corners)
        for c in corners:
            assert np.hypot(*(out - c).T).min() <= 0.5
        assert abs(Polygon(out).area - Polygon(t).area) <= Polygon(t).length * 1.0


def test_render_writes_valid_svg_layers(run, buildings, tmp_path):
    run("hull", buildings, tmp_path / "h.gpkg", "-q")
    run("render", buildings, tmp_path / "h.gpkg", "-o", tmp_path / "p.svg", "-q")
    from lxml import etree
    root = etree.parse(str(tmp_path / "p.svg")).getroot()
    ids = [g.get("id") for g in root.iter("{http://www.w3.org/2000/svg}g")]
    assert "buildings" in ids and "h" in ids


def test_match_pairs_a_line_with_its_resampled_copy(run, tmp_path):
    line = np.array(read_xy("omap_forest_contours.xy")[0])
    copy = kmath.resample(line, 0.7)
    a = write_geojson(tmp_path / "a.geojson", [({}, {"type": "LineString", "coordinates": line.tolist()})])
    b = write_geojson(tmp_path / "b.geojson", [({}, {"type": "LineString", "coordinates": copy.tolist()})])
    run("match", a, b, tmp_path / "p.gpkg", "-q")
    d = [p["kmath_distance"] for p, _ in features(tmp_path / "p.gpkg")]
    # Monotone pairing may pair a vertex one resampling step off its nearest
    # sample, never further.
    assert len(d) >= len(line) and max(d) < 2 * 0.7
