"""Boolean operations and rasterisation."""

import math

import numpy as np
import pytest

import kmath
from conftest import DATA, cpp_results, flat_rings, read_xy, same_bits

POLYGON_FILES = ["london_buildings.xy", "coins_crack.xy", "nc_counties.xy"]
OPS = {"norm_a": "normalize_a", "norm_b": "normalize_b", "cross": "intersection", "union": "union",
       "a_not_b": "difference", "b_not_a": "reverse_difference", "xor": "symdifference"}


def is_ring(pts):
    return len(pts) >= 4 and pts[0].tobytes() == pts[-1].tobytes()


def moved(pts):
    """The ring moved by a third of its width and a fifth of its height."""
    extent = pts.max(axis=0) - pts.min(axis=0)
    return pts + extent / [3.0, 5.0]


@pytest.mark.parametrize("name", POLYGON_FILES)
def test_polygon_bindings_return_the_cpp_numbers_bit_for_bit(reference_program, name):
    ref = cpp_results(reference_program, name, "polygons")
    for b, (_, pts) in enumerate(read_xy(name)):
        if not is_ring(pts):
            continue
        where = (name, b)
        other = moved(pts)
        for key, op in OPS.items():
            assert same_bits(flat_rings(kmath.boolean([pts], [other], op)), ref[(b, key)]), (where, op)
        assert [kmath.check_self_cross(pts)] == ref[(b, "self_cross")], where
        assert same_bits(kmath.triangulate(pts), ref[(b, "triangulate")]), where
        if (b, "triangulate_polygon") in ref:
            assert same_bits(kmath.triangulate_polygon([pts])[1], ref[(b, "triangulate_polygon")]), where
        lines = kmath.centerlines([pts], 3.0, 0.5, half_widths=True)
        flat = [v for line, w in lines for v in [len(line), *np.column_stack([line, w]).ravel()]]
        assert same_bits(flat, ref[(b, "centerlines")]), where


def signed_area(rings):
    return sum(kmath.area_centroid(r)["area"] for r in rings)


def local_area(rings, origin):
    """Signed area with the coordinates taken relative to `origin`: real
    outlines sit far from (0, 0) (metres of a national grid), where the
    shoelace sum cancels most of its digits."""
    return sum(kmath.area_centroid(np.asarray(r) - origin)["area"] for r in rings)


def test_boolean_areas_agree_with_shapely():
    geometry = pytest.importorskip("shapely.geometry")
    theirs = {"intersection": "intersection", "union": "union", "difference": "difference",
              "symdifference": "symmetric_difference"}
    checked = 0
    # Metres and pixels: the noding merges points within 0.0005, which in
    # degrees (nc_counties) would be a visible snap.
    for _, pts in read_xy("london_buildings.xy") + read_xy("coins_crack.xy"):
        origin = pts[0]
        a, b = geometry.Polygon(pts - origin), geometry.Polygon(moved(pts) - origin)
        if not (is_ring(pts) and a.is_valid):
            continue
        for op, method in theirs.items():
            expected = getattr(a, method)(b).area
            got = local_area(kmath.boolean([pts], [moved(pts)], op), origin)
            assert got == pytest.approx(expected, rel=1e-9, abs=1e-6), op
        got = local_area(kmath.boolean([pts], [moved(pts)], "reverse_difference"), origin)
        assert got == pytest.approx(b.difference(a).area, rel=1e-9, abs=1e-6)
        checked += 1
    assert checked > 100


def test_results_are_laid_out_outer_counter_clockwise_holes_clockwise():
    outer = np.array([[0, 0], [10, 0], [10, 10], [0, 10], [0, 0]], float)
    inner = np.array([[3, 3], [7, 3], [7, 7], [3, 7], [3, 3]], float)
    rings = kmath.boolean([outer[::-1]], [inner], "difference")
    assert len(rings) == 2
    assert kmath.area_centroid(rings[0])["area"] == pytest.approx(100.0)
    assert kmath.area_centroid(rings[1])["area"] == pytest.approx(-16.0)
    for r in rings:
        assert r[0].tobytes() == r[-1].tobytes()
    assert kmath.boolean([outer], [], "intersection") == []
    with pytest.raises(ValueError, match="unknown operation"):
        kmath.boolean([outer], [inner], "xor")
    with pytest.raises(TypeError):
        kmath.boolean(outer, [inner], "union")


def test_union_all_matches_shapely_on_real_buildings():
    ops = pytest.importorskip("shapely.ops")
    geometry = pytest.importorskip("shapely.geometry")
    rings = [p for _, p in read_xy("london_buildings.xy") if is_ring(p)][:80]
    # Grow each a little so neighbours overlap.
    grown = [(r - r.mean(axis=0)) * 1.3 + r.mean(axis=0) for r in rings]
    origin = rings[0][0]
    union = kmath.union_all([[g] for g in grown])
    expected = ops.unary_union([geometry.Polygon(g - origin).buffer(0) for g in grown]).area
    assert local_area(union, origin) == pytest.approx(expected, rel=1e-9)
    assert kmath.union_all([]) == []
    with pytest.raises(TypeError):
        kmath.union_all(grown[0])


