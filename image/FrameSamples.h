// The samples of a frame by their places, as exact numbers.
// Borrows the frame's bytes. A plain value; any thread.
#ifndef IMAGE_FRAMESAMPLES_H
#define IMAGE_FRAMESAMPLES_H

#include "image/PixelLayout.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace image {

class FrameSamples {
public:
    /// \p frame has as many bytes as the layout and the size say.
    FrameSamples(const char* frame, const PixelLayout& layout, int width, int height)
        : frame_(frame), layout_(layout), width_(width), height_(height) {}

    [[nodiscard]] const PixelLayout& layout() const { return layout_; }
    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }

    /// The bytes of a row, and of each pixel.
    [[nodiscard]] const char* row(int y) const;
    [[nodiscard]] std::size_t pixelBytes() const;

    /// The bits of a sample of the pixel at \p pixel.
    [[nodiscard]] std::uint32_t bits(const char* pixel, int channel) const;
    /// The number that they stand for, which a double holds exactly.
    [[nodiscard]] double value(std::uint32_t bits) const;
    [[nodiscard]] double at(int x, int y, int channel) const;

private:
    const char* frame_;
    PixelLayout layout_;
    int width_;
    int height_;
};

/// The number with the fewest digits that are this one and no other of its kind; "nan", "inf" and
/// "-inf" for what is not one.
[[nodiscard]] std::string numberText(double number, SampleKind kind);

} // namespace image

#endif
