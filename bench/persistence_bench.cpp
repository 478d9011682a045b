// Store export and import speed and import memory: a store holding one dataset of 10,000,000
// nodes x 8 columns (a 320 MB node table) and 50,000 streamlines, saved to and loaded from $TMPDIR,
// against plain write()/read() of the same table bytes in the same run.
//
//   cmake -S . -B build-persist-bench -DCMAKE_BUILD_TYPE=Release -DTKSTREAM63_BENCH=ON -DTKSTREAM63_TESTS=OFF
//   cmake --build build-persist-bench --target persistence_bench && build-persist-bench/bench/persistence_bench
//
// Both sides run in every iteration, taking turns at going first, so a busy machine hits them
// alike; the counters give each side's throughput and the library's share of the plain figure
// over all runs (ratio), for each side's fastest run (best_ratio), as the median of the
// iterations' own ratios (median_ratio, the least moved by stalls of a shared machine) and in
// processor time over all runs (cpu_ratio); 1.0 = as fast as plain write()/read(), checksums
// included on the library side. After
// the benchmarks the program imports the file once more in a fresh process of its own and
// reports that process's peak memory growth against the size of the loaded tables.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/shared_objects.hpp"
#include "recordfile/record_file.hpp"
#include "streamstore/stream_store.hpp"

namespace {

using namespace tkstream63;

constexpr int32_t kColumns = 8;
constexpr int32_t kNodes = 10'000'000;
constexpr int32_t kStreamlines = 50'000;
constexpr int32_t kPointerColumns = 8;
constexpr size_t kNodeBytes = size_t{kNodes} * kColumns * sizeof(float);
constexpr size_t kPointerBytes = size_t{kPointerColumns} * 2 * kStreamlines * sizeof(int32_t);
constexpr size_t kTableBytes = kNodeBytes + kPointerBytes;

// In the temporary folder (TMPDIR, else /tmp), where a run of its own can be given a folder.
const std::string kRawPath = (std::filesystem::temp_directory_path() / "tkstream63-persist-raw.bin").string();
const std::string kStorePath = (std::filesystem::temp_directory_path() / "tkstream63-persist-store.rec").string();

// The store, built once: streamlines of 200 nodes each, one after the other.
rvStreamStore& store() {
    static rvStreamStore* built = [] {
        auto dataSet = std::make_shared<rvStreamSet>();
        bool ok = false;
        {
            Array<float> nodes;
            nodes.redimForOverwrite(1, kNodes, 1, kColumns);
            for (size_t k = 0; k < nodes.size(); ++k) nodes.data()[k] = static_cast<float>(k % 100003) * 0.5f;
            dataSet->setStreamLineData(nodes, kColumns, kNodes, ok);
        }
        Array<int32_t> pointers(1, kPointerColumns, 1, 2 * kStreamlines);
        const int32_t perLine = kNodes / kStreamlines;
        for (int32_t s = 1; s <= kStreamlines; ++s) {
            pointers(1, s) = 1 + (s - 1) * perLine;
            pointers(2, s) = perLine;
            pointers(7, s) = 1;
            pointers(8, s) = 2;
        }
        dataSet->setStreamLinePointers(pointers, kPointerColumns, kStreamlines, ok);
        Array<std::string> headers(1, kColumns);
        const char* names[kColumns] = {"X", "Y", "Z", "CELL", "TOF", "DRT", "VEL", "SAT"};
        for (int32_t c = 1; c <= kColumns; ++c) headers(c) = names[c - 1];
        dataSet->setHeaders(headers, headers, kColumns, ok);
        dataSet->Origin("BENCH");
        auto* result = new rvStreamStore;
        result->AddItem(dataSet);
        return result;
    }();
    return *built;
}

// Page-aligned buffers for the plain side: write() and read() copy fastest when the memory and
// the file offset agree within their pages, so the plain figures are the best the system gives.
constexpr size_t kPageBytes = 4096;
struct FreeAligned {
    void operator()(char* p) const { std::free(p); }
};
using AlignedBytes = std::unique_ptr<char[], FreeAligned>;
AlignedBytes alignedBytes(size_t n) {
    return AlignedBytes(static_cast<char*>(std::aligned_alloc(kPageBytes, (n + kPageBytes - 1) / kPageBytes * kPageBytes)));
}

// The node and pointer table bytes as the host holds them, for the plain side.
const char* rawBytes() {
    static const AlignedBytes bytes = [] {
        AlignedBytes all = alignedBytes(kTableBytes);
        std::memset(all.get(), 0, kTableBytes);
        // The tables are private to the dataset; a plain block of the same size and values does.
        for (size_t k = 0; k < kNodeBytes / sizeof(float); ++k) {
            const float value = static_cast<float>(k % 100003) * 0.5f;
            std::memcpy(all.get() + k * sizeof(float), &value, sizeof value);
        }
        return all;
    }();
    return bytes.get();
}

// Time spent by one side: the total over the iterations and the fastest single run (the figure
// least disturbed by other work on a shared machine).
// The processor time of the process (user and system, every thread: the library checksums large
// bodies on a second thread) is kept too: on a machine whose cores are shared, wall time is
// mostly waiting, and the processor time compares the work itself.
double processorSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}
struct Spent {
    double total = 0;
    double best = 1e300;
    double processor = 0;
    std::vector<double> runs;  // seconds of each run, in order
    void add(const std::function<void()>& work) {
        const double processorStart = processorSeconds();
        const auto start = std::chrono::steady_clock::now();
        work();
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        processor += processorSeconds() - processorStart;
        total += seconds;
        best = std::min(best, seconds);
        runs.push_back(seconds);
    }
};

