// tkstream plot: a plan view (X across, Y up) of a dataset as SVG. One <path> per streamline,
// coloured by a node column (each streamline takes the mean of the column over its nodes, shown
// on a colour bar) or by the injector it starts from or the producer it ends at (with a legend);
// wells are marked and named; the axes are in the grid's own units.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>

#include "cli/commands.hpp"
#include "cli/dataset_geometry.hpp"

namespace tkstream_cli {

using namespace tkstream63;

namespace {

// Page layout in SVG user units (pixels).
constexpr double kPlotSize = 640;  // the longer side of the plot area
constexpr double kLeft = 80, kTop = 56, kBottom = 64, kRight = 230;
constexpr const char* kFont = "font-family=\"DejaVu Sans, Arial, sans-serif\"";

struct Colour {
    double r, g, b;
    std::string hex() const {
        char text[8];
        std::snprintf(text, sizeof text, "#%02x%02x%02x", static_cast<int>(std::lround(r)),
                      static_cast<int>(std::lround(g)), static_cast<int>(std::lround(b)));
        return text;
    }
};

// Perceptually even colour scale (viridis), sampled at eleven points from 0 to 1.
Colour scaleColour(double t) {
    static const Colour stops[] = {{68, 1, 84},    {72, 36, 117},  {65, 68, 135},  {53, 95, 141},
                                   {42, 120, 142}, {33, 145, 140}, {34, 168, 132}, {68, 191, 112},
                                   {122, 209, 81}, {189, 223, 38}, {253, 231, 37}};
    const double position = std::clamp(std::isfinite(t) ? t : 0.0, 0.0, 1.0) * 10;
    const auto k = std::min(static_cast<size_t>(position), size_t{9});
    const double f = position - static_cast<double>(k);
    const Colour& a = stops[k];
    const Colour& b = stops[k + 1];
    return {a.r + f * (b.r - a.r), a.g + f * (b.g - a.g), a.b + f * (b.b - a.b)};
}

// Distinct colours for wells (cycled beyond ten).
std::string categoryColour(size_t k) {
    static const char* const colours[] = {"#4e79a7", "#f28e2b", "#e15759", "#76b7b2", "#59a14f",
                                          "#edc948", "#b07aa1", "#ff9da7", "#9c755f", "#bab0ac"};
    return colours[k % std::size(colours)];
}

std::string fixed(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

// Round tick values covering [low, high], about six of them.
struct Ticks {
    std::vector<double> values;
    int decimals = 0;
};
Ticks ticksFor(double low, double high) {
    Ticks ticks;
    const double range = high - low;
    if (!(range > 0)) {
        ticks.values = {low};
        return ticks;
    }
    const double rough = range / 6;
    const double magnitude = std::pow(10.0, std::floor(std::log10(rough)));
    double step = magnitude;
    for (const double factor : {1.0, 2.0, 5.0, 10.0})
        if (factor * magnitude >= rough) {
            step = factor * magnitude;
            break;
        }
    ticks.decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step))));
    for (double k = std::ceil(low / step); k * step <= high + step * 1e-9; ++k)
        ticks.values.push_back(k == 0 ? 0.0 : k * step);  // never "-0"
    return ticks;
}

// How the streamlines are coloured.
struct Colouring {
    enum class Kind { Column, Injector, Producer } kind = Kind::Column;
    int32_t column = 0;  // for Kind::Column, from 1
};

