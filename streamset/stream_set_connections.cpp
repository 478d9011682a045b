// rvStreamSet producer and injector connections: per producer the wells that feed it, per
// injector the wells it feeds, and the streamlines of each.
#include <numeric>
#include <string_view>

#include "common/errors.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {

namespace {

constexpr std::string_view kSource = "rvStreamSet";

// Well types that own a connection entry.
constexpr int32_t kProducerType = 1;
constexpr int32_t kInjectorType = 2;

// Rows of a connection entry.
constexpr int32_t kEntryFirstStreamline = 1;
constexpr int32_t kEntryStreamlineCount = 2;
constexpr int32_t kEntryLinkCount = 3;
constexpr int32_t kEntryWell = 4;
constexpr int32_t kEntryFirstLink = 5;
constexpr int32_t kEntryRows = 5;

// Modes of the private name lookup.
constexpr int32_t kLookupProducers = 1;
constexpr int32_t kLookupInjectors = 2;

// Rows of the well table.
constexpr int32_t kWellRowType = 1;
constexpr int32_t kWellRowIndex = 2;

}  // namespace

rvStreamSet::ConnectionTable rvStreamSet::producerTable() const {
    return {NumberProducers_, iProducers_, iProducerSources_, nProducerSources_};
}

rvStreamSet::ConnectionTable rvStreamSet::injectorTable() const {
    return {NumberInjectors_, iInjectors_, iInjectorSinks_, nInjectorSinks_};
}

void rvStreamSet::storeConnections(const Array<int32_t>& entries, int32_t nEntries,
                                   const Array<int32_t>& links, int32_t nLinks,
                                   Array<int32_t>& storedEntries, int32_t& storedCount,
                                   Array<int32_t>& storedLinks, int32_t& storedLinkCount,
                                   int32_t& storedLinkUpper) {
    // Entries count from 0 (entry 0 holds no well); links from 1.
    Array<int32_t> newEntries;
    Array<int32_t> newLinks;
    if (nEntries >= 0) replaceTable(newEntries, entries, 1, kEntryRows, 0, nEntries);
    if (nLinks > 0) replaceTable(newLinks, links, 1, kEntryRows, 1, nLinks);
    if (nEntries >= 0) storedEntries.swap(newEntries);
    if (nLinks > 0) {
        storedLinks.swap(newLinks);
        storedLinkUpper = nLinks;
    }
    storedCount = nEntries;
    storedLinkCount = nLinks;
}

void rvStreamSet::copyConnectionsOut(ConnectionTable table, Array<int32_t>& entries,
                                     int32_t& nEntries, Array<int32_t>& links, int32_t& nLinks) {
    Array<int32_t> entriesCopy = table.entries;
    Array<int32_t> linksCopy = table.links;
    entries.swap(entriesCopy);
    links.swap(linksCopy);
    nEntries = table.count;
    nLinks = table.linkCount;
}

void rvStreamSet::linkedWells(ConnectionTable table, int32_t iEntry, Array<int32_t>& iWells,
                              int32_t& nWells, bool& qOK) {
    if (!table.validEntry(iEntry)) return;
    nWells = table.entries(kEntryLinkCount, iEntry);
    if (nWells >= 1) {
        const int32_t first = table.entries(kEntryFirstLink, iEntry);
        // Both ends are checked before the caller's array changes.
        table.links.offsetOf(kEntryWell, first);
        const int32_t last = checkedLong(int64_t{first} + nWells - 1);
        table.links.offsetOf(kEntryWell, last);
        iWells.redim(1, nWells);
        for (int32_t k = 1; k <= nWells; ++k) iWells(k) = table.links(kEntryWell, first + k - 1);
    }
    qOK = true;
}

std::string rvStreamSet::entryWellName(ConnectionTable table, int32_t iEntry) const {
    if (!table.validEntry(iEntry)) return {};
    return getWellName(table.entries(kEntryWell, iEntry));
}

void rvStreamSet::entryWellNames(ConnectionTable table, Array<std::string>& zNames,
                                 int32_t& NumWells) const {
    NumWells = table.count;
    if (NumWells < 1) return;
    Array<std::string> names(1, NumWells);
    for (int32_t i = 1; i <= NumWells; ++i) names(i) = getWellName(table.entries(kEntryWell, i));
    zNames.swap(names);
}

void rvStreamSet::entryStreamLineNumbers(ConnectionTable table, int32_t iEntry,
                                         Array<int32_t>& iStream, int32_t& nStream,
                                         bool& qOK) const {
    if (!table.validEntry(iEntry)) return;
    const int32_t first = table.entries(kEntryFirstStreamline, iEntry);
    nStream = table.entries(kEntryStreamlineCount, iEntry);
    if (nStream >= 1) {
        // The streamlines of an entry lie together in the pointer table: their numbers are
        // the consecutive positions from the entry's first one.
        if (first < 1 || int64_t{first} + nStream - 1 > NumberStreamlines_) {
            raiseError(kErrSubscript);
        }
        iStream.redimForOverwrite(1, nStream);
        std::iota(iStream.data(), iStream.data() + nStream, first);
    }
    qOK = true;
}

// ---- public members ----

void rvStreamSet::setProducerData(const Array<int32_t>& Producers, int32_t nProducers,
                                  const Array<int32_t>& ProducerSources,
                                  int32_t NumProducerSources, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.SetProducerData", [&] {
        storeConnections(Producers, nProducers, ProducerSources, NumProducerSources, iProducers_,
                         NumberProducers_, iProducerSources_, nProducerSources_,
                         nProducerSourcesUpper_);
        qOK = true;
    });
}

