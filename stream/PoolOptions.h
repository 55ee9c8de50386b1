// How a pool works: what may be set of it, each with what it is unless set.
// Plain values; the flag and the handle that it points to are others'.
#ifndef STREAM_POOLOPTIONS_H
#define STREAM_POOLOPTIONS_H

#include "stream/Work.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace lantrix {

/// How a pool works, as here unless set.
struct PoolOptions {
    /// The largest number of connections, at least 1.
    unsigned connections = 4;
    /// While it is true, the pool is cancelled: a flag that a signal handler sets; null for none,
    /// else it must outlive the pool.
    const std::atomic<bool>* cancelFlag = nullptr;
    /// Of work that may be tried again.
    Retries retries;
    /// Hears of each failure behind which work is tried again, and of the wait before that. In the
    /// pool's threads; it must be brief and must not throw.
    std::function<void(const Failure& failure, std::chrono::milliseconds pause)> retrying;
    /// The time that a piece of work may take, its retries included; then it ends within a second
    /// as a failed connection. 0 for any time.
    std::chrono::milliseconds timeLimit{0};
    /// Called behind each stop of a call, with its thread: may end the thread's wait, or the stop
    /// is seen at the end of that, within a second. Any of the pool's threads; must not throw.
    std::function<void(std::thread::native_handle_type thread)> wake;
    /// A handle on the same host that the first connection uses until it fails; null for none. It
    /// must outlive the pool, and is nobody else's while work is under way.
    LantrixServerHandle* first = nullptr;
};

} // namespace lantrix

#endif
