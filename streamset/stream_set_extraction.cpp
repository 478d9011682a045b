// rvStreamSet single streamline extraction: one streamline's run of rows cut out of the node
// table, column by column, and the wells at its two ends.
#include <algorithm>
#include <string_view>
#include <type_traits>
#include <utility>

#include "common/errors.hpp"
#include "common/shared_objects.hpp"
#include "common/text.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {

namespace {

constexpr std::string_view kSource = "rvStreamSet";

// Node-table columns read by position.
constexpr int32_t kColumnX = 1;
constexpr int32_t kColumnY = 2;
constexpr int32_t kColumnZ = 3;
constexpr int32_t kColumnCell = 4;
constexpr int32_t kColumnTOF = 5;
constexpr int32_t kColumnDRT = 6;

// Pointer-table columns.
constexpr int32_t kPointerFirstRow = 1;
constexpr int32_t kPointerNodeCount = 2;
constexpr int32_t kPointerStartNode = 7;
constexpr int32_t kPointerEndNode = 8;

// Well-table rows read for the end nodes.
constexpr int32_t kWellRowIndex = 2;
constexpr int32_t kWellRowNameLength = 4;

constexpr int32_t kDataColumns = 8;  // X, Y, Z, I, J, K, TOF, DRT

bool isEndNodeColumn(int32_t column) {
    return column == kPointerStartNode || column == kPointerEndNode;
}

// Writes values into one column of a (1 To n, 1 To m) table, converting to Single.
template <class T>
void putColumn(Array<float>& table, int32_t column, const Array<T>& values) {
    const size_t start = table.offsetOf(1, column);
    const size_t n = std::min(values.size(), static_cast<size_t>(table.extent(1)));
    if constexpr (std::is_same_v<T, float>) {
        table.copyIn(start, values.data(), n);
    } else {
        float* target = table.data() + start;
        for (size_t k = 0; k < n; ++k) target[k] = static_cast<float>(values.data()[k]);
    }
}

}  // namespace

// ---- locating a streamline ----

rvStreamSet::StreamlineRun rvStreamSet::locateStreamline(int32_t iStream,
                                                         int32_t& nnodes) const {
    StreamlineRun run;
    if (iStream < 1 || iStream > NumberStreamlines_) return run;
    run.first = iStreamLines_(kPointerFirstRow, iStream);
    run.nnodes = iStreamLines_(kPointerNodeCount, iStream);
    nnodes = run.nnodes;
    run.found = run.nnodes >= 1;
    return run;
}

size_t rvStreamSet::columnRunOffset(const StreamlineRun& run, int32_t column) const {
    const size_t offset = StreamLines_.offsetOf(run.first, column);
    if (int64_t{run.first} + run.nnodes - 1 > StreamLines_.ubound(1)) raiseError(kErrSubscript);
    return offset;
}

// A host reads streamlines one after the other, and a simulator writes them one after the
// other, so the rows after a run are usually the next calls'. Asking for them ahead keeps the
// memory busy between calls: extraction then runs at memory speed instead of waiting at the
// start of every run. The rows 2 KiB ahead are asked for, as many as this run held (the calls
// before asked for the nearer ones), so a short run costs a single request. Only rows inside
// the table are touched. (The requests stay in this member: a helper holding nothing else would
// be dropped by the compiler as having no effect.)
void rvStreamSet::copyRun(size_t offset, int32_t n, float* output) const {
    const auto length = static_cast<size_t>(n);
    StreamLines_.copyOut(offset, length, output);
#if defined(__GNUC__)
    constexpr size_t kLineValues = 64 / sizeof(float);
    constexpr size_t kAheadValues = 2048 / sizeof(float);
    const size_t after = offset + length;
    const size_t end = std::min(StreamLines_.size(), after + kAheadValues);
    for (size_t k = after + kAheadValues - std::min(length, kAheadValues); k < end; k += kLineValues) {
        __builtin_prefetch(StreamLines_.data() + k);
    }
#endif
}

bool rvStreamSet::endNodeOfStreamline(int32_t iStream, int32_t column, int32_t& node) const {
    if (iStream < 1 || iStream > NumberStreamlines_) return false;
    node = iStreamLines_(column, iStream);
    return true;
}

// ---- extraction procedures ----

void rvStreamSet::extractSingleStreamLineColumn(std::string_view procedure, int32_t iStream,
                                                int32_t column, Array<float>& sData,
                                                int32_t& nnodes, bool& qOK) const noexcept {
    qOK = false;
    runTrapped(kSource, procedure, [&] {
        const StreamlineRun run = locateStreamline(iStream, nnodes);
        if (run.found) {
            const size_t offset = columnRunOffset(run, column);
            sData.redimForOverwrite(1, run.nnodes);
            copyRun(offset, run.nnodes, sData.data());
        }
        qOK = true;
    });
}

