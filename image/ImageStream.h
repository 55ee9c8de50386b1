// Images that come one behind the other from a descriptor: PAM, PPM and PGM with 8 and 16 bits, and
// PNG, in any order. Each kind is recognised by its first bytes and read to its end, so that the
// descriptor may be a pipe; one image is in memory at a time. Borrows the descriptor; used by one
// thread at a time. Failures are thrown as Error.
#ifndef IMAGE_IMAGESTREAM_H
#define IMAGE_IMAGESTREAM_H

#include "image/LocalFile.h"
#include "image/PixelLayout.h"

#include <string>

namespace image {

class ImageStream {
public:
    /// \p name is what messages call the descriptor.
    ImageStream(int descriptor, std::string name) : input_(descriptor, std::move(name)) {}

    /// Reads the next image; false at the end of the stream. A failure names the number of the
    /// image, the first of which is 1; nothing can be read after it.
    [[nodiscard]] bool next(Image& image);
    /// The same for frames as they are, of the size that \p frame has.
    [[nodiscard]] bool next(Bytes& frame);

private:
    InputBuffer input_;
    int count_ = 0; // images begun
};

} // namespace image

#endif
