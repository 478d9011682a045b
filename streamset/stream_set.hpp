// rvStreamSet: one streamline dataset held in memory for the host.
//
// The class is split by topic; each topic keeps its members and fields in its own section below
// and its code in its own stream_set_<topic>.cpp file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/bounded_array.hpp"
#include "common/variant.hpp"

namespace tkstream63 {

class rvWAFSet;
class RecordIO;
class RecordFile;

class rvStreamSet {
public:
    rvStreamSet();

    // ==== attributes: identity, description, attribute codes ====
public:
private:
    bool Initialised_ = true;
    std::string FileName_;
    std::string TVGroupName_;
    std::string GroupName_;
    std::string UCaseGroupName_;
    std::string DataRootPath_;
    std::string TreeViewKey_;
    std::string UniqueKey_;
    bool IsDirty_ = false;
    int32_t FileType_ = 0;
    std::string TVDisplayRoot_;
    std::string UCaseTVDisplayRoot_;
    std::string SourceType_;
    std::string Origin_;
    std::string UCaseOrigin_;
    std::string DateStamp_;
    std::string DataClass_;
    int32_t Units_ = 0;
    int32_t index_ = 0;
    int32_t iStart_ = 0;
    int32_t iEnd_ = 0;
    bool Unified_ = false;
    bool Formatted_ = false;
    bool AllData_ = true;
    float SimulationTime_ = 0;
    float SimulationEndTime_ = 0;
    int32_t MaxZones_ = 0;
    // Library-internal state.
    bool qAttributesFlag_ = true;
    int32_t iAttributesCount_ = 1;
    // ==== end attributes ====

    // ==== grid dimensions and limits ====
public:
private:
    bool GridSet_ = false;
    int32_t NX_ = 0, NY_ = 0, NZ_ = 0;
    float xMin_ = 0, xMax_ = 0, yMin_ = 0, yMax_ = 0, zMin_ = 0, zMax_ = 0;
    float TOFMin_ = 0, TOFMax_ = 0, DRTMin_ = 0, DRTMax_ = 0;
    // ==== end grid ====

    // ==== well table ====
public:
private:
    int32_t NumberWells_ = -1;
    int32_t MaximumNumberWells_ = -1;
    int32_t nWellsAllocated_ = 1;
    Array<int32_t> iWellData_{1, 4, 0, 1};
    Array<uint8_t> bWellNames_{1, 40, 0, 1};
    Array<float> sWellData_{1, 4, 0, 1};
    // ==== end well table ====

    // ==== producer and injector connections ====
public:
private:
    int32_t NumberProducers_ = -1;
    int32_t NumberInjectors_ = -1;
    Array<int32_t> iProducers_{1, 1, 0, 0};
    Array<int32_t> iInjectors_{1, 1, 0, 0};
    Array<int32_t> iProducerSources_{1, 1, 1, 1};
    Array<int32_t> iInjectorSinks_{1, 1, 1, 1};
    int32_t nProducerSources_ = 0;
    int32_t nInjectorSinks_ = 0;
    int32_t nProducerSourcesUpper_ = 1;
    int32_t nInjectorSinksUpper_ = 1;
    // ==== end connections ====

    // ==== well list ====
public:
private:
    Array<std::string> zWellList_{1, 1};
    Array<int32_t> iWellList_{1, 1};
    bool WellListSet_ = false;
    bool UseWellList_ = false;
    // ==== end well list ====

    // ==== WAF attachment and WAF well mapping ====
public:
    // Holds a counted reference to the set and sets WAF True, also for an empty reference.
    void setWAF(std::shared_ptr<rvWAFSet> cWAF, bool& qOK);
    // Well numbers translated by name between this dataset and the attached set; -1 when the
    // name is known to one side only or WAF is False.
    int32_t getWAFWellFromSLWell(int32_t iWell) const;
    int32_t getSLWellFromWAFWell(int32_t iWAFWell) const;

