"""Finds the built kmath tool; KMATH_BUILD_DIR names the build folder."""

import json
import os
import pathlib
import subprocess

import pytest

REPO = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("KMATH_BUILD_DIR", REPO / "build")).resolve()
DATA = REPO / "data"


@pytest.fixture(scope="session")
def kmath_exe():
    exe = BUILD / "tools" / "kmath" / "kmath"
    if not exe.exists():
        pytest.fail(f"{exe} is missing: build the project first")
    return exe


@pytest.fixture
def run(kmath_exe):
    def _run(*args, ok=True, stdin=None):
        proc = subprocess.run([str(kmath_exe), *map(str, args)], capture_output=True, text=True, input=stdin)
        if ok and proc.returncode != 0:
            raise AssertionError(f"kmath {' '.join(map(str, args))} failed ({proc.returncode}): {proc.stderr}")
        return proc
    return _run


def read_xy(name):
    """Blocks of a bundled .xy file as lists of (x, y) tuples."""
    blocks, pts = [], []
    for line in (DATA / name).read_text().splitlines():
        line = line.strip()
        if line.startswith("#"):
            continue
        if not line:
            if pts:
                blocks.append(pts)
            pts = []
            continue
        x, y = line.split()
        pts.append((float(x), float(y)))
    if pts:
        blocks.append(pts)
    return blocks


def write_geojson(path, features):
    """features: list of (properties, geometry dict)."""
    fc = {"type": "FeatureCollection",
          "features": [{"type": "Feature", "properties": p, "geometry": g} for p, g in features]}
    pathlib.Path(path).write_text(json.dumps(fc))
    return path


@pytest.fixture
def buildings(tmp_path):
    feats = [({"id": i, "name": f"b{i}", "height": 3.5 + i}, {"type": "Polygon", "coordinates": [b]})
             for i, b in enumerate(read_xy("london_buildings.xy"))]
    return write_geojson(tmp_path / "buildings.geojson", feats)


@pytest.fixture
def contours(tmp_path):
    feats = [({"id": i}, {"type": "LineString", "coordinates": b})
             for i, b in enumerate(read_xy("omap_forest_contours.xy"))]
    return write_geojson(tmp_path / "contours.geojson", feats)
