// The files of frames in memory, within a bound: read over all connections of a pool, what somebody
// waits for before what is read ahead; each frame once for all who want it.
// Owns the files, which whoever was given one may go on using; borrows the pool.
// Any thread. Failures are values. A frame that failed is not kept: the next one to want it asks
// again.
#ifndef FRAMES_FRAMECACHE_H
#define FRAMES_FRAMECACHE_H

#include "frames/ClipFrames.h"
#include "stream/Frame.h"
#include "stream/Pool.h"

#include <chrono>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace frames {

/// Memory of files that nobody holds any more, for the next ones: the system takes as long to hand
/// out new pages as a frame takes to arrive. Any thread.
class SpareRooms {
public:
    /// Keeps \p most of them.
    explicit SpareRooms(std::size_t most) : most_(most) { rooms_.reserve(most); }

    /// Room for \p size bytes, which are anything. Throws std::bad_alloc.
    lantrix::FrameBytes take(std::size_t size);
    void give(lantrix::FrameBytes room, std::size_t size) noexcept;
    void clear();
    [[nodiscard]] std::uint64_t bytes() const;

private:
    const std::size_t most_;
    mutable std::mutex mutex_; // guards what follows
    std::size_t size_ = 0;     // of each
    std::vector<lantrix::FrameBytes> rooms_;
};

/// The bytes of one file.
class FileBytes {
public:
    explicit FileBytes(image::Bytes bytes) : kept_(std::move(bytes)), size_(kept_.size()) {}
    /// With room for \p size bytes, which are anything; it goes back to \p home.
    FileBytes(std::shared_ptr<SpareRooms> home, std::size_t size)
        : home_(std::move(home)), room_(home_->take(size)), size_(size) {}
    ~FileBytes() {
        if (home_ != nullptr)
            home_->give(std::move(room_), size_);
    }
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    [[nodiscard]] const char* data() const { return room_ != nullptr ? room_.get() : kept_.data(); }
    [[nodiscard]] char* room() { return room_.get(); }
    [[nodiscard]] std::size_t size() const { return size_; }

private:
    image::Bytes kept_;
    std::shared_ptr<SpareRooms> home_;
    lantrix::FrameBytes room_;
    std::size_t size_;
};

/// A frame of a clip, by a number that is the clip's alone.
struct FrameKey {
    std::uint32_t clip = 0;
    int index = 0;
    bool operator<(const FrameKey& other) const {
        return clip != other.clip ? clip < other.clip : index < other.index;
    }
};

class FrameCache {
public:
    using Clock = std::chrono::steady_clock;
    using File = std::shared_ptr<const FileBytes>;
    using Got = std::function<void(const lantrix::Failure& failure, const File& file)>;

    /// Holds \p memory bytes at most, or one frame; of frames that have been left \p leftMemory
    /// bytes, or one.
    FrameCache(lantrix::Pool& pool, std::uint64_t memory, std::uint64_t leftMemory);

    /// Gives the file of a frame as it was at \p since or later: at once when it is there, else
    /// from a thread of the pool, where \p got must be brief.
    void get(const std::shared_ptr<const ClipFrames>& clip, FrameKey key, Clock::time_point since,
             Got got);
    /// Somebody has begun to read this frame: reads those that come next for one who reads in
    /// order, and gives up what was planned for one who has jumped.
    void readAhead(const std::shared_ptr<const ClipFrames>& clip, FrameKey key,
                   Clock::time_point since);
    /// Somebody has done with this frame: until it is wanted again, its memory is the first to be
    /// used for others.
    void leave(FrameKey key);
    /// The frame is another one now.
    void drop(FrameKey key);

    /// Waits until nothing is on its way any more; for a pool that was cancelled.
    void end() { group_.wait(); }
    /// Bytes of all files that are held, and of those on their way.
    [[nodiscard]] std::uint64_t used() const;

private:
    struct Entry {
        enum class State { Waiting, Reading, There };
        State state = State::Waiting;
        std::shared_ptr<const ClipFrames> clip; // until it is there
        Clock::time_point read;                 // when its reading began
        bool isStale = false;                   // was dropped on its way
        File file;
        std::vector<Got> waiters;
        bool isLeft = false;
        std::list<FrameKey>::iterator use; // in left_ or byUse_, when it is there
    };
    using Entries = std::map<FrameKey, Entry>;
    // What one piece of work reads, chosen when it begins.
    struct Job {
        FrameKey key;
        std::shared_ptr<const ClipFrames> clip; // null: nothing was to be done
        File file;
    };
    // Where somebody is who reads in order.
    struct Run {
        FrameKey next;
        int length = 0;
        Clock::time_point last; // when it went on
    };

    Entry& wanted(const std::shared_ptr<const ClipFrames>& clip, FrameKey key,
                  Clock::time_point since);
    void remove(Entries::iterator entry);
    void setLeft(Entry& entry, bool isLeft);
    void feed();
    lantrix::Failure work(const lantrix::Connection& connection, Job& job);
    bool begin(Job& job);
    bool makeRoom(std::uint64_t size);
    void finished(const Job& job, const lantrix::Failure& failure);
    std::vector<Got> settle(const Job& job, const lantrix::Failure& failure);
    std::vector<Got> giveUp();
    void forgetPlans(std::uint32_t clip);
    int continuesRun(FrameKey key);
    int window(const ClipFrames& clip) const;

    const std::uint64_t memory_;
    const std::uint64_t leftMemory_;
    mutable std::mutex mutex_; // guards all that follows
    Entries entries_;
    std::list<FrameKey> byUse_; // those that are there, the one used last at the end
    std::list<FrameKey> left_;  // those that are there and have been left, the last one at the end
    std::uint64_t leftBytes_ = 0;
    std::deque<FrameKey> demanded_; // those that are not waiting any more are left out
    std::deque<FrameKey> ahead_;
    std::list<Run> runs_; // the one that went on last at the front
    std::uint64_t used_ = 0;
    unsigned working_ = 0; // pieces of work handed in
    unsigned reading_ = 0; // those that read
    bool isFull_ = false;  // until a frame has been read
    const std::shared_ptr<SpareRooms> spares_;
    lantrix::Pool& pool_;
    lantrix::WorkGroup group_; // last: ends first
};

} // namespace frames

#endif
