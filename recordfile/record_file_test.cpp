#include "recordfile/record_file.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <regex>

#include "common/shared_objects.hpp"
#include "recordfile/record_file_testing.hpp"
#include "recordfile/record_reseal.hpp"
#include "recordfile/record_test_data.hpp"

namespace tkstream63 {
namespace {

using testing::binaryPreamble;
using testing::binaryRecord;
using testing::FaultyRecordFile;
using testing::readEveryRecord;
using testing::readFileBytes;
using testing::recordSpans;
using testing::ScratchDirectory;
using testing::writeFileBytes;
using testing::writeSampleRecords;

std::vector<uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

std::string formName(const ::testing::TestParamInfo<RecordForm>& info) {
    return info.param == RecordForm::Binary ? "Binary" : "Formatted";
}

// The sample file in the given form, as bytes.
std::vector<uint8_t> sampleFile(const ScratchDirectory& dir, RecordForm form) {
    const std::string path = dir.file("sample.rec");
    RecordFile out;
    EXPECT_TRUE(out.OpenForWriting(path, form));
    EXPECT_EQ(writeSampleRecords(out), kRecordOK) << out.LastError();
    EXPECT_TRUE(out.Commit()) << out.LastError();
    return readFileBytes(path);
}

// Reads a file given as bytes the way an importer does.
testing::ReadOutcome readBytes(const std::string& path, const std::vector<uint8_t>& bytes, bool& opened) {
    writeFileBytes(path, bytes);
    RecordFile in;
    opened = in.OpenForReading(path);
    return opened ? readEveryRecord(in) : testing::ReadOutcome{0, in.LastErrorCode(), in.LastError(), true};
}

bool mentionsByte(const std::string& message, int64_t offset) {
    return std::regex_search(message, std::regex("byte " + std::to_string(offset) + "\\b"));
}

TEST(RecordFileWriting, CommitPutsTheNewFileInPlaceOnlyAtTheEnd) {
    ScratchDirectory dir;
    const std::string path = dir.file("store.rec");
    writeFileBytes(path, bytesOf("old contents"));
    {
        RecordFile out;
        ASSERT_TRUE(out.OpenForWriting(path));
        EXPECT_TRUE(out.IsWriting());
        EXPECT_EQ(writeSampleRecords(out), kRecordOK);
        // Until the commit the target is untouched and the records sit in a file beside it.
        EXPECT_EQ(readFileBytes(path), bytesOf("old contents"));
        EXPECT_EQ(dir.entries().size(), 2u);
        EXPECT_FALSE(out.OpenForReading(path));  // one file at a time
        EXPECT_NE(out.LastError().find("is still open"), std::string::npos);
        ASSERT_TRUE(out.Commit()) << out.LastError();
        EXPECT_FALSE(out.IsOpen());
        EXPECT_FALSE(out.Commit());  // nothing left to commit
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"store.rec"});
    EXPECT_NE(readFileBytes(path), bytesOf("old contents"));  // the sample's records are read back by the tests below

    // An abandoned export, or one dropped without a commit, leaves the previous file.
    writeFileBytes(path, bytesOf("old contents"));
    {
        RecordFile out;
        ASSERT_TRUE(out.OpenForWriting(path));
        writeSampleRecords(out);
        out.Abandon();
        EXPECT_FALSE(out.IsOpen());
        EXPECT_EQ(dir.entries().size(), 1u);
        ASSERT_TRUE(out.OpenForWriting(path));  // the object can start over
        writeSampleRecords(out);
    }
    EXPECT_EQ(readFileBytes(path), bytesOf("old contents"));
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"store.rec"});
    RecordFile out;
    EXPECT_FALSE(out.OpenForWriting(dir.file("no-such-folder/store.rec")));
    EXPECT_EQ(out.LastErrorCode(), kRecordAccessError);
    EXPECT_NE(out.LastError().find("cannot create"), std::string::npos);
}

