// rvStreamSet: internal members behind the store's per-dataset accessors. The WAF well list
// lives in the attached rvWAFSet (its well-list flags); the dataset keeps only the flag saying
// that one applies.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "common/errors.hpp"
#include "streamset/stream_set.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63 {

namespace {

constexpr const char* kSource = "rvStreamSet";

// The attached set; the WAF flag without a set is the object error.
rvWAFSet& attachedSet(const std::shared_ptr<rvWAFSet>& cWAF) {
    if (!cWAF) raiseError(kErrObjectNotSet);
    return *cWAF;
}

// Puts names into zList(1 .. n), keeping at least one element, and their count into NumWells.
void returnNames(const std::vector<std::string>& names, Array<std::string>& zList,
                 int32_t& NumWells) {
    const auto n = static_cast<int32_t>(names.size());
    zList.redim(1, std::max(n, 1));
    std::copy(names.begin(), names.end(), zList.data());
    NumWells = n;
}

}  // namespace

void rvStreamSet::WAFWellListSet(bool value) {
    runTrapped(kSource, "rvStreamSet.WAFWellListSet", [&] {
        if (WAF_) attachedSet(cWAF_).setWellListActive(value);
        WAFWellListSet_ = value;
    });
}

void rvStreamSet::InitWAFWellListByName(const Array<std::string>& zList, int32_t NumWells,
                                        bool& qOK) {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.InitWAFWellListByName", [&] {
        if (!WAF_) return;
        rvWAFSet& set = attachedSet(cWAF_);
        const bool listGiven = NumWells >= 1;
        if (listGiven) {
            bool named = false;
            set.setWellListNames(zList, NumWells, named);
            if (!named) return;
        }
        set.setWellListActive(listGiven);
        WAFWellListSet_ = listGiven;
        qOK = true;
    });
}

void rvStreamSet::getWAFWellList(Array<std::string>& zList, int32_t& NumWells, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.getWAFWellList", [&] {
        if (!WAF_) return;
        attachedSet(cWAF_).getWellListNames(zList, NumWells, qOK);
    });
}

void rvStreamSet::GetDefinedWAFWellNames(Array<std::string>& zList, int32_t& NumWells,
                                         bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.GetDefinedWAFWellNames", [&] {
        if (!WAF_) return;
        const rvWAFSet& set = attachedSet(cWAF_);
        std::vector<std::string> names;
        for (int32_t iWell = 1; iWell <= set.NumberWells(); ++iWell) {
            bool defined = false;
            bool known = false;
            set.getWellDefined(iWell, defined, known);
            if (!known || !defined) continue;
            std::string name;
            set.getWellName(iWell, name, known);
            names.push_back(std::move(name));
        }
        returnNames(names, zList, NumWells);
        qOK = true;
    });
}

}  // namespace tkstream63
