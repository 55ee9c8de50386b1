// Frames made into pictures for looking.
#include "image/ScreenView.h"
#include "image/ImageFile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

using namespace image;

namespace {

using Pixels = std::vector<unsigned char>;

FrameSamples samplesOf(const Bytes& frame, const PixelLayout& layout, int width) {
    return {frame.data(), layout, width,
            static_cast<int>(frame.size()) / frameBytes(layout, width, 1)};
}

Pixels shown(const Bytes& frame, const PixelLayout& layout, int width, ShownChannel channel,
             int shownWidth, double stops = 0) {
    return viewOf(samplesOf(frame, layout, width), ScreenTable(layout.kind, stops), channel,
                  shownWidth)
        .pixels;
}

Bytes bytes(std::initializer_list<int> values) {
    Bytes made;
    for (const int value : values)
        made.push_back(static_cast<char>(value));
    return made;
}

} // namespace

TEST(ScreenViewTest, EachKindOfSampleBecomesEightBits) {
    const auto colour = ShownChannel::Colour;
    EXPECT_EQ(shown(bytes({1, 2, 3}), {SampleKind::Integer8, 3}, 1, colour, 1), Pixels({1, 2, 3}));
    EXPECT_EQ(shown(bytes({0xFF, 0xFF, 0, 0x80}), {SampleKind::Integer16, 2}, 1, colour, 1),
              Pixels({255}));
    // Red 1023, green 0, blue 512 in one big-endian word.
    EXPECT_EQ(shown(bytes({0xFF, 0xC0, 0x08, 0x00}), {SampleKind::Packed10, 3}, 1, colour, 1),
              Pixels({255, 0, 128}));
    // 0.25, 0.5 (which is 1 a stop brighter) and infinity as halves.
    const Bytes halves = bytes({0x00, 0x34, 0x00, 0x38, 0x00, 0x7C});
    EXPECT_EQ(shown(halves, {SampleKind::Half, 3}, 1, colour, 1), Pixels({137, 188, 255}));
    EXPECT_EQ(shown(halves, {SampleKind::Half, 3}, 1, colour, 1, 1), Pixels({188, 255, 255}));
    Bytes floats(3 * sizeof(float));
    const float values[] = {0.25F, std::numeric_limits<float>::quiet_NaN(), -1.0F};
    std::memcpy(floats.data(), values, sizeof values);
    EXPECT_EQ(shown(floats, {SampleKind::Float, 3}, 1, colour, 1), Pixels({137, 0, 0}));
}

TEST(ScreenViewTest, OneChannelIsShownInGray) {
    const Bytes frame = bytes({100, 150, 200, 30});
    const PixelLayout layout{SampleKind::Integer8, 4};
    const auto one = [&](ShownChannel channel) { return shown(frame, layout, 1, channel, 1); };
    EXPECT_EQ(one(ShownChannel::Blue), Pixels({200}));
    EXPECT_EQ(one(ShownChannel::Alpha), Pixels({30}));
    EXPECT_EQ(one(ShownChannel::Luma), Pixels({143}));
    EXPECT_EQ(shown(bytes({9}), {SampleKind::Integer8, 1}, 1, ShownChannel::Alpha, 1),
              Pixels({255}));
    EXPECT_EQ(shown(bytes({9}), {SampleKind::Integer8, 1}, 1, ShownChannel::Green, 1), Pixels({9}));
}

TEST(ScreenViewTest, ASmallerPictureIsAnAverage) {
    const Bytes frame = bytes({0, 10, 20, 30, 40, 50, 60, 70});
    EXPECT_EQ(shown(frame, {SampleKind::Integer8, 1}, 4, ShownChannel::Colour, 2),
              Pixels({25, 45}));
    EXPECT_EQ(shown(frame, {SampleKind::Integer8, 1}, 4, ShownChannel::Colour, 99).size(), 8U);
}

TEST(ScreenViewTest, ADifferenceShowsItsLargestInEachPixel) {
    const PixelLayout layout{SampleKind::Integer16, 1};
    const Bytes one = bytes({0, 0, 5, 0, 0, 0, 0, 1});
    const Bytes other = bytes({0, 0, 0, 0, 0, 0, 0, 0});
    const Difference difference =
        differenceOf(samplesOf(one, layout, 4), samplesOf(other, layout, 4), 2, 1000);
    EXPECT_EQ(difference.largest, 256);
    EXPECT_EQ(difference.pixels, 2);
    EXPECT_EQ(difference.view.pixels, Pixels({20, 255}));
}

TEST(ScreenViewTest, AViewBecomesAJpegFile) {
    const std::string jpeg = bytesOfJpeg({2, 1, 1, {0, 255}}, 85);
    EXPECT_EQ(jpeg.substr(0, 3), "\xFF\xD8\xFF");
    EXPECT_EQ(jpeg.substr(jpeg.size() - 2), "\xFF\xD9");
    EXPECT_THROW(static_cast<void>(bytesOfJpeg({0, 0, 3, {}}, 85)), std::exception);
}
