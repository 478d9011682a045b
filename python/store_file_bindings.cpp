// tkstream63.open and tkstream63.StoreFile: a saved store read through StoreFileView, without
// loading the file.
#include <algorithm>
#include <memory>
#include <string>

#include <pybind11/numpy.h>

#include "bindings.hpp"

namespace tkstream63::python {

namespace {

class StoreFile {
public:
    explicit StoreFile(const py::object& path) {
        const std::string file = filePath(path);
        ask("Open", [&] { return view_.Open(file); });
    }

    int32_t count() const {
        requireOpen();
        return view_.DatasetCount();
    }

    py::dict summary(int32_t k) const {
        StoreDatasetSummary s;
        ask("Summary", [&] { return view_.Summary(k, s); });
        py::dict row;
        row["number"] = k;
        row["Origin"] = s.Origin;
        row["FileName"] = s.FileName;
        row["DataClass"] = s.DataClass;
        row["DateStamp"] = s.DateStamp;
        row["SimulationTime"] = s.SimulationTime;
        row["NumberStreamlines"] = s.NumberStreamlines;
        row["NumberWells"] = s.NumberWells;
        row["nDataColumns"] = s.nDataColumns;
        row["MaxRows"] = s.MaxRows;
        row["WAF"] = s.WAF;
        return row;
    }

    std::shared_ptr<rvStreamSet> dataset(int32_t k) const {
        checkNumber(k);
        auto dataset = std::make_shared<rvStreamSet>();
        ask("LoadDataset", [&] {
            py::gil_scoped_release release;
            return view_.LoadDataset(k, *dataset);
        });
        return dataset;
    }

    py::array streamline(int32_t k, int32_t i) const {
        checkNumber(k);
        StoreDatasetSummary listed;
        ask("Summary", [&] { return view_.Summary(k, listed); });
        if (i < 1 || i > listed.NumberStreamlines) {
            throw py::index_error("streamline " + std::to_string(i) + " is not in 1.." +
                                  std::to_string(listed.NumberStreamlines));
        }
        Array<float> data;
        int32_t nCols = 0, nnodes = 0;
        ask("ReadStreamline", [&] { return view_.ReadStreamline(k, i, data, nCols, nnodes); });
        const int32_t rows = data.size() >= static_cast<size_t>(std::max(nnodes, 0)) * 8 ? nnodes : 0;
        py::array_t<float, py::array::f_style> result({std::max(rows, 0), 8});
        if (rows > 0) data.copyOut(0, static_cast<size_t>(rows) * 8, result.mutable_data());
        return result;
    }

    const std::string& path() const { return view_.Path(); }
    void close() { view_.Close(); }

private:
    void requireOpen() const {
        if (!view_.IsOpen()) throw py::value_error("the store file is closed");
    }
    void checkNumber(int32_t k) const {
        if (k < 1 || k > count()) {
            throw py::index_error("dataset " + std::to_string(k) + " is not in 1.." +
                                  std::to_string(count()));
        }
    }
    // Runs one view member as a library call: what it reports, or a refusal it only keeps in
    // LastError, raises tkstream63.Error.
    template <class Member>
    void ask(const char* member, Member&& body) const {
        LibraryCall call;
        const bool done = body();
        call.finish();
        if (!done) throwError(view_.LastError(), kErrInvalidCall, "StoreFileView", member);
    }

    StoreFileView view_;
};

}  // namespace

void bindStoreFile(py::module_& m) {
    py::class_<StoreFile>(m, "StoreFile",
                          R"doc(A saved store opened for reading by tkstream63.open. Opening reads
only the file's index (binary files; a formatted file is indexed in one pass), and each call
reads only what it needs, so files larger than memory work. Numbers start at 1. Nothing is ever
written to the file.)doc")
        .def("__len__", &StoreFile::count, "Number of datasets in the file.")
        .def("__repr__",
             [](const StoreFile& f) { return "<tkstream63.StoreFile '" + f.path() + "'>"; })
        .def_property_readonly("path", &StoreFile::path, "The file's path.")
        .def(
            "summary",
            [](const StoreFile& f) {
                py::list all;
                for (int32_t k = 1; k <= f.count(); ++k) all.append(f.summary(k));
                return all;
            },
            "One dict per dataset, from the file's index: number, Origin, FileName, DataClass,\n"
            "DateStamp, SimulationTime, NumberStreamlines, NumberWells, nDataColumns, MaxRows,\n"
            "WAF.")
        .def("dataset", &StoreFile::dataset, py::arg("k"),
             "Dataset k read from the file alone (equal to dataset k of a full load).")
        .def("streamline", &StoreFile::streamline, py::arg("k"), py::arg("i"),
             "Streamline i of dataset k read from the file: a new (nnodes, 8) float32 array of\n"
             "X, Y, Z, I, J, K, TOF, DRT, as Dataset.streamline_data gives after a load. Binary\n"
             "files only: for a formatted file this raises Error (use dataset(k)).")
        .def("close", &StoreFile::close, "Closes the file.")
        .def("__enter__", [](py::object self) { return self; })
        .def("__exit__", [](StoreFile& f, py::args) { f.close(); });
    m.def(
        "open", [](const py::object& path) { return std::make_unique<StoreFile>(path); },
        py::arg("path"),
        "Opens a saved store for reading without loading it: a StoreFile. Raises Error for a\n"
        "missing or unreadable file.");
}

}  // namespace tkstream63::python
