// Construction defaults, attribute properties, attribute codes, and grid dimensions and limits.

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
    EXPECT_TRUE(set.Initialised() && set.AllData() && set.qAttributesFlag());
    EXPECT_FALSE(set.WAF() || set.IsDirty() || set.Unified() || set.Formatted() || set.UseWellList());
    EXPECT_EQ((std::vector<int32_t>{set.WAFType(), set.NumberWells(), set.MaximumNumberWells(),
                                    set.NumberProducers(), set.NumberInjectors(), set.MaxRows(),
                                    set.MaxZones(), set.NumberStreamlines(), set.iAttributesCount()}),
              (std::vector<int32_t>{2, -1, -1, -1, -1, 0, 0, 0, 1}));
    // No connection tables: none to read, and setting the producers from them changes nothing.
    Array<int32_t> sources;
    int32_t nSources = 5;
    bool qOK = true;
    set.getProducerConnections(1, sources, nSources, qOK);
    EXPECT_FALSE(qOK || nSources != 0);
    set.setProducers(qOK);
    EXPECT_TRUE(qOK && set.NumberProducers() == -1);
}

TEST(StreamSetAttributes, UpperCaseCopiesFollowPropertiesButNotAttributeCodes) {
    rvStreamSet set;
    set.Origin("abc");
    set.GroupName("Grüne");
    set.TVDisplayRoot("root");
    // Codes 1, 19 and 24 store only the plain field; code 55 reads the copy but cannot write it.
    setAttribute(set, 1, "xyz");
    setAttribute(set, 19, "other");
    setAttribute(set, 24, "elsewhere");
    setAttribute(set, 55, "changed");
    EXPECT_EQ((std::vector<std::string>{set.Origin(), set.UCaseOrigin(), set.GroupName(),
                                        set.UCaseGroupName(), set.TVDisplayRoot(),
                                        set.UCaseTVDisplayRoot(), getAttribute(set, 55)}),
              (std::vector<std::string>{"xyz", "ABC", "other", "GRÜNE", "elsewhere", "ROOT", "ROOT"}));

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
    set.iEnd(2147483647);
    EXPECT_EQ((std::vector<std::string>{getAttribute(set, 7), getAttribute(set, 10)}),
              (std::vector<std::string>{"-12", "2147483647"}));

    // Each code gets its own value, so a code wired to the wrong field shows.
    const auto text = [](int32_t code) {
        return code == 12 || code == 22 ? "True" : code == 13 ? "False" : std::to_string(100 + code);
    };
    const int32_t codes[] = {1, 2, 3, 4, 6, 7, 8, 9, 10, 12, 13, 16, 18, 19, 20, 21, 22, 23, 24, 25, 40};
    rvStreamSet copy;
    for (const int32_t code : codes) setAttribute(copy, code, text(code));
    for (const int32_t code : codes) setAttribute(set, code, getAttribute(copy, code));
    for (const int32_t code : codes) EXPECT_EQ(getAttribute(set, code), text(code)) << code;
    EXPECT_EQ((std::vector<std::string>{set.Origin(), set.FileName(), set.SourceType(), set.DateStamp(),
                                        set.DataClass(), set.TVGroupName(), set.GroupName(),
                                        set.DataRootPath(), set.UniqueKey(), set.TVDisplayRoot()}),
              (std::vector<std::string>{"101", "102", "103", "104", "106", "118", "119", "120", "121", "124"}));
    EXPECT_EQ((std::vector<int32_t>{set.Units(), set.index(), set.iStart(), set.iEnd(), set.FileType(),
                                    set.MaxRows()}),
              (std::vector<int32_t>{107, 108, 109, 110, 123, 125}));
    EXPECT_TRUE(set.Unified() && !set.Formatted() && set.IsDirty());
    EXPECT_EQ(set.SimulationTime(), 140.0f);
}

TEST(StreamSetAttributes, UnconvertibleTextKeepsTheOldValueAndIsReported) {
    rvStreamSet set;
    set.Units(5);
    for (const auto& [text, error] : {std::pair{"abc", "Type mismatch (No.13)"}, {"3000000000", "Overflow (No.6)"}}) {
        setAttribute(set, 7, text);
        EXPECT_EQ(set.Units(), 5);
        EXPECT_EQ(lastReport(), std::string("Error:") + error + " In [rvStreamSet (Code) (rvDataSet.SetDataSetAttribute)] ");
    }
    set.Formatted(true);
    setAttribute(set, 13, "maybe");
    EXPECT_TRUE(set.Formatted());
}

TEST(StreamSetAttributes, IndexFromTVKEYComparesWithTheDatasetsOwnKey) {
    rvStreamSet set;
    set.TreeViewKey("K");
    std::string key = "K", lower = "k", header = "X";
    EXPECT_EQ(set.IndexFromTVKEY(key), 0);  // no headers yet
    const Array<std::string> headers = testing_support::list<std::string>({"X", "Y", "K"});
    bool qOK = false;
    set.setHeaders(headers, headers, 3, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ((std::vector<int32_t>{set.IndexFromTVKEY(key), set.IndexFromTVKEY(lower), set.IndexFromTVKEY(header)}),
              (std::vector<int32_t>{1, 0, 0}));
}

TEST(StreamSetGrid, ValuesAreStoredUncheckedAndGridSetOnlyFollowsTheDimensions) {
    rvStreamSet set;
    int32_t nx = 9, ny = 9, nz = 9;
    bool qOK = false;
    set.getGridDimension(nx, ny, nz, qOK);
    EXPECT_TRUE(qOK && nx + ny + nz == 0);
    set.setLimits(10, 1, -2, -3, 4, 5, qOK);
    EXPECT_FALSE(set.GridSet());
    set.setGridDimension(0, -1, 5, qOK);
    EXPECT_TRUE(set.GridSet());
    set.getGridDimension(nx, ny, nz, qOK);
    EXPECT_EQ((std::vector<int32_t>{nx, ny, nz}), (std::vector<int32_t>{0, -1, 5}));
    // A minimum above its maximum is kept as given.
    float tofMin = 0, tofMax = 0;
    set.setTOFLimits(7, 3, qOK);
    set.getTOFLimits(tofMin, tofMax, qOK);
    EXPECT_TRUE(qOK && tofMin == 7 && tofMax == 3);
}

}  // namespace
}  // namespace tkstream63
