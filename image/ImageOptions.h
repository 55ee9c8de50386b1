// How image files are read and written where there is more than one way. Plain values.
#ifndef IMAGE_IMAGEOPTIONS_H
#define IMAGE_IMAGEOPTIONS_H

#include <string>

namespace image {

/// How to read files of which there is more than one way to read them.
struct ReadOptions {
    std::string part; ///< Name or number, from 0 on, of a part of an OpenEXR or TIFF file; "" for
                      ///< the only one.
    bool fit = false; ///< Cut or fill up with black what does not cover the display window.
};

/// How to write; "" is the kind's own choice.
struct WriteOptions {
    std::string compression;
};

} // namespace image

#endif
