#include "image/SampleFormat.h"

#include "image/Error.h"

#include <algorithm>
#include <string>

namespace image {

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
        throw Error(ErrorKind::File, "a sample of the image (" + std::to_string(sample) +
                                         ") has more than the 10 bits of the clip");
    }
    return sample >> 6U;
}

// One big-endian word per pixel: red in the top 10 bits, then green and blue; 2 bits stay 0.
template <class TenBitsAt>
void packWords(const char* samples, std::size_t pixels, char* words, TenBitsAt tenBitsAt) {
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
        const char* at = samples + pixel * 6;
        const unsigned word =
            tenBitsAt(at) << 22U | tenBitsAt(at + 2) << 12U | tenBitsAt(at + 4) << 2U;
        for (unsigned byte = 0; byte < 4; ++byte)
            words[pixel * 4 + byte] = static_cast<char>(word >> (24U - 8U * byte) & 0xFFU);
    }
}

template <class SampleOf>
void unpackWords(const char* words, std::size_t pixels, char* samples, SampleOf sampleOf) {
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
        unsigned word = 0;
        for (unsigned byte = 0; byte < 4; ++byte)
            word = word << 8U | static_cast<unsigned char>(words[pixel * 4 + byte]);
        for (unsigned channel = 0; channel < 3; ++channel) {
            putSample(samples + pixel * 6 + std::size_t{2} * channel,
                      sampleOf(word >> (22U - 10U * channel) & 0x3FFU));
        }
    }
}

Bytes pack10(const Bytes& pixels) {
    Bytes words(pixels.size() / 6 * 4);
    packWords(pixels.data(), words.size() / 4, words.data(), narrowed);
    return words;
}

Bytes unpack10(const Bytes& words) {
    Bytes pixels(words.size() / 4 * 6);
    unpackWords(words.data(), words.size() / 4, pixels.data(), widened);
    return pixels;
}

unsigned codeAt(const char* at) {
    const unsigned code = sampleAt(at);
    if (code > 1023) {
        throw Error(ErrorKind::Argument,
                    "a sample (" + std::to_string(code) + ") has more than 10 bits");
    }
    return code;
}

} // namespace

const std::vector<SampleFormat>& sampleFormats() {
    using Kind = SampleKind;
    static const std::vector<SampleFormat> formats{
        {Kind::Integer8, "8", 8, 0, 255, ".png", Kind::Integer8, nullptr, nullptr},
        {Kind::Integer16, "16", 16, 0, 65535, ".png", Kind::Integer16, nullptr, nullptr},
        {Kind::Half, "16f", 16, 0, 0, ".exr", Kind::Half, nullptr, nullptr},
        {Kind::Float, "32f", 32, 0, 0, ".exr", Kind::Float, nullptr, nullptr},
        {Kind::Packed10, "10", 10, 3, 1023, ".png", Kind::Integer16, pack10, unpack10},
    };
    return formats;
}

const SampleFormat& sampleFormat(SampleKind kind) {
    const std::vector<SampleFormat>& formats = sampleFormats();
    return *std::find_if(formats.begin(), formats.end(),
                         [kind](const SampleFormat& format) { return format.kind == kind; });
}

void packCodes(const char* samples, std::size_t pixels, char* words) {
    packWords(samples, pixels, words, codeAt);
}

void unpackCodes(const char* words, std::size_t pixels, char* samples) {
    unpackWords(words, pixels, samples, [](unsigned code) { return code; });
}

} // namespace image
