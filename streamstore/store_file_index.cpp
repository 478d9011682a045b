// The index of a saved store: built from the dataset records, and its byte form in the file.
#include "streamstore/store_file_index.hpp"

#include <bit>
#include <cstring>

#include "recordfile/record_io.hpp"
#include "recordfile/record_reading_loop.hpp"

namespace tkstream63 {

namespace {

// Items of the dataset's scalar records that the index keeps (1-based, as written).
constexpr size_t kLogiGridSet = 3, kLogiNeeded = 8;
constexpr size_t kRealSimulationTime = 4, kRealNeeded = 12;
constexpr size_t kCharDataClass = 2, kCharDateStamp = 4, kCharFileName = 5, kCharOrigin = 7;
constexpr size_t kInteMaxRows = 26, kInteNumberStreamlines = 30, kInteDataColumns = 31, kInteNumberWells = 32,
                 kInteNX = 33, kInteNeeded = 38;

constexpr const char* kNodeKeyword = "SLINEDATA";
constexpr const char* kPointerKeyword = "ISLINEDATA";
constexpr uint32_t kIndexLayout = 1;
// The smallest a dataset section can be: its two empty markers.
constexpr int64_t kSmallestSection = 2 * 37;

class Writer {
public:
    void u8(uint8_t v) { bytes.push_back(v); }
    void u32(uint32_t v) {
        for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<uint8_t>(v >> (8 * i)));
    }
    void i64(int64_t v) {
        const auto u = static_cast<uint64_t>(v);
        for (int i = 0; i < 8; ++i) bytes.push_back(static_cast<uint8_t>(u >> (8 * i)));
    }
    void text(const std::string& s) {
        u32(static_cast<uint32_t>(s.size()));
        bytes.insert(bytes.end(), s.begin(), s.end());
    }
    std::vector<uint8_t> bytes;
};

// Reads fields in order; any read past the end sets failed and gives zeros.
class Reader {
public:
    Reader(const uint8_t* bytes, size_t n) : at_(bytes), left_(n) {}
    uint8_t u8() { return static_cast<uint8_t>(take(1)); }
    uint32_t u32() { return static_cast<uint32_t>(take(4)); }
    int32_t i32() { return static_cast<int32_t>(u32()); }
    int64_t i64() { return static_cast<int64_t>(take(8)); }
    std::string text() {
        const uint32_t n = u32();
        if (n > left_) {
            failed = true;
            return {};
        }
        std::string s(reinterpret_cast<const char*>(at_), n);
        at_ += n;
        left_ -= n;
        return s;
    }
    size_t left() const noexcept { return left_; }
    bool failed = false;

private:
    uint64_t take(size_t n) {
        if (n > left_) {
            failed = true;
            left_ = 0;
            return 0;
        }
        uint64_t v = 0;
        for (size_t i = n; i-- > 0;) v = (v << 8) | at_[i];
        at_ += n;
        left_ -= n;
        return v;
    }
    const uint8_t* at_;
    size_t left_;
};

void writeTable(Writer& w, const StoreTableBody& t) {
    w.i64(t.layout.headerOffset);
    w.i64(t.layout.bodyOffset);
    w.i64(t.layout.bodyBytes);
    w.i64(t.layout.checksOffset);
    w.u32(t.layout.checkSeed);
    w.i64(t.items);
    w.u32(static_cast<uint32_t>(t.bound1));
    w.u32(static_cast<uint32_t>(t.bound2));
}

StoreTableBody readTable(Reader& r, const char* keyword) {
    StoreTableBody t;
    t.keyword = keyword;
    t.layout.headerOffset = r.i64();
    t.layout.bodyOffset = r.i64();
    t.layout.bodyBytes = r.i64();
    t.layout.checksOffset = r.i64();
    t.layout.checkSeed = r.u32();
    t.layout.itemWidth = 4;
    t.items = r.i64();
    t.bound1 = r.i32();
    t.bound2 = r.i32();
    return t;
}

// A table body lies inside its section, after its header, with its checks right behind it, and
// holds bound1 x bound2 items of 4 bytes.
bool tableFits(const StoreTableBody& t, int64_t sectionStart, int64_t sectionEnd) {
    const RecordLayout& l = t.layout;
    if (l.bodyOffset == -1) return true;
    const int64_t checks = (l.bodyBytes + kBodyBlockBytes - 1) / kBodyBlockBytes * 4;
    return l.headerOffset > sectionStart && l.bodyOffset > l.headerOffset && l.bodyBytes > 0 &&
           l.bodyBytes <= sectionEnd && l.bodyOffset <= sectionEnd - l.bodyBytes - checks &&
           l.checksOffset == l.bodyOffset + l.bodyBytes && t.items == l.bodyBytes / 4 && l.bodyBytes % 4 == 0 &&
           t.bound1 >= 0 && t.bound2 >= 0 && int64_t{t.bound1} * t.bound2 == t.items;
}

}  // namespace

