// The machinery every COM object of the server shares.
//
// Objects are C-style COM objects: the first member is the interface (a pointer to a static
// vtable), so an interface pointer is the object's address. Each vtable slot of a class member is
// filled by a thunk generated from two things only: the slot's own function type (from the
// widl-generated header) and the C++ member it forwards to. The thunk converts every COM
// argument into the C++ parameter type the member takes (by-value, const reference or mutable
// reference decide between input and in/out), calls the member under the error trap and writes
// the in/out arguments back. So the C++ side of a member is one line, and a mismatch between the
// type library and the C++ member is a compile error.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "com/com_convert.hpp"
#include "common/errors.hpp"
#include "tk174StreamStorage.h"

namespace tkstream63 {
class RecordFile;
}

namespace tkstream63::com {

// ---- module state ----
HMODULE moduleHandle();
void objectCreated() noexcept;
void objectDestroyed() noexcept;
long liveObjects() noexcept;
void lockModule(bool lock) noexcept;
long moduleLocks() noexcept;

// Type information from the type library embedded in this module. The dispatch view serves
// IDispatch::GetTypeInfo; the interface view (names, vtable offsets, by-reference
// parameters, optional defaults) drives the converting Invoke.
HRESULT dispatchTypeInfo(REFIID iid, ITypeInfo** info);
HRESULT interfaceTypeInfo(REFIID iid, ITypeInfo** info);

// The late-bound call of any dual interface: arguments are converted to the exact types the
// type library gives (by-reference variants and variant arrays into typed temporaries),
// the member is called through its vtable slot, and by-reference results are written back into
// the caller's variants (arrays as variant arrays, which scripts can index).
// GetIDsOfNames of any dual interface, from a table built once per interface.
HRESULT idsOfNames(REFIID iid, LPOLESTR* names, UINT count, DISPID* ids);
HRESULT invokeConverted(void* self, REFIID iid, DISPID member, WORD flags, DISPPARAMS* params,
                        VARIANT* result, EXCEPINFO* exception, UINT* argumentError);

// Before every call of a class member: puts the host's hooks (error reporter, dialog) back in
// place if the library released them (CloseDown) since the last call.
void prepareCall();

// Raises "Invalid procedure call or argument" for a null argument pointer.
template <class T>
T* required(T* pointer) {
    if (pointer == nullptr) raiseError(kErrInvalidCall);
    return pointer;
}

// ---- procedure names as template arguments ----
template <size_t N>
struct ProcedureName {
    char text[N];
    constexpr ProcedureName(const char (&name)[N]) { std::copy_n(name, N, text); }
};

// ---- scalar conversions ----
template <class C>
concept ComScalar = std::is_same_v<C, LONG> || std::is_same_v<C, float> ||
                    std::is_same_v<C, double> || std::is_same_v<C, VARIANT_BOOL> ||
                    std::is_same_v<C, BSTR>;

template <class Value, class C>
Value fromCom(C value) {
    if constexpr (std::is_same_v<Value, bool>) return fromVariantBool(value);
    else if constexpr (std::is_same_v<Value, std::string>) return fromBSTR(value);
    else return static_cast<Value>(value);
}
inline void toCom(int32_t value, LONG* target) { *target = value; }
inline void toCom(float value, float* target) { *target = value; }
inline void toCom(double value, double* target) { *target = value; }
inline void toCom(bool value, VARIANT_BOOL* target) { *target = toVariantBool(value); }
inline void toCom(const std::string& value, BSTR* target) { assignBSTR(target, value); }

// A member's [out, retval] result; the caller's storage holds nothing yet.
inline void setResult(LONG* target, int32_t value) { *required(target) = value; }
inline void setResult(float* target, float value) { *required(target) = value; }
inline void setResult(VARIANT_BOOL* target, bool value) { *required(target) = toVariantBool(value); }
inline void setResult(BSTR* target, const std::string& value) { *required(target) = toBSTR(value); }

// ---- arguments: one COM argument seen as the C++ parameter P ----
template <class P, class C>
struct Argument;  // no conversion defined for this pair: a compile error names it

template <class P>
constexpr bool isMutableReference =
    std::is_lvalue_reference_v<P> && !std::is_const_v<std::remove_reference_t<P>>;

// A scalar passed by value (the value of a property let).
template <class P, ComScalar C>
struct Argument<P, C> {
    static_assert(!isMutableReference<P>);
    std::remove_cvref_t<P> value;
    explicit Argument(C argument) : value(fromCom<std::remove_cvref_t<P>>(argument)) {}
    const std::remove_cvref_t<P>& get() const { return value; }
    void writeBack() {}
};

// A scalar passed by reference: an input when the member takes a value or a const reference,
// in/out when it takes a mutable reference.
template <class P, ComScalar C>
struct Argument<P, C*> {
    using Value = std::remove_cvref_t<P>;
    C* target;
    Value value;
    explicit Argument(C* argument) : target(required(argument)), value(fromCom<Value>(*argument)) {}
    auto& get() {
        if constexpr (isMutableReference<P>) return value;
        else return std::as_const(value);
    }
    void writeBack() {
        if constexpr (isMutableReference<P>) toCom(value, target);
    }
};

// An array passed by reference. Numeric arrays are borrowed in place (locked while the member
// runs); other element types are converted. In/out arrays are written back only when the member
// gave them new contents of their own.
template <class P, class T>
struct ArrayArgument {
    SAFEARRAY** target;
    std::optional<LockedData> lock;
    Array<T> array;
    const T* borrowedBlock = nullptr;

