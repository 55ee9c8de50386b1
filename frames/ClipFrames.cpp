#include "frames/ClipFrames.h"

#include <utility>

namespace frames {

ClipFrames::ClipFrames(const LantrixNodeHandle& handle, const LantrixClipFormat& format, int count,
                       image::FrameFile file)
    : nowhere_(""), format_(format), count_(count), file_(std::move(file)), handle_(handle) {
    handle_.setServer(nowhere_);
}

std::string ClipFrames::frameId(int index) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    LantrixStr id;
    return handle_.getFrameId(index, id) ? std::string(id.c_str(), id.length()) : "";
}

} // namespace frames
