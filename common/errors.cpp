#include "common/errors.hpp"

#include <new>
#include <stdexcept>

#include "common/shared_objects.hpp"

namespace tkstream63 {

std::string standardErrorText(int32_t number) {
    switch (number) {
        case kErrInvalidCall: return "Invalid procedure call or argument";
        case kErrOverflow: return "Overflow";
        case kErrOutOfMemory: return "Out of memory";
        case kErrSubscript: return "Subscript out of range";
        case kErrTypeMismatch: return "Type mismatch";
        case kErrObjectNotSet: return "Object variable or With block variable not set";
        default: return "Application-defined or object-defined error";
    }
}

RuntimeError::RuntimeError(int32_t number, std::string description)
    : number_(number), description_(std::move(description)) {}

RuntimeError::RuntimeError(int32_t number) : RuntimeError(number, standardErrorText(number)) {}

void raiseError(int32_t number) { throw RuntimeError(number); }

void raiseError(int32_t number, std::string description) {
    throw RuntimeError(number, std::move(description));
}

std::string formatErrorReport(std::string_view description, int32_t number, std::string_view source,
                              std::string_view procedure) {
    std::string text = "Error:";
    text += description;
    text += " (No.";
    text += std::to_string(number);
    text += ") In [";
    text += source;
    text += " (Code) (";
    text += procedure;
    text += ")] ";
    return text;
}

void reportTrappedError(std::string_view description, int32_t number, std::string_view source,
                        std::string_view procedure) noexcept {
    try {
        errorReporter().report(formatErrorReport(description, number, source, procedure), -1);
    } catch (...) {
        // A reporter that fails itself has nowhere left to report to.
    }
}

void reportCurrentException(std::string_view source, std::string_view procedure) noexcept {
    try {
        throw;
    } catch (const RuntimeError& e) {
        reportTrappedError(e.description(), e.number(), source, procedure);
    } catch (const std::bad_alloc&) {
        reportTrappedError(standardErrorText(kErrOutOfMemory), kErrOutOfMemory, source, procedure);
    } catch (const std::out_of_range&) {
        reportTrappedError(standardErrorText(kErrSubscript), kErrSubscript, source, procedure);
    } catch (const std::exception& e) {
        reportTrappedError(e.what(), kErrInvalidCall, source, procedure);
    } catch (...) {
        reportTrappedError(standardErrorText(kErrInvalidCall), kErrInvalidCall, source, procedure);
    }
}

int32_t checkedLong(int64_t value) {
    if (value < INT32_MIN || value > INT32_MAX) raiseError(kErrOverflow);
    return static_cast<int32_t>(value);
}

}  // namespace tkstream63
