// Between numpy and the library's arrays: copies in and out, and the zero-copy views of a
// dataset's tables.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <tkstream63.hpp>

namespace tkstream63::python {

namespace py = pybind11;

// Elements 1..n of a rank-1 library array as a new numpy array (empty for n below 1).
template <class T>
py::array_t<T> copyOut(const Array<T>& values, int32_t n) {
    py::array_t<T> result(std::max<int32_t>(n, 0));
    if (n > 0) values.copyOut(values.offsetOf(1), static_cast<size_t>(n), result.mutable_data());
    return result;
}
py::list copyOutStrings(const Array<std::string>& values, int32_t n);

// A Python sequence as a rank-1 library array 1..n (n = its length), converted by numpy.
template <class T>
Array<T> copyIn(const py::handle& values, int32_t& n) {
    auto converted = py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(values);
    if (!converted || converted.ndim() != 1)
        throw py::value_error("expected a one-dimensional sequence of numbers");
    n = static_cast<int32_t>(converted.size());
    Array<T> result(1, n);
    if (n > 0) result.copyIn(0, converted.data(), static_cast<size_t>(n));
    return result;
}
Array<std::string> copyInStrings(const py::handle& values, int32_t& n);
Array<bool> copyInFlags(const py::handle& values, int32_t& n);

// A two-dimensional numpy input, shape (rows, columns) with rows >= 1 and columns >= 1, copied
// into a fresh library table in one pass: (1 To rows, 1 To columns) when the table is stored row
// index first (columnFastest false, the node table), (1 To columns, 1 To rows * rowFactor)
// otherwise (the pointer and WAF tables), the rows beyond the input left 0.
template <class T>
Array<T> tableFrom(const py::handle& values, bool columnFastest, int32_t& rows, int32_t& columns,
                   int32_t rowFactor = 1);

// Views of memory a dataset owns. They are read-only and keep the dataset alive; while one of
// them exists the dataset refuses to replace its node or pointer table (BufferError).
py::array datasetView(const std::shared_ptr<rvStreamSet>& owner, const py::dtype& dtype,
                      std::vector<py::ssize_t> shape, std::vector<py::ssize_t> strides,
                      const void* data);
void requireNoViews(const rvStreamSet& dataset);

}  // namespace tkstream63::python
