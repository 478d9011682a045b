#include "recordfile/record_io.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <tuple>

#include "common/errors.hpp"
#include "common/shared_objects.hpp"
#include "common/test_support.hpp"
#include "recordfile/record_file_testing.hpp"
#include "recordfile/record_test_data.hpp"

namespace tkstream63 {
namespace {

using testing::ScratchDirectory;

std::string formName(const ::testing::TestParamInfo<RecordForm>& info) {
    return info.param == RecordForm::Binary ? "Binary" : "Formatted";
}

class RecordRoundTrip : public ::testing::TestWithParam<RecordForm> {
protected:
    void SetUp() override { errorReporter().clearRecentMessages(); }

    // Writes with the body given, commits, and opens the result for reading.
    template <class Write>
    void writeThenOpen(Write&& write) {
        RecordFile out;
        ASSERT_TRUE(out.OpenForWriting(path, GetParam())) << out.LastError();
        write(out);
        ASSERT_TRUE(out.Commit()) << out.LastError();
        ASSERT_TRUE(in.OpenForReading(path)) << in.LastError();
        EXPECT_EQ(in.Form(), GetParam());
    }

    void expectHeader(const std::string& keyword, int32_t n, const std::string& type) {
        std::string k, t;
        int32_t count = -1;
        bool ok = false;
        ASSERT_EQ(io.ReadRecordHeader(in, k, count, t, ok), kRecordOK) << in.LastError();
        EXPECT_TRUE(ok);
        EXPECT_EQ(k, keyword);
        EXPECT_EQ(count, n);
        EXPECT_EQ(t, type);
    }

