#include "fuzz/fuzz_targets.hpp"

#include <bit>
#include <cstdio>
#include <string>

#include "fuzz/fuzz_support.hpp"
#include "recordfile/record_file.hpp"
#include "streamstore/stream_store.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63::fuzz {
namespace {

// ---- imports ----

// Inputs and saved stores are small: a small buffer spares the allocator a fresh large block (a
// mapping of its own under the sanitizer, faulted in and unmapped again) for every input.
constexpr size_t kFileBuffer = 4096;

// Opens the input as a record file and imports it into a fresh T, within the load's budget.
template <class T>
void importInto(const uint8_t* data, size_t size) {
    quietHost();
    const std::string path = inMemoryFile(data, size);
    if (path.empty()) return;
    {
        LoadMemoryCheck check(size);
        RecordFile file(kFileBuffer);
        if (file.OpenForReading(path)) {
            T object;
            bool qOK = false;
            object.BINARYIMPORT(file, qOK);
        }
    }
    forgetErrors();
}

// ---- the write path ----

// Reads the input as a script; past its end every read gives zeros.
class Script {
public:
    Script(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
    bool flag() { return (byte() & 1) != 0; }
    int32_t upTo(int32_t most) { return byte() % (most + 1); }
    uint32_t word() {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v = (v << 8) | byte();
        return v;
    }
    int32_t integer() { return static_cast<int32_t>(word()); }
    float real() { return std::bit_cast<float>(word()); }
    std::string text() {
        std::string s(static_cast<size_t>(upTo(44)), ' ');
        for (char& c : s) c = static_cast<char>(byte());
        return s;
    }
    Array<std::string> texts(int32_t n) {
        Array<std::string> a(1, n);
        for (int32_t i = 1; i <= n; ++i) a(i) = text();
        return a;
    }
    template <class T, class Make>
    Array<T> values(int32_t n, Make make) {
        Array<T> a(1, n);
        for (int32_t i = 1; i <= n; ++i) a(i) = make();
        return a;
    }

private:
    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
};

std::shared_ptr<rvWAFSet> scriptedWafSet(Script& s) {
    auto set = std::make_shared<rvWAFSet>();
    bool ok = false;
    const int32_t wells = s.upTo(5);
    if (wells > 0) {
        set->setWellNames(s.texts(wells), wells, ok);
        set->setWellTypes(s.values<int32_t>(wells, [&] { return s.upTo(3); }), wells, ok);
        set->setWellIndices(s.values<int32_t>(wells, [&] { return s.upTo(6); }), wells, ok);
        set->setWellsDefined(s.values<bool>(wells, [&] { return s.flag(); }), wells, ok);
    }
    // The file keeps at least one injector, and "WAFDATA" also fills the rate of the producer row
    // named by the last "CNT" before it: with more injectors than producers that row is none.
    const int32_t producers = s.upTo(2), injectors = producers + 1 + s.upTo(1);
    for (const int32_t n : {producers, injectors}) {
        if (n == 0) continue;
        auto number = [&] { return s.upTo(6); };
        const auto first = s.values<int32_t>(n, number), count = s.values<int32_t>(n, number),
                   other = s.values<int32_t>(n, number), total = s.values<int32_t>(n, number);
        const auto rate = s.values<float>(n, [&] { return s.real(); });
        if (n == producers)
            set->setProducersData(first, count, other, total, rate, n, ok);
        else
            set->setInjectorsData(first, count, other, total, rate, n, ok);
    }
    const int32_t columns = 1 + s.upTo(8), rows = s.upTo(6);
    Array<float> table(1, columns, 1, rows);
    for (size_t k = 0; k < table.size(); ++k) table.data()[k] = s.real();
    if (rows > 0) set->setWAFData(table, columns, rows, ok);
    set->setSimulationDate(s.upTo(31), s.upTo(12), 1900 + s.upTo(200), ok);
    set->SimulationTime(s.real());
    set->TimeStep(s.integer());
    return set;
}

std::shared_ptr<rvStreamSet> scriptedDataSet(Script& s) {
    auto set = std::make_shared<rvStreamSet>();
    bool ok = false;
    for (int32_t n = s.upTo(8); n > 0; --n) {
        std::string value = s.text();
        set->SetDataSetAttribute(s.upTo(56), value);
    }
    set->setGridDimension(s.integer(), s.integer(), s.integer(), ok);
    set->setLimits(s.real(), s.real(), s.real(), s.real(), s.real(), s.real(), ok);
    set->setTOFLimits(s.real(), s.real(), ok);
    set->setDRTLimits(s.real(), s.real(), ok);
    set->setStartDate(s.upTo(31), s.upTo(12), 1900 + s.upTo(200), ok);
    const int32_t wells = s.upTo(6);
    if (wells > 0) {
        set->setWellNames(s.texts(wells), wells, ok);
        set->setWellTypes(s.values<int32_t>(wells, [&] { return s.upTo(3); }), wells, ok);
        set->setWellIndex(s.values<int32_t>(wells, [&] { return s.upTo(6); }), wells, ok);
        set->setWellDefined(s.values<bool>(wells, [&] { return s.flag(); }), wells, ok);
        auto coordinate = [&] { return s.real(); };
        set->setWellLocations(s.values<float>(wells, coordinate), s.values<float>(wells, coordinate),
                              s.values<float>(wells, coordinate), wells, ok);
        set->setWellLocationsDefined(s.values<bool>(wells, [&] { return s.flag(); }), wells, ok);
        if (s.flag()) set->SetWellList(s.texts(1 + s.upTo(3)), ok);
    }
    const int32_t columns = 1 + s.upTo(7), nodes = s.upTo(40), lines = s.upTo(5);
    set->setHeaders(s.texts(columns), s.texts(columns), columns, ok);
    Array<float> table(1, nodes, 1, columns);
    for (size_t k = 0; k < table.size(); ++k) table.data()[k] = s.real();
    set->setStreamLineData(table, columns, nodes, ok);
    Array<int32_t> pointers(1, 8, 1, 2 * lines + 1);
    for (size_t k = 0; k < pointers.size(); ++k) pointers.data()[k] = s.upTo(nodes + 1);
    set->setStreamLinePointers(pointers, 8, lines, ok);
    if (s.flag()) set->setWAF(scriptedWafSet(s), ok);
    return set;
}

void require(bool same, const char* what) {
    if (same) return;
    std::fprintf(stderr, "write path: %s differs after a save and a load\n", what);
    __builtin_trap();
}

bool sameBits(const Array<float>& a, const Array<float>& b) {
    if (a.size() != b.size()) return false;
    for (size_t k = 0; k < a.size(); ++k)
        if (std::bit_cast<uint32_t>(a.data()[k]) != std::bit_cast<uint32_t>(b.data()[k])) return false;
    return true;
}

void compareDataSets(rvStreamSet& a, rvStreamSet& b) {
    for (int32_t code = 1; code <= 55; ++code) {
        std::string x, y;
        const bool hasX = a.GetDataSetAttribute(code, x), hasY = b.GetDataSetAttribute(code, y);
        require(hasX == hasY && x == y, "an attribute");
    }
    int32_t n[6] = {};
    bool ok = false;
    a.getGridDimension(n[0], n[1], n[2], ok);
    b.getGridDimension(n[3], n[4], n[5], ok);
    require(n[0] == n[3] && n[1] == n[4] && n[2] == n[5], "the grid");
    float l[12] = {};
    a.getLimits(l[0], l[1], l[2], l[3], l[4], l[5], ok);
    b.getLimits(l[6], l[7], l[8], l[9], l[10], l[11], ok);
    for (int i = 0; i < 6; ++i) require(std::bit_cast<uint32_t>(l[i]) == std::bit_cast<uint32_t>(l[i + 6]), "the limits");
    require(a.NumberWells() == b.NumberWells() && a.MaximumNumberWells() == b.MaximumNumberWells(), "the well count");
    for (int32_t w = 1; w <= a.NumberWells(); ++w) {
        require(a.getWellName(w) == b.getWellName(w), "a well name");
        int32_t typeA = 0, typeB = 0;
        bool defA = false, defB = false, okA = false, okB = false;
        a.getWellType(w, typeA, okA);
        b.getWellType(w, typeB, okB);
        require(typeA == typeB && okA == okB, "a well type");
        a.getWellDefined(w, defA, okA);
        b.getWellDefined(w, defB, okB);
        require(defA == defB && okA == okB, "a well's defined flag");
        float p[6] = {};
        a.getWellLocation(w, p[0], p[1], p[2], okA);
        b.getWellLocation(w, p[3], p[4], p[5], okB);
        for (int i = 0; i < 3; ++i) require(std::bit_cast<uint32_t>(p[i]) == std::bit_cast<uint32_t>(p[i + 3]), "a well location");
    }
    Array<std::string> headersA, unitsA, headersB, unitsB;
    int32_t countA = 0, countB = 0;
    a.getHeaders(headersA, unitsA, countA, ok);
    b.getHeaders(headersB, unitsB, countB, ok);
    require(countA == countB && headersA.size() == headersB.size(), "the headers");
    for (size_t k = 0; k < headersA.size(); ++k) require(headersA.data()[k] == headersB.data()[k], "a header");
    require(a.NumberStreamlines() == b.NumberStreamlines() && a.NumCols() == b.NumCols(), "the streamline count");
    for (int32_t line = 1; line <= a.NumberStreamlines(); ++line) {
        Array<float> dataA, dataB;
        int32_t colsA = 0, colsB = 0, nodesA = 0, nodesB = 0;
        bool okA = false, okB = false;
        a.getSingleStreamline(line, dataA, colsA, nodesA, okA);
        b.getSingleStreamline(line, dataB, colsB, nodesB, okB);
        require(okA == okB && colsA == colsB && nodesA == nodesB && sameBits(dataA, dataB), "a streamline");
    }
    require(a.getWAFNumberWells() == b.getWAFNumberWells() && a.getWAFNumberProducers() == b.getWAFNumberProducers() &&
                a.getWAFNumberInjectors() == b.getWAFNumberInjectors(),
            "the WAF well counts");
    for (int32_t w = 1; w <= a.getWAFNumberWells(); ++w) {
        const std::string name = a.getWAFWellName(w);
        require(name == b.getWAFWellName(w), "a WAF well name");
        Array<float> rateA, rateB;
        Array<int32_t> wellsA, wellsB;
        Array<std::string> namesA, namesB;
        int32_t nA = 0, nB = 0;
        float otherA = 0, otherB = 0, totalA = 0, totalB = 0;
        bool okA = false, okB = false;
        a.getWAFWellNameData(name, rateA, nA, otherA, totalA, wellsA, namesA, okA);
        b.getWAFWellNameData(name, rateB, nB, otherB, totalB, wellsB, namesB, okB);
        require(okA == okB && nA == nB && sameBits(rateA, rateB) &&
                    std::bit_cast<uint32_t>(otherA) == std::bit_cast<uint32_t>(otherB) &&
                    std::bit_cast<uint32_t>(totalA) == std::bit_cast<uint32_t>(totalB),
                "a WAF well's data");
    }
}

void writePath(const uint8_t* data, size_t size) {
    quietHost();
    rvStreamStore saved;
    buildStore(data, size, saved);
    const RecordForm form = size > 0 && (data[0] & 0x80) != 0 ? RecordForm::Formatted : RecordForm::Binary;
    const std::string path = scratchFolder() + "/store.rec";
    {
        RecordFile file(kFileBuffer);
        bool qOK = false;
        if (file.OpenForWriting(path, form)) saved.BINARYEXPORT(file, qOK);
        require(qOK && file.Commit(), "the save");
    }
    rvStreamStore loaded;
    {
        RecordFile file(kFileBuffer);
        bool qOK = false;
        require(file.OpenForReading(path), "the open");
        LoadMemoryCheck check(static_cast<size_t>(file.TotalBytes()));
        loaded.BINARYIMPORT(file, qOK);
        require(qOK, "the load");
    }
    require(saved.NumberOfStreamSets() == loaded.NumberOfStreamSets() && saved.RootKey() == loaded.RootKey() &&
                saved.MainKey() == loaded.MainKey(),
            "the store");
    std::string difference;
    if (!saved.sameContents(loaded, difference)) {
        std::fprintf(stderr, "write path: %s\n", difference.c_str());
        require(false, "the store's contents");
    }
    for (int32_t i = 1; i <= saved.NumberOfStreamSets(); ++i) {
        std::shared_ptr<rvStreamSet> a, b;
        require(saved.GetDataSet(i, a) && loaded.GetDataSet(i, b) && a && b, "a dataset");
        compareDataSets(*a, *b);
    }
    forgetErrors();
}

void storeImport(const uint8_t* data, size_t size) { importInto<rvStreamStore>(data, size); }
void dataSetImport(const uint8_t* data, size_t size) { importInto<rvStreamSet>(data, size); }
void wafSetImport(const uint8_t* data, size_t size) { importInto<rvWAFSet>(data, size); }

constexpr Target kTargets[] = {
    {"store_import", storeImport, Seal::Binary},
    {"dataset_import", dataSetImport, Seal::Binary},
    {"wafset_import", wafSetImport, Seal::Binary},
    {"formatted_import", storeImport, Seal::Formatted},
    {"write_path", writePath, Seal::None},
};

}  // namespace

std::span<const Target> targets() { return kTargets; }

void buildStore(const uint8_t* data, size_t size, rvStreamStore& store) {
    Script s(data, size);
    s.byte();  // the first byte picks the form of the save
    store.RootKey(s.text());
    store.MainKey(s.text());
    store.AutomaticRename(true);
    store.CheckDataSetNames(s.flag());
    for (int32_t n = s.upTo(3); n > 0; --n) store.AddItem(scriptedDataSet(s));
}

std::shared_ptr<rvWAFSet> buildWafSet(const uint8_t* data, size_t size) {
    Script s(data, size);
    return scriptedWafSet(s);
}

}  // namespace tkstream63::fuzz
