// rvWAFSet queries: allocated rates on a five-spot (one injector feeding four producers and the
// producers' view back), the walk over the WAF rows, efficiencies by type, well lookups and the
// faults reported through the error trap.

#include <utility>

#include "common/test_support.hpp"
#include "wafset/waf_set.hpp"
#include "wafset/waf_set_test_support.hpp"

namespace tkstream63 {
namespace {

using testing_support::lastReport;
using testing_support::list;
using testing_support::values;
using Names = std::vector<std::string>;

class FiveSpot : public testing_support::ReportClearingTest {
protected:
    void getData(int32_t iWell, int32_t iWAFType = 2) {
        set.getWellWAFData(iWell, sRate, nRates, otherRate, totalRate, iWells, zWells, qOK, iWAFType);
    }

    std::shared_ptr<rvWAFSet> fiveSpot = testing_support::fiveSpotWafSet();
    rvWAFSet& set = *fiveSpot;
    Array<float> sRate;
    Array<int32_t> iWells;
    Array<std::string> zWells;
    int32_t nRates = -7;
    float otherRate = -7;
    float totalRate = -7;
    bool qOK = false;
};

TEST_F(FiveSpot, RatesSeenFromBothEndsAndRefusedWellsWriteNothing) {
    getData(1);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(values(sRate), (std::vector<float>{100, 200, 300, 400}));
    EXPECT_EQ(values(iWells), (std::vector<int32_t>{2, 3, 4, 5}));
    EXPECT_EQ(values(zWells), (Names{"P1", "P2", "P3", "P4"}));
    EXPECT_EQ((std::vector<float>{static_cast<float>(nRates), otherRate, totalRate}), (std::vector<float>{4, 5, 1005}));
    getData(1, 3);
    EXPECT_EQ(std::make_pair(sRate(2), totalRate), std::make_pair(20.0f, 100.5f));

    for (int32_t k = 1; k <= 4; ++k) {
        getData(k + 1);
        ASSERT_EQ(nRates, 1);
        EXPECT_EQ(std::make_pair(iWells(1), zWells(1)), std::make_pair(1, std::string("I1")));
        // Other-rate row 0 is outside the table.
        EXPECT_EQ((std::vector<float>{sRate(1), otherRate, totalRate}), (std::vector<float>{100.0f * k, 0, 100.0f * k}));
    }

    // By name the fourth argument (named TotalRate) receives the other rate.
    set.getWellNameWAFData("i1", sRate, nRates, totalRate, otherRate, iWells, zWells, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(std::make_pair(totalRate, otherRate), std::make_pair(5.0f, 1005.0f));

    // Refused wells write nothing.
    auto expectUntouched = [&](int32_t iWell) {
        sRate = list<float>({-1});
        nRates = -7;
        otherRate = -7;
        getData(iWell);
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
    // A rate column outside the table is a reported fault.
    getData(1, 10);
    EXPECT_EQ(lastReport(),
              "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (getWellWAFData)] ");
    EXPECT_FALSE(qOK);
    set.getWellNameWAFData("P1", sRate, nRates, otherRate, totalRate, iWells, zWells, qOK, 0);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(),
              "Error:Subscript out of range (No.9) In [rvWAFSet (Code) (getWellNameWAFData)] ");

    Array<float> table(1, 2, 1, 3);
    table(1, 2) = 2.5f;  // partner 2
    table(2, 2) = 20;
    table(1, 3) = 3.5f;  // partner 4
    set.setWAFData(table, 2, 3, qOK);
    set.setProducerData(1, 2, 3, 0, 9, 1.0f, qOK);  // rows 2, 3 and 4 (past nData 3)
    getData(2);
    ASSERT_TRUE(qOK && nRates == 3);
    EXPECT_EQ(values(iWells), (std::vector<int32_t>{2, 4, 0}));
    EXPECT_EQ(values(zWells), (Names{"P1", "P3", ""}));
    EXPECT_EQ(values(sRate), (std::vector<float>{20, 0, 0}));
    EXPECT_EQ(totalRate, 0.0f);  // total row 9 is past the table

    set.setProducerData(1, 0, 2, 0, 0, 1.0f, qOK);  // first row outside: sized and cleared
    getData(2);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(values(sRate), (std::vector<float>{0, 0}));
    set.setProducerData(1, 2, 0, 0, 0, 1.0f, qOK);  // no rows: True, arrays untouched
    getData(2);
    EXPECT_TRUE(qOK && nRates == 0 && sRate.ubound(1) == 2);
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
    EXPECT_EQ(std::make_pair(water, efficiency), std::make_pair(30.0f, 3.2f));

    Array<float> waters, efficiencies;
    int32_t n = 0;
    set.getWellEfficiencies(waters, efficiencies, n, qOK, 1, 3);
    ASSERT_EQ(n, 4);
    EXPECT_EQ(std::make_pair(waters(4), efficiencies(2)), std::make_pair(40.0f, 2.1f));
    set.getWellEfficiencies(waters, efficiencies, n, qOK);  // injectors, type 9
    ASSERT_EQ(n, 1);
    EXPECT_FLOAT_EQ(efficiencies(1), 0.9f);

    // Every well; qOK is that of the last one, here a well of neither kind.
    set.setWellTypes(list<int32_t>({2, 1, 1, 1, 3}), 5, qOK);
    set.getWellEfficiencies(waters, efficiencies, n, qOK, 7);
    ASSERT_EQ(n, 5);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(std::make_pair(waters(1), waters(4)), std::make_pair(900.0f, 30.0f));

    set.setProducerData(3, 9, 1, 0, 0, 1.0f, qOK);  // total row outside: zeros, still True
    set.getWellEfficiency(4, water, efficiency, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(water + efficiency, 0.0f);

    rvWAFSet empty;
    waters = list<float>({-1});
    empty.getWellEfficiencies(waters, efficiencies, n, qOK, 1);
    EXPECT_FALSE(qOK || n != 0 || waters(1) != -1);
}

TEST_F(FiveSpot, NameLookupUpperCasesOnlyTheQueryAndNamesAreCutTo40) {
    const std::string fifty(50, 'Q'), forty = fifty.substr(0, 40);
    set.setWellNames(list<std::string>({"I1", "p1", "P1", fifty, "P2", "I\xC3\x89"}), 6, qOK);
    const std::pair<std::string, int32_t> lookups[] = {
        {"p2", 5}, {"P2 ", -1}, {"P", -1},
        {"p1", 3},  // the stored "p1" is never found
        {forty, 4}, {fifty, -1}, {"i\xC3\xA9", 6}};  // É survives the single-byte form
    for (const auto& [query, number] : lookups) EXPECT_EQ(set.getWellNumber(query), number) << query;

    Array<int32_t> numbers;
    set.getListOfWellIndices(list<std::string>({"i1", "x"}), 2, numbers, qOK);
    EXPECT_EQ(values(numbers), (std::vector<int32_t>{1, -1}));
    Array<std::string> zNames = list<std::string>({"keep"});
    set.getListOfWellNames(list<int32_t>({5, 0}), 3, zNames, qOK);  // array shorter than 3
    EXPECT_FALSE(qOK || values(zNames) != Names{"keep"});
    set.getListOfWellNames(list<int32_t>({5, 0}), 2, zNames, qOK);
    EXPECT_EQ(values(zNames), (Names{"P2", ""}));
    // An empty name clears the stored one; a shorter list never shrinks the table.
    set.setWellNames(list<std::string>({""}), 1, qOK);
    EXPECT_EQ(std::make_pair(set.getWellNumber("I1"), set.NumberWells()), std::make_pair(-1, 6));
}

TEST_F(FiveSpot, WellLookupsResetTheirOutputsAndHonourTheWellList) {
    int32_t value = 7;
    set.getWellType(0, value, qOK);
    EXPECT_FALSE(qOK || value != -1);
    set.getWellNameIndex("P4", value, qOK);
    EXPECT_EQ(value, 4);

    set.setWellsDefined(list({true, false, true, true, true}), 5, qOK);
    set.setWellListFlags(list({false, true}), 2, qOK);
    set.setWellListActive(true);
    // The active list decides alone; with the flag only the defined flags count; the query by
    // name ignores the list; a bad well leaves the answer alone, or resets it first.
    bool d[6] = {true, false, true, false, true, true};
    set.getWellDefined(1, d[0], qOK);
    set.getWellDefined(2, d[1], qOK);
    set.getWellDefined_Incl_List(2, d[2], qOK, true);
    set.getWellNameDefined("I1", d[3], qOK);
    set.getWellDefined(9, d[4], qOK);
    set.getWellDefined_Incl_List(9, d[5], qOK);
    EXPECT_EQ(std::vector<bool>(d, d + 6), (std::vector<bool>{false, true, false, true, true, false}));

    Array<bool> flags;
    int32_t n = 0;
    set.getWellsDefined(flags, n, qOK);
    EXPECT_EQ(values(flags, n), (std::vector<bool>{true, false, true, true, true}));
}

}  // namespace
}  // namespace tkstream63
