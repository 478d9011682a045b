// CRC-32C (Castagnoli polynomial), the checksum that protects every record of a binary record
// file. Uses the processor's CRC32 instruction when it has one, a table method otherwise; both
// give the same values.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tkstream63 {

// CRC-32C of n bytes, continuing from the CRC of the bytes before them (0 for a fresh start), so
// a body that arrives in pieces is checked piece by piece: crc32c(crc32c(0, a), b) equals the CRC
// of a followed by b.
uint32_t crc32c(uint32_t crc, const void* data, size_t n);

// The table method alone, whatever the processor offers (tests compare the two).
uint32_t crc32cPortable(uint32_t crc, const void* data, size_t n);

// True when crc32c() runs on the processor's CRC32 instruction.
bool crc32cUsesHardware();

}  // namespace tkstream63
