// Construction defaults, attribute properties, attribute codes, and grid dimensions and limits.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/shared_objects.hpp"
#include "common/test_support.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {
namespace {

using testing_support::lastReport;

std::string getAttribute(rvStreamSet& set, int32_t code, bool* found = nullptr) {
    std::string text = "untouched";
    const bool result = set.GetDataSetAttribute(code, text);
    if (found != nullptr) *found = result;
    return text;
}

void setAttribute(rvStreamSet& set, int32_t code, std::string text) {
    set.SetDataSetAttribute(code, text);
}

TEST(StreamSetAttributes, NewDatasetHasItsDefaults) {
    rvStreamSet set;
    EXPECT_TRUE(set.Initialised());
    EXPECT_TRUE(set.AllData());
    EXPECT_EQ(set.WAFType(), 2);
    EXPECT_FALSE(set.WAF());
    EXPECT_EQ(set.NumberWells(), -1);
    EXPECT_EQ(set.MaximumNumberWells(), -1);
    EXPECT_EQ(set.NumberProducers(), -1);
    EXPECT_EQ(set.NumberInjectors(), -1);
    EXPECT_EQ(set.MaxRows(), 0);
    EXPECT_EQ(set.MaxZones(), 0);
    EXPECT_EQ(set.NumberStreamlines(), 0);
    EXPECT_EQ(set.Origin(), "");
    EXPECT_FALSE(set.IsDirty() || set.Unified() || set.Formatted() || set.UseWellList());
    EXPECT_TRUE(set.qAttributesFlag());
    EXPECT_EQ(set.iAttributesCount(), 1);
}

TEST(StreamSetAttributes, UpperCaseCopiesFollowPropertiesButNotAttributeCodes) {
    rvStreamSet set;
    set.Origin("abc");
    set.GroupName("Grüne");
    set.TVDisplayRoot("root");
    EXPECT_EQ(set.UCaseOrigin(), "ABC");
    EXPECT_EQ(set.UCaseGroupName(), "GRÜNE");
    EXPECT_EQ(set.UCaseTVDisplayRoot(), "ROOT");
    set.TVGroupName("tv");  // has no copy to refresh

    // Codes 1, 19 and 24 store only the plain field.
    setAttribute(set, 1, "xyz");
    setAttribute(set, 19, "other");
    setAttribute(set, 24, "elsewhere");
    EXPECT_EQ(set.Origin(), "xyz");
    EXPECT_EQ(set.UCaseOrigin(), "ABC");
    EXPECT_EQ(set.GroupName(), "other");
    EXPECT_EQ(set.UCaseGroupName(), "GRÜNE");
    EXPECT_EQ(set.TVDisplayRoot(), "elsewhere");
    EXPECT_EQ(set.UCaseTVDisplayRoot(), "ROOT");

    // Code 55 reads the copy but cannot write it.
    EXPECT_EQ(getAttribute(set, 55), "ROOT");
    setAttribute(set, 55, "changed");
    EXPECT_EQ(set.UCaseTVDisplayRoot(), "ROOT");
}

TEST(StreamSetAttributes, MaxZonesIgnoresValuesBelowOne) {
    rvStreamSet set;
    set.MaxZones(7);
    set.MaxZones(0);
    set.MaxZones(-3);
    EXPECT_EQ(set.MaxZones(), 7);
}

TEST(StreamSetAttributes, CodesWithoutAttributeAnswerUnknown) {
    rvStreamSet set;
    bool found = false;
    EXPECT_EQ(getAttribute(set, 14, &found), "Unknown");
    EXPECT_TRUE(found);  // the one code answering True
    for (const int32_t code : {0, -1, 5, 11, 15, 17, 26, 32, 39, 41, 42, 54, 56, 1000}) {
        found = true;
        EXPECT_EQ(getAttribute(set, code, &found), "Unknown") << code;
        EXPECT_FALSE(found) << code;
    }
    // Setting such a code changes nothing and reports nothing.
    errorReporter().clearRecentMessages();
    for (const int32_t code : {14, 5, 56, -1}) setAttribute(set, code, "abc");
    EXPECT_EQ(lastReport(), "");
    EXPECT_EQ(set.Origin(), "");
}

TEST(StreamSetAttributes, EveryCodeReadsBackWhatItWrites) {
    rvStreamSet set;
    set.Units(-12);
    set.index(3);
    set.iStart(4);
    set.iEnd(2147483647);
    set.Unified(true);
    set.IsDirty(true);
    set.FileType(9);
    set.FileName("Feld ä.dat");
    set.DataClass("class");
    set.UniqueKey("u1");
    setAttribute(set, 40, "0.1");
    EXPECT_EQ(getAttribute(set, 7), "-12");
    EXPECT_EQ(getAttribute(set, 10), "2147483647");
    EXPECT_EQ(getAttribute(set, 12), "True");
    EXPECT_EQ(getAttribute(set, 13), "False");
    EXPECT_EQ(getAttribute(set, 40), "0.1");
    EXPECT_FLOAT_EQ(set.SimulationTime(), 0.1f);

    // Codes 16 and 25 reach the streamline table's counts.
    setAttribute(set, 16, "8");
    setAttribute(set, 25, "12");
    EXPECT_EQ(set.MaxRows(), 12);
    EXPECT_EQ(getAttribute(set, 16), "8");

    const int32_t codes[] = {1, 2, 3, 4, 6, 7, 8, 9, 10, 12, 13, 16, 18,
                             19, 20, 21, 22, 23, 24, 25, 40, 55};
    for (const int32_t code : codes) setAttribute(set, code, getAttribute(set, code));
    rvStreamSet copy;
    for (const int32_t code : codes) setAttribute(copy, code, getAttribute(set, code));
    for (const int32_t code : codes) EXPECT_EQ(getAttribute(copy, code), getAttribute(set, code));
}

TEST(StreamSetAttributes, UnconvertibleTextKeepsTheOldValueAndIsReported) {
    rvStreamSet set;
    set.Units(5);
    setAttribute(set, 7, "abc");
    EXPECT_EQ(set.Units(), 5);
    EXPECT_EQ(lastReport(), "Error:Type mismatch (No.13) In [rvStreamSet (Code) "
                            "(rvDataSet.SetDataSetAttribute)] ");
    setAttribute(set, 7, "3000000000");
    EXPECT_EQ(set.Units(), 5);
    EXPECT_EQ(lastReport(),
              "Error:Overflow (No.6) In [rvStreamSet (Code) (rvDataSet.SetDataSetAttribute)] ");
    set.Formatted(true);
    setAttribute(set, 13, "maybe");
    EXPECT_TRUE(set.Formatted());
}

TEST(StreamSetAttributes, IndexFromTVKEYComparesWithTheDatasetsOwnKey) {
    rvStreamSet set;
    set.TreeViewKey("K");
    std::string key = "K";
    EXPECT_EQ(set.IndexFromTVKEY(key), 0);  // no headers yet

    Array<std::string> headers(1, 3);
    headers(1) = "X";
    headers(2) = "Y";
    headers(3) = "K";
    bool qOK = false;
    set.setHeaders(headers, headers, 3, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(set.IndexFromTVKEY(key), 1);
    std::string lower = "k";
    std::string header = "X";
    EXPECT_EQ(set.IndexFromTVKEY(lower), 0);
    EXPECT_EQ(set.IndexFromTVKEY(header), 0);
}

TEST(StreamSetGrid, ValuesAreStoredUncheckedAndGridSetOnlyFollowsTheDimensions) {
    rvStreamSet set;
    int32_t nx = 9, ny = 9, nz = 9;
    bool qOK = false;
    set.getGridDimension(nx, ny, nz, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(nx + ny + nz, 0);
    EXPECT_FALSE(set.GridSet());

    set.setLimits(10, 1, -2, -3, 4, 5, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_FALSE(set.GridSet());
    float l[6] = {};
    set.getLimits(l[0], l[1], l[2], l[3], l[4], l[5], qOK);
    EXPECT_EQ(std::vector<float>(l, l + 6), (std::vector<float>{10, 1, -2, -3, 4, 5}));

    set.setGridDimension(0, -1, 5, qOK);
    EXPECT_TRUE(set.GridSet());
    set.getGridDimension(nx, ny, nz, qOK);
    EXPECT_EQ(nx, 0);
    EXPECT_EQ(ny, -1);
    EXPECT_EQ(nz, 5);

    float low = 0, high = 0;
    set.setTOFLimits(7, 3, qOK);
    set.setDRTLimits(-1, 2, qOK);
    set.getTOFLimits(low, high, qOK);
    EXPECT_EQ(low, 7);
    EXPECT_EQ(high, 3);
    set.getDRTLimits(low, high, qOK);
    EXPECT_EQ(low, -1);
    EXPECT_EQ(high, 2);
    EXPECT_TRUE(qOK);
}

}  // namespace
}  // namespace tkstream63
