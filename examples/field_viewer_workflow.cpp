#include "examples/field_viewer_workflow.hpp"

#include <stdlib.h>  // mkdtemp

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <limits>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

namespace field_viewer {

using namespace tkstream63;

bool Checks::expect(bool condition, const std::string& what) {
    if (!condition) {
        ++failures_;
        report_ << "  FAILED: expected " << what << "\n";
    }
    return condition;
}

namespace {

constexpr int32_t kStreamlinesPerLayer = 32;
constexpr int32_t kNodeColumns = 7;  // X, Y, Z, CELL, TOF, DRT, VELOCITY
// Pointer columns: first row, nodes, layer, producer entry, injector entry, unused, start, end.
constexpr int32_t kPointerColumns = 8;
constexpr int32_t kWafColumns = 9;
constexpr float kEndTime = 3000.0f;   // days simulated in all
constexpr double kTopDepth = 2000.0;  // m

std::chrono::year_month_day civilDate(int32_t days) {
    using namespace std::chrono;
    return year_month_day{sys_days{year{2024} / January / 1} + std::chrono::days{days}};
}

// Fixed-point text of a number, right-aligned in width characters.
std::string number(double value, int decimals, int width = 0) {
    char text[64];
    std::snprintf(text, sizeof text, "%*.*f", width, decimals, value);
    return text;
}

std::string padded(const std::string& text, size_t width) {
    return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}

std::string attributeName(int32_t code) {
    return code == 1 ? "Origin" : code == 4 ? "DateStamp" : "attribute " + std::to_string(code);
}

void heading(std::ostream& report, int step, const std::string& title) {
    report << "\n== " << step << ". " << title << " ==\n";
}

template <class T>
Array<T> arrayOf(const std::vector<T>& values) {
    Array<T> array(1, static_cast<int32_t>(values.size()));
    for (size_t k = 0; k < values.size(); ++k) array(static_cast<int32_t>(k + 1)) = values[k];
    return array;
}

int32_t count32(size_t n) { return checkedLong(static_cast<int64_t>(n)); }

// ---- the file reader's side: a field time step as the library's tables ----

// Entry number of each well in the producer or the injector table (1-based within its kind),
// indexed by the well's 0-based position in the field.
std::vector<int32_t> entryNumbers(const five_spot::Field& field) {
    std::vector<int32_t> entries;
    int32_t producers = 0, injectors = 0;
    for (const five_spot::Well& well : field.wells)
        entries.push_back(well.type == 1 ? ++producers : ++injectors);
    return entries;
}

// Field streamline positions in dataset order: grouped by the well they reach (in well order),
// those that reached no well last.
std::vector<size_t> streamlineOrder(const five_spot::Field& field) {
    std::vector<size_t> order(field.streamlines.size());
    std::iota(order.begin(), order.end(), size_t{0});
    const auto endKey = [&](size_t k) {
        const int32_t end = field.streamlines[k].endWell;
        return end > 0 ? end : std::numeric_limits<int32_t>::max();
    };
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return endKey(a) < endKey(b); });
    return order;
}

// The streamlines that end at one well: consecutive dataset streamline numbers.
struct StreamlineRun {
    int32_t first = 0;
    int32_t count = 0;
};

// Runs by 1-based well number.
std::vector<StreamlineRun> runsByEndWell(const five_spot::Field& field,
                                         const std::vector<size_t>& order) {
    std::vector<StreamlineRun> runs(field.wells.size() + 1);
    for (size_t k = 0; k < order.size(); ++k) {
        const int32_t end = field.streamlines[order[k]].endWell;
        if (end < 1) continue;
        StreamlineRun& run = runs[static_cast<size_t>(end)];
        if (run.count++ == 0) run.first = count32(k + 1);
    }
    return runs;
}

void setAttributes(rvStreamSet& dataset, const TimeStep& step) {
    const std::string n = std::to_string(step.number);
    dataset.Origin("FIVESPOT");
    dataset.GroupName("PATTERN-A");
    dataset.TVGroupName("Streamlines");
    dataset.TVDisplayRoot("Five-spot pattern A");
    dataset.DateStamp(dateText(static_cast<int32_t>(step.simulationTime)));
    dataset.FileName("fivespot_t" + n + ".sln");
    dataset.SourceType("STREAMLINE");
    dataset.DataClass("SIMULATION");
    dataset.UniqueKey("FIVESPOT-T" + n);
    dataset.TreeViewKey("FIVESPOT-T" + n + "-SL");
    dataset.FileType(1);
    dataset.Units(1);
    dataset.index(step.number);
    dataset.SimulationEndTime(kEndTime);
    std::string time = singleToText(step.simulationTime);  // the time has no property to write
    dataset.SetDataSetAttribute(40, time);
}

void setGrid(rvStreamSet& dataset, const five_spot::Field& field, Checks& checks) {
    bool qOK = false;
    dataset.setGridDimension(field.nx, field.ny, field.nz, qOK);
    checks.ok(qOK, "setGridDimension");
    const auto size = static_cast<float>(field.size);
    const auto top = static_cast<float>(kTopDepth);
    dataset.setLimits(0, size, 0, size, top, top + static_cast<float>(field.nz * field.thickness),
                      qOK);
    checks.ok(qOK, "setLimits");
    dataset.setTOFLimits(field.tofMin, field.tofMax, qOK);
    checks.ok(qOK, "setTOFLimits");
    dataset.setDRTLimits(field.drtMin, field.drtMax, qOK);
    checks.ok(qOK, "setDRTLimits");
    dataset.setStartDate(1, 1, 2024, qOK);
    checks.ok(qOK, "setStartDate");
}

