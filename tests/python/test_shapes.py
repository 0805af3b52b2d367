"""Squaring, directions, oriented rectangles, splines and warping."""

import math

import numpy as np
import pytest

import kmath
from conftest import cpp_results, read_xy, same_bits

SHAPE_FILES = ["london_buildings.xy", "horse_crack.xy", "coins_chain.xy", "omap_forest_contours.xy"]


def rect_flat(r):
    return [*r["center"], *r["size"], r["angle"]]


@pytest.mark.parametrize("name", SHAPE_FILES)
def test_shape_bindings_return_the_cpp_numbers_bit_for_bit(reference_program, name):
    ref = cpp_results(reference_program, name, "shapes")
    for b, (_, pts) in enumerate(read_xy(name)):
        where = (name, b)
        reduced = kmath.simplify(pts, 1.0)
        if (b, "square") in ref or (b, "square_refused") in ref:
            ring, accepted = kmath.square(pts, 1.0)
            assert accepted == ((b, "square") in ref), where
            if accepted:
                assert same_bits(ring, ref[(b, "square")]), where
            else:
                assert ring.tobytes() == pts.tobytes(), where
        once, ok = kmath.square_once(pts, 1.0)
        assert ok == ((b, "square_once") in ref), where
        if ok:
            assert same_bits(once, ref[(b, "square_once")]), where
        d = kmath.ortho_direction(pts)
        assert (d is None) == ((b, "ortho_dir") not in ref), where
        if d is not None:
            assert same_bits([d], ref[(b, "ortho_dir")]), where
        base = kmath.base_direction(pts, 0.05)
        assert same_bits([math.nan if base is None else base], ref[(b, "base_dir")]) or \
            (base is None and math.isnan(ref[(b, "base_dir")][0])), where
        dirs, shares = kmath.direction_clusters(pts, 0.1)
        assert same_bits(np.column_stack([dirs, shares]) if len(shares) else [], ref[(b, "dir_clusters")]), where
        closed = len(pts) >= 4 and pts[0].tobytes() == pts[-1].tobytes()
        broken, changed = kmath.broken(pts, 1.0, closed=closed)
        assert changed == ((b, "broken") in ref), where
        if changed:
            assert same_bits(broken, ref[(b, "broken")]), where
        assert same_bits(kmath.distances(pts, kmath.convex_hull(pts)), ref[(b, "distances")]), where
        assert same_bits(rect_flat(kmath.min_area_rectangle(pts)), ref[(b, "min_rect")]), where
        assert same_bits(rect_flat(kmath.extent_rectangle(pts)), ref[(b, "extent_rect")]), where
        assert same_bits(rect_flat(kmath.extent_rectangle(pts, 0.3)), ref[(b, "extent_rect_03")]), where
        assert same_bits(rect_flat(kmath.moment_rectangle(pts)), ref[(b, "moment_rect")]), where
        spline = kmath.reduce_to_spline(reduced, tolerance=0.1)
        if (b, "spline") in ref:
            assert same_bits(spline, ref[(b, "spline")]), where
        else:
            assert spline.tobytes() == reduced.tobytes(), where
        smooth = kmath.spline_smoothing(reduced, 2.0)
        if (b, "spline_smoothing") in ref:
            assert same_bits(smooth, ref[(b, "spline_smoothing")]), where
        m = kmath.dtw_match(pts, reduced, step=2.0)
        got = np.column_stack([m["index"][:, 0], m["param"][:, 0], m["index"][:, 1], m["param"][:, 1]])
        assert same_bits(got if len(got) else [], ref[(b, "dtw")]), where


def turn_cosines(ring):
    e = np.diff(ring, axis=0)
    e = e[np.hypot(*e.T) > 0]
    u = e / np.hypot(*e.T)[:, None]
    return np.einsum("ij,ij->i", u, np.roll(u, -1, axis=0))


