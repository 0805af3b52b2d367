"""Finds the built package and the C++ reference program.

KMATH_BUILD_DIR names the CMake build folder (default: <repo>/build); the
package is imported from <build>/python.
"""

import functools
import os
import pathlib
import subprocess
import sys

import pytest

REPO = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("KMATH_BUILD_DIR", REPO / "build")).resolve()
DATA = REPO / "data"

sys.path.insert(0, str(BUILD / "python"))


def read_xy(name):
    """Blocks of a bundled .xy file as (attrs, (n, 2) float64 array), parsed
    independently of the C++ reader."""
    import numpy as np

    blocks, attrs, pts, last_comment = [], {}, [], ""
    for line in (DATA / name).read_text().splitlines():
        line = line.strip()
        if line.startswith("#"):
            last_comment = line[1:].strip()
            continue
        if not line:
            if pts:
                blocks.append((attrs, np.array(pts, dtype=np.float64)))
            pts, attrs = [], {}
            continue
        if not pts:
            attrs = dict(kv.split("=", 1) for kv in last_comment.split() if "=" in kv)
        x, y = line.split()
        pts.append((float(x), float(y)))
    if pts:
        blocks.append((attrs, np.array(pts, dtype=np.float64)))
    return blocks


@pytest.fixture(scope="session")
def reference_program():
    exe = BUILD / "tests" / "python" / "kmath_py_reference"
    if not exe.exists():
        pytest.fail(f"{exe} is missing: build the project first (cmake --build {BUILD})")
    return exe


@functools.lru_cache(maxsize=None)
def cpp_results(program, name, group="basic"):
    """{(block, op): [floats]} as the C++ library computes them."""
    out = subprocess.run([str(program), name, group], check=True, capture_output=True, text=True).stdout
    results = {}
    for line in out.splitlines():
        block, op, *values = line.split()
        results[(int(block), op)] = [float.fromhex(v) for v in values]
    return results


def same_bits(array, flat):
    import numpy as np

    a = np.asarray(array, dtype=np.float64).ravel()
    b = np.array(flat, dtype=np.float64)
    return a.shape == b.shape and a.tobytes() == b.tobytes()


def flat_rings(rings):
    """The reference program's layout of a list of rings: count, sizes, points."""
    import numpy as np

    parts = [[len(rings)], [len(r) for r in rings]] + [np.asarray(r, dtype=np.float64).ravel() for r in rings]
    return np.concatenate([np.asarray(p, dtype=np.float64) for p in parts])
