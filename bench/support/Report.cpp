#include "bench/support/Report.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <iterator>

namespace bench {

namespace {

std::vector<std::string> cellsOf(const Row& row) {
    return {row.figure, row.measured, row.yardstick, row.ratio, row.goal};
}

__attribute__((format(printf, 1, 2))) std::string format(const char* pattern, ...) {
    char text[64] = "";
    std::va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

// Three significant digits.
std::string threeDigits(double value, const char* unit) {
    const int decimals = value >= 99.95 ? 0 : value >= 9.995 ? 1 : 2;
    return format("%.*f %s", decimals, value, unit);
}

constexpr int widths[] = {61, 15, 36, 5, 12};

// As many cells as there are columns.
void printCells(const std::vector<std::string>& cells) {
    const int* width = std::begin(widths);
    for (const std::string& cell : cells)
        std::printf("| %-*s ", *width++, cell.c_str());
    std::printf("|\n");
    std::fflush(stdout);
}

} // namespace

void Report::printHeader() {
    printCells({"Figure", "Measured", "Yardstick", "Ratio", "Goal"});
    std::vector<std::string> rule;
    for (const int width : widths)
        rule.emplace_back(static_cast<std::size_t>(width), '-');
    printCells(rule);
}

void Report::print(const std::string& title) {
    printCells({"**" + title + "**", "", "", "", ""});
    for (const Row& row : rows_)
        printCells(cellsOf(row));
    rows_.clear();
}

std::string sizeText(std::size_t bytes) {
    const std::size_t unit = bytes >= 1 << 20 ? 1 << 20 : bytes >= 1 << 10 ? 1 << 10 : 1;
    return std::to_string(bytes / unit) + (unit == 1 ? " B" : unit == 1 << 10 ? " KiB" : " MiB");
}

std::string rateText(double bytesPerSecond) {
    return bytesPerSecond >= 1e9 ? threeDigits(bytesPerSecond / 1e9, "GB/s")
                                 : threeDigits(bytesPerSecond / 1e6, "MB/s");
}

std::string timeText(double seconds) {
    if (seconds < 1e-6)
        return threeDigits(seconds * 1e9, "ns");
    if (seconds < 1e-3)
        return threeDigits(seconds * 1e6, "us");
    return seconds < 1 ? threeDigits(seconds * 1e3, "ms") : threeDigits(seconds, "s");
}

std::string countText(double count) {
    std::string text = format("%.0f", std::round(count));
    for (std::size_t end = text.size(); end > 3; end -= 3)
        text.insert(end - 3, ",");
    return text;
}

std::string ratioText(double ratio) {
    return format("%.2f", ratio);
}

} // namespace bench
