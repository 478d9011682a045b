#include "streamstore/store_file_view.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <thread>
#include <tuple>

#include "recordfile/crc32c.hpp"

#include "streamstore/persistence_test_support.hpp"

namespace tkstream63 {
namespace {

using namespace persistence_test;

constexpr int32_t kStreamlines = 7;

// A dataset with streamlines of 0 to 5 nodes (streamline 4 is empty), cells on .5 boundaries
// (rounded half to even) and, when asked for, a grid and a WAF set.
std::shared_ptr<rvStreamSet> makeStreamlineSet(int32_t seed, bool grid, bool waf) {
    auto set = std::make_shared<rvStreamSet>();
    bool ok = false;
    set->Origin("Run " + std::to_string(seed));
    set->FileName("/data/run" + std::to_string(seed) + ".sln");
    set->DataClass("Streamlines");
    set->DateStamp("2024-01-0" + std::to_string(seed));
    std::string time = std::to_string(10 * seed) + ".5";
    set->SetDataSetAttribute(40, time);
    if (grid) set->setGridDimension(4, 3, 2, ok);
    set->setHeaders(names({"X", "Y", "Z", "CELL", "TOF", "DRT"}), names({"m", "m", "m", "", "d", ""}), 6, ok);
    const std::vector<int32_t> counts = {3, 1, 5, 0, 2, 4, 3};
    int32_t rows = 0;
    for (int32_t n : counts) rows += n;
    Array<float> nodes(1, rows, 1, 6);
    for (int32_t r = 1; r <= rows; ++r) {
        for (int32_t c = 1; c <= 6; ++c) nodes(r, c) = static_cast<float>(seed * 1000 + c * 100 + r) + 0.25f;
        nodes(r, 4) = static_cast<float>(r % 24) + 0.5f;
    }
    set->setStreamLineData(nodes, 6, rows, ok);
    Array<int32_t> pointers(1, 8, 1, 2 * kStreamlines);
    int32_t first = 1;
    for (int32_t s = 1; s <= kStreamlines; ++s) {
        pointers(1, s) = first;
        pointers(2, s) = counts[static_cast<size_t>(s - 1)];
        first += counts[static_cast<size_t>(s - 1)];
    }
    set->setStreamLinePointers(pointers, 8, kStreamlines, ok);
    if (waf) set->setWAF(makeWafSet(seed), ok);
    return set;
}

class StoreFileViewTest : public ::testing::Test {
protected:
    void SetUp() override { errorReporter().clearRecentMessages(); }