Colouring colouringFor(const std::string& colorBy, const DataSetGeometry& geometry, const std::string& where) {
    std::string wanted = colorBy;
    std::transform(wanted.begin(), wanted.end(), wanted.begin(), [](unsigned char c) { return std::toupper(c); });
    if (wanted == "INJECTOR") return {Colouring::Kind::Injector, 0};
    if (wanted == "PRODUCER") return {Colouring::Kind::Producer, 0};
    const auto columns = static_cast<int32_t>(geometry.columns.size());
    if (wanted.empty()) wanted = "TOF";
    for (int32_t c = 1; c <= columns; ++c) {
        std::string name = geometry.columns[static_cast<size_t>(c - 1)].name;
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char ch) { return std::toupper(ch); });
        if (name == wanted || std::to_string(c) == wanted) return {Colouring::Kind::Column, c};
    }
    if (colorBy.empty()) return {Colouring::Kind::Injector, 0};
    std::string names;
    for (const NodeColumn& column : geometry.columns) names += (names.empty() ? "" : ", ") + column.name;
    throw CommandError(where + " has no column '" + colorBy + "' (its columns: " + names +
                       "; or use injector or producer)");
}

class PlanView {
public:
    PlanView(const DataSetGeometry& geometry, const Colouring& colouring)
        : geometry_(geometry), colouring_(colouring) {
        for (const StreamlineNodes& line : geometry.streamlines) {
            for (int32_t n = 0; n < line.nnodes; ++n) include(line.column(1)[n], line.column(2)[n]);
            if (colouring.kind == Colouring::Kind::Column) {
                const float* values = line.column(colouring.column);
                double sum = 0;
                for (int32_t n = 0; n < line.nnodes; ++n) sum += values[n];
                means_.push_back(sum / line.nnodes);
            }
        }
        for (const WellMark& mark : geometry.wells)
            if (mark.located) include(mark.x, mark.y);
        if (!(xMax_ >= xMin_)) xMin_ = xMax_ = yMin_ = yMax_ = 0;
        // A little room around the data, and some extent even for a single point.
        const double pad = std::max({xMax_ - xMin_, yMax_ - yMin_, 1e-6}) * 0.07;
        xMin_ -= pad, xMax_ += pad, yMin_ -= pad, yMax_ += pad;
        scale_ = kPlotSize / std::max(xMax_ - xMin_, yMax_ - yMin_);
        width_ = (xMax_ - xMin_) * scale_;
        height_ = (yMax_ - yMin_) * scale_;
        for (const double mean : means_)
            if (std::isfinite(mean)) low_ = std::min(low_, mean), high_ = std::max(high_, mean);
    }

    std::string svg(const std::string& title) {
        const double pageWidth = kLeft + width_ + kRight, pageHeight = kTop + height_ + kBottom;
        out_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
               fixed(pageWidth, 0) + "\" height=\"" + fixed(pageHeight, 0) + "\" viewBox=\"0 0 " +
               fixed(pageWidth, 0) + " " + fixed(pageHeight, 0) + "\">\n";
        out_ += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
        out_ += "<text x=\"" + fixed(kLeft, 0) + "\" y=\"30\" " + kFont + " font-size=\"17\" font-weight=\"bold\">" +
                xmlEscaped(title) + "</text>\n";
        axes();
        streamlines();
        wells();
        legend();
        return out_ + "</svg>\n";
    }

private:
    void include(double x, double y) {
        if (!std::isfinite(x) || !std::isfinite(y)) return;
        xMin_ = std::min(xMin_, x), xMax_ = std::max(xMax_, x);
        yMin_ = std::min(yMin_, y), yMax_ = std::max(yMax_, y);
    }
    double px(double x) const { return kLeft + (x - xMin_) * scale_; }
    double py(double y) const { return kTop + height_ - (y - yMin_) * scale_; }

    std::string axisLabel(int32_t column, const char* fallback) const {
        return static_cast<size_t>(column) <= geometry_.columns.size()
                   ? geometry_.columns[static_cast<size_t>(column - 1)].label()
                   : fallback;
    }