    ScratchDirectory dir;
    std::string path = dir.file("store.rec");
    RecordIO io;
    RecordFile in;
    bool ok = false;
};

uint32_t bitsOf(float v) { return std::bit_cast<uint32_t>(v); }
uint64_t bitsOf(double v) { return std::bit_cast<uint64_t>(v); }

TEST_P(RecordRoundTrip, EveryItemTypeComesBackBitForBit) {
    const float reals[] = {0.0f,
                           -0.0f,
                           std::numeric_limits<float>::denorm_min(),
                           -1.5e-41f,
                           std::numeric_limits<float>::max(),
                           std::numeric_limits<float>::lowest(),
                           std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(),
                           std::bit_cast<float>(0x7FC00001u),  // quiet NaN with a payload
                           std::bit_cast<float>(0xFF800123u),  // signalling NaN, sign set
                           0.1f,
                           1.0f / 3.0f};
    const double doubles[] = {-0.0, std::numeric_limits<double>::denorm_min(), std::bit_cast<double>(0x7FF8000000000123ull),
                              std::numeric_limits<double>::max(), 0.1};
    const std::string texts[] = {"", "it's", "two '' quotes", "multi\nline \xC3\xBC \xE2\x82\xAC", "  padded  ", "'"};
    Array<float> realArray(1, 12);
    realArray.copyIn(0, reals, 12);
    Array<double> doubleArray(1, 5);
    doubleArray.copyIn(0, doubles, 5);
    Array<bool> flagArray(1, 3);
    flagArray(2) = true;
    Array<uint8_t> byteArray(1, 4);
    byteArray(1) = 255;
    byteArray(3) = 39;

    writeThenOpen([&](RecordFile& out) {
        EXPECT_EQ(io.WriteRecordHeader(out, "ITEMS>", 0, "CHAR", ok), kRecordOK);
        io.WriteRecordHeader(out, "LONGS", 5, "INTE", ok);
        for (int32_t v : {INT32_MIN, -1, 0, 1, INT32_MAX}) EXPECT_EQ(io.WriteItem(out, v, ok), kRecordOK);
        io.WriteRecordHeader(out, "SHORTS", 2, "INTE", ok);
        io.WriteItem(out, int16_t{-32768}, ok);
        io.WriteItem(out, int16_t{32767}, ok);
        io.WriteRecordHeader(out, "REALS", 12, "REAL", ok);
        EXPECT_EQ(io.WriteRealArray(12, "", realArray, out, ok), kRecordOK);
        io.WriteRecordHeader(out, "SCALAR", 1, "REAL", ok);
        io.WriteItem(out, std::bit_cast<float>(0x7FC0ABCDu), ok);
        io.WriteRecordHeader(out, "DOUBLES", 6, "DOUB", ok);
        io.WriteDoubleArray(5, "", doubleArray, out, ok);
        io.WriteItem(out, -2.5, ok);
        io.WriteRecordHeader(out, "FLAGS", 5, "LOGI", ok);
        io.WriteItem(out, true, ok);
        io.WriteItem(out, false, ok);
        io.WriteLogicalArray(3, "", flagArray, out, ok);
        io.WriteRecordHeader(out, "BYTES", 4, "BYTE", ok);
        io.WriteByteArray(4, byteArray, out, ok);
        io.WriteRecordHeader(out, "NAMES", 6, "CHAR", ok);
        for (const auto& text : texts) EXPECT_EQ(io.WriteItem(out, text, ok), kRecordOK) << out.LastError();
        EXPECT_EQ(io.WriteRecordHeader(out, "<ITEMS", 0, "CHAR", ok), kRecordOK);
    });

    expectHeader("ITEMS>", 0, "CHAR");
    expectHeader("LONGS", 5, "INTE");
    Array<int32_t> longs;
    ASSERT_EQ(io.ReadIntegerArray(5, "'", in, longs, ok), kRecordOK) << in.LastError();
    EXPECT_EQ(testing_support::values(longs), (std::vector<int32_t>{INT32_MIN, -1, 0, 1, INT32_MAX}));
    expectHeader("SHORTS", 2, "INTE");
    Variant item;
    ASSERT_EQ(io.ReadItem(in, item, ok), kRecordOK);
    EXPECT_EQ(item, Variant(int32_t{-32768}));  // 16-bit items come back as Longs
    int32_t second = 0;
    ASSERT_EQ(io.ReadItem(in, second, ok), kRecordOK);
    EXPECT_EQ(second, 32767);

    expectHeader("REALS", 12, "REAL");
    Array<float> realsBack;
    ASSERT_EQ(io.ReadRealArray(12, "'", in, realsBack, ok), kRecordOK) << in.LastError();
    for (int i = 0; i < 12; ++i) EXPECT_EQ(bitsOf(realsBack(i + 1)), bitsOf(reals[i])) << "real " << i;
    expectHeader("SCALAR", 1, "REAL");
    ASSERT_EQ(io.ReadItem(in, item, ok), kRecordOK);
    ASSERT_EQ(item.type(), Variant::Type::Single);
    EXPECT_EQ(bitsOf(item.toSingle()), 0x7FC0ABCDu);

    expectHeader("DOUBLES", 6, "DOUB");
    Array<double> doublesBack;
    ASSERT_EQ(io.ReadDoubleArray(6, "'", in, doublesBack, ok), kRecordOK) << in.LastError();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(bitsOf(doublesBack(i + 1)), bitsOf(doubles[i])) << "double " << i;
    EXPECT_EQ(doublesBack(6), -2.5);

    expectHeader("FLAGS", 5, "LOGI");
    Array<bool> flags;
    ASSERT_EQ(io.ReadLogicalArray(5, "'", in, flags, ok), kRecordOK);
    EXPECT_EQ(testing_support::values(flags), (std::vector<bool>{true, false, false, true, false}));

    expectHeader("BYTES", 4, "BYTE");
    ASSERT_EQ(io.ReadItem(in, item, ok), kRecordOK);
    EXPECT_EQ(item, Variant(int16_t{255}));
    Array<uint8_t> bytesBack;
    ASSERT_EQ(io.ReadByteArray(3, in, bytesBack, ok), kRecordOK);
    EXPECT_EQ(bytesBack(2), 39);

    expectHeader("NAMES", 6, "CHAR");
    for (const auto& text : texts) {
        std::string back = "unchanged";
        ASSERT_EQ(io.ReadItem(in, back, ok), kRecordOK) << in.LastError();
        EXPECT_EQ(back, text);
    }
    expectHeader("<ITEMS", 0, "CHAR");
    int32_t bytesRead = 0, bytesTotal = 0;
    bool eof = false;
    in.GetReadState(bytesRead, bytesTotal, eof);
    EXPECT_TRUE(eof && bytesRead == bytesTotal);
    EXPECT_TRUE(errorReporter().recentMessages().empty());
}

TEST_P(RecordRoundTrip, TablesMoveInPlaceWholeOrInParts) {
    Array<float> table(1, 3, 0, 4);  // (column, row), column fastest
    for (int32_t row = 0; row <= 4; ++row)
        for (int32_t col = 1; col <= 3; ++col) table(col, row) = static_cast<float>(10 * row + col);
    {
        // A run that would pass the end of the array is refused, and that spoils the export.
        RecordFile out;
        ASSERT_TRUE(out.OpenForWriting(path, GetParam()));
        io.WriteRecordHeader(out, "PAST", 3, "REAL", ok);
        EXPECT_EQ(io.WriteRealArray(3, "", table, out, ok, 13), kRecordSubscript);
        EXPECT_NE(out.LastError().find("run past the end of an array of 15"), std::string::npos) << out.LastError();
        EXPECT_FALSE(out.Commit());
    }
    writeThenOpen([&](RecordFile& out) {
        io.WriteRecordHeader(out, "SLINEDATA", 15, "REAL", ok);
        io.WriteRealArray(15, "", table, out, ok);
        io.WriteRecordHeader(out, "ROW2", 3, "REAL", ok);
        io.WriteRealArray(3, "", table, out, ok, table.offsetOf(1, 2));
    });
    expectHeader("SLINEDATA", 15, "REAL");
    Array<float> back(1, 3, 0, 4);
    // Two calls into the destination's own storage; the checksum spans both.
    ASSERT_EQ(io.ReadRealArray(6, "'", in, back, ok, 0), kRecordOK);
    ASSERT_EQ(io.ReadRealArray(9, "'", in, back, ok, back.offsetOf(1, 2)), kRecordOK) << in.LastError();
    for (int32_t row = 0; row <= 4; ++row)
        for (int32_t col = 1; col <= 3; ++col) EXPECT_EQ(back(col, row), table(col, row));
    expectHeader("ROW2", 3, "REAL");
    Array<float> rowOnly(1, 3, 0, 4);
    ASSERT_EQ(io.ReadRealArray(3, "'", in, rowOnly, ok, rowOnly.offsetOf(1, 4)), kRecordOK);
    EXPECT_EQ(rowOnly(2, 4), 22.0f);
    EXPECT_EQ(rowOnly(2, 2), 0.0f);
}

TEST_P(RecordRoundTrip, ReadsThatDoNotFitTheRecordAreRefusedWithoutConsumingIt) {
    Array<int32_t> values(1, 38);
    writeThenOpen([&](RecordFile& out) {
        io.WriteRecordHeader(out, "SETINTE", 38, "INTE", ok);  // an older, shorter layout
        io.WriteIntegerArray(38, "", values, out, ok);
        io.WriteRecordHeader(out, "NULLVAL", 0, "DOUB", ok);
        io.WriteRecordHeader(out, "NEXT", 1, "CHAR", ok);
        io.WriteItem(out, "x", ok);
    });
    expectHeader("SETINTE", 38, "INTE");
    Array<int32_t> keep(1, 2);
    keep(1) = 5;
    EXPECT_EQ(io.ReadIntegerArray(42, "'", in, keep, ok), kRecordInvalidCall);
    EXPECT_FALSE(ok);
    EXPECT_NE(in.LastError().find("Record 'SETINTE' at byte "), std::string::npos) << in.LastError();
    EXPECT_NE(in.LastError().find("42 items were asked for but only 38 are left"), std::string::npos);
    EXPECT_EQ(testing_support::values(keep), (std::vector<int32_t>{5, 0}));  // not re-dimensioned
    Array<float> wrongType;
    EXPECT_EQ(io.ReadRealArray(38, "'", in, wrongType, ok), kRecordTypeMismatch);
    EXPECT_NE(in.LastError().find("it holds INTE items, not REAL"), std::string::npos);
    EXPECT_EQ(io.ReadIntegerArray(38, "'", in, keep, ok, 0), kRecordSubscript);
    EXPECT_EQ(io.ReadIntegerArray(-1, "'", in, keep, ok), kRecordInvalidCall);
    EXPECT_EQ(io.ReadIntegerArray(38, "'", in, keep, ok), kRecordOK);  // still whole
    EXPECT_EQ(keep.ubound(), 38);
    EXPECT_EQ(io.ReadItem(in, keep(1), ok), kRecordInvalidCall);  // nothing left

    expectHeader("NULLVAL", 0, "DOUB");
    Array<double> none(1, 3);
    EXPECT_EQ(io.ReadDoubleArray(0, "'", in, none, ok), kRecordOK);
    EXPECT_TRUE(ok && none.lbound() == 1 && none.ubound() == 0);
    expectHeader("NEXT", 1, "CHAR");
    // None of these returned failures went to the error reporter: the caller decides.
    EXPECT_TRUE(errorReporter().recentMessages().empty());
}

TEST_P(RecordRoundTrip, WritesThatBreakTheRecordStructureSpoilTheExport) {
    const std::string before = "previous contents";
    testing::writeFileBytes(path, {before.begin(), before.end()});
    // Each case writes something the record structure forbids and returns the failing call's code.
    using Write = std::function<int32_t(RecordFile&)>;
    const std::tuple<const char*, int32_t, const char*, Write> cases[] = {
        {"short record", kRecordInvalidCall, "announced 3 items but only 1 were written before the next record",
         [&](RecordFile& out) {
             io.WriteRecordHeader(out, "A", 3, "INTE", ok);
             io.WriteItem(out, 1, ok);
             return io.WriteRecordHeader(out, "B", 0, "CHAR", ok);
         }},
        {"wrong item type", kRecordTypeMismatch, "a REAL item cannot go into a INTE record",
         [&](RecordFile& out) { io.WriteRecordHeader(out, "A", 1, "INTE", ok); return io.WriteItem(out, 1.5f, ok); }},
        {"unknown type", kRecordInvalidCall, "unknown item type 'ABCD'",
         [&](RecordFile& out) { return io.WriteRecordHeader(out, "A", 1, "ABCD", ok); }},
        {"long keyword", kRecordInvalidCall, "the keyword is longer than 64 bytes",
         [&](RecordFile& out) { return io.WriteRecordHeader(out, std::string(65, 'K'), 0, "CHAR", ok); }},
        {"extra item", kRecordInvalidCall, "all 1 announced items were already written",
         [&](RecordFile& out) {
             io.WriteRecordHeader(out, "A", 1, "CHAR", ok);
             io.WriteItem(out, "one", ok);
             return io.WriteItem(out, "two", ok);
         }},
        {"empty variant", kRecordTypeMismatch, "an Empty or Null value has no item form",
         [&](RecordFile& out) { io.WriteRecordHeader(out, "A", 1, "CHAR", ok); return io.WriteItem(out, Variant(), ok); }},
        {"incomplete at commit", kRecordOK, "announced 2 items but only 1 were written",
         [&](RecordFile& out) { io.WriteRecordHeader(out, "A", 2, "LOGI", ok); return io.WriteItem(out, true, ok); }},
    };
    for (const auto& [what, expectedCode, message, write] : cases) {
        SCOPED_TRACE(what);
        RecordFile out;
        ASSERT_TRUE(out.OpenForWriting(path, GetParam()));
        EXPECT_EQ(write(out), expectedCode);
        EXPECT_FALSE(out.Commit());
        EXPECT_NE(out.LastError().find(message), std::string::npos) << out.LastError();
        EXPECT_EQ(testing::readFileBytes(path), std::vector<uint8_t>(before.begin(), before.end()));
        EXPECT_EQ(dir.entries().size(), 1u);  // no temporary file left
    }
    // Operations on a file that is not open for them fail cleanly.
    RecordFile closed;
    Array<int32_t> values(1, 1);
    EXPECT_EQ(io.WriteIntegerArray(1, "", values, closed, ok), kRecordInvalidCall);
    EXPECT_EQ(io.ReadIntegerArray(1, "'", closed, values, ok), kRecordInvalidCall);
    EXPECT_NE(closed.LastError().find("is not open for reading"), std::string::npos);
    EXPECT_FALSE(closed.Commit());
    EXPECT_TRUE(errorReporter().recentMessages().empty());
}

INSTANTIATE_TEST_SUITE_P(BothForms, RecordRoundTrip, ::testing::Values(RecordForm::Binary, RecordForm::Formatted),
                         formName);

TEST(RecordFormattedForm, IsReadableTextWithQuotedStringsAndExactFloats) {
    ScratchDirectory dir;
    const std::string path = dir.file("text.rec");
    RecordIO io;
    bool ok = false;
    RecordFile out;
    ASSERT_TRUE(out.OpenForWriting(path, RecordForm::Formatted));
    io.WriteRecordHeader(out, "WELL NAME", 2, "CHAR", ok);
    io.WriteItem(out, "it's", ok);
    io.WriteItem(out, "", ok);
    io.WriteRecordHeader(out, "R", 3, "REAL", ok);
    io.WriteItem(out, 0.1f, ok);
    io.WriteItem(out, -0.0f, ok);
    io.WriteItem(out, std::bit_cast<float>(0x7FC00001u), ok);
    io.WriteRecordHeader(out, "L", 9, "INTE", ok);
    for (int32_t i = 1; i <= 9; ++i) io.WriteItem(out, -i, ok);
    io.WriteRecordHeader(out, "E", 0, "CHAR", ok);
    ASSERT_TRUE(out.Commit()) << out.LastError();
    const auto bytes = testing::readFileBytes(path);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              testing::withTrailer("TKSTREAM63 FORMATTED RECORDS 2\n"
                                   "1 'WELL NAME' 2 CHAR\n'it''s'\n''\n/\n"
                                   "2 'R' 3 REAL\n0.1 -0 NaN(0x7FC00001)\n/\n"
                                   "3 'L' 9 INTE\n-1 -2 -3 -4 -5 -6 -7 -8\n-9\n/\n"
                                   "4 'E' 0 CHAR\n",
                                   4));
}

TEST(RecordFormattedForm, BadCutOrEditedTextStopsReadingWithAClearMessage) {
    ScratchDirectory dir;
    const std::string path = dir.file("edited.rec");
    const std::string preamble = "TKSTREAM63 FORMATTED RECORDS 2\n";
    const std::string edited = [&] {
        std::string text = testing::withTrailer(preamble + "1 'N' 1 INTE\n16\n/\n", 1);
        return text.replace(text.find("16"), 2, "17");
    }();
    struct Case {
        std::string text;
        int32_t code;
        std::string message;
    };
    const Case cases[] = {
        {"1 'R' 2 REAL\n1.5 x\n/\n", kRecordBadFormat, "Record 'R' at byte 31 of '" + path + "': item 2 ('x') is not a valid REAL value"},
        {"1 'I' 1 INTE\n2147483648\n/\n", kRecordBadFormat, "item 1 ('2147483648') is not a valid INTE value"},
        {"1 'C' 1 CHAR\nbare\n/\n", kRecordBadFormat, "item 1 ('bare') is not a quoted string"},
        {"1 NOQUOTE 1 INTE\n1\n/\n", kRecordBadFormat, "expected a quoted keyword, found 'NOQUOTE'"},
        {"1 'K' -1 INTE\n", kRecordBadFormat, "record 'K' has no valid item count"},
        {"1 'N' 1 INTE\n16\n17\n/\n", kRecordBadFormat, "expected the end mark '/' after its 1 items, found '17'"},
        {"2 'N' 0 CHAR\n", kRecordBadFormat, "record number 2 stands where number 1 should follow"},
        // Cut: inside the last number, inside a type, inside a quote, with too little left.
        {"1 'N' 1 INTE\n1", kRecordPastEnd, "before the end mark '/' of this record"},
        {"1 'C' 2 CHAR\n'one'\n", kRecordPastEnd, "before item 2 of 2, inside this record: it is truncated"},
        {"1 'N' 1 INTE\n16\n/\n2 'T' 0 CHA", kRecordPastEnd, "inside the header of record 'T' (which starts at byte 49)"},
        {"1 'OPEN 1 INTE\n", kRecordPastEnd, "inside the header of a record"},
        {"1 'K' 2000000000 REAL\n1 2 3\n", kRecordPastEnd, "claims 2000000000 items"},
        {"1 'N' 0 CHAR\n", kRecordPastEnd, "right after record 'N' (which starts at byte 31), without the trailer line"},
        // The trailer line disagrees with the text before it.
        {testing::withTrailer(preamble + "1 'N' 0 CHAR\n", 2).substr(preamble.size()), kRecordBadFormat,
         "the trailer line counts 2 records, but 1 precede it"},
        {edited.substr(preamble.size()), kRecordBadFormat, "the CRC-32C in the trailer line does not match"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const std::string text = preamble + c.text;
        testing::writeFileBytes(path, {text.begin(), text.end()});
        RecordFile in;
        ASSERT_TRUE(in.OpenForReading(path)) << in.LastError();
        const auto outcome = testing::readEveryRecord(in);
        EXPECT_EQ(outcome.code, c.code);
        EXPECT_NE(outcome.error.find(c.message), std::string::npos) << outcome.error;
        EXPECT_TRUE(outcome.endReported);
    }
}

}  // namespace
}  // namespace tkstream63
