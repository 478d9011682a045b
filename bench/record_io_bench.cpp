// Export and import speed of one large "REAL" record (a 10 million x 8 node table, 320 MB)
// through RecordIO, against plain write()/read() of the same bytes in the same run.
//
//   cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DTKSTREAM63_BENCH=ON
//   cmake --build build-bench --target record_io_bench && build-bench/bench/record_io_bench
//
// The "Synced" pair includes what a committed export costs on top: fsync (and the rename).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
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

void BM_RawWrite(benchmark::State& state) {
    nodeTable();
    for (auto _ : state) rawWrite(state.range(0) != 0);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kBytes));
    ::unlink(kRawPath.c_str());
}

void BM_RecordWrite(benchmark::State& state) {
    nodeTable();
    for (auto _ : state)
        if (!recordWrite(state.range(0) != 0)) state.SkipWithError("record export failed");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kBytes));
}

void BM_RawRead(benchmark::State& state) {
    rawWrite(false);
    char* data = reinterpret_cast<char*>(destination().data());
    for (auto _ : state) {
        const int fd = ::open(kRawPath.c_str(), O_RDONLY | O_CLOEXEC);
        for (size_t done = 0; done < kBytes;) {
            const ssize_t n = ::read(fd, data + done, kBytes - done);
            if (n <= 0) break;
            done += static_cast<size_t>(n);
        }
        ::close(fd);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kBytes));
    ::unlink(kRawPath.c_str());
}

void BM_RecordRead(benchmark::State& state) {
    if (!recordWrite(true)) {
        state.SkipWithError("record export failed");
        return;
    }
    for (auto _ : state) {
        RecordFile file;
        RecordIO io;
        std::string keyword, type;
        int32_t n = 0;
        bool ok = false;
        file.OpenForReading(kRecordPath);
        io.ReadRecordHeader(file, keyword, n, type, ok);
        io.ReadRealArray(n, "'", file, destination(), ok, 0);  // straight into the table
        if (!ok) state.SkipWithError(file.LastError().c_str());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kBytes));
    ::unlink(kRecordPath.c_str());
}

// Arg 0: page cache only; arg 1: synced to disk.
BENCHMARK(BM_RawWrite)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(5)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_RecordWrite)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(5)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_RawRead)->Unit(benchmark::kMillisecond)->Iterations(5)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_RecordRead)->Unit(benchmark::kMillisecond)->Iterations(5)->Repetitions(3)->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
