// The well table: growth, name storage and lookups, getters by number and by name, lists, and
// the well list.
#include <tuple>

#include "common/test_support.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {

struct WellLookupTestAccess {
    static int32_t lookup(const rvStreamSet& set, const std::string& zWell, int32_t iMode) {
        return set.getWellNumber(zWell, iMode);
    }
};

namespace {

using testing_support::lastReport;
using testing_support::list;
using testing_support::values;
using Names = std::vector<std::string>;

void storeNames(rvStreamSet& set, const Names& names) {
    bool qOK = false;
    set.setWellNames(list(names), static_cast<int32_t>(names.size()), qOK);
    EXPECT_TRUE(qOK);
}

TEST(StreamSetWells, LookupUpperCasesOnlyTheQueryAndKeepsFortySingleByteCharacters) {
    const std::string longName(45, 'A');
    const std::string accented = "\xC3\x89" + std::string(44, 'B');  // É then 44 B
    rvStreamSet set;
    storeNames(set, {"P1", "I1", "Prod1", "P1", longName, accented, "W\xCE\xA9"});  // WΩ
    // 40 characters, not 40 UTF-8 bytes; a character without a single-byte form is held as '?'.
    EXPECT_EQ((Names{set.getWellName(3), set.getWellName(5), set.getWellName(6), set.getWellName(7)}),
              (Names{"Prod1", longName.substr(0, 40), "\xC3\x89" + std::string(39, 'B'), "W?"}));
    const std::pair<std::string, int32_t> lookups[] = {
        {"p1", 1},  // the first of two equal names
        {"P1 ", -1}, {"i1", 2}, {"", -1},
        {"Prod1", -1},  // stored with lower case: never found
        {longName, -1}, {longName.substr(0, 40), 5},
        {"\xC3\xA9" + std::string(39, 'b'), 6},  // upper-cased into the stored form
        {"W\xCE\xA9", -1}, {"W?", 7}};
    for (const auto& [query, number] : lookups) EXPECT_EQ(set.getWellNumber(query), number) << query;
    EXPECT_EQ(set.WellNumber("i1"), 2);
}

TEST(StreamSetWells, TableGrowsAndNeverShrinks) {
    rvStreamSet set;
    Array<std::string> untouched(5, 6);
    int32_t count = 0;
    bool qOK = false;
    set.getWellNames(untouched, count, qOK);
    EXPECT_TRUE(qOK && count == -1 && untouched.lbound() == 5);

    // Zero wells stores nothing but still raises the count from -1 to 0.
    set.setWellNames(Array<std::string>(), 0, qOK);
    EXPECT_TRUE(qOK && set.NumberWells() == 0);

    // Grown wells count as defined, with a defined location at (0, 0, 0).
    set.setWellTypes(list({1, 2, 3}), 3, qOK);
    EXPECT_EQ(set.NumberWells(), 3);
    Array<bool> defined, locationDefined;
    Array<float> x, y, z;
    set.getWellsDefined(defined, count, qOK);
    set.getWellLocationsDefined(locationDefined, count, qOK);
    set.getWellLocations(x, y, z, count, qOK);
    EXPECT_TRUE(values(defined) == std::vector<bool>(3, true) && values(locationDefined) == values(defined));
    EXPECT_TRUE(values(x) == std::vector<float>(3, 0.0f) && values(z) == values(x));

    set.setWellTypes(list({7}), 1, qOK);
    Array<int32_t> types(0, 9);
    set.getWellTypes(types, count, qOK);
    EXPECT_EQ(types.lbound() + count, 4);
    EXPECT_EQ(values(types), (std::vector<int32_t>{7, 2, 3}));

    storeNames(set, {"A", "B"});
    storeNames(set, {"C", ""});  // empty keeps "B"
    Array<std::string> names;
    set.getWellNames(names, count, qOK);
    EXPECT_EQ(values(names), (Names{"C", "B", ""}));
}

TEST(StreamSetWells, ShortCallerArrayKeepsEarlierWellsAndReports) {
    rvStreamSet set;
    bool qOK = true;
    set.setWellNames(list<std::string>({"A", "B"}), 3, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(std::make_pair(set.NumberWells(), set.getWellName(2)), std::make_pair(3, std::string("B")));
    EXPECT_EQ(lastReport(), "Error:Subscript out of range (No.9) In [rvStreamSet (Code) "
                            "(rvStreamSet.setWellNames)] ");

    set.setWellLocationsDefined(list({false}), 2, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(), "Error:Subscript out of range (No.9) In [rvStreamSet (Code) "
                            "(rvStreamSet.setWellDefined)] ");
    bool defined = true;
    set.getWellLocationDefined(1, defined, qOK);
    EXPECT_FALSE(defined);
    set.setWellLocations(list({1.0f, 2.0f}), list({3.0f, 4.0f}), list({5.0f}), 2, qOK);
    EXPECT_FALSE(qOK);
    float x = 0, y = 0, z = 0;
    set.getWellLocation(1, x, y, z, qOK);
    EXPECT_EQ((std::vector<float>{x, y, z}), (std::vector<float>{1, 3, 5}));
}

// Wells P1 (producer, not defined, location defined) and I1 (injector, defined, location not
// defined) at (1, 3, 5) and (2, 4, 6), and well 3 with nothing but its type.
TEST(StreamSetWells, GettersByNumberAndByNameLeaveOutputsAloneForAnInvalidWell) {
    rvStreamSet set;
    storeNames(set, {"P1", "I1"});
    bool qOK = false;
    set.setWellTypes(list({1, 2, 3}), 3, qOK);
    set.setWellDefined(list({false}), 1, qOK);
    set.setWellLocations(list({1.0f, 2.0f}), list({3.0f, 4.0f}), list({5.0f, 6.0f}), 2, qOK);
    set.setWellLocationsDefined(list({true, false}), 2, qOK);
    for (const int32_t iWell : {0, 4, 99}) {
        int32_t type = -5;
        qOK = false;
        set.getWellType(iWell, type, qOK);  // qOK True all the same
        EXPECT_TRUE(qOK && type == -5);
        bool defined = true;
        set.getWellDefined(iWell, defined, qOK);
        EXPECT_FALSE(defined || qOK);
        bool locationDefined = true;
        set.getWellLocationDefined(iWell, locationDefined, qOK);
        EXPECT_TRUE(locationDefined && !qOK);
        float x = 8, y = 8, z = 8;
        set.getWellLocation(iWell, x, y, z, qOK);
        EXPECT_FALSE(qOK);
        EXPECT_EQ(x + y + z, 24.0f);
        EXPECT_EQ(set.getWellName(iWell), "");
    }
    Array<bool> all;
    int32_t count = 0;
    set.getWellsDefined(all, count, qOK);
    EXPECT_EQ(values(all), (std::vector<bool>{false, true, true}));

    int32_t type = -5;
    set.getWellNameType("nowhere", type, qOK);
    EXPECT_FALSE(qOK || type != -5);  // unlike getWellType
    set.getWellNameType("i1", type, qOK);
    EXPECT_TRUE(qOK && type == 2);
    // The defined flags by name: (name, getter) -> (defined, qOK).
    using ByName = void (rvStreamSet::*)(const std::string&, bool&, bool&) const;
    const std::tuple<std::string, ByName, bool, bool> flags[] = {
        {"nowhere", &rvStreamSet::getWellNameDefined, false, false},
        {"P1", &rvStreamSet::getWellNameDefined, false, true},
        {"I1", &rvStreamSet::getWellNameDefined, true, true},
        {"I1", &rvStreamSet::getWellNameLocationDefined, false, true}};
    for (const auto& [name, member, expected, ok] : flags) {
        bool defined = !expected;
        (set.*member)(name, defined, qOK);
        EXPECT_EQ(std::make_pair(defined, qOK), std::make_pair(expected, ok)) << name;
    }
    float x = 0, y = 0, z = 0;
    set.getWellNameLocation("I1", x, y, z, qOK);
    EXPECT_EQ((std::vector<float>{x, y, z}), (std::vector<float>{2, 4, 6}));
    set.getWellNameLocation("P1 ", x, y, z, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(x, 2.0f);
}

TEST(StreamSetWells, ListsResolveNamesAndNumbers) {
    rvStreamSet set;
    storeNames(set, {"P1", "I1"});
    bool qOK = false;
    Array<int32_t> numbers(1, 3);
    set.getListOfWellNumbers(list<std::string>({"i1", "X", "P1"}), 3, numbers, qOK);
    EXPECT_TRUE(qOK && values(numbers) == (std::vector<int32_t>{2, -1, 1}));

    Array<int32_t> tooShort(1, 1);
    set.getListOfWellNumbers(list<std::string>({"I1", "P1"}), 2, tooShort, qOK);
    EXPECT_FALSE(qOK || tooShort(1) != 2);
    EXPECT_EQ(lastReport(), "Error:Subscript out of range (No.9) In [rvStreamSet (Code) "
                            "(rvStreamSet.getListOfWellNumbers)] ");

    Array<std::string> names(0, 0);
    set.getListOfWellNames(list({2, 0, 1, 3}), 4, names, qOK);
    EXPECT_TRUE(qOK && names.lbound() == 1);
    EXPECT_EQ(values(names), (Names{"I1", "", "P1", ""}));
}

TEST(StreamSetWells, ModeLookupComparesAsGivenAndAnswersZeroInTheWholeTableMode) {
    rvStreamSet set;
    storeNames(set, {"Prod1", "INJ"});
    const auto lookup = [&](const char* name, int32_t mode) {
        return WellLookupTestAccess::lookup(set, name, mode);
    };
    // No producer entries yet.
    EXPECT_EQ((std::vector<int32_t>{lookup("Prod1", 3), lookup("INJ", 0), lookup("PROD1", 3), lookup("Prod1", 1)}),
              (std::vector<int32_t>{0, 0, -1, -1}));

    // Producer entry 1 is well 1; injector entry 0 (counted too) is well 2.
    Array<int32_t> producers(1, 5, 0, 1), injectors(1, 5, 0, 0), links(1, 5, 1, 1);
    producers(4, 1) = 1;
    injectors(4, 0) = 2;
    bool qOK = false;
    set.setProducerData(producers, 1, links, 0, qOK);
    set.setInjectorData(injectors, 0, links, 0, qOK);
    EXPECT_EQ((std::vector<int32_t>{lookup("Prod1", 1), lookup("INJ", 1), lookup("INJ", 2), lookup("inj", 2)}),
              (std::vector<int32_t>{1, -1, 2, -1}));
}

// ---- the well list ----

TEST(WellList, ResolvesInWellOrderAlwaysAnswersFalseAndNeedsElementOne) {
    rvStreamSet set;
    bool qOK = false;
    const auto numbers = [&] {
        Array<int32_t> list;
        int32_t n = 0;
        set.GetWellListNumbers(list, n, qOK);
        return values(list, n);
    };
    // The caller's array as the member left it: the names handed out, or untouched when none were.
    const auto names = [&] {
        Array<std::string> list = testing_support::list<std::string>({"untouched"});
        int32_t n = 0;
        set.GetWellList(list, n, qOK);
        return n == 0 ? values(list) : values(list, n);
    };
    EXPECT_FALSE(set.WellListSet() || set.UseWellList());
    EXPECT_TRUE(numbers().empty() && qOK);  // a new dataset has no list
    set.WellListSet(true);  // set by hand, the flag exposes the stored one-element list as it is
    EXPECT_EQ(names(), Names{""});
    storeNames(set, {"P1", "P2", "I1"});
    set.SetWellList(list<std::string>({"P2", "p1"}), qOK);
    EXPECT_TRUE(!qOK && set.WellListSet());
    EXPECT_EQ(numbers(), (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(names(), (Names{"P2", "p1"}));  // kept as given

    // Unknown and repeated names leave trailing zeros; the count is the number of names.
    set.SetWellList(list<std::string>({"I1", "NOPE", "I1"}), qOK);
    EXPECT_EQ(numbers(), (std::vector<int32_t>{3, 0, 0}));

    // The defined-and-listed check looks among the dataset's own names: unlisted I1 passes too.
    set.setWellDefined(list({true, false, true}), 3, qOK);
    set.SetWellList(list<std::string>({"P1"}), qOK);
    std::vector<bool> passes;
    for (const int32_t iWell : {1, 2, 3, 4}) {
        bool qDefined = iWell == 4;
        set.GetWellDefinedAndInList(iWell, qDefined, qOK);
        passes.push_back(qDefined);
        EXPECT_EQ(qOK, iWell != 4);
    }
    EXPECT_EQ(passes, (std::vector<bool>{true, false, true, false}));

    // One empty name clears the list; what was resolved before is no longer handed out.
    set.SetWellList(list<std::string>({""}), qOK);
    EXPECT_FALSE(qOK || set.WellListSet());
    EXPECT_EQ(names(), Names{"untouched"});
    EXPECT_TRUE(qOK);

    errorReporter().clearRecentMessages();
    set.SetWellList(list<std::string>({"P1", "P2"}, 2), qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(), "Error:Subscript out of range (No.9) In [rvStreamSet (Code) (rvStreamSet.SetWellList)] ");
}

}  // namespace
}  // namespace tkstream63
