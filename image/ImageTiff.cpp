// TIFF files by libtiff: strips and tiles, channels side by side or in planes. Written in strips.
#include "image/Error.h"
#include "image/ImageFormats.h"
#include "image/Ratio.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <tiffio.h>

namespace image {

// libtiff gives and takes samples in the byte order of the machine.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "samples have to be swapped here");

namespace {

int ignoreWarning(TIFF* /*tiff*/, void* /*user*/, const char* /*module*/, const char* /*format*/,
                  std::va_list /*arguments*/) {
    return 1;
}

// The first error is the cause of the others.
__attribute__((format(printf, 4, 0))) int keepError(TIFF* /*tiff*/, void* user,
                                                    const char* /*module*/, const char* format,
                                                    std::va_list arguments) {
    auto& error = *static_cast<std::string*>(user);
    char text[256];
    std::vsnprintf(text, sizeof text, format, arguments);
    error = error.empty() ? text : error;
    return 1;
}

std::size_t sampleSize(const PixelLayout& layout) {
    return static_cast<std::size_t>(layout.samples().bits) / 8;
}

std::size_t pixelSize(const PixelLayout& layout) {
    return sampleSize(layout) * static_cast<std::size_t>(layout.channels);
}

class TiffFile {
public:
    /// \p mode is that of TIFFOpen().
    TiffFile(const std::string& name, const char* mode) : name_(name) {
        TIFFOpenOptions* const options = TIFFOpenOptionsAlloc();
        TIFFOpenOptionsSetErrorHandlerExtR(options, keepError, &error_);
        TIFFOpenOptionsSetWarningHandlerExtR(options, ignoreWarning, nullptr);
        TIFFOpenOptionsSetMaxSingleMemAlloc(options, INT_MAX);
        tiff_ = TIFFOpenExt(name.c_str(), mode, options);
        TIFFOpenOptionsFree(options);
        if (tiff_ == nullptr)
            fail(*mode == 'r' ? "can't read" : "can't write");
    }
    ~TiffFile() { TIFFClose(tiff_); }
    TiffFile(const TiffFile&) = delete;
    TiffFile& operator=(const TiffFile&) = delete;

    [[nodiscard]] TIFF* get() const { return tiff_; }
    [[noreturn]] void fail(const char* what) const {
        failFile(what, name_, error_.empty() ? "it is damaged" : error_);
    }
    [[noreturn]] void refuse(const std::string& why) const { failFile("can't take", name_, why); }
    void require(bool isDone, const char* what) const {
        if (!isDone)
            fail(what);
    }

private:
    std::string name_;
    std::string error_;
    TIFF* tiff_ = nullptr;
};

class TiffReader {
public:
    TiffReader(const std::string& name, const std::string& page) : name_(name), file_(name, "r") {
        choosePage(page);
    }

    [[nodiscard]] Image header() const {
        Image image;
        image.layout = layout();
        image.width =
            static_cast<int>(std::min<std::uint32_t>(number(TIFFTAG_IMAGEWIDTH), INT_MAX));
        image.height =
            static_cast<int>(std::min<std::uint32_t>(number(TIFFTAG_IMAGELENGTH), INT_MAX));
        (void)frameBytes(image.layout, image.width, image.height);
        float across = 0; // pixels for each unit of length
        float down = 0;
        TIFFGetField(file_.get(), TIFFTAG_XRESOLUTION, &across);
        TIFFGetField(file_.get(), TIFFTAG_YRESOLUTION, &down);
        image.pixelRatio = across > 0 && down > 0 ? down / across : 0;
        return image;
    }

    // Strips and tiles are known by their places; all must lie in the file, which must be able to
    // hold the pixels before there is memory for them.
    void requireEnd(const Image& image) const {
        const std::uintmax_t size = std::filesystem::file_size(name_);
        if (frameSize(image) / mostFromOneByte() > size)
            failFile("can't read", name_, "the file has been cut off");
        const std::uint32_t count = TIFFIsTiled(file_.get()) != 0 ? TIFFNumberOfTiles(file_.get())
                                                                  : TIFFNumberOfStrips(file_.get());
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint64_t offset = TIFFGetStrileOffset(file_.get(), i);
            const std::uint64_t bytes = TIFFGetStrileByteCount(file_.get(), i);
            if (offset > size || bytes > size - offset || bytes == 0)
                failFile("can't read", name_, "the file has been cut off");
        }
    }

