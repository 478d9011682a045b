// Streamline table speed: loading a large node table and cutting single streamlines out of it,
// each measured next to a plain memcpy of the same bytes.
//
// The dataset is synthetic: 10,000,000 nodes x 8 columns (320 MB) in 50,000 streamlines of
// 10 to 390 nodes (200 on average), laid out one after the other as a simulator writes them.
// Extraction is compared with memcpy of the same runs into one reused buffer and into a newly
// allocated block per run; the second is what any member that re-dimensions its output pays.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
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
    Array<float> nodes;       // the host's copies of the node and pointer tables
    Array<int32_t> pointers;
    int64_t totalNodes = 0;
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
    d.pointers.redim(1, kPointerColumns, 1, 2 * nStreamlines);
    int32_t row = 1;
    for (int32_t s = 1; s <= nStreamlines; ++s) {
        const int32_t n = counts[static_cast<size_t>(s - 1)];
        d.pointers(1, s) = row;
        d.pointers(2, s) = n;
        row += n;
    }
    d.totalNodes = rows;
    bool qOK = false;
    d.set.setStreamLineData(d.nodes, kColumns, rows, qOK);
    d.set.setStreamLinePointers(d.pointers, kPointerColumns, nStreamlines, qOK);
    Array<std::string> headers(1, kColumns);
    d.set.setHeaders(headers, headers, kColumns, qOK);
}

// Built on first use and kept for the whole run.
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

// A table of a new shape each time, in a new dataset (a host loading one time step after
// another and dropping the one before): every call gets a new block, so it also pays for that
// block's pages unless the library serves it from a dropped table. The first call of a run
// takes fresh pages from the system; first_call_ms and later_call_ms show the two cases apart.
void BM_SetStreamLineDataNewShape(benchmark::State& state) {
    Dataset& d = largeDataset();
    bool qOK = false;
    int32_t rows = kNodes;
    std::vector<double> callMs;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        rows = rows == kNodes ? kNodes - 1 : kNodes;
        auto set = std::make_unique<rvStreamSet>();
        set->setStreamLineData(d.nodes, kColumns, rows, qOK);
        set.reset();
        callMs.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    if (!qOK) state.SkipWithError("setStreamLineData failed");
    state.counters["first_call_ms"] = callMs.front();
    if (callMs.size() > 1)
        state.counters["later_call_ms"] =
            std::accumulate(callMs.begin() + 1, callMs.end(), 0.0) / static_cast<double>(callMs.size() - 1);
    state.SetBytesProcessed(state.iterations() * kTableBytes);
}

// ---- single streamline extraction over every streamline ----

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
    state.SetBytesProcessed(state.iterations() * d.totalNodes * int64_t{sizeof(float)});
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
    state.SetBytesProcessed(state.iterations() * d.totalNodes * 3 * int64_t{sizeof(float)});
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
    state.SetBytesProcessed(state.iterations() * d.totalNodes * kColumns * int64_t{sizeof(float)});
}

// The same runs copied with memcpy, each found through the same pointer table: range(0)
// columns from column range(1) on. With range(2) = 0 every run goes into one reused buffer;
// with 1 each column run gets a newly allocated block, as a re-dimensioned output does.
void BM_MemcpyRuns(benchmark::State& state) {
    Dataset& d = largeDataset();
    const auto nColumns = static_cast<size_t>(state.range(0));
    const auto firstColumn = static_cast<size_t>(state.range(1));
    const bool freshBlocks = state.range(2) != 0;
    std::vector<float> reused(400 * static_cast<size_t>(kColumns));
    std::vector<std::unique_ptr<float[]>> blocks(nColumns);
    const float* table = d.nodes.data();
    const int32_t* pointer = d.pointers.data();
    for (auto _ : state) {
        for (size_t s = 0; s < kStreamlines; ++s) {
            const auto first = static_cast<size_t>(pointer[s * kPointerColumns] - 1);
            const auto n = static_cast<size_t>(pointer[s * kPointerColumns + 1]);
            for (size_t c = 0; c < nColumns; ++c) {
                float* target = reused.data() + c * n;
                if (freshBlocks) {
                    auto block = std::make_unique_for_overwrite<float[]>(n);
                    target = block.get();
                    blocks[c] = std::move(block);
                }
                const size_t column = firstColumn - 1 + c;
                std::memcpy(target, table + column * kNodes + first, n * sizeof(float));
                benchmark::DoNotOptimize(target);
            }
        }
    }
    state.SetBytesProcessed(state.iterations() * d.totalNodes * static_cast<int64_t>(nColumns) *
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

// Rates are per CPU second: on a shared machine the wall clock counts other processes too.
BENCHMARK(BM_SetStreamLineData)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyNodeTable)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetStreamLineDataNewShape)->Iterations(12)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExtractTOF)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyRuns)->Name("BM_MemcpyRuns/TOF")->Args({1, 5, 0})->Args({1, 5, 1})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExtractPositions)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyRuns)->Name("BM_MemcpyRuns/Positions")->Args({3, 1, 0})->Args({3, 1, 1})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExtractWholeStreamline)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyRuns)->Name("BM_MemcpyRuns/Whole")->Args({8, 1, 0})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TenNodeTOF);
BENCHMARK(BM_TenNodeWholeStreamline);

}  // namespace

BENCHMARK_MAIN();
