// The _tkstream63 extension module; the tkstream63 package re-exports it.
#include <pybind11/pybind11.h>

#include <string>

#include "bindings.hpp"
#include "common/version.hpp"

PYBIND11_MODULE(_tkstream63, m) {
    namespace tp = tkstream63::python;
    m.doc() = "Native part of the tkstream63 package; import tkstream63 instead.";
    m.attr("__version__") = std::to_string(tkstream63::kVersionMajor) + "." +
                            std::to_string(tkstream63::kVersionMinor) + "." +
                            std::to_string(tkstream63::kVersionRevision);
    tp::bindDataset(m);
    tp::bindWAFSet(m);
    tp::bindStore(m);
}