void setWells(rvStreamSet& dataset, const five_spot::Field& field,
              const std::vector<int32_t>& entries, Checks& checks) {
    std::vector<std::string> names;
    std::vector<int32_t> types;
    std::vector<float> x, y, z;
    for (const five_spot::Well& well : field.wells) {
        names.push_back(well.name);
        types.push_back(well.type);
        x.push_back(static_cast<float>(well.x));
        y.push_back(static_cast<float>(well.y));
        z.push_back(static_cast<float>(kTopDepth + 0.5 * field.nz * field.thickness));
    }
    const int32_t n = count32(names.size());
    const Array<bool> defined = arrayOf(std::vector<bool>(names.size(), true));
    bool qOK = false;
    dataset.setWellNames(arrayOf(names), n, qOK);
    checks.ok(qOK, "setWellNames");
    dataset.setWellTypes(arrayOf(types), n, qOK);
    checks.ok(qOK, "setWellTypes");
    dataset.setWellIndex(arrayOf(entries), n, qOK);
    checks.ok(qOK, "setWellIndex");
    dataset.setWellLocations(arrayOf(x), arrayOf(y), arrayOf(z), n, qOK);
    checks.ok(qOK, "setWellLocations");
    dataset.setWellDefined(defined, n, qOK);
    checks.ok(qOK, "setWellDefined");
    dataset.setWellLocationsDefined(defined, n, qOK);
    checks.ok(qOK, "setWellLocationsDefined");
}

// Producer and injector tables: every producer is fed by the one injector in the middle, and
// the injector's entry covers all streamlines (they all start there).
void setConnections(rvStreamSet& dataset, const five_spot::Field& field,
                    const std::vector<StreamlineRun>& runs, Checks& checks) {
    const int32_t injectorWell = 1;
    std::vector<int32_t> producerWells;
    for (size_t w = 0; w < field.wells.size(); ++w)
        if (field.wells[w].type == 1) producerWells.push_back(count32(w + 1));
    const int32_t nProducers = count32(producerWells.size());

    Array<int32_t> producers(1, 5, 0, nProducers), sources(1, 5, 1, nProducers);
    Array<int32_t> injectors(1, 5, 0, 1), sinks(1, 5, 1, nProducers);
    for (int32_t e = 1; e <= nProducers; ++e) {
        const int32_t well = producerWells[static_cast<size_t>(e - 1)];
        const StreamlineRun run = runs[static_cast<size_t>(well)];
        producers(1, e) = run.first;
        producers(2, e) = run.count;
        producers(3, e) = 1;  // one source
        producers(4, e) = well;
        producers(5, e) = e;  // its source entry
        for (Array<int32_t>* links : {&sources, &sinks}) {
            (*links)(1, e) = run.first;
            (*links)(2, e) = run.count;
        }
        sources(4, e) = injectorWell;
        sinks(4, e) = well;
    }
    injectors(1, 1) = 1;
    injectors(2, 1) = count32(field.streamlines.size());
    injectors(3, 1) = nProducers;
    injectors(4, 1) = injectorWell;
    injectors(5, 1) = 1;

    bool qOK = false;
    dataset.setProducerData(producers, nProducers, sources, nProducers, qOK);
    checks.ok(qOK, "setProducerData");
    dataset.setInjectorData(injectors, 1, sinks, nProducers, qOK);
    checks.ok(qOK, "setInjectorData");
}

void setStreamlines(rvStreamSet& dataset, const five_spot::Field& field,
                    const std::vector<size_t>& order, const std::vector<int32_t>& entries,
                    Checks& checks) {
    size_t totalNodes = 0;
    for (const five_spot::Streamline& line : field.streamlines) totalNodes += line.nodes.size();
    const int32_t nnodes = count32(totalNodes);
    const int32_t nStreams = count32(order.size());
    const int32_t cellsPerLayer = field.nx * field.ny;

    // Node table (1 To nnodes, 1 To 7): the rows of one column lie together.
    Array<float> nodes;
    nodes.redimForOverwrite(1, nnodes, 1, kNodeColumns);
    float* column[kNodeColumns];
    for (int32_t c = 0; c < kNodeColumns; ++c) column[c] = nodes.data() + size_t(c) * totalNodes;
    // The dataset takes twice as many pointer rows as streamlines and reads the first half.
    Array<int32_t> pointers(1, kPointerColumns, 1, 2 * nStreams);

    size_t row = 0;
    for (int32_t s = 1; s <= nStreams; ++s) {
        const five_spot::Streamline& line = field.streamlines[order[static_cast<size_t>(s - 1)]];
        const int32_t firstCell = static_cast<int32_t>(line.nodes.front().cell);
        pointers(1, s) = count32(row + 1);
        pointers(2, s) = count32(line.nodes.size());
        pointers(3, s) = (firstCell - 1) / cellsPerLayer + 1;  // layer
        pointers(4, s) = line.endWell > 0 ? entries[static_cast<size_t>(line.endWell - 1)] : 0;
        pointers(5, s) = entries[static_cast<size_t>(line.startWell - 1)];
        pointers(7, s) = line.startWell;
        pointers(8, s) = line.endWell;
        for (const five_spot::Node& node : line.nodes) {
            const float values[kNodeColumns] = {node.x,   node.y,   node.z,       node.cell,
                                                node.tof, node.drt, node.velocity};
            for (int32_t c = 0; c < kNodeColumns; ++c) column[c][row] = values[c];
            ++row;
        }
    }

    bool qOK = false;
    dataset.setStreamLineData(nodes, kNodeColumns, nnodes, qOK);
    checks.ok(qOK, "setStreamLineData");
    dataset.setStreamLinePointers(pointers, kPointerColumns, nStreams, qOK);
    checks.ok(qOK, "setStreamLinePointers");
    const Array<std::string> headers =
        arrayOf<std::string>({"X", "Y", "Z", "CELL", "TOF", "DRT", "VELOCITY"});
    const Array<std::string> units =
        arrayOf<std::string>({"m", "m", "m", "", "days", "fraction", "m/day"});
    dataset.setHeaders(headers, units, kNodeColumns, qOK);
    checks.ok(qOK, "setHeaders");
}

// Flow of a group of streamlines at a time step: total, water, and how many the injected water
// has crossed.
struct Flow {
    double rate = 0;
    double water = 0;
    int32_t streamlines = 0;
    int32_t brokenThrough = 0;

    void add(const five_spot::Streamline& line, double time) {
        const double fraction = five_spot::waterFraction(five_spot::transitTime(line), time);
        rate += line.flux;
        water += line.flux * fraction;
        ++streamlines;
        if (fraction > 0) ++brokenThrough;
    }
};

