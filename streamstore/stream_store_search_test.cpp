// Searching datasets by attribute values: pre-filters, fast and general cases, candidates.
#include "streamstore/stream_store_test_support.hpp"

namespace tkstream63::store_test {
namespace {

constexpr int32_t kOrigin = 1;
constexpr int32_t kSourceType = 3;
constexpr int32_t kDataClass = 6;
constexpr int32_t kUnits = 7;

// Hits as (dataset number, flag) pairs.
using Hits = std::vector<std::pair<int32_t, int32_t>>;

class SearchTest : public StoreTest {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        store.CheckDataSetNames(false);
        add("BASE", "SIM", "GRID", 1);   // 1
        add("Other", "sim", "grid", 2);  // 2
        add("base", "FILE", "GRID", 1);  // 3
        add("BASE ", "SIM", "LOGS", 1);  // 4 (trailing blank: not the same Origin)
        add("BASE", "SIM", "GRID", 2);   // 5
        store.SearchClear();
    }
    void add(const std::string& origin, const std::string& sourceType, const std::string& dataClass,
             int32_t units) {
        auto dataSet = makeDataSet(origin);
        dataSet->SourceType(sourceType);
        dataSet->DataClass(dataClass);
        dataSet->Units(units);
        store.AddItem(dataSet);
    }
    void condition(int32_t code, const std::string& value) {
        bool qOK = false;
        store.SearchAddAttribute(code, value, qOK);
        ASSERT_TRUE(qOK) << code;
    }
    bool search() {
        bool qOK = false;
        store.SearchCreatePointers(qOK);
        return qOK;
    }
    Hits hits() {
        Array<int32_t> results;
        int32_t n = -1;
        bool qOK = false;
        store.SearchPointers(results, n, qOK);
        EXPECT_TRUE(qOK);
        Hits found;
        for (int32_t k = 1; k <= n; ++k) found.emplace_back(results(1, k), results(2, k));
        return found;
    }
    void candidates(const std::vector<int32_t>& numbers) {
        bool qOK = false;
        store.SearchDataSets(longArray(numbers), qOK);
        ASSERT_TRUE(qOK);
    }
};

TEST_F(SearchTest, OriginAndTypeAloneTakeTheFastCaseWithFlagZero) {
    condition(kOrigin, "base");
    bool qOK = false;
    store.SearchCreatePointers(qOK, 4, false);  // start and direction change nothing
    ASSERT_TRUE(qOK);
    EXPECT_EQ(hits(), (Hits{{1, 0}, {3, 0}, {5, 0}}));

    condition(kSourceType, "sim");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{1, 0}, {5, 0}}));
}

TEST_F(SearchTest, OtherCodesTakeTheGeneralCaseWithFlagMinusOne) {
    condition(kOrigin, "BASE");
    condition(kDataClass, "grid");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{1, -1}, {3, -1}, {5, -1}}));

    // A third Origin/type condition also leaves the fast case.
    store.SearchClear();
    condition(kOrigin, "BASE");
    condition(kSourceType, "SIM");
    condition(kUnits, "2");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{5, -1}}));
}

TEST_F(SearchTest, ValuesMatchWholeTextOnly) {
    condition(kOrigin, "BAS");
    EXPECT_FALSE(search()) << "the Origin pre-filter leaves nothing";

    store.SearchClear();
    condition(kDataClass, "GRI");
    EXPECT_TRUE(search()) << "the general case finds nothing but succeeds";
    EXPECT_TRUE(hits().empty());
}

TEST_F(SearchTest, FailedSearchesKeepThePreviousHits) {
    EXPECT_FALSE(search()) << "no conditions";
    EXPECT_TRUE(hits().empty());

    condition(kSourceType, "FILE");
    ASSERT_TRUE(search());
    condition(kSourceType, "NONE");  // replaces the value, one condition stays
    EXPECT_FALSE(search());
    EXPECT_EQ(hits(), (Hits{{3, 0}}));

    // No hits: the caller's array is left as it was.
    store.SearchClear();
    condition(kUnits, "99");
    ASSERT_TRUE(search());
    Array<int32_t> results(1, 2, 1, 1);
    results(1, 1) = 77;
    int32_t n = -1;
    bool qOK = false;
    store.SearchPointers(results, n, qOK);
    EXPECT_EQ(n, 0);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(results(1, 1), 77);
}

