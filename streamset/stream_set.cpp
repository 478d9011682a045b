// rvStreamSet: construction, the descriptive attributes and the attribute-code access.
#include "streamset/stream_set.hpp"

#include <algorithm>
#include <iterator>
#include <type_traits>

#include "common/errors.hpp"
#include "common/text.hpp"

namespace tkstream63 {

namespace {

constexpr const char* kSource = "rvStreamSet";

// Copies a text field out under the trap, so a failed copy is reported instead of escaping.
std::string readText(const std::string& field, const char* procedure) {
    std::string result;
    runTrapped(kSource, procedure, [&] { result = field; });
    return result;
}

}  // namespace

rvStreamSet::rvStreamSet() {
    Initialised_ = true;
    InitStreamLineSet();
}

void rvStreamSet::InitStreamLineSet() {
    // Descriptive attributes.
    FileName_.clear();
    TVGroupName_.clear();
    GroupName_.clear();
    UCaseGroupName_.clear();
    DataRootPath_.clear();
    TreeViewKey_.clear();
    UniqueKey_.clear();
    IsDirty_ = false;
    FileType_ = 0;
    TVDisplayRoot_.clear();
    UCaseTVDisplayRoot_.clear();
    SourceType_.clear();
    Origin_.clear();
    UCaseOrigin_.clear();
    DateStamp_.clear();
    DataClass_.clear();
    Units_ = 0;
    index_ = 0;
    iStart_ = 0;
    iEnd_ = 0;
    Unified_ = false;
    Formatted_ = false;
    AllData_ = true;
    SimulationTime_ = 0;
    SimulationEndTime_ = 0;
    MaxZones_ = 0;
    qAttributesFlag_ = true;
    iAttributesCount_ = 1;
    spareStreamlineCounter_ = 0;
    spareLongAfterStartYear_ = 0;
    spareLongAfterDRTMax_ = 0;
    spareLongBesideProducers_ = 0;
    spareLongBesideInjectors_ = 0;
    std::fill(std::begin(importCounters_), std::end(importCounters_), 0);

    // Streamline table (the column headers keep whatever they hold).
    MaxRows_ = 0;
    rowCapacity_ = 10000;
    NumberStreamlines_ = 0;
    pointerCount_ = 1;
    nDataColumns_ = 0;
    StreamLines_.redim(1, 1, 1, 1);
    iStreamLines_.redim(1, 1, 1, 1);
    startDay_ = 0;
    startMonth_ = 0;
    startYear_ = 0;

    // Grid and limits.
    GridSet_ = false;
    NX_ = NY_ = NZ_ = 0;
    xMin_ = xMax_ = yMin_ = yMax_ = zMin_ = zMax_ = 0;
    TOFMin_ = TOFMax_ = DRTMin_ = DRTMax_ = 0;

    // WAF attachment.
    WAF_ = false;
    cWAF_.reset();
    WAFType_ = 2;

    // Well table: wells 0 To 1, no well counted yet.
    nWellsAllocated_ = 1;
    NumberWells_ = -1;
    MaximumNumberWells_ = -1;
    iWellData_.redim(1, 4, 0, 1);
    bWellNames_.redim(1, 40, 0, 1);
    sWellData_.redim(1, 4, 0, 1);

    // Connections: one entry each, no producer or injector counted yet.
    NumberProducers_ = -1;
    NumberInjectors_ = -1;
    iProducers_.redim(1, 1, 0, 0);
    iInjectors_.redim(1, 1, 0, 0);
    iProducerSources_.redim(1, 1, 1, 1);
    iInjectorSinks_.redim(1, 1, 1, 1);
    nProducerSources_ = 0;
    nInjectorSinks_ = 0;
    nProducerSourcesUpper_ = 1;
    nInjectorSinksUpper_ = 1;

    // Well list: one empty element.
    zWellList_.redim(1, 1);
    iWellList_.redim(1, 1);
    WellListSet_ = false;
    UseWellList_ = false;
}

// ---- text properties ----

std::string rvStreamSet::FileName() const { return readText(FileName_, "rvStreamSet.FileName"); }
void rvStreamSet::FileName(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.FileName", [&] { FileName_ = value; });
}
std::string rvStreamSet::TVGroupName() const {
    return readText(TVGroupName_, "rvStreamSet.TVGroupName");
}
void rvStreamSet::TVGroupName(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.TVGroupName", [&] { TVGroupName_ = value; });
    identityWatchers_.notify();
}
std::string rvStreamSet::GroupName() const {
    return readText(GroupName_, "rvStreamSet.GroupName");
}
void rvStreamSet::GroupName(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.GroupName", [&] { assignGroupName(value); });
    identityWatchers_.notify();
}
std::string rvStreamSet::UCaseGroupName() const {
    return readText(UCaseGroupName_, "rvStreamSet.UCaseGroupName");
}
std::string rvStreamSet::DataRootPath() const {
    return readText(DataRootPath_, "rvStreamSet.DataRootPath");
}
void rvStreamSet::DataRootPath(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.DataRootPath", [&] { DataRootPath_ = value; });
}
std::string rvStreamSet::TreeViewKey() const {
    return readText(TreeViewKey_, "rvStreamSet.TreeViewKey");
}
void rvStreamSet::TreeViewKey(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.TreeViewKey", [&] { TreeViewKey_ = value; });
}
std::string rvStreamSet::UniqueKey() const {
    return readText(UniqueKey_, "rvStreamSet.UniqueKey");
}
void rvStreamSet::UniqueKey(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.UniqueKey", [&] { UniqueKey_ = value; });
}
std::string rvStreamSet::TVDisplayRoot() const {
    return readText(TVDisplayRoot_, "rvStreamSet.TVDisplayRoot");
}
void rvStreamSet::TVDisplayRoot(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.TVDisplayRoot", [&] { assignTVDisplayRoot(value); });
}
std::string rvStreamSet::UCaseTVDisplayRoot() const {
    return readText(UCaseTVDisplayRoot_, "rvStreamSet.UCaseTVDisplayRoot");
}
std::string rvStreamSet::SourceType() const {
    return readText(SourceType_, "rvStreamSet.SourceType");
}
void rvStreamSet::SourceType(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.SourceType", [&] { SourceType_ = value; });
}
std::string rvStreamSet::Origin() const { return readText(Origin_, "rvStreamSet.Origin"); }
void rvStreamSet::Origin(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.Origin", [&] { assignOrigin(value); });
    identityWatchers_.notify();
}
std::string rvStreamSet::UCaseOrigin() const {
    return readText(UCaseOrigin_, "rvStreamSet.UCaseOrigin");
}
std::string rvStreamSet::DateStamp() const {
    return readText(DateStamp_, "rvStreamSet.DateStamp");
}
void rvStreamSet::DateStamp(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.DateStamp", [&] { DateStamp_ = value; });
    identityWatchers_.notify();
}
std::string rvStreamSet::DataClass() const {
    return readText(DataClass_, "rvStreamSet.DataClass");
}
void rvStreamSet::DataClass(const std::string& value) {
    runTrapped(kSource, "rvStreamSet.DataClass", [&] { DataClass_ = value; });
}

// The upper-case copy is built before anything is stored, so a failure changes neither field.
void rvStreamSet::assignOrigin(const std::string& value) {
    std::string upper = UCase(value);
    Origin_ = value;
    UCaseOrigin_ = std::move(upper);
}
void rvStreamSet::assignGroupName(const std::string& value) {
    std::string upper = UCase(value);
    GroupName_ = value;
    UCaseGroupName_ = std::move(upper);
}
void rvStreamSet::assignTVDisplayRoot(const std::string& value) {
    std::string upper = UCase(value);
    TVDisplayRoot_ = value;
    UCaseTVDisplayRoot_ = std::move(upper);
}

// ---- scalar properties ----

bool rvStreamSet::Initialised() const noexcept { return Initialised_; }
bool rvStreamSet::IsDirty() const noexcept { return IsDirty_; }
void rvStreamSet::IsDirty(bool value) noexcept { IsDirty_ = value; }
int32_t rvStreamSet::FileType() const noexcept { return FileType_; }
void rvStreamSet::FileType(int32_t value) noexcept { FileType_ = value; }
int32_t rvStreamSet::Units() const noexcept { return Units_; }
void rvStreamSet::Units(int32_t value) noexcept { Units_ = value; }
int32_t rvStreamSet::index() const noexcept { return index_; }
void rvStreamSet::index(int32_t value) noexcept { index_ = value; }
int32_t rvStreamSet::iStart() const noexcept { return iStart_; }
void rvStreamSet::iStart(int32_t value) noexcept { iStart_ = value; }
int32_t rvStreamSet::iEnd() const noexcept { return iEnd_; }
void rvStreamSet::iEnd(int32_t value) noexcept { iEnd_ = value; }
bool rvStreamSet::Unified() const noexcept { return Unified_; }
void rvStreamSet::Unified(bool value) noexcept { Unified_ = value; }
bool rvStreamSet::Formatted() const noexcept { return Formatted_; }
void rvStreamSet::Formatted(bool value) noexcept { Formatted_ = value; }
bool rvStreamSet::AllData() const noexcept { return AllData_; }
void rvStreamSet::AllData(bool value) noexcept { AllData_ = value; }
float rvStreamSet::SimulationTime() const noexcept { return SimulationTime_; }
float rvStreamSet::SimulationEndTime() const noexcept { return SimulationEndTime_; }
void rvStreamSet::SimulationEndTime(float value) noexcept { SimulationEndTime_ = value; }
int32_t rvStreamSet::MaxZones() const noexcept { return MaxZones_; }
void rvStreamSet::MaxZones(int32_t value) noexcept {
    if (value > 0) MaxZones_ = value;
}
int32_t rvStreamSet::MaxRows() const noexcept { return MaxRows_; }
bool rvStreamSet::WAF() const noexcept { return WAF_; }
void rvStreamSet::WAF(bool value) noexcept { WAF_ = value; }
int32_t rvStreamSet::WAFType() const noexcept { return WAFType_; }
void rvStreamSet::WAFType(int32_t value) noexcept { WAFType_ = value; }

bool rvStreamSet::qAttributesFlag() const noexcept { return qAttributesFlag_; }
void rvStreamSet::qAttributesFlag(bool value) noexcept { qAttributesFlag_ = value; }
int32_t rvStreamSet::iAttributesCount() const noexcept { return iAttributesCount_; }
void rvStreamSet::iAttributesCount(int32_t value) noexcept { iAttributesCount_ = value; }

// ---- attribute codes ----

rvStreamSet::AttributeField rvStreamSet::attributeField(int32_t iType) {
    switch (iType) {
        case 1: return &Origin_;
        case 2: return &FileName_;
        case 3: return &SourceType_;
        case 4: return &DateStamp_;
        case 6: return &DataClass_;
        case 7: return &Units_;
        case 8: return &index_;
        case 9: return &iStart_;
        case 10: return &iEnd_;
        case 12: return &Unified_;
        case 13: return &Formatted_;
        case 16: return &nDataColumns_;
        case 18: return &TVGroupName_;
        case 19: return &GroupName_;
        case 20: return &DataRootPath_;
        case 21: return &UniqueKey_;
        case 22: return &IsDirty_;
        case 23: return &FileType_;
        case 24: return &TVDisplayRoot_;
        case 25: return &MaxRows_;
        case 40: return &SimulationTime_;
        case 55: return &UCaseTVDisplayRoot_;
        default: return std::monostate{};
    }
}

bool rvStreamSet::GetDataSetAttribute(int32_t iType, std::string& zAtt) {
    bool found = false;
    runTrapped(kSource, "rvStreamSet.GetDataSetAttribute", [&] {
        // Code 14 has no attribute yet answers True.
        if (iType == 14) {
            zAtt = "Unknown";
            found = true;
            return;
        }
        std::visit(
            [&](auto field) {
                using Field = decltype(field);
                if constexpr (std::is_same_v<Field, std::monostate>) {
                    zAtt = "Unknown";
                    return;
                } else if constexpr (std::is_same_v<Field, std::string*>) {
                    zAtt = *field;
                } else if constexpr (std::is_same_v<Field, int32_t*>) {
                    zAtt = longToText(*field);
                } else if constexpr (std::is_same_v<Field, bool*>) {
                    zAtt = booleanToText(*field);
                } else {
                    zAtt = singleToText(*field);
                }
                found = true;
            },
            attributeField(iType));
    });
    return found;
}

void rvStreamSet::SetDataSetAttribute(int32_t iType, std::string& zAtt) {
    runTrapped(kSource, "rvDataSet.SetDataSetAttribute", [&] {
        // UCaseTVDisplayRoot can be read by code but not written.
        if (iType == 55) return;
        // Each value is converted before it is stored, so bad text leaves the field alone.
        // The upper-case copies of codes 1, 19 and 24 are deliberately left as they are.
        std::visit(
            [&](auto field) {
                using Field = decltype(field);
                if constexpr (std::is_same_v<Field, std::string*>) {
                    *field = zAtt;
                } else if constexpr (std::is_same_v<Field, int32_t*>) {
                    *field = textToLong(zAtt);
                } else if constexpr (std::is_same_v<Field, bool*>) {
                    *field = textToBoolean(zAtt);
                } else if constexpr (std::is_same_v<Field, float*>) {
                    *field = textToSingle(zAtt);
                }
            },
            attributeField(iType));
    });
    if (iType == 1 || iType == 4 || iType == 18 || iType == 19) identityWatchers_.notify();
}

int32_t rvStreamSet::IndexFromTVKEY(std::string& zHeader) {
    int32_t result = 0;
    runTrapped(kSource, "rvDataSet.IndexFromTVKEY", [&] {
        // The comparison is with the dataset's own key, not with a column header, so the
        // answer is the first column or none.
        if (NumCols() >= 1 && zHeader == TreeViewKey_) result = 1;
    });
    return result;
}

// ---- identity watchers ----

void rvStreamSet::watchIdentity(IdentityWatcher& watcher, int32_t token) {
    identityWatchers_.add(watcher, token);
}
void rvStreamSet::unwatchIdentity(IdentityWatcher& watcher, int32_t token) noexcept {
    identityWatchers_.remove(watcher, token);
}

void rvStreamSet::IdentityWatchers::add(IdentityWatcher& watcher, int32_t token) {
    watchers_.emplace_back(&watcher, token);
}
void rvStreamSet::IdentityWatchers::remove(IdentityWatcher& watcher, int32_t token) noexcept {
    const auto found = std::find(watchers_.begin(), watchers_.end(), std::pair{&watcher, token});
    if (found == watchers_.end()) return;
    *found = watchers_.back();
    watchers_.pop_back();
}
void rvStreamSet::IdentityWatchers::notify() const noexcept {
    for (const auto& [watcher, token] : watchers_) watcher->identityChanged(token);
}

}  // namespace tkstream63
