// The frames of a clip as image files in memory: without compression, so that all files of the clip
// have one size, which its format alone tells.
// A plain value; functions that change nothing may be called from any thread. Failures are thrown
// as Error.
#ifndef IMAGE_FRAMEFILE_H
#define IMAGE_FRAMEFILE_H

#include "image/PixelLayout.h"

#include <cstdint>
#include <optional>
#include <string>

namespace image {

class FrameFile {
public:
    /// \p extension is ".tif", ".dpx", ".exr" or ".raw", the bytes of the frame as they are. One
    /// that can't hold frames of this format exactly, and "", stand for the one that is best:
    /// ".dpx" for samples of 10 bits, ".tif" for other integers, ".exr" for floating point, ".raw"
    /// where the layout is not known.
    explicit FrameFile(const LantrixClipFormat& format, const std::string& extension = {});

    [[nodiscard]] const std::string& extension() const { return extension_; }
    /// Bytes of each file.
    [[nodiscard]] std::uint64_t size() const { return size_; }
    /// Bytes of each frame.
    [[nodiscard]] std::size_t frameSize() const { return frameSize_; }
    /// True when each file is head() and behind it the frame as it is.
    [[nodiscard]] bool isPlain() const { return isPlain_; }
    [[nodiscard]] const Bytes& head() const { return head_; }
    /// The file of a frame; for those that are plain, too.
    [[nodiscard]] Bytes encode(Bytes frame) const;

private:
    [[nodiscard]] Image imageOf(Bytes frame) const;

    LantrixClipFormat format_;
    std::optional<PixelLayout> layout_; // none where it is not known
    std::string extension_;
    Bytes head_; // empty where it is made with the rest
    std::uint64_t size_ = 0;
    std::size_t frameSize_ = 0;
    bool isPlain_ = true;
};

} // namespace image

#endif
