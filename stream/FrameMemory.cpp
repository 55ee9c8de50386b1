#include "stream/FrameMemory.h"

#include <algorithm>
#include <utility>

namespace lantrix {

FrameBuffer::FrameBuffer() noexcept = default;

FrameBuffer::FrameBuffer(std::shared_ptr<FrameBufferHome> home, FrameBytes bytes,
                         std::size_t size) noexcept
    : home_(std::move(home)), bytes_(std::move(bytes)), size_(size) {}

FrameBuffer::FrameBuffer(FrameBuffer&& other) noexcept
    : home_(std::move(other.home_)), bytes_(std::move(other.bytes_)),
      size_(std::exchange(other.size_, 0)) {}

FrameBuffer& FrameBuffer::operator=(FrameBuffer&& other) noexcept {
    if (this != &other) {
        giveBack();
        home_ = std::move(other.home_);
        bytes_ = std::move(other.bytes_);
        size_ = std::exchange(other.size_, 0);
    }
    return *this;
}

FrameBuffer::~FrameBuffer() {
    giveBack();
}

void FrameBuffer::giveBack() noexcept {
    if (bytes_ != nullptr)
        home_->takeBack(std::move(bytes_));
    home_.reset();
}

FrameMemory::FrameMemory(std::size_t frameSize, const FrameWindow& window)
    : frameSize_(frameSize),
      limit_(std::max<std::size_t>(
          std::min(window.frames, window.bytes / std::max<std::size_t>(frameSize, 1)), 1)) {
    free_.reserve(limit_);
}

// Not filled with zeros: every byte of it will be a frame's.
FrameBytes FrameMemory::take() {
    if (free_.empty()) {
        FrameBytes bytes = allocateFrame(frameSize_);
        ++made_;
        return bytes;
    }
    FrameBytes bytes = std::move(free_.back());
    free_.pop_back();
    return bytes;
}

void FrameMemory::give(FrameBytes bytes) noexcept {
    if (bytes != nullptr)
        free_.push_back(std::move(bytes));
}

ClipHandles::ClipHandles(const LantrixNodeHandle& clip, unsigned connections)
    : clip_(clip), copies_(connections) {
    LantrixClipFormat format;
    int frames = 0;
    if (!clip_.getClipFormat(format) || !clip_.getNumFrames(frames))
        failure_ = Failure::lastOf(clip_.getServer());
    else if (format.frameBufferSize() <= 0)
        failure_ = {Failure::Kind::Refused, "The clip's format has no frame size."};
    else
        frameSize_ = format.frameBufferSize();
}

// The connection's handle is another one after each failure.
LantrixNodeHandle& ClipHandles::on(const Connection& connection) {
    std::optional<LantrixNodeHandle>& copy = copies_[connection.number];
    if (!copy)
        copy.emplace(clip_);
    copy->setServer(connection.server);
    return *copy;
}

} // namespace lantrix
