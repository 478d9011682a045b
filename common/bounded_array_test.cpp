#include "common/bounded_array.hpp"

#include "common/test_support.hpp"

namespace tkstream63 {
namespace {

using testing_support::errorNumberOf;
using testing_support::values;

TEST(BoundedArray, BoundsFirstIndexFastestStorageAndCheckedAccess) {
    Array<int32_t> table(1, 3, 0, 2);  // (column 1..3, row 0..2)
    EXPECT_EQ((std::vector<int64_t>{table.rank(), table.lbound(1), table.ubound(1), table.lbound(2),
                                    table.ubound(2), static_cast<int64_t>(table.size())}),
              (std::vector<int64_t>{2, 1, 3, 0, 2, 9}));
    table(2, 1) = 7;
    EXPECT_EQ(table.data()[1 * 3 + 1], 7);  // one row's columns lie together
    EXPECT_EQ(table.offsetOf(3, 2), 8u);

    Array<int32_t> empty;
    EXPECT_EQ(empty.ubound(), -1);
    empty.redim(5, 4);  // one below the lower bound: an empty dimension
    EXPECT_EQ(empty.size(), 0u);

    // Access outside the bounds, or with the wrong rank, raises the subscript error.
    Array<float> column(1, 4);
    Array<float> square(1, 2, 1, 2);
    EXPECT_EQ(errorNumberOf([&] { column(0); }), kErrSubscript);
    EXPECT_EQ(errorNumberOf([&] { column(5); }), kErrSubscript);
    EXPECT_EQ(errorNumberOf([&] { column(1, 1); }), kErrSubscript);  // wrong rank
    EXPECT_EQ(errorNumberOf([&] { column.ubound(2); }), kErrSubscript);
    EXPECT_EQ(errorNumberOf([&] { column.redim(3, 1); }), kErrSubscript);
    EXPECT_EQ(errorNumberOf([&] { square(3, 1); }), kErrSubscript);
    EXPECT_EQ(errorNumberOf([&] { square(1, 0); }), kErrSubscript);
    EXPECT_EQ(errorNumberOf([&] { column(4) = 1.0f; }), 0);
}

TEST(BoundedArray, RedimClearsAndRedimPreserveKeepsSurvivingIndexes) {
    Array<int32_t> table(1, 2, 1, 3);
    for (int32_t j = 1; j <= 3; ++j)
        for (int32_t i = 1; i <= 2; ++i) table(i, j) = 10 * i + j;
    table.redimPreserve(1, 3, 0, 2);  // a new column 3 and row 0; row 3 dropped
    EXPECT_EQ(std::vector<int32_t>(table.data(), table.data() + table.size()),
              (std::vector<int32_t>{0, 0, 0, 11, 21, 0, 12, 22, 0}));

    Array<std::string> names = testing_support::list<std::string>({"P1", "I1"});
    names.redimPreserve(1, 1);
    EXPECT_EQ(names(1), "P1");
    names.redim(1, 2);
    EXPECT_EQ(names(1), "");
}

TEST(BoundedArray, RedimOfASimilarSizeKeepsTheBlockButNotItsContents) {
    Array<int32_t> output(1, 100);
    output.fill(7);
    const int32_t* block = output.data();
    output.redim(1, 90);
    EXPECT_EQ(output.data(), block);
    EXPECT_EQ(output(90), 0);  // cleared all the same
    EXPECT_EQ(output.ubound(), 90);
    output.redim(1, 4);  // a small block is kept too
    EXPECT_EQ(output.data(), block);
    Array<double> table(1, 1000, 1, 100);
    const double* big = table.data();
    table.redim(1, 10);  // far smaller than a large block: the memory goes back
    EXPECT_NE(table.data(), big);
    Array<int32_t> copy = output;
    output.redim(1, 3);
    EXPECT_EQ(copy.size(), 4u);
}

TEST(BoundedArray, BorrowedBlockIsUsedInPlaceUntilRedimAndNeverFreed) {
    float block[6] = {1, 2, 3, 4, 5, 6};
    {
        Array<float> view = Array<float>::borrow(block, 1, 3, 1, 2);
        EXPECT_EQ(view.data(), block);
        EXPECT_EQ(view(3, 2), 6.0f);
        view(1, 2) = 40;  // written through to the owner's block
        Array<float> copy = view;
        EXPECT_NE(copy.data(), block);
        view.redim(1, 6);  // a block of its own, even though the size fits
        EXPECT_NE(view.data(), block);
        view.fill(0);
    }  // destroying the arrays must leave the stack block alone
    EXPECT_EQ(block[3], 40.0f);
    EXPECT_EQ(block[5], 6.0f);
}

TEST(BoundedArray, BlockCopiesAreCheckedAgainstBothEnds) {
    Array<float> source(1, 4, 1, 2);
    for (size_t k = 0; k < source.size(); ++k) source.data()[k] = static_cast<float>(k);
    Array<float> target(1, 3);
    copyBlock(source, source.offsetOf(1, 2), target, 0, 3);
    EXPECT_EQ(values(target), (std::vector<float>{4, 5, 6}));
    // A run past the end of the source, or of the target, is refused and copies nothing.
    target.fill(-1.0f);
    EXPECT_EQ(errorNumberOf([&] { copyBlock(source, source.offsetOf(3, 2), target, 0, 3); }), kErrSubscript);
    EXPECT_EQ(errorNumberOf([&] { copyBlock(source, 0, target, 1, 3); }), kErrSubscript);
    EXPECT_EQ(target(1), -1.0f);
    float out[2];
    EXPECT_EQ(errorNumberOf([&] { source.copyOut(7, 2, out); }), kErrSubscript);
    EXPECT_EQ(errorNumberOf([&] { source.copyOut(SIZE_MAX, 2, out); }), kErrSubscript);
}

}  // namespace
}  // namespace tkstream63
