// tkstream63.WAFSet: the well allocation factors of one time step (rvWAFSet).
#include <pybind11/stl.h>

#include <tuple>

#include "bindings.hpp"
#include "numpy_arrays.hpp"

namespace tkstream63::python {

namespace {

using WAFSetPtr = std::shared_ptr<rvWAFSet>;

// One connection table: the per-row arguments of setProducersData / setInjectorsData.
void setConnections(rvWAFSet& waf, bool producers, const py::object& firstRows,
                    const py::object& counts, const py::object& otherRows,
                    const py::object& totalRows, const py::object& rates) {
    int32_t n = 0, check = 0;
    const Array<int32_t> first = copyIn<int32_t>(firstRows, n);
    const Array<int32_t> count = copyIn<int32_t>(counts, check);
    bool sameLength = check == n;
    const Array<int32_t> other = copyIn<int32_t>(otherRows, check);
    sameLength = sameLength && check == n;
    const Array<int32_t> total = copyIn<int32_t>(totalRows, check);
    sameLength = sameLength && check == n;
    const Array<float> rate = copyIn<float>(rates, check);
    if (!sameLength || check != n) throw py::value_error("give one value per row in every column");
    callLibrary([&] {
        bool qOK = false;
        if (producers) {
            waf.setProducersData(first, count, other, total, rate, n, qOK);
        } else {
            waf.setInjectorsData(first, count, other, total, rate, n, qOK);
        }
    });
}

py::array wellsRecord(const rvWAFSet& waf) {
    py::list fields;
    for (const auto& [name, type] :
         {std::pair{"name", "U40"}, {"type", "i4"}, {"index", "i4"}, {"defined", "?"}}) {
        fields.append(py::make_tuple(name, type));
    }
    const int32_t count = std::max(waf.NumberWells(), 0);
    py::array wells = py::module_::import("numpy").attr("zeros")(count, fields);
    if (count == 0) return wells;
    callLibrary([&] {
        int32_t n = 0;
        bool qOK = false;
        Array<std::string> names;
        Array<int32_t> types, indices;
        Array<bool> defined;
        waf.getWellNames(names, n, qOK);
        wells[py::str("name")] = copyOutStrings(names, n);
        waf.getWellTypes(types, n, qOK);
        wells[py::str("type")] = copyOut(types, n);
        waf.getWellIndices(indices, n, qOK);
        wells[py::str("index")] = copyOut(indices, n);
        waf.getWellsDefined(defined, n, qOK);
        wells[py::str("defined")] = copyOut(defined, n);
    });
    return wells;
}

}  // namespace

py::object wellRates(const Array<float>& rates, int32_t n, float other, float total,
                     const Array<int32_t>& wells, const Array<std::string>& names) {
    // The arrays were sized only when the well has partners.
    const int32_t partners = rates.size() >= static_cast<size_t>(std::max(n, 0)) ? n : 0;
    py::object record = py::module_::import("tkstream63._types").attr("WellRates");
    return record(copyOut(rates, partners), copyOut(wells, partners),
                  copyOutStrings(names, partners), other, total);
}

void bindWAFSet(py::module_& m) {
    py::class_<rvWAFSet, WAFSetPtr> cls(
        m, "WAFSet",
        R"doc(The well allocation factors of one time step: a well table (numbered apart from a
dataset's), a producer and an injector table whose rows point into one WAF data table, rates and
efficiencies. Attach one to a dataset with Dataset.attach_waf.)doc");
    cls.def(py::init<>(), "A new, empty set.");
    cls.def("__repr__", [](const rvWAFSet& w) {
        return "<tkstream63.WAFSet TimeStep=" + std::to_string(w.TimeStep()) + " " +
               std::to_string(w.NumberWells()) + " wells>";
    });

    using W = rvWAFSet;
    TK_READ_WRITE(W, SimulationTime, "simulation_time", float, "Time of the step.");
    TK_READ_WRITE(W, TimeStep, "time_step", int32_t, "Step number.");
    TK_READ_ONLY(W, NumberWells, "number_wells", "Number of wells.");
    TK_READ_ONLY(W, NumberProducers, "number_producers", "Rows in the producer table.");
    TK_READ_ONLY(W, NumberInjectors, "number_injectors", "Rows in the injector table.");
    TK_READ_ONLY(W, NumberDefinedWells, "number_defined_wells", "Wells that count as defined.");

    cls.def_property(
        "simulation_date",
        [](const W& w) {
            int32_t d = 0, mo = 0, y = 0;
            bool q = false;
            w.getSimulationDate(d, mo, y, q);
            return py::make_tuple(d, mo, y);
        },
        [](W& w, std::tuple<int32_t, int32_t, int32_t> v) {
            callLibrary([&] {
                bool q = false;
                w.setSimulationDate(std::get<0>(v), std::get<1>(v), std::get<2>(v), q);
            });
        },
        "Simulation date (day, month, year).");
    cls.def_property(
        "start_date",
        [](const W& w) {
            int32_t d = 0, mo = 0, y = 0;
            bool q = false;
            w.getStartDate(d, mo, y, q);
            return py::make_tuple(d, mo, y);
        },
        [](W& w, std::tuple<int32_t, int32_t, int32_t> v) {
            callLibrary([&] {
                bool q = false;
                w.setStartDate(std::get<0>(v), std::get<1>(v), std::get<2>(v), q);
            });
        },
        "Start date (day, month, year).");

    cls.def_property_readonly(
        "wells", &wellsRecord,
        "The well table as a structured numpy array (a copy), well w in row w - 1, with fields\n"
        "name, type, index (row in the producer or injector table) and defined.");
    cls.def(
        "set_wells",
        [](W& w, py::object names, py::object types, py::object indices, py::object defined) {
            callLibrary([&] {
                int32_t n = 0;
                bool qOK = false;
                // Each column is converted first: the setter needs its length.
                if (!names.is_none()) {
                    const Array<std::string> values = copyInStrings(names, n);
                    w.setWellNames(values, n, qOK);
                }
                if (!types.is_none()) {
                    const Array<int32_t> values = copyIn<int32_t>(types, n);
                    w.setWellTypes(values, n, qOK);
                }
                if (!indices.is_none()) {
                    const Array<int32_t> values = copyIn<int32_t>(indices, n);
                    w.setWellIndices(values, n, qOK);
                }
                if (!defined.is_none()) {
                    const Array<bool> values = copyInFlags(defined, n);
                    w.setWellsDefined(values, n, qOK);
                }
            });
        },
        py::arg("names") = py::none(), py::kw_only(), py::arg("types") = py::none(),
        py::arg("indices") = py::none(), py::arg("defined") = py::none(),
        "Fills the well table for wells 1..len(column), one column per argument given.");
    cls.def(
        "set_data",
        [](W& w, py::object table) {
            int32_t rows = 0, columns = 0;
            const Array<float> data = tableFrom<float>(table, true, rows, columns);
            callLibrary([&] {
                bool q = false;
                w.setWAFData(data, columns, rows, q);
            });
        },
        py::arg("table"),
        "Replaces the WAF data table with a 2-D array, one row per WAF row (column 1 the partner\n"
        "well, 5 the water rate, 6 to 9 efficiencies).");
    cls.def(
        "set_producers",
        [](W& w, py::object first, py::object counts, py::object other, py::object total,
           py::object rates) {
            setConnections(w, true, first, counts, other, total, rates);
        },
        py::arg("first_rows"), py::arg("counts"), py::arg("other_rows"), py::arg("total_rows"),
        py::arg("rates"),
        "The producer table afresh, one value per producer in each column: first WAF row, WAF\n"
        "row count, other-rate row, total row, rate.");
    cls.def(
        "set_injectors",
        [](W& w, py::object first, py::object counts, py::object other, py::object total,
           py::object rates) {
            setConnections(w, false, first, counts, other, total, rates);
        },
        py::arg("first_rows"), py::arg("counts"), py::arg("other_rows"), py::arg("total_rows"),
        py::arg("rates"), "The injector table afresh, laid out as for set_producers.");
    cls.def(
        "well_number",
        [](const W& w, const std::string& name) {
            return callLibrary([&] {
                return w.getWellNumber(name);
            });
        },
        py::arg("name"), "Number of the well with this (upper-cased) name, -1 when none.");
    cls.def(
        "rates",
        [](const W& w, py::object well, int32_t column) {
            // By name the fourth argument receives the other rate, as the library fills it.
            return rateQuery(w, well, column, &W::getWellWAFData, &W::getWellNameWAFData);
        },
        py::arg("well"), py::arg("column") = 2,
        "Allocation rates of a well (by number or name) from WAF column `column`: a WellRates\n"
        "(rates, partner wells, partner names, other, total), or None when the well is not a\n"
        "producer or injector of the set.");
    cls.def(
        "efficiency",
        [](const W& w, int32_t well, int32_t type) -> py::object {
            return callLibrary([&]() -> py::object {
                float water = 0, efficiency = 0;
                bool q = false;
                w.getWellEfficiency(well, water, efficiency, q, type);
                if (!q) return py::none();
                return py::make_tuple(water, efficiency);
            });
        },
        py::arg("well"), py::arg("type") = 9,
        "(water_rate, efficiency) of a well from its total row, or None for a well that is no\n"
        "producer or injector; efficiency column 6, 7, 8 for types 3, 4, 5, else 9.");
    cls.def(
        "efficiencies",
        [](const W& w, int32_t wellType, int32_t type) {
            return efficiencies(w, &W::getWellEfficiencies, wellType, type);
        },
        py::arg("well_type") = 2, py::arg("type") = 9,
        "(water_rates, efficiencies) as numpy arrays for every injector (well_type 2), producer\n"
        "(1) or well (other values).");
}

}  // namespace tkstream63::python
