#include "image/PixelLayout.h"

#include "image/ClipShape.h"
#include "tools/report/Failure.h"
#include "tools/report/NumberText.h"

#include <array>
#include <climits>

namespace tool {

namespace {

constexpr std::array<const char*, 5> channelNames{"", "gray", "graya", "rgb", "rgba"};

struct KindName {
    SampleKind kind;
    const char* name;
    int bits;
};
constexpr std::array<KindName, 4> kindNames{{{SampleKind::Integer8, "8", 8},
                                             {SampleKind::Integer16, "16", 16},
                                             {SampleKind::Half, "16f", 16},
                                             {SampleKind::Packed10, "10", 10}}};

const KindName& nameOf(SampleKind kind) {
    for (const KindName& entry : kindNames) {
        if (entry.kind == kind) {
            return entry;
        }
    }
    throw std::logic_error("a sample kind without a name");
}

std::vector<PixelLayout> knownLayouts() {
    std::vector<PixelLayout> layouts;
    for (int channels = 1; channels <= 4; ++channels) {
        for (SampleKind kind : {SampleKind::Integer8, SampleKind::Integer16, SampleKind::Half}) {
            layouts.push_back({kind, channels});
        }
    }
    layouts.push_back({SampleKind::Packed10, 3});
    return layouts;
}

} // namespace

int PixelLayout::bitsPerPixel() const {
    return nameOf(kind).bits * channels;
}

std::string PixelLayout::tag() const {
    return std::string(channelNames.at(static_cast<std::size_t>(channels))) + nameOf(kind).name;
}

std::optional<PixelLayout> layoutOfTag(const std::string& tag) {
    for (const PixelLayout& layout : knownLayouts()) {
        if (layout.tag() == tag) {
            return layout;
        }
    }
    return std::nullopt;
}

std::optional<PixelLayout> layoutOfDepth(int bitsPerPixel, int channels) {
    for (const PixelLayout& layout : knownLayouts()) {
        if (layout.kind != SampleKind::Half && layout.channels == channels &&
            layout.bitsPerPixel() == bitsPerPixel) {
            return layout;
        }
    }
    return std::nullopt;
}

int frameBytes(const PixelLayout& layout, int width, int height) {
    const long long bits = layout.kind == SampleKind::Packed10 ? 32 : layout.bitsPerPixel();
    const long long pixels = static_cast<long long>(width) * height;
    if (width < 1 || height < 1 || pixels > INT_MAX || pixels * bits / 8 > INT_MAX) {
        throw Failure(Status::Other, "a frame of " + std::to_string(width) + "x" +
                                         std::to_string(height) + " pixels of " + layout.tag() +
                                         " is empty or larger than 2 GiB");
    }
    return static_cast<int>(pixels * bits / 8);
}

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

namespace {

void checkTag(const std::string& tag) {
    constexpr std::size_t longestTag = 255;
    if (tag.size() > longestTag || tag.find_first_of(" \t\n\r\v\f") != std::string::npos) {
        throw Failure(Status::Usage, "'" + tag +
                                         "' can't be a format tag: it holds blanks, or "
                                         "more than 255 bytes");
    }
}

LantrixClipFormat parseShape(const std::string& text) {
    try {
        return clipFormatOfShape(text, INT_MAX);
    } catch (const ClipShapeError& error) {
        throw Failure(Status::Usage,
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
        throw Failure(Status::Usage, "'" + tag + "' has " + std::to_string(layout->bitsPerPixel()) +
                                         " bits in " + std::to_string(layout->channels) +
                                         " channels, not as in '" + text + "'");
    }
    if (layout) {
        format.setFrameBufferSize(frameBytes(*layout, format.width(), format.height()));
    }
    format.setFormatTag(layout ? layout->tag().c_str() : tag.empty() ? "unknown" : tag.c_str());
    format.setMetaDataTag("none");
    return format;
}

std::string describeFormat(const LantrixClipFormat& format) {
    return std::to_string(format.width()) + "x" + std::to_string(format.height()) + "x" +
           std::to_string(format.bitsPerPixel()) + "x" + std::to_string(format.numChannels()) +
           "@" + shortNumber(static_cast<double>(format.frameRate())) + " " + format.formatTag() +
           " " + LantrixClipFormat::scanFormatStr(format.scanFormat());
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
    if (!layout) {
        throw Failure(Status::Other, std::string("the clip's format tag '") + format.formatTag() +
                                         "' is not known to this tool: its frames can only be "
                                         "moved as they are, with --raw");
    }
    if (frameBytes(*layout, format.width(), format.height()) != format.frameBufferSize()) {
        throw Failure(Status::Other,
                      "the clip's frames have " + std::to_string(format.frameBufferSize()) +
                          " bytes, which does not fit its format (" + describeFormat(format) +
                          "): they can only be moved as they are, with --raw");
    }
    return *layout;
}

namespace {

unsigned sampleAt(const char* at) {
    return static_cast<unsigned char>(at[0]) |
           static_cast<unsigned>(static_cast<unsigned char>(at[1])) << 8U;
}

void putSample(char* at, unsigned sample) {
    at[0] = static_cast<char>(sample & 0xFFU);
    at[1] = static_cast<char>(sample >> 8U);
}

// The highest bits again below the lowest, so that 0 and 1023 become 0 and 65535.
unsigned widened(unsigned tenBits) {
    return tenBits << 6U | tenBits >> 4U;
}

unsigned narrowed(const char* at) {
    const unsigned sample = sampleAt(at);
    if (widened(sample >> 6U) != sample) {
        throw Failure(Status::LocalFile, "a sample of the image (" + std::to_string(sample) +
                                             ") has more than the 10 bits of the clip");
    }
    return sample >> 6U;
}

// One big-endian word per pixel: red in the top 10 bits, then green and blue; 2 bits stay 0.
Bytes packed(const Bytes& pixels) {
    Bytes words(pixels.size() / 6 * 4);
    for (std::size_t pixel = 0; pixel < words.size() / 4; ++pixel) {
        const char* at = &pixels[pixel * 6];
        const unsigned word =
            narrowed(at) << 22U | narrowed(at + 2) << 12U | narrowed(at + 4) << 2U;
        for (unsigned byte = 0; byte < 4; ++byte) {
            words[pixel * 4 + byte] = static_cast<char>(word >> (24U - 8U * byte) & 0xFFU);
        }
    }
    return words;
}

Bytes unpacked(const Bytes& words) {
    Bytes pixels(words.size() / 4 * 6);
    for (std::size_t pixel = 0; pixel < words.size() / 4; ++pixel) {
        unsigned word = 0;
        for (unsigned byte = 0; byte < 4; ++byte) {
            word = word << 8U | static_cast<unsigned char>(words[pixel * 4 + byte]);
        }
        for (unsigned channel = 0; channel < 3; ++channel) {
            putSample(&pixels[pixel * 6 + std::size_t{2} * channel],
                      widened(word >> (22U - 10U * channel) & 0x3FFU));
        }
    }
    return pixels;
}

} // namespace

PixelLayout heldLayout(const PixelLayout& layout) {
    return layout.kind == SampleKind::Packed10 ? PixelLayout{SampleKind::Integer16, 3} : layout;
}

Bytes frameOfImage(Image image, const PixelLayout& layout) {
    return layout.kind == SampleKind::Packed10 ? packed(image.pixels) : std::move(image.pixels);
}

Image imageOfFrame(Bytes frame, const PixelLayout& layout, int width, int height) {
    if (layout.kind == SampleKind::Packed10) {
        return {heldLayout(layout), width, height, unpacked(frame)};
    }
    return {layout, width, height, std::move(frame)};
}

} // namespace tool
