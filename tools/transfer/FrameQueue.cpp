#include "tools/transfer/FrameQueue.h"

#include "tools/report/Failure.h"
#include "tools/session/Interrupt.h"

#include <chrono>
#include <thread>

namespace tool {

bool FrameQueue::takeFree(Bytes& buffer) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return inUse_ < mostInUse || isUserGone_; });
    if (isUserGone_)
        return false;
    ++inUse_;
    buffer.clear();
    if (!free_.empty()) {
        buffer = std::move(free_.front());
        free_.pop_front();
    }
    return true;
}

void FrameQueue::push(Bytes buffer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    made_.push_back(std::move(buffer));
    changed_.notify_all();
}

bool FrameQueue::pop(Bytes& buffer) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto isReady = [this] { return !made_.empty() || isMakerGone_; };
    while (!changed_.wait_for(lock, std::chrono::milliseconds(50), isReady))
        if (wasInterrupted()) // the maker may wait for a pipe and not see it
            throw Failure(Status::Interrupted, "interrupted");
    if (made_.empty()) {
        if (makerEnd_)
            std::rethrow_exception(makerEnd_);
        return false;
    }
    buffer = std::move(made_.front());
    made_.pop_front();
    return true;
}

void FrameQueue::giveBack(Bytes buffer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    free_.push_back(std::move(buffer));
    --inUse_;
    changed_.notify_all();
}

void FrameQueue::endMaking(std::exception_ptr reason) {
    const std::lock_guard<std::mutex> lock(mutex_);
    makerEnd_ = std::move(reason);
    isMakerGone_ = true;
    changed_.notify_all();
}

void FrameQueue::endUsing() {
    const std::lock_guard<std::mutex> lock(mutex_);
    isUserGone_ = true;
    changed_.notify_all();
}

namespace {

// Ends the maker and waits for it, also when the user throws.
class MakerThread {
public:
    MakerThread(FrameQueue& queue, std::function<void()> run, std::function<void()> abandon)
        : queue_(queue), abandon_(std::move(abandon)), thread_(std::move(run)) {}
    ~MakerThread() {
        queue_.endUsing();
        if (abandon_) {
            abandon_();
            wake(thread_.native_handle());
        }
        thread_.join();
    }
    MakerThread(const MakerThread&) = delete;
    MakerThread& operator=(const MakerThread&) = delete;

private:
    FrameQueue& queue_;
    std::function<void()> abandon_;
    std::thread thread_; // last, so that it sees all else made
};

} // namespace

void overlapFrames(std::size_t begin, std::size_t end,
                   const std::function<void(std::size_t, Bytes&)>& make,
                   const std::function<void(std::size_t, Bytes&)>& use) {
    const auto makeNext = [&](std::size_t i, Bytes& buffer) {
        if (begin + i >= end)
            return false;
        make(begin + i, buffer);
        return true;
    };
    overlapFrames({makeNext, nullptr},
                  [&](std::size_t i, Bytes& buffer) { use(begin + i, buffer); });
}

void overlapFrames(const OpenEndedMaker& maker,
                   const std::function<void(std::size_t, Bytes&)>& use) {
    FrameQueue queue;
    const auto run = [&] {
        try {
            Bytes buffer;
            for (std::size_t i = 0; queue.takeFree(buffer) && maker.make(i, buffer); ++i)
                queue.push(std::move(buffer));
            queue.endMaking(nullptr);
        } catch (...) {
            queue.endMaking(std::current_exception());
        }
    };
    const MakerThread thread(queue, run, maker.abandon);
    Bytes buffer;
    for (std::size_t i = 0; queue.pop(buffer); ++i) {
        use(i, buffer);
        queue.giveBack(std::move(buffer));
    }
}

} // namespace tool
