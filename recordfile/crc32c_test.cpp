#include "recordfile/crc32c.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace tkstream63 {
namespace {

TEST(Crc32c, MatchesThePublishedCheckValues) {
    // The standard check value and the iSCSI test patterns for the Castagnoli polynomial.
    EXPECT_EQ(crc32c(0, "123456789", 9), 0xE3069283u);
    std::vector<uint8_t> pattern(32, 0);
    EXPECT_EQ(crc32c(0, pattern.data(), 32), 0x8A9136AAu);
    std::memset(pattern.data(), 0xFF, 32);
    EXPECT_EQ(crc32c(0, pattern.data(), 32), 0x62A8AB43u);
    for (int i = 0; i < 32; ++i) pattern[i] = static_cast<uint8_t>(i);
    EXPECT_EQ(crc32c(0, pattern.data(), 32), 0x46DD794Eu);
    EXPECT_EQ(crc32c(0, nullptr, 0), 0u);
    EXPECT_EQ(crc32cPortable(0, "123456789", 9), 0xE3069283u);
}

TEST(Crc32c, BothMethodsAgreeForEveryLengthAlignmentAndSplit) {
    // Long enough for the three-stream paths (3 x 8192 and 3 x 256 bytes) and their tails.
    std::vector<uint8_t> data(3 * 8192 * 2 + 3 * 256 + 77);
    std::mt19937 random(12345);
    for (auto& byte : data) byte = static_cast<uint8_t>(random());
    for (size_t start : {0, 1, 3, 7}) {
        for (size_t length : {0, 1, 7, 8, 9, 255, 767, 768, 769, 24575, 24576, 24577, 49151}) {
            if (start + length > data.size()) continue;
            const uint32_t expected = crc32cPortable(0, data.data() + start, length);
            EXPECT_EQ(crc32c(0, data.data() + start, length), expected) << start << "+" << length;
            // A body checked in pieces gives the CRC of the whole.
            const size_t cut = length / 3;
            EXPECT_EQ(crc32c(crc32c(0, data.data() + start, cut), data.data() + start + cut, length - cut), expected);
        }
    }
    const uint32_t whole = crc32c(0, data.data(), data.size());
    EXPECT_EQ(whole, crc32cPortable(0, data.data(), data.size()));
    data[40000] ^= 0x10;  // any changed bit changes the CRC
    EXPECT_NE(crc32c(0, data.data(), data.size()), whole);
}

}  // namespace
}  // namespace tkstream63
