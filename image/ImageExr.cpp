// OpenEXR files of halves or floats: gray as "Y", colour as "R", "G", "B", with or without "A".
#include "image/Error.h"
#include "image/ExrAttributes.h"
#include "image/ImageFile.h"
#include "image/ImageFormats.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfFramesPerSecond.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIO.h>
#include <OpenEXR/ImfInputPart.h>
#include <OpenEXR/ImfMultiPartInputFile.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfPartType.h>
#include <OpenEXR/ImfStandardAttributes.h>
#include <OpenEXR/ImfStdIO.h>
#include <OpenEXR/ImfTimeCode.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <thread>

namespace image {

// Samples are taken from memory as they are, and frames hold them little-endian.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "samples have to be swapped here");

namespace {

std::vector<const char*> channelNames(int channels) {
    static const std::vector<const char*> names[] = {
        {}, {"Y"}, {"Y", "A"}, {"R", "G", "B"}, {"R", "G", "B", "A"}};
    return names[channels];
}

Imf::PixelType pixelType(const PixelLayout& layout) {
    return layout.kind == SampleKind::Half ? Imf::HALF : Imf::FLOAT;
}

std::size_t sampleSize(const PixelLayout& layout) {
    return static_cast<std::size_t>(layout.samples().bits) / 8;
}

std::size_t pixelSize(const PixelLayout& layout) {
    return sampleSize(layout) * static_cast<std::size_t>(layout.channels);
}

PixelLayout layoutOf(const Imf::ChannelList& list, const std::string& file) {
    int channels = list.findChannel("Y") != nullptr ? 1 : 3;
    channels += list.findChannel("A") != nullptr ? 1 : 0;
    const std::vector<const char*> names = channelNames(channels);
    std::size_t count = 0;
    for (auto it = list.begin(); it != list.end(); ++it)
        ++count;
    bool isComplete = count == names.size();
    for (const char* name : names)
        isComplete = isComplete && list.findChannel(name) != nullptr;
    if (!isComplete)
        failFile("can't take", file, "its channels are not Y, YA, RGB or RGBA");
    const Imf::PixelType type = list.begin().channel().type;
    for (auto it = list.begin(); it != list.end(); ++it) {
        const std::string channel = std::string("channel '") + it.name();
        if (it.channel().type != type || type == Imf::UINT) {
            failFile("can't take", file,
                     channel + "' does not hold half floats or floats, as all have to");
        }
        if (it.channel().xSampling != 1 || it.channel().ySampling != 1)
            failFile("can't take", file, channel + "' is subsampled");
    }
    return {type == Imf::HALF ? SampleKind::Half : SampleKind::Float, channels};
}

// Channels interleaved from \p origin on, where the pixel at 0, 0 of the window would lie.
Imf::FrameBuffer bufferAt(char* origin, const PixelLayout& layout, std::size_t rowSize) {
    Imf::FrameBuffer buffer;
    for (const char* name : channelNames(layout.channels)) {
        buffer.insert(name, Imf::Slice(pixelType(layout), origin, pixelSize(layout), rowSize));
        origin += sampleSize(layout);
    }
    return buffer;
}

// All processors compress and decompress the blocks of a large image. ThreadSanitizer does not see
// how OpenEXR's threads, which were not built with it, wait for each other.
int threads() {
#ifdef __SANITIZE_THREAD__
    return 0;
#else
    static const int count = [] {
        const int processors = static_cast<int>(std::max(std::thread::hardware_concurrency(), 1U));
        Imf::setGlobalThreadCount(processors);
        return processors;
    }();
    return count;
#endif
}

// OpenEXR makes buffers for each thread, before it knows what there is to read.
int threadsFor(std::uintmax_t fileSize) {
    constexpr std::uintmax_t worthThreads = std::uintmax_t{1} << 20U;
    return fileSize < worthThreads ? 0 : threads();
}

std::uintmax_t checkedSize(const std::string& file) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (!error)
        requireExrAttributes(file, size);
    return error ? 0 : size;
}

// At most so many bytes of pixels come from one byte of a file.
std::uint64_t mostFromOneByte(Imf::Compression compression) {
    switch (compression) {
    case Imf::NO_COMPRESSION:
        return 1;
    case Imf::DWAA_COMPRESSION:
    case Imf::DWAB_COMPRESSION:
        return std::uint64_t{1} << 18U;
    default:
        return std::uint64_t{1} << 11U;
    }
}

// From the first to the last of a window; 0 for one that is not one.
int extentOf(int first, int last) {
    const long long extent = static_cast<long long>(last) - first + 1;
    return static_cast<int>(std::clamp<long long>(extent, 0, INT32_MAX));
}

// What OpenEXR allocates to read a tile, or the lines that are compressed together; the product may
// be larger than any whole number.
double blockBytes(const Imf::Header& header, const std::string& file) {
    const Imath::Box2i& data = header.dataWindow();
    double width = extentOf(data.min.x, data.max.x);
    double height = header.compression() == Imf::DWAB_COMPRESSION ? 256 : 32; // at most
    if (header.hasTileDescription()) {
        width = header.tileDescription().xSize;
        height = header.tileDescription().ySize;
    }
    return width * height * static_cast<double>(pixelSize(layoutOf(header.channels(), file)));
}

// One part of a file and its windows.
class ExrPart {
public:
    ExrPart(const std::string& file, const ReadOptions& options)
        : file_(file), size_(checkedSize(file)), input_(file.c_str(), threadsFor(size_)),
          part_(input_, checkedPart(options.part)), data_(part_.header().dataWindow()),
          display_(part_.header().displayWindow()) {
        if (data_ != display_ && !options.fit)
            failFile("can't take", file, "its data window is not its display window");
    }

