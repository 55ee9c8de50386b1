// Reads frames of a clip over all connections of a pool, ahead of the application that takes them
// in order; a player may jump at any moment.
// Owns its buffers and copies the clip's handle; borrows the pool, which must outlive it. Frames
// that were given out are the application's and may outlive the reader.
// Threads: all functions from any thread, next() from one at a time.
// Failures are values in the frames: one frame's failure leaves the others alone.
#ifndef STREAM_FRAMEREADER_H
#define STREAM_FRAMEREADER_H

#include "stream/Frame.h"
#include "stream/Pool.h"

#include <memory>
#include <optional>
#include <vector>

namespace lantrix {

class FrameReaderCore;

/// Reads frames over all connections of a pool and gives them out in order.
class LANTRIX_EXPORT FrameReader {
public:
    /// Will read the frames of \p clip with these \p indices, in this order, and begins at once.
    /// \p clip is a node on the pool's host; what it does not know of its format and frames is
    /// asked through it, before the constructor returns. Each read sends "ReadFrame", on another
    /// connection again when one broke; one whose successor in the list is the next frame of the
    /// clip and has not been asked for yet announces that by "ReadAhead", as
    /// LantrixNodeHandle::readFrame does.
    FrameReader(Pool& pool, const LantrixNodeHandle& clip, std::vector<int> indices,
                const FrameWindow& window = FrameWindow());
    /// Ends the reads under way, within 1.1 s.
    ~FrameReader();
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;

    /// The next frame of the list, each once; waits for it. None behind the last. Frames that are
    /// held count towards the window: when all are held, this waits until one is destroyed. When
    /// the pool is cancelled, the frames that are not there yet are given out as stopped.
    std::optional<Frame> next();
    /// True when next() would not wait.
    [[nodiscard]] bool isReady() const;

    /// Jumps: the frame with this index comes next, ahead of all that was planned, and behind it
    /// what follows it in the list. It is looked for behind the present place first, then from
    /// the beginning; false, with nothing changed, when it is not in the list. What was read ahead
    /// and is not within the window of the new place is dropped, and will be read again should it
    /// come up; reads under way go on to their end.
    bool request(int index);

private:
    std::shared_ptr<FrameReaderCore> core_; // shared with the frames; never null
};

} // namespace lantrix

#endif
