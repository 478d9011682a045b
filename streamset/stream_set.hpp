// rvStreamSet: one streamline dataset held in memory for the host.
//
// The class is split by topic; each topic keeps its members and fields in its own section below
// and its code in its own stream_set_<topic>.cpp file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/bounded_array.hpp"
#include "common/variant.hpp"

namespace tkstream63 {

class rvWAFSet;
class RecordIO;
class RecordFile;

class rvStreamSet {
public:
    rvStreamSet();

    // ==== attributes: identity, description, attribute codes ====
public:
    // Properties. Scalar ones only copy a field and cannot fail; text ones run under the error
    // trap, so a failed copy is reported and the field keeps its old value.
    bool Initialised() const noexcept;
    std::string FileName() const;
    void FileName(const std::string& value);
    std::string TVGroupName() const;
    void TVGroupName(const std::string& value);  // no upper-case copy
    std::string GroupName() const;
    void GroupName(const std::string& value);  // also refreshes UCaseGroupName
    std::string UCaseGroupName() const;
    std::string DataRootPath() const;
    void DataRootPath(const std::string& value);
    std::string TreeViewKey() const;
    void TreeViewKey(const std::string& value);
    std::string UniqueKey() const;
    void UniqueKey(const std::string& value);
    bool IsDirty() const noexcept;
    void IsDirty(bool value) noexcept;
    int32_t FileType() const noexcept;
    void FileType(int32_t value) noexcept;
    std::string TVDisplayRoot() const;
    void TVDisplayRoot(const std::string& value);  // also refreshes UCaseTVDisplayRoot
    std::string UCaseTVDisplayRoot() const;
    std::string SourceType() const;
    void SourceType(const std::string& value);
    std::string Origin() const;
    void Origin(const std::string& value);  // also refreshes UCaseOrigin
    std::string UCaseOrigin() const;
    std::string DateStamp() const;
    void DateStamp(const std::string& value);
    std::string DataClass() const;
    void DataClass(const std::string& value);
    int32_t Units() const noexcept;
    void Units(int32_t value) noexcept;
    int32_t index() const noexcept;
    void index(int32_t value) noexcept;
    int32_t iStart() const noexcept;
    void iStart(int32_t value) noexcept;
    int32_t iEnd() const noexcept;
    void iEnd(int32_t value) noexcept;
    bool Unified() const noexcept;
    void Unified(bool value) noexcept;
    bool Formatted() const noexcept;
    void Formatted(bool value) noexcept;
    bool AllData() const noexcept;
    void AllData(bool value) noexcept;
    float SimulationTime() const noexcept;  // set through attribute code 40 or the vector
    float SimulationEndTime() const noexcept;
    void SimulationEndTime(float value) noexcept;
    int32_t MaxZones() const noexcept;
    void MaxZones(int32_t value) noexcept;  // 0 or less is ignored
    int32_t MaxRows() const noexcept;
    // The WAF flag and type. Setting the flag does not attach or detach a WAF set.
    bool WAF() const noexcept;
    void WAF(bool value) noexcept;
    int32_t WAFType() const noexcept;
    void WAFType(int32_t value) noexcept;

    // Generic text access by attribute code (1 to 55), used by the store. Numbers and Booleans
    // travel as longToText/singleToText/booleanToText text and are read back with the matching
    // textTo... parser. Codes 1, 19 and 24 store only the plain field and leave its upper-case
    // copy as the last property write made it; code 14 answers "Unknown" with True.
    bool GetDataSetAttribute(int32_t iType, std::string& zAtt);
    void SetDataSetAttribute(int32_t iType, std::string& zAtt);
    // 1 when NumCols is at least 1 and zHeader equals this dataset's TreeViewKey, else 0.
    int32_t IndexFromTVKEY(std::string& zHeader);

    // ---- internal: for the other classes of the library only ----
    bool qAttributesFlag() const noexcept;
    void qAttributesFlag(bool value) noexcept;
    int32_t iAttributesCount() const noexcept;
    void iAttributesCount(int32_t value) noexcept;

    // Origin, GroupName, TVGroupName and DateStamp decide whether the store calls two datasets
    // the same. An index of them registers here, once for each place it files this dataset
    // under (the token), and hears after every change that may have touched one of the four,
    // whichever member made it: the properties, SetDataSetAttribute, the attribute vector, the
    // binary import and assignment of a whole dataset.
    class IdentityWatcher {
    public:
        virtual void identityChanged(int32_t token) noexcept = 0;

