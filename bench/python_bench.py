#!/usr/bin/env python3
"""Speed of the Python package kvtsim, each figure beside a baseline measured
in the same run:

  1. read_array of SIZE bytes of float64 from one pool, beside numpy.fromfile
     of the same bytes of the same file (target: at least 0.8 of it);
  2. write_array of the same array through an appender into a new file,
     closed (which makes it durable), beside ndarray.tofile and os.fsync
     (reported);
  3. the per-call cost of Reader.read_f64, beside struct.unpack_from of one
     double from a bytes object (the cheapest per-value read in Python);
  4. following a stored locator (read_locator, then a reader at it and one
     read_f64 there, in another file), beside read_f64 alone.

Usage: python3 bench/python_bench.py [--size 1G] [--calls 1000000] [--repeat 5]
with the package importable (PYTHONPATH=build/release/python). Files are made
in a temporary directory under TMPDIR and removed at the end; they stay in the
page cache, so the figures are CPU and memory costs, not disk speed.
Exit status 0 when every figure was measured (targets met or not).
"""

import argparse
import os
import platform
import struct
import sys
import tempfile
import time

import numpy

import kvtsim

SIGNATURE = "BNCH"
GiB = float(1 << 30)


def size_argument(text):
    units = {"K": 1 << 10, "M": 1 << 20, "G": 1 << 30}
    text = text.upper().removesuffix("IB").removesuffix("B")
    if text[-1:] in units:
        return int(float(text[:-1]) * units[text[-1]])
    return int(text)


def best_of(repeat, run):
    """The shortest of repeat timed calls of run, in seconds."""
    times = []
    for _ in range(repeat):
        start = time.perf_counter()
        run()
        times.append(time.perf_counter() - start)
    return min(times)


