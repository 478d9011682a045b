// rvWAFSet: the model and its loading (counts, well table, producer/injector tables, WAF data,
// dates) and the well-list operations the dataset uses.
#include "wafset/waf_set.hpp"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "common/errors.hpp"
#include "common/shared_objects.hpp"
#include "common/text.hpp"

namespace tkstream63 {

namespace {
constexpr const char* kSource = "rvWAFSet";
}  // namespace

rvWAFSet::rvWAFSet() { InitWAFSet(); }

void rvWAFSet::InitWAFSet() {
    SimulationTime_ = 0;
    TimeStep_ = 0;
    simulationDateSet_ = false;
    simulationDay_ = simulationMonth_ = simulationYear_ = 0;
    startDateSet_ = false;
    startDay_ = startMonth_ = startYear_ = 0;

    NumberWells_ = 0;
    nWellsAllocated_ = 1;
    nDefinedWells_ = 0;
    nWellList_ = 0;
    wellListActive_ = false;
    iWellData_.redim(1, kWellColumns, 1, 1);
    bWellNames_.redim(1, static_cast<int32_t>(kMaxNameBytes), 1, 1);

    producers_ = ConnectionTable{};
    injectors_ = ConnectionTable{};

    nCols_ = 0;
    nData_ = 0;
    nDataCopy_ = 0;
    WafData_.redim(1, 1, 1, 1);

    reservedInteger_ = 0;
    reservedFlag_ = false;
    WAFFileName_.clear();
}

// ---- time step ----

void rvWAFSet::setSimulationDate(int32_t iDay, int32_t iMonth, int32_t iYear, bool& qOK) {
    simulationDay_ = iDay;
    simulationMonth_ = iMonth;
    simulationYear_ = iYear;
    simulationDateSet_ = true;
    qOK = true;
}

void rvWAFSet::setStartDate(int32_t iDay, int32_t iMonth, int32_t iYear, bool& qOK) {
    startDay_ = iDay;
    startMonth_ = iMonth;
    startYear_ = iYear;
    startDateSet_ = true;
    qOK = true;
}

void rvWAFSet::getSimulationDate(int32_t& iDay, int32_t& iMonth, int32_t& iYear, bool& qOK) const {
    iDay = simulationDay_;
    iMonth = simulationMonth_;
    iYear = simulationYear_;
    qOK = true;
}

void rvWAFSet::getStartDate(int32_t& iDay, int32_t& iMonth, int32_t& iYear, bool& qOK) const {
    iDay = startDay_;
    iMonth = startMonth_;
    iYear = startYear_;
    qOK = true;
}

// ---- counts ----

// Grows the well table to NumWells rows when NumWells exceeds the well count. The table is
// reallocated to exactly NumWells rows, so after a let lowered the count this can also shrink
// the allocation.
void rvWAFSet::checkWells(int32_t NumWells) {
    if (NumWells <= NumberWells_) return;
    if (NumWells >= 1) {  // a count lowered below 0 by a let may grow back to 0 without rows
        iWellData_.redimPreserve(1, kWellColumns, 1, NumWells);
        bWellNames_.redimPreserve(1, static_cast<int32_t>(kMaxNameBytes), 1, NumWells);
    }
    NumberWells_ = NumWells;
    nWellsAllocated_ = NumWells;
}

// A let may lower the count; the rows beyond it stay allocated.
void rvWAFSet::NumberWells(int32_t value) {
    runTrapped(kSource, "NumberWells", [&] {
        checkWells(value);
        NumberWells_ = value;
        nWellsAllocated_ = value;
    });
}

// Starts a producer or injector table afresh with count rows; a count below 1 keeps the old rows.
void rvWAFSet::resizeConnections(ConnectionTable& table, int32_t count) {
    if (count >= 1) {
        Array<int32_t> rows(1, kConnectionColumns, 1, count);
        Array<float> rates(1, 1, 1, count);
        table.rows.swap(rows);
        table.rates.swap(rates);
        table.capacity = count;
    }
    table.count = count;
}

void rvWAFSet::NumberProducers(int32_t value) {
    runTrapped(kSource, "NumberProducers", [&] { resizeConnections(producers_, value); });
}

void rvWAFSet::NumberInjectors(int32_t value) {
    runTrapped(kSource, "NumberInjectors", [&] { resizeConnections(injectors_, value); });
}

// With an active, non-empty well list the list decides which wells count.
int32_t rvWAFSet::NumberDefinedWells() const noexcept {
    return (wellListActive_ && nWellList_ > 0) ? nWellList_ : nDefinedWells_;
}

// ---- loading ----

void rvWAFSet::setWAFData(const Array<float>& WafData, int32_t nCols, int32_t nData, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setWAFData", [&] {
        // A refused shape still answers True: callers cannot tell the refusal by qOK.
        if (nCols < 1 || nData < 1) {
            qOK = true;
            return;
        }
        const auto count = static_cast<size_t>(checkedLong(int64_t{nCols} * nData));
        const size_t first = WafData.offsetOf(1, 1);
        WafData.checkRun(first, count);
        Array<float> table;
        table.redimForOverwrite(1, nCols, 1, nData);
        table.copyIn(0, WafData.data() + first, count);
        WafData_.swap(table);
        nCols_ = nCols;
        nData_ = nData;
        nDataCopy_ = nData;
        qOK = true;
    });
}

