// Watches over the calls on one connection of the library: stops the running one when a signal
// asked for the end or when it has taken too long. A stop that falls between two calls has no
// effect, so it is repeated as long as the reason lasts; the caller's wait is ended with it, or the
// stop would be seen up to a second later. Owns a thread. All functions are used by the thread that
// calls; the stop function must be one that any thread may call at any moment.
#ifndef TOOLS_SESSION_CALLWATCH_H
#define TOOLS_SESSION_CALLWATCH_H

#include "rc/rcProtocol.h"
#include "tools/report/Failure.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <pthread.h>

namespace tool {

/// The server's two ports, for what a failure tells.
enum class Port { Commands = rcProtocol::commandPort, Frames = rcProtocol::framePort };

/// The failure of what was being done on a server, for the reason that it or the library gave.
[[nodiscard]] Failure serverFailure(Status status, const std::string& host, Port port,
                                    const std::string& doing, const std::string& reason);

/// Whether a signal that asked for the end ends calls. What undoes something goes on.
enum class AtInterrupt { End, GoOn };

class CallWatch {
public:
    /// \p timeoutSeconds none or 0 means no limit.
    CallWatch(std::function<void()> stop, std::optional<double> timeoutSeconds,
              AtInterrupt atInterrupt);
    ~CallWatch();
    CallWatch(const CallWatch&) = delete;
    CallWatch& operator=(const CallWatch&) = delete;

    /// The time limit starts: that of the next call and of its repetitions together.
    void startLimit();
    void begin();
    void end();
    /// Waits between a call and its repetition. False, at once, when the time limit leaves no room
    /// for that, and when a signal asks for the end.
    [[nodiscard]] bool rest(std::chrono::milliseconds pause) const;
    /// True when a signal has asked for the end of what is watched here.
    [[nodiscard]] bool isInterrupted() const;
    /// The failure of the last call, whose text in the library was \p error.
    [[nodiscard]] Failure failure(const std::string& host, Port port, const std::string& doing,
                                  std::string error) const;

private:
    using Clock = std::chrono::steady_clock;
    void watch();
    void stopIfDue();

    const std::function<void()> stop_;
    const Clock::duration timeout_; // zero: no limit
    const AtInterrupt atInterrupt_;
    Clock::time_point limit_ = Clock::time_point::max(); // of the next call, for the calling thread
    std::mutex mutex_; // guards all below, so that no thread is woken after its call
    std::condition_variable ended_;
    bool isRunning_ = false;
    Clock::time_point deadline_; // of the running call
    pthread_t caller_{};         // of the running call
    bool wasStopped_ = false;
    bool isEnding_ = false;
    std::thread thread_; // last, so that it sees all else made
};

} // namespace tool

#endif