void rvStreamSet::setInjectorData(const Array<int32_t>& Injectors, int32_t nInjectors,
                                  const Array<int32_t>& InjectorSinks, int32_t NumInjectorSinks,
                                  bool& qOK) {
    qOK = false;
    runTrapped(kSource, "rvStreamSet.SetInjectorData", [&] {
        storeConnections(Injectors, nInjectors, InjectorSinks, NumInjectorSinks, iInjectors_,
                         NumberInjectors_, iInjectorSinks_, nInjectorSinks_,
                         nInjectorSinksUpper_);
        qOK = true;
    });
}

void rvStreamSet::getProducerData(Array<int32_t>& Producers, int32_t& nProducers,
                                  Array<int32_t>& ProducerSources, int32_t& NumProducerSources,
                                  bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getProducerData", [&] {
        copyConnectionsOut(producerTable(), Producers, nProducers, ProducerSources,
                           NumProducerSources);
        qOK = true;
    });
}

void rvStreamSet::getInjectorData(Array<int32_t>& Injectors, int32_t& nInjectors,
                                  Array<int32_t>& InjectorSinks, int32_t& NumInjectorSinks,
                                  bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getInjectorData", [&] {
        copyConnectionsOut(injectorTable(), Injectors, nInjectors, InjectorSinks,
                           NumInjectorSinks);
        qOK = true;
    });
}

void rvStreamSet::getProducerConnections(int32_t iWell, Array<int32_t>& iSources,
                                         int32_t& nSources, bool& qOK) const {
    nSources = 0;
    qOK = false;
    runTrapped(kSource, "getProducerConnections",
               [&] { linkedWells(producerTable(), iWell, iSources, nSources, qOK); });
}

void rvStreamSet::getInjectorConnections(int32_t iWell, Array<int32_t>& iSinks, int32_t& nSinks,
                                         bool& qOK) const {
    nSinks = 0;
    qOK = false;
    runTrapped(kSource, "getInjectorConnections",
               [&] { linkedWells(injectorTable(), iWell, iSinks, nSinks, qOK); });
}

void rvStreamSet::getWellConnections(int32_t iWell, Array<int32_t>& iWells, int32_t& nWells,
                                     bool& qOK) const {
    nWells = 0;
    qOK = false;
    runTrapped(kSource, "getWellConnections", [&] {
        if (!validWellIndex(iWell)) return;
        const int32_t type = iWellData_(kWellRowType, iWell);
        const int32_t entry = iWellData_(kWellRowIndex, iWell);
        if (type == kProducerType) getProducerConnections(entry, iWells, nWells, qOK);
        if (type == kInjectorType) getInjectorConnections(entry, iWells, nWells, qOK);
    });
}

void rvStreamSet::getWellNameConnections(const std::string& zWell, Array<int32_t>& iWells,
                                         int32_t& nWells, bool& qOK) const {
    nWells = 0;
    qOK = false;
    runTrapped(kSource, "getWellNameConnections",
               [&] { getWellConnections(getWellNumber(zWell), iWells, nWells, qOK); });
}

std::string rvStreamSet::getProducerWellName(int32_t iWell) const {
    std::string name;
    runTrapped(kSource, "getProducerWellName",
               [&] { name = entryWellName(producerTable(), iWell); });
    return name;
}

std::string rvStreamSet::getInjectorWellName(int32_t iWell) const {
    std::string name;
    runTrapped(kSource, "getInjectorWellName",
               [&] { name = entryWellName(injectorTable(), iWell); });
    return name;
}

void rvStreamSet::getProducerWellNames(Array<std::string>& zProducers, int32_t& NumWells,
                                       bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getProducerWellNames", [&] {
        entryWellNames(producerTable(), zProducers, NumWells);
        qOK = true;
    });
}

void rvStreamSet::getInjectorWellNames(Array<std::string>& zInjectors, int32_t& NumWells,
                                       bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getInjectorWellNames", [&] {
        entryWellNames(injectorTable(), zInjectors, NumWells);
        qOK = true;
    });
}

void rvStreamSet::getWellStreamLineNumbers(int32_t iWell, Array<int32_t>& iStream,
                                           int32_t& nStream, bool& qOK) const {
    nStream = 0;
    qOK = false;
    runTrapped(kSource, "getWellStreamLineNumbers", [&] {
        if (!validWellIndex(iWell)) return;
        const int32_t type = iWellData_(kWellRowType, iWell);
        const int32_t entry = iWellData_(kWellRowIndex, iWell);
        if (type == kProducerType) {
            entryStreamLineNumbers(producerTable(), entry, iStream, nStream, qOK);
        }
        if (type == kInjectorType) {
            entryStreamLineNumbers(injectorTable(), entry, iStream, nStream, qOK);
        }
    });
}

void rvStreamSet::getWellNameStreamLineNumbers(const std::string& zWell, Array<int32_t>& iStream,
                                               int32_t& nStream, bool& qOK) const {
    nStream = 0;
    qOK = false;
    runTrapped(kSource, "getWellNameStreamLineNumbers", [&] {
        getWellStreamLineNumbers(getWellNumber(zWell), iStream, nStream, qOK);
    });
}

int32_t rvStreamSet::ProducerNumber(const std::string& zWell) const {
    int32_t well = -1;
    runTrapped(kSource, "ProducerNumber", [&] { well = getWellNumber(zWell, kLookupProducers); });
    return well;
}

int32_t rvStreamSet::InjectorNumber(const std::string& zWell) const {
    int32_t well = -1;
    runTrapped(kSource, "InjectorNumber", [&] { well = getWellNumber(zWell, kLookupInjectors); });
    return well;
}

void rvStreamSet::setProducers(bool& qOK) noexcept { qOK = true; }

}  // namespace tkstream63
