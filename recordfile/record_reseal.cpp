#include "recordfile/record_reseal.hpp"

#include <algorithm>
#include <cstring>

#include "recordfile/crc32c.hpp"

namespace tkstream63 {
namespace {

// The layout of docs/record-format.md, version 2.
constexpr uint8_t kMagic[8] = {0x89, 'T', 'K', 'R', 'E', 'C', '\r', '\n'};
constexpr uint8_t kTrailerMagic[8] = {0xFF, 'T', 'K', 'E', 'N', 'D', '\r', '\n'};
constexpr size_t kPreambleBytes = 12;
constexpr size_t kHeaderFixedBytes = 27;
constexpr size_t kMaxKeywordBytes = 64;
constexpr size_t kTrailerBytes = 52;
constexpr uint64_t kBlockBytes = 65536;

void put32(uint8_t* out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out[i] = static_cast<uint8_t>(v >> (8 * i));
}
void put64(uint8_t* out, uint64_t v) {
    for (int i = 0; i < 8; ++i) out[i] = static_cast<uint8_t>(v >> (8 * i));
}
uint64_t get(const uint8_t* in, int n) {
    uint64_t v = 0;
    for (int i = n - 1; i >= 0; --i) v = (v << 8) | in[i];
    return v;
}

}  // namespace

bool resealRecordFile(std::vector<uint8_t>& bytes) {
    if (bytes.size() < kPreambleBytes || std::memcmp(bytes.data(), kMagic, sizeof kMagic) != 0 ||
        get(bytes.data() + 8, 4) != 2)
        return false;
    size_t end = bytes.size();
    if (end >= kPreambleBytes + kTrailerBytes &&
        std::memcmp(bytes.data() + end - kTrailerBytes, kTrailerMagic, sizeof kTrailerMagic) == 0)
        end -= kTrailerBytes;
    uint32_t fileCheck = crc32c(0, bytes.data(), kPreambleBytes);
    uint32_t number = 0;
    size_t at = kPreambleBytes;
    while (at < end) {
        uint8_t* record = bytes.data() + at;
        const size_t keywordBytes = record[0];
        const size_t headerBytes = kHeaderFixedBytes + keywordBytes;
        if (keywordBytes > kMaxKeywordBytes || headerBytes > end - at) break;
        uint8_t* fields = record + 1 + keywordBytes;
        const uint64_t bodyBytes = get(fields + 8, 8);
        const uint64_t padding = get(fields + 16, 2);
        const uint64_t blocks = (bodyBytes + kBlockBytes - 1) / kBlockBytes;
        const uint64_t room = end - at - headerBytes;
        if (padding > room || bodyBytes > room - padding || blocks * 4 > room - padding - bodyBytes) break;
        put32(fields + 18, ++number);
        const uint32_t headerCrc = crc32c(0, record, headerBytes - 4);
        put32(fields + 22, headerCrc);
        fileCheck = crc32c(fileCheck, fields + 22, 4);
        uint8_t* body = record + headerBytes + padding;
        std::fill(record + headerBytes, body, uint8_t{0});
        uint8_t* checks = body + bodyBytes;
        for (uint64_t k = 0; k < blocks; ++k) {
            uint8_t prefix[8];
            put32(prefix, headerCrc);
            put32(prefix + 4, static_cast<uint32_t>(k));
            const uint64_t first = k * kBlockBytes;
            const auto n = static_cast<size_t>(std::min(kBlockBytes, bodyBytes - first));
            put32(checks + 4 * k, crc32c(crc32c(0, prefix, sizeof prefix), body + first, n));
        }
        fileCheck = crc32c(fileCheck, checks, static_cast<size_t>(blocks * 4));
        at += static_cast<size_t>(headerBytes + padding + bodyBytes + blocks * 4);
    }
    bytes.resize(at + kTrailerBytes);
    uint8_t* trailer = bytes.data() + at;
    std::memset(trailer, 0, kTrailerBytes);
    std::memcpy(trailer, kTrailerMagic, sizeof kTrailerMagic);
    put64(trailer + 8, number);
    put64(trailer + 16, bytes.size());
    put32(trailer + 40, fileCheck);
    put32(trailer + 48, crc32c(0, trailer, 48));
    return true;
}

}  // namespace tkstream63
