// rvStreamStore: the host's one container of streamline datasets.
//
// Datasets live in a 1-based list with one spare slot after the last dataset; a dataset number
// is a position and changes when an earlier dataset is deleted. The spare slot holds a fresh
// empty dataset after ReInitialise and after an append by AddDataSet/AddItem, and nothing after
// AddItemAuto, DeleteItem of the last dataset and DeleteItems. Every member that takes a dataset
// number accepts 1 .. NumberOfStreamSets + 1, the last being the spare slot; a member that has to
// use an empty spare slot reports error 91 and returns its fallback.
//
// The class is split by topic; each topic keeps its members in its own section below and its
// code in its own stream_store_<topic>.cpp file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/bounded_array.hpp"
#include "streamset/stream_set.hpp"
#include "streamstore/sameness_index.hpp"

namespace tkstream63 {

class RecordFile;

class rvStreamStore {
public:
    rvStreamStore();
    ~rvStreamStore();
    rvStreamStore(const rvStreamStore&) = delete;
    rvStreamStore& operator=(const rvStreamStore&) = delete;

    // ==== collection and lifecycle ====
public:
    int32_t NumberOfStreamSets() const;
    // Writing either key recomputes FolderKey = JoinKey(RootKey, MainKey).
    std::string RootKey() const { return RootKey_; }
    void RootKey(const std::string& value);
    std::string MainKey() const { return MainKey_; }
    void MainKey(const std::string& value);
    std::string FolderKey() const { return FolderKey_; }
    // Slot written by the last add, overwrite or SetItem.
    int32_t AddedDataSetPos() const { return AddedDataSetPos_; }
    // True when the last add replaced a stored dataset, False when it appended.
    bool OverWrittenDataSet() const { return OverWrittenDataSet_; }

    // AddDataSet with its qOK discarded.
    void AddItem(const std::shared_ptr<rvStreamSet>& cNewDataSet);
    // Appends without asking: a clash by GroupName and Origin renames the dataset first. The
    // new spare slot is left empty.
    void AddItemAuto(const std::shared_ptr<rvStreamSet>& cNewDataSet);
    // Replaces the reference in slot 1 .. NumberOfStreamSets + 1; the list does not grow.
    bool SetItem(int32_t iDataSet, const std::shared_ptr<rvStreamSet>& cStreamSet);
    // Hands out the stored reference (an empty pointer for an empty spare slot). Reports its
    // failures as "GetFilename".
    bool GetItem(int32_t iDataSet, std::shared_ptr<rvStreamSet>& cNewDataSet);
    // As GetItem, but the result is True even for a bad number (cStreamSet is then untouched).
    bool GetDataSet(int32_t iDataSet, std::shared_ptr<rvStreamSet>& cStreamSet);
    // Rebuilds the store from the survivors through the full add procedure, so survivors that
    // look the same as an earlier one go through the duplicate decision again.
    void DeleteItem(int32_t iDataSet);
    // Drops the listed datasets and, always, dataset 1 (the copy starts at the second slot).
    void DeleteItems(const Array<int32_t>& iDataSet);
    // Empties the store and resets the add options; keys, AddedDataSetPos and the search stay.
    void ReInitialise();

private:
    static constexpr std::string_view kSource = "rvStreamStore";

    bool ValidIndex(int32_t iDataSet) const { return iDataSet >= 1 && iDataSet <= iNextSlot_; }
    std::shared_ptr<rvStreamSet>& slot(int32_t iDataSet) { return cDataSets_[iDataSet - 1]; }
    const std::shared_ptr<rvStreamSet>& slot(int32_t iDataSet) const {
        return cDataSets_[iDataSet - 1];
    }
    // The dataset in a valid slot; error 91 when the slot holds nothing.
    rvStreamSet& dataSetAt(int32_t iDataSet) const;
    // The reference in a valid slot, to hand out.
    const std::shared_ptr<rvStreamSet>& handOut(int32_t iDataSet);
    // Error 91 for an empty reference handed in by the caller.
    static void requireDataSet(const std::shared_ptr<rvStreamSet>& cDataSet);
    // Slot 1 empty, no datasets.
    void emptyStore();
    // Puts the dataset into the spare slot and opens a new spare slot, with a fresh dataset in
    // it or empty.
    void appendDataSet(const std::shared_ptr<rvStreamSet>& cDataSet, bool freshSpare);
    // Writes slot 1 .. iNextSlot (the spare slot included) and keeps the index in step.
    void putDataSet(int32_t iDataSet, const std::shared_ptr<rvStreamSet>& cDataSet);
    void refreshFolderKey();

