// The binary form of the records (layout in docs/record-format.md): little-endian, fixed-width
// items, every header and every body guarded by a CRC-32C. Large bodies move straight between
// the caller's array and the file in chunks that are checksummed while they are in the cache.
#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "recordfile/crc32c.hpp"
#include "recordfile/record_codec.hpp"

namespace tkstream63 {
namespace {

constexpr uint8_t kMagic[8] = {0x89, 'T', 'K', 'R', 'E', 'C', '\r', '\n'};
constexpr uint32_t kFormatVersion = 1;
constexpr size_t kPreambleBytes = 12;
// Header: keyword length, keyword, type, count, body length, padding length, header CRC.
constexpr size_t kHeaderFixedBytes = 1 + 4 + 4 + 8 + 2 + 4;
constexpr size_t kCrcField = 18;  // offset of the header CRC after the keyword
// A large body is preceded by zero bytes that give it the same offset within a 4 KiB page in the
// file as the caller's array has in memory. The system copies such writes (and reads into arrays
// allocated alike) much faster than ones whose page offsets differ by a few bytes.
constexpr size_t kPageBytes = 4096;
constexpr size_t kTrailerBytes = 4;
// Bodies move between the caller's array and the file in pieces of this size: few system calls,
// yet small enough to stay in the cache between the system's copy and the checksum.
constexpr size_t kDirectChunk = size_t{1} << 20;
// Values that need converting (or are read only to be dropped) pass through a scratch buffer.
constexpr size_t kScratchChunk = size_t{256} * 1024;
// Bodies from this size on get the page-offset padding below.
constexpr size_t kPaddedBodyBytes = size_t{256} * 1024;

void putLittle32(uint8_t* out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out[i] = static_cast<uint8_t>(v >> (8 * i));
}
void putLittle64(uint8_t* out, uint64_t v) {
    for (int i = 0; i < 8; ++i) out[i] = static_cast<uint8_t>(v >> (8 * i));
}
uint32_t getLittle32(const uint8_t* in) {
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i) v = (v << 8) | in[i];
    return v;
}
uint64_t getLittle64(const uint8_t* in) {
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = (v << 8) | in[i];
    return v;
}

// Whether a run of this type has the same bytes in memory as in the file.
bool storedAsIs(ItemType type) {
    return type == ItemType::Byte || (std::endian::native == std::endian::little && type != ItemType::Logi);
}

// Memory values [first, first + n) to their file bytes, and back.
void encodeItems(ItemType type, const void* values, size_t first, size_t n, uint8_t* out) {
    for (size_t i = 0; i < n; ++i) {
        switch (type) {
            case ItemType::Inte:
                putLittle32(out + 4 * i, static_cast<uint32_t>(static_cast<const int32_t*>(values)[first + i]));
                break;
            case ItemType::Real:
                putLittle32(out + 4 * i, std::bit_cast<uint32_t>(static_cast<const float*>(values)[first + i]));
                break;
            case ItemType::Doub:
                putLittle64(out + 8 * i, std::bit_cast<uint64_t>(static_cast<const double*>(values)[first + i]));
                break;
            case ItemType::Logi:
                putLittle32(out + 4 * i, static_cast<const bool*>(values)[first + i] ? 0xFFFFFFFFu : 0u);
                break;
            default:
                out[i] = static_cast<const uint8_t*>(values)[first + i];
                break;
        }
    }
}

void decodeItems(ItemType type, const uint8_t* in, size_t n, void* values, size_t first) {
    for (size_t i = 0; i < n; ++i) {
        switch (type) {
            case ItemType::Inte:
                static_cast<int32_t*>(values)[first + i] = static_cast<int32_t>(getLittle32(in + 4 * i));
                break;
            case ItemType::Real:
                static_cast<float*>(values)[first + i] = std::bit_cast<float>(getLittle32(in + 4 * i));
                break;
            case ItemType::Doub:
                static_cast<double*>(values)[first + i] = std::bit_cast<double>(getLittle64(in + 8 * i));
                break;
            case ItemType::Logi:
                static_cast<bool*>(values)[first + i] = getLittle32(in + 4 * i) != 0;
                break;
            default:
                static_cast<uint8_t*>(values)[first + i] = in[i];
                break;
        }
    }
}

class BinaryCodec final : public RecordCodec {
public:
    using RecordCodec::RecordCodec;

