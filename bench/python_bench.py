#!/usr/bin/env python3
"""kmath from Python against Shapely (GEOS) and against the C++ library itself.

    PYTHONPATH=build/python /usr/bin/python3 bench/python_bench.py [build-dir]

Runs on the same real files as bench/python_baseline_bench.cpp (which it
runs through build/bench/kmath_bench for the C++ column) and prints one
table: median seconds per pass over every block of the file, for kmath from
Python, the C++ call, and Shapely; then the two-thread speed-up that shows
the GIL is released.
"""

import json
import pathlib
import subprocess
import sys
import threading
import time

import numpy as np

REPO = pathlib.Path(__file__).resolve().parents[1]
BUILD = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else REPO / "build").resolve()
sys.path.insert(0, str(BUILD / "python"))
sys.path.insert(0, str(REPO / "tests" / "python"))

import kmath  # noqa: E402
import shapely.geometry as sg  # noqa: E402
from shapely.prepared import prep  # noqa: E402
from conftest import read_xy  # noqa: E402


def median_time(fn, reps=7):
    times = []
    for _ in range(reps):
        t = time.perf_counter()
        fn()
        times.append(time.perf_counter() - t)
    return sorted(times)[len(times) // 2]


def cpp_times():
    exe = BUILD / "bench" / "kmath_bench"
    out = subprocess.run([str(exe), "--benchmark_filter=PyBaseline", "--benchmark_format=json",
                          "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true"],
                         check=True, capture_output=True, text=True).stdout
    times = {}
    for b in json.loads(out)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            name = b["run_name"].replace("BM_PyBaseline_", "")
            scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b["time_unit"]]
            times[name] = b["real_time"] * scale
    return times


def other_families():
    """Families with no C++ column: kmath from Python against Shapely."""
    from shapely.ops import triangulate, unary_union

    blocks = [p for _, p in read_xy("london_buildings.xy") if len(p) >= 4]
    moved = [p + (p.max(axis=0) - p.min(axis=0)) / [3.0, 5.0] for p in blocks]
    polys = [(sg.Polygon(a), sg.Polygon(b)) for a, b in zip(blocks, moved)]
    rows = [("intersection", "london_buildings",
             median_time(lambda: [kmath.boolean([a], [b], "intersection") for a, b in zip(blocks, moved)]),
             median_time(lambda: [a.intersection(b) for a, b in polys])),
            ("union_all", "london_buildings",
             median_time(lambda: kmath.union_all([[a] for a in blocks + moved]), reps=3),
             median_time(lambda: unary_union([g for pair in polys for g in pair]), reps=3)),
            ("min_area_rectangle", "london_buildings",
             median_time(lambda: [kmath.min_area_rectangle(a) for a in blocks]),
             median_time(lambda: [a.minimum_rotated_rectangle for a, _ in polys]))]
    traced = [p for _, p in read_xy("soho_buildings_crack.xy")]
    traced_polys = [sg.Polygon(p) for p in traced]
    rows.append(("offset 2 px (round)", "soho_buildings_crack",
                 median_time(lambda: [kmath.offset(p, 2.0, chord_tolerance=0.05) for p in traced], reps=3),
                 median_time(lambda: [g.buffer(2.0, resolution=8) for g in traced_polys], reps=3)))
    pts = np.random.default_rng(3).uniform(0, 1000, size=(20000, 2))
    mp = sg.MultiPoint(pts)
    rows.append(("triangulate (2e4 points)", "uniform",
                 median_time(lambda: kmath.triangulate(pts), reps=3),
                 median_time(lambda: triangulate(mp), reps=3)))
    print(f"\n{'operation':24} {'file':24} {'kmath py':>10} {'shapely':>10} {'shapely/kmath':>14}")
    for op, name, py, sh in rows:
        print(f"{op:24} {name:24} {py:10.4f} {sh:10.4f} {sh / py:14.1f}")


def main():
    cpp = cpp_times()
    rows = []
    for name in ("soho_buildings_crack", "gshhg_f_british_isles"):
        blocks = [p for _, p in read_xy(name + ".xy")]
        lines = [sg.LineString(p) for p in blocks]
        rows.append(("simplify", name,
                     median_time(lambda: [kmath.simplify(p, 1.0) for p in blocks]),
                     cpp["Simplify/" + name],
                     median_time(lambda: [g.simplify(1.0, preserve_topology=False) for g in lines])))
        points = [sg.MultiPoint(p) for p in blocks]
        rows.append(("convex_hull", name,
                     median_time(lambda: [kmath.convex_hull(p) for p in blocks]),
                     cpp["Hull/" + name],
                     median_time(lambda: [g.convex_hull for g in points])))

    blocks = [p for _, p in read_xy("gshhg_h_british_isles.xy")]
    ring = max(blocks, key=len)
    lo, hi = ring.min(axis=0), ring.max(axis=0)
    rng = np.random.default_rng(11)
    q = rng.uniform(lo, hi, size=(100000, 2))
    poly = sg.Polygon(ring)
    prepared = prep(poly)
    qpts = [sg.Point(p) for p in q]
    rows.append(("contains (1e5 points)", "gshhg_h_british_isles",
                 median_time(lambda: kmath.contains([ring], q), reps=3),
                 cpp["Contains/gshhg_h_british_isles"],
                 median_time(lambda: [prepared.contains(p) for p in qpts], reps=3)))

    print(f"{'operation':24} {'file':24} {'kmath py':>10} {'C++':>10} {'py/C++':>7} {'shapely':>10} {'shapely/kmath':>14}")
    for op, name, py, c, sh in rows:
        print(f"{op:24} {name:24} {py:10.4f} {c:10.4f} {py / c:7.2f} {sh:10.4f} {sh / py:14.1f}")

    # Two threads on two cores: the GIL is released inside each call.
    # Big arrays, so each call holds the GIL only briefly relative to its work.
    blocks = sorted((p for _, p in read_xy("gshhg_f_british_isles.xy")), key=len)[-8:]
    work = [kmath.resample(p, 0.0005) for p in blocks]
    one = median_time(lambda: [kmath.simplify(p, 0.001) for p in work], reps=3)

    def two_threads():
        ts = [threading.Thread(target=lambda k=k: [kmath.simplify(p, 0.001) for p in work[k::2]]) for k in range(2)]
        for t in ts:
            t.start()
        for t in ts:
            t.join()

    two = median_time(two_threads, reps=3)
    print(f"\nsimplify of {len(work)} coastline rings ({sum(map(len, work))} vertices): one thread {one:.3f} s, two threads {two:.3f} s,"
          f" speed-up {one / two:.2f}x")
    other_families()


if __name__ == "__main__":
    main()
