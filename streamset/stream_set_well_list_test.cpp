#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/shared_objects.hpp"
#include "common/test_support.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {
namespace {

using testing_support::lastReport;

Array<std::string> texts(std::initializer_list<std::string> values, int32_t lower = 1) {
    return testing_support::list(values, lower);
}

class WellList : public ::testing::Test {
protected:
    void SetUp() override {
        set.setWellNames(texts({"P1", "P2", "I1"}), 3, qOK);
        ASSERT_TRUE(qOK);
    }

    std::vector<int32_t> numbers() {
        Array<int32_t> list;
        int32_t n = 0;
        set.GetWellListNumbers(list, n, qOK);
        std::vector<int32_t> result;
        for (int32_t i = 1; i <= n; ++i) result.push_back(list(i));
        return result;
    }

    rvStreamSet set;
    bool qOK = false;
};

TEST(WellListState, NewDatasetAndHandSetFlag) {
    rvStreamSet set;
    EXPECT_FALSE(set.WellListSet());
    EXPECT_FALSE(set.UseWellList());
    Array<int32_t> numbers;
    int32_t n = 9;
    bool qOK = false;
    set.GetWellListNumbers(numbers, n, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(n, 0);
    // Setting the flag by hand exposes the stored one-element list as it is.
    set.WellListSet(true);
    Array<std::string> names;
    set.GetWellList(names, n, qOK);
    EXPECT_EQ(n, 1);
    EXPECT_EQ(names(1), "");
    set.UseWellList(true);
    EXPECT_TRUE(set.UseWellList());
}

TEST_F(WellList, ResolvesInWellOrderAndAlwaysAnswersFalse) {
    qOK = true;
    set.SetWellList(texts({"P2", "p1"}), qOK);
    EXPECT_FALSE(qOK);
    EXPECT_TRUE(set.WellListSet());
    EXPECT_EQ(numbers(), (std::vector<int32_t>{1, 2}));
    Array<std::string> names;
    int32_t n = 0;
    set.GetWellList(names, n, qOK);
    EXPECT_EQ(n, 2);
    EXPECT_EQ(names(2), "p1");  // kept as given

    // Unknown and repeated names leave trailing zeros; the count is the number of names.
    set.SetWellList(texts({"I1", "NOPE", "I1"}), qOK);
    EXPECT_EQ(numbers(), (std::vector<int32_t>{3, 0, 0}));

    // One empty name clears the list; what was resolved before is no longer handed out.
    set.SetWellList(texts({""}), qOK);
    EXPECT_FALSE(qOK);
    EXPECT_FALSE(set.WellListSet());
    names = texts({"untouched"});
    set.GetWellList(names, n, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(names(1), "untouched");
}

TEST_F(WellList, ListWithoutElementOneIsReported) {
    errorReporter().clearRecentMessages();
    set.SetWellList(texts({"P1", "P2"}, 2), qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(),
              "Error:Subscript out of range (No.9) In [rvStreamSet (Code) "
              "(rvStreamSet.SetWellList)] ");
}

TEST_F(WellList, DefinedAndInListChecksOwnWellNames) {
    Array<bool> defined(1, 3);
    defined(1) = true;
    defined(2) = false;
    defined(3) = true;
    set.setWellDefined(defined, 3, qOK);
    set.SetWellList(texts({"P1"}), qOK);
    bool qDefined = false;
    set.GetWellDefinedAndInList(3, qDefined, qOK);  // I1 is not listed, yet passes
    EXPECT_TRUE(qOK);
    EXPECT_TRUE(qDefined);
    set.GetWellDefinedAndInList(2, qDefined, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_FALSE(qDefined);
    qDefined = true;
    set.GetWellDefinedAndInList(4, qDefined, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_FALSE(qDefined);
}

}  // namespace
}  // namespace tkstream63
