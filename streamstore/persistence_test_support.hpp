// Test data and file helpers shared by the record-file tests of the WAF set, the dataset and the
// store: filled objects that use every field the record sections carry, export and import
// through real files, a listing of a file's records, and hand-written record files.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

#include "common/shared_objects.hpp"
#include "common/test_support.hpp"
#include "common/utilities.hpp"
#include "recordfile/record_file.hpp"
#include "recordfile/record_file_testing.hpp"
#include "recordfile/record_io.hpp"
#include "streamstore/stream_store.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63::persistence_test {

using tkstream63::testing::ScratchDirectory;

using testing_support::anyReportContains;
using testing_support::list;
using testing_support::reports;

inline Array<std::string> names(std::initializer_list<std::string> values) { return list(values); }

// A WAF set with every field set. Producers and injectors as given; with more injectors than
// producers the last "CNT" before "WAFDATA" names no producer row, so a round trip is exact.
inline std::shared_ptr<rvWAFSet> makeWafSet(int32_t seed, int32_t producers = 2, int32_t injectors = 3) {
    auto set = std::make_shared<rvWAFSet>();
    bool ok = false;
    const int32_t wells = producers + injectors;
    Array<std::string> wellNames(1, wells);
    Array<int32_t> types(1, wells), indices(1, wells);
    Array<bool> defined(1, wells), inList(1, wells);
    for (int32_t i = 1; i <= wells; ++i) {
        const bool producer = i <= producers;
        std::string name(1, producer ? 'P' : 'I');
        wellNames(i) = name.append(std::to_string(producer ? i : i - producers));
        types(i) = producer ? 1 : 2;
        indices(i) = producer ? i : i - producers;
        defined(i) = i % 3 != 0;
        inList(i) = i % 2 == 1;
    }
    set->setWellNames(wellNames, wells, ok);
    set->setWellTypes(types, wells, ok);
    set->setWellIndices(indices, wells, ok);
    set->setWellsDefined(defined, wells, ok);
    set->setWellListFlags(inList, wells, ok);
    set->setWellListActive(true);
    const int32_t columns = 9;
    const int32_t rows = producers + injectors + 1;
    Array<float> data(1, columns, 1, rows);
    for (size_t k = 0; k < data.size(); ++k) data.data()[k] = 0.5f * static_cast<float>(k + 1) + static_cast<float>(seed);
    set->setWAFData(data, columns, rows, ok);
    auto connections = [&](int32_t n, float rateBase) {
        Array<int32_t> first(1, n), count(1, n), other(1, n), total(1, n);
        Array<float> rate(1, n);
        for (int32_t i = 1; i <= n; ++i) {
            first(i) = i;
            count(i) = 1;
            other(i) = rows;
            total(i) = rows - 1;
            rate(i) = rateBase * static_cast<float>(i) + 0.125f;
        }
        return std::make_tuple(first, count, other, total, rate);
    };
    auto [pFirst, pCount, pOther, pTotal, pRate] = connections(producers, 100.0f + static_cast<float>(seed));
    set->setProducersData(pFirst, pCount, pOther, pTotal, pRate, producers, ok);
    auto [iFirst, iCount, iOther, iTotal, iRate] = connections(injectors, 300.0f);
    set->setInjectorsData(iFirst, iCount, iOther, iTotal, iRate, injectors, ok);
    set->setStartDate(1, 1, 2020, ok);
    set->setSimulationDate(15, 6, 2024 + seed, ok);
    set->SimulationTime(1234.5f + static_cast<float>(seed));
    set->TimeStep(17 + seed);
    return set;
}

