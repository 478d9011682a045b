// One libFuzzer program per target (TKSTREAM63_FUZZ_TARGET names it). Mutated record files are
// re-sealed before they run, so most inputs pass the checksums and reach the decoders; one in
// eight is left as mutated, so damaged files keep being tried too.
#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cstring>
#include <random>

#include "fuzz/fuzz_support.hpp"
#include "fuzz/fuzz_targets.hpp"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace {

using namespace tkstream63::fuzz;

const Target& target() {
    static const Target& chosen = [] () -> const Target& {
        for (const Target& t : targets())
            if (std::strcmp(t.name, TKSTREAM63_FUZZ_TARGET) == 0) return t;
        __builtin_trap();
    }();
    return chosen;
}

size_t seal(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    if (seed % 8 == 0) return size;
    switch (target().seal) {
        case Seal::Binary: return resealBinary(data, size, maxSize);
        case Seal::Formatted: return resealFormatted(data, size, maxSize);
        case Seal::None: break;
    }
    return size;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    target().run(data, size);
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    return seal(data, LLVMFuzzerMutate(data, size, maxSize), maxSize, seed);
}

// Splices the front of one input to the back of another, cut at random places.
extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* data1, size_t size1, const uint8_t* data2, size_t size2,
                                            uint8_t* out, size_t maxOutSize, unsigned seed) {
    std::minstd_rand random(seed);
    const size_t front = size1 == 0 ? 0 : random() % (size1 + 1);
    const size_t from = size2 == 0 ? 0 : random() % (size2 + 1);
    const size_t n1 = std::min(front, maxOutSize);
    const size_t n2 = std::min(size2 - from, maxOutSize - n1);
    std::memcpy(out, data1, n1);
    std::memcpy(out + n1, data2 + from, n2);
    return seal(out, n1 + n2, maxOutSize, seed);
}
