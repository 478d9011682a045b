#include "recordfile/record_codec.hpp"

#include <array>

namespace tkstream63 {
namespace {

struct TypeInfo {
    ItemType type;
    const char* name;
    size_t width;
};

constexpr std::array<TypeInfo, 6> kTypes{{
    {ItemType::Inte, "INTE", 4},
    {ItemType::Real, "REAL", 4},
    {ItemType::Doub, "DOUB", 8},
    {ItemType::Char, "CHAR", 0},
    {ItemType::Logi, "LOGI", 4},
    {ItemType::Byte, "BYTE", 1},
}};

std::string count(int64_t n) { return std::to_string(n); }

}  // namespace

ItemType itemTypeFromName(std::string_view name) {
    for (const auto& info : kTypes)
        if (name == info.name) return info.type;
    return ItemType::Unknown;
}

const char* itemTypeName(ItemType type) {
    for (const auto& info : kTypes)
        if (type == info.type) return info.name;
    return "unknown";
}

size_t itemWidth(ItemType type) {
    for (const auto& info : kTypes)
        if (type == info.type) return info.width;
    return 0;
}

// ---- writing ----

bool RecordCodec::beginRecord(const std::string& keyword, int32_t count, const std::string& typeName) {
    if (record_.itemsLeft > 0)
        return failRecord(kRecordInvalidCall, "announced " + std::to_string(record_.count) + " items but only " +
                                                  std::to_string(record_.count - record_.itemsLeft) +
                                                  " were written before the next record");
    const std::string name = "Record '" + keyword + "' for '" + file_.Path() + "': ";
    if (keyword.size() > kMaxKeywordBytes)
        return file_.fail(kRecordInvalidCall, name + "the keyword is longer than 64 bytes");
    if (count < 0) return file_.fail(kRecordInvalidCall, name + "negative item count " + std::to_string(count));
    const ItemType type = itemTypeFromName(typeName);
    if (type == ItemType::Unknown)
        return file_.fail(kRecordInvalidCall, name + "unknown item type '" + typeName +
                                                  "' (INTE, REAL, DOUB, CHAR, LOGI or BYTE)");
    record_ = Record{keyword, typeName, type, count, count, file_.position()};
    ++recordsDone_;
    writingIndex_ = indexPending_;
    indexPending_ = false;
    if (writingIndex_) indexOffset_ = record_.offset;
    if (observer_) {
        written_.keyword = keyword;
        written_.typeName = typeName;
        written_.count = count;
        written_.values = RecordValues{};
    }
    if (!encodeHeader()) return false;
    return count == 0 ? recordWritten(endRecordWrite()) : true;
}

bool RecordCodec::recordWritten(bool ok) {
    if (!ok) return false;
    if (writingIndex_) indexLength_ = file_.position() - indexOffset_;
    writingIndex_ = false;
    if (observer_) {
        written_.layout = currentLayout();
        written_.endOffset = file_.position();
        observer_(written_);
    }
    return true;
}

void RecordCodec::keepValues(ItemType type, const void* values, size_t n) {
    if (!observer_ || record_.count > kObservedItems) return;
    RecordValues& v = written_.values;
    if (type == ItemType::Inte) {
        const auto* p = static_cast<const int32_t*>(values);
        v.longs.insert(v.longs.end(), p, p + n);
    } else if (type == ItemType::Real) {
        const auto* p = static_cast<const float*>(values);
        v.singles.insert(v.singles.end(), p, p + n);
    } else if (type == ItemType::Logi) {
        const auto* p = static_cast<const bool*>(values);
        v.logicals.insert(v.logicals.end(), p, p + n);
    }
}

bool RecordCodec::checkWritable(ItemType type, size_t n) {
    if (record_.itemsLeft == 0)
        return failRecord(kRecordInvalidCall, "all " + count(record_.count) + " announced items were already written");
    if (type != record_.type)
        return failRecord(kRecordTypeMismatch, std::string("a ") + itemTypeName(type) + " item cannot go into a " +
                                                   record_.typeName + " record");
    if (n > static_cast<uint64_t>(record_.itemsLeft))
        return failRecord(kRecordInvalidCall, std::to_string(n) + " items are more than the " +
                                                  count(record_.itemsLeft) + " still announced");
    return true;
}

bool RecordCodec::afterItemsWritten(size_t n) {
    record_.itemsLeft -= static_cast<int64_t>(n);
    return record_.itemsLeft == 0 ? recordWritten(endRecordWrite()) : true;
}

bool RecordCodec::writeValues(ItemType type, const void* values, size_t n) {
    if (!checkWritable(type, n)) return false;
    if (n == 0) return true;
    keepValues(type, values, n);
    return encodeValues(type, values, n) && afterItemsWritten(n);
}

bool RecordCodec::writeText(std::string_view text) {
    if (!checkWritable(ItemType::Char, 1)) return false;
    if (observer_ && record_.count <= kObservedItems) written_.values.texts.emplace_back(text);
    return encodeText(text) && afterItemsWritten(1);
}

bool RecordCodec::finishWriting() {
    if (record_.itemsLeft == 0) return writeTrailer();
    return failRecord(kRecordInvalidCall, "announced " + count(record_.count) + " items but only " +
                                              count(record_.count - record_.itemsLeft) + " were written");
}

// ---- reading ----

bool RecordCodec::readHeader(std::string& keyword, int32_t& count, std::string& typeName) {
    keyword.clear();
    count = 0;
    typeName.clear();
    headerOffset_ = file_.position();
    if (exhausted_) return failHeader(kRecordPastEnd, "nothing further can be read from this file");
    if (!passOverRest()) return false;
    Record next;
    next.offset = headerOffset_ = file_.position();
    if (!decodeHeader(next)) {
        exhausted_ = true;
        record_.itemsLeft = 0;
        return false;
    }
    record_ = std::move(next);
    ++recordsDone_;
    if (record_.itemsLeft == 0) recordComplete();
    keyword = record_.keyword;
    count = static_cast<int32_t>(record_.count);
    typeName = record_.typeName;
    return true;
}

bool RecordCodec::checkReadable(ItemType type, size_t n) {
    if (record_.itemsLeft == 0)
        return failRecord(kRecordInvalidCall, "no items left to read (it holds " + count(record_.count) + ")");
    if (type != record_.type)
        return failRecord(kRecordTypeMismatch, "it holds " + record_.typeName + " items, not " + itemTypeName(type));
    if (n > static_cast<uint64_t>(record_.itemsLeft))
        return failRecord(kRecordInvalidCall, std::to_string(n) + " items were asked for but only " +
                                                  count(record_.itemsLeft) + " are left");
    return true;
}

bool RecordCodec::afterItemsRead(size_t n) {
    record_.itemsLeft -= static_cast<int64_t>(n);
    if (record_.itemsLeft > 0) return true;
    if (!endRecordRead()) return false;
    recordComplete();
    return true;
}

bool RecordCodec::readValues(ItemType type, void* values, size_t n) {
    if (!checkReadable(type, n)) return false;
    if (n == 0) return true;
    return decodeValues(type, values, n) && afterItemsRead(n);
}

bool RecordCodec::readText(std::string* text) {
    return checkReadable(ItemType::Char, 1) && decodeText(text) && afterItemsRead(1);
}

RecordLayout RecordCodec::currentLayout() const {
    RecordLayout layout;
    layout.headerOffset = record_.offset;
    layout.recordNumber = recordsDone_;
    layout.itemWidth = itemWidth(record_.type);
    describeBody(layout);
    return layout;
}

bool RecordCodec::startAt(int64_t offset, int64_t recordNumber) {
    if (offset < file_.position() || offset > file_.fileSize() || recordNumber < 1)
        return file_.fail(kRecordInvalidCall, "no record of '" + file_.Path() + "' can start at byte " +
                                                  count(offset) + " from byte " + count(file_.position()));
    record_ = Record{};
    record_.offset = offset;
    recordsDone_ = recordNumber - 1;
    return file_.skipBytes(offset - file_.position());
}

// ---- the end of the file ----

bool RecordCodec::checkEnd() {
    if (!endChecked_ || endVerified_) return true;
    exhausted_ = true;
    return failRecord(endCode_, endProblem_);
}

// ---- memory budget ----

bool RecordCodec::charge(int64_t bytes, const std::string& what) {
    if (bytes >= 0 && bytes <= memoryBudget_ - memoryCharged_) {
        memoryCharged_ += bytes;
        return true;
    }
    const std::string problem =
        what + " would need " + (bytes >= 0 ? count(bytes) : std::string("more than 2^63")) +
        " bytes of memory, beyond what a file of this size may ask for (the budget of a load is " +
        count(kLoadMemoryFactor) + " x the file's size + " + count(kLoadMemoryAllowance >> 20) + " MiB = " +
        count(memoryBudget_) + " bytes, of which " + count(memoryCharged_) + " are taken)";
    const std::string overBudget = "Record '" + record_.keyword + "' at byte " + count(record_.offset) + " of '" +
                                   file_.Path() + "': " + problem;
    if (!exhausted_ && endsEarly()) return false;
    exhausted_ = true;
    return file_.fail(kRecordOutOfMemory, overBudget);
}

bool RecordCodec::endsEarly() {
    std::string keyword, typeName;
    int32_t n = 0;
    while (readHeader(keyword, n, typeName)) {
    }
    return !cleanEnd_ && file_.LastErrorCode() == kRecordPastEnd;
}

// ---- messages ----

bool RecordCodec::failRecord(int32_t code, const std::string& problem) {
    return file_.fail(code, "Record '" + record_.keyword + "' at byte " + count(record_.offset) + " of '" +
                                file_.Path() + "': " + problem);
}

bool RecordCodec::failHeader(int32_t code, const std::string& problem) {
    exhausted_ = true;
    record_.itemsLeft = 0;
    std::string where = "Record header at byte " + count(headerOffset_) + " of '" + file_.Path() + "'";
    if (!record_.keyword.empty()) where += " (after record '" + record_.keyword + "')";
    return file_.fail(code, where + ": " + problem);
}

}  // namespace tkstream63
