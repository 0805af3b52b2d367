"""Plane geometry for traced polylines and polygons.

Polylines are (n, 2) float64 NumPy arrays; a closed ring repeats its first
point at the end. Polygons with holes are lists of such rings (even-odd rule).
Every function returns new arrays and leaves its arguments untouched.

    >>> import numpy as np, kmath
    >>> stairs = np.array([[0, 0], [1, 0], [1, 1], [2, 1], [2, 2], [3, 2]], float)
    >>> kmath.simplify(stairs, tolerance=1.0)
    array([[0., 0.],
           [3., 2.]])

kmath.shapely works on Shapely geometries; kmath.dask maps operations over
the partitions of a Dask collection.
"""

from ._kmath import *  # noqa: F401,F403
from ._kmath import __doc__ as _core_doc  # noqa: F401

__version__ = "0.1.0"


def read_world_file(path):
    """The six numbers (A, D, B, E, C, F) of a raster world file."""
    with open(path, "r", encoding="ascii") as f:
        numbers = [float(tok) for tok in f.read().split()]
    if len(numbers) != 6:
        raise ValueError(f"{path}: a world file holds six numbers, found {len(numbers)}")
    return tuple(numbers)


def write_world_file(path, numbers):
    """Writes the six numbers (A, D, B, E, C, F) one per line, round-trip exact."""
    numbers = [float(v) for v in numbers]
    if len(numbers) != 6:
        raise ValueError("a world file holds six numbers")
    with open(path, "w", encoding="ascii") as f:
        f.write("".join(f"{v!r}\n" for v in numbers))
