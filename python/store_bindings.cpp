// tkstream63.Store (rvStreamStore) and tkstream63.load: loading and saving record files.
#include <pybind11/stl.h>

#include <map>

#include "bindings.hpp"
#include "numpy_arrays.hpp"

namespace tkstream63::python {

namespace {

using StorePtr = std::shared_ptr<rvStreamStore>;

// Search codes by published attribute name and snake_case alias (codes above 14 are not
// searchable).
const std::map<std::string, int32_t>& searchCodes() {
    static const std::map<std::string, int32_t> codes = {
        {"Origin", 1},     {"origin", 1},      {"FileName", 2},  {"file_name", 2},
        {"SourceType", 3}, {"source_type", 3}, {"DateStamp", 4}, {"date_stamp", 4},
        {"DataClass", 6},  {"data_class", 6},  {"Units", 7},     {"units", 7},
        {"index", 8},      {"iStart", 9},      {"i_start", 9},   {"iEnd", 10},
        {"i_end", 10},     {"Unified", 12},    {"unified", 12},  {"Formatted", 13},
        {"formatted", 13}};
    return codes;
}

// A failure of the record file itself: its LastError as a tkstream63.Error.
[[noreturn]] void throwFileError(const RecordFile& file, const std::string& member,
                                 int32_t fallback) {
    const int32_t number = file.LastErrorCode() < 0 ? -file.LastErrorCode() : fallback;
    throwError(file.LastError().empty() ? standardErrorText(number) : file.LastError(), number,
               "RecordFile", member);
}

std::shared_ptr<rvStreamSet> datasetAt(rvStreamStore& store, int32_t k) {
    const int32_t count = store.NumberOfStreamSets();
    if (k < 1 || k > count) {
        throw py::index_error("dataset " + std::to_string(k) + " is not in 1.." +
                              std::to_string(count));
    }
    return callLibrary([&] {
        std::shared_ptr<rvStreamSet> dataset;
        store.GetItem(k, dataset);
        return dataset;
    });
}

// Adds the datasets of a saved store (either form) to store, through the duplicate decision.
void loadInto(rvStreamStore& store, const py::object& path, py::object duplicate) {
    RecordFile file;
    LibraryCall call(std::move(duplicate));
    if (!file.OpenForReading(filePath(path)))
        throwFileError(file, "OpenForReading", kErrInvalidCall);
    bool qOK = false;
    {
        py::gil_scoped_release release;
        store.BINARYIMPORT(file, qOK);
    }
    call.finish();
    if (!qOK) {
        // The file ended before the store's closing record.
        throwFileError(file, "BINARYIMPORT", 62);
    }
}

void saveStore(rvStreamStore& store, const py::object& path, bool formatted) {
    RecordFile file;
    LibraryCall call;
    if (!file.OpenForWriting(filePath(path),
                             formatted ? RecordForm::Formatted : RecordForm::Binary)) {
        throwFileError(file, "OpenForWriting", 75);
    }
    bool qOK = false;
    bool committed = false;
    {
        py::gil_scoped_release release;
        store.BINARYEXPORT(file, qOK);
        // A reported failure abandons the file, so the previous one stays.
        if (call.reports().empty()) committed = file.Commit();
    }
    call.finish();
    if (!committed) throwFileError(file, "Commit", 75);
}

}  // namespace

std::string filePath(const py::object& path) {
    return py::module_::import("os").attr("fspath")(path).cast<std::string>();
}

void bindStore(py::module_& m) {
    py::dict codes;
    for (const auto& [name, code] : searchCodes()) codes[py::str(name)] = code;
    m.attr("SEARCH_CODES") = codes;

    py::class_<rvStreamStore, StorePtr> cls(
        m, "Store",
        R"doc(Every loaded dataset, numbered from 1 like the library: len(store), store[k] for k
in 1..len(store), iteration in number order. Numbers are positions and change when an earlier
dataset is deleted. Adding goes through the duplicate decision: a dataset with the same
DateStamp, Origin and TVGroupName as a stored one is settled by the Automatic* flags or by the
`duplicate` answer of the call.)doc");
    cls.def(py::init<>(), "A new, empty store.");
    cls.def("__repr__", [](const rvStreamStore& s) {
        return "<tkstream63.Store " + std::to_string(s.NumberOfStreamSets()) + " datasets>";
    });
    cls.def("__len__", &rvStreamStore::NumberOfStreamSets, "Number of datasets.");
    cls.def("__getitem__", &datasetAt, py::arg("k"),
            "Dataset k (1..len(store)), the stored object itself.");
    cls.def(
        "__iter__",
        [](const StorePtr& s) {
            py::list datasets;
            for (int32_t k = 1; k <= s->NumberOfStreamSets(); ++k)
                datasets.append(datasetAt(*s, k));
            return py::iter(datasets);
        },
        "The datasets in number order.");
    cls.def(
        "__delitem__",
        [](rvStreamStore& s, int32_t k) {
            datasetAt(s, k);
            callLibrary([&] {
                s.DeleteItem(k);
            });
        },
        py::arg("k"),
        "Deletes dataset k. The library re-adds the others through the duplicate decision; a\n"
        "clash among them is answered 'cancel' unless an Automatic* flag decides.");
    cls.def(
        "add",
        [](rvStreamStore& s, const std::shared_ptr<rvStreamSet>& dataset,
           py::object duplicate) -> py::object {
            if (!dataset) throw py::type_error("add needs a Dataset");
            return callLibrary(
                [&]() -> py::object {
                    s.AddItem(dataset);
                    std::shared_ptr<rvStreamSet> stored;
                    const int32_t at = s.AddedDataSetPos();
                    if (at >= 1 && at <= s.NumberOfStreamSets() && s.GetItem(at, stored) &&
                        stored == dataset) {
                        return py::int_(at);
                    }
                    return py::none();
                },
                duplicate);
        },
        py::arg("dataset"), py::arg("duplicate") = py::none(),
        R"doc(Adds a dataset (the object itself, not a copy) and returns its number, or None
when it was dropped. A clash with a stored dataset is settled by the Automatic* flags or,
failing those, by `duplicate`: "overwrite", "rename", "cancel", "overwrite all", "rename all",
"cancel all", a button number 1-6, None (cancel), or a callable(message, buttons, title)
returning one of these. A renamed dataset gets a numeric suffix on Origin, UniqueKey and
TVDisplayRoot.)doc");
    cls.def(
        "load",
        [](rvStreamStore& s, const py::object& path, py::object duplicate) {
            loadInto(s, path, std::move(duplicate));
        },
        py::arg("path"), py::arg("duplicate") = py::none(),
        "Adds the datasets of a saved store (binary or formatted) after those already held; the\n"
        "file's Automatic* flags apply to them. Raises Error for a missing or damaged file.");
    cls.def(
        "save",
        [](rvStreamStore& s, const py::object& path, bool formatted) {
            saveStore(s, path, formatted);
        },
        py::arg("path"), py::arg("formatted") = false,
        "Saves the store (binary, or the formatted text form). The file appears only when the\n"
        "whole store was written; a failed save leaves an earlier file as it was.");
    cls.def(
        "search",
        [](rvStreamStore& s, py::object conditions, py::object datasets, bool firstOnly,
           py::kwargs attributes) {
            std::vector<std::pair<int32_t, std::string>> wanted;
            auto addCondition = [&](const py::handle& key, const py::handle& value) {
                int32_t code = 0;
                if (py::isinstance<py::str>(key)) {
                    const auto found = searchCodes().find(key.cast<std::string>());
                    if (found == searchCodes().end())
                        throw py::value_error("cannot search by '" + key.cast<std::string>() + "'");
                    code = found->second;
                } else {
                    code = key.cast<int32_t>();
                }
                wanted.emplace_back(code, py::str(value).cast<std::string>());
            };
            if (!conditions.is_none()) {
                for (const auto& item : conditions.cast<py::dict>())
                    addCondition(item.first, item.second);
            }
            for (const auto& item : attributes) addCondition(item.first, item.second);
            if (wanted.empty()) throw py::value_error("search needs at least one condition");
            int32_t nCandidates = 0;
            const Array<int32_t> candidates =
                datasets.is_none() ? Array<int32_t>() : copyIn<int32_t>(datasets, nCandidates);
            return callLibrary([&] {
                bool qOK = false;
                s.SearchClear();
                for (const auto& [code, value] : wanted) {
                    s.SearchAddAttribute(code, value, qOK);
                    if (!qOK)
                        throw py::value_error("attribute code " + std::to_string(code) +
                                              " cannot be searched (codes up to 14)");
                }
                if (nCandidates > 0) s.SearchDataSets(candidates, qOK);
                s.SearchExitAfter1(firstOnly);
                s.SearchCreatePointers(qOK);
                std::vector<int32_t> hits;
                Array<int32_t> results;
                int32_t n = 0;
                if (qOK) s.SearchPointers(results, n, qOK);
                for (int32_t k = 1; k <= n; ++k) hits.push_back(results(1, k));
                return hits;
            });
        },
        py::arg("conditions") = py::none(), py::kw_only(), py::arg("datasets") = py::none(),
        py::arg("first_only") = false,
        R"doc(Numbers of the datasets whose attributes match every condition, whole and ignoring
case, e.g. store.search(Origin="base", DateStamp="2024-01-01") or store.search({1: "BASE",
"Units": 1}). Conditions are attribute names (see SEARCH_CODES) or codes 1-14; values are
compared as text (True/False for flags). `datasets` searches only those numbers, in that order;
`first_only` stops at the first hit.)doc");

    using S = rvStreamStore;
    TK_READ_WRITE(S, RootKey, "root_key", const std::string&,
                  "Host's root key; writing recomputes FolderKey.");
    TK_READ_WRITE(S, MainKey, "main_key", const std::string&,
                  "Host's main key; writing recomputes FolderKey.");
    TK_READ_ONLY(S, FolderKey, "folder_key", "RootKey and MainKey joined.");
    TK_READ_WRITE(S, AutomaticOverWrite, "automatic_overwrite", bool,
                  "Replace a same dataset without asking.");
    TK_READ_WRITE(S, AutomaticRename, "automatic_rename", bool,
                  "Rename and append a same dataset without asking.");
    TK_READ_WRITE(S, AutomaticCancel, "automatic_cancel", bool,
                  "Drop a same dataset without asking.");
    TK_READ_WRITE(S, CheckDataSetNames, "check_dataset_names", bool,
                  "False: every dataset is appended, no sameness test.");
    TK_READ_ONLY(S, NumberOfStreamSets, "number_of_stream_sets", "Number of datasets.");
    TK_READ_ONLY(S, AddedDataSetPos, "added_dataset_pos", "Number written by the last add.");
    TK_READ_ONLY(S, OverWrittenDataSet, "overwritten_dataset",
                 "True when the last add replaced a dataset.");

    m.def(
        "load",
        [](const py::object& path, py::object duplicate) {
            auto store = std::make_shared<rvStreamStore>();
            loadInto(*store, path, std::move(duplicate));
            return store;
        },
        py::arg("path"), py::arg("duplicate") = py::none(),
        "Loads a saved store (binary or formatted form) into a new Store. Raises Error for a\n"
        "missing, unreadable or damaged file.");
}

}  // namespace tkstream63::python
