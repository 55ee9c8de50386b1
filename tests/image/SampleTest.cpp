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
    LantrixClipFormat format = image::clipFormat(layout, 13, 7);
    format.setPixelRatio(1.0666667F);
    format.setFrameRate(29.97F);
    format.setMetaDataTag("timecode");
    format.setMetaData("23:50:59;28");
    int kinds = 0;
    for (const std::string extension : {".png", ".exr", ".tif", ".dpx"}) {
        const std::string name = file("image" + extension);
        try {
            image::checkImageName(name, layout);
        } catch (const image::Error&) {
            continue;
        }
        ++kinds;
        image::writeImage(image::imageOfFrame(frame, format, 2), name);
        const image::Image header = image::readImageHeader(name);
        EXPECT_TRUE(header.layout == layout.held());
        EXPECT_EQ(1.0666667F, image::clipFormat(layout, header).pixelRatio()) << name;
        const bool hasRate = extension == ".exr" || extension == ".dpx";
        EXPECT_NEAR(hasRate ? 29.97F : 30, image::clipFormat(layout, header).frameRate(), 1e-3);
        EXPECT_STREQ(hasRate ? "23:51:00;02" : "", image::clipFormat(layout, header).metaData())
            << name;
        EXPECT_TRUE(image::frameOfImage(image::readImage(name), layout) == frame) << name;
    }
    EXPECT_EQ(layout.samples().maximum == 0 || layout.channels == 2 ? 2 : 3, kinds);
}

INSTANTIATE_TEST_SUITE_P(Tags, EveryTag,
                         ::testing::Values("gray8", "graya8", "rgb8", "rgba8", "gray16", "graya16",
                                           "rgb16", "rgba16", "gray16f", "graya16f", "rgb16f",
                                           "rgba16f", "gray32f", "graya32f", "rgb32f", "rgba32f",
                                           "rgb10"),
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
                        output.number(), "output");
        EXPECT_EQ(text, read(tag));
    }
}

} // namespace