def bulk_figures(directory, size, repeat):
    values = numpy.random.default_rng(1).standard_normal(size // 8)
    path = os.path.join(directory, "bulk.sim")
    raw = os.path.join(directory, "bulk.raw")

    def write_pool():
        with kvtsim.Document(SIGNATURE) as doc:
            with doc.open(path, "w").current.appender() as out:
                out.write_array(values)

    write_seconds = best_of(repeat, write_pool)
    def write_raw():
        with open(raw, "wb") as f:
            values.tofile(f)
            f.flush()
            os.fsync(f.fileno())

    tofile_seconds = best_of(repeat, write_raw)
    os.remove(raw)

    info = kvtsim.inspect(path).pools[0]
    data_offset = info.location + info.length - info.data_length
    doc = kvtsim.Document(SIGNATURE)
    pool = doc.open(path)[0]
    check = {}

    def read_pool():
        with pool.reader() as r:
            check["kvtsim"] = r.read_array("f8", values.size)

    def read_numpy():
        check["numpy"] = numpy.fromfile(path, "<f8", values.size, offset=data_offset)

    # Interleaved, so that both meet the same state of the machine.
    read_seconds, fromfile_seconds = [], []
    for _ in range(repeat):
        read_seconds.append(best_of(1, read_pool))
        fromfile_seconds.append(best_of(1, read_numpy))
    doc.close()
    assert numpy.array_equal(check["kvtsim"], values) and numpy.array_equal(check["numpy"], values)
    nbytes = values.nbytes
    return [
        ("1 read_array float64", nbytes / min(read_seconds) / GiB, "GiB/s",
         "numpy.fromfile", nbytes / min(fromfile_seconds) / GiB, ">= 0.80", 0.8),
        ("2 write_array float64 (appender)", nbytes / write_seconds / GiB, "GiB/s",
         "tofile + fsync", nbytes / tofile_seconds / GiB, "(report)", None),
    ]


def per_call_figures(directory, calls, repeat):
    mesh_path = os.path.join(directory, "records.sim")
    refs_path = os.path.join(directory, "references.sim")
    with kvtsim.Document(SIGNATURE) as doc:
        records = doc.open(mesh_path, "w").current
        locators = []
        with records.appender() as out:
            for i in range(calls):
                locators.append(out.locator)
                out.write_f64(float(i))
        references = doc.open(refs_path, "w").current
        with references.appender() as out:
            for locator in locators:
                out.write_locator(locator)
    doubles = numpy.arange(calls, dtype="<f8").tobytes()
    unpack = struct.Struct("<d").unpack_from

    doc = kvtsim.Document(SIGNATURE)
    values = doc.open(mesh_path)[0]
    refs = doc.open(refs_path)[0]

    def read_f64():
        r = values.reader()
        read = r.read_f64
        for _ in range(calls):
            read()

    def struct_unpack():
        for offset in range(0, 8 * calls, 8):
            unpack(doubles, offset)

    def read_locators():
        r = refs.reader()
        read = r.read_locator
        for _ in range(calls):
            read()

    def follow():
        r = refs.reader()
        read = r.read_locator
        for i in range(calls):
            if read().reader().read_f64() != i:
                raise AssertionError("followed the wrong locator")

    seconds = {name: best_of(repeat, run) for name, run in (
        ("read_f64", read_f64), ("struct", struct_unpack), ("read_locator", read_locators),
        ("follow", follow))}
    doc.close()
    ns = {name: s / calls * 1e9 for name, s in seconds.items()}
    return [
        ("3 Reader.read_f64 per call", ns["read_f64"], "ns",
         "struct.unpack_from", ns["struct"], "(report)", None),
        ("4 read_locator per call", ns["read_locator"], "ns",
         "read_f64", ns["read_f64"], "(report)", None),
        ("4 follow a stored locator per call", ns["follow"], "ns",
         "read_f64", ns["read_f64"], "(report)", None),
    ]


def machine():
    cpu = "?"
    try:
        with open("/proc/cpuinfo") as f:
            cpu = next(l.split(":", 1)[1].strip() for l in f if l.startswith("model name"))
    except (OSError, StopIteration):
        pass
    return (f"{cpu}, {os.cpu_count()} CPUs, {platform.system()} {platform.release()}; "
            f"Python {platform.python_version()}, NumPy {numpy.__version__}, "
            f"kvtsim {kvtsim.__version__}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--size", type=size_argument, default=1 << 30,
                        help="bytes of float64 for figures 1 and 2 (default 1G)")
    parser.add_argument("--calls", type=int, default=1_000_000,
                        help="calls timed for figures 3 and 4 (default 1000000)")
    parser.add_argument("--repeat", type=int, default=5, help="repetitions; the best counts")
    args = parser.parse_args()

    with tempfile.TemporaryDirectory(prefix="kvtsim-python-bench-") as directory:
        rows = bulk_figures(directory, args.size, args.repeat)
        rows += per_call_figures(directory, args.calls, args.repeat)

    print(f"kvtsim Python benchmarks: {args.size / GiB:.3f} GiB for figures 1-2, "
          f"{args.calls} calls for 3-4, best of {args.repeat}")
    print(f"Machine: {machine()}")
    print("Ratio: kvtsim / baseline (throughput for 1-2, time per call for 3-4).")
    print()
    table = [("figure", "kvtsim", "baseline", "", "ratio", "target", "result")]
    for label, value, unit, base_label, base, target, minimum in rows:
        if unit == "GiB/s":
            ratio = value / base
            result = "-" if minimum is None else ("PASS" if ratio >= minimum else "MISS")
        else:
            ratio = value / base
            result = "-"
        table.append((label, f"{value:8.2f} {unit}", f"{base:8.2f} {unit}", base_label,
                      f"{ratio:5.2f}", target, result))
    widths = [max(len(row[i]) for row in table) for i in range(len(table[0]))]
    for n, row in enumerate(table):
        print("  ".join(cell.ljust(w) for cell, w in zip(row, widths)).rstrip())
        if n == 0:
            print("  ".join("-" * w for w in widths))
    return 0


if __name__ == "__main__":
    sys.exit(main())