    // Slot k of the list is element k - 1; the vector always holds iNextSlot_ elements.
    std::vector<std::shared_ptr<rvStreamSet>> cDataSets_ =
        std::vector<std::shared_ptr<rvStreamSet>>(1);
    bool qModified_ = false;
    int32_t iNextSlot_ = 1;
    std::string RootKey_;
    std::string MainKey_;
    std::string FolderKey_;
    int32_t AddedDataSetPos_ = 0;
    bool OverWrittenDataSet_ = false;
    // The sameness tests' lookup tables over slots 1 .. iNextSlot - 1. Every change of the list
    // goes through appendDataSet, putDataSet, emptyStore or tells the index to start again.
    SamenessIndex index_{cDataSets_};
    // True while the spare slot holds the fresh dataset the store made and nothing has reached
    // it since: an append can then move it on to the new spare slot instead of making another.
    mutable bool spareUntouched_ = false;
    // ==== end collection ====

    // ==== adding and duplicates ====
public:
    // Adds with the sameness test; a clash is settled by the automatic flags (overwrite,
    // rename, cancel, in that order) or by asking. qOK is never written. Reports as "AddItem".
    void AddDataSet(const std::shared_ptr<rvStreamSet>& cNewDataSet, bool& qOK);
    // iDataSet = first stored dataset with the same DateStamp and Origin (TextEquals) and the
    // same TVGroupName (exact), or -1. The spare slot is never examined.
    void CheckPreviouslyLoaded(const std::shared_ptr<rvStreamSet>& cDataSet, int32_t& iDataSet,
                               bool& qOK);
    // iDataSet = first stored dataset with the same GroupName and Origin (TextEquals), or -1;
    // on a clash renames cDataSet with numeric suffixes until CheckPreviouslyLoaded no longer
    // finds it (at most 100000 attempts).
    void CheckPreviouslyLoaded2(const std::shared_ptr<rvStreamSet>& cDataSet, int32_t& iDataSet,
                                bool& qOK);

    bool AutomaticOverWrite() const { return AutomaticOverWrite_; }
    void AutomaticOverWrite(bool value) { AutomaticOverWrite_ = value; }
    bool AutomaticRename() const { return AutomaticRename_; }
    void AutomaticRename(bool value) { AutomaticRename_ = value; }
    bool AutomaticCancel() const { return AutomaticCancel_; }
    void AutomaticCancel(bool value) { AutomaticCancel_ = value; }
    // False switches the sameness test off: every dataset is appended.
    bool CheckDataSetNames() const { return CheckDataSetNames_; }
    void CheckDataSetNames(bool value) { CheckDataSetNames_ = value; }

private:
    // Settles a clash with stored dataset iDataSet by the automatic flags or by asking: true
    // when the (possibly renamed) new dataset is still to be appended, false when it replaced
    // the stored one or was dropped.
    bool settleClash(int32_t iDataSet, const std::shared_ptr<rvStreamSet>& cNewDataSet);
    // Button number pressed in the duplicate-name dialog (0 when closed without a choice).
    static int32_t askDuplicateChoice(rvStreamSet& cNewDataSet);
    void overwriteDataSet(int32_t iDataSet, const std::shared_ptr<rvStreamSet>& cNewDataSet);
    void renameNewDataSet(const std::shared_ptr<rvStreamSet>& cNewDataSet);

    bool AutomaticOverWrite_ = false;
    bool AutomaticRename_ = false;
    bool AutomaticCancel_ = false;
    bool CheckDataSetNames_ = true;
    // ==== end adding ====

    // ==== dataset search ====
public:
    // Forgets the conditions, the candidate list, the hits and SearchExitAfter1.
    void SearchClear();
    // Adds a condition or replaces the value of the condition with the same code. Codes above
    // 14 are refused.
    void SearchAddAttribute(int32_t iAttribute, const std::string& zValue, bool& qOK);
    // Restricts the search to dataset numbers 1 .. upper bound of iDataSets, in that order.
    void SearchDataSets(const Array<int32_t>& iDataSets, bool& qOK);
    void SearchExitAfter1(bool value) { SearchExitAfter1_ = value; }
    // Runs the search. iStart and qForward are accepted for the interface's sake and ignored.
    void SearchCreatePointers(bool& qOK, int32_t iStart = 1, bool qForward = true);
    // The hits as (1 To 2, 1 To nResults): row 1 the dataset number, row 2 a flag (0 when only
    // Origin and source-type conditions were given, -1 otherwise).
    void SearchPointers(Array<int32_t>& iResults, int32_t& nResults, bool& qOK);

private:
    bool isStoredDataSet(int32_t iDataSet) const { return iDataSet >= 1 && iDataSet < iNextSlot_; }
    struct SearchCondition {
        int32_t code;
        std::string upperValue;
    };
    // Pre-filters keeping, in order, the candidates that pass every Origin (code 1) or
    // source-type (code 3) condition; false when the filter itself failed.
    bool SearchOrigin(std::vector<int32_t>& candidates) const;
    bool SearchType(std::vector<int32_t>& candidates) const;
    template <class ReadUpperCased>
    bool filterCandidates(std::string_view source, std::string_view procedure, int32_t code,
                          std::vector<int32_t>& candidates, ReadUpperCased readUpperCased) const;
    static bool matchesAllConditions(rvStreamSet& cDataSet,
                                     const std::vector<SearchCondition>& conditions);
    // Every candidate is a hit (row 2 left 0).
    void storeFastHits(const std::vector<int32_t>& candidates);
    // Hits are the candidates that pass every condition (row 2 = -1).
    void storeMatchingHits(const std::vector<int32_t>& candidates);