    protected:
        ~IdentityWatcher() = default;
    };
    void watchIdentity(IdentityWatcher& watcher, int32_t token);
    void unwatchIdentity(IdentityWatcher& watcher, int32_t token) noexcept;
    // The four texts as stored, without copying.
    struct IdentityTexts {
        const std::string& Origin;
        const std::string& GroupName;
        const std::string& TVGroupName;
        const std::string& DateStamp;
    };
    IdentityTexts identityTexts() const noexcept {
        return {Origin_, GroupName_, TVGroupName_, DateStamp_};
    }

private:
    // The registered watchers. A copy of a dataset starts unwatched; assigning a whole dataset
    // over a watched one keeps its watchers and tells them.
    class IdentityWatchers {
    public:
        IdentityWatchers() = default;
        IdentityWatchers(const IdentityWatchers&) noexcept {}
        IdentityWatchers& operator=(const IdentityWatchers&) noexcept {
            notify();
            return *this;
        }
        void add(IdentityWatcher& watcher, int32_t token);
        void remove(IdentityWatcher& watcher, int32_t token) noexcept;
        void notify() const noexcept;

    private:
        std::vector<std::pair<IdentityWatcher*, int32_t>> watchers_;
    };
    IdentityWatchers identityWatchers_;

    // Puts every field back to its construction default (the column headers excepted).
    void InitStreamLineSet();
    void assignOrigin(const std::string& value);
    void assignGroupName(const std::string& value);
    void assignTVDisplayRoot(const std::string& value);
    // The field behind an attribute code; empty for a code without one (14 included).
    using AttributeField = std::variant<std::monostate, std::string*, int32_t*, bool*, float*>;
    AttributeField attributeField(int32_t iType);

    bool Initialised_ = true;
    std::string FileName_;
    std::string TVGroupName_;
    std::string GroupName_;
    std::string UCaseGroupName_;
    std::string DataRootPath_;
    std::string TreeViewKey_;
    std::string UniqueKey_;
    bool IsDirty_ = false;
    int32_t FileType_ = 0;
    std::string TVDisplayRoot_;
    std::string UCaseTVDisplayRoot_;
    std::string SourceType_;
    std::string Origin_;
    std::string UCaseOrigin_;
    std::string DateStamp_;
    std::string DataClass_;
    int32_t Units_ = 0;
    int32_t index_ = 0;
    int32_t iStart_ = 0;
    int32_t iEnd_ = 0;
    bool Unified_ = false;
    bool Formatted_ = false;
    bool AllData_ = true;
    float SimulationTime_ = 0;
    float SimulationEndTime_ = 0;
    int32_t MaxZones_ = 0;
    // Library-internal state.
    bool qAttributesFlag_ = true;
    int32_t iAttributesCount_ = 1;
    // ==== end attributes ====

    // ==== grid dimensions and limits ====
public:
    // The host's grid size and ranges, stored and returned as given (nothing is checked).
    // These only copy scalars: they cannot fail and always end with qOK True.
    void setGridDimension(int32_t NX, int32_t NY, int32_t NZ, bool& qOK) noexcept;
    void getGridDimension(int32_t& NX, int32_t& NY, int32_t& NZ, bool& qOK) const noexcept;
    void setLimits(float xMin, float xMax, float yMin, float yMax, float zMin, float zMax,
                   bool& qOK) noexcept;
    void getLimits(float& xMin, float& xMax, float& yMin, float& yMax, float& zMin, float& zMax,
                   bool& qOK) const noexcept;
    void setTOFLimits(float TOFMin, float TOFMax, bool& qOK) noexcept;
    void getTOFLimits(float& TOFMin, float& TOFMax, bool& qOK) const noexcept;
    void setDRTLimits(float DRTMin, float DRTMax, bool& qOK) noexcept;
    void getDRTLimits(float& DRTMin, float& DRTMax, bool& qOK) const noexcept;
    // True once setGridDimension has run; never cleared.
    bool GridSet() const noexcept;

private:
    bool GridSet_ = false;
    int32_t NX_ = 0, NY_ = 0, NZ_ = 0;
    float xMin_ = 0, xMax_ = 0, yMin_ = 0, yMax_ = 0, zMin_ = 0, zMax_ = 0;
    float TOFMin_ = 0, TOFMax_ = 0, DRTMin_ = 0, DRTMax_ = 0;
    // ==== end grid ====

    // ==== well table ====
public:
    // Setters grow the table to NumWells wells (it never shrinks) and copy elements
    // 1 To NumWells of the caller's arrays. A caller's array that ends early stores the wells
    // before the missing element and reports "Subscript out of range" with qOK False.
    // Names are cut to 40 characters and held as single-byte (Windows-1252) text; an empty
    // name keeps the well's earlier name.
    void setWellNames(const Array<std::string>& zWellNames, int32_t NumWells, bool& qOK);
    void setWellIndex(const Array<int32_t>& iWellIndex, int32_t NumWells, bool& qOK);
    void setWellTypes(const Array<int32_t>& iWellTypes, int32_t NumWells, bool& qOK);
    void setWellDefined(const Array<bool>& qWells, int32_t NumWells, bool& qOK);
    void setWellLocations(const Array<float>& xPos, const Array<float>& yPos,
                          const Array<float>& zPos, int32_t NumWells, bool& qOK);
    void setWellLocationsDefined(const Array<bool>& qWells, int32_t NumWells, bool& qOK);

