// The keyword-driven reading loop that every importer shares, the record readers and the writer
// its importers and exporters use, and the field-by-field comparison that checks a round trip.
//
// An importer hands the loop a dispatcher: a callable that gets each record's header, reads what
// it needs (through the readers below, which raise the record layer's error on a failed read)
// and says whether the record closed the importer's section. The loop counts the records, ticks
// the file's progress after every tenth, and stops at the end of the file or at the closing
// record, whichever comes first. It cannot spin: a header that cannot be read makes the file
// report its end.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "common/bounded_array.hpp"
#include "common/errors.hpp"
#include "common/variant.hpp"
#include "recordfile/record_file.hpp"
#include "recordfile/record_io.hpp"

namespace tkstream63 {

// Error number for a file that ends before the section it holds is closed ("Input past end of
// file").
inline constexpr int32_t kErrPastEndOfFile = 62;

// The header of the record in hand.
struct RecordHeader {
    std::string keyword;
    int32_t count = 0;
    std::string type;
    int64_t offset = 0;  // where the record starts in the file
};

// What a dispatcher reports after one record.
enum class RecordStep {
    Next,           // keep reading
    SectionClosed,  // the importer's closing record was read
    Stopped,        // stop as if closed (a nested import failed and reported it); the end of the file is not checked
    Abandon,        // stop now; the failure has been reported already
};

struct ReadingLoopSettings {
    std::string_view source;          // class reported as the error source
    std::string_view procedure;       // procedure reported ("BINARYIMPORT")
    std::string_view closingKeyword;  // named when the file ends before it
    // True: a header that cannot be read raises the record layer's error (ending the import).
    // False: it is reported and the loop ends at the end of file the failure leaves behind.
    bool raiseOnHeaderFailure = true;
};

namespace detail {
void reportRecordFailure(const ReadingLoopSettings& settings, int32_t code, const RecordFile& file);
void reportEndBeforeClosing(const ReadingLoopSettings& settings, const RecordFile& file);
// Counts the reading loops nested on one file, so the outermost one can check the file's end.
class ReadingDepth {
public:
    explicit ReadingDepth(RecordFile& file);
    ~ReadingDepth();
    ReadingDepth(const ReadingDepth&) = delete;
    ReadingDepth& operator=(const ReadingDepth&) = delete;
    bool outermost() const noexcept { return outermost_; }

private:
    RecordFile& file_;
    bool outermost_ = false;
};
// After the outermost section closed: raises the record layer's error when the file is known to
// be cut or damaged after it.
void checkEndAfterClosing(RecordFile& file);
int64_t recordOffset(RecordFile& file);
}  // namespace detail

// Reads records until the section closes or the file ends. Returns true when the dispatcher
// reported the closing record. Errors raised by the dispatcher pass through to the caller's trap.
// The outermost loop on a file also makes sure the file ends soundly when its section closes:
// nothing cut or damaged was found after it.
template <class Dispatch>
bool runReadingLoop(RecordIO& io, RecordFile& file, const ReadingLoopSettings& settings, Dispatch&& dispatch) {
    constexpr int32_t kRecordsPerTick = 10;
    const detail::ReadingDepth depth(file);
    RecordHeader header;
    int32_t recordsSinceTick = 0;
    bool headerFailureReported = false;
    RecordStep step = RecordStep::Next;
    for (;;) {
        bool headerOK = false;
        const int32_t code = io.ReadRecordHeader(file, header.keyword, header.count, header.type, headerOK);
        if (headerOK) {
            header.offset = detail::recordOffset(file);
            step = dispatch(static_cast<const RecordHeader&>(header));
        } else if (settings.raiseOnHeaderFailure) {
            checkRecordCall(code, file);
        } else {
            detail::reportRecordFailure(settings, code, file);
            headerFailureReported = true;
        }
        if (step == RecordStep::Abandon) return false;
        if (++recordsSinceTick == kRecordsPerTick) {
            recordsSinceTick = 0;
            file.ProgressTick();
        }
        int32_t bytesRead = 0;
        int32_t bytesTotal = 0;
        bool endOfFile = false;
        file.GetReadState(bytesRead, bytesTotal, endOfFile);
        if (step == RecordStep::Stopped) return true;
        if (step == RecordStep::SectionClosed) {
            if (depth.outermost()) detail::checkEndAfterClosing(file);
            return true;
        }
        if (endOfFile) break;
    }
    if (!headerFailureReported) detail::reportEndBeforeClosing(settings, file);
    return false;
}

// ---- readers for dispatchers; each raises the record layer's error when the read fails ----

// The whole body of the record in hand as (1 To count). The record's checksum has been checked
// when these return, so the values may be used.
Array<int32_t> readLongs(RecordIO& io, RecordFile& file, const RecordHeader& header);
Array<float> readSingles(RecordIO& io, RecordFile& file, const RecordHeader& header);
Array<bool> readLogicals(RecordIO& io, RecordFile& file, const RecordHeader& header);
Array<double> readDoubles(RecordIO& io, RecordFile& file, const RecordHeader& header);
// The "CHAR" items of the record in hand, read one by one.
std::vector<std::string> readTexts(RecordIO& io, RecordFile& file, const RecordHeader& header);
// One "CHAR" item.
std::string readText(RecordIO& io, RecordFile& file);
// Reads the body past by its type, in small pieces, and drops it (its checksum is still
// checked). A record of a type this library does not know is left alone.
void readPast(RecordIO& io, RecordFile& file, const RecordHeader& header);
// Fills an array's storage in place from the record in hand (count items from storage offset 0,
// the rest cleared); the caller has sized the array. On a failed read the array is cleared, so
// no value of a damaged record stays behind.
void readLongsInPlace(RecordIO& io, RecordFile& file, const RecordHeader& header, Array<int32_t>& table);
void readSinglesInPlace(RecordIO& io, RecordFile& file, const RecordHeader& header, Array<float>& table);

// ---- the memory budget of a load ----

// Charges memory the import is about to allocate for the record in hand (`what` says for what)
// to the load's budget: a fixed factor times the file's size plus an allowance, one budget for
// the whole load (RecordCodec::charge). Over the budget, raises the record layer's error naming
// the record and its byte offset, or the truncation that made the file look too small.
void chargeLoad(RecordFile& file, int64_t bytes, const std::string& what);
// elements x bytesPerElement, with negative counts as none and products past 2^63 saturated.
int64_t bytesFor(int64_t elements, int64_t bytesPerElement);

// ---- writer for exporters ----

// The storage size of a table as a record's item count (error 6 past a Long).
int32_t itemCountOf(size_t elements);

// Writes records through one RecordIO. With raiseOnFailure a failed write raises the record
// layer's error for the caller's trap; without it the first failure is reported once and writing
// goes on (later writes fail too: the file refuses them once one failed).
class RecordWriter {
public:
    RecordWriter(RecordIO& io, RecordFile& file, bool raiseOnFailure = true, std::string_view source = {},
                 std::string_view procedure = {})
        : io_(io), file_(file), raiseOnFailure_(raiseOnFailure), source_(source), procedure_(procedure) {}

