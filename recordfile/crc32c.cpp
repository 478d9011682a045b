#include "recordfile/crc32c.hpp"

#include <array>
#include <cstring>
#include <vector>

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

namespace tkstream63 {
namespace {

// Reflected form of the Castagnoli polynomial 0x1EDC6F41.
constexpr uint32_t kPolynomial = 0x82F63B78u;

// The routines below work on the raw CRC register; the public function adds the usual pre- and
// post-inversion. The register update is linear in (register, data), which is what lets the
// hardware path run three independent streams and join them afterwards.

using ByteTable = std::array<uint32_t, 256>;

// Slicing-by-8 tables for the portable method.
struct SliceTables {
    std::array<ByteTable, 8> t{};
    SliceTables() {
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int bit = 0; bit < 8; ++bit) c = (c >> 1) ^ ((c & 1u) ? kPolynomial : 0u);
            t[0][i] = c;
        }
        for (size_t k = 1; k < 8; ++k)
            for (uint32_t i = 0; i < 256; ++i) t[k][i] = (t[k - 1][i] >> 8) ^ t[0][t[k - 1][i] & 0xFFu];
    }
};

const SliceTables& sliceTables() {
    static const SliceTables tables;
    return tables;
}

uint32_t loadLittle32(const uint8_t* p) {
    return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}

uint32_t portableRaw(uint32_t crc, const uint8_t* p, size_t n) {
    const auto& t = sliceTables().t;
    while (n >= 8) {
        const uint32_t low = crc ^ loadLittle32(p);
        const uint32_t high = loadLittle32(p + 4);
        crc = t[7][low & 0xFFu] ^ t[6][(low >> 8) & 0xFFu] ^ t[5][(low >> 16) & 0xFFu] ^ t[4][low >> 24] ^
              t[3][high & 0xFFu] ^ t[2][(high >> 8) & 0xFFu] ^ t[1][(high >> 16) & 0xFFu] ^ t[0][high >> 24];
        p += 8;
        n -= 8;
    }
    while (n-- > 0) crc = t[0][(crc ^ *p++) & 0xFFu] ^ (crc >> 8);
    return crc;
}

#if defined(__x86_64__)

// Moves a register forward over a fixed number of zero bytes: the step that joins the CRC of one
// stream to the stream after it. Linear in the register, so four byte-indexed tables suffice.
struct ZeroShift {
    std::array<ByteTable, 4> t{};
    explicit ZeroShift(size_t zeroBytes) {
        const std::vector<uint8_t> zeros(zeroBytes, 0);
        uint32_t basis[32];
        for (int bit = 0; bit < 32; ++bit) basis[bit] = portableRaw(1u << bit, zeros.data(), zeros.size());
        for (size_t k = 0; k < 4; ++k)
            for (uint32_t b = 0; b < 256; ++b) {
                uint32_t v = 0;
                for (int bit = 0; bit < 8; ++bit)
                    if (b & (1u << bit)) v ^= basis[8 * k + bit];
                t[k][b] = v;
            }
    }
    uint32_t operator()(uint32_t crc) const {
        return t[0][crc & 0xFFu] ^ t[1][(crc >> 8) & 0xFFu] ^ t[2][(crc >> 16) & 0xFFu] ^ t[3][crc >> 24];
    }
};

// Stream lengths for the three-way split: long runs for big bodies, short ones for the rest.
constexpr size_t kLongStream = 8192;
constexpr size_t kShortStream = 256;

const ZeroShift& longShift() {
    static const ZeroShift shift(kLongStream);
    return shift;
}
const ZeroShift& shortShift() {
    static const ZeroShift shift(kShortStream);
    return shift;
}

uint64_t load64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// One CRC32 instruction has a latency of several cycles but a throughput of one per cycle, so
// three interleaved streams keep the unit busy; their CRCs are joined with the zero shifts.
__attribute__((target("sse4.2"))) uint32_t threeStreams(uint32_t crc, const uint8_t*& p, size_t& n,
                                                        size_t streamBytes, const ZeroShift& shift) {
    while (n >= 3 * streamBytes) {
        uint64_t c0 = crc, c1 = 0, c2 = 0;
        const uint8_t* a = p;
        const uint8_t* b = p + streamBytes;
        const uint8_t* c = p + 2 * streamBytes;
        for (size_t i = 0; i < streamBytes; i += 8) {
            c0 = _mm_crc32_u64(c0, load64(a + i));
            c1 = _mm_crc32_u64(c1, load64(b + i));
            c2 = _mm_crc32_u64(c2, load64(c + i));
        }
        crc = shift(static_cast<uint32_t>(c0)) ^ static_cast<uint32_t>(c1);
        crc = shift(crc) ^ static_cast<uint32_t>(c2);
        p += 3 * streamBytes;
        n -= 3 * streamBytes;
    }
    return crc;
}

__attribute__((target("sse4.2"))) uint32_t hardwareRaw(uint32_t crc, const uint8_t* p, size_t n) {
    crc = threeStreams(crc, p, n, kLongStream, longShift());
    crc = threeStreams(crc, p, n, kShortStream, shortShift());
    uint64_t c = crc;
    for (; n >= 8; p += 8, n -= 8) c = _mm_crc32_u64(c, load64(p));
    crc = static_cast<uint32_t>(c);
    for (; n > 0; ++p, --n) crc = _mm_crc32_u8(crc, *p);
    return crc;
}

bool detectHardware() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("sse4.2");
}

#else

bool detectHardware() { return false; }
uint32_t hardwareRaw(uint32_t crc, const uint8_t* p, size_t n) { return portableRaw(crc, p, n); }

#endif

const bool hasHardware = detectHardware();

}  // namespace

uint32_t crc32c(uint32_t crc, const void* data, size_t n) {
    const auto* p = static_cast<const uint8_t*>(data);
    return ~(hasHardware ? hardwareRaw(~crc, p, n) : portableRaw(~crc, p, n));
}

uint32_t crc32cPortable(uint32_t crc, const void* data, size_t n) {
    return ~portableRaw(~crc, static_cast<const uint8_t*>(data), n);
}

bool crc32cUsesHardware() { return hasHardware; }

}  // namespace tkstream63
