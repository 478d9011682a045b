// Module-wide state of the server: its handle, live object and lock counts, the embedded type
// library, and the registry that keeps one COM object per library object.
#include <mutex>
#include <unordered_map>

#include "com/class_objects.hpp"

namespace tkstream63::com {
namespace {

std::atomic<long> objects{0};
std::atomic<long> locks{0};
std::atomic<int> missingSlots{0};

std::mutex registryMutex;
std::unordered_map<const void*, void*>& registry() {
    static auto* wrappers = new std::unordered_map<const void*, void*>;  // outlives every object
    return *wrappers;
}

std::once_flag typeLibraryLoaded;
ITypeLib* typeLibrary = nullptr;

ITypeLib* loadTypeLibrary() {
    std::call_once(typeLibraryLoaded, [] {
        wchar_t path[MAX_PATH * 4];
        const DWORD n = GetModuleFileNameW(moduleHandle(), path, sizeof path / sizeof path[0]);
        if (n == 0 || n >= sizeof path / sizeof path[0]) return;
        if (FAILED(LoadTypeLibEx(path, REGKIND_NONE, &typeLibrary))) typeLibrary = nullptr;
    });
    return typeLibrary;
}

}  // namespace

HMODULE moduleHandle() {
    static HMODULE module = [] {
        HMODULE found = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                               GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<LPCWSTR>(&moduleHandle), &found);
        return found;
    }();
    return module;
}

void objectCreated() noexcept { ++objects; }
void objectDestroyed() noexcept { --objects; }
long liveObjects() noexcept { return objects; }
void lockModule(bool lock) noexcept { lock ? ++locks : --locks; }
long moduleLocks() noexcept { return locks; }
void noteEmptySlots(int count) noexcept { missingSlots += count; }
int emptySlotCount() noexcept { return missingSlots; }

HRESULT dispatchTypeInfo(REFIID iid, ITypeInfo** info) {
    ITypeLib* library = loadTypeLibrary();
    if (library == nullptr) return TYPE_E_CANTLOADLIBRARY;
    return library->lpVtbl->GetTypeInfoOfGuid(library, iid, info);
}

HRESULT interfaceTypeInfo(REFIID iid, ITypeInfo** info) {
    // A dual interface is described twice; the vtable view is the one the dispatch view refers to
    // as its implemented type -1.
    ITypeInfo* dispatch = nullptr;
    HRESULT hr = dispatchTypeInfo(iid, &dispatch);
    if (FAILED(hr)) return hr;
    HREFTYPE vtableView = 0;
    hr = dispatch->lpVtbl->GetRefTypeOfImplType(dispatch, static_cast<UINT>(-1), &vtableView);
    if (SUCCEEDED(hr)) hr = dispatch->lpVtbl->GetRefTypeInfo(dispatch, vtableView, info);
    dispatch->lpVtbl->Release(dispatch);
    return hr;
}

void rememberWrapper(const void* core, void* object) {
    std::lock_guard<std::mutex> lock(registryMutex);
    registry()[core] = object;
}

void forgetWrapper(const void* core, void* object) {
    std::lock_guard<std::mutex> lock(registryMutex);
    auto found = registry().find(core);
    if (found != registry().end() && found->second == object) registry().erase(found);
}

void* findWrapper(const void* core) {
    auto found = registry().find(core);
    return found == registry().end() ? nullptr : found->second;
}

template <class Interface>
Interface* findAndAddRef(const void* core) {
    std::lock_guard<std::mutex> lock(registryMutex);
    auto* object = static_cast<CoreObject<Interface>*>(findWrapper(core));
    if (object == nullptr) return nullptr;
    // An object whose last reference is going away right now is not handed out again.
    LONG refs = object->refs.load();
    while (refs > 0 && !object->refs.compare_exchange_weak(refs, refs + 1)) {
    }
    return refs > 0 ? &object->iface : nullptr;
}
template IrvStreamSet* findAndAddRef<IrvStreamSet>(const void*);
template IrvWAFSet* findAndAddRef<IrvWAFSet>(const void*);

}  // namespace tkstream63::com
