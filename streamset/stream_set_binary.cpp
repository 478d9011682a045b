// rvStreamSet: its "STREAMSET>" ... "<STREAMSET" section of a record file.
#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "common/errors.hpp"
#include "common/text.hpp"
#include "recordfile/record_reading_loop.hpp"
#include "streamset/stream_set.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63 {

namespace {

constexpr const char* kSource = "rvStreamSet";

// Rows of the well tables: iWellData 1 type, 2 index, 3 not-defined marker, 4 name length;
// sWellData 1 to 3 position, 4 location-not-defined marker.
constexpr int32_t kTypeRow = 1;
constexpr int32_t kIndexRow = 2;
constexpr int32_t kNotDefinedRow = 3;
constexpr int32_t kNameLengthRow = 4;
constexpr int32_t kLocationNotDefinedRow = 4;
constexpr int32_t kWellRows = 4;
constexpr auto kNameBytes = static_cast<int32_t>(kMaxNameBytes);

// Minimum item counts of the records whose handlers take a fixed number of values.
constexpr int32_t kLogicalItemsNeeded = 8;
constexpr int32_t kLogicalItemsFull = 10;
constexpr int32_t kLongItemsNeeded = 38;
constexpr int32_t kLongItemsMiddle = 40;
constexpr int32_t kLongItemsFull = 42;

// Memory charged to a load for what its records make a dataset hold: a WAF set object with its
// default tables; per slot of the well tables (types, indices, markers, name bytes, positions);
// per well a dataset claims to have (the tables, and a name when it is handed out); per header.
constexpr int64_t kWafSetBytes = 1024;
constexpr int64_t kWellTableBytes = 4 * kWellRows + kNameBytes + 4 * kWellRows;
constexpr int64_t kClaimedWellBytes = 128;
constexpr int64_t kHeaderBytes = 2 * static_cast<int64_t>(sizeof(std::string));

}  // namespace

struct rvStreamSet::BinaryForm {
    // A table written as a record of its two upper bounds followed by a record of its values.
    template <class Set>
    struct TableRecord {
        const char* boundsKeyword;
        const char* dataKeyword;
        int32_t lower2;  // lower bound of the second dimension (the entry tables have a slot 0)
        decltype(&std::declval<Set&>().iStreamLines_) table;
    };

    // ---- the scalar records, in record order ----

    template <class Set>
    static auto logicalFields(Set& s) {
        return std::array{&s.AllData_, &s.Formatted_, &s.GridSet_, &s.Initialised_, &s.IsDirty_,
                          &s.qAttributesFlag_, &s.Unified_, &s.WAF_, &s.WellListSet_, &s.UseWellList_};
    }
    // Each pair is written with the value held second first.
    template <class Set>
    static auto realFields(Set& s) {
        return std::array{&s.DRTMax_, &s.DRTMin_, &s.internalSingle_, &s.SimulationTime_, &s.TOFMax_, &s.TOFMin_,
                          &s.xMax_,   &s.xMin_,   &s.yMax_,           &s.yMin_,           &s.zMax_,   &s.zMin_};
    }
    template <class Set>
    static auto textFields(Set& s) {
        return std::array{&s.UCaseTVDisplayRoot_, &s.DataClass_,    &s.DataRootPath_,   &s.DateStamp_,
                          &s.FileName_,           &s.GroupName_,    &s.Origin_,         &s.SourceType_,
                          &s.TreeViewKey_,        &s.TVDisplayRoot_, &s.TVGroupName_,   &s.UCaseGroupName_,
                          &s.UCaseOrigin_,        &s.UniqueKey_};
    }
    template <class Set>
    static auto longFields(Set& s) {
        return std::array{
            &s.importCounters_[0],         &s.importCounters_[1],        &s.importCounters_[2],
            &s.rowCapacity_,               &s.pointerCount_,             &s.nWellsAllocated_,
            &s.spareStreamlineCounter_,    &s.startDay_,                 &s.importCounters_[3],
            &s.iEnd_,                      &s.FileType_,                 &s.index_,
            &s.iAttributesCount_,          &s.iStart_,                   &s.importCounters_[4],
            &s.importCounters_[5],         &s.importCounters_[6],        &s.Units_,
            &s.spareLongAfterStartYear_,   &s.spareLongAfterDRTMax_,     &s.startYear_,
            &s.importCounters_[7],         &s.spareLongBesideProducers_, &s.startMonth_,
            &s.NumCols_,                   &s.MaxRows_,                  &s.NumberInjectors_,
            &s.NumberProducers_,           &s.spareLongBesideInjectors_, &s.NumberStreamlines_,
            &s.nDataColumns_,              &s.NumberWells_,              &s.NX_,
            &s.NY_,                        &s.NZ_,                       &s.nInjectorSinks_,
            &s.nProducerSources_,          &s.MaximumNumberWells_,       &s.LoadEverySL_,
            &s.rowCapacity_,               &s.WAFType_,                  &s.MaxZones_};
    }
    // The Long tables other than the node table, each with its two records.
    template <class Set>
    static auto longTables(Set& s) {
        return std::array<TableRecord<Set>, 5>{{
            {"ISTREAMLINE", "ISLINEDATA", 1, &s.iStreamLines_},
            {"INJECTOR", "INJDATA", 0, &s.iInjectors_},
            {"INJSINKS", "INJSINKDATA", 1, &s.iInjectorSinks_},
            {"PRODUCERS", "PRODDATA", 0, &s.iProducers_},
            {"PRODSOURCES", "PRODSOURCEDATA", 1, &s.iProducerSources_},
        }};
    }

