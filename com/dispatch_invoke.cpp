// The one converting Invoke behind every dual interface of the server.
//
// Script hosts pass every variable by reference as a variant (VT_BYREF | VT_VARIANT) and arrays
// as arrays of variants, while the members take typed references (long*, SAFEARRAY(float)*,
// IrvWAFSet**). The standard DispInvoke refuses that mismatch, so this Invoke reads the member's
// description from the type library, converts each argument into a typed temporary (or passes
// the caller's storage straight through when it already has the exact type), calls the vtable
// slot, and writes the by-reference results back into the caller's variants.
#include <algorithm>
#include <cwctype>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "com/com_object.hpp"

namespace tkstream63::com {
namespace {

// One parameter as the type library describes it.
struct Parameter {
    VARTYPE type = VT_EMPTY;  // VT_I4, VT_R4, VT_BSTR, VT_ARRAY | element, VT_UNKNOWN, ...
    IID iid = IID_NULL;       // for an interface pointer of this type library
    bool byReference = false;
    bool optional = false;
    bool retval = false;
    VARIANT fallback{};       // the declared default of an optional parameter (VT_EMPTY if none)
};

struct Function {
    MEMBERID member;
    INVOKEKIND kind;
    SHORT vtableOffset;
    std::vector<Parameter> parameters;
    std::vector<std::wstring> parameterNames;  // case-folded, for named arguments
};

// Everything a late-bound call needs of one interface, read from the type library once: script
// hosts look every member up by name before each call, and the type library's own lookup is a
// linear search with string comparisons.
struct InterfaceDescription {
    std::vector<Function> functions;
    std::unordered_map<std::wstring, size_t> byName;  // case-folded name -> first function
    std::unordered_multimap<MEMBERID, size_t> byMember;
};

std::wstring folded(const wchar_t* name) {
    std::wstring result = name != nullptr ? name : L"";
    for (wchar_t& c : result) c = static_cast<wchar_t>(towlower(c));
    return result;
}

Parameter describe(ITypeInfo* info, const ELEMDESC& element) {
    Parameter p;
    const USHORT flags = element.paramdesc.wParamFlags;
    p.retval = (flags & PARAMFLAG_FRETVAL) != 0;
    p.optional = (flags & PARAMFLAG_FOPT) != 0;
    if ((flags & PARAMFLAG_FHASDEFAULT) && element.paramdesc.pparamdescex != nullptr)
        VariantCopy(&p.fallback, &element.paramdesc.pparamdescex->varDefaultValue);
    const TYPEDESC* type = &element.tdesc;
    // An interface pointer is VT_PTR to VT_USERDEFINED; one VT_PTR more makes it by reference.
    if (type->vt == VT_PTR && type->lptdesc->vt != VT_USERDEFINED) {
        p.byReference = true;
        type = type->lptdesc;
    }
    if (type->vt == VT_PTR && type->lptdesc->vt == VT_USERDEFINED) {
        p.type = VT_UNKNOWN;
        ITypeInfo* target = nullptr;
        if (SUCCEEDED(info->lpVtbl->GetRefTypeInfo(info, type->lptdesc->hreftype, &target))) {
            TYPEATTR* attributes = nullptr;
            if (SUCCEEDED(target->lpVtbl->GetTypeAttr(target, &attributes))) {
                p.iid = attributes->guid;
                target->lpVtbl->ReleaseTypeAttr(target, attributes);
            }
            target->lpVtbl->Release(target);
        }
    } else if (type->vt == VT_SAFEARRAY) {
        p.type = static_cast<VARTYPE>(VT_ARRAY | type->lptdesc->vt);
    } else {
        p.type = type->vt;
    }
    if (p.type == VT_DISPATCH) p.type = VT_UNKNOWN, p.iid = IID_IDispatch;
    return p;
}

const InterfaceDescription* readInterface(REFIID iid) {
    ITypeInfo* info = nullptr;
    if (FAILED(interfaceTypeInfo(iid, &info))) return nullptr;
    auto* description = new InterfaceDescription;  // kept for the module's lifetime
    TYPEATTR* attributes = nullptr;
    if (SUCCEEDED(info->lpVtbl->GetTypeAttr(info, &attributes))) {
        for (UINT f = 0; f < attributes->cFuncs; ++f) {
            FUNCDESC* fd = nullptr;
            if (FAILED(info->lpVtbl->GetFuncDesc(info, f, &fd))) continue;
            Function function{fd->memid, fd->invkind, fd->oVft, {}, {}};
            for (SHORT a = 0; a < fd->cParams; ++a) function.parameters.push_back(describe(info, fd->lprgelemdescParam[a]));
            BSTR names[64] = {};
            UINT named = 0;
            if (SUCCEEDED(info->lpVtbl->GetNames(info, fd->memid, names, 64, &named)) && named > 0) {
                description->byName.emplace(folded(names[0]), description->functions.size());
                for (UINT n = 1; n < named; ++n) function.parameterNames.push_back(folded(names[n]));
                for (UINT n = 0; n < named; ++n) SysFreeString(names[n]);
            }
            description->byMember.emplace(fd->memid, description->functions.size());
            description->functions.push_back(std::move(function));
            info->lpVtbl->ReleaseFuncDesc(info, fd);
        }
        info->lpVtbl->ReleaseTypeAttr(info, attributes);
    }
    info->lpVtbl->Release(info);
    return description;
}

const InterfaceDescription* describeInterface(REFIID iid) {
    static std::mutex mutex;
    static std::vector<std::pair<IID, const InterfaceDescription*>> known;
    std::lock_guard<std::mutex> lock(mutex);
    for (const auto& [id, description] : known)
        if (IsEqualIID(id, iid)) return description;
    const InterfaceDescription* description = readInterface(iid);
    if (description != nullptr) known.emplace_back(iid, description);
    return description;
}

const Function* findFunction(const InterfaceDescription& description, DISPID member, WORD flags) {
    auto find = [&](INVOKEKIND kind) -> const Function* {
        const auto [first, last] = description.byMember.equal_range(member);
        for (auto k = first; k != last; ++k)
            if (description.functions[k->second].kind == kind) return &description.functions[k->second];
        return nullptr;
    };
    const Function* found = nullptr;
    if (flags & DISPATCH_PROPERTYPUTREF) {
        if (!(found = find(INVOKE_PROPERTYPUTREF))) found = find(INVOKE_PROPERTYPUT);
    } else if (flags & DISPATCH_PROPERTYPUT) {
        if (!(found = find(INVOKE_PROPERTYPUT))) found = find(INVOKE_PROPERTYPUTREF);
    } else {
        if (flags & DISPATCH_METHOD) found = find(INVOKE_FUNC);
        if (!found) found = find(INVOKE_PROPERTYGET);
        if (!found && !(flags & DISPATCH_METHOD)) found = find(INVOKE_FUNC);
    }
    return found;
}

// The variant a by-reference variant finally refers to.
VARIANT* innermost(VARIANT* v) {
    while (V_VT(v) == (VT_BYREF | VT_VARIANT) && V_VARIANTREF(v) != nullptr) v = V_VARIANTREF(v);
    return v;
}

bool isMissing(const VARIANT* v) {
    return v == nullptr || (V_VT(v) == VT_ERROR && V_ERROR(v) == DISP_E_PARAMNOTFOUND);
}

// Number of elements of an array of any rank.
size_t arrayCount(SAFEARRAY* array) {
    size_t count = 1;
    for (USHORT d = 0; d < array->cDims; ++d) count *= array->rgsabound[d].cElements;
    return count;
}

// Stores one element of a script's variant array into a typed array's slot; an element that
// already has the slot's type is copied without the general conversion (a string is borrowed,
// not copied, when asked).
HRESULT storeElement(VARIANT& from, VARTYPE element, void* slot, bool borrowStrings) {
    VARIANT converted;
    VariantInit(&converted);
    const VARIANT* value = &from;
    if (V_VT(&from) == VT_BSTR && element == VT_BSTR && borrowStrings) {
        *static_cast<BSTR*>(slot) = V_BSTR(&from);
        return S_OK;
    }
    if (V_VT(&from) == VT_BSTR && element == VT_BSTR) {
        V_VT(&converted) = VT_BSTR;
        V_BSTR(&converted) = SysAllocStringLen(V_BSTR(&from), SysStringLen(V_BSTR(&from)));
        if (V_BSTR(&from) != nullptr && V_BSTR(&converted) == nullptr) return E_OUTOFMEMORY;
        value = &converted;
    } else if (V_VT(&from) != element) {
        const HRESULT hr = VariantChangeType(&converted, &from, 0, element);
        if (FAILED(hr)) return hr;
        value = &converted;
    }
    switch (element) {
        case VT_BSTR: *static_cast<BSTR*>(slot) = V_BSTR(value); break;  // moved, not freed
        case VT_BOOL: *static_cast<VARIANT_BOOL*>(slot) = V_BOOL(value); break;
        case VT_R8: *static_cast<double*>(slot) = V_R8(value); break;
        case VT_R4: *static_cast<float*>(slot) = V_R4(value); break;
        case VT_I2: *static_cast<SHORT*>(slot) = V_I2(value); break;
        default: *static_cast<LONG*>(slot) = V_I4(value); break;
    }
    return S_OK;
}

// True when a typed string array's slot holds the very string of the variant it came from.
bool isBorrowed(const VARIANT& from, BSTR slot) { return V_VT(&from) == VT_BSTR && V_BSTR(&from) == slot && slot != nullptr; }

// Converts a script's variant array into a typed array of the same bounds.
HRESULT typedFromVariantArray(SAFEARRAY* source, VARTYPE element, SAFEARRAY** target, bool borrowStrings) {
    const UINT rank = SafeArrayGetDim(source);
    if (rank < 1 || rank > 2) return DISP_E_TYPEMISMATCH;
    SAFEARRAYBOUND bounds[2] = {};
    for (UINT d = 1; d <= rank; ++d) {
        LONG lower = 0, upper = 0;
        SafeArrayGetLBound(source, d, &lower);
        SafeArrayGetUBound(source, d, &upper);
        bounds[d - 1].lLbound = lower;
        bounds[d - 1].cElements = static_cast<ULONG>(upper - lower + 1);
    }
    SAFEARRAY* fresh = SafeArrayCreate(element, rank, bounds);
    if (fresh == nullptr) return E_OUTOFMEMORY;
    size_t count = 1;
    for (UINT d = 0; d < rank; ++d) count *= bounds[d].cElements;
    VARIANT* from = nullptr;
    unsigned char* to = nullptr;
    HRESULT hr = SafeArrayAccessData(source, reinterpret_cast<void**>(&from));
    if (SUCCEEDED(hr)) {
        hr = SafeArrayAccessData(fresh, reinterpret_cast<void**>(&to));
        for (size_t k = 0; SUCCEEDED(hr) && k < count; ++k)
            hr = storeElement(from[k], element, to + k * fresh->cbElements, borrowStrings);
        if (FAILED(hr) && to != nullptr && borrowStrings) {  // the caller's strings stay the caller's
            BSTR* strings = reinterpret_cast<BSTR*>(to);
            for (size_t k = 0; k < count; ++k)
                if (isBorrowed(from[k], strings[k])) strings[k] = nullptr;
        }
        if (to != nullptr) SafeArrayUnaccessData(fresh);
        SafeArrayUnaccessData(source);
    }
    if (FAILED(hr)) {
        SafeArrayDestroy(fresh);
        return DISP_E_TYPEMISMATCH;
    }
    *target = fresh;
    return S_OK;
}

// A typed array of our own as an array of variants (the form scripts can index); its strings
// move into the variants.
HRESULT variantArrayFromTyped(SAFEARRAY* source, SAFEARRAY** target) {
    VARTYPE element = VT_EMPTY;
    if (FAILED(SafeArrayGetVartype(source, &element))) return DISP_E_TYPEMISMATCH;
    const UINT rank = SafeArrayGetDim(source);
    SAFEARRAYBOUND bounds[2] = {};
    for (UINT d = 1; d <= rank && d <= 2; ++d) {
        LONG lower = 0, upper = 0;
        SafeArrayGetLBound(source, d, &lower);
        SafeArrayGetUBound(source, d, &upper);
        bounds[d - 1].lLbound = lower;
        bounds[d - 1].cElements = static_cast<ULONG>(upper - lower + 1);
    }
    SAFEARRAY* fresh = SafeArrayCreate(VT_VARIANT, rank, bounds);
    if (fresh == nullptr) return E_OUTOFMEMORY;
    size_t count = rank > 0 ? 1 : 0;
    for (UINT d = 0; d < rank; ++d) count *= bounds[d].cElements;
    unsigned char* from = nullptr;
    VARIANT* to = nullptr;
    HRESULT hr = SafeArrayAccessData(source, reinterpret_cast<void**>(&from));
    if (SUCCEEDED(hr)) {
        hr = SafeArrayAccessData(fresh, reinterpret_cast<void**>(&to));
        for (size_t k = 0; SUCCEEDED(hr) && k < count; ++k) {
            void* slot = from + k * source->cbElements;
            VARIANT& v = to[k];
            V_VT(&v) = element;
            switch (element) {
                case VT_BSTR:
                    V_BSTR(&v) = *static_cast<BSTR*>(slot);
                    *static_cast<BSTR*>(slot) = nullptr;
                    break;
                case VT_BOOL: V_BOOL(&v) = *static_cast<VARIANT_BOOL*>(slot); break;
                case VT_R8: V_R8(&v) = *static_cast<double*>(slot); break;
                case VT_R4: V_R4(&v) = *static_cast<float*>(slot); break;
                case VT_I2: V_I2(&v) = *static_cast<SHORT*>(slot); break;
                case VT_I4: case VT_INT: V_VT(&v) = VT_I4; V_I4(&v) = *static_cast<LONG*>(slot); break;
                default: V_VT(&v) = VT_EMPTY; hr = DISP_E_TYPEMISMATCH; break;
            }
        }
        if (to != nullptr) SafeArrayUnaccessData(fresh);
        SafeArrayUnaccessData(source);
    }
    if (FAILED(hr)) {
        SafeArrayDestroy(fresh);
        return hr;
    }
    *target = fresh;
    return S_OK;
}

// One argument on its way to the member: the typed temporary (or the caller's own storage) and
// where its result goes back.
struct PendingArgument {
    const Parameter* parameter = nullptr;
    VARIANT temporary{};            // owns what the conversion made
    void* reference = nullptr;      // the address handed to a by-reference parameter
    VARIANT* callerVariant = nullptr;  // a by-reference variant of the caller to write back to
    VARIANT* callerTyped = nullptr;    // a typed by-reference argument of another type
    // A string array made from the caller's variant array borrows the caller's strings (the
    // caller's array stays locked meanwhile). If the member leaves them all in place, they go back
    // and the caller's array, which already says the same, is left alone; otherwise the caller's
    // array gives them up (ours now, or freed by the member) before it is replaced.
    SAFEARRAY* lender = nullptr;
    SAFEARRAY* givenStrings = nullptr;
    std::vector<BSTR> givenElements;

