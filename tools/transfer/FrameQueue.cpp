#include "tools/transfer/FrameQueue.h"

#include <thread>

namespace tool {

bool FrameQueue::takeFree(Bytes& buffer) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return inUse_ < most_ || isUserGone_; });
    if (isUserGone_) {
        return false;
    }
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

Bytes FrameQueue::pop() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return !made_.empty() || makerEnd_; });
    if (made_.empty()) {
        std::rethrow_exception(makerEnd_);
    }
    Bytes buffer = std::move(made_.front());
    made_.pop_front();
    return buffer;
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
    MakerThread(FrameQueue& queue, std::function<void()> run)
        : queue_(queue), thread_(std::move(run)) {}
    ~MakerThread() {
        queue_.endUsing();
        thread_.join();
    }
    MakerThread(const MakerThread&) = delete;
    MakerThread& operator=(const MakerThread&) = delete;

private:
    FrameQueue& queue_;
    std::thread thread_;
};

} // namespace

void overlapFrames(std::size_t begin, std::size_t end,
                   const std::function<void(std::size_t, Bytes&)>& make,
                   const std::function<void(std::size_t, Bytes&)>& use) {
    FrameQueue queue;
    const MakerThread maker(queue, [&] {
        try {
            Bytes buffer;
            for (std::size_t i = begin; i < end && queue.takeFree(buffer); ++i) {
                make(i, buffer);
                queue.push(std::move(buffer));
            }
        } catch (...) {
            queue.endMaking(std::current_exception());
        }
    });
    for (std::size_t i = begin; i < end; ++i) {
        Bytes buffer = queue.pop();
        use(i, buffer);
        queue.giveBack(std::move(buffer));
    }
}

} // namespace tool
