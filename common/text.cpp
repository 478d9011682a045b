#include "common/text.hpp"

#include <charconv>
#include <cmath>
#include <limits>

#include "common/errors.hpp"

namespace tkstream63 {
namespace {

// Decodes one UTF-8 code point at text[pos]; an invalid sequence yields its first byte as is
// (valid = false) and advances by one.
struct Decoded {
    char32_t codePoint;
    size_t length;
    bool valid;
};

Decoded decodeUtf8(std::string_view text, size_t pos) {
    const auto lead = static_cast<unsigned char>(text[pos]);
    if (lead < 0x80) return {lead, 1, true};
    size_t length = 0;
    char32_t cp = 0;
    if ((lead & 0xE0) == 0xC0) {
        length = 2;
        cp = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3;
        cp = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4;
        cp = lead & 0x07;
    } else {
        return {lead, 1, false};
    }
    if (pos + length > text.size()) return {lead, 1, false};
    for (size_t k = 1; k < length; ++k) {
        const auto next = static_cast<unsigned char>(text[pos + k]);
        if ((next & 0xC0) != 0x80) return {lead, 1, false};
        cp = (cp << 6) | (next & 0x3F);
    }
    static constexpr char32_t kMinimum[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < kMinimum[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return {lead, 1, false};
    return {cp, length, true};
}

void appendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

char32_t upperCodePoint(char32_t c) {
    if (c >= U'a' && c <= U'z') return c - 0x20;
    if (c < 0xB5) return c;
    if (c == 0xB5) return 0x39C;  // micro sign -> Greek capital mu
    if ((c >= 0xE0 && c <= 0xFE && c != 0xF7)) return c - 0x20;
    if (c == 0xFF) return 0x178;
    // Latin Extended-A: capital/small pairs alternate (even = capital in most runs).
    if ((c >= 0x100 && c <= 0x137) || (c >= 0x14A && c <= 0x177)) return (c & 1) ? c - 1 : c;
    if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return (c & 1) ? c : c - 1;
    if (c >= 0x3B1 && c <= 0x3CB && c != 0x3C2) return c - 0x20;  // Greek
    if (c >= 0x430 && c <= 0x44F) return c - 0x20;                // Cyrillic
    if (c >= 0x450 && c <= 0x45F) return c - 0x50;
    return c;
}

// Windows-1252 bytes 0x80..0x9F; 0 marks a byte with no character.
constexpr char16_t kCp1252High[32] = {
    0x20AC, 0, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0, 0x017D, 0, 0, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0, 0x017E, 0x0178};

unsigned char toCp1252(char32_t cp) {
    if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) return static_cast<unsigned char>(cp);
    for (int b = 0; b < 32; ++b) {
        if (kCp1252High[b] != 0 && kCp1252High[b] == cp) return static_cast<unsigned char>(0x80 + b);
    }
    return '?';
}

std::string_view trimBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t k = 0; k < a.size(); ++k) {
        char x = a[k], y = b[k];
        if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 32);
        if (y >= 'a' && y <= 'z') y = static_cast<char>(y - 32);
        if (x != y) return false;
    }
    return true;
}

// Parses a whole trimmed text as a decimal number.
double parseDecimal(std::string_view text) {
    text = trimBlanks(text);
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty() || text.front() == '+' || text.front() == '-') raiseError(kErrTypeMismatch);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size()) raiseError(kErrTypeMismatch);
    if (error == std::errc::result_out_of_range) {
        // A negative exponent underflows to zero; anything else is too large for any target.
        const auto exponent = text.find_first_of("eE");
        const bool underflow = exponent != std::string_view::npos && exponent + 1 < text.size() &&
                               text[exponent + 1] == '-';
        if (!underflow) raiseError(kErrOverflow);
        value = 0.0;
    } else if (error != std::errc()) {
        raiseError(kErrTypeMismatch);
    }
    return negative ? -value : value;
}

// A decimal number, or "True"/"False" read as -1/0.
double parseNumber(std::string_view text) {
    const std::string_view trimmed = trimBlanks(text);
    if (equalsIgnoringCase(trimmed, "True")) return -1.0;
    if (equalsIgnoringCase(trimmed, "False")) return 0.0;
    return parseDecimal(trimmed);
}

