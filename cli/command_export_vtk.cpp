// tkstream export-vtk: a dataset's streamlines as VTK XML PolyData (.vtp), for ParaView and other
// VTK readers. Each streamline is a polyline whose points carry every node column as point data
// (named from the column's header and unit); each well with a known location is a vertex. Cell
// data give each cell's streamline number and wells. The arrays are written as text (ascii) or
// as one appended block of raw little- or big-endian data (raw, the default), as VTK reads both.
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "cli/commands.hpp"
#include "cli/dataset_geometry.hpp"

namespace tkstream_cli {

namespace {

constexpr size_t kAsciiValuesPerLine = 9;

template <class T>
const char* vtkTypeName() {
    if constexpr (std::is_same_v<T, float>) return "Float32";
    if constexpr (std::is_same_v<T, int32_t>) return "Int32";
    return "Int64";
}

class VtpWriter {
public:
    explicit VtpWriter(bool raw) : raw_(raw) {}

    void line(const std::string& text) { xml_ += text + "\n"; }

    template <class T>
    void array(const std::string& name, const std::vector<T>& values, int components = 1) {
        std::string head = "        <DataArray type=\"" + std::string(vtkTypeName<T>()) + "\"";
        if (!name.empty()) head += " Name=\"" + xmlEscaped(name) + "\"";
        if (components > 1) head += " NumberOfComponents=\"" + std::to_string(components) + "\"";
        if (raw_) {
            xml_ += head + " format=\"appended\" offset=\"" + std::to_string(appended_.size()) + "\"/>\n";
            const uint64_t bytes = values.size() * sizeof(T);
            appended_.append(reinterpret_cast<const char*>(&bytes), sizeof bytes);
            appended_.append(reinterpret_cast<const char*>(values.data()), bytes);
            return;
        }
        xml_ += head + " format=\"ascii\">\n";
        for (size_t k = 0; k < values.size(); ++k) {
            if (k % kAsciiValuesPerLine == 0) xml_ += k > 0 ? "\n          " : "          ";
            else xml_ += ' ';
            if constexpr (std::is_floating_point_v<T>) xml_ += numberText(values[k]);
            else xml_ += std::to_string(values[k]);
        }
        xml_ += "\n        </DataArray>\n";
    }

    std::string finish() {
        if (raw_) xml_ += "  <AppendedData encoding=\"raw\">\n   _" + appended_ + "\n  </AppendedData>\n";
        return xml_ + "</VTKFile>\n";
    }

private:
    bool raw_;
    std::string xml_;
    std::string appended_;
};

// Cell data of one kind of cell.
struct CellValues {
    std::vector<int32_t> streamline, well, startWell, endWell;

    void add(int32_t streamlineNumber, int32_t wellNumber, int32_t start, int32_t end) {
        streamline.push_back(streamlineNumber);
        well.push_back(wellNumber);
        startWell.push_back(start);
        endWell.push_back(end);
    }
};

// Point and cell contents of the file. The streamlines' nodes come first among the points, in
// streamline order, then the wells; among the cells VTK puts the vertices first.
struct PolyData {
    std::vector<float> points;                // x, y, z per point
    std::vector<std::vector<float>> columns;  // per node column, one value per point
    std::vector<int64_t> lineConnectivity, lineOffsets, vertConnectivity, vertOffsets;
    CellValues vertCells, lineCells;

