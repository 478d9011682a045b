// rvWAFSet: the read side. Well lookups by number and by name, the allocated rates of one well
// to its partner wells, and per-well water rates and efficiencies.
#include <algorithm>
#include <cstring>

#include "common/errors.hpp"
#include "common/shared_objects.hpp"
#include "common/text.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63 {

namespace {

constexpr const char* kSource = "rvWAFSet";

// Efficiency types 3, 4 and 5 have their own columns; every other type reads column 9.
int32_t efficiencyColumn(int32_t iType) {
    switch (iType) {
        case 3: return 6;
        case 4: return 7;
        case 5: return 8;
        default: return 9;
    }
}

}  // namespace

// ---- helpers ----

std::string rvWAFSet::storedWellName(int32_t iWell) const {
    const int32_t length = std::min(wellValue(iWell, kNameLength), static_cast<int32_t>(kMaxNameBytes));
    if (length <= 0) return {};
    const size_t first = bWellNames_.offsetOf(1, iWell);
    bWellNames_.checkRun(first, static_cast<size_t>(length));
    return fromAnsi(bWellNames_.data() + first, static_cast<size_t>(length));
}

// Only the query is upper-cased, so a name stored with lower-case letters is never found.
// Wells whose name is shorter than the query are skipped before comparing.
int32_t rvWAFSet::findWell(const std::string& zWell) const {
    const std::string query = UCase(zWell);
    const int32_t length = codePointLength(query);
    if (length < 1 || length > static_cast<int32_t>(kMaxNameBytes)) return -1;
    // Stored names are single-byte text; a query with a character they cannot hold matches none.
    const std::string ansi = toAnsi(query, kMaxNameBytes);
    if (fromAnsi(ansi) != query) return -1;
    for (int32_t i = 1; i <= NumberWells_; ++i) {
        const int32_t stored = wellValue(i, kNameLength);
        if (stored < 1 || stored < length) continue;
        if (std::min(stored, static_cast<int32_t>(kMaxNameBytes)) != length) continue;
        const size_t first = bWellNames_.offsetOf(1, i);
        bWellNames_.checkRun(first, ansi.size());
        if (std::memcmp(bWellNames_.data() + first, ansi.data(), ansi.size()) == 0) return i;
    }
    return -1;
}

// One value of the WAF data table; a column outside 1..nCols is a subscript error.
float rvWAFSet::wafValue(int32_t column, int32_t row) const {
    if (column < 1 || column > nCols_) raiseError(kErrSubscript);
    return WafData_(column, row);
}

const rvWAFSet::ConnectionTable* rvWAFSet::connectionsOfType(int32_t wellType) const noexcept {
    if (wellType == 1) return &producers_;
    if (wellType == 2) return &injectors_;
    return nullptr;
}

// ---- well lookups ----

void rvWAFSet::getWellType(int32_t iWell, int32_t& iType, bool& qOK) const {
    lookupWellColumn("getWellType", iWell, kWellType, iType, qOK);
}

void rvWAFSet::getWellIndex(int32_t iWell, int32_t& iNumber, bool& qOK) const {
    lookupWellColumn("getWellIndex", iWell, kWellIndex, iNumber, qOK);
}

void rvWAFSet::getWellNameType(const std::string& zWell, int32_t& iType, bool& qOK) const {
    lookupWellColumn("getWellNameType", getWellNumber(zWell), kWellType, iType, qOK);
}

void rvWAFSet::getWellNameIndex(const std::string& zWell, int32_t& iNumber, bool& qOK) const {
    lookupWellColumn("getWellNameIndex", getWellNumber(zWell), kWellIndex, iNumber, qOK);
}

void rvWAFSet::lookupWellColumn(const char* procedure, int32_t iWell, WellColumn column,
                                int32_t& value, bool& qOK) const {
    qOK = false;
    value = -1;
    runTrapped(kSource, procedure, [&] {
        if (!validWell(iWell)) return;
        value = wellValue(iWell, column);
        qOK = true;
    });
}

// With an active, non-empty well list the list alone decides.
void rvWAFSet::getWellDefined(int32_t iWell, bool& qDefined, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getWellDefined", [&] {
        if (!validWell(iWell)) return;
        bool defined = wellValue(iWell, kExcludedFlag) <= 0;
        if (wellListActive_ && nWellList_ > 0) defined = wellValue(iWell, kNotInListFlag) <= 0;
        qDefined = defined;
        qOK = true;
    });
}

void rvWAFSet::getWellNameDefined(const std::string& zWell, bool& qDefined, bool& qOK) const {
    qOK = false;
    qDefined = false;
    const int32_t iWell = getWellNumber(zWell);
    runTrapped(kSource, "getWellNameDefined", [&] {
        if (!validWell(iWell)) return;
        qDefined = wellValue(iWell, kExcludedFlag) <= 0;
        qOK = true;
    });
}

