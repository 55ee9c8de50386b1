// One pair of functions for each kind of image file, among which image/ImageFile.cpp chooses by the
// name. Failures are thrown as Error.
#ifndef IMAGE_IMAGEFORMATS_H
#define IMAGE_IMAGEFORMATS_H

#include "image/PixelLayout.h"

#include <string>

namespace image {

[[nodiscard]] Image readPng(const std::string& file, bool withPixels);
void writePng(const Image& image, const std::string& file);

[[nodiscard]] Image readExr(const std::string& file, bool withPixels);
void writeExr(const Image& image, const std::string& file);

} // namespace image

#endif