    int32_t nSearchAttributes_ = 0;
    Array<int32_t> iSearchAttribute_{1, 1};
    Array<std::string> zSearchValue_{1, 1};
    Array<int32_t> iSearchPointers_{1, 2, 1, 1};
    int32_t nSearchPointers_ = 0;
    Array<int32_t> iSearchDataSets_{1, 1};
    int32_t nSearchDataSets_ = 0;
    bool SearchExitAfter1_ = false;
    // ==== end search ====

    // ==== per-dataset accessors ====
    // Each member checks iDataSet (1 .. NumberOfStreamSets + 1) and forwards to the dataset in
    // that slot, passing the caller's arguments through. For a bad number the dataset is not
    // touched: results are 0, "" or False, qOK is False and other outputs stay as they were.
    // An empty spare slot is reported as error 91 with the same fallbacks.
public:
    void DSSetWellList(int32_t iDataSet, const Array<std::string>& zWellList, bool& qOK);
    void DSGetWellList(int32_t iDataSet, Array<std::string>& zWellList, int32_t& nWellList,
                       bool& qOK);
    void DSGetWellListNumbers(int32_t iDataSet, Array<int32_t>& iWellList, int32_t& nWellList,
                              bool& qOK);
    bool DSGetDataSetAttribute(int32_t iDataSet, int32_t iAttribute, std::string& zAttribute);
    int32_t DSMaximumWells(int32_t iDataSet);
    int32_t DSNumberWells(int32_t iDataSet);
    int32_t DSWAFNumberWells(int32_t iDataSet);
    int32_t DSNumberDefinedWAFWells(int32_t iDataSet);
    int32_t DSWAFWellNumber(int32_t iDataSet, const std::string& zWell);
    int32_t DSWellNumber(int32_t iDataSet, const std::string& zWell);
    std::string DSWellName(int32_t iDataSet, int32_t iWell);
    std::string DSWAFWellName(int32_t iDataSet, int32_t iWell);
    void DSSetLimits(int32_t iDataSet, float xMin, float xMax, float yMin, float yMax, float zMin,
                     float zMax, bool& qOK);
    void DSGetLimits(int32_t iDataSet, float& xMin, float& xMax, float& yMin, float& yMax,
                     float& zMin, float& zMax, bool& qOK);
    void DSGetGridDimension(int32_t iDataSet, int32_t& NX, int32_t& NY, int32_t& NZ, bool& qOK);
    // These return True when the number was valid and the value was fetched into the argument.
    bool DSDataIndex(int32_t iDataSet, int32_t& iDataIndex);
    bool DSDateStamp(int32_t iDataSet, std::string& zStamp);
    bool DSFileType(int32_t iDataSet, int32_t& iFileType);
    bool DSGroupName(int32_t iDataSet, std::string& zGroup);
    bool DSOrigin(int32_t iDataSet, std::string& zOrigin);
    bool DSSourceType(int32_t iDataSet, std::string& zType);
    bool DSTVGroupName(int32_t iDataSet, std::string& zType);
    bool DSDataClass(int32_t iDataSet, std::string& zClass);
    void DSSetFileType(int32_t iDataSet, int32_t iFileType, bool& qOK);
    void DSSetWAFType(int32_t iDataSet, int32_t iWAFType, bool& qOK);
    // SetDSFileName and DSsetFileName are the same member under two names.
    void SetDSFileName(int32_t iDataSet, const std::string& zFilename);
    void DSsetFileName(int32_t iDataSet, const std::string& zFilename);
    std::string GetDataRootPath(int32_t iDataSet);
    std::string GetDataSetDate(int32_t iDataSet);
    std::string GetFileName(int32_t iDataSet);
    void DSWellNames(int32_t iDataSet, Array<std::string>& zWells, int32_t& nWells, bool& qOK);
    void DSWAFWellNames(int32_t iDataSet, Array<std::string>& zWells, int32_t& nWells, bool& qOK);
    void DSWAFListOfWellNumbers(int32_t iDataSet, const Array<std::string>& zWells, int32_t nWells,
                                Array<int32_t>& iWells, bool& qOK);
    void DSListOfWellNumbers(int32_t iDataSet, const Array<std::string>& zWells, int32_t nWells,
                             Array<int32_t>& iWells, bool& qOK);
    void DSWAFListOfWellNames(int32_t iDataSet, const Array<int32_t>& iWells, int32_t nWells,
                              Array<std::string>& zWells, bool& qOK);
    // Forwards to the WAF variant as DSWAFListOfWellNames does; both give the same answer.
    void DSListOfWellNames(int32_t iDataSet, const Array<int32_t>& iWells, int32_t nWells,
                           Array<std::string>& zWells, bool& qOK);
    void DSGetSingleStreamlineData(int32_t iDataSet, int32_t iStream, Array<float>& sData,
                                   int32_t& nCols, int32_t& nnodes, bool& qOK);
    void GetAllPointers(int32_t iDataSet, Array<int32_t>& iPtrs);