    // True when the member left the borrowed strings as they were.
    bool settleBorrowed() {
        if (lender == nullptr) return false;
        const bool sameArray = V_ARRAY(&temporary) == givenStrings;
        BSTR* now = nullptr;
        VARIANT* theirs = nullptr;
        if (sameArray && FAILED(SafeArrayAccessData(givenStrings, reinterpret_cast<void**>(&now)))) now = nullptr;
        SafeArrayAccessData(lender, reinterpret_cast<void**>(&theirs));
        const bool unchanged = now != nullptr && std::equal(givenElements.begin(), givenElements.end(), now);
        for (size_t k = 0; theirs != nullptr && k < givenElements.size(); ++k) {
            if (!isBorrowed(theirs[k], givenElements[k])) continue;
            if (unchanged) now[k] = nullptr;
            else V_VT(&theirs[k]) = VT_EMPTY;
        }
        if (theirs != nullptr) SafeArrayUnaccessData(lender);
        if (now != nullptr) SafeArrayUnaccessData(givenStrings);
        SafeArrayUnlock(lender);
        lender = nullptr;
        return unchanged;
    }

    ~PendingArgument() {
        settleBorrowed();
        if (V_VT(&temporary) != VT_EMPTY) VariantClear(&temporary);
    }
};

// Address of the value a variant of the given type holds.
void* valueAddress(VARIANT& v) { return &V_I4(&v); }  // every member of the union starts there

HRESULT convertIn(const Parameter& p, VARIANT* supplied, PendingArgument& a) {
    a.parameter = &p;
    VariantInit(&a.temporary);
    if (p.retval) {  // storage the member fills: nothing to free in it yet
        V_VT(&a.temporary) = p.type;
        a.reference = p.type == VT_VARIANT ? static_cast<void*>(&a.temporary) : valueAddress(a.temporary);
        return S_OK;
    }
    if (isMissing(supplied)) {
        if (p.type & VT_ARRAY) {
            V_VT(&a.temporary) = p.type;
            V_ARRAY(&a.temporary) = nullptr;
        } else if (V_VT(&p.fallback) != VT_EMPTY) {
            HRESULT hr = VariantChangeType(&a.temporary, const_cast<VARIANT*>(&p.fallback), 0, p.type);
            if (FAILED(hr)) return hr;
        } else {
            VARIANT empty;
            VariantInit(&empty);
            if (p.type == VT_UNKNOWN) {
                V_VT(&a.temporary) = VT_UNKNOWN;
                V_UNKNOWN(&a.temporary) = nullptr;
            } else if (p.type != VT_VARIANT) {
                HRESULT hr = VariantChangeType(&a.temporary, &empty, 0, p.type);
                if (FAILED(hr)) return hr;
            } else {
                V_VT(&a.temporary) = VT_ERROR;
                V_ERROR(&a.temporary) = DISP_E_PARAMNOTFOUND;
            }
        }
        a.reference = p.type == VT_VARIANT ? static_cast<void*>(&a.temporary) : valueAddress(a.temporary);
        return S_OK;
    }

    VARIANT* value = innermost(supplied);
    const bool callerByVariant = V_VT(supplied) == (VT_BYREF | VT_VARIANT);
    // The caller's storage has exactly the parameter's type: hand it over as it is.
    if (p.byReference && p.type != VT_UNKNOWN && p.type != VT_VARIANT) {
        if (V_VT(value) == (VT_BYREF | p.type)) {
            a.reference = V_BYREF(value);
            return S_OK;
        }
        if (callerByVariant && V_VT(value) == p.type && (p.type & VT_ARRAY)) {
            a.reference = &V_ARRAY(value);  // the member may replace the array in the variant
            return S_OK;
        }
    }
    if (p.byReference && p.type == VT_VARIANT && callerByVariant) {
        a.reference = value;
        return S_OK;
    }

    HRESULT hr = S_OK;
    if (p.type & VT_ARRAY) {
        const VARTYPE element = static_cast<VARTYPE>(p.type & ~VT_ARRAY);
        VARTYPE held = static_cast<VARTYPE>(V_VT(value) & ~VT_BYREF);
        SAFEARRAY* source = (V_VT(value) & VT_BYREF) ? (V_ISARRAY(value) ? *V_ARRAYREF(value) : nullptr)
                                                   : (V_ISARRAY(value) ? V_ARRAY(value) : nullptr);
        V_VT(&a.temporary) = p.type;
        V_ARRAY(&a.temporary) = nullptr;
        if (held == VT_EMPTY || held == VT_NULL || source == nullptr) {
            if (held != VT_EMPTY && held != VT_NULL && !(held & VT_ARRAY)) return DISP_E_TYPEMISMATCH;
        } else if (held == (VT_ARRAY | element)) {
            hr = SafeArrayCopy(source, &V_ARRAY(&a.temporary));
        } else if (held == (VT_ARRAY | VT_VARIANT)) {
            // Borrowing needs the caller's array to outlive the call unchanged: a by-reference
            // variant whose array no one else holds locked.
            const bool borrow = element == VT_BSTR && callerByVariant && p.byReference && source->cLocks == 0;
            hr = typedFromVariantArray(source, element, &V_ARRAY(&a.temporary), borrow);
            BSTR* strings = nullptr;
            if (SUCCEEDED(hr) && borrow &&
                SUCCEEDED(SafeArrayAccessData(V_ARRAY(&a.temporary), reinterpret_cast<void**>(&strings)))) {
                a.givenStrings = V_ARRAY(&a.temporary);
                a.givenElements.assign(strings, strings + arrayCount(a.givenStrings));
                SafeArrayUnaccessData(a.givenStrings);
                SafeArrayLock(source);
                a.lender = source;
            }
        } else {
            return DISP_E_TYPEMISMATCH;
        }
    } else if (p.type == VT_UNKNOWN) {
        V_VT(&a.temporary) = VT_UNKNOWN;
        V_UNKNOWN(&a.temporary) = nullptr;
        const VARTYPE held = static_cast<VARTYPE>(V_VT(value) & ~VT_BYREF);
        IUnknown* object = nullptr;
        if (held == VT_DISPATCH || held == VT_UNKNOWN) {
            object = (V_VT(value) & VT_BYREF) ? *V_UNKNOWNREF(value) : V_UNKNOWN(value);
        } else if (held != VT_EMPTY && held != VT_NULL) {
            return DISP_E_TYPEMISMATCH;
        }
        if (object != nullptr) {
            void* typed = nullptr;
            hr = object->lpVtbl->QueryInterface(object, p.iid, &typed);
            if (FAILED(hr)) return DISP_E_TYPEMISMATCH;
            V_UNKNOWN(&a.temporary) = static_cast<IUnknown*>(typed);
        }
    } else if (p.type == VT_VARIANT) {
        hr = VariantCopyInd(&a.temporary, value);
    } else {
        hr = VariantChangeType(&a.temporary, value, 0, p.type);
    }
    if (FAILED(hr)) return hr == E_OUTOFMEMORY ? hr : DISP_E_TYPEMISMATCH;

    a.reference = p.type == VT_VARIANT ? static_cast<void*>(&a.temporary) : valueAddress(a.temporary);
    if (p.byReference) {
        if (callerByVariant) a.callerVariant = value;
        else if (V_VT(supplied) & VT_BYREF) a.callerTyped = supplied;
    }
    return S_OK;
}

// Moves a result into a variant the caller sees: arrays as variant arrays, objects as IDispatch.
HRESULT moveOut(VARIANT& temporary, VARIANT* target) {
    VariantClear(target);
    if (V_VT(&temporary) & VT_ARRAY) {
        SAFEARRAY* typed = V_ARRAY(&temporary);
        if (typed == nullptr) return S_OK;  // never dimensioned: stays Empty
        if (V_VT(&temporary) == (VT_ARRAY | VT_VARIANT)) {  // already what scripts index: moved
            *target = temporary;
            VariantInit(&temporary);
            return S_OK;
        }
        SAFEARRAY* variants = nullptr;
        const HRESULT hr = variantArrayFromTyped(typed, &variants);
        if (FAILED(hr)) return hr;
        V_VT(target) = VT_ARRAY | VT_VARIANT;
        V_ARRAY(target) = variants;
        return S_OK;
    }
    if (V_VT(&temporary) == VT_UNKNOWN) {
        IUnknown* object = V_UNKNOWN(&temporary);
        V_VT(target) = VT_DISPATCH;
        V_DISPATCH(target) = nullptr;
        if (object != nullptr &&
            FAILED(object->lpVtbl->QueryInterface(object, IID_IDispatch, reinterpret_cast<void**>(&V_DISPATCH(target))))) {
            // Not a dispatch object (an enumerator, say): handed out as it is.
            object->lpVtbl->AddRef(object);
            V_VT(target) = VT_UNKNOWN;
            V_UNKNOWN(target) = object;
        }
        return S_OK;
    }
    *target = temporary;  // moved
    VariantInit(&temporary);
    return S_OK;
}

HRESULT writeBack(PendingArgument& a) {
    if (a.callerVariant != nullptr) return a.settleBorrowed() ? S_OK : moveOut(a.temporary, a.callerVariant);
    if (a.callerTyped != nullptr) {
        // A typed by-reference argument of another type (a Short for a Long, say).
        const VARTYPE wanted = static_cast<VARTYPE>(V_VT(a.callerTyped) & ~VT_BYREF);
        VARIANT converted;
        VariantInit(&converted);
        HRESULT hr = VariantChangeType(&converted, &a.temporary, 0, wanted);
        if (FAILED(hr)) return hr;
        switch (wanted) {
            case VT_I2: *V_I2REF(a.callerTyped) = V_I2(&converted); break;
            case VT_I4: *V_I4REF(a.callerTyped) = V_I4(&converted); break;
            case VT_R4: *V_R4REF(a.callerTyped) = V_R4(&converted); break;
            case VT_R8: *V_R8REF(a.callerTyped) = V_R8(&converted); break;
            case VT_BOOL: *V_BOOLREF(a.callerTyped) = V_BOOL(&converted); break;
            case VT_BSTR:
                SysFreeString(*V_BSTRREF(a.callerTyped));
                *V_BSTRREF(a.callerTyped) = V_BSTR(&converted);
                return S_OK;
            default: break;
        }
        VariantClear(&converted);
    }
    return S_OK;
}

}  // namespace

HRESULT idsOfNames(REFIID iid, LPOLESTR* names, UINT count, DISPID* ids) {
    if (count == 0) return S_OK;
    if (names == nullptr || ids == nullptr) return E_INVALIDARG;
    const InterfaceDescription* description = describeInterface(iid);
    if (description == nullptr) return TYPE_E_CANTLOADLIBRARY;
    std::fill(ids, ids + count, DISPID_UNKNOWN);
    const auto found = description->byName.find(folded(names[0]));
    if (found == description->byName.end()) return DISP_E_UNKNOWNNAME;
    const Function& function = description->functions[found->second];
    ids[0] = function.member;
    HRESULT hr = S_OK;
    for (UINT k = 1; k < count; ++k) {  // named arguments: their positions
        const auto& known = function.parameterNames;
        const auto at = std::find(known.begin(), known.end(), folded(names[k]));
        if (at == known.end()) hr = DISP_E_UNKNOWNNAME;
        else ids[k] = static_cast<DISPID>(at - known.begin());
    }
    return hr;
}

HRESULT invokeConverted(void* self, REFIID iid, DISPID member, WORD flags, DISPPARAMS* params,
                        VARIANT* result, EXCEPINFO* /*exception*/, UINT* argumentError) {
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    if (params == nullptr) params = &none;
    const InterfaceDescription* description = describeInterface(iid);
    if (description == nullptr) return TYPE_E_CANTLOADLIBRARY;
    const Function* function = findFunction(*description, member, flags);
    if (function == nullptr) return DISP_E_MEMBERNOTFOUND;

    constexpr size_t kMaxParameters = 32;  // the widest member takes about a dozen
    const size_t count = function->parameters.size();
    if (count > kMaxParameters) return DISP_E_BADPARAMCOUNT;
    size_t callerCount = 0;  // the parameters a caller supplies (all but the retval)
    for (const Parameter& p : function->parameters) callerCount += p.retval ? 0 : 1;

    // Which caller variant goes to which parameter (and its position, for argumentError).
    VARIANT* supplied[kMaxParameters] = {};
    UINT position[kMaxParameters] = {};
    const UINT positional = params->cArgs - params->cNamedArgs;
    if (positional > callerCount) return DISP_E_BADPARAMCOUNT;
    for (UINT k = 0; k < params->cNamedArgs; ++k) {
        const DISPID id = params->rgdispidNamedArgs[k];
        const size_t index = id == DISPID_PROPERTYPUT ? callerCount - 1 : static_cast<size_t>(id);
        if (index >= callerCount) return DISP_E_PARAMNOTFOUND;
        supplied[index] = &params->rgvarg[k];
        position[index] = k;
    }
    for (UINT i = 0; i < positional; ++i) {
        supplied[i] = &params->rgvarg[params->cArgs - 1 - i];
        position[i] = params->cArgs - 1 - i;
    }

    PendingArgument arguments[kMaxParameters];
    VARIANT passed[kMaxParameters];
    VARIANTARG* passedPointers[kMaxParameters];
    VARTYPE passedTypes[kMaxParameters];
    for (size_t i = 0; i < count; ++i) {
        const Parameter& p = function->parameters[i];
        if (!p.retval && isMissing(supplied[i]) && !p.optional) return DISP_E_PARAMNOTOPTIONAL;
        const HRESULT hr = convertIn(p, p.retval ? nullptr : supplied[i], arguments[i]);
        if (FAILED(hr)) {
            if (argumentError != nullptr) *argumentError = position[i];
            return hr;
        }
        VariantInit(&passed[i]);
        if (p.byReference || p.retval) {
            V_VT(&passed[i]) = static_cast<VARTYPE>(VT_BYREF | p.type);
            V_BYREF(&passed[i]) = arguments[i].reference;
        } else {
            passed[i] = arguments[i].temporary;  // a shallow view; the temporary keeps ownership
        }
        passedTypes[i] = V_VT(&passed[i]);
        passedPointers[i] = &passed[i];
    }

    VARIANT returned;
    VariantInit(&returned);
    HRESULT hr = DispCallFunc(self, static_cast<ULONG_PTR>(function->vtableOffset), CC_STDCALL, VT_ERROR,
                              static_cast<UINT>(count), passedTypes, passedPointers, &returned);
    if (SUCCEEDED(hr)) hr = V_ERROR(&returned);
    if (FAILED(hr)) return hr;

    for (size_t i = 0; i < count; ++i) {
        if (function->parameters[i].retval) {
            if (result != nullptr) {
                const HRESULT moved = moveOut(arguments[i].temporary, result);
                if (FAILED(moved)) return moved;
            }
        } else if (function->parameters[i].byReference) {
            const HRESULT written = writeBack(arguments[i]);
            if (FAILED(written)) return written;
        }
    }
    return S_OK;
}

}  // namespace tkstream63::com