// A dataset with every field the record section carries set to a value of its own.
inline std::shared_ptr<rvStreamSet> makeDataSet(int32_t seed, bool withWaf = true) {
    auto set = std::make_shared<rvStreamSet>();
    bool ok = false;
    const std::string tag = std::to_string(seed);
    set->Origin("Run " + tag);
    set->GroupName("Field group");
    set->TVGroupName("Tree " + tag);
    set->DateStamp("2024-0" + tag + "-01");
    set->FileName("/data/run" + tag + ".sln");
    set->SourceType("FrontSim");
    set->DataClass("Streamlines");
    set->DataRootPath("/data");
    set->TreeViewKey("K" + tag);
    set->UniqueKey("U" + tag);
    set->TVDisplayRoot("Display root");
    set->FileType(4);
    set->Units(2);
    set->index(seed);
    set->iStart(3);
    set->iEnd(9);
    set->Unified(true);
    set->Formatted(true);
    set->AllData(false);
    set->IsDirty(true);
    set->MaxZones(7);
    set->SimulationEndTime(3650.25f);
    set->WAFType(3);
    set->UseWellList(true);
    std::string simulationTime = "182.5";
    set->SetDataSetAttribute(40, simulationTime);
    set->MaximumNumberWells(12);
    set->setGridDimension(10, 5, 2 + seed, ok);
    set->setLimits(-1.5f, 2.25f, -3.0f, 4.5f, 1000.0f, 1010.0f, ok);
    set->setTOFLimits(0.125f, 99.0f, ok);
    set->setDRTLimits(0.25f, 0.75f, ok);
    set->setStartDate(2, 3, 2019, ok);

    set->setWellNames(names({"P1", "P2", "I1", "I2"}), 4, ok);
    set->setWellTypes(list<int32_t>({1, 1, 2, 2}), 4, ok);
    set->setWellIndex(list<int32_t>({1, 2, 1, 2}), 4, ok);
    set->setWellDefined(list<bool>({true, false, true, true}), 4, ok);
    set->setWellLocations(list<float>({0, 500, 250, 250}), list<float>({0, 0, 250, 400}),
                          list<float>({2000, 2001, 2002.5f, 2003}), 4, ok);
    set->setWellLocationsDefined(list<bool>({true, true, false, true}), 4, ok);
    set->SetWellList(names({"P2", "I1", "NOWHERE"}), ok);

    // Connections: entry tables with their slot 0, source and sink tables.
    Array<int32_t> producers(1, 5, 0, 2), sources(1, 5, 1, 3), injectors(1, 5, 0, 2), sinks(1, 5, 1, 2);
    for (size_t k = 0; k < producers.size(); ++k) producers.data()[k] = static_cast<int32_t>(k) + 10 * seed;
    for (size_t k = 0; k < sources.size(); ++k) sources.data()[k] = static_cast<int32_t>(k) % 4 + 1;
    for (size_t k = 0; k < injectors.size(); ++k) injectors.data()[k] = static_cast<int32_t>(k) + 100;
    for (size_t k = 0; k < sinks.size(); ++k) sinks.data()[k] = static_cast<int32_t>(k) % 4 + 1;
    set->setProducerData(producers, 2, sources, 3, ok);
    set->setInjectorData(injectors, 2, sinks, 2, ok);

    set->setHeaders(names({"X", "Y", "Z", "CELL", "TOF", "DRT"}), names({"m", "m", "m", "", "days", ""}), 6, ok);
    const int32_t rows = 20 + seed;
    Array<float> nodes(1, rows, 1, 6);
    for (size_t k = 0; k < nodes.size(); ++k) nodes.data()[k] = 0.1f * static_cast<float>(k) + static_cast<float>(seed);
    // Values whose bits a text detour could change: a NaN with a payload and a negative zero.
    nodes.data()[3] = std::bit_cast<float>(0x7FC00123u);
    nodes.data()[4] = -0.0f;
    set->setStreamLineData(nodes, 6, rows, ok);
    Array<int32_t> pointers(1, 8, 1, 6);
    for (size_t k = 0; k < pointers.size(); ++k) pointers.data()[k] = static_cast<int32_t>(k % 9);
    set->setStreamLinePointers(pointers, 8, 3, ok);

    // Internal Longs reached through their handles: written and read back verbatim.
    Array<int32_t> handles;
    set->GetAllPointers(handles);
    for (const int32_t handle : {7, 8, 13, 26, 30, 31, 32, 33, 34, 35, 36, 37, 42, 45}) {
        auto field = set->ResolvePointer(handle);
        if (auto* value = std::get_if<int32_t*>(&field)) **value = 1000 * handle + seed;
    }
    if (withWaf) set->setWAF(makeWafSet(seed), ok);
    return set;
}

inline void fillStore(rvStreamStore& store, int32_t datasets) {
    store.RootKey("Root");
    store.MainKey("Main");
    store.AutomaticRename(true);
    store.CheckDataSetNames(true);
    for (int32_t i = 1; i <= datasets; ++i) store.AddItem(makeDataSet(i, i % 2 == 1));
}

