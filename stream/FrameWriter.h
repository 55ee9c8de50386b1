// Writes frames of a clip over all connections of a pool, in any order, a bounded number at once.
// Owns its buffers and copies the clip's handle; borrows the pool, which must outlive it.
// Threads: all functions from any thread. Results are told in the pool's threads, by one at a time.
// Failures are values: each frame that was handed in has one result.
#ifndef STREAM_FRAMEWRITER_H
#define STREAM_FRAMEWRITER_H

#include "stream/Frame.h"
#include "stream/Pool.h"

#include <functional>
#include <memory>

namespace lantrix {

class FrameWriterCore;

/// What became of one frame that was handed in.
struct WriteResult {
    /// What is known about the frame on the server.
    enum class State {
        Acknowledged, ///< The server has said that it is stored.
        Refused,      ///< The server, or a check before it, has said no: it is not stored.
        Sent,         ///< Sending had begun and no answer came: nobody knows.
        NotSent       ///< Sending had not begun: it is not stored.
    };

    int index = 0;                ///< In the clip, from 0.
    State state = State::NotSent; ///< How it ended.
    Failure failure;              ///< None for an acknowledged frame.
};

/// How many frames ended in each state.
struct WriteCounts {
    std::size_t acknowledged = 0; ///< Stored.
    std::size_t refused = 0;      ///< Not stored.
    std::size_t sent = 0;         ///< Perhaps stored.
    std::size_t notSent = 0;      ///< Not stored.
};

/// Writes frames over all connections of a pool, in any order.
class LANTRIX_EXPORT FrameWriter {
public:
    /// Hears what became of a frame.
    using Told = std::function<void(const WriteResult& result)>;

    /// Will write frames of \p clip, a node on the pool's host with as many frames as will be
    /// written; what it does not know of its format and frames is asked through it, before the
    /// constructor returns. \p told hears each result; it must be brief and must not throw. With
    /// Retry::OnAnotherConnection a frame whose connection broke is sent again, so that the server
    /// may store it twice, with the same bytes. Each frame sends "WriteFrame".
    FrameWriter(Pool& pool, const LantrixNodeHandle& clip, Told told,
                const FrameWindow& window = FrameWindow(), Retry retry = Retry::Never);
    /// Ends what is under way, within 1.1 s; the results are told before it returns.
    ~FrameWriter();
    FrameWriter(const FrameWriter&) = delete;
    FrameWriter& operator=(const FrameWriter&) = delete;

    /// A buffer of one frame's size to fill; waits while the window is full of frames under way
    /// and of buffers that the application holds. None when the pool has been cancelled or the
    /// clip can't be written, for the reason that failure() gives.
    FrameBuffer take();
    /// Hands in frame \p index: all bytes of a buffer that take() gave.
    void write(int index, FrameBuffer pixels);
    /// Waits until every frame that was handed in has its result, and returns their counts so far.
    WriteCounts finish();
    /// Why take() gives no buffer: what was wrong with the clip from the start, or a stop.
    [[nodiscard]] Failure failure() const;

private:
    std::shared_ptr<FrameWriterCore> core_; // shared with the buffers; never null
};

} // namespace lantrix

#endif
