// Scale of the dataset store, printed as one JSON object:
//   adds_ms         AddItem of N distinct small datasets into an empty store (sameness test on)
//   load_ms         BINARYIMPORT of a saved store of those N datasets into an empty store
//   decode_only_ms  the same file read and every dataset decoded, without adding
//   growth_exponent / load_growth_exponent   least-squares slope of log(time) over log(N)
//   bytes_per_dataset        heap per stored dataset, the dataset itself included
//   store_bytes_per_dataset  the store's own share of it (list and sameness index)
//   search_100000_ms         two conditions (data class and units: every dataset gets the full
//                            test) over 100,000 datasets; search_origin_type_100000_ms: Origin
//                            and source type, which the pre-filters settle
// Times are CPU milliseconds (the machine is shared), the best of a few runs, each started with
// cold caches so that a small store does not run from cache while a large one cannot.
//
//   cmake -S . -B build-rel -DCMAKE_BUILD_TYPE=Release -DTKSTREAM63_BENCH=ON -DTKSTREAM63_WERROR=OFF
//   cmake --build build-rel --target store_bench && build-rel/bench/store_bench
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/shared_objects.hpp"
#include "recordfile/record_file.hpp"
#include "recordfile/record_reading_loop.hpp"
#include "streamstore/stream_store.hpp"

namespace {

using namespace tkstream63;

const std::vector<int32_t> kSizes = {5000, 10000, 20000, 40000, 100000};
constexpr int32_t kRuns = 20;  // results of a field history: kRuns origins, one date per step

std::string numbered(std::string text, int32_t number) {
    text += std::to_string(number);
    return text;
}

// A field history: each dataset one time step of one of kRuns runs, with a node table of four
// nodes so that the file carries a table per dataset.
std::vector<std::shared_ptr<rvStreamSet>> smallDataSets(int32_t count) {
    Array<float> nodes(1, 4, 1, 8);
    for (size_t k = 0; k < nodes.size(); ++k) nodes.data()[k] = static_cast<float>(k);
    std::vector<std::shared_ptr<rvStreamSet>> dataSets;
    dataSets.reserve(static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        auto d = std::make_shared<rvStreamSet>();
        d->Origin(numbered("RUN", i % kRuns));
        d->GroupName("FIELD");
        d->TVGroupName("Runs");
        d->DateStamp(numbered("step ", i / kRuns));
        d->UniqueKey(numbered("K", i));
        d->SourceType(i % 2 == 0 ? "SIM" : "FILE");
        d->DataClass(i % 3 == 0 ? "GRID" : "LOGS");
        d->Units(i % 5);
        bool qOK = false;
        d->setStreamLineData(nodes, 8, 4, qOK);
        dataSets.push_back(std::move(d));
    }
    return dataSets;
}

double cpuMs() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
}

// Writes over a block larger than the caches.
void flushCaches() {
    static std::vector<char> block(256 << 20);
    static char value = 0;
    std::fill(block.begin(), block.end(), ++value);
}

// Best of `runs`; prepare runs untimed before each.
double bestMs(int runs, const std::function<void()>& prepare, const std::function<void()>& work) {
    double best = 1e300;
    for (int r = 0; r < runs; ++r) {
        prepare();
        flushCaches();
        const double start = cpuMs();
        work();
        best = std::min(best, cpuMs() - start);
    }
    return best;
}

size_t heapInUse() { return mallinfo2().uordblks; }

std::string storePath(int32_t n) {
    return "/tmp/tkstream63-store-bench-" + std::to_string(::getpid()) + "-" + std::to_string(n) + ".rec";
}

bool save(rvStreamStore& store, const std::string& path) {
    RecordFile file;
    bool qOK = false;
    if (!file.OpenForWriting(path)) return false;
    store.BINARYEXPORT(file, qOK);
    return file.Commit() && qOK;
}

// Into a store made beforehand; releasing it afterwards is not part of the load.
int32_t load(const std::string& path, rvStreamStore& store) {
    RecordFile file;
    file.OpenForReading(path);
    bool qOK = false;
    store.BINARYIMPORT(file, qOK);
    return qOK ? store.NumberOfStreamSets() : -1;
}

// The store's own records are read past; each dataset is decoded as the import does (into a new
// shared dataset) and dropped.
int32_t decodeOnly(const std::string& path) {
    RecordFile file;
    file.OpenForReading(path);
    RecordIO io;
    int32_t decoded = 0;
    const ReadingLoopSettings settings{"store_bench", "decodeOnly", "<STREAMSTORE"};
    runReadingLoop(io, file, settings, [&](const RecordHeader& header) {
        if (header.keyword == "<STREAMSTORE") return RecordStep::SectionClosed;
        if (header.keyword == "STREAMSET>") {
            auto dataSet = std::make_shared<rvStreamSet>();
            bool qOK = false;
            dataSet->BINARYIMPORT(file, qOK);
            decoded += qOK ? 1 : 0;
        } else if (header.keyword != "STREAMSTORE>") {
            readPast(io, file, header);
        }
        return RecordStep::Next;
    });
    return decoded;
}

