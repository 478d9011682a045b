#include "recordfile/crc32c.hpp"

#include <array>
#include <cstring>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace tkstream63 {
namespace {

// Reflected form of the Castagnoli polynomial 0x1EDC6F41.
constexpr uint32_t kPolynomial = 0x82F63B78u;

// The routines below work on the raw CRC register; the public functions add the usual pre- and
// post-inversion. The register update is linear in (register, data), which is what lets the
// hardware paths split the message and join the parts afterwards.

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

// ---- AVX-512: carry-less multiplication folding the message forward ----
//
// A 128-bit lane holds 16 message bytes. Folding moves a lane D bytes forward: its two halves are
// multiplied by x^(8D+31) and x^(8D-33) modulo the polynomial (constants in the reflected form
// the processor's carry-less multiply needs) and the products are added to the lane D bytes
// later. Four 512-bit registers of four lanes each take 256 bytes a round; at the end they are
// folded into one lane, and the CRC32 instruction gives the CRC of that lane and the last bytes.
// (Folding 128-bit lanes alone is slower than the three CRC32 streams, so it is not offered.)
// Left out where g++ targets Windows, which does not align the stack for 512-bit values.
#if !(defined(_WIN32) && defined(__GNUC__) && !defined(__clang__))
#define TKSTREAM63_CRC_AVX512 1

#define TKSTREAM63_FOLD_TARGET __attribute__((target("sse4.2,pclmul,avx512f,vpclmulqdq")))

// x^n modulo the polynomial, reflected (bit 31 - d holds the coefficient of x^d).
constexpr uint32_t powerOfX(uint32_t n) {
    uint32_t v = 0x80000000u;
    for (; n > 0; --n) v = (v >> 1) ^ ((v & 1u) ? kPolynomial : 0u);
    return v;
}

struct FoldConstants {
    uint64_t low;   // for the lane's first eight bytes
    uint64_t high;  // for its last eight
};
constexpr FoldConstants foldBy(uint32_t bytes) { return {powerOfX(8 * bytes + 31), powerOfX(8 * bytes - 33)}; }

constexpr FoldConstants kFold16 = foldBy(16), kFold32 = foldBy(32), kFold48 = foldBy(48), kFold64 = foldBy(64),
                        kFold128 = foldBy(128), kFold192 = foldBy(192), kFold256 = foldBy(256);
constexpr size_t kFoldMinimum = 512;

TKSTREAM63_FOLD_TARGET __m128i constantsOf(FoldConstants k) {
    return _mm_set_epi64x(static_cast<int64_t>(k.high), static_cast<int64_t>(k.low));
}

TKSTREAM63_FOLD_TARGET __m128i fold(__m128i lane, FoldConstants k) {
    return _mm_xor_si128(_mm_clmulepi64_si128(lane, constantsOf(k), 0x00),
                         _mm_clmulepi64_si128(lane, constantsOf(k), 0x11));
}

// Four lanes at once, added to next.
TKSTREAM63_FOLD_TARGET __m512i foldWide(__m512i lanes, FoldConstants k, __m512i next) {
    const auto low = static_cast<int64_t>(k.low), high = static_cast<int64_t>(k.high);
    const __m512i constants = _mm512_set_epi64(high, low, high, low, high, low, high, low);
    // 0x96: the exclusive or of all three operands.
    return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(lanes, constants, 0x00),
                                     _mm512_clmulepi64_epi128(lanes, constants, 0x11), next, 0x96);
}

