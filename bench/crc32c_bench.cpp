// CRC-32C speed: the checksum every record body passes through on save and load, by each method
// this processor runs. A record body is checksummed 1 MiB at a time right after the system
// copied it (so from the cache); the 320 MB run shows the speed when memory is the limit.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "recordfile/crc32c.hpp"

namespace {

using tkstream63::Crc32cMethod;

std::vector<uint8_t> block(size_t bytes) {
    std::vector<uint8_t> data(bytes);
    uint32_t x = 2463534242u;
    for (auto& byte : data) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        byte = static_cast<uint8_t>(x);
    }
    return data;
}

// range(0): the method (-1: the one crc32c() chose); range(1): the block size.
void BM_Crc32c(benchmark::State& state) {
    const auto method = state.range(0) < 0 ? tkstream63::crc32cMethod() : static_cast<Crc32cMethod>(state.range(0));
    if (!tkstream63::crc32cAvailable(method)) {
        state.SkipWithError("not available on this processor");
        return;
    }
    const auto data = block(static_cast<size_t>(state.range(1)));
    for (auto _ : state) benchmark::DoNotOptimize(tkstream63::crc32cWith(method, 0, data.data(), data.size()));
    state.SetBytesProcessed(state.iterations() * state.range(1));
    state.SetLabel(method == tkstream63::crc32cMethod() ? "chosen" : "");
}

BENCHMARK(BM_Crc32c)
    ->ArgNames({"method", "bytes"})
    ->ArgsProduct({{0, 1, 2}, {1 << 20}})
    ->Args({-1, 320 << 20})
    ->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