    // Getters by well number (1 To NumberWells). An invalid number leaves the outputs alone and
    // qOK False, except getWellType, which answers qOK True for any number.
    std::string getWellName(int32_t iWell) const;  // "" for an invalid number or no name
    void getWellType(int32_t iWell, int32_t& iType, bool& qOK) const;
    void getWellDefined(int32_t iWell, bool& qDefined, bool& qOK) const;  // qDefined False first
    void getWellLocation(int32_t iWell, float& xPos, float& yPos, float& zPos, bool& qOK) const;
    void getWellLocationDefined(int32_t iWell, bool& qDefined, bool& qOK) const;

    // Getters by well name, resolved with getWellNumber; an unknown name leaves qOK False.
    void getWellNameType(const std::string& zWell, int32_t& iType, bool& qOK) const;
    void getWellNameDefined(const std::string& zWell, bool& qDefined, bool& qOK) const;
    void getWellNameLocation(const std::string& zWell, float& xPos, float& yPos, float& zPos,
                             bool& qOK) const;
    void getWellNameLocationDefined(const std::string& zWell, bool& qDefined, bool& qOK) const;

    // Whole-table getters: NumWells = NumberWells; when it is above 0 the arrays are
    // re-dimensioned to (1 To NumWells) and filled, otherwise they are left alone.
    void getWellNames(Array<std::string>& zWellNames, int32_t& NumWells, bool& qOK) const;
    void getWellTypes(Array<int32_t>& iWellTypes, int32_t& NumWells, bool& qOK) const;
    void getWellsDefined(Array<bool>& qWells, int32_t& NumWells, bool& qOK) const;
    void getWellLocations(Array<float>& xPos, Array<float>& yPos, Array<float>& zPos,
                          int32_t& NumWells, bool& qOK) const;
    void getWellLocationsDefined(Array<bool>& qWells, int32_t& NumWells, bool& qOK) const;

    // iWells(i) = getWellNumber(zWellNames(i)); the caller sizes iWells.
    void getListOfWellNumbers(const Array<std::string>& zWellNames, int32_t NumWells,
                              Array<int32_t>& iWells, bool& qOK) const;
    // zWellNames is re-dimensioned to (1 To NumWells); "" for an invalid number.
    void getListOfWellNames(const Array<int32_t>& iWells, int32_t NumWells,
                            Array<std::string>& zWellNames, bool& qOK) const;

    // Number of the first well whose stored name equals the upper-cased query, or -1. Only the
    // query is upper-cased, so a stored name with a lower-case letter is never found.
    int32_t getWellNumber(const std::string& zWell) const;
    int32_t WellNumber(const std::string& zWell) const;  // the same lookup as a property

    int32_t NumberWells() const noexcept;
    int32_t MaximumNumberWells() const noexcept;
    void MaximumNumberWells(int32_t value) noexcept;  // stored only, never enforced

private:
    // Name lookup without upper-casing, for ProducerNumber (iMode 1: producer entries) and
    // InjectorNumber (iMode 2: injector entries); both answer the well number of the first
    // matching entry. Any other mode searches wells 0 To NumberWells and answers 0 when found.
    // Every mode answers -1 when nothing matches. An entry naming a well outside the table
    // raises "Subscript out of range" for the caller's trap.
    int32_t getWellNumber(const std::string& zWell, int32_t iMode) const;
    friend struct WellLookupTestAccess;  // the tests reach the mode-based lookup through it
    bool validWellIndex(int32_t iWell) const noexcept;
    // Grows the tables to NumWells wells when that is more than NumberWells.
    void checkWells(int32_t NumWells, bool& qOK);
    // The common course of the setters, under the trap: checkWells, then storeWell(i) for
    // i = 1 To NumWells, then qOK True.
    template <class StoreWell>
    void storeWells(const char* procedure, int32_t NumWells, bool& qOK, StoreWell storeWell);
    // Well iWell's stored name back in UTF-8.
    std::string storedWellName(int32_t iWell) const;
    // True when well iWell has a stored name of nameLength (>= 1) characters equal to zName.
    bool storedWellNameIs(int32_t iWell, const std::string& zName, int32_t nameLength) const;

