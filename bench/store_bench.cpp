// Scale of the dataset store: adding distinct datasets (each add compares the new dataset with
// every stored one) and searching a store of 10,000 datasets with two conditions.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "common/shared_objects.hpp"
#include "streamstore/stream_store.hpp"

namespace tkstream63 {
namespace {

// Datasets of one group and date that differ by Origin only, the usual case of many runs of
// one model: every sameness test compares the date and then the Origin.
std::vector<std::shared_ptr<rvStreamSet>> distinctDataSets(int32_t count) {
    std::vector<std::shared_ptr<rvStreamSet>> dataSets;
    dataSets.reserve(static_cast<size_t>(count));
    for (int32_t i = 1; i <= count; ++i) {
        auto dataSet = std::make_shared<rvStreamSet>();
        dataSet->Origin("RUN" + std::to_string(i));
        dataSet->GroupName("FIELD");
        dataSet->TVGroupName("Runs");
        dataSet->DateStamp("01/01/2024");
        dataSet->SourceType(i % 2 == 0 ? "SIM" : "FILE");
        dataSet->DataClass(i % 3 == 0 ? "GRID" : "LOGS");
        dataSet->Units(i % 5);
        dataSets.push_back(std::move(dataSet));
    }
    return dataSets;
}

void answerCancel() { installDuplicateNameDialog(std::make_shared<ScriptedDialog>()); }

void BM_AddDistinctDataSets(benchmark::State& state) {
    answerCancel();
    const auto count = static_cast<int32_t>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        const auto dataSets = distinctDataSets(count);
        auto store = std::make_unique<rvStreamStore>();
        state.ResumeTiming();
        for (const auto& dataSet : dataSets) store->AddItem(dataSet);
        benchmark::DoNotOptimize(store->NumberOfStreamSets());
        state.PauseTiming();
        store.reset();
        state.ResumeTiming();
    }
    state.SetComplexityN(count);
}
BENCHMARK(BM_AddDistinctDataSets)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNSquared);

rvStreamStore& searchStore() {
    static rvStreamStore store;
    if (store.NumberOfStreamSets() == 0) {
        answerCancel();
        store.CheckDataSetNames(false);  // building the store is not what is measured here
        for (const auto& dataSet : distinctDataSets(10000)) store.AddItem(dataSet);
    }
    return store;
}

void runSearch(benchmark::State& state, int32_t firstCode, const std::string& firstValue,
               int32_t secondCode, const std::string& secondValue) {
    rvStreamStore& store = searchStore();
    bool qOK = false;
    store.SearchClear();
    store.SearchAddAttribute(firstCode, firstValue, qOK);
    store.SearchAddAttribute(secondCode, secondValue, qOK);
    Array<int32_t> hits;
    int32_t nHits = 0;
    for (auto _ : state) {
        store.SearchCreatePointers(qOK);
        store.SearchPointers(hits, nHits, qOK);
        benchmark::DoNotOptimize(nHits);
    }
    state.counters["hits"] = nHits;
}

// Two conditions on codes other than Origin and source type: every dataset gets the full test.
void BM_SearchGeneral10000(benchmark::State& state) { runSearch(state, 6, "grid", 7, "3"); }
BENCHMARK(BM_SearchGeneral10000)->Unit(benchmark::kMicrosecond);

// Origin and source type: the pre-filters decide alone.
void BM_SearchOriginAndType10000(benchmark::State& state) {
    runSearch(state, 1, "run5000", 3, "sim");
}
BENCHMARK(BM_SearchOriginAndType10000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tkstream63

BENCHMARK_MAIN();
