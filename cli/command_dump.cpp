// tkstream dump: the record sequence of a file (offset, keyword, type, count, section nesting)
// and, on request, the values.
#include <algorithm>
#include <cstdio>

#include "cli/commands.hpp"
#include "cli/progress.hpp"
#include "cli/record_scan.hpp"

namespace tkstream_cli {

using namespace tkstream63;

namespace {

constexpr size_t kValuesPerLine = 8;
constexpr size_t kShortListing = 16;  // values shown of a long array without --all

std::string textOf(int32_t v, bool) { return std::to_string(v); }
std::string textOf(uint8_t v, bool) { return std::to_string(v); }
std::string textOf(float v, bool json) { return json ? jsonNumber(v) : numberText(v); }
std::string textOf(double v, bool json) { return json ? jsonNumber(v) : numberText(v); }
std::string textOf(bool v, bool json) { return json ? (v ? "true" : "false") : (v ? "T" : "F"); }
std::string textOf(const std::string& v, bool json) {
    if (json) return jsonString(v);
    std::string text = "'";
    for (const char c : v) text += c == '\'' ? std::string("''") : std::string(1, c);
    return text + "'";
}

// Texts of the first `limit` values of a body.
std::vector<std::string> valueTexts(const RecordValues& values, size_t limit, bool json) {
    std::vector<std::string> texts;
    std::visit(
        [&](const auto& body) {
            if constexpr (!std::is_same_v<std::decay_t<decltype(body)>, std::monostate>) {
                const size_t n = std::min(limit, static_cast<size_t>(body.size()));
                for (size_t k = 0; k < n; ++k) texts.push_back(textOf(body.data()[k], json));
            }
        },
        values);
    return texts;
}

class Listing {
public:
    Listing(const DumpOptions& options, std::ostream& out) : options_(options), out_(out) {}

    void record(const ScannedRecord& record) {
        const size_t total = valueCount(record.values);
        const size_t shown = options_.all ? total : std::min(total, kShortListing);
        const std::vector<std::string> texts =
            options_.values ? valueTexts(record.values, shown, options_.json) : std::vector<std::string>{};
        if (options_.json) {
            out_ << (records_++ > 0 ? ",\n" : "[\n") << "  {\"record\": " << record.number
                 << ", \"offset\": " << record.offset << ", \"keyword\": " << jsonString(record.keyword)
                 << ", \"type\": " << jsonString(record.type) << ", \"count\": " << record.count
                 << ", \"depth\": " << record.depth;
            if (options_.values) {
                out_ << ", \"values\": [";
                for (size_t k = 0; k < texts.size(); ++k) out_ << (k > 0 ? ", " : "") << texts[k];
                out_ << "]";
                if (shown < total) out_ << ", \"abbreviated\": true";
            }
            out_ << "}";
            return;
        }
        if (records_++ == 0) out_ << "    offset  record  keyword / type / count\n";
        const std::string indent(2 * static_cast<size_t>(record.depth), ' ');
        char lead[40];
        std::snprintf(lead, sizeof lead, "%10lld  %6lld  ", static_cast<long long>(record.offset),
                      static_cast<long long>(record.number));
        out_ << lead << indent << record.keyword << "  " << record.type << "  " << record.count << "\n";
        const std::string valueIndent(20 + indent.size() + 2, ' ');
        const bool strings = record.type == "CHAR";
        for (size_t k = 0; k < texts.size(); ++k) {
            const bool lineStart = strings || k % kValuesPerLine == 0;
            out_ << (lineStart ? (k > 0 ? "\n" : "") + valueIndent : " ") << texts[k];
        }
        if (!texts.empty()) out_ << "\n";
        if (options_.values && shown < total)
            out_ << valueIndent << "... " << total - shown << " more of " << total << " (--all shows them)\n";
    }

    void finish() {
        if (options_.json) out_ << (records_ > 0 ? "\n]\n" : "[]\n");
    }

private:
    const DumpOptions& options_;
    std::ostream& out_;
    int64_t records_ = 0;
};

}  // namespace

int runDump(const DumpOptions& options, const Console& console) {
    RecordFile file;
    openForReading(file, options.file);
    ProgressBar bar(file, console, "reading " + options.file);
    Listing listing(options, console.out);
    int32_t dataSets = 0;
    int insideDepth = -1;  // depth of the chosen dataset's markers while inside it
    bool found = false;
    const std::vector<ScanProblem> problems = scanRecords(file, [&](const ScannedRecord& record) {
        std::string section;
        if (options.dataset == 0) {
            listing.record(record);
            return true;
        }
        if (insideDepth < 0 && opensSection(record, section) && section == "STREAMSET" &&
            ++dataSets == options.dataset) {
            insideDepth = record.depth;
            found = true;
        }
        if (insideDepth < 0) return true;
        listing.record(record);
        // The dataset's own closing record ends the listing.
        return !(closesSection(record, section) && section == "STREAMSET" && record.depth == insideDepth);
    });
    listing.finish();
    for (const ScanProblem& problem : problems) console.err << "tkstream: " << problem.message << "\n";
    if (!problems.empty()) return kExitError;
    if (options.dataset > 0 && !found)
        throw CommandError(inQuotes(options.file) + ": no dataset " + std::to_string(options.dataset) +
                           " (the file holds " + std::to_string(dataSets) + ")");
    return kExitOK;
}

}  // namespace tkstream_cli
