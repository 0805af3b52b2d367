"""The NumPy bindings against the C++ library, the contracts of their
arguments, and their promises on real data."""

import gc
import threading

import numpy as np
import pytest

import kmath
from conftest import cpp_results, read_xy, same_bits

REAL_FILES = ["coins_chain.xy", "horse_crack.xy", "london_buildings.xy", "nc_counties.xy",
              "omap_forest_contours.xy"]


@pytest.mark.parametrize("name", REAL_FILES)
def test_bindings_return_the_cpp_numbers_bit_for_bit(reference_program, name):
    ref = cpp_results(reference_program, name)
    for b, (_, pts) in enumerate(read_xy(name)):
        assert same_bits(kmath.simplify(pts, 1.5, 40.0), ref[(b, "simplify")]), (name, b)
        assert same_bits(kmath.convex_hull(pts), ref[(b, "hull")]), (name, b)
        assert same_bits(kmath.resample(pts, 2.0), ref[(b, "resample")]), (name, b)
        m = kmath.moments(pts)
        assert same_bits([m[k] for k in ("m00", "m10", "m01", "mu20", "mu11", "mu02", "mu30", "mu03")],
                         ref[(b, "moments")]), (name, b)
        if (b, "hu") in ref:
            assert same_bits(kmath.hu_moments(pts), ref[(b, "hu")]), (name, b)
        circle = kmath.fit_circle(pts)
        assert (circle is None) == ((b, "circle") not in ref)
        if circle is not None:
            assert same_bits(circle, ref[(b, "circle")]), (name, b)


def test_input_is_not_modified_and_any_layout_is_accepted():
    pts = np.array([[0, 0], [1, 0], [1, 1], [2, 1], [2, 2], [3, 2], [3, 3]], dtype=np.float64)
    before = pts.copy()
    expected = kmath.simplify(pts, 1.0)
    np.testing.assert_array_equal(pts, before)
    # Fortran order, a strided view and integers give the same answer.
    np.testing.assert_array_equal(kmath.simplify(np.asfortranarray(pts), 1.0), expected)
    doubled = np.repeat(pts, 2, axis=0)[::2]
    np.testing.assert_array_equal(kmath.simplify(doubled, 1.0), expected)
    np.testing.assert_array_equal(kmath.simplify(pts.astype(np.int32), 1.0), expected)
    np.testing.assert_array_equal(kmath.simplify(pts.tolist(), 1.0), expected)


@pytest.mark.parametrize("bad, error", [
    (np.zeros((4, 3)), ValueError),
    (np.zeros(4), ValueError),
    (np.zeros((2, 2, 2)), ValueError),
    (np.array([["a", "b"], ["c", "d"]]), TypeError),
    (np.array([[None, 1], [2, 3]], dtype=object), TypeError),
    ("not points", TypeError),
    (np.array([[0, 0], [np.nan, 1], [2, 2]]), ValueError),
    (np.array([[0, 0], [np.inf, 1], [2, 2]]), ValueError),
])
def test_bad_arrays_raise_the_documented_exception(bad, error):
    with pytest.raises(error):
        kmath.simplify(bad, 1.0)


def test_empty_and_tiny_polylines_come_back_as_they_are():
    for pts in (np.zeros((0, 2)), np.array([[1.0, 2.0]]), np.array([[1.0, 2.0], [1.0, 2.0]])):
        out = kmath.simplify(pts, 1.0)
        assert out.shape == pts.shape
        np.testing.assert_array_equal(out, pts)
    assert kmath.convex_hull([]).shape == (0, 2)
    assert kmath.fit_circle([[0, 0], [1, 1]]) is None


def test_point_in_polygon_is_vectorised_and_honours_holes():
    outer = np.array([[0, 0], [10, 0], [10, 10], [0, 10], [0, 0]], float)
    hole = np.array([[3, 3], [7, 3], [7, 7], [3, 7], [3, 3]], float)
    q = np.array([[1, 1], [5, 5], [11, 5], [8, 8], [np.nan, 1]])
    np.testing.assert_array_equal(kmath.contains([outer, hole], q), [True, False, False, True, False])
    with pytest.raises(TypeError):
        kmath.contains(outer, q)  # one array is not a list of rings


