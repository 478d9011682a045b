// Finding stored datasets by attribute values: all conditions must hold, values match
// case-insensitively and exactly.
#include <numeric>
#include <string>
#include <vector>

#include "common/errors.hpp"
#include "common/text.hpp"
#include "streamstore/stream_store.hpp"

namespace tkstream63 {

namespace {

constexpr int32_t kOriginCode = 1;
constexpr int32_t kSourceTypeCode = 3;
// Conditions on higher attribute codes are refused.
constexpr int32_t kHighestSearchCode = 14;
// Row 2 of a hit found by the full attribute test.
constexpr int32_t kMatchedFlag = -1;

}  // namespace

void rvStreamStore::SearchClear() {
    runTrapped(kSource, "SearchClear", [&] {
        nSearchAttributes_ = 0;
        iSearchAttribute_.redim(1, 1);
        zSearchValue_.redim(1, 1);
        iSearchPointers_.redim(1, 2, 1, 1);
        nSearchPointers_ = 0;
        iSearchDataSets_.redim(1, 1);
        nSearchDataSets_ = 0;
        SearchExitAfter1_ = false;
    });
}

void rvStreamStore::SearchAddAttribute(int32_t iAttribute, const std::string& zValue, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "SearchAddAttribute", [&] {
        if (iAttribute > kHighestSearchCode) return;
        for (int32_t k = 1; k <= nSearchAttributes_; ++k) {
            if (iSearchAttribute_(k) == iAttribute) {
                zSearchValue_(k) = zValue;
                qOK = true;
                return;
            }
        }
        const int32_t n = nSearchAttributes_ + 1;
        iSearchAttribute_.redimPreserve(1, n);
        zSearchValue_.redimPreserve(1, n);
        iSearchAttribute_(n) = iAttribute;
        zSearchValue_(n) = zValue;
        nSearchAttributes_ = n;
        qOK = true;
    });
}

void rvStreamStore::SearchDataSets(const Array<int32_t>& iDataSets, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "SearchDataSets", [&] {
        const int32_t n = iDataSets.ubound(1);
        if (n >= 1) {
            // Elements 1 .. n as one block; an array that does not hold them all is refused
            // before anything changes.
            Array<int32_t> chosen(1, n);
            copyBlock(iDataSets, iDataSets.offsetOf(1), chosen, 0, static_cast<size_t>(n));
            iSearchDataSets_ = std::move(chosen);
        }
        nSearchDataSets_ = n;
        qOK = true;
    });
}

void rvStreamStore::SearchCreatePointers(bool& qOK, int32_t /*iStart*/, bool /*qForward*/) {
    qOK = false;
    runTrapped(kSource, "SearchCreatePointers", [&] {
        if (nSearchAttributes_ == 0) return;
        std::vector<int32_t> candidates;
        if (nSearchDataSets_ >= 1) {
            const auto n = static_cast<size_t>(nSearchDataSets_);
            iSearchDataSets_.checkRun(0, n);
            candidates.assign(iSearchDataSets_.data(), iSearchDataSets_.data() + n);
        } else {
            candidates.resize(static_cast<size_t>(NumberOfStreamSets()));
            std::iota(candidates.begin(), candidates.end(), 1);
        }
        if (candidates.empty()) return;
        if (!SearchOrigin(candidates) || candidates.empty()) return;
        if (!SearchType(candidates) || candidates.empty()) return;

        bool onlyOriginAndType = nSearchAttributes_ < 3;
        for (int32_t k = 1; k <= nSearchAttributes_; ++k) {
            const int32_t code = iSearchAttribute_(k);
            if (code != kOriginCode && code != kSourceTypeCode) onlyOriginAndType = false;
        }
        if (onlyOriginAndType) {
            storeFastHits(candidates);
        } else {
            storeMatchingHits(candidates);
        }
        qOK = true;
    });
}

