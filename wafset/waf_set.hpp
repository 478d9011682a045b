// rvWAFSet: the well allocation factors (WAF) of one simulation time step.
//
// A well table (type, index within its kind, defined flag, name, well-list flag), a producer and
// an injector table whose rows point into one numeric WAF data table, and the step's time and
// dates. waf_set.cpp holds the model and its loading, waf_set_queries.cpp the rate, efficiency
// and well lookups.
#pragma once

#include <cstdint>
#include <string>

#include "common/bounded_array.hpp"

namespace tkstream63 {

class RecordFile;

class rvWAFSet {
public:
    rvWAFSet();

    // Columns of the well table (column index first, well number second).
    enum WellColumn : int32_t {
        kWellType = 1,       // 1 = producer, 2 = injector, anything else neither
        kWellIndex = 2,      // row in the producer or injector table
        kExcludedFlag = 3,   // 0 = defined, 1 = not defined
        kNameLength = 4,     // characters stored of the name, 0..40
        kNotInListFlag = 5,  // 0 = in the active well list, 1 = not in it
        kWellColumns = 5
    };
    // Columns of the producer and injector tables.
    enum ConnectionColumn : int32_t {
        kRowCount = 1,  // nSinks / nSources: consecutive WAF data rows of this well
        kFirstRow = 2,  // iSink / iSource: first of those rows
        kOtherRow = 3,  // iOther: WAF data row of the other rate
        kTotalRow = 4,  // iTotal: WAF data row of the well's total
        kConnectionColumns = 4
    };
    // Fixed columns of the WAF data table.
    static constexpr int32_t kPartnerColumn = 1;
    static constexpr int32_t kWaterRateColumn = 5;

    // ---- time step ----
    float SimulationTime() const noexcept { return SimulationTime_; }
    void SimulationTime(float value) noexcept { SimulationTime_ = value; }
    int32_t TimeStep() const noexcept { return TimeStep_; }
    void TimeStep(int32_t value) noexcept { TimeStep_ = value; }
    void setSimulationDate(int32_t iDay, int32_t iMonth, int32_t iYear, bool& qOK);
    void setStartDate(int32_t iDay, int32_t iMonth, int32_t iYear, bool& qOK);
    void getSimulationDate(int32_t& iDay, int32_t& iMonth, int32_t& iYear, bool& qOK) const;
    void getStartDate(int32_t& iDay, int32_t& iMonth, int32_t& iYear, bool& qOK) const;

    // ---- counts ----
    int32_t NumberWells() const noexcept { return NumberWells_; }
    void NumberWells(int32_t value);
    int32_t NumberProducers() const noexcept { return producers_.count; }
    void NumberProducers(int32_t value);
    int32_t NumberInjectors() const noexcept { return injectors_.count; }
    void NumberInjectors(int32_t value);
    int32_t NumberDefinedWells() const noexcept;

    // ---- loading ----
    void setWAFData(const Array<float>& WafData, int32_t nCols, int32_t nData, bool& qOK);
    void setWellIndices(const Array<int32_t>& iNumber, int32_t NumWells, bool& qOK);
    void setWellTypes(const Array<int32_t>& iWellType, int32_t NumWells, bool& qOK);
    void setWellsDefined(const Array<bool>& qWells, int32_t NumWells, bool& qOK);
    void setWellNames(const Array<std::string>& zWellNames, int32_t NumWells, bool& qOK);
    void setProducersData(const Array<int32_t>& iSink, const Array<int32_t>& nSinks,
                          const Array<int32_t>& iOther, const Array<int32_t>& iTotal,
                          const Array<float>& sRate, int32_t nProducers, bool& qOK);
    void setInjectorsData(const Array<int32_t>& iSource, const Array<int32_t>& nSources,
                          const Array<int32_t>& iOther, const Array<int32_t>& iTotal,
                          const Array<float>& sRate, int32_t nInjectors, bool& qOK);
    void setProducerData(int32_t iWell, int32_t iSink, int32_t nSinks, int32_t iOther,
                         int32_t iTotal, float sRate, bool& qOK);
    void setInjectorData(int32_t iWell, int32_t iSource, int32_t nSources, int32_t iOther,
                         int32_t iTotal, float sRate, bool& qOK);

