#include "bench/support/Curve.h"

#include "bench/support/Report.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace bench {

namespace {

constexpr double panelWidth = 560, panelHeight = 420;
constexpr double left = 70, right = 20, top = 50, bottom = 60;
constexpr double legendLine = 18;
const char* const colours[] = {"#777777", "#000000", "#0072b2", "#d55e00", "#009e73",
                               "#cc79a7", "#e69f00", "#56b4e9", "#7b3f00"};

class Drawing {
public:
    explicit Drawing(const std::vector<Panel>& panels) {
        for (const Panel& panel : panels)
            for (const Curve& curve : panel.curves)
                measure(curve);
        highest_ = std::ceil(highest_ / 1e9) * 1e9;
        for (const Panel& panel : panels) {
            draw(panel);
            ++column_;
        }
    }

    std::string picture() const {
        const double legend = legendLine * static_cast<double>(names_.size() + 1);
        std::ostringstream out;
        out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << column_ * panelWidth
            << "\" height=\"" << panelHeight + legend
            << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
            << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
            << shapes_.str() << legendText() << "</svg>\n";
        return out.str();
    }

private:
    void measure(const Curve& curve) {
        if (std::find(names_.begin(), names_.end(), curve.name) == names_.end())
            names_.push_back(curve.name);
        for (const Curve::Point& point : curve.points) {
            sizes_.push_back(point.frameBytes);
            highest_ = std::max(highest_, point.bytesPerSecond);
        }
        std::sort(sizes_.begin(), sizes_.end());
        sizes_.erase(std::unique(sizes_.begin(), sizes_.end()), sizes_.end());
    }

    double x(std::size_t bytes) const {
        const double first = std::log2(static_cast<double>(sizes_.front()));
        const double last = std::log2(static_cast<double>(sizes_.back()));
        const double part = (std::log2(static_cast<double>(bytes)) - first) / (last - first);
        return column_ * panelWidth + left + part * (panelWidth - left - right);
    }

    double y(double rate) const {
        return panelHeight - bottom - rate / highest_ * (panelHeight - top - bottom);
    }

    const char* colourOf(const std::string& name) const {
        const auto place = std::find(names_.begin(), names_.end(), name) - names_.begin();
        return colours[static_cast<std::size_t>(place) % std::size(colours)];
    }

    void text(double atX, double atY, const char* anchor, const std::string& words) {
        shapes_ << "<text x=\"" << atX << "\" y=\"" << atY << "\" text-anchor=\"" << anchor << "\">"
                << words << "</text>\n";
    }

    void gridLine(double x1, double y1, double x2, double y2) {
        shapes_ << "<line x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2 << "\" y2=\"" << y2
                << "\" stroke=\"#dddddd\"/>\n";
    }

    void draw(const Panel& panel) {
        const double first = x(sizes_.front()), last = x(sizes_.back());
        text((first + last) / 2, top / 2, "middle", panel.title);
        for (double rate = 0; rate <= highest_; rate += 1e9) {
            gridLine(first, y(rate), last, y(rate));
            text(first - 8, y(rate) + 4, "end", rateText(rate));
        }
        for (const std::size_t size : sizes_) {
            gridLine(x(size), y(0), x(size), y(highest_));
            text(x(size), y(0) + 18, "middle", sizeText(size));
        }
        for (const Curve& curve : panel.curves)
            draw(curve);
    }

    void draw(const Curve& curve) {
        shapes_ << "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" << colourOf(curve.name)
                << "\" points=\"";
        for (const Curve::Point& point : curve.points)
            shapes_ << x(point.frameBytes) << "," << y(point.bytesPerSecond) << " ";
        shapes_ << "\"/>\n";
    }

    std::string legendText() const {
        std::ostringstream out;
        double line = panelHeight;
        for (const std::string& name : names_) {
            out << "<line x1=\"" << left << "\" y1=\"" << line - 4 << "\" x2=\"" << left + 30
                << "\" y2=\"" << line - 4 << "\" stroke-width=\"2\" stroke=\"" << colourOf(name)
                << "\"/>\n<text x=\"" << left + 40 << "\" y=\"" << line << "\">" << name
                << "</text>\n";
            line += legendLine;
        }
        return out.str();
    }

    std::vector<std::string> names_; // of the curves, in the order in which they were met
    std::vector<std::size_t> sizes_;
    double highest_ = 0;
    int column_ = 0; // of the panel that is being drawn
    std::ostringstream shapes_;
};

} // namespace

std::string svgOf(const std::vector<Panel>& panels) {
    return Drawing(panels).picture();
}

} // namespace bench
