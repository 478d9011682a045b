"""Failures reach Python as exceptions carrying the library's number, source and member."""

import numpy
import pytest

import tkstream63
from conftest import small_dataset


def damaged_copy(example_store, tmp_path, damage):
    data = bytearray(example_store.read_bytes())
    path = tmp_path / "damaged.store"
    if damage == "not a record file":
        data = b"no store here\n" * 40
    elif damage == "truncated":
        data = data[:len(data) // 2]
    elif damage == "flipped byte":
        data[len(data) // 2] ^= 0xFF
    if damage != "missing":
        path.write_bytes(bytes(data))
    return path


def read_everything(path):
    with tkstream63.open(path) as view:
        for k in range(1, len(view) + 1):
            view.dataset(k)


@pytest.mark.parametrize("damage, number, source, member, view_source", [
    ("missing", 53, "RecordFile", "OpenForReading", "StoreFileView"),
    ("not a record file", 321, "RecordFile", "OpenForReading", "StoreFileView"),
    ("truncated", 62, "rvStreamSet", "BINARYIMPORT", "StoreFileView"),
    ("flipped byte", 321, "rvStreamSet", "BINARYIMPORT", "rvStreamSet"),
])
def test_bad_files(example_store, tmp_path, damage, number, source, member, view_source):
    path = damaged_copy(example_store, tmp_path, damage)
    # A load meets the damage at once; the view when it reads the damaged part.
    for read, where in ((tkstream63.load, (source, member)), (read_everything, (view_source,))):
        with pytest.raises(tkstream63.Error) as raised:
            read(path)
        error = raised.value
        assert (error.number, error.source, error.member)[:len(where) + 1] == (number, *where)
        assert str(error).startswith("Error:")


def test_library_reports(tmp_path):
    ds = tkstream63.Dataset()
    ds.set_nodes(numpy.ones((4, 7)))
    ds.set_pointers([[1, 10, 0, 0, 0, 0, 1, 1]])  # ten rows from a table of four
    cases = [
        (lambda: ds.set_attribute(7, "abc"), 13, "rvStreamSet", "rvDataSet.SetDataSetAttribute"),
        (lambda: ds.streamline_data(1), 9, "rvStreamSet", "extractSingleStreamLinePositions"),
        (lambda: ds.streamline(1), 9, "tkstream63", "Dataset.streamline"),
        (lambda: tkstream63.Store().save(tmp_path / "no" / "such.store"), 75, "RecordFile",
         "OpenForWriting"),
    ]
    for call, number, source, member in cases:
        with pytest.raises(tkstream63.Error) as raised:
            call()
        error = raised.value
        assert (error.number, error.source, error.member) == (number, source, member)
    assert ds.get_attribute(7) == "0"  # the failed conversion left Units alone
    assert not (tmp_path / "no").exists()


def test_python_argument_errors(example_store):
    store = tkstream63.load(example_store)
    for call, error in [
        (lambda: store[0], IndexError), (lambda: store[4], IndexError),
        (lambda: store[1].streamline(0), IndexError),
        (lambda: store[1].streamline(161), IndexError),
        (lambda: store.search(), ValueError), (lambda: store.search(MaxRows=1), ValueError),
        (lambda: store.search({16: "1"}), ValueError),
        (lambda: tkstream63.Dataset().set_nodes(numpy.zeros(3)), ValueError),
        (lambda: tkstream63.Dataset().set_wells(["A"], x=[1]), ValueError),
    ]:
        with pytest.raises(error):
            call()


def test_duplicate_answers(capfd):
    store = tkstream63.Store()
    assert store.add(small_dataset()[0]) == 1
    clash = lambda: small_dataset()[0]  # same Origin, DateStamp and TVGroupName
    assert store.add(clash()) is None and len(store) == 1  # no answer: cancel
    assert store.add(clash(), duplicate="rename") == 2 and store[2].Origin == "BASE1"

    asked = []
    def dialog(message, buttons, title):
        asked.append((message, buttons, title))
        return "&Overwrite"
    replacement = clash()
    assert store.add(replacement, duplicate=dialog) == 1 and store[1] is replacement
    assert asked == [("BASE [FIELD]\r\n\r\n Name currently in use.",
                      ["&Overwrite all", "&Rename all", "&Cancel all",
                       "&Overwrite", "&Rename", "&Cancel"],
                      "Duplicate Name")]
    assert not store.AutomaticOverWrite  # "Overwrite", not "Overwrite all"

    def failing(*_):
        raise KeyError("no answer")
    with pytest.raises(KeyError):
        store.add(clash(), duplicate=failing)
    with pytest.raises(ValueError):
        store.add(clash(), duplicate="maybe")
    assert len(store) == 2
    assert capfd.readouterr() == ("", "")  # nothing printed, nothing asked on the terminal
