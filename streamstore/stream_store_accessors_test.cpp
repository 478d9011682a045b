// Per-dataset accessors: the index check, the fallbacks, the empty spare slot and the forwards.
#include <functional>

#include "streamstore/stream_store_test_support.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63::store_test {
namespace {

using Strings = std::vector<std::string>;
using testing_support::values;

std::shared_ptr<rvWAFSet> wafSetWithWells(const Strings& names) {
    auto set = std::make_shared<rvWAFSet>();
    bool qOK = false;
    set->setWellNames(textArray(names), static_cast<int32_t>(names.size()), qOK);
    EXPECT_TRUE(qOK);
    return set;
}

// Accessors of every shape (result, fetched argument, qOK, property let, internal dataset
// member), called with throw-away outputs.
struct Outputs {
    Array<std::string> names;
    Array<int32_t> numbers;
    std::string text;
    int32_t n = 0, x = 0, y = 0, z = 0;
    bool q = false;
};
using Member = std::pair<std::string, std::function<void(rvStreamStore&, int32_t, Outputs&)>>;

std::vector<Member> sampleMembers() {
    const Array<int32_t> wells = longArray({1});
    return {
        {"DSGetWellList", [](auto& s, auto i, auto& o) { s.DSGetWellList(i, o.names, o.n, o.q); }},
        {"DSGetDataSetAttribute",
         [](auto& s, auto i, auto& o) { s.DSGetDataSetAttribute(i, 1, o.text); }},
        {"DSNumberWells", [](auto& s, auto i, auto&) { s.DSNumberWells(i); }},
        {"DSWAFWellName", [](auto& s, auto i, auto&) { s.DSWAFWellName(i, 1); }},
        {"DSGetGridDimension",
         [](auto& s, auto i, auto& o) { s.DSGetGridDimension(i, o.x, o.y, o.z, o.q); }},
        {"DSOrigin", [](auto& s, auto i, auto& o) { s.DSOrigin(i, o.text); }},
        {"DSSetFileType", [](auto& s, auto i, auto& o) { s.DSSetFileType(i, 3, o.q); }},
        {"SetDSFileName", [](auto& s, auto i, auto&) { s.SetDSFileName(i, "f"); }},
        {"DSsetFileName", [](auto& s, auto i, auto&) { s.DSsetFileName(i, "f"); }},
        {"GetDataSetDate", [](auto& s, auto i, auto&) { s.GetDataSetDate(i); }},
        {"DSListOfWellNames",
         [=](auto& s, auto i, auto& o) { s.DSListOfWellNames(i, wells, 1, o.names, o.q); }},
        {"GetAllPointers", [](auto& s, auto i, auto& o) { s.GetAllPointers(i, o.numbers); }},
        {"IsDirty", [](auto& s, auto i, auto&) { s.IsDirty(i, true); }},
        {"NumberStreamlines", [](auto& s, auto i, auto&) { s.NumberStreamlines(i); }},
        {"MissedSL", [](auto& s, auto i, auto&) { s.MissedSL(i); }},
        {"WAFWellListSet", [](auto& s, auto i, auto&) { s.WAFWellListSet(i, true); }},
        {"GetDefinedWAFWellNames",
         [](auto& s, auto i, auto& o) { s.GetDefinedWAFWellNames(i, o.names, o.n, o.q); }},
    };
}

TEST_F(StoreTest, EveryAccessorReportsAnEmptySpareSlotUnderItsOwnName) {
    store.AddItemAuto(makeDataSet("A"));
    ASSERT_FALSE(item(2));
    Outputs outputs;
    for (const auto& [name, call] : sampleMembers()) {
        errorReporter().clearRecentMessages();
        call(store, 2, outputs);
        EXPECT_EQ(reports(), Strings{"Error:Object variable or With block variable not set (No.91) In "
                                     "[rvStreamStore (Code) (" + name + ")] "});
        // Bad numbers are quiet.
        errorReporter().clearRecentMessages();
        call(store, 0, outputs);
        call(store, 3, outputs);
        EXPECT_TRUE(reports().empty()) << name;
    }
    EXPECT_EQ(store.UnitDataSource(2), 0);
    EXPECT_TRUE(reports().empty());
}

TEST_F(StoreTest, BadNumbersGiveFallbacksAndTheSpareNumberReachesTheFreshSpareDataSet) {
    fill({"A", "B"});
    for (const int32_t bad : {0, -1, 4}) {
        std::string text = "keep";
        int32_t number = 99;
        EXPECT_FALSE(store.DSOrigin(bad, text) || store.DSDataIndex(bad, number) ||
                     store.DSGetDataSetAttribute(bad, 1, text) || store.Initialised(bad));
        EXPECT_EQ(text, "keep");
        EXPECT_EQ(number, 99);
        EXPECT_EQ(store.DSNumberWells(bad), 0) << "not the -1 of a dataset without wells";
        EXPECT_EQ(store.DSWellName(bad, 1), "");

        float limits[6] = {9, 9, 9, 9, 9, 9};
        bool qOK = true, typeSet = true;
        store.DSGetLimits(bad, limits[0], limits[1], limits[2], limits[3], limits[4], limits[5], qOK);
        Array<std::string> names = textArray({"keep"});
        store.DSGetWellList(bad, names, number, qOK);
        store.SetDSFileName(bad, "changed");
        store.DSSetFileType(bad, 5, typeSet);
        EXPECT_FALSE(qOK || typeSet || limits[5] != 9.0f || names(1) != "keep");
    }
    for (int32_t i = 1; i <= 3; ++i)
        EXPECT_EQ(std::make_pair(item(i)->FileName(), item(i)->FileType()), std::make_pair(std::string(), 0));
    EXPECT_TRUE(reports().empty());

    std::string origin = "keep";
    EXPECT_TRUE(store.DSOrigin(3, origin) && origin.empty());
    EXPECT_EQ(store.DSNumberWells(3), -1) << "a fresh dataset has no well table yet";
    EXPECT_TRUE(store.Initialised(3) && store.AllData(3) && store.LoadEverySL(3) == 1);
    bool qOK = false;
    store.DSSetFileType(3, 7, qOK);
    EXPECT_TRUE(qOK && item(3)->FileType() == 7);
    EXPECT_EQ(store.NumberOfStreamSets(), 2);
}

// A forward to the wrong dataset member is the fault to catch: every field gets its own value.
TEST_F(StoreTest, ForwardsReachTheirOwnMemberOfTheNumberedDataSet) {
    fill({"A", "B"});
    const auto target = item(2);
    target->TVGroupName("TREE");
    target->GroupName("GROUP");
    target->SourceType("SIM");
    target->DataClass("CLASS");
    target->UniqueKey("KEY");
    target->DataRootPath("ROOT");
    target->Formatted(true);
    target->MissedSL(true);
    target->LoadEverySL(4);
    target->index(11);
    target->iStart(12);
    target->iEnd(13);
    bool qOK = false;
    store.SetDSFileName(2, "one.dat");
    EXPECT_EQ(target->FileName(), "one.dat");
    store.DSsetFileName(2, "two.dat");
    store.DSSetFileType(2, 4, qOK);
    store.DSSetWAFType(2, 5, qOK);
    EXPECT_TRUE(qOK && target->WAFType() == 5);
    store.IsDirty(2, true);
    store.DSUseWellList(2, true);
    store.DSSetLimits(2, 1, 2, 3, 4, 5, 6, qOK);
    target->setGridDimension(4, 5, 6, qOK);

    Strings fetched(6);
    int32_t numbers[2] = {};
    EXPECT_TRUE(store.DSOrigin(2, fetched[0]) && store.DSGroupName(2, fetched[1]) &&
                store.DSTVGroupName(2, fetched[2]) && store.DSSourceType(2, fetched[3]) &&
                store.DSDataClass(2, fetched[4]) && store.DSDateStamp(2, fetched[5]) &&
                store.DSDataIndex(2, numbers[0]) && store.DSFileType(2, numbers[1]));
    const Strings properties = {store.Origin(2), store.GroupName(2), store.SourceType(2), store.UniqueKey(2),
                                store.DataRootPath(2), store.GetDataRootPath(2), store.FileName(2),
                                store.GetFileName(2), store.DateStamp(2), store.GetDataSetDate(2)};
    fetched.insert(fetched.end(), properties.begin(), properties.end());
    EXPECT_EQ(fetched, (Strings{"B", "GROUP", "TREE", "SIM", "CLASS", "01/01/2024", "B", "GROUP", "SIM", "KEY",
                                "ROOT", "ROOT", "two.dat", "two.dat", "01/01/2024", "01/01/2024"}));
    float l[6];
    int32_t n[3];
    store.DSGetLimits(2, l[0], l[1], l[2], l[3], l[4], l[5], qOK);
    store.DSGetGridDimension(2, n[0], n[1], n[2], qOK);
    EXPECT_EQ((std::vector<float>{l[0], l[1], l[2], l[3], l[4], l[5]}), (std::vector<float>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ((std::vector<int32_t>{numbers[0], numbers[1], store.index(2), store.iStart(2), store.iEnd(2),
                                    store.FileType(2), store.LoadEverySL(2), n[0], n[1], n[2]}),
              (std::vector<int32_t>{11, 4, 11, 12, 13, 4, 4, 4, 5, 6}));
    EXPECT_TRUE(store.Formatted(2) && store.IsDirty(2) && store.DSUseWellList(2) && store.MissedSL(2));
    EXPECT_FALSE(store.Unified(2) || store.WAF(2));
    EXPECT_FALSE(store.DSGetDataSetAttribute(2, 5, fetched[0])) << "the dataset's own answer";
    EXPECT_EQ(fetched[0], "Unknown");

    // Dataset 1 saw none of it; UnitDataSource stands for nothing.
    EXPECT_FALSE(store.IsDirty(1) || !store.FileName(1).empty());
    store.UnitDataSource(1, 9);
    EXPECT_EQ(store.UnitDataSource(1), 0);
}

// The well table and the attached WAF set's wells, each list member with its own answer.
TEST_F(StoreTest, WellForwardsKeepTheirPublishedOrderAndTheWAFWellListLivesInTheAttachedSet) {
    fill({"A", "B"});
    const auto target = item(1);
    bool qOK = false;
    target->setWellNames(textArray({"P1", "I1"}), 2, qOK);
    EXPECT_EQ((std::vector<int32_t>{store.DSNumberWells(1), store.DSWellNumber(1, "i1")}),
              (std::vector<int32_t>{2, 2}));
    EXPECT_EQ(store.DSWellName(1, 2), "I1");
    Array<int32_t> numbers(1, 2);
    store.DSListOfWellNumbers(1, textArray({"I1", "X"}), 2, numbers, qOK);
    EXPECT_EQ(values(numbers), (std::vector<int32_t>{2, -1}));
    Array<std::string> names;
    int32_t n = 0;
    store.DSSetWellList(1, textArray({"I1"}), qOK);
    store.DSGetWellList(1, names, n, qOK);
    EXPECT_EQ(values(names, n), Strings{"I1"});
    store.DSGetWellListNumbers(1, numbers, n, qOK);
    EXPECT_EQ(values(numbers, n), std::vector<int32_t>{2});

    // Both list-of-names members answer from the WAF set.
    target->setWAF(wafSetWithWells({"W1", "W2", "W3"}), qOK);
    Array<std::string> plain, waf;
    store.DSListOfWellNames(1, longArray({3, 1}), 2, plain, qOK);
    store.DSWAFListOfWellNames(1, longArray({3, 1}), 2, waf, qOK);
    EXPECT_EQ(values(plain), (Strings{"W3", "W1"}));
    EXPECT_EQ(values(waf), values(plain));
    EXPECT_EQ((std::vector<int32_t>{store.DSWAFNumberWells(1), store.DSWAFWellNumber(1, "W2")}),
              (std::vector<int32_t>{3, 2}));
    EXPECT_EQ(store.DSWAFWellName(1, 3), "W3");
    store.DSWAFWellNames(1, waf, n, qOK);
    EXPECT_EQ(values(waf, n), (Strings{"W1", "W2", "W3"}));
    store.DSWAFListOfWellNumbers(1, textArray({"W3", "P1"}), 2, numbers, qOK);
    EXPECT_EQ(values(numbers), (std::vector<int32_t>{3, -1}));
    EXPECT_TRUE(store.WAF(1));

    // The WAF well list lives in the attached set.
    const auto definedNames = [&] {
        store.GetDefinedWAFWellNames(1, names, n, qOK);
        EXPECT_TRUE(qOK);
        return values(names, n);
    };
    store.InitWAFWellListByName(1, textArray({"W3", "W1", "nope"}), 3, qOK);
    EXPECT_TRUE(qOK && store.WAFWellListSet(1));
    store.getWAFWellList(1, names, n, qOK);
    EXPECT_TRUE(qOK && values(names, n) == (Strings{"W1", "W3"}));
    EXPECT_EQ(definedNames(), (Strings{"W1", "W3"}));
    EXPECT_EQ(store.DSNumberDefinedWAFWells(1), 2);

    // Switching the flag off lets every defined well count again; an empty list switches it off too.
    store.WAFWellListSet(1, false);
    EXPECT_EQ(definedNames(), (Strings{"W1", "W2", "W3"}));
    store.WAFWellListSet(1, true);
    store.InitWAFWellListByName(1, Array<std::string>(), 0, qOK);
    EXPECT_TRUE(qOK && !store.WAFWellListSet(1));

    // Without a WAF set nothing happens and nothing is reported.
    store.InitWAFWellListByName(2, textArray({"W1"}), 1, qOK);
    EXPECT_FALSE(qOK || store.WAFWellListSet(2));
    store.getWAFWellList(2, names, n, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_TRUE(reports().empty());

    // The WAF flag without a set is the object error, reported by the dataset.
    item(2)->WAF(true);
    store.WAFWellListSet(2, true);
    EXPECT_FALSE(store.WAFWellListSet(2));
    store.InitWAFWellListByName(2, textArray({"W1"}), 1, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_TRUE(anyReportContains("(No.91) In [rvStreamSet (Code) (rvStreamSet.WAFWellListSet)] "));
    EXPECT_TRUE(anyReportContains("(No.91) In [rvStreamSet (Code) (rvStreamSet.InitWAFWellListByName)] "));
}

TEST_F(StoreTest, OriginsByFileTypeAreDistinctInOrderOfFirstAppearance) {
    store.CheckDataSetNames(false);
    fill({"A", "B", "A", "a", "C"});
    for (int32_t i = 1; i <= 4; ++i) item(i)->FileType(1);
    item(5)->FileType(2);
    Array<std::string> origins;
    bool qOK = false;
    store.GetOriginsByFileType(1, origins, qOK);
    EXPECT_TRUE(qOK && values(origins) == (Strings{"A", "B", "a"}));
    store.GetOriginsByFileType(2, origins, qOK);
    EXPECT_EQ(values(origins), Strings{"C"});
    store.GetOriginsByFileType(3, origins, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(values(origins), Strings(5)) << "the array keeps one empty element per dataset";

    store.ReInitialise();
    store.GetOriginsByFileType(0, origins, qOK);
    EXPECT_FALSE(qOK || !reports().empty());
}

}  // namespace
}  // namespace tkstream63::store_test
