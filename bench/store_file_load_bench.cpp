// Loading one given store file with the C++ library: the reference that
// bench/python_load_bench.py compares the Python module's tkstream63.load with.
//
//   TKSTREAM63_BENCH_STORE=<store file> build-bench/bench/store_file_load_bench
//
// Each iteration opens the file and imports it into a fresh store; dropping the store is left
// out of the time, as it is on the Python side.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "recordfile/record_file.hpp"
#include "streamstore/stream_store.hpp"

namespace {

using namespace tkstream63;

void BM_LoadStoreFile(benchmark::State& state) {
    const char* path = std::getenv("TKSTREAM63_BENCH_STORE");
    if (path == nullptr || *path == '\0') {
        state.SkipWithError("set TKSTREAM63_BENCH_STORE to a store file");
        return;
    }
    for (auto _ : state) {
        auto store = std::make_unique<rvStreamStore>();
        RecordFile file;
        bool qOK = false;
        if (!file.OpenForReading(path)) {
            state.SkipWithError(file.LastError().c_str());
            return;
        }
        store->BINARYIMPORT(file, qOK);
        if (!qOK) {
            state.SkipWithError("the store did not load");
            return;
        }
        benchmark::DoNotOptimize(store->NumberOfStreamSets());
        state.PauseTiming();
        store.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_LoadStoreFile)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(7);

}  // namespace

BENCHMARK_MAIN();