template <class Number>
std::string shortestText(Number value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

}  // namespace

std::string UCase(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t pos = 0; pos < text.size();) {
        const Decoded d = decodeUtf8(text, pos);
        if (d.valid) {
            appendUtf8(out, upperCodePoint(d.codePoint));
        } else {
            out += text[pos];
        }
        pos += d.length;
    }
    return out;
}

int32_t codePointLength(std::string_view text) {
    int32_t count = 0;
    for (size_t pos = 0; pos < text.size(); pos += decodeUtf8(text, pos).length) ++count;
    return count;
}

std::string leftChars(std::string_view text, size_t maxChars) {
    size_t pos = 0;
    for (size_t taken = 0; pos < text.size() && taken < maxChars; ++taken) {
        pos += decodeUtf8(text, pos).length;
    }
    return std::string(text.substr(0, pos));
}

std::string toAnsi(std::string_view utf8, size_t maxBytes) {
    std::string out;
    for (size_t pos = 0; pos < utf8.size() && out.size() < maxBytes;) {
        const Decoded d = decodeUtf8(utf8, pos);
        out += static_cast<char>(d.valid ? toCp1252(d.codePoint) : '?');
        pos += d.length;
    }
    return out;
}

std::string fromAnsi(const uint8_t* bytes, size_t n) {
    std::string out;
    out.reserve(n);
    for (size_t k = 0; k < n; ++k) {
        const uint8_t b = bytes[k];
        if (b >= 0x80 && b < 0xA0) {
            const char16_t cp = kCp1252High[b - 0x80];
            appendUtf8(out, cp != 0 ? cp : b);
        } else {
            appendUtf8(out, b);
        }
    }
    return out;
}

std::string fromAnsi(std::string_view bytes) {
    return fromAnsi(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

void checkSingleRange(double value) {
    // Halfway between the largest float and the next power of two: from there on a double
    // rounds to infinity.
    constexpr double kFirstOverflowing = 3.4028235677973366e38;
    if (std::isfinite(value) && std::abs(value) >= kFirstOverflowing) raiseError(kErrOverflow);
}

std::string longToText(int64_t value) { return std::to_string(value); }
std::string singleToText(float value) { return shortestText(value); }
std::string doubleToText(double value) { return shortestText(value); }
std::string booleanToText(bool value) { return value ? "True" : "False"; }

int32_t roundToLong(double value) {
    if (std::isnan(value)) raiseError(kErrOverflow);
    const double rounded = std::nearbyint(value);  // the default rounding mode is half to even
    if (rounded < -2147483648.0 || rounded > 2147483647.0) raiseError(kErrOverflow);
    return static_cast<int32_t>(rounded);
}

int16_t roundToInteger(double value) {
    if (std::isnan(value)) raiseError(kErrOverflow);
    const double rounded = std::nearbyint(value);
    if (rounded < -32768.0 || rounded > 32767.0) raiseError(kErrOverflow);
    return static_cast<int16_t>(rounded);
}

int32_t textToLong(std::string_view text) { return roundToLong(parseNumber(text)); }
int16_t textToInteger(std::string_view text) { return roundToInteger(parseNumber(text)); }

float textToSingle(std::string_view text) {
    const double value = parseNumber(text);
    checkSingleRange(value);
    // Read the text directly as a float too, so the shortest float text comes back bit for bit.
    std::string_view trimmed = trimBlanks(text);
    if (!trimmed.empty() && trimmed.front() == '+') trimmed.remove_prefix(1);
    float direct = 0;
    const auto [end, error] = std::from_chars(trimmed.data(), trimmed.data() + trimmed.size(), direct);
    if (error == std::errc() && end == trimmed.data() + trimmed.size()) return direct;
    return static_cast<float>(value);
}

double textToDouble(std::string_view text) { return parseNumber(text); }

bool isNumericText(std::string_view text) {
    try {
        parseDecimal(text);
        return true;
    } catch (const RuntimeError& e) {
        return e.number() == kErrOverflow;  // a number, only too large
    }
}

bool textToBoolean(std::string_view text) { return parseNumber(text) != 0.0; }

}  // namespace tkstream63
