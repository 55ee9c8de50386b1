// A look over the attributes of an OpenEXR file before OpenEXR reads them: it makes room for a
// value before it looks whether the file has so much, and finds the next attribute behind what it
// has read of this one, whatever size that was said to have.
#ifndef IMAGE_EXRATTRIBUTES_H
#define IMAGE_EXRATTRIBUTES_H

#include <cstdint>
#include <string>

namespace image {

/// Throws Error when an attribute of \p file, which has \p fileSize bytes, is said to have a size
/// that it can't have. A file that is not OpenEXR is left to others.
void requireExrAttributes(const std::string& file, std::uintmax_t fileSize);

} // namespace image

#endif
