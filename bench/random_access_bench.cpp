// Random access to a saved store through StoreFileView against plain pread of the same bytes.
// Builds a store of about 1 GB (20 datasets of 50 MB: 8 columns, streamlines of 50 nodes),
// saves it, and prints one JSON object. A smaller store for a quick run: an argument or the
// environment variable TKSTREAM63_BENCH_MB gives the size in MB (at least 20). The file goes to
// the temporary folder (TMPDIR, else /tmp). load_one_dataset_ms and raw_read_one_dataset_ms are
// the fastest of several rounds; the *_median_ms and *_cpu_ms keys (medians, processor time of
// all threads) go with them (see the rounds below).
//
//   cmake -S . -B build-rel -DCMAKE_BUILD_TYPE=Release -DTKSTREAM63_BENCH=ON -DTKSTREAM63_TESTS=OFF
//   cmake --build build-rel --target random_access_bench && build-rel/bench/random_access_bench
#include <fcntl.h>
#include <unistd.h>

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "recordfile/record_codec.hpp"
#include "recordfile/record_reading_loop.hpp"
#include "streamstore/store_file_view.hpp"
#include "streamstore/stream_store.hpp"

namespace {

using namespace tkstream63;
using Clock = std::chrono::steady_clock;

constexpr int32_t kDatasets = 20;
constexpr int32_t kColumns = 8;
constexpr int32_t kNodesPerStreamline = 50;
constexpr int kSamples = 1000;

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Processor time of the whole process (every thread), in ms.
double processorMs() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double residentMB() {
    std::ifstream status("/proc/self/statm");
    long pages = 0, resident = 0;
    status >> pages >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1048576.0;
}

std::shared_ptr<rvStreamSet> makeDataSet(int32_t seed, int32_t streamlines) {
    auto set = std::make_shared<rvStreamSet>();
    bool ok = false;
    set->Origin("Run " + std::to_string(seed));
    const int32_t rows = streamlines * kNodesPerStreamline;
    Array<float> nodes;
    nodes.redimForOverwrite(1, rows, 1, kColumns);
    for (size_t k = 0; k < nodes.size(); ++k) nodes.data()[k] = static_cast<float>(k % 100003) + 0.5f * static_cast<float>(seed);
    set->setStreamLineData(nodes, kColumns, rows, ok);
    Array<int32_t> pointers(1, 8, 1, 2 * streamlines);
    for (int32_t s = 1; s <= streamlines; ++s) {
        pointers(1, s) = (s - 1) * kNodesPerStreamline + 1;
        pointers(2, s) = kNodesPerStreamline;
    }
    set->setStreamLinePointers(pointers, 8, streamlines, ok);
    return set;
}

// Where each dataset's two streamline tables start, found through the record layer as a plain
// reader would: the baseline reads the same bytes with pread and nothing else.
struct Tables {
    int64_t nodes = 0, pointers = 0;
    int32_t rows = 0;
};
std::vector<Tables> findTables(const std::string& path) {
    std::vector<Tables> tables;
    RecordFile file;
    file.OpenForReading(path);
    RecordIO io;
    runReadingLoop(io, file, ReadingLoopSettings{"bench", "findTables", "<STREAMSTORE"}, [&](const RecordHeader& h) {
        if (h.keyword == "STREAMSET>") tables.emplace_back();
        if (h.keyword == "STREAMLINE") tables.back().rows = readLongs(io, file, h)(1);
        if (h.keyword == "SLINEDATA") tables.back().nodes = file.codec()->currentLayout().bodyOffset;
        if (h.keyword == "ISLINEDATA") tables.back().pointers = file.codec()->currentLayout().bodyOffset;
        return h.keyword == "<STREAMSTORE" ? RecordStep::SectionClosed : RecordStep::Next;
    });
    return tables;
}

}  // namespace

