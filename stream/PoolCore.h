// The threads behind a Pool: workers, one for each server handle, and one that watches for
// cancelling: it ends waiting work as stopped, and stops the handles of running work again and
// again until it has ended, for a stop between two calls is forgotten.
// Owns all of it. Any thread. Work and callbacks run without the lock.
#ifndef STREAM_POOLCORE_H
#define STREAM_POOLCORE_H

#include "stream/PoolOptions.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace lantrix {

struct PoolGroup {
    std::atomic<bool> cancelled{false};
    std::size_t pending = 0; // guarded by the core's mutex: handed in and not yet told
};

class PoolCore {
public:
    PoolCore(std::string host, PoolOptions options);
    ~PoolCore();
    PoolCore(const PoolCore&) = delete;
    PoolCore& operator=(const PoolCore&) = delete;

    void run(const std::shared_ptr<PoolGroup>& group, Work work, Done done, Retry retry);
    void cancel() noexcept { cancelled_ = true; }
    void cancel(PoolGroup& group);
    void wait(const PoolGroup& group);
    [[nodiscard]] bool isCancelled() const noexcept;
    [[nodiscard]] unsigned connections() const noexcept { return options_.connections; }
    [[nodiscard]] unsigned opened() const;

private:
    struct Task {
        std::shared_ptr<PoolGroup> group;
        Work work;
        Done done;
        Retry retry;
    };
    using Clock = std::chrono::steady_clock;
    struct Worker {
        unsigned number;
        std::unique_ptr<LantrixServerHandle> own; // null until needed, and behind a failure
        LantrixServerHandle* server = nullptr;    // its own, or the one that was lent
        const PoolGroup* running = nullptr;       // whose work is under way
        Clock::time_point deadline;               // of that work
        std::thread thread;                       // last: starts when all else is there
    };
    using Lock = std::unique_lock<std::mutex>;

    [[nodiscard]] bool isCancelled(const PoolGroup& group) const noexcept;
    void startWorker();
    void work(Worker& worker);
    Failure perform(Worker& worker, const Task& task);
    Failure attempt(Worker& worker, const Work& work);
    [[nodiscard]] bool rest(const Task& task, const Failure& failure, unsigned failures,
                            Clock::time_point deadline) const;
    [[nodiscard]] Failure lateFailure() const;
    void renew(Worker& worker);
    void finish(Task& task, const Failure& failure);

    void watch();
    void stopRunning();
    void endWaiting(Lock& lock);

    const std::string host_;
    const PoolOptions options_;
    std::atomic<bool> cancelled_{false};

    mutable std::mutex mutex_; // guards all that follows but the threads, and each worker's server
    std::condition_variable workCame_;
    std::condition_variable watchNeeded_;
    std::condition_variable groupEnded_;
    std::deque<Task> queue_;
    std::vector<std::unique_ptr<Worker>> workers_;
    std::size_t idle_ = 0;      // workers that wait for work
    std::size_t returning_ = 0; // workers that tell what came of theirs, and will look for more
    std::size_t pending_ = 0;   // of all groups
    bool ending_ = false;       // workers leave when the queue is empty
    bool ended_ = false;        // the watcher leaves too
    std::thread watcher_;       // last: starts when all else is there
};

} // namespace lantrix

#endif
