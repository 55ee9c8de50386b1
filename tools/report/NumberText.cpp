#include "tools/report/NumberText.h"

#include <cstdio>

namespace tool {

std::string shortNumber(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

std::string decimalOfFraction(const std::string& text) {
    double numerator = 0;
    double denominator = 0;
    int end = 0;
    if (std::sscanf(text.c_str(), "%lf/%lf%n", &numerator, &denominator, &end) != 2 ||
        text[static_cast<std::size_t>(end)] != '\0' || !(denominator > 0))
        return text;
    return std::to_string(numerator / denominator);
}

std::string byteText(long long bytes) {
    constexpr const char* units[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
    if (bytes < 1000)
        return std::to_string(bytes) + " B";
    double number = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    for (; number >= 999.95; ++unit)
        number /= 1000;
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", number, units[unit]);
    return text;
}

std::string countText(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace tool
