#include "com/com_convert.hpp"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tkstream63::com {
namespace {

constexpr int32_t kErrArrayFixed = 10;  // "This array is fixed or temporarily locked"

void check(HRESULT hr) {
    if (SUCCEEDED(hr)) return;
    if (hr == E_OUTOFMEMORY) raiseError(kErrOutOfMemory);
    if (hr == DISP_E_ARRAYISLOCKED) raiseError(kErrArrayFixed, "This array is fixed or temporarily locked");
    if (hr == DISP_E_BADINDEX) raiseError(kErrSubscript);
    raiseError(kErrTypeMismatch);
}

// Converts one element between its SAFEARRAY form and its C++ form.
template <class T>
struct Element;
template <>
struct Element<bool> {
    using Stored = VARIANT_BOOL;
    static bool in(const Stored& e) { return fromVariantBool(e); }
    static void out(bool v, Stored& e) { e = toVariantBool(v); }
};
template <>
struct Element<std::string> {
    using Stored = BSTR;
    static std::string in(const Stored& e) { return fromBSTR(e); }
    static void out(const std::string& v, Stored& e) { assignBSTR(&e, v); }
};
template <>
struct Element<Variant> {
    using Stored = VARIANT;
    static Variant in(const Stored& e) { return fromVARIANT(e); }
    static void out(const Variant& v, Stored& e) {
        check(VariantClear(&e));
        toVARIANT(v, e);
    }
};

template <class T>
bool sameShape(const ArrayShape& shape, const Array<T>& array) {
    if (shape.rank != array.rank()) return false;
    for (int d = 1; d <= shape.rank; ++d) {
        if (shape.lower[d - 1] != array.lbound(d) || shape.upper[d - 1] != array.ubound(d)) return false;
    }
    return true;
}

// Copies source into an unlocked array of the same type and shape.
template <class T>
void copyElementsInto(const Array<T>& source, SAFEARRAY* target) {
    LockedData lock(target);
    if constexpr (isBlockType<T>) {
        if (source.size() > 0) std::memcpy(lock.data(), source.data(), source.size() * sizeof(T));
    } else {
        auto* stored = static_cast<typename Element<T>::Stored*>(lock.data());
        for (size_t k = 0; k < source.size(); ++k) Element<T>::out(source.data()[k], stored[k]);
    }
}

}  // namespace

// ---- text ----

// Plain ASCII text (most names and keys) converts without the code-page functions.
std::string fromBSTR(const wchar_t* text) {
    if (text == nullptr || text[0] == 0) return {};
    const size_t length = wcslen(text);
    std::string result(length, '\0');
    size_t k = 0;
    while (k < length && text[k] < 0x80) result[k] = static_cast<char>(text[k]), ++k;
    if (k == length) return result;
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), nullptr, 0, nullptr, nullptr);
    result.assign(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), result.data(), bytes, nullptr, nullptr);
    return result;
}

std::wstring toWide(const std::string& utf8) {
    if (utf8.empty()) return {};
    if (utf8.size() > static_cast<size_t>(std::numeric_limits<int>::max())) raiseError(kErrOutOfMemory);
    const int length = static_cast<int>(utf8.size());
    const int chars = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
    std::wstring result(static_cast<size_t>(chars), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, result.data(), chars);
    return result;
}

BSTR toBSTR(const std::string& utf8) {
    BSTR result = nullptr;
    const bool ascii = std::all_of(utf8.begin(), utf8.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii && utf8.size() <= static_cast<size_t>(std::numeric_limits<UINT>::max() / 2)) {
        result = SysAllocStringLen(nullptr, static_cast<UINT>(utf8.size()));
        if (result != nullptr) std::copy(utf8.begin(), utf8.end(), result);
    } else {
        const std::wstring wide = toWide(utf8);
        result = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
    }
    if (result == nullptr) raiseError(kErrOutOfMemory);
    return result;
}

void assignBSTR(BSTR* target, const std::string& utf8) {
    BSTR fresh = toBSTR(utf8);
    SysFreeString(*target);
    *target = fresh;
}

