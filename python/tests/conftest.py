"""Shared fixtures: the store the C++ example viewer saves, and a small dataset built here."""

import os
import subprocess

import numpy
import pytest

import tkstream63

def run(program, *args):
    """Runs a C++ program named by an environment variable; returns (exit code, output)."""
    if not os.environ.get(program):
        pytest.skip(f"{program} is not set (run the tests through ctest)")
    done = subprocess.run([os.environ[program], *map(str, args)], capture_output=True, text=True)
    return done.returncode, done.stdout + done.stderr


@pytest.fixture(scope="session")
def example_store(tmp_path_factory):
    """Path of the store the example viewer program saves (binary form)."""
    path = tmp_path_factory.mktemp("example") / "fivespot.store"
    code, errors = run("EXAMPLE_PROGRAM", "--keep-store", path)
    assert code == 0, errors
    return path


def small_dataset(origin="BASE", rows=12):
    """A dataset of three streamlines over `rows` nodes (7 columns), two wells, grid set."""
    ds = tkstream63.Dataset()
    ds.Origin, ds.GroupName, ds.DateStamp = origin, "FIELD", "2024-01-01"
    ds.grid = (4, 3, 2)
    nodes = numpy.arange(rows * 7, dtype=numpy.float64).reshape(rows, 7) / 4
    nodes[:, 3] = numpy.arange(rows) % 24 + 1          # cells inside the grid
    ds.set_nodes(nodes)
    third = rows // 3
    pointers = numpy.zeros((3, 8), dtype=numpy.int64)
    pointers[:, 0] = [1, third + 1, 2 * third + 1]        # first row of each streamline
    pointers[:, 1] = [third, third, rows - 2 * third]     # node counts
    pointers[:, 6], pointers[:, 7] = 2, 1                 # start well I1, end well P1
    ds.set_pointers(pointers)
    ds.set_headers(["X", "Y", "Z", "CELL", "TOF", "DRT", "V"], ["m", "m", "m", "", "d", "", "m/d"])
    ds.set_wells(["P1", "I1"], types=[1, 2], index=[1, 1], x=[0, 10], y=[0, 10], z=[5, 5])
    return ds, nodes, pointers