    // ---- well lookups ----
    void getWellType(int32_t iWell, int32_t& iType, bool& qOK) const;
    void getWellIndex(int32_t iWell, int32_t& iNumber, bool& qOK) const;
    void getWellNameType(const std::string& zWell, int32_t& iType, bool& qOK) const;
    void getWellNameIndex(const std::string& zWell, int32_t& iNumber, bool& qOK) const;
    void getWellDefined(int32_t iWell, bool& qDefined, bool& qOK) const;
    void getWellNameDefined(const std::string& zWell, bool& qDefined, bool& qOK) const;
    void getWellDefined_Incl_List(int32_t iWell, bool& qDefined, bool& qOK,
                                  bool qDefinedOnly = false) const;
    void getWellName(int32_t iWell, std::string& zWellName, bool& qOK) const;
    int32_t getWellNumber(const std::string& zWell) const;
    void getWellNames(Array<std::string>& zWellNames, int32_t& NumWells, bool& qOK) const;
    void getWellIndices(Array<int32_t>& iNumbers, int32_t& NumWells, bool& qOK) const;
    void getWellTypes(Array<int32_t>& iWellType, int32_t& NumWells, bool& qOK) const;
    void getWellsDefined(Array<bool>& qWells, int32_t& NumWells, bool& qOK) const;
    void getListOfWellNames(const Array<int32_t>& iWells, int32_t NumWells,
                            Array<std::string>& zWellNames, bool& qOK) const;
    void getListOfWellIndices(const Array<std::string>& zWells, int32_t NumWells,
                              Array<int32_t>& iNumbers, bool& qOK) const;

    // ---- rates and efficiencies ----
    void getWellWAFData(int32_t iWell, Array<float>& sRate, int32_t& nRates, float& OtherRate,
                        float& TotalRate, Array<int32_t>& iWells, Array<std::string>& zWells,
                        bool& qOK, int32_t iWAFType = 2) const;
    // The fourth argument receives the other rate and the fifth the total, as in getWellWAFData;
    // the crossed names are part of the published interface.
    void getWellNameWAFData(const std::string& zWell, Array<float>& sRate, int32_t& nRates,
                            float& TotalRate, float& OtherRate, Array<int32_t>& iWells,
                            Array<std::string>& zWells, bool& qOK, int32_t iWAFType = 2) const;
    void getWellEfficiency(int32_t iWell, float& WaterRate, float& Efficiency, bool& qOK,
                           int32_t iType = 9) const;
    void getWellEfficiencies(Array<float>& WaterRates, Array<float>& Efficiencies,
                             int32_t& NumWells, bool& qOK, int32_t iWellType = 2,
                             int32_t iType = 9) const;

    // ==== internal: well-list operations used by rvStreamSet ====
    void setWellListFlags(const Array<bool>& flags, int32_t n, bool& qOK);
    void setWellListNames(const Array<std::string>& names, int32_t n, bool& qOK);
    void getWellListNames(Array<std::string>& names, int32_t& n, bool& qOK) const;
    int32_t getWellListCount() const noexcept { return nWellList_; }
    bool getWellListActive() const noexcept { return wellListActive_; }
    void setWellListActive(bool qActive) noexcept { wellListActive_ = qActive; }
    void getWellInWelllist(int32_t iWell, bool& qIn, bool& qOK) const;
    void getInjectorWellNames(Array<std::string>& zWellNames, int32_t& n, bool& qOK) const;
    void getProducerWellNames(Array<std::string>& zWellNames, int32_t& n, bool& qOK) const;
    // ==== end internal ====

    // ==== binary export and import ====
    // Writes the whole set as one "WAF>" ... "<WAF" section. qOK is set False and never True,
    // also when every write succeeded: callers must not read it as a failure signal.
    void BINARYEXPORT(RecordFile& cFILETYPE, bool& qOK);
    // Called once the caller has read "WAF>": reads records up to and including "<WAF" without
    // resetting the set first. qOK False when a read failed or the file ended first.
    void BINARYIMPORT(RecordFile& cFILETYPE, bool& qOK);
    // Internal: true when every field the record section carries equals other's (floats bit for
    // bit); difference names the first field that differs.
    bool sameContents(const rvWAFSet& other, std::string& difference) const;

private:
    // The record writers and readers (waf_set_binary.cpp).
    struct BinaryForm;
    // ==== end binary ====

private:
    // A producer or an injector table: per row the four connection columns and the rate.
    struct ConnectionTable {
        int32_t count = 0;     // NumberProducers / NumberInjectors
        int32_t capacity = 1;  // rows allocated
        Array<int32_t> rows{1, kConnectionColumns, 1, 1};
        Array<float> rates{1, 1, 1, 1};
    };

