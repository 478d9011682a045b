// The _tkstream63 extension module; the tkstream63 package re-exports it.
#include <pybind11/pybind11.h>

#include <string>

#include "bindings.hpp"
#include "common/version.hpp"

PYBIND11_MODULE(_tkstream63, m) {
    namespace py = pybind11;
    namespace tp = tkstream63::python;
    m.doc() = "Native part of the tkstream63 package; import tkstream63 instead.";
    m.attr("__version__") = std::to_string(tkstream63::kVersionMajor) + "." +
                            std::to_string(tkstream63::kVersionMinor) + "." +
                            std::to_string(tkstream63::kVersionRevision);
    // The types are created under the package's name, so signatures and help() show
    // tkstream63.Dataset, as users import it.
    const py::object name = m.attr("__name__");
    m.attr("__name__") = "tkstream63";
    tp::bindDataset(m);
    tp::bindWAFSet(m);
    tp::bindStore(m);
    tp::bindStoreFile(m);
    m.attr("__name__") = name;
}