bool StoreIndexBuilder::wantsValues(const std::string& keyword, const std::string& type, int64_t count) const {
    if (!inDataSet_ || wafDepth_ > 0 || count > kObservedItems) return false;
    return (type == "LOGI" && keyword == "SETLOGI") || (type == "REAL" && keyword == "SETREAL") ||
           (type == "CHAR" && keyword == "SETCHAR") || (type == "INTE" && keyword == "SETINTE") ||
           (type == "INTE" && (keyword == "STREAMLINE" || keyword == "ISTREAMLINE"));
}

bool StoreIndexBuilder::record(const SeenRecord& seen, const RecordValues& values) {
    const std::string& key = seen.keyword;
    if (!inDataSet_) {
        if (key == "STREAMSET>") {
            inDataSet_ = true;
            wafDepth_ = 0;
            nodeBounds_[0] = nodeBounds_[1] = pointerBounds_[0] = pointerBounds_[1] = 0;
            entries_.emplace_back();
            entries_.back().summary.SectionOffset = seen.layout.headerOffset;
            entries_.back().sectionRecord = seen.layout.recordNumber;
        }
        return key == "<STREAMSTORE";
    }
    StoreIndexEntry& e = entries_.back();
    if (key == "WAF>") {
        e.summary.WAF = true;
        ++wafDepth_;
    } else if (key == "<WAF") {
        --wafDepth_;
    } else if (wafDepth_ > 0) {
        // The WAF set's own records.
    } else if (key == "<STREAMSET") {
        e.summary.SectionLength = seen.endOffset - e.summary.SectionOffset;
        inDataSet_ = false;
    } else {
        dataSetRecord(seen, values, e);
    }
    return false;
}

void StoreIndexBuilder::dataSetRecord(const SeenRecord& seen, const RecordValues& v, StoreIndexEntry& e) {
    const std::string& key = seen.keyword;
    auto& s = e.summary;
    if (key == "SETLOGI" && v.logicals.size() >= kLogiNeeded) {
        e.gridSet = v.logicals[kLogiGridSet - 1];
    } else if (key == "SETREAL" && v.singles.size() >= kRealNeeded) {
        s.SimulationTime = v.singles[kRealSimulationTime - 1];
    } else if (key == "SETCHAR") {
        const auto item = [&](size_t k, std::string& field) {
            if (k <= v.texts.size()) field = v.texts[k - 1];
        };
        item(kCharDataClass, s.DataClass);
        item(kCharDateStamp, s.DateStamp);
        item(kCharFileName, s.FileName);
        item(kCharOrigin, s.Origin);
    } else if (key == "SETINTE" && v.longs.size() >= kInteNeeded) {
        s.MaxRows = v.longs[kInteMaxRows - 1];
        s.NumberStreamlines = v.longs[kInteNumberStreamlines - 1];
        s.nDataColumns = v.longs[kInteDataColumns - 1];
        s.NumberWells = v.longs[kInteNumberWells - 1];
        e.NX = v.longs[kInteNX - 1];
        e.NY = v.longs[kInteNX];
        e.NZ = v.longs[kInteNX + 1];
    } else if ((key == "STREAMLINE" || key == "ISTREAMLINE") && v.longs.size() >= 2) {
        int32_t* bounds = key == "STREAMLINE" ? nodeBounds_ : pointerBounds_;
        bounds[0] = v.longs[0];
        bounds[1] = v.longs[1];
    } else if ((seen.type == "REAL" && key == kNodeKeyword) || (seen.type == "INTE" && key == kPointerKeyword)) {
        const bool nodes = key == kNodeKeyword;
        StoreTableBody& table = nodes ? e.nodes : e.pointers;
        const int32_t* bounds = nodes ? nodeBounds_ : pointerBounds_;
        table.keyword = nodes ? kNodeKeyword : kPointerKeyword;
        table.layout = seen.layout;
        table.items = seen.count;
        table.bound1 = bounds[0];
        table.bound2 = bounds[1];
    }
}

std::vector<uint8_t> encodeStoreIndex(const std::vector<StoreIndexEntry>& entries) {
    Writer w;
    w.u32(kIndexLayout);
    w.u32(static_cast<uint32_t>(entries.size()));
    for (const StoreIndexEntry& e : entries) {
        const StoreDatasetSummary& s = e.summary;
        w.i64(s.SectionOffset);
        w.i64(s.SectionLength);
        w.i64(e.sectionRecord);
        w.u32(std::bit_cast<uint32_t>(s.SimulationTime));
        for (const int32_t v : {s.NumberStreamlines, s.NumberWells, s.nDataColumns, s.MaxRows})
            w.u32(static_cast<uint32_t>(v));
        w.u8(static_cast<uint8_t>((s.WAF ? 1 : 0) | (e.gridSet ? 2 : 0)));
        for (const int32_t v : {e.NX, e.NY, e.NZ}) w.u32(static_cast<uint32_t>(v));
        writeTable(w, e.nodes);
        writeTable(w, e.pointers);
        for (const std::string* text : {&s.Origin, &s.FileName, &s.DataClass, &s.DateStamp}) w.text(*text);
    }
    while (w.bytes.size() % 4 != 0) w.u8(0);
    return std::move(w.bytes);
}

