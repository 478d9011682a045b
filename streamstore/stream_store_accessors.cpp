// Per-dataset accessors: the host names a stored dataset by its number and the store forwards
// to that dataset's member.
#include <algorithm>
#include <string>

#include "common/errors.hpp"
#include "streamstore/stream_store.hpp"

namespace tkstream63 {

template <class Action>
void rvStreamStore::withDataSet(std::string_view procedure, int32_t iDataSet, Action&& action) {
    runTrapped(kSource, procedure, [&] {
        if (ValidIndex(iDataSet)) action(dataSetAt(iDataSet));
    });
}

template <class Result, class Action>
Result rvStreamStore::readDataSet(std::string_view procedure, int32_t iDataSet, Result fallback,
                                  Action&& action) {
    Result result = std::move(fallback);
    withDataSet(procedure, iDataSet, [&](rvStreamSet& dataSet) { result = action(dataSet); });
    return result;
}

// ---- well lists and wells ----

void rvStreamStore::DSSetWellList(int32_t iDataSet, const Array<std::string>& zWellList,
                                  bool& qOK) {
    qOK = false;
    withDataSet("DSSetWellList", iDataSet,
                [&](rvStreamSet& ds) { ds.SetWellList(zWellList, qOK); });
}

void rvStreamStore::DSGetWellList(int32_t iDataSet, Array<std::string>& zWellList,
                                  int32_t& nWellList, bool& qOK) {
    qOK = false;
    withDataSet("DSGetWellList", iDataSet,
                [&](rvStreamSet& ds) { ds.GetWellList(zWellList, nWellList, qOK); });
}

void rvStreamStore::DSGetWellListNumbers(int32_t iDataSet, Array<int32_t>& iWellList,
                                         int32_t& nWellList, bool& qOK) {
    qOK = false;
    withDataSet("DSGetWellListNumbers", iDataSet,
                [&](rvStreamSet& ds) { ds.GetWellListNumbers(iWellList, nWellList, qOK); });
}

bool rvStreamStore::DSGetDataSetAttribute(int32_t iDataSet, int32_t iAttribute,
                                          std::string& zAttribute) {
    return readDataSet("DSGetDataSetAttribute", iDataSet, false, [&](rvStreamSet& ds) {
        return ds.GetDataSetAttribute(iAttribute, zAttribute);
    });
}

int32_t rvStreamStore::DSMaximumWells(int32_t iDataSet) {
    return readDataSet("DSMaximumWells", iDataSet, 0,
                       [](rvStreamSet& ds) { return ds.MaximumNumberWells(); });
}

int32_t rvStreamStore::DSNumberWells(int32_t iDataSet) {
    return readDataSet("DSNumberWells", iDataSet, 0,
                       [](rvStreamSet& ds) { return ds.NumberWells(); });
}

int32_t rvStreamStore::DSWAFNumberWells(int32_t iDataSet) {
    return readDataSet("DSWAFNumberWells", iDataSet, 0,
                       [](rvStreamSet& ds) { return ds.getWAFNumberWells(); });
}

int32_t rvStreamStore::DSNumberDefinedWAFWells(int32_t iDataSet) {
    return readDataSet("DSNumberDefinedWAFWells", iDataSet, 0,
                       [](rvStreamSet& ds) { return ds.getWAFNumberDefinedWells(); });
}

int32_t rvStreamStore::DSWAFWellNumber(int32_t iDataSet, const std::string& zWell) {
    return readDataSet("DSWAFWellNumber", iDataSet, 0,
                       [&](rvStreamSet& ds) { return ds.getWAFWellNumber(zWell); });
}

int32_t rvStreamStore::DSWellNumber(int32_t iDataSet, const std::string& zWell) {
    return readDataSet("DSWellNumber", iDataSet, 0,
                       [&](rvStreamSet& ds) { return ds.getWellNumber(zWell); });
}

std::string rvStreamStore::DSWellName(int32_t iDataSet, int32_t iWell) {
    return readDataSet("DSWellName", iDataSet, std::string(),
                       [&](rvStreamSet& ds) { return ds.getWellName(iWell); });
}

std::string rvStreamStore::DSWAFWellName(int32_t iDataSet, int32_t iWell) {
    return readDataSet("DSWAFWellName", iDataSet, std::string(),
                       [&](rvStreamSet& ds) { return ds.getWAFWellName(iWell); });
}

void rvStreamStore::DSWellNames(int32_t iDataSet, Array<std::string>& zWells, int32_t& nWells,
                                bool& qOK) {
    qOK = false;
    withDataSet("DSWellNames", iDataSet,
                [&](rvStreamSet& ds) { ds.getWellNames(zWells, nWells, qOK); });
}

void rvStreamStore::DSWAFWellNames(int32_t iDataSet, Array<std::string>& zWells, int32_t& nWells,
                                   bool& qOK) {
    qOK = false;
    withDataSet("DSWAFWellNames", iDataSet,
                [&](rvStreamSet& ds) { ds.getWAFWellNames(zWells, nWells, qOK); });
}

void rvStreamStore::DSWAFListOfWellNumbers(int32_t iDataSet, const Array<std::string>& zWells,
                                           int32_t nWells, Array<int32_t>& iWells, bool& qOK) {
    qOK = false;
    withDataSet("DSWAFListOfWellNumbers", iDataSet,
                [&](rvStreamSet& ds) { ds.getWAFListOfWellNumbers(zWells, nWells, iWells, qOK); });
}

void rvStreamStore::DSListOfWellNumbers(int32_t iDataSet, const Array<std::string>& zWells,
                                        int32_t nWells, Array<int32_t>& iWells, bool& qOK) {
    qOK = false;
    withDataSet("DSListOfWellNumbers", iDataSet,
                [&](rvStreamSet& ds) { ds.getListOfWellNumbers(zWells, nWells, iWells, qOK); });
}

void rvStreamStore::DSWAFListOfWellNames(int32_t iDataSet, const Array<int32_t>& iWells,
                                         int32_t nWells, Array<std::string>& zWells, bool& qOK) {
    qOK = false;
    withDataSet("DSWAFListOfWellNames", iDataSet,
                [&](rvStreamSet& ds) { ds.getWAFListOfWellNames(iWells, nWells, zWells, qOK); });
}

void rvStreamStore::DSListOfWellNames(int32_t iDataSet, const Array<int32_t>& iWells,
                                      int32_t nWells, Array<std::string>& zWells, bool& qOK) {
    qOK = false;
    withDataSet("DSListOfWellNames", iDataSet,
                [&](rvStreamSet& ds) { ds.getWAFListOfWellNames(iWells, nWells, zWells, qOK); });
}

// ---- grid, limits and streamlines ----

void rvStreamStore::DSSetLimits(int32_t iDataSet, float xMin, float xMax, float yMin, float yMax,
                                float zMin, float zMax, bool& qOK) {
    qOK = false;
    withDataSet("DSSetLimits", iDataSet,
                [&](rvStreamSet& ds) { ds.setLimits(xMin, xMax, yMin, yMax, zMin, zMax, qOK); });
}

void rvStreamStore::DSGetLimits(int32_t iDataSet, float& xMin, float& xMax, float& yMin,
                                float& yMax, float& zMin, float& zMax, bool& qOK) {
    qOK = false;
    withDataSet("DSGetLimits", iDataSet,
                [&](rvStreamSet& ds) { ds.getLimits(xMin, xMax, yMin, yMax, zMin, zMax, qOK); });
}

void rvStreamStore::DSGetGridDimension(int32_t iDataSet, int32_t& NX, int32_t& NY, int32_t& NZ,
                                       bool& qOK) {
    qOK = false;
    withDataSet("DSGetGridDimension", iDataSet,
                [&](rvStreamSet& ds) { ds.getGridDimension(NX, NY, NZ, qOK); });
}

void rvStreamStore::DSGetSingleStreamlineData(int32_t iDataSet, int32_t iStream,
                                              Array<float>& sData, int32_t& nCols, int32_t& nnodes,
                                              bool& qOK) {
    qOK = false;
    withDataSet("DSGetSingleStreamlineData", iDataSet, [&](rvStreamSet& ds) {
        ds.getSingleStreamlineData(iStream, sData, nCols, nnodes, qOK);
    });
}

void rvStreamStore::GetAllPointers(int32_t iDataSet, Array<int32_t>& iPtrs) {
    withDataSet("GetAllPointers", iDataSet, [&](rvStreamSet& ds) { ds.GetAllPointers(iPtrs); });
}

// ---- attributes fetched into an argument ----

bool rvStreamStore::DSDataIndex(int32_t iDataSet, int32_t& iDataIndex) {
    return readDataSet("DSDataIndex", iDataSet, false, [&](rvStreamSet& ds) {
        iDataIndex = ds.index();
        return true;
    });
}

bool rvStreamStore::DSDateStamp(int32_t iDataSet, std::string& zStamp) {
    return readDataSet("DSDateStamp", iDataSet, false, [&](rvStreamSet& ds) {
        zStamp = ds.DateStamp();
        return true;
    });
}

bool rvStreamStore::DSFileType(int32_t iDataSet, int32_t& iFileType) {
    return readDataSet("DSFileType", iDataSet, false, [&](rvStreamSet& ds) {
        iFileType = ds.FileType();
        return true;
    });
}

bool rvStreamStore::DSGroupName(int32_t iDataSet, std::string& zGroup) {
    return readDataSet("DSGroupName", iDataSet, false, [&](rvStreamSet& ds) {
        zGroup = ds.GroupName();
        return true;
    });
}

bool rvStreamStore::DSOrigin(int32_t iDataSet, std::string& zOrigin) {
    return readDataSet("DSOrigin", iDataSet, false, [&](rvStreamSet& ds) {
        zOrigin = ds.Origin();
        return true;
    });
}

bool rvStreamStore::DSSourceType(int32_t iDataSet, std::string& zType) {
    return readDataSet("DSSourceType", iDataSet, false, [&](rvStreamSet& ds) {
        zType = ds.SourceType();
        return true;
    });
}

bool rvStreamStore::DSTVGroupName(int32_t iDataSet, std::string& zType) {
    return readDataSet("DSTVGroupName", iDataSet, false, [&](rvStreamSet& ds) {
        zType = ds.TVGroupName();
        return true;
    });
}

bool rvStreamStore::DSDataClass(int32_t iDataSet, std::string& zClass) {
    return readDataSet("DSDataClass", iDataSet, false, [&](rvStreamSet& ds) {
        zClass = ds.DataClass();
        return true;
    });
}

// ---- attributes written ----

void rvStreamStore::DSSetFileType(int32_t iDataSet, int32_t iFileType, bool& qOK) {
    qOK = false;
    withDataSet("DSSetFileType", iDataSet, [&](rvStreamSet& ds) {
        ds.FileType(iFileType);
        qOK = true;
    });
}

void rvStreamStore::DSSetWAFType(int32_t iDataSet, int32_t iWAFType, bool& qOK) {
    qOK = false;
    withDataSet("DSSetWAFType", iDataSet, [&](rvStreamSet& ds) {
        ds.WAFType(iWAFType);
        qOK = true;
    });
}

void rvStreamStore::SetDSFileName(int32_t iDataSet, const std::string& zFilename) {
    withDataSet("SetDSFileName", iDataSet, [&](rvStreamSet& ds) { ds.FileName(zFilename); });
}

void rvStreamStore::DSsetFileName(int32_t iDataSet, const std::string& zFilename) {
    withDataSet("DSsetFileName", iDataSet, [&](rvStreamSet& ds) { ds.FileName(zFilename); });
}

std::string rvStreamStore::GetDataRootPath(int32_t iDataSet) {
    return readDataSet("GetDataRootPath", iDataSet, std::string(),
                       [](rvStreamSet& ds) { return ds.DataRootPath(); });
}

std::string rvStreamStore::GetDataSetDate(int32_t iDataSet) {
    return readDataSet("GetDataSetDate", iDataSet, std::string(),
                       [](rvStreamSet& ds) { return ds.DateStamp(); });
}

std::string rvStreamStore::GetFileName(int32_t iDataSet) {
    return readDataSet("GetFileName", iDataSet, std::string(),
                       [](rvStreamSet& ds) { return ds.FileName(); });
}

// ---- properties ----

bool rvStreamStore::DSUseWellList(int32_t iDataSet) {
    return readDataSet("DSUseWellList", iDataSet, false,
                       [](rvStreamSet& ds) { return ds.UseWellList(); });
}

void rvStreamStore::DSUseWellList(int32_t iDataSet, bool value) {
    withDataSet("DSUseWellList", iDataSet, [&](rvStreamSet& ds) { ds.UseWellList(value); });
}

std::string rvStreamStore::DataRootPath(int32_t iDataSet) {
    return readDataSet("DataRootPath", iDataSet, std::string(),
                       [](rvStreamSet& ds) { return ds.DataRootPath(); });
}

std::string rvStreamStore::DateStamp(int32_t iDataSet) {
    return readDataSet("DateStamp", iDataSet, std::string(),
                       [](rvStreamSet& ds) { return ds.DateStamp(); });
}

std::string rvStreamStore::FileName(int32_t iDataSet) {
    return readDataSet("FileName", iDataSet, std::string(),
                       [](rvStreamSet& ds) { return ds.FileName(); });
}

int32_t rvStreamStore::FileType(int32_t iDataSet) {
    return readDataSet("FileType", iDataSet, 0, [](rvStreamSet& ds) { return ds.FileType(); });
}

bool rvStreamStore::Formatted(int32_t iDataSet) {
    return readDataSet("Formatted", iDataSet, false,
                       [](rvStreamSet& ds) { return ds.Formatted(); });
}

std::string rvStreamStore::GroupName(int32_t iDataSet) {
    return readDataSet("GroupName", iDataSet, std::string(),
                       [](rvStreamSet& ds) { return ds.GroupName(); });
}

int32_t rvStreamStore::iEnd(int32_t iDataSet) {
    return readDataSet("iEnd", iDataSet, 0, [](rvStreamSet& ds) { return ds.iEnd(); });
}

int32_t rvStreamStore::iStart(int32_t iDataSet) {
    return readDataSet("iStart", iDataSet, 0, [](rvStreamSet& ds) { return ds.iStart(); });
}

int32_t rvStreamStore::index(int32_t iDataSet) {
    return readDataSet("index", iDataSet, 0, [](rvStreamSet& ds) { return ds.index(); });
}

bool rvStreamStore::Initialised(int32_t iDataSet) {
    return readDataSet("Initialised", iDataSet, false,
                       [](rvStreamSet& ds) { return ds.Initialised(); });
}

bool rvStreamStore::IsDirty(int32_t iDataSet) {
    return readDataSet("IsDirty", iDataSet, false, [](rvStreamSet& ds) { return ds.IsDirty(); });
}

void rvStreamStore::IsDirty(int32_t iDataSet, bool value) {
    withDataSet("IsDirty", iDataSet, [&](rvStreamSet& ds) { ds.IsDirty(value); });
}

int32_t rvStreamStore::MaxRows(int32_t iDataSet) {
    return readDataSet("MaxRows", iDataSet, 0, [](rvStreamSet& ds) { return ds.MaxRows(); });
}

int32_t rvStreamStore::NumCols(int32_t iDataSet) {
    return readDataSet("NumCols", iDataSet, 0, [](rvStreamSet& ds) { return ds.NumCols(); });
}

int32_t rvStreamStore::NumberStreamlines(int32_t iDataSet) {
    return readDataSet("NumberStreamlines", iDataSet, 0,
                       [](rvStreamSet& ds) { return ds.NumberStreamlines(); });
}

std::string rvStreamStore::Origin(int32_t iDataSet) {
    return readDataSet("Origin", iDataSet, std::string(),
                       [](rvStreamSet& ds) { return ds.Origin(); });
}

std::string rvStreamStore::SourceType(int32_t iDataSet) {
    return readDataSet("SourceType", iDataSet, std::string(),
                       [](rvStreamSet& ds) { return ds.SourceType(); });
}

std::string rvStreamStore::UniqueKey(int32_t iDataSet) {
    return readDataSet("UniqueKey", iDataSet, std::string(),
                       [](rvStreamSet& ds) { return ds.UniqueKey(); });
}

bool rvStreamStore::Unified(int32_t iDataSet) {
    return readDataSet("Unified", iDataSet, false, [](rvStreamSet& ds) { return ds.Unified(); });
}

bool rvStreamStore::AllData(int32_t iDataSet) {
    return readDataSet("AllData", iDataSet, false, [](rvStreamSet& ds) { return ds.AllData(); });
}

bool rvStreamStore::WAF(int32_t iDataSet) {
    return readDataSet("WAF", iDataSet, false, [](rvStreamSet& ds) { return ds.WAF(); });
}

int32_t rvStreamStore::Units(int32_t iDataSet) {
    return readDataSet("Units", iDataSet, 0, [](rvStreamSet& ds) { return ds.Units(); });
}

bool rvStreamStore::MissedSL(int32_t iDataSet) {
    return readDataSet("MissedSL", iDataSet, false, [](rvStreamSet& ds) { return ds.MissedSL(); });
}

int32_t rvStreamStore::LoadEverySL(int32_t iDataSet) {
    return readDataSet("LoadEverySL", iDataSet, 0,
                       [](rvStreamSet& ds) { return ds.LoadEverySL(); });
}

bool rvStreamStore::WAFWellListSet(int32_t iDataSet) {
    return readDataSet("WAFWellListSet", iDataSet, false,
                       [](rvStreamSet& ds) { return ds.WAFWellListSet(); });
}

void rvStreamStore::WAFWellListSet(int32_t iDataSet, bool value) {
    withDataSet("WAFWellListSet", iDataSet, [&](rvStreamSet& ds) { ds.WAFWellListSet(value); });
}

void rvStreamStore::InitWAFWellListByName(int32_t iDataSet, const Array<std::string>& zList,
                                          int32_t NumWells, bool& qOK) {
    qOK = false;
    withDataSet("InitWAFWellListByName", iDataSet,
                [&](rvStreamSet& ds) { ds.InitWAFWellListByName(zList, NumWells, qOK); });
}

void rvStreamStore::getWAFWellList(int32_t iDataSet, Array<std::string>& zList, int32_t& NumWells,
                                   bool& qOK) {
    qOK = false;
    withDataSet("getWAFWellList", iDataSet,
                [&](rvStreamSet& ds) { ds.getWAFWellList(zList, NumWells, qOK); });
}

void rvStreamStore::GetDefinedWAFWellNames(int32_t iDataSet, Array<std::string>& zList,
                                           int32_t& NumWells, bool& qOK) {
    qOK = false;
    withDataSet("GetDefinedWAFWellNames", iDataSet,
                [&](rvStreamSet& ds) { ds.GetDefinedWAFWellNames(zList, NumWells, qOK); });
}

// Kept for the interface; no dataset attribute stands behind it.
int32_t rvStreamStore::UnitDataSource(int32_t /*iDataSet*/) { return 0; }

void rvStreamStore::UnitDataSource(int32_t /*iDataSet*/, int32_t /*value*/) {}

// ---- origins by file type ----

void rvStreamStore::GetOriginsByFileType(int32_t iFileType, Array<std::string>& zOrigins,
                                         bool& qOK) {
    qOK = false;
    runTrapped(kSource, "GetOriginsByFileType", [&] {
        const int32_t count = NumberOfStreamSets();
        zOrigins.redim(1, count);
        std::string* found = zOrigins.data();
        int32_t n = 0;
        for (int32_t i = 1; i <= count; ++i) {
            rvStreamSet& ds = dataSetAt(i);
            if (ds.FileType() != iFileType) continue;
            std::string origin = ds.Origin();
            if (std::find(found, found + n, origin) == found + n) found[n++] = std::move(origin);
        }
        if (n == 0) return;
        if (n < count) zOrigins.redimPreserve(1, n);
        qOK = true;
    });
}

}  // namespace tkstream63
