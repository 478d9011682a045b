#include "recordfile/record_file.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "common/shared_objects.hpp"
#include "recordfile/record_file_testing.hpp"
#include "recordfile/record_test_data.hpp"

// The largest single allocation while watching is on, to prove that a damaged item count never
// reaches the allocator.
namespace {
bool watchAllocations = false;
size_t largestAllocation = 0;
}  // namespace

// Kept out of line so the compiler does not pair the malloc and free across inlined calls.
__attribute__((noinline)) void* operator new(size_t n) {
    if (watchAllocations && n > largestAllocation) largestAllocation = n;
    if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
    throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* p) noexcept { std::free(p); }
__attribute__((noinline)) void operator delete(void* p, size_t) noexcept { std::free(p); }

namespace tkstream63 {
namespace {

using testing::binaryPreamble;
using testing::binaryRecord;
using testing::FaultyRecordFile;
using testing::readEveryRecord;
using testing::readFileBytes;
using testing::ScratchDirectory;
using testing::writeFileBytes;
using testing::writeSampleRecords;

std::vector<uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// The sample file in the given form, as bytes.
std::vector<uint8_t> sampleFile(const ScratchDirectory& dir, RecordForm form) {
    const std::string path = dir.file("sample.rec");
    RecordFile out;
    EXPECT_TRUE(out.OpenForWriting(path, form));
    EXPECT_EQ(writeSampleRecords(out), kRecordOK) << out.LastError();
    EXPECT_TRUE(out.Commit()) << out.LastError();
    return readFileBytes(path);
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
    RecordFile in;
    ASSERT_TRUE(in.OpenForReading(path)) << in.LastError();
    const auto outcome = readEveryRecord(in);
    EXPECT_EQ(outcome.code, kRecordOK) << outcome.error;
    EXPECT_EQ(outcome.records, 8);
    EXPECT_TRUE(outcome.endReported);
}

TEST(RecordFileWriting, AbandonedOrDroppedExportsLeaveThePreviousFile) {
    ScratchDirectory dir;
    const std::string path = dir.file("store.rec");
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
    }  // destroyed without a commit
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

TEST(RecordFileReading, ForeignFilesAreRefusedAtOnce) {
    ScratchDirectory dir;
    const std::string path = dir.file("input.rec");
    std::vector<uint8_t> newer = binaryPreamble(2);
    struct Case {
        std::vector<uint8_t> bytes;
        int32_t code;
        std::string message;
    };
    const Case cases[] = {
        {bytesOf("PK\x03\x04 a zip archive"), kRecordBadFormat, "'" + path + "' is not a tkstream63 record file"},
        {{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 0}, kRecordBadFormat, "is not a tkstream63 record file"},
        {{}, kRecordBadFormat, "is not a tkstream63 record file"},
        {{0x89, 'T', 'K'}, kRecordBadFormat, "is not a tkstream63 record file"},
        {newer, kRecordBadFormat, "is in record format version 2, but this library reads version 1 only"},
        {bytesOf("TKSTREAM63 FORMATTED RECORDS 9\n"), kRecordBadFormat, "formatted record version '9'"},
        {bytesOf("The quick brown fox"), kRecordBadFormat, "is not a tkstream63 record file"},
    };
    for (const Case& c : cases) {
        writeFileBytes(path, c.bytes);
        RecordFile in;
        EXPECT_FALSE(in.OpenForReading(path));
        EXPECT_FALSE(in.IsOpen());
        EXPECT_EQ(in.LastErrorCode(), c.code);
        EXPECT_NE(in.LastError().find(c.message), std::string::npos) << in.LastError();
    }
    RecordFile in;
    EXPECT_FALSE(in.OpenForReading(dir.file("absent.rec")));
    EXPECT_EQ(in.LastErrorCode(), kRecordFileNotFound);
    EXPECT_FALSE(in.OpenForReading(dir.file("")));  // a directory
    EXPECT_EQ(in.LastErrorCode(), kRecordAccessError);
}

TEST(RecordFileReading, ATruncatedBinaryFileFailsCleanlyAtEveryLength) {
    ScratchDirectory dir;
    const auto whole = sampleFile(dir, RecordForm::Binary);
    const std::string path = dir.file("cut.rec");
    for (size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE("length " + std::to_string(length));
        writeFileBytes(path, {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
        RecordFile in;
        if (!in.OpenForReading(path)) {
            EXPECT_LT(length, 12u);  // only a cut preamble stops the open
            continue;
        }
        const auto outcome = readEveryRecord(in);
        EXPECT_TRUE(outcome.endReported);
        EXPECT_LT(outcome.records, 8);
        // A cut between two records reads as a shorter file (the importer misses its closing
        // record); any other cut is an error that says where.
        if (outcome.code == kRecordOK) continue;
        EXPECT_NE(outcome.error.find(" at byte "), std::string::npos) << outcome.error;
    }
}

TEST(RecordFileReading, ATruncatedFormattedFileNeverHangsOrCrashes) {
    ScratchDirectory dir;
    const auto whole = sampleFile(dir, RecordForm::Formatted);
    const std::string path = dir.file("cut.rec");
    int failures = 0;
    for (size_t length = 31; length < whole.size(); ++length) {
        writeFileBytes(path, {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
        RecordFile in;
        ASSERT_TRUE(in.OpenForReading(path));
        const auto outcome = readEveryRecord(in);
        EXPECT_TRUE(outcome.endReported) << "length " << length;
        if (outcome.code < 0) ++failures;
    }
    // Text has no checksums, so a cut inside the last number may go unnoticed; most cuts do not.
    EXPECT_GT(failures, static_cast<int>(whole.size() - 31) * 3 / 4);
}

TEST(RecordFileReading, AFlippedByteAnywhereIsCaughtByTheChecksums) {
    ScratchDirectory dir;
    const auto whole = sampleFile(dir, RecordForm::Binary);
    const std::string path = dir.file("damaged.rec");
    for (size_t offset = 0; offset < whole.size(); ++offset) {
        for (const uint8_t flip : {0x01, 0x80, 0xFF}) {
            SCOPED_TRACE("offset " + std::to_string(offset) + " flip " + std::to_string(flip));
            auto damaged = whole;
            damaged[offset] ^= flip;
            writeFileBytes(path, damaged);
            RecordFile in;
            if (!in.OpenForReading(path)) {
                EXPECT_LT(offset, 12u);
                EXPECT_EQ(in.LastErrorCode(), kRecordBadFormat);
                continue;
            }
            const auto outcome = readEveryRecord(in);
            EXPECT_LT(outcome.code, 0);
            EXPECT_NE(outcome.error.find("damaged"), std::string::npos) << outcome.error;
        }
    }
    // A damaged body is refused when its last item is read; the reader can still go on.
    auto damaged = whole;
    const std::vector<uint8_t> reals = {0x00, 0x00, 0x00, 0x3F};  // 0.5f, the first REALS item
    const auto at = std::search(damaged.begin(), damaged.end(), reals.begin(), reals.end());
    ASSERT_NE(at, damaged.end());
    *at ^= 0x01;
    writeFileBytes(path, damaged);
    RecordFile in;
    ASSERT_TRUE(in.OpenForReading(path));
    RecordIO io;
    std::string keyword, type;
    int32_t n = 0;
    bool ok = false;
    do {
        io.ReadRecordHeader(in, keyword, n, type, ok);
    } while (ok && keyword != "REALS");
    Array<float> values;
    EXPECT_EQ(io.ReadRealArray(n, "'", in, values, ok), kRecordBadFormat);
    EXPECT_FALSE(ok);
    EXPECT_EQ(values.size(), 0u);  // what was read is not handed out
    EXPECT_NE(in.LastError().find("Record 'REALS' at byte "), std::string::npos) << in.LastError();
    EXPECT_NE(in.LastError().find("checksum mismatch"), std::string::npos);
    EXPECT_EQ(io.ReadRecordHeader(in, keyword, n, type, ok), kRecordOK);
    EXPECT_EQ(keyword, "DOUBLES");
}

TEST(RecordFileReading, AHugeItemCountIsRefusedBeforeAnythingIsAllocated) {
    ScratchDirectory dir;
    const std::string path = dir.file("claims.rec");
    // Headers with sound checksums: one whose body would need 8 GB, one whose count does not
    // fit its body.
    const std::vector<std::vector<uint8_t>> headers = {
        binaryRecord("SLINEDATA", "REAL", 2000000000u, 8000000000ull, {}),
        binaryRecord("SLINEDATA", "REAL", 2000000000u, 16, {}),
        binaryRecord("ZWELLLIST", "CHAR", 2000000000u, 64, {}),
    };
    for (const auto& header : headers) {
        auto bytes = binaryPreamble();
        bytes.insert(bytes.end(), header.begin(), header.end());
        bytes.resize(1024, 0);
        writeFileBytes(path, bytes);
        RecordFile in;
        ASSERT_TRUE(in.OpenForReading(path));
        RecordIO io;
        std::string keyword, type;
        int32_t n = -1;
        bool ok = true;
        largestAllocation = 0;
        watchAllocations = true;
        const int32_t code = io.ReadRecordHeader(in, keyword, n, type, ok);
        const std::string message = in.LastError();
        Array<float> values;
        const int32_t readCode = io.ReadRealArray(2000000000, "'", in, values, ok);
        watchAllocations = false;
        EXPECT_LT(code, 0);
        EXPECT_LT(readCode, 0);
        EXPECT_LT(largestAllocation, 64u * 1024);
        EXPECT_EQ(keyword, "");
        EXPECT_EQ(n, 0);
        EXPECT_NE(message.find("2000000000"), std::string::npos) << message;
        EXPECT_NE(message.find("Record header at byte 12 of"), std::string::npos) << message;
        int32_t bytesRead = 0, bytesTotal = 0;
        bool eof = false;
        in.GetReadState(bytesRead, bytesTotal, eof);
        EXPECT_TRUE(eof);
        EXPECT_EQ(bytesTotal, 1024);
    }
}

TEST(RecordFileReading, UnknownTypesAreSkippableInBothForms) {
    ScratchDirectory dir;
    const std::string path = dir.file("newer.rec");
    auto bytes = binaryPreamble();
    for (const auto& record : {binaryRecord("FUTURE", "QUAD", 2, 32, std::vector<uint8_t>(32, 7)),
                               binaryRecord("NEXT", "INTE", 1, 4, {9, 0, 0, 0})})
        bytes.insert(bytes.end(), record.begin(), record.end());
    const std::string text = "TKSTREAM63 FORMATTED RECORDS 1\n'FUTURE' 2 QUAD\n1q 'two'\n'NEXT' 1 INTE\n9\n";
    for (const auto& file : {bytes, bytesOf(text)}) {
        writeFileBytes(path, file);
        RecordFile in;
        ASSERT_TRUE(in.OpenForReading(path));
        RecordIO io;
        std::string keyword, type;
        int32_t n = 0;
        bool ok = false;
        ASSERT_EQ(io.ReadRecordHeader(in, keyword, n, type, ok), kRecordOK) << in.LastError();
        EXPECT_EQ(type, "QUAD");
        EXPECT_EQ(n, 2);
        Variant item;
        EXPECT_EQ(io.ReadItem(in, item, ok), kRecordTypeMismatch);
        ASSERT_EQ(io.ReadRecordHeader(in, keyword, n, type, ok), kRecordOK) << in.LastError();
        int32_t value = 0;
        EXPECT_EQ(io.ReadItem(in, value, ok), kRecordOK);
        EXPECT_EQ(value, 9);
    }
}

TEST(RecordFileReading, ReadStateProgressAndLoopsThatCannotSpin) {
    ScratchDirectory dir;
    auto bytes = sampleFile(dir, RecordForm::Binary);
    const size_t sampleSize = bytes.size();
    const std::string path = dir.file("sample.rec");
    RecordFile in;
    int ticks = 0;
    in.SetProgressCallback([&] { ++ticks; });
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
    EXPECT_EQ(bytesTotal, static_cast<int32_t>(sampleSize));
    EXPECT_GT(bytesRead, 12);
    EXPECT_FALSE(eof);
    in.ProgressTick();
    in.ProgressTick();
    EXPECT_EQ(ticks, 2);
    // The last record has no body, so the end shows as soon as its header is read, even when
    // the body of the record before was left unread.
    while (keyword != "<SAMPLE" && ok) io.ReadRecordHeader(in, keyword, n, type, ok);
    in.GetReadState(bytesRead, bytesTotal, eof);
    EXPECT_TRUE(eof);
    EXPECT_EQ(bytesRead, bytesTotal);
    EXPECT_EQ(io.ReadRecordHeader(in, keyword, n, type, ok), kRecordPastEnd);
    EXPECT_NE(in.LastError().find("(after record '<SAMPLE'): end of file, no further record"), std::string::npos)
        << in.LastError();
    in.Close();

    // Garbage after good records: a loop that ignores failed headers and stops only on the end
    // flag, as the store's does, still ends.
    bytes.resize(bytes.size() - 30);  // cut the "<SAMPLE" record (a 30-byte header)
    const std::string garbage = "\x05garbage that is no record at all";
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
}

TEST(RecordFileReading, LargeBodiesStartAtAFixedPageOffsetWhereverTheirArrayIs) {
    ScratchDirectory dir;
    constexpr int32_t kValues = 300000;  // 1.2 MB, written straight from the array
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

    const std::string path = dir.file("large0.rec");
    RecordFile in;
    ASSERT_TRUE(in.OpenForReading(path));
    std::string keyword, type;
    int32_t n = 0;
    io.ReadRecordHeader(in, keyword, n, type, ok);
    io.ReadRecordHeader(in, keyword, n, type, ok);
    ASSERT_EQ(keyword, "SLINEDATA");
    Array<float> back;
    ASSERT_EQ(io.ReadRealArray(n, "'", in, back, ok), kRecordOK) << in.LastError();
    EXPECT_EQ(std::memcmp(back.data(), table.data(), sizeof(float) * kValues), 0);
    in.Close();

    files[0][bodyAt - 1] = 1;  // the last padding byte
    writeFileBytes(path, files[0]);
    ASSERT_TRUE(in.OpenForReading(path));
    const auto outcome = readEveryRecord(in);
    EXPECT_EQ(outcome.code, kRecordBadFormat);
    EXPECT_NE(outcome.error.find("the padding before the body of record 'SLINEDATA' is not blank"), std::string::npos)
        << outcome.error;
}

TEST(RecordFileReading, AFailingReadIsReportedAndEndsTheFile) {
    ScratchDirectory dir;
    sampleFile(dir, RecordForm::Binary);
    FaultyRecordFile in(64);
    in.failReadCall = 3;
    in.failErrno = EIO;
    ASSERT_TRUE(in.OpenForReading(dir.file("sample.rec")));
    const auto outcome = readEveryRecord(in);
    EXPECT_EQ(outcome.code, kRecordDeviceError);
    EXPECT_NE(outcome.error.find("Input/output error"), std::string::npos) << outcome.error;
    EXPECT_TRUE(outcome.endReported);
}

}  // namespace
}  // namespace tkstream63
