// Per-dataset accessors: the index check, the fallbacks, the empty spare slot and the forwards.
#include <functional>

#include "streamstore/stream_store_test_support.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63::store_test {
namespace {

using Strings = std::vector<std::string>;

Strings toStrings(const Array<std::string>& array, int32_t n) {
    Strings result;
    for (int32_t k = 1; k <= n; ++k) result.push_back(array(k));
    return result;
}

std::shared_ptr<rvWAFSet> wafSetWithWells(const Strings& names) {
    auto set = std::make_shared<rvWAFSet>();
    bool qOK = false;
    set->setWellNames(textArray(names), static_cast<int32_t>(names.size()), qOK);
    EXPECT_TRUE(qOK);
    return set;
}

// Every member that takes a dataset number, called with throw-away outputs.
struct Outputs {
    Array<std::string> names;
    Array<int32_t> numbers;
    Array<float> values;
    std::string text;
    int32_t n = 0, x = 0, y = 0, z = 0;
    float limits[6] = {};
    bool q = false;
};
using Call = std::function<void(rvStreamStore&, int32_t, Outputs&)>;

std::vector<std::pair<std::string, Call>> allMembers() {
    const Array<std::string> someNames = textArray({"P1"});
    const Array<int32_t> someWells = longArray({1});
    return {
        {"DSSetWellList", [=](auto& s, int32_t i, auto& o) { s.DSSetWellList(i, someNames, o.q); }},
        {"DSGetWellList",
         [](auto& s, int32_t i, auto& o) { s.DSGetWellList(i, o.names, o.n, o.q); }},
        {"DSGetWellListNumbers",
         [](auto& s, int32_t i, auto& o) { s.DSGetWellListNumbers(i, o.numbers, o.n, o.q); }},
        {"DSGetDataSetAttribute",
         [](auto& s, int32_t i, auto& o) { s.DSGetDataSetAttribute(i, 1, o.text); }},
        {"DSMaximumWells", [](auto& s, int32_t i, auto&) { s.DSMaximumWells(i); }},
        {"DSNumberWells", [](auto& s, int32_t i, auto&) { s.DSNumberWells(i); }},
        {"DSWAFNumberWells", [](auto& s, int32_t i, auto&) { s.DSWAFNumberWells(i); }},
        {"DSNumberDefinedWAFWells",
         [](auto& s, int32_t i, auto&) { s.DSNumberDefinedWAFWells(i); }},
        {"DSWAFWellNumber", [](auto& s, int32_t i, auto&) { s.DSWAFWellNumber(i, "P1"); }},
        {"DSWellNumber", [](auto& s, int32_t i, auto&) { s.DSWellNumber(i, "P1"); }},
        {"DSWellName", [](auto& s, int32_t i, auto&) { s.DSWellName(i, 1); }},
        {"DSWAFWellName", [](auto& s, int32_t i, auto&) { s.DSWAFWellName(i, 1); }},
        {"DSSetLimits",
         [](auto& s, int32_t i, auto& o) { s.DSSetLimits(i, 1, 2, 3, 4, 5, 6, o.q); }},
        {"DSGetLimits",
         [](auto& s, int32_t i, auto& o) {
             auto& l = o.limits;
             s.DSGetLimits(i, l[0], l[1], l[2], l[3], l[4], l[5], o.q);
         }},
        {"DSGetGridDimension",
         [](auto& s, int32_t i, auto& o) { s.DSGetGridDimension(i, o.x, o.y, o.z, o.q); }},
        {"DSDataIndex", [](auto& s, int32_t i, auto& o) { s.DSDataIndex(i, o.n); }},
        {"DSDateStamp", [](auto& s, int32_t i, auto& o) { s.DSDateStamp(i, o.text); }},
        {"DSFileType", [](auto& s, int32_t i, auto& o) { s.DSFileType(i, o.n); }},
        {"DSGroupName", [](auto& s, int32_t i, auto& o) { s.DSGroupName(i, o.text); }},
        {"DSOrigin", [](auto& s, int32_t i, auto& o) { s.DSOrigin(i, o.text); }},
        {"DSSourceType", [](auto& s, int32_t i, auto& o) { s.DSSourceType(i, o.text); }},
        {"DSTVGroupName", [](auto& s, int32_t i, auto& o) { s.DSTVGroupName(i, o.text); }},
        {"DSDataClass", [](auto& s, int32_t i, auto& o) { s.DSDataClass(i, o.text); }},
        {"DSSetFileType", [](auto& s, int32_t i, auto& o) { s.DSSetFileType(i, 3, o.q); }},
        {"DSSetWAFType", [](auto& s, int32_t i, auto& o) { s.DSSetWAFType(i, 3, o.q); }},
        {"SetDSFileName", [](auto& s, int32_t i, auto&) { s.SetDSFileName(i, "f"); }},
        {"DSsetFileName", [](auto& s, int32_t i, auto&) { s.DSsetFileName(i, "f"); }},
        {"GetDataRootPath", [](auto& s, int32_t i, auto&) { s.GetDataRootPath(i); }},
        {"GetDataSetDate", [](auto& s, int32_t i, auto&) { s.GetDataSetDate(i); }},
        {"GetFileName", [](auto& s, int32_t i, auto&) { s.GetFileName(i); }},
        {"DSWellNames", [](auto& s, int32_t i, auto& o) { s.DSWellNames(i, o.names, o.n, o.q); }},
        {"DSWAFWellNames",
         [](auto& s, int32_t i, auto& o) { s.DSWAFWellNames(i, o.names, o.n, o.q); }},
        {"DSWAFListOfWellNumbers",
         [=](auto& s, int32_t i, auto& o) {
             s.DSWAFListOfWellNumbers(i, someNames, 1, o.numbers, o.q);
         }},
        {"DSListOfWellNumbers",
         [=](auto& s, int32_t i, auto& o) {
             s.DSListOfWellNumbers(i, someNames, 1, o.numbers, o.q);
         }},
        {"DSWAFListOfWellNames",
         [=](auto& s, int32_t i, auto& o) {
             s.DSWAFListOfWellNames(i, someWells, 1, o.names, o.q);
         }},
        {"DSListOfWellNames",
         [=](auto& s, int32_t i, auto& o) { s.DSListOfWellNames(i, someWells, 1, o.names, o.q); }},
        {"DSGetSingleStreamlineData",
         [](auto& s, int32_t i, auto& o) {
             s.DSGetSingleStreamlineData(i, 1, o.values, o.x, o.n, o.q);
         }},
        {"GetAllPointers", [](auto& s, int32_t i, auto& o) { s.GetAllPointers(i, o.numbers); }},
        {"DSUseWellList", [](auto& s, int32_t i, auto&) { s.DSUseWellList(i); }},
        {"DSUseWellList", [](auto& s, int32_t i, auto&) { s.DSUseWellList(i, true); }},
        {"DataRootPath", [](auto& s, int32_t i, auto&) { s.DataRootPath(i); }},
        {"DateStamp", [](auto& s, int32_t i, auto&) { s.DateStamp(i); }},
        {"FileName", [](auto& s, int32_t i, auto&) { s.FileName(i); }},
        {"FileType", [](auto& s, int32_t i, auto&) { s.FileType(i); }},
        {"Formatted", [](auto& s, int32_t i, auto&) { s.Formatted(i); }},
        {"GroupName", [](auto& s, int32_t i, auto&) { s.GroupName(i); }},
        {"iEnd", [](auto& s, int32_t i, auto&) { s.iEnd(i); }},
        {"iStart", [](auto& s, int32_t i, auto&) { s.iStart(i); }},
        {"index", [](auto& s, int32_t i, auto&) { s.index(i); }},
        {"Initialised", [](auto& s, int32_t i, auto&) { s.Initialised(i); }},
        {"IsDirty", [](auto& s, int32_t i, auto&) { s.IsDirty(i); }},
        {"IsDirty", [](auto& s, int32_t i, auto&) { s.IsDirty(i, true); }},
        {"MaxRows", [](auto& s, int32_t i, auto&) { s.MaxRows(i); }},
        {"NumCols", [](auto& s, int32_t i, auto&) { s.NumCols(i); }},
        {"NumberStreamlines", [](auto& s, int32_t i, auto&) { s.NumberStreamlines(i); }},
        {"Origin", [](auto& s, int32_t i, auto&) { s.Origin(i); }},
        {"SourceType", [](auto& s, int32_t i, auto&) { s.SourceType(i); }},
        {"UniqueKey", [](auto& s, int32_t i, auto&) { s.UniqueKey(i); }},
        {"Unified", [](auto& s, int32_t i, auto&) { s.Unified(i); }},
        {"AllData", [](auto& s, int32_t i, auto&) { s.AllData(i); }},
        {"WAF", [](auto& s, int32_t i, auto&) { s.WAF(i); }},
        {"Units", [](auto& s, int32_t i, auto&) { s.Units(i); }},
        {"MissedSL", [](auto& s, int32_t i, auto&) { s.MissedSL(i); }},
        {"LoadEverySL", [](auto& s, int32_t i, auto&) { s.LoadEverySL(i); }},
        {"WAFWellListSet", [](auto& s, int32_t i, auto&) { s.WAFWellListSet(i); }},
        {"WAFWellListSet", [](auto& s, int32_t i, auto&) { s.WAFWellListSet(i, true); }},
        {"InitWAFWellListByName",
         [=](auto& s, int32_t i, auto& o) { s.InitWAFWellListByName(i, someNames, 1, o.q); }},
        {"getWAFWellList",
         [](auto& s, int32_t i, auto& o) { s.getWAFWellList(i, o.names, o.n, o.q); }},
        {"GetDefinedWAFWellNames",
         [](auto& s, int32_t i, auto& o) { s.GetDefinedWAFWellNames(i, o.names, o.n, o.q); }},
    };
}

TEST_F(StoreTest, EveryAccessorReportsAnEmptySpareSlotUnderItsOwnName) {
    store.AddItemAuto(makeDataSet("A"));
    ASSERT_FALSE(item(2));
    Outputs outputs;
    for (const auto& [name, call] : allMembers()) {
        errorReporter().clearRecentMessages();
        call(store, 2, outputs);
        const auto texts = reports();
        ASSERT_EQ(texts.size(), 1u) << name;
        EXPECT_EQ(texts.front(),
                  "Error:Object variable or With block variable not set (No.91) In "
                  "[rvStreamStore (Code) (" +
                      name + ")] ");
        // Bad numbers are quiet.
        errorReporter().clearRecentMessages();
        call(store, 0, outputs);
        call(store, 3, outputs);
        EXPECT_TRUE(reports().empty()) << name;
    }
    EXPECT_EQ(store.UnitDataSource(2), 0);
    EXPECT_TRUE(reports().empty());
}

TEST_F(StoreTest, TheSpareNumberReachesTheFreshSpareDataSet) {
    fill({"A"});
    std::string origin = "keep";
    EXPECT_TRUE(store.DSOrigin(2, origin));
    EXPECT_EQ(origin, "");
    EXPECT_EQ(store.DSNumberWells(2), -1) << "a fresh dataset has no well table yet";
    EXPECT_TRUE(store.Initialised(2));
    EXPECT_TRUE(store.AllData(2));
    EXPECT_EQ(store.LoadEverySL(2), 1);
    bool qOK = false;
    store.DSSetFileType(2, 7, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(item(2)->FileType(), 7);
    EXPECT_EQ(store.NumberOfStreamSets(), 1);
}

TEST_F(StoreTest, BadNumbersGiveFallbacksAndLeaveOutputsAlone) {
    fill({"A", "B"});
    item(1)->FileName("kept");
    for (const int32_t bad : {0, -1, 4}) {
        std::string text = "keep";
        int32_t number = 99;
        bool qOK = true;
        EXPECT_FALSE(store.DSOrigin(bad, text));
        EXPECT_FALSE(store.DSDataIndex(bad, number));
        EXPECT_FALSE(store.DSGetDataSetAttribute(bad, 1, text));
        EXPECT_EQ(text, "keep");
        EXPECT_EQ(number, 99);
        EXPECT_EQ(store.DSNumberWells(bad), 0);
        EXPECT_EQ(store.DSMaximumWells(bad), 0);
        EXPECT_EQ(store.DSWellName(bad, 1), "");
        EXPECT_EQ(store.GetFileName(bad), "");
        EXPECT_FALSE(store.Initialised(bad));

        float limits[6] = {9, 9, 9, 9, 9, 9};
        store.DSGetLimits(bad, limits[0], limits[1], limits[2], limits[3], limits[4], limits[5],
                          qOK);
        EXPECT_FALSE(qOK);
        EXPECT_EQ(limits[5], 9.0f);
        Array<std::string> names = textArray({"keep"});
        qOK = true;
        store.DSGetWellList(bad, names, number, qOK);
        EXPECT_FALSE(qOK);
        EXPECT_EQ(number, 99);
        EXPECT_EQ(names(1), "keep");

        store.SetDSFileName(bad, "changed");
        store.IsDirty(bad, true);
        store.DSSetFileType(bad, 5, qOK);
        EXPECT_FALSE(qOK);
    }
    EXPECT_EQ(item(1)->FileName(), "kept");
    EXPECT_FALSE(item(1)->IsDirty());
    EXPECT_EQ(item(1)->FileType(), 0);
    EXPECT_TRUE(reports().empty());
}

TEST_F(StoreTest, AttributeAccessorsReadAndWriteTheNumberedDataSet) {
    fill({"A", "B"});
    const auto target = item(2);
    target->SourceType("SIM");
    target->DataClass("CLASS");
    target->UniqueKey("KEY");
    target->DataRootPath("root\\path");
    target->Units(3);
    target->Formatted(true);
    target->Unified(true);
    for (auto [code, text] :
         std::vector<std::pair<int32_t, std::string>>{{8, "11"}, {9, "12"}, {10, "13"}}) {
        target->SetDataSetAttribute(code, text);
    }

    std::string text;
    int32_t number = 0;
    EXPECT_EQ(store.Origin(2), "B");
    EXPECT_TRUE(store.DSGroupName(2, text));
    EXPECT_EQ(text, "FIELD");
    EXPECT_TRUE(store.DSTVGroupName(2, text));
    EXPECT_EQ(text, "Runs");
    EXPECT_TRUE(store.DSDateStamp(2, text));
    EXPECT_EQ(text, "01/01/2024");
    EXPECT_EQ(store.GetDataSetDate(2), "01/01/2024");
    EXPECT_EQ(store.DateStamp(2), "01/01/2024");
    EXPECT_TRUE(store.DSSourceType(2, text));
    EXPECT_EQ(text, "SIM");
    EXPECT_EQ(store.SourceType(2), "SIM");
    EXPECT_TRUE(store.DSDataClass(2, text));
    EXPECT_EQ(text, "CLASS");
    EXPECT_EQ(store.UniqueKey(2), "KEY");
    EXPECT_EQ(store.DataRootPath(2), "root\\path");
    EXPECT_EQ(store.GetDataRootPath(2), "root\\path");
    EXPECT_EQ(store.GroupName(2), "FIELD");
    EXPECT_EQ(store.Units(2), 3);
    EXPECT_TRUE(store.Formatted(2));
    EXPECT_TRUE(store.Unified(2));
    EXPECT_TRUE(store.DSDataIndex(2, number));
    EXPECT_EQ(number, 11);
    EXPECT_EQ(store.index(2), 11);
    EXPECT_EQ(store.iStart(2), 12);
    EXPECT_EQ(store.iEnd(2), 13);
    EXPECT_FALSE(store.DSGetDataSetAttribute(2, 5, text)) << "the dataset's own answer comes back";
    EXPECT_EQ(text, "Unknown");
    EXPECT_TRUE(store.DSGetDataSetAttribute(2, 1, text));
    EXPECT_EQ(text, "B");

    bool qOK = false;
    store.DSSetFileType(2, 4, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_TRUE(store.DSFileType(2, number));
    EXPECT_EQ(number, 4);
    EXPECT_EQ(store.FileType(2), 4);
    store.DSSetWAFType(2, 5, qOK);
    EXPECT_EQ(target->WAFType(), 5);
    store.SetDSFileName(2, "one.dat");
    EXPECT_EQ(store.GetFileName(2), "one.dat");
    store.DSsetFileName(2, "two.dat");
    EXPECT_EQ(store.FileName(2), "two.dat");
    store.IsDirty(2, true);
    EXPECT_TRUE(store.IsDirty(2));
    store.DSUseWellList(2, true);
    EXPECT_TRUE(store.DSUseWellList(2));
    target->MissedSL(true);
    target->LoadEverySL(4);
    EXPECT_TRUE(store.MissedSL(2));
    EXPECT_EQ(store.LoadEverySL(2), 4);

    // Dataset 1 saw none of it.
    EXPECT_FALSE(store.IsDirty(1));
    EXPECT_EQ(store.FileType(1), 0);
    EXPECT_EQ(store.FileName(1), "");
    EXPECT_EQ(store.UnitDataSource(1), 0);
    store.UnitDataSource(1, 9);
    EXPECT_EQ(store.UnitDataSource(1), 0);
}

TEST_F(StoreTest, TablesPassThroughInTheirPublishedOrder) {
    fill({"A"});
    const auto target = item(1);
    bool qOK = false;
    store.DSSetLimits(1, 1, 2, 3, 4, 5, 6, qOK);
    EXPECT_TRUE(qOK);
    float x0, x1, y0, y1, z0, z1;
    store.DSGetLimits(1, x0, x1, y0, y1, z0, z1, qOK);
    EXPECT_EQ((std::vector<float>{x0, x1, y0, y1, z0, z1}), (std::vector<float>{1, 2, 3, 4, 5, 6}));
    target->setGridDimension(4, 5, 6, qOK);
    int32_t nx, ny, nz;
    store.DSGetGridDimension(1, nx, ny, nz, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ((std::vector<int32_t>{nx, ny, nz}), (std::vector<int32_t>{4, 5, 6}));

    target->setWellNames(textArray({"P1", "I1"}), 2, qOK);
    EXPECT_EQ(store.DSNumberWells(1), 2);
    EXPECT_EQ(store.DSMaximumWells(1), -1);
    EXPECT_EQ(store.DSWellNumber(1, "i1"), 2);
    EXPECT_EQ(store.DSWellName(1, 2), "I1");
    Array<std::string> names;
    int32_t n = 0;
    store.DSWellNames(1, names, n, qOK);
    EXPECT_EQ(toStrings(names, n), (Strings{"P1", "I1"}));
    Array<int32_t> numbers(1, 2);
    store.DSListOfWellNumbers(1, textArray({"I1", "X"}), 2, numbers, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(numbers(1), 2);
    EXPECT_EQ(numbers(2), -1);

    store.DSSetWellList(1, textArray({"I1"}), qOK);
    store.DSGetWellList(1, names, n, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(toStrings(names, n), (Strings{"I1"}));
    store.DSGetWellListNumbers(1, numbers, n, qOK);
    EXPECT_EQ(n, 1);
    EXPECT_EQ(numbers(1), 2);

    // One streamline of two nodes; the pointer table holds two rows per streamline.
    Array<float> nodes(1, 2, 1, 6);
    nodes(1, 1) = 10;
    nodes(2, 1) = 20;
    target->setStreamLineData(nodes, 6, 2, qOK);
    Array<int32_t> pointers(1, 8, 1, 2);
    pointers(1, 1) = 1;
    pointers(2, 1) = 2;
    target->setStreamLinePointers(pointers, 8, 1, qOK);
    EXPECT_EQ(store.NumberStreamlines(1), 1);
    EXPECT_EQ(store.MaxRows(1), 2);
    EXPECT_EQ(store.NumCols(1), 0);
    Array<float> data;
    int32_t nCols = 0;
    int32_t nnodes = 0;
    store.DSGetSingleStreamlineData(1, 1, data, nCols, nnodes, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(nCols, 8);
    EXPECT_EQ(nnodes, 2);
    EXPECT_EQ(data(2, 1), 20.0f);

    Array<int32_t> handles;
    store.GetAllPointers(1, handles);
    EXPECT_EQ(handles.ubound(1), 100);
    EXPECT_NE(handles(1), 0);
}

TEST_F(StoreTest, BothListOfWellNamesMembersAnswerFromTheWAFSet) {
    fill({"A"});
    const auto target = item(1);
    bool qOK = false;
    target->setWellNames(textArray({"P1", "P2", "P3"}), 3, qOK);
    target->setWAF(wafSetWithWells({"W1", "W2", "W3"}), qOK);

    Array<std::string> plain;
    Array<std::string> waf;
    store.DSListOfWellNames(1, longArray({3, 1}), 2, plain, qOK);
    EXPECT_TRUE(qOK);
    store.DSWAFListOfWellNames(1, longArray({3, 1}), 2, waf, qOK);
    EXPECT_EQ(toStrings(plain, 2), (Strings{"W3", "W1"}));
    EXPECT_EQ(toStrings(waf, 2), toStrings(plain, 2));

    EXPECT_EQ(store.DSWAFNumberWells(1), 3);
    EXPECT_EQ(store.DSWAFWellNumber(1, "W2"), 2);
    EXPECT_EQ(store.DSWAFWellName(1, 3), "W3");
    int32_t n = 0;
    store.DSWAFWellNames(1, waf, n, qOK);
    EXPECT_EQ(toStrings(waf, n), (Strings{"W1", "W2", "W3"}));
    Array<int32_t> numbers(1, 2);
    store.DSWAFListOfWellNumbers(1, textArray({"W3", "P1"}), 2, numbers, qOK);
    EXPECT_EQ(numbers(1), 3);
    EXPECT_EQ(numbers(2), -1);
    EXPECT_TRUE(store.WAF(1));
}

TEST_F(StoreTest, WAFWellListLivesInTheAttachedSet) {
    fill({"A", "B"});
    bool qOK = false;
    item(1)->setWAF(wafSetWithWells({"W1", "W2", "W3"}), qOK);

    store.InitWAFWellListByName(1, textArray({"W3", "W1", "nope"}), 3, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_TRUE(store.WAFWellListSet(1));
    Array<std::string> names;
    int32_t n = 0;
    store.getWAFWellList(1, names, n, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(toStrings(names, n), (Strings{"W1", "W3"}));
    store.GetDefinedWAFWellNames(1, names, n, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(toStrings(names, n), (Strings{"W1", "W3"}));
    EXPECT_EQ(store.DSNumberDefinedWAFWells(1), 2);

    // Switching the flag off lets every defined well count again.
    store.WAFWellListSet(1, false);
    EXPECT_FALSE(store.WAFWellListSet(1));
    store.GetDefinedWAFWellNames(1, names, n, qOK);
    EXPECT_EQ(toStrings(names, n), (Strings{"W1", "W2", "W3"}));
    // An empty list switches it off too.
    store.WAFWellListSet(1, true);
    store.InitWAFWellListByName(1, Array<std::string>(), 0, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_FALSE(store.WAFWellListSet(1));

    // Without a WAF set nothing happens and nothing is reported.
    store.InitWAFWellListByName(2, textArray({"W1"}), 1, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_FALSE(store.WAFWellListSet(2));
    store.getWAFWellList(2, names, n, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_TRUE(reports().empty());

    // The WAF flag without a set is the object error, reported by the dataset.
    item(2)->WAF(true);
    store.WAFWellListSet(2, true);
    EXPECT_FALSE(store.WAFWellListSet(2));
    store.InitWAFWellListByName(2, textArray({"W1"}), 1, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_TRUE(reported("(No.91) In [rvStreamSet (Code) (rvStreamSet.WAFWellListSet)] "));
    EXPECT_TRUE(reported("(No.91) In [rvStreamSet (Code) (rvStreamSet.InitWAFWellListByName)] "));
}

TEST_F(StoreTest, OriginsByFileTypeAreDistinctInOrderOfFirstAppearance) {
    store.CheckDataSetNames(false);
    fill({"A", "B", "A", "a", "C"});
    for (int32_t i = 1; i <= 4; ++i) item(i)->FileType(1);
    item(5)->FileType(2);

    Array<std::string> origins;
    bool qOK = false;
    store.GetOriginsByFileType(1, origins, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(toStrings(origins, origins.ubound(1)), (Strings{"A", "B", "a"}));

    store.GetOriginsByFileType(2, origins, qOK);
    EXPECT_EQ(toStrings(origins, origins.ubound(1)), (Strings{"C"}));

    store.GetOriginsByFileType(3, origins, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(origins.ubound(1), 5) << "the array keeps one empty element per dataset";

    store.ReInitialise();
    store.GetOriginsByFileType(0, origins, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_TRUE(reports().empty());
}

}  // namespace
}  // namespace tkstream63::store_test
