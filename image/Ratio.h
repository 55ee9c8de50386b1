// Ratios as files keep them: two whole numbers.
// Plain values.
#ifndef IMAGE_RATIO_H
#define IMAGE_RATIO_H

#include <cstdint>

namespace image {

struct Ratio {
    std::uint32_t numerator = 1;
    std::uint32_t denominator = 1;
};

/// The smallest whole numbers, of 31 bits at most, whose ratio is \p value as a float; 1 to 1 for
/// what is not positive, and for what no such numbers reach.
[[nodiscard]] Ratio ratioOf(float value);

} // namespace image

#endif