TEST(RecordFileWriting, AFailedWriteAtAnyCallLeavesThePreviousFileAndNoTemporaryFile) {
    ScratchDirectory dir;
    const std::string path = dir.file("store.rec");
    writeFileBytes(path, bytesOf("old contents"));
    // A tiny buffer makes the export use many write calls; count them on a good run.
    constexpr size_t kTinyBuffer = 64;
    int totalCalls = 0;
    {
        FaultyRecordFile out(kTinyBuffer);
        ASSERT_TRUE(out.OpenForWriting(dir.file("count.rec")));
        writeSampleRecords(out);
        ASSERT_TRUE(out.Commit());
        totalCalls = out.writeCalls;
    }
    ASSERT_GT(totalCalls, 5);
    std::remove(dir.file("count.rec").c_str());
    for (int failing = 1; failing <= totalCalls; ++failing) {
        SCOPED_TRACE("failing write call " + std::to_string(failing));
        FaultyRecordFile out(kTinyBuffer);
        out.failWriteCall = failing;
        const bool opened = out.OpenForWriting(path);
        if (opened) writeSampleRecords(out);
        EXPECT_FALSE(opened && out.Commit());
        EXPECT_EQ(out.LastErrorCode(), kRecordDiskFull);
        EXPECT_NE(out.LastError().find("No space left on device"), std::string::npos) << out.LastError();
        EXPECT_EQ(readFileBytes(path), bytesOf("old contents"));
        EXPECT_EQ(dir.entries(), std::vector<std::string>{"store.rec"});
    }
}

