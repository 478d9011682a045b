// A C++ host of tkstream63.dll, run under Wine: the five-spot workflow of the example viewer through
// the vtable (early binding) and through IDispatch (late binding), object lifetimes, and the
// record files used by the cross-platform check.
//
//   com_client_test                 every check; prints "N passed, N failed"
//   com_client_test save <file>     writes the five-spot store (two datasets and a renamed copy)
//   com_client_test resave <in> <out>  loads a store file and writes it again
#include <algorithm>
#include <cmath>
#include <numeric>

#include "com/com_test_support.hpp"
#include "examples/five_spot_field.hpp"

using namespace com_test;

namespace {

constexpr LONG kNodeColumns = 7;     // X, Y, Z, CELL, TOF, DRT, VELOCITY
constexpr LONG kPointerColumns = 8;
constexpr LONG kWafColumns = 9;

Checks checks;

bool ok(VARIANT_BOOL q) { return q == VARIANT_TRUE; }

// ---- loading a five-spot time step through the vtable ----

struct Step {
    LONG number;
    double injectionRate;
};

Ref<IrvWAFSet> makeAllocationSet(const five_spot::Field& field) {
    Ref<IrvWAFSet> waf;
    create(CLSID_rvWAFSet, IID_IrvWAFSet, waf);
    // WAF wells: producers P1..P4 first, then the injector; one row per producer and the total.
    std::vector<std::string> names = {"P1", "P2", "P3", "P4", "I1"};
    std::vector<LONG> types = {1, 1, 1, 1, 2}, indices = {1, 2, 3, 4, 1};
    std::vector<VARIANT_BOOL> defined(5, VARIANT_TRUE);
    std::vector<double> toProducer(4, 0.0);
    double injected = 0;
    for (const auto& line : field.streamlines) {
        injected += line.flux;
        if (line.endWell >= 2) toProducer[size_t(line.endWell - 2)] += line.flux;
    }
    const LONG nData = 6;
    std::vector<float> data(size_t(kWafColumns * nData), 0.0f);
    for (LONG k = 0; k < 4; ++k) {
        data[size_t(k * kWafColumns)] = float(5);  // partner: the injector's WAF well number
        data[size_t(k * kWafColumns + 1)] = float(toProducer[size_t(k)]);
        data[size_t(k * kWafColumns + 2)] = float(toProducer[size_t(k)] / injected);
    }
    data[size_t(5 * kWafColumns + 1)] = float(injected);
    SafeArray a, b, c, d, e;
    VARIANT_BOOL q = 0;
    LONG n = 5, columns = kWafColumns, rows = nData;
    SafeArray::fill(a, names);
    waf->setWellNames(&a, &n, &q);
    checks.expect(ok(q), "rvWAFSet.setWellNames");
    SafeArray::fill(a, types);
    waf->setWellTypes(&a, &n, &q);
    SafeArray::fill(a, indices);
    waf->setWellIndices(&a, &n, &q);
    SafeArray::fill(a, defined);
    waf->setWellsDefined(&a, &n, &q);
    SafeArray::table(a, data, ULONG(kWafColumns), ULONG(nData));
    waf->setWAFData(&a, &columns, &rows, &q);
    checks.expect(ok(q), "rvWAFSet.setWAFData");
    LONG producers = 4;
    SafeArray::fill(a, std::vector<LONG>{1, 2, 3, 4});
    SafeArray::fill(b, std::vector<LONG>{1, 1, 1, 1});
    SafeArray::fill(c, std::vector<LONG>{5, 5, 5, 5});
    SafeArray::fill(d, std::vector<LONG>{6, 6, 6, 6});
    SafeArray::fill(e, std::vector<float>(toProducer.begin(), toProducer.end()));
    waf->setProducersData(&a, &b, &c, &d, &e, &producers, &q);
    checks.expect(ok(q), "rvWAFSet.setProducersData");
    waf->put_SimulationTime(365.0f);
    return waf;
}

Ref<IrvStreamSet> loadTimeStep(const five_spot::Field& field, const Step& step, IrvWAFSet* waf) {
    Ref<IrvStreamSet> ds;
    create(CLSID_rvStreamSet, IID_IrvStreamSet, ds);
    const std::string n = std::to_string(step.number);
    ds->put_Origin(Bstr("FIVESPOT").get());
    ds->put_GroupName(Bstr("PATTERN-A").get());
    ds->put_TVGroupName(Bstr("Streamlines").get());
    ds->put_DateStamp(Bstr("2024-0" + n + "-01").get());
    ds->put_FileName(Bstr("fivespot_t" + n + ".sln").get());
    ds->put_UniqueKey(Bstr("FIVESPOT-T" + n).get());
    ds->put_FileType(1);
    ds->put_index(step.number);
    VARIANT_BOOL q = 0;
    LONG nx = field.nx, ny = field.ny, nz = field.nz;
    ds->setGridDimension(&nx, &ny, &nz, &q);
    checks.expect(ok(q), "setGridDimension");
    float x0 = 0, x1 = float(field.size), y0 = 0, y1 = float(field.size), z0 = 2000, z1 = 2050;
    ds->setLimits(&x0, &x1, &y0, &y1, &z0, &z1, &q);
    float t0 = field.tofMin, t1 = field.tofMax;
    ds->setTOFLimits(&t0, &t1, &q);

    // Wells in field order: the injector first, then P1..P4.
    std::vector<std::string> names;
    std::vector<LONG> types, entries;
    std::vector<float> wx, wy, wz;
    LONG producers = 0, injectors = 0;
    for (const auto& well : field.wells) {
        names.push_back(well.name);
        types.push_back(well.type);
        entries.push_back(well.type == 1 ? ++producers : ++injectors);
        wx.push_back(float(well.x));
        wy.push_back(float(well.y));
        wz.push_back(2025.0f);
    }
    LONG nWells = LONG(names.size());
    SafeArray a, b, c;
    SafeArray::fill(a, names);
    ds->setWellNames(&a, &nWells, &q);
    checks.expect(ok(q), "setWellNames");
    SafeArray::fill(a, types);
    ds->setWellTypes(&a, &nWells, &q);
    SafeArray::fill(a, entries);
    ds->setWellIndex(&a, &nWells, &q);
    SafeArray::fill(a, wx);
    SafeArray::fill(b, wy);
    SafeArray::fill(c, wz);
    ds->setWellLocations(&a, &b, &c, &nWells, &q);
    checks.expect(ok(q), "setWellLocations");
    SafeArray::fill(a, std::vector<VARIANT_BOOL>(names.size(), VARIANT_TRUE));
    ds->setWellDefined(&a, &nWells, &q);

    // Streamlines grouped by the producer they reach.
    std::vector<size_t> order(field.streamlines.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](size_t l, size_t r) {
        return field.streamlines[l].endWell < field.streamlines[r].endWell;
    });
    size_t nodeCount = 0;
    for (const auto& line : field.streamlines) nodeCount += line.nodes.size();
    const LONG nStreams = LONG(order.size());
    std::vector<float> nodes(nodeCount * size_t(kNodeColumns));
    std::vector<LONG> pointers(size_t(kPointerColumns * 2 * nStreams), 0);
    std::vector<LONG> first(field.wells.size() + 1, 0), count(field.wells.size() + 1, 0);
    size_t row = 0;
    for (LONG s = 0; s < nStreams; ++s) {
        const auto& line = field.streamlines[order[size_t(s)]];
        LONG* p = &pointers[size_t(s * kPointerColumns)];
        p[0] = LONG(row + 1);
        p[1] = LONG(line.nodes.size());
        p[6] = line.startWell;
        p[7] = line.endWell;
        if (line.endWell > 0) {
            if (count[size_t(line.endWell)]++ == 0) first[size_t(line.endWell)] = s + 1;
        }
        for (const auto& node : line.nodes) {
            const float values[kNodeColumns] = {node.x, node.y, node.z, node.cell, node.tof, node.drt, node.velocity};
            for (LONG col = 0; col < kNodeColumns; ++col) nodes[size_t(col) * nodeCount + row] = values[col];
            ++row;
        }
    }
    LONG nCols = kNodeColumns, nnodes = LONG(nodeCount), pCols = kPointerColumns, streams = nStreams;
    SafeArray::table(a, nodes, ULONG(nodeCount), ULONG(kNodeColumns));
    ds->setStreamLineData(&a, &nCols, &nnodes, &q);
    checks.expect(ok(q), "setStreamLineData");
    SafeArray::table(a, pointers, ULONG(kPointerColumns), ULONG(2 * nStreams));
    ds->setStreamLinePointers(&a, &pCols, &streams, &q);
    checks.expect(ok(q), "setStreamLinePointers");
    LONG headers = kNodeColumns;
    SafeArray::fill(a, std::vector<std::string>{"X", "Y", "Z", "CELL", "TOF", "DRT", "VELOCITY"});
    SafeArray::fill(b, std::vector<std::string>{"m", "m", "m", "", "days", "days", "m/day"});
    ds->setHeaders(&a, &b, &headers, &q);

