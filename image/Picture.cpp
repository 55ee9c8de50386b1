#include "image/Picture.h"

#include <Imath/half.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace image {

unsigned char screenValue(float linear) {
    const float bounded = std::isnan(linear) ? 0.0F : std::clamp(linear, 0.0F, 1.0F);
    const float curved =
        bounded <= 0.0031308F ? 12.92F * bounded : 1.055F * std::pow(bounded, 1.0F / 2.4F) - 0.055F;
    return static_cast<unsigned char>(std::lround(curved * 255.0F));
}

namespace {

constexpr PixelLayout rgb8{SampleKind::Integer8, 3};

unsigned char sampleOf(const Image& image, std::size_t index) {
    if (image.layout.kind == SampleKind::Float) {
        float value = 0;
        std::memcpy(&value, &image.pixels[sizeof value * index], sizeof value);
        return screenValue(value);
    }
    if (image.layout.kind == SampleKind::Integer8)
        return static_cast<unsigned char>(image.pixels[index]);
    const auto low = static_cast<unsigned char>(image.pixels[2 * index]);
    const auto high = static_cast<unsigned char>(image.pixels[2 * index + 1]);
    if (image.layout.kind == SampleKind::Integer16)
        return high;
    half value;
    value.setBits(static_cast<std::uint16_t>(low | high << 8));
    return screenValue(value);
}

// 3 x 5 squares, the rows from top to bottom as 3 bits each.
constexpr std::array<std::array<unsigned char, 5>, 10> digitRows{{{7, 5, 5, 5, 7},
                                                                  {2, 6, 2, 2, 7},
                                                                  {7, 1, 7, 4, 7},
                                                                  {7, 1, 7, 1, 7},
                                                                  {5, 5, 7, 1, 1},
                                                                  {7, 4, 7, 1, 7},
                                                                  {7, 4, 7, 5, 7},
                                                                  {7, 1, 2, 2, 2},
                                                                  {7, 5, 7, 5, 7},
                                                                  {7, 5, 7, 1, 7}}};

} // namespace

Picture::Picture(int width, int height)
    : image_(imageOfFrame(Bytes(static_cast<std::size_t>(frameBytes(rgb8, width, height))), rgb8,
                          width, height)) {}

Picture::Picture(const Image& image) : Picture(image.width, image.height) {
    const auto channels = static_cast<std::size_t>(image.layout.channels);
    const bool isGray = channels < 3;
    for (std::size_t i = 0; i < image_.pixels.size(); ++i) {
        const std::size_t pixel = i / 3;
        image_.pixels[i] =
            static_cast<char>(sampleOf(image, pixel * channels + (isGray ? 0 : i % 3)));
    }
}

std::size_t Picture::offset(int x, int y) const {
    return 3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width()) +
                static_cast<std::size_t>(x));
}

void Picture::fill(int left, int top, int width, int height, Colour colour) {
    const int right = std::min(left + width, this->width());
    const int bottom = std::min(top + height, this->height());
    for (int y = std::max(top, 0); y < bottom; ++y)
        for (int x = std::max(left, 0); x < right; ++x)
            std::memcpy(&image_.pixels[offset(x, y)], colour.data(), colour.size());
}

void Picture::drawNumber(int left, int top, int scale, const std::string& digits, Colour colour) {
    for (const char digit : digits) {
        const auto& rows = digitRows.at(static_cast<std::size_t>(digit - '0'));
        for (int square = 0; square < 15; ++square)
            if ((rows.at(static_cast<std::size_t>(square / 3)) >> (2 - square % 3) & 1) != 0)
                fill(left + square % 3 * scale, top + square / 3 * scale, scale, scale, colour);
        left += 4 * scale;
    }
}

void Picture::paste(const Picture& other, int left, int top) {
    const auto rowBytes =
        3 * static_cast<std::size_t>(std::max(0, std::min(other.width(), width() - left)));
    for (int y = 0; y < std::min(other.height(), height() - top); ++y) {
        std::memcpy(&image_.pixels[offset(left, top + y)], &other.image_.pixels[other.offset(0, y)],
                    rowBytes);
    }
}

Colour Picture::averageOf(int left, int top, int right, int bottom) const {
    std::array<unsigned long long, 3> sums{};
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            const char* pixel = &image_.pixels[offset(x, y)];
            for (std::size_t channel = 0; channel < 3; ++channel)
                sums[channel] += static_cast<unsigned char>(pixel[channel]);
        }
    }
    const auto count = static_cast<unsigned long long>(right - left) *
                       static_cast<unsigned long long>(bottom - top);
    return {static_cast<unsigned char>(sums[0] / count),
            static_cast<unsigned char>(sums[1] / count),
            static_cast<unsigned char>(sums[2] / count)};
}

Picture Picture::scaledTo(int width, int height) const {
    const auto edge = [](int i, int from, int to) {
        return static_cast<int>(static_cast<long long>(i) * from / to);
    };
    Picture scaled(width, height);
    for (int y = 0; y < height; ++y) {
        const int top = edge(y, this->height(), height);
        const int bottom = std::max(top + 1, edge(y + 1, this->height(), height));
        for (int x = 0; x < width; ++x) {
            const int left = edge(x, this->width(), width);
            const int right = std::max(left + 1, edge(x + 1, this->width(), width));
            const Colour colour = averageOf(left, top, right, bottom);
            std::memcpy(&scaled.image_.pixels[scaled.offset(x, y)], colour.data(), colour.size());
        }
    }
    return scaled;
}

Picture colourBars(int width, int height, int number) {
    constexpr std::array<Colour, 8> colours{{{235, 235, 235},
                                             {235, 235, 16},
                                             {16, 235, 235},
                                             {16, 235, 16},
                                             {235, 16, 235},
                                             {235, 16, 16},
                                             {16, 16, 235},
                                             {16, 16, 16}}};
    Picture picture(width, height);
    for (int bar = 0; bar < 8; ++bar) {
        const int left = width * bar / 8;
        picture.fill(left, 0, width * (bar + 1) / 8 - left, height,
                     colours.at(static_cast<std::size_t>(bar)));
    }
    std::string digits = std::to_string(number);
    digits.insert(0, digits.size() < 4 ? 4 - digits.size() : 0, '0');
    const int scale = std::max(1, height / 24);
    picture.fill(width / 8, height / 3, 17 * scale, 7 * scale, {0, 0, 0});
    picture.drawNumber(width / 8 + scale, height / 3 + scale, scale, digits, {255, 255, 255});
    picture.fill(number * scale % std::max(1, width), height - 2 * scale, scale, scale,
                 {255, 128, 0});
    return picture;
}

} // namespace image
