// CRC-32C speed: the checksum every record body passes through on save and load. Measured on a
// block that stays in the processor's cache (the checksum's own speed) and on a 320 MB block (a
// large node table, limited by memory as a save is).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "recordfile/crc32c.hpp"

namespace {

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

void BM_Crc32c(benchmark::State& state) {
    const auto data = block(static_cast<size_t>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(tkstream63::crc32c(0, data.data(), data.size()));
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.SetLabel(tkstream63::crc32cUsesHardware() ? "hardware" : "portable");
}

void BM_Crc32cPortable(benchmark::State& state) {
    const auto data = block(static_cast<size_t>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(tkstream63::crc32cPortable(0, data.data(), data.size()));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_Crc32c)->Arg(1 << 20)->Arg(320 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Crc32cPortable)->Arg(1 << 20)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
