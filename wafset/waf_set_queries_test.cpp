// rvWAFSet queries: allocated rates on a five-spot (one injector feeding four producers and the
// producers' view back), the walk over the WAF rows, efficiencies by type, well lookups and the
// faults reported through the error trap.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "common/shared_objects.hpp"
#include "common/test_support.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63 {
namespace {

using testing_support::lastReport;
using testing_support::list;

// Wells: 1 I1 (injector 1), 2..5 P1..P4 (producers 1..4). WAF rows, 9 columns:
//   1-4   I1's partners P1..P4: column 2 = 100 k, column 3 = 10 k
//   5     I1's other rate (2: 5, 3: 0.5);  6 I1's total (2: 1005, 3: 100.5, 5: 900, 6-9: 0.6-0.9)
//   7-10  producer k's partner I1: column 2 = 100 k
//   11-14 producer k's total: column 2 = 100 k, 5 = 10 k, 6-9 = k + 0.1 .. k + 0.4
class FiveSpot : public ::testing::Test {
protected:
    void SetUp() override {
        errorReporter().clearRecentMessages();
        bool qOK = false;
        set.setWellNames(list<std::string>({"I1", "P1", "P2", "P3", "P4"}), 5, qOK);
        set.setWellTypes(list<int32_t>({2, 1, 1, 1, 1}), 5, qOK);
        set.setWellIndices(list<int32_t>({1, 1, 2, 3, 4}), 5, qOK);
        set.setInjectorsData(list<int32_t>({1}), list<int32_t>({4}), list<int32_t>({5}),
                             list<int32_t>({6}), list<float>({1005}), 1, qOK);
        set.setProducersData(list<int32_t>({7, 8, 9, 10}), list<int32_t>({1, 1, 1, 1}),
                             list<int32_t>({0, 0, 0, 0}), list<int32_t>({11, 12, 13, 14}),
                             list<float>({100, 200, 300, 400}), 4, qOK);
        Array<float> table(1, 9, 1, 14);
        for (int32_t k = 1; k <= 4; ++k) {
            table(1, k) = static_cast<float>(k + 1);
            table(2, k) = 100.0f * k;
            table(3, k) = 10.0f * k;
            table(1, 6 + k) = 1;
            table(2, 6 + k) = 100.0f * k;
            table(2, 10 + k) = 100.0f * k;
            table(5, 10 + k) = 10.0f * k;
            for (int32_t e = 6; e <= 9; ++e) table(e, 10 + k) = k + 0.1f * (e - 5);
        }
        table(2, 5) = 5;
        table(3, 5) = 0.5f;
        table(2, 6) = 1005;
        table(3, 6) = 100.5f;
        table(5, 6) = 900;
        for (int32_t e = 6; e <= 9; ++e) table(e, 6) = 0.1f * e;
        set.setWAFData(table, 9, 14, qOK);
        ASSERT_TRUE(qOK);
        ASSERT_TRUE(lastReport().empty());
    }

