"""Draws the streamlines of one dataset of a saved store, coloured by time of flight.

    python3 examples/python/plot_streamlines.py STORE [PICTURE] [--dataset K]

STORE is a store file saved by tkstream63, for instance the example viewer's five-spot store
(build/examples/field_viewer_example --keep-store fivespot.store); PICTURE defaults to
streamlines.png. Streamlines are drawn in plan view (X, Y) with their wells.
"""

import argparse

import matplotlib

matplotlib.use("Agg")

import matplotlib.pyplot as plt  # noqa: E402
import numpy  # noqa: E402
from matplotlib.collections import LineCollection  # noqa: E402

import tkstream63  # noqa: E402

X, Y, TOF = 0, 1, 4  # node-table columns 1, 2 and 5


def streamline_segments(ds):
    """Every streamline as line segments in plan view, with the time of flight of each segment."""
    segments, tof = [], []
    for i in range(1, ds.NumberStreamlines + 1):
        line = ds.streamline(i)  # a view of the dataset's node rows, no copy
        if len(line) < 2:
            continue
        points = line[:, [X, Y]]
        segments.append(numpy.stack([points[:-1], points[1:]], axis=1))
        tof.append((line[:-1, TOF] + line[1:, TOF]) / 2)
    return numpy.concatenate(segments), numpy.concatenate(tof)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("store")
    parser.add_argument("picture", nargs="?", default="streamlines.png")
    parser.add_argument("--dataset", type=int, default=1, help="dataset number, from 1")
    args = parser.parse_args()

    ds = tkstream63.load(args.store)[args.dataset]
    segments, tof = streamline_segments(ds)

    figure, axes = plt.subplots(figsize=(8, 7))
    lines = LineCollection(segments, array=tof, cmap="viridis", linewidths=1.0)
    axes.add_collection(lines)
    for well in ds.wells:
        injector = well["type"] == 2
        axes.plot(well["x"], well["y"], "v" if injector else "o", markersize=11,
                  color="tab:blue" if injector else "tab:red", markeredgecolor="black", zorder=3)
        axes.annotate(well["name"], (well["x"], well["y"]), textcoords="offset points",
                      xytext=(8, 8), fontsize=12, fontweight="bold", zorder=4,
                      bbox={"boxstyle": "round,pad=0.2", "facecolor": "white", "alpha": 0.85})

    x_min, x_max, y_min, y_max, _, _ = ds.limits
    margin = 0.05 * max(x_max - x_min, y_max - y_min, 1.0)
    axes.set_xlim(x_min - margin, x_max + margin)
    axes.set_ylim(y_min - margin, y_max + margin)
    axes.set_aspect("equal")
    axes.set_xlabel("X (m)")
    axes.set_ylabel("Y (m)")
    axes.set_title(f"{ds.Origin} / {ds.GroupName}, {ds.DateStamp}: "
                   f"{ds.NumberStreamlines} streamlines, {ds.MaxRows} nodes")
    figure.colorbar(lines, ax=axes, shrink=0.85, label=f"time of flight ({ds.headers[TOF]}, days)")
    figure.tight_layout()
    figure.savefig(args.picture, dpi=110)
    print(f"wrote {args.picture}")


if __name__ == "__main__":
    main()