// ---- Variant ----

Variant fromVARIANT(const VARIANT& value) {
    const VARIANT* v = &value;
    while (V_VT(v) == (VT_BYREF | VT_VARIANT)) v = V_VARIANTREF(v);
    const bool byRef = (V_VT(v) & VT_BYREF) != 0;
    switch (V_VT(v) & ~VT_BYREF) {
        case VT_EMPTY: return Variant();
        case VT_NULL: return Variant::null();
        case VT_BOOL: return Variant(fromVariantBool(byRef ? *V_BOOLREF(v) : V_BOOL(v)));
        case VT_I2: return Variant(static_cast<int16_t>(byRef ? *V_I2REF(v) : V_I2(v)));
        case VT_I4: return Variant(static_cast<int32_t>(byRef ? *V_I4REF(v) : V_I4(v)));
        case VT_R4: return Variant(byRef ? *V_R4REF(v) : V_R4(v));
        case VT_R8: return Variant(byRef ? *V_R8REF(v) : V_R8(v));
        case VT_BSTR: return Variant(fromBSTR(byRef ? *V_BSTRREF(v) : V_BSTR(v)));
        default: break;
    }
    // Anything else (Byte, Currency, Date, Decimal, ...) arrives as the nearest published type.
    VARIANT converted;
    VariantInit(&converted);
    if (SUCCEEDED(VariantChangeType(&converted, const_cast<VARIANT*>(v), 0, VT_R8))) return Variant(V_R8(&converted));
    if (SUCCEEDED(VariantChangeType(&converted, const_cast<VARIANT*>(v), 0, VT_BSTR))) {
        Variant text(fromBSTR(V_BSTR(&converted)));
        VariantClear(&converted);
        return text;
    }
    raiseError(kErrTypeMismatch);
}

void toVARIANT(const Variant& value, VARIANT& target) {
    VariantInit(&target);
    switch (value.type()) {
        case Variant::Type::Empty: break;
        case Variant::Type::Null: V_VT(&target) = VT_NULL; break;
        case Variant::Type::Boolean:
            V_VT(&target) = VT_BOOL;
            V_BOOL(&target) = toVariantBool(value.toBoolean());
            break;
        case Variant::Type::Integer:
            V_VT(&target) = VT_I2;
            V_I2(&target) = value.toInteger();
            break;
        case Variant::Type::Long:
            V_VT(&target) = VT_I4;
            V_I4(&target) = value.toLong();
            break;
        case Variant::Type::Single:
            V_VT(&target) = VT_R4;
            V_R4(&target) = value.toSingle();
            break;
        case Variant::Type::Double:
            V_VT(&target) = VT_R8;
            V_R8(&target) = value.toDouble();
            break;
        case Variant::Type::String:
            V_BSTR(&target) = toBSTR(value.toText());
            V_VT(&target) = VT_BSTR;
            break;
    }
}

// ---- arrays ----

size_t ArrayShape::count() const {
    size_t n = rank > 0 ? 1 : 0;
    for (int d = 0; d < rank; ++d) n *= static_cast<size_t>(int64_t{upper[d]} - lower[d] + 1);
    return n;
}

ArrayShape shapeOf(SAFEARRAY* array) {
    ArrayShape shape;
    if (array == nullptr) return shape;
    const UINT rank = SafeArrayGetDim(array);
    if (rank < 1 || rank > 2) raiseError(kErrSubscript, "Only arrays of one or two dimensions are accepted");
    shape.rank = static_cast<int>(rank);
    for (UINT d = 1; d <= rank; ++d) {
        LONG lower = 0;
        LONG upper = 0;
        check(SafeArrayGetLBound(array, d, &lower));
        check(SafeArrayGetUBound(array, d, &upper));
        shape.lower[d - 1] = lower;
        shape.upper[d - 1] = upper;
    }
    return shape;
}

