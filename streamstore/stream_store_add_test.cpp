// Adding: the sameness tests, the duplicate-name dialog and its standing answers, renaming.
#include "streamstore/stream_store_test_support.hpp"

namespace tkstream63::store_test {
namespace {

using Strings = std::vector<std::string>;

TEST_F(StoreTest, ClashAsksWithTheSixButtonsAndTheNameInTheMessage) {
    store.AddItem(makeDataSet("BASE"));
    store.AddItem(makeDataSet("BASE"));
    ASSERT_EQ(questionsAsked(), 1u);
    const auto& question = dialog->questions().front();
    EXPECT_EQ(question.message, "BASE [FIELD]\r\n\r\n Name currently in use.");
    EXPECT_EQ(question.buttons, (Strings{"&Overwrite all", "&Rename all", "&Cancel all",
                                         "&Overwrite", "&Rename", "&Cancel"}));
    EXPECT_EQ(question.style, 32);
    EXPECT_EQ(question.title, "Duplicate Name");
}

TEST_F(StoreTest, CancelClosedOrNonsenseAnswersDropTheNewDataSetAndChangeNothing) {
    fill({"A", "BASE"});
    for (const int32_t choice : {6, 0, 7, -1, 1000}) {
        answer({choice});
        store.AddItem(makeDataSet("BASE"));
        EXPECT_EQ(store.NumberOfStreamSets(), 2) << choice;
        EXPECT_EQ(store.AddedDataSetPos(), 2) << choice;
        EXPECT_FALSE(store.OverWrittenDataSet()) << choice;
        EXPECT_FALSE(store.AutomaticOverWrite() || store.AutomaticRename() ||
                     store.AutomaticCancel());
    }
    EXPECT_EQ(questionsAsked(), 5u);
    EXPECT_TRUE(reports().empty());
}

TEST_F(StoreTest, OverwriteReplacesTheLowestSameDataSet) {
    store.CheckDataSetNames(false);
    fill({"A", "B", "BASE", "BASE"});
    store.CheckDataSetNames(true);
    answer({4});
    const auto newer = makeDataSet("base");
    store.AddItem(newer);
    EXPECT_EQ(store.AddedDataSetPos(), 3);
    EXPECT_TRUE(store.OverWrittenDataSet());
    EXPECT_EQ(store.NumberOfStreamSets(), 4);
    EXPECT_EQ(item(3), newer);
    EXPECT_FALSE(store.AutomaticOverWrite()) << "\"&Overwrite\" is not a standing answer";

    // An append afterwards says so again.
    fill({"C"});
    EXPECT_FALSE(store.OverWrittenDataSet());
    EXPECT_EQ(store.AddedDataSetPos(), 5);
}

TEST_F(StoreTest, AnswersEndingInAllBecomeStandingAnswers) {
    fill({"BASE"});
    answer({1});
    store.AddItem(makeDataSet("BASE"));
    EXPECT_TRUE(store.AutomaticOverWrite());
    store.AddItem(makeDataSet("BASE"));
    EXPECT_EQ(questionsAsked(), 1u);
    EXPECT_EQ(store.NumberOfStreamSets(), 1);

    store.ReInitialise();
    fill({"BASE"});
    answer({3});
    store.AddItem(makeDataSet("BASE"));
    EXPECT_TRUE(store.AutomaticCancel());
    store.AddItem(makeDataSet("BASE"));
    EXPECT_EQ(questionsAsked(), 2u);
    EXPECT_EQ(store.NumberOfStreamSets(), 1);
    fill({"OTHER"});
    EXPECT_EQ(store.NumberOfStreamSets(), 2) << "a standing cancel drops only clashes";
}

TEST_F(StoreTest, OverwriteIsTestedBeforeRenameAndCancel) {
    fill({"BASE"});
    store.AutomaticCancel(true);
    store.AutomaticRename(true);
    store.AutomaticOverWrite(true);
    const auto newer = makeDataSet("BASE");
    store.AddItem(newer);
    EXPECT_EQ(item(1), newer);
    store.AutomaticOverWrite(false);
    store.AddItem(makeDataSet("BASE"));
    EXPECT_EQ(origins(), (Strings{"BASE", "BASE1"}));
    EXPECT_EQ(questionsAsked(), 0u);
}

TEST_F(StoreTest, RenameAllSuffixesTheNewDataSetAndItsKeys) {
    store.RootKey("Root");
    store.MainKey("Main");
    fill({"Run"});
    answer({2});
    const auto second = makeDataSet("Run");
    second->UniqueKey("KEY");
    second->TVDisplayRoot("Display");
    store.AddItem(second);
    EXPECT_TRUE(store.AutomaticRename());
    EXPECT_EQ(second->Origin(), "Run1");
    EXPECT_EQ(second->UCaseOrigin(), "RUN1");
    EXPECT_EQ(second->UniqueKey(), "KEY1");
    EXPECT_EQ(second->TVDisplayRoot(), "Display1");
    EXPECT_EQ(second->DataRootPath(),
              keyUtility().JoinKey(keyUtility().JoinKey(store.FolderKey(), "KEY1"), "FIELD"));
    EXPECT_EQ(store.AddedDataSetPos(), 2);
    EXPECT_FALSE(store.OverWrittenDataSet());

    // A third copy is renamed without asking, past the suffix already in use.
    const auto third = makeDataSet("Run");
    store.AddItem(third);
    EXPECT_EQ(questionsAsked(), 1u);
    EXPECT_EQ(origins(), (Strings{"Run", "Run1", "Run2"}));
    EXPECT_EQ(item(4)->Origin(), "") << "the spare slot holds a fresh dataset after an append";
}

TEST_F(StoreTest, RenameThatFindsNoGroupClashAppendsTheDataSetUnchanged) {
    // Same by date, origin and tree group, but in another group: nothing to rename.
    fill({"BASE"});
    answer({5});
    store.AddItem(makeDataSet("BASE", "OTHER GROUP"));
    EXPECT_EQ(origins(), (Strings{"BASE", "BASE"}));
    EXPECT_FALSE(store.AutomaticRename());
}

TEST_F(StoreTest, SamenessIgnoresCaseAndBlanksExceptForTheTreeGroup) {
    store.AddItem(makeDataSet("BASE", "FIELD", "01/01/2024", "Runs"));
    int32_t found = 0;
    bool qOK = false;
    store.CheckPreviouslyLoaded(makeDataSet(" base ", "ANY", " 01/01/2024", "Runs"), found, qOK);
    EXPECT_EQ(found, 1);
    EXPECT_TRUE(qOK);
    store.CheckPreviouslyLoaded(makeDataSet("BASE", "FIELD", "01/01/2024", "runs"), found, qOK);
    EXPECT_EQ(found, -1) << "the tree group compares exactly";
    EXPECT_TRUE(qOK);
    store.CheckPreviouslyLoaded(makeDataSet("BASE", "FIELD", "02/01/2024", "Runs"), found, qOK);
    EXPECT_EQ(found, -1);

    // The clash test for renaming looks at the group instead of the date and tree group.
    const auto clash = makeDataSet("base", "field", "another day", "elsewhere");
    store.CheckPreviouslyLoaded2(clash, found, qOK);
    EXPECT_EQ(found, 1);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(clash->Origin(), "base1");
    const auto noClash = makeDataSet("BASE", "OTHER");
    store.CheckPreviouslyLoaded2(noClash, found, qOK);
    EXPECT_EQ(found, -1);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(noClash->Origin(), "BASE");
}

TEST_F(StoreTest, SwitchingNameChecksOffAppendsEverythingAndRenamesOnce) {
    store.CheckDataSetNames(false);
    store.AddItem(makeDataSet("BASE"));
    store.AddItem(makeDataSet("BASE"));
    EXPECT_EQ(origins(), (Strings{"BASE", "BASE"}));
    EXPECT_EQ(questionsAsked(), 0u);

    int32_t found = 0;
    bool qOK = true;
    store.CheckPreviouslyLoaded(makeDataSet("BASE"), found, qOK);
    EXPECT_EQ(found, -1);
    EXPECT_FALSE(qOK);

    const auto renamed = makeDataSet("BASE");
    store.CheckPreviouslyLoaded2(renamed, found, qOK);
    EXPECT_EQ(found, 1);
    EXPECT_FALSE(qOK) << "the check inside the loop answers False, so one rename is all";
    EXPECT_EQ(renamed->Origin(), "BASE1");
}

TEST_F(StoreTest, TheSpareSlotIsNeverComparedAgainst) {
    // An empty dataset looks exactly like the fresh spare, yet it is appended without a question.
    store.AddItem(std::make_shared<rvStreamSet>());
    EXPECT_EQ(store.NumberOfStreamSets(), 1);
    EXPECT_EQ(questionsAsked(), 0u);
    store.AddItem(std::make_shared<rvStreamSet>());
    EXPECT_EQ(questionsAsked(), 1u) << "the first one is stored now";
}

TEST_F(StoreTest, AddDataSetNeverWritesItsFlagAndRefusesAnEmptyReference) {
    for (const bool initial : {true, false}) {
        bool qOK = initial;
        store.AddDataSet(makeDataSet(initial ? "A" : "B"), qOK);
        EXPECT_EQ(qOK, initial);
    }
    bool qOK = true;
    store.AddDataSet(nullptr, qOK);
    EXPECT_TRUE(
        anyReportContains("Error:Object variable or With block variable not set (No.91) In "
                 "[rvStreamStore (Code) (AddItem)] "));
    EXPECT_TRUE(qOK);
    EXPECT_EQ(store.NumberOfStreamSets(), 2);

    int32_t found = 0;
    store.CheckPreviouslyLoaded(nullptr, found, qOK);
    EXPECT_EQ(found, -1);
    EXPECT_FALSE(qOK);
    EXPECT_TRUE(anyReportContains("(No.91) In [rvStreamStore (Code) (CheckPreviouslyLoaded)] "));
}

}  // namespace
}  // namespace tkstream63::store_test
