#include "image/Ratio.h"

#include <cmath>

namespace image {

// The convergents of the value's continued fraction.
Ratio ratioOf(float value) {
    constexpr double most = 2147483647.0;
    constexpr int mostTerms = 40;
    double rest = static_cast<double>(value);
    double numerator = 1;
    double denominator = 0;
    double numeratorBefore = 0;
    double denominatorBefore = 1;
    for (int term = 0; term < mostTerms && value > 0; ++term) {
        const double whole = std::floor(rest);
        const double numeratorNext = whole * numerator + numeratorBefore;
        const double denominatorNext = whole * denominator + denominatorBefore;
        if (!(numeratorNext <= most && denominatorNext <= most))
            break;
        numeratorBefore = numerator;
        denominatorBefore = denominator;
        numerator = numeratorNext;
        denominator = denominatorNext;
        if (numerator > 0 && static_cast<float>(numerator / denominator) == value)
            return {static_cast<std::uint32_t>(numerator), static_cast<std::uint32_t>(denominator)};
        rest = 1 / (rest - whole);
    }
    return {};
}

} // namespace image