    [[nodiscard]] Image header() const {
        const Imf::Header& header = part_.header();
        Image image;
        image.layout = layoutOf(header.channels(), file_);
        image.width = extentOf(display_.min.x, display_.max.x);
        image.height = extentOf(display_.min.y, display_.max.y);
        (void)frameBytes(image.layout, image.width, image.height);
        image.pixelRatio = header.pixelAspectRatio();
        if (Imf::hasFramesPerSecond(header) && Imf::framesPerSecond(header).d != 0)
            image.frameRate = static_cast<float>(static_cast<double>(Imf::framesPerSecond(header)));
        if (Imf::hasTimeCode(header))
            image.timeCode = TimeCode::ofDigits(Imf::timeCode(header).timeAndFlags());
        return image;
    }

    // The line that lies last in the file.
    void requireEnd(const Image& image) {
        const bool isDecreasing = part_.header().lineOrder() == Imf::DECREASING_Y;
        readLine(image.layout, isDecreasing ? data_.min.y : data_.max.y);
    }

    void readPixels(Image& image) {
        const std::size_t rowSize = pixelSize(image.layout) * static_cast<std::size_t>(image.width);
        image.pixels.resize(rowSize * static_cast<std::size_t>(image.height));
        if (data_ == display_) {
            part_.setFrameBuffer(bufferAt(originOf(image.pixels.data(), image.layout, rowSize),
                                          image.layout, rowSize));
            part_.readPixels(data_.min.y, data_.max.y);
        } else {
            readLines(image, rowSize);
        }
    }

private:
    // Nothing is allocated for a part whose pixels the file can't hold.
    int checkedPart(const std::string& wanted) const {
        const int number = chosenPart(wanted);
        const Imf::Header& header = input_.header(number);
        const Imath::Box2i& data = header.dataWindow();
        const int bytes =
            frameBytes(layoutOf(header.channels(), file_), extentOf(data.min.x, data.max.x),
                       extentOf(data.min.y, data.max.y));
        if (static_cast<std::uint64_t>(bytes) / mostFromOneByte(header.compression()) > size_)
            failFile("can't read", file_, "the file has been cut off");
        constexpr int smallBlock = 64 << 20; // is allowed in any image
        if (blockBytes(header, file_) > std::max(bytes, smallBlock))
            failFile("can't take", file_, "its tiles or blocks are much larger than the image");
        return number;
    }

    int chosenPart(const std::string& wanted) const {
        const int count = input_.parts();
        std::string known;
        for (int i = 0; i < count; ++i) {
            const Imf::Header& header = input_.header(i);
            const std::string name = header.hasName() ? header.name() : "";
            if (!wanted.empty() && (wanted == name || wanted == std::to_string(i)))
                return i;
            known += (i == 0 ? "" : ", ") + std::to_string(i) + " '" + name + "'";
        }
        if (!wanted.empty()) {
            failFile("can't take", file_,
                     "it has no part '" + wanted + "'; its parts are " + known);
        }
        if (count != 1) {
            failFile("can't take", file_,
                     "it has " + std::to_string(count) +
                         " parts, of which one has to be chosen: " + known);
        }
        return 0;
    }

    char* originOf(char* pixels, const PixelLayout& layout, std::size_t rowSize) const {
        return pixels - static_cast<std::ptrdiff_t>(pixelSize(layout)) * data_.min.x -
               static_cast<std::ptrdiff_t>(rowSize) * data_.min.y;
    }

    // All lines of the file go to one line of memory.
    const Bytes& readLine(const PixelLayout& layout, int y) {
        if (line_.empty()) {
            const int width = data_.max.x - data_.min.x + 1;
            line_.resize(pixelSize(layout) * static_cast<std::size_t>(width));
            part_.setFrameBuffer(bufferAt(originOf(line_.data(), layout, 0), layout, 0));
        }
        part_.readPixels(y);
        return line_;
    }

    // What both windows have in common; the rest stays black.
    void readLines(Image& image, std::size_t rowSize) {
        const int left = std::max(data_.min.x, display_.min.x);
        const int right = std::min(data_.max.x, display_.max.x);
        const std::size_t pixel = pixelSize(image.layout);
        const int last = std::min(data_.max.y, display_.max.y);
        for (int y = std::max(data_.min.y, display_.min.y); left <= right && y <= last; ++y) {
            const Bytes& line = readLine(image.layout, y);
            std::memcpy(&image.pixels[static_cast<std::size_t>(y - display_.min.y) * rowSize +
                                      static_cast<std::size_t>(left - display_.min.x) * pixel],
                        &line[static_cast<std::size_t>(left - data_.min.x) * pixel],
                        static_cast<std::size_t>(right - left + 1) * pixel);
        }
    }

