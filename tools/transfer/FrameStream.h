// Frames that come one behind the other from standard input, a pipe or a file, as images or as the
// bytes of frames.
// Owns the file, but not standard input. One thread reads; end() may be called by another.
// Failures are thrown as Failure and image::Error.
#ifndef TOOLS_TRANSFER_FRAMESTREAM_H
#define TOOLS_TRANSFER_FRAMESTREAM_H

#include "image/ImageStream.h"
#include "tools/transfer/ClipFrames.h"

#include <optional>
#include <string>

namespace tool {

class FrameStream {
public:
    /// Opens the file; "-" is standard input.
    explicit FrameStream(const std::string& file);

    [[nodiscard]] const std::string& name() const { return name_; }
    /// The first image, which next() gives again. A stream without one is refused.
    [[nodiscard]] const image::Image& firstImage();
    /// Reads the next frame; false at the end.
    [[nodiscard]] bool next(const FileFrames& files, Bytes& frame);
    /// Makes it the end: also for a read that waits, when its thread is signalled.
    void end() const;

private:
    std::string name_;
    std::optional<image::Descriptor> file_; // none: standard input
    int descriptor_;
    image::ImageStream stream_;
    std::optional<image::Image> first_; // until next() has given it
    int count_ = 0;                     // frames given
};

} // namespace tool

#endif
