// The frames of a clip, asked of the server in one go and never changed afterwards: their ids,
// their format, and what their files are. Shared by whoever looks at it; any thread. Sends nothing.
#ifndef FRAMES_CLIPFRAMES_H
#define FRAMES_CLIPFRAMES_H

#include "image/FrameFile.h"
#include "lantrix/LantrixClientAPI.h"

#include <mutex>
#include <string>

namespace frames {

class ClipFrames {
public:
    /// \p handle knows the format and the frames, and asks for nothing any more.
    ClipFrames(const LantrixNodeHandle& handle, const LantrixClipFormat& format, int count,
               image::FrameFile file);
    virtual ~ClipFrames() = default;
    ClipFrames(const ClipFrames&) = delete;
    ClipFrames& operator=(const ClipFrames&) = delete;

    [[nodiscard]] const LantrixClipFormat& format() const { return format_; }
    [[nodiscard]] const image::FrameFile& file() const { return file_; }
    [[nodiscard]] int count() const { return count_; }
    /// The frame's id on the server.
    [[nodiscard]] std::string frameId(int index) const;

private:
    LantrixServerHandle
        nowhere_; // of the handle, which outlives the one that it was filled through
    LantrixClipFormat format_;
    int count_;
    image::FrameFile file_;
    mutable std::mutex mutex_; // handles are one thread's at a time
    LantrixNodeHandle handle_;
};

} // namespace frames

#endif