    // ---- export ----

    template <class Fields>
    static void writeScalars(RecordWriter& writer, const char* keyword, const char* type, const Fields& fields) {
        writer.header(keyword, static_cast<int32_t>(fields.size()), type);
        for (const auto* field : fields) writer.item(*field);
    }

    // The bounds record, then the whole table in storage order when its second bound is above 0.
    template <class T>
    static void writeTable(RecordWriter& writer, const char* boundsKeyword, const char* dataKeyword,
                           const Array<T>& table) {
        writer.record(boundsKeyword, "INTE", {table.ubound(1), table.ubound(2)});
        if (table.ubound(2) <= 0) return;
        const int32_t n = itemCountOf(table.size());
        if constexpr (std::is_same_v<T, float>) {
            writer.header(dataKeyword, n, "REAL");
            writer.singles(table, n);
        } else {
            writer.header(dataKeyword, n, "INTE");
            writer.longs(table, n);
        }
    }

    static void write(rvStreamSet& s, RecordWriter& writer, RecordFile& file) {
        writer.marker("STREAMSET>");
        writeScalars(writer, "SETLOGI", "LOGI", logicalFields(s));
        writeScalars(writer, "SETREAL", "REAL", realFields(s));
        writeScalars(writer, "SETCHAR", "CHAR", textFields(s));
        writeScalars(writer, "SETINTE", "INTE", longFields(s));
        writer.record("SIMEND", "REAL", {s.SimulationEndTime_});
        writeWellLists(s, writer);
        writeTable(writer, "STREAMLINE", "SLINEDATA", s.StreamLines_);
        for (const auto& record : longTables(s)) writeTable(writer, record.boundsKeyword, record.dataKeyword, *record.table);
        writer.record("NUMHEADERS", "INTE", {s.NumCols_});
        for (int32_t i = 1; i <= s.NumCols_; ++i) {
            writer.record("CNT", "INTE", {i});
            writer.record("ZHEADERS", "CHAR", {s.zHeaders_(i), s.zUnits_(i)});
        }
        writeWells(s, writer);
        if (s.WAF_) {
            if (!s.cWAF_) raiseError(kErrObjectNotSet);
            bool ignored = false;  // the WAF set's export never reports success
            s.cWAF_->BINARYEXPORT(file, ignored);
        }
        writer.marker("<STREAMSET");
    }

    static void writeWellLists(rvStreamSet& s, RecordWriter& writer) {
        const int32_t numbers = s.iWellList_.ubound();
        writer.record("NWELLLIST", "INTE", {numbers});
        if (numbers > 0) {
            writer.header("IWELLLIST", numbers, "INTE");
            writer.longs(s.iWellList_, numbers);
        }
        const int32_t names = s.zWellList_.ubound();
        writer.record("NZWELLLIST", "INTE", {names});
        if (names >= 1) {
            writer.header("ZWELLLIST", names, "CHAR");
            const int32_t first = s.zWellList_.lbound();
            for (int32_t k = 1; k <= names; ++k) writer.item(k >= first ? s.zWellList_(k) : std::string());
        }
    }

