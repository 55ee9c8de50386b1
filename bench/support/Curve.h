// Draws throughput over frame size as an SVG picture: one panel beside the other, a logarithmic
// axis of sizes below, bytes per second upwards from zero.
#ifndef BENCH_SUPPORT_CURVE_H
#define BENCH_SUPPORT_CURVE_H

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

struct Curve {
    struct Point {
        std::size_t frameBytes;
        double bytesPerSecond;
    };
    std::string name;
    std::vector<Point> points; ///< In the order of their sizes.
};

struct Panel {
    std::string title;
    std::vector<Curve> curves;
};

/// The text of the picture. Curves of one name have one colour in all panels.
std::string svgOf(const std::vector<Panel>& panels);

} // namespace bench

#endif