    // Producer entries (1 To 5, 0 To 4) fed by the injector; the injector's entry (1 To 5, 0 To 1).
    std::vector<LONG> prod(5 * 5, 0), sources(5 * 4, 0), inj(5 * 2, 0), sinks(5 * 4, 0);
    for (LONG e = 1; e <= 4; ++e) {
        const LONG well = e + 1;
        LONG* entry = &prod[size_t(5 * e)];
        entry[0] = first[size_t(well)];
        entry[1] = count[size_t(well)];
        entry[2] = 1;
        entry[3] = well;
        entry[4] = e;
        for (auto* links : {&sources, &sinks}) {
            (*links)[size_t(5 * (e - 1))] = first[size_t(well)];
            (*links)[size_t(5 * (e - 1) + 1)] = count[size_t(well)];
        }
        sources[size_t(5 * (e - 1) + 3)] = 1;
        sinks[size_t(5 * (e - 1) + 3)] = well;
    }
    inj[5] = 1;
    inj[6] = nStreams;
    inj[7] = 4;
    inj[8] = 1;
    inj[9] = 1;
    LONG four = 4, one = 1;
    SafeArray::table(a, prod, 5, 5, 0);
    SafeArray::table(b, sources, 5, 4);
    ds->setProducerData(&a, &four, &b, &four, &q);
    checks.expect(ok(q), "setProducerData");
    SafeArray::table(a, inj, 5, 2, 0);
    SafeArray::table(b, sinks, 5, 4);
    ds->setInjectorData(&a, &one, &b, &four, &q);
    checks.expect(ok(q), "setInjectorData");
    IrvWAFSet* attached = waf;
    ds->setWAF(&attached, &q);
    checks.expect(ok(q) && attached == waf, "setWAF leaves the caller's reference alone");
    return ds;
}