    // Wells 0 To NumberWells (none at all below 1 well).
    static void writeWells(rvStreamSet& s, RecordWriter& writer) {
        writer.marker("WELLINFO>");
        for (int32_t w = 0; s.NumberWells_ >= 1 && w <= s.NumberWells_; ++w) {
            writer.record("CNT", "INTE", {w});
            writer.record("WINTE", "INTE", {s.iWellData_(kIndexRow, w), s.iWellData_(kTypeRow, w)});
            writer.record("WLOGI", "LOGI",
                          {s.iWellData_(kNotDefinedRow, w) <= 0, s.sWellData_(kLocationNotDefinedRow, w) == 0.0f});
            writer.record("WPOS", "REAL", {s.sWellData_(1, w), s.sWellData_(2, w), s.sWellData_(3, w)});
            writer.record("WNAME", "CHAR", {s.storedWellName(w)});
        }
        writer.marker("<WELLINFO");
    }

    // ---- import ----

    // Where the import stands: the number given by the last "CNT" record, and which tables were
    // sized without clearing and still wait for their values.
    struct Cursor {
        int32_t current = 0;
        bool nodeTableUnfilled = false;
        std::array<bool, 5> longTableUnfilled{};  // in the order of longTables
        int64_t countersAt = -1;  // where the "SETINTE" record starts
    };

    static bool enough(const RecordHeader& header, int32_t minimum) { return header.count >= minimum; }

    static RecordStep read(rvStreamSet& s, RecordIO& io, RecordFile& file, const RecordHeader& header,
                           Cursor& cursor) {
        if (header.type == "INTE") return readLongRecord(s, io, file, header, cursor);
        if (header.type == "CHAR") return readTextRecord(s, io, file, header, cursor);
        if (header.type == "REAL") return readRealRecord(s, io, file, header, cursor);
        if (header.type == "LOGI") return readLogicalRecord(s, io, file, header, cursor);
        readPast(io, file, header);
        return RecordStep::Next;
    }

    static RecordStep readLongRecord(rvStreamSet& s, RecordIO& io, RecordFile& file, const RecordHeader& header,
                                     Cursor& cursor) {
        const std::string& key = header.keyword;
        if (key == "CNT" && enough(header, 1)) {
            cursor.current = readLongs(io, file, header)(1);
        } else if (key == "WINTE" && enough(header, 2)) {
            const Array<int32_t> v = readLongs(io, file, header);
            s.iWellData_(kIndexRow, cursor.current) = v(1);
            s.iWellData_(kTypeRow, cursor.current) = v(2);
        } else if (key == "SETINTE" && enough(header, kLongItemsNeeded)) {
            cursor.countersAt = header.offset;
            readCounters(s, readLongs(io, file, header));
            sizeWellTables(s, file);
        } else if (key == "NWELLLIST" && enough(header, 1)) {
            const int32_t n = readLongs(io, file, header)(1);
            chargeLoad(file, bytesFor(n, sizeof(int32_t)), "a well list of " + std::to_string(n) + " numbers");
            s.iWellList_.redim(1, n);
        } else if (key == "IWELLLIST" && enough(header, 1)) {
            s.iWellList_ = readLongs(io, file, header);
        } else if (key == "NZWELLLIST" && enough(header, 1)) {
            const int32_t n = readLongs(io, file, header)(1);
            chargeLoad(file, bytesFor(n, sizeof(std::string)), "a well list of " + std::to_string(n) + " names");
            s.zWellList_.redim(1, n);
        } else if (key == "NUMHEADERS" && enough(header, 1)) {
            const int32_t n = readLongs(io, file, header)(1);
            chargeLoad(file, bytesFor(n, kHeaderBytes), std::to_string(n) + " column headers and units");
            s.zHeaders_.redim(1, n);
            s.zUnits_.redim(1, n);
        } else if (key == "STREAMLINE" && enough(header, 2)) {
            const Array<int32_t> v = readLongs(io, file, header);
            chargeTable(file, "the node table", 1, v(1), 1, v(2));
            // Sized without clearing: the values come straight from "SLINEDATA".
            s.StreamLines_.redimForOverwrite(1, v(1), 1, v(2));
            cursor.nodeTableUnfilled = true;
        } else if (!readLongTableRecord(s, io, file, header, cursor)) {
            readPast(io, file, header);
        }
        return RecordStep::Next;
    }

