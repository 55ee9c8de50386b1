// What the bytes of a frame mean, in files and as PAM.
#include "image/ImageFile.h"
#include "tests/image/Scratch.h"

#include <fcntl.h>

namespace {

using PamTest = Scratch;

class EveryTag : public Scratch, public ::testing::WithParamInterface<std::string> {};

TEST_P(EveryTag, FrameToImageToFrameIsExact) {
    const image::PixelLayout layout = *image::layoutOfTag(GetParam());
    EXPECT_EQ(GetParam(), layout.tag());
    const image::Bytes frame = noiseFrame(layout, 13, 7);
    const std::string name = file(std::string("image") + layout.samples().extension);
    image::writeImage(image::imageOfFrame(frame, layout, 13, 7), name);
    EXPECT_TRUE(image::readImageHeader(name).layout == layout.held());
    EXPECT_TRUE(image::frameOfImage(image::readImage(name), layout) == frame);
}

INSTANTIATE_TEST_SUITE_P(Tags, EveryTag,
                         ::testing::Values("gray8", "graya8", "rgb8", "rgba8", "gray16", "graya16",
                                           "rgb16", "rgba16", "gray16f", "graya16f", "rgb16f",
                                           "rgba16f", "rgb10"),
                         [](const auto& tag) { return tag.param; });

TEST_F(PamTest, PamShowsRowsChannelsAndByteOrder) {
    const auto pam = [](const std::string& size, const std::string& rest) {
        return "P7\nWIDTH 1\nHEIGHT " + size + "\nENDHDR\n" + rest;
    };
    const std::string tenBits("\xFF\xC0\x18\x00", 4); // red 0x3FF, green 0x001, blue 0x200
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"rgb8", "RGBrgb", pam("2\nDEPTH 3\nMAXVAL 255\nTUPLTYPE RGB", "RGBrgb")},
        {"gray16", "lhLH", pam("2\nDEPTH 1\nMAXVAL 65535\nTUPLTYPE GRAYSCALE", "hlHL")},
        {"rgb10", tenBits,
         pam("1\nDEPTH 3\nMAXVAL 1023\nTUPLTYPE RGB", {"\x03\xFF\x00\x01\x02\x00", 6})}};
    for (const auto& [tag, frame, text] : cases) {
        const image::PixelLayout layout = *image::layoutOfTag(tag);
        const int height = tag == std::string("rgb10") ? 1 : 2;
        const image::Descriptor output(write(tag, ""), O_WRONLY);
        image::writePam(image::imageOfFrame({frame.begin(), frame.end()}, layout, 1, height),
                        layout, output.number(), "output");
        EXPECT_EQ(text, read(tag));
    }
}

} // namespace