    std::string file_;
    std::uintmax_t size_;
    Imf::MultiPartInputFile input_;
    Imf::InputPart part_;
    Imath::Box2i data_;
    Imath::Box2i display_;
    Bytes line_;
};

Imf::Compression compressionOf(const std::string& name) {
    static const std::pair<const char*, Imf::Compression> known[] = {
        {"", Imf::ZIPS_COMPRESSION},     {"none", Imf::NO_COMPRESSION},
        {"zips", Imf::ZIPS_COMPRESSION}, {"zip", Imf::ZIP_COMPRESSION},
        {"piz", Imf::PIZ_COMPRESSION},   {"dwaa", Imf::DWAA_COMPRESSION}};
    return std::find_if(std::begin(known), std::end(known) - 1,
                        [&](const auto& entry) { return name == entry.first; })
        ->second;
}

// A file in memory: the table at its beginning is filled in at the end.
class MemoryFile : public Imf::OStream {
public:
    explicit MemoryFile(const std::string& name) : Imf::OStream(name.c_str()) {}

    void write(const char bytes[], int size) override {
        const std::size_t end = position_ + static_cast<std::size_t>(size);
        bytes_.resize(std::max(bytes_.size(), end));
        std::memcpy(&bytes_[position_], bytes, static_cast<std::size_t>(size));
        position_ = end;
    }
    std::uint64_t tellp() override { return position_; }
    void seekp(std::uint64_t position) override { position_ = static_cast<std::size_t>(position); }

    void reserve(std::uint64_t size) { bytes_.reserve(static_cast<std::size_t>(size)); }
    [[nodiscard]] Bytes& bytes() { return bytes_; }

private:
    Bytes bytes_;
    std::size_t position_ = 0;
};

Imf::Header headerOf(const Image& image, const WriteOptions& options) {
    Imf::Header header(image.width, image.height);
    header.compression() = compressionOf(options.compression);
    if (image.pixelRatio > 0)
        header.pixelAspectRatio() = image.pixelRatio;
    if (image.frameRate > 0)
        Imf::addFramesPerSecond(header, Imf::guessExactFps(static_cast<double>(image.frameRate)));
    if (image.timeCode)
        Imf::addTimeCode(header, Imf::TimeCode(image.timeCode->digits()));
    for (const char* name : channelNames(image.layout.channels))
        header.channels().insert(name, Imf::Channel(pixelType(image.layout)));
    return header;
}

void writePart(const Image& image, Imf::OStream& file, const WriteOptions& options) {
    Imf::OutputFile output(file, headerOf(image, options), threads());
    // OpenEXR only reads it here.
    char* const pixels = const_cast<char*>(image.pixels.data());
    output.setFrameBuffer(bufferAt(
        pixels, image.layout, pixelSize(image.layout) * static_cast<std::size_t>(image.width)));
    output.writePixels(image.height);
}

} // namespace

Image readExr(const std::string& file, Extent extent, const ReadOptions& options) {
    try {
        ExrPart part(file, options);
        Image image = part.header();
        if (extent == Extent::Header)
            part.requireEnd(image);
        else
            part.readPixels(image);
        return image;
    } catch (const Error&) {
        throw;
    } catch (const std::exception& error) {
        failFile("can't read", file, error.what());
    }
}

// The magic number and the version, the header, a table of the rows' places, and the rows, each
// behind its number and its size.
std::uint64_t sizeOfExr(const Image& image) {
    MemoryFile header("header");
    headerOf(image, {"none"}).writeTo(header);
    const std::uint64_t row =
        std::uint64_t{pixelSize(image.layout)} * static_cast<unsigned>(image.width);
    return 8 + header.bytes().size() + static_cast<unsigned>(image.height) * (8 + 8 + row);
}

Bytes bytesOfExr(const Image& image) {
    MemoryFile file("frame.exr");
    file.reserve(sizeOfExr(image));
    try {
        writePart(image, file, {"none"});
    } catch (const std::exception& error) {
        failFile("can't write", "frame.exr", error.what());
    }
    return std::move(file.bytes());
}

void writeExr(const Image& image, int descriptor, const std::string& name,
              const WriteOptions& options) {
    MemoryFile file(name);
    try {
        writePart(image, file, options);
    } catch (const std::exception& error) {
        failFile("can't write", name, error.what());
    }
    writeAll(descriptor, file.bytes(), name);
}

void writeExr(const Image& image, const std::string& file, const WriteOptions& options) {
    try {
        {
            Imf::StdOFStream output(file.c_str());
            writePart(image, output, options);
        }
        // What the file's closing could not write is only seen by looking.
        if (!Imf::MultiPartInputFile(file.c_str(), 0).partComplete(0))
            throw std::runtime_error("it is not complete on the disk");
    } catch (const std::exception& error) {
        failFile("can't write", file, error.what());
    }
}

} // namespace image
