// rvStreamSet with an attached WAF set: fallbacks without a set, the object error when the flag is
// up without one, forwarding, and the well mapping in both directions.
#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "common/shared_objects.hpp"
#include "common/test_support.hpp"
#include "streamset/stream_set.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63 {
namespace {

using testing_support::list;
using testing_support::reports;

// WAF wells 1 I1 (injector 1), 2..5 P1..P4 (producers 1..4). Rows 1-4: I1's partners P1..P4 at
// 100 k; row 5: I1's total (1000; water 900, efficiency 0.9); rows 6-9: producer k's partner I1.
std::shared_ptr<rvWAFSet> fiveSpot() {
    auto set = std::make_shared<rvWAFSet>();
    bool qOK = false;
    set->setWellNames(list<std::string>({"I1", "P1", "P2", "P3", "P4"}), 5, qOK);
    set->setWellTypes(list<int32_t>({2, 1, 1, 1, 1}), 5, qOK);
    set->setWellIndices(list<int32_t>({1, 1, 2, 3, 4}), 5, qOK);
    set->setInjectorsData(list<int32_t>({1}), list<int32_t>({4}), list<int32_t>({0}),
                          list<int32_t>({5}), list<float>({1000}), 1, qOK);
    set->setProducersData(list<int32_t>({6, 7, 8, 9}), list<int32_t>({1, 1, 1, 1}),
                          list<int32_t>({0, 0, 0, 0}), list<int32_t>({0, 0, 0, 0}),
                          list<float>({100, 200, 300, 400}), 4, qOK);
    Array<float> table(1, 9, 1, 9);
    for (int32_t k = 1; k <= 4; ++k) {
        table(1, k) = static_cast<float>(k + 1);
        table(2, k) = 100.0f * k;
        table(1, 5 + k) = 1;
        table(2, 5 + k) = 100.0f * k;
    }
    table(2, 5) = 1000;
    table(5, 5) = 900;
    table(9, 5) = 0.9f;
    set->setWAFData(table, 9, 9, qOK);
    return set;
}

std::string objectError(const std::string& member) {
    return "Error:Object variable or With block variable not set (No.91) In [rvStreamSet (Code) "
           "(rvStreamSet." + member + ")] ";
}

class DatasetWAF : public testing_support::ReportClearingTest {
protected:

