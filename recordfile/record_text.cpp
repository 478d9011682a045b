// The formatted (text) form of the records (see docs/record-format.md): a header line with the
// quoted keyword, the count and the type, then the items separated by blanks and line breaks.
// Strings stand between single quotes with inner quotes doubled; floats are written in the
// shortest text that reads back to the same bits, NaNs with their bit pattern.
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "recordfile/record_codec.hpp"

namespace tkstream63 {
namespace {

constexpr std::string_view kPreamble = "TKSTREAM63 FORMATTED RECORDS ";
constexpr int32_t kFormatVersion = 1;
constexpr int kItemsPerLine = 8;

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
        if (file_.peekByte() == '\n') file_.dropByte();
        const std::string name = "'" + file_.Path() + "'";
        if (line.compare(0, kPreamble.size(), kPreamble) != 0)
            return file_.fail(kRecordBadFormat, name + " is not a tkstream63 record file");
        int32_t version = 0;
        if (!textToInt(std::string_view(line).substr(kPreamble.size()), version) || version != kFormatVersion)
            return file_.fail(kRecordBadFormat, name + " is in formatted record version '" +
                                                    line.substr(kPreamble.size()) + "', but this library reads version " +
                                                    std::to_string(kFormatVersion) + " only");
        return true;
    }

    bool atEnd() override {
        if (exhausted_) return true;
        if (record_.itemsLeft > 0) return false;
        skipBlanks();
        return file_.peekByte() < 0;
    }

protected:
    // ---- writing ----

    bool encodeHeader() override {
        itemsOnLine_ = 0;
        return put(quoted(record_.keyword) + " " + std::to_string(record_.count) + " " + record_.typeName + "\n");
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

    bool endRecordWrite() override { return itemsOnLine_ > 0 ? put("\n") : true; }

    // ---- reading ----

    bool decodeHeader(Record& next) override {
        skipBlanks();
        next.offset = headerOffset_ = file_.position();
        std::string token;
        bool quotedToken = false;
        switch (nextToken(token, quotedToken)) {
            case Token::End: return failHeader(kRecordPastEnd, "end of file, no further record");
            case Token::Unterminated: return failHeader(kRecordPastEnd, "a quoted keyword is not closed");
            case Token::Found: break;
        }
        if (!quotedToken) return failHeader(kRecordBadFormat, "expected a quoted keyword, found '" + token + "'");
        if (token.size() > kMaxKeywordBytes) return failHeader(kRecordBadFormat, "the keyword is longer than 64 bytes");
        next.keyword = token;
        const std::string named = "record '" + next.keyword + "' ";
        int32_t count = -1;
        if (nextToken(token, quotedToken) != Token::Found || quotedToken || !textToInt(token, count) || count < 0)
            return failHeader(kRecordBadFormat, named + "has no valid item count");
        if (nextToken(token, quotedToken) != Token::Found || quotedToken || token.empty() ||
            token.size() > kMaxKeywordBytes)
            return failHeader(kRecordBadFormat, named + "has no valid item type");
        // Every item takes at least one character and a separator.
        const int64_t left = file_.bytesLeft();
        if (count > (left + 1) / 2)
            return failHeader(kRecordPastEnd, named + "claims " + std::to_string(count) + " items but only " +
                                                  std::to_string(left) + " bytes are left: the file is truncated");
        next.typeName = token;
        next.type = itemTypeFromName(token);
        next.count = next.itemsLeft = count;
        return true;
    }

    bool decodeValues(ItemType type, void* values, size_t n) override {
        std::string token;
        for (size_t i = 0; i < n; ++i) {
            if (!nextItem(token, false, i)) return false;
            if (values != nullptr && !textToItem(type, token, values, i))
                return bodyUnreadable(kRecordBadFormat, "item " + std::to_string(itemNumber(i)) + " ('" + token +
                                                            "') is not a valid " + itemTypeName(type) + " value");
        }
        return true;
    }

    bool decodeText(std::string* text) override {
        std::string token;
        if (!nextItem(token, true, 0)) return false;
        if (text != nullptr) *text = std::move(token);
        return true;
    }

    bool endRecordRead() override { return true; }

    bool passOverRest() override {
        std::string token;
        bool quotedToken = false;
        for (; record_.itemsLeft > 0; --record_.itemsLeft)
            if (nextToken(token, quotedToken) != Token::Found)
                return failHeader(kRecordPastEnd, "the file ends inside record '" + record_.keyword + "'");
        return true;
    }

private:
    enum class Token { Found, End, Unterminated };

    bool put(const std::string& text) { return file_.putBytes(text.data(), text.size()); }

    void skipBlanks() {
        for (int c = file_.peekByte(); c >= 0 && isBlank(c); c = file_.peekByte()) file_.dropByte();
    }

    Token nextToken(std::string& token, bool& quotedToken) {
        token.clear();
        skipBlanks();
        int c = file_.peekByte();
        if (c < 0) return Token::End;
        quotedToken = c == '\'';
        if (!quotedToken) {
            for (; c >= 0 && !isBlank(c); c = file_.peekByte()) {
                token += static_cast<char>(c);
                file_.dropByte();
            }
            return Token::Found;
        }
        file_.dropByte();
        for (;;) {
            c = file_.peekByte();
            if (c < 0) return Token::Unterminated;
            file_.dropByte();
            if (c == '\'') {
                if (file_.peekByte() != '\'') return Token::Found;
                file_.dropByte();
            }
            token += static_cast<char>(c);
        }
    }

    // One item of the current record; strings must be quoted, other items must not.
    bool nextItem(std::string& token, bool wantQuoted, size_t i) {
        bool quotedToken = false;
        const Token found = nextToken(token, quotedToken);
        if (found != Token::Found)
            return bodyUnreadable(kRecordPastEnd, "the file ends before item " + std::to_string(itemNumber(i)) + " of " +
                                                      std::to_string(record_.count));
        if (quotedToken != wantQuoted)
            return bodyUnreadable(kRecordBadFormat, "item " + std::to_string(itemNumber(i)) + " ('" + token + "') " +
                                                        (wantQuoted ? "is not a quoted string" : "is a quoted string"));
        return true;
    }

    // 1-based number of item i of the read call in progress.
    int64_t itemNumber(size_t i) const { return record_.count - record_.itemsLeft + static_cast<int64_t>(i) + 1; }

    // Without checksums or lengths the text cannot be resynchronised after a bad item.
    bool bodyUnreadable(int32_t code, const std::string& problem) {
        exhausted_ = true;
        return failRecord(code, problem);
    }

    int itemsOnLine_ = 0;
};

}  // namespace

std::unique_ptr<RecordCodec> makeFormattedCodec(RecordFile& file) { return std::make_unique<FormattedCodec>(file); }

}  // namespace tkstream63