void rvStreamSet::extractSingleStreamLineCells(int32_t iStream, Array<int32_t>& iCell,
                                               int32_t& nnodes, bool& qOK) const noexcept {
    qOK = false;
    runTrapped(kSource, "extractSingleStreamLineCells", [&] {
        const StreamlineRun run = locateStreamline(iStream, nnodes);
        if (run.found) {
            const float* values = StreamLines_.data() + columnRunOffset(run, kColumnCell);
            Array<int32_t> cells;
            cells.redimForOverwrite(1, run.nnodes);
            for (int32_t k = 0; k < run.nnodes; ++k) cells.data()[k] = roundToLong(values[k]);
            iCell.swap(cells);
        }
        qOK = true;
    });
}

void rvStreamSet::extractSingleStreamLineIJK(int32_t iStream, Array<int32_t>& iPos,
                                             Array<int32_t>& jPos, Array<int32_t>& kPos,
                                             int32_t& nnodes, bool& qOK) const noexcept {
    qOK = false;
    if (!GridSet_) return;
    Array<int32_t> cells;
    bool cellsOK = false;
    extractSingleStreamLineCells(iStream, cells, nnodes, cellsOK);
    if (!cellsOK) return;
    runTrapped(kSource, "extractSingleStreamLineIJK", [&] {
        // No cells: an out-of-range or empty streamline, answered like the other extractions.
        if (!cells.empty()) {
            const auto n = static_cast<int32_t>(cells.size());
            iPos.redim(1, n);
            jPos.redim(1, n);
            kPos.redim(1, n);
            gridIndexer().CellsToIJK(cells, NX_, NY_, NZ_, iPos, jPos, kPos);
        }
        qOK = true;
    });
}

void rvStreamSet::extractSingleStreamLinePositions(int32_t iStream, Array<float>& xPos,
                                                   Array<float>& yPos, Array<float>& zPos,
                                                   int32_t& nnodes, bool& qOK) const noexcept {
    qOK = false;
    runTrapped(kSource, "extractSingleStreamLinePositions", [&] {
        const StreamlineRun run = locateStreamline(iStream, nnodes);
        if (run.found) {
            const size_t x = columnRunOffset(run, kColumnX);
            const size_t y = columnRunOffset(run, kColumnY);
            const size_t z = columnRunOffset(run, kColumnZ);
            for (const auto& [offset, output] : {std::pair{x, &xPos}, {y, &yPos}, {z, &zPos}}) {
                output->redimForOverwrite(1, run.nnodes);
                copyRun(offset, run.nnodes, output->data());
            }
        }
        qOK = true;
    });
}

void rvStreamSet::extractSingleStreamLine(int32_t iStream, Array<float>& sData, int32_t& nCols,
                                          int32_t& nnodes, bool& qOK) const noexcept {
    qOK = false;
    runTrapped(kSource, "extractSingleStreamLine", [&] {
        const StreamlineRun run = locateStreamline(iStream, nnodes);
        if (run.found) {
            const int32_t nHeaders = NumCols_;
            // Checking the last column covers the columns before it.
            if (nHeaders >= 1) columnRunOffset(run, nHeaders);
            nCols = nHeaders;
            sData.redimForOverwrite(1, run.nnodes, 1, nHeaders);
            const auto n = static_cast<size_t>(run.nnodes);
            for (int32_t c = 1; c <= nHeaders; ++c) {
                copyRun(columnRunOffset(run, c), run.nnodes, sData.data() + static_cast<size_t>(c - 1) * n);
            }
        }
        qOK = true;
    });
}

void rvStreamSet::extractSingleNodeIndex(int32_t iStream, int32_t column, int32_t& iWell,
                                         bool& qOK) const noexcept {
    qOK = false;
    if (!isEndNodeColumn(column)) return;
    runTrapped(kSource, "extractSingleNodeIndex", [&] {
        int32_t node = 0;
        if (endNodeOfStreamline(iStream, column, node)) iWell = node;
        qOK = true;
    });
}

void rvStreamSet::extractSingleSourceSinkIndex(int32_t iStream, int32_t column, int32_t& iWell,
                                               bool& qOK) const noexcept {
    qOK = false;
    if (!isEndNodeColumn(column)) return;
    runTrapped(kSource, "extractSingleSourceSinkIndex", [&] {
        int32_t node = 0;
        if (endNodeOfStreamline(iStream, column, node)) iWell = iWellData_(kWellRowIndex, node);
        qOK = true;
    });
}

void rvStreamSet::extractSingleNodeName(int32_t iStream, int32_t column, std::string& zNode,
                                        bool& qOK) const noexcept {
    qOK = false;
    zNode.clear();
    if (!isEndNodeColumn(column)) return;
    runTrapped(kSource, "extractSingleNodeName", [&] {
        int32_t node = 0;
        if (endNodeOfStreamline(iStream, column, node)) {
            const int32_t length = iWellData_(kWellRowNameLength, node);
            if (length >= 1) {
                const size_t n = std::min(static_cast<size_t>(length), kMaxNameBytes);
                const size_t start = bWellNames_.offsetOf(1, node);
                bWellNames_.checkRun(start, n);
                zNode = fromAnsi(bWellNames_.data() + start, n);
            }
        }
        qOK = true;
    });
}

// ---- public members ----