void rvStreamStore::SearchPointers(Array<int32_t>& iResults, int32_t& nResults, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "SearchPointers", [&] {
        nResults = nSearchPointers_;
        if (nResults > 0) {
            iResults.redimForOverwrite(1, 2, 1, nResults);
            copyBlock(iSearchPointers_, 0, iResults, 0, 2 * static_cast<size_t>(nResults));
        }
        qOK = true;
    });
}

template <class ReadUpperCased>
bool rvStreamStore::filterCandidates(std::string_view source, std::string_view procedure,
                                     int32_t code, std::vector<int32_t>& candidates,
                                     ReadUpperCased readUpperCased) const {
    return runTrapped(source, procedure, [&] {
        for (int32_t k = 1; k <= nSearchAttributes_; ++k) {
            if (iSearchAttribute_(k) != code) continue;
            const std::string wanted = UCase(zSearchValue_(k));
            std::erase_if(candidates, [&](int32_t number) {
                // Numbers outside the store cannot match; they are dropped quietly.
                return !isStoredDataSet(number) || readUpperCased(dataSetAt(number)) != wanted;
            });
        }
    });
}

bool rvStreamStore::SearchOrigin(std::vector<int32_t>& candidates) const {
    return filterCandidates(kSource, "SearchOrigin", kOriginCode, candidates,
                            [](rvStreamSet& cDataSet) { return cDataSet.UCaseOrigin(); });
}

bool rvStreamStore::SearchType(std::vector<int32_t>& candidates) const {
    return filterCandidates("rvSearchStore", "SearchType", kSourceTypeCode, candidates,
                            [](rvStreamSet& cDataSet) {
                                std::string sourceType;
                                cDataSet.GetDataSetAttribute(kSourceTypeCode, sourceType);
                                return UCase(sourceType);
                            });
}

void rvStreamStore::storeFastHits(const std::vector<int32_t>& candidates) {
    const auto rows = SearchExitAfter1_ ? 1 : static_cast<int32_t>(candidates.size());
    iSearchPointers_.redim(1, 2, 1, rows);
    int32_t* hits = iSearchPointers_.data();
    for (int32_t k = 0; k < rows; ++k) hits[2 * k] = candidates[static_cast<size_t>(k)];
    nSearchPointers_ = rows;
}

void rvStreamStore::storeMatchingHits(const std::vector<int32_t>& candidates) {
    const auto rows = SearchExitAfter1_ ? 1 : static_cast<int32_t>(candidates.size());
    iSearchPointers_.redim(1, 2, 1, rows);
    nSearchPointers_ = 0;

    std::vector<SearchCondition> conditions;
    conditions.reserve(static_cast<size_t>(nSearchAttributes_));
    for (int32_t k = 1; k <= nSearchAttributes_; ++k) {
        conditions.push_back({iSearchAttribute_(k), UCase(zSearchValue_(k))});
    }

    int32_t* hits = iSearchPointers_.data();
    for (const int32_t number : candidates) {
        if (!isStoredDataSet(number) || !matchesAllConditions(dataSetAt(number), conditions)) {
            continue;
        }
        hits[2 * nSearchPointers_] = number;
        hits[2 * nSearchPointers_ + 1] = kMatchedFlag;
        ++nSearchPointers_;
        if (SearchExitAfter1_) break;
    }
    if (nSearchPointers_ > 0 && nSearchPointers_ < rows) {
        iSearchPointers_.redimPreserve(1, 2, 1, nSearchPointers_);
    }
}

// A condition holds when the dataset cannot give the attribute or gives the wanted text; the
// first failing condition ends the test.
bool rvStreamStore::matchesAllConditions(rvStreamSet& cDataSet,
                                         const std::vector<SearchCondition>& conditions) {
    std::string text;
    for (const auto& condition : conditions) {
        text.clear();
        if (!cDataSet.GetDataSetAttribute(condition.code, text)) continue;
        if (UCase(text) != condition.upperValue) return false;
    }
    return true;
}

}  // namespace tkstream63
