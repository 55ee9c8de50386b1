// OpenEXR files with halves: gray as "Y", colour as "R", "G", "B", with or without "A".
#include "image/Error.h"
#include "image/ImageFormats.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>

namespace image {

// Halves are taken from memory as they are, and frames hold them little-endian.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "halves have to be swapped here");

namespace {

constexpr std::size_t halfSize = 2;

std::vector<const char*> channelNames(int channels) {
    static const std::vector<const char*> names[] = {
        {}, {"Y"}, {"Y", "A"}, {"R", "G", "B"}, {"R", "G", "B", "A"}};
    return names[channels];
}

int countChannels(const Imf::ChannelList& list, const std::string& file) {
    int channels = list.findChannel("Y") != nullptr ? 1 : 3;
    channels += list.findChannel("A") != nullptr ? 1 : 0;
    std::size_t count = 0;
    for (auto it = list.begin(); it != list.end(); ++it, ++count) {
        if (it.channel().type != Imf::HALF) {
            failFile("can't take", file,
                     std::string("channel '") + it.name() + "' does not hold half floats");
        }
        if (it.channel().xSampling != 1 || it.channel().ySampling != 1) {
            failFile("can't take", file, std::string("channel '") + it.name() + "' is subsampled");
        }
    }
    const std::vector<const char*> names = channelNames(channels);
    bool isComplete = count == names.size();
    for (const char* name : names) {
        isComplete = isComplete && list.findChannel(name) != nullptr;
    }
    if (!isComplete) {
        failFile("can't take", file, "its channels are not Y, YA, RGB or RGBA");
    }
    return channels;
}

Imf::FrameBuffer bufferOf(const Image& image, const Imath::Box2i& window) {
    Imf::FrameBuffer buffer;
    const std::size_t pixelSize = halfSize * static_cast<std::size_t>(image.layout.channels);
    std::size_t offset = 0;
    for (const char* name : channelNames(image.layout.channels)) {
        buffer.insert(name,
                      Imf::Slice::Make(Imf::HALF, image.pixels.data() + offset, window, pixelSize,
                                       pixelSize * static_cast<std::size_t>(image.width)));
        offset += halfSize;
    }
    return buffer;
}

// The line that lies last in the file; all its lines go to one line of memory.
void requireEnd(Imf::InputFile& input, const Image& image, const Imath::Box2i& window) {
    const std::size_t pixelSize = halfSize * static_cast<std::size_t>(image.layout.channels);
    Bytes line(pixelSize * static_cast<std::size_t>(image.width));
    Imf::FrameBuffer buffer;
    std::size_t offset = 0;
    for (const char* name : channelNames(image.layout.channels)) {
        char* const origin =
            line.data() + offset - static_cast<std::ptrdiff_t>(pixelSize) * window.min.x;
        buffer.insert(name, Imf::Slice(Imf::HALF, origin, pixelSize, 0));
        offset += halfSize;
    }
    input.setFrameBuffer(buffer);
    const bool isDecreasing = input.header().lineOrder() == Imf::DECREASING_Y;
    input.readPixels(isDecreasing ? window.min.y : window.max.y);
}

void writeHalves(const Image& image, const std::string& file) {
    Imf::Header header(image.width, image.height);
    header.compression() = Imf::ZIPS_COMPRESSION;
    for (const char* name : channelNames(image.layout.channels)) {
        header.channels().insert(name, Imf::Channel(Imf::HALF));
    }
    Imf::OutputFile output(file.c_str(), header);
    output.setFrameBuffer(bufferOf(image, header.dataWindow()));
    output.writePixels(image.height);
}

} // namespace

Image readExr(const std::string& file, bool withPixels) {
    try {
        Imf::InputFile input(file.c_str());
        const Imath::Box2i window = input.header().dataWindow();
        if (window != input.header().displayWindow()) {
            failFile("can't take", file, "its data window is not its display window");
        }
        Image image;
        image.layout = {SampleKind::Half, countChannels(input.header().channels(), file)};
        image.width = window.max.x - window.min.x + 1;
        image.height = window.max.y - window.min.y + 1;
        if (!withPixels) {
            requireEnd(input, image, window);
        } else {
            image.pixels.resize(
                static_cast<std::size_t>(frameBytes(image.layout, image.width, image.height)));
            input.setFrameBuffer(bufferOf(image, window));
            input.readPixels(window.min.y, window.max.y);
        }
        return image;
    } catch (const Error&) {
        throw;
    } catch (const std::exception& error) {
        failFile("can't read", file, error.what());
    }
}

void writeExr(const Image& image, const std::string& file) {
    try {
        writeHalves(image, file);
        // What the file's closing could not write is only seen by looking.
        if (!Imf::InputFile(file.c_str()).isComplete()) {
            throw std::runtime_error("it is not complete on the disk");
        }
    } catch (const std::exception& error) {
        failFile("can't write", file, error.what());
    }
}

} // namespace image