double slope(const std::map<int32_t, double>& ms) {
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (const auto& [n, t] : ms) {
        const double x = std::log(n), y = std::log(t);
        sx += x, sy += y, sxx += x * x, sxy += x * y;
    }
    const auto k = static_cast<double>(ms.size());
    return (k * sxy - sx * sy) / (k * sxx - sx * sx);
}

double searchMs(rvStreamStore& store, int32_t code1, const std::string& value1, int32_t code2,
                const std::string& value2) {
    bool qOK = false;
    store.SearchClear();
    store.SearchAddAttribute(code1, value1, qOK);
    store.SearchAddAttribute(code2, value2, qOK);
    Array<int32_t> hits;
    int32_t nHits = 0;
    return bestMs(5, [] {}, [&] {
        store.SearchCreatePointers(qOK);
        store.SearchPointers(hits, nHits, qOK);
    });
}

void printSeries(const char* name, const std::map<int32_t, double>& ms) {
    std::printf("  \"%s\": {", name);
    const char* separator = "";
    for (const auto& [n, t] : ms) {
        std::printf("%s\"%d\": %.1f", separator, n, t);
        separator = ", ";
    }
    std::printf("},\n");
}

}  // namespace

int main() {
    installDuplicateNameDialog(std::make_shared<ScriptedDialog>());  // a clash would cancel
    std::map<int32_t, double> adds, loads, decodes;
    double bytesPerDataSet = 0, storeBytesPerDataSet = 0, search = 0, searchOriginType = 0;
    for (const int32_t n : kSizes) {
        // Adds: enough stores of n datasets to make 100,000 adds in all, so every size runs the
        // same amount of work over the same amount of dataset memory; the time is per store.
        const int32_t stores = kSizes.back() / n;
        std::vector<std::shared_ptr<rvStreamSet>> dataSets;
        std::vector<rvStreamStore> filled;
        const double allStores = bestMs(5, [&] {
            filled.clear();
            dataSets.clear();
            dataSets = smallDataSets(n * stores);
            filled = std::vector<rvStreamStore>(static_cast<size_t>(stores));
        }, [&] {
            for (size_t k = 0; k < dataSets.size(); ++k) filled[k / static_cast<size_t>(n)].AddItem(dataSets[k]);
        });
        adds[n] = allStores / stores;
        rvStreamStore* store = &filled.front();
        if (store->NumberOfStreamSets() != n) std::fprintf(stderr, "adds: %d stored of %d\n", store->NumberOfStreamSets(), n);
        const int runs = n >= 100000 ? 3 : 5;

        const std::string path = storePath(n);
        if (!save(*store, path)) std::fprintf(stderr, "save of %d failed\n", n);
        int32_t loaded = 0, decoded = 0;
        std::unique_ptr<rvStreamStore> target;
        loads[n] = bestMs(runs, [&] {
            target.reset();
            target = std::make_unique<rvStreamStore>();
        }, [&] { loaded = load(path, *target); });
        target.reset();
        decodes[n] = bestMs(runs, [] {}, [&] { decoded = decodeOnly(path); });
        if (loaded != n || decoded != n) std::fprintf(stderr, "load %d / decode %d of %d\n", loaded, decoded, n);
        ::unlink(path.c_str());

        if (n == kSizes.back()) {
            search = searchMs(*store, 6, "grid", 7, "3");
            searchOriginType = searchMs(*store, 1, "run7", 3, "sim");
            filled.clear();
            dataSets.clear();
            const size_t empty = heapInUse();
            dataSets = smallDataSets(n);
            const size_t withDataSets = heapInUse();
            rvStreamStore measured;
            for (const auto& d : dataSets) measured.AddItem(d);
            const size_t withStore = heapInUse();
            bytesPerDataSet = static_cast<double>(withStore - empty) / n;
            storeBytesPerDataSet = static_cast<double>(withStore - withDataSets) / n;
        }
    }
    std::printf("{\n");
    printSeries("adds_ms", adds);
    printSeries("load_ms", loads);
    printSeries("decode_only_ms", decodes);
    std::printf("  \"growth_exponent\": %.3f,\n", slope(adds));
    std::printf("  \"load_growth_exponent\": %.3f,\n", slope(loads));
    std::printf("  \"load_to_decode_100000\": %.2f,\n", loads[kSizes.back()] / decodes[kSizes.back()]);
    std::printf("  \"bytes_per_dataset\": %.0f,\n", bytesPerDataSet);
    std::printf("  \"store_bytes_per_dataset\": %.0f,\n", storeBytesPerDataSet);
    std::printf("  \"search_100000_ms\": %.2f,\n", search);
    std::printf("  \"search_origin_type_100000_ms\": %.2f\n", searchOriginType);
    std::printf("}\n");
    return 0;
}