bool decodeStoreIndex(const uint8_t* bytes, size_t n, int64_t recordsEnd, std::vector<StoreIndexEntry>& entries,
                      std::string& problem) {
    Reader r(bytes, n);
    const uint32_t layout = r.u32();
    const uint32_t count = r.u32();
    if (r.failed || layout != kIndexLayout) {
        problem = "the index is of an unknown layout (" + std::to_string(layout) + ")";
        return false;
    }
    std::vector<StoreIndexEntry> decoded;
    int64_t previousEnd = kFilePreambleBytes;
    int64_t previousRecord = 0;
    for (uint32_t k = 1; k <= count && !r.failed; ++k) {
        StoreIndexEntry e;
        StoreDatasetSummary& s = e.summary;
        s.SectionOffset = r.i64();
        s.SectionLength = r.i64();
        e.sectionRecord = r.i64();
        s.SimulationTime = std::bit_cast<float>(r.u32());
        s.NumberStreamlines = r.i32();
        s.NumberWells = r.i32();
        s.nDataColumns = r.i32();
        s.MaxRows = r.i32();
        const uint8_t flags = r.u8();
        s.WAF = (flags & 1) != 0;
        e.gridSet = (flags & 2) != 0;
        e.NX = r.i32();
        e.NY = r.i32();
        e.NZ = r.i32();
        e.nodes = readTable(r, kNodeKeyword);
        e.pointers = readTable(r, kPointerKeyword);
        s.Origin = r.text();
        s.FileName = r.text();
        s.DataClass = r.text();
        s.DateStamp = r.text();
        if (r.failed) break;
        const int64_t end = s.SectionOffset + s.SectionLength;
        if (s.SectionOffset < previousEnd || s.SectionLength < kSmallestSection || s.SectionLength > recordsEnd ||
            end > recordsEnd || e.sectionRecord <= previousRecord) {
            problem = "the index places dataset " + std::to_string(k) + " at bytes " + std::to_string(s.SectionOffset) +
                      " to " + std::to_string(end) + ", outside the records or over the dataset before it";
            return false;
        }
        if (!tableFits(e.nodes, s.SectionOffset, end) || !tableFits(e.pointers, s.SectionOffset, end)) {
            problem = "the index places a streamline table of dataset " + std::to_string(k) + " outside its section";
            return false;
        }
        previousEnd = end;
        previousRecord = e.sectionRecord;
        decoded.push_back(std::move(e));
    }
    if (r.failed || r.left() >= 4) {
        problem = "the index record's body does not hold the " + std::to_string(count) + " entries it announces";
        return false;
    }
    entries = std::move(decoded);
    return true;
}

struct StoreIndexWriter::Notes {
    std::vector<StoreIndexEntry> entries;
    StoreIndexBuilder builder{entries};
};

StoreIndexWriter::StoreIndexWriter(RecordFile& file) : file_(file) {
    if (file.Form() != RecordForm::Binary || file.codec() == nullptr) return;
    notes_ = std::make_unique<Notes>();
    file.codec()->observeWrites([notes = notes_.get()](const WrittenRecord& w) {
        notes->builder.record(SeenRecord{w.keyword, w.typeName, w.count, w.layout, w.endOffset}, w.values);
    });
}

StoreIndexWriter::~StoreIndexWriter() {
    if (notes_ && file_.codec() != nullptr) file_.codec()->observeWrites({});
}

// The body's bytes travel as little-endian 32-bit items.
bool StoreIndexWriter::Finish() {
    if (!notes_ || file_.codec() == nullptr) return true;
    file_.codec()->observeWrites({});
    std::vector<StoreIndexEntry> entries = std::move(notes_->entries);
    notes_.reset();
    if (entries.empty()) return true;
    const std::vector<uint8_t> body = encodeStoreIndex(entries);
    Array<int32_t> words;
    words.redimForOverwrite(1, itemCountOf(body.size() / 4));
    for (size_t k = 0; k < words.size(); ++k)
        words.data()[k] = static_cast<int32_t>(uint32_t{body[4 * k]} | uint32_t{body[4 * k + 1]} << 8 |
                                               uint32_t{body[4 * k + 2]} << 16 | uint32_t{body[4 * k + 3]} << 24);
    file_.codec()->markIndexRecord();
    RecordIO io;
    bool ok = false;
    io.WriteRecordHeader(file_, kStoreIndexKeyword, words.ubound(), kStoreIndexType, ok);
    if (ok) io.WriteIntegerArray(words.ubound(), "", words, file_, ok);
    return ok;
}

}  // namespace tkstream63