    int32_t NumberWells_ = -1;
    int32_t MaximumNumberWells_ = -1;
    int32_t nWellsAllocated_ = 1;
    Array<int32_t> iWellData_{1, 4, 0, 1};
    Array<uint8_t> bWellNames_{1, 40, 0, 1};
    Array<float> sWellData_{1, 4, 0, 1};
    // ==== end well table ====

    // ==== producer and injector connections ====
public:
    // Entry i of the producer table: row 1 first streamline (position in the pointer table),
    // row 2 streamline count, row 3 source count, row 4 well number, row 5 first source.
    // The caller's tables are (1 To 5, 0 To nProducers) and (1 To 5, 1 To NumProducerSources);
    // a table smaller than its count leaves everything stored as it was.
    void setProducerData(const Array<int32_t>& Producers, int32_t nProducers,
                         const Array<int32_t>& ProducerSources, int32_t NumProducerSources,
                         bool& qOK);
    void setInjectorData(const Array<int32_t>& Injectors, int32_t nInjectors,
                         const Array<int32_t>& InjectorSinks, int32_t NumInjectorSinks, bool& qOK);
    void getProducerData(Array<int32_t>& Producers, int32_t& nProducers,
                         Array<int32_t>& ProducerSources, int32_t& NumProducerSources,
                         bool& qOK) const;
    // iWell is an entry number of the producer (injector) table; the answer is the well
    // numbers of its sources (sinks).
    void getProducerConnections(int32_t iWell, Array<int32_t>& iSources, int32_t& nSources,
                                bool& qOK) const;
    void getInjectorConnections(int32_t iWell, Array<int32_t>& iSinks, int32_t& nSinks,
                                bool& qOK) const;
    // iWell is a well number; its type (1 producer, 2 injector) picks the table and its index
    // the entry.
    void getWellConnections(int32_t iWell, Array<int32_t>& iWells, int32_t& nWells,
                            bool& qOK) const;
    void getWellNameConnections(const std::string& zWell, Array<int32_t>& iWells,
                                int32_t& nWells, bool& qOK) const;
    std::string getProducerWellName(int32_t iWell) const;
    std::string getInjectorWellName(int32_t iWell) const;
    void getProducerWellNames(Array<std::string>& zProducers, int32_t& NumWells,
                              bool& qOK) const;
    void getInjectorWellNames(Array<std::string>& zInjectors, int32_t& NumWells,
                              bool& qOK) const;
    // The streamlines of a well: its entry's count of consecutive streamline numbers starting
    // at the entry's first streamline.
    void getWellStreamLineNumbers(int32_t iWell, Array<int32_t>& iStream, int32_t& nStream,
                                  bool& qOK) const;
    void getWellNameStreamLineNumbers(const std::string& zWell, Array<int32_t>& iStream,
                                      int32_t& nStream, bool& qOK) const;
    // Well number of the first producer (injector) entry whose well has exactly this name (no
    // upper-casing), or -1.
    int32_t ProducerNumber(const std::string& zWell) const;
    int32_t InjectorNumber(const std::string& zWell) const;
    int32_t NumberProducers() const noexcept { return NumberProducers_; }
    int32_t NumberInjectors() const noexcept { return NumberInjectors_; }
    // Kept for hosts that call it: does nothing but answer qOK True.
    void setProducers(bool& qOK) noexcept;

private:
    void getInjectorData(Array<int32_t>& Injectors, int32_t& nInjectors,
                         Array<int32_t>& InjectorSinks, int32_t& NumInjectorSinks,
                         bool& qOK) const;

    // The producer side and the injector side share one layout; the readers work on either
    // through this view of its fields.
    struct ConnectionTable {
        const int32_t& count;           // NumberProducers / NumberInjectors
        const Array<int32_t>& entries;  // (1 To 5, 0 To count)
        const Array<int32_t>& links;    // sources / sinks, (1 To 5, 1 To linkCount)
        const int32_t& linkCount;
        bool validEntry(int32_t i) const { return i >= 1 && i <= count; }
    };
    ConnectionTable producerTable() const;
    ConnectionTable injectorTable() const;
    // Copies the caller's tables into the stored ones; both are checked before either changes.
    static void storeConnections(const Array<int32_t>& entries, int32_t nEntries,
                                 const Array<int32_t>& links, int32_t nLinks,
                                 Array<int32_t>& storedEntries, int32_t& storedCount,
                                 Array<int32_t>& storedLinks, int32_t& storedLinkCount,
                                 int32_t& storedLinkUpper);
    static void copyConnectionsOut(ConnectionTable table, Array<int32_t>& entries,
                                   int32_t& nEntries, Array<int32_t>& links, int32_t& nLinks);
    static void linkedWells(ConnectionTable table, int32_t iEntry, Array<int32_t>& iWells,
                            int32_t& nWells, bool& qOK);
    std::string entryWellName(ConnectionTable table, int32_t iEntry) const;
    void entryWellNames(ConnectionTable table, Array<std::string>& zNames,
                        int32_t& NumWells) const;
    void entryStreamLineNumbers(ConnectionTable table, int32_t iEntry, Array<int32_t>& iStream,
                                int32_t& nStream, bool& qOK) const;