    void readPixels(Image& image) const {
        image.pixels.resize(frameSize(image));
        TIFFIsTiled(file_.get()) != 0 ? readTiles(image) : readLines(image);
    }

private:
    std::uint32_t number(std::uint32_t tag) const {
        std::uint32_t value = 0;
        TIFFGetFieldDefaulted(file_.get(), tag, &value);
        return value;
    }
    std::uint16_t word(std::uint32_t tag) const {
        std::uint16_t value = 0;
        TIFFGetFieldDefaulted(file_.get(), tag, &value);
        return value;
    }
    // At most so many bytes of pixels come from one byte of the file.
    std::size_t mostFromOneByte() const {
        switch (word(TIFFTAG_COMPRESSION)) {
        case COMPRESSION_NONE:
            return 1;
        case COMPRESSION_PACKBITS:
        case COMPRESSION_LZW:
        case COMPRESSION_DEFLATE:
        case COMPRESSION_ADOBE_DEFLATE:
            return std::size_t{1} << 12U;
        default:
            return std::size_t{1} << 16U;
        }
    }
    static std::size_t frameSize(const Image& image) {
        return static_cast<std::size_t>(frameBytes(image.layout, image.width, image.height));
    }
    bool isInPlanes() const { return word(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE; }

    void choosePage(const std::string& wanted) const {
        const int count = static_cast<int>(TIFFNumberOfDirectories(file_.get()));
        for (int i = 0; i < count && !wanted.empty(); ++i) {
            if (wanted == std::to_string(i)) {
                file_.require(TIFFSetDirectory(file_.get(), static_cast<tdir_t>(i)) != 0,
                              "can't read");
                return;
            }
        }
        if (!wanted.empty())
            file_.refuse("it has no part '" + wanted + "', only 0 to " + std::to_string(count - 1));
        if (count > 1) {
            file_.refuse("it has " + std::to_string(count) +
                         " parts, of which one has to be chosen: 0 to " +
                         std::to_string(count - 1));
        }
    }

    PixelLayout layout() const {
        const int channels = word(TIFFTAG_SAMPLESPERPIXEL);
        const int photometric = word(TIFFTAG_PHOTOMETRIC);
        if (channels < 1 || channels > 4 ||
            photometric != (channels < 3 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB))
            file_.refuse("it is not gray or RGB, with or without one channel more");
        if (word(TIFFTAG_ORIENTATION) != ORIENTATION_TOPLEFT)
            file_.refuse("its rows do not go from top to bottom and left to right");
        const int bits = word(TIFFTAG_BITSPERSAMPLE);
        const bool isFloating = word(TIFFTAG_SAMPLEFORMAT) == SAMPLEFORMAT_IEEEFP;
        for (const SampleFormat& samples : sampleFormats())
            if (samples.packedChannels == 0 && samples.bits == bits &&
                (samples.maximum == 0) == isFloating &&
                (isFloating || word(TIFFTAG_SAMPLEFORMAT) == SAMPLEFORMAT_UINT))
                return {samples.kind, channels};
        file_.refuse("its samples are not integers of 8 or 16 bits, half floats or floats");
    }

    // Some pixels of a row: all channels, or those of one plane.
    void place(Image& image, std::size_t x, std::size_t y, std::size_t count, const char* from,
               std::size_t plane) const {
        const std::size_t pixel = pixelSize(image.layout);
        const std::size_t sample = sampleSize(image.layout);
        char* to = &image.pixels[(y * static_cast<std::size_t>(image.width) + x) * pixel];
        if (!isInPlanes()) {
            std::memcpy(to, from, count * pixel);
            return;
        }
        to += plane * sample;
        for (std::size_t i = 0; i < count; ++i)
            std::memcpy(to + i * pixel, from + i * sample, sample);
    }

    std::size_t planes(const Image& image) const {
        return isInPlanes() ? static_cast<std::size_t>(image.layout.channels) : 1;
    }
    std::size_t unitSize(const Image& image) const {
        return isInPlanes() ? sampleSize(image.layout) : pixelSize(image.layout);
    }

    void readLines(Image& image) const {
        const auto width = static_cast<std::size_t>(image.width);
        Bytes line(width * unitSize(image));
        file_.require(TIFFScanlineSize64(file_.get()) == line.size(), "can't read");
        for (std::size_t plane = 0; plane < planes(image); ++plane) {
            for (std::size_t y = 0; y < static_cast<std::size_t>(image.height); ++y) {
                file_.require(TIFFReadScanline(file_.get(), line.data(),
                                               static_cast<std::uint32_t>(y),
                                               static_cast<std::uint16_t>(plane)) == 1,
                              "can't read");
                place(image, 0, y, width, line.data(), plane);
            }
        }
    }

    void readTiles(Image& image) const {
        const std::size_t tileWidth = number(TIFFTAG_TILEWIDTH);
        const std::size_t tileHeight = number(TIFFTAG_TILELENGTH);
        constexpr std::uint64_t mostForSmallImages = std::uint64_t{16} << 20;
        const std::uint64_t tileSize = TIFFTileSize64(file_.get());
        if (tileSize > std::max<std::uint64_t>(image.pixels.size(), mostForSmallImages) ||
            tileSize != std::uint64_t{tileWidth} * tileHeight * unitSize(image))
            file_.refuse("its tiles are much larger than the image");
        Bytes tile(static_cast<std::size_t>(tileSize));
        for (std::size_t plane = 0; plane < planes(image); ++plane) {
            for (std::size_t y = 0; y < static_cast<std::size_t>(image.height); y += tileHeight) {
                for (std::size_t x = 0; x < static_cast<std::size_t>(image.width); x += tileWidth) {
                    file_.require(TIFFReadTile(file_.get(), tile.data(),
                                               static_cast<std::uint32_t>(x),
                                               static_cast<std::uint32_t>(y), 0,
                                               static_cast<std::uint16_t>(plane)) >= 0,
                                  "can't read");
                    placeTile(image, x, y, tile, plane);
                }
            }
        }
    }

    // What of the tile lies in the image.
    void placeTile(Image& image, std::size_t x, std::size_t y, const Bytes& tile,
                   std::size_t plane) const {
        const std::size_t tileWidth = number(TIFFTAG_TILEWIDTH);
        const std::size_t tileHeight = number(TIFFTAG_TILELENGTH);
        const std::size_t columns = std::min(tileWidth, static_cast<std::size_t>(image.width) - x);
        const std::size_t rows = std::min(tileHeight, static_cast<std::size_t>(image.height) - y);
        for (std::size_t row = 0; row < rows; ++row)
            place(image, x, y + row, columns, &tile[row * tileWidth * unitSize(image)], plane);
    }

    std::string name_;
    TiffFile file_;
};

void setFields(const TiffFile& file, const Image& image, const WriteOptions& options) {
    TIFF* const tiff = file.get();
    const int channels = image.layout.channels;
    const bool isFloating = image.layout.samples().maximum == 0;
    const int compression = options.compression == "deflate" ? COMPRESSION_ADOBE_DEFLATE
                            : options.compression == "lzw"   ? COMPRESSION_LZW
                                                             : COMPRESSION_NONE;
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, image.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, image.height);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, channels);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, image.layout.samples().bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, isFloating ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 channels < 3 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    if (channels % 2 == 0) {
        const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    }
    const Ratio ratio = ratioOf(image.pixelRatio);
    if (ratio.numerator != ratio.denominator) {
        TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
        TIFFSetField(tiff, TIFFTAG_XRESOLUTION, static_cast<double>(ratio.denominator));
        TIFFSetField(tiff, TIFFTAG_YRESOLUTION, static_cast<double>(ratio.numerator));
    }
}

} // namespace

