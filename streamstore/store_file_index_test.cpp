#include "streamstore/store_file_index.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <tuple>

namespace tkstream63 {
namespace {

constexpr int64_t kRecordsEnd = 100000;

// Two datasets one after the other, each with a node table (10 x 3) and a pointer table (8 x 2).
std::vector<StoreIndexEntry> twoDataSets() {
    std::vector<StoreIndexEntry> entries(2);
    for (int k = 0; k < 2; ++k) {
        StoreIndexEntry& e = entries[static_cast<size_t>(k)];
        e.summary.Origin = "Run " + std::to_string(k);
        e.summary.SimulationTime = -0.0f;
        e.summary.NumberStreamlines = 1;
        e.summary.SectionOffset = 100 + 10000 * k;
        e.summary.SectionLength = 5000;
        e.sectionRecord = 10 + 100 * k;
        e.gridSet = k == 1;
        e.NZ = 7;
        const auto table = [&](StoreTableBody& t, int64_t at, int32_t rows, int32_t cols) {
            t.layout.headerOffset = at;
            t.layout.bodyOffset = at + 40;
            t.layout.bodyBytes = 4 * int64_t{rows} * cols;
            t.layout.checksOffset = t.layout.bodyOffset + t.layout.bodyBytes;
            t.layout.checkSeed = 0xDEADBEEF;
            t.items = int64_t{rows} * cols;
            t.bound1 = rows;
            t.bound2 = cols;
        };
        table(e.nodes, e.summary.SectionOffset + 500, 10, 3);
        table(e.pointers, e.summary.SectionOffset + 1000, 8, 2);
    }
    return entries;
}

TEST(StoreFileIndex, DecodesWhatItEncodesAndRefusesInconsistentIndexes) {
    using Entries = std::vector<StoreIndexEntry>;
    using Bytes = std::vector<uint8_t>;
    struct Case {
        const char* name;
        std::function<void(Entries&)> entries;  // changes before encoding
        std::function<void(Bytes&)> bytes;      // changes after
        const char* problem;                    // empty: decodes
    };
    const auto none = [](auto&) {};
    const Case cases[] = {
        {"intact", none, none, ""},
        {"sections overlap", [](Entries& e) { e[1].summary.SectionOffset = 4000; }, none, "over the dataset before"},
        {"section past the records", [](Entries& e) { e[1].summary.SectionLength = kRecordsEnd; }, none, "outside"},
        {"section in the preamble", [](Entries& e) { e[0].summary.SectionOffset = 4; }, none, "outside"},
        {"node table outside its section", [](Entries& e) { e[0].nodes.layout.bodyOffset += 5000; }, none,
         "streamline table of dataset 1"},
        {"bounds disagree with the body", [](Entries& e) { e[1].pointers.bound1 = 9; }, none,
         "streamline table of dataset 2"},
        {"body cut short", none, [](Bytes& b) { b.pop_back(); }, "does not hold the 2 entries"},
        {"bytes left over", none, [](Bytes& b) { b.insert(b.end(), 4, 0); }, "does not hold the 2 entries"},
        {"unknown layout", none, [](Bytes& b) { b[0] = 9; }, "unknown layout (9)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Entries entries = twoDataSets();
        c.entries(entries);
        Bytes encoded = encodeStoreIndex(entries);
        c.bytes(encoded);
        std::vector<StoreIndexEntry> decoded;
        std::string problem;
        const bool ok = decodeStoreIndex(encoded.data(), encoded.size(), kRecordsEnd, decoded, problem);
        if (*c.problem == '\0') {
            ASSERT_TRUE(ok) << problem;
            ASSERT_EQ(decoded.size(), 2u);
            const StoreIndexEntry& e = decoded[1];
            EXPECT_EQ(std::tie(e.summary.Origin, e.gridSet, e.NZ, e.pointers.layout.checkSeed, e.nodes.bound1),
                      std::make_tuple("Run 1", true, 7, 0xDEADBEEFu, 10));
            EXPECT_TRUE(std::signbit(decoded[0].summary.SimulationTime));
        } else {
            EXPECT_FALSE(ok);
            EXPECT_NE(problem.find(c.problem), std::string::npos) << problem;
        }
    }
}

}  // namespace
}  // namespace tkstream63
