// rvWAFSet model and loading: the well table's growth, the setters' refusals and faults, and the
// well-list operations the dataset uses.
#include "wafset/waf_set.hpp"

#include "common/test_support.hpp"

namespace tkstream63 {
namespace {

using testing_support::lastReport;
using testing_support::list;
using testing_support::values;

std::string wellName(const rvWAFSet& set, int32_t iWell) {
    std::string name;
    bool qOK = false;
    set.getWellName(iWell, name, qOK);
    return name;
}

class WAFSetModel : public testing_support::ReportClearingTest {
protected:
    rvWAFSet set;
    bool qOK = false;
};

TEST_F(WAFSetModel, LoweredWellCountKeepsRowsUntilAGrowReallocates) {
    set.setWellNames(list<std::string>({"A", "B", "C", "D", "E"}), 5, qOK);
    set.NumberWells(3);
    EXPECT_EQ(wellName(set, 5), "");  // beyond the count
    set.NumberWells(5);               // the rows were never freed
    EXPECT_EQ(wellName(set, 5), "E");

    set.NumberWells(3);
    set.setWellNames(list<std::string>({"A", "B", "C", "D"}), 4, qOK);  // 4 > 3: reallocates
    EXPECT_EQ(set.NumberWells(), 4);
    set.NumberWells(5);
    EXPECT_EQ((std::vector<std::string>{wellName(set, 4), wellName(set, 5)}),
              (std::vector<std::string>{"D", ""}));  // row 5 was dropped
}

TEST_F(WAFSetModel, DefinedCountFollowsFlagsOrAnActiveNonEmptyWellList) {
    std::vector<int32_t> counts;
    set.setWellsDefined(list({false, false, false}), 3, qOK);
    counts.push_back(set.NumberDefinedWells());
    set.setWellsDefined(list({true, false, true}), 3, qOK);
    counts.push_back(set.NumberDefinedWells());
    set.setWellListFlags(list({false, false, true}), 3, qOK);
    counts.push_back(set.NumberDefinedWells());  // list not active yet
    set.setWellListActive(true);
    counts.push_back(set.NumberDefinedWells());
    set.setWellListFlags(list({false, false, false}), 3, qOK);
    counts.push_back(set.NumberDefinedWells());  // an empty list counts for nothing
    EXPECT_EQ(counts, (std::vector<int32_t>{0, 2, 2, 1, 2}));
}

TEST_F(WAFSetModel, WAFDataRefusalsAnswerTrueAndFaultsKeepTheOldTable) {
    set.setWellTypes(list<int32_t>({2}), 1, qOK);
    set.setWellIndices(list<int32_t>({1}), 1, qOK);
    set.setInjectorsData(list<int32_t>({0}), list<int32_t>({0}), list<int32_t>({0}),
                         list<int32_t>({1}), list<float>({0}), 1, qOK);
    Array<float> table(1, 9, 1, 1);
    table(5, 1) = 42.0f;
    set.setWAFData(table, 9, 1, qOK);
    auto waterRate = [&] {
        float water = -1, efficiency = -1;
        bool ok = false;
        set.getWellEfficiency(1, water, efficiency, ok);
        return water;
    };
    ASSERT_EQ(waterRate(), 42.0f);

    set.setWAFData(table, 0, 1, qOK);
    EXPECT_TRUE(qOK);
    set.setWAFData(table, 65536, 65536, qOK);  // 2^32 values
    EXPECT_EQ(lastReport(), "Error:Overflow (No.6) In [rvWAFSet (Code) (setWAFData)] ");
    set.setWAFData(table, 9, 2, qOK);  // the caller's array holds one row
    EXPECT_EQ(lastReport(), "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (setWAFData)] ");
    set.setWAFData(Array<float>(1, 9), 9, 1, qOK);  // no element (1, 1)
    EXPECT_FALSE(qOK);
    EXPECT_EQ(waterRate(), 42.0f);

    // Copied in storage order: a 10 x 1 source fills a 5 x 2 table.
    Array<float> wide(1, 10, 1, 1);
    wide(10, 1) = 7.0f;
    set.setWAFData(wide, 5, 2, qOK);
    set.setInjectorData(1, 0, 0, 2, 2, 0.0f, qOK);  // other and total rates in row 2
    Array<float> rates;
    Array<int32_t> partners;
    Array<std::string> partnerNames;
    int32_t nRates = 0;
    float other = 0, total = 0;
    set.getWellWAFData(1, rates, nRates, other, total, partners, partnerNames, qOK, 5);
    EXPECT_TRUE(qOK && other == 7.0f);
    // Five columns: the efficiency column 9 is missing. Reported, outputs untouched.
    EXPECT_EQ(waterRate(), -1.0f);
    EXPECT_EQ(lastReport(),
              "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (getWellEfficiency)] ");
}

TEST_F(WAFSetModel, ShortArraysAndBadCountsStoreNothing) {
    set.setWellTypes(list<int32_t>({1, 2}), 3, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(), "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (setWellTypes)] ");
    set.setWellsDefined(list({true}), 2, qOK);
    EXPECT_FALSE(qOK || set.NumberWells() != 0);
    set.setWellTypes(list<int32_t>({1}), 0, qOK);  // nothing to store is no fault
    EXPECT_TRUE(qOK);

    auto ints = [](int32_t n) { return Array<int32_t>(1, n); };
    set.setInjectorsData(ints(2), ints(2), ints(2), ints(2), Array<float>(1, 2), 2, qOK);
    ASSERT_TRUE(qOK);
    bool zeroOK = true;
    set.setInjectorsData(ints(1), ints(1), ints(1), ints(1), Array<float>(1, 1), 0, zeroOK);
    set.setInjectorsData(ints(3), ints(3), ints(2), ints(3), Array<float>(1, 3), 3, qOK);
    EXPECT_FALSE(zeroOK || qOK);
    EXPECT_EQ(lastReport(),
              "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (setInjectorsData)] ");
    EXPECT_EQ(set.NumberInjectors(), 2);
    // One row by number: only rows within the count; lowering the count keeps the rows.
    std::vector<bool> accepted;
    for (const auto& [count, row] : {std::pair{2, 3}, {0, 1}, {2, 2}}) {
        set.NumberInjectors(count);
        set.setInjectorData(row, 1, 1, 1, 1, 1.0f, qOK);
        accepted.push_back(qOK);
    }
    EXPECT_EQ(accepted, (std::vector<bool>{false, false, true}));
}

TEST_F(WAFSetModel, WellListByNamesIsExactCountsDuplicatesAndGrowsTheTable) {
    set.setWellNames(list<std::string>({"P1", "I1", "p2"}), 3, qOK);
    set.setWellListNames(list<std::string>({"P1", "P1", "P2", "p2", "X"}), 5, qOK);
    ASSERT_TRUE(qOK);
    // Grown to the length of the list; P1 counted twice, p2 once ("P2" is not "p2").
    EXPECT_EQ(std::make_pair(set.NumberWells(), set.getWellListCount()), std::make_pair(5, 3));
    bool qIn = true, outsideOK = true;
    set.getWellInWelllist(2, qIn, qOK);
    set.getWellInWelllist(6, qIn, outsideOK);
    EXPECT_FALSE(qIn || outsideOK);

    Array<std::string> listed;
    int32_t n = -1;
    set.getWellListNames(listed, n, qOK);
    EXPECT_EQ(values(listed, n), (std::vector<std::string>{"P1", "p2"}));
    set.setWellListNames(list<std::string>({"none"}), 1, qOK);
    set.getWellListNames(listed, n, qOK);
    EXPECT_TRUE(n == 0 && listed.ubound(1) == 1);  // at least one element remains
}

TEST_F(WAFSetModel, ProducerAndInjectorNamesAreIndexedByTheirNumber) {
    set.setWellNames(list<std::string>({"I1", "P2", "P1", "X", "P9"}), 5, qOK);
    set.setWellTypes(list<int32_t>({2, 1, 1, 3, 1}), 5, qOK);
    set.setWellIndices(list<int32_t>({1, 2, 1, 1, 9}), 5, qOK);  // P9 points past the table
    set.NumberProducers(2);
    Array<std::string> zNames;
    int32_t n = 0;
    set.getProducerWellNames(zNames, n, qOK);
    EXPECT_EQ(values(zNames, n), (std::vector<std::string>{"P1", "P2"}));

    zNames = list<std::string>({"keep"});
    set.getInjectorWellNames(zNames, n, qOK);  // no injectors: array untouched
    EXPECT_TRUE(qOK && n == 0);
    EXPECT_EQ(values(zNames), (std::vector<std::string>{"keep"}));
}

}  // namespace
}  // namespace tkstream63
