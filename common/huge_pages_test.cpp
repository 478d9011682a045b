#include "common/huge_pages.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "common/bounded_array.hpp"

namespace tkstream63 {
namespace {

#if defined(__linux__)
// A dropped large table's block serves the next large table, and a cleared one reads zeros even
// though the block held values before.
TEST(HugePages, DroppedLargeBlocksAreReusedAndClearedWhenAskedTo) {
    constexpr int32_t kRows = 2'000'000;  // 8 x 2,000,000 floats: 64 MB
    const float* dropped = nullptr;
    {
        Array<float> table;
        table.redimForOverwrite(1, 8, 1, kRows);
        table.fill(7.0f);
        dropped = table.data();
    }
    struct Case {
        int32_t rows;
        bool clear;
    };
    for (const Case c : {Case{kRows, true}, Case{kRows / 2, false}}) {
        Array<float> table;
        if (c.clear) {
            table.redim(1, 8, 1, c.rows);
        } else {
            table.redimForOverwrite(1, 8, 1, c.rows);
        }
        EXPECT_EQ(table.data(), dropped) << c.rows;
        if (c.clear) {
            EXPECT_EQ(std::count(table.data(), table.data() + table.size(), 0.0f), static_cast<ptrdiff_t>(table.size()));
        }
        table.fill(1.0f);  // every byte of the (trimmed) block is there to be written
    }
}
#endif

}  // namespace
}  // namespace tkstream63
