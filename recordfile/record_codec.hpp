// Internal: the record bookkeeping shared by the binary and the formatted form, and the interface
// each form implements. RecordFile owns one codec; RecordIO drives it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "recordfile/record_file.hpp"

namespace tkstream63 {

enum class ItemType : uint8_t { Inte, Real, Doub, Char, Logi, Byte, Unknown };

// "INTE" -> Inte and so on; any other text is Unknown.
ItemType itemTypeFromName(std::string_view name);
const char* itemTypeName(ItemType type);
// Bytes per item in the binary form (0 for Char and Unknown, which have no fixed width).
size_t itemWidth(ItemType type);

// Longest keyword a record can carry, in bytes.
constexpr size_t kMaxKeywordBytes = 64;

// Where the record in hand lies in the file. The binary form stores fixed-width items at fixed
// offsets, so a reader can go straight to item i of a body: bodyOffset + i * itemWidth.
struct RecordLayout {
    int64_t headerOffset = 0;  // where the record starts
    int64_t recordNumber = 0;  // its place in the file, 1 for the first record
    int64_t bodyOffset = -1;   // first body byte; -1 where the form has no fixed layout (text)
    int64_t bodyBytes = 0;
    size_t itemWidth = 0;      // bytes per item, little-endian; 0 for CHAR
    // Binary form 2 stores a check per block of kBodyBlockBytes after the body, 4 bytes each;
    // -1 where there are none (version 1 has one check over the whole body).
    int64_t checksOffset = -1;
    uint32_t checkSeed = 0;    // what every block check of this record starts from
};
inline constexpr int64_t kBodyBlockBytes = int64_t{64} * 1024;
// The check of block `block` of a body (n bytes), to compare with the one stored in the file.
uint32_t bodyBlockCheck(const RecordLayout& layout, uint64_t block, const uint8_t* bytes, size_t n);

// The end of a binary file of version 2: what its trailer says. indexOffset and indexLength are
// 0 in a file without an index record.
struct TrailerFacts {
    int64_t records = 0;
    int64_t fileLength = 0;
    int64_t indexOffset = 0;
    int64_t indexLength = 0;
};
inline constexpr size_t kFileTrailerBytes = 52;
inline constexpr int64_t kFilePreambleBytes = 12;
// Decodes the last kFileTrailerBytes of a file; false when they are not an intact trailer.
bool decodeTrailer(const uint8_t* bytes, TrailerFacts& facts);

// The values of a small record (at most kObservedItems items), by item type; the rest stay empty.
struct RecordValues {
    std::vector<int32_t> longs;
    std::vector<float> singles;
    std::vector<bool> logicals;
    std::vector<std::string> texts;
};
inline constexpr int64_t kObservedItems = 64;

// A record as it was written, for a writer that indexes its own output.
struct WrittenRecord {
    std::string keyword;
    std::string typeName;
    int64_t count = 0;
    RecordLayout layout;
    int64_t endOffset = 0;  // first byte after the record
    RecordValues values;
};

// The memory one load may allocate: this many times the file's size, plus a fixed allowance.
// Everything an import allocates is charged against it (RecordCodec::charge), so no file, however
// made, makes a load take much more memory than the file's own size. Kept below the promise of
// 8 x the file's size + 64 MB so that what is not charged (buffers, objects) fits too.
constexpr int64_t kLoadMemoryFactor = 6;
constexpr int64_t kLoadMemoryAllowance = int64_t{48} << 20;

// Values in memory travel as runs of one C++ type per item type: int32_t (Inte), float (Real),
// double (Doub), bool (Logi) and uint8_t (Byte). A null destination means "read and drop".
class RecordCodec {
public:
    explicit RecordCodec(RecordFile& file)
        : file_(file), memoryBudget_(kLoadMemoryFactor * file.fileSize() + kLoadMemoryAllowance) {}
    virtual ~RecordCodec() = default;
    RecordCodec(const RecordCodec&) = delete;
    RecordCodec& operator=(const RecordCodec&) = delete;

    // Writes or checks the file's leading bytes.
    virtual bool writePreamble() = 0;
    virtual bool readPreamble() = 0;

    // ---- writing ----
    bool beginRecord(const std::string& keyword, int32_t count, const std::string& typeName);
    bool writeValues(ItemType type, const void* values, size_t n);
    bool writeText(std::string_view text);
    // The export is complete: no record is waiting for items. Closes the file with its trailer.
    bool finishWriting();
    // Called with every record once it is written whole (an empty function stops it).
    void observeWrites(std::function<void(const WrittenRecord&)> observer) { observer_ = std::move(observer); }
    // The next record written is the file's index: the binary form's trailer points at it.
    void markIndexRecord() noexcept { indexPending_ = true; }

    // ---- reading ----
    // Passes over whatever the caller left of the current record, then reads the next header.
    bool readHeader(std::string& keyword, int32_t& count, std::string& typeName);
    bool readValues(ItemType type, void* values, size_t n);
    bool readText(std::string* text);
    // True once no further record can be read.
    virtual bool atEnd() = 0;

