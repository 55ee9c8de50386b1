// Frames as people look at them: 8 bits, made smaller, single channels, and the difference of two.
// Fast rather than exact: samples go through tables, and a picture that is made much smaller is an
// average of a few of its pixels. For values there is FrameSamples.
// Plain values; functions may be called from any thread.
#ifndef IMAGE_SCREENVIEW_H
#define IMAGE_SCREENVIEW_H

#include "image/FrameSamples.h"

#include <vector>

namespace image {

/// Which channels are shown: all in colour, one in gray, or how bright they are together.
enum class ShownChannel { Colour, Red, Green, Blue, Alpha, Luma };

/// From the bits of a sample, the top 16 where it has 32, to what a screen shows.
class ScreenTable {
public:
    /// \p stops brighter, for halves and floats, which get the transfer curve of a screen.
    explicit ScreenTable(SampleKind kind, double stops = 0);

    [[nodiscard]] const unsigned char* data() const { return values_.data(); }

private:
    std::vector<unsigned char> values_;
};

/// Rows from top to bottom without padding; 1 channel, gray, or 3, RGB.
struct Viewed {
    int width = 0;
    int height = 0;
    int channels = 3;
    std::vector<unsigned char> pixels;
};

/// The frame at most \p width pixels wide. A channel that it does not have is shown as white for
/// alpha, else as its gray. \p table is one of the frame's kind of sample.
[[nodiscard]] Viewed viewOf(const FrameSamples& frame, const ScreenTable& table,
                            ShownChannel channel, int width);

/// How two frames differ.
struct Difference {
    double largest = 0;   ///< Of all samples, in their units; a NaN in one of both is not counted,
    long long pixels = 0; ///< but makes its pixel one of those that differ.
    Viewed view;          ///< Each pixel is the largest difference of those that it stands for.
};

/// Of two frames of the same size and layout. \p gain multiplies what is shown of integers as a
/// part of their range, and of floating point as it is.
[[nodiscard]] Difference differenceOf(const FrameSamples& one, const FrameSamples& other, int width,
                                      double gain);

} // namespace image

#endif