    int32_t NumberProducers_ = -1;
    int32_t NumberInjectors_ = -1;
    Array<int32_t> iProducers_{1, 1, 0, 0};
    Array<int32_t> iInjectors_{1, 1, 0, 0};
    Array<int32_t> iProducerSources_{1, 1, 1, 1};
    Array<int32_t> iInjectorSinks_{1, 1, 1, 1};
    int32_t nProducerSources_ = 0;
    int32_t nInjectorSinks_ = 0;
    int32_t nProducerSourcesUpper_ = 1;
    int32_t nInjectorSinksUpper_ = 1;
    // ==== end connections ====

    // ==== well list ====
public:
    // Stores the names (bounds included) and resolves them into this dataset's well numbers, in
    // well order. qOK stays False even then; a one-element list holding "" clears the list.
    void SetWellList(const Array<std::string>& zWellList, bool& qOK);
    // nWellList is the upper bound of the stored list, 0 when no list is set.
    void GetWellList(Array<std::string>& zWellList, int32_t& nWellList, bool& qOK) const;
    void GetWellListNumbers(Array<int32_t>& iWellList, int32_t& nWellList, bool& qOK) const;
    // Stored only; setting WellListSet by hand neither resolves nor clears the list.
    bool UseWellList() const noexcept { return UseWellList_; }
    void UseWellList(bool value) noexcept { UseWellList_ = value; }
    bool WellListSet() const noexcept { return WellListSet_; }
    void WellListSet(bool value) noexcept { WellListSet_ = value; }
    // The well's defined flag; with a list set, also looked up among this dataset's own well
    // names (not the list), so a defined well always passes.
    void GetWellDefinedAndInList(int32_t iWell, bool& qDefined, bool& qOK) const;

private:
    void resolveWellList();

    Array<std::string> zWellList_{1, 1};
    Array<int32_t> iWellList_{1, 1};
    bool WellListSet_ = false;
    bool UseWellList_ = false;
    // ==== end well list ====

    // ==== WAF attachment and WAF well mapping ====
public:
    // Holds a counted reference to the set and sets WAF True, also for an empty reference.
    void setWAF(std::shared_ptr<rvWAFSet> cWAF, bool& qOK);
    // Well numbers translated by name between this dataset and the attached set; -1 when the
    // name is known to one side only or WAF is False.
    int32_t getWAFWellFromSLWell(int32_t iWell) const;
    int32_t getSLWellFromWAFWell(int32_t iWAFWell) const;

    // Forwarded to the attached set while WAF is True; otherwise each gives its fallback.
    int32_t getWAFNumberProducers() const;     // fallback 0
    int32_t getWAFNumberWells() const;         // fallback 0
    int32_t getWAFNumberInjectors() const;     // fallback 0
    int32_t getWAFNumberDefinedWells() const;  // fallback 0
    int32_t getWAFWellNumber(const std::string& zWell) const;  // fallback -1
    std::string getWAFWellName(int32_t iWell) const;           // fallback ""
    // These four end with qOK True whatever happened.
    void getWAFWellDefined(int32_t iWell, bool& qDefined, bool& qOK) const;
    void getWAFWellDefined_Single(int32_t iWell, bool& qDefined, bool& qOK,
                                  bool qDefinedOnly = false) const;
    void getWAFWellNameDefined(const std::string& zWell, bool& qDefined, bool& qOK) const;
    void getWAFWellType(int32_t iWell, int32_t& iType, bool& qOK) const;
    void getWAFWellNameType(const std::string& zWell, int32_t& iType, bool& qOK) const;
    void getWAFWellTypes(Array<int32_t>& iWellTypes, int32_t& NumWells, bool& qOK) const;
    // The rest leave qOK alone while WAF is False.
    void getWAFWellNames(Array<std::string>& zWellNames, int32_t& NumWells, bool& qOK) const;
    void getWAFListOfWellNumbers(const Array<std::string>& zWellNames, int32_t NumWells,
                                 Array<int32_t>& iWells, bool& qOK) const;
    void getWAFListOfWellNames(const Array<int32_t>& iWells, int32_t NumWells,
                               Array<std::string>& zWellNames, bool& qOK) const;
    // iWells come back as dataset well numbers once the dataset holds streamlines.
    void getWAFWellData(int32_t iWell, Array<float>& sRate, int32_t& nRate, float& OtherRate,
                        float& TotalRate, Array<int32_t>& iWells, Array<std::string>& zWells,
                        bool& qOK, int32_t iWAFType = 2) const;
    void getWAFWellNameData(const std::string& zWell, Array<float>& sRate, int32_t& nRate,
                            float& OtherRate, float& TotalRate, Array<int32_t>& iWells,
                            Array<std::string>& zWells, bool& qOK, int32_t iWAFType = 2) const;
    // Fallback NumWells 0 and qOK False.
    void getWAFWellEfficiencies(Array<float>& WaterRates, Array<float>& Efficiencies,
                                int32_t& NumWells, bool& qOK, int32_t iWellType = 2,
                                int32_t iType = 9) const;
    void getWAFWellEfficiency(int32_t iWell, float& WaterRate, float& Efficiency, bool& qOK,
                              int32_t iType = 9) const;
    void getWAFWellEfficiencyData(int32_t iWell, float& WaterRate, float& Efficiency, bool& qOK,
                                  int32_t iType = 9) const;
    void getWAFInjectorWellNames(Array<std::string>& zWellNames, int32_t& NumWells,
                                 bool& qOK) const;
    void getWAFProducerWellNames(Array<std::string>& zWellNames, int32_t& NumWells,
                                 bool& qOK) const;
private:
    bool WAF_ = false;
    int32_t WAFType_ = 2;
    std::shared_ptr<rvWAFSet> cWAF_;
    // ==== end WAF ====