    // Forwarded to the attached set while WAF is True; otherwise each gives its fallback.
    int32_t getWAFNumberProducers() const;     // fallback 0
    int32_t getWAFNumberWells() const;         // fallback 0
    int32_t getWAFNumberInjectors() const;     // fallback 0
    int32_t getWAFNumberDefinedWells() const;  // fallback 0
    int32_t getWAFWellNumber(const std::string& zWell) const;  // fallback -1
    std::string getWAFWellName(int32_t iWell) const;           // fallback ""
    // These four end with qOK True whatever happened.
    void getWAFWellDefined(int32_t iWell, bool& qDefined, bool& qOK) const;
    void getWAFWellDefined_Single(int32_t iWell, bool& qDefined, bool& qOK,
                                  bool qDefinedOnly = false) const;
    void getWAFWellNameDefined(const std::string& zWell, bool& qDefined, bool& qOK) const;
    void getWAFWellType(int32_t iWell, int32_t& iType, bool& qOK) const;
    void getWAFWellNameType(const std::string& zWell, int32_t& iType, bool& qOK) const;
    void getWAFWellTypes(Array<int32_t>& iWellTypes, int32_t& NumWells, bool& qOK) const;
    // The rest leave qOK alone while WAF is False.
    void getWAFWellNames(Array<std::string>& zWellNames, int32_t& NumWells, bool& qOK) const;
    void getWAFListOfWellNumbers(const Array<std::string>& zWellNames, int32_t NumWells,
                                 Array<int32_t>& iWells, bool& qOK) const;
    void getWAFListOfWellNames(const Array<int32_t>& iWells, int32_t NumWells,
                               Array<std::string>& zWellNames, bool& qOK) const;
    // iWells come back as dataset well numbers once the dataset holds streamlines.
    void getWAFWellData(int32_t iWell, Array<float>& sRate, int32_t& nRate, float& OtherRate,
                        float& TotalRate, Array<int32_t>& iWells, Array<std::string>& zWells,
                        bool& qOK, int32_t iWAFType = 2) const;
    void getWAFWellNameData(const std::string& zWell, Array<float>& sRate, int32_t& nRate,
                            float& OtherRate, float& TotalRate, Array<int32_t>& iWells,
                            Array<std::string>& zWells, bool& qOK, int32_t iWAFType = 2) const;
    // Fallback NumWells 0 and qOK False.
    void getWAFWellEfficiencies(Array<float>& WaterRates, Array<float>& Efficiencies,
                                int32_t& NumWells, bool& qOK, int32_t iWellType = 2,
                                int32_t iType = 9) const;
    void getWAFWellEfficiency(int32_t iWell, float& WaterRate, float& Efficiency, bool& qOK,
                              int32_t iType = 9) const;
    void getWAFWellEfficiencyData(int32_t iWell, float& WaterRate, float& Efficiency, bool& qOK,
                                  int32_t iType = 9) const;
    void getWAFInjectorWellNames(Array<std::string>& zWellNames, int32_t& NumWells,
                                 bool& qOK) const;
    void getWAFProducerWellNames(Array<std::string>& zWellNames, int32_t& NumWells,
                                 bool& qOK) const;
private:
    bool WAF_ = false;
    int32_t WAFType_ = 2;
    std::shared_ptr<rvWAFSet> cWAF_;
    // ==== end WAF ====

    // ==== attribute vector and raw pointers ====
public:
private:
    // ==== end attribute vector ====

    // ==== streamline table ====
public:
private:
    int32_t NumberStreamlines_ = 0;
    int32_t NumCols_ = 0;
    int32_t MaxRows_ = 0;
    int32_t nDataColumns_ = 0;
    int32_t rowCapacity_ = 10000;
    Array<float> StreamLines_{1, 1, 1, 1};
    Array<int32_t> iStreamLines_{1, 1, 1, 1};
    int32_t pointerCount_ = 1;
    Array<std::string> zHeaders_{1, 1};
    Array<std::string> zUnits_{1, 1};
    int32_t startDay_ = 0, startMonth_ = 0, startYear_ = 0;
    // ==== end streamline table ====

    // ==== single streamline extraction ====
public:
private:
    // ==== end extraction ====

    // ==== binary export and import ====
public:
private:
    // ==== end binary ====
};

}  // namespace tkstream63
