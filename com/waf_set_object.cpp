// rvWAFSet as a COM object: every member of IrvWAFSet forwarded to the library's WAF set.
#include "com/class_objects.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63::com {

template <>
const IrvWAFSetVtbl& CoreObject<IrvWAFSet>::vtable() {
    using Interface = IrvWAFSet;
    using Core = rvWAFSet;
    static const IrvWAFSetVtbl table = [] {
        IrvWAFSetVtbl v{};
        DispatchMembers<CoreObject<Interface>, Interface>::fill(v);
        // model and loading
        TK_MEMBER(setWAFData);
        TK_MEMBER(setWellIndices);
        TK_MEMBER(setWellTypes);
        TK_MEMBER(setWellsDefined);
        TK_MEMBER(setWellNames);
        TK_PROPERTY(NumberWells);
        TK_PROPERTY(NumberProducers);
        TK_PROPERTY(NumberInjectors);
        TK_GET(NumberDefinedWells);
        TK_MEMBER(setProducersData);
        TK_MEMBER(setInjectorsData);
        TK_MEMBER(setProducerData);
        TK_MEMBER(setInjectorData);
        TK_MEMBER(setSimulationDate);
        TK_MEMBER(setStartDate);
        TK_MEMBER(getSimulationDate);
        TK_MEMBER(getStartDate);
        TK_PROPERTY(SimulationTime);
        TK_PROPERTY(TimeStep);
        // rate and efficiency queries
        TK_MEMBER(getWellType);
        TK_MEMBER(getWellIndex);
        TK_MEMBER(getWellNameType);
        TK_MEMBER(getWellNameIndex);
        TK_MEMBER(getWellDefined);
        TK_MEMBER(getWellNameDefined);
        TK_MEMBER(getWellDefined_Incl_List);
        TK_MEMBER(getWellName);
        TK_MEMBER(getWellNumber);
        TK_MEMBER(getWellNames);
        TK_MEMBER(getWellIndices);
        TK_MEMBER(getWellTypes);
        TK_MEMBER(getWellsDefined);
        TK_MEMBER(getListOfWellNames);
        TK_MEMBER(getListOfWellIndices);
        TK_MEMBER(getWellWAFData);
        TK_MEMBER(getWellNameWAFData);
        TK_MEMBER(getWellEfficiency);
        TK_MEMBER(getWellEfficiencies);
        // binary export and import
        TK_MEMBER(BINARYEXPORT);
        TK_MEMBER(BINARYIMPORT);
        noteEmptySlots(emptySlots(v));
        return v;
    }();
    return table;
}

IUnknown* createWAFSet() {
    return reinterpret_cast<IUnknown*>(&(new CoreObject<IrvWAFSet>(std::make_shared<rvWAFSet>()))->iface);
}

}  // namespace tkstream63::com
