

#include "common/test_support.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {
namespace {

// A (1 To 5, lower To lower + n - 1) table from entries of five values each.
Array<int32_t> entryTable(int32_t lower, const std::vector<std::vector<int32_t>>& entries) {
    Array<int32_t> table(1, 5, lower, lower + static_cast<int32_t>(entries.size()) - 1);
    for (size_t e = 0; e < entries.size(); ++e)
        for (int32_t row = 1; row <= 5; ++row)
            table(row, lower + static_cast<int32_t>(e)) = entries[e][static_cast<size_t>(row - 1)];
    return table;
}

using testing_support::lastReport;
using testing_support::list;
using testing_support::values;

// Wells: 1 PROD (producer, entry 1), 2 INJ (injector, entry 1), 3 prod2 (producer, entry 2),
// 4 OBS (type 3). Producer 1 is fed by wells 2 and 4 and owns streamlines 2-4; producer 2 has
// no sources. Injector 1 feeds well 1.
class Connections : public ::testing::Test {
protected:
    void SetUp() override {
        errorReporter().clearRecentMessages();
        set.setWellNames(list<std::string>({"PROD", "INJ", "prod2", "OBS"}), 4, qOK);
        set.setWellTypes(list<int32_t>({1, 2, 1, 3}), 4, qOK);
        set.setWellIndex(list<int32_t>({1, 1, 2, 0}), 4, qOK);
        set.setStreamLinePointers(Array<int32_t>(1, 8, 1, 10), 8, 5, qOK);
        set.setProducerData(entryTable(0, {{0, 0, 0, 0, 0}, {2, 3, 2, 1, 1}, {0, 0, 0, 3, 3}}),
                            2, entryTable(1, {{0, 0, 0, 2, 0}, {0, 0, 0, 4, 0}}), 2, qOK);
        ASSERT_TRUE(qOK);
        set.setInjectorData(entryTable(0, {{0, 0, 0, 0, 0}, {5, 1, 1, 2, 1}}), 1,
                            entryTable(1, {{0, 0, 0, 1, 0}}), 1, qOK);
        ASSERT_TRUE(qOK);
    }

    rvStreamSet set;
    bool qOK = false;
};

TEST_F(Connections, SourcesSinksAndWellDispatch) {
    Array<int32_t> wells;
    int32_t nWells = 0;
    set.getProducerConnections(1, wells, nWells, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(values(wells, nWells), (std::vector<int32_t>{2, 4}));
    // No sources: count 0, qOK True, the caller's array untouched.
    set.getProducerConnections(2, wells, nWells, qOK);
    EXPECT_TRUE(qOK && nWells == 0 && wells.size() == 2u);

    set.getWellConnections(2, wells, nWells, qOK);  // the injector feeds PROD
    EXPECT_TRUE(qOK && values(wells, nWells) == std::vector<int32_t>{1});
    set.getWellNameConnections("prod", wells, nWells, qOK);  // upper-cased query finds PROD
    EXPECT_EQ(nWells, 2);
    for (int32_t iWell : {4, 0, 5}) {  // a type-3 well and invalid numbers
        set.getWellConnections(iWell, wells, nWells, qOK);
        EXPECT_FALSE(qOK || nWells != 0) << iWell;
    }
}

TEST_F(Connections, NamesAndNumbersOfEntries) {
    EXPECT_EQ((std::vector<std::string>{set.getProducerWellName(2), set.getInjectorWellName(1),
                                        set.getProducerWellName(3), set.getInjectorWellName(0)}),
              (std::vector<std::string>{"prod2", "INJ", "", ""}));
    Array<std::string> names;
    int32_t NumWells = 0;
    set.getProducerWellNames(names, NumWells, qOK);
    EXPECT_EQ(values(names, NumWells), (std::vector<std::string>{"PROD", "prod2"}));

    // The entry lookup compares names as given, without upper-casing.
    // INJ is a well, but not a producer.
    EXPECT_EQ((std::vector<int32_t>{set.ProducerNumber("prod2"), set.ProducerNumber("PROD2"), set.ProducerNumber("INJ"),
                                    set.InjectorNumber("INJ"), set.InjectorNumber("OBS")}),
              (std::vector<int32_t>{3, -1, -1, 2, -1}));
}

TEST_F(Connections, StreamlinesOfAWell) {
    Array<int32_t> streams;
    int32_t nStream = 0;
    set.getWellNameStreamLineNumbers("PROD", streams, nStream, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(values(streams, nStream), (std::vector<int32_t>{2, 3, 4}));
    set.getWellStreamLineNumbers(3, streams, nStream, qOK);  // no streamlines
    EXPECT_TRUE(qOK && nStream == 0);
    // The injector's streamline 5 is the last one; one more would be past the pointer table.
    set.getWellStreamLineNumbers(2, streams, nStream, qOK);
    EXPECT_EQ(streams(1), 5);
    set.setStreamLinePointers(Array<int32_t>(1, 8, 1, 8), 8, 4, qOK);
    set.getWellStreamLineNumbers(2, streams, nStream, qOK);
    EXPECT_FALSE(qOK || streams(1) != 5);
}

TEST_F(Connections, ShortTablesChangeNothing) {
    // Two producers claimed, entries only up to 1; then good entries with short sources.
    set.setProducerData(entryTable(0, {{0, 0, 0, 0, 0}, {1, 1, 1, 1, 1}}), 2,
                        entryTable(1, {{0, 0, 0, 2, 0}}), 1, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(),
              "Error:Subscript out of range (No.9) In [rvStreamSet (Code) "
              "(rvStreamSet.SetProducerData)] ");
    set.setInjectorData(entryTable(0, {{0, 0, 0, 0, 0}, {9, 9, 9, 9, 9}}), 1,
                        entryTable(1, {{0, 0, 0, 3, 0}}), 2, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_NE(lastReport().find("(rvStreamSet.SetInjectorData)"), std::string::npos);

    Array<int32_t> producers, sources;
    int32_t nProducers = 0, nSources = 0;
    set.getProducerData(producers, nProducers, sources, nSources, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ((std::vector<int32_t>{nProducers, nSources, producers.lbound(2), producers(4, 2), sources(4, 2),
                                    set.InjectorNumber("INJ")}),
              (std::vector<int32_t>{2, 2, 0, 3, 4, 2}));

    // A negative count empties the producer side without touching the stored tables.
    set.setProducerData(producers, -1, sources, 0, qOK);
    EXPECT_TRUE(qOK && set.NumberProducers() == -1);
    EXPECT_EQ(set.getProducerWellName(1), "");
}

}  // namespace
}  // namespace tkstream63
