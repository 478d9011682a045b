#include "streamstore/sameness_index.hpp"

#include <algorithm>
#include <functional>
#include <string_view>

#include "common/errors.hpp"
#include "common/shared_objects.hpp"

namespace tkstream63 {

namespace {

uint64_t combine(uint64_t hash, std::string_view text) {
    const uint64_t part = std::hash<std::string_view>{}(text);
    return hash ^ (part + 0x9e3779b97f4a7c15ULL + (hash << 6) + (hash >> 2));
}

// Texts that TextEquals calls equal hash alike.
uint64_t combineTextKey(uint64_t hash, const std::string& text) {
    return combine(hash, keyUtility().TextKey(text));
}

}  // namespace

uint64_t SamenessIndex::sameHash(const std::string& dateStamp, const std::string& origin,
                                 const std::string& tvGroupName) {
    return combine(combineTextKey(combineTextKey(kSame, dateStamp), origin), tvGroupName);
}

uint64_t SamenessIndex::clashHash(const std::string& groupName, const std::string& origin) {
    return combineTextKey(combineTextKey(kClash, groupName), origin);
}

void SamenessIndex::put(int32_t slot, rvStreamSet& dataSet) noexcept {
    if (!inStep_) return;
    try {
        const auto filed = static_cast<int32_t>(entries_.size());
        if (slot == filed + 1) {
            entries_.push_back({&dataSet});
        } else if (slot >= 1 && slot <= filed) {
            Entry& entry = entries_[static_cast<size_t>(slot - 1)];
            entry.dataSet->unwatchIdentity(*this, slot);
            eraseSlot(same_, entry.same, slot);
            eraseSlot(clash_, entry.clash, slot);
            entry.dataSet = &dataSet;
        } else {
            clear();
            return;
        }
        Entry& entry = entries_[static_cast<size_t>(slot - 1)];
        const auto texts = dataSet.identityTexts();
        entry.same = sameHash(texts.DateStamp, texts.Origin, texts.TVGroupName);
        entry.clash = clashHash(texts.GroupName, texts.Origin);
        insertSlot(same_, entry.same, slot);
        insertSlot(clash_, entry.clash, slot);
        dataSet.watchIdentity(*this, slot);
    } catch (...) {
        clear();
    }
}

void SamenessIndex::clear() noexcept {
    for (size_t k = 0; k < entries_.size(); ++k) {
        if (entries_[k].dataSet) entries_[k].dataSet->unwatchIdentity(*this, static_cast<int32_t>(k + 1));
    }
    entries_ = {};
    pending_ = {};
    same_ = {};
    clash_ = {};
    inStep_ = false;
    lostTrack_ = false;
}

void SamenessIndex::identityChanged(int32_t slot) noexcept {
    if (!inStep_ || slot < 1 || slot > static_cast<int32_t>(entries_.size())) return;
    Entry& entry = entries_[static_cast<size_t>(slot - 1)];
    if (entry.pending) return;
    try {
        pending_.push_back(slot);
        entry.pending = true;
    } catch (...) {
        lostTrack_ = true;  // the next lookup files everything afresh
    }
}

void SamenessIndex::bringInStep() {
    try {
        if (lostTrack_) clear();
        if (!inStep_) {
            fileAll();
            return;
        }
        for (const int32_t slot : pending_) refile(slot);
        pending_.clear();
    } catch (...) {
        clear();
        throw;
    }
}

void SamenessIndex::fileAll() {
    const auto n = static_cast<int32_t>(slots_.size()) - 1;
    entries_.reserve(static_cast<size_t>(std::max(n, 0)));
    same_.reserve(static_cast<size_t>(std::max(n, 0)));
    clash_.reserve(static_cast<size_t>(std::max(n, 0)));
    inStep_ = true;
    for (int32_t slot = 1; slot <= n; ++slot) {
        const auto& dataSet = slots_[static_cast<size_t>(slot - 1)];
        if (!dataSet) raiseError(kErrObjectNotSet);
        put(slot, *dataSet);
        if (!inStep_) raiseError(kErrOutOfMemory);
    }
}

void SamenessIndex::refile(int32_t slot) {
    Entry& entry = entries_[static_cast<size_t>(slot - 1)];
    entry.pending = false;
    const auto texts = entry.dataSet->identityTexts();
    const uint64_t same = sameHash(texts.DateStamp, texts.Origin, texts.TVGroupName);
    const uint64_t clash = clashHash(texts.GroupName, texts.Origin);
    if (same != entry.same) {
        eraseSlot(same_, entry.same, slot);
        entry.same = same;
        insertSlot(same_, same, slot);
    }
    if (clash != entry.clash) {
        eraseSlot(clash_, entry.clash, slot);
        entry.clash = clash;
        insertSlot(clash_, clash, slot);
    }
}

// Appends are the usual case and go at the end; other slots are placed in order.
void SamenessIndex::insertSlot(Lists& lists, uint64_t hash, int32_t slot) {
    auto& list = lists[hash];
    if (list.empty() || list.back() < slot) {
        list.push_back(slot);
        return;
    }
    const auto at = std::lower_bound(list.begin(), list.end(), slot);
    if (*at != slot) list.insert(at, slot);
}

void SamenessIndex::eraseSlot(Lists& lists, uint64_t hash, int32_t slot) noexcept {
    const auto found = lists.find(hash);
    if (found == lists.end()) return;
    auto& list = found->second;
    const auto at = std::lower_bound(list.begin(), list.end(), slot);
    if (at != list.end() && *at == slot) list.erase(at);
    if (list.empty()) lists.erase(found);
}

}  // namespace tkstream63
