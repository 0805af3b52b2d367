#!/usr/bin/env python3
"""Simplifies and squares every traced building outline of several bundled
files on a local Dask cluster (two workers on the loopback address) and
checks the result against the serial run.

    PYTHONPATH=build/python /usr/bin/python3 examples/dask_cleanup.py
"""

import pathlib
import sys
import time

import dask.bag as db
from distributed import Client, LocalCluster
from shapely.geometry import Polygon

REPO = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(REPO / "build" / "python"))
sys.path.insert(0, str(REPO / "tests" / "python"))

import kmath  # noqa: E402
import kmath.shapely as ks  # noqa: E402
from conftest import read_xy  # noqa: E402

FILES = ["soho_buildings_crack.xy", "london_buildings.xy", "osm_buildings_swabia.xy", "omap_forest_buildings.xy"]


def clean(poly):
    """Reduce the staircase, then square what is right-angled."""
    return ks.square(ks.simplify(poly, 1.0), 1.0)


def main():
    polys = [Polygon(p) for name in FILES for _, p in read_xy(name) if len(p) >= 4]
    vertices = sum(len(p.exterior.coords) for p in polys)
    with LocalCluster(n_workers=2, threads_per_worker=1, host="127.0.0.1", dashboard_address=None) as cluster, \
            Client(cluster) as client:
        bag = db.from_sequence(polys, npartitions=8)
        client.compute(bag.map(clean)).result()  # warm the workers (import, first call)
        t = time.perf_counter()
        result = bag.map(clean).compute()
        elapsed = time.perf_counter() - t
        # The serial run while the cluster is still up, so that its event
        # loop is shut down in order afterwards.
        t = time.perf_counter()
        serial = [clean(p) for p in polys]
        serial_elapsed = time.perf_counter() - t
    same = sum(a.equals_exact(b, 0.0) for a, b in zip(result, serial))
    print(f"{len(polys)} outlines, {vertices} vertices from {len(FILES)} files")
    print(f"cluster (2 workers): {elapsed:.2f} s, {len(polys) / elapsed:,.0f} outlines/s, "
          f"{vertices / elapsed:,.0f} vertices/s")
    print(f"serial (this process): {serial_elapsed:.2f} s, {len(polys) / serial_elapsed:,.0f} outlines/s")
    squared = sum(kmath.square(ks.simplify(p, 1.0).exterior.coords, 1.0)[1] for p in polys)
    print(f"outer rings squared: {squared} of {len(polys)} (the rest keep their reduction)")
    print(f"equal to the serial run: {same} of {len(polys)}")
    return 0 if same == len(polys) else 1


if __name__ == "__main__":
    sys.exit(main())
