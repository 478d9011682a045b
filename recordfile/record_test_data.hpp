// Shared by the record-file tests: a small file with a record of every type, a reader that
// takes every record apart the way an importer does, and raw binary record bytes for damage
// that the writer itself would never produce.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "recordfile/crc32c.hpp"
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
    Array<int32_t> longs(1, 4);
    for (int32_t i = 1; i <= 4; ++i) longs(i) = i * 1000 - 3;
    Array<float> reals(1, 3);
    reals(1) = 0.5f;
    reals(2) = -2.25f;
    reals(3) = 1e-30f;
    Array<double> doubles(1, 2);
    doubles(1) = 3.141592653589793;
    doubles(2) = -1e300;
    Array<uint8_t> bytes(1, 3);
    bytes(1) = 0;
    bytes(2) = 200;
    bytes(3) = 255;

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

// The bytes of one binary record as the documented layout has them, with correct checksums.
inline std::vector<uint8_t> binaryRecord(const std::string& keyword, const std::string& type, uint32_t count,
                                         uint64_t bodyBytes, const std::vector<uint8_t>& body) {
    std::vector<uint8_t> out;
    auto put = [&](uint64_t v, int n) {
        for (int i = 0; i < n; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    };
    out.push_back(static_cast<uint8_t>(keyword.size()));
    for (char c : keyword + type.substr(0, 4)) out.push_back(static_cast<uint8_t>(c));
    put(count, 4);
    put(bodyBytes, 8);
    put(0, 2);  // no padding before the body
    put(crc32c(0, out.data(), out.size()), 4);
    if (!body.empty()) {
        out.insert(out.end(), body.begin(), body.end());
        put(crc32c(0, body.data(), body.size()), 4);
    }
    return out;
}

inline std::vector<uint8_t> binaryPreamble(uint32_t version = 1) {
    std::vector<uint8_t> out = {0x89, 'T', 'K', 'R', 'E', 'C', '\r', '\n'};
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(version >> (8 * i)));
    return out;
}

}  // namespace tkstream63::testing