    // The bounds and data records of the Long tables; false for any other record.
    static bool readLongTableRecord(rvStreamSet& s, RecordIO& io, RecordFile& file, const RecordHeader& header,
                                    Cursor& cursor) {
        const auto tables = longTables(s);
        for (size_t k = 0; k < tables.size(); ++k) {
            const auto& record = tables[k];
            Array<int32_t>& table = *record.table;
            if (header.keyword == record.boundsKeyword && enough(header, 2)) {
                const Array<int32_t> v = readLongs(io, file, header);
                chargeTable(file, std::string("the table of '") + record.dataKeyword + "'", 1, v(1), record.lower2, v(2));
                // Sized without clearing, like the node table: the values follow in the data record.
                table.redimForOverwrite(1, v(1), record.lower2, v(2));
                cursor.longTableUnfilled[k] = true;
                // The upper bound of the source and sink tables is kept beside them.
                if (&table == &s.iProducerSources_) s.nProducerSourcesUpper_ = v(2);
                if (&table == &s.iInjectorSinks_) s.nInjectorSinksUpper_ = v(2);
                return true;
            }
            if (header.keyword == record.dataKeyword && enough(header, 1)) {
                readLongsInPlace(io, file, header, table);
                cursor.longTableUnfilled[k] = false;
                return true;
            }
        }
        return false;
    }

    // Elements of a (1 To upper1, lower2 To upper2) table; bounds that make no table count as
    // none (re-dimensioning reports them).
    static int64_t elementsOf(int32_t lower1, int32_t upper1, int32_t lower2, int32_t upper2) {
        return std::max<int64_t>(0, int64_t{upper1} - lower1 + 1) * std::max<int64_t>(0, int64_t{upper2} - lower2 + 1);
    }

    // Charges a 4-byte table of those bounds to the load's budget.
    static void chargeTable(RecordFile& file, const std::string& what, int32_t lower1, int32_t upper1, int32_t lower2,
                            int32_t upper2) {
        chargeLoad(file, bytesFor(elementsOf(lower1, upper1, lower2, upper2), 4),
                   what + " of " + std::to_string(upper1) + " x " + std::to_string(upper2));
    }

    // "SETINTE": items 1 to 38 always, 39 to 41 from 40 items on, 42 from 42 items on.
    static void readCounters(rvStreamSet& s, const Array<int32_t>& v) {
        const auto fields = longFields(s);
        const int32_t count = v.ubound();
        for (int32_t k = 1; k <= count && k <= kLongItemsFull; ++k) {
            if (k > kLongItemsNeeded && count < kLongItemsMiddle) break;
            if (k == kLongItemsFull && count < kLongItemsFull) break;
            *fields[static_cast<size_t>(k - 1)] = v(k);
        }
    }

    static void sizeWellTables(rvStreamSet& s, RecordFile& file) {
        const int32_t wells = s.nWellsAllocated_;
        chargeLoad(file, bytesFor(int64_t{wells} + 1, kWellTableBytes),
                   "the well tables for " + std::to_string(wells) + " wells");
        s.iWellData_.redimPreserve(1, kWellRows, 0, wells);
        s.bWellNames_.redimPreserve(1, kNameBytes, 0, wells);
        s.sWellData_.redimPreserve(1, kWellRows, 0, wells);
    }

    static RecordStep readRealRecord(rvStreamSet& s, RecordIO& io, RecordFile& file, const RecordHeader& header,
                                     Cursor& cursor) {
        const std::string& key = header.keyword;
        if (key == "SLINEDATA" && enough(header, 1)) {
            readSinglesInPlace(io, file, header, s.StreamLines_);
            cursor.nodeTableUnfilled = false;
        } else if (key == "WPOS" && enough(header, 3)) {
            const Array<float> v = readSingles(io, file, header);
            for (int32_t row = 1; row <= 3; ++row) s.sWellData_(row, cursor.current) = v(row);
        } else if (key == "SETREAL" && enough(header, 12)) {
            const Array<float> v = readSingles(io, file, header);
            const auto fields = realFields(s);
            for (size_t k = 0; k < fields.size(); ++k) *fields[k] = v(static_cast<int32_t>(k + 1));
        } else if (key == "SIMEND" && enough(header, 1)) {
            s.SimulationEndTime_ = readSingles(io, file, header)(1);
        } else {
            readPast(io, file, header);
        }
        return RecordStep::Next;
    }

    static RecordStep readLogicalRecord(rvStreamSet& s, RecordIO& io, RecordFile& file, const RecordHeader& header,
                                        const Cursor& cursor) {
        const std::string& key = header.keyword;
        if (key == "WLOGI" && enough(header, 2)) {
            const Array<bool> v = readLogicals(io, file, header);
            s.iWellData_(kNotDefinedRow, cursor.current) = v(1) ? 0 : 1;
            s.sWellData_(kLocationNotDefinedRow, cursor.current) = v(2) ? 0.0f : 1.0f;
        } else if (key == "SETLOGI" && enough(header, kLogicalItemsNeeded)) {
            const Array<bool> v = readLogicals(io, file, header);
            const auto fields = logicalFields(s);
            const int32_t last = v.ubound() >= kLogicalItemsFull ? kLogicalItemsFull : kLogicalItemsNeeded;
            for (int32_t k = 1; k <= last; ++k) *fields[static_cast<size_t>(k - 1)] = v(k);
        } else {
            readPast(io, file, header);
        }
        return RecordStep::Next;
    }

