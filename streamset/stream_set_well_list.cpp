// rvStreamSet well list: a named subset of wells the host works on, kept as given and resolved
// into this dataset's well numbers.
#include <algorithm>
#include <string_view>
#include <vector>

#include "common/errors.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {

namespace {

constexpr std::string_view kSource = "rvStreamSet";
constexpr int32_t kWellRowNotDefined = 3;

// Hands out a stored list with its upper bound, or a count of 0 when no list is set.
template <class T>
void copyStoredList(bool listSet, const Array<T>& stored, Array<T>& list, int32_t& nList) {
    if (!listSet) {
        nList = 0;
        return;
    }
    Array<T> copy = stored;
    list.swap(copy);
    nList = stored.ubound();
}

}  // namespace

void rvStreamSet::resolveWellList() {
    const int32_t nNames = zWellList_.ubound();
    std::vector<bool> listed(static_cast<size_t>(std::max(NumberWells_, 0)) + 1, false);
    for (int32_t k = 1; k <= nNames; ++k) {
        const int32_t well = getWellNumber(zWellList_(k));
        if (validWellIndex(well)) listed[static_cast<size_t>(well)] = true;
    }
    // Well order, not list order; unknown and repeated names leave trailing zeros.
    Array<int32_t> numbers(1, nNames);
    int32_t count = 0;
    for (int32_t well = 1; well <= NumberWells_; ++well) {
        if (listed[static_cast<size_t>(well)]) numbers(++count) = well;
    }
    iWellList_.swap(numbers);
}

void rvStreamSet::SetWellList(const Array<std::string>& zWellList, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.SetWellList", [&] {
        zWellList_ = zWellList;
        WellListSet_ = true;
        // A single empty name clears the list.
        if (zWellList_.ubound() == 1 && zWellList_(1).empty()) {
            WellListSet_ = false;
            return;
        }
        resolveWellList();
        // qOK stays False even now: hosts have always had that answer from a stored list.
    });
}

void rvStreamSet::GetWellList(Array<std::string>& zWellList, int32_t& nWellList,
                              bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "GetWellList", [&] {
        copyStoredList(WellListSet_, zWellList_, zWellList, nWellList);
        qOK = true;
    });
}

void rvStreamSet::GetWellListNumbers(Array<int32_t>& iWellList, int32_t& nWellList,
                                     bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "GetWellListNumbers", [&] {
        copyStoredList(WellListSet_, iWellList_, iWellList, nWellList);
        qOK = true;
    });
}

void rvStreamSet::GetWellDefinedAndInList(int32_t iWell, bool& qDefined, bool& qOK) const {
    qDefined = false;
    qOK = false;
    runTrapped(kSource, "GetWellDefinedAndInList", [&] {
        if (!validWellIndex(iWell)) return;
        const std::string name = getWellName(iWell);
        qDefined = iWellData_(kWellRowNotDefined, iWell) == 0;
        if (qDefined && WellListSet_) {
            // Looked up among the dataset's own well names, where the well always finds
            // itself; the stored list is not consulted.
            qDefined = false;
            Array<std::string> names;
            int32_t nNames = 0;
            bool namesOK = false;
            getWellNames(names, nNames, namesOK);
            for (int32_t i = 1; i <= nNames && namesOK; ++i) {
                if (names(i) == name) {
                    qDefined = true;
                    break;
                }
            }
        }
        qOK = true;
    });
}

}  // namespace tkstream63
