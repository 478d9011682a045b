// Internal: the index of a saved store, kept by StoreFileView. For each dataset: where its section
// lies, the attributes a host lists datasets by, and where its node-table and pointer-table bodies
// start. The same builder makes it from the records as the store's export writes them (stored in
// the file as its "STOREINDEX" record) and from the records as a reader passes over them (a file
// without a usable index). docs/record-format.md describes the record.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "recordfile/record_codec.hpp"
#include "streamstore/store_file_view.hpp"

namespace tkstream63 {

// The index record: an "INTE" record right before the store's closing record, its body the bytes
// of encodeStoreIndex as little-endian 32-bit words. Readers that do not know it read it past
// (and so check it) like any unknown record.
inline constexpr const char* kStoreIndexType = "INTE";

// A table body in the file: its bounds as announced before it and where its values start.
struct StoreTableBody {
    const char* keyword = "";
    RecordLayout layout;  // layout.bodyOffset -1: not in the file, or not at a fixed place (text)
    int64_t items = 0;
    int32_t bound1 = 0;
    int32_t bound2 = 0;
};

struct StoreIndexEntry {
    StoreDatasetSummary summary;
    int64_t sectionRecord = 0;  // number of its "STREAMSET>" record
    StoreTableBody nodes;       // rows x columns, column by column
    StoreTableBody pointers;    // pointer columns x streamlines
    bool gridSet = false;
    int32_t NX = 0, NY = 0, NZ = 0;
};

// One record as seen by a writer or a reader, in file order.
struct SeenRecord {
    const std::string& keyword;
    const std::string& type;
    int64_t count;
    const RecordLayout& layout;
    int64_t endOffset;  // where the record ends; needed for the closing "<STREAMSET" only
};

class StoreIndexBuilder {
public:
    explicit StoreIndexBuilder(std::vector<StoreIndexEntry>& entries) : entries_(entries) {}
    // Whether the index needs the values of this record (pass them to record()).
    bool wantsValues(const std::string& keyword, const std::string& type, int64_t count) const;
    // Returns true at the store's closing record.
    bool record(const SeenRecord& seen, const RecordValues& values);
    bool inDataSet() const noexcept { return inDataSet_; }

private:
    void dataSetRecord(const SeenRecord& seen, const RecordValues& values, StoreIndexEntry& e);

    std::vector<StoreIndexEntry>& entries_;
    bool inDataSet_ = false;
    int wafDepth_ = 0;
    int32_t nodeBounds_[2] = {0, 0};
    int32_t pointerBounds_[2] = {0, 0};
};

// The body of the index record (a whole number of 4-byte words), and back. decodeStoreIndex checks that the body is whole and that
// its entries are consistent with a file of fileSize bytes whose records end at recordsEnd (the
// sections in order, without overlap, each table body inside its section); problem says what is
// wrong otherwise.
std::vector<uint8_t> encodeStoreIndex(const std::vector<StoreIndexEntry>& entries);
bool decodeStoreIndex(const uint8_t* bytes, size_t n, int64_t recordsEnd, std::vector<StoreIndexEntry>& entries,
                      std::string& problem);

}  // namespace tkstream63