    bool writePreamble() override {
        uint8_t preamble[kPreambleBytes];
        std::memcpy(preamble, kMagic, sizeof kMagic);
        putLittle32(preamble + 8, kFormatVersion);
        return file_.putBytes(preamble, sizeof preamble);
    }

    bool readPreamble() override {
        const std::string name = "'" + file_.Path() + "'";
        uint8_t preamble[kPreambleBytes];
        if (file_.bytesLeft() < static_cast<int64_t>(kPreambleBytes) || !file_.takeBytes(preamble, kPreambleBytes) ||
            std::memcmp(preamble, kMagic, sizeof kMagic) != 0)
            return file_.fail(kRecordBadFormat, name + " is not a tkstream63 record file");
        const uint32_t version = getLittle32(preamble + 8);
        if (version != kFormatVersion)
            return file_.fail(kRecordBadFormat, name + " is in record format version " + std::to_string(version) +
                                                    ", but this library reads version " +
                                                    std::to_string(kFormatVersion) + " only");
        recordEnd_ = file_.position();
        return true;
    }

    bool atEnd() override { return exhausted_ || recordEnd_ >= file_.fileSize(); }

protected:
    // ---- writing ----

    bool encodeHeader() override {
        crc_ = 0;
        // A CHAR body's length is known only when its last string arrives, and a fixed-width
        // body's padding only when its first values arrive, so the header waits.
        pendingText_.clear();
        headerPending_ = true;
        return true;
    }

    bool encodeValues(ItemType type, const void* values, size_t n) override {
        const size_t width = itemWidth(type);
        if (headerPending_) {
            size_t padding = 0;
            if (storedAsIs(type) && n * width >= kPaddedBodyBytes) {
                const auto bodyStart =
                    static_cast<uintptr_t>(file_.position()) + kHeaderFixedBytes + record_.keyword.size();
                padding = (reinterpret_cast<uintptr_t>(values) - bodyStart) % kPageBytes;
            }
            if (!putHeader(static_cast<uint64_t>(record_.count) * width, padding)) return false;
        }
        if (storedAsIs(type)) return streamOut(static_cast<const uint8_t*>(values), n * width);
        const size_t perChunk = kScratchChunk / width;
        for (size_t first = 0; first < n; first += perChunk) {
            const size_t items = std::min(perChunk, n - first);
            encodeItems(type, values, first, items, scratch());
            if (!streamOut(scratch(), items * width)) return false;
        }
        return true;
    }

    bool encodeText(std::string_view text) override {
        if (text.size() > UINT32_MAX) return failRecord(kRecordInvalidCall, "a string item is longer than 4 GiB");
        uint8_t length[4];
        putLittle32(length, static_cast<uint32_t>(text.size()));
        pendingText_.append(reinterpret_cast<const char*>(length), sizeof length);
        pendingText_.append(text);
        return true;
    }

    bool endRecordWrite() override {
        if (record_.type == ItemType::Char) {
            if (!putHeader(pendingText_.size(), 0)) return false;
            const bool written = streamOut(reinterpret_cast<const uint8_t*>(pendingText_.data()), pendingText_.size());
            pendingText_.clear();
            if (!written || record_.count == 0) return written;
        } else if (record_.count == 0) {
            return putHeader(0, 0);
        }
        uint8_t trailer[kTrailerBytes];
        putLittle32(trailer, crc_);
        return file_.putBytes(trailer, sizeof trailer);
    }

    // ---- reading ----