five_spot::Field field(const Step& step) { return five_spot::makeFiveSpot(step.injectionRate, 8); }

// The five-spot store: steps 1 and 2, then step 1 again (renamed by the store).
Ref<IrvStreamStore> buildStore(const std::vector<five_spot::Field>& fields) {
    Ref<IrvStreamStore> store;
    create(CLSID_rvStreamStore, IID_IrvStreamStore, store);
    store->put_RootKey(Bstr("Fields").get());
    store->put_MainKey(Bstr("FiveSpot").get());
    store->put_AutomaticRename(VARIANT_TRUE);
    const Step steps[3] = {{1, 800.0}, {2, 1000.0}, {1, 800.0}};
    for (const Step& step : steps) {
        Ref<IrvWAFSet> waf = makeAllocationSet(fields[size_t(step.number - 1)]);
        Ref<IrvStreamSet> ds = loadTimeStep(fields[size_t(step.number - 1)], step, waf.get());
        IrvStreamSet* added = ds.get();
        store->AddItem(&added);
    }
    return store;
}

bool saveStore(IrvStreamStore* store, const std::string& path) {
    Ref<IRecordFile> file;
    create(CLSID_RecordFile, IID_IRecordFile, file);
    VARIANT_BOOL opened = 0, q = 0, committed = 0;
    file->OpenForWriting(Bstr(path).get(), 0, &opened);
    IRecordFile* f = file.get();
    store->BINARYEXPORT(&f, &q);
    file->Commit(&committed);
    return ok(opened) && ok(q) && ok(committed);
}

bool loadStore(IrvStreamStore* store, const std::string& path) {
    Ref<IRecordFile> file;
    create(CLSID_RecordFile, IID_IRecordFile, file);
    VARIANT_BOOL opened = 0, q = 0;
    file->OpenForReading(Bstr(path).get(), &opened);
    IRecordFile* f = file.get();
    store->BINARYIMPORT(&f, &q);
    file->Abandon();
    return ok(opened) && ok(q);
}

