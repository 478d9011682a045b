// Shared by the record-file tests: a small file with a record of every type, a reader that
// takes every record apart the way an importer does, and raw binary record bytes for damage
// that the writer itself would never produce.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "common/test_support.hpp"
#include "recordfile/crc32c.hpp"
#include "recordfile/record_codec.hpp"
#include "recordfile/record_io.hpp"

namespace tkstream63::testing {

// Writes "SAMPLE>" ... "<SAMPLE" with one record of each item type. Returns the first failure
// code (kRecordOK when every call succeeded); does not commit.
inline int32_t writeSampleRecords(RecordFile& file) {
    RecordIO io;
    bool ok = false;
    int32_t worst = kRecordOK;
    auto note = [&](int32_t code) {
        if (worst == kRecordOK) worst = code;
    };
    using testing_support::list;
    const Array<int32_t> longs = list({997, 1997, 2997, 3997});
    const Array<float> reals = list({0.5f, -2.25f, 1e-30f});
    const Array<double> doubles = list({3.141592653589793, -1e300});
    const Array<uint8_t> bytes = list<uint8_t>({0, 200, 255});

    note(io.WriteRecordHeader(file, "SAMPLE>", 0, "CHAR", ok));
    note(io.WriteRecordHeader(file, "LONGS", 4, "INTE", ok));
    note(io.WriteIntegerArray(4, "", longs, file, ok));
    note(io.WriteRecordHeader(file, "REALS", 3, "REAL", ok));
    note(io.WriteRealArray(3, "", reals, file, ok));
    note(io.WriteRecordHeader(file, "DOUBLES", 2, "DOUB", ok));
    note(io.WriteDoubleArray(2, "", doubles, file, ok));
    note(io.WriteRecordHeader(file, "FLAGS", 2, "LOGI", ok));
    note(io.WriteItem(file, true, ok));
    note(io.WriteItem(file, false, ok));
    note(io.WriteRecordHeader(file, "BYTES", 3, "BYTE", ok));
    note(io.WriteByteArray(3, bytes, file, ok));
    note(io.WriteRecordHeader(file, "NAMES", 2, "CHAR", ok));
    note(io.WriteItem(file, "PROD-1", ok));
    note(io.WriteItem(file, "it's", ok));
    note(io.WriteRecordHeader(file, "<SAMPLE", 0, "CHAR", ok));
    return worst;
}

struct ReadOutcome {
    int records = 0;          // records read completely
    int32_t code = kRecordOK; // first failure
    std::string error;        // the file's message for it
    bool endReported = false; // GetReadState said end of file when reading stopped
};

// Reads every record and every item, stopping at the first failure or when the file reports
// its end. Never loops more than maxRecords times.
inline ReadOutcome readEveryRecord(RecordFile& file, int maxRecords = 1000) {
    RecordIO io;
    ReadOutcome outcome;
    for (int guard = 0; guard < maxRecords; ++guard) {
        std::string keyword, type;
        int32_t n = 0;
        bool ok = false;
        int32_t code = io.ReadRecordHeader(file, keyword, n, type, ok);
        if (code == kRecordOK && n > 0) {
            if (type == "INTE") {
                Array<int32_t> values;
                code = io.ReadIntegerArray(n, "'", file, values, ok);
            } else if (type == "REAL") {
                Array<float> values;
                code = io.ReadRealArray(n, "'", file, values, ok);
            } else if (type == "DOUB") {
                Array<double> values;
                code = io.ReadDoubleArray(n, "'", file, values, ok);
            } else if (type == "LOGI") {
                Array<bool> values;
                code = io.ReadLogicalArray(n, "'", file, values, ok);
            } else if (type == "BYTE") {
                Array<uint8_t> values;
                code = io.ReadByteArray(n, file, values, ok);
            } else if (type == "CHAR") {
                std::string text;
                for (int32_t i = 0; i < n && code == kRecordOK; ++i) code = io.ReadItem(file, text, ok);
            }
        }
        int32_t bytesRead = 0, bytesTotal = 0;
        file.GetReadState(bytesRead, bytesTotal, outcome.endReported);
        if (code != kRecordOK) {
            outcome.code = code;
            outcome.error = file.LastError();
            return outcome;
        }
        ++outcome.records;
        if (outcome.endReported) return outcome;
    }
    return outcome;
}

// Where each record of a sound file starts, and where its trailer starts (binary: the last 52
// bytes; formatted: the line "END ...").
struct RecordSpans {
    std::vector<std::string> keywords;
    std::vector<int64_t> starts;
    int64_t trailer = 0;
    // The record (or the trailer: index keywords.size()) that byte offset `at` - 1 belongs to.
    size_t holding(int64_t at) const {
        size_t k = 0;
        while (k < starts.size() && starts[k] < at) ++k;
        return at > trailer ? starts.size() : k - 1;
    }
};

inline RecordSpans recordSpans(const std::string& path, const std::vector<uint8_t>& bytes) {
    RecordSpans spans;
    RecordFile file;
    if (!file.OpenForReading(path)) return spans;
    RecordIO io;
    std::string keyword, type;
    int32_t n = 0;
    bool ok = false;
    while (io.ReadRecordHeader(file, keyword, n, type, ok) == kRecordOK) {
        spans.keywords.push_back(keyword);
        spans.starts.push_back(file.codec()->recordOffset());
    }
    const std::string text(bytes.begin(), bytes.end());
    spans.trailer = file.Form() == RecordForm::Binary ? static_cast<int64_t>(bytes.size()) - 52
                                                      : static_cast<int64_t>(text.rfind("\nEND records=") + 1);
    return spans;
}

// The bytes of one binary record as the documented layout of the given version has them, with
// correct checksums: version 2 numbers the record and checks its body in 64 KiB blocks, version
// 1 has neither.
inline std::vector<uint8_t> binaryRecord(const std::string& keyword, const std::string& type, uint32_t count,
                                         uint64_t bodyBytes, const std::vector<uint8_t>& body, uint32_t number = 1,
                                         int version = 2) {
    std::vector<uint8_t> out;
    auto put = [&](uint64_t v, int n) {
        for (int i = 0; i < n; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    };
    out.push_back(static_cast<uint8_t>(keyword.size()));
    for (char c : keyword + type.substr(0, 4)) out.push_back(static_cast<uint8_t>(c));
    put(count, 4);
    put(bodyBytes, 8);
    put(0, 2);  // no padding before the body
    if (version >= 2) put(number, 4);
    const uint32_t headerCrc = crc32c(0, out.data(), out.size());
    put(headerCrc, 4);
    out.insert(out.end(), body.begin(), body.end());
    constexpr size_t kBlock = 65536;
    for (size_t first = 0; first < body.size(); first += version >= 2 ? kBlock : body.size()) {
        const size_t n = version >= 2 ? std::min(kBlock, body.size() - first) : body.size();
        uint32_t crc = 0;
        if (version >= 2) {
            const uint8_t prefix[8] = {static_cast<uint8_t>(headerCrc), static_cast<uint8_t>(headerCrc >> 8),
                                       static_cast<uint8_t>(headerCrc >> 16), static_cast<uint8_t>(headerCrc >> 24),
                                       static_cast<uint8_t>(first / kBlock), 0, 0, 0};
            crc = crc32c(0, prefix, sizeof prefix);
        }
        put(crc32c(crc, body.data() + first, n), 4);
    }
    return out;
}

// Formatted records (version 2) closed with the trailer line a writer gives them.
inline std::string withTrailer(const std::string& text, int records) {
    char crc[16];
    std::snprintf(crc, sizeof crc, "%08X", crc32c(0, text.data(), text.size()));
    return text + "END records=" + std::to_string(records) + " bytes=" + std::to_string(text.size()) + " crc32c=" + crc + "\n";
}

inline std::vector<uint8_t> binaryPreamble(uint32_t version = 2) {
    std::vector<uint8_t> out = {0x89, 'T', 'K', 'R', 'E', 'C', '\r', '\n'};
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(version >> (8 * i)));
    return out;
}

}  // namespace tkstream63::testing
