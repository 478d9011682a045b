#include "cli/dataset_geometry.hpp"

#include <charconv>

namespace tkstream_cli {

using namespace tkstream63;

namespace {

constexpr int32_t kCoordinateColumns = 3;

std::vector<WellMark> wellsOf(const rvStreamSet& set) {
    Array<std::string> names;
    Array<int32_t> types;
    Array<float> x, y, z;
    Array<bool> located;
    int32_t n = 0;
    bool qOK = false;
    set.getWellNames(names, n, qOK);
    if (n < 1) return {};
    set.getWellTypes(types, n, qOK);
    set.getWellLocations(x, y, z, n, qOK);
    set.getWellLocationsDefined(located, n, qOK);
    std::vector<WellMark> wells;
    for (int32_t w = 1; w <= n; ++w) wells.push_back({w, names(w), types(w), x(w), y(w), z(w), located(w)});
    return wells;
}

int32_t parsePositive(const std::string& text, const std::string& whole) {
    int32_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size() || value < 1)
        throw CommandError("'" + whole + "' is not a list of streamline numbers such as 1,4,10-20");
    return value;
}

}  // namespace

DataSetGeometry geometryOf(const std::string& path, const LoadedDataSet& dataset, const std::vector<int32_t>& chosen) {
    const rvStreamSet& set = *dataset.set;
    DataSetGeometry geometry;
    Array<std::string> names, ignored;
    int32_t nColumns = 0;
    bool qOK = false;
    set.getHeaders(names, ignored, nColumns, qOK);
    if (!qOK || nColumns < kCoordinateColumns)
        throw CommandError(inQuotes(path) + ": dataset " + std::to_string(dataset.number) +
                           " has no X, Y, Z node columns to draw");
    for (int32_t c = 1; c <= nColumns; ++c)
        geometry.columns.push_back(
            {names(c), static_cast<size_t>(c) <= dataset.units.size() ? dataset.units[size_t(c - 1)] : ""});
    geometry.wells = wellsOf(set);

    std::vector<int32_t> numbers = chosen;
    if (numbers.empty())
        for (int32_t s = 1; s <= set.NumberStreamlines(); ++s) numbers.push_back(s);
    for (const int32_t s : numbers) {
        StreamlineNodes line;
        line.number = s;
        int32_t columns = 0;
        set.getSingleStreamline(s, line.values, columns, line.nnodes, qOK);
        if (!qOK || line.nnodes < 1 || columns != nColumns) continue;
        set.getSingleStartNodeIndex(s, line.startWell, qOK);
        set.getSingleEndNodeIndex(s, line.endWell, qOK);
        geometry.streamlines.push_back(std::move(line));
    }
    return geometry;
}

std::vector<int32_t> parseNumberList(const std::string& text, int32_t count) {
    std::vector<int32_t> numbers;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t comma = std::min(text.find(',', start), text.size());
        const std::string part = text.substr(start, comma - start);
        const size_t dash = part.find('-');
        const int32_t first = parsePositive(part.substr(0, dash), text);
        const int32_t last = dash == std::string::npos ? first : parsePositive(part.substr(dash + 1), text);
        if (last < first || last > count)
            throw CommandError("streamline " + std::to_string(last) + " in '" + text + "' is not one of 1 .. " +
                               std::to_string(count));
        for (int32_t s = first; s <= last; ++s) numbers.push_back(s);
        start = comma + 1;
    }
    return numbers;
}

}  // namespace tkstream_cli
