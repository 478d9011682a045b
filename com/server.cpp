// The entry points of the in-process server: class factories, self-registration (per machine,
// or per user through DllInstall), and the unload test.
#include <olectl.h>

#include <string>

#include "com/class_objects.hpp"

// Exported by oleaut32 (Vista and later) but missing from MinGW's oleauto.h.
extern "C" {
WINOLEAUTAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR* helpDirectory);
WINOLEAUTAPI UnRegisterTypeLibForUser(REFGUID library, WORD major, WORD minor, LCID locale, SYSKIND kind);
}

namespace tkstream63::com {
namespace {

struct CreatableClass {
    const CLSID* clsid;
    const wchar_t* name;  // the coclass name; the ProgID is "tk174StreamStorage." + name
    IUnknown* (*create)();
};

const CreatableClass kClasses[] = {
    {&CLSID_rvStreamSet, L"rvStreamSet", &createStreamSet},
    {&CLSID_rvStreamStore, L"rvStreamStore", &createStreamStore},
    {&CLSID_rvWAFSet, L"rvWAFSet", &createWAFSet},
    {&CLSID_rvStreamStorageInfo, L"rvStreamStorageInfo", &createStreamStorageInfo},
    {&CLSID_RecordFile, L"RecordFile", &createRecordFile},
    {&CLSID_StreamStorageHost, L"StreamStorageHost", &createStreamStorageHost},
};

// ---- class factories (one static factory per class; they never go away) ----

struct Factory {
    IClassFactory iface;
    const CreatableClass* type;
};

Factory* factoryOf(IClassFactory* self) { return reinterpret_cast<Factory*>(self); }

HRESULT STDMETHODCALLTYPE factoryQueryInterface(IClassFactory* self, REFIID iid, void** out) {
    if (out == nullptr) return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IClassFactory)) {
        *out = self;
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}
ULONG STDMETHODCALLTYPE factoryAddRef(IClassFactory*) { return 2; }
ULONG STDMETHODCALLTYPE factoryRelease(IClassFactory*) { return 1; }

HRESULT STDMETHODCALLTYPE factoryCreateInstance(IClassFactory* self, IUnknown* outer, REFIID iid, void** out) {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    IUnknown* object = nullptr;
    try {
        object = factoryOf(self)->type->create();
    } catch (...) {
        return E_OUTOFMEMORY;
    }
    const HRESULT hr = object->lpVtbl->QueryInterface(object, iid, out);
    object->lpVtbl->Release(object);
    return hr;
}

HRESULT STDMETHODCALLTYPE factoryLockServer(IClassFactory*, BOOL lock) {
    lockModule(lock != FALSE);
    return S_OK;
}

const IClassFactoryVtbl kFactoryVtable = {factoryQueryInterface, factoryAddRef, factoryRelease,
                                          factoryCreateInstance, factoryLockServer};

Factory kFactories[] = {
    {{&kFactoryVtable}, &kClasses[0]}, {{&kFactoryVtable}, &kClasses[1]}, {{&kFactoryVtable}, &kClasses[2]},
    {{&kFactoryVtable}, &kClasses[3]}, {{&kFactoryVtable}, &kClasses[4]}, {{&kFactoryVtable}, &kClasses[5]},
};
static_assert(sizeof kFactories / sizeof kFactories[0] == sizeof kClasses / sizeof kClasses[0]);

// ---- registration ----

std::wstring guidText(const GUID& guid) {
    wchar_t text[40];
    StringFromGUID2(guid, text, 40);
    return text;
}

std::wstring modulePath() {
    wchar_t path[MAX_PATH * 4];
    const DWORD n = GetModuleFileNameW(moduleHandle(), path, sizeof path / sizeof path[0]);
    return std::wstring(path, n);
}

bool setValue(HKEY root, const std::wstring& key, const wchar_t* name, const std::wstring& value) {
    HKEY handle = nullptr;
    if (RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &handle, nullptr) != ERROR_SUCCESS)
        return false;
    const LONG status = RegSetValueExW(handle, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                                       static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(handle);
    return status == ERROR_SUCCESS;
}

// Classes, ProgIDs and the type library (with its interfaces) under root\Software\Classes.
HRESULT registerServer(HKEY root, bool perUser) {
    // Every object's vtable must be complete before the server offers itself.
    for (const CreatableClass& c : kClasses) {
        IUnknown* object = c.create();
        object->lpVtbl->Release(object);
    }
    if (emptySlotCount() != 0) return SELFREG_E_CLASS;

    const std::wstring classes = L"Software\\Classes\\";
    const std::wstring path = modulePath();
    const std::wstring library = guidText(LIBID_tk174StreamStorage);
    for (const CreatableClass& c : kClasses) {
        const std::wstring clsid = guidText(*c.clsid);
        const std::wstring progId = std::wstring(L"tk174StreamStorage.") + c.name;
        const std::wstring key = classes + L"CLSID\\" + clsid;
        const bool ok = setValue(root, key, nullptr, c.name) &&
                        setValue(root, key + L"\\InprocServer32", nullptr, path) &&
                        setValue(root, key + L"\\InprocServer32", L"ThreadingModel", L"Apartment") &&
                        setValue(root, key + L"\\ProgID", nullptr, progId) &&
                        setValue(root, key + L"\\TypeLib", nullptr, library) &&
                        setValue(root, key + L"\\Version", nullptr, L"6.3") &&
                        setValue(root, classes + progId, nullptr, c.name) &&
                        setValue(root, classes + progId + L"\\CLSID", nullptr, clsid);
        if (!ok) return SELFREG_E_CLASS;
    }
    ITypeLib* typeLibrary = nullptr;
    HRESULT hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &typeLibrary);
    if (FAILED(hr)) return SELFREG_E_TYPELIB;
    std::wstring pathCopy = path;
    hr = perUser ? RegisterTypeLibForUser(typeLibrary, pathCopy.data(), nullptr)
                 : RegisterTypeLib(typeLibrary, pathCopy.data(), nullptr);
    typeLibrary->lpVtbl->Release(typeLibrary);
    return FAILED(hr) ? SELFREG_E_TYPELIB : S_OK;
}

