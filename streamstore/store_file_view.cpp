// StoreFileView: the index of a saved store built in one pass over its records, and reads of
// single datasets and streamlines at the offsets the index holds.
#include "streamstore/store_file_view.hpp"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string_view>
#include <vector>

#include "common/errors.hpp"
#include "common/shared_objects.hpp"
#include "common/text.hpp"
#include "common/utilities.hpp"
#include "recordfile/file_platform.hpp"
#include "recordfile/record_codec.hpp"
#include "recordfile/record_reading_loop.hpp"
#include "streamstore/store_file_index.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {

namespace {

constexpr std::string_view kSource = "StoreFileView";
constexpr int32_t kErrBadFileFormat = 321;
constexpr int32_t kErrDeviceIO = 57;

// Node-table columns a streamline read uses.
constexpr int32_t kColumnX = 1, kColumnCell = 4, kColumnTOF = 5, kColumnDRT = 6;
constexpr int32_t kDataColumns = 8;
// Reads of the file while opening it from its index are a few small pieces: a small buffer.
constexpr size_t kSmallBuffer = 4096;
// An index record larger than this is not believed (a store of a million datasets needs less).
constexpr int64_t kLargestIndex = int64_t{256} << 20;

std::string number(int64_t n) { return std::to_string(n); }

struct ViewIndex {
    std::vector<StoreIndexEntry> entries;
    int64_t fileSize = 0;
    RecordForm form = RecordForm::Binary;
    bool fromIndex = false;
};

}  // namespace

struct StoreFileView::State {
    std::string path;
    ViewIndex index;
    file_platform::FileHandle file = file_platform::kNoFile;
    mutable std::mutex errorLock;
    mutable std::string lastError;
    // The block checks of a table body, read once on its first use (4 bytes per 64 KiB), so that
    // a partial read costs one positioned read per run of blocks; and which blocks a read has
    // found intact since Open (one bit per block). A later read inside verified blocks reads just
    // its values: the file is taken not to change while it is open, as with the index.
    struct TableChecks {
        std::once_flag once;
        std::vector<uint32_t> values;
        std::unique_ptr<std::atomic<uint64_t>[]> verified;

        bool isVerified(int64_t block) const {
            return (verified[static_cast<size_t>(block / 64)].load(std::memory_order_acquire) >> (block % 64)) & 1;
        }
        void markVerified(int64_t block) const {
            verified[static_cast<size_t>(block / 64)].fetch_or(uint64_t{1} << (block % 64), std::memory_order_release);
        }
    };
    std::unique_ptr<TableChecks[]> checks;  // per dataset: its node table, then its pointer table

    ~State() { closeFile(); }

    void closeFile() {
        if (file != file_platform::kNoFile) file_platform::closeFile(file);
        file = file_platform::kNoFile;
        checks.reset();
    }

    const TableChecks& checksOf(int32_t iDataSet, const StoreTableBody& body, bool nodes) const {
        TableChecks& table = checks[2 * static_cast<size_t>(iDataSet - 1) + (nodes ? 0 : 1)];
        std::call_once(table.once, [&] {
            const auto count = static_cast<size_t>((body.layout.bodyBytes + kBodyBlockBytes - 1) / kBodyBlockBytes);
            std::vector<uint8_t> bytes(4 * count);
            readExactly(body.layout.checksOffset, bytes.data(), bytes.size());
            std::vector<uint32_t> values(count);
            for (size_t b = 0; b < count; ++b)
                for (size_t k = 4; k-- > 0;) values[b] = (values[b] << 8) | bytes[4 * b + k];
            table.verified = std::make_unique<std::atomic<uint64_t>[]>(count / 64 + 1);
            table.values = std::move(values);
        });
        return table;
    }

    void setLastError(std::string message) const {
        std::lock_guard lock(errorLock);
        lastError = std::move(message);
    }

    // Runs body under the library's error trap; a failure's message is also kept for LastError().
    template <class Body>
    bool trapped(std::string_view procedure, Body&& body) const {
        std::string message;
        const bool ok = runTrapped(kSource, procedure, [&] {
            try {
                body();
            } catch (const RuntimeError& e) {
                message = e.description().empty() ? standardErrorText(e.number()) : e.description();
                throw;
            } catch (const std::exception& e) {
                message = e.what();
                throw;
            }
        });
        if (!ok) setLastError(message.empty() ? std::string(procedure) + " failed" : message);
        return ok;
    }