void rvWAFSet::setWellColumn(WellColumn column, const Array<int32_t>& values, int32_t NumWells) {
    requireElements(values, NumWells);
    checkWells(NumWells);
    for (int32_t i = 1; i <= NumWells; ++i) iWellData_(column, i) = values(i);
}

void rvWAFSet::setWellIndices(const Array<int32_t>& iNumber, int32_t NumWells, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setWellIndices", [&] {
        setWellColumn(kWellIndex, iNumber, NumWells);
        qOK = true;
    });
}

void rvWAFSet::setWellTypes(const Array<int32_t>& iWellType, int32_t NumWells, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setWellTypes", [&] {
        setWellColumn(kWellType, iWellType, NumWells);
        qOK = true;
    });
}

void rvWAFSet::setWellsDefined(const Array<bool>& qWells, int32_t NumWells, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setWellsDefined", [&] {
        requireElements(qWells, NumWells);
        checkWells(NumWells);
        nDefinedWells_ = 0;
        for (int32_t i = 1; i <= NumWells; ++i) {
            const bool defined = qWells(i);
            iWellData_(kExcludedFlag, i) = defined ? 0 : 1;
            if (defined) ++nDefinedWells_;
        }
        qOK = true;
    });
}

// An empty name sets the length to 0 and leaves the old name bytes where they were.
void rvWAFSet::setWellNames(const Array<std::string>& zWellNames, int32_t NumWells, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setWellNames", [&] {
        requireElements(zWellNames, NumWells);
        checkWells(NumWells);
        for (int32_t i = 1; i <= NumWells; ++i) {
            const std::string& name = zWellNames(i);
            if (name.empty()) {
                iWellData_(kNameLength, i) = 0;
                continue;
            }
            const std::string ansi = toAnsi(name, kMaxNameBytes);
            const size_t first = bWellNames_.offsetOf(1, i);
            bWellNames_.copyIn(first, reinterpret_cast<const uint8_t*>(ansi.data()), ansi.size());
            iWellData_(kNameLength, i) = static_cast<int32_t>(ansi.size());
        }
        qOK = true;
    });
}

// Writes one producer or injector row when iWell is inside the table.
bool rvWAFSet::setConnectionRow(ConnectionTable& table, int32_t iWell, int32_t firstRow,
                                int32_t rowCount, int32_t iOther, int32_t iTotal, float sRate) {
    if (!validConnection(table, iWell)) return false;
    table.rows(kFirstRow, iWell) = firstRow;
    table.rows(kRowCount, iWell) = rowCount;
    table.rows(kOtherRow, iWell) = iOther;
    table.rows(kTotalRow, iWell) = iTotal;
    table.rates(1, iWell) = sRate;
    return true;
}

// Replaces a whole producer or injector table. The inputs are checked before the old table is
// dropped, so a short array leaves it as it was.
void rvWAFSet::setConnectionsData(ConnectionTable& table, const Array<int32_t>& firstRows,
                                  const Array<int32_t>& rowCounts, const Array<int32_t>& iOther,
                                  const Array<int32_t>& iTotal, const Array<float>& sRate,
                                  int32_t count, bool& qOK) {
    if (count < 1) return;
    requireElements(firstRows, count);
    requireElements(rowCounts, count);
    requireElements(iOther, count);
    requireElements(iTotal, count);
    requireElements(sRate, count);
    resizeConnections(table, count);
    for (int32_t i = 1; i <= count; ++i) {
        setConnectionRow(table, i, firstRows(i), rowCounts(i), iOther(i), iTotal(i), sRate(i));
    }
    qOK = true;
}

void rvWAFSet::setProducersData(const Array<int32_t>& iSink, const Array<int32_t>& nSinks,
                                const Array<int32_t>& iOther, const Array<int32_t>& iTotal,
                                const Array<float>& sRate, int32_t nProducers, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setProducersData", [&] {
        setConnectionsData(producers_, iSink, nSinks, iOther, iTotal, sRate, nProducers, qOK);
    });
}

