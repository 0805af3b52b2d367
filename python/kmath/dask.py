"""Running kmath operations over the partitions of a Dask collection.

A layer too large for one machine is held as a dask.bag of geometries (or
of (n, 2) arrays) or as a dask.dataframe / dask-geopandas frame with a
geometry column; these helpers map a kmath operation over every partition on
the cluster's workers. The operation runs feature by feature exactly as the
serial call does, so the results equal a serial run feature for feature.
"""

from functools import partial

from . import shapely as _kshapely

__all__ = ["map_geometries", "simplify", "square", "map_partitions_column"]


def _ops(name, kwargs):
    fn = getattr(_kshapely, name)
    return partial(fn, **kwargs)


def map_geometries(bag, op, **kwargs):
    """bag.map of the named kmath.shapely operation ('simplify', 'square',
    'convex_hull') or of any callable on one geometry."""
    fn = _ops(op, kwargs) if isinstance(op, str) else partial(op, **kwargs)
    return bag.map(fn)


def simplify(bag, tolerance, max_chord=None):
    return map_geometries(bag, "simplify", tolerance=tolerance, max_chord=max_chord)


def square(bag, tolerance, **kwargs):
    return map_geometries(bag, "square", tolerance=tolerance, **kwargs)


def _apply_column(frame, column, fn):
    frame = frame.copy()
    frame[column] = [fn(g) for g in frame[column]]
    return frame


def map_partitions_column(ddf, column, op, **kwargs):
    """For a Dask DataFrame whose `column` holds Shapely geometries: the same
    frame with the named operation applied to that column in every partition."""
    fn = _ops(op, kwargs) if isinstance(op, str) else partial(op, **kwargs)
    return ddf.map_partitions(_apply_column, column, fn, meta=ddf._meta)