def test_squared_outlines_are_right_angled_and_keep_their_area():
    squared = 0
    blocks = read_xy("soho_buildings_crack.xy") + read_xy("london_buildings.xy")
    for _, pts in blocks:
        ring, accepted = kmath.square(pts, 1.0)
        if not accepted:
            assert ring.tobytes() == pts.tobytes()
            continue
        squared += 1
        assert ring[0].tobytes() == ring[-1].tobytes()
        np.testing.assert_allclose(turn_cosines(ring), 0.0, atol=1e-9)
        area_in = abs(kmath.area_centroid(pts)["area"])
        perimeter = np.hypot(*np.diff(pts, axis=0).T).sum()
        # A wall moves by at most the squarer's deviation bound.
        assert abs(abs(kmath.area_centroid(ring)["area"]) - area_in) < perimeter * 1.5 * 0.3 / 0.7 + 1e-9
    # Traced blobs and irregular footprints are refused; most of the rest is not.
    assert squared >= len(blocks) // 3


def test_square_arguments_and_refusals():
    ring = np.array([[0, 0], [10, 0], [10, 6], [0, 6], [0, 0]], float)
    out, accepted = kmath.square(ring)
    assert accepted and out.shape[1] == 2
    for bad in (dict(ratio=1.0), dict(ratio=0.0), dict(min_side=-1.0)):
        with pytest.raises(ValueError):
            kmath.square(ring, **bad)
    with pytest.raises(ValueError):
        kmath.square(ring, 0.0)
    with pytest.raises(ValueError):
        kmath.square(np.array([[0, 0], [np.nan, 1], [2, 2], [0, 0]]))
    open_line = np.array([[0, 0], [10, 0], [10, 6], [0, 6]], float)
    out, accepted = kmath.square(open_line)
    assert not accepted and out.tobytes() == open_line.tobytes()
    out, ok = kmath.square_once(np.array([[1.0, 1.0]]), 1.0)
    assert not ok and out.shape == (1, 2)


def rotated_rectangle(w, h, angle, centre=(3.0, -2.0)):
    c, s = math.cos(angle), math.sin(angle)
    local = np.array([[-w, -h], [w, -h], [w, h], [-w, h], [-w, -h]], float) / 2
    return local @ np.array([[c, s], [-s, c]]) + centre


@pytest.mark.parametrize("angle", [0.0, 0.3, 1.2, -0.7])
def test_directions_of_a_rotated_rectangle(angle):
    ring = rotated_rectangle(40.0, 10.0, angle)
    quarter = math.pi / 2
    assert kmath.ortho_direction(ring) % quarter == pytest.approx(angle % quarter, abs=1e-9)
    assert kmath.base_direction(ring) == pytest.approx(angle % quarter, abs=1e-9)
    dirs, shares = kmath.direction_clusters(ring)
    assert len(shares) == 2
    np.testing.assert_allclose(shares, [0.8, 0.2], atol=1e-12)
    np.testing.assert_allclose(math.atan2(dirs[0, 1], dirs[0, 0]), angle % math.pi, atol=1e-9)
    assert kmath.ortho_direction([[0, 0]]) is None
    assert kmath.base_direction([[0, 0], [1, 1]], resolution=2.0) is None