std::vector<float> streamlineTOF(IrvStreamSet* ds, LONG iStream) {
    SafeArray tof;
    LONG nnodes = 0;
    VARIANT_BOOL q = 0;
    ds->getSingleStreamlineTOF(&iStream, &tof, &nnodes, &q);
    return tof.values<float>();
}

// ---- the checks ----

void earlyBoundWorkflow(const std::vector<five_spot::Field>& fields) {
    Ref<IrvStreamStore> store = buildStore(fields);
    LONG n = 0;
    store->get_NumberOfStreamSets(&n);
    checks.expect(n == 3, "three datasets in the store");
    Ref<IrvStreamSet> third;
    LONG i = 3;
    VARIANT_BOOL found = 0;
    store->GetItem(&i, &third, &found);
    Bstr origin;
    third->get_Origin(&origin);
    checks.expect(ok(found) && origin.text() == "FIVESPOT1", "the duplicate was renamed FIVESPOT1, got " + origin.text());

    // Single streamlines and wells come back as they went in.
    LONG streams = 0, iWell = 2, iType = 0;
    VARIANT_BOOL q = 0;
    third->get_NumberStreamlines(&streams);
    checks.expect(streams == LONG(fields[0].streamlines.size()), "streamline count");
    third->getWellType(&iWell, &iType, &q);
    checks.expect(ok(q) && iType == 1, "well 2 is a producer");
    Bstr name;
    third->getWellName(&iWell, &name);
    checks.expect(name.text() == "P1", "well 2 is P1");
    const std::vector<float> tof = streamlineTOF(third.get(), 1);
    checks.expect(!tof.empty() && std::is_sorted(tof.begin(), tof.end()), "TOF of streamline 1 rises along it");

    // Search by Origin (code 1) finds the renamed copy only.
    store->SearchClear();
    LONG code = 1;
    Bstr wanted("fivespot1");
    store->SearchAddAttribute(&code, &wanted, &q);
    LONG iStart = 1;
    VARIANT_BOOL forward = VARIANT_TRUE;
    store->SearchCreatePointers(&q, &iStart, &forward);
    SafeArray hits;
    LONG nHits = 0;
    store->SearchPointers(&hits, &nHits, &q);
    const std::vector<LONG> hitValues = hits.values<LONG>();
    checks.expect(nHits == 1 && !hitValues.empty() && hitValues[0] == 3, "search by Origin finds dataset 3");

    // WAF rates reach the host through the dataset.
    float water = 0, efficiency = 0;
    LONG iType9 = 9, wafWell = 1;
    third->getWAFWellEfficiency(&wafWell, &water, &efficiency, &q, &iType9);
    LONG wafWells = 0;
    third->getWAFNumberWells(&wafWells);
    checks.expect(wafWells == 5, "the attached WAF set has 5 wells");

    // Save through a RecordFile, load into a new store, compare.
    char folder[MAX_PATH];
    GetTempPathA(MAX_PATH, folder);
    const std::string path = std::string(folder) + "tkstream63_client.bin";
    checks.expect(saveStore(store.get(), path), "store saved through RecordFile");
    Ref<IrvStreamStore> loaded;
    create(CLSID_rvStreamStore, IID_IrvStreamStore, loaded);
    checks.expect(loadStore(loaded.get(), path), "store loaded through RecordFile");
    loaded->get_NumberOfStreamSets(&n);
    checks.expect(n == 3, "three datasets loaded");
    for (LONG k = 1; k <= 3 && n == 3; ++k) {
        Ref<IrvStreamSet> before, after;
        store->GetItem(&k, &before, &found);
        loaded->GetItem(&k, &after, &found);
        Bstr a, b;
        before->get_Origin(&a);
        after->get_Origin(&b);
        LONG ra = 0, rb = 0;
        before->get_MaxRows(&ra);
        after->get_MaxRows(&rb);
        checks.expect(a.text() == b.text() && ra == rb && streamlineTOF(before.get(), 5) == streamlineTOF(after.get(), 5),
                      "dataset " + std::to_string(k) + " loaded as saved (streamline 5 bit for bit)");
    }
    DeleteFileA(path.c_str());

    // A dataset handed out twice is the same COM object.
    Ref<IrvStreamSet> again;
    LONG one = 1;
    store->GetItem(&one, &again, &found);
    Ref<IrvStreamSet> firstAgain;
    store->GetItem(&one, &firstAgain, &found);
    checks.expect(again.get() == firstAgain.get(), "GetItem gives the same object each time");
}

