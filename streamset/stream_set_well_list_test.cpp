#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/shared_objects.hpp"
#include "common/test_support.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {
namespace {

using testing_support::lastReport;
using testing_support::values;
using Names = std::vector<std::string>;

Array<std::string> texts(std::initializer_list<std::string> names, int32_t lower = 1) {
    return testing_support::list(names, lower);
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
        return values(list, n);
    }
    // The caller's array as the member left it: the names handed out, or untouched when none were.
    Names names() {
        Array<std::string> list = texts({"untouched"});
        int32_t n = 0;
        set.GetWellList(list, n, qOK);
        return n == 0 ? values(list) : values(list, n);
    }

    rvStreamSet set;
    bool qOK = false;
};

TEST(WellListState, NewDatasetAndHandSetFlag) {
    rvStreamSet set;
    EXPECT_FALSE(set.WellListSet() || set.UseWellList());
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
    EXPECT_EQ(values(names, n), Names{""});
}

TEST_F(WellList, ResolvesInWellOrderAndAlwaysAnswersFalse) {
    qOK = true;
    set.SetWellList(texts({"P2", "p1"}), qOK);
    EXPECT_FALSE(qOK);
    EXPECT_TRUE(set.WellListSet());
    EXPECT_EQ(numbers(), (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(names(), (Names{"P2", "p1"}));  // kept as given

    // Unknown and repeated names leave trailing zeros; the count is the number of names.
    set.SetWellList(texts({"I1", "NOPE", "I1"}), qOK);
    EXPECT_EQ(numbers(), (std::vector<int32_t>{3, 0, 0}));

    // One empty name clears the list; what was resolved before is no longer handed out.
    set.SetWellList(texts({""}), qOK);
    EXPECT_FALSE(qOK || set.WellListSet());
    EXPECT_EQ(names(), Names{"untouched"});
    EXPECT_TRUE(qOK);
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
    set.setWellDefined(testing_support::list({true, false, true}), 3, qOK);
    set.SetWellList(texts({"P1"}), qOK);
    bool qDefined = false;
    set.GetWellDefinedAndInList(3, qDefined, qOK);  // I1 is not listed, yet passes
    EXPECT_TRUE(qOK && qDefined);
    set.GetWellDefinedAndInList(2, qDefined, qOK);
    EXPECT_TRUE(qOK && !qDefined);
    qDefined = true;
    set.GetWellDefinedAndInList(4, qDefined, qOK);
    EXPECT_FALSE(qOK || qDefined);
}

}  // namespace
}  // namespace tkstream63
