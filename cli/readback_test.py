"""tkstream's drawings read back by their own tools.

The example program saves its store; `tkstream export-vtk` turns dataset 1 into .vtp files (raw
and ascii) that VTK's own reader must load with one polyline per streamline, one vertex per well
and the node table's TOF column as point data; `tkstream plot` must give well-formed SVG
(xmllint) with one path per streamline. The expected values come from `tkstream info --json` and
`tkstream dump --json`. Exits 77 (skipped) when VTK's Python module or xmllint is missing.

usage: readback_test.py TKSTREAM FIELD_VIEWER_EXAMPLE
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile

try:
    import numpy
    import vtk
    from vtk.util.numpy_support import vtk_to_numpy
except ImportError:
    print("skipped: VTK's Python module (Debian python3-vtk9) is not installed")
    sys.exit(77)
if shutil.which("xmllint") is None:
    print("skipped: xmllint (Debian libxml2-utils) is not installed")
    sys.exit(77)

tkstream, example = sys.argv[1], sys.argv[2]


def run(*args):
    return subprocess.run([tkstream, *args], check=True, capture_output=True, text=True).stdout


def check(condition, what):
    if not condition:
        print("FAILED:", what)
        sys.exit(1)


with tempfile.TemporaryDirectory() as folder:
    store = os.path.join(folder, "fivespot.store")
    subprocess.run([example, "--keep-store", store], check=True, stdout=subprocess.DEVNULL)
    dataset = json.loads(run("info", store, "--json"))["datasets"][0]
    records = {r["keyword"]: r for r in json.loads(run("dump", store, "--dataset", "1", "--values", "--all", "--json"))}
    rows, columns = records["STREAMLINE"]["values"]
    # The node table is stored column by column; TOF is column 5.
    tof = numpy.array(records["SLINEDATA"]["values"][4 * rows:5 * rows], dtype=numpy.float32)

    for encoding in ("raw", "ascii"):
        vtp = os.path.join(folder, encoding + ".vtp")
        run("export-vtk", store, vtp, "--dataset", "1", "--encoding", encoding)
        reader = vtk.vtkXMLPolyDataReader()
        reader.SetFileName(vtp)
        reader.Update()
        poly = reader.GetOutput()
        check(poly.GetNumberOfLines() == dataset["streamlines"], encoding + ": one polyline per streamline")
        check(poly.GetNumberOfVerts() == dataset["wells"], encoding + ": one vertex per well")
        check(poly.GetNumberOfPoints() == dataset["nodes"] + dataset["wells"], encoding + ": one point per node and well")
        check(poly.GetPointData().GetNumberOfArrays() == columns, encoding + ": every node column as point data")
        values = vtk_to_numpy(poly.GetPointData().GetArray("TOF [days]"))
        check(numpy.array_equal(values[:rows], tof), encoding + ": TOF [days] equal to the store's node table")

    svg = os.path.join(folder, "plan.svg")
    run("plot", store, svg, "--dataset", "1", "--color-by", "injector")
    subprocess.run(["xmllint", "--noout", svg], check=True)
    with open(svg, encoding="utf-8") as f:
        paths = f.read().count("<path ")
    check(paths == dataset["streamlines"], "one SVG path per streamline (found %d)" % paths)

print("VTK and SVG read back: OK")
