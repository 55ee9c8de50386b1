// An 8-bit RGB raster for viewing: thumbnails, contact sheets, test images.
// A plain value. Positions outside the raster are left out.
#ifndef IMAGE_PICTURE_H
#define IMAGE_PICTURE_H

#include "image/PixelLayout.h"

#include <array>
#include <string>

namespace image {

using Colour = std::array<unsigned char, 3>;

/// What a screen shows of linear light, 1 being its white.
[[nodiscard]] unsigned char screenValue(float linear);

class Picture {
public:
    Picture(int width, int height);
    /// Reduced to 8 bits; gray becomes RGB, alpha is left out, and linear half floats get the
    /// transfer curve of a screen.
    explicit Picture(const Image& image);

    [[nodiscard]] int width() const { return image_.width; }
    [[nodiscard]] int height() const { return image_.height; }
    [[nodiscard]] const Image& image() const { return image_; }

    void fill(int left, int top, int width, int height, Colour colour);
    /// Digits of 3 x 5 squares with \p scale pixels each side, and 1 square between them.
    void drawNumber(int left, int top, int scale, const std::string& digits, Colour colour);
    void paste(const Picture& other, int left, int top);
    /// Made smaller by averaging.
    [[nodiscard]] Picture scaledTo(int width, int height) const;

private:
    [[nodiscard]] std::size_t offset(int x, int y) const;
    [[nodiscard]] Colour averageOf(int left, int top, int right, int bottom) const;

    Image image_; // rgb8
};

/// Eight colour bars and a running number, which also moves a mark, so that no two are alike.
[[nodiscard]] Picture colourBars(int width, int height, int number);

} // namespace image

#endif
