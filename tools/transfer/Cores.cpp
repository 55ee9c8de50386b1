#include "tools/transfer/Cores.h"

#include "tools/report/Failure.h"
#include "tools/session/Interrupt.h"

#include <algorithm>

namespace tool {

Cores::Cores() : Cores(std::thread::hardware_concurrency()) {}

Cores::Cores(unsigned threads) : most_(std::max(threads, 1U)) {}

Cores::~Cores() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        waiting_.clear();
        isEnding_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
}

void Cores::throwFailure() {
    if (failure_)
        std::rethrow_exception(failure_);
    if (wasInterrupted())
        throw Failure(Status::Interrupted, "interrupted");
}

void Cores::run(std::function<void()> task) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return waiting_.size() < most_ || failure_; });
    throwFailure();
    waiting_.push_back(std::move(task));
    if (threads_.size() < most_ && waiting_.size() + running_ > threads_.size())
        threads_.emplace_back(&Cores::work, this);
    changed_.notify_all();
}

void Cores::wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return waiting_.empty() && running_ == 0; });
    throwFailure();
}

void Cores::work() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
        if (waiting_.empty())
            return;
        std::function<void()> task = std::move(waiting_.front());
        waiting_.pop_front();
        const bool isDropped = failure_ || wasInterrupted();
        ++running_;
        changed_.notify_all();
        lock.unlock();
        std::exception_ptr failure;
        try {
            if (!isDropped)
                task();
        } catch (...) {
            failure = std::current_exception();
        }
        task = nullptr; // the frame that it holds is free again
        lock.lock();
        --running_;
        if (failure && !failure_)
            failure_ = failure;
        changed_.notify_all();
    }
}

} // namespace tool
