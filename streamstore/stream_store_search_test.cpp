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
using Conditions = std::vector<std::pair<int32_t, std::string>>;

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
    void condition(const Conditions& conditions) {
        for (const auto& [code, value] : conditions) {
            bool qOK = false;
            store.SearchAddAttribute(code, value, qOK);
            ASSERT_TRUE(qOK) << code;
        }
    }
    // Runs the search; iStart and qForward change nothing.
    bool search() {
        bool qOK = false;
        store.SearchCreatePointers(qOK, 4, false);
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

// Each search starts from SearchClear. Origin and source type alone (fewer than three conditions)
// take the fast case with flag 0; anything else the general case with flag -1. Values match the
// whole text, ignoring case.
TEST_F(SearchTest, ConditionsCandidatesAndExitAfterOne) {
    struct Case {
        Conditions conditions;
        std::vector<int32_t> candidates;  // none: every dataset
        bool exitAfter1;
        bool found;
        Hits hits;
    };
    const Case cases[] = {
        {{{kOrigin, "base"}}, {}, false, true, {{1, 0}, {3, 0}, {5, 0}}},
        {{{kOrigin, "base"}, {kSourceType, "sim"}}, {}, false, true, {{1, 0}, {5, 0}}},
        {{{kOrigin, "BASE"}, {kDataClass, "grid"}}, {}, false, true, {{1, -1}, {3, -1}, {5, -1}}},
        {{{kOrigin, "BASE"}, {kSourceType, "SIM"}, {kUnits, "2"}}, {}, false, true, {{5, -1}}},
        {{{kOrigin, "BAS"}}, {}, false, false, {}},  // the pre-filter leaves nothing
        // A code without an attribute passes every dataset; code 14 answers "Unknown".
        {{{-3, "whatever"}, {14, "UNKNOWN"}}, {}, false, true,
         {{1, -1}, {2, -1}, {3, -1}, {4, -1}, {5, -1}}},
        // The first hit in candidate order; numbers outside the store are skipped, silently.
        {{{kDataClass, "GRID"}}, {4, 5, 1}, true, true, {{5, -1}}},
        {{{kDataClass, "GRID"}, {kOrigin, "BASE"}}, {0, 6, 3, -4, 99, 1}, false, true,
         {{3, -1}, {1, -1}}},
        {{{kDataClass, "GRID"}}, {0, 6, 2}, false, true, {{2, -1}}},  // no pre-filter
        {{{kOrigin, "base"}}, {5, 3, 1}, true, true, {{5, 0}}},      // the fast case stops at once
    };
    for (const Case& c : cases) {
        store.SearchClear();
        if (!c.candidates.empty()) candidates(c.candidates);
        if (c.exitAfter1) store.SearchExitAfter1(true);
        condition(c.conditions);
        EXPECT_EQ(search(), c.found) << c.conditions.front().second;
        EXPECT_EQ(hits(), c.hits) << c.conditions.front().second;
    }
    EXPECT_TRUE(reports().empty());

    // An Origin changed through its attribute code leaves the upper-case copy the pre-filter reads;
    // the general case then compares the Origin itself.
    std::string renamed = "NEW";
    item(5)->SetDataSetAttribute(kOrigin, renamed);
    for (const auto& [conditions, expected] : {std::pair{Conditions{{kOrigin, "base"}}, Hits{{1, 0}, {3, 0}, {5, 0}}},
                                               {Conditions{{kOrigin, "base"}, {kDataClass, "GRID"}}, Hits{{1, -1}, {3, -1}}}}) {
        store.SearchClear();
        condition(conditions);
        ASSERT_TRUE(search());
        EXPECT_EQ(hits(), expected);
    }

    // SearchClear switches the early exit off again; an empty candidate list means every dataset.
    store.SearchExitAfter1(true);
    store.SearchClear();
    candidates({});
    condition({{kOrigin, "BASE"}});
    ASSERT_TRUE(search());
    EXPECT_EQ(hits().size(), 3u);
}

TEST_F(SearchTest, FailedOrRefusedSearchesKeepThePreviousState) {
    EXPECT_FALSE(search()) << "no conditions";
    bool qOK = true;
    store.SearchAddAttribute(15, "x", qOK);
    EXPECT_FALSE(qOK);
    EXPECT_FALSE(search()) << "the refused code added no condition";

    condition({{kSourceType, "FILE"}});
    ASSERT_TRUE(search());
    condition({{kSourceType, "NONE"}});
    EXPECT_FALSE(search());
    EXPECT_EQ(hits(), (Hits{{3, 0}}));

    // No hits: the caller's array is left as it was.
    store.SearchClear();
    condition({{kUnits, "99"}});
    ASSERT_TRUE(search());
    Array<int32_t> results(1, 2, 1, 1);
    results(1, 1) = 77;
    int32_t n = -1;
    store.SearchPointers(results, n, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(results(1, 1), 77);

    // A candidate list that does not hold element 1 is refused and the previous list stays.
    store.SearchClear();
    candidates({2});
    store.SearchDataSets(longArray({3}, 2), qOK);
    EXPECT_FALSE(qOK);
    EXPECT_TRUE(anyReportContains("(No.9) In [rvStreamStore (Code) (SearchDataSets)] "));
    condition({{kSourceType, "SIM"}});
    ASSERT_TRUE(search());
    EXPECT_EQ(hits(), (Hits{{2, 0}}));

    store.ReInitialise();
    condition({{kDataClass, "GRID"}});
    EXPECT_FALSE(search()) << "an empty store finds nothing";
}

}  // namespace
}  // namespace tkstream63::store_test
