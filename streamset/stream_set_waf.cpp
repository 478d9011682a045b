// rvStreamSet: the attached WAF set. The dataset offers the set's queries under its own getWAF...
// names, guarded by the WAF flag, and maps well numbers between the two well tables by name.
#include <memory>
#include <string>

#include "common/errors.hpp"
#include "streamset/stream_set.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63 {

namespace {

constexpr const char* kSource = "rvStreamSet";

// Runs call on the attached set when the WAF flag is up. The flag without a set is the object
// error, reported under the member's name; the member's fallback values then stay.
template <class Call>
void forwardToWAF(bool waf, const std::shared_ptr<rvWAFSet>& set, const char* procedure,
                  Call&& call) {
    runTrapped(kSource, procedure, [&] {
        if (!waf) return;
        if (!set) raiseError(kErrObjectNotSet);
        call(*set);
    });
}

}  // namespace

// The reference is not checked: attaching nothing still raises the WAF flag.
void rvStreamSet::setWAF(std::shared_ptr<rvWAFSet> cWAF, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.setWAF", [&] {
        cWAF_ = std::move(cWAF);
        WAF(true);
        qOK = true;
    });
}

// ---- well mapping ----

int32_t rvStreamSet::getWAFWellFromSLWell(int32_t iWell) const {
    int32_t result = -1;
    if (!WAF()) return result;
    const std::string name = getWellName(iWell);
    if (name.empty()) return result;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellFromSLWell",
                 [&](const rvWAFSet& set) { result = set.getWellNumber(name); });
    return result;
}

// The dataset's lookup upper-cases the query only, so a WAF well named in lower case maps to -1
// even when the dataset holds a well of exactly that name.
int32_t rvStreamSet::getSLWellFromWAFWell(int32_t iWAFWell) const {
    int32_t result = -1;
    runTrapped(kSource, "rvStreamSet.getSLWellFromWAFWell", [&] {
        if (!WAF()) return;
        const std::string name = getWAFWellName(iWAFWell);
        if (!name.empty()) result = getWellNumber(name);
    });
    return result;
}

// ---- counts and single lookups ----

int32_t rvStreamSet::getWAFNumberProducers() const {
    int32_t result = 0;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFNumberProducers",
                 [&](const rvWAFSet& set) { result = set.NumberProducers(); });
    return result;
}

int32_t rvStreamSet::getWAFNumberWells() const {
    int32_t result = 0;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFNumberWells",
                 [&](const rvWAFSet& set) { result = set.NumberWells(); });
    return result;
}

int32_t rvStreamSet::getWAFNumberInjectors() const {
    int32_t result = 0;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFNumberInjectors",
                 [&](const rvWAFSet& set) { result = set.NumberInjectors(); });
    return result;
}

int32_t rvStreamSet::getWAFNumberDefinedWells() const {
    int32_t result = 0;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFNumberDefinedWells",
                 [&](const rvWAFSet& set) { result = set.NumberDefinedWells(); });
    return result;
}

int32_t rvStreamSet::getWAFWellNumber(const std::string& zWell) const {
    int32_t result = -1;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellNumber",
                 [&](const rvWAFSet& set) { result = set.getWellNumber(zWell); });
    return result;
}

std::string rvStreamSet::getWAFWellName(int32_t iWell) const {
    std::string result;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellName", [&](const rvWAFSet& set) {
        bool qOK = false;
        set.getWellName(iWell, result, qOK);
    });
    return result;
}

// ---- members that end with qOK True on every path ----

void rvStreamSet::getWAFWellDefined(int32_t iWell, bool& qDefined, bool& qOK) const {
    qDefined = false;
    qOK = true;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellDefined",
                 [&](const rvWAFSet& set) { set.getWellDefined(iWell, qDefined, qOK); });
    qOK = true;
}

void rvStreamSet::getWAFWellDefined_Single(int32_t iWell, bool& qDefined, bool& qOK,
                                           bool qDefinedOnly) const {
    qDefined = false;
    qOK = true;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellDefined_Single", [&](const rvWAFSet& set) {
        set.getWellDefined_Incl_List(iWell, qDefined, qOK, qDefinedOnly);
    });
    qOK = true;
}

void rvStreamSet::getWAFWellNameDefined(const std::string& zWell, bool& qDefined,
                                        bool& qOK) const {
    qDefined = false;
    qOK = true;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellNameDefined",
                 [&](const rvWAFSet& set) { set.getWellNameDefined(zWell, qDefined, qOK); });
    qOK = true;
}

void rvStreamSet::getWAFWellType(int32_t iWell, int32_t& iType, bool& qOK) const {
    qOK = true;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellType",
                 [&](const rvWAFSet& set) { set.getWellType(iWell, iType, qOK); });
    qOK = true;
}

