#include "recordfile/crc32c.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace tkstream63 {
namespace {

constexpr Crc32cMethod kMethods[] = {Crc32cMethod::Portable, Crc32cMethod::Sse42, Crc32cMethod::Avx512};

TEST(Crc32c, EveryMethodGivesThePublishedCheckValues) {
    // The standard check value and the iSCSI test patterns for the Castagnoli polynomial.
    std::vector<uint8_t> zeros(32, 0), ones(32, 0xFF), ascending(32);
    for (int i = 0; i < 32; ++i) ascending[i] = static_cast<uint8_t>(i);
    for (Crc32cMethod method : kMethods) {
        SCOPED_TRACE(static_cast<int>(method));
        EXPECT_EQ(crc32cWith(method, 0, "123456789", 9), 0xE3069283u);
        EXPECT_EQ(crc32cWith(method, 0, zeros.data(), 32), 0x8A9136AAu);
        EXPECT_EQ(crc32cWith(method, 0, ones.data(), 32), 0x62A8AB43u);
        EXPECT_EQ(crc32cWith(method, 0, ascending.data(), 32), 0x46DD794Eu);
        EXPECT_EQ(crc32cWith(method, 0, nullptr, 0), 0u);
    }
    EXPECT_TRUE(crc32cAvailable(crc32cMethod()));
}

TEST(Crc32c, EveryMethodAgreesForRandomLengthsAlignmentsAndSplits) {
    // Long enough for every method's wide paths (3 x 8192-byte streams, 256-byte rounds) and tails.
    std::vector<uint8_t> data(3 * 8192 * 2 + 3 * 256 + 77);
    std::mt19937 random(12345);
    for (auto& byte : data) byte = static_cast<uint8_t>(random());
    std::vector<size_t> lengths = {0, 1, 4, 15, 16, 63, 64, 127, 128, 255, 256, 511, 512, 767, 768, 24576, 24577};
    for (int k = 0; k < 40; ++k) lengths.push_back(random() % (data.size() - 64));
    for (size_t length : lengths) {
        const size_t start = random() % 64;
        const uint8_t* p = data.data() + start;
        const uint32_t seed = random();
        const uint32_t expected = crc32cPortable(seed, p, length);
        for (Crc32cMethod method : kMethods) {
            SCOPED_TRACE(std::to_string(static_cast<int>(method)) + ": " + std::to_string(start) + "+" +
                         std::to_string(length));
            EXPECT_EQ(crc32cWith(method, seed, p, length), expected);
            // A body checked in pieces gives the CRC of the whole.
            const size_t cut = length / 3;
            EXPECT_EQ(crc32cWith(method, crc32cWith(method, seed, p, cut), p + cut, length - cut), expected);
        }
        EXPECT_EQ(crc32c(seed, p, length), expected);
    }
    const uint32_t whole = crc32c(0, data.data(), data.size());
    data[40000] ^= 0x10;  // any changed bit changes the CRC
    EXPECT_NE(crc32c(0, data.data(), data.size()), whole);
}

}  // namespace
}  // namespace tkstream63
