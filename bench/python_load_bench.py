"""Python module speed: loading a 320 MB store from Python against the C++ load of the same file,
and the cost of creating the zero-copy views ds.nodes and ds.streamline(i) for a small and a
large dataset.

    cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DTKSTREAM63_BENCH=ON
    cmake --build build-bench -j2 --target _tkstream63 store_file_load_bench
    /usr/bin/python3 bench/python_load_bench.py --build build-bench

The store holds one dataset of 10,000,000 nodes x 8 columns (a 320 MB node table) and 50,000
streamlines, like the persistence benchmark. The C++ and Python loads take turns, three rounds
of seven loads each, so a busy machine hits both alike; the ratio compares the fastest loads and
the medians.
"""

import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time
import timeit

import numpy

NODES, COLUMNS, STREAMLINES, POINTER_COLUMNS = 10_000_000, 8, 50_000, 8
LOADS_PER_ROUND, ROUNDS = 7, 3


def build_store(tkstream63, path):
    ds = tkstream63.Dataset()
    ds.Origin, ds.GroupName = "BENCH", "LARGE"
    ds.set_nodes(numpy.random.default_rng(1).random((NODES, COLUMNS), dtype=numpy.float32))
    per_line = NODES // STREAMLINES
    pointers = numpy.zeros((STREAMLINES, POINTER_COLUMNS), dtype=numpy.int32)
    pointers[:, 0] = numpy.arange(STREAMLINES) * per_line + 1
    pointers[:, 1] = per_line
    ds.set_pointers(pointers)
    store = tkstream63.Store()
    store.add(ds)
    store.save(path)
    return ds


def cpp_loads(program, path):
    """Seconds per load of the C++ benchmark's repetitions."""
    done = subprocess.run([str(program), "--benchmark_format=json"], capture_output=True, text=True,
                          env=dict(os.environ, TKSTREAM63_BENCH_STORE=str(path)), check=True)
    runs = json.loads(done.stdout)["benchmarks"]
    return [run["real_time"] / 1e3 for run in runs if run.get("run_type") == "iteration"]


def python_loads(tkstream63, path):
    seconds = []
    for _ in range(LOADS_PER_ROUND):
        start = time.perf_counter()
        store = tkstream63.load(path)
        seconds.append(time.perf_counter() - start)
        del store
    return seconds


def view_microseconds(statement, ds):
    timer = timeit.Timer(statement, globals={"ds": ds})
    calls = 200_000
    return min(timer.repeat(repeat=5, number=calls)) / calls * 1e6


def main():
    parser = argparse.ArgumentParser(description="tkstream63 Python module benchmark")
    parser.add_argument("--build", default="build-bench", help="CMake build folder (Release)")
    args = parser.parse_args()
    build = pathlib.Path(args.build).resolve()
    sys.path.insert(0, str(build / "python"))
    import tkstream63

    program = build / "bench" / "store_file_load_bench"
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "bench.store"
        large = build_store(tkstream63, path)
        print(f"store file: {path.stat().st_size / 1e6:.0f} MB")
        cpp, python = [], []
        for _ in range(ROUNDS):
            cpp += cpp_loads(program, path)
            python += python_loads(tkstream63, path)

    for side, seconds in (("C++", cpp), ("Python", python)):
        print(f"load, {side + ':':8}fastest {min(seconds) * 1e3:7.1f} ms, "
              f"median {statistics.median(seconds) * 1e3:7.1f} ms ({len(seconds)} loads)")
    print(f"Python / C++: fastest {min(python) / min(cpp):.3f}, "
          f"median {statistics.median(python) / statistics.median(cpp):.3f}")

    small = tkstream63.Dataset()
    small.set_nodes(numpy.ones((12, COLUMNS)))
    small.set_pointers([[1, 12, 0, 0, 0, 0, 0, 0]])
    for name, ds in (("12 nodes", small), (f"{NODES:,} nodes", large)):
        print(f"{name:>18}: ds.nodes {view_microseconds('ds.nodes', ds):.2f} us, "
              f"ds.streamline(1) {view_microseconds('ds.streamline(1)', ds):.2f} us")


if __name__ == "__main__":
    main()