// Where producer k's rows lie in the WAF data table: after the injector's partner rows and its
// other and total rows, three rows per producer (its partner, the injector; other; total).
struct ProducerRows {
    int32_t first, count, other, total;
};
ProducerRows producerRows(int32_t k, int32_t nProducers) {
    const int32_t first = nProducers + 3 + 3 * (k - 1);
    return {first, 1, first + 1, first + 2};
}

// One row of the WAF data table (columns as makeAllocationSet describes them).
void setWafRow(Array<float>& data, int32_t row, int32_t partner, const Flow& flow, double share,
               double poreVolumesInjected) {
    const double oil = flow.rate - flow.water;
    const auto ratio = [](double a, double b) { return b > 0 ? a / b : 0.0; };
    const double swept = ratio(flow.brokenThrough, flow.streamlines);
    const double values[kWafColumns] = {double(partner), flow.rate, share, oil, flow.water, swept,
                                        ratio(flow.water, flow.rate), poreVolumesInjected,
                                        ratio(oil, flow.rate)};
    for (int32_t c = 1; c <= kWafColumns; ++c) data(c, row) = static_cast<float>(values[c - 1]);
}

}  // namespace

std::string dateText(int32_t days) {
    const std::chrono::year_month_day date = civilDate(days);
    char text[16];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text;
}

std::shared_ptr<rvWAFSet> makeAllocationSet(const five_spot::Field& field, const TimeStep& step,
                                            Checks& checks) {
    const double time = step.simulationTime;
    const double patternPoreVolume =
        field.size * field.size * field.nz * field.thickness * field.porosity;

    // WAF well numbers: producers first, then injectors.
    std::vector<size_t> producers, injectors;
    for (size_t w = 0; w < field.wells.size(); ++w)
        (field.wells[w].type == 1 ? producers : injectors).push_back(w);
    const int32_t nProducers = count32(producers.size());
    const int32_t injectorWaf = nProducers + 1;  // the one injector

    // Flow from the injector to each producer, and what reached no producer.
    std::vector<Flow> toProducer(producers.size());
    Flow unallocated, injected;
    for (const five_spot::Streamline& line : field.streamlines) {
        injected.add(line, time);
        const auto p = std::find(producers.begin(), producers.end(), size_t(line.endWell - 1));
        (p == producers.end() ? unallocated : toProducer[size_t(p - producers.begin())])
            .add(line, time);
    }

    const int32_t nData = producerRows(nProducers, nProducers).total;
    Array<float> data(1, kWafColumns, 1, nData);
    const double injectedVolumes = injected.rate * time / patternPoreVolume;
    for (int32_t k = 1; k <= nProducers; ++k) {
        const Flow& flow = toProducer[size_t(k - 1)];
        setWafRow(data, k, k, flow, flow.rate / injected.rate,
                  injectedVolumes * flow.rate / injected.rate);
    }
    setWafRow(data, nProducers + 1, 0, unallocated, unallocated.rate / injected.rate, 0);
    setWafRow(data, nProducers + 2, 0, injected, 1.0, injectedVolumes);

    std::vector<int32_t> sinkRow, sinkCount, otherRow, totalRow;
    std::vector<float> producerRates;
    for (int32_t k = 1; k <= nProducers; ++k) {
        const Flow& fromInjector = toProducer[size_t(k - 1)];
        // Whatever the producer makes beyond this injector's share comes from outside the pattern.
        Flow other, total = fromInjector;
        other.rate = std::max(0.0, field.wells[producers[size_t(k - 1)]].rate - fromInjector.rate);
        total.rate += other.rate;
        const ProducerRows rows = producerRows(k, nProducers);
        const double volumes = injectedVolumes * fromInjector.rate / injected.rate;
        setWafRow(data, rows.first, injectorWaf, fromInjector, fromInjector.rate / total.rate,
                  volumes);
        setWafRow(data, rows.other, 0, other, other.rate / total.rate, 0);
        setWafRow(data, rows.total, 0, total, 1.0, volumes);
        sinkRow.push_back(rows.first);
        sinkCount.push_back(rows.count);
        otherRow.push_back(rows.other);
        totalRow.push_back(rows.total);
        producerRates.push_back(static_cast<float>(total.rate));
    }

    std::vector<std::string> names;
    std::vector<int32_t> types, indices;
    for (int32_t k = 1; k <= nProducers; ++k) {
        names.push_back(field.wells[producers[size_t(k - 1)]].name);
        types.push_back(1);
        indices.push_back(k);
    }
    names.push_back(field.wells[injectors.front()].name);
    types.push_back(2);
    indices.push_back(1);
    const int32_t nWells = count32(names.size());

    auto waf = std::make_shared<rvWAFSet>();
    bool qOK = false;
    waf->setWellNames(arrayOf(names), nWells, qOK);
    checks.ok(qOK, "rvWAFSet.setWellNames");
    waf->setWellTypes(arrayOf(types), nWells, qOK);
    checks.ok(qOK, "rvWAFSet.setWellTypes");
    waf->setWellIndices(arrayOf(indices), nWells, qOK);
    checks.ok(qOK, "rvWAFSet.setWellIndices");
    waf->setWellsDefined(arrayOf(std::vector<bool>(names.size(), true)), nWells, qOK);
    checks.ok(qOK, "rvWAFSet.setWellsDefined");
    waf->setWAFData(data, kWafColumns, nData, qOK);
    checks.ok(qOK, "rvWAFSet.setWAFData");
    waf->setProducersData(arrayOf(sinkRow), arrayOf(sinkCount), arrayOf(otherRow),
                          arrayOf(totalRow), arrayOf(producerRates), nProducers, qOK);
    checks.ok(qOK, "rvWAFSet.setProducersData");
    waf->setInjectorsData(arrayOf<int32_t>({1}), arrayOf<int32_t>({nProducers}),
                          arrayOf<int32_t>({nProducers + 1}), arrayOf<int32_t>({nProducers + 2}),
                          arrayOf<float>({static_cast<float>(injected.rate)}), 1, qOK);
    checks.ok(qOK, "rvWAFSet.setInjectorsData");
    const std::chrono::year_month_day date = civilDate(static_cast<int32_t>(time));
    waf->setStartDate(1, 1, 2024, qOK);
    checks.ok(qOK, "rvWAFSet.setStartDate");
    waf->setSimulationDate(static_cast<int32_t>(unsigned(date.day())),
                           static_cast<int32_t>(unsigned(date.month())),
                           static_cast<int32_t>(date.year()), qOK);
    checks.ok(qOK, "rvWAFSet.setSimulationDate");
    waf->SimulationTime(step.simulationTime);
    waf->TimeStep(step.number);
    return waf;
}

