#include "bench/support/Curve.h"

#include "bench/support/Report.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <sstream>

namespace bench {

namespace {

constexpr double panelWidth = 560, plotHeight = 400;
constexpr double left = 75, right = 30, top = 50, bottom = 50;
constexpr double legendLine = 18;
constexpr std::size_t columns = 2;
constexpr double gridStep = 1e9;
const char* const colours[] = {"#777777", "#000000", "#0072b2", "#d55e00", "#009e73", "#cc79a7"};

const char* colourOf(std::size_t place) {
    return colours[place % std::size(colours)];
}

class Drawing {
public:
    explicit Drawing(const std::vector<Panel>& panels) {
        for (const Panel& panel : panels) {
            mostCurves_ = std::max(mostCurves_, panel.curves.size());
            for (const Curve& curve : panel.curves)
                measure(curve);
        }
        std::sort(sizes_.begin(), sizes_.end());
        sizes_.erase(std::unique(sizes_.begin(), sizes_.end()), sizes_.end());
        highest_ = std::ceil(highest_ / gridStep) * gridStep;
        for (std::size_t i = 0; i < panels.size(); ++i)
            draw(panels[i], static_cast<double>(i % columns),
                 std::floor(static_cast<double>(i) / columns));
        width_ = panelWidth * static_cast<double>(std::min(columns, panels.size()));
        height_ = panelHeight() * std::ceil(static_cast<double>(panels.size()) / columns);
    }

    std::string picture() const {
        std::ostringstream out;
        out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width_ << "\" height=\""
            << height_ << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
            << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
            << shapes_.str() << "</svg>\n";
        return out.str();
    }

private:
    void measure(const Curve& curve) {
        for (const Curve::Point& point : curve.points) {
            sizes_.push_back(point.bytes);
            highest_ = std::max(highest_, point.bytesPerSecond);
        }
    }

    double panelHeight() const {
        return plotHeight + legendLine * (static_cast<double>(mostCurves_) + 1);
    }

    // Within the panel.
    double x(std::size_t bytes) const {
        const double first = std::log2(static_cast<double>(sizes_.front()));
        const double last = std::log2(static_cast<double>(sizes_.back()));
        const double part = (std::log2(static_cast<double>(bytes)) - first) / (last - first);
        return left + part * (panelWidth - left - right);
    }

    double y(double rate) const {
        return plotHeight - bottom - rate / highest_ * (plotHeight - top - bottom);
    }

    void text(double atX, double atY, const char* anchor, const std::string& words) {
        shapes_ << "<text x=\"" << atX << "\" y=\"" << atY << "\" text-anchor=\"" << anchor << "\">"
                << words << "</text>\n";
    }

    void line(double x1, double y1, double x2, double y2, const char* colour, int width) {
        shapes_ << "<line x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2 << "\" y2=\"" << y2
                << "\" stroke=\"" << colour << "\" stroke-width=\"" << width << "\"/>\n";
    }

    void draw(const Panel& panel, double column, double row) {
        shapes_ << "<g transform=\"translate(" << column * panelWidth << " " << row * panelHeight()
                << ")\">\n";
        text((x(sizes_.front()) + x(sizes_.back())) / 2, top / 2, "middle", panel.title);
        drawGrid();
        for (std::size_t place = 0; place < panel.curves.size(); ++place) {
            drawCurve(panel.curves[place], colourOf(place));
            drawLegend(panel.curves[place].name, place);
        }
        shapes_ << "</g>\n";
    }

    void drawGrid() {
        const char* const gray = "#dddddd";
        const double first = x(sizes_.front()), last = x(sizes_.back());
        for (int step = 0; step * gridStep <= highest_; ++step) {
            const double rate = step * gridStep;
            line(first, y(rate), last, y(rate), gray, 1);
            text(first - 8, y(rate) + 4, "end", rateText(rate));
        }
        for (const std::size_t size : sizes_) {
            line(x(size), y(0), x(size), y(highest_), gray, 1);
            text(x(size), y(0) + 18, "middle", sizeText(size));
        }
    }

    void drawCurve(const Curve& curve, const char* colour) {
        shapes_ << "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" << colour
                << "\" points=\"";
        for (const Curve::Point& point : curve.points)
            shapes_ << x(point.bytes) << "," << y(point.bytesPerSecond) << " ";
        shapes_ << "\"/>\n";
    }

    void drawLegend(const std::string& name, std::size_t place) {
        const double atY = plotHeight + legendLine * static_cast<double>(place);
        line(left, atY - 4, left + 30, atY - 4, colourOf(place), 2);
        text(left + 40, atY, "start", name);
    }

    std::vector<std::size_t> sizes_;
    double highest_ = 0; // bytes per second, of all curves
    std::size_t mostCurves_ = 0;
    double width_ = 0, height_ = 0;
    std::ostringstream shapes_;
};

} // namespace

std::string svgOf(const std::vector<Panel>& panels) {
    return Drawing(panels).picture();
}

} // namespace bench
