// Files of frames in memory: as large as was said before, and read back by the readers of files.
#include "image/FrameFile.h"
#include "image/ImageFile.h"
#include "tests/image/Scratch.h"

namespace {

using FrameFileTest = Scratch;

// Every layout, with a width that leaves rows of 8 bits at no whole word.
std::vector<image::PixelLayout> layouts() {
    std::vector<image::PixelLayout> all;
    for (const image::SampleFormat& samples : image::sampleFormats())
        for (int channels = 1; channels <= 4; ++channels)
            if (samples.packedChannels == 0 || samples.packedChannels == channels)
                all.push_back({samples.kind, channels});
    return all;
}

TEST_F(FrameFileTest, EachKindIsAsLargeAsItSaysAndHoldsTheFrameExactly) {
    for (const image::PixelLayout& layout : layouts()) {
        LantrixClipFormat format = image::clipFormat(layout, 7, 3);
        format.setPixelRatio(2);
        format.setFrameRate(25);
        for (const char* wanted : {"", ".tif", ".dpx", ".exr"}) {
            const image::FrameFile kind(format, wanted);
            SCOPED_TRACE(layout.tag() + " as " + kind.extension());
            const image::Bytes frame = noiseFrame(layout, 7, 3);
            const image::Bytes bytes = kind.encode(frame);
            EXPECT_EQ(kind.size(), bytes.size());
            const std::string text(bytes.begin(), bytes.end());
            const image::Image read = image::readImage(write("frame" + kind.extension(), text));
            EXPECT_EQ(frame, image::frameOfImage(read, layout));
            EXPECT_EQ(2, read.pixelRatio);
            if (kind.isPlain()) {
                const std::string head(kind.head().begin(), kind.head().end());
                EXPECT_EQ(head + std::string(frame.begin(), frame.end()), text);
            }
        }
    }
}

TEST_F(FrameFileTest, TheKindIsTheBestUnlessAnotherHoldsTheFrameToo) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"rgb8", "", ".tif"},       {"rgb10", "", ".dpx"},     {"gray16f", "", ".exr"},
        {"rgb8", ".dpx", ".dpx"},   {"rgb10", ".tif", ".tif"}, {"graya8", ".dpx", ".tif"},
        {"rgb32f", ".dpx", ".exr"}, {"rgb8", ".raw", ".raw"},  {"rgba16", ".exr", ".tif"}};
    for (const auto& [tag, wanted, got] : cases)
        EXPECT_EQ(
            got,
            image::FrameFile(image::clipFormat(*image::layoutOfTag(tag), 4, 4), wanted).extension())
            << tag << wanted;
    LantrixClipFormat unknown(4, 4, 12, 1, 24, 25, 1, LantrixClipFormat::Progressive, "own", "",
                              "");
    EXPECT_EQ(".raw", image::FrameFile(unknown, ".tif").extension());
    EXPECT_EQ(24U, image::FrameFile(unknown).size());
    unknown.setFrameBufferSize(-1);
    EXPECT_EQ(0U, image::FrameFile(unknown).size());
}

} // namespace