TEST(RecordFileReading, FilesOfBothVersionsLoadAndForeignOrImpossibleOnesAreRefused) {
    ScratchDirectory dir;
    const std::string path = dir.file("input.rec");
    auto file = [](uint32_t version, std::initializer_list<std::vector<uint8_t>> records, size_t padTo = 0) {
        auto bytes = binaryPreamble(version);
        for (const auto& record : records) bytes.insert(bytes.end(), record.begin(), record.end());
        if (version == 2 && padTo == 0) resealRecordFile(bytes);
        if (padTo > 0) bytes.resize(padTo, 0);
        return bytes;
    };
    struct Case {
        std::vector<uint8_t> bytes;
        int records;  // read without error; -1: refused at the open
        int32_t code;
        std::string message;
    };
    const Case cases[] = {
        // Version 1: no record numbers, one CRC per body, no trailer; text without numbers and marks.
        {file(1, {binaryRecord("A>", "CHAR", 0, 0, {}, 0, 1), binaryRecord("N", "INTE", 1, 4, {7, 0, 0, 0}, 0, 1)}), 2,
         kRecordOK, ""},
        {bytesOf("TKSTREAM63 FORMATTED RECORDS 1\n'A>' 0 CHAR\n'N' 1 INTE\n7\n"), 2, kRecordOK, ""},
        // A type of a later version is passed over in both forms.
        {file(2, {binaryRecord("FUTURE", "QUAD", 2, 32, std::vector<uint8_t>(32, 7)), binaryRecord("N", "INTE", 1, 4, {9, 0, 0, 0})}),
         2, kRecordOK, ""},
        {bytesOf(testing::withTrailer("TKSTREAM63 FORMATTED RECORDS 2\n1 'FUTURE' 2 QUAD\n1q 'two'\n/\n2 'N' 1 INTE\n9\n/\n", 2)),
         2, kRecordOK, ""},
        // Counts no body can hold, under sound checksums, are refused at the header: nothing is sized.
        {file(2, {binaryRecord("SLINEDATA", "REAL", 2000000000u, 8000000000ull, {})}, 1024), 0, kRecordPastEnd,
         "Record header at byte 12 of '" + path + "': record 'SLINEDATA' (2000000000 items, 8000000000 bytes) does not fit"},
        {file(2, {binaryRecord("SLINEDATA", "REAL", 2000000000u, 16, {})}, 1024), 0, kRecordBadFormat,
         "has 2000000000 REAL items in 16 bytes, which cannot be"},
        {file(2, {binaryRecord("ZWELLLIST", "CHAR", 2000000000u, 64, {})}, 1024), 0, kRecordBadFormat,
         "has 2000000000 CHAR items in 64 bytes"},
        // Foreign files.
        {binaryPreamble(3), -1, kRecordBadFormat, "is in record format version 3, but this library reads versions 1 and 2 only"},
        {bytesOf("TKSTREAM63 FORMATTED RECORDS 9\n"), -1, kRecordBadFormat, "formatted record version '9'"},
        {bytesOf("PK\x03\x04 a zip archive"), -1, kRecordBadFormat, "'" + path + "' is not a tkstream63 record file"},
        {{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 0}, -1, kRecordBadFormat, "is not a tkstream63 record file"},
        {{}, -1, kRecordBadFormat, "is not a tkstream63 record file"},
        {{0x89, 'T', 'K'}, -1, kRecordBadFormat, "is not a tkstream63 record file"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        bool opened = false;
        const auto outcome = readBytes(path, c.bytes, opened);
        EXPECT_EQ(opened, c.records >= 0);
        EXPECT_EQ(outcome.code, c.code);
        EXPECT_EQ(outcome.records, std::max(c.records, 0));
        EXPECT_NE(outcome.error.find(c.message), std::string::npos) << outcome.error;
        EXPECT_TRUE(outcome.endReported);
    }
    RecordFile in;
    EXPECT_FALSE(in.OpenForReading(dir.file("absent.rec")));
    EXPECT_EQ(in.LastErrorCode(), kRecordFileNotFound);
}

class RecordFileBothForms : public ::testing::TestWithParam<RecordForm> {};

TEST_P(RecordFileBothForms, EveryCutIsReportedAsTruncationWhereItFalls) {
    ScratchDirectory dir;
    const auto whole = sampleFile(dir, GetParam());
    const auto spans = recordSpans(dir.file("sample.rec"), whole);
    ASSERT_EQ(spans.keywords.size(), 8u);
    const auto preamble = static_cast<size_t>(spans.starts.front());
    for (size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE("length " + std::to_string(length));
        bool opened = false;
        const auto outcome =
            readBytes(dir.file("cut.rec"), {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)}, opened);
        if (!opened) {
            EXPECT_LT(length, preamble);  // not a record file any more
            continue;
        }
        EXPECT_TRUE(outcome.endReported);
        EXPECT_EQ(outcome.code, kRecordPastEnd);
        EXPECT_NE(outcome.error.find("truncated"), std::string::npos) << outcome.error;
        // The record (or trailer) the cut falls in is named by where it starts.
        const size_t holder = spans.holding(static_cast<int64_t>(length));
        if (length <= preamble) continue;
        const int64_t start = holder < spans.starts.size() ? spans.starts[holder] : spans.trailer;
        EXPECT_TRUE(mentionsByte(outcome.error, start)) << outcome.error << " (expected byte " << start << ")";
    }
}

