#include "image/FrameSamples.h"

#include <Imath/half.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

namespace image {

namespace {

std::uint32_t byteAt(const char* at) {
    return static_cast<unsigned char>(*at);
}

std::uint32_t littleEndian(const char* at, std::size_t bytes) {
    std::uint32_t bits = 0;
    for (std::size_t i = bytes; i-- > 0;)
        bits = bits << 8U | byteAt(at + i);
    return bits;
}

std::uint32_t bigEndian(const char* at) {
    return byteAt(at) << 24U | byteAt(at + 1) << 16U | byteAt(at + 2) << 8U | byteAt(at + 3);
}

} // namespace

std::size_t FrameSamples::pixelBytes() const {
    const bool isPacked = layout_.kind == SampleKind::Packed10;
    return isPacked ? 4 : static_cast<std::size_t>(layout_.bitsPerPixel()) / 8;
}

const char* FrameSamples::row(int y) const {
    return frame_ + static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) * pixelBytes();
}

std::uint32_t FrameSamples::bits(const char* pixel, int channel) const {
    const auto place = static_cast<std::size_t>(channel);
    switch (layout_.kind) {
    case SampleKind::Integer8:
        return byteAt(pixel + place);
    case SampleKind::Integer16:
    case SampleKind::Half:
        return littleEndian(pixel + 2 * place, 2);
    case SampleKind::Float:
        return littleEndian(pixel + 4 * place, 4);
    case SampleKind::Packed10:
        return bigEndian(pixel) >> (22U - 10U * static_cast<unsigned>(channel)) & 0x3FFU;
    }
    return 0;
}

double FrameSamples::value(std::uint32_t bits) const {
    if (layout_.kind == SampleKind::Half) {
        Imath::half number;
        number.setBits(static_cast<std::uint16_t>(bits));
        return static_cast<double>(static_cast<float>(number));
    }
    if (layout_.kind == SampleKind::Float) {
        float number = 0;
        std::memcpy(&number, &bits, sizeof number);
        return static_cast<double>(number);
    }
    return bits;
}

double FrameSamples::at(int x, int y, int channel) const {
    return value(bits(row(y) + static_cast<std::size_t>(x) * pixelBytes(), channel));
}

namespace {

std::string halfText(float number) {
    constexpr int mostDigits = 5;
    std::array<char, 64> text{};
    char* const end = text.data() + text.size();
    for (int digits = 1;; ++digits) {
        char* const stop =
            std::to_chars(text.data(), end, number, std::chars_format::general, digits).ptr;
        float again = 0;
        std::from_chars(text.data(), stop, again);
        if (digits == mostDigits || Imath::half(again) == Imath::half(number))
            return {text.data(), stop};
    }
}

} // namespace

std::string numberText(double number, SampleKind kind) {
    if (std::isnan(number))
        return "nan";
    if (std::isinf(number))
        return number < 0 ? "-inf" : "inf";
    const auto single = static_cast<float>(number);
    if (kind == SampleKind::Half)
        return halfText(single);
    std::array<char, 64> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), single).ptr};
}

} // namespace image