    static RecordStep readTextRecord(rvStreamSet& s, RecordIO& io, RecordFile& file, const RecordHeader& header,
                                     const Cursor& cursor) {
        const std::string& key = header.keyword;
        if (key == "WNAME" && enough(header, 1)) {
            readWellName(s, readTexts(io, file, header).front(), cursor.current);
        } else if (key == "ZHEADERS" && enough(header, 1)) {
            const std::vector<std::string> texts = readTexts(io, file, header);
            s.zHeaders_(cursor.current) = texts[0];
            if (texts.size() >= 2) s.zUnits_(cursor.current) = texts[1];
        } else if (key == "SETCHAR") {
            const std::vector<std::string> texts = readTexts(io, file, header);
            const auto fields = textFields(s);
            for (size_t k = 0; k < texts.size() && k < fields.size(); ++k) *fields[k] = texts[k];
        } else if (key == "ZWELLLIST" && enough(header, 1)) {
            std::vector<std::string> texts = readTexts(io, file, header);
            chargeLoad(file, bytesFor(header.count, sizeof(std::string)), "a well list of " + std::to_string(header.count) + " names");
            s.zWellList_.redim(1, static_cast<int32_t>(texts.size()));
            for (size_t k = 0; k < texts.size(); ++k) s.zWellList_(static_cast<int32_t>(k + 1)) = std::move(texts[k]);
        } else if (key == "WAF>") {
            readPast(io, file, header);
            chargeLoad(file, kWafSetBytes, "a WAF set");
            return readWafSection(s, file);
        } else if (key == "<STREAMSET") {
            readPast(io, file, header);
            chargeClaims(s, file, cursor);
            return RecordStep::SectionClosed;
        } else {
            readPast(io, file, header);
        }
        return RecordStep::Next;
    }

    // Counts and capacities that "SETINTE" restores without filling anything (wells, rows,
    // headers) make later calls allocate that much; what they claim beyond the tables the file
    // filled is charged when the section closes.
    static void chargeClaims(const rvStreamSet& s, RecordFile& file, const Cursor& cursor) {
        const int64_t wellSlots = s.iWellData_.rank() == 2 ? s.iWellData_.extent(2) : 0;
        const int64_t wells = std::max<int64_t>({s.NumberWells_, s.MaximumNumberWells_, s.nWellsAllocated_}) + 1 - wellSlots;
        const int64_t rows = std::max(s.rowCapacity_, s.MaxRows_);
        const int64_t nodeBytes =
            bytesFor(rows, bytesFor(s.nDataColumns_, 4)) - static_cast<int64_t>(4 * s.StreamLines_.size());
        const int64_t headers = int64_t{s.NumCols_} - static_cast<int64_t>(s.zHeaders_.size());
        int64_t claimed = 0;
        for (const int64_t part : {bytesFor(wells, kClaimedWellBytes), nodeBytes, bytesFor(headers, kHeaderBytes)})
            if (part > 0) claimed = part > INT64_MAX - claimed ? INT64_MAX : claimed + part;
        if (claimed == 0) return;
        chargeLoad(file, claimed,
                   "what the dataset's 'SETINTE' record (at byte " + std::to_string(cursor.countersAt) + ") claims (" +
                       "NumberWells " + std::to_string(s.NumberWells_) + ", MaximumNumberWells " +
                       std::to_string(s.MaximumNumberWells_) + ", " + std::to_string(rows) + " rows of " + std::to_string(s.nDataColumns_) + " columns, " +
                       std::to_string(s.NumCols_) + " headers) beyond the tables the file filled");
    }

    // The name as single-byte text, at most 40 bytes; its length goes into the well's row 4.
    static void readWellName(rvStreamSet& s, const std::string& name, int32_t well) {
        const std::string ansi = toAnsi(name, kMaxNameBytes);
        const size_t first = s.bWellNames_.offsetOf(1, well);
        s.iWellData_(kNameLengthRow, well) = static_cast<int32_t>(ansi.size());
        s.bWellNames_.copyIn(first, reinterpret_cast<const uint8_t*>(ansi.data()), ansi.size());
    }

