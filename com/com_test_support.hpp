// Helpers for the test programs that use tkstream63.dll as a host would (through COM only).
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tk174StreamStorage.h"

namespace com_test {

// Counts checks and prints the failed ones; summary() prints the closing "N passed, N failed".
class Checks {
public:
    bool expect(bool condition, const std::string& what) {
        if (condition) {
            ++passed_;
        } else {
            ++failed_;
            std::printf("FAILED: %s\n", what.c_str());
        }
        return condition;
    }
    int summary() const {
        std::printf("%d passed, %d failed\n", passed_, failed_);
        return failed_ == 0 ? 0 : 1;
    }

private:
    int passed_ = 0;
    int failed_ = 0;
};

inline std::wstring wide(const std::string& text) {
    const int n = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
    std::wstring result(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, result.data(), n);
    result.resize(static_cast<size_t>(n > 0 ? n - 1 : 0));
    return result;
}

inline std::string narrow(const wchar_t* text) {
    if (text == nullptr) return {};
    const int n = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), n, nullptr, nullptr);
    result.resize(static_cast<size_t>(n > 0 ? n - 1 : 0));
    return result;
}

// An owned BSTR.
class Bstr {
public:
    Bstr() = default;
    explicit Bstr(const std::string& text) : value_(SysAllocString(wide(text).c_str())) {}
    ~Bstr() { SysFreeString(value_); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    BSTR* operator&() { return &value_; }
    BSTR get() const { return value_; }
    std::string text() const { return narrow(value_); }

private:
    BSTR value_ = nullptr;
};

template <class T>
constexpr VARTYPE varTypeOf() {
    if constexpr (std::is_same_v<T, LONG>) return VT_I4;
    else if constexpr (std::is_same_v<T, float>) return VT_R4;
    else if constexpr (std::is_same_v<T, VARIANT_BOOL>) return VT_BOOL;
    else return VT_BSTR;
}

// An owned SAFEARRAY (null until dimensioned, like a host's dynamic array).
class SafeArray {
public:
    SafeArray() = default;
    ~SafeArray() { reset(); }
    SafeArray(const SafeArray&) = delete;
    SafeArray& operator=(const SafeArray&) = delete;
    SAFEARRAY** operator&() { return &array_; }
    SAFEARRAY* get() const { return array_; }
    void reset() {
        if (array_ != nullptr) SafeArrayDestroy(array_);
        array_ = nullptr;
    }

    // A (1 To n) array of numbers.
    template <class T>
    static void fill(SafeArray& target, const std::vector<T>& values) {
        table(target, values, static_cast<ULONG>(values.size()), 0);
    }
    // A (1 To n) array of strings.
    static void fill(SafeArray& target, const std::vector<std::string>& values) {
        target.reset();
        target.array_ = SafeArrayCreateVector(VT_BSTR, 1, static_cast<ULONG>(values.size()));
        BSTR* data = nullptr;
        SafeArrayAccessData(target.array_, reinterpret_cast<void**>(&data));
        for (size_t k = 0; k < values.size(); ++k) data[k] = SysAllocString(wide(values[k]).c_str());
        SafeArrayUnaccessData(target.array_);
    }
    // A (1 To rows, firstColumn To ...) table of the given columns, first index fastest; a
    // (1 To rows) array for no columns.
    template <class T>
    static void table(SafeArray& target, const std::vector<T>& values, ULONG rows, ULONG columns,
                      LONG firstColumn = 1) {
        target.reset();
        SAFEARRAYBOUND bounds[2] = {{rows, 1}, {columns, firstColumn}};
        target.array_ = SafeArrayCreate(varTypeOf<T>(), columns == 0 ? 1 : 2, bounds);
        void* data = nullptr;
        SafeArrayAccessData(target.array_, &data);
        std::copy(values.begin(), values.end(), static_cast<T*>(data));
        SafeArrayUnaccessData(target.array_);
    }

    // All elements in storage order.
    template <class T>
    std::vector<T> values() const {
        std::vector<T> result;
        if (array_ == nullptr) return result;
        size_t count = 1;
        for (UINT d = 1; d <= SafeArrayGetDim(array_); ++d) {
            LONG lower = 0, upper = 0;
            SafeArrayGetLBound(array_, d, &lower);
            SafeArrayGetUBound(array_, d, &upper);
            count *= static_cast<size_t>(upper - lower + 1);
        }
        void* data = nullptr;
        SafeArrayAccessData(array_, &data);
        if constexpr (std::is_same_v<T, std::string>) {
            for (size_t k = 0; k < count; ++k) result.push_back(narrow(static_cast<BSTR*>(data)[k]));
        } else {
            result.assign(static_cast<T*>(data), static_cast<T*>(data) + count);
        }
        SafeArrayUnaccessData(array_);
        return result;
    }

private:
    SAFEARRAY* array_ = nullptr;
};

// A COM interface pointer released on scope exit.
template <class I>
class Ref {
public:
    Ref() = default;
    ~Ref() { reset(); }
    Ref(const Ref&) = delete;
    Ref& operator=(const Ref&) = delete;
    Ref(Ref&& other) noexcept : p_(other.p_) { other.p_ = nullptr; }
    I** operator&() { return &p_; }
    I* operator->() const { return p_; }
    I* get() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }
    void reset() {
        if (p_ != nullptr) p_->Release();
        p_ = nullptr;
    }

private:
    I* p_ = nullptr;
};

template <class I>
HRESULT create(REFCLSID clsid, REFIID iid, Ref<I>& object) {
    object.reset();
    return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, reinterpret_cast<void**>(&object));
}

}  // namespace com_test
