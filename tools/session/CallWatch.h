// Watches over the calls on one connection of the library: stops the running one when a signal
// asked for the end or when it has taken too long. A stop that falls between two calls has no
// effect, so it is repeated as long as the reason lasts. Owns a thread. begin() and end() are used
// by the thread that calls; the stop function must be one that any thread may call at any moment.
#ifndef TOOLS_SESSION_CALLWATCH_H
#define TOOLS_SESSION_CALLWATCH_H

#include "tools/report/Failure.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

/// The server's two ports, for what a failure tells.
enum class Port { Commands = 7549, Frames = 7550 };

class CallWatch {
public:
    /// \p timeoutSeconds 0 means no limit.
    CallWatch(std::function<void()> stop, double timeoutSeconds);
    ~CallWatch();
    CallWatch(const CallWatch&) = delete;
    CallWatch& operator=(const CallWatch&) = delete;

    void begin();
    void end();
    /// The failure of the last call, whose text in the library was \p error.
    [[nodiscard]] Failure failure(const std::string& host, Port port, const std::string& doing,
                                  std::string error) const;

private:
    using Clock = std::chrono::steady_clock;
    void watch();
    void stopIfDue();

    const std::function<void()> stop_;
    const Clock::duration timeout_;       // zero: no limit
    std::atomic<Clock::rep> deadline_{0}; // 0: no call is running
    std::atomic<bool> wasStopped_{false};
    std::mutex mutex_;
    std::condition_variable ended_;
    bool isEnding_ = false; // guarded by mutex_
    std::thread thread_;    // last, so that it sees all else made
};

} // namespace tool

#endif
