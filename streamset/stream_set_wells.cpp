// rvStreamSet: the well table. Three parallel tables indexed by well number in their last
// dimension (slot 0 holds no well):
//   iWellData_  (1 To 4, 0 To n): type, index, not-defined marker (0 = defined), name length;
//   bWellNames_ (1 To 40, 0 To n): the name as Windows-1252 bytes;
//   sWellData_  (1 To 4, 0 To n): x, y, z, location-not-defined marker (0 = defined).
// The markers are inverted so that a row the table grows into counts as defined.
#include <algorithm>

#include "common/errors.hpp"
#include "common/text.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {

namespace {

constexpr const char* kSource = "rvStreamSet";
constexpr int32_t kMaxNameLength = static_cast<int32_t>(kMaxNameBytes);

// Rows of iWellData_ and of sWellData_.
enum WellIntegerRow : int32_t {
    kTypeRow = 1,
    kIndexRow = 2,
    kNotDefinedRow = 3,
    kNameLengthRow = 4
};
enum WellSingleRow : int32_t { kXRow = 1, kYRow = 2, kZRow = 3, kLocationNotDefinedRow = 4 };

}  // namespace

// ---- growth and lookup helpers ----

bool rvStreamSet::validWellIndex(int32_t iWell) const noexcept {
    return iWell >= 1 && iWell <= NumberWells();
}

void rvStreamSet::checkWells(int32_t NumWells, bool& qOK) {
    qOK = false;
    if (NumWells > NumberWells_) {
        if (NumWells > 0) {
            // Each table is re-allocated before the counts change: should one fail, the
            // tables already grown are merely larger than NumberWells needs.
            bWellNames_.redimPreserve(1, kMaxNameLength, 0, NumWells);
            iWellData_.redimPreserve(1, 4, 0, NumWells);
            sWellData_.redimPreserve(1, 4, 0, NumWells);
            nWellsAllocated_ = NumWells;
        }
        NumberWells_ = NumWells;
    }
    qOK = true;
}

std::string rvStreamSet::storedWellName(int32_t iWell) const {
    const int32_t length = std::min(iWellData_(kNameLengthRow, iWell), kMaxNameLength);
    if (length <= 0) return {};
    return fromAnsi(bWellNames_.data() + bWellNames_.offsetOf(1, iWell),
                    static_cast<size_t>(length));
}

bool rvStreamSet::storedWellNameIs(int32_t iWell, const std::string& zName,
                                   int32_t nameLength) const {
    const int32_t length = iWellData_(kNameLengthRow, iWell);
    return length >= 1 && length == nameLength && storedWellName(iWell) == zName;
}

int32_t rvStreamSet::getWellNumber(const std::string& zWell) const {
    int32_t result = -1;
    runTrapped(kSource, "rvStreamSet.getWellNumber", [&] {
        // Only the query is upper-cased; stored names are compared as they were given.
        const std::string query = UCase(zWell);
        const int32_t length = codePointLength(query);
        const int32_t count = NumberWells();
        for (int32_t iWell = 1; iWell <= count; ++iWell) {
            if (storedWellNameIs(iWell, query, length)) {
                result = iWell;
                return;
            }
        }
    });
    return result;
}

int32_t rvStreamSet::WellNumber(const std::string& zWell) const { return getWellNumber(zWell); }

int32_t rvStreamSet::getWellNumber(const std::string& zWell, int32_t iMode) const {
    const int32_t length = codePointLength(zWell);
    if (iMode == 1 || iMode == 2) {
        // Row 4 of a producer or injector entry is the number of its well.
        const Array<int32_t>& entries = iMode == 1 ? iProducers_ : iInjectors_;
        const int32_t count = iMode == 1 ? NumberProducers_ : NumberInjectors_;
        for (int32_t entry = 0; entry <= count; ++entry) {
            const int32_t iWell = entries(4, entry);
            if (storedWellNameIs(iWell, zWell, length)) return iWell;
        }
        return -1;
    }
    // This mode only tells whether the name exists: 0 when found.
    for (int32_t iWell = 0; iWell <= NumberWells_; ++iWell) {
        if (storedWellNameIs(iWell, zWell, length)) return 0;
    }
    return -1;
}

int32_t rvStreamSet::NumberWells() const noexcept { return NumberWells_; }
int32_t rvStreamSet::MaximumNumberWells() const noexcept { return MaximumNumberWells_; }
void rvStreamSet::MaximumNumberWells(int32_t value) noexcept { MaximumNumberWells_ = value; }

// ---- setters ----
// Each grows the table, then stores well after well reading the caller's array with checked
// access, so an array that ends early keeps the wells before the missing element.