    void axes() {
        const std::string frame = fixed(kLeft, 1) + "\" y=\"" + fixed(kTop, 1) + "\" width=\"" + fixed(width_, 1) +
                                  "\" height=\"" + fixed(height_, 1);
        out_ += "<rect x=\"" + frame + "\" fill=\"#fafafa\" stroke=\"#444\" stroke-width=\"1\"/>\n<g " + kFont +
                " font-size=\"12\" fill=\"#222\">\n";
        const Ticks xTicks = ticksFor(xMin_, xMax_);
        for (const double x : xTicks.values) {
            const std::string at = fixed(px(x), 1);
            out_ += "<line x1=\"" + at + "\" y1=\"" + fixed(kTop + height_, 1) + "\" x2=\"" + at + "\" y2=\"" +
                    fixed(kTop + height_ + 5, 1) + "\" stroke=\"#444\"/><text x=\"" + at + "\" y=\"" +
                    fixed(kTop + height_ + 19, 1) + "\" text-anchor=\"middle\">" + fixed(x, xTicks.decimals) +
                    "</text>\n";
        }
        const Ticks yTicks = ticksFor(yMin_, yMax_);
        for (const double y : yTicks.values) {
            const std::string at = fixed(py(y), 1);
            out_ += "<line x1=\"" + fixed(kLeft - 5, 1) + "\" y1=\"" + at + "\" x2=\"" + fixed(kLeft, 1) + "\" y2=\"" +
                    at + "\" stroke=\"#444\"/><text x=\"" + fixed(kLeft - 8, 1) + "\" y=\"" + fixed(py(y) + 4, 1) +
                    "\" text-anchor=\"end\">" + fixed(y, yTicks.decimals) + "</text>\n";
        }
        out_ += "<text x=\"" + fixed(kLeft + width_ / 2, 1) + "\" y=\"" + fixed(kTop + height_ + 44, 1) +
                "\" text-anchor=\"middle\" font-size=\"13\">" + xmlEscaped(axisLabel(1, "X")) + "</text>\n";
        out_ += "<text transform=\"translate(22," + fixed(kTop + height_ / 2, 1) +
                ") rotate(-90)\" text-anchor=\"middle\" font-size=\"13\">" + xmlEscaped(axisLabel(2, "Y")) +
                "</text>\n</g>\n";
    }

    std::string wellName(int32_t number) const {
        for (const WellMark& mark : geometry_.wells)
            if (mark.number == number) return mark.name;
        return number > 0 ? "well " + std::to_string(number) : "no well";
    }

    // The well a streamline is coloured by, in the Injector and Producer colourings.
    int32_t colouringWell(const StreamlineNodes& line) const {
        return colouring_.kind == Colouring::Kind::Injector ? line.startWell : line.endWell;
    }

    std::string colourOf(size_t k) {
        const StreamlineNodes& line = geometry_.streamlines[k];
        if (colouring_.kind == Colouring::Kind::Column) {
            const double t = high_ > low_ ? (means_[k] - low_) / (high_ - low_) : 0.5;
            return scaleColour(t).hex();
        }
        const int32_t well = colouringWell(line);
        const auto found = categories_.try_emplace(well, categories_.size());
        ++categoryCounts_[well];
        return categoryColour(found.first->second);
    }

    void streamlines() {
        out_ += "<g fill=\"none\" stroke-width=\"1.3\" stroke-opacity=\"0.9\" stroke-linejoin=\"round\">\n";
        for (size_t k = 0; k < geometry_.streamlines.size(); ++k) {
            const StreamlineNodes& line = geometry_.streamlines[k];
            const float *x = line.column(1), *y = line.column(2);
            std::string d;
            for (int32_t n = 0; n < line.nnodes; ++n)
                if (std::isfinite(x[n]) && std::isfinite(y[n]))
                    d += (d.empty() ? "M" : " L") + fixed(px(x[n]), 1) + " " + fixed(py(y[n]), 1);
            std::string about = "streamline " + std::to_string(line.number) + ": " + wellName(line.startWell) +
                                " to " + wellName(line.endWell);
            if (colouring_.kind == Colouring::Kind::Column) about += ", mean " + numberText(means_[k]);
            out_ += "<path class=\"streamline\" d=\"" + (d.empty() ? "M0 0" : d) + "\" stroke=\"" + colourOf(k) +
                    "\"><title>" + xmlEscaped(about) + "</title></path>\n";
        }
        out_ += "</g>\n";
    }

