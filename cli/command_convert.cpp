// tkstream convert: the same records in the other form (binary or formatted). The output goes
// through the record file's own atomic commit, so a failure leaves no partly written file.
#include "cli/commands.hpp"
#include "cli/progress.hpp"
#include "cli/record_scan.hpp"
#include "streamstore/store_file_view.hpp"

namespace tkstream_cli {

using namespace tkstream63;

namespace {

// Writes one record's header and body; false when the output refused it.
bool writeRecord(RecordIO& io, RecordFile& out, const ScannedRecord& record) {
    bool qOK = false;
    io.WriteRecordHeader(out, record.keyword, record.count, record.type, qOK);
    if (!qOK || record.count == 0) return qOK;
    std::visit(
        [&](const auto& body) {
            using Body = std::decay_t<decltype(body)>;
            const int32_t n = record.count;
            if constexpr (std::is_same_v<Body, Array<int32_t>>) {
                io.WriteIntegerArray(n, "", body, out, qOK);
            } else if constexpr (std::is_same_v<Body, Array<float>>) {
                io.WriteRealArray(n, "", body, out, qOK);
            } else if constexpr (std::is_same_v<Body, Array<double>>) {
                io.WriteDoubleArray(n, "", body, out, qOK);
            } else if constexpr (std::is_same_v<Body, Array<bool>>) {
                io.WriteLogicalArray(n, "", body, out, qOK);
            } else if constexpr (std::is_same_v<Body, Array<uint8_t>>) {
                io.WriteByteArray(n, body, out, qOK);
            } else if constexpr (std::is_same_v<Body, std::vector<std::string>>) {
                for (size_t k = 0; k < body.size() && qOK; ++k) io.WriteItem(out, Variant(body[k]), qOK);
            } else {
                qOK = false;
            }
        },
        record.values);
    return qOK;
}

}  // namespace

int runConvert(const ConvertOptions& options, const Console& console) {
    const RecordForm form = options.to == "formatted" ? RecordForm::Formatted : RecordForm::Binary;
    RecordFile in;
    openForReading(in, options.input);
    ProgressBar bar(in, console, "converting " + options.input);
    RecordFile out;
    if (!out.OpenForWriting(options.output, form)) throw CommandError(out.LastError());
    RecordIO io;
    std::string writeProblem;
    // A store's index describes the bytes of its own file: it is left out and, in a binary
    // output, written afresh from the records copied.
    StoreIndexWriter index(out);
    const std::vector<ScanProblem> problems = scanRecords(in, [&](const ScannedRecord& record) {
        if (record.keyword == kStoreIndexKeyword) return true;
        if (record.keyword == "<STREAMSTORE" && record.type == "CHAR" && !index.Finish()) {
            writeProblem = out.LastError();
            return false;
        }
        if (std::holds_alternative<std::monostate>(record.values)) {
            writeProblem = inQuotes(options.input) + ": record '" + record.keyword + "' at byte " +
                           std::to_string(record.offset) + " has item type '" + record.type +
                           "', which this library cannot write";
            return false;
        }
        if (!writeRecord(io, out, record)) writeProblem = out.LastError();
        return writeProblem.empty();
    });
    // Leaving without Commit() abandons the output: the temporary file goes, the target stays.
    if (!problems.empty()) throw CommandError(problems.front().message);
    if (!writeProblem.empty()) throw CommandError(writeProblem);
    if (!out.Commit()) throw CommandError(out.LastError());
    return kExitOK;
}

}  // namespace tkstream_cli