    bool decodeHeader(Record& next) override {
        if (file_.bytesLeft() <= 0) return failHeader(kRecordPastEnd, "end of file, no further record");
        uint8_t header[kHeaderFixedBytes + kMaxKeywordBytes];
        if (!file_.takeBytes(header, 1)) return failHeader(file_.LastErrorCode(), file_.LastError());
        const size_t keywordBytes = header[0];
        if (keywordBytes > kMaxKeywordBytes)
            return failHeader(kRecordBadFormat, "no record starts here (keyword length " +
                                                    std::to_string(keywordBytes) + "): the file is damaged");
        const size_t headerBytes = kHeaderFixedBytes + keywordBytes;
        if (file_.bytesLeft() < static_cast<int64_t>(headerBytes - 1))
            return failHeader(kRecordPastEnd, "the file ends inside a record header: it is truncated");
        if (!file_.takeBytes(header + 1, headerBytes - 1)) return failHeader(file_.LastErrorCode(), file_.LastError());
        const uint8_t* fields = header + 1 + keywordBytes;
        if (crc32c(0, header, headerBytes - 4) != getLittle32(fields + kCrcField))
            return failHeader(kRecordBadFormat, "header checksum mismatch: the file is damaged");

        next.keyword.assign(reinterpret_cast<const char*>(header + 1), keywordBytes);
        next.typeName.assign(reinterpret_cast<const char*>(fields), 4);
        next.type = itemTypeFromName(next.typeName);
        const uint64_t count = getLittle32(fields + 4);
        const uint64_t bodyBytes = getLittle64(fields + 8);
        const uint64_t padding = uint64_t{fields[16]} | (uint64_t{fields[17]} << 8);
        const std::string named = "record '" + next.keyword + "' ";
        const size_t width = itemWidth(next.type);
        if (count > INT32_MAX || padding >= kPageBytes || (width > 0 && bodyBytes != count * width) ||
            (next.type == ItemType::Char && (bodyBytes < 4 * count || (count == 0 && bodyBytes != 0))))
            return failHeader(kRecordBadFormat, named + "has " + std::to_string(count) + " " + next.typeName +
                                                    " items in " + std::to_string(bodyBytes) +
                                                    " bytes, which cannot be: the file is damaged");
        const uint64_t trailerBytes = bodyBytes > 0 ? kTrailerBytes : 0;
        const auto left = static_cast<uint64_t>(file_.bytesLeft());
        if (bodyBytes > left || trailerBytes + padding > left - bodyBytes)
            return failHeader(kRecordPastEnd, named + "claims " + std::to_string(count) + " items (" +
                                                  std::to_string(bodyBytes) + " bytes) but only " +
                                                  std::to_string(left) + " bytes are left: the file is truncated");
        next.count = next.itemsLeft = static_cast<int64_t>(count);
        bodyLeft_ = bodyBytes_ = bodyBytes;
        crc_ = 0;
        damaged_ = false;
        recordEnd_ = file_.position() + static_cast<int64_t>(padding + bodyBytes + trailerBytes);
        bodyStart_ = file_.position() + static_cast<int64_t>(padding);
        return skipPadding(padding, next.keyword);
    }

    int64_t bodyOffset() const override { return bodyStart_; }

    bool decodeValues(ItemType type, void* values, size_t n) override {
        if (damaged_) return markDamaged("an earlier item could not be read");
        const size_t width = itemWidth(type);
        if (values != nullptr && storedAsIs(type)) return streamIn(static_cast<uint8_t*>(values), n * width);
        const size_t perChunk = kScratchChunk / width;
        for (size_t first = 0; first < n; first += perChunk) {
            const size_t items = std::min(perChunk, n - first);
            if (!streamIn(scratch(), items * width)) return false;
            if (values != nullptr) decodeItems(type, scratch(), items, values, first);
        }
        return true;
    }

    bool decodeText(std::string* text) override {
        if (damaged_) return markDamaged("an earlier item could not be read");
        uint8_t lengthBytes[4];
        if (bodyLeft_ < sizeof lengthBytes) return markDamaged("a string item is cut off");
        if (!streamIn(lengthBytes, sizeof lengthBytes)) return false;
        const uint32_t length = getLittle32(lengthBytes);
        if (length > bodyLeft_)
            return markDamaged("a string item claims " + std::to_string(length) + " bytes but only " +
                               std::to_string(bodyLeft_) + " are left in the body");
        if (text == nullptr) return streamIn(nullptr, length);
        text->resize(length);
        return streamIn(reinterpret_cast<uint8_t*>(text->data()), length);
    }

    bool endRecordRead() override {
        if (bodyLeft_ != 0)
            return markDamaged("its items end " + std::to_string(bodyLeft_) + " bytes before its body does");
        if (bodyBytes_ == 0) return true;
        uint8_t trailer[kTrailerBytes];
        if (!file_.takeBytes(trailer, sizeof trailer)) return bodyUnreadable();
        if (getLittle32(trailer) != crc_)
            return failRecord(kRecordBadFormat,
                              "checksum mismatch: the record is damaged and none of its values may be used");
        return true;
    }