    explicit ArrayArgument(SAFEARRAY** argument) : target(required(argument)) {
        SAFEARRAY* source = *argument;
        if constexpr (isBlockType<T>) {
            const ArrayShape shape = shapeOf(source);
            if (shape.rank == 0) return;
            requireElementType(source, elementVarType<T>(), sizeof(T));
            lock.emplace(source);
            T* block = static_cast<T*>(lock->data());
            array = shape.rank == 1 ? Array<T>::borrow(block, shape.lower[0], shape.upper[0])
                                    : Array<T>::borrow(block, shape.lower[0], shape.upper[0],
                                                       shape.lower[1], shape.upper[1]);
            borrowedBlock = block;
        } else {
            array = arrayFrom<T>(source);
        }
    }
    auto& get() {
        if constexpr (isMutableReference<P>) return array;
        else return std::as_const(array);
    }
    void writeBack() {
        if constexpr (isMutableReference<P>) {
            if (borrowedBlock != nullptr && array.data() == borrowedBlock) return;  // written in place
            lock.reset();
            arrayInto(array, target);
        }
    }
};
template <class T>
struct Argument<const Array<T>&, SAFEARRAY**> : ArrayArgument<const Array<T>&, T> {
    using ArrayArgument<const Array<T>&, T>::ArrayArgument;
};
template <class T>
struct Argument<Array<T>&, SAFEARRAY**> : ArrayArgument<Array<T>&, T> {
    using ArrayArgument<Array<T>&, T>::ArrayArgument;
};

// ---- objects ----
// Which library class stands behind which interface.
template <class Interface>
struct CoreOf;

// The library object behind one of this server's interface pointers; empty for a null pointer,
// Type mismatch for an object of another server.
template <class Interface>
std::shared_ptr<typename CoreOf<Interface>::type> unwrap(Interface* object);
// The COM object for a library object (the same one each time while it lives), AddRef'ed; null
// for an empty pointer.
template <class Interface>
Interface* wrap(const std::shared_ptr<typename CoreOf<Interface>::type>& core);

template <class P, class Interface>
    requires requires { typename CoreOf<Interface>::type; }
struct Argument<P, Interface**> {
    using Pointer = std::shared_ptr<typename CoreOf<Interface>::type>;
    static_assert(std::is_same_v<std::remove_cvref_t<P>, Pointer>);
    Interface** target;
    Pointer value;
    explicit Argument(Interface** argument) : target(required(argument)), value(unwrap(*argument)) {}
    auto& get() {
        if constexpr (isMutableReference<P>) return value;
        else return std::as_const(value);
    }
    void writeBack() {
        if constexpr (isMutableReference<P>) {
            if (unwrap(*target) == value) return;
            Interface* fresh = wrap<Interface>(value);
            if (*target != nullptr) (*target)->lpVtbl->Release(*target);
            *target = fresh;
        }
    }
};

// The host's record file.
RecordFile& recordFileOf(IRecordFile* object);
template <>
struct Argument<RecordFile&, IRecordFile**> {
    RecordFile& file;
    explicit Argument(IRecordFile** argument) : file(recordFileOf(*required(argument))) {}
    RecordFile& get() { return file; }
    void writeBack() {}
};

// ---- calling a member ----
// Result and parameter types of a forwarding target: a member function of the library class,
// or a captureless lambda taking the library object first (for overloaded names).
template <class F>
struct LambdaTraits;
template <class R, class L, class Core, class... P>
struct LambdaTraits<R (L::*)(Core&, P...) const> {
    using Result = R;
    using Params = std::tuple<P...>;
};
template <class F>
struct TargetTraits : LambdaTraits<decltype(&F::operator())> {};
#define TKSTREAM63_MEMBER_TRAITS(qualifiers)                       \
    template <class R, class C, class... P>                        \
    struct TargetTraits<R (C::*)(P...) qualifiers> {               \
        using Result = R;                                          \
        using Params = std::tuple<P...>;                           \
    };
TKSTREAM63_MEMBER_TRAITS()
TKSTREAM63_MEMBER_TRAITS(const)
TKSTREAM63_MEMBER_TRAITS(noexcept)
TKSTREAM63_MEMBER_TRAITS(const noexcept)
#undef TKSTREAM63_MEMBER_TRAITS

template <class Core, class Target, class R, class... P, class... C>
void callConverted(Core& core, Target target, std::tuple<P...>*, std::tuple<C...> com) {
    constexpr size_t n = sizeof...(P);
    static_assert(sizeof...(C) == n + (std::is_void_v<R> ? 0 : 1),
                  "the type library's member and the C++ member take different arguments");
    [&]<size_t... I>(std::index_sequence<I...>) {
        std::tuple<Argument<P, std::tuple_element_t<I, std::tuple<C...>>>...> arguments(
            std::get<I>(com)...);
        if constexpr (std::is_void_v<R>) {
            std::invoke(target, core, std::get<I>(arguments).get()...);
            (std::get<I>(arguments).writeBack(), ...);
        } else {
            R result = std::invoke(target, core, std::get<I>(arguments).get()...);
            (std::get<I>(arguments).writeBack(), ...);
            setResult(std::get<n>(com), result);
        }
    }(std::make_index_sequence<n>{});
}

// Runs a member of the object's library class under the library's error trap; conversion
// failures are reported like failures inside the member. The member's outcome travels in its
// own results (qOK and the like), so the call itself succeeds.
template <auto target, class Core, class... C>
HRESULT callMember(std::string_view source, std::string_view procedure, Core& core, C... args) {
    using Traits = TargetTraits<std::remove_cvref_t<decltype(target)>>;
    prepareCall();
    runTrapped(source, procedure, [&] {
        callConverted<Core, decltype(target), typename Traits::Result>(
            core, target, static_cast<typename Traits::Params*>(nullptr), std::tuple<C...>(args...));
    });
    return S_OK;
}

// ---- objects of the server ----
template <class Interface>
struct InterfaceInfo;  // iid(): the interface identifier
template <class Interface>
using VtableOf = std::remove_cvref_t<decltype(*std::declval<Interface>().lpVtbl)>;

// One COM object around one library object (a shared reference: the store, a dataset and the
// host may all hold the same dataset).
template <class Interface>
struct CoreObject {
    using Core = typename CoreOf<Interface>::type;
    Interface iface;  // first, so the interface pointer is the object's address
    std::atomic<LONG> refs{1};
    std::shared_ptr<Core> core;

