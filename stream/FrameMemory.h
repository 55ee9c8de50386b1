// What readers and writers share: the buffers that go round within a bound, and the handles of one
// clip on all connections of a pool.
#ifndef STREAM_FRAMEMEMORY_H
#define STREAM_FRAMEMEMORY_H

#include "stream/Frame.h"
#include "stream/Work.h"

#include <optional>
#include <vector>

namespace lantrix {

/// Where a buffer goes back to. Any thread.
class FrameBufferHome {
public:
    virtual ~FrameBufferHome() = default;
    virtual void takeBack(FrameBytes bytes) noexcept = 0;
};

/// Buffers of one size, made when they are first needed. Its owner's lock guards it.
class FrameMemory {
public:
    FrameMemory(std::size_t frameSize, const FrameWindow& window);

    /// The bound, in frames; at least 1.
    [[nodiscard]] std::size_t limit() const { return limit_; }
    /// The buffers that can be taken now.
    [[nodiscard]] std::size_t available() const { return limit_ - made_ + free_.size(); }
    /// One of the available buffers; its bytes are anything. Throws std::bad_alloc.
    FrameBytes take();
    void give(FrameBytes bytes) noexcept;

private:
    std::size_t frameSize_;
    std::size_t limit_;
    std::size_t made_ = 0;
    std::vector<FrameBytes> free_; // with room for all
};

/// One clip as a node handle on each connection: the format and the frames' ids are asked once and
/// copied. Each connection's thread uses its own.
class ClipHandles {
public:
    /// Asks for what \p clip does not know, in the calling thread.
    ClipHandles(const LantrixNodeHandle& clip, unsigned connections);

    /// Why the clip's frames can't be moved, if they can't.
    [[nodiscard]] const Failure& failure() const { return failure_; }
    /// Bytes of one frame; 0 behind a failure.
    [[nodiscard]] int frameSize() const { return frameSize_; }
    /// The clip on a connection.
    LantrixNodeHandle& on(const Connection& connection);

private:
    LantrixNodeHandle clip_; // knows its format and frames, unless there is a failure
    Failure failure_;
    int frameSize_ = 0;
    std::vector<std::optional<LantrixNodeHandle>> copies_; // by connection
};

} // namespace lantrix

#endif
