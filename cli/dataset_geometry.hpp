// A dataset's streamlines and wells as the drawing commands (export-vtk, plot) need them, read
// through the dataset's public getters.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <tkstream63.hpp>

#include "cli/store_reader.hpp"

namespace tkstream_cli {

struct NodeColumn {
    std::string name;
    std::string unit;
    // "TOF [days]", or the bare name without a unit.
    std::string label() const { return unit.empty() ? name : name + " [" + unit + "]"; }
};

struct WellMark {
    int32_t number = 0;
    std::string name;
    int32_t type = 0;  // 1 producer, 2 injector
    float x = 0, y = 0, z = 0;
    bool located = false;
};

struct StreamlineNodes {
    int32_t number = 0;
    int32_t startWell = 0;  // well numbers at the two ends, 0 or less for none
    int32_t endWell = 0;
    int32_t nnodes = 0;
    tkstream63::Array<float> values;  // (1 To nnodes, 1 To columns)

    // The run of one column's values, node 1 first.
    const float* column(int32_t c) const { return values.data() + static_cast<size_t>(c - 1) * static_cast<size_t>(nnodes); }
};

struct DataSetGeometry {
    std::vector<NodeColumn> columns;  // columns 1-3 are X, Y, Z
    std::vector<WellMark> wells;
    std::vector<StreamlineNodes> streamlines;  // those with at least one node
};

// Reads the columns, wells and the chosen streamlines (every one when chosen is empty). Throws
// CommandError when the dataset has no X, Y, Z columns.
DataSetGeometry geometryOf(const std::string& path, const LoadedDataSet& dataset,
                           const std::vector<int32_t>& chosen = {});

// Streamline numbers from text such as "1,4,10-20". Throws CommandError for text that is not such
// a list and for numbers outside 1 .. count.
std::vector<int32_t> parseNumberList(const std::string& text, int32_t count);

}  // namespace tkstream_cli
