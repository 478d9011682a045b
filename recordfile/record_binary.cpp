// The binary form of the records (layout in docs/record-format.md): little-endian, fixed-width
// items, every header and every 64 KiB block of a body guarded by a CRC-32C, records numbered in
// file order, and a trailer that counts them and carries a checksum of all their checksums. Large
// bodies move straight between the caller's array and the file in chunks that are checksummed
// while they are in the cache (the largest with a second thread sharing the work). Files of
// version 1 (no numbers, one CRC per body, no trailer) are still read.
#include <algorithm>
#include <atomic>
#include <bit>
#include <chrono>
#include <cstring>
#include <system_error>
#include <thread>
#include <vector>

#include "recordfile/crc32c.hpp"
#include "recordfile/record_codec.hpp"
#include "recordfile/record_reseal.hpp"

#if defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)
#include <immintrin.h>
#endif

namespace tkstream63 {
namespace {

constexpr uint8_t kMagic[8] = {0x89, 'T', 'K', 'R', 'E', 'C', '\r', '\n'};
constexpr uint32_t kFormatVersion = 2;
constexpr size_t kPreambleBytes = 12;

// The header's fields after the keyword: type, count, body length, padding length, (from version
// 2) the record's number, then the header CRC over everything before it.
struct HeaderLayout {
    size_t fixedBytes;  // header bytes besides the keyword
    size_t crcAt;       // offset of the header CRC after the keyword
};
constexpr HeaderLayout kHeaderV1{1 + 4 + 4 + 8 + 2 + 4, 18};
constexpr HeaderLayout kHeaderV2{1 + 4 + 4 + 8 + 2 + 4 + 4, 22};
constexpr size_t kNumberAt = 18;
constexpr size_t kLargestHeader = kHeaderV2.fixedBytes + kMaxKeywordBytes;

// A large body is preceded by zero bytes that put it at a fixed offset within a 4 KiB page of the
// file: the offset at which the C library places large heap blocks (and so the tables of Array)
// within their page. The system copies a block between file and memory much faster when the two
// page offsets agree than when they differ by a few bytes. The padding depends on the file alone,
// so the same records always give the same bytes.
constexpr size_t kPageBytes = 4096;
constexpr size_t kBodyPageOffset = 16;
// Bodies from this size on get the padding.
constexpr size_t kPaddedBodyBytes = size_t{256} * 1024;
// A body carries one CRC per block of this size (the last block may be shorter), all of them
// after the body, so the body itself is one contiguous run, and a reader of a few values can
// check just the blocks it touches.
constexpr uint64_t kBlockBytes = uint64_t{64} * 1024;
constexpr size_t kCheckBytes = 4;
// Bodies move between the caller's array and the file in pieces of this size: few system calls,
// yet small enough to stay in the cache between the system's copy and the checksum.
constexpr size_t kDirectChunk = size_t{1} << 20;
// The chunks of a body end on multiples of kDirectChunk in the file. Written that way, the system
// caches the file in large units, and a load reads it back about a tenth faster than a file
// written in chunks that straddle those multiples.
struct BodyChunks {
    size_t bytes;  // the body's length
    size_t head = 0;  // bytes up to the first multiple (0 when the body starts on one)
    BodyChunks(int64_t fileOffset, size_t n) : bytes(n) {
        const auto past = static_cast<size_t>(static_cast<uint64_t>(fileOffset) % kDirectChunk);
        head = std::min(n, (kDirectChunk - past) % kDirectChunk);
    }
    uint32_t count() const {
        return static_cast<uint32_t>((head > 0 ? 1 : 0) + (bytes - head + kDirectChunk - 1) / kDirectChunk);
    }
    // Where chunk k starts; count() gives the body's end.
    size_t start(uint32_t k) const {
        if (k == 0) return 0;
        const size_t skipped = head > 0 ? head + size_t{k - 1} * kDirectChunk : size_t{k} * kDirectChunk;
        return std::min(bytes, skipped);
    }
};
// Bodies from this size on take a second thread: on a save it checksums each chunk behind the
// write, on a load it takes its share of the chunks to read and check. Below this size, starting
// the thread costs more than it saves.
constexpr size_t kThreadedBody = size_t{4} << 20;
// On a save, the checker waits this long for the next chunk by polling before it sleeps: a chunk
// written to the system's cache comes well within it, and a checker that does not sleep costs the
// writing thread no wake-up call per chunk (a system call and an interrupt to the other core, dear
// on virtual machines). Chunks that go slower, to a disk, let it sleep.
constexpr auto kCheckerPollTime = std::chrono::microseconds(300);

// A second thread only pays where it gets a core of its own.
bool secondCoreAvailable() {
    static const bool available = std::thread::hardware_concurrency() > 1;
    return available;
}
// Values that need converting (or are read only to be dropped) pass through a scratch buffer.
constexpr size_t kScratchChunk = size_t{256} * 1024;

// The trailer closes a file of version 2: magic, record count, file length, the offset and length
// of an index record (0: none), the file checksum, a reserved word, the trailer's own CRC.
constexpr uint8_t kTrailerMagic[8] = {0xFF, 'T', 'K', 'E', 'N', 'D', '\r', '\n'};
constexpr size_t kTrailerBytes = 52;
constexpr size_t kTrailerCountAt = 8;
constexpr size_t kTrailerLengthAt = 16;
constexpr size_t kTrailerIndexAt = 24;
constexpr size_t kTrailerIndexLengthAt = 32;
constexpr size_t kTrailerCheckAt = 40;
constexpr size_t kTrailerCrcAt = 48;

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

std::string count(uint64_t n) { return std::to_string(n); }

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

// Where the check of block k of a body starts: the CRC of the record's header CRC and k, so a
// block cannot pass for one of another record or another place.
uint32_t blockCheckSeed(uint32_t headerCrc, uint64_t block) {
    uint8_t prefix[8];
    putLittle32(prefix, headerCrc);
    putLittle32(prefix + 4, static_cast<uint32_t>(block));
    return crc32c(0, prefix, sizeof prefix);
}

class BinaryCodec final : public RecordCodec {
public:
    using RecordCodec::RecordCodec;