    rvStreamSet dataset;
    Array<float> sRate;
    Array<int32_t> iWells;
    Array<std::string> zWells;
    int32_t n = -7;
    float otherRate = -7, totalRate = -7;
};

TEST_F(DatasetWAF, WithoutASetEveryMemberGivesItsFallbackSilently) {
    EXPECT_EQ(dataset.getWAFNumberWells(), 0);
    EXPECT_EQ(dataset.getWAFWellNumber("I1"), -1);
    EXPECT_EQ(dataset.getWAFWellFromSLWell(1), -1);
    EXPECT_EQ(dataset.getSLWellFromWAFWell(1), -1);

    int32_t iType = 77;
    bool qOK = false;
    dataset.getWAFWellType(1, iType, qOK);  // qOK True, iType untouched
    EXPECT_TRUE(qOK);
    EXPECT_EQ(iType, 77);
    bool qDefined = true;
    dataset.getWAFWellNameDefined("I1", qDefined, qOK);
    EXPECT_FALSE(qDefined);

    for (const bool before : {true, false}) {  // these leave qOK alone
        qOK = before;
        Array<std::string> zNames;
        dataset.getWAFWellNames(zNames, n, qOK);
        dataset.getWAFWellData(1, sRate, n, otherRate, totalRate, iWells, zWells, qOK);
        dataset.getWAFInjectorWellNames(zNames, n, qOK);
        EXPECT_EQ(qOK, before);
    }
    EXPECT_EQ(n, -7);

    Array<float> water, efficiency;
    qOK = true;
    dataset.getWAFWellEfficiencies(water, efficiency, n, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(n, 0);
    EXPECT_TRUE(reports().empty());
}

TEST_F(DatasetWAF, FlagWithoutASetReportsTheObjectErrorAndKeepsFallbacks) {
    bool qOK = false;
    dataset.setWAF(nullptr, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_TRUE(dataset.WAF());

    EXPECT_EQ(dataset.getWAFNumberWells(), 0);
    EXPECT_EQ(reports().back(), objectError("getWAFNumberWells"));
    int32_t iType = 77;
    qOK = false;
    dataset.getWAFWellType(1, iType, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(iType, 77);
    EXPECT_EQ(reports().back(), objectError("getWAFWellType"));
    dataset.getWAFWellData(1, sRate, n, otherRate, totalRate, iWells, zWells, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(n, -7);
    EXPECT_EQ(reports().back(), objectError("getWAFWellData"));
    Array<float> water, efficiency;
    dataset.getWAFWellEfficiencies(water, efficiency, n, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(n, 0);

    // The reverse mapping asks for the WAF well's name, which reports; the result stays -1.
    errorReporter().clearRecentMessages();
    EXPECT_EQ(dataset.getSLWellFromWAFWell(1), -1);
    ASSERT_EQ(reports().size(), 1u);
    EXPECT_EQ(reports().front(), objectError("getWAFWellName"));
}

TEST_F(DatasetWAF, AttachedSetAnswersUntilTheFlagDrops) {
    bool qOK = false;
    dataset.setWAF(fiveSpot(), qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(dataset.getWAFNumberWells(), 5);
    EXPECT_EQ(dataset.getWAFNumberProducers(), 4);
    EXPECT_EQ(dataset.getWAFWellNumber("p3"), 4);
    EXPECT_EQ(dataset.getWAFWellName(1), "I1");

    int32_t iType = 77;
    dataset.getWAFWellType(9, iType, qOK);  // the set refuses, the dataset still says True
    EXPECT_TRUE(qOK);
    EXPECT_EQ(iType, -1);

    Array<std::string> zNames;
    dataset.getWAFProducerWellNames(zNames, n, qOK);
    ASSERT_EQ(n, 4);
    EXPECT_EQ(zNames(3), "P3");
    dataset.getWAFInjectorWellNames(zNames, n, qOK);
    ASSERT_EQ(n, 1);
    EXPECT_EQ(zNames(1), "I1");

    float water = 0, efficiency = 0;
    dataset.getWAFWellEfficiencyData(1, water, efficiency, qOK);
    EXPECT_FLOAT_EQ(water, 900);
    EXPECT_FLOAT_EQ(efficiency, 0.9f);

    dataset.WAF(false);
    EXPECT_EQ(dataset.getWAFNumberWells(), 0);
    EXPECT_EQ(dataset.getWAFWellName(1), "");
    EXPECT_TRUE(reports().empty());
}

TEST_F(DatasetWAF, WellsMapByNameBothWays) {
    bool qOK = false;
    dataset.setWellNames(list<std::string>({"P2", "I1", "p1", "P4"}), 4, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(dataset.getWAFWellFromSLWell(1), -1);  // no set yet
    dataset.setWAF(fiveSpot(), qOK);

    EXPECT_EQ(dataset.getWAFWellFromSLWell(1), 3);
    EXPECT_EQ(dataset.getWAFWellFromSLWell(2), 1);
    EXPECT_EQ(dataset.getWAFWellFromSLWell(3), 2);  // "p1" is upper-cased by the set's lookup
    EXPECT_EQ(dataset.getWAFWellFromSLWell(4), 5);
    EXPECT_EQ(dataset.getWAFWellFromSLWell(5), -1);

    EXPECT_EQ(dataset.getSLWellFromWAFWell(1), 2);
    EXPECT_EQ(dataset.getSLWellFromWAFWell(2), -1);  // "P1" never matches the stored "p1"
    EXPECT_EQ(dataset.getSLWellFromWAFWell(3), 1);
    EXPECT_EQ(dataset.getSLWellFromWAFWell(4), -1);  // P3 is not a dataset well
    EXPECT_EQ(dataset.getSLWellFromWAFWell(5), 4);
    EXPECT_EQ(dataset.getSLWellFromWAFWell(0), -1);
    EXPECT_TRUE(reports().empty());
}

TEST_F(DatasetWAF, RatePartnersBecomeDatasetWellsOnceStreamlinesExist) {
    bool qOK = false;
    dataset.setWellNames(list<std::string>({"P2", "I1", "p1", "P4"}), 4, qOK);
    dataset.setWAF(fiveSpot(), qOK);

    dataset.getWAFWellData(1, sRate, n, otherRate, totalRate, iWells, zWells, qOK);
    ASSERT_TRUE(qOK);
    ASSERT_EQ(n, 4);
    EXPECT_EQ(iWells(1), 2);  // still WAF numbers: no streamlines yet
    EXPECT_EQ(iWells(4), 5);

    Array<int32_t> pointers(1, 8, 1, 2);
    dataset.setStreamLinePointers(pointers, 8, 1, qOK);
    ASSERT_GT(dataset.NumberStreamlines(), 0);

    dataset.getWAFWellData(1, sRate, n, otherRate, totalRate, iWells, zWells, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(iWells(1), -1);  // P1 -> stored "p1": not found
    EXPECT_EQ(iWells(2), 1);
    EXPECT_EQ(iWells(3), -1);
    EXPECT_EQ(iWells(4), 4);
    EXPECT_EQ(zWells(2), "P2");  // names stay the set's
    EXPECT_FLOAT_EQ(sRate(4), 400);

    // The query by name passes the set's numbers through unmapped, and its rates by position.
    dataset.getWAFWellNameData("I1", sRate, n, otherRate, totalRate, iWells, zWells, qOK);
    EXPECT_EQ(iWells(2), 3);
    EXPECT_EQ(otherRate, 0.0f);
    EXPECT_FLOAT_EQ(totalRate, 1000);

    // A refused well maps nothing, even with stale arrays and counts.
    iWells = list<int32_t>({5});
    n = 3;
    dataset.getWAFWellData(9, sRate, n, otherRate, totalRate, iWells, zWells, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(iWells(1), 5);
    EXPECT_TRUE(reports().empty());
}

}  // namespace
}  // namespace tkstream63
