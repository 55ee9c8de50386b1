// PAM, the plain format of the Netpbm tools: integers of 8 and 16 bits.
#include "image/Error.h"
#include "image/ImageFile.h"
#include "image/LocalFile.h"

#include <array>

namespace image {

namespace {

constexpr std::array<const char*, 5> tupleTypes{"", "GRAYSCALE", "GRAYSCALE_ALPHA", "RGB",
                                                "RGB_ALPHA"};

// PAM is big-endian and has no samples wider than its maximum.
Bytes narrowedSamples(const Image& image, const SampleFormat& samples) {
    const unsigned unused = 16U - static_cast<unsigned>(samples.bits);
    Bytes bytes = image.pixels;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        unsigned sample = static_cast<unsigned char>(bytes[i]) |
                          static_cast<unsigned>(static_cast<unsigned char>(bytes[i + 1])) << 8U;
        sample >>= unused;
        bytes[i] = static_cast<char>(sample >> 8U);
        bytes[i + 1] = static_cast<char>(sample & 0xFFU);
    }
    return bytes;
}

} // namespace

void writePam(const Image& image, const PixelLayout& layout, int descriptor,
              const std::string& name) {
    const SampleFormat& samples = layout.samples();
    if (samples.maximum == 0) {
        throw Error(ErrorKind::UnknownLayout, "PAM has no " + layout.tag());
    }
    const auto number = [](auto value) { return std::to_string(value); };
    writeAll(descriptor,
             "P7\nWIDTH " + number(image.width) + "\nHEIGHT " + number(image.height) + "\nDEPTH " +
                 number(layout.channels) + "\nMAXVAL " + number(samples.maximum) + "\nTUPLTYPE " +
                 tupleTypes.at(static_cast<std::size_t>(layout.channels)) + "\nENDHDR\n",
             name);
    const bool isWide = image.layout.kind == SampleKind::Integer16;
    writeAll(descriptor, isWide ? narrowedSamples(image, samples) : image.pixels, name);
}

} // namespace image
