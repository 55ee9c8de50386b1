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
    taskCame_.notify_all();
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
    taskEnded_.wait(lock, [this] { return waiting_.size() < most_ || failure_; });
    throwFailure();
    waiting_.push_back(std::move(task));
    if (threads_.size() < most_ && waiting_.size() + running_ > threads_.size())
        threads_.emplace_back(&Cores::work, this);
    lock.unlock();
    taskCame_.notify_one();
}

void Cores::runHere(const std::function<void()>& task) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        throwFailure();
    }
    task();
}

void Cores::wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    taskEnded_.wait(lock, [this] { return waiting_.empty() && running_ == 0; });
    throwFailure();
}

void Cores::work() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        taskCame_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
        if (waiting_.empty())
            return;
        std::function<void()> task = std::move(waiting_.front());
        waiting_.pop_front();
        const bool isDropped = failure_ || wasInterrupted();
        ++running_;
        const bool hasRoom = waiting_.size() <= most_ / 2;
        lock.unlock();
        if (hasRoom) // so that whoever waits is woken for several tasks at a time
            taskEnded_.notify_one();
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
        if (failure || (waiting_.empty() && running_ == 0))
            taskEnded_.notify_one();
    }
}

} // namespace tool