    // Layout of the record whose header was read last (before any of its items are read). The
    // one place that knows where a body starts: the file view reads rows straight from it.
    RecordLayout currentLayout() const;
    // Passes over everything up to offset (the start of record recordNumber, at or after the
    // current position), so that the next readHeader reads the record there: one section of a
    // file, read on its own. The whole-file check is then not made.
    bool startAt(int64_t offset, int64_t recordNumber);

    // Whether n items of this type can be read from the current record now (fails if not).
    bool checkReadable(ItemType type, size_t n);

    ItemType currentType() const noexcept { return record_.type; }
    int64_t itemsLeft() const noexcept { return record_.itemsLeft; }
    // Where the record in hand starts.
    int64_t recordOffset() const noexcept { return record_.offset; }

    // ---- the end of the file ----
    // Fails, naming the record in hand, when the end of the file has been found cut or damaged
    // (see recordComplete). For an importer whose outermost section has just closed: the file
    // must end soundly after it, or the load fails.
    virtual bool checkEnd();
    // Nesting of the reading loops working on this file (1: the outermost).
    int& readingDepth() noexcept { return readingDepth_; }

    // ---- the memory budget of a load ----
    // Charges bytes the caller is about to allocate for the record in hand. Over the budget the
    // failure is recorded on the file, naming the record and what asked (`what`), and nothing
    // further is read. When the file turns out to end early (inside a record, or without its
    // trailer), that truncation is reported instead: a cut file can look hungrier than it is.
    bool charge(int64_t bytes, const std::string& what);
    int64_t memoryBudget() const noexcept { return memoryBudget_; }
    int64_t memoryCharged() const noexcept { return memoryCharged_; }

    // Failures that name the current record (or, for a header, where it should have started).
    bool failRecord(int32_t code, const std::string& problem);
    bool failHeader(int32_t code, const std::string& problem);

protected:
    struct Record {
        std::string keyword;
        std::string typeName;
        ItemType type = ItemType::Unknown;
        int64_t count = 0;
        int64_t itemsLeft = 0;
        int64_t offset = 0;  // where the record's header starts
    };

    // Encoding of one form. Called only after the bookkeeping checks passed.
    virtual bool encodeHeader() = 0;
    virtual bool encodeValues(ItemType type, const void* values, size_t n) = 0;
    virtual bool encodeText(std::string_view text) = 0;
    virtual bool endRecordWrite() = 0;  // every announced item was written
    virtual bool writeTrailer() = 0;    // after the last record
    // Reads the header at next.offset into next (keyword, type name, type, count, items left);
    // failures go through failHeader().
    virtual bool decodeHeader(Record& next) = 0;
    virtual bool decodeValues(ItemType type, void* values, size_t n) = 0;
    virtual bool decodeText(std::string* text) = 0;
    virtual bool endRecordRead() = 0;   // every item of the record was read
    virtual bool passOverRest() = 0;    // the caller left part of the record unread (and finishes it)
    // The record in hand has been read whole. When it is the last one, the form examines the end
    // of the file here (its trailer) and notes what it finds in the end_ fields; it does not fail
    // the record itself. A cut or damaged end is then reported by the next header read, or by
    // checkEnd() for an importer that stops at its closing record.
    virtual void recordComplete() {}
    // Adds where the body of the record just decoded lies, where the form has a fixed layout.
    virtual void describeBody(RecordLayout& /*layout*/) const {}

    RecordFile& file_;
    Record record_;
    bool exhausted_ = false;  // a header could not be read: nothing further is readable
    bool cleanEnd_ = false;   // reading stopped at the intact end of the file
    int64_t headerOffset_ = 0;  // where the header being read starts
    int64_t recordsDone_ = 0;   // records written, or read whole or in part (1 = the first)
    // What the end of the file was found to be.
    bool endChecked_ = false;   // examined
    bool endVerified_ = false;  // intact: every record was read and the trailer agrees
    int32_t endCode_ = kRecordOK;
    std::string endProblem_;    // what is wrong with it, for the next header read
    // Where the index record was written (0: none).
    int64_t indexOffset_ = 0;
    int64_t indexLength_ = 0;

private:
    // Reads on to the end without loading values; true when the file ends early.
    bool endsEarly();
    bool checkWritable(ItemType type, size_t n);
    bool afterItemsWritten(size_t n);
    // The record in hand has been written whole.
    bool recordWritten(bool ok);
    void keepValues(ItemType type, const void* values, size_t n);
    bool afterItemsRead(size_t n);

    int64_t memoryBudget_;
    int64_t memoryCharged_ = 0;
    int readingDepth_ = 0;
    std::function<void(const WrittenRecord&)> observer_;
    WrittenRecord written_;
    bool indexPending_ = false;
    bool writingIndex_ = false;
};

std::unique_ptr<RecordCodec> makeBinaryCodec(RecordFile& file);
std::unique_ptr<RecordCodec> makeFormattedCodec(RecordFile& file);

}  // namespace tkstream63
