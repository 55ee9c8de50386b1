// Requests of the system that wait for the server: each is answered once, by whoever has the
// answer, by the interruption of the program that asked, or by the end of its time. Any thread.
#ifndef MOUNT_REQUESTS_H
#define MOUNT_REQUESTS_H

#include <chrono>
#include <cstdint>
#include <fuse_lowlevel.h>
#include <map>
#include <mutex>

namespace mounted {

class Requests {
public:
    using Number = std::uint64_t;

    /// \p timeLimit 0 is none.
    explicit Requests(std::chrono::milliseconds timeLimit) : timeLimit_(timeLimit) {}

    /// From now on the request may be answered by the other functions.
    [[nodiscard]] Number hold(fuse_req_t request);
    /// The request, which the caller has to answer; null when it has been answered.
    [[nodiscard]] fuse_req_t take(Number number);
    /// Answers those whose programs were interrupted, and those that have waited too long. To be
    /// called again and again.
    void answerLate();
    /// Answers all.
    void answerAll(int error);

private:
    using Clock = std::chrono::steady_clock;
    struct Held {
        fuse_req_t request;
        Clock::time_point deadline;
    };

    const std::chrono::milliseconds timeLimit_;
    std::mutex mutex_; // guards all that follows
    std::map<Number, Held> held_;
    Number last_ = 0;
};

} // namespace mounted

#endif