int main(int argc, char** argv) {
    const char* sizeText = argc > 1 ? argv[1] : std::getenv("TKSTREAM63_BENCH_MB");
    const int64_t megabytes = std::max<int64_t>(20, sizeText != nullptr ? std::atoll(sizeText) : 1000);
    const auto streamlines =
        static_cast<int32_t>(megabytes * 1000000 / kDatasets / (int64_t{4} * kColumns * kNodesPerStreamline));
    const std::string path = (std::filesystem::temp_directory_path() / ("random_access_bench_" + std::to_string(getpid()) + ".rec")).string();
    {
        rvStreamStore store;
        store.AutomaticRename(true);
        for (int32_t k = 1; k <= kDatasets; ++k) store.AddItem(makeDataSet(k, streamlines));
        RecordFile file;
        bool ok = file.OpenForWriting(path);
        store.BINARYEXPORT(file, ok);
        if (!ok || !file.Commit()) {
            std::fprintf(stderr, "saving %s failed: %s\n", path.c_str(), file.LastError().c_str());
            return 1;
        }
    }
    const double fileMB = static_cast<double>(std::filesystem::file_size(path)) / 1048576.0;
    const std::vector<Tables> tables = findTables(path);
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);

    const double baseline = residentMB();
    auto start = Clock::now();
    StoreFileView view;
    if (!view.Open(path)) {
        std::fprintf(stderr, "%s\n", view.LastError().c_str());
        return 1;
    }
    const double openMs = msSince(start);
    start = Clock::now();
    std::vector<StoreDatasetSummary> summaries(static_cast<size_t>(view.DatasetCount()));
    for (int32_t k = 1; k <= view.DatasetCount(); ++k) view.Summary(k, summaries[static_cast<size_t>(k - 1)]);
    const double listMs = msSince(start);

    std::mt19937 random(12345);
    std::uniform_int_distribution<int32_t> pickSet(1, kDatasets), pickLine(1, streamlines);
    std::vector<std::pair<int32_t, int32_t>> picks(kSamples);
    for (auto& pick : picks) pick = {pickSet(random), pickLine(random)};
    Array<float> data;
    int32_t cols = 0, nodes = 0;
    std::vector<double> first, warm, cold, raw;
    // The first read of each streamline warms the cache and checks the blocks it touches.
    for (const auto& [k, i] : picks) {
        start = Clock::now();
        view.ReadStreamline(k, i, data, cols, nodes);
        first.push_back(msSince(start));
    }
    const double rss = residentMB() - baseline;
    for (const auto& [k, i] : picks) {
        start = Clock::now();
        view.ReadStreamline(k, i, data, cols, nodes);
        warm.push_back(msSince(start));
    }
    // The same rows with plain pread: the pointer entry, then the six columns the read uses.
    std::vector<float> buffer(kNodesPerStreamline);
    for (const auto& [k, i] : picks) {
        const Tables& t = tables[static_cast<size_t>(k - 1)];
        start = Clock::now();
        int32_t entry[2];
        ssize_t got = ::pread(fd, entry, sizeof entry, t.pointers + int64_t{8} * 4 * (i - 1));
        for (int32_t c = 1; c <= 6; ++c)
            got += ::pread(fd, buffer.data(), 4 * static_cast<size_t>(entry[1]),
                           t.nodes + 4 * (int64_t{c - 1} * t.rows + entry[0] - 1));
        raw.push_back(msSince(start));
        if (got <= 0) return 1;
    }
    const int32_t middle = kDatasets / 2;
    const StoreDatasetSummary& section = summaries[static_cast<size_t>(middle - 1)];
    // The section's bytes read plainly (pread into one buffer) against LoadDataset (checks
    // included, on every thread it uses). Both destinations hold their pages: an untimed first
    // round gives the buffer its pages and the view's tables come back from the tables dropped
    // the round before, as in a program that loads dataset after dataset. Then kLoadRounds
    // rounds, taking turns at going first; per side the fastest wall time (the figure least
    // disturbed on a shared machine), the median wall time and the median processor time.
    constexpr int kLoadRounds = 9;
    std::vector<double> loadWall, rawWall, loadCpu, rawCpu;
    std::unique_ptr<char[]> bytes(new char[static_cast<size_t>(section.SectionLength)]);
    const auto rawRead = [&] {
        for (int64_t done = 0; done < section.SectionLength;) {
            const ssize_t got = ::pread(fd, bytes.get() + done, static_cast<size_t>(section.SectionLength - done),
                                        section.SectionOffset + done);
            if (got <= 0) return false;
            done += got;
        }
        return true;
    };
    const auto load = [&] {
        rvStreamSet set;
        return view.LoadDataset(middle, set) && set.NumberStreamlines() == streamlines;
    };
    const auto timed = [&](const auto& work, std::vector<double>& wall, std::vector<double>& cpu) {
        const double cpuStart = processorMs();
        start = Clock::now();
        const bool ok = work();
        wall.push_back(msSince(start));
        cpu.push_back(processorMs() - cpuStart);
        return ok;
    };
    bool loadsOk = rawRead() && load();
    for (int round = 0; round < kLoadRounds && loadsOk; ++round) {
        if (round % 2 == 0) loadsOk = timed(rawRead, rawWall, rawCpu) && timed(load, loadWall, loadCpu);
        else loadsOk = timed(load, loadWall, loadCpu) && timed(rawRead, rawWall, rawCpu);
    }
    if (!loadsOk) {
        std::fprintf(stderr, "loading dataset %d failed: %s\n", middle, view.LastError().c_str());
        return 1;
    }
    bytes.reset();
    double fullMs = 0;
    {
        rvStreamStore store;
        RecordFile file;
        bool ok = false;
        start = Clock::now();
        if (file.OpenForReading(path)) store.BINARYIMPORT(file, ok);
        fullMs = msSince(start);
        if (!ok) std::fprintf(stderr, "full import failed: %s\n", file.LastError().c_str());
    }
    // Cold reads last: dropping the file from the page cache would slow everything after it.
    for (int n = 0; n < 100; ++n) {
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        const auto& [k, i] = picks[static_cast<size_t>(n)];
        start = Clock::now();
        view.ReadStreamline(k, i, data, cols, nodes);
        cold.push_back(msSince(start));
    }

    ::close(fd);
    std::filesystem::remove(path);
    const double loadMs = *std::min_element(loadWall.begin(), loadWall.end());
    const double rawLoadMs = *std::min_element(rawWall.begin(), rawWall.end());
    std::printf("{\"file_mb\": %.1f, \"open_ms\": %.3f, \"list_ms\": %.4f, \"load_one_dataset_ms\": %.2f, "
                "\"raw_read_one_dataset_ms\": %.2f, \"read_streamline_warm_ms\": %.4f, \"read_streamline_cold_ms\": %.4f, "
                "\"raw_pread_streamline_ms\": %.4f, \"full_import_ms\": %.1f, \"rss_open_plus_1000_streamlines_mb\": %.2f, "
                "\"read_streamline_first_ms\": %.4f, \"warm_vs_raw_pread\": %.2f, \"load_vs_raw_read\": %.2f, "
                "\"load_one_dataset_median_ms\": %.2f, \"raw_read_one_dataset_median_ms\": %.2f, "
                "\"load_one_dataset_cpu_ms\": %.2f, \"raw_read_one_dataset_cpu_ms\": %.2f}\n",
                fileMB, openMs, listMs, loadMs, rawLoadMs, median(warm), median(cold), median(raw), fullMs, rss,
                median(first), median(warm) / median(raw), loadMs / rawLoadMs, median(loadWall), median(rawWall),
                median(loadCpu), median(rawCpu));
    return 0;
}
