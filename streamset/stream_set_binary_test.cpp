// The dataset's record section: its record sequence, round trips in both file forms, files of
// older layouts, and damaged or cut files.
#include <gtest/gtest.h>

#include "streamstore/persistence_test_support.hpp"

namespace tkstream63 {
namespace {

using namespace persistence_test;

class StreamSetBinaryTest : public PersistenceTest {
protected:
    bool exportSet(rvStreamSet& set, const std::string& file, RecordForm form = RecordForm::Binary) {
        RecordFile records;
        records.OpenForWriting(file, form);
        bool qOK = false;
        set.BINARYEXPORT(records, qOK);
        return records.Commit() && qOK;
    }
    bool importSet(rvStreamSet& set, const std::string& file) {
        RecordFile records;
        EXPECT_TRUE(records.OpenForReading(file));
        bool qOK = true;
        set.BINARYIMPORT(records, qOK);
        return qOK;
    }
    // A pointer table for one streamline of nnodes rows from row first.
    static Array<int32_t> pointersTo(int32_t first, int32_t nnodes) {
        Array<int32_t> pointers(1, 2, 1, 2);
        pointers(1, 1) = first;
        pointers(2, 1) = nnodes;
        return pointers;
    }
    // A minimal section around the given records, so one handler can be tried at a time.
    static RecordScript& opened(RecordScript& script) { return script.marker("STREAMSET>"); }
};

TEST_F(StreamSetBinaryTest, RecordSequenceFollowsTheLayout) {
    rvStreamSet set;
    bool ok = false;
    set.setWellTypes(list<int32_t>({1, 2}), 2, ok);
    set.SetWellList(Array<std::string>(1, 0), ok);  // an empty list: no "IWELLLIST", no "ZWELLLIST"
    set.setDRTLimits(1.0f, 2.0f, ok);
    set.setTOFLimits(3.0f, 4.0f, ok);
    set.setLimits(5, 6, 7, 8, 9, 10, ok);
    ASSERT_TRUE(exportSet(set, path("set.rec")));
    const auto records = listRecords(path("set.rec"));

    std::vector<std::string> expected{"STREAMSET>", "SETLOGI",    "SETREAL",  "SETCHAR",   "SETINTE",
                                      "SIMEND",     "NWELLLIST",  "NZWELLLIST", "STREAMLINE", "SLINEDATA",
                                      "ISTREAMLINE", "ISLINEDATA", "INJECTOR", "INJSINKS",  "INJSINKDATA",
                                      "PRODUCERS",  "PRODSOURCES", "PRODSOURCEDATA", "NUMHEADERS", "WELLINFO>"};
    // Two wells give three well groups: wells 0, 1 and 2.
    for (int w = 0; w <= 2; ++w) expected.insert(expected.end(), {"CNT", "WINTE", "WLOGI", "WPOS", "WNAME"});
    expected.insert(expected.end(), {"<WELLINFO", "<STREAMSET"});
    EXPECT_EQ(keywords(records), expected);

    EXPECT_EQ(records[1].count, 10);
    EXPECT_EQ(records[4].count, 42);
    EXPECT_EQ(records[3].count, 14);
    // Each pair is written with its second value first.
    std::vector<float> reals;
    for (const auto& item : records[2].items) reals.push_back(item.toSingle());
    EXPECT_EQ(reals, (std::vector<float>{2, 1, 0, 0, 4, 3, 6, 5, 8, 7, 10, 9}));
    EXPECT_EQ(records[6].items[0].toLong(), 0);  // NWELLLIST
    // The entry tables (with no entries) have second bound 0: no data record.
    EXPECT_EQ(records[12].items[1].toLong(), 0);
    EXPECT_EQ(records[18].items[0].toLong(), 0);  // NUMHEADERS

    // Without wells only the bracket of the well section is written.
    rvStreamSet noWells;
    ASSERT_TRUE(exportSet(noWells, path("nowells.rec")));
    const auto bare = keywords(listRecords(path("nowells.rec")));
    const auto open = std::find(bare.begin(), bare.end(), "WELLINFO>");
    ASSERT_NE(open, bare.end());
    EXPECT_EQ(*(open + 1), "<WELLINFO");
}

TEST_F(StreamSetBinaryTest, RoundTripKeepsEveryFieldInBothForms) {
    for (const RecordForm form : {RecordForm::Binary, RecordForm::Formatted}) {
        SCOPED_TRACE(form == RecordForm::Binary ? "binary" : "formatted");
        auto original = makeDataSet(3, true);
        ASSERT_TRUE(exportSet(*original, path("full.rec"), form));
        rvStreamSet copy;
        EXPECT_TRUE(importSet(copy, path("full.rec")));
        std::string difference;
        EXPECT_TRUE(copy.sameContents(*original, difference)) << difference;
        EXPECT_TRUE(reports().empty());
        // A spot check through the public members as well.
        EXPECT_EQ(copy.getWellName(3), "I1");
        EXPECT_EQ(copy.UCaseTVDisplayRoot(), "DISPLAY ROOT");
        EXPECT_EQ(copy.getWAFNumberWells(), 5);
    }
    // The comparison itself notices a changed bit.
    auto a = makeDataSet(1, false);
    auto b = makeDataSet(1, false);
    bool ok = false;
    b->setDRTLimits(0.25f, std::nextafter(0.75f, 1.0f), ok);
    std::string difference;
    EXPECT_FALSE(a->sameContents(*b, difference));
    EXPECT_EQ(difference, "SETREAL item");
}

TEST_F(StreamSetBinaryTest, OlderLayoutsAndUnknownRecordsLoad) {
    RecordScript script(path("old.rec"));
    opened(script)
        .longs("SETINTE", 38)  // items 39 to 42 keep their defaults
        .record("SETLOGI", "LOGI", {false, true, true, true, true, false, true, false})  // 8 items
        .record("SETCHAR", "CHAR", {"a", "b", "c", "d", "e", "f", "ORIGIN", "h", "i", "j", "k", "l", "m", "n", "o", "p"})
        .record("NOISE", "DOUB", {1.0, 2.0})
        .record("NOISE", "BYTE", {})
        .record("NOISE", "INTE", {1, 2, 3})
        .record("SETREAL", "REAL", {1.0f, 2.0f})  // too short: read past
        .marker("<STREAMSET")
        .commit();
    rvStreamSet set;
    bool ok = false;
    set.WellListSet(true);
    set.UseWellList(true);
    EXPECT_TRUE(importSet(set, path("old.rec")));
    EXPECT_TRUE(reports().empty());
    EXPECT_EQ(set.FileType(), 11);
    EXPECT_EQ(set.NumberWells(), 32);
    EXPECT_EQ(set.MaximumNumberWells(), 38);
    EXPECT_EQ(set.WAFType(), 2);
    EXPECT_EQ(set.MaxZones(), 0);
    EXPECT_EQ(set.LoadEverySL(), 1);
    EXPECT_TRUE(set.WellListSet());  // items 9 and 10 need a 10-item record
    EXPECT_TRUE(set.UseWellList());
    EXPECT_FALSE(set.AllData());
    EXPECT_EQ(set.Origin(), "ORIGIN");
    EXPECT_EQ(set.UniqueKey(), "n");
    float drtMin = 5, drtMax = 5;
    set.getDRTLimits(drtMin, drtMax, ok);
    EXPECT_EQ(drtMin, 0.0f);

    // 41 items: 39 to 41 restored, 42 not; 8 items: read past entirely.
    RecordScript script41(path("old41.rec"));
    opened(script41).longs("SETINTE", 41).longs("SETINTE", 8).marker("<STREAMSET").commit();
    rvStreamSet later;
    EXPECT_TRUE(importSet(later, path("old41.rec")));
    EXPECT_EQ(later.LoadEverySL(), 39);
    EXPECT_EQ(later.WAFType(), 41);
    EXPECT_EQ(later.MaxZones(), 0);
    EXPECT_EQ(later.FileType(), 11);
}

TEST_F(StreamSetBinaryTest, CutOrDamagedSectionsFailWithAClearReport) {
    // The file ends before "<STREAMSET": qOK False, what was read stays.
    RecordScript script(path("cut.rec"));
    opened(script).record("SIMEND", "REAL", {77.5f}).commit();
    rvStreamSet set;
    EXPECT_FALSE(importSet(set, path("cut.rec")));
    EXPECT_EQ(set.SimulationEndTime(), 77.5f);
    EXPECT_TRUE(anyReportContains("before the closing record '<STREAMSET'"));
    EXPECT_TRUE(anyReportContains("at byte "));

    // Bounds asking for a huge node table in a small file are refused before any allocation.
    errorReporter().clearRecentMessages();
    RecordScript huge(path("huge.rec"));
    opened(huge).record("STREAMLINE", "INTE", {2000000000, 8}).marker("<STREAMSET").commit();
    rvStreamSet target;
    EXPECT_FALSE(importSet(target, path("huge.rec")));
    EXPECT_TRUE(anyReportContains("Record 'STREAMLINE'"));
    EXPECT_TRUE(anyReportContains("bytes left in the file"));
    EXPECT_FALSE(anyReportContains("(No.7)"));
    EXPECT_EQ(target.MaxRows(), 0);

    // A node-table record shorter than its bounds leaves the rest empty; one longer is damage.
    errorReporter().clearRecentMessages();
    RecordScript shortData(path("short.rec"));
    opened(shortData)
        .record("STREAMLINE", "INTE", {2, 2})
        .record("SLINEDATA", "REAL", {1.0f, 2.0f, 3.0f})
        .marker("<STREAMSET")
        .commit();
    rvStreamSet partial;
    EXPECT_TRUE(importSet(partial, path("short.rec")));
    Array<float> sData;
    int32_t nCols = 0, nnodes = 0;
    bool ok = false;
    partial.setHeaders(names({"A", "B"}), names({"", ""}), 2, ok);
    partial.setStreamLinePointers(pointersTo(1, 2), 2, 1, ok);
    partial.getSingleStreamline(1, sData, nCols, nnodes, ok);
    ASSERT_EQ(nnodes, 2);
    EXPECT_EQ(sData(1, 2), 3.0f);
    EXPECT_EQ(sData(2, 2), 0.0f);
    RecordScript longData(path("long.rec"));
    opened(longData)
        .record("STREAMLINE", "INTE", {1, 1})
        .record("SLINEDATA", "REAL", {1.0f, 2.0f})
        .marker("<STREAMSET")
        .commit();
    EXPECT_FALSE(importSet(partial, path("long.rec")));
    EXPECT_TRUE(anyReportContains("holds 2 values for a table of 1"));
}

TEST_F(StreamSetBinaryTest, DamagedNodeTableLeavesNoValueBehind) {
    auto original = makeDataSet(2, false);
    ASSERT_TRUE(exportSet(*original, path("set.rec")));
    auto bytes = testing::readFileBytes(path("set.rec"));
    // Flip a byte inside the node table's body: the end of "SLINEDATA" is where its checksum sits.
    const auto records = listRecords(path("set.rec"));
    const auto slineData = std::find_if(records.begin(), records.end(),
                                        [](const RecordSummary& r) { return r.keyword == "SLINEDATA"; });
    ASSERT_NE(slineData, records.end());
    bytes[static_cast<size_t>(slineData->end) - 20] ^= 0x40;
    testing::writeFileBytes(path("bad.rec"), bytes);
    rvStreamSet copy;
    EXPECT_FALSE(importSet(copy, path("bad.rec")));
    EXPECT_TRUE(anyReportContains("checksum mismatch"));
    EXPECT_TRUE(anyReportContains("Record 'SLINEDATA' at byte"));
    Array<float> sData;
    int32_t nCols = 0, nnodes = 0;
    bool ok = false;
    copy.setHeaders(names({"A"}), names({"u"}), 1, ok);
    copy.setStreamLinePointers(pointersTo(1, 20), 2, 1, ok);
    copy.getSingleStreamline(1, sData, nCols, nnodes, ok);
    ASSERT_TRUE(ok);
    for (int32_t row = 1; row <= nnodes; ++row) EXPECT_EQ(sData(row, 1), 0.0f);
}

}  // namespace
}  // namespace tkstream63
