#include "common/huge_pages.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

#include "common/bounded_array.hpp"

namespace tkstream63 {
namespace {

#if defined(__linux__)
// The "VmFlags:" line the system shows for the mapping that holds address.
std::string mappingFlags(const void* address) {
    std::ifstream maps("/proc/self/smaps");
    bool inside = false;
    for (std::string line; std::getline(maps, line);) {
        unsigned long start = 0, end = 0;
        if (std::sscanf(line.c_str(), "%lx-%lx ", &start, &end) == 2)
            inside = start <= reinterpret_cast<unsigned long>(address) && reinterpret_cast<unsigned long>(address) < end;
        else if (inside && line.rfind("VmFlags:", 0) == 0)
            return line;
    }
    return "";
}

TEST(HugePages, LargeFreshTablesAreAdvisedAndSmallOnesLeftAlone) {
    if (!std::ifstream("/sys/kernel/mm/transparent_hugepage/enabled")) GTEST_SKIP() << "no huge pages here";
    for (const auto& [rows, advised] : {std::pair{2'000'000, true}, std::pair{8'000, false}}) {  // 64 MB, 256 KB
        Array<float> table;
        table.redimForOverwrite(1, 8, 1, rows);
        const std::string flags = mappingFlags(table.data() + table.size() / 2);
        EXPECT_EQ(flags.find(" hg") != std::string::npos, advised) << rows << ": " << flags;
    }
}

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