TKSTREAM63_FOLD_TARGET uint32_t foldingRaw(uint32_t crc, const uint8_t* p, size_t n) {
    if (n < kFoldMinimum) return hardwareRaw(crc, p, n);
    // The register joins the message as its first four bytes.
    __m512i z0 = _mm512_xor_si512(_mm512_loadu_si512(p), _mm512_maskz_set1_epi32(1, static_cast<int>(crc)));
    __m512i z1 = _mm512_loadu_si512(p + 64), z2 = _mm512_loadu_si512(p + 128), z3 = _mm512_loadu_si512(p + 192);
    for (p += 256, n -= 256; n >= 256; p += 256, n -= 256) {
        z0 = foldWide(z0, kFold256, _mm512_loadu_si512(p));
        z1 = foldWide(z1, kFold256, _mm512_loadu_si512(p + 64));
        z2 = foldWide(z2, kFold256, _mm512_loadu_si512(p + 128));
        z3 = foldWide(z3, kFold256, _mm512_loadu_si512(p + 192));
    }
    const __m512i z = foldWide(z0, kFold192, foldWide(z1, kFold128, foldWide(z2, kFold64, z3)));
    // (The zero-masked extraction, because g++ takes the plain one's undefined filler for a
    // read of an uninitialised value.)
    __m128i lane = _mm_xor_si128(_mm_xor_si128(fold(_mm512_maskz_extracti32x4_epi32(0xF, z, 0), kFold48),
                                               fold(_mm512_maskz_extracti32x4_epi32(0xF, z, 1), kFold32)),
                                 _mm_xor_si128(fold(_mm512_maskz_extracti32x4_epi32(0xF, z, 2), kFold16),
                                               _mm512_maskz_extracti32x4_epi32(0xF, z, 3)));
    for (; n >= 16; p += 16, n -= 16)
        lane = _mm_xor_si128(fold(lane, kFold16), _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    uint64_t c = _mm_crc32_u64(0, static_cast<uint64_t>(_mm_cvtsi128_si64(lane)));
    c = _mm_crc32_u64(c, static_cast<uint64_t>(_mm_extract_epi64(lane, 1)));
    return hardwareRaw(static_cast<uint32_t>(c), p, n);
}
#endif

bool supports(Crc32cMethod method) {
    __builtin_cpu_init();
    switch (method) {
        case Crc32cMethod::Portable:
            return true;
        case Crc32cMethod::Sse42:
            return __builtin_cpu_supports("sse4.2");
        case Crc32cMethod::Avx512:
#if defined(TKSTREAM63_CRC_AVX512)
            return __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("pclmul") &&
                   __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("vpclmulqdq");
#else
            return false;
#endif
    }
    return false;
}

uint32_t rawWith(Crc32cMethod method, uint32_t crc, const uint8_t* p, size_t n) {
    switch (method) {
        case Crc32cMethod::Sse42:
            return hardwareRaw(crc, p, n);
#if defined(TKSTREAM63_CRC_AVX512)
        case Crc32cMethod::Avx512:
            return foldingRaw(crc, p, n);
#endif
        default:
            return portableRaw(crc, p, n);
    }
}

#else

bool supports(Crc32cMethod method) { return method == Crc32cMethod::Portable; }
uint32_t rawWith(Crc32cMethod, uint32_t crc, const uint8_t* p, size_t n) { return portableRaw(crc, p, n); }

#endif

Crc32cMethod fastestMethod() {
    for (Crc32cMethod method : {Crc32cMethod::Avx512, Crc32cMethod::Sse42})
        if (supports(method)) return method;
    return Crc32cMethod::Portable;
}

// Chosen at the first use, so that a use while the program starts (another file's static
// initialisation) gets the fast method too, not the table method of a not yet initialised choice.
Crc32cMethod bestMethod() {
    static const Crc32cMethod method = fastestMethod();
    return method;
}

}  // namespace

uint32_t crc32c(uint32_t crc, const void* data, size_t n) {
    return ~rawWith(bestMethod(), ~crc, static_cast<const uint8_t*>(data), n);
}

uint32_t crc32cPortable(uint32_t crc, const void* data, size_t n) {
    return ~portableRaw(~crc, static_cast<const uint8_t*>(data), n);
}

bool crc32cAvailable(Crc32cMethod method) { return supports(method); }

uint32_t crc32cWith(Crc32cMethod method, uint32_t crc, const void* data, size_t n) {
    if (!supports(method)) method = Crc32cMethod::Portable;
    return ~rawWith(method, ~crc, static_cast<const uint8_t*>(data), n);
}

Crc32cMethod crc32cMethod() { return bestMethod(); }

}  // namespace tkstream63
