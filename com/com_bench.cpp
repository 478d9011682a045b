// Benchmark of the COM layer (not a test): setStreamLineData of a 320 MB node table through the
// vtable against a plain memcpy of the same bytes; one call through the vtable; and late-bound
// calls as a script host makes them (name lookup, variants by reference, variant arrays): an
// empty property get, a string argument, and 100-element Long and String arrays both ways.
// Run under Wine after registering the DLL: wine64 com_bench.exe
#include <chrono>
#include <cstring>
#include <memory>

#include "com/com_test_support.hpp"

using namespace com_test;
using Clock = std::chrono::steady_clock;

namespace {

double seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

template <class F>
double fastest(int runs, F&& f) {
    double best = 1e300;
    for (int r = 0; r < runs; ++r) {
        const auto start = Clock::now();
        f();
        best = std::min(best, seconds(Clock::now() - start));
    }
    return best;
}

std::string wellName(int k) {
    char name[16];
    std::snprintf(name, sizeof name, "W%d", k);
    return name;
}

}  // namespace

int main() {
    CoInitialize(nullptr);
    Ref<IrvStreamSet> ds;
    if (FAILED(create(CLSID_rvStreamSet, IID_IrvStreamSet, ds))) {
        std::printf("tkstream63.dll is not registered\n");
        return 1;
    }
    // 320 MB of nodes: 7 columns of 11,983,725 rows.
    const ULONG columns = 7, rows = 320u * 1024 * 1024 / (columns * sizeof(float));
    SafeArray table;
    SafeArray::table(table, std::vector<float>(size_t(rows) * columns, 1.5f), rows, columns);
    const size_t bytes = size_t(rows) * columns * sizeof(float);
    LONG nCols = LONG(columns), nnodes = LONG(rows);
    VARIANT_BOOL ok = 0;
    ds->setStreamLineData(&table, &nCols, &nnodes, &ok);  // the first call allocates the stored table
    const double copy = fastest(5, [&] { ds->setStreamLineData(&table, &nCols, &nnodes, &ok); });
    std::unique_ptr<char[]> from(new char[bytes]), to(new char[bytes]);
    std::memset(from.get(), 1, bytes);
    std::memset(to.get(), 2, bytes);
    const double plain = fastest(5, [&] { std::memcpy(to.get(), from.get(), bytes); });
    std::printf("setStreamLineData 320 MB early-bound: %.1f ms, memcpy %.1f ms, ratio %.2f\n", copy * 1e3,
                plain * 1e3, copy / plain);

    // One call through the vtable: getWellNumber("P1").
    const int calls = 100000;
    Bstr name("P1");
    LONG number = 0;
    const double early = fastest(3, [&] {
        for (int k = 0; k < calls; ++k) ds->getWellNumber(&name, &number);
    });
    std::printf("one call early-bound: %.2f us\n", early / calls * 1e6);
    {  // 100 names through the vtable: the server's own share of the string calls below
        std::vector<std::string> wells;
        for (int k = 1; k <= 100; ++k) wells.push_back(wellName(k));
        SafeArray in, out;
        SafeArray::fill(in, wells);
        LONG n = 100;
        const double set = fastest(3, [&] {
            for (int k = 0; k < 20000; ++k) ds->setWellNames(&in, &n, &ok);
        });
        const double get = fastest(3, [&] {
            for (int k = 0; k < 20000; ++k) ds->getWellNames(&out, &n, &ok);
        });
        std::printf("early-bound setWellNames %.2f us, getWellNames %.2f us (100 names)\n", set / 20000 * 1e6,
                    get / 20000 * 1e6);
    }
    VARIANT text;
    V_VT(&text) = VT_BSTR;
    V_BSTR(&text) = SysAllocString(L"P1");

    // Late-bound calls as a script host makes them: the member's name looked up each time, every
    // argument a variant by reference, arrays as arrays of variants.
    const int scriptCalls = 20000;
    auto late = [&](const wchar_t* member, WORD flags, std::vector<VARIANT*> values) {
        std::vector<VARIANT> args(values.size());
        for (size_t k = 0; k < values.size(); ++k) {  // the last argument comes first
            V_VT(&args[values.size() - 1 - k]) = VT_BYREF | VT_VARIANT;
            V_VARIANTREF(&args[values.size() - 1 - k]) = values[k];
        }
        DISPPARAMS params{args.data(), nullptr, UINT(args.size()), 0};
        LPOLESTR names[1] = {const_cast<LPOLESTR>(member)};
        const double t = fastest(3, [&] {
            for (int k = 0; k < scriptCalls; ++k) {
                DISPID id = 0;
                VARIANT result;
                VariantInit(&result);
                ds->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
                ds->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, &result, nullptr, nullptr);
                VariantClear(&result);
            }
        });
        std::printf("late-bound %-28ls %6.2f us\n", member, t / scriptCalls * 1e6);
    };
    auto variants = [](int n, auto element) {
        VARIANT array;
        V_VT(&array) = VT_ARRAY | VT_VARIANT;
        V_ARRAY(&array) = SafeArrayCreateVector(VT_VARIANT, 0, ULONG(n + 1));
        VARIANT* data = nullptr;
        SafeArrayAccessData(V_ARRAY(&array), reinterpret_cast<void**>(&data));
        for (int k = 1; k <= n; ++k) element(data[k], k);
        SafeArrayUnaccessData(V_ARRAY(&array));
        return array;
    };
    VARIANT types = variants(100, [](VARIANT& v, int) { V_VT(&v) = VT_I4, V_I4(&v) = 1; });
    VARIANT names100 = variants(100, [](VARIANT& v, int k) {
        V_VT(&v) = VT_BSTR, V_BSTR(&v) = SysAllocString(wide(wellName(k)).c_str());
    });
    VARIANT count, done, back;
    VariantInit(&done), VariantInit(&back);
    V_VT(&count) = VT_I4, V_I4(&count) = 100;
    late(L"NumberWells", DISPATCH_METHOD | DISPATCH_PROPERTYGET, {});
    late(L"getWellNumber", DISPATCH_METHOD, {&text});
    late(L"setWellTypes", DISPATCH_METHOD, {&types, &count, &done});
    late(L"getWellTypes", DISPATCH_METHOD, {&back, &count, &done});
    late(L"setWellNames", DISPATCH_METHOD, {&names100, &count, &done});
    late(L"getWellNames", DISPATCH_METHOD, {&back, &count, &done});
    for (VARIANT* v : {&text, &types, &names100, &back}) VariantClear(v);
    ds.reset();
    CoUninitialize();
    return 0;
}
