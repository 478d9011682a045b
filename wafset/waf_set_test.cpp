// rvWAFSet model and loading: counts, the well table's growth, the producer/injector and WAF data
// setters, their refusals and faults, and the well-list operations the dataset uses.
#include "wafset/waf_set.hpp"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "common/shared_objects.hpp"

namespace tkstream63 {
namespace {

template <class T>
Array<T> list(std::initializer_list<T> values) {
    Array<T> result(1, static_cast<int32_t>(values.size()));
    int32_t i = 0;
    for (const T& value : values) result(++i) = value;
    return result;
}

Array<std::string> names(std::initializer_list<const char*> values) {
    Array<std::string> result(1, static_cast<int32_t>(values.size()));
    int32_t i = 0;
    for (const char* value : values) result(++i) = value;
    return result;
}

std::string wellName(const rvWAFSet& set, int32_t iWell) {
    std::string name = "unset";
    bool qOK = false;
    set.getWellName(iWell, name, qOK);
    return name;
}

std::string lastReport() {
    const auto messages = errorReporter().recentMessages();
    return messages.empty() ? std::string() : messages.back().message;
}

class WAFSetModel : public ::testing::Test {
protected:
    void SetUp() override { errorReporter().clearRecentMessages(); }
};

TEST_F(WAFSetModel, NewSetIsEmptyAndDatesReadBackUnset) {
    rvWAFSet set;
    EXPECT_EQ(set.NumberWells(), 0);
    EXPECT_EQ(set.NumberProducers(), 0);
    EXPECT_EQ(set.NumberInjectors(), 0);
    EXPECT_EQ(set.NumberDefinedWells(), 0);
    EXPECT_EQ(set.getWellListCount(), 0);
    EXPECT_FALSE(set.getWellListActive());

    int32_t day = 9, month = 9, year = 9;
    bool qOK = false;
    set.getSimulationDate(day, month, year, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(day + month + year, 0);
    set.setStartDate(31, 2, 1999, qOK);  // not validated
    set.getStartDate(day, month, year, qOK);
    EXPECT_EQ(day, 31);
    EXPECT_EQ(month, 2);
    EXPECT_EQ(year, 1999);

    Array<std::string> untouched = names({"keep"});
    int32_t n = 5;
    set.getWellNames(untouched, n, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(untouched(1), "keep");
}

TEST_F(WAFSetModel, WellNamesAreCutTo40AndEmptyNamesClearTheLength) {
    rvWAFSet set;
    bool qOK = false;
    const std::string fifty(50, 'W');
    set.setWellNames(names({"P1", "", "I\xC3\xA9"}), 3, qOK);  // "Ié" survives the byte form
    ASSERT_TRUE(qOK);
    set.setWellNames(names({fifty.c_str()}), 1, qOK);
    EXPECT_EQ(wellName(set, 1), fifty.substr(0, 40));
    EXPECT_EQ(wellName(set, 2), "");
    EXPECT_EQ(wellName(set, 3), "I\xC3\xA9");
    EXPECT_EQ(set.NumberWells(), 3);  // a shorter list never shrinks the table

    EXPECT_EQ(set.getWellNumber(fifty.substr(0, 40)), 1);
    set.setWellNames(names({"", "", ""}), 3, qOK);
    EXPECT_EQ(wellName(set, 1), "");
    EXPECT_EQ(set.getWellNumber(fifty.substr(0, 40)), -1);
}

TEST_F(WAFSetModel, LoweredWellCountKeepsRowsUntilAGrowReallocates) {
    rvWAFSet set;
    bool qOK = false;
    set.setWellNames(names({"A", "B", "C", "D", "E"}), 5, qOK);
    set.NumberWells(3);
    EXPECT_EQ(set.NumberWells(), 3);
    EXPECT_EQ(wellName(set, 5), "");  // beyond the count
    set.NumberWells(5);               // the rows were never freed
    EXPECT_EQ(wellName(set, 5), "E");

    set.NumberWells(3);
    set.setWellNames(names({"A", "B", "C", "D"}), 4, qOK);  // grows 3 -> 4: reallocates to 4 rows
    EXPECT_EQ(set.NumberWells(), 4);
    set.NumberWells(5);
    EXPECT_EQ(wellName(set, 4), "D");
    EXPECT_EQ(wellName(set, 5), "");  // row 5 was dropped by the reallocation
}

TEST_F(WAFSetModel, DefinedCountFollowsFlagsOrActiveWellList) {
    rvWAFSet set;
    bool qOK = false;
    set.setWellsDefined(list({false, false, false}), 3, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(set.NumberDefinedWells(), 0);
    set.setWellsDefined(list({true, false, true}), 3, qOK);
    EXPECT_EQ(set.NumberDefinedWells(), 2);

    set.setWellListFlags(list({false, false, true}), 3, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(set.NumberDefinedWells(), 2);  // list not active yet
    set.setWellListActive(true);
    EXPECT_EQ(set.NumberDefinedWells(), 1);
    set.setWellListFlags(list({false, false, false}), 3, qOK);
    EXPECT_EQ(set.NumberDefinedWells(), 2);  // an empty active list does not decide
}

TEST_F(WAFSetModel, WAFDataRefusalsAndFaultsKeepTheOldTable) {
    rvWAFSet set;
    bool qOK = false;
    set.setWellTypes(list<int32_t>({2}), 1, qOK);
    set.setWellIndices(list<int32_t>({1}), 1, qOK);
    set.setInjectorsData(list<int32_t>({0}), list<int32_t>({0}), list<int32_t>({0}),
                         list<int32_t>({1}), list<float>({0}), 1, qOK);
    Array<float> table(1, 9, 1, 1);
    table(5, 1) = 42.0f;
    set.setWAFData(table, 9, 1, qOK);
    ASSERT_TRUE(qOK);
    auto water = [&] {
        float waterRate = -1, efficiency = -1;
        bool ok = false;
        set.getWellEfficiency(1, waterRate, efficiency, ok);
        return waterRate;
    };
    ASSERT_EQ(water(), 42.0f);

    qOK = false;
    set.setWAFData(table, 0, 1, qOK);  // refused, yet answers True
    EXPECT_TRUE(qOK);
    set.setWAFData(table, 9, -1, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(water(), 42.0f);

    set.setWAFData(table, 65536, 65536, qOK);  // 2^32 values: not a Long
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(), "Error:Overflow (No.6) In [rvWAFSet (Code) (setWAFData)] ");
    set.setWAFData(table, 9, 2, qOK);  // the caller's array holds one row only
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(), "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (setWAFData)] ");
    Array<float> flat(1, 9);
    set.setWAFData(flat, 9, 1, qOK);  // a one-dimensional array has no element (1, 1)
    EXPECT_FALSE(qOK);
    EXPECT_EQ(water(), 42.0f);

    // A wider source is copied in storage order, not by its own columns.
    Array<float> wide(1, 10, 1, 1);
    wide(5, 1) = 7.0f;
    set.setWAFData(wide, 5, 2, qOK);  // row 1 = values 1..5, row 2 = values 6..10
    ASSERT_TRUE(qOK);
    float waterRate = 0, efficiency = 0;
    set.getWellEfficiency(1, waterRate, efficiency, qOK, 9);  // column 9 > nCols 5
    EXPECT_FALSE(qOK);
    EXPECT_EQ(waterRate, 0.0f);  // nothing half-written
}

TEST_F(WAFSetModel, ConnectionTablesRefuseBadCountsAndShortArrays) {
    rvWAFSet set;
    bool qOK = false;
    set.setInjectorsData(list<int32_t>({3, 4}), list<int32_t>({1, 2}), list<int32_t>({5, 6}),
                         list<int32_t>({7, 8}), list<float>({1.5f, 2.5f}), 2, qOK);
    ASSERT_TRUE(qOK);
    ASSERT_EQ(set.NumberInjectors(), 2);

    set.setInjectorsData(list<int32_t>({9}), list<int32_t>({9}), list<int32_t>({9}),
                         list<int32_t>({9}), list<float>({9}), 0, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(set.NumberInjectors(), 2);

    set.setInjectorsData(list<int32_t>({9, 9, 9}), list<int32_t>({9, 9, 9}),
                         list<int32_t>({9, 9}), list<int32_t>({9, 9, 9}),
                         list<float>({9, 9, 9}), 3, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(),
              "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (setInjectorsData)] ");
    EXPECT_EQ(set.NumberInjectors(), 2);

    set.setInjectorData(3, 1, 1, 1, 1, 1.0f, qOK);
    EXPECT_FALSE(qOK);
    set.setInjectorData(0, 1, 1, 1, 1, 1.0f, qOK);
    EXPECT_FALSE(qOK);
    set.setProducerData(1, 1, 1, 1, 1, 1.0f, qOK);  // no producers yet
    EXPECT_FALSE(qOK);
    set.NumberProducers(1);
    set.setProducerData(1, 1, 1, 1, 1, 1.0f, qOK);
    EXPECT_TRUE(qOK);

    set.NumberInjectors(0);  // the count drops, the rows stay
    EXPECT_EQ(set.NumberInjectors(), 0);
    set.setInjectorData(1, 1, 1, 1, 1, 1.0f, qOK);
    EXPECT_FALSE(qOK);
}

TEST_F(WAFSetModel, ShortWellArraysStoreNothing) {
    rvWAFSet set;
    bool qOK = true;
    set.setWellTypes(list<int32_t>({1, 2}), 3, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(), "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (setWellTypes)] ");
    EXPECT_EQ(set.NumberWells(), 0);

    set.setWellNames(names({"A"}), 2, qOK);
    EXPECT_FALSE(qOK);
    set.setWellsDefined(list({true}), 2, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(set.NumberWells(), 0);
    EXPECT_EQ(set.NumberDefinedWells(), 0);

    set.setWellTypes(list<int32_t>({1}), 0, qOK);  // nothing to store is no fault
    EXPECT_TRUE(qOK);
    EXPECT_EQ(set.NumberWells(), 0);
}

TEST_F(WAFSetModel, WellListByNamesIsExactCountsDuplicatesAndGrowsTheTable) {
    rvWAFSet set;
    bool qOK = false;
    set.setWellNames(names({"P1", "I1", "p2"}), 3, qOK);
    set.setWellListNames(names({"P1", "P1", "P2", "p2", "X"}), 5, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(set.NumberWells(), 5);      // grown to the length of the list
    EXPECT_EQ(set.getWellListCount(), 3);  // P1 twice, p2 once; "P2" is not "p2"

    bool qIn = true;
    set.getWellInWelllist(2, qIn, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_FALSE(qIn);
    set.getWellInWelllist(3, qIn, qOK);
    EXPECT_TRUE(qIn);
    set.getWellInWelllist(6, qIn, qOK);
    EXPECT_FALSE(qOK);

    Array<std::string> listed;
    int32_t n = -1;
    set.getWellListNames(listed, n, qOK);
    ASSERT_TRUE(qOK);
    ASSERT_EQ(n, 2);
    ASSERT_EQ(listed.ubound(1), 2);
    EXPECT_EQ(listed(1), "P1");
    EXPECT_EQ(listed(2), "p2");

    set.setWellListNames(names({"none"}), 1, qOK);
    set.getWellListNames(listed, n, qOK);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(listed.ubound(1), 1);  // at least one element remains
    EXPECT_EQ(listed(1), "");

    set.setWellListNames(names({"P1"}), 2, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(set.getWellListCount(), 0);  // the short list changed nothing
}

TEST_F(WAFSetModel, ProducerAndInjectorNamesAreIndexedByTheirNumber) {
    rvWAFSet set;
    bool qOK = false;
    set.setWellNames(names({"I1", "P2", "P1", "X", "P9"}), 5, qOK);
    set.setWellTypes(list<int32_t>({2, 1, 1, 3, 1}), 5, qOK);
    set.setWellIndices(list<int32_t>({1, 2, 1, 1, 9}), 5, qOK);  // P9 points past the table
    set.NumberProducers(2);
    set.NumberInjectors(1);

    Array<std::string> producers = names({"stale"});
    int32_t n = 0;
    set.getProducerWellNames(producers, n, qOK);
    ASSERT_TRUE(qOK);
    ASSERT_EQ(n, 2);
    EXPECT_EQ(producers(1), "P1");
    EXPECT_EQ(producers(2), "P2");

    Array<std::string> injectors;
    set.getInjectorWellNames(injectors, n, qOK);
    ASSERT_EQ(n, 1);
    EXPECT_EQ(injectors(1), "I1");

    set.NumberInjectors(0);
    Array<std::string> untouched = names({"keep"});
    set.getInjectorWellNames(untouched, n, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(untouched(1), "keep");
}

}  // namespace
}  // namespace tkstream63
