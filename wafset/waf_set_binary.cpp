// rvWAFSet: its "WAF>" ... "<WAF" section of a record file.
#include <algorithm>
#include <array>

#include "common/errors.hpp"
#include "common/text.hpp"
#include "recordfile/record_reading_loop.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63 {

namespace {
constexpr const char* kSource = "rvWAFSet";
// Memory charged to a load per row of the well table (columns and name bytes) and of the
// connection tables (columns and rate).
constexpr int64_t kWellRowBytes = 4 * rvWAFSet::kWellColumns + static_cast<int64_t>(kMaxNameBytes);
constexpr int64_t kConnectionRowBytes = 4 * rvWAFSet::kConnectionColumns + 4;
}  // namespace

struct rvWAFSet::BinaryForm {
    // Where the import stands: the number given by the last "CNT" record, and the WAF data
    // bounds given by "WAFDIMS".
    struct Cursor {
        int32_t current = 0;
        int32_t columns = 0;
        int32_t rows = 0;
    };

    // The "WAFINTE" Longs and the "WAFINIT" flags, in record order.
    template <class Set>
    static auto longFields(Set& s) {
        return std::array{&s.reservedInteger_,  &s.NumberWells_,     &s.nWellsAllocated_, &s.producers_.count,
                &s.producers_.capacity, &s.injectors_.count, &s.injectors_.capacity, &s.nCols_,
                &s.nData_,            &s.nDataCopy_,       &s.startDay_,        &s.startMonth_,
                &s.startYear_,        &s.simulationDay_,   &s.simulationMonth_, &s.simulationYear_,
                &s.TimeStep_,         &s.nDefinedWells_,   &s.nWellList_};
    }
    template <class Set>
    static auto logicalFields(Set& s) {
        return std::array{&s.reservedFlag_, &s.startDateSet_, &s.simulationDateSet_, &s.wellListActive_};
    }

    // ---- export ----

    static void write(rvWAFSet& s, RecordWriter& writer) {
        writer.marker("WAF>");
        const auto longs = longFields(s);
        writer.header("WAFINTE", static_cast<int32_t>(longs.size()), "INTE");
        for (const int32_t* value : longs) writer.item(*value);
        const auto logicals = logicalFields(s);
        writer.header("WAFINIT", static_cast<int32_t>(logicals.size()), "LOGI");
        for (const bool* value : logicals) writer.item(*value);
        writer.record("WAFFILE", "CHAR", {s.WAFFileName_});
        writer.record("WAFTIME", "REAL", {s.SimulationTime_});
        for (int32_t i = 1; i <= s.NumberWells_; ++i) {
            writer.record("CNT", "INTE", {i});
            writer.record("WELLINTE", "INTE", {s.wellValue(i, kWellIndex), s.wellValue(i, kWellType)});
            writer.record("WELLLOGI", "LOGI",
                          {s.wellValue(i, kExcludedFlag) <= 0, s.wellValue(i, kNotInListFlag) <= 0});
            writer.record("WELLNAME", "CHAR", {s.storedWellName(i)});
        }
        writeConnections(s.producers_, "PRODINTE", "PRODRATE", writer);
        writeConnections(s.injectors_, "INJINTE", "INJRATE", writer);
        // The allocated bounds, not the counts: an empty set writes 1 and 1.
        const int32_t columns = s.WafData_.ubound(1);
        const int32_t rows = s.WafData_.ubound(2);
        writer.record("WAFDIMS", "INTE", {columns, rows});
        const int32_t values = checkedLong(int64_t{columns} * rows);
        checkedLong(int64_t{values} * static_cast<int64_t>(sizeof(float)));
        writer.header("WAFDATA", values, "REAL");
        writer.singles(s.WafData_, values);
        writer.marker("<WAF");
    }

    static void writeConnections(const ConnectionTable& table, const char* rowKeyword, const char* rateKeyword,
                                 RecordWriter& writer) {
        for (int32_t j = 1; j <= table.count; ++j) {
            writer.record("CNT", "INTE", {j});
            writer.record(rowKeyword, "INTE",
                          {table.rows(kOtherRow, j), table.rows(kFirstRow, j), table.rows(kTotalRow, j),
                           table.rows(kRowCount, j)});
            writer.record(rateKeyword, "REAL", {table.rates(1, j)});
        }
    }

    // ---- import ----

    static bool enough(const RecordHeader& header, int32_t minimum) { return header.count >= minimum; }

