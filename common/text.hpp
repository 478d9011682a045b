// Text helpers: upper-casing, code-point lengths, the single-byte (ANSI) well-name form, and the
// locale-independent text form of numbers and Booleans with the parsing back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tkstream63 {

// Upper-cases every letter that has a single upper-case form (ASCII, Latin-1, Latin Extended-A,
// basic Greek and Cyrillic). Invalid UTF-8 bytes pass through unchanged.
std::string UCase(std::string_view text);

// Number of Unicode code points (an invalid byte counts as one).
int32_t codePointLength(std::string_view text);

// First maxChars code points of text.
std::string leftChars(std::string_view text, size_t maxChars);

// Well names are held as single-byte Windows-1252 text, at most this many bytes.
constexpr size_t kMaxNameBytes = 40;

// UTF-8 to Windows-1252 bytes, '?' for a character without a single-byte form, cut to maxBytes.
std::string toAnsi(std::string_view utf8, size_t maxBytes = kMaxNameBytes);
// Windows-1252 bytes back to UTF-8.
std::string fromAnsi(const uint8_t* bytes, size_t n);
std::string fromAnsi(std::string_view bytes);

// Locale-independent text forms.
std::string longToText(int64_t value);
std::string singleToText(float value);   // shortest text that reads back to the same value
std::string doubleToText(double value);  // shortest text that reads back to the same value
std::string booleanToText(bool value);   // "True" / "False"

// Parsing back. Surrounding blanks are ignored. Text that is not a number raises Type mismatch
// (13); a number outside the target range raises Overflow (6). Longs round half to even, so
// "2.5" gives 2 and "3.5" gives 4. "True"/"False" (any case) read as -1/0.
int32_t textToLong(std::string_view text);
int16_t textToInteger(std::string_view text);
float textToSingle(std::string_view text);
double textToDouble(std::string_view text);
// True when the text is a decimal number (Boolean words are not numbers).
bool isNumericText(std::string_view text);
// "True"/"False" in any case, or a number (non-zero is True); anything else is Type mismatch.
bool textToBoolean(std::string_view text);

// Rounds half to even into a Long; NaN or out of range raises Overflow (6).
int32_t roundToLong(double value);
// Raises Overflow (6) when a finite double does not fit a Single.
void checkSingleRange(double value);
int16_t roundToInteger(double value);

}  // namespace tkstream63