void requireElementType(SAFEARRAY* array, VARTYPE type, size_t elementSize) {
    VARTYPE held = VT_EMPTY;
    if (FAILED(SafeArrayGetVartype(array, &held))) {
        // An array made without a recorded type is judged by its flags and element size.
        if (array->fFeatures & FADF_BSTR) held = VT_BSTR;
        else if (array->fFeatures & FADF_VARIANT) held = VT_VARIANT;
        else held = type;
    }
    if (held == VT_INT) held = VT_I4;  // the same 32-bit layout as a COM long
    if (held != type || array->cbElements != elementSize) raiseError(kErrTypeMismatch);
}

LockedData::LockedData(SAFEARRAY* array) : array_(array) {
    check(SafeArrayAccessData(array, &data_));
}

LockedData::~LockedData() { SafeArrayUnaccessData(array_); }

template <class T>
Array<T> arrayFrom(SAFEARRAY* array) {
    const ArrayShape shape = shapeOf(array);
    Array<T> result;
    if (shape.rank == 0) return result;
    requireElementType(array, elementVarType<T>(), storedSize<T>());
    if (shape.rank == 1) result.redimForOverwrite(shape.lower[0], shape.upper[0]);
    else result.redimForOverwrite(shape.lower[0], shape.upper[0], shape.lower[1], shape.upper[1]);
    if (result.size() == 0) return result;
    LockedData lock(array);
    if constexpr (isBlockType<T>) {
        std::memcpy(result.data(), lock.data(), result.size() * sizeof(T));
    } else {
        const auto* stored = static_cast<const typename Element<T>::Stored*>(lock.data());
        for (size_t k = 0; k < result.size(); ++k) result.data()[k] = Element<T>::in(stored[k]);
    }
    return result;
}

template <class T>
SAFEARRAY* newSafeArray(const Array<T>& source) {
    SAFEARRAYBOUND bounds[2] = {};
    for (int d = 1; d <= source.rank(); ++d) {
        bounds[d - 1].lLbound = source.lbound(d);
        bounds[d - 1].cElements = static_cast<ULONG>(source.extent(d));
    }
    SAFEARRAY* fresh = SafeArrayCreate(elementVarType<T>(), static_cast<UINT>(source.rank()), bounds);
    if (fresh == nullptr) raiseError(kErrOutOfMemory);
    try {
        copyElementsInto(source, fresh);
    } catch (...) {
        SafeArrayDestroy(fresh);
        throw;
    }
    return fresh;
}

template <class T>
void arrayInto(const Array<T>& source, SAFEARRAY** target) {
    SAFEARRAY* old = *target;
    if (old != nullptr) {
        VARTYPE held = VT_EMPTY;
        const bool typed = SUCCEEDED(SafeArrayGetVartype(old, &held)) &&
                           (held == elementVarType<T>() || (held == VT_INT && elementVarType<T>() == VT_I4));
        if (typed && sameShape(shapeOf(old), source)) {
            copyElementsInto(source, old);
            return;
        }
        if (old->fFeatures & (FADF_FIXEDSIZE | FADF_STATIC | FADF_AUTO | FADF_EMBEDDED) || old->cLocks > 0)
            raiseError(kErrArrayFixed, "This array is fixed or temporarily locked");
    }
    SAFEARRAY* fresh = newSafeArray(source);
    if (old != nullptr) SafeArrayDestroy(old);
    *target = fresh;
}

#define TKSTREAM63_ARRAY_CONVERSIONS(T)                               \
    template Array<T> arrayFrom<T>(SAFEARRAY*);                       \
    template SAFEARRAY* newSafeArray<T>(const Array<T>&);             \
    template void arrayInto<T>(const Array<T>&, SAFEARRAY**);
TKSTREAM63_ARRAY_CONVERSIONS(int32_t)
TKSTREAM63_ARRAY_CONVERSIONS(float)
TKSTREAM63_ARRAY_CONVERSIONS(double)
TKSTREAM63_ARRAY_CONVERSIONS(bool)
TKSTREAM63_ARRAY_CONVERSIONS(std::string)
TKSTREAM63_ARRAY_CONVERSIONS(Variant)
#undef TKSTREAM63_ARRAY_CONVERSIONS

}  // namespace tkstream63::com