def test_rectangles_hold_the_points_and_the_minimum_is_minimal():
    shapely_geometry = pytest.importorskip("shapely.geometry")
    for _, pts in read_xy("london_buildings.xy")[:60] + read_xy("coins_chain.xy"):
        rect = kmath.min_area_rectangle(pts)
        c = np.array(rect["center"])
        u = np.array([math.cos(rect["angle"]), math.sin(rect["angle"])])
        v = np.array([-u[1], u[0]])
        w, h = rect["size"]
        assert w >= h
        slack = 1e-9 * max(1.0, np.abs(pts).max())
        assert np.all(np.abs((pts - c) @ u) <= w / 2 + slack)
        assert np.all(np.abs((pts - c) @ v) <= h / 2 + slack)
        assert rect["area"] == pytest.approx(w * h)
        # The corners span the same rectangle.
        corners = rect["corners"]
        assert abs(kmath.area_centroid(corners - c)["area"]) == pytest.approx(w * h, rel=1e-9)
        theirs = shapely_geometry.MultiPoint(pts).minimum_rotated_rectangle.area
        assert rect["area"] == pytest.approx(theirs, rel=1e-9)
        for angle in (0.0, 0.4, rect["angle"] + 0.1):
            assert kmath.extent_rectangle(pts, angle)["area"] >= rect["area"] * (1 - 1e-12)
    empty = kmath.min_area_rectangle(np.zeros((0, 2)))
    assert not empty["valid"] and empty["area"] == 0.0
    assert kmath.min_area_rectangle([[0, 0], [np.nan, 1], [2, 0]])["area"] == 0.0


def test_moment_rectangle_of_a_rectangle_is_itself():
    ring = rotated_rectangle(30.0, 12.0, 0.25)
    r = kmath.moment_rectangle(ring)
    np.testing.assert_allclose(r["center"], (3.0, -2.0), atol=1e-9)
    np.testing.assert_allclose(sorted(r["size"]), [12.0, 30.0], rtol=1e-9)


def test_distances_are_signed_and_measured_along_the_reference():
    reference = np.array([[0, 0], [10, 0], [10, 10]], float)
    pts = np.array([[5, 2], [5, -3], [12, 5], [np.nan, 0]], float)
    out = kmath.distances(pts, reference)
    np.testing.assert_allclose(out[:3], [[5, 2], [5, -3], [15, -2]])
    assert np.isnan(out[3]).all()
    assert kmath.distances(pts, np.zeros((0, 2))).shape == (0, 2)


def test_splines_keep_the_vertices_and_refine_curves():
    t = np.linspace(0, math.pi, 9)
    arc = np.column_stack([50 * np.cos(t), 50 * np.sin(t)])
    fine = kmath.reduce_to_spline(arc, tolerance=0.05)
    assert len(fine) > len(arc)
    # Every vertex stays, in order.
    hits = [int(np.flatnonzero((fine == p).all(axis=1))[0]) for p in arc]
    assert hits == sorted(hits)
    # The spline through points of a circle stays near the circle.
    assert np.abs(np.hypot(*fine.T) - 50).max() < 0.5
    k3 = kmath.reduce_to_spline(arc, per_segment=3)
    assert len(k3) == len(arc) + 3 * (len(arc) - 1)
    with pytest.raises(TypeError):
        kmath.reduce_to_spline(arc, tolerance=0.1, per_segment=2)
    with pytest.raises(ValueError):
        kmath.reduce_to_spline(arc, tolerance=-1.0)
    with pytest.raises(ValueError):
        kmath.spline_smoothing(arc, 0.0)
    one = np.array([[1.0, 2.0]])
    assert kmath.spline_smoothing(one, 1.0).tobytes() == one.tobytes()


def test_dtw_pairs_name_points_on_both_polylines():
    pts = read_xy("horse_crack.xy")[0][1][:400]
    other = pts + [0.5, 0.25]
    m = kmath.dtw_match(pts, other)
    idx, par = m["index"], m["param"]

    def at(poly, i, p):
        j = np.minimum(i + 1, len(poly) - 1)
        return poly[i] + p[:, None] * (poly[j] - poly[i])

    np.testing.assert_allclose(m["a_points"], at(pts, idx[:, 0], par[:, 0]), atol=1e-12)
    np.testing.assert_allclose(m["b_points"], at(other, idx[:, 1], par[:, 1]), atol=1e-12)
    # A copy shifted by less than a step is matched vertex to vertex.
    np.testing.assert_array_equal(idx[:, 0], idx[:, 1])
    assert len(kmath.dtw_match(pts, np.zeros((0, 2)))["index"]) == 0