    // ==== attribute vector and raw pointers ====
public:
    // Loads the descriptive attributes from a Variant array whose element k carries attribute
    // code k (elements 42 and 43 carry iAttributesCount and qAttributesFlag); the array must
    // reach element 55. Fields are assigned in a fixed order, so a conversion failure part-way
    // keeps the fields already assigned and reports the error (result False). Elements 8 to 10
    // are taken only when numeric; element 7 takes the leading number of its text (0 when
    // there is none). An Empty element is not skipped: it converts as Empty always does, to
    // "", 0 or False.
    bool SetClassVarsFromAttributes(const Array<Variant>& vAttributes);

    // Hands out handles to the dataset's counters and tables: iPtrs is re-dimensioned to
    // (1 To 100), elements 1 to 47 receive the handles in their published order and 48 to 100
    // stay 0. A 64-bit process cannot put addresses into Longs, so a handle is simply the
    // element position (handle k = k); ResolvePointer turns it into a typed pointer to the field
    // (for a table, to the array object itself), valid while this dataset lives.
    void GetAllPointers(Array<int32_t>& iPtrs);
    static constexpr int32_t kPointerCount = 47;
    using FieldPointer = std::variant<std::monostate, int32_t*, float*, Array<float>*,
                                      Array<int32_t>*, Array<uint8_t>*>;
    // The field behind a handle from GetAllPointers; empty for any other value.
    FieldPointer ResolvePointer(int32_t handle) noexcept;

private:
    // Longs that only travel in the pointer list; nothing in the dataset reads them.
    int32_t spareStreamlineCounter_ = 0;      // beside nDataColumns in the list
    int32_t spareLongAfterStartYear_ = 0;
    int32_t spareLongAfterDRTMax_ = 0;
    int32_t spareLongBesideProducers_ = 0;
    int32_t spareLongBesideInjectors_ = 0;
    // Counters used only by the binary import.
    int32_t importCounters_[8] = {};
    // ==== end attribute vector ====

    // ==== streamline table ====
public:
    // StreamLines is (1 To nnodes, 1 To nCols), node row varying fastest, so each column of a
    // streamline is one contiguous run. Counts of 0 or less change nothing and answer qOK True.
    void setStreamLineData(const Array<float>& StreamLines, int32_t nCols, int32_t nnodes,
                           bool& qOK);
    // iStreamLines is (1 To nCols, 1 To 2 * nStreamLines): column 1 first node row, 2 node
    // count, 7 start well, 8 end well. Only streamlines 1 To nStreamLines are read back.
    void setStreamLinePointers(const Array<int32_t>& iStreamLines, int32_t nCols,
                               int32_t nStreamLines, bool& qOK);
    // nHeaders below 1 changes nothing and leaves qOK False.
    void setHeaders(const Array<std::string>& zHeaders, const Array<std::string>& zUnits,
                    int32_t nHeaders, bool& qOK);
    // Both arrays receive the header names; the units travel only through the record file.
    void getHeaders(Array<std::string>& zHeaders, Array<std::string>& zUnits, int32_t& nHeaders,
                    bool& qOK) const;
    void setStartDate(int32_t iDay, int32_t iMonth, int32_t iYear, bool& qOK) noexcept;
    int32_t NumberStreamlines() const noexcept { return NumberStreamlines_; }
    int32_t NumCols() const noexcept { return NumCols_; }  // the header count

private:
    // Replaces stored with the (lower1 To upper1, lower2 To upper2) block of source that starts
    // at source's element (lower1, lower2). source is checked first, so a short caller array
    // leaves stored as it was.
    template <class T>
    static void replaceTable(Array<T>& stored, const Array<T>& source, int32_t lower1,
                             int32_t upper1, int32_t lower2, int32_t upper2);

