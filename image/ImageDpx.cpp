// DPX files (SMPTE 268M) of one element: RGB of 10 bits, one pixel in each 32-bit word ("method
// A"), and gray, RGB and RGBA of 8 and 16 bits. Both byte orders are read; the most significant
// byte comes first in what is written.
#include "image/Error.h"
#include "image/ImageFormats.h"
#include "image/Ratio.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace image {

namespace {

// Where the fields stand.
namespace field {
constexpr std::size_t magic = 0, dataOffset = 4, version = 8, fileSize = 16, ditto = 20,
                      genericSize = 24, industrySize = 28, userSize = 32;
constexpr std::size_t orientation = 768, elements = 770, width = 772, height = 776;
constexpr std::size_t sign = 780, descriptor = 800, transfer = 801, colorimetric = 802, bits = 803,
                      packing = 804, encoding = 806, elementOffset = 808, linePadding = 812;
constexpr std::size_t pixelRatio = 1628, filmRate = 1724, timeCode = 1920, televisionRate = 1940;
} // namespace field

constexpr std::size_t leastHeader = 1664; // the generic part; what else there is has its own use
constexpr std::size_t wholeHeader = 2048;
constexpr std::uint32_t magicNumber = 0x53445058; // "SDPX"
constexpr std::uint32_t undefined = 0xFFFFFFFF;
constexpr unsigned methodA = 1;

struct Descriptor268 {
    unsigned number;
    int channels;
};
constexpr std::array<Descriptor268, 3> descriptors{{{6, 1}, {50, 3}, {51, 4}}};

// The header's bytes, as fields in either byte order.
class DpxHeader {
public:
    DpxHeader() { bytes_.fill('\xFF'); } // undefined

    [[nodiscard]] char* data() { return bytes_.data(); }
    /// False when these are not the bytes of a DPX file.
    [[nodiscard]] bool findByteOrder() {
        isSwapped_ = get<4>(field::magic) != magicNumber;
        return get<4>(field::magic) == magicNumber;
    }
    /// What lies from here on is not the header's.
    void endAt(std::size_t end) {
        std::fill(bytes_.begin() + static_cast<std::ptrdiff_t>(std::min(end, bytes_.size())),
                  bytes_.end(), '\xFF');
    }
    [[nodiscard]] bool isSwapped() const { return isSwapped_; }

    template <unsigned Size>
    [[nodiscard]] std::uint32_t get(std::size_t at) const {
        std::uint32_t value = 0;
        for (unsigned i = 0; i < Size; ++i) {
            const unsigned byte = isSwapped_ ? Size - 1 - i : i;
            value = value << 8U | static_cast<unsigned char>(bytes_[at + byte]);
        }
        return value;
    }
    template <unsigned Size>
    void set(std::size_t at, std::uint32_t value) {
        for (unsigned i = 0; i < Size; ++i)
            bytes_[at + i] = static_cast<char>(value >> (8U * (Size - 1 - i)) & 0xFFU);
    }
    /// 0 for what is undefined or meaningless.
    [[nodiscard]] float getRate(std::size_t at) const {
        const std::uint32_t word = get<4>(at);
        float value = 0;
        std::memcpy(&value, &word, sizeof value);
        return std::isfinite(value) && value > 0 ? value : 0;
    }
    void setRate(std::size_t at, float value) {
        std::uint32_t word = 0;
        std::memcpy(&word, &value, sizeof word);
        set<4>(at, word);
    }

private:
    std::array<char, wholeHeader> bytes_;
    bool isSwapped_ = false; // the least significant byte comes first
};

class DpxReader {
public:
    explicit DpxReader(const std::string& name) : name_(name), file_(name, O_RDONLY) {
        struct stat status {};
        if (::fstat(file_.number(), &status) != 0)
            failFile("can't read", name_, errno);
        size_ = static_cast<std::uint64_t>(status.st_size);
        if (size_ < leastHeader)
            failFile("can't read", name_, "it is not a DPX file, or has been cut off");
        readAt(0, header_.data(), std::min<std::uint64_t>(size_, wholeHeader));
        if (!header_.findByteOrder())
            failFile("can't read", name_, "it is not a DPX file");
        checkHeader();
        findRows();
    }

    [[nodiscard]] Image header() const {
        Image image;
        image.layout = layout_.held();
        image.source = layout_;
        image.width = width_;
        image.height = height_;
        const std::uint32_t across = header_.get<4>(field::pixelRatio);
        const std::uint32_t down = header_.get<4>(field::pixelRatio + 4);
        if (across != 0 && across != undefined && down != 0 && down != undefined)
            image.pixelRatio = static_cast<float>(static_cast<double>(across) / down);
        const float television = header_.getRate(field::televisionRate);
        image.frameRate = television > 0 ? television : header_.getRate(field::filmRate);
        image.timeCode = TimeCode::ofDigits(header_.get<4>(field::timeCode));
        return image;
    }

