"""The Dask helpers on a two-worker local cluster equal the serial run."""

import numpy as np
import pytest

dask_bag = pytest.importorskip("dask.bag")
distributed = pytest.importorskip("distributed")
import kmath.dask as kd
import kmath.shapely as ks
from conftest import read_xy
from shapely.geometry import Polygon


@pytest.fixture(scope="module")
def client():
    cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, host="127.0.0.1",
                                       dashboard_address=None, processes=True)
    c = distributed.Client(cluster)
    yield c
    c.close()
    cluster.close()


def test_cluster_simplify_equals_serial(client):
    polys = [Polygon(p) for _, p in read_xy("soho_buildings_crack.xy")[:300]]
    serial = [ks.simplify(p, 1.0) for p in polys]
    bag = dask_bag.from_sequence(polys, npartitions=6)
    distributed_result = kd.simplify(bag, 1.0).compute()
    assert len(distributed_result) == len(serial)
    for a, b in zip(distributed_result, serial):
        assert np.asarray(a.exterior.coords).tobytes() == np.asarray(b.exterior.coords).tobytes()


def test_dataframe_column_mapping(client):
    pd = pytest.importorskip("pandas")
    dd = pytest.importorskip("dask.dataframe")
    polys = [Polygon(p) for _, p in read_xy("london_buildings.xy")[:40]]
    frame = pd.DataFrame({"id": range(len(polys)), "geometry": polys})
    ddf = dd.from_pandas(frame, npartitions=4)
    out = kd.map_partitions_column(ddf, "geometry", "simplify", tolerance=1.0).compute()
    for a, b in zip(out["geometry"], polys):
        assert a.equals(ks.simplify(b, 1.0))
