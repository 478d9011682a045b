"""The node and pointer tables reach numpy without copies, and the views stay valid."""

import gc

import numpy
import pytest

import tkstream63
from conftest import small_dataset


def address(array):
    return array.__array_interface__["data"][0]


@pytest.mark.parametrize("rows", [12, 1_200_000])
def test_views_are_offsets_into_the_dataset_whatever_its_size(rows):
    ds, nodes, pointers = small_dataset(rows=rows)
    table = ds.nodes
    assert table.shape == (rows, 7) and table.dtype == numpy.float32 and table.flags.f_contiguous
    assert numpy.array_equal(table, nodes.astype(numpy.float32))
    for i, (first, count) in enumerate(pointers[:, :2], start=1):
        line = ds.streamline(i)
        # A view: its data starts at the streamline's first row inside the dataset's own block.
        assert address(line) == address(table) + 4 * (first - 1)
        assert not line.flags.owndata and line.base is not None
        assert numpy.shares_memory(line, table)
        assert numpy.array_equal(line, table[first - 1:first - 1 + count])
    assert numpy.array_equal(ds.pointers, pointers) and not ds.pointers.flags.owndata
    with pytest.raises(ValueError):
        table[0, 0] = 1  # read-only


def test_views_outlive_their_store(example_store):
    store = tkstream63.load(example_store)
    line, table = store[2].streamline(5), store[2].nodes
    expected = line.copy()
    del store
    gc.collect()
    scratch = [numpy.full(1 << 16, 7.0) for _ in range(64)]  # reuses freed memory, if any
    assert numpy.array_equal(line, expected) and table.shape == (15120, 7)
    del scratch


def test_tables_are_replaced_only_without_live_views():
    ds, _, pointers = small_dataset()
    line = ds.streamline(1)
    with pytest.raises(BufferError):
        ds.set_nodes(numpy.zeros((2, 2)))
    with pytest.raises(BufferError):
        ds.set_pointers(pointers)
    del line
    ds.set_nodes(numpy.ones((5, 3), dtype=numpy.int32))
    assert ds.MaxRows == 5 and numpy.array_equal(ds.nodes, numpy.ones((5, 3)))


@pytest.mark.parametrize("make", [
    lambda a: a,                                        # C order, float64
    lambda a: numpy.asfortranarray(a, numpy.float32),   # the table's own layout
    lambda a: a.astype(numpy.int16),                    # integers
    lambda a: numpy.ascontiguousarray(a.T).T,           # a transposed view
    lambda a: a.tolist(),                               # plain lists
])
def test_set_nodes_keeps_rows_and_columns(make):
    values = numpy.arange(24, dtype=numpy.float64).reshape(6, 4)
    ds = tkstream63.Dataset()
    ds.set_nodes(make(values))
    assert ds.nodes.shape == (6, 4) and numpy.array_equal(ds.nodes, values)
    assert ds.get_attribute(16) == "4" and ds.get_attribute(25) == "6"
