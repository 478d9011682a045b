// Small pieces every tkstream command shares: where output goes, how a command fails, number and
// JSON text, and writing an output file so that a failure never leaves a partly written one.
#pragma once

#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tkstream_cli {

// Exit codes of the program.
enum ExitCode : int {
    kExitOK = 0,        // done; verify: the file is sound; diff: equal within tolerance
    kExitFindings = 1,  // verify: the file is damaged; diff: the stores differ
    kExitError = 2,     // usage error, unusable input (missing, not a record file, damaged or
                        // truncated where the whole file is needed, unknown dataset) or an
                        // output that could not be written
};

// Where a command writes, and whether it may draw a progress bar on err.
struct Console {
    std::ostream& out;
    std::ostream& err;
    bool progress = false;
};

// Ends a command: one line naming the file and what is wrong with it.
class CommandError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// "'path'"
std::string inQuotes(std::string_view path);

// Shortest decimal text that reads back to the same value ("inf", "-inf", "nan" for the rest).
std::string numberText(float value);
std::string numberText(double value);

// A JSON string literal (quotes and escapes).
std::string jsonString(std::string_view text);
// A JSON number, or a string for the values JSON has no number for ("NaN", "inf", "-inf").
std::string jsonNumber(double value);
std::string jsonNumber(float value);

// Text with XML's special characters escaped, for element text and attribute values.
std::string xmlEscaped(std::string_view text);

// Rows as columns separated by two blanks, each column as wide as its widest cell; the columns
// flagged in rightAligned are aligned right. Every line ends with a line break.
std::string textTable(const std::vector<std::vector<std::string>>& rows, const std::vector<bool>& rightAligned);

// Puts content at path through a temporary file beside it that is synced and then renamed over
// the target, so the target is either the old file or the whole new one. Throws CommandError
// naming the file when that fails (the temporary file is removed).
void writeFileAtomically(const std::string& path, std::string_view content);

}  // namespace tkstream_cli
