#include "image/PixelLayout.h"

#include "image/ClipShape.h"
#include "image/Error.h"

#include <array>
#include <climits>
#include <cmath>
#include <locale>
#include <sstream>

namespace image {

namespace {

constexpr std::array<const char*, 5> channelNames{"", "gray", "graya", "rgb", "rgba"};

std::vector<PixelLayout> knownLayouts() {
    std::vector<PixelLayout> layouts;
    for (const SampleFormat& samples : sampleFormats()) {
        const int fewest = samples.packedChannels == 0 ? 1 : samples.packedChannels;
        const int most = samples.packedChannels == 0 ? 4 : samples.packedChannels;
        for (int channels = fewest; channels <= most; ++channels)
            layouts.push_back({samples.kind, channels});
    }
    return layouts;
}

} // namespace

std::string PixelLayout::tag() const {
    return std::string(channelNames.at(static_cast<std::size_t>(channels))) + samples().name;
}

std::optional<PixelLayout> layoutOfTag(const std::string& tag) {
    for (const PixelLayout& layout : knownLayouts())
        if (layout.tag() == tag)
            return layout;
    return std::nullopt;
}

std::optional<PixelLayout> layoutOfDepth(int bitsPerPixel, int channels) {
    for (const PixelLayout& layout : knownLayouts())
        if (layout.samples().maximum > 0 && layout.channels == channels &&
            layout.bitsPerPixel() == bitsPerPixel)
            return layout;
    return std::nullopt;
}

int frameBytes(const PixelLayout& layout, int width, int height) {
    const long long bits = layout.samples().packedChannels > 0 ? 32 : layout.bitsPerPixel();
    const long long pixels = static_cast<long long>(width) * height;
    if (width < 1 || height < 1 || pixels > INT_MAX || pixels * bits / 8 > INT_MAX) {
        throw Error(ErrorKind::TooLarge, "a frame of " + std::to_string(width) + "x" +
                                             std::to_string(height) + " pixels of " + layout.tag() +
                                             " is empty or larger than 2 GiB");
    }
    return static_cast<int>(pixels * bits / 8);
}

// Of the metadata of a clip format that is the time code of the clip's first frame.
static constexpr const char* timeCodeTag = "timecode";

LantrixClipFormat clipFormat(const PixelLayout& layout, int width, int height) {
    LantrixClipFormat format;
    format.setWidth(width);
    format.setHeight(height);
    format.setBitsPerPixel(layout.bitsPerPixel());
    format.setNumChannels(layout.channels);
    format.setFrameBufferSize(frameBytes(layout, width, height));
    format.setScanFormat(LantrixClipFormat::Progressive);
    format.setFormatTag(layout.tag().c_str());
    format.setMetaDataTag("none");
    return format;
}

LantrixClipFormat clipFormat(const PixelLayout& layout, const Image& image) {
    LantrixClipFormat format = clipFormat(layout, image.width, image.height);
    if (image.pixelRatio > 0 && std::isfinite(image.pixelRatio))
        format.setPixelRatio(image.pixelRatio);
    if (image.frameRate > 0 && std::isfinite(image.frameRate))
        format.setFrameRate(image.frameRate);
    if (image.timeCode) {
        format.setMetaDataTag(timeCodeTag);
        format.setMetaData(image.timeCode->text().c_str());
    }
    return format;
}

namespace {

void checkTag(const std::string& tag) {
    constexpr std::size_t longestTag = 255;
    if (tag.size() > longestTag || tag.find_first_of(" \t\n\r\v\f") != std::string::npos) {
        throw Error(ErrorKind::Argument, "'" + tag +
                                             "' can't be a format tag: it holds blanks, or "
                                             "more than 255 bytes");
    }
}

LantrixClipFormat parseShape(const std::string& text) {
    try {
        return clipFormatOfShape(text, INT_MAX);
    } catch (const ClipShapeError& error) {
        throw Error(ErrorKind::Argument,
                    "'" + text +
                        "' is not WIDTHxHEIGHTxBITS[xCHANNELS][@RATE], with the bits of a whole "
                        "pixel: " +
                        error.what());
    }
}

} // namespace

LantrixClipFormat parseClipFormat(const std::string& text, const std::string& tag) {
    checkTag(tag);
    LantrixClipFormat format = parseShape(text);
    const int bits = format.bitsPerPixel();
    const int channels = format.numChannels();
    const auto layout = tag.empty() ? layoutOfDepth(bits, channels) : layoutOfTag(tag);
    if (layout && (layout->bitsPerPixel() != bits || layout->channels != channels)) {
        throw Error(ErrorKind::Argument,
                    "'" + tag + "' has " + std::to_string(layout->bitsPerPixel()) + " bits in " +
                        std::to_string(layout->channels) + " channels, not as in '" + text + "'");
    }
    if (layout)
        format.setFrameBufferSize(frameBytes(*layout, format.width(), format.height()));
    format.setFormatTag(layout ? layout->tag().c_str() : tag.empty() ? "unknown" : tag.c_str());
    format.setMetaDataTag("none");
    return format;
}

namespace {

std::string shortNumber(float number) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << number;
    return text.str();
}

} // namespace

