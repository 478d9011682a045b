// Export and import speed of one large "REAL" record (a 10 million x 8 node table, 320 MB)
// through RecordIO, against plain write()/read() of the same bytes in the same run.
//
//   cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DTKSTREAM63_BENCH=ON
//   cmake --build build-bench --target record_io_bench && build-bench/bench/record_io_bench
//
// Each benchmark runs both sides in every iteration; see the counters (wall_ratio is the record
// layer's throughput as a share of the plain one).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <ctime>
#include <string>

#include "common/bounded_array.hpp"
#include "recordfile/record_file.hpp"
#include "recordfile/record_io.hpp"

namespace {

using namespace tkstream63;

constexpr int32_t kColumns = 8;
constexpr int32_t kRows = 10'000'000;
constexpr int32_t kValues = kColumns * kRows;
constexpr size_t kBytes = size_t{kValues} * sizeof(float);

const std::string kRawPath = "/tmp/tkstream63-bench-raw.bin";
const std::string kRecordPath = "/tmp/tkstream63-bench-record.rec";

Array<float>& nodeTable() {
    static Array<float> table = [] {
        Array<float> t(1, kColumns, 1, kRows);
        float* values = t.data();
        for (int32_t i = 0; i < kValues; ++i) values[i] = static_cast<float>(i) * 0.25f;
        return t;
    }();
    return table;
}

// The destination of the reads, allocated once so neither side pays for page faults.
Array<float>& destination() {
    static Array<float> table(1, kColumns, 1, kRows);
    return table;
}

void rawWrite(bool sync) {
    ::unlink(kRawPath.c_str());
    const int fd = ::open(kRawPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const char* data = reinterpret_cast<const char*>(nodeTable().data());
    for (size_t done = 0; done < kBytes;) {
        const ssize_t n = ::write(fd, data + done, kBytes - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    if (sync) ::fsync(fd);
    ::close(fd);
}

bool recordWrite(bool commit) {
    RecordFile file;
    RecordIO io;
    bool ok = false;
    if (!file.OpenForWriting(kRecordPath)) return false;
    io.WriteRecordHeader(file, "SLINEDATA", kValues, "REAL", ok);
    io.WriteRealArray(kValues, "", nodeTable(), file, ok);
    if (!ok) return false;
    if (commit) return file.Commit();
    file.Abandon();  // the bytes were written; leaves out only fsync and rename
    return true;
}

// Wall and CPU seconds of one call.
struct Spent {
    double wall = 0;
    double cpu = 0;
};

double threadCpuSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class Work>
void addTime(Spent& spent, Work&& work) {
    const auto wall0 = std::chrono::steady_clock::now();
    const double cpu0 = threadCpuSeconds();
    work();
    spent.cpu += threadCpuSeconds() - cpu0;
    spent.wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();
}

// Both sides run in every iteration, taking turns at going first, so a busy machine or pending
// write-back hits them alike. The counters give each side's throughput and the record layer's
// share of the plain figure (1.0 = as fast as plain write()/read()).
void reportPair(benchmark::State& state, const Spent& raw, const Spent& record) {
    const double gigabytes = static_cast<double>(kBytes) * static_cast<double>(state.iterations()) / 1e9;
    state.counters["raw_GBps"] = gigabytes / raw.wall;
    state.counters["record_GBps"] = gigabytes / record.wall;
    state.counters["wall_ratio"] = raw.wall / record.wall;
    state.counters["cpu_ratio"] = raw.cpu / record.cpu;
}

void rawRead(char* data) {
    const int fd = ::open(kRawPath.c_str(), O_RDONLY | O_CLOEXEC);
    for (size_t done = 0; done < kBytes;) {
        const ssize_t n = ::read(fd, data + done, kBytes - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    ::close(fd);
}

bool recordRead() {
    RecordFile file;
    RecordIO io;
    std::string keyword, type;
    int32_t n = 0;
    bool ok = false;
    file.OpenForReading(kRecordPath);
    io.ReadRecordHeader(file, keyword, n, type, ok);
    io.ReadRealArray(n, "'", file, destination(), ok, 0);  // straight into the table
    return ok;
}

// Arg 0: into the page cache (the record export is abandoned after its last write, leaving out
// fsync and rename); arg 1: synced to disk (the record export is committed).
void BM_Export(benchmark::State& state) {
    const bool sync = state.range(0) != 0;
    nodeTable();
    Spent raw, record;
    bool recordFirst = false;
    for (auto _ : state) {
        bool ok = true;
        if (recordFirst) addTime(record, [&] { ok = recordWrite(sync); });
        addTime(raw, [&] { rawWrite(sync); });
        if (!recordFirst) addTime(record, [&] { ok = recordWrite(sync); });
        if (!ok) state.SkipWithError("record export failed");
        recordFirst = !recordFirst;
    }
    reportPair(state, raw, record);
    ::unlink(kRawPath.c_str());
    ::unlink(kRecordPath.c_str());
}

// Arg 0: the plain read goes into the same table as the record read. Its page offset in memory
// (16 for a large heap block) differs from the file's (0) by a few bytes, which makes the system's
// copy slow; the record layout avoids that by padding. Arg 1: the plain read goes into a
// page-aligned buffer instead, its best case.
void BM_Import(benchmark::State& state) {
    rawWrite(true);  // both files clean in the page cache, as the committed record file is
    if (!recordWrite(true)) {
        state.SkipWithError("record export failed");
        return;
    }
    std::unique_ptr<char, decltype(&std::free)> aligned(static_cast<char*>(std::aligned_alloc(4096, kBytes)), &std::free);
    std::memset(aligned.get(), 0, kBytes);
    char* rawTarget = state.range(0) == 0 ? reinterpret_cast<char*>(destination().data()) : aligned.get();
    Spent raw, record;
    bool recordFirst = false;
    for (auto _ : state) {
        bool ok = true;
        if (recordFirst) addTime(record, [&] { ok = recordRead(); });
        addTime(raw, [&] { rawRead(rawTarget); });
        if (!recordFirst) addTime(record, [&] { ok = recordRead(); });
        if (!ok) state.SkipWithError("record import failed");
        recordFirst = !recordFirst;
    }
    reportPair(state, raw, record);
    ::unlink(kRawPath.c_str());
    ::unlink(kRecordPath.c_str());
}

BENCHMARK(BM_Export)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_Import)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace

BENCHMARK_MAIN();