    bool writePreamble() override {
        uint8_t preamble[kPreambleBytes];
        std::memcpy(preamble, kMagic, sizeof kMagic);
        putLittle32(preamble + 8, kFormatVersion);
        fileCheck_ = crc32c(0, preamble, sizeof preamble);
        return file_.putBytes(preamble, sizeof preamble);
    }

    bool readPreamble() override {
        const std::string name = "'" + file_.Path() + "'";
        uint8_t preamble[kPreambleBytes];
        if (file_.bytesLeft() < static_cast<int64_t>(kPreambleBytes) || !file_.takeBytes(preamble, kPreambleBytes) ||
            std::memcmp(preamble, kMagic, sizeof kMagic) != 0)
            return file_.fail(kRecordBadFormat, name + " is not a tkstream63 record file");
        version_ = getLittle32(preamble + 8);
        if (version_ != 1 && version_ != kFormatVersion)
            return file_.fail(kRecordBadFormat, name + " is in record format version " + std::to_string(version_) +
                                                    ", but this library reads versions 1 and 2 only");
        layout_ = version_ == 1 ? kHeaderV1 : kHeaderV2;
        fileCheck_ = crc32c(0, preamble, sizeof preamble);
        recordEnd_ = file_.position();
        // In version 2 the records end where the trailer begins (a file too short to hold one
        // is all records, cut short).
        const int64_t trailerAt = file_.fileSize() - static_cast<int64_t>(kTrailerBytes);
        recordsEnd_ = version_ == 1 || trailerAt < recordEnd_ ? file_.fileSize() : trailerAt;
        return true;
    }

    bool atEnd() override {
        if (exhausted_ || endVerified_) return true;
        if (version_ == 1) return recordEnd_ >= file_.fileSize();
        // A record still being read is the last when nothing but the trailer follows it. Once
        // the end has been found broken, the next header read reports it.
        return !endChecked_ && record_.itemsLeft > 0 && recordEnd_ >= recordsEnd_;
    }

    // A file whose trailer is not where it should be is cut or damaged; which, and where, shows
    // by reading on.
    bool checkEnd() override {
        if (endChecked_ || !trailerAbsent_) return RecordCodec::checkEnd();
        std::string keyword, typeName;
        int32_t n = 0;
        while (readHeader(keyword, n, typeName)) {
        }
        return false;
    }

protected:
    // ---- writing ----

    bool encodeHeader() override {
        // A CHAR body's length is known only when its last string arrives, and a fixed-width
        // body's padding only when its first values arrive, so the header waits.
        pendingText_.clear();
        headerPending_ = true;
        return true;
    }