void rawWrite(bool sync) {
    ::unlink(kRawPath.c_str());
    const int fd = ::open(kRawPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const char* data = rawBytes();
    for (size_t done = 0; done < kTableBytes;) {
        const ssize_t n = ::write(fd, data + done, kTableBytes - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    if (sync) ::fsync(fd);
    ::close(fd);
}

// The store export; with commit the file is synced and put in place, without it the export is
// abandoned after its last write (the bytes went to the page cache all the same).
bool storeWrite(bool commit) {
    RecordFile file;
    if (!file.OpenForWriting(kStorePath)) return false;
    bool qOK = false;
    store().BINARYEXPORT(file, qOK);
    if (commit) return file.Commit() && qOK;
    file.Abandon();
    return qOK;
}

// Into one buffer whose pages are all in place: the fastest a read of these bytes can be. The
// import makes new tables each time, which come from the tables of the store dropped before.
void rawRead() {
    static const AlignedBytes data = [] {
        AlignedBytes all = alignedBytes(kTableBytes);
        std::memset(all.get(), 0, kTableBytes);
        return all;
    }();
    const int fd = ::open(kRawPath.c_str(), O_RDONLY | O_CLOEXEC);
    for (size_t done = 0; done < kTableBytes;) {
        const ssize_t n = ::read(fd, data.get() + done, kTableBytes - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    ::close(fd);
    benchmark::DoNotOptimize(data.get());
}

bool storeRead() {
    RecordFile file;
    if (!file.OpenForReading(kStorePath)) return false;
    rvStreamStore loaded;
    bool qOK = false;
    loaded.BINARYIMPORT(file, qOK);
    return qOK && loaded.NumberOfStreamSets() == 1;
}

void report(benchmark::State& state, const Spent& raw, const Spent& library) {
    const double gigabytes = static_cast<double>(kTableBytes) / 1e9;
    const auto runs = static_cast<double>(state.iterations());
    state.counters["raw_GBps"] = gigabytes * runs / raw.total;
    state.counters["store_GBps"] = gigabytes * runs / library.total;
    state.counters["ratio"] = raw.total / library.total;
    state.counters["best_ratio"] = raw.best / library.best;
    state.counters["cpu_ratio"] = raw.processor / library.processor;
    // Each iteration's two runs are next to each other in time, so the median of their ratios
    // is the figure a stall of a few hundred milliseconds on one side moves least.
    std::vector<double> paired;
    for (size_t k = 0; k < std::min(raw.runs.size(), library.runs.size()); ++k)
        paired.push_back(raw.runs[k] / library.runs[k]);
    if (!paired.empty()) {
        std::sort(paired.begin(), paired.end());
        const size_t middle = paired.size() / 2;
        state.counters["median_ratio"] =
            paired.size() % 2 == 1 ? paired[middle] : 0.5 * (paired[middle - 1] + paired[middle]);
    }
    state.counters["raw_cpu_ms"] = 1e3 * raw.processor / runs;
    state.counters["store_cpu_ms"] = 1e3 * library.processor / runs;
}

// Arg 0: into the page cache; arg 1: synced to the disk (Commit's fsync against fsync()).
void BM_Export(benchmark::State& state) {
    const bool sync = state.range(0) != 0;
    store();
    rawBytes();
    Spent raw, library;
    bool rawFirst = true;
    for (auto _ : state) {
        if (rawFirst) raw.add([&] { rawWrite(sync); });
        library.add([&] {
            if (!storeWrite(sync)) state.SkipWithError("export failed");
        });
        if (!rawFirst) raw.add([&] { rawWrite(sync); });
        rawFirst = !rawFirst;
    }
    report(state, raw, library);
}
BENCHMARK(BM_Export)->Arg(0)->Arg(1)->Iterations(8)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_Import(benchmark::State& state) {
    if (!storeWrite(true)) state.SkipWithError("export failed");
    rawWrite(true);
    // One untimed round first: the plain side's buffer and the library's tables then both hold
    // their pages, so neither side's first round pays for getting memory from the system.
    rawRead();
    if (!storeRead()) state.SkipWithError("import failed");
    Spent raw, library;
    bool rawFirst = true;
    for (auto _ : state) {
        if (rawFirst) raw.add(rawRead);
        library.add([&] {
            if (!storeRead()) state.SkipWithError("import failed");
        });
        if (!rawFirst) raw.add(rawRead);
        rawFirst = !rawFirst;
    }
    report(state, raw, library);
}
BENCHMARK(BM_Import)->Iterations(16)->UseRealTime()->Unit(benchmark::kMillisecond);

// Peak resident memory of this process so far, in bytes.
int64_t peakResidentBytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0) return std::stoll(line.substr(6)) * 1024;
    return -1;
}

// Child mode: imports the store file and prints the growth of the peak resident memory.
int measureImport() {
    errorReporter();  // the shared objects exist before the first measurement
    const int64_t before = peakResidentBytes();
    const bool ok = storeRead();
    const int64_t after = peakResidentBytes();
    std::printf("%lld %d\n", static_cast<long long>(after - before), ok ? 1 : 0);
    return ok ? 0 : 1;
}

void reportImportMemory() {
    if (!storeWrite(true)) return;
    std::string command = std::filesystem::read_symlink("/proc/self/exe").string();
    command.append(" --measure-import");
    std::FILE* child = ::popen(command.c_str(), "r");
    if (child == nullptr) return;
    long long growth = -1;
    int ok = 0;
    const int fields = std::fscanf(child, "%lld %d", &growth, &ok);
    ::pclose(child);
    if (fields != 2 || ok != 1) {
        std::printf("import peak memory: measurement failed\n");
        return;
    }
    std::printf("import peak memory (fresh process, VmHWM growth): %.1f MB for %.1f MB of tables = %.3fx\n",
                static_cast<double>(growth) / 1e6, static_cast<double>(kTableBytes) / 1e6,
                static_cast<double>(growth) / static_cast<double>(kTableBytes));
    ::unlink(kRawPath.c_str());
    ::unlink(kStorePath.c_str());
}

// Started as "<program> --measure-import", the program only measures an import and exits before
// the benchmarks are set up; otherwise the memory report follows the benchmarks.
const bool kMemoryReportArranged = [] {
    std::ifstream commandLine("/proc/self/cmdline");
    std::string program, firstArgument;
    std::getline(commandLine, program, '\0');
    std::getline(commandLine, firstArgument, '\0');
    if (firstArgument == "--measure-import") std::exit(measureImport());
    return std::atexit(reportImportMemory) == 0;
}();

}  // namespace

BENCHMARK_MAIN();