    // Properties indexed by the dataset number.
    bool DSUseWellList(int32_t iDataSet);
    void DSUseWellList(int32_t iDataSet, bool value);
    std::string DataRootPath(int32_t iDataSet);
    std::string DateStamp(int32_t iDataSet);
    std::string FileName(int32_t iDataSet);
    int32_t FileType(int32_t iDataSet);
    bool Formatted(int32_t iDataSet);
    std::string GroupName(int32_t iDataSet);
    int32_t iEnd(int32_t iDataSet);
    int32_t iStart(int32_t iDataSet);
    int32_t index(int32_t iDataSet);
    bool Initialised(int32_t iDataSet);
    bool IsDirty(int32_t iDataSet);
    void IsDirty(int32_t iDataSet, bool value);
    int32_t MaxRows(int32_t iDataSet);
    int32_t NumCols(int32_t iDataSet);
    int32_t NumberStreamlines(int32_t iDataSet);
    std::string Origin(int32_t iDataSet);
    std::string SourceType(int32_t iDataSet);
    std::string UniqueKey(int32_t iDataSet);
    bool Unified(int32_t iDataSet);
    bool AllData(int32_t iDataSet);
    bool WAF(int32_t iDataSet);
    int32_t Units(int32_t iDataSet);
    // Whether the loader skipped streamlines, and its loading step.
    bool MissedSL(int32_t iDataSet);
    int32_t LoadEverySL(int32_t iDataSet);
    // Whether a well list applies to the dataset's WAF set.
    bool WAFWellListSet(int32_t iDataSet);
    void WAFWellListSet(int32_t iDataSet, bool value);
    // The WAF set's well list: set by names, read back, and the wells that count as defined.
    void InitWAFWellListByName(int32_t iDataSet, const Array<std::string>& zList, int32_t NumWells,
                               bool& qOK);
    void getWAFWellList(int32_t iDataSet, Array<std::string>& zList, int32_t& NumWells, bool& qOK);
    void GetDefinedWAFWellNames(int32_t iDataSet, Array<std::string>& zList, int32_t& NumWells,
                                bool& qOK);
    // Placeholder: reading checks the number and gives 0, writing does nothing.
    int32_t UnitDataSource(int32_t iDataSet);
    void UnitDataSource(int32_t iDataSet, int32_t value);

    // The distinct Origins (exact comparison) of the datasets of one file type, in order of
    // first appearance; qOK False when there are none.
    void GetOriginsByFileType(int32_t iFileType, Array<std::string>& zOrigins, bool& qOK);

private:
    // Runs action on the dataset in slot iDataSet under the trap when the number is valid.
    template <class Action>
    void withDataSet(std::string_view procedure, int32_t iDataSet, Action&& action);
    // The value action reads from the dataset, or fallback for a bad number or a failure.
    template <class Result, class Action>
    Result readDataSet(std::string_view procedure, int32_t iDataSet, Result fallback,
                       Action&& action);
    // ==== end accessors ====

    // ==== binary export and import ====
public:
    // Writes the store header, the flags and keys and every dataset's section, bracketed by
    // "STREAMSTORE>" and "<STREAMSTORE". A failed write does not stop the export (the first is
    // reported); qOK is the success of the closing record.
    void BINARYEXPORT(RecordFile& cFILETYPE, bool& qOK);
    // Reads a store file and adds its datasets after those already held, through the normal add
    // procedure. qOK True when reading stopped at "<STREAMSTORE" or at a dataset that failed to
    // load (the failed dataset is dropped), False when the file ended first.
    void BINARYIMPORT(RecordFile& cFILETYPE, bool& qOK);
    // Internal: true when the flags, keys and datasets carried by the store file equal other's;
    // difference names the first field that differs.
    bool sameContents(const rvStreamStore& other, std::string& difference) const;

private:
    // The record writers and readers (stream_store_binary.cpp).
    struct BinaryForm;
    // ==== end binary ====
};

}  // namespace tkstream63
