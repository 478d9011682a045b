// rvStreamStorageInfo as a COM object: the version report and the shutdown.
#include "com/class_objects.hpp"
#include "info/stream_storage_info.hpp"

namespace tkstream63::com {

template <>
const IrvStreamStorageInfoVtbl& CoreObject<IrvStreamStorageInfo>::vtable() {
    using Interface = IrvStreamStorageInfo;
    using Core = rvStreamStorageInfo;
    static const IrvStreamStorageInfoVtbl table = [] {
        IrvStreamStorageInfoVtbl v{};
        DispatchMembers<CoreObject<Interface>, Interface>::fill(v);
        TK_SLOT(get_DLLVersion, "DLLVersion",
                [](Core& c, std::string& LOGFILE, const std::string& StartupMsg, bool qLogToFile) {
                    return c.DLLVersion(LOGFILE, StartupMsg, qLogToFile);
                });
        TK_MEMBER(CloseDown);
        noteEmptySlots(emptySlots(v));
        return v;
    }();
    return table;
}

IUnknown* createStreamStorageInfo() {
    auto* object = new CoreObject<IrvStreamStorageInfo>(std::make_shared<rvStreamStorageInfo>());
    return reinterpret_cast<IUnknown*>(&object->iface);
}

}  // namespace tkstream63::com
