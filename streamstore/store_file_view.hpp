// StoreFileView: a read-only look into a saved store file without importing it.
//
// Open() finds the file's index: where each dataset's section lies, the attributes a host lists
// datasets by, and where its node table and pointer table bodies start. A host then loads one
// dataset, or reads single streamlines straight from the file, reading only the pointer entry and
// the rows involved. The file is never held in memory as a whole, so files larger than memory
// work.
//
// Binary files give everything. Formatted (text) files have no fixed layout, so for them the
// single-streamline reads are refused with a clear error; Summary() and LoadDataset() work.
//
// Reads from several threads on one open view are safe (each read is a positioned read on the
// one descriptor; the index does not change after Open). Open() and Close() must not run at the
// same time as reads. Nothing throws: failures are reported through the library's error report
// and kept in LastError(). Dataset numbers are 1-based, like the store's.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "common/bounded_array.hpp"

namespace tkstream63 {

class rvStreamSet;
class RecordFile;

// The keyword of the index record a binary store file ends with (just before its closing record).
inline constexpr const char* kStoreIndexKeyword = "STOREINDEX";

// Builds the index of a store's binary file from its records as they are written, and writes it.
// The store's export uses it; so does a tool that copies a store's records one by one (it passes
// over "STOREINDEX" records it reads and calls Finish() right before writing "<STREAMSTORE").
// Does nothing for the formatted form.
class StoreIndexWriter {
public:
    explicit StoreIndexWriter(RecordFile& file);  // from here on, records written are noted
    ~StoreIndexWriter();
    StoreIndexWriter(const StoreIndexWriter&) = delete;
    StoreIndexWriter& operator=(const StoreIndexWriter&) = delete;
    // Writes the index record (when at least one dataset was written); false when the write failed.
    bool Finish();

private:
    struct Notes;
    RecordFile& file_;
    std::unique_ptr<Notes> notes_;
};

// What a host lists a saved dataset by, read from the dataset's own records.
struct StoreDatasetSummary {
    std::string Origin;
    std::string FileName;
    std::string DataClass;
    std::string DateStamp;
    float SimulationTime = 0;
    int32_t NumberStreamlines = 0;
    int32_t NumberWells = 0;
    int32_t nDataColumns = 0;
    int32_t MaxRows = 0;
    bool WAF = false;            // a WAF set is attached
    int64_t SectionOffset = 0;   // byte where its "STREAMSET>" record starts
    int64_t SectionLength = 0;   // bytes up to the end of its "<STREAMSET" record
};

class StoreFileView {
public:
    StoreFileView();
    ~StoreFileView();
    StoreFileView(const StoreFileView&) = delete;
    StoreFileView& operator=(const StoreFileView&) = delete;

    // Called now and then while Open passes over a file: bytes passed so far, and the file's size.
    using Progress = std::function<void(int64_t bytesRead, int64_t totalBytes)>;

    // Opens a saved store. A binary store written by this version carries an index of its
    // datasets at its end: Open reads the trailer and that index only. Other files (older ones,
    // the formatted form, or one whose index is missing, damaged or inconsistent) are indexed in
    // one sequential pass that reads the small records and passes over the large bodies,
    // reporting progress. A view already open is closed first.
    bool Open(const std::string& path, Progress progress = {});
    void Close();
    bool IsOpen() const noexcept;
    // Whether the open file was indexed from its own index record (rather than by a pass).
    bool FromIndex() const noexcept;
    const std::string& Path() const noexcept;

    int32_t DatasetCount() const noexcept;
    bool Summary(int32_t iDataSet, StoreDatasetSummary& summary) const;

    // Reads and checks that dataset's section only, through the dataset's own import. dataSet is
    // replaced only when the whole section loaded.
    bool LoadDataset(int32_t iDataSet, rvStreamSet& dataSet) const;

    // As rvStreamSet::getSingleStreamlineData after a full import: sData is (1 To nnodes, 1 To 8)
    // with X, Y, Z, I, J, K, TOF, DRT (I, J, K stay 0 without a grid); nCols = 8.
    bool ReadStreamline(int32_t iDataSet, int32_t iStream, Array<float>& sData, int32_t& nCols,
                        int32_t& nnodes) const;
    // As rvStreamSet::getSingleStreamlineTOF: sTOF is (1 To nnodes), left untouched for an
    // empty streamline (nnodes = 0).
    bool ReadStreamlineTOF(int32_t iDataSet, int32_t iStream, Array<float>& sTOF, int32_t& nnodes) const;

    // Message of the most recent failure ("" when nothing failed since Open).
    std::string LastError() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace tkstream63