    bool encodeValues(ItemType type, const void* values, size_t n) override {
        const size_t width = itemWidth(type);
        if (headerPending_) {
            const uint64_t bodyBytes = static_cast<uint64_t>(record_.count) * width;
            size_t padding = 0;
            if (bodyBytes >= kPaddedBodyBytes) {
                const auto bodyStart =
                    static_cast<uint64_t>(file_.position()) + kHeaderV2.fixedBytes + record_.keyword.size();
                padding = (kBodyPageOffset + kPageBytes - bodyStart % kPageBytes) % kPageBytes;
            }
            if (!putHeader(bodyBytes, padding)) return false;
        }
        if (storedAsIs(type)) return streamOut(static_cast<const uint8_t*>(values), n * width);
        const size_t perChunk = kScratchChunk / width;
        for (size_t first = 0; first < n; first += perChunk) {
            const size_t items = std::min(perChunk, n - first);
            encodeItems(type, values, first, items, scratch(items * width));
            if (!streamOut(scratch(items * width), items * width)) return false;
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
        finishBlock();
        std::vector<uint8_t> checks(blockCrcs_.size() * kCheckBytes);
        for (size_t k = 0; k < blockCrcs_.size(); ++k) putLittle32(checks.data() + kCheckBytes * k, blockCrcs_[k]);
        fileCheck_ = crc32c(fileCheck_, checks.data(), checks.size());
        return file_.putBytes(checks.data(), checks.size());
    }

    bool writeTrailer() override {
        uint8_t trailer[kTrailerBytes] = {};
        std::memcpy(trailer, kTrailerMagic, sizeof kTrailerMagic);
        putLittle64(trailer + kTrailerCountAt, static_cast<uint64_t>(recordsDone_));
        putLittle64(trailer + kTrailerLengthAt, static_cast<uint64_t>(file_.position()) + kTrailerBytes);
        putLittle64(trailer + kTrailerIndexAt, static_cast<uint64_t>(indexOffset_));
        putLittle64(trailer + kTrailerIndexLengthAt, static_cast<uint64_t>(indexLength_));
        putLittle32(trailer + kTrailerCheckAt, fileCheck_);
        putLittle32(trailer + kTrailerCrcAt, crc32c(0, trailer, kTrailerCrcAt));
        return file_.putBytes(trailer, sizeof trailer);
    }

    // ---- reading ----

    bool decodeHeader(Record& next) override {
        if (version_ >= 2 && !endChecked_ && (file_.position() >= recordsEnd_ || atTrailer())) lookAtEnd();
        if (endChecked_) return endVerified_ ? endOfRecords() : failHeader(endCode_, endProblem_);
        if (file_.bytesLeft() <= 0) return endOfRecords();
        uint8_t header[kLargestHeader];
        if (!file_.takeBytes(header, 1)) return failHeader(file_.LastErrorCode(), file_.LastError());
        const size_t keywordBytes = header[0];
        if (keywordBytes > kMaxKeywordBytes)
            return failHeader(kRecordBadFormat, "no record starts here (keyword length " + std::to_string(keywordBytes) +
                                                    "): the file is damaged");
        const size_t headerBytes = layout_.fixedBytes + keywordBytes;
        const auto available = static_cast<size_t>(std::min<int64_t>(file_.bytesLeft(), headerBytes - 1));
        if (available < headerBytes - 1) {
            file_.takeBytes(header + 1, available);
            const std::string keyword(reinterpret_cast<const char*>(header + 1), std::min(available, keywordBytes));
            return failHeader(kRecordPastEnd, "the file ends at byte " + count(file_.fileSize()) +
                                                  ", inside the header of record '" + keyword + "': it is truncated");
        }
        if (!file_.takeBytes(header + 1, headerBytes - 1)) return failHeader(file_.LastErrorCode(), file_.LastError());
        const uint8_t* fields = header + 1 + keywordBytes;
        const uint32_t headerCrc = getLittle32(fields + layout_.crcAt);
        if (crc32c(0, header, headerBytes - kCheckBytes) != headerCrc)
            return failHeader(kRecordBadFormat, "header checksum mismatch: the file is damaged");

        next.keyword.assign(reinterpret_cast<const char*>(header + 1), keywordBytes);
        next.typeName.assign(reinterpret_cast<const char*>(fields), 4);
        next.type = itemTypeFromName(next.typeName);
        const uint64_t items = getLittle32(fields + 4);
        const uint64_t bodyBytes = getLittle64(fields + 8);
        const uint64_t padding = uint64_t{fields[16]} | (uint64_t{fields[17]} << 8);
        const std::string named = "record '" + next.keyword + "' ";
        if (version_ >= 2) {
            const uint64_t number = getLittle32(fields + kNumberAt);
            const auto expected = static_cast<uint64_t>(recordsDone_) + 1;
            if (number != expected)
                return failHeader(kRecordBadFormat, named + "is record number " + count(number) + " of the file where number " +
                                                        count(expected) + " should follow: records are missing, repeated or " +
                                                        "out of order; the file is damaged");
        }
        const size_t width = itemWidth(next.type);
        if (items > INT32_MAX || padding >= kPageBytes || (width > 0 && bodyBytes != items * width) ||
            (next.type == ItemType::Char && (bodyBytes < 4 * items || (items == 0 && bodyBytes != 0))))
            return failHeader(kRecordBadFormat, named + "has " + count(items) + " " + next.typeName + " items in " +
                                                    count(bodyBytes) + " bytes, which cannot be: the file is damaged");
        const uint64_t checkBytes = checkCount(bodyBytes) * kCheckBytes;
        const auto left = static_cast<uint64_t>(file_.bytesLeft());
        if (bodyBytes > left || checkBytes + padding > left - bodyBytes)
            return failHeader(kRecordPastEnd, named + "(" + count(items) + " items, " + count(bodyBytes) +
                                                  " bytes) does not fit in the " + count(left) +
                                                  " bytes left: the file ends at byte " + count(file_.fileSize()) +
                                                  ", inside this record; it is truncated");
        next.count = next.itemsLeft = static_cast<int64_t>(items);
        uint8_t crcBytes[kCheckBytes];
        putLittle32(crcBytes, headerCrc);
        fileCheck_ = crc32c(fileCheck_, crcBytes, sizeof crcBytes);
        headerCrc_ = headerCrc;
        bodyLeft_ = bodyBytes_ = bodyBytes;
        bodyEnd_ = file_.position() + static_cast<int64_t>(padding + bodyBytes);
        recordEnd_ = bodyEnd_ + static_cast<int64_t>(checkBytes);
        checksOwed_ = bodyBytes > 0;
        damaged_ = false;
        startBody();
        return skipPadding(padding, next.keyword);
    }

    bool decodeValues(ItemType type, void* values, size_t n) override {
        if (damaged_) return markDamaged("an earlier item could not be read");
        const size_t width = itemWidth(type);
        if (values != nullptr && storedAsIs(type)) return streamIn(static_cast<uint8_t*>(values), n * width);
        const size_t perChunk = kScratchChunk / width;
        for (size_t first = 0; first < n; first += perChunk) {
            const size_t items = std::min(perChunk, n - first);
            if (!streamIn(scratch(items * width), items * width)) return false;
            if (values != nullptr) decodeItems(type, scratch(items * width), items, values, first);
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
            return markDamaged("a string item claims " + count(length) + " bytes but only " + count(bodyLeft_) +
                               " are left in the body");
        if (text == nullptr) return streamIn(nullptr, length);
        text->resize(length);
        return streamIn(reinterpret_cast<uint8_t*>(text->data()), length);
    }

    bool endRecordRead() override {
        if (bodyLeft_ != 0)
            return markDamaged("its items end " + count(bodyLeft_) + " bytes before its body does");
        return takeChecks(true);
    }

    bool passOverRest() override {
        if (version_ == 1) {
            const int64_t rest = recordEnd_ - file_.position();
            if (rest <= 0 || file_.skipBytes(rest)) return true;
            return failHeader(file_.LastErrorCode(), "cannot pass over the rest of the record: " + file_.LastError());
        }
        if (!checksOwed_) return true;
        // The values are passed over unread (and so unchecked); the stored checks still count
        // towards the file checksum.
        const int64_t rest = bodyEnd_ - file_.position();
        if (rest > 0 && !file_.skipBytes(rest))
            return failHeader(file_.LastErrorCode(), "cannot pass over the rest of the record: " + file_.LastError());
        if (!takeChecks(false)) return false;
        recordComplete();
        return true;
    }

    void describeBody(RecordLayout& layout) const override {
        layout.bodyOffset = bodyEnd_ - static_cast<int64_t>(bodyBytes_);
        layout.bodyBytes = static_cast<int64_t>(bodyBytes_);
        if (version_ >= 2 && bodyBytes_ > 0) {
            layout.checksOffset = bodyEnd_;
            layout.checkSeed = headerCrc_;
        }
    }

    // The end is examined as soon as the trailer (or the end of the file) is in sight.
    void recordComplete() override {
        if (version_ >= 2 && !endChecked_ && (recordEnd_ >= recordsEnd_ || atTrailer())) lookAtEnd();
    }

private:
    uint64_t checkCount(uint64_t bodyBytes) const {
        if (bodyBytes == 0) return 0;
        return version_ == 1 ? 1 : (bodyBytes + kBlockBytes - 1) / kBlockBytes;
    }

    bool endOfRecords() {
        cleanEnd_ = true;
        return failHeader(kRecordPastEnd, "end of file, no further record");
    }

    // ---- body checksums ----

    // Block k of a body is checked by the CRC-32C of the record's header CRC and k (both as 4
    // little-endian bytes) followed by the block's bytes, so a block cannot pass for one of
    // another record or another place. Version 1 has one plain CRC over the whole body.
    void startBody() {
        blockCrcs_.clear();
        blockFill_ = 0;
        blockCrc_ = blockSeed(0);
    }
    uint32_t blockSeed(uint64_t block) const { return version_ == 1 ? 0 : blockCheckSeed(headerCrc_, block); }
    void checkBody(const uint8_t* bytes, size_t n) {
        const uint64_t limit = version_ == 1 ? UINT64_MAX : kBlockBytes;
        while (n > 0) {
            const auto piece = static_cast<size_t>(std::min<uint64_t>(n, limit - blockFill_));
            blockCrc_ = crc32c(blockCrc_, bytes, piece);
            blockFill_ += piece;
            bytes += piece;
            n -= piece;
            if (blockFill_ == limit) finishBlock();
        }
    }
    void finishBlock() {
        if (blockFill_ == 0) return;
        blockCrcs_.push_back(blockCrc_);
        blockFill_ = 0;
        blockCrc_ = blockSeed(blockCrcs_.size());
    }

    // The stored checks after a body: compared with the computed ones when the body was read,
    // and in either case added to the file checksum.
    bool takeChecks(bool compare) {
        checksOwed_ = false;
        if (bodyBytes_ == 0) return true;
        finishBlock();
        std::vector<uint8_t> stored(static_cast<size_t>(checkCount(bodyBytes_)) * kCheckBytes);
        if (!file_.takeBytes(stored.data(), stored.size())) return bodyUnreadable();
        fileCheck_ = crc32c(fileCheck_, stored.data(), stored.size());
        if (!compare) return true;
        const size_t blocks = stored.size() / kCheckBytes;
        for (size_t k = 0; k < blocks; ++k) {
            if (k < blockCrcs_.size() && getLittle32(stored.data() + kCheckBytes * k) == blockCrcs_[k]) continue;
            const std::string where = blocks == 1 ? "" : " in block " + count(k + 1) + " of " + count(blocks) +
                                                             " (body bytes from " + count(k * kBlockBytes) + ")";
            return failRecord(kRecordBadFormat,
                              "checksum mismatch" + where + ": the record is damaged and none of its values may be used");
        }
        return true;
    }

    // ---- the end of a version 2 file ----

    bool atTrailer() { return file_.bytesLeft() == 0 || file_.peekByte() == kTrailerMagic[0]; }

    // Called between records, with the trailer or the end of the file in sight, or with less
    // than a trailer's size left. When a record starts here rather than the trailer, the file was
    // cut: its records simply run on to its end, where reading them reports the cut. Otherwise
    // the rest must be the trailer, and agree with the records.
    void lookAtEnd() {
        const int64_t at = file_.position();
        const int64_t size = file_.fileSize();
        if (at < size && file_.peekByte() != kTrailerMagic[0]) {
            trailerAbsent_ = true;
            recordsEnd_ = size;
            return;
        }
        endChecked_ = true;
        endCode_ = kRecordPastEnd;
        const std::string end = "the file ends at byte " + count(size);
        uint8_t trailer[kTrailerBytes];
        if (at == size) {
            endProblem_ = end + ", right after record '" + record_.keyword + "' (which starts at byte " +
                          count(record_.offset) + "), without the trailer that closes every file: it is truncated";
        } else if (size - at < static_cast<int64_t>(kTrailerBytes)) {
            endProblem_ = end + ", inside its trailer (which starts at byte " + count(at) + "): it is truncated";
        } else if (size - at > static_cast<int64_t>(kTrailerBytes)) {
            endCode_ = kRecordBadFormat;
            endProblem_ = "a file trailer stands at byte " + count(at) + ", " + count(size - at) +
                          " bytes before the end of the file: the file is damaged";
        } else if (!file_.takeBytes(trailer, sizeof trailer)) {
            endCode_ = file_.LastErrorCode();
            endProblem_ = file_.LastError();
        } else {
            endVerified_ = trailerAgrees(trailer);
        }
    }

    bool trailerAgrees(const uint8_t* trailer) {
        endCode_ = kRecordBadFormat;
        const uint64_t records = getLittle64(trailer + kTrailerCountAt);
        const uint64_t length = getLittle64(trailer + kTrailerLengthAt);
        if (std::memcmp(trailer, kTrailerMagic, sizeof kTrailerMagic) != 0 ||
            crc32c(0, trailer, kTrailerCrcAt) != getLittle32(trailer + kTrailerCrcAt)) {
            endProblem_ = "the file's trailer is damaged";
        } else if (length != static_cast<uint64_t>(file_.fileSize())) {
            endProblem_ = "the trailer gives the file's length as " + count(length) + " bytes, but it has " +
                          count(file_.fileSize()) + ": the file is damaged";
        } else if (records != static_cast<uint64_t>(recordsDone_)) {
            endProblem_ = "the trailer counts " + count(records) + " records, but " + count(recordsDone_) +
                          " precede it: records are missing or were added; the file is damaged";
        } else if (getLittle32(trailer + kTrailerCheckAt) != fileCheck_) {
            endProblem_ = "the file checksum in the trailer does not match the records: the file is damaged";
        } else {
            return true;
        }
        return false;
    }

    // ---- writing ----

    bool putHeader(uint64_t bodyBytes, size_t padding) {
        headerPending_ = false;
        if (recordsDone_ > UINT32_MAX)
            return failRecord(kRecordInvalidCall, "a file holds at most 4,294,967,295 records");
        uint8_t header[kLargestHeader];
        const size_t keywordBytes = record_.keyword.size();
        header[0] = static_cast<uint8_t>(keywordBytes);
        std::memcpy(header + 1, record_.keyword.data(), keywordBytes);
        uint8_t* fields = header + 1 + keywordBytes;
        std::memcpy(fields, record_.typeName.data(), 4);
        putLittle32(fields + 4, static_cast<uint32_t>(record_.count));
        putLittle64(fields + 8, bodyBytes);
        fields[16] = static_cast<uint8_t>(padding);
        fields[17] = static_cast<uint8_t>(padding >> 8);
        putLittle32(fields + kNumberAt, static_cast<uint32_t>(recordsDone_));
        const size_t headerBytes = kHeaderV2.fixedBytes + keywordBytes;
        headerCrc_ = crc32c(0, header, headerBytes - kCheckBytes);
        putLittle32(fields + kHeaderV2.crcAt, headerCrc_);
        fileCheck_ = crc32c(fileCheck_, fields + kHeaderV2.crcAt, kCheckBytes);
        // Where the body goes, for a writer that indexes its records (currentLayout).
        bodyBytes_ = bodyBytes;
        bodyEnd_ = file_.position() + static_cast<int64_t>(headerBytes + padding + bodyBytes);
        startBody();
        static constexpr uint8_t zeros[kPageBytes] = {};
        return file_.putBytes(header, headerBytes) && file_.putBytes(zeros, padding);
    }

    // The padding before a body must be zeros; anything else is damage.
    bool skipPadding(uint64_t padding, const std::string& keyword) {
        if (padding == 0) return true;
        uint8_t* bytes = scratch(padding);
        if (!file_.takeBytes(bytes, padding)) return failHeader(file_.LastErrorCode(), file_.LastError());
        for (uint64_t i = 0; i < padding; ++i)
            if (bytes[i] != 0)
                return failHeader(kRecordBadFormat, "the padding before the body of record '" + keyword +
                                                        "' is not blank: the file is damaged");
        return true;
    }

    // Body bytes to the file, checksummed chunk by chunk.
    bool streamOut(const uint8_t* bytes, size_t n) {
        const BodyChunks chunks(file_.position(), n);
        if (n >= kThreadedBody) {
            const ThreadedWrite written = writeWithChecker(bytes, chunks);
            if (written != ThreadedWrite::NotTried) return written == ThreadedWrite::Done;
        }
        for (uint32_t k = 0; k < chunks.count(); ++k) {
            const size_t at = chunks.start(k), piece = chunks.start(k + 1) - at;
            // The system's copy brings the piece into the cache; the checksum then reads it there.
            if (!file_.putBytes(bytes + at, piece)) return false;
            checkBody(bytes + at, piece);
        }
        return true;
    }

    enum class ThreadedWrite { Done, Failed, NotTried };

    // Writes a large body chunk by chunk while a second thread checksums each chunk as it is
    // handed over, so where a core is free the checksum adds next to no time to a save. NotTried,
    // with nothing written, where no thread could be started.
    ThreadedWrite writeWithChecker(const uint8_t* bytes, const BodyChunks& body) {
        if (!secondCoreAvailable()) return ThreadedWrite::NotTried;
        // Room for the block checks the checker adds, so that it never allocates.
        blockCrcs_.reserve(blockCrcs_.size() + body.bytes / kBlockBytes + 2);
        constexpr uint32_t kStop = UINT32_MAX;
        std::atomic<uint32_t> ready{0};  // chunks the checker may read
        const uint32_t chunks = body.count();
        std::thread checker;
        try {
            checker = std::thread([&] {
                for (uint32_t checked = 0; checked < chunks;) {
                    uint32_t upTo = ready.load(std::memory_order_acquire);
                    if (upTo == checked) upTo = awaitChange(ready, checked);
                    if (upTo == kStop) return;
                    checkBody(bytes + body.start(checked), body.start(upTo) - body.start(checked));
                    checked = upTo;
                }
            });
        } catch (const std::system_error&) {
            return ThreadedWrite::NotTried;
        }
        const auto handOver = [&](uint32_t upTo) {
            ready.store(upTo, std::memory_order_release);
            ready.notify_one();
        };
        bool written = true;
        try {
            for (uint32_t chunk = 0; written && chunk < chunks; ++chunk) {
                handOver(chunk + 1);
                written = file_.putBytes(bytes + body.start(chunk), body.start(chunk + 1) - body.start(chunk));
            }
        } catch (...) {  // out of memory for a failure's message: the checker must still end
            handOver(kStop);
            checker.join();
            throw;
        }
        if (!written) handOver(kStop);
        checker.join();
        return written ? ThreadedWrite::Done : ThreadedWrite::Failed;
    }

    // The value of ready once it differs from seen: polled for a while, then slept on.
    static uint32_t awaitChange(const std::atomic<uint32_t>& ready, uint32_t seen) {
        const auto pollUntil = std::chrono::steady_clock::now() + kCheckerPollTime;
        for (;;) {
            for (int k = 0; k < 64; ++k) {
                const uint32_t now = ready.load(std::memory_order_acquire);
                if (now != seen) return now;
                pausePolling();
            }
            if (std::chrono::steady_clock::now() >= pollUntil) break;
        }
        ready.wait(seen, std::memory_order_acquire);
        return ready.load(std::memory_order_acquire);
    }

    // Tells the core that the thread is polling, so it spends less on it.
    static void pausePolling() {
#if defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)
        _mm_pause();
#elif defined(__aarch64__) || defined(__arm__)
        __asm__ __volatile__("yield");
#endif
    }

    enum class SharedRead { Done, Failed, NotTried };

    // A large body read by two threads at once, each taking the next chunk, reading it at its
    // offset and checking its blocks while they are in its own cache: two cores copy from the
    // system's cache, so the body arrives faster than one read() brings it. Blocks are checked
    // independently of each other, so this works from a block boundary on (a version 1 body has
    // one checksum over all of it and is read in order).
    SharedRead readShared(uint8_t* destination, size_t n) {
        if (!secondCoreAvailable() || version_ == 1 || blockFill_ != 0) return SharedRead::NotTried;
        const uint64_t firstBlock = blockCrcs_.size();
        const size_t fullBlocks = n / kBlockBytes;
        blockCrcs_.resize(firstBlock + fullBlocks);
        uint32_t* crcs = blockCrcs_.data() + firstBlock;
        const int64_t start = file_.position();
        const auto chunks = static_cast<uint32_t>((n + kDirectChunk - 1) / kDirectChunk);
        std::atomic<uint32_t> next{0};
        std::atomic<int> failure{0};  // 0, or what RecordFile::readAt answered
        const auto work = [&] {
            for (uint32_t chunk; (chunk = next.fetch_add(1, std::memory_order_relaxed)) < chunks;) {
                if (failure.load(std::memory_order_relaxed) != 0) return;
                const size_t at = size_t{chunk} * kDirectChunk, piece = std::min(kDirectChunk, n - at);
                const int result = file_.readAt(destination + at, piece, start + static_cast<int64_t>(at));
                if (result != 0) {
                    failure.store(result);
                    return;
                }
                // Whole blocks only; a short last block is left to the running check below.
                for (size_t block = at / kBlockBytes; block < fullBlocks && block * kBlockBytes < at + piece; ++block)
                    crcs[block] = crc32c(blockSeed(firstBlock + block), destination + block * kBlockBytes, kBlockBytes);
            }
        };
        std::thread helper;
        try {
            helper = std::thread(work);
        } catch (const std::system_error&) {
            blockCrcs_.resize(firstBlock);
            return SharedRead::NotTried;
        }
        work();
        helper.join();
        if (failure.load() != 0) {
            file_.failReadAt(failure.load());
            return SharedRead::Failed;
        }
        if (!file_.passOver(static_cast<int64_t>(n))) return SharedRead::Failed;
        // The blocks are complete: the running check goes on after them.
        blockCrc_ = blockSeed(blockCrcs_.size());
        checkBody(destination + fullBlocks * kBlockBytes, n - fullBlocks * kBlockBytes);
        return SharedRead::Done;
    }

    // Body bytes from the file into destination (or dropped when it is null), checksummed chunk
    // by chunk.
    bool streamIn(uint8_t* destination, size_t n) {
        if (n > bodyLeft_) return markDamaged("its items run past the end of its body");
        if (destination != nullptr) {
            const SharedRead shared = n >= kThreadedBody ? readShared(destination, n) : SharedRead::NotTried;
            if (shared == SharedRead::Failed) return bodyUnreadable();
            const BodyChunks chunks(file_.position(), n);
            for (uint32_t k = 0; shared == SharedRead::NotTried && k < chunks.count(); ++k) {
                const size_t at = chunks.start(k), piece = chunks.start(k + 1) - at;
                if (!file_.takeBytes(destination + at, piece)) return bodyUnreadable();
                checkBody(destination + at, piece);
            }
        } else {
            for (size_t done = 0; done < n;) {
                const size_t piece = std::min(kScratchChunk, n - done);
                if (!file_.takeBytes(scratch(piece), piece)) return bodyUnreadable();
                checkBody(scratch(piece), piece);
                done += piece;
            }
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

    // At least bytes (at most kScratchChunk) of scratch space; it grows with the bodies that need
    // it, so a small file does not pay for a whole chunk.
    uint8_t* scratch(size_t bytes) {
        if (scratch_.size() < bytes) scratch_.resize(std::max(bytes, std::min(2 * scratch_.size(), kScratchChunk)));
        return scratch_.data();
    }

    uint32_t version_ = kFormatVersion;
    HeaderLayout layout_ = kHeaderV2;
    uint32_t fileCheck_ = 0;    // CRC-32C of the preamble and of every stored check, in file order
    int64_t recordsEnd_ = 0;    // where the records stop (and the trailer begins)
    bool trailerAbsent_ = false;  // a record stands where the trailer should: records run on to the end
    int64_t recordEnd_ = 0;     // where the next record starts
    // The current record's body.
    uint32_t headerCrc_ = 0;
    uint64_t bodyBytes_ = 0;
    uint64_t bodyLeft_ = 0;     // body bytes not yet read
    int64_t bodyEnd_ = 0;       // where its checks start
    bool checksOwed_ = false;   // its checks have not been read yet
    uint32_t blockCrc_ = 0;
    uint64_t blockFill_ = 0;
    std::vector<uint32_t> blockCrcs_;
    bool damaged_ = false;      // the body cannot be trusted any more
    // Writing.
    std::string pendingText_;     // CHAR body waiting for its last string
    bool headerPending_ = false;  // the current record's header is not written yet
    std::vector<uint8_t> scratch_;
};

}  // namespace

bool decodeTrailer(const uint8_t* bytes, TrailerFacts& facts) {
    static_assert(kFileTrailerBytes == kTrailerBytes && kFilePreambleBytes == kPreambleBytes);
    if (std::memcmp(bytes, kTrailerMagic, sizeof kTrailerMagic) != 0 ||
        crc32c(0, bytes, kTrailerCrcAt) != getLittle32(bytes + kTrailerCrcAt))
        return false;
    const uint64_t fields[4] = {getLittle64(bytes + kTrailerCountAt), getLittle64(bytes + kTrailerLengthAt),
                                getLittle64(bytes + kTrailerIndexAt), getLittle64(bytes + kTrailerIndexLengthAt)};
    for (const uint64_t field : fields)
        if (field > static_cast<uint64_t>(INT64_MAX)) return false;
    facts = TrailerFacts{static_cast<int64_t>(fields[0]), static_cast<int64_t>(fields[1]),
                         static_cast<int64_t>(fields[2]), static_cast<int64_t>(fields[3])};
    return true;
}

uint32_t bodyBlockCheck(const RecordLayout& layout, uint64_t block, const uint8_t* bytes, size_t n) {
    static_assert(kBodyBlockBytes == static_cast<int64_t>(kBlockBytes));
    return crc32c(blockCheckSeed(layout.checkSeed, block), bytes, n);
}

std::unique_ptr<RecordCodec> makeBinaryCodec(RecordFile& file) { return std::make_unique<BinaryCodec>(file); }

bool resealRecordFile(std::vector<uint8_t>& bytes) {
    if (bytes.size() < kPreambleBytes || std::memcmp(bytes.data(), kMagic, sizeof kMagic) != 0 ||
        getLittle32(bytes.data() + sizeof kMagic) != kFormatVersion)
        return false;
    size_t end = bytes.size();
    if (end >= kPreambleBytes + kTrailerBytes &&
        std::memcmp(bytes.data() + end - kTrailerBytes, kTrailerMagic, sizeof kTrailerMagic) == 0)
        end -= kTrailerBytes;
    uint32_t fileCheck = crc32c(0, bytes.data(), kPreambleBytes);
    uint32_t number = 0;
    size_t at = kPreambleBytes;
    while (at < end) {
        uint8_t* record = bytes.data() + at;
        const size_t keywordBytes = record[0];
        const size_t headerBytes = kHeaderV2.fixedBytes + keywordBytes;
        if (keywordBytes > kMaxKeywordBytes || headerBytes > end - at) break;
        uint8_t* fields = record + 1 + keywordBytes;
        const uint64_t bodyBytes = getLittle64(fields + 8);
        const uint64_t padding = uint64_t{fields[16]} | (uint64_t{fields[17]} << 8);
        const uint64_t blocks = (bodyBytes + kBlockBytes - 1) / kBlockBytes;
        const uint64_t room = end - at - headerBytes;
        if (padding > room || bodyBytes > room - padding || blocks * kCheckBytes > room - padding - bodyBytes) break;
        putLittle32(fields + kNumberAt, ++number);
        const uint32_t headerCrc = crc32c(0, record, headerBytes - kCheckBytes);
        putLittle32(fields + kHeaderV2.crcAt, headerCrc);
        fileCheck = crc32c(fileCheck, fields + kHeaderV2.crcAt, kCheckBytes);
        uint8_t* body = record + headerBytes + padding;
        std::fill(record + headerBytes, body, uint8_t{0});
        uint8_t* checks = body + bodyBytes;
        for (uint64_t k = 0; k < blocks; ++k) {
            const uint64_t first = k * kBlockBytes;
            const auto n = static_cast<size_t>(std::min(kBlockBytes, bodyBytes - first));
            putLittle32(checks + kCheckBytes * k, crc32c(blockCheckSeed(headerCrc, k), body + first, n));
        }
        fileCheck = crc32c(fileCheck, checks, static_cast<size_t>(blocks * kCheckBytes));
        at += static_cast<size_t>(headerBytes + padding + bodyBytes + blocks * kCheckBytes);
    }
    bytes.resize(at + kTrailerBytes);
    uint8_t* trailer = bytes.data() + at;
    std::memset(trailer, 0, kTrailerBytes);
    std::memcpy(trailer, kTrailerMagic, sizeof kTrailerMagic);
    putLittle64(trailer + kTrailerCountAt, number);
    putLittle64(trailer + kTrailerLengthAt, bytes.size());
    putLittle32(trailer + kTrailerCheckAt, fileCheck);
    putLittle32(trailer + kTrailerCrcAt, crc32c(0, trailer, kTrailerCrcAt));
    return true;
}

}  // namespace tkstream63
