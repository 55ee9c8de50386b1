// The shape of a clip as people write it: "1920x1080x24@25". The tool's --format and the
// development server's --clip are read here, and nowhere else.
// Stateless; any thread. Failures are ClipShapeError, which says what is wrong with the text.
#ifndef IMAGE_CLIPSHAPE_H
#define IMAGE_CLIPSHAPE_H

#include "lantrix/LantrixTypes.h"

#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace image {

/// The reason alone, without the text and without a full stop: "'-1' is not a positive number".
class ClipShapeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads "WxHxBITS[xCHANNELS][@RATE]": pixels, bits of one pixel, frames per second as "25",
/// "23.976" or "24000/1001". Channels default to those that the bits suggest, the rate to 30; clips
/// are progressive, their tags empty.
/// The frame buffer size is that of unpadded pixels; beyond \p mostBytes it is an error.
[[nodiscard]] LantrixClipFormat clipFormatOfShape(std::string_view text, std::uint64_t mostBytes);

} // namespace image

#endif
