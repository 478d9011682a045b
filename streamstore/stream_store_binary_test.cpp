// The store file: its own records, round trips in both forms, the import's rules for flags,
// keys and duplicates, and its behaviour on cut, oversized and failing files. (Damaged bytes and
// missing records are caught by the record layer's checks, tested with the record file.)
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

#include "info/stream_storage_info.hpp"
#include "streamstore/persistence_test_support.hpp"

// Live heap bytes and their peak, counted by this test binary's own operator new, to measure
// the memory of a load. Atomic: other tests of this binary allocate from several threads.
namespace {
std::atomic<int64_t> liveBytes{0};
std::atomic<int64_t> peakBytes{0};
}  // namespace

__attribute__((noinline)) void* operator new(size_t n) {
    void* p = std::malloc(n == 0 ? 1 : n);
    if (p == nullptr) throw std::bad_alloc();
    const auto bytes = static_cast<int64_t>(malloc_usable_size(p));
    const int64_t live = liveBytes.fetch_add(bytes, std::memory_order_relaxed) + bytes;
    for (int64_t peak = peakBytes.load(std::memory_order_relaxed);
         live > peak && !peakBytes.compare_exchange_weak(peak, live, std::memory_order_relaxed);) {
    }
    return p;
}
__attribute__((noinline)) void operator delete(void* p) noexcept {
    if (p != nullptr) liveBytes.fetch_sub(static_cast<int64_t>(malloc_usable_size(p)), std::memory_order_relaxed);
    std::free(p);
}
__attribute__((noinline)) void operator delete(void* p, size_t) noexcept { operator delete(p); }