    explicit CoreObject(std::shared_ptr<Core> object);
    ~CoreObject();
    CoreObject(const CoreObject&) = delete;
    CoreObject& operator=(const CoreObject&) = delete;

    static CoreObject* from(Interface* object) { return reinterpret_cast<CoreObject*>(object); }
    static const VtableOf<Interface>& vtable();  // defined beside the class's member list
    Core& coreObject() { return *core; }
};

// Keeps one COM object per library object, so a dataset handed out twice is the same object
// to the host.
void rememberWrapper(const void* core, void* object);
void forgetWrapper(const void* core, void* object);
void* findWrapper(const void* core);  // AddRef'ed by the caller under the registry's lock
template <class Interface>
Interface* findAndAddRef(const void* core);

template <class Interface>
CoreObject<Interface>::CoreObject(std::shared_ptr<Core> object) : core(std::move(object)) {
    iface.lpVtbl = &vtable();
    rememberWrapper(core.get(), this);
    objectCreated();
}

template <class Interface>
CoreObject<Interface>::~CoreObject() {
    forgetWrapper(core.get(), this);
    objectDestroyed();
}

template <class Interface>
std::shared_ptr<typename CoreOf<Interface>::type> unwrap(Interface* object) {
    if (object == nullptr) return nullptr;
    if (object->lpVtbl != &CoreObject<Interface>::vtable()) raiseError(kErrTypeMismatch);
    return CoreObject<Interface>::from(object)->core;
}

template <class Interface>
Interface* wrap(const std::shared_ptr<typename CoreOf<Interface>::type>& core) {
    if (!core) return nullptr;
    if (Interface* known = findAndAddRef<Interface>(core.get())) return known;
    return &(new CoreObject<Interface>(core))->iface;
}

// IUnknown and IDispatch for every object of the server.
template <class Object, class Interface>
struct DispatchMembers {
    static HRESULT STDMETHODCALLTYPE QueryInterface(Interface* self, REFIID iid, void** out) {
        if (out == nullptr) return E_POINTER;
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch) ||
            IsEqualIID(iid, InterfaceInfo<Interface>::iid())) {
            AddRef(self);
            *out = self;
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    static ULONG STDMETHODCALLTYPE AddRef(Interface* self) { return ++Object::from(self)->refs; }
    static ULONG STDMETHODCALLTYPE Release(Interface* self) {
        Object* object = Object::from(self);
        const LONG left = --object->refs;
        if (left == 0) delete object;
        return static_cast<ULONG>(left);
    }
    static HRESULT STDMETHODCALLTYPE GetTypeInfoCount(Interface*, UINT* count) {
        if (count == nullptr) return E_POINTER;
        *count = 1;
        return S_OK;
    }
    static HRESULT STDMETHODCALLTYPE GetTypeInfo(Interface*, UINT index, LCID, ITypeInfo** info) {
        if (info == nullptr) return E_POINTER;
        *info = nullptr;
        if (index != 0) return DISP_E_BADINDEX;
        return dispatchTypeInfo(InterfaceInfo<Interface>::iid(), info);
    }
    static HRESULT STDMETHODCALLTYPE GetIDsOfNames(Interface*, REFIID, LPOLESTR* names, UINT count,
                                                   LCID, DISPID* ids) {
        return idsOfNames(InterfaceInfo<Interface>::iid(), names, count, ids);
    }
    static HRESULT STDMETHODCALLTYPE Invoke(Interface* self, DISPID member, REFIID, LCID, WORD flags,
                                            DISPPARAMS* params, VARIANT* result,
                                            EXCEPINFO* exception, UINT* argumentError) {
        return invokeConverted(self, InterfaceInfo<Interface>::iid(), member, flags, params, result, exception,
                               argumentError);
    }
    template <class Vtable>
    static void fill(Vtable& v) {
        v.QueryInterface = &QueryInterface;
        v.AddRef = &AddRef;
        v.Release = &Release;
        v.GetTypeInfoCount = &GetTypeInfoCount;
        v.GetTypeInfo = &GetTypeInfo;
        v.GetIDsOfNames = &GetIDsOfNames;
        v.Invoke = &Invoke;
    }
};

// The vtable slot of one class member.
template <class Interface, ProcedureName name, auto target, class Slot>
struct MemberSlot;
template <class Interface, ProcedureName name, auto target, class... C>
struct MemberSlot<Interface, name, target, HRESULT(STDMETHODCALLTYPE*)(Interface*, C...)> {
    static HRESULT STDMETHODCALLTYPE call(Interface* self, C... args) {
        auto* object = CoreObject<Interface>::from(self);
        return callMember<target>(CoreOf<Interface>::kSource, name.text, object->coreObject(), args...);
    }
};

// Counts the slots of a vtable that nothing filled (a member missing from the C++ list).
template <class Vtable>
int emptySlots(const Vtable& v) {
    static_assert(sizeof(Vtable) % sizeof(void*) == 0);
    void* slots[sizeof(Vtable) / sizeof(void*)];
    std::memcpy(slots, &v, sizeof v);
    return static_cast<int>(std::count(std::begin(slots), std::end(slots), nullptr));
}
void noteEmptySlots(int count) noexcept;
int emptySlotCount() noexcept;  // DllRegisterServer refuses an incomplete server

}  // namespace tkstream63::com

