// DPX, byte by byte.
#include "image/ImageFile.h"
#include "tests/image/Scratch.h"

namespace {

using DpxTest = Scratch;
using Bytes = std::vector<unsigned char>;

void put(std::string& bytes, std::size_t at, const Bytes& values) {
    for (const unsigned char value : values)
        bytes[at++] = static_cast<char>(value);
}

// 1 x 2 pixels of 10 bits, the low byte first; all that is not needed is undefined.
std::string littleEndianFile() {
    std::string bytes(2056, '\xFF');
    put(bytes, 0, {'X', 'P', 'D', 'S', 0, 8, 0, 0});
    put(bytes, 768, {0, 0, 1, 0, 1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0});
    put(bytes, 800, {50, 0, 0, 10, 1, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0});
    put(bytes, 2048, {0x00, 0x18, 0xC0, 0xFF, 0x04, 0x00, 0x00, 0x00});
    return bytes;
}

TEST_F(DpxTest, BothByteOrdersHoldTheWordsOfTheFrame) {
    const image::PixelLayout ten = *image::layoutOfTag("rgb10");
    const image::Image image = image::readImage(write("little.dpx", littleEndianFile()));
    EXPECT_TRUE(image.source == ten);
    EXPECT_EQ(0, image.pixelRatio);
    EXPECT_EQ(0, image.frameRate);
    const image::Bytes frame = image::frameOfImage(image, ten);
    const std::string words("\xFF\xC0\x18\x00\x00\x00\x00\x04", 8);
    EXPECT_EQ(words, std::string(frame.begin(), frame.end()));
    image::writeImage(image, file("big.dpx"));
    const std::string big = read("big.dpx");
    EXPECT_EQ(std::string("SDPX\0\0\x08\0V2.0", 12), big.substr(0, 12));
    EXPECT_EQ(words, big.substr(2048));
}

TEST_F(DpxTest, EachFieldThatCannotBeTakenIsNamed) {
    const std::tuple<std::size_t, unsigned char, const char*> cases[] = {
        {0, 'Y', "not a DPX file"}, {768, 1, "top to bottom"},
        {770, 2, "2 elements"},     {773, 1, "cut off"},
        {775, 0x7F, "larger than"}, {777, 1, "cut off"},
        {780, 1, "signed"},         {800, 100, "of the kind 100"},
        {803, 12, "12 bits"},       {804, 2, "method A"},
        {806, 1, "compressed"},     {810, 1, "do not lie in the file"}};
    for (const auto& [at, value, reason] : cases) {
        std::string bytes = littleEndianFile();
        put(bytes, at, {value});
        const std::string name = write("bad.dpx", bytes);
        const std::string what = errorOf([&] { (void)image::readImageHeader(name); }).what();
        EXPECT_NE(std::string::npos, what.find(reason)) << what;
    }
    const std::string name = write("short.dpx", littleEndianFile().substr(0, 2055));
    EXPECT_EQ(image::ErrorKind::File, errorOf([&] { (void)image::readImage(name); }).kind());
}

} // namespace
