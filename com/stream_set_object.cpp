// rvStreamSet as a COM object: every member of IrvStreamSet forwarded to the library's dataset.
#include "com/class_objects.hpp"
#include "streamset/stream_set.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63::com {

template <>
const IrvStreamSetVtbl& CoreObject<IrvStreamSet>::vtable() {
    using Interface = IrvStreamSet;
    using Core = rvStreamSet;
    static const IrvStreamSetVtbl table = [] {
        IrvStreamSetVtbl v{};
        DispatchMembers<CoreObject<Interface>, Interface>::fill(v);
        // attributes
        TK_PROPERTY(IsDirty);
        TK_PROPERTY(MaxZones);
        TK_GET(MaxRows);
        TK_PROPERTY(SourceType);
        TK_PROPERTY(SimulationEndTime);
        TK_PROPERTY(WAFType);
        TK_PROPERTY(WAF);
        TK_PROPERTY(Unified);
        TK_PROPERTY(Units);
        TK_PROPERTY(UniqueKey);
        TK_PROPERTY(TVDisplayRoot);
        TK_GET(UCaseTVDisplayRoot);
        TK_PROPERTY(DataRootPath);
        TK_PROPERTY(TVGroupName);
        TK_PROPERTY(AllData);
        TK_PROPERTY(TreeViewKey);
        TK_PROPERTY(DataClass);
        TK_PROPERTY(GroupName);
        TK_GET(UCaseGroupName);
        TK_PROPERTY(Origin);
        TK_GET(UCaseOrigin);
        TK_PROPERTY(MaximumNumberWells);
        TK_PROPERTY(iEnd);
        TK_PROPERTY(iStart);
        TK_PROPERTY(index);
        TK_PROPERTY(FileType);
        TK_GET(GridSet);
        TK_PROPERTY(Formatted);
        TK_PROPERTY(DateStamp);
        TK_PROPERTY(FileName);
        TK_GET(Initialised);
        TK_GET(NumberWells);
        TK_GET(NumberInjectors);
        TK_GET(NumberProducers);
        TK_GET(SimulationTime);
        TK_GET(NumberStreamlines);
        TK_GET(NumCols);
        TK_SLOT(get_WellNumber, "WellNumber", &Core::WellNumber);
        TK_SLOT(get_ProducerNumber, "ProducerNumber", &Core::ProducerNumber);
        TK_SLOT(get_InjectorNumber, "InjectorNumber", &Core::InjectorNumber);
        TK_PROPERTY(UseWellList);
        TK_PROPERTY(WellListSet);
        TK_MEMBER(GetDataSetAttribute);
        TK_MEMBER(SetDataSetAttribute);
        TK_MEMBER(IndexFromTVKEY);
        // grid dimensions and limits
        TK_MEMBER(setGridDimension);
        TK_MEMBER(getGridDimension);
        TK_MEMBER(setLimits);
        TK_MEMBER(getLimits);
        TK_MEMBER(setTOFLimits);
        TK_MEMBER(getTOFLimits);
        TK_MEMBER(setDRTLimits);
        TK_MEMBER(getDRTLimits);
        // well table
        TK_MEMBER(setWellNames);
        TK_MEMBER(setWellIndex);
        TK_MEMBER(setWellTypes);
        TK_MEMBER(setWellDefined);
        TK_MEMBER(setWellLocations);
        TK_MEMBER(setWellLocationsDefined);
        TK_MEMBER(getWellName);
        TK_MEMBER(getWellType);
        TK_MEMBER(getWellDefined);
        TK_MEMBER(getWellLocation);
        TK_MEMBER(getWellLocationDefined);
        TK_MEMBER(getWellNameType);
        TK_MEMBER(getWellNameDefined);
        TK_MEMBER(getWellNameLocation);
        TK_MEMBER(getWellNameLocationDefined);
        TK_MEMBER(getWellNames);
        TK_MEMBER(getWellTypes);
        TK_MEMBER(getWellsDefined);
        TK_MEMBER(getWellLocations);
        TK_MEMBER(getWellLocationsDefined);
        TK_MEMBER(getListOfWellNumbers);
        TK_MEMBER(getListOfWellNames);
        TK_MEMBER_AS(getWellNumber, [](Core& c, const std::string& zWell) { return c.getWellNumber(zWell); });
        // producer and injector connections
        TK_MEMBER(setProducerData);
        TK_MEMBER(setInjectorData);
        TK_MEMBER(getProducerData);
        TK_MEMBER(getProducerConnections);
        TK_MEMBER(getInjectorConnections);
        TK_MEMBER(getWellConnections);
        TK_MEMBER(getWellNameConnections);
        TK_MEMBER(getProducerWellName);
        TK_MEMBER(getInjectorWellName);
        TK_MEMBER(getProducerWellNames);
        TK_MEMBER(getInjectorWellNames);
        TK_MEMBER(getWellStreamLineNumbers);
        TK_MEMBER(getWellNameStreamLineNumbers);
        TK_MEMBER(setProducers);
        // well lists
        TK_MEMBER(SetWellList);
        TK_MEMBER(GetWellList);
        TK_MEMBER(GetWellListNumbers);
        TK_MEMBER(GetWellDefinedAndInList);
        // WAF attachment and WAF well mapping
        TK_MEMBER(setWAF);
        TK_MEMBER(getWAFWellFromSLWell);
        TK_MEMBER(getSLWellFromWAFWell);
        TK_MEMBER(getWAFNumberProducers);
        TK_MEMBER(getWAFNumberWells);
        TK_MEMBER(getWAFNumberInjectors);
        TK_MEMBER(getWAFNumberDefinedWells);
        TK_MEMBER(getWAFWellNumber);
        TK_MEMBER(getWAFWellName);
        TK_MEMBER(getWAFWellDefined);
        TK_MEMBER(getWAFWellDefined_Single);
        TK_MEMBER(getWAFWellNameDefined);
        TK_MEMBER(getWAFWellType);
        TK_MEMBER(getWAFWellNameType);
        TK_MEMBER(getWAFWellTypes);
        TK_MEMBER(getWAFWellNames);
        TK_MEMBER(getWAFListOfWellNumbers);
        TK_MEMBER(getWAFListOfWellNames);
        TK_MEMBER(getWAFWellData);
        TK_MEMBER(getWAFWellNameData);
        TK_MEMBER(getWAFWellEfficiencies);
        TK_MEMBER(getWAFWellEfficiency);
        TK_MEMBER(getWAFWellEfficiencyData);
        TK_MEMBER(getWAFInjectorWellNames);
        TK_MEMBER(getWAFProducerWellNames);
        // attribute vector and raw pointers
        TK_MEMBER(SetClassVarsFromAttributes);
        TK_MEMBER(GetAllPointers);
        // streamline table
        TK_MEMBER(setStreamLineData);
        TK_MEMBER(setStreamLinePointers);
        TK_MEMBER(setHeaders);
        TK_MEMBER(getHeaders);
        TK_MEMBER(setStartDate);
        // single streamline extraction
        TK_MEMBER(getSingleStreamlineTOF);
        TK_MEMBER(getSingleStreamlineDRT);
        TK_MEMBER(getSingleStreamlineCells);
        TK_MEMBER(getSingleStreamlineProperty);
        TK_MEMBER(getSingleStreamlineIJK);
        TK_MEMBER(getSingleStreamlinePositions);
        TK_MEMBER(getSingleStreamline);
        TK_MEMBER(getSingleStreamlineData);
        TK_MEMBER(getSingleStartNodeIndex);
        TK_MEMBER(getSingleEndNodeIndex);
        TK_MEMBER(getSingleSourceIndex);
        TK_MEMBER(getSingleSinkIndex);
        TK_MEMBER(getSingleStartNodeName);
        TK_MEMBER(getSingleEndNodeName);
        // binary export and import
        TK_MEMBER(BINARYEXPORT);
        TK_MEMBER(BINARYIMPORT);
        noteEmptySlots(emptySlots(v));
        return v;
    }();
    return table;
}

IUnknown* createStreamSet() {
    return reinterpret_cast<IUnknown*>(&(new CoreObject<IrvStreamSet>(std::make_shared<rvStreamSet>()))->iface);
}

}  // namespace tkstream63::com