TEST_P(RecordFileBothForms, RemovedRepeatedOrSwappedRecordsAndAMissingTrailerAreDetected) {
    ScratchDirectory dir;
    const auto whole = sampleFile(dir, GetParam());
    const auto spans = recordSpans(dir.file("sample.rec"), whole);
    const size_t records = spans.keywords.size();
    auto piece = [&](size_t k) {
        const int64_t end = k + 1 < records ? spans.starts[k + 1] : spans.trailer;
        return std::vector<uint8_t>(whole.begin() + spans.starts[k], whole.begin() + end);
    };
    auto assemble = [&](const std::vector<size_t>& order, bool trailer) {
        std::vector<uint8_t> out(whole.begin(), whole.begin() + spans.starts.front());
        for (const size_t k : order) {
            const auto bytes = piece(k);
            out.insert(out.end(), bytes.begin(), bytes.end());
        }
        if (trailer) out.insert(out.end(), whole.begin() + spans.trailer, whole.end());
        return out;
    };
    std::vector<std::pair<std::string, std::vector<uint8_t>>> variants;
    std::vector<size_t> all(records);
    for (size_t k = 0; k < records; ++k) all[k] = k;
    variants.emplace_back("trailer removed", assemble(all, false));
    for (size_t k = 0; k < records; ++k) {
        auto removed = all, repeated = all, swapped = all;
        removed.erase(removed.begin() + static_cast<std::ptrdiff_t>(k));
        repeated.insert(repeated.begin() + static_cast<std::ptrdiff_t>(k), k);
        if (k + 1 < records) std::swap(swapped[k], swapped[k + 1]);
        variants.emplace_back("record " + std::to_string(k) + " removed", assemble(removed, true));
        variants.emplace_back("record " + std::to_string(k) + " repeated", assemble(repeated, true));
        if (k + 1 < records) variants.emplace_back("records " + std::to_string(k) + " swapped", assemble(swapped, true));
    }
    for (const auto& [what, bytes] : variants) {
        SCOPED_TRACE(what);
        bool opened = false;
        const auto outcome = readBytes(dir.file("changed.rec"), bytes, opened);
        ASSERT_TRUE(opened);
        EXPECT_LT(outcome.code, 0);
        EXPECT_TRUE(std::regex_search(outcome.error, std::regex("missing|truncated|damaged"))) << outcome.error;
    }
}

INSTANTIATE_TEST_SUITE_P(, RecordFileBothForms, ::testing::Values(RecordForm::Binary, RecordForm::Formatted),
                         formName);

TEST(RecordFileReading, AFlippedByteAnywhereIsCaughtByTheChecksums) {
    ScratchDirectory dir;
    const auto whole = sampleFile(dir, RecordForm::Binary);
    const std::string path = dir.file("damaged.rec");
    for (size_t offset = 0; offset < whole.size(); ++offset) {
        for (const uint8_t flip : {0x01, 0x80, 0xFF}) {
            SCOPED_TRACE("offset " + std::to_string(offset) + " flip " + std::to_string(flip));
            auto damaged = whole;
            damaged[offset] ^= flip;
            bool opened = false;
            const auto outcome = readBytes(path, damaged, opened);
            EXPECT_EQ(outcome.code, kRecordBadFormat);
            if (!opened) {
                EXPECT_LT(offset, 12u);  // a damaged preamble stops the open
                continue;
            }
            EXPECT_NE(outcome.error.find("damaged"), std::string::npos) << outcome.error;
        }
    }
}

