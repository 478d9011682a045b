// Streamline table speed: loading a large node table and cutting single streamlines out of it,
// each measured next to a plain memcpy of the same bytes.
//
// The dataset is synthetic: 10,000,000 nodes x 8 columns (320 MB) in 50,000 streamlines of
// 10 to 390 nodes (200 on average), laid out one after the other as a simulator writes them.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "streamset/stream_set.hpp"

namespace {

using tkstream63::Array;
using tkstream63::rvStreamSet;

constexpr int32_t kNodes = 10'000'000;
constexpr int32_t kColumns = 8;
constexpr int32_t kStreamlines = 50'000;
constexpr int32_t kPointerColumns = 8;
constexpr int32_t kShortNodes = 10;
constexpr int32_t kShortStreamlines = 1'000;

struct Dataset {
    Array<float> nodes;  // the host's copy of the node table
    std::vector<int32_t> first;
    std::vector<int32_t> count;
    rvStreamSet set;
};

// Builds a dataset whose streamlines have the given node counts.
void build(Dataset& d, const std::vector<int32_t>& counts) {
    const auto nStreamlines = static_cast<int32_t>(counts.size());
    int32_t rows = 0;
    for (int32_t n : counts) rows += n;
    d.nodes.redimForOverwrite(1, rows, 1, kColumns);
    float* values = d.nodes.data();
    for (size_t k = 0; k < d.nodes.size(); ++k) values[k] = static_cast<float>(k % 1000);
    Array<int32_t> pointers(1, kPointerColumns, 1, 2 * nStreamlines);
    int32_t row = 1;
    for (int32_t s = 1; s <= nStreamlines; ++s) {
        const int32_t n = counts[static_cast<size_t>(s - 1)];
        pointers(1, s) = row;
        pointers(2, s) = n;
        d.first.push_back(row);
        d.count.push_back(n);
        row += n;
    }
    bool qOK = false;
    d.set.setStreamLineData(d.nodes, kColumns, rows, qOK);
    d.set.setStreamLinePointers(pointers, kPointerColumns, nStreamlines, qOK);
    Array<std::string> headers(1, kColumns);
    d.set.setHeaders(headers, headers, kColumns, qOK);
}

Dataset& largeDataset() {
    static Dataset* d = [] {
        auto* built = new Dataset;
        // Pairs of streamlines 200 - k and 200 + k nodes long keep the total at 10,000,000.
        std::vector<int32_t> counts;
        for (int32_t p = 0; p < kStreamlines / 2; ++p) {
            const int32_t k = (p * 37) % 191;
            counts.push_back(200 - k);
            counts.push_back(200 + k);
        }
        build(*built, counts);
        return built;
    }();
    return *d;
}

Dataset& shortDataset() {
    static Dataset* d = [] {
        auto* built = new Dataset;
        build(*built, std::vector<int32_t>(kShortStreamlines, kShortNodes));
        return built;
    }();
    return *d;
}

constexpr int64_t kTableBytes = int64_t{kNodes} * kColumns * sizeof(float);

// ---- loading the node table ----

void BM_SetStreamLineData(benchmark::State& state) {
    Dataset& d = largeDataset();
    bool qOK = false;
    for (auto _ : state) d.set.setStreamLineData(d.nodes, kColumns, kNodes, qOK);
    if (!qOK) state.SkipWithError("setStreamLineData failed");
    state.SetBytesProcessed(state.iterations() * kTableBytes);
}

void BM_MemcpyNodeTable(benchmark::State& state) {
    Dataset& d = largeDataset();
    std::vector<float> target(static_cast<size_t>(kNodes) * kColumns);
    for (auto _ : state) {
        std::memcpy(target.data(), d.nodes.data(), static_cast<size_t>(kTableBytes));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kTableBytes);
}

// A table of a new shape each time: the stored table is allocated afresh, so every call also
// pays for the pages of the new block.
void BM_SetStreamLineDataNewShape(benchmark::State& state) {
    Dataset& d = largeDataset();
    rvStreamSet set;
    bool qOK = false;
    int32_t rows = kNodes;
    for (auto _ : state) {
        rows = rows == kNodes ? kNodes - 1 : kNodes;
        set.setStreamLineData(d.nodes, kColumns, rows, qOK);
    }
    state.SetBytesProcessed(state.iterations() * kTableBytes);
}

// ---- single streamline extraction over every streamline ----

int64_t nodesOf(const Dataset& d) {
    int64_t total = 0;
    for (int32_t n : d.count) total += n;
    return total;
}

void BM_ExtractTOF(benchmark::State& state) {
    Dataset& d = largeDataset();
    Array<float> tof;
    int32_t nnodes = 0;
    bool qOK = false;
    for (auto _ : state) {
        for (int32_t s = 1; s <= kStreamlines; ++s) {
            d.set.getSingleStreamlineTOF(s, tof, nnodes, qOK);
            benchmark::DoNotOptimize(tof.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * nodesOf(d) * int64_t{sizeof(float)});
}

void BM_ExtractPositions(benchmark::State& state) {
    Dataset& d = largeDataset();
    Array<float> x, y, z;
    int32_t nnodes = 0;
    bool qOK = false;
    for (auto _ : state) {
        for (int32_t s = 1; s <= kStreamlines; ++s) {
            d.set.getSingleStreamlinePositions(s, x, y, z, nnodes, qOK);
            benchmark::DoNotOptimize(z.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * nodesOf(d) * 3 * int64_t{sizeof(float)});
}

void BM_ExtractWholeStreamline(benchmark::State& state) {
    Dataset& d = largeDataset();
    Array<float> data;
    int32_t nCols = 0, nnodes = 0;
    bool qOK = false;
    for (auto _ : state) {
        for (int32_t s = 1; s <= kStreamlines; ++s) {
            d.set.getSingleStreamline(s, data, nCols, nnodes, qOK);
            benchmark::DoNotOptimize(data.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * nodesOf(d) * kColumns * int64_t{sizeof(float)});
}

// The same runs copied with memcpy into one reused buffer: columns 1 to state.range(0).
// range(1) is the first column (5 for TOF).
void BM_MemcpyRuns(benchmark::State& state) {
    Dataset& d = largeDataset();
    const auto firstColumn = static_cast<int32_t>(state.range(1));
    const auto nColumns = static_cast<int32_t>(state.range(0));
    std::vector<float> target(400 * static_cast<size_t>(kColumns));
    const float* table = d.nodes.data();
    for (auto _ : state) {
        for (size_t s = 0; s < d.first.size(); ++s) {
            const auto n = static_cast<size_t>(d.count[s]);
            for (int32_t c = 0; c < nColumns; ++c) {
                const size_t column = static_cast<size_t>(firstColumn - 1 + c);
                std::memcpy(target.data() + c * n,
                            table + column * kNodes + static_cast<size_t>(d.first[s] - 1),
                            n * sizeof(float));
            }
            benchmark::DoNotOptimize(target.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * nodesOf(d) * nColumns *
                            int64_t{sizeof(float)});
}

// ---- per-call cost on a 10-node streamline ----

void BM_TenNodeTOF(benchmark::State& state) {
    Dataset& d = shortDataset();
    Array<float> tof;
    int32_t nnodes = 0;
    bool qOK = false;
    int32_t s = 0;
    for (auto _ : state) {
        s = s == kShortStreamlines ? 1 : s + 1;
        d.set.getSingleStreamlineTOF(s, tof, nnodes, qOK);
        benchmark::DoNotOptimize(tof.data());
    }
}

void BM_TenNodeWholeStreamline(benchmark::State& state) {
    Dataset& d = shortDataset();
    Array<float> data;
    int32_t nCols = 0, nnodes = 0;
    bool qOK = false;
    int32_t s = 0;
    for (auto _ : state) {
        s = s == kShortStreamlines ? 1 : s + 1;
        d.set.getSingleStreamline(s, data, nCols, nnodes, qOK);
        benchmark::DoNotOptimize(data.data());
    }
}

BENCHMARK(BM_SetStreamLineData)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MemcpyNodeTable)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SetStreamLineDataNewShape)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ExtractTOF)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MemcpyRuns)->Name("BM_MemcpyRuns/TOF")->Args({1, 5})->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_ExtractPositions)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MemcpyRuns)->Name("BM_MemcpyRuns/Positions")->Args({3, 1})
    ->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ExtractWholeStreamline)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MemcpyRuns)->Name("BM_MemcpyRuns/Whole")->Args({8, 1})
    ->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TenNodeTOF);
BENCHMARK(BM_TenNodeWholeStreamline);

}  // namespace

BENCHMARK_MAIN();
