#include "image/ScreenView.h"

#include "image/Picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>

namespace image {

namespace {

constexpr int mostTaps = 4; // each way, of the pixels that one of a smaller picture stands for

// Where each pixel of a side of `to` pixels takes its samples from on one of `from`.
class Taps {
public:
    Taps(int from, int to) : each_(std::clamp((from + to - 1) / to, 1, mostTaps)) {
        const long long parts = static_cast<long long>(to) * each_;
        for (long long part = 0; part < parts; ++part)
            places_.push_back(static_cast<int>((2 * part + 1) * from / (2 * parts)));
    }

    [[nodiscard]] int each() const { return each_; }
    /// The places of pixel \p i, each() of them.
    [[nodiscard]] const int* of(int i) const {
        return &places_[static_cast<std::size_t>(i) * static_cast<std::size_t>(each_)];
    }

private:
    int each_;
    std::vector<int> places_;
};

struct Size {
    int width;
    int height;
};

Size sizeWithin(const FrameSamples& frame, int width) {
    width = std::clamp(width, 1, frame.width());
    const long long height =
        (static_cast<long long>(frame.height()) * width * 2 / frame.width() + 1) / 2;
    return {width,
            static_cast<int>(std::clamp(height, 1LL, static_cast<long long>(frame.height())))};
}

// How the bits of a sample in a row of each kind find their place in a table.
struct Bits8 {
    static unsigned char of(const char* pixel, int channel, const unsigned char* table) {
        return table[static_cast<unsigned char>(pixel[channel])];
    }
};

struct Bits16 {
    static unsigned char of(const char* pixel, int channel, const unsigned char* table) {
        const auto* at =
            reinterpret_cast<const unsigned char*>(pixel) + std::ptrdiff_t{2} * channel;
        return table[at[0] | static_cast<unsigned>(at[1]) << 8U];
    }
};

struct Bits32 {
    static unsigned char of(const char* pixel, int channel, const unsigned char* table) {
        const auto* at =
            reinterpret_cast<const unsigned char*>(pixel) + std::ptrdiff_t{4} * channel;
        return table[at[2] | static_cast<unsigned>(at[3]) << 8U];
    }
};

struct Bits10 {
    static unsigned char of(const char* pixel, int channel, const unsigned char* table) {
        const auto* at = reinterpret_cast<const unsigned char*>(pixel);
        const unsigned word = static_cast<unsigned>(at[0]) << 24U |
                              static_cast<unsigned>(at[1]) << 16U |
                              static_cast<unsigned>(at[2]) << 8U | at[3];
        return table[word >> (22U - 10U * static_cast<unsigned>(channel)) & 0x3FFU];
    }
};

// Adds the samples of one row, `Channels` of each pixel, to the sums of a smaller one.
template <class Bits, int Channels>
void addRow(const char* row, std::size_t pixelBytes, const Taps& columns, int first, int width,
            const unsigned char* table, unsigned* sums) {
    for (int x = 0; x < width; ++x) {
        const int* places = columns.of(x);
        for (int tap = 0; tap < columns.each(); ++tap) {
            const char* pixel = row + static_cast<std::size_t>(places[tap]) * pixelBytes;
            for (int channel = 0; channel < Channels; ++channel)
                sums[Channels * x + channel] += Bits::of(pixel, first + channel, table);
        }
    }
}

using AddRow = void (*)(const char* row, std::size_t pixelBytes, const Taps& columns, int first,
                        int width, const unsigned char* table, unsigned* sums);

template <int Channels>
AddRow addRowOf(SampleKind kind) {
    switch (kind) {
    case SampleKind::Integer8:
        return addRow<Bits8, Channels>;
    case SampleKind::Integer16:
    case SampleKind::Half:
        return addRow<Bits16, Channels>;
    case SampleKind::Float:
        return addRow<Bits32, Channels>;
    case SampleKind::Packed10:
        return addRow<Bits10, Channels>;
    }
    return nullptr;
}

// The samples of the frame that are looked at: `count` from `first` on.
struct Chosen {
    int first = 0;
    int count = 1;
};

Chosen chosenOf(ShownChannel channel, int channels) {
    const bool isGray = channels < 3;
    const bool isAlpha = channel == ShownChannel::Alpha;
    if (isAlpha)
        return {channels - 1, channels % 2 == 0 ? 1 : 0};
    if (isGray)
        return {0, 1};
    if (channel == ShownChannel::Colour || channel == ShownChannel::Luma)
        return {0, 3};
    return {static_cast<int>(channel) - static_cast<int>(ShownChannel::Red), 1};
}

void becomeLuma(Viewed& viewed) {
    std::vector<unsigned char> luma(viewed.pixels.size() / 3);
    for (std::size_t i = 0; i < luma.size(); ++i) {
        const unsigned char* pixel = &viewed.pixels[3 * i];
        luma[i] =
            static_cast<unsigned char>((54U * pixel[0] + 183U * pixel[1] + 19U * pixel[2]) >> 8U);
    }
    viewed.channels = 1;
    viewed.pixels = std::move(luma);
}

double absoluteDifference(double one, double other) {
    const double difference = std::fabs(one - other);
    return std::isnan(difference) ? 0 : difference;
}

} // namespace

ScreenTable::ScreenTable(SampleKind kind, double stops) {
    const unsigned maximum = sampleFormat(kind).maximum;
    const double gain = std::exp2(stops);
    values_.resize(maximum > 0 ? std::size_t{maximum} + 1 : std::size_t{1} << 16U);
    const FrameSamples numbers(nullptr, {kind, 1}, 0, 0);
    for (std::size_t i = 0; i < values_.size(); ++i) {
        const auto bits = static_cast<std::uint32_t>(i);
        if (maximum > 0)
            values_[i] = static_cast<unsigned char>((bits * 255U + maximum / 2) / maximum);
        else // the lower half of a float's bits is taken for its middle
            values_[i] = screenValue(static_cast<float>(
                numbers.value(kind == SampleKind::Float ? bits << 16U | 0x8000U : bits) * gain));
    }
}

Viewed viewOf(const FrameSamples& frame, const ScreenTable& table, ShownChannel channel,
              int width) {
    const Size size = sizeWithin(frame, width);
    const Chosen chosen = chosenOf(channel, frame.layout().channels);
    Viewed viewed{size.width, size.height, std::max(chosen.count, 1), {}};
    const auto rowSamples =
        static_cast<std::size_t>(size.width) * static_cast<std::size_t>(viewed.channels);
    viewed.pixels.resize(rowSamples * static_cast<std::size_t>(size.height), 255);
    if (chosen.count == 0)
        return viewed;
    const AddRow add =
        chosen.count == 3 ? addRowOf<3>(frame.layout().kind) : addRowOf<1>(frame.layout().kind);
    const Taps columns(frame.width(), size.width);
    const Taps rows(frame.height(), size.height);
    const auto taps = static_cast<unsigned>(columns.each() * rows.each());
    std::vector<unsigned> sums(rowSamples);
    for (int y = 0; y < size.height; ++y) {
        std::fill(sums.begin(), sums.end(), taps / 2);
        for (int tap = 0; tap < rows.each(); ++tap)
            add(frame.row(rows.of(y)[tap]), frame.pixelBytes(), columns, chosen.first, size.width,
                table.data(), sums.data());
        unsigned char* row = &viewed.pixels[rowSamples * static_cast<std::size_t>(y)];
        for (std::size_t i = 0; i < rowSamples; ++i)
            row[i] = static_cast<unsigned char>(sums[i] / taps);
    }
    if (channel == ShownChannel::Luma && viewed.channels == 3)
        becomeLuma(viewed);
    return viewed;
}

Difference differenceOf(const FrameSamples& one, const FrameSamples& other, int width,
                        double gain) {
    const Size size = sizeWithin(one, width);
    const int channels = one.layout().channels;
    const unsigned maximum = one.layout().samples().maximum;
    const double scale = 255.0 * gain / (maximum > 0 ? maximum : 1);
    const int shown = channels < 3 ? 1 : 3;
    Difference difference;
    difference.view = {size.width, size.height, shown, {}};
    difference.view.pixels.resize(static_cast<std::size_t>(size.width) *
                                  static_cast<std::size_t>(size.height) *
                                  static_cast<std::size_t>(shown));
    const std::size_t pixelBytes = one.pixelBytes();
    for (int y = 0; y < one.height(); ++y) {
        const char* a = one.row(y);
        const char* b = other.row(y);
        const auto viewedRow = static_cast<long long>(y) * size.height / one.height() * size.width;
        for (int x = 0; x < one.width(); ++x, a += pixelBytes, b += pixelBytes) {
            if (std::memcmp(a, b, pixelBytes) == 0)
                continue;
            ++difference.pixels;
            const long long place =
                viewedRow + static_cast<long long>(x) * size.width / one.width();
            unsigned char* pixel = &difference.view.pixels[static_cast<std::size_t>(place * shown)];
            for (int channel = 0; channel < channels; ++channel) {
                const double by = absoluteDifference(one.value(one.bits(a, channel)),
                                                     other.value(other.bits(b, channel)));
                difference.largest = std::max(difference.largest, by);
                if (channel >= shown)
                    continue;
                const auto level =
                    static_cast<unsigned char>(std::min(255.0, std::ceil(by * scale)));
                pixel[channel] = std::max(pixel[channel], level);
            }
        }
    }
    return difference;
}

} // namespace image
