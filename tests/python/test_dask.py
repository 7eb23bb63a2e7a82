"""kvtsim.dask on a dask.distributed LocalCluster of two worker processes:
the collections over many files equal a serial read of the same files."""

import numpy
import pytest

import kvtsim
import kvtsim.dask

distributed = pytest.importorskip("distributed")
# The Debian release of tornado under distributed warns about its own event loop.
pytestmark = pytest.mark.filterwarnings("ignore:make_current is deprecated:DeprecationWarning")

FILES = 60
STEPS = 3
VALUES = 50


def write_sweep(directory):
    """One result file per parameter: pool 0 holds the parameter's name, the
    next pools one step each (step number, count, then float64 values)."""
    paths = []
    rng = numpy.random.default_rng(2024)
    for run in range(FILES):
        path = str(directory / f"run-{run:03d}.sim")
        with kvtsim.Document("SWEE") as doc:
            f = doc.open(path, "w")
            with f.current.appender() as out:
                out.write_string(f"conductivity {0.1 * run:.1f}")
            for step in range(STEPS):
                with f.new_pool().appender() as out:
                    out.write_i32(step)
                    out.write_i32(VALUES)
                    out.write_array(rng.standard_normal(VALUES))
        paths.append(path)
    return paths


def serial(paths):
    labels, rows = [], []
    for path in paths:
        with kvtsim.Document("SWEE") as doc:
            f = doc.open(path)
            labels.append(f[0].reader().read_string())
            for pool in list(f)[1:]:
                rows.append(pool.reader(offset=8).read_array("f8", VALUES))
    return labels, numpy.array(rows)


def test_collections_over_many_files_equal_a_serial_read(tmp_path):
    paths = write_sweep(tmp_path)
    labels, rows = serial(paths)

    def label(pool):  # pickled by value: the workers do not import this module
        return pool.reader().read_string()

    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None, silence_logs=40) as cluster, \
            distributed.Client(cluster) as client:
        bag = kvtsim.dask.read_pools(paths, label, pools=[0])
        assert bag.npartitions == FILES
        assert client.compute(bag).result() == labels

        layout = kvtsim.dask.ArrayLayout("f8", VALUES, offset=8)
        array = kvtsim.dask.read_arrays(paths, layout, pools=range(1, STEPS + 1))
        assert array.shape == (FILES * STEPS, VALUES) and array.numblocks == (FILES, 1)
        assert numpy.array_equal(client.compute(array).result(), rows)

        # Without a selection every pool is read.
        heads = kvtsim.dask.read_arrays(paths[:2], kvtsim.dask.ArrayLayout("i4", 2))
        assert heads.shape == (2 * (STEPS + 1), 2)
        assert client.compute(heads).result()[1:STEPS + 1].tolist() == [
            [step, VALUES] for step in range(STEPS)]
        # Pool 0 holds no such array: the worker's error arrives as itself.
        with pytest.raises(kvtsim.ShortBufferError):
            client.compute(kvtsim.dask.read_arrays(paths[:2], layout)).result()
        # Each task ran on a worker process, not here.
        assert len(client.scheduler_info()["workers"]) == 2