TEST_F(SearchTest, AttributeCodesAboveFourteenAreRefusedButThereIsNoLowerLimit) {
    bool qOK = true;
    store.SearchAddAttribute(15, "x", qOK);
    EXPECT_FALSE(qOK);
    EXPECT_FALSE(search()) << "the refused code added no condition";

    // A code without an attribute passes every dataset.
    condition(-3, "whatever");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits().size(), 5u);

    // Code 14 answers "Unknown" and is compared like any text.
    condition(14, "UNKNOWN");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits().size(), 5u);
    condition(14, "x");
    ASSERT_TRUE(search());
    EXPECT_TRUE(hits().empty());
}

TEST_F(SearchTest, ExitAfterOneStopsAtTheFirstHitInCandidateOrder) {
    store.SearchExitAfter1(true);
    candidates({4, 5, 1});
    condition(kDataClass, "GRID");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{5, -1}}));

    store.SearchClear();
    store.SearchExitAfter1(true);
    condition(kOrigin, "BASE");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{1, 0}}));

    // SearchClear switches it off again.
    store.SearchClear();
    condition(kOrigin, "BASE");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits().size(), 3u);
}

TEST_F(SearchTest, CandidateListSetsTheOrderAndSkipsNumbersOutsideTheStore) {
    candidates({5, 2});
    condition(kSourceType, "SIM");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{5, 0}, {2, 0}}));

    store.SearchClear();
    candidates({0, 6, 3, -4, 99, 1});
    condition(kDataClass, "GRID");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{3, -1}, {1, -1}}));
    condition(kOrigin, "BASE");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{3, -1}, {1, -1}}));
    EXPECT_TRUE(reports().empty()) << "bad candidate numbers are not reported";

    // Only numbers outside the store: the general case runs and finds nothing.
    store.SearchClear();
    candidates({7, 0});
    condition(kDataClass, "GRID");
    EXPECT_TRUE(search());
    EXPECT_TRUE(hits().empty());
    EXPECT_TRUE(reports().empty());
}

TEST_F(SearchTest, CandidateListBoundsDecideWhatIsTaken) {
    // An empty list means every dataset.
    candidates({});
    condition(kSourceType, "FILE");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{3, 0}}));

    // A list that does not hold element 1 is refused and the previous list stays.
    store.SearchClear();
    candidates({2});
    bool qOK = true;
    store.SearchDataSets(longArray({3}, 2), qOK);
    EXPECT_FALSE(qOK);
    EXPECT_TRUE(anyReportContains("(No.9) In [rvStreamStore (Code) (SearchDataSets)] "));
    condition(kSourceType, "SIM");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{2, 0}}));
}

TEST_F(SearchTest, OriginPreFilterReadsTheUpperCaseCopyAndTheGeneralCaseChecksAgain) {
    // Attribute code 1 changes Origin but not its upper-case copy.
    std::string renamed = "NEW";
    item(1)->SetDataSetAttribute(kOrigin, renamed);

    condition(kOrigin, "NEW");
    EXPECT_FALSE(search());

    store.SearchClear();
    condition(kOrigin, "BASE");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{1, 0}, {3, 0}, {5, 0}})) << "the fast case trusts the pre-filter";

    condition(kDataClass, "GRID");
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{3, -1}, {5, -1}})) << "the full test reads Origin itself";
}

TEST_F(SearchTest, EmptyStoreFindsNothing) {
    store.ReInitialise();
    condition(kDataClass, "GRID");
    EXPECT_FALSE(search());
}

}  // namespace
}  // namespace tkstream63::store_test
