"""Stores travel between C++ and Python through record files with every value intact."""

import numpy
import pytest

import tkstream63
from conftest import run, small_dataset


@pytest.mark.parametrize("written_formatted, saved_formatted", [(False, True), (True, False)])
def test_example_store_from_cpp_to_python_and_back(example_store, tmp_path, written_formatted,
                                                   saved_formatted):
    # Both files compared hold a store loaded once: a load applies the WAF rate quirk.
    written = tmp_path / "cpp.store"
    code, errors = run("RESAVE_STORE", example_store, written, *(["--formatted"] if written_formatted else []))
    assert code == 0, errors
    store = tkstream63.load(written)
    assert [ds.Origin for ds in store] == ["FIVESPOT", "FIVESPOT", "FIVESPOT1"]
    assert store.FolderKey == "Fields\\FiveSpot"
    # The views show what the library's own extraction gives: X, Y, Z, TOF and DRT of every node.
    for ds in store:
        assert ds.nodes.shape == (ds.MaxRows, 7)
        for i in range(1, ds.NumberStreamlines + 1):
            line, data = ds.streamline(i), ds.streamline_data(i)
            assert numpy.array_equal(line[:, [0, 1, 2, 4, 5]], data[:, [0, 1, 2, 6, 7]])
    saved = tmp_path / "python.store"
    store.save(saved, formatted=saved_formatted)
    code, errors = run("TKSTREAM", "diff", written, saved)
    assert code == 0, errors


def allocation_set():
    """Producer P1 fed by injector I1: WAF rows 1 (P1's partner) and 3 (I1's), totals 2 and 4."""
    waf = tkstream63.WAFSet()
    waf.set_wells(["P1", "I1"], types=[1, 2], indices=[1, 1], defined=[True, True])
    table = numpy.zeros((4, 9), dtype=numpy.float32)
    table[:, 0] = [2, 0, 1, 0]            # partner well
    table[:, 1] = [100, 100, 100, 100]    # rate
    table[:, 4] = [0, 40, 0, 60]          # water rate
    table[:, 8] = [0, 0.6, 0, 0.4]        # efficiency of the default type
    waf.set_data(table)
    waf.set_producers([1], [1], [0], [2], [100])
    waf.set_injectors([3], [1], [0], [4], [100])
    return waf


def test_python_built_store_round_trip(tmp_path):
    ds, nodes, pointers = small_dataset()
    ds.attach_waf(allocation_set())
    ds.set_producers([[1, 3, 1, 1, 1]], [[0, 0, 0, 2, 0]])
    store = tkstream63.Store()
    assert store.add(ds) == 1
    path = tmp_path / "python.store"
    store.save(path)

    back = tkstream63.load(path)[1]
    assert numpy.array_equal(back.nodes, nodes.astype(numpy.float32))
    assert numpy.array_equal(back.pointers, pointers)
    assert back.headers == ["X", "Y", "Z", "CELL", "TOF", "DRT", "V"]
    assert numpy.array_equal(back.wells, ds.wells) and list(back.wells["name"]) == ["P1", "I1"]
    assert (back.Origin, back.UCaseOrigin, back.grid) == ("BASE", "BASE", (4, 3, 2))
    assert list(back.connections("P1")) == [2] and back.producer_names == ["P1"]
    rates = back.waf_rates("P1")
    assert (list(rates.rates), list(rates.wells), rates.names) == ([100], [2], ["I1"])
    assert rates.total == 100
    water, efficiency = back.waf_efficiencies(well_type=1)
    assert numpy.allclose(water, [40]) and numpy.allclose(efficiency, [0.6])

    with tkstream63.open(path) as view:
        assert len(view) == 1
        assert view.summary()[0]["Origin"] == "BASE" and view.summary()[0]["MaxRows"] == 12
        assert numpy.array_equal(view.streamline(1, 2), back.streamline_data(2))
        assert numpy.array_equal(view.dataset(1).nodes, back.nodes)
        assert numpy.array_equal(view.dataset(1).wells, back.wells)


@pytest.mark.parametrize("conditions, options, hits", [
    ({"Origin": "fivespot"}, {}, [1, 2]),
    ({"origin": "FIVESPOT1"}, {}, [3]),
    ({"DateStamp": "2030-11-05"}, {}, [1, 3]),
    ({1: "fivespot", "date_stamp": "2032-03-19"}, {}, [2]),
    ({"Origin": "fivespot"}, {"datasets": [2, 1]}, [2, 1]),
    ({"DateStamp": "2030-11-05"}, {"first_only": True}, [1]),
    ({"Origin": "FIVE"}, {}, []),
])
def test_search(example_store, conditions, options, hits):
    store = tkstream63.load(example_store)
    assert store.search(conditions, **options) == hits
