// Several connections to one host at work at once: up to N server handles, opened when there is
// work for them, each in a thread of its own that nobody else uses it from.
// The pool owns its handles and threads; work and callbacks are copied in and destroyed when they
// have run. Groups, readers, writers and walkers borrow the pool, which must outlive them.
// Threads: all functions may be called from any thread; the destructors, from any but the pool's.
// Failures are values: each piece of work ends with one Failure, in its future or its callback.
#ifndef STREAM_POOL_H
#define STREAM_POOL_H

#include "stream/PoolOptions.h"

#include <atomic>
#include <future>
#include <memory>
#include <string>

namespace lantrix {

class PoolCore;
struct PoolGroup;

/// Runs work on up to N connections to one host.
class LANTRIX_EXPORT Pool {
public:
    /// \p connections is at least 1. While \p *cancelFlag is true, the pool is cancelled: a flag
    /// that a signal handler sets; null for none, else it must outlive the pool. Sends nothing and
    /// opens nothing. Throws std::system_error when no thread can be started.
    explicit Pool(const std::string& host, unsigned connections = 4,
                  const std::atomic<bool>* cancelFlag = nullptr);
    /// As above.
    Pool(const std::string& host, const PoolOptions& options);
    /// As cancel(), and waits until all work has ended and every thread has gone: 1.1 s at most,
    /// but for work that does not return, or is just connecting, which takes up to 10 s.
    ~Pool();
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    /// Hands in a piece of work. It begins in order of coming. The future is ready when it ended.
    std::future<Failure> run(Work work, Retry retry = Retry::Never);
    /// The same with a callback.
    void run(Work work, Done done, Retry retry = Retry::Never);

    /// Ends all work, under way or waiting, as stopped within 1.1 s, and all that comes later at
    /// once. For good. Takes no lock: may be called from a signal handler.
    void cancel() noexcept;
    [[nodiscard]] bool isCancelled() const noexcept;

    /// The largest number of connections.
    [[nodiscard]] unsigned connections() const noexcept;
    /// The number of connections that work has needed so far.
    [[nodiscard]] unsigned opened() const;

private:
    friend class WorkGroup;

    std::unique_ptr<PoolCore> core_; // never null
    std::shared_ptr<PoolGroup> own_; // of work that belongs to no other group
};

/// Pieces of work that end together, and by themselves: other work of the pool goes on.
class LANTRIX_EXPORT WorkGroup {
public:
    /// A group of \p pool without work.
    explicit WorkGroup(Pool& pool);
    /// As cancel() and wait().
    ~WorkGroup();
    WorkGroup(const WorkGroup&) = delete;
    WorkGroup& operator=(const WorkGroup&) = delete;

    /// As Pool::run, of this group.
    void run(Work work, Done done, Retry retry = Retry::Never);
    /// As Pool::cancel, for this group alone. Takes a lock: not for signal handlers.
    void cancel();
    /// Waits until nothing of the group is under way or waiting, callbacks included.
    void wait();
    /// The pool that it runs on.
    [[nodiscard]] Pool& pool() const { return pool_; }

private:
    Pool& pool_;
    std::shared_ptr<PoolGroup> group_; // shared with the work that is under way
};

} // namespace lantrix

#endif
