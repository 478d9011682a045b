#include "common/huge_pages.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include "common/bounded_array.hpp"

namespace tkstream63 {
namespace {

#if defined(__linux__)
// The flags the system shows for the mapping that holds address ("" when none does).
std::string mappingFlags(const void* address) {
    std::ifstream maps("/proc/self/smaps");
    const auto at = reinterpret_cast<uintptr_t>(address);
    bool inside = false;
    for (std::string line; std::getline(maps, line);) {
        uintptr_t start = 0, end = 0;
        char dash = 0;
        std::istringstream range(line);
        if (range >> std::hex >> start >> dash >> end && dash == '-') {
            inside = start <= at && at < end;
        } else if (inside && line.rfind("VmFlags:", 0) == 0) {
            return line;
        }
    }
    return "";
}

TEST(HugePages, LargeFreshTablesAreAdvisedAndSmallOnesLeftAlone) {
    if (!std::ifstream("/sys/kernel/mm/transparent_hugepage/enabled")) GTEST_SKIP() << "no huge pages here";
    struct Case {
        int32_t rows;
        bool advised;
    };
    // 8 columns of floats: 64 MB, and 256 KB.
    for (const Case& c : {Case{2'000'000, true}, Case{8'000, false}}) {
        Array<float> table;
        table.redimForOverwrite(1, 8, 1, c.rows);
        const std::string flags = mappingFlags(table.data() + table.size() / 2);
        EXPECT_EQ(flags.find(" hg") != std::string::npos, c.advised) << c.rows << ": " << flags;
    }
}
#endif

}  // namespace
}  // namespace tkstream63