void rvWAFSet::getWellDefined_Incl_List(int32_t iWell, bool& qDefined, bool& qOK,
                                        bool qDefinedOnly) const {
    qOK = false;
    qDefined = false;
    runTrapped(kSource, "getWellDefined_Incl_List", [&] {
        if (!validWell(iWell)) return;
        bool defined = wellValue(iWell, kExcludedFlag) == 0;
        if (!qDefinedOnly && wellListActive_ && nWellList_ > 0) {
            defined = wellValue(iWell, kNotInListFlag) <= 0;
        }
        qDefined = defined;
        qOK = true;
    });
}

void rvWAFSet::getWellName(int32_t iWell, std::string& zWellName, bool& qOK) const {
    qOK = false;
    zWellName.clear();
    runTrapped(kSource, "getWellName", [&] {
        if (!validWell(iWell)) return;
        zWellName = storedWellName(iWell);
        qOK = true;
    });
}

int32_t rvWAFSet::getWellNumber(const std::string& zWell) const {
    int32_t result = -1;
    runTrapped(kSource, "getWellNumber", [&] { result = findWell(zWell); });
    return result;
}

// ---- whole-table and list getters ----

void rvWAFSet::getWellNames(Array<std::string>& zWellNames, int32_t& NumWells, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getWellNames", [&] {
        NumWells = NumberWells_;
        if (NumWells > 0) {
            arrayHelper().redimension(zWellNames, NumWells);
            for (int32_t i = 1; i <= NumWells; ++i) zWellNames(i) = storedWellName(i);
        }
        qOK = true;
    });
}

void rvWAFSet::wellColumnValues(const char* procedure, WellColumn column, Array<int32_t>& values,
                                int32_t& NumWells, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, procedure, [&] {
        NumWells = NumberWells_;
        if (NumWells > 0) {
            arrayHelper().redimension(values, NumWells);
            for (int32_t i = 1; i <= NumWells; ++i) values(i) = wellValue(i, column);
        }
        qOK = true;
    });
}

void rvWAFSet::getWellIndices(Array<int32_t>& iNumbers, int32_t& NumWells, bool& qOK) const {
    wellColumnValues("getWellIndices", kWellIndex, iNumbers, NumWells, qOK);
}

void rvWAFSet::getWellTypes(Array<int32_t>& iWellType, int32_t& NumWells, bool& qOK) const {
    wellColumnValues("getWellTypes", kWellType, iWellType, NumWells, qOK);
}

// The well list is not consulted here.
void rvWAFSet::getWellsDefined(Array<bool>& qWells, int32_t& NumWells, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getWellsDefined", [&] {
        NumWells = NumberWells_;
        if (NumWells > 0) {
            arrayHelper().redimension(qWells, NumWells);
            for (int32_t i = 1; i <= NumWells; ++i) qWells(i) = wellValue(i, kExcludedFlag) == 0;
        }
        qOK = true;
    });
}

void rvWAFSet::getListOfWellNames(const Array<int32_t>& iWells, int32_t NumWells,
                                  Array<std::string>& zWellNames, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getListOfWellNames", [&] {
        if (NumWells > 0) {
            requireElements(iWells, NumWells);
            arrayHelper().redimension(zWellNames, NumWells);
            for (int32_t i = 1; i <= NumWells; ++i) {
                const int32_t well = iWells(i);
                if (validWell(well)) zWellNames(i) = storedWellName(well);
            }
        }
        qOK = true;
    });
}

void rvWAFSet::getListOfWellIndices(const Array<std::string>& zWells, int32_t NumWells,
                                    Array<int32_t>& iNumbers, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getListOfWellIndices", [&] {
        if (NumWells > 0) {
            requireElements(zWells, NumWells);
            arrayHelper().redimension(iNumbers, NumWells);
            for (int32_t i = 1; i <= NumWells; ++i) iNumbers(i) = findWell(zWells(i));
        }
        qOK = true;
    });
}

// ---- rates ----