namespace tkstream63 {
namespace {

using namespace persistence_test;
using tkstream63::testing::FaultyRecordFile;
using tkstream63::testing::readFileBytes;
using tkstream63::testing::writeFileBytes;

class StoreBinaryTest : public PersistenceTest {
protected:
    // Datasets of the store in order, each checked against the dataset of the same position in
    // originals; returns how many there are.
    static int32_t expectPrefixOf(rvStreamStore& store, rvStreamStore& originals) {
        for (int32_t i = 1; i <= store.NumberOfStreamSets(); ++i) {
            std::shared_ptr<rvStreamSet> loaded, original;
            store.GetItem(i, loaded);
            originals.GetItem(i, original);
            std::string difference;
            EXPECT_TRUE(original && loaded->sameContents(*original, difference)) << "dataset " << i << ": " << difference;
        }
        return store.NumberOfStreamSets();
    }
};

TEST_F(StoreBinaryTest, EmptyStoreWritesItsHeaderRecordsAndTheClosingMarker) {
    rvStreamStore store;
    store.AutomaticOverWrite(true);
    store.AutomaticCancel(true);
    store.CheckDataSetNames(false);
    ASSERT_TRUE(saveStore(store, path("empty.rec")));
    const auto records = listRecords(path("empty.rec"));
    EXPECT_EQ(keywords(records), (std::vector<std::string>{"STREAMSTORE>", "APP", "APPVERSION", "ATTCONST", "STRMLOGI",
                                                           "MAINKEY", "ROOTKEY", "FOLDERKEY", "NUMSETS", "<STREAMSTORE"}));
    ASSERT_EQ(records.size(), 10u);
    EXPECT_EQ(records[1].items[0].toText(), rvStreamStorageInfo::productName());
    EXPECT_EQ(records[2].type + " " + std::to_string(records[2].count), "INTE 3");
    // Overwrite, modified, rename, check names, cancel: not the declaration order.
    std::vector<bool> flags;
    for (const auto& item : records[4].items) flags.push_back(item.toBoolean());
    EXPECT_EQ(flags, (std::vector<bool>{true, false, false, false, true}));
    EXPECT_EQ(records[8].items[0].toLong(), 0);
}

// Saving twice, and saving what was loaded (its tables in fresh memory), gives the same bytes.
TEST_F(StoreBinaryTest, RoundTripKeepsEveryDatasetAndTheSameBytesInBothForms) {
    rvStreamStore original;
    fillStore(original, 3);
    auto large = makeDataSet(9, false);  // a node table large enough to get padding before its body
    Array<float> nodes(1, 70000, 1, 2);
    for (size_t k = 0; k < nodes.size(); ++k) nodes.data()[k] = static_cast<float>(k);
    bool ok = false;
    large->setStreamLineData(nodes, 2, 70000, ok);
    original.AddItem(large);
    for (const RecordForm form : {RecordForm::Binary, RecordForm::Formatted}) {
        SCOPED_TRACE(form == RecordForm::Binary ? "binary" : "formatted");
        ASSERT_TRUE(saveStore(original, path("first.rec"), form));
        ASSERT_TRUE(saveStore(original, path("second.rec"), form));
        rvStreamStore copy;
        bool qOK = false;
        ASSERT_TRUE(loadStore(copy, path("first.rec"), qOK) && qOK);
        std::string difference;
        EXPECT_TRUE(copy.sameContents(original, difference)) << difference;
        EXPECT_TRUE(reports().empty());
        ASSERT_TRUE(saveStore(copy, path("third.rec"), form));
        const auto bytes = readFileBytes(path("first.rec"));
        EXPECT_TRUE(bytes == readFileBytes(path("second.rec")));
        EXPECT_TRUE(bytes == readFileBytes(path("third.rec")));
    }
    // Export leaves the store as it was; importing again appends (renamed, the flag came back).
    rvStreamStore twice;
    bool qOK = false;
    loadStore(twice, path("first.rec"), qOK);
    loadStore(twice, path("first.rec"), qOK);
    ASSERT_EQ(twice.NumberOfStreamSets(), 8);
    std::shared_ptr<rvStreamSet> renamed;
    twice.GetItem(5, renamed);
    EXPECT_EQ(renamed->Origin(), "Run 11");
}

TEST_F(StoreBinaryTest, FilesOfTheFirstFormatVersionStillLoad) {
    // Saved by the first release: the store of fillStore(2) in binary, one of its datasets as text.
    const std::string folder = testDataFolder();
    rvStreamStore expected;
    fillStore(expected, 2);
    rvStreamStore binary, formatted;
    bool qOK = false;
    ASSERT_TRUE(loadStore(binary, folder + "/store_v1.rec", qOK) && qOK);
    std::string difference;
    EXPECT_TRUE(binary.sameContents(expected, difference)) << difference;
    ASSERT_TRUE(loadStore(formatted, folder + "/store_v1.txt", qOK) && qOK);
    ASSERT_EQ(formatted.NumberOfStreamSets(), 1);
    std::shared_ptr<rvStreamSet> loaded;
    formatted.GetItem(1, loaded);
    EXPECT_TRUE(loaded->sameContents(*makeDataSet(1, true), difference)) << difference;
    EXPECT_TRUE(reports().empty());
}

TEST_F(StoreBinaryTest, ImportTakesKeysAsWrittenAndAppliesFlagRules) {
    // FolderKey is read, not recomputed; four flags leave AutomaticCancel alone; unknown records
    // of every type between the store's own are skipped.
    RecordScript(path("keys.rec"))
        .marker("STREAMSTORE>")
        .record("STRMLOGI", "LOGI", {true, true, false, true})
        .record("EXTRA", "CHAR", {"x", "y"})
        .record("EXTRA", "INTE", {1, 2})
        .record("EXTRA", "LOGI", {true})
        .record("EXTRA", "REAL", {1.5f})
        .record("EXTRA", "DOUB", {2.5})
        .record("NULLVAL", "DOUB", {})
        .record("MAINKEY", "CHAR", {"M"})
        .record("ROOTKEY", "CHAR", {"R"})
        .record("FOLDERKEY", "CHAR", {"Custom folder"})
        .record("NUMSETS", "INTE", {99})
        .marker("<STREAMSTORE")
        .commit();
    rvStreamStore store;
    store.AutomaticCancel(true);
    bool qOK = false;
    ASSERT_TRUE(loadStore(store, path("keys.rec"), qOK) && qOK);
    EXPECT_EQ(store.FolderKey() + "|" + store.MainKey(), "Custom folder|M");
    EXPECT_TRUE(store.AutomaticOverWrite() && store.AutomaticCancel());
    EXPECT_EQ(store.NumberOfStreamSets(), 0);
    EXPECT_TRUE(reports().empty());

    // Fewer than four flags: the record is not applied.
    RecordScript(path("fewflags.rec"))
        .marker("STREAMSTORE>")
        .record("STRMLOGI", "LOGI", {true, true, true})
        .marker("<STREAMSTORE")
        .commit();
    rvStreamStore untouched;
    ASSERT_TRUE(loadStore(untouched, path("fewflags.rec"), qOK));
    EXPECT_FALSE(untouched.AutomaticOverWrite() || untouched.AutomaticRename());

    // Restored flags decide clashes with stored datasets: all automatic flags False in the file
    // and names checked, the dialog is asked per clash.
    rvStreamStore original;
    fillStore(original, 2);
    original.AutomaticRename(false);
    ASSERT_TRUE(saveStore(original, path("ask.rec")));
    rvStreamStore asked;
    loadStore(asked, path("ask.rec"), qOK);
    dialog->addAnswer(5);  // rename this one
    dialog->addAnswer(6);  // cancel this one
    loadStore(asked, path("ask.rec"), qOK);
    EXPECT_TRUE(qOK);
    EXPECT_EQ(dialog->questions().size(), 2u);
    EXPECT_EQ(asked.NumberOfStreamSets(), 3);
}

TEST_F(StoreBinaryTest, FileCutAtEveryOffsetKeepsTheDatasetsBeforeTheCutAndSaysWhere) {
    rvStreamStore original;
    fillStore(original, 2);
    ASSERT_TRUE(saveStore(original, path("full.rec")));
    const auto bytes = readFileBytes(path("full.rec"));
    const auto records = listRecords(path("full.rec"));
    for (size_t cut = 0; cut < bytes.size(); ++cut) {
        SCOPED_TRACE("cut at byte " + std::to_string(cut));
        writeFileBytes(path("cut.rec"), std::vector<uint8_t>(bytes.begin(), bytes.begin() + static_cast<long>(cut)));
        errorReporter().clearRecentMessages();
        rvStreamStore store;
        bool qOK = false;
        if (!loadStore(store, path("cut.rec"), qOK)) continue;  // too short to be a record file
        int32_t started = 0, finished = 0;
        for (const auto& record : records) {
            if (record.end > static_cast<int64_t>(cut)) break;
            started += record.keyword == "STREAMSET>";
            finished += record.keyword == "<STREAMSET";
        }
        // A dataset cut short ends the import with qOK True; a cut among the store's own
        // records (or in the trailer) leaves it False.
        EXPECT_EQ(qOK, started > finished);
        EXPECT_EQ(expectPrefixOf(store, original), finished);
        EXPECT_TRUE(anyReportContains("it is truncated")) << (reports().empty() ? "" : reports().front());
    }
}

TEST_F(StoreBinaryTest, HostileFilesStayWithinTheMemoryBudget) {
    // 16 datasets, each claiming the largest tables the rest of the file once allowed.
    constexpr int32_t kClaim = 80000;
    {
        RecordScript script(path("claims.rec"));
        script.marker("STREAMSTORE>").bytes("PAD", 64000);
        std::vector<int32_t> counters(42, 0);
        for (const int item : {4, 6, 25, 26, 32, 38, 40}) counters[static_cast<size_t>(item - 1)] = kClaim;
        counters[30] = 8;  // nDataColumns
        for (int set = 0; set < 16; ++set) {
            script.marker("STREAMSET>").longs("SETINTE", counters).record("STREAMLINE", "INTE", {kClaim / 8, 8});
            for (const char* bounds : {"ISTREAMLINE", "INJECTOR", "INJSINKS", "PRODUCERS", "PRODSOURCES"})
                script.record(bounds, "INTE", {8, kClaim});
            for (const char* count : {"NWELLLIST", "NZWELLLIST", "NUMHEADERS"}) script.record(count, "INTE", {kClaim});
            script.marker("<STREAMSET");
        }
        script.marker("<STREAMSTORE").commit();
    }
    // A dataset claiming 400 million wells, in its count and in its well-table capacity, then names.
    for (const int item : {32, 6}) {
        std::vector<int32_t> counters(42, 0);
        counters[static_cast<size_t>(item - 1)] = 400000000;
        RecordScript(path("wells" + std::to_string(item) + ".rec"))
            .marker("STREAMSTORE>")
            .marker("STREAMSET>")
            .longs("SETINTE", counters)
            .marker("WELLINFO>")
            .record("CNT", "INTE", {0})
            .record("WNAME", "CHAR", {"P1"})
            .marker("<WELLINFO")
            .marker("<STREAMSET")
            .marker("<STREAMSTORE")
            .commit();
    }
    for (const char* name : {"claims.rec", "wells32.rec", "wells6.rec"}) {
        SCOPED_TRACE(name);
        errorReporter().clearRecentMessages();
        const auto fileBytes = static_cast<int64_t>(readFileBytes(path(name)).size());
        int64_t peak = 0;
        {
            rvStreamStore store;
            bool qOK = false;
            const int64_t before = liveBytes.load();
            peakBytes.store(before);
            ASSERT_TRUE(loadStore(store, path(name), qOK));
            peak = peakBytes.load() - before;
            EXPECT_LT(store.NumberOfStreamSets(), 16);
            EXPECT_TRUE(anyReportContains("bytes of memory, beyond what a file of this size may ask for"));
            EXPECT_TRUE(anyReportContains("(No.7)"));
        }
        // A sanitizer's allocator replaces this binary's operator new: then nothing is counted.
        if (peak == 0) {
            std::printf("[ budget   ] %s: peak not measured (the allocator is replaced)\n", name);
            continue;
        }
        const double limit = 8.0 * static_cast<double>(fileBytes) + 64.0 * (1 << 20);
        std::printf("[ budget   ] %s: %lld bytes, load peak %.1f MB = %.3f of 8 x file + 64 MB\n", name,
                    static_cast<long long>(fileBytes), static_cast<double>(peak) / 1e6, static_cast<double>(peak) / limit);
        EXPECT_LE(static_cast<double>(peak), limit);
    }
}

// That the previous file stays and no temporary file is left is the record file's part, tested there.
TEST_F(StoreBinaryTest, WriteFailingPartWayIsReported) {
    rvStreamStore store;
    fillStore(store, 2);
    // Count the write calls of a clean export through a small buffer.
    int writes = 0;
    {
        FaultyRecordFile file(64);
        ASSERT_TRUE(file.OpenForWriting(path("count.rec")));
        bool qOK = false;
        store.BINARYEXPORT(file, qOK);
        ASSERT_TRUE(file.Commit());
        writes = file.writeCalls;
    }
    ASSERT_GT(writes, 10);
    for (int n = 1; n <= writes; ++n) {
        SCOPED_TRACE("write call " + std::to_string(n) + " fails");
        errorReporter().clearRecentMessages();
        FaultyRecordFile file(64);
        file.failWriteCall = n;
        ASSERT_TRUE(file.OpenForWriting(path("target.rec")));
        bool qOK = true;
        store.BINARYEXPORT(file, qOK);
        const bool failedDuringExport = file.writeCalls >= n;
        if (failedDuringExport) {
            EXPECT_FALSE(qOK);
            EXPECT_TRUE(anyReportContains("No space left on device"));
        }
        EXPECT_FALSE(file.Commit());
    }
}

}  // namespace
}  // namespace tkstream63
