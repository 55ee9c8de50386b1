// Draws throughput over a size as an SVG picture: panels two by two, each with a logarithmic axis
// of sizes below, bytes per second upwards from zero and a legend of its own.
#ifndef BENCH_SUPPORT_CURVE_H
#define BENCH_SUPPORT_CURVE_H

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

struct Curve {
    struct Point {
        std::size_t bytes; ///< The size, not 0.
        double bytesPerSecond;
    };
    std::string name;
    std::vector<Point> points; ///< In the order of their sizes.
};

struct Panel {
    std::string title;
    std::vector<Curve> curves;
};

/// The text of the picture. All panels have the same axes; a curve's colour is that of its place in
/// its panel.
std::string svgOf(const std::vector<Panel>& panels);

} // namespace bench

#endif