    int32_t NumberStreamlines_ = 0;
    int32_t NumCols_ = 0;
    int32_t MaxRows_ = 0;
    int32_t nDataColumns_ = 0;
    int32_t rowCapacity_ = 10000;
    Array<float> StreamLines_{1, 1, 1, 1};
    Array<int32_t> iStreamLines_{1, 1, 1, 1};
    int32_t pointerCount_ = 1;
    Array<std::string> zHeaders_{1, 1};
    Array<std::string> zUnits_{1, 1};
    int32_t startDay_ = 0, startMonth_ = 0, startYear_ = 0;
    // ==== end streamline table ====

    // ==== single streamline extraction ====
public:
    // Node-table columns: 1-3 X, Y, Z; 4 cell; 5 TOF; 6 DRT. An out-of-range iStream or an
    // empty streamline answers qOK True with the outputs untouched (nnodes is set for an
    // empty one). Rows or columns outside the node table answer qOK False.
    void getSingleStreamlineTOF(int32_t iStream, Array<float>& sTOF, int32_t& nnodes,
                                bool& qOK) const;
    void getSingleStreamlineDRT(int32_t iStream, Array<float>& sDRT, int32_t& nnodes,
                                bool& qOK) const;
    // Cells rounded half to even.
    void getSingleStreamlineCells(int32_t iStream, Array<int32_t>& iCell, int32_t& nnodes,
                                  bool& qOK) const;
    // iProp outside 1 To NumCols answers qOK True with nothing changed.
    void getSingleStreamlineProperty(int32_t iStream, int32_t iProp, Array<float>& sData,
                                     int32_t& nnodes, bool& qOK) const;
    // Needs the grid: without setGridDimension the answer is qOK False.
    void getSingleStreamlineIJK(int32_t iStream, Array<int32_t>& iPos, Array<int32_t>& jPos,
                                Array<int32_t>& kPos, int32_t& nnodes, bool& qOK) const;
    void getSingleStreamlinePositions(int32_t iStream, Array<float>& xPos, Array<float>& yPos,
                                      Array<float>& zPos, int32_t& nnodes, bool& qOK) const;
    // sData is (1 To nnodes, 1 To nCols), nCols being the header count.
    void getSingleStreamline(int32_t iStream, Array<float>& sData, int32_t& nCols,
                             int32_t& nnodes, bool& qOK) const;
    // sData is (1 To nnodes, 1 To 8): X, Y, Z, I, J, K, TOF, DRT; a part that cannot be had
    // (I, J, K without a grid) stays 0. qOK False when the streamline gives no nodes.
    void getSingleStreamlineData(int32_t iStream, Array<float>& sData, int32_t& nCols,
                                 int32_t& nnodes, bool& qOK) const;
    // The wells at the two ends: their well numbers, source/sink indexes (well index) and names.
    void getSingleStartNodeIndex(int32_t iStream, int32_t& iWell, bool& qOK) const;
    void getSingleEndNodeIndex(int32_t iStream, int32_t& iWell, bool& qOK) const;
    void getSingleSourceIndex(int32_t iStream, int32_t& iWell, bool& qOK) const;
    void getSingleSinkIndex(int32_t iStream, int32_t& iWell, bool& qOK) const;
    void getSingleStartNodeName(int32_t iStream, std::string& zNode, bool& qOK) const;
    void getSingleEndNodeName(int32_t iStream, std::string& zNode, bool& qOK) const;

private:
    // The extraction procedures behind the members above. Each runs under its own error trap
    // and reports failures under its own name.
    void extractSingleStreamLineColumn(std::string_view procedure, int32_t iStream,
                                       int32_t column, Array<float>& sData, int32_t& nnodes,
                                       bool& qOK) const noexcept;
    void extractSingleStreamLineCells(int32_t iStream, Array<int32_t>& iCell, int32_t& nnodes,
                                      bool& qOK) const noexcept;
    void extractSingleStreamLineIJK(int32_t iStream, Array<int32_t>& iPos, Array<int32_t>& jPos,
                                    Array<int32_t>& kPos, int32_t& nnodes,
                                    bool& qOK) const noexcept;
    void extractSingleStreamLinePositions(int32_t iStream, Array<float>& xPos,
                                          Array<float>& yPos, Array<float>& zPos,
                                          int32_t& nnodes, bool& qOK) const noexcept;
    void extractSingleStreamLine(int32_t iStream, Array<float>& sData, int32_t& nCols,
                                 int32_t& nnodes, bool& qOK) const noexcept;
    void extractSingleNodeIndex(int32_t iStream, int32_t column, int32_t& iWell,
                                bool& qOK) const noexcept;
    void extractSingleSourceSinkIndex(int32_t iStream, int32_t column, int32_t& iWell,
                                      bool& qOK) const noexcept;
    void extractSingleNodeName(int32_t iStream, int32_t column, std::string& zNode,
                               bool& qOK) const noexcept;

