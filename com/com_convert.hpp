// Conversions between the COM types of the type library and the library's C++ types: BSTR and
// UTF-8 text, VARIANT_BOOL and bool, VARIANT and Variant, SAFEARRAY and Array<T>.
//
// Numeric arrays (Long, Single, Double) never go element by element: an input is borrowed in
// place and an output is copied as one block. Failures raise the library's RuntimeError, which
// the member wrappers report like any other failure.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cstdint>
#include <string>
#include <type_traits>

#include "common/bounded_array.hpp"
#include "common/errors.hpp"
#include "common/variant.hpp"

namespace tkstream63::com {

// ---- text ----
std::string fromBSTR(const wchar_t* text);  // null reads as ""
std::wstring toWide(const std::string& utf8);
BSTR toBSTR(const std::string& utf8);       // raises Out of memory when none can be had
// Replaces *target (freeing the old string).
void assignBSTR(BSTR* target, const std::string& utf8);

// ---- Booleans ----
inline VARIANT_BOOL toVariantBool(bool value) { return value ? VARIANT_TRUE : VARIANT_FALSE; }
inline bool fromVariantBool(VARIANT_BOOL value) { return value != VARIANT_FALSE; }

// ---- Variant ----
Variant fromVARIANT(const VARIANT& value);  // by-reference variants are followed
void toVARIANT(const Variant& value, VARIANT& target);  // target must be cleared or empty

// ---- arrays ----
// The element VARTYPE that holds T in a SAFEARRAY.
template <class T>
constexpr VARTYPE elementVarType() {
    if constexpr (std::is_same_v<T, int32_t>) return VT_I4;
    else if constexpr (std::is_same_v<T, float>) return VT_R4;
    else if constexpr (std::is_same_v<T, double>) return VT_R8;
    else if constexpr (std::is_same_v<T, int16_t>) return VT_I2;
    else if constexpr (std::is_same_v<T, uint8_t>) return VT_UI1;
    else if constexpr (std::is_same_v<T, bool>) return VT_BOOL;
    else if constexpr (std::is_same_v<T, std::string>) return VT_BSTR;
    else if constexpr (std::is_same_v<T, Variant>) return VT_VARIANT;
    else static_assert(sizeof(T) == 0, "no SAFEARRAY element type for this type");
}

// True for the element types whose SAFEARRAY storage is the C++ storage itself (a COM long is
// a 32-bit int on Windows), so arrays of them can be borrowed and copied as blocks.
template <class T>
constexpr bool isBlockType = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;

// Rank and bounds of a SAFEARRAY (rank 0 for a null array: an array never dimensioned).
struct ArrayShape {
    int rank = 0;
    int32_t lower[2] = {0, 0};
    int32_t upper[2] = {-1, 0};
    size_t count() const;
};
ArrayShape shapeOf(SAFEARRAY* array);
// Bytes one element of T takes in a SAFEARRAY.
template <class T>
constexpr size_t storedSize() {
    if constexpr (std::is_same_v<T, bool>) return sizeof(VARIANT_BOOL);
    else if constexpr (std::is_same_v<T, std::string>) return sizeof(BSTR);
    else if constexpr (std::is_same_v<T, Variant>) return sizeof(VARIANT);
    else return sizeof(T);
}
// Raises Type mismatch unless the array holds elements of the given type and size.
void requireElementType(SAFEARRAY* array, VARTYPE type, size_t elementSize);

// Holds a SAFEARRAY's data locked (SafeArrayAccessData) for as long as it lives.
class LockedData {
public:
    explicit LockedData(SAFEARRAY* array);
    ~LockedData();
    LockedData(const LockedData&) = delete;
    LockedData& operator=(const LockedData&) = delete;
    void* data() const { return data_; }

private:
    SAFEARRAY* array_;
    void* data_ = nullptr;
};

// A converted copy of a SAFEARRAY (an empty rank-1 array for a null one).
template <class T>
Array<T> arrayFrom(SAFEARRAY* array);

// Writes an Array into *target: in place when *target has the same type and shape, else as a
// new SAFEARRAY that replaces the old one (a fixed-size array refuses with error 10).
template <class T>
void arrayInto(const Array<T>& source, SAFEARRAY** target);

// A new SAFEARRAY holding a copy of source.
template <class T>
SAFEARRAY* newSafeArray(const Array<T>& source);

}  // namespace tkstream63::com
