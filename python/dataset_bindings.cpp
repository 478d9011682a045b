// tkstream63.Dataset: one streamline dataset (rvStreamSet).
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <tuple>
#include <variant>

#include "bindings.hpp"
#include "numpy_arrays.hpp"

namespace tkstream63::python {

namespace {

using DatasetPtr = std::shared_ptr<rvStreamSet>;

// Positions of the dataset's tables in its published pointer list (GetAllPointers).
constexpr int32_t kNodeTableHandle = 28;
constexpr int32_t kPointerTableHandle = 29;
constexpr int32_t kWellTableHandle = 38;

template <class T>
const Array<T>& storedTable(rvStreamSet& dataset, int32_t handle) {
    return *std::get<Array<T>*>(dataset.ResolvePointer(handle));
}

// Rows of the node table that hold nodes (MaxRows, within the table's own size).
py::ssize_t nodeRows(rvStreamSet& dataset) {
    const Array<float>& table = storedTable<float>(dataset, kNodeTableHandle);
    return std::clamp<py::ssize_t>(dataset.MaxRows(), 0, table.extent(1));
}

// Streamlines that have a column in the pointer table.
py::ssize_t pointerRows(rvStreamSet& dataset) {
    const Array<int32_t>& table = storedTable<int32_t>(dataset, kPointerTableHandle);
    return std::clamp<py::ssize_t>(dataset.NumberStreamlines(), 0, table.extent(2));
}

py::array nodesView(const DatasetPtr& dataset) {
    const Array<float>& table = storedTable<float>(*dataset, kNodeTableHandle);
    const py::ssize_t rows = nodeRows(*dataset);
    const py::ssize_t columns = rows > 0 ? table.extent(2) : 0;
    const py::ssize_t item = sizeof(float);
    return datasetView(dataset, py::dtype::of<float>(), {rows, columns},
                       {item, table.extent(1) * item}, table.data());
}

py::array pointersView(const DatasetPtr& dataset) {
    const Array<int32_t>& table = storedTable<int32_t>(*dataset, kPointerTableHandle);
    const py::ssize_t rows = pointerRows(*dataset);
    const py::ssize_t columns = rows > 0 ? table.extent(1) : 0;
    const py::ssize_t item = sizeof(int32_t);
    return datasetView(dataset, py::dtype::of<int32_t>(), {rows, columns},
                       {table.extent(1) * item, item}, table.data());
}

py::array streamlineView(const DatasetPtr& dataset, int32_t iStream) {
    if (iStream < 1 || iStream > pointerRows(*dataset)) {
        throw py::index_error("streamline " + std::to_string(iStream) + " is not in 1.." +
                              std::to_string(pointerRows(*dataset)));
    }
    const Array<int32_t>& pointers = storedTable<int32_t>(*dataset, kPointerTableHandle);
    const Array<float>& table = storedTable<float>(*dataset, kNodeTableHandle);
    if (pointers.extent(1) < 2)
        throwError("Subscript out of range", kErrSubscript, "tkstream63", "Dataset.streamline");
    const int64_t first = pointers(1, iStream);
    const int64_t nnodes = std::max(pointers(2, iStream), 0);
    const py::ssize_t rows = nodeRows(*dataset);
    if (nnodes > 0 && (first < 1 || first + nnodes - 1 > rows)) {
        throwError("Subscript out of range", kErrSubscript, "tkstream63", "Dataset.streamline");
    }
    const py::ssize_t columns = rows > 0 ? table.extent(2) : 0;
    const py::ssize_t item = sizeof(float);
    const float* start = nnodes > 0 ? table.data() + (first - 1) : table.data();
    return datasetView(dataset, py::dtype::of<float>(), {nnodes, columns},
                       {item, table.extent(1) * item}, start);
}

py::array wellsRecord(rvStreamSet& dataset) {
    py::module_ numpy = py::module_::import("numpy");
    py::list fields;
    for (const auto& [name, type] : {std::pair{"name", "U40"},
                                     {"type", "i4"},
                                     {"index", "i4"},
                                     {"defined", "?"},
                                     {"x", "f4"},
                                     {"y", "f4"},
                                     {"z", "f4"},
                                     {"location_defined", "?"}}) {
        fields.append(py::make_tuple(name, type));
    }
    const int32_t count = std::max(dataset.NumberWells(), 0);
    py::array wells = numpy.attr("zeros")(count, fields);
    if (count == 0) return wells;
    callLibrary([&] {
        int32_t n = 0;
        bool qOK = false;
        Array<std::string> names;
        Array<int32_t> types;
        Array<bool> defined, locationDefined;
        Array<float> x, y, z;
        dataset.getWellNames(names, n, qOK);
        wells[py::str("name")] = copyOutStrings(names, n);
        dataset.getWellTypes(types, n, qOK);
        wells[py::str("type")] = copyOut(types, n);
        dataset.getWellsDefined(defined, n, qOK);
        wells[py::str("defined")] = copyOut(defined, n);
        dataset.getWellLocations(x, y, z, n, qOK);
        wells[py::str("x")] = copyOut(x, n);
        wells[py::str("y")] = copyOut(y, n);
        wells[py::str("z")] = copyOut(z, n);
        dataset.getWellLocationsDefined(locationDefined, n, qOK);
        wells[py::str("location_defined")] = copyOut(locationDefined, n);
        // The well index has no getter of its own; it is row 2 of the published well table.
        const Array<int32_t>& table = storedTable<int32_t>(dataset, kWellTableHandle);
        py::array_t<int32_t> index(count);
        for (int32_t w = 1; w <= count; ++w) index.mutable_at(w - 1) = table(2, w);
        wells[py::str("index")] = index;
    });
    return wells;
}

void setWells(rvStreamSet& dataset, const py::object& names, const py::object& types,
              const py::object& index, const py::object& defined, const py::object& x,
              const py::object& y, const py::object& z, const py::object& locationDefined) {
    if (x.is_none() != y.is_none() || x.is_none() != z.is_none()) {
        throw py::value_error("give x, y and z together");
    }
    callLibrary([&] {
        int32_t n = 0;
        bool qOK = false;
        // Each column is converted first: the setter needs its length.
        if (!names.is_none()) {
            const Array<std::string> values = copyInStrings(names, n);
            dataset.setWellNames(values, n, qOK);
        }
        if (!types.is_none()) {
            const Array<int32_t> values = copyIn<int32_t>(types, n);
            dataset.setWellTypes(values, n, qOK);
        }
        if (!index.is_none()) {
            const Array<int32_t> values = copyIn<int32_t>(index, n);
            dataset.setWellIndex(values, n, qOK);
        }
        if (!defined.is_none()) {
            const Array<bool> values = copyInFlags(defined, n);
            dataset.setWellDefined(values, n, qOK);
        }
        if (!x.is_none()) {
            int32_t ny = 0, nz = 0;
            const Array<float> xs = copyIn<float>(x, n), ys = copyIn<float>(y, ny),
                               zs = copyIn<float>(z, nz);
            if (ny != n || nz != n) throw py::value_error("x, y and z differ in length");
            dataset.setWellLocations(xs, ys, zs, n, qOK);
        }
        if (!locationDefined.is_none()) {
            const Array<bool> values = copyInFlags(locationDefined, n);
            dataset.setWellLocationsDefined(values, n, qOK);
        }
    });
}

// A connection table given as rows, entry e (1..n) in row e - 1, with the library's columns.
void setConnections(rvStreamSet& dataset, bool producers, const py::object& entries,
                    const py::object& links) {
    int32_t nEntries = 0, columns = 0, nLinks = 0, linkColumns = 0;
    Array<int32_t> entryTable = tableFrom<int32_t>(entries, true, nEntries, columns);
    Array<int32_t> linkTable = tableFrom<int32_t>(links, true, nLinks, linkColumns);
    if (columns != 5 || linkColumns != 5) throw py::value_error("connection tables have 5 columns");
    // The library's table also has an entry 0, which holds no well.
    Array<int32_t> withEntryZero(1, 5, 0, nEntries);
    withEntryZero.copyIn(5, entryTable.data(), entryTable.size());
    callLibrary([&] {
        bool qOK = false;
        if (producers) {
            dataset.setProducerData(withEntryZero, nEntries, linkTable, nLinks, qOK);
        } else {
            dataset.setInjectorData(withEntryZero, nEntries, linkTable, nLinks, qOK);
        }
    });
}

// Runs one of the dataset's list queries and returns its Longs.
template <class Query>
py::array_t<int32_t> wellNumbers(Query&& query) {
    return callLibrary([&] {
        Array<int32_t> numbers;
        int32_t n = 0;
        bool qOK = false;
        query(numbers, n, qOK);
        return copyOut(numbers, qOK ? n : 0);
    });
}

}  // namespace

void bindDataset(py::module_& m) {
    py::class_<rvStreamSet, DatasetPtr> cls(
        m, "Dataset",
        R"doc(One streamline dataset: attributes, grid, wells, connections, the node table and
the pointer table.

Attributes are properties under their published names (Origin, GroupName, ...) and snake_case
aliases (origin, group_name, ...). Streamline and well numbers are the library's, from 1.
``nodes``, ``pointers`` and ``streamline(i)`` are read-only numpy views of the dataset's own
memory: no copy is made and each view keeps the dataset alive.)doc");
    cls.def(py::init<>(), "A new, empty dataset.");
    cls.def("__repr__", [](const rvStreamSet& d) {
        return "<tkstream63.Dataset Origin='" + d.Origin() + "' GroupName='" + d.GroupName() +
               "' DateStamp='" + d.DateStamp() + "' " + std::to_string(d.NumberStreamlines()) +
               " streamlines, " + std::to_string(d.MaxRows()) + " nodes>";
    });

    using D = rvStreamSet;
    TK_READ_WRITE(D, FileName, "file_name", const std::string&, "Name of the source file.");
    TK_READ_WRITE(D, TVGroupName, "tv_group_name", const std::string&,
                  "Group label for the tree view.");
    TK_READ_WRITE(D, GroupName, "group_name", const std::string&,
                  "Group name; writing also sets UCaseGroupName.");
    TK_READ_ONLY(D, UCaseGroupName, "ucase_group_name", "Upper-case copy of GroupName.");
    TK_READ_WRITE(D, DataRootPath, "data_root_path", const std::string&, "Root path of the data.");
    TK_READ_WRITE(D, TreeViewKey, "tree_view_key", const std::string&,
                  "Key of the dataset's tree-view node.");
    TK_READ_WRITE(D, UniqueKey, "unique_key", const std::string&,
                  "Unique key of the dataset in its store.");
    TK_READ_WRITE(D, TVDisplayRoot, "tv_display_root", const std::string&,
                  "Tree-view display root; writing also sets UCaseTVDisplayRoot.");
    TK_READ_ONLY(D, UCaseTVDisplayRoot, "ucase_tv_display_root",
                 "Upper-case copy of TVDisplayRoot.");
    TK_READ_WRITE(D, SourceType, "source_type", const std::string&, "Kind of source.");
    TK_READ_WRITE(D, Origin, "origin", const std::string&,
                  "Origin of the data; writing also sets UCaseOrigin.");
    TK_READ_ONLY(D, UCaseOrigin, "ucase_origin", "Upper-case copy of Origin.");
    TK_READ_WRITE(D, DateStamp, "date_stamp", const std::string&, "Date stamp text.");
    TK_READ_WRITE(D, DataClass, "data_class", const std::string&, "Data class text.");
    TK_READ_WRITE(D, IsDirty, "is_dirty", bool, "Unsaved changes (host flag).");
    TK_READ_WRITE(D, Unified, "unified", bool, "Host flag.");
    TK_READ_WRITE(D, Formatted, "formatted", bool, "The source was a formatted (text) file.");
    TK_READ_WRITE(D, AllData, "all_data", bool, "The whole source was loaded.");
    TK_READ_WRITE(D, WAF, "waf", bool,
                  "Allocation-factor flag; writing it attaches nothing (see attach_waf).");
    TK_READ_WRITE(D, UseWellList, "use_well_list", bool, "Host flag: apply the well list.");
    TK_READ_WRITE(D, WellListSet, "well_list_set", bool,
                  "A well list is set (writing neither resolves nor clears it).");
    TK_READ_ONLY(D, Initialised, "initialised", "Always True.");
    TK_READ_ONLY(D, GridSet, "grid_set", "True once a grid was set.");
    TK_READ_WRITE(D, FileType, "file_type", int32_t, "Source file type code (host-defined).");
    TK_READ_WRITE(D, Units, "units", int32_t, "Unit system code (host-defined).");
    TK_READ_WRITE(D, index, "", int32_t, "Position of the dataset (host-defined).");
    TK_READ_WRITE(D, iStart, "i_start", int32_t, "Start index (host-defined).");
    TK_READ_WRITE(D, iEnd, "i_end", int32_t, "End index (host-defined).");
    TK_READ_WRITE(D, MaxZones, "max_zones", int32_t,
                  "Maximum zone count; writing 0 or less is ignored.");
    TK_READ_WRITE(D, WAFType, "waf_type", int32_t, "Stored WAF type.");
    TK_READ_WRITE(D, MaximumNumberWells, "maximum_number_wells", int32_t,
                  "Stored maximum well count.");
    TK_READ_WRITE(D, SimulationEndTime, "simulation_end_time", float,
                  "End time of the simulation.");
    TK_READ_ONLY(D, SimulationTime, "simulation_time",
                 "Simulation time (set it with set_attribute(40, text)).");
    TK_READ_ONLY(D, MaxRows, "max_rows", "Number of node rows.");
    TK_READ_ONLY(D, NumberWells, "number_wells", "Number of wells (-1 on a new dataset).");
    TK_READ_ONLY(D, NumberProducers, "number_producers",
                 "Number of producer entries (-1 on a new dataset).");
    TK_READ_ONLY(D, NumberInjectors, "number_injectors",
                 "Number of injector entries (-1 on a new dataset).");
    TK_READ_ONLY(D, NumberStreamlines, "number_streamlines", "Number of streamlines.");
    TK_READ_ONLY(D, NumCols, "num_cols", "Number of column headers.");

    cls.def(
        "get_attribute",
        [](D& d, int32_t code) -> py::object {
            std::string text;
            const bool known = callLibrary([&] {
                return d.GetDataSetAttribute(code, text);
            });
            return known ? py::object(py::str(text)) : py::object(py::none());
        },
        py::arg("code"),
        "The attribute with this code (1 to 55) as text, None for a code without attribute.\n"
        "Code 14 answers 'Unknown'.");
    cls.def(
        "set_attribute",
        [](D& d, int32_t code, std::string text) {
            callLibrary([&] {
                d.SetDataSetAttribute(code, text);
            });
        },
        py::arg("code"), py::arg("text"),
        "Sets the attribute with this code from text (codes 1, 19 and 24 leave the upper-case\n"
        "copies alone). Raises Error when the text does not convert.");

    // ---- grid and limits ----
    cls.def_property(
        "grid",
        [](const D& d) {
            int32_t nx = 0, ny = 0, nz = 0;
            bool q = false;
            d.getGridDimension(nx, ny, nz, q);
            return py::make_tuple(nx, ny, nz);
        },
        [](D& d, std::tuple<int32_t, int32_t, int32_t> g) {
            bool q = false;
            d.setGridDimension(std::get<0>(g), std::get<1>(g), std::get<2>(g), q);
        },
        "Grid dimensions (NX, NY, NZ).");
    cls.def_property(
        "limits",
        [](const D& d) {
            float v[6] = {};
            bool q = false;
            d.getLimits(v[0], v[1], v[2], v[3], v[4], v[5], q);
            return py::make_tuple(v[0], v[1], v[2], v[3], v[4], v[5]);
        },
        [](D& d, std::array<float, 6> v) {
            bool q = false;
            d.setLimits(v[0], v[1], v[2], v[3], v[4], v[5], q);
        },
        "Spatial limits (xMin, xMax, yMin, yMax, zMin, zMax).");
    cls.def_property(
        "tof_limits",
        [](const D& d) {
            float a = 0, b = 0;
            bool q = false;
            d.getTOFLimits(a, b, q);
            return py::make_tuple(a, b);
        },
        [](D& d, std::pair<float, float> v) {
            bool q = false;
            d.setTOFLimits(v.first, v.second, q);
        },
        "Time-of-flight limits (TOFMin, TOFMax).");
    cls.def_property(
        "drt_limits",
        [](const D& d) {
            float a = 0, b = 0;
            bool q = false;
            d.getDRTLimits(a, b, q);
            return py::make_tuple(a, b);
        },
        [](D& d, std::pair<float, float> v) {
            bool q = false;
            d.setDRTLimits(v.first, v.second, q);
        },
        "DRT limits (DRTMin, DRTMax).");

    // ---- wells ----
    cls.def_property_readonly(
        "wells",
        [](D& d) {
            return wellsRecord(d);
        },
        "The well table as a structured numpy array (a copy), well w in row w - 1, with fields\n"
        "name, type (1 producer, 2 injector), index (entry in the producer or injector table),\n"
        "defined, x, y, z, location_defined.");
    cls.def(
        "set_wells", &setWells, py::arg("names") = py::none(), py::kw_only(),
        py::arg("types") = py::none(), py::arg("index") = py::none(),
        py::arg("defined") = py::none(), py::arg("x") = py::none(), py::arg("y") = py::none(),
        py::arg("z") = py::none(), py::arg("location_defined") = py::none(),
        "Fills the well table for wells 1..len(column), one column per argument given. The table\n"
        "grows to the longest column and never shrinks; names are cut to 40 characters and an\n"
        "empty name keeps the earlier one.");
    cls.def(
        "well_number",
        [](const D& d, const std::string& name) {
            return callLibrary([&] {
                return d.getWellNumber(name);
            });
        },
        py::arg("name"),
        "Number of the first well whose stored name equals the upper-cased name, -1 when none\n"
        "(a stored name with lower-case letters is never found).");

    // ---- connections ----
    cls.def(
        "set_producers",
        [](D& d, py::object entries, py::object sources) {
            setConnections(d, true, entries, sources);
        },
        py::arg("entries"), py::arg("sources"),
        "Producer table: entry e in row e - 1 with columns first streamline, streamline count,\n"
        "source count, well number, first source; sources in rows with the source's well number\n"
        "in column 4 (index 3).");
    cls.def(
        "set_injectors",
        [](D& d, py::object entries, py::object sinks) {
            setConnections(d, false, entries, sinks);
        },
        py::arg("entries"), py::arg("sinks"),
        "Injector table and its sinks, laid out as for set_producers.");
    cls.def(
        "connections",
        [](const D& d, py::object well) {
            if (py::isinstance<py::str>(well)) {
                const auto name = well.cast<std::string>();
                return wellNumbers([&](Array<int32_t>& w, int32_t& n, bool& q) {
                    d.getWellNameConnections(name, w, n, q);
                });
            }
            const auto number = well.cast<int32_t>();
            return wellNumbers([&](Array<int32_t>& w, int32_t& n, bool& q) {
                d.getWellConnections(number, w, n, q);
            });
        },
        py::arg("well"),
        "Well numbers connected to a well (by number or name): a producer's sources or an\n"
        "injector's sinks. Empty for an unknown well or another well type.");
    cls.def(
        "well_streamlines",
        [](const D& d, py::object well) {
            if (py::isinstance<py::str>(well)) {
                const auto name = well.cast<std::string>();
                return wellNumbers([&](Array<int32_t>& s, int32_t& n, bool& q) {
                    d.getWellNameStreamLineNumbers(name, s, n, q);
                });
            }
            const auto number = well.cast<int32_t>();
            return wellNumbers([&](Array<int32_t>& s, int32_t& n, bool& q) {
                d.getWellStreamLineNumbers(number, s, n, q);
            });
        },
        py::arg("well"), "Streamline numbers of a well (by number or name).");
    cls.def_property_readonly(
        "producer_names", [](const D& d) { return namesFrom(d, &D::getProducerWellNames); },
        "Well names of the producer entries, entry 1 first.");
    cls.def_property_readonly(
        "injector_names", [](const D& d) { return namesFrom(d, &D::getInjectorWellNames); },
        "Well names of the injector entries, entry 1 first.");

    // ---- well list ----
    cls.def_property(
        "well_list",
        [](const D& d) { return namesFrom(d, &D::GetWellList); },
        [](D& d, py::object names) {
            int32_t n = 0;
            Array<std::string> list = copyInStrings(names, n);
            if (n == 0) list = Array<std::string>(1, 1);  // a list holding "" clears the list
            callLibrary([&] {
                bool q = false;
                d.SetWellList(list, q);
            });
        },
        "The well list as given (names); [] when none is set. Assigning [] clears it.");
    cls.def_property_readonly(
        "well_list_numbers",
        [](const D& d) {
            return wellNumbers([&](Array<int32_t>& w, int32_t& n, bool& q) {
                d.GetWellListNumbers(w, n, q);
            });
        },
        "The well list resolved to well numbers, in well order (0 for a name not found).");

    // ---- streamline table ----
    cls.def_property_readonly(
        "headers",
        [](const D& d) {
            return callLibrary([&] {
                Array<std::string> names, units;
                int32_t n = 0;
                bool q = false;
                d.getHeaders(names, units, n, q);
                return copyOutStrings(names, q ? n : 0);
            });
        },
        "Column header names.");
    cls.def(
        "set_headers",
        [](D& d, py::object names, py::object units) {
            int32_t n = 0, nUnits = 0;
            const Array<std::string> headers = copyInStrings(names, n);
            Array<std::string> unitTexts =
                units.is_none() ? Array<std::string>(1, n) : copyInStrings(units, nUnits);
            if (!units.is_none() && nUnits != n) throw py::value_error("give one unit per header");
            callLibrary([&] {
                bool q = false;
                d.setHeaders(headers, unitTexts, n, q);
            });
        },
        py::arg("names"), py::arg("units") = py::none(),
        "Column headers and their units (units are kept for the record file; the library\n"
        "gives no getter for them).");
    cls.def_property_readonly(
        "nodes", &nodesView,
        R"doc(The node table as a read-only numpy view, shape (MaxRows, nDataColumns), float32,
Fortran order: nodes[r - 1, c - 1] is node row r, column c (1-3 X, Y, Z; 4 cell; 5 TOF; 6 DRT).
No copy is made; the view keeps the dataset alive. While a view exists, set_nodes and
set_pointers raise BufferError.)doc");
    cls.def_property_readonly(
        "pointers", &pointersView,
        R"doc(The pointer table as a read-only numpy view, shape (NumberStreamlines, pointer
columns), int32: pointers[i - 1, c - 1] is column c of streamline i (1 first node row, 2 node
count, 7 start well, 8 end well; row and well numbers are the library's, from 1).)doc");
    cls.def(
        "streamline", &streamlineView, py::arg("i"),
        R"doc(Streamline i (from 1) as a read-only view of its rows of the node table, shape
(nnodes, nDataColumns). Raises IndexError for a number outside 1..NumberStreamlines and Error
(No. 9) when its rows lie outside the node table.)doc");
    cls.def(
        "set_nodes",
        [](const DatasetPtr& d, py::object nodes) {
            requireNoViews(*d);
            int32_t rows = 0, columns = 0;
            const Array<float> table = tableFrom<float>(nodes, false, rows, columns);
            callLibrary([&] {
                bool q = false;
                d->setStreamLineData(table, columns, rows, q);
            });
        },
        py::arg("nodes"),
        "Replaces the node table with a 2-D array (rows = nodes, columns), converted to float32.");
    cls.def(
        "set_pointers",
        [](const DatasetPtr& d, py::object pointers) {
            requireNoViews(*d);
            int32_t rows = 0, columns = 0;
            const Array<int32_t> table = tableFrom<int32_t>(pointers, true, rows, columns, 2);
            callLibrary([&] {
                bool q = false;
                d->setStreamLinePointers(table, columns, rows, q);
            });
        },
        py::arg("pointers"),
        "Replaces the pointer table with a 2-D integer array, one row per streamline (columns as\n"
        "for pointers; the library's table also holds an unused second half, left 0).");
    cls.def(
        "streamline_data",
        [](const D& d, int32_t iStream) {
            return callLibrary([&] {
                Array<float> data;
                int32_t nCols = 0, nnodes = 0;
                bool q = false;
                d.getSingleStreamlineData(iStream, data, nCols, nnodes, q);
                py::array_t<float, py::array::f_style> result({q ? nnodes : 0, 8});
                if (q) data.copyOut(0, data.size(), result.mutable_data());
                return result;
            });
        },
        py::arg("i"),
        "Streamline i as a new (nnodes, 8) array: X, Y, Z, I, J, K, TOF, DRT (I, J, K are 0\n"
        "without a grid). Empty for a number outside the dataset.");
    cls.def(
        "streamline_ends",
        [](const D& d, int32_t iStream) {
            return callLibrary([&] {
                int32_t start = 0, end = 0;
                bool q = false;
                d.getSingleStartNodeIndex(iStream, start, q);
                d.getSingleEndNodeIndex(iStream, end, q);
                return py::make_tuple(start, end);
            });
        },
        py::arg("i"), "Well numbers (start, end) at the two ends of streamline i.");

    // ---- allocation factors ----
    cls.def(
        "attach_waf",
        [](D& d, std::shared_ptr<rvWAFSet> waf) {
            callLibrary([&] {
                bool q = false;
                d.setWAF(std::move(waf), q);
            });
        },
        py::arg("waf"), "Attaches a WAFSet (shared, not copied) and sets WAF True.");
    cls.def(
        "waf_rates",
        [](const D& d, py::object well, int32_t column) {
            return rateQuery(d, well, column, &D::getWAFWellData, &D::getWAFWellNameData);
        },
        py::arg("well"), py::arg("column") = 2,
        "Allocation rates of a well of the attached WAFSet (by its WAF well number or name) from\n"
        "WAF column `column`, with partners as dataset well numbers: a WellRates, or None.");
    cls.def(
        "waf_efficiencies",
        [](const D& d, int32_t wellType, int32_t type) {
            return efficiencies(d, &D::getWAFWellEfficiencies, wellType, type);
        },
        py::arg("well_type") = 2, py::arg("type") = 9,
        "(water_rates, efficiencies) of every injector (well_type 2), producer (1) or well of\n"
        "the attached WAFSet; efficiency column 6, 7, 8 for types 3, 4, 5, else 9.");
}

}  // namespace tkstream63::python