    void readPixels(Image& image) const {
        Bytes frame(static_cast<std::size_t>(frameBytes(layout_, width_, height_)));
        for (std::size_t row = 0; row < static_cast<std::size_t>(height_); ++row)
            readAt(offset_ + row * stride_, &frame[row * rowSize_], rowSize_);
        orderBytes(frame);
        const SampleFormat& samples = layout_.samples();
        image.pixels = samples.unpack != nullptr ? samples.unpack(frame) : std::move(frame);
    }

private:
    [[noreturn]] void refuse(const std::string& why) const { failFile("can't take", name_, why); }

    void readAt(std::uint64_t offset, char* to, std::size_t size) const {
        std::size_t done = 0;
        while (done < size) {
            const ssize_t count =
                ::pread(file_.number(), to + done, size - done, static_cast<off_t>(offset + done));
            if (count < 0 && errno != EINTR)
                failFile("can't read", name_, errno);
            if (count == 0)
                failFile("can't read", name_, "the file has been cut off");
            done += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
    }

    void checkHeader() {
        if (header_.get<2>(field::elements) != 1) {
            refuse("it has " + std::to_string(header_.get<2>(field::elements)) +
                   " elements, not one");
        }
        if (header_.get<2>(field::orientation) != 0)
            refuse("its rows do not go from top to bottom and left to right");
        if (header_.get<4>(field::sign) == 1 || header_.get<2>(field::encoding) == 1)
            refuse("its samples are signed or compressed");
        layout_ = layout();
        const auto size = [this](std::size_t at) {
            return static_cast<int>(std::min<std::uint32_t>(header_.get<4>(at), INT32_MAX));
        };
        width_ = size(field::width);
        height_ = size(field::height);
        (void)frameBytes(layout_.held(), width_, height_);
        rowSize_ = static_cast<std::size_t>(frameBytes(layout_, width_, 1));
    }

    PixelLayout layout() const {
        const unsigned descriptor = header_.get<1>(field::descriptor);
        const unsigned bits = header_.get<1>(field::bits);
        for (const Descriptor268& known : descriptors) {
            if (known.number != descriptor)
                continue;
            if (bits == 10 && known.channels == 3) {
                if (header_.get<2>(field::packing) != methodA)
                    refuse("its samples of 10 bits are not packed by method A");
                return {SampleKind::Packed10, known.channels};
            }
            if (bits == 8 || bits == 16)
                return {bits == 8 ? SampleKind::Integer8 : SampleKind::Integer16, known.channels};
        }
        refuse("it holds samples of " + std::to_string(bits) + " bits of the kind " +
               std::to_string(descriptor) +
               ": gray, RGB and RGBA of 8 or 16 bits and RGB of 10 bits are known");
    }

    // Rows begin at whole words, by a padding that is told or not; some programs leave it out.
    void findRows() {
        const std::uint32_t own = header_.get<4>(field::elementOffset);
        offset_ = own != 0 && own != undefined ? own : header_.get<4>(field::dataOffset);
        const std::uint32_t padding = header_.get<4>(field::linePadding);
        const auto height = static_cast<std::uint64_t>(height_);
        const std::uint64_t padded = std::uint64_t{rowSize_} + (padding == undefined ? 0 : padding);
        stride_ = (padded + 3) / 4 * 4;
        if (offset_ < leastHeader || offset_ > size_)
            failFile("can't read", name_, "its pixels do not lie in the file");
        header_.endAt(static_cast<std::size_t>(offset_));
        const auto isCutOff = [&] { return stride_ * (height - 1) + rowSize_ > size_ - offset_; };
        if (isCutOff())
            stride_ = rowSize_;
        if (isCutOff())
            failFile("can't read", name_, "the file has been cut off");
    }

    // Words of 10-bit pixels as frames have them, samples of 16 bits with the low byte first.
    void orderBytes(Bytes& frame) const {
        const bool isPacked = layout_.kind == SampleKind::Packed10;
        const std::size_t unit = isPacked ? 4 : 2;
        if (layout_.kind == SampleKind::Integer8 || header_.isSwapped() != isPacked)
            return;
        for (auto at = frame.begin(); at != frame.end(); at += static_cast<std::ptrdiff_t>(unit))
            std::reverse(at, at + static_cast<std::ptrdiff_t>(unit));
    }

    std::string name_;
    Descriptor file_;
    std::uint64_t size_ = 0;
    DpxHeader header_;
    PixelLayout layout_;
    int width_ = 0;
    int height_ = 0;
    std::uint64_t offset_ = 0; // of the first row
    std::size_t rowSize_ = 0;  // without what fills it up
    std::uint64_t stride_ = 0; // from row to row
};

DpxHeader headerOf(const Image& image, const PixelLayout& layout, std::uint64_t fileSize,
                   std::uint32_t padding) {
    DpxHeader header;
    header.set<4>(field::magic, magicNumber);
    header.set<4>(field::dataOffset, wholeHeader);
    std::memcpy(header.data() + field::version, "V2.0\0\0\0", 8);
    header.set<4>(field::fileSize, static_cast<std::uint32_t>(fileSize));
    header.set<4>(field::ditto, 1);
    header.set<4>(field::genericSize, leastHeader);
    header.set<4>(field::industrySize, wholeHeader - leastHeader);
    header.set<4>(field::userSize, 0);
    header.set<2>(field::orientation, 0);
    header.set<2>(field::elements, 1);
    header.set<4>(field::width, static_cast<std::uint32_t>(image.width));
    header.set<4>(field::height, static_cast<std::uint32_t>(image.height));
    header.set<4>(field::sign, 0);
    for (const Descriptor268& known : descriptors)
        if (known.channels == layout.channels)
            header.set<1>(field::descriptor, known.number);
    header.set<1>(field::transfer, 0);
    header.set<1>(field::colorimetric, 0);
    header.set<1>(field::bits, static_cast<std::uint32_t>(layout.samples().bits));
    header.set<2>(field::packing, layout.kind == SampleKind::Packed10 ? methodA : 0);
    header.set<2>(field::encoding, 0);
    header.set<4>(field::elementOffset, wholeHeader);
    header.set<4>(field::linePadding, padding);
    const Ratio ratio = ratioOf(image.pixelRatio);
    header.set<4>(field::pixelRatio, ratio.numerator);
    header.set<4>(field::pixelRatio + 4, ratio.denominator);
    if (image.frameRate > 0) {
        header.setRate(field::filmRate, image.frameRate);
        header.setRate(field::televisionRate, image.frameRate);
    }
    if (image.timeCode)
        header.set<4>(field::timeCode, image.timeCode->digits());
    return header;
}

// Texts end where they are empty; these begin so.
void emptyTexts(DpxHeader& header) {
    for (const std::size_t at : {36U, 136U, 160U, 260U, 460U, 1432U, 1532U, 1556U, 1588U, 1664U,
                                 1666U, 1668U, 1670U, 1676U, 1680U, 1732U, 1764U})
        header.data()[at] = '\0';
}

} // namespace

Image readDpx(const std::string& file, Extent extent, const ReadOptions& /*options*/) {
    const DpxReader reader(file);
    Image image = reader.header();
    if (extent == Extent::All)
        reader.readPixels(image);
    return image;
}

namespace {

// What is packed otherwise than by method A goes as whole samples.
PixelLayout writtenLayout(const Image& image) {
    const bool isMethodA = image.source && image.source->kind == SampleKind::Packed10;
    return isMethodA ? *image.source : image.layout;
}

struct RowSizes {
    explicit RowSizes(const Image& image)
        : row(static_cast<std::size_t>(frameBytes(writtenLayout(image), image.width, 1))),
          stride((row + 3) / 4 * 4) {}