// ---- files ----

// The folder of checked-in sample files.
inline std::string testDataFolder() {
    if (const char* source = std::getenv("TKSTREAM63_SOURCE_DIR")) return std::string(source) + "/streamstore/testdata";
    return std::string(__FILE__).substr(0, std::string(__FILE__).rfind('/')) + "/testdata";
}

// Saves a store or a dataset (its record section alone) to a new file: true when the export and
// the commit both succeeded.
template <class Saved>
bool saveStore(Saved& saved, const std::string& path, RecordForm form = RecordForm::Binary) {
    RecordFile file;
    if (!file.OpenForWriting(path, form)) return false;
    bool qOK = false;
    saved.BINARYEXPORT(file, qOK);
    return file.Commit() && qOK;
}

// Imports into a store or a dataset; false when the file could not be opened.
template <class Loaded>
bool loadStore(Loaded& loaded, const std::string& path, bool& qOK) {
    RecordFile file;
    qOK = false;
    if (!file.OpenForReading(path)) return false;
    loaded.BINARYIMPORT(file, qOK);
    return true;
}

// One record as read back: its header and its items.
struct RecordSummary {
    std::string keyword;
    int32_t count = 0;
    std::string type;
    std::vector<Variant> items;
    int64_t end = 0;  // offset just past the record
};

inline std::vector<RecordSummary> listRecords(const std::string& path) {
    std::vector<RecordSummary> records;
    RecordFile file;
    if (!file.OpenForReading(path)) return records;
    RecordIO io;
    bool endOfFile = false;
    while (!endOfFile) {
        RecordSummary record;
        bool ok = false;
        io.ReadRecordHeader(file, record.keyword, record.count, record.type, ok);
        if (!ok) break;
        for (int32_t k = 0; k < record.count && ok; ++k) {
            Variant item;
            io.ReadItem(file, item, ok);
            record.items.push_back(item);
        }
        record.end = file.BytesRead();
        records.push_back(std::move(record));
        int32_t read = 0, total = 0;
        file.GetReadState(read, total, endOfFile);
    }
    return records;
}

inline std::vector<std::string> keywords(const std::vector<RecordSummary>& records) {
    std::vector<std::string> result;
    for (const auto& record : records) result.push_back(record.keyword);
    return result;
}

// Writes a record file by hand: each record with its header and items in one call.
class RecordScript {
public:
    RecordScript(const std::string& path, RecordForm form = RecordForm::Binary) { file_.OpenForWriting(path, form); }
    RecordScript& record(const std::string& keyword, const char* type, std::initializer_list<Variant> items) {
        bool ok = false;
        io_.WriteRecordHeader(file_, keyword, static_cast<int32_t>(items.size()), type, ok);
        for (const Variant& item : items) io_.WriteItem(file_, item, ok);
        return *this;
    }
    RecordScript& marker(const std::string& keyword) { return record(keyword, "CHAR", {}); }
    // A record of count Long items 1, 2, 3, ...
    RecordScript& longs(const std::string& keyword, int32_t count) {
        std::vector<int32_t> values(static_cast<size_t>(count));
        for (int32_t k = 1; k <= count; ++k) values[static_cast<size_t>(k - 1)] = k;
        return longs(keyword, values);
    }
    RecordScript& longs(const std::string& keyword, const std::vector<int32_t>& values) {
        bool ok = false;
        io_.WriteRecordHeader(file_, keyword, static_cast<int32_t>(values.size()), "INTE", ok);
        for (const int32_t value : values) io_.WriteItem(file_, value, ok);
        return *this;
    }
    // A "BYTE" record of n zeros.
    RecordScript& bytes(const std::string& keyword, int32_t n) {
        bool ok = false;
        io_.WriteRecordHeader(file_, keyword, n, "BYTE", ok);
        io_.WriteByteArray(n, Array<uint8_t>(1, n), file_, ok);
        return *this;
    }
    bool commit() { return file_.Commit(); }

private:
    RecordFile file_;
    RecordIO io_;
};

class PersistenceTest : public testing_support::ScriptedDialogTest {
protected:
    std::string path(const std::string& name) const { return scratch.file(name); }
    ScratchDirectory scratch;
};

}  // namespace tkstream63::persistence_test
