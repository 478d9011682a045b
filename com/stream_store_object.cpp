// rvStreamStore as a COM object: every member of IrvStreamStore forwarded to the library's store.
#include "com/class_objects.hpp"
#include "streamstore/stream_store.hpp"

namespace tkstream63::com {

template <>
const IrvStreamStoreVtbl& CoreObject<IrvStreamStore>::vtable() {
    using Interface = IrvStreamStore;
    using Core = rvStreamStore;
    static const IrvStreamStoreVtbl table = [] {
        IrvStreamStoreVtbl v{};
        DispatchMembers<CoreObject<Interface>, Interface>::fill(v);
        // collection and lifecycle
        TK_GET(NumberOfStreamSets);
        TK_PROPERTY(RootKey);
        TK_PROPERTY(MainKey);
        TK_GET(FolderKey);
        TK_GET(AddedDataSetPos);
        TK_GET(OverWrittenDataSet);
        TK_MEMBER(AddItem);
        TK_MEMBER(AddItemAuto);
        TK_MEMBER(SetItem);
        TK_MEMBER(GetItem);
        TK_MEMBER(GetDataSet);
        TK_MEMBER(DeleteItem);
        TK_MEMBER(DeleteItems);
        TK_MEMBER(ReInitialise);
        // adding datasets and duplicates
        TK_PROPERTY(AutomaticOverWrite);
        TK_PROPERTY(AutomaticRename);
        TK_PROPERTY(AutomaticCancel);
        TK_PROPERTY(CheckDataSetNames);
        TK_MEMBER(AddDataSet);
        TK_MEMBER(CheckPreviouslyLoaded);
        TK_MEMBER(CheckPreviouslyLoaded2);
        // dataset search
        TK_MEMBER(SearchClear);
        TK_MEMBER(SearchAddAttribute);
        TK_MEMBER(SearchDataSets);
        TK_SLOT(put_SearchExitAfter1, "SearchExitAfter1", &Core::SearchExitAfter1);
        TK_MEMBER(SearchCreatePointers);
        TK_MEMBER(SearchPointers);
        // per-dataset accessors
        TK_MEMBER(DSSetWellList);
        TK_MEMBER(DSGetWellList);
        TK_MEMBER(DSGetWellListNumbers);
        TK_MEMBER(DSGetDataSetAttribute);
        TK_MEMBER(DSMaximumWells);
        TK_MEMBER(DSNumberWells);
        TK_MEMBER(DSWAFNumberWells);
        TK_MEMBER(DSNumberDefinedWAFWells);
        TK_MEMBER(DSWAFWellNumber);
        TK_MEMBER(DSWellNumber);
        TK_MEMBER(DSWellName);
        TK_MEMBER(DSWAFWellName);
        TK_MEMBER(DSSetLimits);
        TK_MEMBER(DSGetLimits);
        TK_MEMBER(DSGetGridDimension);
        TK_MEMBER(DSDataIndex);
        TK_MEMBER(DSDateStamp);
        TK_MEMBER(DSFileType);
        TK_MEMBER(DSGroupName);
        TK_MEMBER(DSOrigin);
        TK_MEMBER(DSSourceType);
        TK_MEMBER(DSTVGroupName);
        TK_MEMBER(DSDataClass);
        TK_MEMBER(DSSetFileType);
        TK_MEMBER(DSSetWAFType);
        TK_MEMBER(SetDSFileName);
        TK_MEMBER(DSsetFileName);
        TK_MEMBER(GetDataRootPath);
        TK_MEMBER(GetDataSetDate);
        TK_MEMBER(GetFileName);
        TK_MEMBER(DSWellNames);
        TK_MEMBER(DSWAFWellNames);
        TK_MEMBER(DSWAFListOfWellNumbers);
        TK_MEMBER(DSListOfWellNumbers);
        TK_MEMBER(DSWAFListOfWellNames);
        TK_MEMBER(DSListOfWellNames);
        TK_MEMBER(DSGetSingleStreamlineData);
        TK_MEMBER(GetAllPointers);
        TK_GET_AT(DSUseWellList);
        TK_PUT_AT(DSUseWellList);
        TK_GET_AT(DataRootPath);
        TK_GET_AT(DateStamp);
        TK_GET_AT(FileName);
        TK_GET_AT(FileType);
        TK_GET_AT(Formatted);
        TK_GET_AT(GroupName);
        TK_GET_AT(iEnd);
        TK_GET_AT(iStart);
        TK_GET_AT(index);
        TK_GET_AT(Initialised);
        TK_GET_AT(IsDirty);
        TK_PUT_AT(IsDirty);
        TK_GET_AT(MaxRows);
        TK_GET_AT(NumCols);
        TK_GET_AT(NumberStreamlines);
        TK_GET_AT(Origin);
        TK_GET_AT(SourceType);
        TK_GET_AT(UniqueKey);
        TK_GET_AT(Unified);
        TK_GET_AT(AllData);
        TK_GET_AT(WAF);
        TK_GET_AT(Units);
        TK_GET_AT(MissedSL);
        TK_GET_AT(LoadEverySL);
        TK_GET_AT(WAFWellListSet);
        TK_PUT_AT(WAFWellListSet);
        TK_MEMBER(InitWAFWellListByName);
        TK_MEMBER(getWAFWellList);
        TK_MEMBER(GetDefinedWAFWellNames);
        TK_GET_AT(UnitDataSource);
        TK_PUT_AT(UnitDataSource);
        TK_MEMBER(GetOriginsByFileType);
        // binary export and import
        TK_MEMBER(BINARYEXPORT);
        TK_MEMBER(BINARYIMPORT);
        noteEmptySlots(emptySlots(v));
        return v;
    }();
    return table;
}

IUnknown* createStreamStore() {
    return reinterpret_cast<IUnknown*>(&(new CoreObject<IrvStreamStore>(std::make_shared<rvStreamStore>()))->iface);
}

}  // namespace tkstream63::com
