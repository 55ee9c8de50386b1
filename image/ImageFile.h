// Image files on the local disk: PNG and TIFF with 8 and 16 bits, DPX with 8, 10 and 16 bits,
// OpenEXR and TIFF with halves and floats, JPEG for viewing; and single images written to
// descriptors. The kind of a file follows from its name's extension. One thread at a time per file;
// different files are independent. Failures are thrown as Error.
#ifndef IMAGE_IMAGEFILE_H
#define IMAGE_IMAGEFILE_H

#include "image/ImageOptions.h"
#include "image/PixelLayout.h"
#include "image/ScreenView.h"

#include <string>

namespace image {

/// Reads all but the pixels, which stay empty. Refuses a file that has been cut off.
[[nodiscard]] Image readImageHeader(const std::string& file, const ReadOptions& options = {});
[[nodiscard]] Image readImage(const std::string& file, const ReadOptions& options = {});

/// A kind that can't hold the image exactly is refused.
void writeImage(const Image& image, const std::string& file, const WriteOptions& options = {});
/// Refuses a name whose kind can't hold images of this layout exactly, or has no such compression.
void checkImageName(const std::string& name, const PixelLayout& layout,
                    const WriteOptions& options = {});

/// The same for pictures for viewing, 8 bits of RGB, which JPEG may hold as well.
void writePicture(const Image& image, const std::string& file);
void checkPictureName(const std::string& name);

/// Writes the image as PAM, samples of 10 bits as such. \p name is what messages call the
/// descriptor.
void writePam(const Image& image, int descriptor, const std::string& name);
/// Writes the image as PNG, or as OpenEXR, which is put together in memory.
void writePng(const Image& image, int descriptor, const std::string& name);
void writeExr(const Image& image, int descriptor, const std::string& name,
              const WriteOptions& options = {});

/// A JPEG file for viewing, in memory; the quality is from 1 to 100.
[[nodiscard]] std::string bytesOfJpeg(const Viewed& viewed, int quality);

} // namespace image

#endif
