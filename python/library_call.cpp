#include "library_call.hpp"

#include <pybind11/stl.h>

#include <algorithm>
#include <cctype>

namespace tkstream63::python {

namespace {

const std::vector<std::string> kDuplicateButtons = {"overwrite all", "rename all", "cancel all",
                                                    "overwrite",     "rename",     "cancel"};

// The button number a Python answer names: an int as it is, a text by the button's label (case
// and '&' ignored), None as 0 (the dialog closed, which cancels).
int32_t buttonNumber(const py::handle& answer) {
    if (answer.is_none()) return 0;
    if (py::isinstance<py::bool_>(answer))
        throw py::type_error("a duplicate answer is a button, not a bool");
    if (py::isinstance<py::int_>(answer)) return answer.cast<int32_t>();
    if (py::isinstance<py::str>(answer)) {
        std::string label;
        for (char c : answer.cast<std::string>()) {
            if (c != '&') label += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        const auto found = std::find(kDuplicateButtons.begin(), kDuplicateButtons.end(), label);
        if (found != kDuplicateButtons.end()) {
            return static_cast<int32_t>(found - kDuplicateButtons.begin()) + 1;
        }
        throw py::value_error("unknown duplicate answer '" + answer.cast<std::string>() +
                              "' (use one of: overwrite, rename, cancel, overwrite all, "
                              "rename all, cancel all)");
    }
    throw py::type_error(
        "a duplicate answer is None, a button number, a button text or a callable");
}

thread_local LibraryCall* currentCall = nullptr;

}  // namespace

// Collects the error reports of one call and hands every report on to the host's reporter.
class CollectingReporter : public ErrorReporter {
public:
    explicit CollectingReporter(std::shared_ptr<ErrorReporter> next) : next_(std::move(next)) {}
    void report(const std::string& message, int32_t code) override {
        if (message.rfind("Error:", 0) == 0) errors.push_back(message);
        if (next_) next_->report(message, code);
    }
    std::vector<std::string> errors;

private:
    std::shared_ptr<ErrorReporter> next_;
};

// The module's duplicate-name dialog: asks the call in progress on this thread, and answers 0
// (cancel) outside a call, so the library never waits for the terminal.
class PythonDialog : public DuplicateNameDialog {
public:
    void ShowChoice(const std::string& message, const std::vector<std::string>& buttons,
                    int32_t /*style*/, const std::string& title, int32_t& choice) override {
        choice = 0;
        if (currentCall == nullptr) return;
        py::gil_scoped_acquire gil;
        choice = currentCall->answerDuplicate(message, buttons, title);
    }
};

LibraryReport parseReport(const std::string& text) {
    LibraryReport report;
    report.text = text;
    while (!report.text.empty() && report.text.back() == ' ') report.text.pop_back();
    report.description = report.text;
    const std::string prefix = "Error:";
    const size_t numberAt = text.rfind(" (No.");
    const size_t whereAt = text.rfind(") In [");
    const size_t codeAt = text.rfind(" (Code) (");
    const size_t endAt = text.rfind(")]");
    if (text.rfind(prefix, 0) != 0 || numberAt == std::string::npos ||
        whereAt == std::string::npos || codeAt == std::string::npos || endAt == std::string::npos ||
        !(numberAt < whereAt && whereAt < codeAt && codeAt < endAt)) {
        return report;
    }
    report.description = text.substr(prefix.size(), numberAt - prefix.size());
    try {
        report.number = std::stoi(text.substr(numberAt + 5, whereAt - numberAt - 5));
    } catch (const std::exception&) {
        report.number = 0;
    }
    report.source = text.substr(whereAt + 6, codeAt - whereAt - 6);
    report.member = text.substr(codeAt + 9, endAt - codeAt - 9);
    return report;
}

void throwError(const LibraryReport& report, const std::vector<std::string>& allReports) {
    py::object errorType = py::module_::import("tkstream63._types").attr("Error");
    py::list reports;
    for (const std::string& text : allReports) reports.append(text);
    py::object error = errorType(report.text, report.number, report.source, report.member,
                                 report.description, reports);
    PyErr_SetObject(errorType.ptr(), error.ptr());
    throw py::error_already_set();
}

void throwError(const std::string& description, int32_t number, const std::string& source,
                const std::string& member) {
    LibraryReport report;
    report.description = description;
    report.number = number;
    report.source = source;
    report.member = member;
    report.text = formatErrorReport(description, number, source, member);
    while (!report.text.empty() && report.text.back() == ' ') report.text.pop_back();
    throwError(report);
}

LibraryCall::LibraryCall(py::object duplicate)
    : duplicate_(std::move(duplicate)),
      previousReporter_(existingErrorReporter()),
      reporter_(std::make_shared<CollectingReporter>(previousReporter_)),
      enclosingCall_(currentCall) {
    // Fail early on an answer that could never be used, rather than inside the library.
    if (!duplicate_.is_none() && !PyCallable_Check(duplicate_.ptr())) buttonNumber(duplicate_);
    thread_local const auto dialog = std::make_shared<PythonDialog>();
    installDuplicateNameDialog(dialog);
    installErrorReporter(reporter_);
    currentCall = this;
}

LibraryCall::~LibraryCall() {
    currentCall = enclosingCall_;
    if (previousReporter_) {
        installErrorReporter(previousReporter_);
    } else {
        releaseErrorReporter();
    }
}

const std::vector<std::string>& LibraryCall::reports() const {
    return reporter_->errors;
}

int32_t LibraryCall::answerDuplicate(const std::string& message,
                                     const std::vector<std::string>& buttons,
                                     const std::string& title) {
    if (dialogFailure_) return 0;  // a callable that failed once is not asked again
    try {
        if (PyCallable_Check(duplicate_.ptr())) {
            return buttonNumber(duplicate_(message, py::cast(buttons), title));
        }
        return buttonNumber(duplicate_);
    } catch (py::error_already_set& failure) {
        dialogFailure_ = std::move(failure);
    } catch (py::builtin_exception& failure) {
        // pybind11's own errors (an answer of the wrong type, say) as Python exceptions.
        failure.set_error();
        dialogFailure_ = py::error_already_set();
    }
    return 0;
}

void LibraryCall::finish() {
    if (dialogFailure_) {
        py::error_already_set failure = std::move(*dialogFailure_);
        dialogFailure_.reset();
        throw failure;
    }
    if (!reporter_->errors.empty())
        throwError(parseReport(reporter_->errors.front()), reporter_->errors);
}

}  // namespace tkstream63::python
