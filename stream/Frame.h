// Frames on their way between an application and a pool: the buffers that go round, the bound on
// them, and one frame as a reader gives it out.
// A buffer is its holder's; when it is destroyed its memory goes back to the reader or writer that
// it came from, to be used again, or is freed when that has gone. One thread at a time per object.
#ifndef STREAM_FRAME_H
#define STREAM_FRAME_H

#include "stream/Failure.h"

#include <cstddef>
#include <memory>

namespace lantrix {

class FrameBufferHome;

/// Where the memory of a frame begins, in bytes. Large blocks of `malloc` begin 16 bytes beyond a
/// page: what a socket receives is copied there more slowly, on some machines at half the speed.
inline constexpr std::size_t frameAlignment = 64;

/// Frees what allocateFrame() has given.
struct FrameBytesDelete {
    /// Frees it.
    void operator()(const char* bytes) const noexcept { delete[](bytes - bytes[-1]); }
};
using FrameBytes = std::unique_ptr<char[], FrameBytesDelete>;

/// Memory for a frame of \p size bytes, which are anything. Throws std::bad_alloc. Any thread.
[[nodiscard]] LANTRIX_EXPORT FrameBytes allocateFrame(std::size_t size);

/// How much a reader or writer holds at once: frames under way, frames that wait to be given out,
/// and frames that the application holds. The smaller bound counts; one frame is always held.
struct FrameWindow {
    std::size_t bytes = std::size_t{256} << 20; ///< Of all buffers together.
    std::size_t frames = 64;                    ///< Count of buffers.
};

/// The memory of one frame, moved from hand to hand.
class LANTRIX_EXPORT FrameBuffer {
public:
    /// None.
    FrameBuffer() noexcept;
    FrameBuffer(FrameBuffer&& other) noexcept;
    /// Gives back the memory held before.
    FrameBuffer& operator=(FrameBuffer&& other) noexcept;
    /// Gives the memory back.
    ~FrameBuffer();

    /// False for none, and for one that was moved from.
    explicit operator bool() const noexcept { return bytes_ != nullptr; }
    /// The bytes, size() of them; null for none.
    [[nodiscard]] char* data() noexcept { return bytes_.get(); }
    [[nodiscard]] const char* data() const noexcept { return bytes_.get(); }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

private:
    friend class FrameReaderCore;
    friend class FrameWriterCore;

    FrameBuffer(std::shared_ptr<FrameBufferHome> home, FrameBytes bytes, std::size_t size) noexcept;
    void giveBack() noexcept;

    std::shared_ptr<FrameBufferHome> home_; // null when there are no bytes
    FrameBytes bytes_;
    std::size_t size_ = 0;
};

/// One frame of a clip, or why it could not be had.
struct Frame {
    int index = 0;      ///< In the clip, from 0.
    Failure failure;    ///< None when the frame is whole.
    FrameBuffer pixels; ///< All bytes of the frame; none behind a failure.
};

} // namespace lantrix

#endif