    void InitWAFSet();

    // Model helpers (waf_set.cpp).
    void checkWells(int32_t NumWells);
    static void resizeConnections(ConnectionTable& table, int32_t count);
    static bool setConnectionRow(ConnectionTable& table, int32_t iWell, int32_t firstRow,
                                 int32_t rowCount, int32_t iOther, int32_t iTotal, float sRate);
    static void setConnectionsData(ConnectionTable& table, const Array<int32_t>& firstRows,
                                   const Array<int32_t>& rowCounts, const Array<int32_t>& iOther,
                                   const Array<int32_t>& iTotal, const Array<float>& sRate,
                                   int32_t count, bool& qOK);
    void setWellColumn(WellColumn column, const Array<int32_t>& values, int32_t NumWells);
    void wellNamesOfType(int32_t wellType, const ConnectionTable& table,
                         Array<std::string>& zWellNames, int32_t& n) const;
    // Raises the subscript error unless elements 1..n of a rank-1 array exist.
    template <class T>
    static void requireElements(const Array<T>& values, int32_t n) {
        if (n < 1) return;
        values.offsetOf(1);
        values.offsetOf(n);
    }

    // Lookup helpers (waf_set_queries.cpp); none of them reports, they raise.
    bool validWell(int32_t iWell) const noexcept { return iWell >= 1 && iWell <= NumberWells_; }
    static bool validConnection(const ConnectionTable& table, int32_t n) noexcept {
        return n >= 1 && n <= table.count;
    }
    bool validWafRow(int32_t row) const noexcept { return row >= 1 && row <= nData_; }
    int32_t wellValue(int32_t iWell, WellColumn column) const { return iWellData_(column, iWell); }
    std::string storedWellName(int32_t iWell) const;
    int32_t findWell(const std::string& zWell) const;
    float wafValue(int32_t column, int32_t row) const;
    void lookupWellColumn(const char* procedure, int32_t iWell, WellColumn column, int32_t& value,
                          bool& qOK) const;
    void wellColumnValues(const char* procedure, WellColumn column, Array<int32_t>& values,
                          int32_t& NumWells, bool& qOK) const;
    const ConnectionTable* connectionsOfType(int32_t wellType) const noexcept;
    bool wellWAFData(int32_t iWell, Array<float>& sRate, int32_t& nRates, float& OtherRate,
                     float& TotalRate, Array<int32_t>& iWells, Array<std::string>& zWells,
                     int32_t column) const;
    bool connectionEfficiency(const ConnectionTable& table, int32_t number, float& WaterRate,
                              float& Efficiency, int32_t iType) const;
    bool wellEfficiency(int32_t iWell, float& WaterRate, float& Efficiency, int32_t iType) const;

    // Time step.
    float SimulationTime_;
    int32_t TimeStep_;
    bool simulationDateSet_;
    int32_t simulationDay_, simulationMonth_, simulationYear_;
    bool startDateSet_;
    int32_t startDay_, startMonth_, startYear_;

    // Well table: iWellData_ is (1..5, 1..rows), bWellNames_ (1..40, 1..rows) of ANSI bytes.
    int32_t NumberWells_;
    int32_t nWellsAllocated_;  // the last size checkWells grew the table to
    int32_t nDefinedWells_;    // wells marked defined by setWellsDefined
    int32_t nWellList_;        // wells in the active well list
    bool wellListActive_;
    Array<int32_t> iWellData_;
    Array<uint8_t> bWellNames_;

    ConnectionTable producers_;
    ConnectionTable injectors_;

    // WAF data table: (1..nCols, 1..nData), column index fastest.
    int32_t nCols_;
    int32_t nData_;
    int32_t nDataCopy_;  // second copy of the row count, carried by the file format
    Array<float> WafData_;

    // Carried by the file format only.
    int32_t reservedInteger_;
    bool reservedFlag_;
    std::string WAFFileName_;
};

}  // namespace tkstream63
