// What only TIFF files have: tiles, planes, pages, and a choice of compression.
#include "image/ImageFile.h"
#include "tests/image/Scratch.h"

#include <tiffio.h>

namespace {

constexpr int size = 20;

class TiffTest : public Scratch {
protected:
    const image::PixelLayout layout_ = *image::layoutOfTag("rgb16");
    const image::Image image_ =
        image::imageOfFrame(noiseFrame(layout_, size, size), layout_, size, size);

    // Tiles of 16 x 16 samples, each of one channel.
    void writeTiles(const std::string& name) const {
        TIFF* const tiff = TIFFOpen(name.c_str(), "wb"); // the high byte first
        for (const auto& [tag, value] : {std::pair{TIFFTAG_IMAGEWIDTH, size},
                                         {TIFFTAG_IMAGELENGTH, size},
                                         {TIFFTAG_SAMPLESPERPIXEL, 3},
                                         {TIFFTAG_BITSPERSAMPLE, 16},
                                         {TIFFTAG_TILEWIDTH, 16},
                                         {TIFFTAG_TILELENGTH, 16},
                                         {TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE},
                                         {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB},
                                         {TIFFTAG_COMPRESSION, COMPRESSION_LZW}})
            TIFFSetField(tiff, static_cast<std::uint32_t>(tag), value);
        for (std::uint32_t place = 0; place < 12; ++place) {
            const unsigned plane = place / 4, left = place % 2 * 16, top = place % 4 / 2 * 16;
            std::string tile(512, '\0');
            for (unsigned y = top; y < size && y < top + 16; ++y)
                for (unsigned x = left; x < size && x < left + 16; ++x)
                    std::memcpy(&tile[std::size_t{2} * ((y - top) * 16 + x - left)],
                                &image_.pixels[std::size_t{2} * ((y * size + x) * 3 + plane)], 2);
            TIFFWriteTile(tiff, tile.data(), left, top, 0, static_cast<std::uint16_t>(plane));
        }
        TIFFClose(tiff);
    }
};

TEST_F(TiffTest, TilesAndPlanesAreReadLikeLines) {
    writeTiles(file("tiles.tif"));
    EXPECT_TRUE(image::readImage(file("tiles.tif")).pixels == image_.pixels);
}

TEST_F(TiffTest, OnePageOfSeveralHasToBeChosen) {
    const std::string name = file("pages.tif");
    image::writeImage(image_, name);
    TIFF* const tiff = TIFFOpen(name.c_str(), "a");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 1);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    char pixel = 7;
    TIFFWriteEncodedStrip(tiff, 0, &pixel, 1);
    TIFFClose(tiff);
    EXPECT_EQ("can't take '" + name + "': it has 2 parts, of which one has to be chosen: 0 to 1",
              errorOf([&] { (void)image::readImageHeader(name); }).what());
    EXPECT_TRUE(image::readImage(name, {"0", false}).pixels == image_.pixels);
    EXPECT_EQ("gray8", image::readImage(name, {"1", false}).layout.tag());
}

TEST_F(TiffTest, CompressionIsChosenAndCutOffFilesAreRefused) {
    const image::Image flat = image::imageOfFrame(image::Bytes(7200), layout_, 40, 30);
    for (const char* compression : {"deflate", "lzw", "none"}) {
        image::writeImage(flat, file("flat.tif"), {compression});
        EXPECT_TRUE(image::readImage(file("flat.tif")).pixels == flat.pixels);
        const std::string bytes = read("flat.tif");
        EXPECT_EQ(compression == std::string("none"), bytes.size() > 7200);
        const std::string name = write("cut.tif", bytes.substr(0, bytes.size() / 2));
        EXPECT_EQ(image::ErrorKind::File,
                  errorOf([&] { (void)image::readImageHeader(name); }).kind());
    }
}

TEST_F(TiffTest, FilesThatCannotHoldTheirPixelsGetNoMemory) {
    const std::string name = file("huge.tif");
    TIFF* const tiff = TIFFOpen(name.c_str(), "w");
    for (const auto& [tag, value] : {std::pair{TIFFTAG_IMAGEWIDTH, 16384},
                                     {TIFFTAG_IMAGELENGTH, 16384},
                                     {TIFFTAG_ROWSPERSTRIP, 16384},
                                     {TIFFTAG_BITSPERSAMPLE, 8},
                                     {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK},
                                     {TIFFTAG_COMPRESSION, COMPRESSION_LZW}})
        TIFFSetField(tiff, static_cast<std::uint32_t>(tag), value);
    char few[] = "\x80\0\x40";
    TIFFWriteRawStrip(tiff, 0, few, sizeof few);
    TIFFClose(tiff);
    const long before = largestMemory();
    EXPECT_EQ("can't read '" + name + "': the file has been cut off",
              errorOf([&] { (void)image::readImage(name); }).what());
    EXPECT_LT(largestMemory(), before + (64 << 10));
}

} // namespace
