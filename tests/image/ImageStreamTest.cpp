// Images one behind the other in a pipe.
#include "image/ImageStream.h"
#include "image/ImageFile.h"
#include "tests/image/Scratch.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

/// The reading end of a pipe that holds these bytes, and no more comes.
class Pipe {
public:
    explicit Pipe(const std::string& bytes) {
        EXPECT_EQ(0, ::pipe(ends_));
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
                  ::write(ends_[1], bytes.data(), bytes.size()));
        ::close(ends_[1]);
    }
    ~Pipe() { ::close(ends_[0]); }
    image::ImageStream stream() const { return {ends_[0], "pipe"}; }

private:
    int ends_[2] = {-1, -1};
};

class ImageStreamTest : public Scratch {
protected:
    std::string written(const image::Image& image,
                        void (*writer)(const image::Image&, int, const std::string&)) {
        {
            const image::Descriptor output(write("one", ""), O_WRONLY);
            writer(image, output.number(), "output");
        }
        return read("one");
    }
};

image::Image noiseImage(const char* tag) {
    const image::PixelLayout layout = *image::layoutOfTag(tag);
    return image::imageOfFrame(noiseFrame(layout, 5, 3), layout, 5, 3);
}

TEST_F(ImageStreamTest, EachImageEndsWhereTheNextOneBegins) {
    const image::Image ten = noiseImage("rgb10");
    const image::Image deep = noiseImage("graya16");
    const Pipe pipe(written(ten, image::writePam) + written(deep, image::writePng) +
                    "P5\n# made by hand\n2 1\n255\n\x07\x08" +
                    std::string("P6 1 1 65535\n\x01\x02\x03\x04\x05\x06", 19) +
                    written(deep, image::writePam));
    image::ImageStream stream = pipe.stream();
    image::Image image;
    ASSERT_TRUE(stream.next(image));
    EXPECT_EQ("rgb10", image.source->tag());
    EXPECT_TRUE(image.pixels == ten.pixels);
    ASSERT_TRUE(stream.next(image));
    EXPECT_TRUE(image.pixels == deep.pixels);
    ASSERT_TRUE(stream.next(image));
    EXPECT_EQ("gray8", image.layout.tag());
    EXPECT_EQ("\x07\x08", std::string(image.pixels.begin(), image.pixels.end()));
    ASSERT_TRUE(stream.next(image));
    EXPECT_EQ("\x02\x01\x04\x03\x06\x05", std::string(image.pixels.begin(), image.pixels.end()));
    ASSERT_TRUE(stream.next(image));
    EXPECT_TRUE(image.pixels == deep.pixels);
    EXPECT_FALSE(stream.next(image));
}

TEST_F(ImageStreamTest, WhatIsCutOffIsNamedByItsNumber) {
    for (const auto writer : {image::writePam, image::writePng}) {
        const std::string one = written(noiseImage("rgb8"), writer);
        for (const std::size_t size : {std::size_t{1}, std::size_t{12}, one.size() - 1}) {
            const Pipe pipe(one + one.substr(0, size));
            image::ImageStream stream = pipe.stream();
            image::Image image;
            ASSERT_TRUE(stream.next(image));
            EXPECT_STREQ("image 2: can't read 'pipe': the data has been cut off",
                         errorOf([&] { (void)stream.next(image); }).what());
        }
    }
    const Pipe pipe("fourfour3");
    image::ImageStream stream = pipe.stream();
    image::Bytes frame(4);
    ASSERT_TRUE(stream.next(frame) && stream.next(frame));
    EXPECT_EQ(image::ErrorKind::File, errorOf([&] { (void)stream.next(frame); }).kind());
}

TEST_F(ImageStreamTest, OtherHeadersAreRefusedForWhatIsWrongWithThem) {
    const std::pair<const char*, const char*> cases[] = {
        {"GIF89a", "it is not PAM, PPM, PGM or PNG"},
        {"P4 8 1 ", "'P4' does not begin"},
        {"P5 2 x ", "'x' is not a number"},
        {"P5 2 1 4095\n", "samples up to 4095 can't be kept exactly"},
        {"P5 2 1 1023\n", "for RGB 1023"},
        {"P5 999999999 999999999 255\n", "larger than 2 GiB"},
        {"P5 40000 40000 255\n", "cut off"},
        {"P5 0 1 255\n", "empty"},
        {"P6 1 1 1023\n\xFF\xFF\xFF\xFF\xFF\xFF", "a sample is larger"},
        {"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 5\nMAXVAL 255\nENDHDR\n", "5 channels"},
        {"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nTUPLTYPE CMYK\nENDHDR\n", "CMYK"},
        {"P7\nCOLOUR 1\n", "'COLOUR' can't stand"}};
    for (const auto& [bytes, reason] : cases) {
        const Pipe pipe(bytes);
        image::ImageStream stream = pipe.stream();
        image::Image image;
        const std::string what = errorOf([&] { (void)stream.next(image); }).what();
        EXPECT_NE(std::string::npos, what.find(reason)) << what;
    }
}

TEST_F(ImageStreamTest, AChunkOfPngGetsNoMemoryForALengthThatIsALie) {
    std::string bytes = written(noiseImage("rgb8"), image::writePng);
    bytes.insert(33, std::string("\x4F\0\0\x37zTXt", 8)); // behind the header
    const std::string name = write("lie.png", bytes);
    const long before = largestMemory();
    EXPECT_EQ("can't read '" + name + "': the data has been cut off",
              errorOf([&] { (void)image::readImage(name); }).what());
    EXPECT_LT(largestMemory(), before + (64 << 10));
}

} // namespace
