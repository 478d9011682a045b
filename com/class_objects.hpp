// The classes of the server: which library class and source name stand behind each interface,
// and the functions that create the creatable ones.
#pragma once

#include "com/com_object.hpp"

namespace tkstream63 {
class rvStreamSet;
class rvStreamStore;
class rvWAFSet;
class rvStreamStorageInfo;
}  // namespace tkstream63

namespace tkstream63::com {

#define TKSTREAM63_INTERFACE_INFO(Interface)                          \
    template <>                                                       \
    struct InterfaceInfo<Interface> {                                 \
        static const IID& iid() { return IID_##Interface; }           \
    };
TKSTREAM63_INTERFACE_INFO(IrvStreamSet)
TKSTREAM63_INTERFACE_INFO(IrvWAFSet)
TKSTREAM63_INTERFACE_INFO(IrvStreamStore)
TKSTREAM63_INTERFACE_INFO(IrvStreamStorageInfo)
TKSTREAM63_INTERFACE_INFO(IRecordFile)
TKSTREAM63_INTERFACE_INFO(IStreamStorageHost)
TKSTREAM63_INTERFACE_INFO(IChoiceCollection)
#undef TKSTREAM63_INTERFACE_INFO

template <>
struct CoreOf<IrvStreamSet> {
    using type = rvStreamSet;
    static constexpr std::string_view kSource = "rvStreamSet";
};
template <>
struct CoreOf<IrvWAFSet> {
    using type = rvWAFSet;
    static constexpr std::string_view kSource = "rvWAFSet";
};
template <>
struct CoreOf<IrvStreamStore> {
    using type = rvStreamStore;
    static constexpr std::string_view kSource = "rvStreamStore";
};
template <>
struct CoreOf<IrvStreamStorageInfo> {
    using type = rvStreamStorageInfo;
    static constexpr std::string_view kSource = "rvStreamStorageInfo";
};

// New objects of the creatable classes, each with one reference.
IUnknown* createStreamSet();
IUnknown* createWAFSet();
IUnknown* createStreamStore();
IUnknown* createStreamStorageInfo();
IUnknown* createRecordFile();
IUnknown* createStreamStorageHost();

}  // namespace tkstream63::com