template <class StoreWell>
void rvStreamSet::storeWells(const char* procedure, int32_t NumWells, bool& qOK,
                             StoreWell storeWell) {
    qOK = false;
    runTrapped(kSource, procedure, [&] {
        bool grown = false;
        checkWells(NumWells, grown);
        for (int32_t iWell = 1; iWell <= NumWells; ++iWell) storeWell(iWell);
        qOK = true;
    });
}

void rvStreamSet::setWellNames(const Array<std::string>& zWellNames, int32_t NumWells, bool& qOK) {
    storeWells("rvStreamSet.setWellNames", NumWells, qOK, [&](int32_t iWell) {
        const std::string& name = zWellNames(iWell);
        const int32_t length = std::min(codePointLength(name), kMaxNameLength);
        if (length == 0) return;  // an empty name keeps the earlier one
        const std::string bytes = toAnsi(name, static_cast<size_t>(length));
        bWellNames_.copyIn(bWellNames_.offsetOf(1, iWell),
                           reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        iWellData_(kNameLengthRow, iWell) = static_cast<int32_t>(bytes.size());
    });
}

void rvStreamSet::setWellIndex(const Array<int32_t>& iWellIndex, int32_t NumWells, bool& qOK) {
    storeWells("rvStreamSet.setWellIndex", NumWells, qOK,
               [&](int32_t iWell) { iWellData_(kIndexRow, iWell) = iWellIndex(iWell); });
}

void rvStreamSet::setWellTypes(const Array<int32_t>& iWellTypes, int32_t NumWells, bool& qOK) {
    storeWells("rvStreamSet.setWellTypes", NumWells, qOK,
               [&](int32_t iWell) { iWellData_(kTypeRow, iWell) = iWellTypes(iWell); });
}

void rvStreamSet::setWellDefined(const Array<bool>& qWells, int32_t NumWells, bool& qOK) {
    storeWells("rvStreamSet.setWellDefined", NumWells, qOK, [&](int32_t iWell) {
        iWellData_(kNotDefinedRow, iWell) = qWells(iWell) ? 0 : 1;
    });
}

void rvStreamSet::setWellLocations(const Array<float>& xPos, const Array<float>& yPos,
                                   const Array<float>& zPos, int32_t NumWells, bool& qOK) {
    storeWells("rvStreamSet.setWellLocations", NumWells, qOK, [&](int32_t iWell) {
        sWellData_(kXRow, iWell) = xPos(iWell);
        sWellData_(kYRow, iWell) = yPos(iWell);
        sWellData_(kZRow, iWell) = zPos(iWell);
    });
}

void rvStreamSet::setWellLocationsDefined(const Array<bool>& qWells, int32_t NumWells, bool& qOK) {
    // Reported under the name of its sibling, as the host knows it.
    storeWells("rvStreamSet.setWellDefined", NumWells, qOK, [&](int32_t iWell) {
        sWellData_(kLocationNotDefinedRow, iWell) = qWells(iWell) ? 0.0f : 1.0f;
    });
}

// ---- getters by well number ----

std::string rvStreamSet::getWellName(int32_t iWell) const {
    std::string name;
    runTrapped(kSource, "rvStreamSet.getWellName", [&] {
        if (validWellIndex(iWell)) name = storedWellName(iWell);
    });
    return name;
}

void rvStreamSet::getWellType(int32_t iWell, int32_t& iType, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.getWellType", [&] {
        // Unlike its siblings this answers qOK True for an invalid number too.
        if (validWellIndex(iWell)) iType = iWellData_(kTypeRow, iWell);
        qOK = true;
    });
}

void rvStreamSet::getWellDefined(int32_t iWell, bool& qDefined, bool& qOK) const {
    qOK = false;
    qDefined = false;
    runTrapped(kSource, "rvStreamSet.getWellDefined", [&] {
        if (!validWellIndex(iWell)) return;
        qDefined = iWellData_(kNotDefinedRow, iWell) == 0;
        qOK = true;
    });
}

void rvStreamSet::getWellLocation(int32_t iWell, float& xPos, float& yPos, float& zPos,
                                  bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.getWellLocation", [&] {
        if (!validWellIndex(iWell)) return;
        xPos = sWellData_(kXRow, iWell);
        yPos = sWellData_(kYRow, iWell);
        zPos = sWellData_(kZRow, iWell);
        qOK = true;
    });
}

void rvStreamSet::getWellLocationDefined(int32_t iWell, bool& qDefined, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.getWellLocationDefined", [&] {
        if (!validWellIndex(iWell)) return;
        qDefined = sWellData_(kLocationNotDefinedRow, iWell) == 0.0f;
        qOK = true;
    });
}

// ---- getters by well name: an unknown name (-1) is an invalid number for the twin ----

void rvStreamSet::getWellNameType(const std::string& zWell, int32_t& iType, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.getWellNameType", [&] {
        // getWellType would answer qOK True for the unknown name; the by-name form does not.
        const int32_t iWell = getWellNumber(zWell);
        if (validWellIndex(iWell)) getWellType(iWell, iType, qOK);
    });
}

