"""Reads back what write_results.py wrote and prints a summary.

    python3 read_results.py DIRECTORY

Each step refers to the mesh's nodes through a stored locator: following it
leads into mesh.sim, which is open in the same document.
"""

import os
import sys

import numpy

import kvtsim

SIGNATURE = "HEAT"


def load(directory):
    """(x, y, corners, times, temperatures[step, node], labels)."""
    with kvtsim.Document(SIGNATURE) as doc:
        mesh = doc.open(os.path.join(directory, "mesh.sim"))
        with mesh[1].reader() as r:
            corners = r.read_array("i4", 3 * r.read_i32()).reshape(-1, 3)
        labels, times, temperatures = [], [], []
        x = y = None
        for pool in doc.open(os.path.join(directory, "results.sim")):
            with pool.reader() as r:
                labels.append(r.read_string())
                times.append(r.read_f64())
                nodes = r.read_locator()
                temperatures.append(r.read_array("f8", r.read_i32()))
            if x is None:
                with nodes.reader() as n:  # into mesh.sim
                    count = n.read_i32()
                    x, y = n.read_array("f8", count), n.read_array("f8", count)
    return x, y, corners, numpy.array(times), numpy.array(temperatures), labels


def main(directory):
    x, y, corners, times, temperatures, labels = load(directory)
    print(f"mesh: {x.size} nodes, {len(corners)} elements, "
          f"x in [{x.min():g}, {x.max():g}], y in [{y.min():g}, {y.max():g}]")
    print(f"results: {len(labels)} steps, {labels[0]!r} at t={times[0]:g} "
          f"to {labels[-1]!r} at t={times[-1]:g}")
    hottest = temperatures[0].argmax()
    print(f"hottest node {hottest} at ({x[hottest]:g}, {y[hottest]:g}): "
          f"{temperatures[0, hottest]:.2f} -> {temperatures[-1, hottest]:.2f}")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