    // Where one streamline's rows lie in the node table.
    struct StreamlineRun {
        bool found = false;  // false: out-of-range number or no nodes
        int32_t first = 0;
        int32_t nnodes = 0;
    };
    // Reads the streamline's pointers and sets nnodes when the number is in range.
    StreamlineRun locateStreamline(int32_t iStream, int32_t& nnodes) const;
    // Storage offset of the run's rows in one column; error 9 unless they all lie in the table.
    size_t columnRunOffset(const StreamlineRun& run, int32_t column) const;
    // Copies n node-table values from a storage offset to output and asks for the rows after
    // them (the next streamline's, as a rule) ahead of time.
    void copyRun(size_t offset, int32_t n, float* output) const;
    // The well-table node at one end (pointer column 7 or 8); false for an out-of-range
    // streamline.
    bool endNodeOfStreamline(int32_t iStream, int32_t column, int32_t& node) const;

    // ==== end extraction ====

    // ==== store support (internal) ====
    // Reached through the store's per-dataset accessors only; not part of the public dataset
    // interface. Code in stream_set_store_support.cpp.
public:
    // Set by the host's loader when it skipped streamlines; False on a new dataset.
    bool MissedSL() const noexcept { return MissedSL_; }
    void MissedSL(bool value) noexcept { MissedSL_ = value; }
    // Loading step set by the host's loader: n when every n-th streamline was kept; 1 on a new
    // dataset.
    int32_t LoadEverySL() const noexcept { return LoadEverySL_; }
    void LoadEverySL(int32_t value) noexcept { LoadEverySL_ = value; }
    // True while a well list applies to the attached WAF set. Writing it while WAF is True also
    // switches the attached set's list on or off (object error 91 when no set is attached).
    bool WAFWellListSet() const noexcept { return WAFWellListSet_; }
    void WAFWellListSet(bool value);
    // While WAF is True: makes the attached set's wells named in zList(1 .. NumWells) (exact,
    // case-sensitive) its well list and switches the list on; NumWells below 1 switches it
    // off. qOK True when done; False and nothing changed while WAF is False.
    void InitWAFWellListByName(const Array<std::string>& zList, int32_t NumWells, bool& qOK);
    // While WAF is True: the names of the attached set's wells in its well list, in well order
    // (zList at least one element, NumWells the count).
    void getWAFWellList(Array<std::string>& zList, int32_t& NumWells, bool& qOK) const;
    // While WAF is True: the names of the attached set's wells that count as defined, in well
    // order; the active well list decides alone when it holds wells (zList at least one
    // element, NumWells the count).
    void GetDefinedWAFWellNames(Array<std::string>& zList, int32_t& NumWells, bool& qOK) const;
private:
    bool MissedSL_ = false;
    int32_t LoadEverySL_ = 1;
    bool WAFWellListSet_ = false;
    // ==== end store support ====

    // ==== binary export and import ====
public:
    // Writes the whole dataset as one "STREAMSET>" ... "<STREAMSET" section (with the attached
    // WAF set's section inside); qOK True once the closing record is written.
    void BINARYEXPORT(RecordFile& cFILETYPE, bool& qOK);
    // Reads a dataset section, records in any order, up to and including "<STREAMSET". qOK False
    // when a read failed or the file ended first; what was read before stays.
    void BINARYIMPORT(RecordFile& cFILETYPE, bool& qOK);

    // ---- internal ----
    // True when every field that the record section carries equals other's (floats bit for
    // bit, the attached WAF sets by their contents); difference names the first that differs.
    bool sameContents(const rvStreamSet& other, std::string& difference) const;

private:
    // The record writers and readers (stream_set_binary.cpp).
    struct BinaryForm;
    // A Single with no property, carried by the record section only.
    float internalSingle_ = 0;
    // ==== end binary ====
};

}  // namespace tkstream63
