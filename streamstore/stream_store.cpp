// The dataset list: construction, keys, fetching, replacing, deleting and emptying.
#include "streamstore/stream_store.hpp"

#include "common/errors.hpp"
#include "common/shared_objects.hpp"

namespace tkstream63 {

rvStreamStore::rvStreamStore() { ReInitialise(); }

// Releasing the list releases every dataset that the store alone held; the index lets go of
// them first.
rvStreamStore::~rvStreamStore() { index_.clear(); }

int32_t rvStreamStore::NumberOfStreamSets() const { return iNextSlot_ - 1; }

void rvStreamStore::RootKey(const std::string& value) {
    runTrapped(kSource, "RootKey", [&] {
        RootKey_ = value;
        refreshFolderKey();
    });
}

void rvStreamStore::MainKey(const std::string& value) {
    runTrapped(kSource, "MainKey", [&] {
        MainKey_ = value;
        refreshFolderKey();
    });
}

void rvStreamStore::refreshFolderKey() {
    keyUtility().JoinKey(RootKey_, MainKey_, true, FolderKey_);
}

rvStreamSet& rvStreamStore::dataSetAt(int32_t iDataSet) const {
    if (iDataSet == iNextSlot_) spareUntouched_ = false;
    const auto& stored = slot(iDataSet);
    if (!stored) raiseError(kErrObjectNotSet);
    return *stored;
}

void rvStreamStore::requireDataSet(const std::shared_ptr<rvStreamSet>& cDataSet) {
    if (!cDataSet) raiseError(kErrObjectNotSet);
}

const std::shared_ptr<rvStreamSet>& rvStreamStore::handOut(int32_t iDataSet) {
    if (iDataSet == iNextSlot_) spareUntouched_ = false;
    return slot(iDataSet);
}

void rvStreamStore::emptyStore() {
    index_.clear();
    cDataSets_.assign(1, nullptr);
    iNextSlot_ = 1;
    spareUntouched_ = false;
}

void rvStreamStore::appendDataSet(const std::shared_ptr<rvStreamSet>& cDataSet, bool freshSpare) {
    // Everything that can fail comes before the first change. A fresh spare that nobody has
    // reached is still fresh, so it moves on rather than being replaced by another.
    const bool moveSpare = freshSpare && spareUntouched_ && slot(iNextSlot_).use_count() == 1;
    auto spare = freshSpare && !moveSpare ? std::make_shared<rvStreamSet>() : nullptr;
    cDataSets_.emplace_back();
    cDataSets_.back() = moveSpare ? std::move(slot(iNextSlot_)) : std::move(spare);
    spareUntouched_ = freshSpare;
    index_.put(iNextSlot_, *cDataSet);
    slot(iNextSlot_) = cDataSet;
    AddedDataSetPos_ = iNextSlot_;
    OverWrittenDataSet_ = false;
    ++iNextSlot_;
    qModified_ = true;
}

void rvStreamStore::putDataSet(int32_t iDataSet, const std::shared_ptr<rvStreamSet>& cDataSet) {
    // The spare slot is never examined by the sameness tests, so it is not filed.
    if (iDataSet < iNextSlot_) index_.put(iDataSet, *cDataSet);
    if (iDataSet == iNextSlot_) spareUntouched_ = false;
    slot(iDataSet) = cDataSet;
}

void rvStreamStore::AddItem(const std::shared_ptr<rvStreamSet>& cNewDataSet) {
    bool qOK = false;
    AddDataSet(cNewDataSet, qOK);
}

void rvStreamStore::AddItemAuto(const std::shared_ptr<rvStreamSet>& cNewDataSet) {
    runTrapped(kSource, "AddItemAuto", [&] {
        requireDataSet(cNewDataSet);
        int32_t clash = -1;
        bool renamed = false;
        CheckPreviouslyLoaded2(cNewDataSet, clash, renamed);
        appendDataSet(cNewDataSet, false);
    });
}

bool rvStreamStore::SetItem(int32_t iDataSet, const std::shared_ptr<rvStreamSet>& cStreamSet) {
    bool result = false;
    runTrapped(kSource, "SetItem", [&] {
        if (!ValidIndex(iDataSet)) return;
        requireDataSet(cStreamSet);
        putDataSet(iDataSet, cStreamSet);
        AddedDataSetPos_ = iDataSet;
        OverWrittenDataSet_ = true;
        result = true;
    });
    return result;
}

bool rvStreamStore::GetItem(int32_t iDataSet, std::shared_ptr<rvStreamSet>& cNewDataSet) {
    bool result = false;
    runTrapped(kSource, "GetFilename", [&] {
        if (!ValidIndex(iDataSet)) return;
        cNewDataSet = handOut(iDataSet);
        result = true;
    });
    return result;
}

bool rvStreamStore::GetDataSet(int32_t iDataSet, std::shared_ptr<rvStreamSet>& cStreamSet) {
    runTrapped(kSource, "GetDataSet", [&] {
        if (ValidIndex(iDataSet)) cStreamSet = handOut(iDataSet);
    });
    return true;
}

void rvStreamStore::DeleteItem(int32_t iDataSet) {
    runTrapped(kSource, "DeleteItem", [&] {
        if (!ValidIndex(iDataSet)) return;
        const int32_t n = NumberOfStreamSets();
        if (n < 2) {
            emptyStore();
            return;
        }
        // The survivors go into n - 1 places; naming the spare slot leaves n of them and the
        // last copy overruns (reported, store unchanged).
        std::vector<std::shared_ptr<rvStreamSet>> survivors(static_cast<size_t>(n - 1));
        size_t kept = 0;
        for (int32_t i = 1; i <= n; ++i) {
            if (i == iDataSet) continue;
            if (kept == survivors.size()) raiseError(kErrSubscript);
            survivors[kept++] = slot(i);
        }
        emptyStore();
        for (const auto& survivor : survivors) AddItem(survivor);
    });
}

void rvStreamStore::DeleteItems(const Array<int32_t>& iDataSet) {
    runTrapped(kSource, "DeleteItem", [&] {
        const int32_t n = NumberOfStreamSets();
        if (n < 2) {
            emptyStore();
            return;
        }
        const int32_t listEnd = iDataSet.ubound(1);
        const auto listed = [&](int32_t number) {
            for (int32_t k = 1; k <= listEnd; ++k) {
                if (iDataSet(k) == number) return true;
            }
            return false;
        };
        std::vector<std::shared_ptr<rvStreamSet>> kept;
        kept.reserve(static_cast<size_t>(n));
        int32_t j = 1;
        for (int32_t i = 1; i <= n; ++i) {
            // j < i, not j <= i: slot 1 is never copied.
            if (!listed(i) && j < i) {
                kept.push_back(slot(i));
                ++j;
            }
        }
        if (j < 2) {
            emptyStore();
            return;
        }
        if (j == iNextSlot_) return;
        kept.push_back(nullptr);  // the spare slot stays empty
        index_.clear();
        cDataSets_ = std::move(kept);
        iNextSlot_ = j;
        spareUntouched_ = false;
    });
}

void rvStreamStore::ReInitialise() {
    runTrapped(kSource, "ReInitialise", [&] {
        auto spare = std::make_shared<rvStreamSet>();
        index_.clear();
        cDataSets_.assign(1, std::move(spare));
        iNextSlot_ = 1;
        spareUntouched_ = true;
        qModified_ = false;
        AutomaticOverWrite_ = false;
        AutomaticRename_ = false;
        AutomaticCancel_ = false;
        CheckDataSetNames_ = true;
        OverWrittenDataSet_ = false;
    });
}

}  // namespace tkstream63