    static RecordStep read(rvWAFSet& s, RecordIO& io, RecordFile& file, const RecordHeader& header, Cursor& cursor) {
        const std::string& key = header.keyword;
        if (header.type == "INTE") {
            if (key == "CNT") {
                if (enough(header, 1)) cursor.current = readLongs(io, file, header)(1);
            } else if (key == "WAFINTE") {
                if (enough(header, 10)) readCounts(s, readLongs(io, file, header), file);
            } else if (key == "WELLINTE") {
                if (enough(header, 2)) {
                    const Array<int32_t> v = readLongs(io, file, header);
                    s.iWellData_(kWellIndex, cursor.current) = v(1);
                    s.iWellData_(kWellType, cursor.current) = v(2);
                }
            } else if (key == "PRODINTE" || key == "INJINTE") {
                if (enough(header, 4))
                    readConnectionRow(key == "PRODINTE" ? s.producers_ : s.injectors_, readLongs(io, file, header),
                                      cursor.current);
            } else if (key == "WAFDIMS") {
                if (enough(header, 2)) readDimensions(s, readLongs(io, file, header), file, cursor);
            } else {
                readPast(io, file, header);
            }
        } else if (header.type == "CHAR") {
            if (key == "WELLNAME") {
                if (enough(header, 1)) readWellName(s, readTexts(io, file, header).front(), cursor.current);
            } else if (key == "WAFFILE") {
                if (enough(header, 1)) s.WAFFileName_ = readTexts(io, file, header).front();
            } else if (key == "<WAF") {
                readPast(io, file, header);
                return RecordStep::SectionClosed;
            } else {
                readPast(io, file, header);
            }
        } else if (header.type == "REAL") {
            if (key == "WAFTIME") {
                if (enough(header, 1)) s.SimulationTime_ = readSingles(io, file, header)(1);
            } else if (key == "PRODRATE" || key == "INJRATE") {
                if (enough(header, 1))
                    (key == "PRODRATE" ? s.producers_ : s.injectors_).rates(1, cursor.current) =
                        readSingles(io, file, header)(1);
            } else if (key == "WAFDATA") {
                if (enough(header, 1)) readWafData(s, readSingles(io, file, header), cursor);
            } else {
                readPast(io, file, header);
            }
        } else if (header.type == "LOGI") {
            if (key == "WAFINIT") {
                if (enough(header, 1)) readFlags(s, readLogicals(io, file, header));
            } else if (key == "WELLLOGI") {
                if (enough(header, 1)) readWellFlags(s, readLogicals(io, file, header), cursor.current);
            } else {
                readPast(io, file, header);
            }
        } else {
            readPast(io, file, header);
        }
        return RecordStep::Next;
    }

    // "WAFINTE": the counts, with the tables they size reallocated and cleared.
    static void readCounts(rvWAFSet& s, const Array<int32_t>& v, RecordFile& file) {
        const int32_t wells = v(2);
        const int32_t producers = v(4);
        const int32_t injectors = std::max(v(6), 1);
        chargeLoad(file, bytesFor(wells, kWellRowBytes), "the well table for " + std::to_string(wells) + " wells");
        chargeLoad(file, bytesFor(int64_t{producers} + 1, kConnectionRowBytes) +
                             bytesFor(int64_t{injectors} + 1, kConnectionRowBytes),
                   "the tables for " + std::to_string(producers) + " producers and " + std::to_string(injectors) +
                       " injectors");
        s.reservedInteger_ = v(1);
        s.NumberWells_ = wells;
        s.nWellsAllocated_ = v(3);
        s.iWellData_.redim(1, kWellColumns, 1, wells);
        s.bWellNames_.redim(1, static_cast<int32_t>(kMaxNameBytes), 1, wells);
        clearConnections(s.producers_, producers);
        s.producers_.capacity = v(5);
        clearConnections(s.injectors_, injectors);
        s.injectors_.capacity = v(7);
        s.nCols_ = v(8);
        s.nData_ = v(9);
        s.nDataCopy_ = v(10);
        const auto longs = longFields(s);
        const int32_t last = v.ubound() >= 19 ? 19 : (v.ubound() >= 18 ? 18 : 10);
        for (int32_t k = 11; k <= last; ++k) *longs[static_cast<size_t>(k - 1)] = v(k);
    }

    // Rows 0 To count (row 0 unused), cleared.
    static void clearConnections(ConnectionTable& table, int32_t count) {
        table.rows.redim(1, kConnectionColumns, 0, count);
        table.rates.redim(1, 1, 0, count);
        table.count = count;
    }

    static void readConnectionRow(ConnectionTable& table, const Array<int32_t>& v, int32_t row) {
        table.rows(kOtherRow, row) = v(1);
        table.rows(kFirstRow, row) = v(2);
        table.rows(kTotalRow, row) = v(3);
        table.rows(kRowCount, row) = v(4);
    }

    static void readDimensions(rvWAFSet& s, const Array<int32_t>& v, RecordFile& file, Cursor& cursor) {
        chargeLoad(file, bytesFor(int64_t{std::max(v(1), 0)} * std::max(v(2), 0), 4),
                   "the WAF data table of " + std::to_string(v(1)) + " x " + std::to_string(v(2)));
        s.WafData_.redim(1, v(1), 1, v(2));
        cursor.columns = v(1);
        cursor.rows = v(2);
    }

