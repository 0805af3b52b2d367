"""Bézier smoothing, corner-preserving smoothing, smooth joins and offsets."""

import math

import numpy as np
import pytest

import kmath
from conftest import cpp_results, flat_rings, read_xy, same_bits

CURVE_FILES = ["coins_chain.xy", "horse_crack.xy", "london_buildings.xy", "omap_forest_contours.xy"]


def is_ring(pts):
    return len(pts) >= 4 and pts[0].tobytes() == pts[-1].tobytes()


@pytest.mark.parametrize("name", CURVE_FILES)
def test_curve_bindings_return_the_cpp_numbers_bit_for_bit(reference_program, name):
    ref = cpp_results(reference_program, name, "curves")
    for b, (_, pts) in enumerate(read_xy(name)):
        where = (name, b)
        out, ctrl, corners = kmath.bezier_smooth(pts, 1.0, corner_angle=1.2, chord_tolerance=0.1,
                                                 return_pieces=True)
        if (b, "bezier") in ref:
            assert same_bits(out, ref[(b, "bezier")]), where
            flat = np.column_stack([ctrl.reshape(len(ctrl), 8), corners]) if len(ctrl) else []
            assert same_bits(flat, ref[(b, "bezier_pieces")]), where
        else:
            assert out.tobytes() == pts.tobytes() and len(ctrl) == 0, where
        smooth = kmath.smooth_preserving_corners(pts, 2.0, corner_angle=1.3)
        if (b, "corner_smooth") in ref:
            assert same_bits(smooth, ref[(b, "corner_smooth")]), where
        else:
            assert smooth.tobytes() == pts.tobytes(), where
        for d, key in ((2.0, "offset_left"), (-2.0, "offset_right")):
            if (b, key) in ref:
                assert same_bits(flat_rings(kmath.offset(pts, d)), ref[(b, key)]), (where, d)


def polyline_distance(points, poly):
    return np.abs(kmath.distances(points, poly)[:, 1])


def test_bezier_smoothing_stays_within_its_tolerances():
    for _, pts in read_xy("coins_chain.xy")[:15] + read_xy("horse_crack.xy"):
        out, ctrl, corners = kmath.bezier_smooth(pts, 1.0, chord_tolerance=0.1, return_pieces=True)
        assert len(out) < len(pts)
        assert polyline_distance(pts, out).max() <= 1.0 + 0.1 + 1e-9
        np.testing.assert_array_equal(ctrl[1:, 0], ctrl[:-1, 3])  # a chain
        if is_ring(pts):
            assert out[0].tobytes() == out[-1].tobytes()
    with pytest.raises(ValueError):
        kmath.bezier_smooth(pts, 0.0)
    with pytest.raises(ValueError):
        kmath.bezier_smooth([[0, 0], [np.nan, 1]], 1.0)
    one = np.array([[2.0, 3.0]])
    assert kmath.bezier_smooth(one, 1.0).tobytes() == one.tobytes()


def test_corner_preserving_smoothing_keeps_corners_and_area():
    for _, pts in read_xy("horse_crack.xy") + read_xy("coins_crack.xy")[:10]:
        out = kmath.smooth_preserving_corners(pts, 2.0)
        assert out.shape == pts.shape
        origin = pts[0]
        a0 = kmath.area_centroid(pts - origin)["area"]
        assert kmath.area_centroid(out - origin)["area"] == pytest.approx(a0, rel=1e-8)
    # A rectangle with a vertex every unit: the corners stay exactly, the
    # straight sides stay straight.
    sides = [np.column_stack([np.arange(0, 20.0), np.zeros(20)]),
             np.column_stack([np.full(10, 20.0), np.arange(0, 10.0)]),
             np.column_stack([np.arange(20, 0, -1.0), np.full(20, 10.0)]),
             np.column_stack([np.zeros(10), np.arange(10, 0, -1.0)])]
    dense = np.vstack(sides + [[[0.0, 0.0]]])
    out = kmath.smooth_preserving_corners(dense, 2.0)
    for corner in ([0, 0], [20, 0], [20, 10], [0, 10]):
        assert (out == corner).all(axis=1).any()
    on_side = (np.isclose(out[:, 0], 0) | np.isclose(out[:, 0], 20) |
               np.isclose(out[:, 1], 0) | np.isclose(out[:, 1], 10))
    assert on_side.all()
    with pytest.raises(ValueError):
        kmath.smooth_preserving_corners(dense, -1.0)