TEST(RecordFileReading, ReadStateProgressAndLoopsThatCannotSpinOnGarbageOrFailingReads) {
    ScratchDirectory dir;
    auto bytes = sampleFile(dir, RecordForm::Binary);
    const size_t sampleSize = bytes.size();
    const std::string path = dir.file("sample.rec");
    RecordFile in;
    int32_t bytesRead = -1, bytesTotal = -1;
    bool eof = false;
    in.GetReadState(bytesRead, bytesTotal, eof);
    EXPECT_TRUE(eof);  // not open: nothing to read
    ASSERT_TRUE(in.OpenForReading(path));
    RecordIO io;
    std::string keyword, type;
    int32_t n = 0;
    bool ok = false;
    io.ReadRecordHeader(in, keyword, n, type, ok);
    in.GetReadState(bytesRead, bytesTotal, eof);
    EXPECT_TRUE(bytesTotal == static_cast<int32_t>(sampleSize) && bytesRead > 12 && !eof);
    // The last record has no body, so the end (and the trailer) is checked as soon as its header
    // is read, even when the body of the record before was left unread.
    while (keyword != "<SAMPLE" && ok) io.ReadRecordHeader(in, keyword, n, type, ok);
    in.GetReadState(bytesRead, bytesTotal, eof);
    EXPECT_TRUE(eof && bytesRead == bytesTotal);
    EXPECT_EQ(io.ReadRecordHeader(in, keyword, n, type, ok), kRecordPastEnd);
    EXPECT_NE(in.LastError().find("(after record '<SAMPLE'): end of file, no further record"), std::string::npos)
        << in.LastError();
    in.Close();

    // Garbage after good records: a loop that ignores failed headers and stops only on the end
    // flag, as the store's does, still ends.
    bytes.resize(static_cast<size_t>(recordSpans(path, bytes).starts.back()));  // cut "<SAMPLE" and the trailer
    const std::string garbage = "\x05garbage that is no record at all, and some more to be long enough for a trailer";
    bytes.insert(bytes.end(), garbage.begin(), garbage.end());
    writeFileBytes(path, bytes);
    ASSERT_TRUE(in.OpenForReading(path));
    int headers = 0;
    for (eof = false; !eof && headers < 100; ++headers) {
        io.ReadRecordHeader(in, keyword, n, type, ok);
        in.GetReadState(bytesRead, bytesTotal, eof);
    }
    EXPECT_TRUE(eof);
    EXPECT_EQ(headers, 8);
    EXPECT_EQ(in.LastErrorCode(), kRecordBadFormat);

    // A failing read is reported and ends the file too.
    sampleFile(dir, RecordForm::Binary);
    FaultyRecordFile faulty(64);
    faulty.failReadCall = 3;
    faulty.failErrno = EIO;
    ASSERT_TRUE(faulty.OpenForReading(path));
    const auto outcome = readEveryRecord(faulty);
    EXPECT_EQ(outcome.code, kRecordDeviceError);
    EXPECT_NE(outcome.error.find("Input/output error"), std::string::npos) << outcome.error;
    EXPECT_TRUE(outcome.endReported);
}

TEST(RecordFileReading, LargeBodiesStartAtAFixedPageOffsetAndAreCheckedBlockByBlock) {
    ScratchDirectory dir;
    constexpr int32_t kValues = 1100000;  // 4.4 MB, written and read straight from the array, checked alongside
    // The same values twice, the second time three elements into the array.
    Array<float> table(1, kValues + 3);
    Array<float> shifted(1, kValues + 3);
    for (int32_t i = 1; i <= kValues; ++i) table(i) = shifted(i + 3) = static_cast<float>(i % 1000) * 0.5f;
    const Array<float>* sources[2] = {&table, &shifted};
    RecordIO io;
    bool ok = false;
    // The same values from two places in memory give the same file.
    std::vector<uint8_t> files[2];
    const size_t offsets[2] = {0, 3};
    for (int k = 0; k < 2; ++k) {
        const std::string path = dir.file("large" + std::to_string(k) + ".rec");
        RecordFile out;
        ASSERT_TRUE(out.OpenForWriting(path));
        io.WriteRecordHeader(out, "NOTE", 1, "CHAR", ok);
        io.WriteItem(out, "odd length", ok);
        io.WriteRecordHeader(out, "SLINEDATA", kValues, "REAL", ok);
        ASSERT_EQ(io.WriteRealArray(kValues, "", *sources[k], out, ok, offsets[k]), kRecordOK);
        ASSERT_TRUE(out.Commit());
        files[k] = readFileBytes(path);
    }
    EXPECT_TRUE(files[0] == files[1]);
    // The body sits 16 bytes into a page, where the C library puts large heap blocks.
    const std::vector<uint8_t> firstValues = {0x00, 0x00, 0x00, 0x3F, 0x00, 0x00, 0x80, 0x3F};  // 0.5f, 1.0f
    const auto body = std::search(files[1].begin(), files[1].end(), firstValues.begin(), firstValues.end());
    ASSERT_NE(body, files[1].end());
    const auto bodyAt = static_cast<size_t>(body - files[1].begin());
    EXPECT_EQ(bodyAt % 4096, 16u);
    // Header, padding, body, one check per 64 KiB block (68 of them), trailer.
    EXPECT_EQ(files[0].size(), bodyAt + 4 * size_t{kValues} + 68 * 4 + 52);

    const std::string path = dir.file("large0.rec");
    struct Damage {
        size_t at;     // byte flipped (0: none)
        int failRead;  // read call that fails (0: none), one in the middle of the body
        int32_t code;
        const char* message;
    };
    const Damage damages[] = {
        {0, 0, kRecordOK, ""},
        {bodyAt + 59 * 65536 + 5, 0, kRecordBadFormat, "checksum mismatch in block 60 of 68 (body bytes from 3866624)"},
        {bodyAt - 1, 0, kRecordBadFormat, "the padding before the body of record 'SLINEDATA' is not blank"},
        {0, 5, kRecordDeviceError, "Input/output error"},
    };
    for (const Damage& d : damages) {
        auto bytes = files[0];
        if (d.at > 0) bytes[d.at] ^= 1;
        writeFileBytes(path, bytes);
        FaultyRecordFile in;
        in.failReadCall = d.failRead;
        in.failErrno = EIO;
        ASSERT_TRUE(in.OpenForReading(path));
        std::string keyword, type;
        int32_t n = 0;
        io.ReadRecordHeader(in, keyword, n, type, ok);
        Array<float> back;
        const int32_t code = io.ReadRecordHeader(in, keyword, n, type, ok) == kRecordOK
                                 ? io.ReadRealArray(n, "'", in, back, ok)
                                 : in.LastErrorCode();
        ASSERT_EQ(code, d.code) << in.LastError();
        if (code == kRecordOK) {
            EXPECT_EQ(std::memcmp(back.data(), table.data(), sizeof(float) * kValues), 0);
        }
        EXPECT_NE(in.LastError().find(d.message), std::string::npos) << in.LastError();
    }
}

