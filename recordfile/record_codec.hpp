// Internal: the record bookkeeping shared by the binary and the formatted form, and the interface
// each form implements. RecordFile owns one codec; RecordIO drives it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

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
    int64_t bodyOffset = -1;   // first body byte; -1 where the form has no fixed layout (text)
    int64_t bodyBytes = 0;
    size_t itemWidth = 0;      // bytes per item, little-endian; 0 for CHAR
};

// Values in memory travel as runs of one C++ type per item type: int32_t (Inte), float (Real),
// double (Doub), bool (Logi) and uint8_t (Byte). A null destination means "read and drop".
class RecordCodec {
public:
    explicit RecordCodec(RecordFile& file) : file_(file) {}
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
    // The export is complete: no record is waiting for items.
    bool finishWriting();

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
    // Passes over everything up to offset (a record start at or after the current position), so
    // that the next readHeader reads the record there: one section of a file, read on its own.
    bool startAt(int64_t offset);

    // Whether n items of this type can be read from the current record now (fails if not).
    bool checkReadable(ItemType type, size_t n);

    ItemType currentType() const noexcept { return record_.type; }
    int64_t itemsLeft() const noexcept { return record_.itemsLeft; }

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
    // Reads the header at next.offset into next (keyword, type name, type, count, items left);
    // failures go through failHeader().
    virtual bool decodeHeader(Record& next) = 0;
    virtual bool decodeValues(ItemType type, void* values, size_t n) = 0;
    virtual bool decodeText(std::string* text) = 0;
    virtual bool endRecordRead() = 0;   // every item of the record was read
    virtual bool passOverRest() = 0;    // the caller left part of the record unread
    // First body byte of the record just decoded, or -1 where the form has no fixed layout.
    virtual int64_t bodyOffset() const { return -1; }

    RecordFile& file_;
    Record record_;
    bool exhausted_ = false;  // a header could not be read: nothing further is readable
    int64_t headerOffset_ = 0;  // where the header being read starts

private:
    bool checkWritable(ItemType type, size_t n);
    bool afterItemsWritten(size_t n);
    bool afterItemsRead(size_t n);
};

std::unique_ptr<RecordCodec> makeBinaryCodec(RecordFile& file);
std::unique_ptr<RecordCodec> makeFormattedCodec(RecordFile& file);

}  // namespace tkstream63