    void wells() {
        out_ += "<g " + std::string(kFont) + " font-size=\"13\" font-weight=\"bold\">\n";
        for (const WellMark& mark : geometry_.wells) {
            if (!mark.located) continue;
            const double x = px(mark.x), y = py(mark.y);
            if (mark.type == 2) {
                out_ += "<polygon class=\"well injector\" points=\"" + fixed(x, 1) + "," + fixed(y - 8, 1) + " " +
                        fixed(x - 7, 1) + "," + fixed(y + 5, 1) + " " + fixed(x + 7, 1) + "," + fixed(y + 5, 1) +
                        "\" fill=\"#1f4e9a\" stroke=\"white\" stroke-width=\"1.5\"/>\n";
            } else {
                out_ += "<circle class=\"well\" cx=\"" + fixed(x, 1) + "\" cy=\"" + fixed(y, 1) +
                        "\" r=\"6\" fill=\"" + (mark.type == 1 ? "#b2182b" : "#777") +
                        "\" stroke=\"white\" stroke-width=\"1.5\"/>\n";
            }
            // Each label sits on the side of its well away from the middle of the plot, where the
            // streamlines are fewer; a white halo keeps it readable over them.
            const bool left = x < kLeft + width_ / 2 - 1;
            const bool below = y > kTop + height_ / 2 + 1;
            out_ += "<text x=\"" + fixed(x + (left ? -9 : 9), 1) + "\" y=\"" + fixed(y + (below ? 19 : -10), 1) +
                    "\" text-anchor=\"" + (left ? "end" : "start") +
                    "\" stroke=\"white\" stroke-width=\"4\" paint-order=\"stroke\" fill=\"#111\">" +
                    xmlEscaped(mark.name) + "</text>\n";
        }
        out_ += "</g>\n";
    }

