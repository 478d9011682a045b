// The parts of the _tkstream63 extension, one function per topic, and the way published
// properties are bound: under their published name and, where given, a snake_case alias.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <string>

#include "library_call.hpp"
#include "numpy_arrays.hpp"

namespace tkstream63::python {

namespace py = pybind11;

void bindDataset(py::module_& m);
void bindWAFSet(py::module_& m);
void bindStore(py::module_& m);
void bindStoreFile(py::module_& m);

// A path given as str or os.PathLike.
std::string filePath(const py::object& path);

// The WellRates record (rates, partner wells, partner names, other, total) of a rate query over
// n partners.
py::object wellRates(const Array<float>& rates, int32_t n, float other, float total,
                     const Array<int32_t>& wells, const Array<std::string>& names);

// A rate query of a dataset or WAF set by well number or name, from WAF column `column`: the
// WellRates record, or None when the library refuses the well. The by-name member fills its
// arguments by position, as the library's own does.
template <class Owner, class ByNumber, class ByName>
py::object rateQuery(const Owner& owner, const py::object& well, int32_t column, ByNumber byNumber,
                     ByName byName) {
    return callLibrary([&]() -> py::object {
        Array<float> rates;
        Array<int32_t> wells;
        Array<std::string> names;
        int32_t n = 0;
        float other = 0, total = 0;
        bool q = false;
        if (py::isinstance<py::str>(well)) {
            (owner.*byName)(well.cast<std::string>(), rates, n, other, total, wells, names, q, column);
        } else {
            (owner.*byNumber)(well.cast<int32_t>(), rates, n, other, total, wells, names, q, column);
        }
        if (!q) return py::none();
        return wellRates(rates, n, other, total, wells, names);
    });
}

// (water_rates, efficiencies) of the wells of one type, as numpy arrays.
template <class Owner, class Member>
py::tuple efficiencies(const Owner& owner, Member member, int32_t wellType, int32_t type) {
    return callLibrary([&] {
        Array<float> water, efficiency;
        int32_t n = 0;
        bool q = false;
        (owner.*member)(water, efficiency, n, q, wellType, type);
        return py::make_tuple(copyOut(water, n), copyOut(efficiency, n));
    });
}

// A list of names a member hands out with its count.
template <class Owner, class Member>
py::list namesFrom(const Owner& owner, Member member) {
    return callLibrary([&] {
        Array<std::string> names;
        int32_t n = 0;
        bool q = false;
        (owner.*member)(names, n, q);
        return copyOutStrings(names, n);
    });
}

// Registers one property under each of its names ("" for no alias).
template <class Class, class... Functions>
void defineProperty(Class& cls, const char* name, const char* alias, const char* doc,
                    Functions... functions) {
    for (const char* each : {name, alias}) {
        if (*each == '\0') continue;
        if constexpr (sizeof...(Functions) == 1) {
            cls.def_property_readonly(each, functions..., doc);
        } else {
            cls.def_property(each, functions..., doc);
        }
    }
}

}  // namespace tkstream63::python

// A read-only published property of a bound library class (cls, whose C++ type is Type).
#define TK_READ_ONLY(Type, Name, alias, doc)                        \
    defineProperty(cls, #Name, alias, doc, [](const Type& object) { \
        return object.Name();                                       \
    })

// A read-write published property; writing runs as a library call, so a reported failure
// raises tkstream63.Error.
#define TK_READ_WRITE(Type, Name, alias, Value, doc) \
    defineProperty(                                  \
        cls, #Name, alias, doc,                      \
        [](const Type& object) {                     \
            return object.Name();                    \
        },                                           \
        [](Type& object, Value value) {              \
            callLibrary([&] {                        \
                object.Name(value);                  \
            });                                      \
        })
