"""Finds the built package and the C++ reference program.

KMATH_BUILD_DIR names the CMake build folder (default: <repo>/build); the
package is imported from <build>/python.
"""

import os
import pathlib
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