    void legend() {
        const double x = kLeft + width_ + 40;
        double y = kTop;
        out_ += "<g " + std::string(kFont) + " font-size=\"12\" fill=\"#222\">\n";
        if (colouring_.kind == Colouring::Kind::Column) {
            const double barHeight = std::min(height_ * 0.6, 320.0);
            out_ += "<defs><linearGradient id=\"scale\" x1=\"0\" y1=\"1\" x2=\"0\" y2=\"0\">";
            for (int k = 0; k <= 10; ++k)
                out_ += "<stop offset=\"" + fixed(k / 10.0, 1) + "\" stop-color=\"" + scaleColour(k / 10.0).hex() +
                        "\"/>";
            out_ += "</linearGradient></defs>\n";
            out_ += "<text x=\"" + fixed(x, 1) + "\" y=\"" + fixed(y, 1) + "\" font-size=\"13\">mean " +
                    xmlEscaped(axisLabel(colouring_.column, "")) + "</text>\n";
            y += 12;
            out_ += "<rect x=\"" + fixed(x, 1) + "\" y=\"" + fixed(y, 1) + "\" width=\"18\" height=\"" +
                    fixed(barHeight, 1) + "\" fill=\"url(#scale)\" stroke=\"#444\"/>\n";
            if (high_ >= low_) {
                const Ticks ticks = ticksFor(low_, high_);
                for (const double v : ticks.values) {
                    const double at = y + barHeight - (high_ > low_ ? (v - low_) / (high_ - low_) : 0.5) * barHeight;
                    out_ += "<line x1=\"" + fixed(x + 18, 1) + "\" y1=\"" + fixed(at, 1) + "\" x2=\"" +
                            fixed(x + 23, 1) + "\" y2=\"" + fixed(at, 1) + "\" stroke=\"#444\"/><text x=\"" +
                            fixed(x + 27, 1) + "\" y=\"" + fixed(at + 4, 1) + "\">" + fixed(v, ticks.decimals) +
                            "</text>\n";
                }
            }
            y += barHeight + 36;
        } else {
            out_ += "<text x=\"" + fixed(x, 1) + "\" y=\"" + fixed(y, 1) + "\" font-size=\"13\">streamlines by " +
                    (colouring_.kind == Colouring::Kind::Injector ? "injector" : "producer") + "</text>\n";
            std::vector<std::pair<size_t, int32_t>> order;
            for (const auto& [well, k] : categories_) order.push_back({k, well});
            std::sort(order.begin(), order.end());
            for (const auto& [k, well] : order) {
                y += 20;
                out_ += "<line x1=\"" + fixed(x, 1) + "\" y1=\"" + fixed(y - 4, 1) + "\" x2=\"" + fixed(x + 22, 1) +
                        "\" y2=\"" + fixed(y - 4, 1) + "\" stroke=\"" + categoryColour(k) +
                        "\" stroke-width=\"3\"/><text x=\"" + fixed(x + 30, 1) + "\" y=\"" + fixed(y, 1) + "\">" +
                        xmlEscaped(wellName(well)) + " (" + std::to_string(categoryCounts_[well]) + ")</text>\n";
            }
            y += 36;
        }
        out_ += "<text x=\"" + fixed(x, 1) + "\" y=\"" + fixed(y, 1) + "\" font-size=\"13\">wells</text>\n";
        out_ += "<polygon points=\"" + fixed(x + 9, 1) + "," + fixed(y + 10, 1) + " " + fixed(x + 2, 1) + "," +
                fixed(y + 23, 1) + " " + fixed(x + 16, 1) + "," + fixed(y + 23, 1) + "\" fill=\"#1f4e9a\"/><text x=\"" +
                fixed(x + 30, 1) + "\" y=\"" + fixed(y + 22, 1) + "\">injector</text>\n";
        out_ += "<circle cx=\"" + fixed(x + 9, 1) + "\" cy=\"" + fixed(y + 40, 1) + "\" r=\"6\" fill=\"#b2182b\"/><text x=\"" +
                fixed(x + 30, 1) + "\" y=\"" + fixed(y + 44, 1) + "\">producer</text>\n</g>\n";
    }

    const DataSetGeometry& geometry_;
    Colouring colouring_;
    std::vector<double> means_;  // per streamline, for a column colouring
    double xMin_ = std::numeric_limits<double>::max(), xMax_ = std::numeric_limits<double>::lowest();
    double yMin_ = std::numeric_limits<double>::max(), yMax_ = std::numeric_limits<double>::lowest();
    double low_ = std::numeric_limits<double>::max(), high_ = std::numeric_limits<double>::lowest();
    double scale_ = 1, width_ = 0, height_ = 0;
    std::map<int32_t, size_t> categories_;  // well -> colour number, in order of first use
    std::map<int32_t, int64_t> categoryCounts_;
    std::string out_;
};

}  // namespace

int runPlot(const PlotOptions& options, const Console& console) {
    const LoadedStore store = loadStore(options.file, console, options.dataset);
    const LoadedDataSet& dataset = store.datasets.front();
    const DataSetGeometry geometry = geometryOf(options.file, dataset);
    const std::string where = inQuotes(options.file) + ": dataset " + std::to_string(dataset.number);
    const Colouring colouring = colouringFor(options.colorBy, geometry, where);
    const rvStreamSet& set = *dataset.set;
    std::string title = set.Origin().empty() ? "dataset " + std::to_string(dataset.number) : set.Origin();
    if (!set.DateStamp().empty()) title += " \u2013 " + set.DateStamp();
    title += " \u2013 dataset " + std::to_string(dataset.number) + ", " +
             std::to_string(geometry.streamlines.size()) + " streamlines";
    PlanView view(geometry, colouring);
    writeFileAtomically(options.output, view.svg(title));
    console.out << "wrote " << options.output << ": " << geometry.streamlines.size() << " streamlines, "
                << geometry.wells.size() << " wells\n";
    return kExitOK;
}

}  // namespace tkstream_cli
