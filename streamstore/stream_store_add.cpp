// Adding datasets: the sameness tests, the renaming loop and the duplicate decision.
#include <string>
#include <vector>

#include "common/errors.hpp"
#include "common/shared_objects.hpp"
#include "streamstore/stream_store.hpp"

namespace tkstream63 {

namespace {

// Renaming gives up after this many suffixes and keeps the last one.
constexpr int32_t kRenameAttemptLimit = 100000;

// Buttons of the duplicate-name dialog, in the order their numbers are returned.
enum DuplicateChoice : int32_t {
    kOverwriteAll = 1,
    kRenameAll = 2,
    kCancelAll = 3,
    kOverwriteOne = 4,
    kRenameOne = 5,
};

constexpr int32_t kQuestionStyle = 32;

// TextEquals, skipped when the texts are identical (it answers True for those), the usual case
// for the candidates the index finds.
bool sameText(const KeyUtility& keys, const std::string& a, const std::string& b) {
    return a == b || keys.TextEquals(a, b);
}

}  // namespace

void rvStreamStore::AddDataSet(const std::shared_ptr<rvStreamSet>& cNewDataSet, bool& /*qOK*/) {
    runTrapped(kSource, "AddItem", [&] {
        requireDataSet(cNewDataSet);
        int32_t same = -1;
        bool checked = false;
        CheckPreviouslyLoaded(cNewDataSet, same, checked);
        if (same >= 1 && same < iNextSlot_ && !settleClash(same, cNewDataSet)) return;
        appendDataSet(cNewDataSet, true);
    });
}

bool rvStreamStore::settleClash(int32_t iDataSet, const std::shared_ptr<rvStreamSet>& cNewDataSet) {
    if (AutomaticOverWrite_) {
        overwriteDataSet(iDataSet, cNewDataSet);
        return false;
    }
    if (AutomaticRename_) {
        renameNewDataSet(cNewDataSet);
        return true;
    }
    if (AutomaticCancel_) return false;

    switch (askDuplicateChoice(*cNewDataSet)) {
        case kOverwriteAll:
            AutomaticOverWrite_ = true;
            [[fallthrough]];
        case kOverwriteOne:
            overwriteDataSet(iDataSet, cNewDataSet);
            return false;
        case kRenameAll:
            AutomaticRename_ = true;
            [[fallthrough]];
        case kRenameOne:
            renameNewDataSet(cNewDataSet);
            return true;
        case kCancelAll:
            AutomaticCancel_ = true;
            return false;
        default:  // "&Cancel", closed, or an answer that names no button
            return false;
    }
}

int32_t rvStreamStore::askDuplicateChoice(rvStreamSet& cNewDataSet) {
    static const std::vector<std::string> buttons = {"&Overwrite all", "&Rename all", "&Cancel all",
                                                     "&Overwrite",     "&Rename",     "&Cancel"};
    const std::string message =
        cNewDataSet.Origin() + " [" + cNewDataSet.GroupName() + "]\r\n\r\n Name currently in use.";
    int32_t choice = 0;
    duplicateNameDialog().ShowChoice(message, buttons, kQuestionStyle, "Duplicate Name", choice);
    return choice;
}

void rvStreamStore::overwriteDataSet(int32_t iDataSet,
                                     const std::shared_ptr<rvStreamSet>& cNewDataSet) {
    putDataSet(iDataSet, cNewDataSet);
    AddedDataSetPos_ = iDataSet;
    OverWrittenDataSet_ = true;
    qModified_ = true;
}

void rvStreamStore::renameNewDataSet(const std::shared_ptr<rvStreamSet>& cNewDataSet) {
    int32_t clash = -1;
    bool renamed = false;
    CheckPreviouslyLoaded2(cNewDataSet, clash, renamed);
}

void rvStreamStore::CheckPreviouslyLoaded(const std::shared_ptr<rvStreamSet>& cDataSet,
                                          int32_t& iDataSet, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "CheckPreviouslyLoaded", [&] {
        iDataSet = -1;
        if (!CheckDataSetNames_) return;
        requireDataSet(cDataSet);
        const std::string origin = cDataSet->Origin();
        const std::string tvGroupName = cDataSet->TVGroupName();
        const std::string dateStamp = cDataSet->DateStamp();
        const KeyUtility& keys = keyUtility();
        // The lowest stored dataset that passes the test; the index only narrows down where
        // to look.
        iDataSet = index_.lowest(SamenessIndex::kSame,
                                 SamenessIndex::sameHash(dateStamp, origin, tvGroupName),
                                 [&](int32_t i) {
                                     rvStreamSet& stored = dataSetAt(i);
                                     return sameText(keys, stored.DateStamp(), dateStamp) &&
                                            sameText(keys, stored.Origin(), origin) &&
                                            stored.TVGroupName() == tvGroupName;
                                 });
        qOK = true;
    });
}

void rvStreamStore::CheckPreviouslyLoaded2(const std::shared_ptr<rvStreamSet>& cDataSet,
                                           int32_t& iDataSet, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "CheckPreviouslyLoaded2", [&] {
        iDataSet = -1;
        requireDataSet(cDataSet);
        rvStreamSet& fresh = *cDataSet;
        const KeyUtility& keys = keyUtility();
        const std::string baseOrigin = fresh.Origin();
        const std::string groupName = fresh.GroupName();
        iDataSet = index_.lowest(SamenessIndex::kClash,
                                 SamenessIndex::clashHash(groupName, baseOrigin),
                                 [&](int32_t i) {
                                     rvStreamSet& stored = dataSetAt(i);
                                     return sameText(keys, stored.GroupName(), groupName) &&
                                            sameText(keys, stored.Origin(), baseOrigin);
                                 });
        if (iDataSet < 0) {
            qOK = true;
            return;
        }
        const std::string baseUniqueKey = fresh.UniqueKey();
        const std::string baseDisplayRoot = fresh.TVDisplayRoot();
        int32_t same = -1;
        bool checked = false;
        for (int32_t attempt = 1;; ++attempt) {
            const std::string suffix = std::to_string(attempt);
            fresh.Origin(baseOrigin + suffix);
            fresh.UniqueKey(baseUniqueKey + suffix);
            const std::string keyPath = keys.JoinKey(FolderKey_, fresh.UniqueKey(), true);
            fresh.DataRootPath(keys.JoinKey(keyPath, fresh.GroupName(), true));
            fresh.TVDisplayRoot(baseDisplayRoot + suffix);
            CheckPreviouslyLoaded(cDataSet, same, checked);
            if (same < 0 || !checked || attempt >= kRenameAttemptLimit) break;
        }
        qOK = checked;
    });
}

}  // namespace tkstream63
