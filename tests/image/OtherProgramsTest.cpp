// Files that other programs have made of the two PNG files beside them; data/README.md tells how.
#include "image/ImageFile.h"
#include "tests/image/Scratch.h"

#include <cmath>

namespace {

image::Image readData(const std::string& name) {
    return image::readImage(std::string(IMAGE_DATA) + "/" + name);
}

TEST(OtherPrograms, FilesHoldThePixelsTheyWereMadeOf) {
    for (const std::string name :
         {"ffmpeg-eight.dpx", "ffmpeg-sixteen.dpx", "ffmpeg-sixteen.tif", "gm-eight.tif",
          "gm-sixteen.tif", "gm-sixteen.dpx", "oiio-sixteen.tif"}) {
        const bool isDeep = name.find("sixteen") != std::string::npos;
        const image::Image image = readData(name);
        EXPECT_EQ(isDeep ? "rgb16" : "rgb8", image.layout.tag()) << name;
        EXPECT_EQ(0, image.frameRate) << "what follows a short header is not part of it";
        EXPECT_TRUE(image.pixels == readData(isDeep ? "sixteen.png" : "eight.png").pixels) << name;
    }
}

TEST(OtherPrograms, TenBitsAreThoseOfSixteen) {
    const image::Bytes sixteen = readData("sixteen.png").pixels;
    for (const char* name : {"ffmpeg-ten-big.dpx", "ffmpeg-ten-little.dpx"}) {
        const image::Image image = readData(name);
        EXPECT_EQ("rgb10", image.source->tag());
        ASSERT_EQ(sixteen.size(), image.pixels.size());
        for (std::size_t i = 1; i < sixteen.size(); i += 2)
            ASSERT_NEAR(static_cast<unsigned char>(sixteen[i]),
                        static_cast<unsigned char>(image.pixels[i]), 1);
    }
}

TEST(OtherPrograms, FloatsAreThoseOfEightBits) {
    const image::Bytes eight = readData("eight.png").pixels;
    const image::Image image = readData("oiio-float.exr");
    EXPECT_EQ("rgb32f", image.layout.tag());
    ASSERT_EQ(eight.size() * sizeof(float), image.pixels.size());
    for (std::size_t i = 0; i < eight.size(); ++i) {
        float value = 0;
        std::memcpy(&value, &image.pixels[i * sizeof value], sizeof value);
        ASSERT_EQ(static_cast<unsigned char>(eight[i]), std::lround(value * 255));
    }
}

} // namespace