    // "WAFDATA": value 1 first goes into the rate of the producer row with the current number (a
    // behaviour of the format, kept; skipped when there is no such row), then the values fill
    // the table in storage order as far as the "WAFDIMS" bounds reach.
    static void readWafData(rvWAFSet& s, const Array<float>& values, const Cursor& cursor) {
        Array<float>& rates = s.producers_.rates;
        if (cursor.current >= rates.lbound(2) && cursor.current <= rates.ubound(2)) rates(1, cursor.current) = values(1);
        const int64_t wanted = int64_t{std::max(cursor.columns, 0)} * std::max(cursor.rows, 0);
        const auto n = static_cast<size_t>(std::min<int64_t>({wanted, static_cast<int64_t>(values.size()),
                                                              static_cast<int64_t>(s.WafData_.size())}));
        copyBlock(values, 0, s.WafData_, 0, n);
    }

    static void readWellName(rvWAFSet& s, const std::string& name, int32_t well) {
        if (name.empty()) return;
        const std::string ansi = toAnsi(name, kMaxNameBytes);
        const size_t first = s.bWellNames_.offsetOf(1, well);
        s.iWellData_(kNameLength, well) = static_cast<int32_t>(ansi.size());
        s.bWellNames_.copyIn(first, reinterpret_cast<const uint8_t*>(ansi.data()), ansi.size());
    }

    static void readFlags(rvWAFSet& s, const Array<bool>& v) {
        s.reservedFlag_ = v(1);
        if (v.ubound() >= 3) {
            s.startDateSet_ = v(2);
            s.simulationDateSet_ = v(3);
        }
        if (v.ubound() >= 4) s.wellListActive_ = v(4);
    }

    static void readWellFlags(rvWAFSet& s, const Array<bool>& v, int32_t well) {
        s.iWellData_(kExcludedFlag, well) = v(1) ? 0 : 1;
        if (v.ubound() >= 2) s.iWellData_(kNotInListFlag, well) = v(2) ? 0 : 1;
    }

    // ---- comparison ----

    // Rows 1 To count of a connection table (row 0 and spare capacity carry nothing).
    static void compareConnections(ContentsComparison& c, const char* name, const ConnectionTable& a,
                                   const ConnectionTable& b) {
        c.field(name, a.count, b.count);
        c.field(name, a.capacity, b.capacity);
        for (int32_t j = 1; c.same() && j <= a.count; ++j) {
            for (int32_t column = 1; column <= kConnectionColumns; ++column)
                c.field(name, a.rows(column, j), b.rows(column, j));
            c.field(name, a.rates(1, j), b.rates(1, j));
        }
    }
};

void rvWAFSet::BINARYEXPORT(RecordFile& cFILETYPE, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "BINARYEXPORT", [&] {
        RecordIO io;
        RecordWriter writer(io, cFILETYPE);
        BinaryForm::write(*this, writer);
    });
}

void rvWAFSet::BINARYIMPORT(RecordFile& cFILETYPE, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "BINARYIMPORT", [&] {
        RecordIO io;
        BinaryForm::Cursor cursor;
        const ReadingLoopSettings settings{kSource, "BINARYIMPORT", "<WAF"};
        qOK = runReadingLoop(io, cFILETYPE, settings, [&](const RecordHeader& header) {
            return BinaryForm::read(*this, io, cFILETYPE, header, cursor);
        });
    });
}

bool rvWAFSet::sameContents(const rvWAFSet& other, std::string& difference) const {
    ContentsComparison c;
    const bool compared = runTrapped(kSource, "sameContents", [&] {
        const auto longs = BinaryForm::longFields(*this);
        const auto otherLongs = BinaryForm::longFields(other);
        for (size_t k = 0; k < longs.size(); ++k) c.field("WAFINTE item", *longs[k], *otherLongs[k]);
        const auto flags = BinaryForm::logicalFields(*this);
        const auto otherFlags = BinaryForm::logicalFields(other);
        for (size_t k = 0; k < flags.size(); ++k) c.field("WAFINIT item", *flags[k], *otherFlags[k]);
        c.field("SimulationTime", SimulationTime_, other.SimulationTime_);
        c.field("WAFFileName", WAFFileName_, other.WAFFileName_);
        for (int32_t i = 1; c.same() && i <= NumberWells_; ++i) {
            for (int32_t column = 1; column <= kWellColumns; ++column)
                c.field("well table", wellValue(i, static_cast<WellColumn>(column)),
                        other.wellValue(i, static_cast<WellColumn>(column)));
            c.field("well name", storedWellName(i), other.storedWellName(i));
        }
        BinaryForm::compareConnections(c, "producer table", producers_, other.producers_);
        BinaryForm::compareConnections(c, "injector table", injectors_, other.injectors_);
        c.table("WafData", WafData_, other.WafData_);
    });
    difference = compared ? c.difference() : "(the comparison failed)";
    return compared && c.same();
}

}  // namespace tkstream63
