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
    for _, rings in got:
        a = xy(rings[0][0])
        assert (a[:, 0] >= x0 - 1e-6).all() and (a[:, 0] <= x1 + 1e-6).all()
        assert (a[:, 1] >= y0 - 1e-6).all() and (a[:, 1] <= y1 + 1e-6).all()
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
