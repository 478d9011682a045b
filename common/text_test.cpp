#include "common/text.hpp"

#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "common/errors.hpp"
#include "common/test_support.hpp"
#include "common/variant.hpp"

namespace tkstream63 {
namespace {

using testing_support::errorNumberOf;

TEST(Text, UpperCaseLengthsAndSingleByteNames) {
    EXPECT_EQ(UCase("prod-1 éñÿ"), "PROD-1 ÉÑŸ");
    EXPECT_EQ(UCase("straße"), "STRAßE");  // no single upper-case form: left alone
    EXPECT_EQ(codePointLength("Ålesund"), 7);
    EXPECT_EQ(leftChars("ÅÅÅ", 2), "ÅÅ");

    EXPECT_EQ(toAnsi("P\xC3\xA9-1"), "P\xE9-1");  // é is one byte
    EXPECT_EQ(toAnsi("\xE2\x82\xAC"), "\x80");    // the euro sign has a single-byte form
    EXPECT_EQ(toAnsi("W\xE2\x98\x83"), "W?");      // a snowman has none
    EXPECT_EQ(toAnsi(std::string(45, 'A')).size(), 40u);
    EXPECT_EQ(fromAnsi(std::string_view("P\xE9\x80")), "P\xC3\xA9\xE2\x82\xAC");
}

TEST(Text, NumbersRoundTripWithoutLocaleLongsRoundHalfToEvenAndBadTextIsRefused) {
    for (float v : {0.1f, -3.25e-12f, 1e30f, 16777217.0f, std::numeric_limits<float>::denorm_min(),
                    std::numeric_limits<float>::max()}) {
        EXPECT_EQ(std::bit_cast<uint32_t>(textToSingle(singleToText(v))), std::bit_cast<uint32_t>(v))
            << singleToText(v);
    }
    EXPECT_EQ(singleToText(0.5f), "0.5");
    EXPECT_EQ(longToText(-2147483648LL), "-2147483648");
    EXPECT_EQ(booleanToText(true), "True");
    EXPECT_TRUE(textToBoolean("true") && textToBoolean("-1"));
    EXPECT_FALSE(textToBoolean("False"));

    // Longs round half to even; text that is no number, or too large a number, is refused.
    const std::pair<const char*, int32_t> longs[] = {{" 42 ", 42}, {"+7", 7},   {"True", -1},
                                                     {"2.5", 2},   {"3.5", 4},  {"-2.5", -2},
                                                     {"2147483647", 2147483647}};
    for (const auto& [text, expected] : longs) EXPECT_EQ(textToLong(text), expected) << text;
    EXPECT_EQ(roundToLong(0.5), 0);
    EXPECT_EQ(roundToLong(1.5), 2);
    for (const char* text : {"abc", "", "12abc", "--1"})
        EXPECT_EQ(errorNumberOf([&] { textToLong(text); }), kErrTypeMismatch) << text;
    EXPECT_EQ(errorNumberOf([] { textToBoolean("yes"); }), kErrTypeMismatch);
    EXPECT_EQ(errorNumberOf([] { textToLong("2147483648"); }), kErrOverflow);
    EXPECT_EQ(errorNumberOf([] { textToInteger("32768"); }), kErrOverflow);
    EXPECT_EQ(errorNumberOf([] { textToSingle("1e39"); }), kErrOverflow);
    EXPECT_EQ(errorNumberOf([] { textToDouble("1e999"); }), kErrOverflow);
    EXPECT_EQ(errorNumberOf([] { roundToLong(std::nan("")); }), kErrOverflow);
    EXPECT_EQ(textToDouble("1e-999"), 0.0);
}

TEST(Variant, ConversionsFollowTheValueType) {
    const Variant empty;
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_FALSE(empty.toBoolean());
    EXPECT_EQ((std::vector<int32_t>{empty.toLong(), Variant(2.5).toLong(), Variant(3.5f).toLong(),
                                    Variant(true).toLong(), Variant("12").toLong()}),
              (std::vector<int32_t>{0, 2, 4, -1, 12}));
    EXPECT_EQ((std::vector<std::string>{empty.toText(), Variant(true).toText(), Variant(int16_t{7}).toText()}),
              (std::vector<std::string>{"", "True", "7"}));
    EXPECT_EQ(Variant("0.1").toSingle(), 0.1f);
    EXPECT_TRUE(Variant("12.5").isNumeric());
    EXPECT_FALSE(Variant("abc").isNumeric());
    EXPECT_FALSE(Variant("True").isNumeric());  // a Boolean word converts, but is no number
    EXPECT_FALSE(Variant::null().isNumeric());
    EXPECT_EQ(errorNumberOf([] { Variant::null().toText(); }), kErrTypeMismatch);
    EXPECT_EQ(errorNumberOf([] { Variant("x").toLong(); }), kErrTypeMismatch);
    EXPECT_EQ(errorNumberOf([] { Variant(3e9).toLong(); }), kErrOverflow);
    EXPECT_EQ(errorNumberOf([] { Variant(1e300).toSingle(); }), kErrOverflow);
}

}  // namespace
}  // namespace tkstream63