void rvStreamSet::getSingleStreamlineTOF(int32_t iStream, Array<float>& sTOF, int32_t& nnodes,
                                         bool& qOK) const {
    extractSingleStreamLineColumn("extractSingleStreamLineTOF", iStream, kColumnTOF, sTOF,
                                  nnodes, qOK);
}

void rvStreamSet::getSingleStreamlineDRT(int32_t iStream, Array<float>& sDRT, int32_t& nnodes,
                                         bool& qOK) const {
    extractSingleStreamLineColumn("extractSingleStreamLineDRT", iStream, kColumnDRT, sDRT,
                                  nnodes, qOK);
}

void rvStreamSet::getSingleStreamlineCells(int32_t iStream, Array<int32_t>& iCell,
                                           int32_t& nnodes, bool& qOK) const {
    extractSingleStreamLineCells(iStream, iCell, nnodes, qOK);
}

void rvStreamSet::getSingleStreamlineProperty(int32_t iStream, int32_t iProp,
                                              Array<float>& sData, int32_t& nnodes,
                                              bool& qOK) const {
    if (iProp < 1 || iProp > NumCols_) {
        qOK = true;
        return;
    }
    extractSingleStreamLineColumn("extractSingleStreamLineProperty", iStream, iProp, sData,
                                  nnodes, qOK);
}

void rvStreamSet::getSingleStreamlineIJK(int32_t iStream, Array<int32_t>& iPos,
                                         Array<int32_t>& jPos, Array<int32_t>& kPos,
                                         int32_t& nnodes, bool& qOK) const {
    extractSingleStreamLineIJK(iStream, iPos, jPos, kPos, nnodes, qOK);
}

void rvStreamSet::getSingleStreamlinePositions(int32_t iStream, Array<float>& xPos,
                                               Array<float>& yPos, Array<float>& zPos,
                                               int32_t& nnodes, bool& qOK) const {
    extractSingleStreamLinePositions(iStream, xPos, yPos, zPos, nnodes, qOK);
}

void rvStreamSet::getSingleStreamline(int32_t iStream, Array<float>& sData, int32_t& nCols,
                                      int32_t& nnodes, bool& qOK) const {
    extractSingleStreamLine(iStream, sData, nCols, nnodes, qOK);
}

void rvStreamSet::getSingleStreamlineData(int32_t iStream, Array<float>& sData, int32_t& nCols,
                                          int32_t& nnodes, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getSingleStreamlineData", [&] {
        Array<float> x, y, z, tof, drt;
        Array<int32_t> i, j, k;
        int32_t nPositions = 0, nIJK = 0, nTOF = 0, nDRT = 0;
        bool positionsOK = false, ijkOK = false, tofOK = false, drtOK = false;
        extractSingleStreamLinePositions(iStream, x, y, z, nPositions, positionsOK);
        extractSingleStreamLineIJK(iStream, i, j, k, nIJK, ijkOK);
        extractSingleStreamLineColumn("extractSingleStreamLineTOF", iStream, kColumnTOF, tof,
                                      nTOF, tofOK);
        extractSingleStreamLineColumn("extractSingleStreamLineDRT", iStream, kColumnDRT, drt,
                                      nDRT, drtOK);
        const int32_t n = nPositions > 0 ? nPositions : nIJK;
        if (n < 1) return;
        nnodes = n;
        nCols = kDataColumns;
        // Parts that could not be had stay 0.
        sData.redim(1, n, 1, kDataColumns);
        if (positionsOK) {
            putColumn(sData, 1, x);
            putColumn(sData, 2, y);
            putColumn(sData, 3, z);
        }
        if (ijkOK) {
            putColumn(sData, 4, i);
            putColumn(sData, 5, j);
            putColumn(sData, 6, k);
        }
        if (tofOK) putColumn(sData, 7, tof);
        if (drtOK) putColumn(sData, 8, drt);
        qOK = true;
    });
}

void rvStreamSet::getSingleStartNodeIndex(int32_t iStream, int32_t& iWell, bool& qOK) const {
    extractSingleNodeIndex(iStream, kPointerStartNode, iWell, qOK);
}

void rvStreamSet::getSingleEndNodeIndex(int32_t iStream, int32_t& iWell, bool& qOK) const {
    extractSingleNodeIndex(iStream, kPointerEndNode, iWell, qOK);
}

void rvStreamSet::getSingleSourceIndex(int32_t iStream, int32_t& iWell, bool& qOK) const {
    extractSingleSourceSinkIndex(iStream, kPointerStartNode, iWell, qOK);
}

void rvStreamSet::getSingleSinkIndex(int32_t iStream, int32_t& iWell, bool& qOK) const {
    extractSingleSourceSinkIndex(iStream, kPointerEndNode, iWell, qOK);
}

void rvStreamSet::getSingleStartNodeName(int32_t iStream, std::string& zNode, bool& qOK) const {
    extractSingleNodeName(iStream, kPointerStartNode, zNode, qOK);
}

void rvStreamSet::getSingleEndNodeName(int32_t iStream, std::string& zNode, bool& qOK) const {
    extractSingleNodeName(iStream, kPointerEndNode, zNode, qOK);
}

}  // namespace tkstream63
