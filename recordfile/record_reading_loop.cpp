#include "recordfile/record_reading_loop.hpp"

#include <algorithm>

#include "recordfile/record_codec.hpp"

namespace tkstream63 {
namespace {

// Error number for a damaged file ("Bad file format").
constexpr int32_t kErrBadFileFormat = 321;
// Read-past pieces: small enough to keep the scratch array tiny, large enough to be quick.
constexpr int32_t kReadPastPiece = 4096;
// Readers pass "'" as the delimiter; writers pass "".
const std::string kReadDelim = "'";
const std::string kWriteDelim;

std::string failureText(int32_t code, const RecordFile& file) {
    return file.LastError().empty() ? standardErrorText(-code) : file.LastError();
}

// Reads a body of fixed-width items past, piece by piece through a small scratch array.
template <class T, class ReadPiece>
void readPastInPieces(int32_t count, RecordFile& file, ReadPiece readPiece) {
    Array<T> scratch(1, std::min(count, kReadPastPiece));
    for (int32_t done = 0; done < count;) {
        const int32_t piece = std::min(count - done, kReadPastPiece);
        bool ok = false;
        checkRecordCall(readPiece(piece, scratch, ok), file);
        done += piece;
    }
}

template <class T, class Read>
Array<T> readWhole(RecordFile& file, Read read) {
    Array<T> values;
    bool ok = false;
    checkRecordCall(read(values, ok), file);
    return values;
}

template <class T, class Read>
void readInPlace(RecordFile& file, const RecordHeader& header, Array<T>& table, Read read) {
    if (static_cast<uint64_t>(header.count) > table.size())
        raiseError(kErrBadFileFormat, "Record '" + header.keyword + "' of '" + file.Path() + "' holds " +
                                          std::to_string(header.count) + " values for a table of " +
                                          std::to_string(table.size()) + ": the file is damaged");
    bool ok = false;
    const int32_t code = read(ok);
    if (ok) {
        // A shorter record leaves the rest of the table empty rather than as it was.
        std::fill(table.data() + header.count, table.data() + table.size(), T{});
        return;
    }
    table.fill(T{});
    checkRecordCall(code, file);
}

}  // namespace

namespace detail {

void reportRecordFailure(const ReadingLoopSettings& settings, int32_t code, const RecordFile& file) {
    reportTrappedError(failureText(code, file), -code, settings.source, settings.procedure);
}

void reportEndBeforeClosing(const ReadingLoopSettings& settings, const RecordFile& file) {
    reportTrappedError("Record file '" + file.Path() + "' ends at byte " + std::to_string(file.BytesRead()) +
                           " before the closing record '" + std::string(settings.closingKeyword) + "'",
                       kErrPastEndOfFile, settings.source, settings.procedure);
}

ReadingDepth::ReadingDepth(RecordFile& file) : file_(file) {
    if (RecordCodec* codec = file_.codec()) outermost_ = ++codec->readingDepth() == 1;
}

ReadingDepth::~ReadingDepth() {
    if (RecordCodec* codec = file_.codec()) --codec->readingDepth();
}

void checkEndAfterClosing(RecordFile& file) {
    RecordCodec* codec = file.codec();
    if (codec != nullptr && file.IsReading() && !codec->checkEnd()) checkRecordCall(file.LastErrorCode(), file);
}

int64_t recordOffset(RecordFile& file) { return file.codec() != nullptr ? file.codec()->recordOffset() : 0; }

}  // namespace detail

// ---- readers ----

Array<int32_t> readLongs(RecordIO& io, RecordFile& file, const RecordHeader& header) {
    return readWhole<int32_t>(file, [&](Array<int32_t>& values, bool& ok) {
        return io.ReadIntegerArray(header.count, kReadDelim, file, values, ok);
    });
}

Array<float> readSingles(RecordIO& io, RecordFile& file, const RecordHeader& header) {
    return readWhole<float>(file, [&](Array<float>& values, bool& ok) {
        return io.ReadRealArray(header.count, kReadDelim, file, values, ok);
    });
}

Array<bool> readLogicals(RecordIO& io, RecordFile& file, const RecordHeader& header) {
    return readWhole<bool>(file, [&](Array<bool>& values, bool& ok) {
        return io.ReadLogicalArray(header.count, kReadDelim, file, values, ok);
    });
}

Array<double> readDoubles(RecordIO& io, RecordFile& file, const RecordHeader& header) {
    return readWhole<double>(file, [&](Array<double>& values, bool& ok) {
        return io.ReadDoubleArray(header.count, kReadDelim, file, values, ok);
    });
}

std::string readText(RecordIO& io, RecordFile& file) {
    std::string text;
    bool ok = false;
    checkRecordCall(io.ReadItem(file, text, ok), file);
    return text;
}

std::vector<std::string> readTexts(RecordIO& io, RecordFile& file, const RecordHeader& header) {
    chargeLoad(file, bytesFor(header.count, sizeof(std::string)), "the list of " + std::to_string(header.count) + " strings");
    std::vector<std::string> texts;
    texts.reserve(static_cast<size_t>(std::max(header.count, 0)));
    for (int32_t k = 0; k < header.count; ++k) texts.push_back(readText(io, file));
    return texts;
}

void readPast(RecordIO& io, RecordFile& file, const RecordHeader& header) {
    const int32_t count = header.count;
    if (count < 1) return;
    bool ok = false;
    if (header.type == "INTE") {
        readPastInPieces<int32_t>(count, file, [&](int32_t n, Array<int32_t>& scratch, bool& pieceOK) {
            return io.ReadIntegerArray(n, kReadDelim, file, scratch, pieceOK, 0);
        });
    } else if (header.type == "LOGI") {
        readPastInPieces<bool>(count, file, [&](int32_t n, Array<bool>& scratch, bool& pieceOK) {
            return io.ReadLogicalArray(n, kReadDelim, file, scratch, pieceOK, 0);
        });
    } else if (header.type == "BYTE") {
        readPastInPieces<uint8_t>(count, file, [&](int32_t n, Array<uint8_t>& scratch, bool& pieceOK) {
            return io.ReadByteArray(n, file, scratch, pieceOK, 0);
        });
    } else if (header.type == "REAL") {
        checkRecordCall(io.SkipRealArray(count, kReadDelim, file, ok), file);
    } else if (header.type == "DOUB") {
        checkRecordCall(io.SkipDoubleArray(count, kReadDelim, file, ok), file);
    } else if (header.type == "CHAR") {
        for (int32_t k = 0; k < count; ++k) readText(io, file);
    }
}

void readLongsInPlace(RecordIO& io, RecordFile& file, const RecordHeader& header, Array<int32_t>& table) {
    readInPlace(file, header, table,
                [&](bool& ok) { return io.ReadIntegerArray(header.count, kReadDelim, file, table, ok, 0); });
}

void readSinglesInPlace(RecordIO& io, RecordFile& file, const RecordHeader& header, Array<float>& table) {
    readInPlace(file, header, table,
                [&](bool& ok) { return io.ReadRealArray(header.count, kReadDelim, file, table, ok, 0); });
}

void chargeLoad(RecordFile& file, int64_t bytes, const std::string& what) {
    RecordCodec* codec = file.codec();
    if (codec != nullptr && file.IsReading() && !codec->charge(bytes, what))
        checkRecordCall(file.LastErrorCode(), file);
}

int64_t bytesFor(int64_t elements, int64_t bytesPerElement) {
    if (elements <= 0 || bytesPerElement <= 0) return 0;
    if (elements > INT64_MAX / bytesPerElement) return INT64_MAX;
    return elements * bytesPerElement;
}

// ---- writer ----

void RecordWriter::check(int32_t code) {
    lastOK_ = code >= 0;
    if (lastOK_) return;
    if (raiseOnFailure_) checkRecordCall(code, file_);
    if (!failureReported_) reportTrappedError(failureText(code, file_), -code, source_, procedure_);
    failureReported_ = true;
}

void RecordWriter::header(const std::string& keyword, int32_t count, const char* type) {
    bool ok = false;
    check(io_.WriteRecordHeader(file_, keyword, count, type, ok));
}

void RecordWriter::item(const Variant& value) {
    bool ok = false;
    check(io_.WriteItem(file_, value, ok));
}

void RecordWriter::record(const std::string& keyword, const char* type, std::initializer_list<Variant> values) {
    header(keyword, static_cast<int32_t>(values.size()), type);
    for (const Variant& value : values) item(value);
}

void RecordWriter::longs(const Array<int32_t>& table, int32_t n) {
    bool ok = false;
    check(io_.WriteIntegerArray(n, kWriteDelim, table, file_, ok));
}

void RecordWriter::singles(const Array<float>& table, int32_t n) {
    bool ok = false;
    check(io_.WriteRealArray(n, kWriteDelim, table, file_, ok));
}

int32_t itemCountOf(size_t elements) { return checkedLong(static_cast<int64_t>(elements)); }

}  // namespace tkstream63
