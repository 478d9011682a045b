// The dataset's record section: its record sequence, round trips in both file forms, files of
// older layouts, and damaged or cut files.

#include <functional>

#include "recordfile/record_test_data.hpp"
#include "streamstore/persistence_test_support.hpp"

namespace tkstream63 {
namespace {

using namespace persistence_test;

class StreamSetBinaryTest : public PersistenceTest {
protected:
    bool exportSet(rvStreamSet& set, const std::string& file) { return saveStore(set, file); }
    bool importSet(rvStreamSet& set, const std::string& file) {
        RecordFile records;
        EXPECT_TRUE(records.OpenForReading(file));
        bool qOK = true;  // the import itself must answer False
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

    EXPECT_EQ((std::vector<int32_t>{records[1].count, records[3].count, records[4].count}),
              (std::vector<int32_t>{10, 14, 42}));
    // Each pair is written with its second value first.
    std::vector<float> reals;
    for (const auto& item : records[2].items) reals.push_back(item.toSingle());
    EXPECT_EQ(reals, (std::vector<float>{2, 1, 0, 0, 4, 3, 6, 5, 8, 7, 10, 9}));
    // NWELLLIST, NUMHEADERS, and the entry tables (with no entries) have second bound 0: no data record.
    EXPECT_EQ((std::vector<int32_t>{records[6].items[0].toLong(), records[18].items[0].toLong(),
                                    records[12].items[1].toLong()}),
              (std::vector<int32_t>{0, 0, 0}));

    // Without wells only the bracket of the well section is written.
    rvStreamSet noWells;
    ASSERT_TRUE(exportSet(noWells, path("nowells.rec")));
    const auto bare = keywords(listRecords(path("nowells.rec")));
    const auto open = std::find(bare.begin(), bare.end(), "WELLINFO>");
    ASSERT_NE(open, bare.end());
    EXPECT_EQ(*(open + 1), "<WELLINFO");
}

// Round trips of whole datasets in both forms are checked through the store's file; the
// comparison they rely on must notice a single changed bit.
TEST_F(StreamSetBinaryTest, ComparisonNoticesAChangedBit) {
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
    EXPECT_EQ((std::vector<int32_t>{set.FileType(), set.NumberWells(), set.MaximumNumberWells(), set.WAFType(),
                                    set.MaxZones(), set.LoadEverySL()}),
              (std::vector<int32_t>{11, 32, 38, 2, 0, 1}));
    EXPECT_TRUE(set.WellListSet() && set.UseWellList());  // items 9 and 10 need a 10-item record
    EXPECT_FALSE(set.AllData());
    EXPECT_EQ(set.Origin() + " " + set.UniqueKey(), "ORIGIN n");
    float drtMin = 5, drtMax = 5;
    set.getDRTLimits(drtMin, drtMax, ok);
    EXPECT_EQ(drtMin, 0.0f);

    // 41 items: 39 to 41 restored, 42 not; 8 items: read past entirely.
    RecordScript script41(path("old41.rec"));
    opened(script41).longs("SETINTE", 41).longs("SETINTE", 8).marker("<STREAMSET").commit();
    rvStreamSet later;
    EXPECT_TRUE(importSet(later, path("old41.rec")));
    EXPECT_EQ((std::vector<int32_t>{later.LoadEverySL(), later.WAFType(), later.MaxZones(), later.FileType()}),
              (std::vector<int32_t>{39, 41, 0, 11}));
}

TEST_F(StreamSetBinaryTest, FailingSectionsKeepWhatWasReadAndSayWhy) {
    std::vector<int32_t> manyWells(42, 0);
    manyWells[31] = 400000000;  // NumberWells
    struct Case {
        const char* name;
        std::function<void(RecordScript&)> records;
        std::vector<std::string> messages;
    };
    const Case cases[] = {
        {"no closing record", [](RecordScript& r) { r.record("SIMEND", "REAL", {77.5f}); },
         {"before the closing record '<STREAMSET'", "at byte "}},
        {"huge node table",
         [](RecordScript& r) { r.record("STREAMLINE", "INTE", {2000000000, 8}).marker("<STREAMSET"); },
         {"Record 'STREAMLINE' at byte 49", "the node table of 2000000000 x 8 would need 64000000000 bytes of memory",
          "(No.7)"}},
        {"node values past the bounds",
         [](RecordScript& r) {
             r.record("STREAMLINE", "INTE", {1, 1}).record("SLINEDATA", "REAL", {1.0f, 2.0f}).marker("<STREAMSET");
         },
         {"holds 2 values for a table of 1"}},
        {"400 million wells claimed", [&](RecordScript& r) { r.longs("SETINTE", manyWells).marker("<STREAMSET"); },
         {"what the dataset's 'SETINTE' record (at byte 49) claims (NumberWells 400000000", "(No.7)"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        errorReporter().clearRecentMessages();
        RecordScript script(path("case.rec"));
        c.records(opened(script));
        script.commit();
        rvStreamSet set;
        EXPECT_FALSE(importSet(set, path("case.rec")));
        for (const auto& message : c.messages) EXPECT_TRUE(anyReportContains(message)) << message;
        // What came before the failure stays; nothing of the refused record does.
        EXPECT_EQ(set.SimulationEndTime(), std::string(c.name) == "no closing record" ? 77.5f : 0.0f);
        EXPECT_EQ(set.MaxRows(), 0);
    }
}

TEST_F(StreamSetBinaryTest, ATableTooLargeForACutFileIsReportedAsTheCut) {
    // The bounds of a 320 MB node table, then its record cut after 100 bytes: the table is more
    // than the cut file's budget, but what went wrong is the cut.
    using testing::binaryRecord;
    auto bytes = testing::binaryPreamble();
    for (const auto& record : {binaryRecord("STREAMSET>", "CHAR", 0, 0, {}, 1),
                               binaryRecord("STREAMLINE", "INTE", 2, 8, {0x80, 0x96, 0x98, 0, 8, 0, 0, 0}, 2),
                               binaryRecord("SLINEDATA", "REAL", 80000000, 320000000, std::vector<uint8_t>(100), 3)})
        bytes.insert(bytes.end(), record.begin(), record.end());
    bytes.erase(bytes.end() - 4, bytes.end());  // the body's check is not there either
    testing::writeFileBytes(path("cut.rec"), bytes);
    rvStreamSet set;
    EXPECT_FALSE(importSet(set, path("cut.rec")));
    EXPECT_TRUE(anyReportContains("record 'SLINEDATA' (80000000 items, 320000000 bytes) does not fit"));
    EXPECT_TRUE(anyReportContains("inside this record; it is truncated (No.62)"));
    EXPECT_FALSE(anyReportContains("memory"));
}

TEST_F(StreamSetBinaryTest, TableValuesNeverComeFromAShortMissingOrDamagedRecord) {
    auto nodeColumn = [](rvStreamSet& set, int32_t rows) {
        Array<float> sData;
        int32_t nCols = 0, nnodes = 0;
        bool ok = false;
        set.setHeaders(names({"A"}), names({"u"}), 1, ok);
        set.setStreamLinePointers(pointersTo(1, rows), 2, 1, ok);
        set.getSingleStreamline(1, sData, nCols, nnodes, ok);
        std::vector<float> values;
        for (int32_t row = 1; ok && row <= nnodes; ++row) values.push_back(sData(row, 1));
        return values;
    };
    // A record shorter than its bounds leaves the rest of the table empty.
    RecordScript shortData(path("short.rec"));
    opened(shortData)
        .record("STREAMLINE", "INTE", {4, 1})
        .record("SLINEDATA", "REAL", {1.0f, 2.0f, 3.0f})
        .marker("<STREAMSET")
        .commit();
    rvStreamSet partial;
    EXPECT_TRUE(importSet(partial, path("short.rec")));
    EXPECT_EQ(nodeColumn(partial, 4), (std::vector<float>{1, 2, 3, 0}));

    // A damaged body gives none of its values.
    auto original = makeDataSet(2, false);
    ASSERT_TRUE(exportSet(*original, path("set.rec")));
    auto bytes = testing::readFileBytes(path("set.rec"));
    const auto records = listRecords(path("set.rec"));
    const auto slineData = std::find_if(records.begin(), records.end(),
                                        [](const RecordSummary& r) { return r.keyword == "SLINEDATA"; });
    ASSERT_NE(slineData, records.end());
    bytes[static_cast<size_t>(slineData->end) - 20] ^= 0x40;  // the body ends 4 bytes before the record
    testing::writeFileBytes(path("bad.rec"), bytes);
    rvStreamSet copy;
    EXPECT_FALSE(importSet(copy, path("bad.rec")));
    EXPECT_TRUE(anyReportContains("Record 'SLINEDATA' at byte"));
    EXPECT_TRUE(anyReportContains("checksum mismatch"));
    EXPECT_EQ(nodeColumn(copy, 20), std::vector<float>(20, 0.0f));

    // A pointer table large enough to reuse the memory of a dropped table holds zeros wherever its
    // record gave no values, never what that memory held before.
    const int32_t pointerColumns = 600000;
    const std::pair<const char*, std::vector<int32_t>> pointerCases[] = {{"no data record", {}}, {"two values", {5, 6}}};
    for (const auto& [name, values] : pointerCases) {
        SCOPED_TRACE(name);
        Array<int32_t>(1, 2, 1, pointerColumns).fill(0x7F7F7F7F);  // dropped at once, its memory kept for reuse
        RecordScript given(path("given.rec")), full(path("full.rec"));
        opened(given).record("ISTREAMLINE", "INTE", {2, pointerColumns});
        if (!values.empty()) given.longs("ISLINEDATA", values);
        given.marker("<STREAMSET").commit();
        std::vector<int32_t> written(2 * pointerColumns, 0);
        std::copy(values.begin(), values.end(), written.begin());
        opened(full).record("ISTREAMLINE", "INTE", {2, pointerColumns}).longs("ISLINEDATA", written).marker("<STREAMSET").commit();
        rvStreamSet fromGiven, fromFull;
        EXPECT_TRUE(importSet(fromGiven, path("given.rec")));
        EXPECT_TRUE(importSet(fromFull, path("full.rec")));
        std::string difference;
        EXPECT_TRUE(fromGiven.sameContents(fromFull, difference)) << difference;
    }
}

}  // namespace
}  // namespace tkstream63
