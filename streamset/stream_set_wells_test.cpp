// The well table: growth, name storage and lookups, getters by number and by name, lists.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "common/shared_objects.hpp"
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

void storeNames(rvStreamSet& set, std::initializer_list<std::string> names) {
    bool qOK = false;
    set.setWellNames(list<std::string>(names), static_cast<int32_t>(names.size()), qOK);
    EXPECT_TRUE(qOK);
}

TEST(StreamSetWells, LookupUpperCasesOnlyTheQuery) {
    rvStreamSet set;
    storeNames(set, {"P1", "I1", "Prod1", "P1"});
    EXPECT_EQ(set.getWellNumber("p1"), 1);  // first of two equal names
    EXPECT_EQ(set.getWellNumber("P1 "), -1);
    EXPECT_EQ(set.WellNumber("i1"), 2);
    EXPECT_EQ(set.getWellNumber("Prod1"), -1);  // stored with lower case: never found
    EXPECT_EQ(set.getWellName(3), "Prod1");
    EXPECT_EQ(set.getWellNumber(""), -1);
}

TEST(StreamSetWells, NamesAreCutToFortyCharactersOfSingleByteText) {
    const std::string longName(45, 'A');
    const std::string accented = "\xC3\x89" + std::string(44, 'B');  // É then 44 B
    rvStreamSet set;
    storeNames(set, {longName, accented, "W\xCE\xA9"});  // WΩ
    EXPECT_EQ(set.getWellName(1), longName.substr(0, 40));
    EXPECT_EQ(set.getWellNumber(longName), -1);
    EXPECT_EQ(set.getWellNumber(longName.substr(0, 40)), 1);
    // 40 characters, not 40 UTF-8 bytes; the query is upper-cased into the stored form.
    EXPECT_EQ(set.getWellName(2), "\xC3\x89" + std::string(39, 'B'));
    EXPECT_EQ(set.getWellNumber("\xC3\xA9" + std::string(39, 'b')), 2);
    // A character without a single-byte form is held as '?'.
    EXPECT_EQ(set.getWellName(3), "W?");
    EXPECT_EQ(set.getWellNumber("W\xCE\xA9"), -1);
    EXPECT_EQ(set.getWellNumber("W?"), 3);
}

