// Run-time errors inside the library and the one trap every public member runs under.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace tkstream63 {

// Classic run-time error numbers used throughout the library.
enum ErrorNumber : int32_t {
    kErrInvalidCall = 5,      // "Invalid procedure call or argument"
    kErrOverflow = 6,         // "Overflow"
    kErrOutOfMemory = 7,      // "Out of memory"
    kErrSubscript = 9,        // "Subscript out of range"
    kErrTypeMismatch = 13,    // "Type mismatch"
    kErrObjectNotSet = 91,    // "Object variable or With block variable not set"
};

// Standard description for a classic error number ("Application-defined or object-defined error"
// for numbers without a standard text).
std::string standardErrorText(int32_t number);

// The one internal error type. Never leaves a public member.
class RuntimeError : public std::exception {
public:
    RuntimeError(int32_t number, std::string description);
    explicit RuntimeError(int32_t number);
    int32_t number() const noexcept { return number_; }
    const std::string& description() const noexcept { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

private:
    int32_t number_;
    std::string description_;
};

[[noreturn]] void raiseError(int32_t number);
[[noreturn]] void raiseError(int32_t number, std::string description);

// "Error:" + description + " (No." + number + ") In [" + source + " (Code) (" + procedure + ")] "
std::string formatErrorReport(std::string_view description, int32_t number, std::string_view source,
                              std::string_view procedure);

// Reports a failure with code -1 to the shared error reporter. Never throws.
void reportTrappedError(std::string_view description, int32_t number, std::string_view source,
                        std::string_view procedure) noexcept;

// Translates whatever is in flight into (number, description) and reports it. Call only from a
// catch block.
void reportCurrentException(std::string_view source, std::string_view procedure) noexcept;

// Runs body under the error trap: any failure is reported under source/procedure and swallowed.
// Returns true when the body completed without a failure.
template <class Body>
bool runTrapped(std::string_view source, std::string_view procedure, Body&& body) noexcept {
    try {
        body();
        return true;
    } catch (...) {
        reportCurrentException(source, procedure);
        return false;
    }
}

// Throws Overflow (6) when a 64-bit intermediate does not fit a 32-bit Long.
int32_t checkedLong(int64_t value);

}  // namespace tkstream63
