// What the bytes of a frame mean: the format tags that the tool knows, the size of a frame, and
// the packing of 10-bit samples. docs/frames.md describes the same for people.
// Plain values. Failures are thrown as Error.
#ifndef IMAGE_PIXELLAYOUT_H
#define IMAGE_PIXELLAYOUT_H

#include "image/SampleFormat.h"
#include "image/TimeCode.h"
#include "lantrix/LantrixTypes.h"

#include <optional>
#include <string>

namespace image {

/// Rows from top to bottom without padding, pixels from left to right, channels interleaved.
struct PixelLayout {
    SampleKind kind = SampleKind::Integer8;
    int channels = 3; ///< 1 gray, 2 gray and alpha, 3 RGB, 4 RGBA; Packed10 is RGB.

    [[nodiscard]] const SampleFormat& samples() const { return sampleFormat(kind); }
    [[nodiscard]] int bitsPerPixel() const { return samples().bits * channels; }
    /// The format tag, "rgb8" and the like.
    [[nodiscard]] std::string tag() const;
    /// In which an Image holds the pixels of such a frame.
    [[nodiscard]] PixelLayout held() const { return {samples().heldAs, channels}; }
    bool operator==(const PixelLayout& other) const {
        return kind == other.kind && channels == other.channels;
    }
};

/// The layout of a format tag; none for a tag that is not known.
[[nodiscard]] std::optional<PixelLayout> layoutOfTag(const std::string& tag);
/// The integer layout of these numbers; none when there is none.
[[nodiscard]] std::optional<PixelLayout> layoutOfDepth(int bitsPerPixel, int channels);

/// Bytes of one frame. Refuses a frame that is larger than the protocol can carry.
[[nodiscard]] int frameBytes(const PixelLayout& layout, int width, int height);

/// The pixels of one image or frame, laid out as in a frame, but for Packed10, which is held as
/// Integer16 with the 10 bits widened. Samples of more than a byte are little-endian.
struct Image {
    PixelLayout layout;
    int width = 0;
    int height = 0;
    Bytes pixels;
    float pixelRatio = 0;              ///< Width of a pixel by its height; 0: not given.
    float frameRate = 0;               ///< Frames per second; 0: not given.
    std::optional<TimeCode> timeCode;  ///< None: not given.
    std::optional<PixelLayout> source; ///< Of the file's samples, where it is not the held one.
};

/// The format of a new clip of images of this kind.
[[nodiscard]] LantrixClipFormat clipFormat(const PixelLayout& layout, int width, int height);
/// The same, with the pixel ratio, the rate and the time code that the image gives.
[[nodiscard]] LantrixClipFormat clipFormat(const PixelLayout& layout, const Image& image);
/// Parses "WIDTHxHEIGHTxBITS[xCHANNELS][@RATE]"; \p tag, when not empty, names the layout. The
/// frame buffer size follows from the layout, or from the bits where the tag is not known.
[[nodiscard]] LantrixClipFormat parseClipFormat(const std::string& text, const std::string& tag);
/// "1920x1080x24x3@25 rgb8 progressive", for people.
[[nodiscard]] std::string describeFormat(const LantrixClipFormat& format);

/// True when frames of one format can be those of the other; the rate and the like may differ.
[[nodiscard]] bool isSameKind(const LantrixClipFormat& a, const LantrixClipFormat& b);

/// The layout of a clip's frames. Refuses a tag that is not known, and one that does not fit the
/// rest of the format.
[[nodiscard]] PixelLayout layoutOfClip(const LantrixClipFormat& format);

/// Packs the image into the bytes of a frame, and back. An image with samples that 10 bits can't
/// hold exactly is refused.
[[nodiscard]] Bytes frameOfImage(Image image, const PixelLayout& layout);
[[nodiscard]] Image imageOfFrame(Bytes frame, const PixelLayout& layout, int width, int height);
/// The same for the frame \p index of a clip, whose layout must be known.
[[nodiscard]] Image imageOfFrame(Bytes frame, const LantrixClipFormat& format, int index = 0);

} // namespace image

#endif
