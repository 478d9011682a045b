// The formatted (text) form of the records (see docs/record-format.md): a header line with the
// record's number, the quoted keyword, the count and the type, then the items separated by blanks
// and line breaks, then an end mark "/". Strings stand between single quotes with inner quotes
// doubled; floats are written in the shortest text that reads back to the same bits, NaNs with
// their bit pattern. A trailer line counts the records and gives the length and CRC-32C of the
// text before it. Files of version 1 (no numbers, end marks or trailer) are still read.
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "recordfile/crc32c.hpp"
#include "recordfile/record_codec.hpp"

namespace tkstream63 {
namespace {

constexpr std::string_view kPreamble = "TKSTREAM63 FORMATTED RECORDS ";
constexpr int32_t kFormatVersion = 2;
constexpr int kItemsPerLine = 8;
// Closes the items of a record, so that a record cut anywhere (even inside its last number) is
// seen to be cut.
constexpr std::string_view kEndMark = "/";
constexpr std::string_view kTrailerWord = "END";

bool isBlank(int c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string quoted(std::string_view text) {
    std::string out = "'";
    for (char c : text) {
        out += c;
        if (c == '\'') out += '\'';
    }
    out += '\'';
    return out;
}

// NaN payloads survive as "NaN(0x7FC00001)"; everything else uses the shortest round trip.
template <class F, class Bits>
std::string realToText(F value) {
    if (std::isnan(value)) {
        char text[32];
        std::snprintf(text, sizeof text, "NaN(0x%0*llX)", static_cast<int>(2 * sizeof(Bits)),
                      static_cast<unsigned long long>(std::bit_cast<Bits>(value)));
        return text;
    }
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

template <class F, class Bits>
bool textToReal(std::string_view token, F& value) {
    const char* end = token.data() + token.size();
    if (token.size() > 7 && token.substr(0, 6) == "NaN(0x" && token.back() == ')') {
        Bits bits = 0;
        const auto result = std::from_chars(token.data() + 6, end - 1, bits, 16);
        if (result.ec != std::errc() || result.ptr != end - 1) return false;
        value = std::bit_cast<F>(bits);
        return std::isnan(value);
    }
    const auto result = std::from_chars(token.data(), end, value);
    return result.ec == std::errc() && result.ptr == end;
}

template <class Int>
bool textToInt(std::string_view token, Int& value) {
    const char* end = token.data() + token.size();
    const auto result = std::from_chars(token.data(), end, value);
    return result.ec == std::errc() && result.ptr == end;
}

bool textToLogical(std::string_view token, bool& value) {
    if (token == "T" || token == "t" || token == "True" || token == "TRUE" || token == "true") {
        value = true;
        return true;
    }
    if (token == "F" || token == "f" || token == "False" || token == "FALSE" || token == "false") {
        value = false;
        return true;
    }
    return false;
}

std::string itemToText(ItemType type, const void* values, size_t i) {
    switch (type) {
        case ItemType::Inte: return std::to_string(static_cast<const int32_t*>(values)[i]);
        case ItemType::Real: return realToText<float, uint32_t>(static_cast<const float*>(values)[i]);
        case ItemType::Doub: return realToText<double, uint64_t>(static_cast<const double*>(values)[i]);
        case ItemType::Logi: return static_cast<const bool*>(values)[i] ? "T" : "F";
        default: return std::to_string(static_cast<const uint8_t*>(values)[i]);
    }
}

bool textToItem(ItemType type, std::string_view token, void* values, size_t i) {
    switch (type) {
        case ItemType::Inte: return textToInt(token, static_cast<int32_t*>(values)[i]);
        case ItemType::Real: return textToReal<float, uint32_t>(token, static_cast<float*>(values)[i]);
        case ItemType::Doub: return textToReal<double, uint64_t>(token, static_cast<double*>(values)[i]);
        case ItemType::Logi: return textToLogical(token, static_cast<bool*>(values)[i]);
        default: return textToInt(token, static_cast<uint8_t*>(values)[i]);
    }
}

std::string hex32(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%08X", value);
    return text;
}

class FormattedCodec final : public RecordCodec {
public:
    using RecordCodec::RecordCodec;

    bool writePreamble() override { return put(std::string(kPreamble) + std::to_string(kFormatVersion) + "\n"); }

    bool readPreamble() override {
        std::string line;
        for (int c = file_.peekByte(); c >= 0 && c != '\n' && line.size() < 80; c = file_.peekByte()) {
            line += static_cast<char>(c);
            file_.dropByte();
        }
        const bool lineEnds = file_.peekByte() == '\n';
        if (lineEnds) file_.dropByte();
        const std::string name = "'" + file_.Path() + "'";
        if (line.compare(0, kPreamble.size(), kPreamble) != 0)
            return file_.fail(kRecordBadFormat, name + " is not a tkstream63 record file");
        if (!textToInt(std::string_view(line).substr(kPreamble.size()), version_) || version_ < 1 ||
            version_ > kFormatVersion)
            return file_.fail(kRecordBadFormat, name + " is in formatted record version '" +
                                                    line.substr(kPreamble.size()) +
                                                    "', but this library reads versions 1 and 2 only");
        crc_ = crc32c(0, line.data(), line.size());
        if (lineEnds) crc_ = crc32c(crc_, "\n", 1);
        return true;
    }

    bool atEnd() override {
        if (exhausted_ || endVerified_) return true;
        // Version 2 ends with its trailer; a broken end is reported by the next header read.
        if (version_ >= 2 || record_.itemsLeft > 0) return false;
        skipBlanks();
        return peek() < 0;
    }

protected:
    // ---- writing ----

    bool encodeHeader() override {
        itemsOnLine_ = 0;
        return put(std::to_string(recordsDone_) + " " + quoted(record_.keyword) + " " +
                   std::to_string(record_.count) + " " + record_.typeName + "\n");
    }

    bool encodeValues(ItemType type, const void* values, size_t n) override {
        std::string line;
        for (size_t i = 0; i < n; ++i) {
            if (itemsOnLine_ > 0) line += ' ';
            line += itemToText(type, values, i);
            if (++itemsOnLine_ == kItemsPerLine) {
                line += '\n';
                itemsOnLine_ = 0;
                if (!put(line)) return false;
                line.clear();
            }
        }
        return put(line);
    }

    bool encodeText(std::string_view text) override { return put(quoted(text) + "\n"); }

    bool endRecordWrite() override {
        if (record_.count == 0) return true;
        return put(std::string(itemsOnLine_ > 0 ? "\n" : "") + std::string(kEndMark) + "\n");
    }

    bool writeTrailer() override {
        return put(std::string(kTrailerWord) + " records=" + std::to_string(recordsDone_) +
                   " bytes=" + std::to_string(file_.position()) + " crc32c=" + hex32(crc_) + "\n");
    }

    // ---- reading ----

    bool decodeHeader(Record& next) override {
        skipBlanks();
        next.offset = headerOffset_ = file_.position();
        if (version_ >= 2 && !endChecked_ && peek() == kTrailerWord[0]) {
            endChecked_ = true;
            endVerified_ = trailerIntact(endCode_, endProblem_);
        }
        if (endChecked_) return endVerified_ ? endOfRecords() : failHeader(endCode_, endProblem_);
        std::string token;
        bool quotedToken = false;
        const std::string cut = "the file ends at byte " + std::to_string(file_.fileSize()) + ", inside the header of ";
        if (version_ >= 2) {
            const int64_t expected = recordsDone_ + 1;
            switch (nextToken(token, quotedToken)) {
                case Token::End:
                    return failHeader(kRecordPastEnd, "the file ends at byte " + std::to_string(file_.fileSize()) +
                                                          " without the trailer line that closes every file: it is truncated");
                case Token::Unterminated: return failHeader(kRecordPastEnd, cut + "a record: it is truncated");
                case Token::Found: break;
            }
            int64_t number = 0;
            if (quotedToken || !textToInt(token, number))
                return failHeader(kRecordBadFormat, "expected the number of the next record, found '" + token + "'");
            if (number != expected)
                return failHeader(kRecordBadFormat, "record number " + token + " stands where number " +
                                                        std::to_string(expected) + " should follow: records are " +
                                                        "missing, repeated or out of order; the file is damaged");
        }
        switch (nextToken(token, quotedToken)) {
            case Token::End:
                if (version_ >= 2) return failHeader(kRecordPastEnd, cut + "a record: it is truncated");
                cleanEnd_ = true;
                return failHeader(kRecordPastEnd, "end of file, no further record");
            case Token::Unterminated:
                return failHeader(kRecordPastEnd, version_ >= 2 ? cut + "a record: it is truncated"
                                                                : "a quoted keyword is not closed");
            case Token::Found: break;
        }
        if (!quotedToken) return failHeader(kRecordBadFormat, "expected a quoted keyword, found '" + token + "'");
        if (token.size() > kMaxKeywordBytes) return failHeader(kRecordBadFormat, "the keyword is longer than 64 bytes");
        next.keyword = token;
        const std::string named = "record '" + next.keyword + "' ";
        const std::string cutHere = cut + named + "(which starts at byte " + std::to_string(next.offset) +
                                    "): it is truncated";
        int32_t count = -1;
        Token found = nextToken(token, quotedToken);
        if (found == Token::End && version_ >= 2) return failHeader(kRecordPastEnd, cutHere);
        if (found != Token::Found || quotedToken || !textToInt(token, count) || count < 0)
            return failHeader(kRecordBadFormat, named + "has no valid item count");
        found = nextToken(token, quotedToken);
        if (found == Token::End && version_ >= 2) return failHeader(kRecordPastEnd, cutHere);
        if (found != Token::Found || quotedToken || token.empty() || token.size() > kMaxKeywordBytes)
            return failHeader(kRecordBadFormat, named + "has no valid item type");
        // In version 2 the header line must end here: a cut type would otherwise read as another type.
        if (version_ >= 2) {
            for (int c = peek(); c == ' ' || c == '\t' || c == '\r'; c = peek()) drop(c);
            const int c = peek();
            if (c < 0) return failHeader(kRecordPastEnd, cutHere);
            if (c != '\n') return failHeader(kRecordBadFormat, named + "has more than a number, a keyword, a count and a type in its header line");
            drop(c);
        }
        // Every item takes at least one character and a separator.
        const int64_t left = file_.bytesLeft();
        if (count > (left + 1) / 2)
            return failHeader(kRecordPastEnd, named + "claims " + std::to_string(count) + " items but only " +
                                                  std::to_string(left) + " bytes are left: the file ends at byte " +
                                                  std::to_string(file_.fileSize()) + ", inside this record; it is truncated");
        next.typeName = token;
        next.type = itemTypeFromName(token);
        next.count = next.itemsLeft = count;
        endMarkOwed_ = version_ >= 2 && count > 0;
        return true;
    }

    bool decodeValues(ItemType type, void* values, size_t n) override {
        std::string token;
        for (size_t i = 0; i < n; ++i) {
            if (!nextItem(token, false, i)) return false;
            if (values != nullptr && !textToItem(type, token, values, i)) {
                // A number the end of the file cuts short ("1e-") is truncation, not damage.
                if (version_ >= 2 && peek() < 0)
                    return bodyUnreadable(kRecordPastEnd, "the file ends at byte " + std::to_string(file_.fileSize()) +
                                                              ", inside item " + std::to_string(itemNumber(i)) +
                                                              " of this record: it is truncated");
                return bodyUnreadable(kRecordBadFormat, "item " + std::to_string(itemNumber(i)) + " ('" + token +
                                                            "') is not a valid " + itemTypeName(type) + " value");
            }
        }
        return true;
    }

    bool decodeText(std::string* text) override {
        std::string token;
        if (!nextItem(token, true, 0)) return false;
        if (text != nullptr) *text = std::move(token);
        return true;
    }

    bool endRecordRead() override { return !endMarkOwed_ || readEndMark(); }

    bool passOverRest() override {
        std::string token;
        bool quotedToken = false;
        if (version_ == 1) {
            for (; record_.itemsLeft > 0; --record_.itemsLeft)
                if (nextToken(token, quotedToken) != Token::Found)
                    return failHeader(kRecordPastEnd, "the file ends inside record '" + record_.keyword + "'");
            return true;
        }
        if (!endMarkOwed_) return true;
        for (; record_.itemsLeft > 0; --record_.itemsLeft)
            if (nextToken(token, quotedToken) != Token::Found)
                return bodyUnreadable(kRecordPastEnd, "the file ends at byte " + std::to_string(file_.fileSize()) +
                                                          ", inside this record: it is truncated");
        if (!readEndMark()) return false;
        recordComplete();
        return true;
    }

    // After a whole record of version 2 comes either the next record or the trailer line; the
    // trailer is examined as soon as it is in sight.
    void recordComplete() override {
        if (version_ == 1 || endChecked_) return;
        skipBlanks();
        const int c = peek();
        if (c >= 0 && c != kTrailerWord[0]) return;
        endChecked_ = true;
        if (c >= 0) {
            endVerified_ = trailerIntact(endCode_, endProblem_);
            return;
        }
        endCode_ = kRecordPastEnd;
        endProblem_ = "the file ends at byte " + std::to_string(file_.fileSize()) + ", right after record '" +
                      record_.keyword + "' (which starts at byte " + std::to_string(record_.offset) +
                      "), without the trailer line that closes every file: it is truncated";
    }

    // After a closing record the text goes on with a record (its number) or nothing else.
    bool checkEnd() override {
        if (version_ >= 2 && !endChecked_) {
            skipBlanks();
            const int c = peek();
            if (c < '0' || c > '9') {
                exhausted_ = true;
                return failRecord(kRecordBadFormat, "neither a record nor the trailer line follows this record: "
                                                    "the file is damaged");
            }
        }
        return RecordCodec::checkEnd();
    }

private:
    enum class Token { Found, End, Unterminated };

    bool put(const std::string& text) {
        crc_ = crc32c(crc_, text.data(), text.size());
        return file_.putBytes(text.data(), text.size());
    }

    // Input goes through these two, so that version 2 can checksum every byte it consumes.
    int peek() { return file_.peekByte(); }
    void drop(int c) {
        if (version_ >= 2) {
            consumed_[consumedCount_++] = static_cast<char>(c);
            if (consumedCount_ == sizeof consumed_) flushConsumed();
        }
        file_.dropByte();
    }
    uint32_t consumedCrc() {
        flushConsumed();
        return crc_;
    }
    void flushConsumed() {
        crc_ = crc32c(crc_, consumed_, consumedCount_);
        consumedCount_ = 0;
    }

    void skipBlanks() {
        for (int c = peek(); c >= 0 && isBlank(c); c = peek()) drop(c);
    }

    Token nextToken(std::string& token, bool& quotedToken) {
        token.clear();
        skipBlanks();
        int c = peek();
        if (c < 0) return Token::End;
        quotedToken = c == '\'';
        if (!quotedToken) {
            for (; c >= 0 && !isBlank(c); c = peek()) {
                token += static_cast<char>(c);
                drop(c);
            }
            return Token::Found;
        }
        drop(c);
        for (;;) {
            c = peek();
            if (c < 0) return Token::Unterminated;
            drop(c);
            if (c == '\'') {
                if (peek() != '\'') return Token::Found;
                drop('\'');
            }
            token += static_cast<char>(c);
        }
    }

    // One item of the current record; strings must be quoted, other items must not.
    bool nextItem(std::string& token, bool wantQuoted, size_t i) {
        bool quotedToken = false;
        const Token found = nextToken(token, quotedToken);
        if (found != Token::Found)
            return bodyUnreadable(kRecordPastEnd, "the file ends " +
                                                      (version_ >= 2 ? "at byte " + std::to_string(file_.fileSize()) + " " : std::string()) +
                                                      "before item " + std::to_string(itemNumber(i)) + " of " +
                                                      std::to_string(record_.count) +
                                                      (version_ >= 2 ? ", inside this record: it is truncated" : ""));
        if (quotedToken != wantQuoted)
            return bodyUnreadable(kRecordBadFormat, "item " + std::to_string(itemNumber(i)) + " ('" + token + "') " +
                                                        (wantQuoted ? "is not a quoted string" : "is a quoted string"));
        return true;
    }

    bool readEndMark() {
        endMarkOwed_ = false;
        std::string token;
        bool quotedToken = false;
        if (nextToken(token, quotedToken) != Token::Found)
            return bodyUnreadable(kRecordPastEnd, "the file ends at byte " + std::to_string(file_.fileSize()) +
                                                      " before the end mark '/' of this record (its last item may be "
                                                      "cut short): it is truncated");
        if (quotedToken || token != kEndMark)
            return bodyUnreadable(kRecordBadFormat, "expected the end mark '/' after its " +
                                                        std::to_string(record_.count) + " items, found '" + token + "'");
        return true;
    }

    // The trailer line "END records=<n> bytes=<b> crc32c=<hex>": b is where it starts, and the
    // CRC-32C is that of the b bytes before it.
    bool trailerIntact(int32_t& code, std::string& problem) {
        const int64_t at = file_.position();
        const uint32_t crcBefore = consumedCrc();
        const std::string fields[] = {std::string(kTrailerWord), "records=", "bytes=", "crc32c="};
        std::string values[4];
        std::string token;
        bool quotedToken = false;
        bool wellFormed = true;
        for (int k = 0; k < 4; ++k) {
            const bool found = nextToken(token, quotedToken) == Token::Found;
            // The line ends with a line break; the file ending right after a token cut it.
            if (!found || peek() < 0) {
                code = kRecordPastEnd;
                problem = "the file ends at byte " + std::to_string(file_.fileSize()) +
                          ", inside its trailer line (which starts at byte " + std::to_string(at) + "): it is truncated";
                return false;
            }
            if (quotedToken || token.compare(0, fields[k].size(), fields[k]) != 0 || (k == 0 && token != fields[0]))
                wellFormed = false;
            else
                values[k] = token.substr(fields[k].size());
        }
        code = kRecordBadFormat;
        int64_t records = -1, bytes = -1;
        uint32_t crc = 0;
        const bool parsed = wellFormed && textToInt(values[1], records) && textToInt(values[2], bytes) &&
                            std::from_chars(values[3].data(), values[3].data() + values[3].size(), crc, 16).ptr ==
                                values[3].data() + values[3].size();
        skipBlanks();
        if (!parsed) {
            problem = "the trailer line at byte " + std::to_string(at) + " is damaged";
        } else if (peek() >= 0) {
            problem = "text follows the trailer line at byte " + std::to_string(at) + ": the file is damaged";
        } else if (bytes != at) {
            problem = "the trailer line says it starts at byte " + values[2] + ", but it starts at byte " +
                      std::to_string(at) + ": the file was changed or damaged";
        } else if (records != recordsDone_) {
            problem = "the trailer line counts " + values[1] + " records, but " + std::to_string(recordsDone_) +
                      " precede it: records are missing or were added; the file is damaged";
        } else if (crc != crcBefore) {
            problem = "the CRC-32C in the trailer line does not match the text before it: the file was changed or damaged";
        } else {
            endVerified_ = true;
            return true;
        }
        return false;
    }

    bool endOfRecords() {
        cleanEnd_ = true;
        return failHeader(kRecordPastEnd, "end of file, no further record");
    }

    // 1-based number of item i of the read call in progress.
    int64_t itemNumber(size_t i) const { return record_.count - record_.itemsLeft + static_cast<int64_t>(i) + 1; }

    // Without checksums or lengths the text cannot be resynchronised after a bad item.
    bool bodyUnreadable(int32_t code, const std::string& problem) {
        exhausted_ = true;
        return failRecord(code, problem);
    }

    int32_t version_ = kFormatVersion;
    int itemsOnLine_ = 0;
    uint32_t crc_ = 0;           // of the text written, or consumed, so far (version 2)
    char consumed_[4096] = {};   // consumed input not yet in crc_
    size_t consumedCount_ = 0;
    bool endMarkOwed_ = false;   // the current record's end mark has not been read
};

}  // namespace

std::unique_ptr<RecordCodec> makeFormattedCodec(RecordFile& file) { return std::make_unique<FormattedCodec>(file); }

}  // namespace tkstream63