    // A new WAF set is attached and reads its own section; its failure (already reported) ends
    // the dataset's import.
    static RecordStep readWafSection(rvStreamSet& s, RecordFile& file) {
        auto wafSet = std::make_shared<rvWAFSet>();
        bool attached = false;
        s.setWAF(wafSet, attached);
        bool imported = false;
        wafSet->BINARYIMPORT(file, imported);
        return imported ? RecordStep::Next : RecordStep::Abandon;
    }

    // ---- comparison ----

    template <class Fields>
    static void compareFields(ContentsComparison& c, const char* name, const Fields& a, const Fields& b) {
        for (size_t k = 0; k < a.size(); ++k) c.field(name, *a[k], *b[k]);
    }

    static void compare(ContentsComparison& c, const rvStreamSet& a, const rvStreamSet& b) {
        compareFields(c, "SETLOGI item", logicalFields(a), logicalFields(b));
        compareFields(c, "SETREAL item", realFields(a), realFields(b));
        compareFields(c, "SETCHAR item", textFields(a), textFields(b));
        compareFields(c, "SETINTE item", longFields(a), longFields(b));
        c.field("SimulationEndTime", a.SimulationEndTime_, b.SimulationEndTime_);
        c.table("iWellList", a.iWellList_, b.iWellList_);
        c.table("zWellList", a.zWellList_, b.zWellList_);
        c.table("StreamLines", a.StreamLines_, b.StreamLines_);
        const auto tablesA = longTables(a);
        const auto tablesB = longTables(b);
        for (size_t k = 0; k < tablesA.size(); ++k) c.table(tablesA[k].dataKeyword, *tablesA[k].table, *tablesB[k].table);
        c.field("source table bound", a.nProducerSourcesUpper_, b.nProducerSourcesUpper_);
        c.field("sink table bound", a.nInjectorSinksUpper_, b.nInjectorSinksUpper_);
        for (int32_t i = 1; c.same() && i <= a.NumCols_; ++i) {
            c.field("zHeaders", a.zHeaders_(i), b.zHeaders_(i));
            c.field("zUnits", a.zUnits_(i), b.zUnits_(i));
        }
        c.table("iWellData", a.iWellData_, b.iWellData_);
        c.table("sWellData", a.sWellData_, b.sWellData_);
        for (int32_t w = 0; c.same() && w <= a.NumberWells_; ++w) c.field("well name", a.storedWellName(w), b.storedWellName(w));
        c.field("WAF attached", a.cWAF_ != nullptr, b.cWAF_ != nullptr);
        if (c.same() && a.cWAF_ && b.cWAF_) {
            std::string wafDifference;
            c.nested("WAF", a.cWAF_->sameContents(*b.cWAF_, wafDifference), wafDifference);
        }
    }
};

void rvStreamSet::BINARYEXPORT(RecordFile& cFILETYPE, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "BINARYEXPORT", [&] {
        RecordIO io;
        RecordWriter writer(io, cFILETYPE);
        BinaryForm::write(*this, writer, cFILETYPE);
        qOK = true;
    });
}

void rvStreamSet::BINARYIMPORT(RecordFile& cFILETYPE, bool& qOK) {
    qOK = false;
    BinaryForm::Cursor cursor;
    runTrapped(kSource, "BINARYIMPORT", [&] {
        RecordIO io;
        const ReadingLoopSettings settings{kSource, "BINARYIMPORT", "<STREAMSET"};
        qOK = runReadingLoop(io, cFILETYPE, settings, [&](const RecordHeader& header) {
            return BinaryForm::read(*this, io, cFILETYPE, header, cursor);
        });
    });
    // A table sized by its bounds record whose values never came holds nothing read.
    if (cursor.nodeTableUnfilled) StreamLines_.fill(0.0f);
    const auto tables = BinaryForm::longTables(*this);
    for (size_t k = 0; k < tables.size(); ++k)
        if (cursor.longTableUnfilled[k]) tables[k].table->fill(0);
    identityWatchers_.notify();
}

bool rvStreamSet::sameContents(const rvStreamSet& other, std::string& difference) const {
    ContentsComparison c;
    const bool compared = runTrapped(kSource, "sameContents", [&] { BinaryForm::compare(c, *this, other); });
    difference = compared ? c.difference() : "(the comparison failed)";
    return compared && c.same();
}

}  // namespace tkstream63