std::shared_ptr<rvStreamSet> loadTimeStep(const five_spot::Field& field, const TimeStep& step,
                                          std::shared_ptr<rvWAFSet> allocation, Checks& checks) {
    auto dataset = std::make_shared<rvStreamSet>();
    const std::vector<int32_t> entries = entryNumbers(field);
    const std::vector<size_t> order = streamlineOrder(field);
    setAttributes(*dataset, step);
    setGrid(*dataset, field, checks);
    setWells(*dataset, field, entries, checks);
    setConnections(*dataset, field, runsByEndWell(field, order), checks);
    setStreamlines(*dataset, field, order, entries, checks);
    bool qOK = false;
    dataset->setWAF(std::move(allocation), qOK);
    checks.ok(qOK, "setWAF");
    dataset->WAFType(2);
    return dataset;
}

// ---- comparing two datasets through the public getters ----

namespace {

// A dataset's values as the getters give them, as bytes, one named part after another.
class Fingerprint {
public:
    void part(std::string name) { parts_.push_back({std::move(name), {}}); }

    template <class T>
    requires std::is_arithmetic_v<T>
    void add(T value) { bytes().append(reinterpret_cast<const char*>(&value), sizeof value); }
    void add(const std::string& text) {
        add(text.size());
        bytes() += text;
    }
    template <class T>
    void add(const Array<T>& array) {
        add(array.rank());
        for (int d = 1; d <= array.rank(); ++d) {
            add(array.lbound(d));
            add(array.ubound(d));
        }
        if constexpr (std::is_same_v<T, std::string>) {
            for (size_t k = 0; k < array.size(); ++k) add(array.data()[k]);
        } else {
            bytes().append(reinterpret_cast<const char*>(array.data()), array.size() * sizeof(T));
        }
    }
    template <class First, class... Rest>
    void add(const First& first, const Rest&... rest) {
        add(first);
        (add(rest), ...);
    }

    const std::vector<std::pair<std::string, std::string>>& parts() const { return parts_; }

private:
    std::string& bytes() { return parts_.back().second; }
    std::vector<std::pair<std::string, std::string>> parts_;
};

void addAttributes(Fingerprint& print, rvStreamSet& dataset) {
    print.part("attributes");
    for (int32_t code = 1; code <= 55; ++code) {
        std::string text;
        print.add(dataset.GetDataSetAttribute(code, text), text);
    }
    print.add(dataset.UCaseOrigin(), dataset.UCaseGroupName(), dataset.UCaseTVDisplayRoot(),
              dataset.SimulationEndTime(), dataset.MaxZones(), dataset.AllData(), dataset.WAF(),
              dataset.WAFType(), dataset.NumCols(), dataset.MaximumNumberWells());

    print.part("grid and limits");
    int32_t nx = 0, ny = 0, nz = 0;
    float limits[10] = {};
    bool qOK = false;
    dataset.getGridDimension(nx, ny, nz, qOK);
    print.add(dataset.GridSet(), nx, ny, nz);
    dataset.getLimits(limits[0], limits[1], limits[2], limits[3], limits[4], limits[5], qOK);
    dataset.getTOFLimits(limits[6], limits[7], qOK);
    dataset.getDRTLimits(limits[8], limits[9], qOK);
    for (float limit : limits) print.add(limit);
}

void addWells(Fingerprint& print, rvStreamSet& dataset) {
    print.part("wells");
    Array<std::string> names;
    Array<int32_t> types;
    Array<bool> defined, locationDefined;
    Array<float> x, y, z;
    int32_t n = 0;
    bool qOK = false;
    dataset.getWellNames(names, n, qOK);
    dataset.getWellTypes(types, n, qOK);
    dataset.getWellsDefined(defined, n, qOK);
    dataset.getWellLocations(x, y, z, n, qOK);
    dataset.getWellLocationsDefined(locationDefined, n, qOK);
    print.add(n, names, types, defined, x, y, z, locationDefined);

    print.part("connections");
    Array<int32_t> producers, sources;
    int32_t nProducers = 0, nSources = 0;
    dataset.getProducerData(producers, nProducers, sources, nSources, qOK);
    print.add(nProducers, nSources, producers, sources, dataset.NumberInjectors());
    for (int32_t e = 1; e <= dataset.NumberInjectors(); ++e) {
        Array<int32_t> sinks;
        int32_t nSinks = 0;
        dataset.getInjectorConnections(e, sinks, nSinks, qOK);
        print.add(dataset.getInjectorWellName(e), nSinks, sinks);
    }
    for (int32_t w = 1; w <= dataset.NumberWells(); ++w) {
        Array<int32_t> streams;
        int32_t nStreams = 0;
        dataset.getWellStreamLineNumbers(w, streams, nStreams, qOK);
        print.add(nStreams, streams);
    }
}

void addStreamlines(Fingerprint& print, rvStreamSet& dataset) {
    print.part("headers");
    Array<std::string> headers, alsoHeaders;
    int32_t nHeaders = 0;
    bool qOK = false;
    dataset.getHeaders(headers, alsoHeaders, nHeaders, qOK);
    print.add(qOK, nHeaders, headers, dataset.NumberStreamlines(), dataset.MaxRows());

    for (int32_t s = 1; s <= dataset.NumberStreamlines(); ++s) {
        print.part("streamline " + std::to_string(s));
        Array<float> rows;
        int32_t nCols = 0, nnodes = 0, start = 0, end = 0;
        dataset.getSingleStreamline(s, rows, nCols, nnodes, qOK);
        dataset.getSingleStartNodeIndex(s, start, qOK);
        dataset.getSingleEndNodeIndex(s, end, qOK);
        print.add(nCols, nnodes, rows, start, end);
    }
}

void addAllocation(Fingerprint& print, rvStreamSet& dataset) {
    print.part("allocation factors");
    print.add(dataset.getWAFNumberWells(), dataset.getWAFNumberProducers(),
              dataset.getWAFNumberInjectors(), dataset.getWAFNumberDefinedWells());
    for (int32_t w = 1; w <= dataset.getWAFNumberWells(); ++w) {
        int32_t type = 0;
        bool qOK = false;
        dataset.getWAFWellType(w, type, qOK);
        print.add(dataset.getWAFWellName(w), type);
        for (int32_t column = 1; column <= kWafColumns; ++column) {
            Array<float> rates;
            Array<int32_t> partners;
            Array<std::string> names;
            int32_t n = 0;
            float other = 0, total = 0;
            dataset.getWAFWellData(w, rates, n, other, total, partners, names, qOK, column);
            print.add(qOK, n, other, total, rates, partners, names);
        }
        for (int32_t type : {3, 4, 5, 9}) {
            float water = 0, efficiency = 0;
            dataset.getWAFWellEfficiency(w, water, efficiency, qOK, type);
            print.add(qOK, water, efficiency);
        }
    }
}

Fingerprint fingerprintOf(rvStreamSet& dataset) {
    Fingerprint print;
    addAttributes(print, dataset);
    addWells(print, dataset);
    addStreamlines(print, dataset);
    addAllocation(print, dataset);
    return print;
}

}  // namespace