    std::string named() const { return "'" + path + "'"; }

    const StoreIndexEntry& entry(int32_t iDataSet) const {
        if (file == file_platform::kNoFile) raiseError(kErrInvalidCall, "no store file is open");
        if (iDataSet < 1 || iDataSet > static_cast<int32_t>(index.entries.size()))
            raiseError(kErrSubscript, "dataset " + number(iDataSet) + " is not in " + named() + " (it holds " +
                                          number(static_cast<int64_t>(index.entries.size())) + ")");
        return index.entries[static_cast<size_t>(iDataSet - 1)];
    }

    // Exactly n bytes from offset, by positioned reads (safe from several threads).
    void readExactly(int64_t offset, void* data, size_t n) const {
        auto* out = static_cast<uint8_t*>(data);
        while (n > 0) {
            const ssize_t got = file_platform::readAt(file, out, n, offset);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0)
                raiseError(kErrDeviceIO, "reading " + named() + " at byte " + number(offset) +
                                             " failed: " + file_platform::errorText(errno));
            if (got == 0)
                raiseError(kErrBadFileFormat, named() + " ends at byte " + number(offset) +
                                                  ", before the data its index names: the file changed or is cut");
            out += got;
            offset += got;
            n -= static_cast<size_t>(got);
        }
    }

    // n 4-byte values (int32 or float) of a table body from item `first` on. Where the body has
    // block checks, the blocks holding them are read whole and checked first: values of a
    // damaged block are never returned.
    void readItems(int32_t iDataSet, const StoreTableBody& body, bool nodes, int64_t first, int64_t n,
                   void* values) const {
        if (first < 0 || first + n > body.items)
            raiseError(kErrSubscript, "items " + number(first + 1) + " to " + number(first + n) +
                                          " lie outside a table of " + number(body.items) + " in " + named());
        const RecordLayout& layout = body.layout;
        const int64_t from = 4 * first;
        const int64_t bytes = 4 * n;
        const int64_t firstBlock = from / kBodyBlockBytes;
        const int64_t lastBlock = (from + bytes - 1) / kBodyBlockBytes;
        const TableChecks* checks = layout.checksOffset < 0 ? nullptr : &checksOf(iDataSet, body, nodes);
        bool verified = true;
        for (int64_t b = firstBlock; checks != nullptr && verified && b <= lastBlock; ++b)
            verified = checks->isVerified(b);
        if (verified) {
            readExactly(layout.bodyOffset + from, values, static_cast<size_t>(bytes));
        } else {
            const std::vector<uint32_t>& stored = checks->values;
            const int64_t start = firstBlock * kBodyBlockBytes;
            const int64_t end = std::min(layout.bodyBytes, (lastBlock + 1) * kBodyBlockBytes);
            // One buffer per thread, kept between reads.
            thread_local std::vector<uint8_t> blocks;
            if (blocks.size() < static_cast<size_t>(end - start)) blocks.resize(static_cast<size_t>(end - start));
            readExactly(layout.bodyOffset + start, blocks.data(), static_cast<size_t>(end - start));
            for (int64_t b = firstBlock; b <= lastBlock; ++b) {
                const int64_t at = b * kBodyBlockBytes - start;
                const auto size = static_cast<size_t>(std::min(kBodyBlockBytes, end - start - at));
                if (static_cast<size_t>(b) >= stored.size() ||
                    bodyBlockCheck(layout, static_cast<uint64_t>(b), blocks.data() + at, size) !=
                        stored[static_cast<size_t>(b)])
                    raiseError(kErrBadFileFormat,
                               "Record '" + std::string(body.keyword) + "' of dataset " + number(iDataSet) +
                                   " at byte " + number(layout.headerOffset) + " of '" + path +
                                   "': checksum mismatch in block " + number(b + 1) + " (body bytes from " +
                                   number(b * kBodyBlockBytes) + "): the block is damaged and none of its values are returned");
                checks->markVerified(b);
            }
            std::memcpy(values, blocks.data() + (from - start), static_cast<size_t>(bytes));
        }
        if constexpr (std::endian::native == std::endian::big) {
            auto* words = static_cast<uint32_t*>(values);
            for (int64_t k = 0; k < n; ++k) words[k] = __builtin_bswap32(words[k]);
        }
    }

    struct Run {
        int32_t first = 0;
        int32_t nnodes = 0;
    };

    // The pointer entry of one streamline: its first row and node count.
    Run locate(int32_t iDataSet, const StoreIndexEntry& e, int32_t iStream) const {
        if (index.form != RecordForm::Binary)
            raiseError(kErrInvalidCall, named() + " is in the formatted form, whose values have no fixed place: "
                                                  "single streamlines are read from binary files only "
                                                  "(LoadDataset reads the whole dataset)");
        const int32_t count = e.summary.NumberStreamlines;
        if (iStream < 1 || iStream > count)
            raiseError(kErrSubscript, "streamline " + number(iStream) + " is not in dataset " + number(iDataSet) +
                                          " of " + named() + " (it holds " + number(count) + ")");
        if (e.pointers.layout.bodyOffset < 0 || e.pointers.bound1 < 2 || e.nodes.layout.bodyOffset < 0)
            raiseError(kErrBadFileFormat, "dataset " + number(iDataSet) + " of " + named() +
                                              " holds no streamline tables");
        int32_t entry[2] = {0, 0};
        readItems(iDataSet, e.pointers, false, int64_t{iStream - 1} * e.pointers.bound1, 2, entry);
        return Run{entry[0], entry[1]};
    }

    // One column of a streamline's rows into out (nnodes values).
    void readColumn(int32_t iDataSet, const StoreIndexEntry& e, const Run& run, int32_t column, float* out) const {
        const int32_t rows = e.nodes.bound1;
        if (run.first < 1 || int64_t{run.first} + run.nnodes - 1 > rows || column > e.nodes.bound2)
            raiseError(kErrSubscript, "streamline rows " + number(run.first) + " to " +
                                          number(int64_t{run.first} + run.nnodes - 1) + ", column " + number(column) +
                                          " lie outside the node table (" + number(rows) + " x " +
                                          number(e.nodes.bound2) + ") of " + named());
        readItems(iDataSet, e.nodes, true, int64_t{column - 1} * rows + run.first - 1, run.nnodes, out);
    }
};

