// CRC-32C (Castagnoli polynomial), the checksum that protects every record of a binary record
// file. Three methods give the same values: a table method that runs anywhere and, on x86-64,
// three interleaved streams of the processor's CRC32 instruction (SSE4.2) and carry-less
// multiplication folding 256 bytes a round (AVX-512 with VPCLMULQDQ, twice as fast again); the
// fastest the processor offers is chosen once, at the first use.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tkstream63 {

// CRC-32C of n bytes, continuing from the CRC of the bytes before them (0 for a fresh start), so
// a body that arrives in pieces is checked piece by piece: crc32c(crc32c(0, a), b) equals the CRC
// of a followed by b.
uint32_t crc32c(uint32_t crc, const void* data, size_t n);

enum class Crc32cMethod { Portable, Sse42, Avx512 };

// The method crc32c() uses.
Crc32cMethod crc32cMethod();
// Whether this processor (and build) can run the method.
bool crc32cAvailable(Crc32cMethod method);
// The CRC by one method (tests and benchmarks compare them); an unavailable one gives way to the
// table method.
uint32_t crc32cWith(Crc32cMethod method, uint32_t crc, const void* data, size_t n);
// The table method alone.
uint32_t crc32cPortable(uint32_t crc, const void* data, size_t n);

}  // namespace tkstream63
