// The dataset list: a new store, bad numbers, the DeleteItems quirk, reported failures, keys and
// re-initialising. Adds, replacements and deletes in general are held to the published
// procedures by the random sequences in stream_store_add_test.cpp.
#include <functional>

#include "streamstore/stream_store_test_support.hpp"

namespace tkstream63::store_test {
namespace {

using Strings = std::vector<std::string>;

TEST_F(StoreTest, NewStoreHasOnlyAFreshSpareAndBadNumbersAreRefused) {
    EXPECT_EQ(store.NumberOfStreamSets(), 0);
    EXPECT_TRUE(store.CheckDataSetNames());
    EXPECT_FALSE(store.AutomaticOverWrite() || store.AutomaticRename() || store.AutomaticCancel() ||
                 store.OverWrittenDataSet());
    ASSERT_TRUE(item(1));
    EXPECT_EQ(item(1)->Origin(), "");

    fill({"A", "B"});
    const auto sentinel = makeDataSet("SENTINEL");
    for (const int32_t bad : {0, -1, 4}) {
        std::shared_ptr<rvStreamSet> fetched = sentinel;
        EXPECT_FALSE(store.GetItem(bad, fetched)) << bad;
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

TEST_F(StoreTest, DeleteItemsAlwaysDropsTheFirstDataSet) {
    const Strings five = {"D1", "D2", "D3", "D4", "D5"};
    struct Case {
        Strings stored;
        Array<int32_t> list;
        Strings expected;
    };
    const std::vector<Case> cases = {
        {five, longArray({3}), {"D2", "D4", "D5"}},
        {five, Array<int32_t>(), {"D2", "D3", "D4", "D5"}},
        {five, longArray({1, 42, -7}), {"D2", "D3", "D4", "D5"}},
        // Element 0 lies outside the scanned range 1 .. upper bound.
        {five, longArray({3, 4}, 0), {"D2", "D3", "D5"}},
        {{"D1", "D2", "D3"}, longArray({2, 3}), {}},
    };
    for (const auto& c : cases) {
        store.ReInitialise();
        fill(c.stored);
        store.DeleteItems(c.list);
        EXPECT_EQ(origins(), c.expected);
        EXPECT_FALSE(item(store.NumberOfStreamSets() + 1)) << "the spare slot is left empty";
        EXPECT_EQ(store.AddedDataSetPos(), static_cast<int32_t>(c.stored.size()))
            << "DeleteItems leaves the add results alone";
    }
    EXPECT_TRUE(reports().empty());
}

TEST_F(StoreTest, FailuresAreReportedAndChangeNothing) {
    const std::string objectError = "Error:Object variable or With block variable not set (No.91) In ";
    const std::string subscriptError = "Error:Subscript out of range (No.9) In ";
    struct Case {
        std::function<void()> action;
        std::string report;
    };
    int32_t found = 0;
    bool qOK = true;
    const std::vector<Case> cases = {
        {[&] { EXPECT_FALSE(store.SetItem(2, nullptr)); }, objectError + "[rvStreamStore (Code) (SetItem)] "},
        // The survivors of deleting the spare number do not fit their n - 1 places.
        {[&] { store.DeleteItem(4); }, subscriptError + "[rvStreamStore (Code) (DeleteItem)] "},
        {[&] { store.DeleteItems(longArray({2}, 2)); }, subscriptError + "[rvStreamStore (Code) (DeleteItem)] "},
        {[&] { store.AddItemAuto(nullptr); }, objectError + "[rvStreamStore (Code) (AddItemAuto)] "},
        {[&] {
             store.AddDataSet(nullptr, qOK);
             EXPECT_TRUE(qOK) << "never written";
         },
         objectError + "[rvStreamStore (Code) (AddItem)] "},
        {[&] {
             store.CheckPreviouslyLoaded(nullptr, found, qOK);
             EXPECT_EQ(found, -1);
             EXPECT_FALSE(qOK);
         },
         objectError + "[rvStreamStore (Code) (CheckPreviouslyLoaded)] "},
    };
    fill({"A", "B", "C"});
    for (const auto& c : cases) {
        errorReporter().clearRecentMessages();
        c.action();
        EXPECT_EQ(reports(), Strings{c.report});
        EXPECT_EQ(origins(), (Strings{"A", "B", "C"}));
        EXPECT_TRUE(item(4)) << c.report;
    }
}

TEST_F(StoreTest, KeysAndLastPositionOutliveReInitialise) {
    store.RootKey("Root");
    store.MainKey("Main");
    EXPECT_EQ(store.FolderKey(), keyUtility().JoinKey("Root", "Main", true));
    rvStreamStore other;
    other.MainKey("Main");
    other.RootKey("Root");
    EXPECT_EQ(other.FolderKey(), store.FolderKey()) << "either writing order";

    fill({"A", "B"});
    store.SetItem(1, makeDataSet("X"));
    store.ReInitialise();
    EXPECT_EQ(store.NumberOfStreamSets(), 0);
    EXPECT_EQ(store.AddedDataSetPos(), 1);
    EXPECT_EQ(store.RootKey(), "Root");
    EXPECT_TRUE(item(1));
}

}  // namespace
}  // namespace tkstream63::store_test