    rvWAFSet set;
    Array<float> sRate;
    Array<int32_t> iWells;
    Array<std::string> zWells;
    int32_t nRates = -7;
    float otherRate = -7;
    float totalRate = -7;
    bool qOK = false;
};

TEST_F(FiveSpot, InjectorSeesItsProducersAndEachProducerSeesTheInjector) {
    set.getWellWAFData(1, sRate, nRates, otherRate, totalRate, iWells, zWells, qOK);
    ASSERT_TRUE(qOK);
    ASSERT_EQ(nRates, 4);
    ASSERT_EQ(sRate.ubound(1), 4);
    for (int32_t k = 1; k <= 4; ++k) {
        EXPECT_FLOAT_EQ(sRate(k), 100.0f * k);
        EXPECT_EQ(iWells(k), k + 1);
        EXPECT_EQ(zWells(k), std::string("P").append(std::to_string(k)));
    }
    EXPECT_FLOAT_EQ(otherRate, 5);
    EXPECT_FLOAT_EQ(totalRate, 1005);
    set.getWellWAFData(1, sRate, nRates, otherRate, totalRate, iWells, zWells, qOK, 3);
    EXPECT_FLOAT_EQ(sRate(2), 20);
    EXPECT_FLOAT_EQ(totalRate, 100.5f);

    for (int32_t k = 1; k <= 4; ++k) {
        set.getWellWAFData(k + 1, sRate, nRates, otherRate, totalRate, iWells, zWells, qOK);
        ASSERT_EQ(nRates, 1);
        EXPECT_FLOAT_EQ(sRate(1), 100.0f * k);
        EXPECT_EQ(iWells(1), 1);
        EXPECT_EQ(zWells(1), "I1");
        EXPECT_EQ(otherRate, 0.0f);  // row 0 is outside the table
        EXPECT_FLOAT_EQ(totalRate, 100.0f * k);
    }

    // By name the fourth argument (named TotalRate) receives the other rate.
    set.getWellNameWAFData("i1", sRate, nRates, totalRate, otherRate, iWells, zWells, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_FLOAT_EQ(totalRate, 5);
    EXPECT_FLOAT_EQ(otherRate, 1005);
}

TEST_F(FiveSpot, RefusedWellsWriteNothing) {
    auto expectUntouched = [&](int32_t iWell) {
        sRate = list<float>({-1});
        nRates = -7;
        otherRate = -7;
        set.getWellWAFData(iWell, sRate, nRates, otherRate, totalRate, iWells, zWells, qOK);
        EXPECT_FALSE(qOK) << iWell;
        EXPECT_EQ(nRates + otherRate + sRate(1), -15) << iWell;
    };
    expectUntouched(0);
    expectUntouched(6);
    set.setWellTypes(list<int32_t>({2, 3}), 2, qOK);  // P1 becomes neither kind
    expectUntouched(2);
    set.setWellIndices(list<int32_t>({1, 1, 5}), 3, qOK);  // P2 points past the 4 producers
    expectUntouched(3);
    EXPECT_TRUE(lastReport().empty());
}

TEST_F(FiveSpot, WalkSkipsRowsPastTheTableAndRoundsPartnersHalfToEven) {
    Array<float> table(1, 2, 1, 3);
    table(1, 2) = 2.5f;  // partner 2
    table(2, 2) = 20;
    table(1, 3) = 3.5f;  // partner 4
    set.setWAFData(table, 2, 3, qOK);
    set.setProducerData(1, 2, 3, 0, 9, 1.0f, qOK);  // rows 2, 3 and 4 (past nData 3)
    set.getWellWAFData(2, sRate, nRates, otherRate, totalRate, iWells, zWells, qOK);
    ASSERT_TRUE(qOK);
    ASSERT_EQ(nRates, 3);
    ASSERT_EQ(iWells.ubound(1), 3);
    EXPECT_EQ(iWells(1), 2);
    EXPECT_EQ(iWells(2), 4);
    EXPECT_EQ(iWells(3), 0);
    EXPECT_EQ(zWells(2), "P3");
    EXPECT_EQ(zWells(3), "");
    EXPECT_FLOAT_EQ(sRate(1), 20);
    EXPECT_EQ(totalRate, 0.0f);  // total row 9 is past the table

    set.setProducerData(1, 0, 2, 0, 0, 1.0f, qOK);  // first row outside: sized and cleared
    set.getWellWAFData(2, sRate, nRates, otherRate, totalRate, iWells, zWells, qOK);
    EXPECT_TRUE(qOK);
    ASSERT_EQ(sRate.ubound(1), 2);
    EXPECT_EQ(sRate(1), 0.0f);
    set.setProducerData(1, 2, 0, 0, 0, 1.0f, qOK);  // no rows: True, arrays untouched
    set.getWellWAFData(2, sRate, nRates, otherRate, totalRate, iWells, zWells, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(nRates, 0);
    EXPECT_EQ(sRate.ubound(1), 2);
}

TEST_F(FiveSpot, RateColumnsOutsideTheTableAreReportedFaults) {
    set.getWellWAFData(1, sRate, nRates, otherRate, totalRate, iWells, zWells, qOK, 10);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(),
              "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (getWellWAFData)] ");
    set.getWellNameWAFData("P1", sRate, nRates, otherRate, totalRate, iWells, zWells, qOK, 0);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(),
              "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (getWellNameWAFData)] ");
}

TEST_F(FiveSpot, EfficiencyTypeSelectsTheColumn) {
    float water = 0, efficiency = 0;
    const std::pair<int32_t, float> cases[] = {{3, 0.6f}, {4, 0.7f}, {5, 0.8f}, {6, 0.9f},
                                               {2, 0.9f}, {0, 0.9f}, {9, 0.9f}};
    for (const auto& [iType, expected] : cases) {
        set.getWellEfficiency(1, water, efficiency, qOK, iType);
        ASSERT_TRUE(qOK);
        EXPECT_FLOAT_EQ(efficiency, expected) << "type " << iType;
        EXPECT_FLOAT_EQ(water, 900);
    }
    set.getWellEfficiency(4, water, efficiency, qOK, 4);  // P3
    EXPECT_FLOAT_EQ(water, 30);
    EXPECT_FLOAT_EQ(efficiency, 3.2f);

    set.setProducerData(3, 9, 1, 0, 0, 1.0f, qOK);  // total row outside: zeros, still True
    set.getWellEfficiency(4, water, efficiency, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(water + efficiency, 0.0f);
}

TEST_F(FiveSpot, EfficienciesByKindOrForEveryWell) {
    Array<float> water;
    Array<float> efficiency;
    int32_t n = 0;
    set.getWellEfficiencies(water, efficiency, n, qOK, 1, 3);
    ASSERT_EQ(n, 4);
    EXPECT_FLOAT_EQ(water(4), 40);
    EXPECT_FLOAT_EQ(efficiency(2), 2.1f);
    set.getWellEfficiencies(water, efficiency, n, qOK);  // injectors, type 9
    ASSERT_EQ(n, 1);
    EXPECT_FLOAT_EQ(efficiency(1), 0.9f);

    // Every well; qOK is that of the last one, here a well of neither kind.
    set.setWellTypes(list<int32_t>({2, 1, 1, 1, 3}), 5, qOK);
    set.getWellEfficiencies(water, efficiency, n, qOK, 7);
    ASSERT_EQ(n, 5);
    EXPECT_FALSE(qOK);
    EXPECT_FLOAT_EQ(water(1), 900);
    EXPECT_FLOAT_EQ(water(4), 30);

    rvWAFSet empty;
    water = list<float>({-1});
    empty.getWellEfficiencies(water, efficiency, n, qOK, 1);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(water(1), -1);
}

TEST_F(FiveSpot, NameLookupUpperCasesOnlyTheQuery) {
    EXPECT_EQ(set.getWellNumber("p2"), 3);
    EXPECT_EQ(set.getWellNumber("P2 "), -1);
    EXPECT_EQ(set.getWellNumber("P"), -1);
    const std::string forty(40, 'Q');
    set.setWellNames(list<std::string>({"I1", "p1", "P1", forty}), 4, qOK);
    EXPECT_EQ(set.getWellNumber("p1"), 3);  // the stored "p1" is never found
    EXPECT_EQ(set.getWellNumber(forty), 4);
    EXPECT_EQ(set.getWellNumber(forty + "Q"), -1);

    Array<int32_t> numbers;
    set.getListOfWellIndices(list<std::string>({"i1", "x"}), 2, numbers, qOK);
    EXPECT_EQ(numbers(1), 1);
    EXPECT_EQ(numbers(2), -1);
    Array<std::string> zNames = list<std::string>({"keep"});
    set.getListOfWellNames(list<int32_t>({5, 0}), 3, zNames, qOK);  // array shorter than 3
    EXPECT_FALSE(qOK);
    EXPECT_EQ(zNames(1), "keep");
    set.getListOfWellNames(list<int32_t>({5, 0}), 2, zNames, qOK);
    EXPECT_EQ(zNames(1), "P4");
    EXPECT_EQ(zNames(2), "");
}

TEST_F(FiveSpot, WellLookupsResetTheirOutputsAndHonourTheWellList) {
    int32_t value = 7;
    set.getWellType(0, value, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(value, -1);
    set.getWellNameIndex("P4", value, qOK);
    EXPECT_EQ(value, 4);

    set.setWellsDefined(list({true, false, true, true, true}), 5, qOK);
    set.setWellListFlags(list({false, true}), 2, qOK);
    set.setWellListActive(true);
    bool defined = false;
    set.getWellDefined(1, defined, qOK);
    EXPECT_FALSE(defined);  // the active list decides alone
    set.getWellDefined(2, defined, qOK);
    EXPECT_TRUE(defined);
    set.getWellDefined_Incl_List(2, defined, qOK, true);  // flags only
    EXPECT_FALSE(defined);
    set.getWellNameDefined("I1", defined, qOK);  // the list is not consulted
    EXPECT_TRUE(defined);
    set.getWellDefined(9, defined, qOK);
    EXPECT_TRUE(defined);  // untouched
    set.getWellDefined_Incl_List(9, defined, qOK);
    EXPECT_FALSE(defined);  // reset first

    Array<bool> flags;
    int32_t n = 0;
    set.getWellsDefined(flags, n, qOK);
    ASSERT_EQ(n, 5);
    EXPECT_FALSE(flags(2));
    EXPECT_TRUE(flags(1));
}

}  // namespace
}  // namespace tkstream63
