// The functions for each kind of image file, among which image/ImageFile.cpp chooses by the name.
// Failures are thrown as Error.
#ifndef IMAGE_IMAGEFORMATS_H
#define IMAGE_IMAGEFORMATS_H

#include "image/ImageOptions.h"
#include "image/LocalFile.h"
#include "image/PixelLayout.h"

#include <cstdint>
#include <string>

namespace image {

enum class Extent { Header, All };

[[nodiscard]] Image readPng(const std::string& file, Extent extent, const ReadOptions& options);
void writePng(const Image& image, const std::string& file, const WriteOptions& options);
/// The next image, up to its end.
[[nodiscard]] Image readPng(InputBuffer& input);

[[nodiscard]] Image readExr(const std::string& file, Extent extent, const ReadOptions& options);
void writeExr(const Image& image, const std::string& file, const WriteOptions& options);

[[nodiscard]] Image readTiff(const std::string& file, Extent extent, const ReadOptions& options);
void writeTiff(const Image& image, const std::string& file, const WriteOptions& options);

[[nodiscard]] Image readDpx(const std::string& file, Extent extent, const ReadOptions& options);
void writeDpx(const Image& image, const std::string& file, const WriteOptions& options);

/// The pieces of files without compression, as they are made in memory. Of an image without pixels
/// they give what does not depend on them: all in front of the pixels, and the size of the file.
[[nodiscard]] Bytes headOfTiff(const Image& image);
[[nodiscard]] Bytes headOfDpx(const Image& image);
[[nodiscard]] Bytes rowsOfDpx(const Image& image);
[[nodiscard]] std::uint64_t sizeOfDpx(const Image& image);
[[nodiscard]] Bytes bytesOfExr(const Image& image);
[[nodiscard]] std::uint64_t sizeOfExr(const Image& image);

/// rgb8 only.
void writeJpeg(const Image& image, const std::string& file, const WriteOptions& options);

/// PAM, PPM and PGM: the next image, up to its end.
[[nodiscard]] Image readNetpbm(InputBuffer& input);

} // namespace image

#endif