void rvStreamSet::getWellNameDefined(const std::string& zWell, bool& qDefined, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.getWellNameDefined",
               [&] { getWellDefined(getWellNumber(zWell), qDefined, qOK); });
}

void rvStreamSet::getWellNameLocation(const std::string& zWell, float& xPos, float& yPos,
                                      float& zPos, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.getWellNameLocation",
               [&] { getWellLocation(getWellNumber(zWell), xPos, yPos, zPos, qOK); });
}

void rvStreamSet::getWellNameLocationDefined(const std::string& zWell, bool& qDefined,
                                             bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.getWellNameLocationDefined",
               [&] { getWellLocationDefined(getWellNumber(zWell), qDefined, qOK); });
}

// ---- whole-table getters ----

namespace {

// The common course of the whole-table getters, under the trap: NumWells = wellCount, and
// only when that is above 0 fill(NumWells); then qOK True.
template <class Fill>
void runTableGetter(const char* procedure, int32_t wellCount, int32_t& NumWells, bool& qOK,
                    Fill fill) {
    qOK = false;
    runTrapped(kSource, procedure, [&] {
        NumWells = wellCount;
        if (NumWells > 0) fill(NumWells);
        qOK = true;
    });
}

// Sizes output to (1 To count) and sets element i to valueOf(i).
template <class T, class ValueOf>
void fillPerWell(Array<T>& output, int32_t count, ValueOf valueOf) {
    output.redim(1, count);
    for (int32_t iWell = 1; iWell <= count; ++iWell) output(iWell) = valueOf(iWell);
}

}  // namespace

void rvStreamSet::getWellNames(Array<std::string>& zWellNames, int32_t& NumWells, bool& qOK) const {
    runTableGetter("rvStreamSet.getWellNames", NumberWells_, NumWells, qOK, [&](int32_t count) {
        fillPerWell(zWellNames, count, [&](int32_t iWell) { return storedWellName(iWell); });
    });
}

void rvStreamSet::getWellTypes(Array<int32_t>& iWellTypes, int32_t& NumWells, bool& qOK) const {
    runTableGetter("rvStreamSet.getWellTypes", NumberWells_, NumWells, qOK, [&](int32_t count) {
        fillPerWell(iWellTypes, count, [&](int32_t iWell) { return iWellData_(kTypeRow, iWell); });
    });
}

void rvStreamSet::getWellsDefined(Array<bool>& qWells, int32_t& NumWells, bool& qOK) const {
    runTableGetter("rvStreamSet.getWellsDefined", NumberWells_, NumWells, qOK, [&](int32_t count) {
        fillPerWell(qWells, count,
                    [&](int32_t iWell) { return iWellData_(kNotDefinedRow, iWell) == 0; });
    });
}

void rvStreamSet::getWellLocations(Array<float>& xPos, Array<float>& yPos, Array<float>& zPos,
                                   int32_t& NumWells, bool& qOK) const {
    runTableGetter("rvStreamSet.getWellLocations", NumberWells_, NumWells, qOK, [&](int32_t count) {
        fillPerWell(xPos, count, [&](int32_t iWell) { return sWellData_(kXRow, iWell); });
        fillPerWell(yPos, count, [&](int32_t iWell) { return sWellData_(kYRow, iWell); });
        fillPerWell(zPos, count, [&](int32_t iWell) { return sWellData_(kZRow, iWell); });
    });
}

void rvStreamSet::getWellLocationsDefined(Array<bool>& qWells, int32_t& NumWells,
                                          bool& qOK) const {
    runTableGetter("rvStreamSet.getWellLocationsDefined", NumberWells_, NumWells, qOK,
                   [&](int32_t count) {
                       fillPerWell(qWells, count, [&](int32_t iWell) {
                           return sWellData_(kLocationNotDefinedRow, iWell) == 0.0f;
                       });
                   });
}

// ---- lists ----

void rvStreamSet::getListOfWellNumbers(const Array<std::string>& zWellNames, int32_t NumWells,
                                       Array<int32_t>& iWells, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.getListOfWellNumbers", [&] {
        for (int32_t i = 1; i <= NumWells; ++i) iWells(i) = getWellNumber(zWellNames(i));
        qOK = true;
    });
}

void rvStreamSet::getListOfWellNames(const Array<int32_t>& iWells, int32_t NumWells,
                                     Array<std::string>& zWellNames, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.getListOfWellNames", [&] {
        zWellNames.redim(1, NumWells);
        for (int32_t i = 1; i <= NumWells; ++i) zWellNames(i) = getWellName(iWells(i));
        qOK = true;
    });
}

}  // namespace tkstream63