// Filling a vtable `v` of a class whose library type is `Core` (both names in scope):
// a member forwarded to the library member of the same name, or to a lambda for overloaded
// names; a property read or written through the library's property of the same name, plain or
// indexed by the dataset number.
#define TK_SLOT(slot, procedure, ...)                                                           \
    v.slot = &::tkstream63::com::MemberSlot<Interface, procedure, __VA_ARGS__, decltype(v.slot)>::call
#define TK_MEMBER(name) TK_SLOT(name, #name, &Core::name)
#define TK_MEMBER_AS(name, ...) TK_SLOT(name, #name, __VA_ARGS__)
#define TK_GET(name) TK_SLOT(get_##name, #name, [](Core& c) { return c.name(); })
#define TK_PUT(name)                                                                            \
    TK_SLOT(put_##name, #name,                                                                  \
            [](Core& c, const std::remove_cvref_t<decltype(c.name())>& value) { c.name(value); })
#define TK_GET_AT(name) TK_SLOT(get_##name, #name, [](Core& c, int32_t i) { return c.name(i); })
#define TK_PUT_AT(name)                                                                         \
    TK_SLOT(put_##name, #name,                                                                  \
            [](Core& c, int32_t i, const std::remove_cvref_t<decltype(c.name(i))>& value) {     \
                c.name(i, value);                                                               \
            })
#define TK_PROPERTY(name) \
    TK_GET(name);         \
    TK_PUT(name)