def test_smooth_join_runs_through_both_polylines():
    a = np.array([[0, 0], [20, 0]], float)
    b = np.array([[20, 20], [20, 0]], float)  # reversed to join
    out = kmath.smooth_join(a, b, join_tolerance=0.5, length=5.0)
    np.testing.assert_array_equal(out[0], a[0])
    np.testing.assert_array_equal(out[-1], b[0])
    # The joint is cut off: nothing reaches the corner itself.
    assert np.hypot(*(out - [20, 0]).T).min() > 1.0
    assert kmath.smooth_join(a, b + 5.0, join_tolerance=0.5) is None
    with pytest.raises(ValueError):
        kmath.smooth_join(a, b, length=0.0)


def test_offsets_agree_with_shapely_buffers():
    geometry = pytest.importorskip("shapely.geometry")
    square = np.array([[0, 0], [10, 0], [10, 10], [0, 10], [0, 0]], float)
    inner, = kmath.offset(square, 1.0, join="miter")
    assert abs(kmath.area_centroid(inner)["area"]) == pytest.approx(64.0, rel=1e-12)
    outer, = kmath.offset(square, -1.0, join="round", chord_tolerance=0.001)
    assert abs(kmath.area_centroid(outer)["area"]) == pytest.approx(100 + 40 + math.pi, rel=1e-4)
    assert kmath.offset(square, 6.0) == []
    for _, pts in read_xy("coins_crack.xy")[:10]:
        ring = pts if kmath.area_centroid(pts)["area"] > 0 else pts[::-1]
        grown = kmath.offset(ring, -2.0, chord_tolerance=0.01)
        theirs = geometry.Polygon(ring).buffer(2.0, resolution=64)
        ours = geometry.Polygon(grown[0], [r for r in grown[1:]])
        perimeter = theirs.exterior.length
        assert ours.symmetric_difference(theirs).area < perimeter * 0.02
    line = np.array([[0, 0], [10, 0], [10, 10]], float)
    left = kmath.offset(line, 1.0)
    assert len(left) == 1 and np.allclose(polyline_distance(left[0], line), 1.0, atol=0.02)
    rings = kmath.offset(line, 1.0, outline=True, cap="flat")
    assert abs(sum(kmath.area_centroid(r)["area"] for r in rings)) == pytest.approx(39 + math.pi / 4, rel=1e-3)
    for bad in (dict(distance=0.0), dict(distance=np.nan), dict(distance=1.0, join="square"),
                dict(distance=1.0, cap="butt"), dict(distance=1.0, chord_tolerance=0.0)):
        with pytest.raises(ValueError):
            kmath.offset(square, **bad)
    with pytest.raises(ValueError):
        kmath.offset([[0, 0]], 1.0)


def test_shapely_buffer_and_offset_curve():
    geometry = pytest.importorskip("shapely.geometry")
    import kmath.shapely as ks
    poly = geometry.Polygon([(0, 0), (30, 0), (30, 20), (0, 20)], [[(10, 5), (10, 15), (20, 15), (20, 5)]])
    for d in (2.0, -1.5):
        ours = ks.buffer(poly, d, chord_tolerance=0.001)
        theirs = poly.buffer(d, resolution=128)
        assert ours.is_valid
        assert ours.symmetric_difference(theirs).area < 0.05, d
    line = geometry.LineString([(0, 0), (10, 0), (10, 10)])
    assert ks.buffer(line, 1.0, chord_tolerance=0.001).area == pytest.approx(line.buffer(1.0, 128).area, rel=1e-3)
    assert ks.offset_curve(line, 1.0).length == pytest.approx(18.0, rel=1e-3)