namespace {

// Raises a failed file operation with the file's own message.
void raiseFileFailure(const RecordFile& file) {
    raiseError(file.LastErrorCode() < 0 ? -file.LastErrorCode() : kErrBadFileFormat, file.LastError());
}

// The index record through the trailer: the trailer and the record's own checks must be intact,
// and every section it names must start with a dataset's opening record. Anything else leaves
// the view to index the file by passing over it.
bool readIndexRecord(const std::string& path, file_platform::FileHandle handle, ViewIndex& index) {
    if (index.fileSize < kFilePreambleBytes + static_cast<int64_t>(kFileTrailerBytes)) return false;
    uint8_t trailer[kFileTrailerBytes];
    TrailerFacts facts;
    const int64_t trailerAt = index.fileSize - static_cast<int64_t>(kFileTrailerBytes);
    if (file_platform::readAt(handle, trailer, sizeof trailer, trailerAt) != static_cast<ssize_t>(sizeof trailer) ||
        !decodeTrailer(trailer, facts) || facts.fileLength != index.fileSize ||
        facts.indexOffset < kFilePreambleBytes || facts.indexLength <= 0 || facts.indexLength > kLargestIndex ||
        facts.indexOffset > trailerAt - facts.indexLength || facts.records < 2)
        return false;
    // The index is the record before the store's closing record, the last of the file.
    RecordFile file(kSmallBuffer);
    RecordIO io;
    RecordHeader header;
    bool ok = false;
    Array<int32_t> words;
    if (!file.OpenForReading(path) || !file.codec()->startAt(facts.indexOffset, facts.records - 1) ||
        io.ReadRecordHeader(file, header.keyword, header.count, header.type, ok) < 0 ||
        header.keyword != kStoreIndexKeyword || header.type != kStoreIndexType || header.count < 1 ||
        io.ReadIntegerArray(header.count, "'", file, words, ok) < 0 ||
        file.position() != facts.indexOffset + facts.indexLength)
        return false;
    std::vector<uint8_t> body(4 * words.size());
    for (size_t k = 0; k < body.size(); ++k)
        body[k] = static_cast<uint8_t>(static_cast<uint32_t>(words.data()[k / 4]) >> (8 * (k % 4)));
    std::vector<StoreIndexEntry> entries;
    std::string problem;
    if (!decodeStoreIndex(body.data(), body.size(), facts.indexOffset, entries, problem)) return false;
    RecordFile sections(kSmallBuffer);
    if (!sections.OpenForReading(path)) return false;
    for (const StoreIndexEntry& e : entries) {
        if (!sections.codec()->startAt(e.summary.SectionOffset, e.sectionRecord) ||
            io.ReadRecordHeader(sections, header.keyword, header.count, header.type, ok) < 0 ||
            header.keyword != "STREAMSET>" || header.count != 0)
            return false;
    }
    index.entries = std::move(entries);
    index.fromIndex = true;
    return true;
}

// Indexes the file in one pass: the small scalar records of each dataset are read, every other
// body is passed over unread.
void passOverRecords(const std::string& path, ViewIndex& index, const StoreFileView::Progress& progress) {
    RecordFile file;
    if (!file.OpenForReading(path)) raiseFileFailure(file);
    if (file.TotalBytes() != index.fileSize)
        raiseError(kErrBadFileFormat, "'" + path + "' changed while it was being opened");
    index.form = file.Form();
    if (progress) file.SetProgressCallback([&] { progress(file.BytesRead(), file.TotalBytes()); });
    RecordIO io;
    StoreIndexBuilder builder(index.entries);
    RecordValues values;
    const ReadingLoopSettings settings{kSource, "Open", "<STREAMSTORE"};
    const bool closed = runReadingLoop(io, file, settings, [&](const RecordHeader& header) {
        values = RecordValues{};
        if (builder.wantsValues(header.keyword, header.type, header.count)) {
            if (header.type == "LOGI") {
                const Array<bool> v = readLogicals(io, file, header);
                values.logicals.assign(v.data(), v.data() + v.size());
            } else if (header.type == "REAL") {
                const Array<float> v = readSingles(io, file, header);
                values.singles.assign(v.data(), v.data() + v.size());
            } else if (header.type == "INTE") {
                const Array<int32_t> v = readLongs(io, file, header);
                values.longs.assign(v.data(), v.data() + v.size());
            } else {
                values.texts = readTexts(io, file, header);
            }
        }
        const RecordLayout layout = file.codec()->currentLayout();
        const bool storeClosed = builder.record(
            SeenRecord{header.keyword, header.type, header.count, layout, file.position()}, values);
        // Anything not read here is passed over unread by the next header read.
        return storeClosed ? RecordStep::SectionClosed : RecordStep::Next;
    });
    if (!closed || builder.inDataSet())
        raiseError(kErrPastEndOfFile, "'" + path + "' ends before its '<STREAMSTORE' record: the file is cut");
}

}  // namespace

