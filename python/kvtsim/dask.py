"""Many container files at once, as Dask collections.

Parameter sweeps leave thousands of result files. These helpers turn a list
of files into a Dask collection whose tasks each open one file read-only in
a Document of their own, so that they run on any worker that sees the
files:

    import kvtsim.dask

    # A bag with one item per pool: whatever decode(pool) returns.
    def peak(pool):
        with pool.reader() as r:
            return r.read_string(), r.read_array("f8", r.read_i32()).max()
    peaks = kvtsim.dask.read_pools(paths, peak).compute()

    # An array stacked from one array per pool: pools 1, 2, ... of every
    # file each hold 10,000 float64 values from data offset 8.
    temperatures = kvtsim.dask.read_arrays(
        paths, kvtsim.dask.ArrayLayout("f8", 10_000, offset=8), pools=range(1, 201))
    temperatures.mean(axis=0).compute()

On a cluster (dask-scheduler, dask-worker, or any dask.distributed
deployment) the same code runs once a Client is connected: the workers
need kvtsim importable, and the files on a file system they all see under
the same paths. Nothing but paths, the decoding function and results
travels between the client and the workers.
"""

import os
from dataclasses import dataclass
from typing import Callable, Iterable, Optional, Sequence, Union

import dask
import dask.array
import dask.bag
import numpy

import kvtsim

__all__ = ["ArrayLayout", "read_pools", "read_arrays"]


@dataclass(frozen=True)
class ArrayLayout:
    """Where a pool keeps its array: count values of dtype (a stored type:
    int16 ... float64) from data offset offset."""

    dtype: object
    count: int
    offset: int = 0


def _document(path, signature):
    """A document for the file at path alone, with its own or the given signature."""
    if signature is None:
        signature = kvtsim._core._stored_signature(path)
    return kvtsim.Document(signature)


def _selected(pools, count):
    return range(count) if pools is None else list(pools)


def _decode_file(path, decode, signature, pools):
    with _document(path, signature) as doc:
        f = doc.open(path, "r")
        return [decode(f[i]) for i in _selected(pools, len(f))]


def _read_file_arrays(path, layout, signature, pools):
    dtype = numpy.dtype(layout.dtype)
    with _document(path, signature) as doc:
        f = doc.open(path, "r")
        indexes = _selected(pools, len(f))
        block = numpy.empty((len(indexes), layout.count), dtype)
        for row, i in enumerate(indexes):
            with f[i].reader(offset=layout.offset) as r:
                block[row] = r.read_array(dtype, layout.count)
        return block


def _pool_count(path, signature):
    with _document(path, signature) as doc:
        return len(doc.open(path, "r"))


def read_pools(paths: Sequence[Union[str, os.PathLike]], decode: Callable[["kvtsim.Pool"], object],
               *, signature: Optional[Union[str, bytes]] = None,
               pools: Optional[Iterable[int]] = None) -> dask.bag.Bag:
    """A Dask bag holding decode(pool) for the pools of every file, in file
    order and pool order, one partition per file.

    decode receives a kvtsim.Pool of a file open read-only and returns any
    value that pickles (it must not keep the pool: the file closes after
    it). pools selects pool indexes (negative ones count from the end; the
    same for every file; default: all). signature is the user signature
    (default: each file's own)."""
    paths = [os.fspath(p) for p in paths]
    selection = None if pools is None else list(pools)
    per_file = dask.bag.from_sequence(paths, npartitions=max(len(paths), 1))
    return per_file.map(_decode_file, decode, signature, selection).flatten()


def read_arrays(paths: Sequence[Union[str, os.PathLike]], layout: ArrayLayout, *,
                signature: Optional[Union[str, bytes]] = None,
                pools: Optional[Iterable[int]] = None) -> dask.array.Array:
    """A Dask array of shape (pools, layout.count): one row per selected pool
    of every file, in file order and pool order, one chunk per file.

    Every selected pool holds layout.count values of layout.dtype from
    data offset layout.offset (ShortBufferError otherwise, when computed).
    pools selects the same pool indexes in every file; without it every
    pool is read, and each file is opened here once to count its pools."""
    paths = [os.fspath(p) for p in paths]
    kvtsim._core._stored_width(layout.dtype)  # TypeError now, not in a task
    dtype = numpy.dtype(layout.dtype).newbyteorder("=")
    layout = ArrayLayout(dtype, int(layout.count), int(layout.offset))
    selection = None if pools is None else list(pools)
    if selection is None:
        rows = [_pool_count(p, signature) for p in paths]
    else:
        rows = [len(selection)] * len(paths)
    blocks = [
        dask.array.from_delayed(
            dask.delayed(_read_file_arrays)(p, layout, signature, selection),
            shape=(n, layout.count), dtype=dtype)
        for p, n in zip(paths, rows)
    ]
    if not blocks:
        return dask.array.empty((0, layout.count), dtype=dtype)
    return dask.array.concatenate(blocks, axis=0)
