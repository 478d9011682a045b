// A synthetic streamline field for the example host: a homogeneous five-spot (one injector in the
// middle of a square, four producers in its corners) repeated without end, solved analytically as
// potential flow by superposing the pattern's image wells, and traced into streamlines the way a
// streamline simulator would report them.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <string>
#include <vector>

namespace five_spot {

struct Well {
    std::string name;
    int32_t type;  // 1 producer, 2 injector
    double x, y;
    double rate;   // reservoir rate, m3/day (positive for both kinds)
};

struct Node {
    float x, y, z, cell, tof, drt, velocity;
};

struct Streamline {
    int32_t startWell;  // 1-based well numbers
    int32_t endWell;
    double flux;        // m3/day carried by the streamline
    std::vector<Node> nodes;
};

struct Field {
    int32_t nx = 50, ny = 50, nz = 5;
    double size = 500.0;       // pattern side, m
    double thickness = 10.0;   // per layer, m
    double porosity = 0.2;
    std::vector<Well> wells;
    std::vector<Streamline> streamlines;
    float tofMin = 0, tofMax = 0, drtMin = 0, drtMax = 0;

    double cellSize() const { return size / nx; }
    int32_t cellIndex(double x, double y, int32_t layer) const {
        const auto clampIndex = [](double v, int32_t n) {
            return std::min(n - 1, std::max(0, static_cast<int32_t>(std::floor(v))));
        };
        const int32_t i = clampIndex(x / cellSize(), nx);
        const int32_t j = clampIndex(y / cellSize(), ny);
        return 1 + i + j * nx + layer * nx * ny;
    }
};

// Velocity (Darcy flux per unit thickness) of the repeated pattern at point z: every well with
// its images in the neighbouring patterns.
inline std::complex<double> flowVelocity(const Field& field, std::complex<double> z) {
    std::complex<double> velocity{0, 0};
    const int images = 3;
    for (const Well& well : field.wells) {
        const double strength = (well.type == 2 ? 1.0 : -1.0) * well.rate / field.nz / field.thickness;
        for (int a = -images; a <= images; ++a) {
            for (int b = -images; b <= images; ++b) {
                const std::complex<double> source{well.x + a * field.size, well.y + b * field.size};
                const std::complex<double> d = z - source;
                const double r2 = std::norm(d);
                if (r2 < 1e-9) continue;
                velocity += strength / (2.0 * M_PI) * d / r2;
            }
        }
    }
    return velocity;
}

// Traces streamlines from the injector (well 1) in every layer until they reach a producer.
inline void traceStreamlines(Field& field, int32_t perLayer) {
    const Well& injector = field.wells.front();
    const double captureRadius = 4.0;
    const double step = 4.0;  // m of path per node
    field.streamlines.clear();
    for (int32_t layer = 0; layer < field.nz; ++layer) {
        const float depth = static_cast<float>(2000.0 + (layer + 0.5) * field.thickness);
        for (int32_t s = 0; s < perLayer; ++s) {
            const double angle = 2.0 * M_PI * (s + 0.5) / perLayer;
            std::complex<double> z{injector.x + captureRadius * std::cos(angle),
                                   injector.y + captureRadius * std::sin(angle)};
            Streamline line{1, 0, injector.rate / field.nz / perLayer, {}};
            double tof = 0.0;
            for (int guard = 0; guard < 4000 && line.endWell == 0; ++guard) {
                const std::complex<double> v = flowVelocity(field, z);
                const double speed = std::abs(v) / field.porosity;
                line.nodes.push_back({static_cast<float>(z.real()), static_cast<float>(z.imag()), depth,
                                      static_cast<float>(field.cellIndex(z.real(), z.imag(), layer)),
                                      static_cast<float>(tof), 0.0f, static_cast<float>(speed)});
                // Midpoint step along the path, time of flight from the mean speed.
                const std::complex<double> half = z + 0.5 * step * v / std::abs(v);
                const std::complex<double> vHalf = flowVelocity(field, half);
                z += step * vHalf / std::abs(vHalf);
                tof += step / (std::abs(vHalf) / field.porosity);
                for (size_t w = 1; w < field.wells.size(); ++w) {
                    if (std::abs(z - std::complex<double>{field.wells[w].x, field.wells[w].y}) < captureRadius) {
                        line.endWell = static_cast<int32_t>(w + 1);
                    }
                }
            }
            // DRT: the time of flight relative to the streamline's whole transit time.
            const float total = line.nodes.back().tof > 0 ? line.nodes.back().tof : 1.0f;
            for (Node& node : line.nodes) node.drt = node.tof / total;
            field.streamlines.push_back(std::move(line));
        }
    }
    field.tofMin = 0;
    field.tofMax = 0;
    for (const Streamline& line : field.streamlines)
        for (const Node& node : line.nodes) field.tofMax = std::max(field.tofMax, node.tof);
    field.drtMin = 0;
    field.drtMax = 1;
}

// Time for injected water to cross a streamline: the time of flight at its last node.
inline double transitTime(const Streamline& line) {
    return line.nodes.empty() ? 0.0 : line.nodes.back().tof;
}

// Share of water in the flow a streamline delivers at a given time: none before the injected water
// has crossed it, then rising towards all water as the swept oil runs out (a frontal-advance
// approximation: 1 - transit time / time).
inline double waterFraction(double transit, double time) {
    return time <= transit ? 0.0 : 1.0 - transit / time;
}

// One time step of the pattern: the injector at the centre, producers P1..P4 in the corners, each
// producing a quarter of the injected rate (the corners are shared with the neighbouring patterns).
inline Field makeFiveSpot(double injectionRate, int32_t perLayer) {
    Field field;
    const double s = field.size;
    field.wells.push_back({"I1", 2, s / 2, s / 2, injectionRate});
    const double corners[4][2] = {{0, 0}, {s, 0}, {s, s}, {0, s}};
    for (int p = 0; p < 4; ++p) {
        field.wells.push_back({std::string("P").append(std::to_string(p + 1)), 1, corners[p][0], corners[p][1],
                               injectionRate / 4});
    }
    traceStreamlines(field, perLayer);
    return field;
}

}  // namespace five_spot
