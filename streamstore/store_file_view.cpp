// StoreFileView: the index of a saved store built in one pass over its records, and reads of
// single datasets and streamlines at the offsets the index holds.
#include "streamstore/store_file_view.hpp"

#include <algorithm>
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
#include "streamset/stream_set.hpp"

namespace tkstream63 {

namespace {

constexpr std::string_view kSource = "StoreFileView";
constexpr int32_t kErrBadFileFormat = 321;
constexpr int32_t kErrDeviceIO = 57;

// Items of the dataset's scalar records that the index keeps (1-based, as written).
constexpr int32_t kLogiGridSet = 3, kLogiNeeded = 8;
constexpr int32_t kRealSimulationTime = 4, kRealNeeded = 12;
constexpr int32_t kCharDataClass = 2, kCharDateStamp = 4, kCharFileName = 5, kCharOrigin = 7;
constexpr int32_t kInteMaxRows = 26, kInteNumberStreamlines = 30, kInteDataColumns = 31, kInteNumberWells = 32,
                  kInteNX = 33, kInteNeeded = 38;

// Node-table and pointer-table columns a streamline read uses.
constexpr int32_t kColumnX = 1, kColumnCell = 4, kColumnTOF = 5, kColumnDRT = 6;
constexpr int32_t kDataColumns = 8;

std::string number(int64_t n) { return std::to_string(n); }

// A table body in the file: its bounds as announced before it and where its values start.
struct TableBody {
    const char* keyword = "";
    RecordLayout layout;  // layout.bodyOffset -1: not in the file, or not at a fixed place (text)
    int64_t items = 0;
    int32_t bound1 = 0;
    int32_t bound2 = 0;
};

struct ViewIndex {
    struct Entry {
        StoreDatasetSummary summary;
        int64_t sectionRecord = 0;  // number of its "STREAMSET>" record
        TableBody nodes;     // rows x columns, column by column
        TableBody pointers;  // pointer columns x streamlines
        bool gridSet = false;
        int32_t NX = 0, NY = 0, NZ = 0;
    };
    std::vector<Entry> entries;
    int64_t fileSize = 0;
    RecordForm form = RecordForm::Binary;
};

}  // namespace

struct StoreFileView::State {
    std::string path;
    ViewIndex index;
    file_platform::FileHandle file = file_platform::kNoFile;
    mutable std::mutex errorLock;
    mutable std::string lastError;

    ~State() { closeFile(); }