def test_self_cross_flags():
    square = [[0, 0], [4, 0], [4, 4], [0, 4], [0, 0]]
    bowtie = [[0, 0], [4, 4], [4, 0], [0, 4], [0, 0]]
    assert kmath.check_self_cross(square) == 0
    assert kmath.check_self_cross(square[::-1]) == 0
    assert kmath.check_self_cross(bowtie) & 3 == 3


def read_pbm(path):
    data = path.read_bytes()
    fields, pos = [], 0
    while len(fields) < 3:
        while data[pos:pos + 1].isspace():
            pos += 1
        if data[pos:pos + 1] == b"#":
            pos = data.index(b"\n", pos) + 1
            continue
        end = pos
        while not data[end:end + 1].isspace():
            end += 1
        fields.append(data[pos:end])
        pos = end
    width, height = int(fields[1]), int(fields[2])
    rows = np.frombuffer(data[pos + 1:], dtype=np.uint8)[:height * ((width + 7) // 8)]
    return np.unpackbits(rows.reshape(height, -1), axis=1)[:, :width]


@pytest.mark.parametrize("stem", ["coins", "horse", "soho_buildings"])
def test_filling_the_traced_outlines_gives_back_the_traced_mask(stem):
    mask = read_pbm(DATA / f"{stem}_mask.pbm")
    rings = [p for _, p in read_xy(f"{stem}_crack.xy")]
    got = kmath.rasterize(rings, mask.shape[1], mask.shape[0])
    assert got.dtype == np.uint8 and got.shape == mask.shape
    np.testing.assert_array_equal(got, mask)


def test_pixel_counts_follow_the_area():
    rect = np.array([[2, 3], [9, 3], [9, 8], [2, 8], [2, 3]], float)
    assert kmath.rasterize([rect], 20, 20).sum() == 7 * 5
    # Halves round away from zero: 1.5 -> 2, 8.5 -> 9.
    assert kmath.rasterize([rect + [-0.5, 0.5]], 20, 20)[4:9, 2:9].all()
    rng = np.random.default_rng(5)
    for _ in range(20):
        t = np.sort(rng.uniform(0, 2 * math.pi, 12))
        r = rng.uniform(20, 60, 12)
        ring = np.column_stack([100 + r * np.cos(t), 100 + r * np.sin(t)]).round()
        ring = np.vstack([ring, ring[:1]])
        area = abs(kmath.area_centroid(ring)["area"])
        perimeter = np.hypot(*np.diff(ring, axis=0).T).sum()
        assert abs(int(kmath.rasterize([ring], 200, 200).sum()) - area) <= perimeter / 2 + 1
    # Clipped to the mask, never out of bounds.
    assert kmath.rasterize([rect * 100 - 500], 4, 3).shape == (3, 4)


def test_rasterize_refuses_bad_input():
    ring = np.array([[0, 0], [4, 0], [4, 4], [0, 0]], float)
    with pytest.raises(TypeError):
        kmath.rasterize(ring, 8, 8)
    with pytest.raises(ValueError):
        kmath.rasterize([ring], -1, 8)
    with pytest.raises(ValueError):
        kmath.rasterize([np.array([[0, 0], [np.nan, 1], [2, 2]])], 8, 8)
    with pytest.raises(ValueError):
        kmath.rasterize([ring * 1e10], 8, 8)
    assert kmath.rasterize([ring[:2]], 8, 8).sum() == 0
    assert kmath.rasterize([], 0, 0).shape == (0, 0)


@pytest.mark.parametrize("p0, p1", [((0, 0), (7, 3)), ((5, -2), (-4, 6)), ((3, 3), (3, 3)), ((0, 0), (-5, -5))])
def test_digital_lines_are_connected_and_end_where_asked(p0, p1):
    eight = kmath.digital_line(p0, p1)
    four = kmath.digital_line(p0, p1, four_connected=True)
    dx, dy = abs(p1[0] - p0[0]), abs(p1[1] - p0[1])
    assert eight.dtype == np.int32 and len(eight) == max(dx, dy) + 1
    assert len(four) == dx + dy + 1
    for line, step in ((eight, 1), (four, 1)):
        assert tuple(line[0]) == p0 and tuple(line[-1]) == p1
        assert np.abs(np.diff(line, axis=0)).max(initial=0) <= step
    assert (np.abs(np.diff(four, axis=0)).sum(axis=1) == 1).all()


def test_digital_circles_stay_on_the_circle():
    for r in (1, 5, 40):
        px = kmath.digital_circle((10, -3), r)
        d = np.hypot(px[:, 0] - 10, px[:, 1] + 3)
        assert np.abs(d - r).max() <= 1.0
        assert tuple(px[0]) == (10 + r, -3)
        steps = np.abs(np.diff(px, axis=0)).max(axis=1)
        assert (steps == 1).all()
    with pytest.raises(ValueError):
        kmath.digital_circle((0, 0), 0)
    with pytest.raises(ValueError):
        kmath.digital_circle((0, 0), 23171)
