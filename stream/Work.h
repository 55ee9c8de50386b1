// A piece of work for a pool: what it is given, what it gives back, and what is done when its
// connection breaks.
// Work and callbacks own what they capture. They run in the pool's threads.
#ifndef STREAM_WORK_H
#define STREAM_WORK_H

#include "stream/Failure.h"

#include <chrono>
#include <functional>

namespace lantrix {

/// What a piece of work runs on. The handle is the work's until it returns, and no longer.
struct Connection {
    LantrixServerHandle& server; ///< On the pool's host.
    const unsigned number;       ///< Of the thread, from 0; below Pool::connections().
};

/// A piece of work: calls on the connection's handle, and Failure::lastOf when one fails. What it
/// throws becomes a refusal with the exception's text.
using Work = std::function<Failure(Connection& connection)>;
/// Told once what came of a piece of work, in a thread of the pool. It must be brief, must not
/// throw, wait for other work or, when told of a stop, hand in more.
using Done = std::function<void(const Failure& failure)>;

/// How often something is tried again whose connection failed, and after which waits.
struct LANTRIX_EXPORT Retries {
    unsigned count = 3;                       ///< 0: not at all.
    std::chrono::milliseconds firstPause{50}; ///< Each further one is three times as long.

    /// The wait before the retry with this number, from 0; at most 10 s, or the first.
    [[nodiscard]] std::chrono::milliseconds pause(unsigned number) const;
};

/// What is done about work whose connection failed. Each connection that failed is replaced.
enum class Retry {
    Never,              ///< The failure is told at once.
    OnAnotherConnection ///< Run again, up to three times, 0.65 s in all apart.
};

} // namespace lantrix

#endif