// Calls a member by name through IDispatch, as a script host would.
HRESULT invoke(IDispatch* object, const wchar_t* name, WORD flags, std::vector<VARIANT> args,
               VARIANT* result = nullptr, std::vector<DISPID> named = {}) {
    DISPID id = 0;
    LPOLESTR names[1] = {const_cast<LPOLESTR>(name)};
    HRESULT hr = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) return hr;
    std::reverse(args.begin(), args.end());
    DISPPARAMS params{args.data(), named.empty() ? nullptr : named.data(), UINT(args.size()), UINT(named.size())};
    UINT argumentError = 0;
    return object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, result, nullptr, &argumentError);
}

VARIANT byRef(VARIANT& target) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&v) = &target;
    return v;
}

VARIANT longValue(LONG value) {
    VARIANT v;
    V_VT(&v) = VT_I4;
    V_I4(&v) = value;
    return v;
}

VARIANT text(const wchar_t* value) {
    VARIANT v;
    V_VT(&v) = VT_BSTR;
    V_BSTR(&v) = SysAllocString(value);
    return v;
}

// The script-host forms the scripts do not reach: names in any case and named arguments, a
// property let by DISPID_PROPERTYPUT, an optional argument left out, and the refusal HRESULT.
// (Variant arrays by reference are the scripts' own daily bread: workflow_test.vbs.)
void lateBoundCalls() {
    Ref<IDispatch> ds;
    create(CLSID_rvStreamSet, IID_IDispatch, ds);
    VARIANT names, okFlag, number, upperOrigin, defined, qOK2;
    for (VARIANT* v : {&names, &okFlag, &number, &upperOrigin, &defined, &qOK2}) VariantInit(v);
    SAFEARRAYBOUND bound{4, 0};  // script arrays start at 0; element 0 stays unused
    V_VT(&names) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(&names) = SafeArrayCreate(VT_VARIANT, 1, &bound);
    const wchar_t* wells[] = {L"I1", L"P1", L"P2"};
    for (LONG k = 1; k <= 3; ++k) {
        VARIANT v = text(wells[k - 1]);
        SafeArrayPutElement(V_ARRAY(&names), &k, &v);
        VariantClear(&v);
    }
    HRESULT hr = invoke(ds.get(), L"SETWELLNAMES", DISPATCH_METHOD, {byRef(names), longValue(3), byRef(okFlag)});
    checks.expect(SUCCEEDED(hr) && V_VT(&okFlag) == VT_BOOL && V_BOOL(&okFlag) == VARIANT_TRUE,
                  "setWellNames through IDispatch with a variant array");
    VARIANT zWell = text(L"P2"), origin = text(L"base"), abc = text(L"abc");
    hr = invoke(ds.get(), L"wellnumber", DISPATCH_METHOD | DISPATCH_PROPERTYGET, {zWell}, &number);
    checks.expect(SUCCEEDED(hr) && V_VT(&number) == VT_I4 && V_I4(&number) == 3, "WellNumber(\"P2\") late-bound");
    hr = invoke(ds.get(), L"Origin", DISPATCH_PROPERTYPUT, {origin}, nullptr, {DISPID_PROPERTYPUT});
    invoke(ds.get(), L"UCaseOrigin", DISPATCH_PROPERTYGET, {}, &upperOrigin);
    checks.expect(SUCCEEDED(hr) && V_VT(&upperOrigin) == VT_BSTR && narrow(V_BSTR(&upperOrigin)) == "BASE",
                  "property let and get by name");
    hr = invoke(ds.get(), L"getWAFWellDefined_Single", DISPATCH_METHOD, {longValue(1), byRef(defined), byRef(qOK2)});
    checks.expect(SUCCEEDED(hr) && V_VT(&qOK2) == VT_BOOL && V_BOOL(&qOK2) == VARIANT_TRUE,
                  "an optional argument left out takes its default");
    hr = invoke(ds.get(), L"getWellName", DISPATCH_METHOD, {abc}, &number);
    checks.expect(hr == DISP_E_TYPEMISMATCH, "a text for a Long is a type mismatch");
    LPOLESTR named[3] = {const_cast<LPOLESTR>(L"getwellname"), const_cast<LPOLESTR>(L"IWELL"),
                         const_cast<LPOLESTR>(L"nothing")};
    DISPID ids[3] = {};
    hr = ds->GetIDsOfNames(IID_NULL, named, 3, LOCALE_USER_DEFAULT, ids);
    checks.expect(hr == DISP_E_UNKNOWNNAME && ids[0] == 60 && ids[1] == 0 && ids[2] == DISPID_UNKNOWN,
                  "GetIDsOfNames gives the member's and its arguments' numbers, DISPID_UNKNOWN for a stranger");
    for (VARIANT* v : {&names, &okFlag, &number, &zWell, &origin, &upperOrigin, &defined, &qOK2, &abc}) VariantClear(v);
}

