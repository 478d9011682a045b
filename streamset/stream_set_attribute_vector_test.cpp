// Loading attributes from a Variant vector, and the handles of GetAllPointers.

#include <set>
#include <type_traits>
#include <utility>
#include <variant>

#include "common/test_support.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {
namespace {

// A vector (1 To 55) with a value in every element the dataset reads.
Array<Variant> fullVector() {
    Array<Variant> v(1, 55);
    v(1) = "abc";
    v(2) = "file.dat";
    v(3) = "sim";
    v(4) = "2024-01-02";
    v(6) = "class";
    v(7) = "12abc";
    v(8) = int32_t{8};
    v(9) = "9.5";
    v(10) = 10.0;
    v(12) = true;
    v(13) = "False";
    v(16) = int32_t{99};  // not read
    v(18) = "tv";
    v(19) = "grp";
    v(20) = "/data";
    v(21) = "key";
    v(22) = int16_t{1};
    v(23) = "23";
    v(24) = "Root";
    v(25) = int32_t{99};  // not read
    v(32) = false;
    v(40) = 1.5f;
    v(42) = int32_t{42};
    v(43) = false;
    v(55) = "OTHER";
    return v;
}

using testing_support::lastReport;

TEST(StreamSetAttributeVector, LoadsEveryFieldWithItsConversion) {
    rvStreamSet set;
    ASSERT_TRUE(set.SetClassVarsFromAttributes(fullVector()));
    // Origin and GroupName go through their properties, unlike attribute codes 1 and 19; the
    // upper-case display root is element 55, not derived from 24.
    EXPECT_EQ((std::vector<std::string>{set.Origin(), set.UCaseOrigin(), set.UCaseGroupName(),
                                        set.TVDisplayRoot(), set.UCaseTVDisplayRoot(), set.DataClass()}),
              (std::vector<std::string>{"abc", "ABC", "GRP", "Root", "OTHER", "class"}));
    // 9.5 rounds half to even; codes 16 and 25 are not read.
    EXPECT_EQ((std::vector<int32_t>{set.Units(), set.index(), set.iStart(), set.iEnd(), set.FileType(),
                                    set.iAttributesCount(), set.MaxRows()}),
              (std::vector<int32_t>{12, 8, 10, 10, 23, 42, 0}));
    EXPECT_EQ((std::vector<bool>{set.Unified(), set.Formatted(), set.IsDirty(), set.AllData(),
                                 set.qAttributesFlag()}),
              (std::vector<bool>{true, false, true, false, false}));
    EXPECT_EQ(set.SimulationTime(), 1.5f);
    std::string columns;
    set.GetDataSetAttribute(16, columns);
    EXPECT_EQ(columns, "0");
}

TEST(StreamSetAttributeVector, UnitsTakeTheLeadingNumberAndIndexesOnlyNumbers) {
    // The text "True" of a Boolean has no leading number.
    const std::pair<Variant, int32_t> units[] = {
        {"abc", 0}, {" 1 2x", 12}, {"-7", -7}, {"2.5", 2}, {"1e3x", 1000}, {"12e", 12},
        {".5e1", 5}, {Variant(), 0}, {true, 0},     {3.5, 4}};
    for (const auto& [element, expected] : units) {
        rvStreamSet set;
        Array<Variant> v = fullVector();
        v(7) = element;
        EXPECT_TRUE(set.SetClassVarsFromAttributes(v));
        EXPECT_EQ(set.Units(), expected) << element.toText();
    }

    rvStreamSet set;
    set.index(1);
    set.iStart(2);
    set.iEnd(3);
    Array<Variant> v = fullVector();
    v(8) = Variant::null();
    v(9) = "x";
    v(10) = "";
    EXPECT_TRUE(set.SetClassVarsFromAttributes(v));
    EXPECT_EQ((std::vector<int32_t>{set.index(), set.iStart(), set.iEnd()}), (std::vector<int32_t>{1, 2, 3}));

    // An all-Empty vector converts every element as Empty, which counts as numeric.
    set.Origin("old");
    ASSERT_TRUE(set.SetClassVarsFromAttributes(Array<Variant>(1, 55)));
    EXPECT_EQ(set.Origin(), "");
    EXPECT_EQ(set.iStart(), 0);
    EXPECT_FALSE(set.AllData());
}

TEST(StreamSetAttributeVector, FailurePartWayKeepsTheFieldsAlreadyAssigned) {
    rvStreamSet set;
    Array<Variant> v = fullVector();
    v(12) = "maybe";
    EXPECT_FALSE(set.SetClassVarsFromAttributes(v));
    EXPECT_EQ(lastReport(), "Error:Type mismatch (No.13) In [rvStreamSet (Code) "
                            "(rvStreamSet.SetClassVarsFromAttributes)] ");
    EXPECT_EQ(set.Origin(), "abc");
    EXPECT_EQ(set.iEnd(), 10);
    EXPECT_FALSE(set.Unified());
    EXPECT_EQ(set.TVGroupName(), "");

    // A vector that ends before element 55 stops there: element 24 is in, element 6 is not.
    rvStreamSet shortSet;
    Array<Variant> shortVector = fullVector();
    shortVector.redimPreserve(1, 40);
    EXPECT_FALSE(shortSet.SetClassVarsFromAttributes(shortVector));
    EXPECT_EQ(shortSet.TVDisplayRoot(), "Root");
    EXPECT_EQ(shortSet.DataClass(), "");
    EXPECT_NE(lastReport().find("Subscript out of range (No.9)"), std::string::npos);
}

TEST(StreamSetAttributeVector, PointerHandlesFollowThePublishedOrder) {
    rvStreamSet set;
    Array<int32_t> handles(0, 3);
    set.GetAllPointers(handles);
    ASSERT_EQ(handles.lbound(), 1);
    ASSERT_EQ(handles.ubound(), 100);
    for (int32_t k = 1; k <= 100; ++k) EXPECT_EQ(handles(k), k <= 47 ? k : 0);

    // The kind of field behind each handle: L Long, S Single, F Single table, I Long table,
    // B Byte table.
    const std::string kinds = "LLLLLLLLSLLLLLLSSSSSSSSSSLLFILLLLLLLLIBFLLILLIL";
    ASSERT_EQ(kinds.size(), 47u);
    const std::string alternatives = "-LSFIB";
    std::set<const void*> addresses;
    for (int32_t k = 1; k <= 47; ++k) {
        const rvStreamSet::FieldPointer field = set.ResolvePointer(handles(k));
        EXPECT_EQ(alternatives[field.index()], kinds[k - 1]) << k;
        std::visit(
            [&](auto pointer) {
                if constexpr (!std::is_same_v<decltype(pointer), std::monostate>) {
                    addresses.insert(pointer);
                }
            },
            field);
    }
    EXPECT_EQ(addresses.size(), 47u);
    EXPECT_EQ(set.ResolvePointer(0).index(), 0u);
    EXPECT_EQ(set.ResolvePointer(48).index(), 0u);

    // The handles read the live fields.
    bool qOK = false;
    set.setWellTypes(Array<int32_t>(1, 3), 3, qOK);
    set.setLimits(1, 2, 3, 4, 5, 6, qOK);
    EXPECT_EQ(*std::get<int32_t*>(set.ResolvePointer(2)), 3);   // NumberWells
    EXPECT_EQ(*std::get<int32_t*>(set.ResolvePointer(4)), 3);   // wells allocated
    EXPECT_EQ(*std::get<float*>(set.ResolvePointer(17)), 2.0f);  // xMax
    EXPECT_EQ(std::get<Array<int32_t>*>(set.ResolvePointer(38))->ubound(2), 3);  // iWellData
    EXPECT_EQ(*std::get<int32_t*>(set.ResolvePointer(14)), 1);  // iAttributesCount
    EXPECT_EQ(*std::get<int32_t*>(set.ResolvePointer(41)), -1);  // NumberProducers
}

}  // namespace
}  // namespace tkstream63
