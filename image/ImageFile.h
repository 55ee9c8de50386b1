// Image files on the local disk: PNG with 8 and 16 bits, OpenEXR with halves, and PAM as output.
// The kind of a file follows from its name's extension. One thread at a time per file; different
// files are independent. Failures are thrown as Error.
#ifndef IMAGE_IMAGEFILE_H
#define IMAGE_IMAGEFILE_H

#include "image/PixelLayout.h"

#include <string>

namespace image {

/// Reads all but the pixels, which stay empty. Refuses a file that has been cut off.
[[nodiscard]] Image readImageHeader(const std::string& file);
[[nodiscard]] Image readImage(const std::string& file);

/// A kind that can't hold the image exactly is refused.
void writeImage(const Image& image, const std::string& file);
/// Refuses a name whose kind can't hold images of this layout exactly.
void checkImageName(const std::string& name, const PixelLayout& layout);

/// Writes the image as PAM. \p layout is the clip's: 10-bit samples are written as such. \p name
/// is what messages call the descriptor.
void writePam(const Image& image, const PixelLayout& layout, int descriptor,
              const std::string& name);

} // namespace image

#endif