std::string firstDifference(rvStreamSet& a, rvStreamSet& b) {
    const Fingerprint printA = fingerprintOf(a);
    const Fingerprint printB = fingerprintOf(b);
    const auto& partsA = printA.parts();
    const auto& partsB = printB.parts();
    for (size_t k = 0; k < std::min(partsA.size(), partsB.size()); ++k)
        if (partsA[k] != partsB[k]) return partsA[k].first;
    return partsA.size() == partsB.size() ? "" : "number of streamlines";
}

// ---- the viewer's side ----

namespace {

// Routes the library's reports into the workflow's report, as a viewer shows them in its message
// pane, and counts the error reports among them.
class MessagePane : public ErrorReporter {
public:
    explicit MessagePane(std::ostream& report) : report_(report) {}
    void report(const std::string& message, int32_t code) override {
        ErrorReporter::report(message, code);
        report_ << "  library message (code " << code << "): " << message << "\n";
        if (message.rfind("Error:", 0) == 0) ++errors_;
    }
    int errors() const { return errors_; }

private:
    std::ostream& report_;
    int errors_ = 0;
};

// A scratch folder for the saved store, removed with its contents when the workflow ends.
class ScratchFolder {
public:
    ScratchFolder() {
        std::error_code error;
        std::string pattern =
            (std::filesystem::temp_directory_path(error) / "field_viewer_XXXXXX").string();
        if (!error && mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    ~ScratchFolder() {
        std::error_code error;
        if (!path_.empty()) std::filesystem::remove_all(path_, error);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

struct Workflow {
    explicit Workflow(std::ostream& out) : report(out), checks(out) {}

    std::ostream& report;
    Checks checks;
    TimeStep steps[2] = {{1, 1000.0, 2500.0f}, {2, 1500.0, 3000.0f}};
    five_spot::Field fields[2];
    // The allocation sets of the datasets read, in the order they were read.
    std::vector<std::shared_ptr<rvWAFSet>> allocationSets;

    void buildFields();
    std::shared_ptr<rvStreamSet> readTimeStep(int k);
    void loadDataSets(rvStreamStore& store);
    void addDuplicate(rvStreamStore& store);
    void search(rvStreamStore& store);
    void extractStreamline(rvStreamStore& store);
    void showAllocation(rvStreamStore& store);
    void saveAndReload(rvStreamStore& store, const std::string& keepStorePath);
    void versionAndShutDown(const MessagePane& pane);

    std::vector<int32_t> runSearch(rvStreamStore& store,
                                   const std::vector<std::pair<int32_t, std::string>>& conditions,
                                   const std::vector<int32_t>& candidates);
    void listStore(rvStreamStore& store);
};

void Workflow::buildFields() {
    heading(report, 1, "Five-spot field");
    report << "  grid 50 x 50 x 5 cells of 10 m x 10 m x 10 m; injector I1 in the middle, "
              "producers P1..P4 in the corners\n";
    report
        << "  step  time (d)  injection (m3/d)  streamlines  nodes  transit time (d)   water cut\n";
    for (int k = 0; k < 2; ++k) {
        fields[k] = five_spot::makeFiveSpot(steps[k].injectionRate, kStreamlinesPerLayer);
        const five_spot::Field& field = fields[k];
        size_t nodes = 0;
        double fastest = std::numeric_limits<double>::max(), slowest = 0;
        Flow produced;
        bool allReachProducer = true;
        for (const five_spot::Streamline& line : field.streamlines) {
            nodes += line.nodes.size();
            fastest = std::min(fastest, five_spot::transitTime(line));
            slowest = std::max(slowest, five_spot::transitTime(line));
            produced.add(line, steps[k].simulationTime);
            allReachProducer = allReachProducer && line.endWell > 1;
        }
        report << number(steps[k].number, 0, 6) << number(steps[k].simulationTime, 0, 10)
               << number(steps[k].injectionRate, 1, 18)
               << number(double(field.streamlines.size()), 0, 13) << number(double(nodes), 0, 7)
               << number(fastest, 0, 9) << " .." << number(slowest, 0, 6)
               << number(100 * produced.water / produced.rate, 1, 11) << " %\n";
        checks.expect(allReachProducer,
                      "every streamline of step " + std::to_string(k + 1) + " to reach a producer");
    }
}

std::shared_ptr<rvStreamSet> Workflow::readTimeStep(int k) {
    allocationSets.push_back(makeAllocationSet(fields[k], steps[k], checks));
    return loadTimeStep(fields[k], steps[k], allocationSets.back(), checks);
}

void Workflow::listStore(rvStreamStore& store) {
    report << "  #  origin      group      date        streamlines  nodes  WAF wells\n";
    for (int32_t i = 1; i <= store.NumberOfStreamSets(); ++i) {
        std::shared_ptr<rvStreamSet> dataset;
        if (!checks.expect(store.GetItem(i, dataset) && dataset, "dataset " + std::to_string(i)))
            continue;
        report << number(i, 0, 3) << "  " << padded(dataset->Origin(), 12)
               << padded(dataset->GroupName(), 11) << padded(dataset->DateStamp(), 12)
               << number(dataset->NumberStreamlines(), 0, 11) << number(dataset->MaxRows(), 0, 7)
               << number(dataset->getWAFNumberWells(), 0, 11) << "\n";
    }
}

void Workflow::loadDataSets(rvStreamStore& store) {
    heading(report, 2, "Reader: one dataset per time step, added to the store");
    store.RootKey("Fields");
    store.MainKey("FiveSpot");
    for (int k = 0; k < 2; ++k) {
        std::shared_ptr<rvStreamSet> dataset = readTimeStep(k);
        const std::string which = "dataset of step " + std::to_string(k + 1);
        size_t nodes = 0;
        for (const five_spot::Streamline& line : fields[k].streamlines) nodes += line.nodes.size();
        checks.expect(dataset->NumberStreamlines() == count32(fields[k].streamlines.size()) &&
                          dataset->MaxRows() == count32(nodes),
                      which + " to hold every streamline and node");
        checks.expect(dataset->NumberWells() == 5 && dataset->NumberProducers() == 4 &&
                          dataset->NumberInjectors() == 1 && dataset->getWAFNumberWells() == 5,
                      which + " to hold 5 wells, 4 producers, 1 injector and 5 WAF wells");
        store.AddItem(dataset);
    }
    checks.expect(store.NumberOfStreamSets() == 2, "2 datasets in the store");
    report << "  folder key: " << store.FolderKey() << "\n";
    listStore(store);
}

void Workflow::addDuplicate(rvStreamStore& store) {
    heading(report, 3, "Loading step 1 a second time: the store asks, the user renames");
    // The viewer's dialog answers the duplicate-name question with "&Rename" (button 5).
    auto dialog = std::make_shared<ScriptedDialog>(std::deque<int32_t>{5});
    installDuplicateNameDialog(dialog);
    std::shared_ptr<rvStreamSet> again = readTimeStep(0);
    store.AddItem(again);
    if (checks.expect(dialog->questions().size() == 1, "one duplicate-name question")) {
        const ScriptedDialog::Question& question = dialog->questions().front();
        std::string message;  // line breaks shown as blanks
        for (size_t i = 0; i < question.message.size(); ++i) {
            const bool lineBreak = question.message.compare(i, 2, "\r\n") == 0;
            message += lineBreak ? ' ' : question.message[i];
            if (lineBreak) ++i;
        }
        report << "  dialog \"" << question.title << "\": " << message << "\n";
        report << "  buttons:";
        for (const std::string& button : question.buttons) report << " [" << button << "]";
        report << "  -> answered [&Rename]\n";
        checks.expect(question.title == "Duplicate Name", "the dialog title \"Duplicate Name\"");
    }
    report << "  the store renamed the new dataset to " << again->Origin() << " (unique key "
           << again->UniqueKey() << ", data root " << again->DataRootPath() << ")\n";
    checks.expect(again->Origin() == "FIVESPOT1", "the renamed Origin FIVESPOT1");
    checks.expect(store.NumberOfStreamSets() == 3 && store.AddedDataSetPos() == 3 &&
                      !store.OverWrittenDataSet(),
                  "the renamed dataset appended as dataset 3");
    listStore(store);
}

std::vector<int32_t> Workflow::runSearch(
    rvStreamStore& store, const std::vector<std::pair<int32_t, std::string>>& conditions,
    const std::vector<int32_t>& candidates) {
    store.SearchClear();
    bool qOK = false;
    std::string described;
    for (const auto& [code, value] : conditions) {
        store.SearchAddAttribute(code, value, qOK);
        checks.ok(qOK, "SearchAddAttribute");
        described.append(described.empty() ? "" : " and ").append(attributeName(code)).append(" = ").append(value);
    }
    if (!candidates.empty()) {
        store.SearchDataSets(arrayOf(candidates), qOK);
        checks.ok(qOK, "SearchDataSets");
        described += " among datasets";
        for (int32_t candidate : candidates) described.append(" ").append(std::to_string(candidate));
    }
    store.SearchCreatePointers(qOK);
    checks.ok(qOK, "SearchCreatePointers");
    Array<int32_t> results;
    int32_t nResults = 0;
    store.SearchPointers(results, nResults, qOK);
    checks.ok(qOK, "SearchPointers");
    std::vector<int32_t> hits;
    for (int32_t k = 1; k <= nResults; ++k) hits.push_back(results(1, k));
    report << "  " << padded(described, 52) << " -> datasets";
    for (int32_t hit : hits) report << " " << hit;
    report << "\n";
    return hits;
}

void Workflow::search(rvStreamStore& store) {
    heading(report, 4, "Searching the store by attributes");
    const std::string date1 = dateText(static_cast<int32_t>(steps[0].simulationTime));
    const std::string date2 = dateText(static_cast<int32_t>(steps[1].simulationTime));
    checks.expect(runSearch(store, {{1, "fivespot"}}, {}) == std::vector<int32_t>{1, 2},
                  "Origin fivespot (any case) to find datasets 1 and 2");
    checks.expect(runSearch(store, {{1, "FIVESPOT"}, {4, date2}}, {}) == std::vector<int32_t>{2},
                  "the second step's date to find dataset 2");
    checks.expect(runSearch(store, {{4, date1}}, {3, 1}) == std::vector<int32_t>{3, 1},
                  "the first step's date among 3, 1 to find 3 then 1");
}

void Workflow::extractStreamline(rvStreamStore& store) {
    heading(report, 5, "One streamline from dataset 1 (the first one reaching P3)");
    std::shared_ptr<rvStreamSet> dataset;
    if (!checks.expect(store.GetItem(1, dataset) && dataset, "dataset 1")) return;
    Array<int32_t> streams;
    int32_t nStreams = 0;
    bool qOK = false;
    dataset->getWellNameStreamLineNumbers("P3", streams, nStreams, qOK);
    if (!checks.ok(qOK, "getWellNameStreamLineNumbers") ||
        !checks.expect(nStreams > 0, "streamlines of P3"))
        return;
    const int32_t iStream = streams(1);

    std::string startName, endName;
    dataset->getSingleStartNodeName(iStream, startName, qOK);
    checks.ok(qOK, "getSingleStartNodeName");
    dataset->getSingleEndNodeName(iStream, endName, qOK);
    checks.ok(qOK, "getSingleEndNodeName");
    Array<float> data, velocity;
    int32_t nCols = 0, nnodes = 0, nVelocity = 0;
    dataset->getSingleStreamlineData(iStream, data, nCols, nnodes, qOK);
    checks.ok(qOK, "getSingleStreamlineData");
    dataset->getSingleStreamlineProperty(iStream, 7, velocity, nVelocity, qOK);
    checks.ok(qOK, "getSingleStreamlineProperty");
    if (!checks.expect(nCols == 8 && nnodes > 3 && nVelocity == nnodes, "8 columns and the nodes"))
        return;

    report << "  streamline " << iStream << " of " << dataset->NumberStreamlines() << ": "
           << startName << " -> " << endName << ", " << nnodes << " nodes (P3 has " << nStreams
           << " streamlines)\n";
    report << "   node        X        Y        Z    I    J    K   TOF (d)  velocity (m/d)\n";
    bool cellsMatch = true, tofRises = true;
    const double cell = fields[0].cellSize();
    for (int32_t n = 1; n <= nnodes; ++n) {
        const auto ijkOf = [&](int32_t c) { return static_cast<int32_t>(data(n, c)); };
        cellsMatch =
            cellsMatch && ijkOf(4) == static_cast<int32_t>(data(n, 1) / cell) + 1 &&
            ijkOf(5) == static_cast<int32_t>(data(n, 2) / cell) + 1 &&
            ijkOf(6) == static_cast<int32_t>((data(n, 3) - kTopDepth) / fields[0].thickness) + 1;
        if (n > 1) tofRises = tofRises && data(n, 7) > data(n - 1, 7);
        if (n > 3 && n < nnodes - 1) {
            if (n == 4) report << "    ...\n";
            continue;
        }
        report << number(n, 0, 7) << number(data(n, 1), 1, 9) << number(data(n, 2), 1, 9)
               << number(data(n, 3), 1, 9) << number(data(n, 4), 0, 5) << number(data(n, 5), 0, 5)
               << number(data(n, 6), 0, 5) << number(data(n, 7), 1, 10)
               << number(velocity(n), 3, 16) << "\n";
    }
    checks.expect(startName == "I1" && endName == "P3", "the streamline to run from I1 to P3");
    checks.expect(cellsMatch, "I, J, K to name the cells holding X, Y, Z");
    checks.expect(tofRises, "the time of flight to rise along the streamline");
    checks.expect(data(nnodes, 8) == 1.0f, "DRT 1 at the last node");

    Array<float> viaStore;
    int32_t storeCols = 0, storeNodes = 0;
    store.DSGetSingleStreamlineData(1, iStream, viaStore, storeCols, storeNodes, qOK);
    checks.ok(qOK, "DSGetSingleStreamlineData");
    checks.expect(storeNodes == nnodes && viaStore.size() == data.size() &&
                      std::memcmp(viaStore.data(), data.data(), data.size() * sizeof(float)) == 0,
                  "the store's accessor to give the same streamline");
}

void Workflow::showAllocation(rvStreamStore& store) {
    heading(report, 6, "Allocation of injector I1 in dataset 1 (time step 1)");
    std::shared_ptr<rvStreamSet> dataset;
    if (!checks.expect(store.GetItem(1, dataset) && dataset, "dataset 1")) return;
    const int32_t injectorWaf = dataset->getWAFWellFromSLWell(dataset->getWellNumber("I1"));
    Array<float> rates;
    Array<int32_t> partners;
    Array<std::string> names;
    int32_t nRates = 0;
    float other = 0, total = 0;
    bool qOK = false;
    dataset->getWAFWellData(injectorWaf, rates, nRates, other, total, partners, names, qOK);
    if (!checks.ok(qOK, "getWAFWellData") || !checks.expect(nRates == 4, "4 producers supported"))
        return;

    report << "  I1 is WAF well " << injectorWaf << ", dataset well "
           << dataset->getWellNumber("I1") << "; total " << number(total, 1) << " m3/d, other "
           << number(other, 1) << " m3/d\n";
    report << "  partner  well   rate (m3/d)  share  streamlines  water cut\n";
    double allocated = 0;
    for (int32_t k = 1; k <= nRates; ++k) {
        const std::string& partner = names(k);
        Array<int32_t> streams;
        int32_t nStreams = 0;
        dataset->getWellNameStreamLineNumbers(partner, streams, nStreams, qOK);
        // The producer's own view: its single source is I1 with the same rate.
        Array<float> back, cuts;
        Array<int32_t> backWells, cutWells;
        Array<std::string> backNames, cutNames;
        int32_t nBack = 0, nCuts = 0;
        float backOther = 0, backTotal = 0, cutOther = 0, cutTotal = 0;
        dataset->getWAFWellNameData(partner, back, nBack, backOther, backTotal, backWells,
                                    backNames, qOK);
        checks.ok(qOK, "getWAFWellNameData");
        dataset->getWAFWellNameData(partner, cuts, nCuts, cutOther, cutTotal, cutWells, cutNames,
                                    qOK, 7);
        checks.ok(qOK, "getWAFWellNameData");
        report << "  " << padded(partner, 7) << number(partners(k), 0, 5) << number(rates(k), 1, 14)
               << number(100 * rates(k) / total, 1, 6) << "%" << number(nStreams, 0, 12)
               << number(nCuts == 1 ? 100 * cuts(1) : -1, 1, 10) << " %\n";
        checks.expect(dataset->getWellName(partners(k)) == partner,
                      "partner " + partner + " numbered as the dataset's well of that name");
        checks.expect(
            std::abs(rates(k) / total - double(nStreams) / dataset->NumberStreamlines()) < 1e-6,
            "the share of " + partner + " to follow its streamlines");
        checks.expect(nBack == 1 && backNames(1) == "I1" && back(1) == rates(k),
                      partner + " to see I1 as its source with the same rate");
        allocated += rates(k);
    }
    checks.expect(std::abs(allocated + other - total) < 1e-3 * total,
                  "the partner rates and the other rate to add up to the total");

    float water = 0, efficiency = 0;
    dataset->getWAFWellEfficiency(injectorWaf, water, efficiency, qOK);
    checks.ok(qOK, "getWAFWellEfficiency");
    report << "  I1: water produced " << number(water, 1) << " m3/d, oil per volume injected "
           << number(efficiency, 3) << "\n";
    Array<float> waterRates, efficiencies;
    int32_t nProducers = 0;
    dataset->getWAFWellEfficiencies(waterRates, efficiencies, nProducers, qOK, 1);
    if (checks.ok(qOK, "getWAFWellEfficiencies") && nProducers == 4) {
        report << "  producers' water rate (m3/d) / efficiency:";
        for (int32_t k = 1; k <= nProducers; ++k)
            report << "  " << number(waterRates(k), 1) << " / " << number(efficiencies(k), 3);
        report << "\n";
    }
    checks.expect(efficiency > 0 && efficiency < 1 && water > 0, "an efficiency between 0 and 1");
}

void Workflow::saveAndReload(rvStreamStore& store, const std::string& keepStorePath) {
    heading(report, 7, "Saving the store to a record file and loading it into a fresh store");
    ScratchFolder folder;
    if (keepStorePath.empty() && !checks.expect(!folder.path().empty(), "a temporary folder")) return;
    const std::string path =
        keepStorePath.empty() ? (folder.path() / "fivespot.store").string() : keepStorePath;

    bool qOK = false;
    {
        RecordFile file;
        checks.expect(file.OpenForWriting(path, RecordForm::Binary),
                      "the record file opened for writing");
        store.BINARYEXPORT(file, qOK);
        checks.ok(qOK, "BINARYEXPORT");
        checks.expect(file.Commit(), "the record file committed: " + file.LastError());
    }
    std::error_code error;
    report << "  saved " << store.NumberOfStreamSets() << " datasets, "
           << number(double(std::filesystem::file_size(path, error)) / 1024.0, 1)
           << " KiB (binary form)" << (keepStorePath.empty() ? "" : " kept in " + path) << "\n";

    rvStreamStore restored;
    int ticks = 0;
    {
        RecordFile file;
        checks.expect(file.OpenForReading(path), "the record file opened for reading");
        file.SetProgressCallback([&ticks] { ++ticks; });
        restored.BINARYIMPORT(file, qOK);
        checks.ok(qOK, "BINARYIMPORT");
    }
    report << "  loaded " << restored.NumberOfStreamSets() << " datasets (" << ticks
           << " progress ticks); folder key " << restored.FolderKey() << "\n";
    if (!checks.expect(restored.NumberOfStreamSets() == store.NumberOfStreamSets(),
                       "as many datasets loaded as saved"))
        return;

    report << "  #  origin      date        compared through the getters\n";
    for (int32_t i = 1; i <= store.NumberOfStreamSets(); ++i) {
        std::shared_ptr<rvStreamSet> saved, loaded;
        store.GetItem(i, saved);
        restored.GetItem(i, loaded);
        const std::string difference = firstDifference(*saved, *loaded);
        report << number(i, 0, 3) << "  " << padded(loaded->Origin(), 12)
               << padded(loaded->DateStamp(), 12)
               << (difference.empty() ? "equal" : "differs in " + difference) << "\n";
        checks.expect(difference.empty(), "dataset " + std::to_string(i) + " loaded as saved");
    }
    // The record format stores the first WAF value as the rate of the producer numbered like the
    // last injector (its last "CNT" record before the data): producer 1 here. That rate has no
    // getter; the saved sets take the same value before the library compares every field.
    for (const std::shared_ptr<rvWAFSet>& waf : allocationSets) {
        const int32_t producer = waf->NumberInjectors();
        if (producer < 1 || producer > waf->NumberProducers()) continue;
        Array<float> firstValue;
        Array<int32_t> partners;
        Array<std::string> names;
        int32_t n = 0;
        float other = 0, total = 0;
        // The injector (the last WAF well) owns the table's first row; column 1 is its partner.
        waf->getWellWAFData(waf->NumberWells(), firstValue, n, other, total, partners, names, qOK,
                            1);
        const ProducerRows rows = producerRows(producer, waf->NumberProducers());
        if (checks.ok(qOK, "getWellWAFData") && checks.expect(n >= 1, "the injector's first row"))
            waf->setProducerData(producer, rows.first, rows.count, rows.other, rows.total,
                                 firstValue(1), qOK);
        checks.ok(qOK, "setProducerData");
    }
    report << "  the format keeps the first WAF value as producer "
           << allocationSets.front()->NumberInjectors()
           << "'s own rate (no getter reads it); the saved sets take that value for the full "
              "comparison\n";
    std::string difference;
    const bool same = restored.sameContents(store, difference);
    report << "  whole store, every field of the record file: "
           << (same ? "equal" : "differs in " + difference) << "\n";
    checks.expect(same, "the loaded store to equal the saved one");
}

void Workflow::versionAndShutDown(const MessagePane& pane) {
    heading(report, 8, "Version and shutdown");
    rvStreamStorageInfo info;
    std::string logFile;
    const std::string version = info.DLLVersion(logFile, "Field viewer example", false);
    report << "  version: " << version << "\n  log file name (logging off): " << logFile << "\n";
    checks.expect(version.rfind("tkstream63 v", 0) == 0, "a version text naming tkstream63");
    checks.expect(pane.errors() == 0, "no error reported by the library");
    info.CloseDown();
    checks.expect(!anySharedUtilityExists() && existingErrorReporter() == nullptr,
                  "every shared object released by CloseDown");
}

}  // namespace

int runWorkflow(std::ostream& report, const std::string& keepStorePath) {
    Workflow workflow(report);
    auto pane = std::make_shared<MessagePane>(report);
    installErrorReporter(pane);
    report << "Field viewer example: a five-spot streamline field through tkstream63\n";
    workflow.buildFields();
    {
        rvStreamStore store;
        workflow.loadDataSets(store);
        workflow.addDuplicate(store);
        workflow.search(store);
        workflow.extractStreamline(store);
        workflow.showAllocation(store);
        workflow.saveAndReload(store, keepStorePath);
    }
    workflow.versionAndShutDown(*pane);
    const int failures = workflow.checks.failures();
    report << "\n"
           << (failures == 0 ? "All checks passed." : std::to_string(failures) + " checks failed.")
           << "\n";
    return failures;
}

}  // namespace field_viewer
