// The dataset list: spare slot, fetching and replacing, deleting, keys and re-initialising.
#include "streamstore/stream_store_test_support.hpp"

namespace tkstream63::store_test {
namespace {

using Strings = std::vector<std::string>;

TEST_F(StoreTest, NewStoreHasOnlyAFreshSpareDataSet) {
    EXPECT_EQ(store.NumberOfStreamSets(), 0);
    EXPECT_TRUE(store.CheckDataSetNames());
    EXPECT_FALSE(store.AutomaticOverWrite() || store.AutomaticRename() || store.AutomaticCancel() ||
                 store.OverWrittenDataSet());
    std::shared_ptr<rvStreamSet> spare;
    EXPECT_TRUE(store.GetItem(1, spare));
    ASSERT_TRUE(spare);
    EXPECT_EQ(spare->Origin(), "");
}

TEST_F(StoreTest, BadNumbersFailGetItemButGetDataSetStillAnswersTrue) {
    fill({"A", "B"});
    const auto sentinel = makeDataSet("SENTINEL");
    for (const int32_t bad : {0, -1, 4}) {
        std::shared_ptr<rvStreamSet> fetched = sentinel;
        EXPECT_FALSE(store.GetItem(bad, fetched)) << bad;
        EXPECT_EQ(fetched, sentinel);
        EXPECT_TRUE(store.GetDataSet(bad, fetched)) << bad;
        EXPECT_EQ(fetched, sentinel);
    }
    // The same object is handed out, not a copy.
    std::shared_ptr<rvStreamSet> first;
    EXPECT_TRUE(store.GetDataSet(1, first));
    first->Origin("CHANGED");
    EXPECT_EQ(item(1)->Origin(), "CHANGED");
    EXPECT_TRUE(reports().empty());
}

TEST_F(StoreTest, SpareSlotIsFreshOrEmptyDependingOnTheLastOperation) {
    fill({"A"});
    EXPECT_TRUE(item(2)) << "an append by AddItem leaves a fresh spare";

    store.AddItemAuto(makeDataSet("B"));
    std::shared_ptr<rvStreamSet> spare = makeDataSet("SENTINEL");
    EXPECT_TRUE(store.GetItem(3, spare));
    EXPECT_FALSE(spare) << "AddItemAuto leaves the spare slot empty";

    fill({"C"});
    EXPECT_TRUE(item(4));

    store.DeleteItems(longArray({3}));
    EXPECT_EQ(origins(), (Strings{"B"}));
    EXPECT_FALSE(item(2)) << "DeleteItems leaves the spare slot empty";

    store.DeleteItem(1);
    EXPECT_EQ(store.NumberOfStreamSets(), 0);
    EXPECT_FALSE(item(1)) << "deleting the last dataset leaves slot 1 empty";

    store.ReInitialise();
    EXPECT_TRUE(item(1));
}

TEST_F(StoreTest, SetItemReplacesWithinTheListAndTheSpareSlot) {
    fill({"A", "B"});
    const auto replacement = makeDataSet("R");
    EXPECT_TRUE(store.SetItem(3, replacement));
    EXPECT_EQ(store.NumberOfStreamSets(), 2) << "writing the spare slot does not grow the list";
    EXPECT_EQ(store.AddedDataSetPos(), 3);
    EXPECT_TRUE(store.OverWrittenDataSet());
    EXPECT_EQ(item(3), replacement);

    EXPECT_TRUE(store.SetItem(1, replacement));
    EXPECT_EQ(origins(), (Strings{"R", "B"}));

    EXPECT_FALSE(store.SetItem(0, replacement));
    EXPECT_FALSE(store.SetItem(4, replacement));
    EXPECT_EQ(store.AddedDataSetPos(), 1);

    // An empty reference is refused with the object error and changes nothing.
    EXPECT_FALSE(store.SetItem(2, nullptr));
    EXPECT_TRUE(anyReportContains("(No.91) In [rvStreamStore (Code) (SetItem)] "));
    EXPECT_EQ(origins(), (Strings{"R", "B"}));
}

TEST_F(StoreTest, DeleteItemRenumbersTheSurvivors) {
    fill({"A", "B", "C", "D"});
    store.DeleteItem(2);
    EXPECT_EQ(origins(), (Strings{"A", "C", "D"}));
    ASSERT_TRUE(item(4)) << "the rebuild appends through AddItem, so the spare is fresh";
    EXPECT_EQ(item(4)->Origin(), "");
    EXPECT_EQ(store.AddedDataSetPos(), 3);

    // Bad numbers change nothing.
    store.DeleteItem(0);
    store.DeleteItem(5);
    EXPECT_EQ(origins(), (Strings{"A", "C", "D"}));
    EXPECT_TRUE(reports().empty());
}

TEST_F(StoreTest, DeleteItemOfTheSpareSlotOverrunsUnlessOneDataSetIsLeft) {
    fill({"A", "B", "C"});
    store.DeleteItem(4);
    EXPECT_TRUE(
        anyReportContains("Error:Subscript out of range (No.9) In [rvStreamStore (Code) (DeleteItem)] "));
    EXPECT_EQ(origins(), (Strings{"A", "B", "C"}));
    EXPECT_TRUE(item(4));

    // With one dataset the spare number empties the store like number 1 does.
    store.ReInitialise();
    fill({"A"});
    store.DeleteItem(2);
    EXPECT_EQ(store.NumberOfStreamSets(), 0);
    EXPECT_FALSE(item(1));
}

TEST_F(StoreTest, DeleteItemSendsSurvivorsThroughTheDuplicateDecisionAgain) {
    store.CheckDataSetNames(false);
    fill({"A", "B", "A"});
    store.CheckDataSetNames(true);
    answer({6});  // "&Cancel" for the second A
    store.DeleteItem(2);
    EXPECT_EQ(questionsAsked(), 1u);
    EXPECT_EQ(origins(), (Strings{"A"}));

    // A standing answer settles the rebuild without asking.
    store.CheckDataSetNames(false);
    fill({"B", "A"});
    store.CheckDataSetNames(true);
    store.AutomaticRename(true);
    store.DeleteItem(2);
    EXPECT_EQ(questionsAsked(), 1u);
    EXPECT_EQ(origins(), (Strings{"A", "A1"}));
}

TEST_F(StoreTest, DeleteItemsAlwaysDropsTheFirstDataSet) {
    const Strings five = {"D1", "D2", "D3", "D4", "D5"};
    struct Case {
        Array<int32_t> list;
        Strings expected;
    };
    const std::vector<Case> cases = {
        {longArray({3}), {"D2", "D4", "D5"}},
        {Array<int32_t>(), {"D2", "D3", "D4", "D5"}},
        {longArray({42, -7}), {"D2", "D3", "D4", "D5"}},
        {longArray({1}), {"D2", "D3", "D4", "D5"}},
        {longArray({5, 2}), {"D3", "D4"}},
        // Element 0 lies outside the scanned range 1 .. upper bound.
        {longArray({3, 4}, 0), {"D2", "D3", "D5"}},
    };
    for (const auto& c : cases) {
        store.ReInitialise();
        fill(five);
        store.DeleteItems(c.list);
        EXPECT_EQ(origins(), c.expected);
        EXPECT_FALSE(item(store.NumberOfStreamSets() + 1));
        EXPECT_EQ(store.AddedDataSetPos(), 5) << "DeleteItems leaves the add results alone";
    }
    EXPECT_TRUE(reports().empty());
}

TEST_F(StoreTest, DeleteItemsEmptiesTheStoreWhenNothingSurvives) {
    fill({"D1", "D2", "D3"});
    store.DeleteItems(longArray({2, 3}));
    EXPECT_EQ(store.NumberOfStreamSets(), 0);
    EXPECT_FALSE(item(1));

    // A single dataset goes whatever the list says.
    fill({"D1"});
    store.DeleteItems(longArray({99}));
    EXPECT_EQ(store.NumberOfStreamSets(), 0);
}

TEST_F(StoreTest, DeleteItemsWithAListThatLacksElementOneIsReported) {
    fill({"D1", "D2", "D3"});
    store.DeleteItems(longArray({2}, 2));
    EXPECT_TRUE(anyReportContains("(No.9) In [rvStreamStore (Code) (DeleteItem)] "));
    EXPECT_EQ(origins(), (Strings{"D1", "D2", "D3"}));
}

TEST_F(StoreTest, FolderKeyFollowsBothKeysInEitherWritingOrder) {
    store.RootKey("Root");
    store.MainKey("Main");
    const std::string rootFirst = store.FolderKey();
    EXPECT_EQ(rootFirst, keyUtility().JoinKey("Root", "Main", true));

    rvStreamStore other;
    other.MainKey("Main");
    other.RootKey("Root");
    EXPECT_EQ(other.FolderKey(), rootFirst);
}

TEST_F(StoreTest, ReInitialiseResetsTheListAndOptionsButKeepsKeysAndLastPosition) {
    store.RootKey("Root");
    fill({"A", "B"});
    store.AutomaticOverWrite(true);
    store.AutomaticRename(true);
    store.AutomaticCancel(true);
    store.CheckDataSetNames(false);
    store.SetItem(1, makeDataSet("X"));

    store.ReInitialise();
    EXPECT_EQ(store.NumberOfStreamSets(), 0);
    EXPECT_FALSE(store.AutomaticOverWrite() || store.AutomaticRename() || store.AutomaticCancel() ||
                 store.OverWrittenDataSet());
    EXPECT_TRUE(store.CheckDataSetNames());
    EXPECT_EQ(store.AddedDataSetPos(), 1);
    EXPECT_EQ(store.RootKey(), "Root");
}

TEST_F(StoreTest, AddItemAutoRenamesAClashWithoutAskingAndLeavesOptionsAlone) {
    const auto first = makeDataSet("BASE");
    store.AddItemAuto(first);
    const auto second = makeDataSet("base ", "field", "another date", "other tree group");
    store.AddItemAuto(second);
    EXPECT_EQ(questionsAsked(), 0u);
    EXPECT_EQ(origins(), (Strings{"BASE", "base 1"}));
    EXPECT_EQ(store.AddedDataSetPos(), 2);
    EXPECT_FALSE(store.OverWrittenDataSet());
    EXPECT_FALSE(store.AutomaticRename());

    store.AddItemAuto(nullptr);
    EXPECT_TRUE(anyReportContains("(No.91) In [rvStreamStore (Code) (AddItemAuto)] "));
    EXPECT_EQ(store.NumberOfStreamSets(), 2);
}

}  // namespace
}  // namespace tkstream63::store_test
