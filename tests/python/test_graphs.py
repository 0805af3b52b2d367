"""Triangulation, Voronoi edges and centre lines."""

import numpy as np
import pytest

import kmath
from conftest import read_xy


def circumcircles(pts, tri):
    a, b, c = pts[tri[:, 0]], pts[tri[:, 1]], pts[tri[:, 2]]
    d = 2 * (a[:, 0] * (b[:, 1] - c[:, 1]) + b[:, 0] * (c[:, 1] - a[:, 1]) + c[:, 0] * (a[:, 1] - b[:, 1]))
    sa, sb, sc = (a ** 2).sum(1), (b ** 2).sum(1), (c ** 2).sum(1)
    ux = (sa * (b[:, 1] - c[:, 1]) + sb * (c[:, 1] - a[:, 1]) + sc * (a[:, 1] - b[:, 1])) / d
    uy = (sa * (c[:, 0] - b[:, 0]) + sb * (a[:, 0] - c[:, 0]) + sc * (b[:, 0] - a[:, 0])) / d
    centre = np.column_stack([ux, uy])
    return centre, np.hypot(*(a - centre).T)


def cross(pts, tri):
    a, b, c = pts[tri[:, 0]], pts[tri[:, 1]], pts[tri[:, 2]]
    return (b[:, 0] - a[:, 0]) * (c[:, 1] - a[:, 1]) - (b[:, 1] - a[:, 1]) * (c[:, 0] - a[:, 0])


def test_delaunay_counts_orientation_and_empty_circles():
    pts = np.random.default_rng(11).uniform(0, 100, size=(400, 2))
    tri = kmath.triangulate(pts)
    assert tri.dtype == np.int32 and tri.shape[1] == 3
    hull = len(kmath.convex_hull(pts)) - 1
    assert len(tri) == 2 * len(pts) - 2 - hull  # Euler, no collinear points
    assert (cross(pts, tri) > 0).all()
    centre, radius = circumcircles(pts, tri)
    dist = np.hypot(pts[None, :, 0] - centre[:, None, 0], pts[None, :, 1] - centre[:, None, 1])
    assert (dist >= radius[:, None] * (1 - 1e-9)).all()


def test_degenerate_point_sets():
    line = np.column_stack([np.arange(5.0), np.arange(5.0)])
    assert kmath.triangulate(line).shape == (0, 3)
    grid = np.array([[x, y] for x in range(4) for y in range(4)], float)
    tri = kmath.triangulate(np.vstack([grid, grid[:3], [[np.nan, 0]]]))
    assert len(tri) == 18 and tri.max() < 16  # duplicates and the NaN point left out
    assert kmath.triangulate(np.zeros((0, 2))).shape == (0, 3)


def test_polygon_triangulation_covers_the_polygon():
    rings = [p for _, p in read_xy("coins_crack.xy")]
    for ring in rings[:10]:
        outer = ring if kmath.area_centroid(ring)["area"] > 0 else ring[::-1]
        verts, tri = kmath.triangulate_polygon([outer])
        assert len(verts) == len(outer) - 1
        assert len(tri) == len(verts) - 2
        assert cross(verts, tri).sum() / 2 == pytest.approx(abs(kmath.area_centroid(outer)["area"]))
    outer = np.array([[0, 0], [10, 0], [10, 10], [0, 10], [0, 0]], float)
    hole = np.array([[3, 3], [3, 7], [7, 7], [7, 3], [3, 3]], float)
    verts, tri = kmath.triangulate_polygon([outer, hole])
    assert len(tri) == len(verts) + 2 * 1 - 2
    assert cross(verts, tri).sum() / 2 == pytest.approx(84.0)
    with pytest.raises(ValueError):
        kmath.triangulate_polygon([outer[:-1]])  # not closed


def test_voronoi_edges_are_equidistant_from_their_sites():
    pts = np.random.default_rng(2).uniform(0, 50, size=(60, 2))
    edges, sites = kmath.voronoi_edges(pts)
    assert edges.shape[1:] == (2, 2) and len(edges) == len(sites)
    assert len(edges) >= len(kmath.triangulate(pts)) // 2
    mid = edges.mean(axis=1)
    d0 = np.hypot(*(mid - pts[sites[:, 0]]).T)
    d1 = np.hypot(*(mid - pts[sites[:, 1]]).T)
    np.testing.assert_allclose(d0, d1, rtol=1e-6, atol=1e-6)
    # No site is nearer to the midpoint than the two the edge separates.
    nearest = np.hypot(mid[:, None, 0] - pts[None, :, 0], mid[:, None, 1] - pts[None, :, 1]).min(axis=1)
    np.testing.assert_allclose(nearest, d0, rtol=1e-6, atol=1e-6)
    seg_edges, _ = kmath.voronoi_edges(np.zeros((0, 2)), np.array([[0, 0], [10, 0], [0, 5], [10, 5]], float),
                                       box=(-5, -5, 15, 10))
    assert len(seg_edges) > 0
    with pytest.raises(ValueError):
        kmath.voronoi_edges(np.zeros((0, 2)))
    with pytest.raises(ValueError):
        kmath.voronoi_edges(pts, np.zeros((3, 2)))


def test_centre_line_of_a_bar_runs_down_its_middle():
    bar = np.array([[0, 0], [200, 0], [200, 20], [0, 20], [0, 0]], float)
    lines = kmath.centerlines([bar], 5.0, 0.5)
    assert len(lines) == 1
    np.testing.assert_allclose(lines[0][:, 1], 10.0, atol=1e-6)
    assert np.ptp(lines[0][:, 0]) > 150
    (line, widths), = kmath.centerlines([bar], 5.0, 0.5, half_widths=True)
    assert len(widths) == len(line)
    assert widths.max() == pytest.approx(10.0, abs=1e-6)
    assert kmath.centerlines([], 5.0, 0.5) == []
    with pytest.raises(ValueError):
        kmath.centerlines([bar[:-1]], 5.0, 0.5)