    std::vector<int32_t> cells(std::vector<int32_t> CellValues::*member) const {
        std::vector<int32_t> values = vertCells.*member;
        values.insert(values.end(), (lineCells.*member).begin(), (lineCells.*member).end());
        return values;
    }
};

PolyData polyDataOf(const DataSetGeometry& geometry) {
    PolyData data;
    data.columns.resize(geometry.columns.size());
    int64_t point = 0;
    for (const StreamlineNodes& line : geometry.streamlines) {
        const float *x = line.column(1), *y = line.column(2), *z = line.column(3);
        for (int32_t n = 0; n < line.nnodes; ++n) {
            data.points.insert(data.points.end(), {x[n], y[n], z[n]});
            data.lineConnectivity.push_back(point++);
        }
        for (size_t c = 0; c < data.columns.size(); ++c) {
            const float* values = line.column(static_cast<int32_t>(c + 1));
            data.columns[c].insert(data.columns[c].end(), values, values + line.nnodes);
        }
        data.lineOffsets.push_back(static_cast<int64_t>(data.lineConnectivity.size()));
        data.lineCells.add(line.number, 0, line.startWell, line.endWell);
    }
    for (const WellMark& mark : geometry.wells) {
        if (!mark.located) continue;
        const float position[3] = {mark.x, mark.y, mark.z};
        data.points.insert(data.points.end(), position, position + 3);
        // A well has no node values but its position.
        for (size_t c = 0; c < data.columns.size(); ++c)
            data.columns[c].push_back(c < 3 ? position[c] : std::numeric_limits<float>::quiet_NaN());
        data.vertConnectivity.push_back(point++);
        data.vertOffsets.push_back(static_cast<int64_t>(data.vertConnectivity.size()));
        data.vertCells.add(0, mark.number, mark.number, mark.number);
    }
    return data;
}

void writeCells(VtpWriter& vtp, const std::string& element, const std::vector<int64_t>& connectivity,
                const std::vector<int64_t>& offsets) {
    vtp.line("      <" + element + ">");
    vtp.array("connectivity", connectivity);
    vtp.array("offsets", offsets);
    vtp.line("      </" + element + ">");
}

}  // namespace

int runExportVtk(const ExportVtkOptions& options, const Console& console) {
    const LoadedStore store = loadStore(options.file, console, options.dataset);
    const LoadedDataSet& dataset = store.datasets.front();
    const std::vector<int32_t> chosen =
        options.streamlines.empty() ? std::vector<int32_t>{}
                                    : parseNumberList(options.streamlines, dataset.set->NumberStreamlines());
    const DataSetGeometry geometry = geometryOf(options.file, dataset, chosen);
    const PolyData data = polyDataOf(geometry);

    VtpWriter vtp(options.encoding != "ascii");
    vtp.line("<?xml version=\"1.0\"?>");
    vtp.line(std::string("<VTKFile type=\"PolyData\" version=\"1.0\" byte_order=\"") +
             (std::endian::native == std::endian::little ? "LittleEndian" : "BigEndian") +
             "\" header_type=\"UInt64\">");
    vtp.line("  <PolyData>");
    vtp.line("    <Piece NumberOfPoints=\"" + std::to_string(data.points.size() / 3) + "\" NumberOfVerts=\"" +
             std::to_string(data.vertOffsets.size()) + "\" NumberOfLines=\"" + std::to_string(data.lineOffsets.size()) +
             "\" NumberOfStrips=\"0\" NumberOfPolys=\"0\">");
    vtp.line("      <PointData>");
    for (size_t c = 0; c < geometry.columns.size(); ++c) vtp.array(geometry.columns[c].label(), data.columns[c]);
    vtp.line("      </PointData>");
    vtp.line("      <CellData>");
    vtp.array("streamline", data.cells(&CellValues::streamline));
    vtp.array("well", data.cells(&CellValues::well));
    vtp.array("start well", data.cells(&CellValues::startWell));
    vtp.array("end well", data.cells(&CellValues::endWell));
    vtp.line("      </CellData>");
    vtp.line("      <Points>");
    vtp.array("", data.points, 3);
    vtp.line("      </Points>");
    writeCells(vtp, "Verts", data.vertConnectivity, data.vertOffsets);
    writeCells(vtp, "Lines", data.lineConnectivity, data.lineOffsets);
    vtp.line("    </Piece>");
    vtp.line("  </PolyData>");
    writeFileAtomically(options.output, vtp.finish());
    console.out << "wrote " << options.output << ": " << data.lineOffsets.size() << " streamlines, "
                << data.vertOffsets.size() << " wells, " << data.points.size() / 3 << " points\n";
    return kExitOK;
}

}  // namespace tkstream_cli