    void closeFile() {
        if (file != file_platform::kNoFile) file_platform::closeFile(file);
        file = file_platform::kNoFile;
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

    const ViewIndex::Entry& entry(int32_t iDataSet) const {
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
    void readItems(int32_t iDataSet, const TableBody& body, int64_t first, int64_t n, void* values) const {
        if (first < 0 || first + n > body.items)
            raiseError(kErrSubscript, "items " + number(first + 1) + " to " + number(first + n) +
                                          " lie outside a table of " + number(body.items) + " in " + named());
        const RecordLayout& layout = body.layout;
        const int64_t from = 4 * first;
        const int64_t bytes = 4 * n;
        if (layout.checksOffset < 0) {
            readExactly(layout.bodyOffset + from, values, static_cast<size_t>(bytes));
        } else {
            const int64_t firstBlock = from / kBodyBlockBytes;
            const int64_t lastBlock = (from + bytes - 1) / kBodyBlockBytes;
            const int64_t start = firstBlock * kBodyBlockBytes;
            const int64_t end = std::min(layout.bodyBytes, (lastBlock + 1) * kBodyBlockBytes);
            std::vector<uint8_t> blocks(static_cast<size_t>(end - start));
            std::vector<uint8_t> checks(static_cast<size_t>(4 * (lastBlock - firstBlock + 1)));
            readExactly(layout.bodyOffset + start, blocks.data(), blocks.size());
            readExactly(layout.checksOffset + 4 * firstBlock, checks.data(), checks.size());
            for (int64_t b = firstBlock; b <= lastBlock; ++b) {
                const int64_t at = b * kBodyBlockBytes - start;
                const auto size = static_cast<size_t>(std::min(kBodyBlockBytes, end - start - at));
                uint32_t stored = 0;
                for (int k = 3; k >= 0; --k) stored = (stored << 8) | checks[static_cast<size_t>(4 * (b - firstBlock) + k)];
                if (bodyBlockCheck(layout, static_cast<uint64_t>(b), blocks.data() + at, size) != stored)
                    raiseError(kErrBadFileFormat,
                               "Record '" + std::string(body.keyword) + "' of dataset " + number(iDataSet) +
                                   " at byte " + number(layout.headerOffset) + " of '" + path +
                                   "': checksum mismatch in block " + number(b + 1) + " (body bytes from " +
                                   number(b * kBodyBlockBytes) + "): the block is damaged and none of its values are returned");
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
    Run locate(int32_t iDataSet, const ViewIndex::Entry& e, int32_t iStream) const {
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
        readItems(iDataSet, e.pointers, int64_t{iStream - 1} * e.pointers.bound1, 2, entry);
        return Run{entry[0], entry[1]};
    }

    // One column of a streamline's rows into out (nnodes values).
    void readColumn(int32_t iDataSet, const ViewIndex::Entry& e, const Run& run, int32_t column, float* out) const {
        const int32_t rows = e.nodes.bound1;
        if (run.first < 1 || int64_t{run.first} + run.nnodes - 1 > rows || column > e.nodes.bound2)
            raiseError(kErrSubscript, "streamline rows " + number(run.first) + " to " +
                                          number(int64_t{run.first} + run.nnodes - 1) + ", column " + number(column) +
                                          " lie outside the node table (" + number(rows) + " x " +
                                          number(e.nodes.bound2) + ") of " + named());
        readItems(iDataSet, e.nodes, int64_t{column - 1} * rows + run.first - 1, run.nnodes, out);
    }
};

namespace {

// Builds the index in one pass: small scalar records are read, large bodies are passed over,
// and the layout of the two streamline tables is noted.
class IndexBuilder {
public:
    IndexBuilder(RecordIO& io, RecordFile& file, ViewIndex& index) : io_(io), file_(file), index_(index) {}

    RecordStep operator()(const RecordHeader& header) {
        const std::string& key = header.keyword;
        if (!inDataSet_) {
            if (key == "STREAMSET>") {
                inDataSet_ = true;
                wafDepth_ = 0;
                index_.entries.emplace_back();
                const RecordLayout layout = file_.codec()->currentLayout();
                current().summary.SectionOffset = layout.headerOffset;
                current().sectionRecord = layout.recordNumber;
            }
            return key == "<STREAMSTORE" ? RecordStep::SectionClosed : RecordStep::Next;
        }
        auto& e = current();
        if (key == "WAF>") {
            e.summary.WAF = true;
            ++wafDepth_;
        } else if (key == "<WAF") {
            --wafDepth_;
        } else if (wafDepth_ > 0) {
            // The WAF set's own records.
        } else if (key == "<STREAMSET") {
            e.summary.SectionLength = file_.position() - e.summary.SectionOffset;
            inDataSet_ = false;
        } else {
            readDataSetRecord(header, e);
        }
        return RecordStep::Next;
    }

    bool inDataSet() const { return inDataSet_; }

private:
    ViewIndex::Entry& current() { return index_.entries.back(); }

    void readDataSetRecord(const RecordHeader& header, ViewIndex::Entry& e) {
        const std::string& key = header.keyword;
        auto& s = e.summary;
        if (header.type == "LOGI" && key == "SETLOGI" && header.count >= kLogiNeeded) {
            const Array<bool> v = readLogicals(io_, file_, header);
            e.gridSet = v(kLogiGridSet);
        } else if (header.type == "REAL" && key == "SETREAL" && header.count >= kRealNeeded) {
            s.SimulationTime = readSingles(io_, file_, header)(kRealSimulationTime);
        } else if (header.type == "CHAR" && key == "SETCHAR") {
            const std::vector<std::string> v = readTexts(io_, file_, header);
            const auto item = [&](int32_t k, std::string& field) {
                if (static_cast<size_t>(k) <= v.size()) field = v[static_cast<size_t>(k - 1)];
            };
            item(kCharDataClass, s.DataClass);
            item(kCharDateStamp, s.DateStamp);
            item(kCharFileName, s.FileName);
            item(kCharOrigin, s.Origin);
        } else if (header.type == "INTE" && key == "SETINTE" && header.count >= kInteNeeded) {
            const Array<int32_t> v = readLongs(io_, file_, header);
            s.MaxRows = v(kInteMaxRows);
            s.NumberStreamlines = v(kInteNumberStreamlines);
            s.nDataColumns = v(kInteDataColumns);
            s.NumberWells = v(kInteNumberWells);
            e.NX = v(kInteNX);
            e.NY = v(kInteNX + 1);
            e.NZ = v(kInteNX + 2);
        } else if (header.type == "INTE" && (key == "STREAMLINE" || key == "ISTREAMLINE") && header.count >= 2) {
            const Array<int32_t> v = readLongs(io_, file_, header);
            (key == "STREAMLINE" ? nodeBounds_ : pointerBounds_) = {v(1), v(2)};
        } else if (header.type == "REAL" && key == "SLINEDATA") {
            e.nodes = body(header, "SLINEDATA", nodeBounds_);
        } else if (header.type == "INTE" && key == "ISLINEDATA") {
            e.pointers = body(header, "ISLINEDATA", pointerBounds_);
        }
        // Anything else is passed over unread by the next header read.
    }

    TableBody body(const RecordHeader& header, const char* keyword, const std::pair<int32_t, int32_t>& bounds) const {
        TableBody table;
        table.keyword = keyword;
        table.layout = file_.codec()->currentLayout();
        table.items = header.count;
        table.bound1 = bounds.first;
        table.bound2 = bounds.second;
        return table;
    }

    RecordIO& io_;
    RecordFile& file_;
    ViewIndex& index_;
    bool inDataSet_ = false;
    int wafDepth_ = 0;
    std::pair<int32_t, int32_t> nodeBounds_{0, 0};
    std::pair<int32_t, int32_t> pointerBounds_{0, 0};
};

// Raises a failed file operation with the file's own message.
void raiseFileFailure(const RecordFile& file) {
    raiseError(file.LastErrorCode() < 0 ? -file.LastErrorCode() : kErrBadFileFormat, file.LastError());
}

}  // namespace

StoreFileView::StoreFileView() : state_(std::make_unique<State>()) {}
StoreFileView::~StoreFileView() = default;

bool StoreFileView::Open(const std::string& path) {
    Close();
    State& s = *state_;
    s.path = path;
    s.setLastError("");
    const bool ok = s.trapped("Open", [&] {
        ViewIndex index;
        file_platform::FileStatus status;
        if (!file_platform::openForReading(path, s.file, status))
            raiseError(errno == ENOENT ? 53 : 75, "cannot open '" + path + "': " + file_platform::errorText(errno));
        RecordFile file;
        if (!file.OpenForReading(path)) raiseFileFailure(file);
        if (status.kind != file_platform::FileKind::Regular || status.size != file.TotalBytes())
            raiseError(kErrBadFileFormat, "'" + path + "' changed while it was being opened");
        index.fileSize = status.size;
        index.form = file.Form();
        RecordIO io;
        IndexBuilder builder(io, file, index);
        const ReadingLoopSettings settings{kSource, "Open", "<STREAMSTORE"};
        if (!runReadingLoop(io, file, settings, builder) || builder.inDataSet())
            raiseError(kErrPastEndOfFile, "'" + path + "' ends before its '<STREAMSTORE' record: the file is cut");
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