std::string describeFormat(const LantrixClipFormat& format) {
    return std::to_string(format.width()) + "x" + std::to_string(format.height()) + "x" +
           std::to_string(format.bitsPerPixel()) + "x" + std::to_string(format.numChannels()) +
           "@" + shortNumber(format.frameRate()) + " " + format.formatTag() + " " +
           LantrixClipFormat::scanFormatStr(format.scanFormat());
}

bool isSameKind(const LantrixClipFormat& a, const LantrixClipFormat& b) {
    return a.width() == b.width() && a.height() == b.height() &&
           a.bitsPerPixel() == b.bitsPerPixel() && a.numChannels() == b.numChannels() &&
           a.frameBufferSize() == b.frameBufferSize() &&
           std::string(a.formatTag()) == b.formatTag();
}

PixelLayout layoutOfClip(const LantrixClipFormat& format) {
    const std::string tag = format.formatTag();
    const bool hasTag = !tag.empty() && tag != "none";
    const std::optional<PixelLayout> layout =
        hasTag ? layoutOfTag(tag) : layoutOfDepth(format.bitsPerPixel(), format.numChannels());
    if (!layout)
        throw Error(ErrorKind::UnknownLayout, "the clip's format tag '" + tag + "' is not known");
    if (frameBytes(*layout, format.width(), format.height()) != format.frameBufferSize()) {
        throw Error(ErrorKind::UnknownLayout,
                    "the clip's frames have " + std::to_string(format.frameBufferSize()) +
                        " bytes, which does not fit its format (" + describeFormat(format) + ")");
    }
    return *layout;
}

Bytes frameOfImage(Image image, const PixelLayout& layout) {
    const SampleFormat& samples = layout.samples();
    return samples.pack != nullptr ? samples.pack(image.pixels) : std::move(image.pixels);
}

Image imageOfFrame(Bytes frame, const PixelLayout& layout, int width, int height) {
    const SampleFormat& samples = layout.samples();
    Image image;
    image.layout = layout.held();
    image.width = width;
    image.height = height;
    image.pixels = samples.unpack != nullptr ? samples.unpack(frame) : std::move(frame);
    image.source = layout;
    return image;
}

Image imageOfFrame(Bytes frame, const LantrixClipFormat& format, int index) {
    Image image =
        imageOfFrame(std::move(frame), layoutOfClip(format), format.width(), format.height());
    image.pixelRatio = format.pixelRatio();
    image.frameRate = format.frameRate();
    if (format.metaDataTag() == std::string(timeCodeTag))
        image.timeCode = TimeCode::ofText(format.metaData());
    if (image.timeCode)
        image.timeCode = image.timeCode->later(index, format.frameRate());
    return image;
}

} // namespace image