void rvWAFSet::setInjectorsData(const Array<int32_t>& iSource, const Array<int32_t>& nSources,
                                const Array<int32_t>& iOther, const Array<int32_t>& iTotal,
                                const Array<float>& sRate, int32_t nInjectors, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setInjectorsData", [&] {
        setConnectionsData(injectors_, iSource, nSources, iOther, iTotal, sRate, nInjectors, qOK);
    });
}

void rvWAFSet::setProducerData(int32_t iWell, int32_t iSink, int32_t nSinks, int32_t iOther,
                               int32_t iTotal, float sRate, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setProducerData", [&] {
        qOK = setConnectionRow(producers_, iWell, iSink, nSinks, iOther, iTotal, sRate);
    });
}

void rvWAFSet::setInjectorData(int32_t iWell, int32_t iSource, int32_t nSources, int32_t iOther,
                               int32_t iTotal, float sRate, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setInjectorData", [&] {
        qOK = setConnectionRow(injectors_, iWell, iSource, nSources, iOther, iTotal, sRate);
    });
}

// ==== internal: well-list operations used by rvStreamSet ====

void rvWAFSet::setWellListFlags(const Array<bool>& flags, int32_t n, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setWellListFlags", [&] {
        requireElements(flags, n);
        checkWells(n);
        nWellList_ = 0;
        for (int32_t i = 1; i <= n; ++i) {
            const bool inList = flags(i);
            iWellData_(kNotInListFlag, i) = inList ? 0 : 1;
            if (inList) ++nWellList_;
        }
        qOK = true;
    });
}

// The table grows to the length of the name list, and a well that two list entries name is
// counted twice; both are long-standing behaviour the callers rely on.
void rvWAFSet::setWellListNames(const Array<std::string>& names, int32_t n, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setWellListNames", [&] {
        requireElements(names, n);
        checkWells(n);
        std::unordered_map<std::string, std::vector<int32_t>> wellsByName;
        for (int32_t i = 1; i <= NumberWells_; ++i) {
            iWellData_(kNotInListFlag, i) = 1;
            wellsByName[storedWellName(i)].push_back(i);
        }
        nWellList_ = 0;
        for (int32_t k = 1; k <= n; ++k) {
            const auto found = wellsByName.find(names(k));
            if (found == wellsByName.end()) continue;
            for (const int32_t well : found->second) {
                iWellData_(kNotInListFlag, well) = 0;
                ++nWellList_;
            }
        }
        qOK = true;
    });
}

// Names of the wells in the list, in well order; the array keeps at least one element.
void rvWAFSet::getWellListNames(Array<std::string>& names, int32_t& n, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getWellListNames", [&] {
        arrayHelper().redimension(names, std::max(NumberWells_, 1));
        int32_t found = 0;
        for (int32_t i = 1; i <= NumberWells_; ++i) {
            if (iWellData_(kNotInListFlag, i) == 0) names(++found) = storedWellName(i);
        }
        n = found;
        names.redimPreserve(1, std::max(found, 1));
        qOK = true;
    });
}

void rvWAFSet::getWellInWelllist(int32_t iWell, bool& qIn, bool& qOK) const {
    qOK = false;
    qIn = false;
    runTrapped(kSource, "getWellInWelllist", [&] {
        if (!validWell(iWell)) return;
        qIn = wellValue(iWell, kNotInListFlag) <= 0;
        qOK = true;
    });
}

// Names indexed by producer (injector) number, taken from the wells of the matching type.
void rvWAFSet::wellNamesOfType(int32_t wellType, const ConnectionTable& table,
                               Array<std::string>& zWellNames, int32_t& n) const {
    n = table.count;
    if (n < 1) return;
    arrayHelper().redimension(zWellNames, n);
    for (int32_t i = 1; i <= NumberWells_; ++i) {
        if (wellValue(i, kWellType) != wellType) continue;
        const int32_t k = wellValue(i, kWellIndex);
        if (validConnection(table, k)) zWellNames(k) = storedWellName(i);
    }
}

void rvWAFSet::getInjectorWellNames(Array<std::string>& zWellNames, int32_t& n, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getInjectorWellNames", [&] {
        wellNamesOfType(2, injectors_, zWellNames, n);
        qOK = true;
    });
}

void rvWAFSet::getProducerWellNames(Array<std::string>& zWellNames, int32_t& n, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getProducerWellNames", [&] {
        wellNamesOfType(1, producers_, zWellNames, n);
        qOK = true;
    });
}

}  // namespace tkstream63
