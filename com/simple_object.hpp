// Objects of the server that are not one of the four library classes (the record file, the host
// hooks, the button collection): reference counting and IDispatch come from DispatchMembers,
// the members are written out by hand.
#pragma once

#include <string_view>

#include "com/class_objects.hpp"

namespace tkstream63::com {

template <class Derived, class Interface>
struct SimpleObject {
    Interface iface;  // first, so the interface pointer is the object's address
    std::atomic<LONG> refs{1};

    SimpleObject() { objectCreated(); }
    ~SimpleObject() { objectDestroyed(); }
    SimpleObject(const SimpleObject&) = delete;
    SimpleObject& operator=(const SimpleObject&) = delete;

    static Derived* from(Interface* object) { return reinterpret_cast<Derived*>(object); }
};

// Runs a hand-written member under the library's error trap (reported under source and
// procedure); a null output pointer is refused before anything runs.
template <class Body>
HRESULT runMember(std::string_view source, std::string_view procedure, Body&& body) {
    prepareCall();
    bool pointerMissing = false;
    runTrapped(source, procedure, [&] {
        try {
            body();
        } catch (const RuntimeError& e) {
            if (e.number() == kErrInvalidCall && e.description() == "null pointer") {
                pointerMissing = true;
                return;
            }
            throw;
        }
    });
    return pointerMissing ? E_POINTER : S_OK;
}

template <class T>
T* output(T* pointer) {
    if (pointer == nullptr) raiseError(kErrInvalidCall, "null pointer");
    return pointer;
}

// Replaces a held interface pointer, keeping the reference counts right.
inline void holdDispatch(IDispatch*& held, IDispatch* value) {
    if (value != nullptr) value->lpVtbl->AddRef(value);
    if (held != nullptr) held->lpVtbl->Release(held);
    held = value;
}

// Calls a member of a host object by name (or its default member for an empty name); the
// arguments are given in their natural order.
HRESULT callHostObject(IDispatch* object, const wchar_t* name, VARIANT* args, UINT count,
                       VARIANT* result);

}  // namespace tkstream63::com