// Walks the WAF data rows of one well's producer or injector row. Returns the qOK to report.
bool rvWAFSet::wellWAFData(int32_t iWell, Array<float>& sRate, int32_t& nRates, float& OtherRate,
                           float& TotalRate, Array<int32_t>& iWells, Array<std::string>& zWells,
                           int32_t column) const {
    if (!validWell(iWell)) return false;
    const ConnectionTable* table = connectionsOfType(wellValue(iWell, kWellType));
    if (table == nullptr) return false;
    const int32_t number = wellValue(iWell, kWellIndex);
    if (!validConnection(*table, number)) return false;

    const int32_t count = table->rows(kRowCount, number);
    const int32_t first = table->rows(kFirstRow, number);
    const int32_t other = table->rows(kOtherRow, number);
    const int32_t total = table->rows(kTotalRow, number);
    nRates = count;
    OtherRate = validWafRow(other) ? wafValue(column, other) : 0.0f;
    TotalRate = validWafRow(total) ? wafValue(column, total) : 0.0f;
    if (count < 1) return true;

    arrayHelper().redimension(sRate, count);
    arrayHelper().redimension(iWells, count);
    arrayHelper().redimension(zWells, count);
    if (!validWafRow(first)) return true;

    // Rows past the end of the table are skipped, leaving 0 and "" in their elements.
    const int64_t lastRow = int64_t{first} + count - 1;
    const auto lastReadable = static_cast<int32_t>(std::min<int64_t>(lastRow, nData_));
    for (int32_t row = first, k = 1; row <= lastReadable; ++row, ++k) {
        sRate(k) = wafValue(column, row);
        const int32_t partner = roundToLong(wafValue(kPartnerColumn, row));
        iWells(k) = partner;
        if (validWell(partner)) zWells(k) = storedWellName(partner);
    }
    checkedLong(lastRow);  // the walk's row number must stay a Long all the way
    return true;
}

void rvWAFSet::getWellWAFData(int32_t iWell, Array<float>& sRate, int32_t& nRates,
                              float& OtherRate, float& TotalRate, Array<int32_t>& iWells,
                              Array<std::string>& zWells, bool& qOK, int32_t iWAFType) const {
    qOK = false;
    runTrapped(kSource, "getWellWAFData", [&] {
        qOK = wellWAFData(iWell, sRate, nRates, OtherRate, TotalRate, iWells, zWells, iWAFType);
    });
}

void rvWAFSet::getWellNameWAFData(const std::string& zWell, Array<float>& sRate, int32_t& nRates,
                                  float& TotalRate, float& OtherRate, Array<int32_t>& iWells,
                                  Array<std::string>& zWells, bool& qOK, int32_t iWAFType) const {
    qOK = false;
    const int32_t iWell = getWellNumber(zWell);
    runTrapped(kSource, "getWellNameWAFData", [&] {
        // Filled by position: TotalRate gets the other rate, OtherRate the total.
        qOK = wellWAFData(iWell, sRate, nRates, TotalRate, OtherRate, iWells, zWells, iWAFType);
    });
}

// ---- efficiencies ----

// Water rate and efficiency from the total row of one producer or injector; a total row outside
// the table gives 0 and 0. Returns false for a number outside the table.
bool rvWAFSet::connectionEfficiency(const ConnectionTable& table, int32_t number,
                                    float& WaterRate, float& Efficiency, int32_t iType) const {
    if (!validConnection(table, number)) return false;
    const int32_t total = table.rows(kTotalRow, number);
    float water = 0.0f;
    float efficiency = 0.0f;
    if (validWafRow(total)) {
        water = wafValue(kWaterRateColumn, total);
        efficiency = wafValue(efficiencyColumn(iType), total);
    }
    WaterRate = water;
    Efficiency = efficiency;
    return true;
}

bool rvWAFSet::wellEfficiency(int32_t iWell, float& WaterRate, float& Efficiency,
                              int32_t iType) const {
    if (!validWell(iWell)) return false;
    const ConnectionTable* table = connectionsOfType(wellValue(iWell, kWellType));
    if (table == nullptr) return false;
    return connectionEfficiency(*table, wellValue(iWell, kWellIndex), WaterRate, Efficiency, iType);
}

void rvWAFSet::getWellEfficiency(int32_t iWell, float& WaterRate, float& Efficiency, bool& qOK,
                                 int32_t iType) const {
    qOK = false;
    runTrapped(kSource, "getWellEfficiency", [&] {
        qOK = wellEfficiency(iWell, WaterRate, Efficiency, iType);
    });
}

// Producers (iWellType 1), injectors (2) or every well (any other type), one element each.
void rvWAFSet::getWellEfficiencies(Array<float>& WaterRates, Array<float>& Efficiencies,
                                   int32_t& NumWells, bool& qOK, int32_t iWellType,
                                   int32_t iType) const {
    qOK = false;
    runTrapped(kSource, "getWellEfficiencies", [&] {
        const ConnectionTable* table = connectionsOfType(iWellType);
        NumWells = table != nullptr ? table->count : NumberWells_;
        if (NumWells < 1) return;
        arrayHelper().redimension(WaterRates, NumWells);
        arrayHelper().redimension(Efficiencies, NumWells);
        bool lastOK = false;
        for (int32_t i = 1; i <= NumWells; ++i) {
            lastOK = table != nullptr
                         ? connectionEfficiency(*table, i, WaterRates(i), Efficiencies(i), iType)
                         : wellEfficiency(i, WaterRates(i), Efficiencies(i), iType);
        }
        qOK = lastOK;
    });
}

}  // namespace tkstream63