    // Saves three datasets in the given form; full holds them as a full import gives them.
    void save(RecordForm form) {
        rvStreamStore store;
        store.AddItem(makeStreamlineSet(1, true, true));
        store.AddItem(makeStreamlineSet(2, false, false));
        store.AddItem(makeStreamlineSet(3, true, false));
        ASSERT_TRUE(saveStore(store, path, form));
        importFully(path);
    }
    void importFully(const std::string& file) {
        full = std::make_unique<rvStreamStore>();
        bool qOK = false;
        ASSERT_TRUE(loadStore(*full, file, qOK));
        ASSERT_TRUE(qOK);
    }
    std::shared_ptr<rvStreamSet> imported(int32_t k) {
        std::shared_ptr<rvStreamSet> set;
        full->GetItem(k, set);
        return set;
    }
    std::string readAll() const {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    ScratchDirectory dir;
    std::string path = dir.file("store.rec");
    std::unique_ptr<rvStreamStore> full;
};

bool sameBits(const Array<float>& a, const Array<float>& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

// Every dataset's summary, its section loaded alone and every streamline read alone agree with a
// full import: files of this version in both forms, and files of the first version.
TEST_F(StoreFileViewTest, GivesWhatAFullImportGives) {
    struct Case {
        const char* name;
        std::string file;  // empty: saved here in the given form
        RecordForm form;
    };
    for (const Case& c : {Case{"binary", "", RecordForm::Binary}, Case{"formatted", "", RecordForm::Formatted},
                          Case{"version 1 binary", testDataFolder() + "/store_v1.rec", RecordForm::Binary},
                          Case{"version 1 text", testDataFolder() + "/store_v1.txt", RecordForm::Formatted}}) {
        SCOPED_TRACE(c.name);
        if (c.file.empty()) {
            save(c.form);
        } else {
            importFully(c.file);
        }
        StoreFileView view;
        ASSERT_TRUE(view.Open(c.file.empty() ? path : c.file)) << view.LastError();
        // Only binary files of this version carry an index; the others are indexed by a pass.
        EXPECT_EQ(view.FromIndex(), c.file.empty() && c.form == RecordForm::Binary);
        ASSERT_EQ(view.DatasetCount(), full->NumberOfStreamSets());
        int64_t previousEnd = 0;
        for (int32_t k = 1; k <= view.DatasetCount(); ++k) {
            const auto set = imported(k);
            StoreDatasetSummary s;
            ASSERT_TRUE(view.Summary(k, s));
            EXPECT_EQ(std::tie(s.Origin, s.FileName, s.DataClass, s.DateStamp, s.SimulationTime),
                      std::make_tuple(set->Origin(), set->FileName(), set->DataClass(), set->DateStamp(),
                                      set->SimulationTime()));
            EXPECT_EQ(std::tie(s.NumberStreamlines, s.NumberWells, s.MaxRows, s.WAF),
                      std::make_tuple(set->NumberStreamlines(), set->NumberWells(), set->MaxRows(), set->WAF()));
            EXPECT_GE(s.SectionOffset, previousEnd);  // sections follow each other
            previousEnd = s.SectionOffset + s.SectionLength;

            rvStreamSet loaded;
            ASSERT_TRUE(view.LoadDataset(k, loaded)) << view.LastError();
            std::string difference;
            EXPECT_TRUE(loaded.sameContents(*set, difference)) << difference;

            for (int32_t i = 1; i <= set->NumberStreamlines(); ++i) {
                Array<float> expected, got, expectedTOF, gotTOF;
                int32_t expectedCols = 0, expectedNodes = 0, cols = 0, nodes = -1, tofNodes = -1;
                bool dataOK = false, tofOK = false;
                set->getSingleStreamlineTOF(i, expectedTOF, expectedNodes, tofOK);
                set->getSingleStreamlineData(i, expected, expectedCols, expectedNodes, dataOK);
                const bool read = view.ReadStreamline(k, i, got, cols, nodes);
                const bool readTOF = view.ReadStreamlineTOF(k, i, gotTOF, tofNodes);
                if (c.form == RecordForm::Formatted) {
                    EXPECT_FALSE(read || readTOF);
                    EXPECT_NE(view.LastError().find("formatted form"), std::string::npos) << view.LastError();
                    continue;
                }
                // Rows outside the node table: refused here, where the import's TOF read fails too.
                EXPECT_EQ(readTOF, tofOK) << i;
                if (!tofOK) continue;
                EXPECT_EQ(tofNodes, expectedNodes);
                EXPECT_TRUE(sameBits(gotTOF, expectedTOF)) << i;
                EXPECT_EQ(read, dataOK) << i;
                if (dataOK) {
                    EXPECT_EQ(cols, expectedCols);
                    EXPECT_EQ(got.ubound(1), expected.ubound(1));
                    EXPECT_TRUE(sameBits(got, expected)) << "dataset " << k << " streamline " << i;
                }
            }
        }
    }
}

TEST_F(StoreFileViewTest, BadNumbersAndFilesGiveClearErrors) {
    save(RecordForm::Binary);
    StoreFileView view;
    Array<float> data;
    int32_t cols = 0, nodes = 0;
    StoreDatasetSummary summary;
    rvStreamSet set;
    EXPECT_FALSE(view.Summary(1, summary));
    EXPECT_NE(view.LastError().find("no store file is open"), std::string::npos);
    ASSERT_TRUE(view.Open(path));

    struct Case {
        int32_t dataset, streamline;
        const char* message;
    };
    for (const Case& c : {Case{0, 1, "dataset 0 is not in"}, Case{4, 1, "dataset 4 is not in"},
                          Case{1, 0, "streamline 0 is not in dataset 1"},
                          Case{2, kStreamlines + 1, "streamline 8 is not in dataset 2"},
                          Case{3, 4, "streamline 4 of dataset 3 has no nodes"}}) {
        errorReporter().clearRecentMessages();
        EXPECT_FALSE(view.ReadStreamline(c.dataset, c.streamline, data, cols, nodes));
        EXPECT_NE(view.LastError().find(c.message), std::string::npos) << view.LastError();
        EXPECT_TRUE(anyReportContains(c.message));
    }
    EXPECT_FALSE(view.LoadDataset(9, set));
    EXPECT_NE(view.LastError().find("dataset 9 is not in"), std::string::npos);

    // Files the view cannot index: missing, not a record file, cut before the store closes.
    std::ofstream(dir.file("text.txt")) << "hello";
    const std::string bytes = readAll();
    std::ofstream(dir.file("cut.rec"), std::ios::binary) << bytes.substr(0, bytes.size() - 30);
    for (const auto& [file, message] : std::vector<std::pair<std::string, std::string>>{
             {"missing.rec", "cannot open"}, {"text.txt", "not a tkstream63 record file"}, {"cut.rec", "cut"}}) {
        EXPECT_FALSE(view.Open(dir.file(file))) << file;
        EXPECT_NE(view.LastError().find(message), std::string::npos) << view.LastError();
        EXPECT_EQ(view.DatasetCount(), 0);
    }
}

// A damaged block is found by a read that touches it; the rest of the file stays readable. Open
// reads no body: a file damaged inside a node table still opens from its index.
TEST_F(StoreFileViewTest, PartialReadsCheckTheBlocksTheyTouch) {
    save(RecordForm::Binary);
    StoreFileView view;
    Array<float> tof;
    int32_t nodes = 0;
    {
        StoreFileView intact;
        ASSERT_TRUE(intact.Open(path));
        ASSERT_TRUE(intact.ReadStreamlineTOF(2, 1, tof, nodes));
    }
    // The first TOF value of dataset 2 lies in its node-table body; flip a bit of it.
    std::string bytes = readAll();
    const float value = tof(1);
    const auto at = bytes.find(std::string(reinterpret_cast<const char*>(&value), 4));
    ASSERT_NE(at, std::string::npos);
    bytes[at] ^= 0x01;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    ASSERT_TRUE(view.Open(path)) << view.LastError();
    EXPECT_TRUE(view.FromIndex());

    Array<float> untouched = tof;
    EXPECT_FALSE(view.ReadStreamlineTOF(2, 1, tof, nodes));
    EXPECT_NE(view.LastError().find("Record 'SLINEDATA' of dataset 2"), std::string::npos) << view.LastError();
    EXPECT_NE(view.LastError().find("checksum mismatch in block 1"), std::string::npos);
    EXPECT_TRUE(sameBits(tof, untouched));
    rvStreamSet set;
    set.Origin("kept");
    EXPECT_FALSE(view.LoadDataset(2, set));
    EXPECT_NE(view.LastError().find("checksum mismatch"), std::string::npos) << view.LastError();
    EXPECT_EQ(set.Origin(), "kept");
    EXPECT_TRUE(view.ReadStreamlineTOF(3, 1, tof, nodes)) << view.LastError();
    EXPECT_TRUE(view.LoadDataset(1, set)) << view.LastError();
}

// Rewrites the index fields of a binary file's trailer and the trailer's own check.
void pointTrailerAt(std::string& bytes, uint64_t offset, uint64_t length) {
    const size_t trailer = bytes.size() - 52;
    for (size_t i = 0; i < 8; ++i) {
        bytes[trailer + 24 + i] = static_cast<char>(offset >> (8 * i));
        bytes[trailer + 32 + i] = static_cast<char>(length >> (8 * i));
    }
    const uint32_t crc = crc32c(0, bytes.data() + trailer, 48);
    for (size_t i = 0; i < 4; ++i) bytes[trailer + 48 + i] = static_cast<char>(crc >> (8 * i));
}

// A file whose index cannot be used is indexed by a pass over its records, with progress, and
// gives the same answers.
TEST_F(StoreFileViewTest, FilesWithoutAUsableIndexAreIndexedByAPass) {
    save(RecordForm::Binary);
    const std::string intact = readAll();
    const size_t index = intact.find("STOREINDEX") - 1;
    const size_t firstSection = intact.find("STREAMSET>") - 1;
    ASSERT_LT(index, intact.size());
    StoreFileView expected;
    ASSERT_TRUE(expected.Open(path));
    ASSERT_TRUE(expected.FromIndex());
    const uint64_t length = intact.size() - 52 - index - (27 + 12);  // up to the closing record

    struct Case {
        const char* name;
        std::function<void(std::string&)> change;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"index body damaged", [&](std::string& b) { b[index + 40] ^= 0x20; }},
             {"no index (an older file)", [](std::string& b) { pointTrailerAt(b, 0, 0); }},
             {"index outside the file", [&](std::string& b) { pointTrailerAt(b, b.size() + 100, length); }},
             {"index pointing at a dataset", [&](std::string& b) { pointTrailerAt(b, firstSection, length); }}}) {
        SCOPED_TRACE(c.name);
        std::string bytes = intact;
        c.change(bytes);
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        StoreFileView view;
        int64_t calls = 0, lastRead = 0, total = 0;
        ASSERT_TRUE(view.Open(path, [&](int64_t read, int64_t size) {
            ++calls;
            lastRead = read;
            total = size;
        })) << view.LastError();
        EXPECT_FALSE(view.FromIndex());
        EXPECT_GT(calls, 0);
        EXPECT_EQ(total, static_cast<int64_t>(bytes.size()));
        EXPECT_LE(lastRead, total);
        ASSERT_EQ(view.DatasetCount(), expected.DatasetCount());
        for (int32_t k = 1; k <= view.DatasetCount(); ++k) {
            StoreDatasetSummary got, want;
            ASSERT_TRUE(view.Summary(k, got));
            ASSERT_TRUE(expected.Summary(k, want));
            // Streamlines read through a pass's index are checked on the files of the first version.
            EXPECT_EQ(std::tie(got.Origin, got.SimulationTime, got.NumberStreamlines, got.nDataColumns, got.WAF,
                               got.SectionOffset, got.SectionLength),
                      std::tie(want.Origin, want.SimulationTime, want.NumberStreamlines, want.nDataColumns, want.WAF,
                               want.SectionOffset, want.SectionLength));
        }
    }
}

TEST_F(StoreFileViewTest, TwoThreadsReadAtOnce) {
    save(RecordForm::Binary);
    StoreFileView view;
    ASSERT_TRUE(view.Open(path));
    // Expected values first: the threads share only the view.
    std::vector<std::vector<Array<float>>> expected(4);
    for (const int32_t k : {1, 3}) {
        for (int32_t i = 1; i <= kStreamlines; ++i) {
            Array<float> data;
            int32_t cols = 0, n = 0;
            bool qOK = false;
            imported(k)->getSingleStreamlineData(i, data, cols, n, qOK);
            expected[static_cast<size_t>(k)].push_back(data);
        }
    }
    const auto reader = [&](int32_t k, bool& same) {
        same = true;
        for (int round = 0; round < 50; ++round) {
            for (int32_t i = 1; i <= kStreamlines; ++i) {
                const Array<float>& want = expected[static_cast<size_t>(k)][static_cast<size_t>(i - 1)];
                Array<float> got;
                int32_t n = 0, cols = 0;
                const bool read = view.ReadStreamline(k, i, got, cols, n);
                if (read != !want.empty() || (read && !sameBits(got, want))) same = false;
            }
        }
    };
    bool first = false, second = false;
    std::thread a(reader, 1, std::ref(first));
    std::thread b(reader, 3, std::ref(second));
    a.join();
    b.join();
    EXPECT_TRUE(first);
    EXPECT_TRUE(second);
}

}  // namespace
}  // namespace tkstream63