void rvStreamSet::getWAFWellNameType(const std::string& zWell, int32_t& iType, bool& qOK) const {
    qOK = true;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellNameType",
                 [&](const rvWAFSet& set) { set.getWellNameType(zWell, iType, qOK); });
    qOK = true;
}

void rvStreamSet::getWAFWellTypes(Array<int32_t>& iWellTypes, int32_t& NumWells,
                                  bool& qOK) const {
    qOK = true;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellTypes",
                 [&](const rvWAFSet& set) { set.getWellTypes(iWellTypes, NumWells, qOK); });
    qOK = true;
}

// ---- members that leave qOK to the set ----

void rvStreamSet::getWAFWellNames(Array<std::string>& zWellNames, int32_t& NumWells,
                                  bool& qOK) const {
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellNames",
                 [&](const rvWAFSet& set) { set.getWellNames(zWellNames, NumWells, qOK); });
}

void rvStreamSet::getWAFListOfWellNumbers(const Array<std::string>& zWellNames, int32_t NumWells,
                                          Array<int32_t>& iWells, bool& qOK) const {
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFListOfWellNumbers", [&](const rvWAFSet& set) {
        set.getListOfWellIndices(zWellNames, NumWells, iWells, qOK);
    });
}

void rvStreamSet::getWAFListOfWellNames(const Array<int32_t>& iWells, int32_t NumWells,
                                        Array<std::string>& zWellNames, bool& qOK) const {
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFListOfWellNames", [&](const rvWAFSet& set) {
        set.getListOfWellNames(iWells, NumWells, zWellNames, qOK);
    });
}

// Once the dataset holds streamlines the partner wells come back as dataset well numbers
// (-1 where the dataset has no well of that name).
void rvStreamSet::getWAFWellData(int32_t iWell, Array<float>& sRate, int32_t& nRate,
                                 float& OtherRate, float& TotalRate, Array<int32_t>& iWells,
                                 Array<std::string>& zWells, bool& qOK, int32_t iWAFType) const {
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellData", [&](const rvWAFSet& set) {
        set.getWellWAFData(iWell, sRate, nRate, OtherRate, TotalRate, iWells, zWells, qOK,
                           iWAFType);
        if (!qOK || NumberStreamlines() <= 0) return;
        for (int32_t k = 1; k <= nRate; ++k) iWells(k) = getSLWellFromWAFWell(iWells(k));
    });
}

// Passed on by position, so OtherRate receives the other rate and TotalRate the total.
void rvStreamSet::getWAFWellNameData(const std::string& zWell, Array<float>& sRate,
                                     int32_t& nRate, float& OtherRate, float& TotalRate,
                                     Array<int32_t>& iWells, Array<std::string>& zWells,
                                     bool& qOK, int32_t iWAFType) const {
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellNameData", [&](const rvWAFSet& set) {
        set.getWellNameWAFData(zWell, sRate, nRate, OtherRate, TotalRate, iWells, zWells, qOK,
                               iWAFType);
    });
}

void rvStreamSet::getWAFWellEfficiencies(Array<float>& WaterRates, Array<float>& Efficiencies,
                                         int32_t& NumWells, bool& qOK, int32_t iWellType,
                                         int32_t iType) const {
    NumWells = 0;
    qOK = false;
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellEfficiencies", [&](const rvWAFSet& set) {
        set.getWellEfficiencies(WaterRates, Efficiencies, NumWells, qOK, iWellType, iType);
    });
}

void rvStreamSet::getWAFWellEfficiency(int32_t iWell, float& WaterRate, float& Efficiency,
                                       bool& qOK, int32_t iType) const {
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellEfficiency", [&](const rvWAFSet& set) {
        set.getWellEfficiency(iWell, WaterRate, Efficiency, qOK, iType);
    });
}

void rvStreamSet::getWAFWellEfficiencyData(int32_t iWell, float& WaterRate, float& Efficiency,
                                           bool& qOK, int32_t iType) const {
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFWellEfficiencyData", [&](const rvWAFSet& set) {
        set.getWellEfficiency(iWell, WaterRate, Efficiency, qOK, iType);
    });
}

void rvStreamSet::getWAFInjectorWellNames(Array<std::string>& zWellNames, int32_t& NumWells,
                                          bool& qOK) const {
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFInjectorWellNames", [&](const rvWAFSet& set) {
        set.getInjectorWellNames(zWellNames, NumWells, qOK);
    });
}

void rvStreamSet::getWAFProducerWellNames(Array<std::string>& zWellNames, int32_t& NumWells,
                                          bool& qOK) const {
    forwardToWAF(WAF(), cWAF_, "rvStreamSet.getWAFProducerWellNames", [&](const rvWAFSet& set) {
        set.getProducerWellNames(zWellNames, NumWells, qOK);
    });
}

}  // namespace tkstream63
