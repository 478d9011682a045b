#include "cli/record_scan.hpp"

#include <algorithm>

#include "cli/cli_support.hpp"

namespace tkstream_cli {

using namespace tkstream63;

namespace {

constexpr int64_t kRecordsPerTick = 10;

template <class T, class Read>
bool readArray(RecordValues& values, Read read) {
    Array<T> array;
    bool qOK = false;
    read(array, qOK);
    values = std::move(array);
    return qOK;
}

// The whole body of the record whose header was just read.
bool readBody(RecordIO& io, RecordFile& file, ScannedRecord& record) {
    const int32_t n = record.count;
    const std::string& type = record.type;
    if (type == "INTE")
        return readArray<int32_t>(record.values, [&](auto& a, bool& ok) { io.ReadIntegerArray(n, "'", file, a, ok); });
    if (type == "REAL")
        return readArray<float>(record.values, [&](auto& a, bool& ok) { io.ReadRealArray(n, "'", file, a, ok); });
    if (type == "DOUB")
        return readArray<double>(record.values, [&](auto& a, bool& ok) { io.ReadDoubleArray(n, "'", file, a, ok); });
    if (type == "LOGI")
        return readArray<bool>(record.values, [&](auto& a, bool& ok) { io.ReadLogicalArray(n, "'", file, a, ok); });
    if (type == "BYTE")
        return readArray<uint8_t>(record.values, [&](auto& a, bool& ok) { io.ReadByteArray(n, file, a, ok); });
    if (type == "CHAR") {
        std::vector<std::string> texts(static_cast<size_t>(std::max(n, 0)));
        bool qOK = true;
        for (std::string& text : texts) {
            io.ReadItem(file, text, qOK);
            if (!qOK) break;
        }
        record.values = std::move(texts);
        return qOK;
    }
    // An item type this library does not know: the next header read passes over the body.
    record.values = std::monostate{};
    return true;
}

// Problems name the file; the record layer's messages do so already.
ScanProblem problemAt(const RecordFile& file, int64_t record, int64_t offset, const std::string& message) {
    const bool named = message.find(inQuotes(file.Path())) != std::string::npos;
    return {record, offset, named ? message : inQuotes(file.Path()) + ": " + message};
}

struct OpenSection {
    std::string name;
    int64_t record;
    int64_t offset;
};

// Tracks the nesting, sets the record's depth and notes markers that do not fit.
void trackSections(const RecordFile& file, ScannedRecord& record, std::vector<OpenSection>& open,
                   std::vector<ScanProblem>& problems) {
    std::string name;
    if (opensSection(record, name)) {
        record.depth = static_cast<int>(open.size());
        open.push_back({name, record.number, record.offset});
        return;
    }
    if (closesSection(record, name)) {
        const auto match = std::find_if(open.rbegin(), open.rend(), [&](const OpenSection& s) { return s.name == name; });
        if (match == open.rend()) {
            problems.push_back(problemAt(file, record.number, record.offset,
                                         "record '" + record.keyword + "' at byte " + std::to_string(record.offset) +
                                             " closes a section that is not open"));
        } else {
            for (auto inner = open.rbegin(); inner != match; ++inner)
                problems.push_back(problemAt(file, inner->record, inner->offset,
                                             "section '" + inner->name + "' opened at byte " +
                                                 std::to_string(inner->offset) +
                                                 " is never closed (its outer section closes at byte " +
                                                 std::to_string(record.offset) + ")"));
            open.erase(std::next(match).base(), open.end());
        }
    }
    record.depth = static_cast<int>(open.size());
}

}  // namespace

void openForReading(RecordFile& file, const std::string& path) {
    if (!file.OpenForReading(path)) {
        const std::string reason = file.LastError().empty() ? "cannot be opened" : file.LastError();
        throw CommandError(reason.find(path) != std::string::npos ? reason : inQuotes(path) + ": " + reason);
    }
}

size_t valueCount(const RecordValues& values) {
    return std::visit(
        [](const auto& v) -> size_t {
            if constexpr (std::is_same_v<std::decay_t<decltype(v)>, std::monostate>)
                return 0;
            else
                return v.size();
        },
        values);
}

bool opensSection(const ScannedRecord& record, std::string& name) {
    const std::string& k = record.keyword;
    if (record.type != "CHAR" || k.size() < 2 || k.back() != '>') return false;
    name = k.substr(0, k.size() - 1);
    return true;
}

bool closesSection(const ScannedRecord& record, std::string& name) {
    const std::string& k = record.keyword;
    if (record.type != "CHAR" || k.size() < 2 || k.front() != '<') return false;
    name = k.substr(1);
    return true;
}

std::vector<ScanProblem> scanRecords(RecordFile& file, const std::function<bool(const ScannedRecord&)>& visit) {
    RecordIO io;
    std::vector<ScanProblem> problems;
    std::vector<OpenSection> open;
    ScannedRecord record;
    bool readToEnd = true;
    for (int64_t number = 1;; ++number) {
        int32_t bytesRead = 0, bytesTotal = 0;
        bool endOfFile = false;
        // Also passes over the blanks before a formatted header, so the offset is the header's.
        file.GetReadState(bytesRead, bytesTotal, endOfFile);
        if (endOfFile) break;
        record.number = number;
        record.offset = file.BytesRead();
        bool qOK = false;
        io.ReadRecordHeader(file, record.keyword, record.count, record.type, qOK);
        if (!qOK) {
            // Nothing after an unreadable header can be found: the file reports its end.
            problems.push_back(problemAt(file, number, record.offset, file.LastError()));
            readToEnd = false;
            break;
        }
        if (!readBody(io, file, record)) {
            problems.push_back(problemAt(file, number, record.offset, file.LastError()));
        } else {
            trackSections(file, record, open, problems);
            if (!visit(record)) {
                readToEnd = false;
                break;
            }
        }
        if (number % kRecordsPerTick == 0) file.ProgressTick();
    }
    if (readToEnd)
        for (const OpenSection& section : open)
            problems.push_back(problemAt(file, section.record, section.offset,
                                         "the file ends inside section '" + section.name + "' opened at byte " +
                                             std::to_string(section.offset) + ": it is truncated"));
    return problems;
}

}  // namespace tkstream_cli
