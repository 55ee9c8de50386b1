// What stands behind a FrameReader: the window, a ring of places of the list that are being read or
// have been, and tickets, pieces of work that take the first place not yet asked for when they come
// to run. So what runs next is decided as late as can be, and a jump has nothing to take back.
// Any thread. Lives until the last frame that was given out has come back.
#ifndef STREAM_FRAMEREADERCORE_H
#define STREAM_FRAMEREADERCORE_H

#include "stream/FrameMemory.h"
#include "stream/Pool.h"

#include <condition_variable>
#include <mutex>

namespace lantrix {

class FrameReaderCore : public FrameBufferHome,
                        public std::enable_shared_from_this<FrameReaderCore> {
public:
    FrameReaderCore(Pool& pool, const LantrixNodeHandle& clip, std::vector<int> indices,
                    const FrameWindow& window);

    void start();
    /// Ends the work and lets the pool go.
    void close();
    std::optional<Frame> next();
    [[nodiscard]] bool isReady() const;
    bool request(int index);
    void takeBack(FrameBytes bytes) noexcept override;

private:
    struct Slot {
        enum class State { Empty, Asked, Fetched };
        State state = State::Empty;
        std::size_t place = 0; // in the list
        FrameBytes bytes;      // of a frame that was fetched without a failure
        Failure failure;
    };
    struct Ticket {
        enum class State { Free, Waiting, Reading, Idle }; // Idle: had begun, and found no place
        State state = State::Free;
        bool announces = false; // the next place, at the first try
        std::size_t place = 0;
        FrameBytes bytes;
    };

    Slot& slotOf(std::size_t place) { return slots_[place % slots_.size()]; }
    [[nodiscard]] const Slot* find(std::size_t place) const;
    [[nodiscard]] std::size_t windowEnd() const;
    [[nodiscard]] bool isWanted(std::size_t place) const;
    [[nodiscard]] bool nextIsKnown() const;
    std::size_t firstUnasked();
    Slot* farthestBehind(std::size_t place);
    [[nodiscard]] std::size_t askable();
    [[nodiscard]] bool isTimeToFeed();
    void feed();
    void feedAll();

    Failure fetch(const Connection& connection, Ticket& ticket);
    bool begin(Ticket& ticket);
    FrameBytes takeBytes(std::size_t place);
    void dropUnwanted();
    void fetched(Ticket& ticket, const Failure& failure);

    ClipHandles clip_;
    const std::vector<int> indices_;

    mutable std::mutex mutex_; // guards all that follows
    std::condition_variable changed_;
    std::unique_ptr<WorkGroup> group_; // null once closed
    FrameMemory memory_;
    std::vector<Slot> slots_; // one for each place of the window
    std::vector<Ticket> tickets_;
    std::size_t waiting_ = 0; // tickets in that state
    std::size_t held_ = 0;    // buffers that the application holds
    std::size_t place_ = 0;   // what next() gives out
    std::size_t cursor_ = 0;  // every place of the window before it is asked for
    std::size_t atOnce_ = 0;  // reads that may be under way
    bool isFilling_ = false;  // since a share of the buffers was free, until none is
    bool stopped_ = false;
};

} // namespace lantrix

#endif