TEST(StreamSetWells, TableGrowsAndNeverShrinks) {
    rvStreamSet set;
    Array<std::string> untouched(5, 6);
    int32_t count = 0;
    bool qOK = false;
    set.getWellNames(untouched, count, qOK);
    EXPECT_EQ(count, -1);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(untouched.lbound(), 5);

    // Zero wells stores nothing but still raises the count from -1 to 0.
    set.setWellNames(Array<std::string>(), 0, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(set.NumberWells(), 0);

    set.setWellTypes(list({1, 2, 3}), 3, qOK);
    EXPECT_EQ(set.NumberWells(), 3);
    Array<bool> defined, locationDefined;
    set.getWellsDefined(defined, count, qOK);
    set.getWellLocationsDefined(locationDefined, count, qOK);
    Array<float> x, y, z;
    set.getWellLocations(x, y, z, count, qOK);
    for (int32_t i = 1; i <= 3; ++i) {
        EXPECT_TRUE(defined(i) && locationDefined(i));
        EXPECT_EQ(x(i) + y(i) + z(i), 0.0f);
    }

    set.setWellTypes(list({7}), 1, qOK);
    Array<int32_t> types(0, 9);
    set.getWellTypes(types, count, qOK);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(types.lbound(), 1);
    EXPECT_EQ(types.ubound(), 3);
    EXPECT_EQ(types(1), 7);
    EXPECT_EQ(types(3), 3);

    set.setWellNames(list<std::string>({"A", "B"}), 2, qOK);
    set.setWellNames(list<std::string>({"C", ""}), 2, qOK);  // empty keeps "B"
    Array<std::string> names;
    set.getWellNames(names, count, qOK);
    EXPECT_EQ(names(1), "C");
    EXPECT_EQ(names(2), "B");
    EXPECT_EQ(names(3), "");
}

TEST(StreamSetWells, ShortCallerArrayKeepsEarlierWellsAndReports) {
    rvStreamSet set;
    bool qOK = true;
    set.setWellNames(list<std::string>({"A", "B"}), 3, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(set.NumberWells(), 3);
    EXPECT_EQ(set.getWellName(2), "B");
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
    EXPECT_EQ(x + y + z, 9.0f);
}

TEST(StreamSetWells, InvalidNumbersLeaveOutputsAloneExceptGetWellTypesQOK) {
    rvStreamSet set;
    bool qOK = false;
    set.setWellTypes(list({1, 2, 3}), 3, qOK);
    set.setWellDefined(list({false}), 1, qOK);

    int32_t type = -5;
    for (const int32_t iWell : {0, 4, 99}) {
        qOK = false;
        set.getWellType(iWell, type, qOK);
        EXPECT_TRUE(qOK);
        EXPECT_EQ(type, -5);

        bool defined = true;
        set.getWellDefined(iWell, defined, qOK);
        EXPECT_FALSE(defined || qOK);
        defined = true;
        set.getWellLocationDefined(iWell, defined, qOK);
        EXPECT_TRUE(defined);
        EXPECT_FALSE(qOK);
        float x = 8, y = 8, z = 8;
        set.getWellLocation(iWell, x, y, z, qOK);
        EXPECT_FALSE(qOK);
        EXPECT_EQ(x + y + z, 24.0f);
        EXPECT_EQ(set.getWellName(iWell), "");
    }

    bool defined = true;
    set.getWellDefined(1, defined, qOK);
    EXPECT_FALSE(defined);
    EXPECT_TRUE(qOK);
    Array<bool> all;
    int32_t count = 0;
    set.getWellsDefined(all, count, qOK);
    EXPECT_FALSE(all(1));
    EXPECT_TRUE(all(2) && all(3));
}

TEST(StreamSetWells, ByNameGettersTreatAnUnknownNameAsInvalid) {
    rvStreamSet set;
    storeNames(set, {"P1", "I1"});
    bool qOK = false;
    set.setWellTypes(list({1, 2}), 2, qOK);
    set.setWellLocations(list({1.0f, 2.0f}), list({3.0f, 4.0f}), list({5.0f, 6.0f}), 2,
                         qOK);
    set.setWellLocationsDefined(list({true, false}), 2, qOK);

    int32_t type = -5;
    set.getWellNameType("nowhere", type, qOK);
    EXPECT_FALSE(qOK);  // unlike getWellType
    EXPECT_EQ(type, -5);
    set.getWellNameType("i1", type, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(type, 2);

    bool defined = true;
    set.getWellNameDefined("nowhere", defined, qOK);
    EXPECT_FALSE(defined || qOK);
    set.getWellNameLocationDefined("I1", defined, qOK);
    EXPECT_FALSE(defined);
    EXPECT_TRUE(qOK);
    float x = 0, y = 0, z = 0;
    set.getWellNameLocation("I1", x, y, z, qOK);
    EXPECT_EQ(x, 2.0f);
    EXPECT_EQ(z, 6.0f);
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
    EXPECT_TRUE(qOK);
    EXPECT_EQ(numbers(1), 2);
    EXPECT_EQ(numbers(2), -1);
    EXPECT_EQ(numbers(3), 1);

    Array<int32_t> tooShort(1, 1);
    set.getListOfWellNumbers(list<std::string>({"I1", "P1"}), 2, tooShort, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(tooShort(1), 2);
    EXPECT_EQ(lastReport(), "Error:Subscript out of range (No.9) In [rvStreamSet (Code) "
                            "(rvStreamSet.getListOfWellNumbers)] ");

    Array<std::string> names(0, 0);
    set.getListOfWellNames(list({2, 0, 1, 3}), 4, names, qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(names.lbound(), 1);
    EXPECT_EQ(names(1), "I1");
    EXPECT_EQ(names(2), "");
    EXPECT_EQ(names(3), "P1");
    EXPECT_EQ(names(4), "");
}

TEST(StreamSetWells, ModeLookupComparesAsGivenAndAnswersZeroInTheWholeTableMode) {
    rvStreamSet set;
    storeNames(set, {"Prod1", "INJ"});
    EXPECT_EQ(WellLookupTestAccess::lookup(set, "Prod1", 3), 0);
    EXPECT_EQ(WellLookupTestAccess::lookup(set, "INJ", 0), 0);
    EXPECT_EQ(WellLookupTestAccess::lookup(set, "PROD1", 3), -1);
    EXPECT_EQ(WellLookupTestAccess::lookup(set, "Prod1", 1), -1);  // no producer entries yet

    // Producer entry 1 is well 1; injector entry 0 (counted too) is well 2.
    Array<int32_t> producers(1, 5, 0, 1);
    producers(4, 1) = 1;
    Array<int32_t> injectors(1, 5, 0, 0);
    injectors(4, 0) = 2;
    Array<int32_t> links(1, 5, 1, 1);
    bool qOK = false;
    set.setProducerData(producers, 1, links, 0, qOK);
    set.setInjectorData(injectors, 0, links, 0, qOK);
    EXPECT_EQ(WellLookupTestAccess::lookup(set, "Prod1", 1), 1);
    EXPECT_EQ(WellLookupTestAccess::lookup(set, "INJ", 1), -1);
    EXPECT_EQ(WellLookupTestAccess::lookup(set, "INJ", 2), 2);
    EXPECT_EQ(WellLookupTestAccess::lookup(set, "inj", 2), -1);
}

}  // namespace
}  // namespace tkstream63
