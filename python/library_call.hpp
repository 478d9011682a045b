// How the Python module calls the library: what the library reports during a call becomes a
// tkstream63.Error, and the duplicate-name dialog is answered from Python instead of the terminal.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tkstream63.hpp>

namespace tkstream63::python {

namespace py = pybind11;

// One error report of the library, split into its parts.
struct LibraryReport {
    std::string text;  // the whole report, trailing blank removed
    std::string description;
    int32_t number = 0;
    std::string source;
    std::string member;
};

// Splits "Error:<description> (No.<n>) In [<source> (Code) (<member>)] ". A text of another form
// becomes the description with number 0.
LibraryReport parseReport(const std::string& text);

// Raises tkstream63.Error (as a C++ exception pybind11 hands to Python).
[[noreturn]] void throwError(const LibraryReport& report,
                             const std::vector<std::string>& allReports = {});
[[noreturn]] void throwError(const std::string& description, int32_t number,
                             const std::string& source, const std::string& member);

class CollectingReporter;
class PythonDialog;

// The scope of one library call made for Python. While it lives, the library's reports are
// collected (and passed on to the reporter the host had installed, if any), and the duplicate-
// name dialog answers from `duplicate`: None (cancel), a button number, a button text such as
// "rename all", or a callable(message, buttons, title) returning either. finish() raises the
// first error the library reported, or the exception a Python dialog raised.
class LibraryCall {
public:
    explicit LibraryCall(py::object duplicate = py::none());
    ~LibraryCall();
    LibraryCall(const LibraryCall&) = delete;
    LibraryCall& operator=(const LibraryCall&) = delete;

    void finish();
    // Error reports so far.
    const std::vector<std::string>& reports() const;

    // Used by the dialog: the button to press for this call's question.
    int32_t answerDuplicate(const std::string& message, const std::vector<std::string>& buttons,
                            const std::string& title);

private:
    py::object duplicate_;
    std::optional<py::error_already_set> dialogFailure_;
    std::shared_ptr<ErrorReporter> previousReporter_;
    std::shared_ptr<CollectingReporter> reporter_;
    LibraryCall* enclosingCall_;
};

// Runs body as one library call and raises what it reported.
template <class Body>
auto callLibrary(Body&& body, py::object duplicate = py::none()) {
    LibraryCall call(std::move(duplicate));
    if constexpr (std::is_void_v<decltype(body())>) {
        body();
        call.finish();
    } else {
        auto result = body();
        call.finish();
        return result;
    }
}

}  // namespace tkstream63::python
