// How the samples of a frame are stored: one row of a table for each kind of sample.
// Plain values. Failures are thrown as Error.
#ifndef IMAGE_SAMPLEFORMAT_H
#define IMAGE_SAMPLEFORMAT_H

#include <cstddef>
#include <vector>

namespace image {

using Bytes = std::vector<char>;

enum class SampleKind { Integer8, Integer16, Half, Float, Packed10 };

/// One kind of sample.
struct SampleFormat {
    SampleKind kind;
    const char* name;      ///< In format tags, behind the names of the channels.
    int bits;              ///< Of one sample that carry its value.
    int packedChannels;    ///< Channels that share a 32-bit word; 0: each sample has its own bytes.
    unsigned maximum;      ///< The largest integer; 0 for floating point.
    const char* extension; ///< Of the image files that are written unless others are asked for.
    SampleKind heldAs;     ///< In an Image.
    Bytes (*pack)(const Bytes& pixels);  ///< From an Image into a frame; null: they are the same.
    Bytes (*unpack)(const Bytes& frame); ///< The reverse.
};

/// All kinds, in the order of the documentation.
[[nodiscard]] const std::vector<SampleFormat>& sampleFormats();
[[nodiscard]] const SampleFormat& sampleFormat(SampleKind kind);

/// Packed10 for whoever computes with the numbers: three little-endian samples of 16 bits a pixel,
/// 0 to 1023 as they are, where an Image has them widened. Into words of 4 bytes, refusing samples
/// above 1023, and back; the words that are unpacked may be the end of the samples' own memory.
void packCodes(const char* samples, std::size_t pixels, char* words);
void unpackCodes(const char* words, std::size_t pixels, char* samples);

} // namespace image

#endif
