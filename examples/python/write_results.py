"""Writes a small simulation's output: a mesh and 100 steps of results.

    python3 write_results.py DIRECTORY

DIRECTORY/mesh.sim     pool 0 "nodes":    int32 n; float64 x[n]; float64 y[n]
                       pool 1 "elements": int32 m; int32 corners[m * 3] (node indexes)
DIRECTORY/results.sim  one pool per step: string label; float64 time;
                       locator of the nodes record in mesh.sim; int32 n;
                       float64 temperature[n] (one per node)

The results pools refer to the mesh through a stored locator, which a
reader follows into mesh.sim (see read_results.py).
"""

import os
import sys

import numpy

import kvtsim

SIGNATURE = "HEAT"
STEPS = 100


def make_mesh(nx=41, ny=21, width=2.0, height=1.0):
    """Node coordinates of a rectangular plate and its triangles."""
    x, y = numpy.meshgrid(numpy.linspace(0.0, width, nx), numpy.linspace(0.0, height, ny))
    corners = []
    for j in range(ny - 1):
        for i in range(nx - 1):
            a = j * nx + i
            corners += [(a, a + 1, a + nx + 1), (a, a + nx + 1, a + nx)]
    return x.ravel(), y.ravel(), numpy.array(corners, dtype=numpy.int32)


def temperature(x, y, t):
    """A hot spot spreading over the plate and cooling down."""
    spread = 0.05 + 0.02 * t
    return 20.0 + 80.0 * 0.05 / spread * numpy.exp(-((x - 0.6) ** 2 + (y - 0.4) ** 2) / spread)


def write(directory):
    os.makedirs(directory, exist_ok=True)
    x, y, corners = make_mesh()
    with kvtsim.Document(SIGNATURE) as doc:
        mesh = doc.open(os.path.join(directory, "mesh.sim"), "w")
        with mesh.current.appender() as out:
            out.write_i32(x.size)
            out.write_array(x)
            out.write_array(y)
        nodes = mesh.current.start
        with mesh.new_pool().appender() as out:
            out.write_i32(len(corners))
            out.write_array(corners)

        # Made after the mesh pools, the results pools may refer to them.
        results = doc.open(os.path.join(directory, "results.sim"), "w")
        for step in range(STEPS):
            time = 0.1 * step
            pool = results.current if step == 0 else results.new_pool()
            with pool.appender() as out:
                out.write_string(f"step {step + 1}")
                out.write_f64(time)
                out.write_locator(nodes)
                out.write_i32(x.size)
                out.write_array(temperature(x, y, time))
    print(f"wrote {x.size} nodes, {len(corners)} elements and {STEPS} steps into {directory}")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    write(sys.argv[1])