HRESULT unregisterServer(HKEY root, bool perUser) {
    const std::wstring classes = L"Software\\Classes\\";
    for (const CreatableClass& c : kClasses) {
        RegDeleteTreeW(root, (classes + L"CLSID\\" + guidText(*c.clsid)).c_str());
        RegDeleteTreeW(root, (classes + L"tk174StreamStorage." + c.name).c_str());
    }
    const SYSKIND kind = sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32;
    const HRESULT hr = perUser ? UnRegisterTypeLibForUser(LIBID_tk174StreamStorage, 6, 3, LOCALE_NEUTRAL, kind)
                               : UnRegisterTypeLib(LIBID_tk174StreamStorage, 6, 3, LOCALE_NEUTRAL, kind);
    (void)hr;  // a type library that was never registered is no failure here
    return S_OK;
}

}  // namespace
}  // namespace tkstream63::com

using namespace tkstream63::com;

extern "C" {

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    for (Factory& f : kFactories) {
        if (IsEqualCLSID(clsid, *f.type->clsid)) return factoryQueryInterface(&f.iface, iid, out);
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() { return liveObjects() == 0 && moduleLocks() == 0 ? S_OK : S_FALSE; }

// regsvr32 tkstream63.dll: for every user of the machine (needs administrator rights).
STDAPI DllRegisterServer() { return registerServer(HKEY_LOCAL_MACHINE, false); }
STDAPI DllUnregisterServer() { return unregisterServer(HKEY_LOCAL_MACHINE, false); }

// regsvr32 /n /i:user tkstream63.dll (and /u /n /i:user): for the current user only.
STDAPI DllInstall(BOOL install, LPCWSTR commandLine) {
    const bool perUser = commandLine != nullptr && _wcsicmp(commandLine, L"user") == 0;
    const HKEY root = perUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
    return install ? registerServer(root, perUser) : unregisterServer(root, perUser);
}

}  // extern "C"
