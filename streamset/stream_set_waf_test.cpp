// rvStreamSet with an attached WAF set: fallbacks without a set, the object error when the flag is
// up without one, forwarding, and the well mapping in both directions.
#include "streamset/stream_set.hpp"
#include "wafset/waf_set_test_support.hpp"

namespace tkstream63 {
namespace {

using testing_support::fiveSpotWafSet;
using testing_support::list;
using testing_support::reports;
using testing_support::values;

std::string objectError(const std::string& member) {
    return "Error:Object variable or With block variable not set (No.91) In [rvStreamSet (Code) "
           "(rvStreamSet." + member + ")] ";
}

class DatasetWAF : public testing_support::ReportClearingTest {
protected:
    void getData(int32_t iWell) {
        dataset.getWAFWellData(iWell, sRate, n, otherRate, totalRate, iWells, zWells, qOK);
    }

    rvStreamSet dataset;
    Array<float> sRate;
    Array<int32_t> iWells;
    Array<std::string> zWells;
    int32_t n = -7;
    float otherRate = -7, totalRate = -7;
    bool qOK = false;
};

TEST_F(DatasetWAF, WithoutASetEveryMemberGivesItsFallbackSilently) {
    EXPECT_EQ((std::vector<int32_t>{dataset.getWAFNumberWells(), dataset.getWAFWellNumber("I1"),
                                    dataset.getWAFWellFromSLWell(1), dataset.getSLWellFromWAFWell(1)}),
              (std::vector<int32_t>{0, -1, -1, -1}));
    int32_t iType = 77;
    dataset.getWAFWellType(1, iType, qOK);  // qOK True, iType untouched
    EXPECT_TRUE(qOK && iType == 77);
    bool qDefined = true;
    dataset.getWAFWellNameDefined("I1", qDefined, qOK);
    EXPECT_FALSE(qDefined);

    for (const bool before : {true, false}) {  // these leave qOK alone
        qOK = before;
        Array<std::string> zNames;
        dataset.getWAFWellNames(zNames, n, qOK);
        getData(1);
        dataset.getWAFInjectorWellNames(zNames, n, qOK);
        EXPECT_EQ(qOK, before);
    }
    EXPECT_EQ(n, -7);

    Array<float> water, efficiency;
    qOK = true;
    dataset.getWAFWellEfficiencies(water, efficiency, n, qOK);
    EXPECT_FALSE(qOK || n != 0);
    EXPECT_TRUE(reports().empty());
}

TEST_F(DatasetWAF, FlagWithoutASetReportsTheObjectErrorAndKeepsFallbacks) {
    dataset.setWAF(nullptr, qOK);
    EXPECT_TRUE(qOK && dataset.WAF());

    EXPECT_EQ(dataset.getWAFNumberWells(), 0);
    int32_t iType = 77;
    qOK = false;
    dataset.getWAFWellType(1, iType, qOK);
    EXPECT_TRUE(qOK && iType == 77);
    getData(1);
    EXPECT_TRUE(qOK && n == -7);
    EXPECT_EQ(reports(), (std::vector<std::string>{objectError("getWAFNumberWells"), objectError("getWAFWellType"),
                                                   objectError("getWAFWellData")}));

    // The reverse mapping asks for the WAF well's name, which reports; the result stays -1.
    errorReporter().clearRecentMessages();
    EXPECT_EQ(dataset.getSLWellFromWAFWell(1), -1);
    EXPECT_EQ(reports(), std::vector<std::string>{objectError("getWAFWellName")});
}

TEST_F(DatasetWAF, AttachedSetAnswersUntilTheFlagDrops) {
    dataset.setWAF(fiveSpotWafSet(), qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ((std::vector<int32_t>{dataset.getWAFNumberWells(), dataset.getWAFNumberProducers(),
                                    dataset.getWAFWellNumber("p3")}),
              (std::vector<int32_t>{5, 4, 4}));
    EXPECT_EQ(dataset.getWAFWellName(1), "I1");

    int32_t iType = 77;
    dataset.getWAFWellType(9, iType, qOK);  // the set refuses, the dataset still says True
    EXPECT_TRUE(qOK && iType == -1);

    Array<std::string> zNames;
    dataset.getWAFProducerWellNames(zNames, n, qOK);
    EXPECT_EQ(values(zNames, n), (std::vector<std::string>{"P1", "P2", "P3", "P4"}));
    dataset.getWAFInjectorWellNames(zNames, n, qOK);
    EXPECT_EQ(values(zNames, n), std::vector<std::string>{"I1"});

    float water = 0, efficiency = 0;
    dataset.getWAFWellEfficiencyData(1, water, efficiency, qOK);
    EXPECT_FLOAT_EQ(water, 900);
    EXPECT_FLOAT_EQ(efficiency, 0.9f);

    dataset.WAF(false);
    EXPECT_EQ(dataset.getWAFNumberWells(), 0);
    EXPECT_EQ(dataset.getWAFWellName(1), "");
    EXPECT_TRUE(reports().empty());
}

TEST_F(DatasetWAF, WellsMapByNameBothWaysAndRatePartnersOnceStreamlinesExist) {
    dataset.setWellNames(list<std::string>({"P2", "I1", "p1", "P4"}), 4, qOK);
    ASSERT_TRUE(qOK);
    dataset.setWAF(fiveSpotWafSet(), qOK);
    // "p1" is upper-cased by the set's lookup, but the dataset's lookup never finds it; P3 is no
    // dataset well.
    std::vector<int32_t> toWAF, fromWAF;
    for (int32_t iWell = 0; iWell <= 5; ++iWell) {
        toWAF.push_back(dataset.getWAFWellFromSLWell(iWell));
        fromWAF.push_back(dataset.getSLWellFromWAFWell(iWell));
    }
    EXPECT_EQ(toWAF, (std::vector<int32_t>{-1, 3, 1, 2, 5, -1}));
    EXPECT_EQ(fromWAF, (std::vector<int32_t>{-1, 2, -1, 1, -1, 4}));

    getData(1);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(values(iWells, n), (std::vector<int32_t>{2, 3, 4, 5}));  // no streamlines yet
    dataset.setStreamLinePointers(Array<int32_t>(1, 8, 1, 2), 8, 1, qOK);
    ASSERT_GT(dataset.NumberStreamlines(), 0);
    getData(1);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(values(iWells, n), (std::vector<int32_t>{-1, 1, -1, 4}));
    EXPECT_EQ(zWells(2), "P2");  // names stay the set's
    EXPECT_FLOAT_EQ(sRate(4), 400);

    // The query by name passes the set's numbers through unmapped, and its rates by position.
    dataset.getWAFWellNameData("I1", sRate, n, otherRate, totalRate, iWells, zWells, qOK);
    EXPECT_EQ((std::vector<float>{static_cast<float>(iWells(2)), otherRate, totalRate}),
              (std::vector<float>{3, 5, 1005}));

    // A refused well maps nothing, even with stale arrays and counts.
    iWells = list<int32_t>({5});
    n = 3;
    getData(9);
    EXPECT_FALSE(qOK || iWells(1) != 5);
    EXPECT_TRUE(reports().empty());
}

}  // namespace
}  // namespace tkstream63
