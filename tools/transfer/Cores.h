// A few threads that make frames of images and images of frames, one for each of the machine's
// processors, beside the connections that move them.
// Owns the threads, which start when there is work for them. One thread hands in tasks.
// The first exception of a task is thrown to whoever hands in the next one or waits; tasks that
// have not begun then, or when a signal asks for the end, are dropped.
#ifndef TOOLS_TRANSFER_CORES_H
#define TOOLS_TRANSFER_CORES_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tool {

class Cores {
public:
    /// As many threads as the machine has processors.
    Cores();
    explicit Cores(unsigned threads);
    /// Drops what has not begun and waits for the rest.
    ~Cores();
    Cores(const Cores&) = delete;
    Cores& operator=(const Cores&) = delete;

    /// Hands in a task; they begin in order. Waits while there is one for each thread that has not
    /// begun.
    void run(std::function<void()> task);
    /// Runs a task that is not worth waking another thread, in the calling one. Throws what it
    /// throws.
    void runHere(const std::function<void()>& task);
    /// Waits for all tasks.
    void wait();

private:
    void work();
    void throwFailure();

    const std::size_t most_; // threads, and tasks that wait
    std::mutex mutex_;       // guards all below
    std::condition_variable taskCame_;
    std::condition_variable taskEnded_; // or has begun; waited for by who hands in tasks
    std::deque<std::function<void()>> waiting_;
    std::size_t running_ = 0;
    std::exception_ptr failure_; // null while none has failed
    bool isEnding_ = false;
    std::vector<std::thread> threads_;
};

} // namespace tool

#endif