    bool passOverRest() override {
        const int64_t rest = recordEnd_ - file_.position();
        if (rest <= 0 || file_.skipBytes(rest)) return true;
        return failHeader(file_.LastErrorCode(), "cannot pass over the rest of the record: " + file_.LastError());
    }

private:
    bool putHeader(uint64_t bodyBytes, size_t padding) {
        headerPending_ = false;
        uint8_t header[kHeaderFixedBytes + kMaxKeywordBytes];
        const size_t keywordBytes = record_.keyword.size();
        header[0] = static_cast<uint8_t>(keywordBytes);
        std::memcpy(header + 1, record_.keyword.data(), keywordBytes);
        uint8_t* fields = header + 1 + keywordBytes;
        std::memcpy(fields, record_.typeName.data(), 4);
        putLittle32(fields + 4, static_cast<uint32_t>(record_.count));
        putLittle64(fields + 8, bodyBytes);
        fields[16] = static_cast<uint8_t>(padding);
        fields[17] = static_cast<uint8_t>(padding >> 8);
        const size_t headerBytes = kHeaderFixedBytes + keywordBytes;
        putLittle32(fields + kCrcField, crc32c(0, header, headerBytes - 4));
        static constexpr uint8_t zeros[kPageBytes] = {};
        return file_.putBytes(header, headerBytes) && file_.putBytes(zeros, padding);
    }

    // The padding before a body must be zeros; anything else is damage.
    bool skipPadding(uint64_t padding, const std::string& keyword) {
        if (padding == 0) return true;
        uint8_t* bytes = scratch();
        if (!file_.takeBytes(bytes, padding)) return failHeader(file_.LastErrorCode(), file_.LastError());
        for (uint64_t i = 0; i < padding; ++i)
            if (bytes[i] != 0)
                return failHeader(kRecordBadFormat, "the padding before the body of record '" + keyword +
                                                        "' is not blank: the file is damaged");
        return true;
    }

    // Body bytes to the file, checksummed chunk by chunk.
    bool streamOut(const uint8_t* bytes, size_t n) {
        for (size_t done = 0; done < n;) {
            const size_t piece = std::min(kDirectChunk, n - done);
            // The system's copy brings the piece into the cache; the checksum then reads it there.
            if (!file_.putBytes(bytes + done, piece)) return false;
            crc_ = crc32c(crc_, bytes + done, piece);
            done += piece;
        }
        return true;
    }

    // Body bytes from the file into destination (or dropped when it is null), checksummed chunk
    // by chunk.
    bool streamIn(uint8_t* destination, size_t n) {
        if (n > bodyLeft_) return markDamaged("its items run past the end of its body");
        for (size_t done = 0; done < n;) {
            const size_t piece = std::min(destination != nullptr ? kDirectChunk : kScratchChunk, n - done);
            uint8_t* target = destination != nullptr ? destination + done : scratch();
            if (!file_.takeBytes(target, piece)) return bodyUnreadable();
            crc_ = crc32c(crc_, target, piece);
            done += piece;
        }
        bodyLeft_ -= n;
        return true;
    }

    bool markDamaged(const std::string& problem) {
        damaged_ = true;
        return failRecord(kRecordBadFormat, problem + ": the record is damaged and its values must not be used");
    }

    // The header promised more bytes than could be read: nothing after this point is trusted.
    bool bodyUnreadable() {
        exhausted_ = true;
        return failRecord(file_.LastErrorCode(), "its body cannot be read: " + file_.LastError());
    }

    uint8_t* scratch() {
        if (scratch_.empty()) scratch_.resize(kScratchChunk);
        return scratch_.data();
    }

    uint32_t crc_ = 0;
    std::string pendingText_;   // CHAR body waiting for its last string
    bool headerPending_ = false;  // the current record's header is not written yet
    uint64_t bodyLeft_ = 0;     // body bytes of the current record not yet read
    uint64_t bodyBytes_ = 0;
    int64_t recordEnd_ = 0;     // where the next record starts
    int64_t bodyStart_ = 0;     // where the current record's body starts
    bool damaged_ = false;      // the current record's body cannot be trusted any more
    std::vector<uint8_t> scratch_;
};

}  // namespace

std::unique_ptr<RecordCodec> makeBinaryCodec(RecordFile& file) { return std::make_unique<BinaryCodec>(file); }

}  // namespace tkstream63