    std::size_t row;
    std::size_t stride;
};

} // namespace

std::uint64_t sizeOfDpx(const Image& image) {
    return wholeHeader +
           std::uint64_t{RowSizes(image).stride} * static_cast<std::uint64_t>(image.height);
}

Bytes headOfDpx(const Image& image) {
    const RowSizes sizes(image);
    DpxHeader header = headerOf(image, writtenLayout(image), sizeOfDpx(image),
                                static_cast<std::uint32_t>(sizes.stride - sizes.row));
    emptyTexts(header);
    return {header.data(), header.data() + wholeHeader};
}

Bytes rowsOfDpx(const Image& image) {
    const PixelLayout layout = writtenLayout(image);
    const SampleFormat& samples = layout.samples();
    Bytes frame = samples.pack != nullptr ? samples.pack(image.pixels) : image.pixels;
    if (layout.kind == SampleKind::Integer16)
        for (std::size_t i = 0; i + 1 < frame.size(); i += 2)
            std::swap(frame[i], frame[i + 1]);
    const auto [row, stride] = RowSizes(image);
    if (row == stride)
        return frame;
    Bytes rows(stride * static_cast<std::size_t>(image.height));
    for (std::size_t y = 0; y < static_cast<std::size_t>(image.height); ++y)
        std::memcpy(&rows[y * stride], &frame[y * row], row);
    return rows;
}

void writeDpx(const Image& image, const std::string& file, const WriteOptions& /*options*/) {
    const Descriptor descriptor(file, O_WRONLY | O_CREAT | O_TRUNC);
    writeAll(descriptor.number(), headOfDpx(image), file);
    writeAll(descriptor.number(), rowsOfDpx(image), file);
}

} // namespace image
