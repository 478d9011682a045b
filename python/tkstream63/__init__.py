"""tkstream63: streamline simulation results in memory, saved to and loaded from record files.

Loading a store and drawing one streamline::

    import tkstream63, matplotlib.pyplot as plt
    store = tkstream63.load("fivespot.store")      # binary or formatted form
    ds = store[1]                                   # datasets are numbered from 1
    line = ds.streamline(1)                         # a view of its node rows, no copy
    plt.plot(line[:, 0], line[:, 1]); plt.savefig("streamline.png")

Classes
    Store      every loaded dataset: len(store), store[k] (k = 1..len), iteration, add(),
               search(), save(), load(), del store[k]
    Dataset    one dataset: attributes as properties (published names such as Origin, and
               snake_case aliases such as origin), grid and limits, wells (a structured numpy
               array), connections, well list, headers, and the node and pointer tables
    WAFSet     the allocation factors of one time step: rates() and efficiencies() as numpy
               arrays; attach one to a dataset with Dataset.attach_waf
    StoreFile  a saved store opened by open() without loading it: summary(), dataset(k),
               streamline(k, i), each reading only what it needs from the file
    Error      a failure the library reported, with number, source and member
    WellRates  the record returned by rate queries

Numbering
    Dataset, streamline and well numbers are the library's own and start at 1, so the numbers
    stored inside the tables (pointer rows, well numbers, search hits) can be used directly.
    numpy arrays themselves index from 0: ds.nodes[r - 1, c - 1] is node row r, column c.

Zero-copy arrays
    ds.nodes (shape (MaxRows, nDataColumns), float32, Fortran order), ds.pointers (shape
    (NumberStreamlines, pointer columns), int32) and ds.streamline(i) are read-only numpy views
    of the dataset's own memory: creating one costs the same for any table size, and each view
    keeps its dataset alive after the store is gone. Node columns: 1-3 X, Y, Z; 4 cell; 5 TOF;
    6 DRT. While a view exists, Dataset.set_nodes and set_pointers raise BufferError. Building a
    table from numpy (set_nodes, set_pointers, WAFSet.set_data) reads the input once: numpy
    converts it, whatever its type and order, straight into a library array, which the
    library's setter then takes as one block.

Errors
    Failures the library reports during a call raise Error (for example No. 13 "Type mismatch"
    from Dataset.set_attribute(7, "abc"), No. 53 from loading a missing file, No. 321 from a
    damaged one). Wrong Python arguments raise TypeError, ValueError or IndexError. Nothing is
    printed; a duplicate-name question is answered by the call's `duplicate` argument
    (default: cancel), never on the terminal.
"""

from ._types import Error, WellRates
from ._tkstream63 import (SEARCH_CODES, Dataset, Store, StoreFile, WAFSet, __version__, load,
                          open)

# `open` is left out so that `from tkstream63 import *` keeps the built-in open.
__all__ = ["Dataset", "Error", "SEARCH_CODES", "Store", "StoreFile", "WAFSet", "WellRates",
           "load"]