Image readTiff(const std::string& file, Extent extent, const ReadOptions& options) {
    const TiffReader reader(file, options.part);
    Image image = reader.header();
    reader.requireEnd(image);
    if (extent == Extent::All)
        reader.readPixels(image);
    return image;
}

void writeTiff(const Image& image, const std::string& file, const WriteOptions& options) {
    constexpr std::size_t stripSize = std::size_t{1} << 20;
    constexpr const char* doing = "can't write";
    const TiffFile output(file, "wl");
    setFields(output, image, options);
    const std::size_t row = pixelSize(image.layout) * static_cast<std::size_t>(image.width);
    const std::size_t rows =
        std::clamp<std::size_t>(stripSize / row, 1, static_cast<std::size_t>(image.height));
    TIFFSetField(output.get(), TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(rows));
    std::uint32_t strip = 0;
    for (std::size_t at = 0; at < image.pixels.size(); at += rows * row, ++strip) {
        const std::size_t size = std::min(rows * row, image.pixels.size() - at);
        // libtiff only reads it here.
        char* const pixels = const_cast<char*>(&image.pixels[at]);
        output.require(
            TIFFWriteEncodedStrip(output.get(), strip, pixels, static_cast<tmsize_t>(size)) >= 0,
            doing);
    }
    output.require(TIFFFlush(output.get()) != 0, doing);
}

} // namespace image
