"""Draws the demo mesh coloured by the last step's temperatures, and the
temperature over time at the hottest node, into a PNG.

    python3 plot_results.py DIRECTORY [PNG]     (default: DIRECTORY/results.png)

Uses Matplotlib's Agg backend: no display is needed.
"""

import os
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import matplotlib.tri as mtri  # noqa: E402

from read_results import load  # noqa: E402


def plot(directory, png):
    x, y, corners, times, temperatures, labels = load(directory)
    node = temperatures[0].argmax()
    figure, (field, curve) = plt.subplots(
        1, 2, figsize=(11, 4), gridspec_kw={"width_ratios": [2, 1]})
    mesh = mtri.Triangulation(x, y, corners)
    shaded = field.tripcolor(mesh, temperatures[-1], shading="gouraud", cmap="inferno")
    field.triplot(mesh, color="white", linewidth=0.2, alpha=0.4)
    field.plot(x[node], y[node], "o", color="cyan")
    field.set_aspect("equal")
    field.set_title(f"temperature, {labels[-1]} (t = {times[-1]:g})")
    figure.colorbar(shaded, ax=field, label="°C")
    curve.plot(times, temperatures[:, node], color="tab:red")
    curve.set_xlabel("time")
    curve.set_ylabel("°C")
    curve.set_title(f"node {node} at ({x[node]:g}, {y[node]:g})")
    figure.tight_layout()
    figure.savefig(png, dpi=100)
    print(f"wrote {png}")


if __name__ == "__main__":
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    plot(sys.argv[1], sys.argv[2] if len(sys.argv) == 3 else os.path.join(sys.argv[1], "results.png"))