void errorReport() {
    Ref<IStreamStorageHost> host;
    create(CLSID_StreamStorageHost, IID_IStreamStorageHost, host);
    host->ClearMessages();
    Ref<IrvStreamSet> ds;
    create(CLSID_rvStreamSet, IID_IrvStreamSet, ds);
    SafeArray names;
    SafeArray::fill(names, std::vector<std::string>{"P1"});
    LONG one = 1;
    VARIANT_BOOL q = VARIANT_TRUE;
    // A String array where Longs belong: the call does not reach the member (qOK stays as the
    // caller set it) and the mismatch is reported under the member's name.
    ds->setWellTypes(&names, &one, &q);
    Bstr last;
    host->get_LastMessage(&last);
    checks.expect(last.text() == "Error:Type mismatch (No.13) In [rvStreamSet (Code) (setWellTypes)] ",
                  "a wrong array type is reported through the error report, got: " + last.text());
}

void lifetimes() {
    const CLSID* classes[] = {&CLSID_rvStreamSet, &CLSID_rvStreamStore, &CLSID_rvWAFSet,
                              &CLSID_rvStreamStorageInfo, &CLSID_RecordFile, &CLSID_StreamStorageHost};
    // The class factories once (the registry lookup is the slow part under Wine), then 10,000
    // objects of every class made and released through them.
    std::vector<IClassFactory*> factories;
    for (const CLSID* clsid : classes) {
        IClassFactory* factory = nullptr;
        CoGetClassObject(*clsid, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory));
        if (factory != nullptr) factories.push_back(factory);
    }
    bool created = factories.size() == std::size(classes);
    for (int round = 0; round < 10000 && created; ++round) {
        for (IClassFactory* factory : factories) {
            IDispatch* object = nullptr;
            created = created && SUCCEEDED(factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&object)));
            if (object != nullptr) object->Release();
        }
    }
    for (IClassFactory* factory : factories) factory->Release();
    checks.expect(created, "10,000 rounds of creating and releasing every class");
    HMODULE dll = GetModuleHandleW(L"tkstream63.dll");
    auto canUnload = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(GetProcAddress(dll, "DllCanUnloadNow")));
    checks.expect(canUnload != nullptr && canUnload() == S_OK, "DllCanUnloadNow answers S_OK with nothing alive");
    {
        Ref<IrvStreamStore> store;
        create(CLSID_rvStreamStore, IID_IrvStreamStore, store);
        checks.expect(canUnload != nullptr && canUnload() == S_FALSE, "DllCanUnloadNow answers S_FALSE while a store lives");
    }
}

int resave(const std::string& from, const std::string& to) {
    Ref<IrvStreamStore> store;
    create(CLSID_rvStreamStore, IID_IrvStreamStore, store);
    return loadStore(store.get(), from) && saveStore(store.get(), to) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    CoInitialize(nullptr);
    int status = 0;
    const std::vector<five_spot::Field> fields = {field({1, 800.0}), field({2, 1000.0})};
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "save" && argc == 3) {
        Ref<IrvStreamStore> store = buildStore(fields);
        status = saveStore(store.get(), argv[2]) ? 0 : 1;
    } else if (mode == "resave" && argc == 4) {
        status = resave(argv[2], argv[3]);
    } else {
        earlyBoundWorkflow(fields);
        lateBoundCalls();
        errorReport();
        lifetimes();
        status = checks.summary();
    }
    CoUninitialize();
    return status;
}