TEST(RecordFileReseal, MakesAChangedFileWholeAgainAndLeavesOtherBytesAlone) {
    ScratchDirectory dir;
    const auto whole = sampleFile(dir, RecordForm::Binary);
    const auto spans = recordSpans(dir.file("sample.rec"), whole);
    // Records 2 and 3 swapped, a value changed, the trailer gone: resealed, the file reads whole.
    std::vector<uint8_t> changed(whole.begin(), whole.begin() + spans.starts[1]);
    changed.insert(changed.end(), whole.begin() + spans.starts[2], whole.begin() + spans.starts[3]);
    changed.insert(changed.end(), whole.begin() + spans.starts[1], whole.begin() + spans.starts[2]);
    changed.insert(changed.end(), whole.begin() + spans.starts[3], whole.begin() + spans.trailer);
    changed[static_cast<size_t>(spans.starts[2]) + 30] ^= 0x10;
    // A body running past the end is dropped with all after it.
    auto cut = std::vector<uint8_t>(whole.begin(), whole.begin() + spans.starts[3] + 40);
    for (auto [bytes, records] : std::vector<std::pair<std::vector<uint8_t>, int>>{{changed, 8}, {cut, 3}}) {
        ASSERT_TRUE(resealRecordFile(bytes));
        bool opened = false;
        const auto outcome = readBytes(dir.file("resealed.rec"), bytes, opened);
        EXPECT_EQ(outcome.code, kRecordOK) << outcome.error;
        EXPECT_EQ(outcome.records, records);
    }
    auto again = whole;  // resealing a sound file changes nothing
    ASSERT_TRUE(resealRecordFile(again));
    EXPECT_TRUE(again == whole);
    for (auto other : {bytesOf("TKSTREAM63 FORMATTED RECORDS 2\n"), binaryPreamble(1), bytesOf("no")}) {
        const auto before = other;
        EXPECT_FALSE(resealRecordFile(other));
        EXPECT_TRUE(other == before);
    }
}

}  // namespace
}  // namespace tkstream63
