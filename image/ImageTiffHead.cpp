// The head of an uncompressed TIFF file whose only strip is behind it: a frame's samples as they
// are. libtiff puts the directory behind the pixels, so that it can't be told before them.
#include "image/ImageFormats.h"
#include "image/Ratio.h"

#include <cstdint>
#include <tiff.h>
#include <vector>

namespace image {

namespace {

// Low bytes first, as the samples of frames.
void put(Bytes& bytes, std::uint64_t value, unsigned size) {
    for (unsigned i = 0; i < size; ++i)
        bytes.push_back(static_cast<char>(value >> 8U * i & 0xFFU));
}

// The directory's entries, in the order of their tags, and the values that have no room in them.
class Directory {
public:
    explicit Directory(unsigned entries) : valuesAt_(8 + 2 + entries * 12 + 4) {
        put(entries_, entries, 2);
    }

    void addLong(unsigned tag, std::uint64_t value) { add(tag, TIFF_LONG, 4, {value}); }
    void addShorts(unsigned tag, std::uint64_t value, int count = 1) {
        add(tag, TIFF_SHORT, 2, std::vector<std::uint64_t>(static_cast<std::size_t>(count), value));
    }
    void addRatio(unsigned tag, std::uint32_t numerator) {
        add(tag, TIFF_RATIONAL, 8, {numerator | std::uint64_t{1} << 32U});
    }
    /// All of the file up to \p size, where the strip begins.
    [[nodiscard]] Bytes file(std::size_t size) const {
        Bytes bytes{'I', 'I', 42, 0, 8, 0, 0, 0};
        bytes.insert(bytes.end(), entries_.begin(), entries_.end());
        put(bytes, 0, 4); // no further directory
        bytes.insert(bytes.end(), values_.begin(), values_.end());
        bytes.resize(size);
        return bytes;
    }

private:
    void add(unsigned tag, unsigned type, unsigned size, const std::vector<std::uint64_t>& values) {
        put(entries_, tag, 2);
        put(entries_, type, 2);
        put(entries_, values.size(), 4);
        const std::size_t bytes = size * values.size();
        Bytes& to = bytes <= 4 ? entries_ : values_;
        if (bytes > 4)
            put(entries_, valuesAt_ + values_.size(), 4);
        for (const std::uint64_t value : values)
            put(to, value, size);
        if (bytes < 4)
            put(entries_, 0, 4 - static_cast<unsigned>(bytes));
    }

    std::size_t valuesAt_;
    Bytes entries_;
    Bytes values_;
};

} // namespace

Bytes headOfTiff(const Image& image) {
    constexpr std::size_t size = 256; // so that samples of any size are aligned
    const int channels = image.layout.channels;
    const bool hasAlpha = channels % 2 == 0;
    const auto height = static_cast<std::uint64_t>(image.height);
    const auto strip =
        static_cast<std::uint64_t>(frameBytes(image.layout, image.width, 1)) * height;
    const Ratio ratio = ratioOf(image.pixelRatio);
    Directory directory(hasAlpha ? 16 : 15);
    directory.addLong(TIFFTAG_IMAGEWIDTH, static_cast<std::uint64_t>(image.width));
    directory.addLong(TIFFTAG_IMAGELENGTH, height);
    directory.addShorts(TIFFTAG_BITSPERSAMPLE,
                        static_cast<std::uint64_t>(image.layout.samples().bits), channels);
    directory.addShorts(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    directory.addShorts(TIFFTAG_PHOTOMETRIC,
                        channels < 3 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    directory.addLong(TIFFTAG_STRIPOFFSETS, size);
    directory.addShorts(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    directory.addShorts(TIFFTAG_SAMPLESPERPIXEL, static_cast<std::uint64_t>(channels));
    directory.addLong(TIFFTAG_ROWSPERSTRIP, height);
    directory.addLong(TIFFTAG_STRIPBYTECOUNTS, strip);
    directory.addRatio(TIFFTAG_XRESOLUTION, ratio.denominator);
    directory.addRatio(TIFFTAG_YRESOLUTION, ratio.numerator);
    directory.addShorts(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    directory.addShorts(TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
    if (hasAlpha)
        directory.addShorts(TIFFTAG_EXTRASAMPLES, EXTRASAMPLE_UNASSALPHA);
    directory.addShorts(
        TIFFTAG_SAMPLEFORMAT,
        image.layout.samples().maximum == 0 ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT, channels);
    return directory.file(size);
}

} // namespace image