StoreFileView::StoreFileView() : state_(std::make_unique<State>()) {}
StoreFileView::~StoreFileView() = default;

bool StoreFileView::Open(const std::string& path, Progress progress) {
    Close();
    State& s = *state_;
    s.path = path;
    s.setLastError("");
    const bool ok = s.trapped("Open", [&] {
        ViewIndex index;
        file_platform::FileStatus status;
        if (!file_platform::openForReading(path, s.file, status))
            raiseError(errno == ENOENT ? 53 : 75, "cannot open '" + path + "': " + file_platform::errorText(errno));
        if (status.kind != file_platform::FileKind::Regular)
            raiseError(kErrBadFileFormat, "'" + path + "' is not a regular file");
        index.fileSize = status.size;
        if (!readIndexRecord(path, s.file, index)) {
            index = ViewIndex{};
            index.fileSize = status.size;
            passOverRecords(path, index, progress);
        }
        s.checks = std::make_unique<State::TableChecks[]>(2 * index.entries.size());
        s.index = std::move(index);
    });
    if (!ok) {
        s.closeFile();
        s.index = ViewIndex{};
    }
    return ok;
}

void StoreFileView::Close() {
    state_->closeFile();
    state_->index = ViewIndex{};
}

bool StoreFileView::IsOpen() const noexcept { return state_->file != file_platform::kNoFile; }
bool StoreFileView::FromIndex() const noexcept { return state_->index.fromIndex; }
const std::string& StoreFileView::Path() const noexcept { return state_->path; }

int32_t StoreFileView::DatasetCount() const noexcept {
    return static_cast<int32_t>(state_->index.entries.size());
}

bool StoreFileView::Summary(int32_t iDataSet, StoreDatasetSummary& summary) const {
    return state_->trapped("Summary", [&] { summary = state_->entry(iDataSet).summary; });
}