def test_clip_and_split_keep_what_they_promise():
    line = np.array([[-5, 5], [15, 5]], float)
    pieces = kmath.clip_by_rect([line], (0, 0, 10, 10), keep_closed=False)
    assert len(pieces) == 1
    np.testing.assert_array_equal(pieces[0], [[0, 5], [10, 5]])
    square = np.array([[0, 0], [10, 0], [10, 10], [0, 10], [0, 0]], float)
    inside, outside = kmath.split([line], [square])
    length = lambda parts: sum(np.hypot(*np.diff(p, axis=0).T).sum() for p in parts)
    assert length(inside) == pytest.approx(10.0)
    assert length(outside) == pytest.approx(10.0)


def test_transforms_round_trip():
    rng = np.random.default_rng(7)
    src = rng.uniform(0, 1000, size=(20, 2))
    a = kmath.AffineParams((0.5, 0.1, 300000.0, -0.05, -0.5, 5000000.0))
    dst = a.apply(src)
    fitted = kmath.AffineParams.fit(src, dst)
    np.testing.assert_allclose(fitted.apply(src), dst, rtol=0, atol=1e-6)
    np.testing.assert_allclose(a.apply_inverse(dst), src, rtol=0, atol=1e-6)
    # The world file describes pixel centres, the map pixel corners.
    tfw = a.world_file()
    back = kmath.AffineParams.from_world_file(tfw)
    np.testing.assert_allclose(back.coefficients(), a.coefficients(), rtol=1e-15)
    with pytest.raises(ValueError):
        kmath.AffineParams.fit(src[:5], dst[:4])
    with pytest.raises(ValueError):
        kmath.AffineParams.fit(np.zeros((5, 2)), dst[:5])
    sim = kmath.SimilarityTransform.fit(src[:2], 2.0 * src[:2] + 7.0)
    np.testing.assert_allclose(sim.apply(src), 2.0 * src + 7.0, atol=1e-9)
    np.testing.assert_allclose(sim.inverse().apply(2.0 * src + 7.0), src, atol=1e-9)


def test_world_files_round_trip_exactly(tmp_path):
    numbers = (0.1, 0.0, 0.0, -0.1, 123456.78901234567, 7654321.123456789)
    kmath.write_world_file(tmp_path / "a.tfw", numbers)
    assert kmath.read_world_file(tmp_path / "a.tfw") == numbers
    (tmp_path / "bad.tfw").write_text("1\n2\n3\n")
    with pytest.raises(ValueError):
        kmath.read_world_file(tmp_path / "bad.tfw")


def test_threads_get_the_serial_answers():
    blocks = [pts for _, pts in read_xy("coins_chain.xy")]
    serial = [kmath.simplify(p, 1.0) for p in blocks]
    results = [None] * len(blocks)

    def work(k):
        for i in range(k, len(blocks), 2):
            results[i] = kmath.simplify(blocks[i], 1.0)

    threads = [threading.Thread(target=work, args=(k,)) for k in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for a, b in zip(serial, results):
        np.testing.assert_array_equal(a, b)


def rss_bytes():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * 4096


def test_many_calls_keep_the_process_size_flat():
    pts = read_xy("horse_crack.xy")[0][1][:200]
    rings = [np.array([[0, 0], [4, 0], [4, 4], [0, 0]], float)]
    for _ in range(2000):  # warm up allocator pools
        kmath.simplify(pts, 1.0)
    gc.collect()
    before = rss_bytes()
    for _ in range(100000):
        kmath.simplify(pts, 1.0)
        kmath.contains(rings, pts[:3])
    gc.collect()
    assert rss_bytes() - before < 8 * 1024 * 1024


def test_the_other_families_keep_the_process_size_flat():
    ring = np.array([[0, 0], [10, 0], [10, 6], [4, 6], [4, 9], [0, 9], [0, 0]], float)
    other = ring + 2.5
    tree = kmath.DecisionTree([(0, [0.5]), (None, [1, 1.0]), (None, [2, 1.0])], [0])
    rows = np.random.default_rng(0).uniform(size=(50, 1))

    def calls():
        kmath.square(ring, 0.5)
        kmath.boolean([ring], [other], "union")
        kmath.triangulate(ring)
        kmath.rasterize([ring], 12, 12)
        kmath.min_area_rectangle(ring)
        kmath.dtw_match(ring, other)
        kmath.centerlines([ring], 1.0, 0.5, half_widths=True)
        tree.predict(rows)

    for _ in range(500):
        calls()
    gc.collect()
    before = rss_bytes()
    for _ in range(10000):
        calls()
    gc.collect()
    # One result array left behind per call would be over 10 MB.
    assert rss_bytes() - before < 2 * 1024 * 1024
