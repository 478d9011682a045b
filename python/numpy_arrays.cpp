#include "numpy_arrays.hpp"

#include <pybind11/stl.h>

#include <unordered_map>

namespace tkstream63::python {

namespace {

// Live views per dataset. Touched only with the GIL held.
std::unordered_map<const rvStreamSet*, int64_t>& liveViews() {
    static auto* counts = new std::unordered_map<const rvStreamSet*, int64_t>();
    return *counts;
}

void releaseViewOwner(void* owner) {
    auto* dataset = static_cast<std::shared_ptr<rvStreamSet>*>(owner);
    auto& counts = liveViews();
    if (--counts[dataset->get()] == 0) counts.erase(dataset->get());
    delete dataset;
}

}  // namespace

py::list copyOutStrings(const Array<std::string>& values, int32_t n) {
    py::list result;
    for (int32_t i = 1; i <= n; ++i) result.append(py::str(values(i)));
    return result;
}

Array<std::string> copyInStrings(const py::handle& values, int32_t& n) {
    if (py::isinstance<py::str>(values))
        throw py::type_error("expected a sequence of texts, not one text");
    const auto texts = py::cast<std::vector<std::string>>(values);
    n = static_cast<int32_t>(texts.size());
    Array<std::string> result(1, n);
    for (int32_t i = 1; i <= n; ++i) result(i) = texts[static_cast<size_t>(i - 1)];
    return result;
}

Array<bool> copyInFlags(const py::handle& values, int32_t& n) {
    const Array<uint8_t> bytes =
        copyIn<uint8_t>(py::module_::import("numpy").attr("asarray")(values, "bool"), n);
    Array<bool> result(1, n);
    for (int32_t i = 1; i <= n; ++i) result(i) = bytes(i) != 0;
    return result;
}

template <class T>
Array<T> tableFrom(const py::handle& values, bool columnFastest, int32_t& rows, int32_t& columns,
                   int32_t rowFactor) {
    const py::array source = py::array::ensure(values);
    if (!source || source.ndim() != 2) throw py::value_error("expected a two-dimensional array");
    if (source.shape(0) < 1 || source.shape(1) < 1)
        throw py::value_error("expected a non-empty table");
    if (source.shape(0) * rowFactor > INT32_MAX || source.shape(1) > INT32_MAX) {
        throw py::value_error("table too large for the library");
    }
    rows = static_cast<int32_t>(source.shape(0));
    columns = static_cast<int32_t>(source.shape(1));
    Array<T> table;
    if (columnFastest) {
        table.redim(1, columns, 1, rows * rowFactor);
    } else {
        table.redimForOverwrite(1, rows, 1, columns);
    }
    // numpy converts and copies straight into the library's block, whatever the input's type
    // and order: the target is the block seen as a (rows, columns) array.
    const py::ssize_t item = sizeof(T);
    std::vector<py::ssize_t> strides{item, rows * item};
    if (columnFastest) strides = {columns * item, item};
    py::array_t<T> target({py::ssize_t{rows}, py::ssize_t{columns}}, strides, table.data(),
                          py::none());
    py::module_::import("numpy").attr("copyto")(target, source, "same_kind");
    return table;
}

template Array<float> tableFrom<float>(const py::handle&, bool, int32_t&, int32_t&, int32_t);
template Array<int32_t> tableFrom<int32_t>(const py::handle&, bool, int32_t&, int32_t&, int32_t);

py::array datasetView(const std::shared_ptr<rvStreamSet>& owner, const py::dtype& dtype,
                      std::vector<py::ssize_t> shape, std::vector<py::ssize_t> strides,
                      const void* data) {
    auto* keeper = new std::shared_ptr<rvStreamSet>(owner);
    ++liveViews()[owner.get()];
    py::capsule base(keeper, releaseViewOwner);
    py::array view(dtype, std::move(shape), std::move(strides), data, base);
    py::detail::array_proxy(view.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    return view;
}

void requireNoViews(const rvStreamSet& dataset) {
    if (liveViews().count(&dataset) != 0) {
        PyErr_SetString(PyExc_BufferError,
                        "the dataset's tables are shared with numpy views that still exist; "
                        "delete them (or keep copies) before replacing a table");
        throw py::error_already_set();
    }
}

}  // namespace tkstream63::python
