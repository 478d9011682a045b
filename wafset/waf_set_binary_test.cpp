// The WAF set's record section: what it writes, what a round trip keeps, the kept quirks of the
// format and how the import treats short, unknown and missing records.

#include "streamstore/persistence_test_support.hpp"

namespace tkstream63 {
namespace {

using namespace persistence_test;

class WafSetBinaryTest : public PersistenceTest {
protected:
    // Writes the set's section alone; returns the export's qOK.
    bool exportSet(rvWAFSet& set, const std::string& file) {
        RecordFile records;
        records.OpenForWriting(file);
        bool qOK = true;
        set.BINARYEXPORT(records, qOK);
        EXPECT_TRUE(records.Commit());
        return qOK;
    }
    // Reads "WAF>" as the dataset does, then lets the set read its section.
    bool importSet(rvWAFSet& set, const std::string& file) {
        RecordFile records;
        EXPECT_TRUE(records.OpenForReading(file));
        RecordIO io;
        std::string keyword, type;
        int32_t count = 0;
        bool ok = false;
        io.ReadRecordHeader(records, keyword, count, type, ok);
        EXPECT_EQ(keyword, "WAF>");
        bool qOK = false;
        set.BINARYIMPORT(records, qOK);
        return qOK;
    }
};

TEST_F(WafSetBinaryTest, RecordSequenceAndColumnOrderFollowTheLayout) {
    // The items of a record as text.
    auto items = [](const RecordSummary& record) {
        std::vector<std::string> texts;
        for (const auto& item : record.items) texts.push_back(item.toText());
        return texts;
    };
    using Texts = std::vector<std::string>;
    // An empty set: the fixed records, the allocated WAF bounds (1 x 1), not the counts; its export
    // never answers qOK True, although nothing failed.
    rvWAFSet empty;
    EXPECT_FALSE(exportSet(empty, path("empty.rec")));
    EXPECT_TRUE(reports().empty());
    auto records = listRecords(path("empty.rec"));
    EXPECT_EQ(keywords(records), (Texts{"WAF>", "WAFINTE", "WAFINIT", "WAFFILE", "WAFTIME", "WAFDIMS", "WAFDATA", "<WAF"}));
    ASSERT_EQ(records.size(), 8u);
    EXPECT_EQ(records[1].count, 19);
    EXPECT_EQ(items(records[1])[1], "0");  // NumberWells
    EXPECT_EQ(records[2].type + " " + std::to_string(records[2].count), "LOGI 4");
    EXPECT_EQ(items(records[3]), Texts{""});
    EXPECT_EQ(items(records[5]), (Texts{"1", "1"}));
    EXPECT_EQ(items(records[6]), Texts{"0"});

    // Wells 1..3, then the producer, then two injectors, each opened by its "CNT".
    auto set = makeWafSet(0, 1, 2);
    exportSet(*set, path("set.rec"));
    records = listRecords(path("set.rec"));
    Texts expected{"WAF>", "WAFINTE", "WAFINIT", "WAFFILE", "WAFTIME"};
    for (int i = 0; i < 3; ++i) expected.insert(expected.end(), {"CNT", "WELLINTE", "WELLLOGI", "WELLNAME"});
    expected.insert(expected.end(), {"CNT", "PRODINTE", "PRODRATE"});
    for (int k = 0; k < 2; ++k) expected.insert(expected.end(), {"CNT", "INJINTE", "INJRATE"});
    expected.insert(expected.end(), {"WAFDIMS", "WAFDATA", "<WAF"});
    EXPECT_EQ(keywords(records), expected);
    // Well 3 (I2): index then type; "defined" (i % 3 != 0: not defined) then "in list". Producer
    // row: iOther, iSink, iTotal, nSinks.
    EXPECT_EQ(items(records[14]), (Texts{"2", "2"}));
    EXPECT_EQ(items(records[15]), (Texts{"False", "True"}));
    EXPECT_EQ(items(records[16]), Texts{"I2"});
    EXPECT_EQ(items(records[18]), (Texts{"4", "1", "3", "1"}));
}

// An exact round trip (more injectors than producers) is checked through the store's file.
TEST_F(WafSetBinaryTest, RoundTripKeepsTheRateQuirk) {
    // Three producers and one injector: the last "CNT" before "WAFDATA" is injector 1, so
    // producer 1's rate comes back as the first WAF value.
    auto quirky = makeWafSet(2, 3, 1);
    exportSet(*quirky, path("quirk.rec"));
    rvWAFSet reread;
    EXPECT_TRUE(importSet(reread, path("quirk.rec")));
    const float firstWafValue = 0.5f + 2.0f;
    bool ok = false;
    std::string difference;
    EXPECT_FALSE(reread.sameContents(*quirky, difference));
    EXPECT_EQ(difference, "producer table");
    quirky->setProducerData(1, 1, 1, 5, 4, firstWafValue, ok);
    EXPECT_TRUE(reread.sameContents(*quirky, difference)) << difference;
}

TEST_F(WafSetBinaryTest, ImportAppliesMinimumCountsAndKeepsWhatRecordsDoNotCover) {
    RecordScript(path("short.rec"))
        .marker("WAF>")
        .longs("WAFINTE", 12)  // wells 2, producers 4, injectors 6: dates and counts past 10 untouched
        .record("WAFINIT", "LOGI", {true, true})  // two values: only the reserved flag
        .record("CNT", "INTE", {1})
        .record("WELLINTE", "INTE", {7})  // below its minimum: ignored
        .record("WELLNAME", "CHAR", {std::string(45, 'W'), std::string("second")})
        .record("CNT", "INTE", {2})
        .record("WELLNAME", "CHAR", {std::string()})  // empty: name and length stay
        .record("EXTRA", "DOUB", {1.5, 2.5})
        .record("EXTRA", "BYTE", {})
        .record("WELLLOGI", "LOGI", {false})
        .marker("<WAF")
        .commit();
    rvWAFSet set;
    bool ok = false;
    set.setStartDate(4, 5, 1999, ok);
    set.TimeStep(42);
    EXPECT_TRUE(importSet(set, path("short.rec")));
    EXPECT_TRUE(reports().empty());

    int32_t day = 0, month = 0, year = 0, type = -1;
    set.getStartDate(day, month, year, ok);
    set.getWellType(1, type, ok);
    EXPECT_EQ((std::vector<int32_t>{set.NumberWells(), set.NumberProducers(), set.NumberInjectors(), year,
                                    set.TimeStep(), type}),
              (std::vector<int32_t>{2, 4, 6, 1999, 42, 0}));
    std::string first, second;
    set.getWellName(1, first, ok);
    set.getWellName(2, second, ok);
    EXPECT_EQ(first + "|" + second, std::string(40, 'W') + "|");
    bool defined = true;
    set.getWellDefined(2, defined, ok);
    EXPECT_FALSE(defined);

    // An injector count below 1 comes back as 1.
    RecordScript(path("noinjectors.rec"))
        .marker("WAF>")
        .record("WAFINTE", "INTE", {0, 0, 1, 0, 1, 0, 1, 0, 0, 0})
        .marker("<WAF")
        .commit();
    rvWAFSet empty;
    EXPECT_TRUE(importSet(empty, path("noinjectors.rec")));
    EXPECT_EQ(empty.NumberInjectors(), 1);
}

// A file ending before the closing record is refused by the reading loop the dataset's test
// checks; here a record naming a row the table does not have, a run-time error, reported.
TEST_F(WafSetBinaryTest, ARecordOutsideTheTableFailsAndIsReported) {
    RecordScript(path("badrow.rec"))
        .marker("WAF>")
        .record("CNT", "INTE", {9})
        .record("WELLINTE", "INTE", {1, 2})
        .marker("<WAF")
        .commit();
    rvWAFSet set;
    EXPECT_FALSE(importSet(set, path("badrow.rec")));
    EXPECT_TRUE(anyReportContains("(No.9) In [rvWAFSet (Code) (BINARYIMPORT)]"));
}

}  // namespace
}  // namespace tkstream63