    void header(const std::string& keyword, int32_t count, const char* type);
    void item(const Variant& value);
    // A header and one item per value.
    void record(const std::string& keyword, const char* type, std::initializer_list<Variant> values);
    // A "CHAR" record with no body ("NAME>" or "<NAME").
    void marker(const std::string& keyword) { header(keyword, 0, "CHAR"); }
    // The first n values of a table's storage (all of it by default) as the body of the record
    // just announced, in one call.
    void longs(const Array<int32_t>& table) { longs(table, itemCountOf(table.size())); }
    void longs(const Array<int32_t>& table, int32_t n);
    void singles(const Array<float>& table) { singles(table, itemCountOf(table.size())); }
    void singles(const Array<float>& table, int32_t n);
    // Success of the last operation.
    bool lastOK() const noexcept { return lastOK_; }

private:
    void check(int32_t code);

    RecordIO& io_;
    RecordFile& file_;
    bool raiseOnFailure_;
    std::string_view source_;
    std::string_view procedure_;
    bool lastOK_ = true;
    bool failureReported_ = false;
};

// ---- round-trip check ----

// Compares fields one by one and remembers the first that differs. Floats compare bit for bit.
class ContentsComparison {
public:
    template <class T>
    void field(const char* name, const T& a, const T& b) {
        if (!difference_.empty()) return;
        if (!sameValue(a, b)) difference_ = name;
    }
    template <class T>
    void table(const char* name, const Array<T>& a, const Array<T>& b) {
        if (!difference_.empty()) return;
        bool same = a.rank() == b.rank() && a.size() == b.size();
        for (int d = 1; same && d <= a.rank(); ++d) same = a.lbound(d) == b.lbound(d) && a.ubound(d) == b.ubound(d);
        if constexpr (std::is_arithmetic_v<T>) {
            // Bit for bit, so a whole table compares in one pass.
            same = same && (a.size() == 0 || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
        } else {
            for (size_t k = 0; same && k < a.size(); ++k) same = sameValue(a.data()[k], b.data()[k]);
        }
        if (!same) difference_ = name;
    }
    // A nested comparison's result, prefixed with name.
    void nested(const char* name, bool same, const std::string& nestedDifference) {
        if (difference_.empty() && !same) difference_ = std::string(name) + "." + nestedDifference;
    }
    bool same() const noexcept { return difference_.empty(); }
    const std::string& difference() const noexcept { return difference_; }

private:
    template <class T>
    static bool sameValue(const T& a, const T& b) {
        if constexpr (std::is_same_v<T, float>) {
            return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b);
        } else if constexpr (std::is_same_v<T, double>) {
            return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b);
        } else {
            return a == b;
        }
    }

    std::string difference_;
};

}  // namespace tkstream63
