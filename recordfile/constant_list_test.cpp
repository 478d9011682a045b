#include "recordfile/constant_list.hpp"

#include <gtest/gtest.h>

#include "common/shared_objects.hpp"
#include "common/test_support.hpp"
#include "recordfile/record_file_testing.hpp"

namespace tkstream63 {
namespace {

TEST(AttributeConstantList, IsOneIntegerRecordOf25ValuesThatReadsBackIntoTheTable) {
    testing::ScratchDirectory dir;
    const std::string path = dir.file("store.rec");
    for (const RecordForm form : {RecordForm::Binary, RecordForm::Formatted}) {
        RecordFile out;
        ASSERT_TRUE(out.OpenForWriting(path, form));
        RecordIO io;
        bool qOK = false;
        EXPORTBINARYCONSTANTLIST(io, out, qOK);
        EXPECT_TRUE(qOK);
        ASSERT_TRUE(out.Commit()) << out.LastError();

        RecordFile in;
        ASSERT_TRUE(in.OpenForReading(path));
        std::string keyword, type;
        int32_t n = 0;
        bool ok = false;
        ASSERT_EQ(io.ReadRecordHeader(in, keyword, n, type, ok), kRecordOK);
        EXPECT_EQ(keyword + " " + std::to_string(n) + " " + type, "ATTCONST 25 INTE");
        Array<int32_t>& table = attributeConstantTable();
        ASSERT_EQ(io.ReadIntegerArray(n, "'", in, table, ok), kRecordOK);
        // The record width, then (start, width) pairs running on from column 1 except the pair
        // (0, 72), kept as it is.
        EXPECT_EQ(testing_support::values(table),
                  (std::vector<int32_t>{233, 1, 32, 33, 8, 41, 16, 57, 16, 73, 40, 113, 16, 129, 16, 145, 16, 161,
                                        16, 177, 40, 0, 72, 217, 16}));
        int32_t read = 0, total = 0;
        bool eof = false;
        in.GetReadState(read, total, eof);
        EXPECT_TRUE(eof);
    }
}

TEST(AttributeConstantList, AFailedWriteIsReportedUnderTheModuleName) {
    errorReporter().clearRecentMessages();
    RecordFile notOpen;
    RecordIO io;
    bool qOK = true;
    EXPORTBINARYCONSTANTLIST(io, notOpen, qOK);
    EXPECT_FALSE(qOK);
    const auto messages = errorReporter().recentMessages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].message,
              "Error:WriteRecordHeader: '' is not open for writing (No.5) In [rvBinaryCSV (Code) "
              "(EXPORTBINARYCONSTANTLIST)] ");
    EXPECT_EQ(messages[0].code, -1);

    // A disk that fills up part way through the items stops the list there.
    testing::ScratchDirectory dir;
    testing::FaultyRecordFile out(64);
    out.failWriteCall = 2;
    ASSERT_TRUE(out.OpenForWriting(dir.file("full.rec")));
    EXPORTBINARYCONSTANTLIST(io, out, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(out.LastErrorCode(), kRecordDiskFull);
    EXPECT_TRUE(testing_support::anyReportContains("(No.61) In [rvBinaryCSV"));
}

}  // namespace
}  // namespace tkstream63