bool StoreFileView::LoadDataset(int32_t iDataSet, rvStreamSet& dataSet) const {
    const State& s = *state_;
    return s.trapped("LoadDataset", [&] {
        const auto& e = s.entry(iDataSet);
        RecordFile file;
        if (!file.OpenForReading(s.path)) raiseFileFailure(file);
        if (file.TotalBytes() != s.index.fileSize)
            raiseError(kErrBadFileFormat, s.named() + " changed since the view was opened");
        if (!file.codec()->startAt(e.summary.SectionOffset, e.sectionRecord)) raiseFileFailure(file);
        RecordIO io;
        RecordHeader opening;
        bool ok = false;
        checkRecordCall(io.ReadRecordHeader(file, opening.keyword, opening.count, opening.type, ok), file);
        if (opening.keyword != "STREAMSET>")
            raiseError(kErrBadFileFormat, s.named() + " holds no dataset section at byte " +
                                              number(e.summary.SectionOffset) + ": the file changed");
        rvStreamSet loaded;
        loaded.BINARYIMPORT(file, ok);
        if (!ok)
            raiseError(kErrBadFileFormat, "dataset " + number(iDataSet) + " of " + s.named() + " did not load" +
                                              (file.LastError().empty() ? "" : ": " + file.LastError()));
        dataSet = std::move(loaded);
    });
}

bool StoreFileView::ReadStreamline(int32_t iDataSet, int32_t iStream, Array<float>& sData, int32_t& nCols,
                                   int32_t& nnodes) const {
    const State& s = *state_;
    return s.trapped("ReadStreamline", [&] {
        const auto& e = s.entry(iDataSet);
        const State::Run run = s.locate(iDataSet, e, iStream);
        if (run.nnodes < 1)
            raiseError(kErrInvalidCall, "streamline " + number(iStream) + " of dataset " + number(iDataSet) +
                                            " has no nodes");
        const int32_t columns = e.nodes.bound2;
        const bool ijk = e.gridSet && columns >= kColumnCell;
        if (columns < kColumnX + 2 && !ijk)
            raiseError(kErrSubscript, "the node table of dataset " + number(iDataSet) + " has no positions");
        const auto n = static_cast<size_t>(run.nnodes);
        // Parts the table cannot give stay 0, as after a full import.
        Array<float> table;
        table.redim(1, run.nnodes, 1, kDataColumns);
        const auto column = [&](int32_t c) { return table.data() + static_cast<size_t>(c - 1) * n; };
        if (columns >= kColumnX + 2)
            for (int32_t c = kColumnX; c <= kColumnX + 2; ++c) s.readColumn(iDataSet, e, run, c, column(c));
        if (ijk) {
            std::vector<float> values(n);
            s.readColumn(iDataSet, e, run, kColumnCell, values.data());
            Array<int32_t> cells, i, j, k;
            cells.redimForOverwrite(1, run.nnodes);
            for (size_t r = 0; r < n; ++r) cells.data()[r] = roundToLong(values[r]);
            i.redim(1, run.nnodes);
            j.redim(1, run.nnodes);
            k.redim(1, run.nnodes);
            gridIndexer().CellsToIJK(cells, e.NX, e.NY, e.NZ, i, j, k);
            for (size_t r = 0; r < n; ++r) {
                column(4)[r] = static_cast<float>(i.data()[r]);
                column(5)[r] = static_cast<float>(j.data()[r]);
                column(6)[r] = static_cast<float>(k.data()[r]);
            }
        }
        if (columns >= kColumnTOF) s.readColumn(iDataSet, e, run, kColumnTOF, column(7));
        if (columns >= kColumnDRT) s.readColumn(iDataSet, e, run, kColumnDRT, column(8));
        sData.swap(table);
        nCols = kDataColumns;
        nnodes = run.nnodes;
    });
}

bool StoreFileView::ReadStreamlineTOF(int32_t iDataSet, int32_t iStream, Array<float>& sTOF,
                                      int32_t& nnodes) const {
    const State& s = *state_;
    return s.trapped("ReadStreamlineTOF", [&] {
        const auto& e = s.entry(iDataSet);
        const State::Run run = s.locate(iDataSet, e, iStream);
        if (run.nnodes >= 1) {
            Array<float> values;
            values.redimForOverwrite(1, run.nnodes);
            s.readColumn(iDataSet, e, run, kColumnTOF, values.data());
            sTOF.swap(values);
        }
        nnodes = run.nnodes;
    });
}

std::string StoreFileView::LastError() const {
    std::lock_guard lock(state_->errorLock);
    return state_->lastError;
}

}  // namespace tkstream63
