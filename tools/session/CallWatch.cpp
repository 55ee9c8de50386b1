#include "tools/session/CallWatch.h"

#include "tools/report/LibraryError.h"
#include "tools/report/NumberText.h"
#include "tools/session/Interrupt.h"

namespace tool {

namespace {
constexpr auto interval = std::chrono::milliseconds(50);
}

CallWatch::CallWatch(std::function<void()> stop, std::optional<double> timeoutSeconds,
                     AtInterrupt atInterrupt)
    : stop_(std::move(stop)), timeout_(std::chrono::duration_cast<Clock::duration>(
                                  std::chrono::duration<double>(timeoutSeconds.value_or(0)))),
      atInterrupt_(atInterrupt), thread_(&CallWatch::watch, this) {}

CallWatch::~CallWatch() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
    }
    ended_.notify_one();
    thread_.join();
}

bool CallWatch::isInterrupted() const {
    return atInterrupt_ == AtInterrupt::End && wasInterrupted();
}

void CallWatch::startLimit() {
    limit_ =
        timeout_ == Clock::duration::zero() ? Clock::time_point::max() : Clock::now() + timeout_;
}

bool CallWatch::rest(std::chrono::milliseconds pause) const {
    const Clock::time_point end = Clock::now() + pause;
    while (!isInterrupted() && end < limit_ && Clock::now() < end)
        std::this_thread::sleep_for(interval);
    return !isInterrupted() && end < limit_;
}

void CallWatch::begin() {
    const std::lock_guard<std::mutex> lock(mutex_);
    isRunning_ = true;
    wasStopped_ = false;
    caller_ = ::pthread_self();
    deadline_ = limit_;
}

void CallWatch::end() {
    const std::lock_guard<std::mutex> lock(mutex_);
    isRunning_ = false;
}

Failure CallWatch::failure(const std::string& host, Port port, const std::string& doing,
                           std::string error) const {
    if (isInterrupted())
        return {Status::Interrupted, "interrupted"};
    Status status = statusOfLibraryError(error);
    if (wasStopped_) {
        status = Status::NoConnection;
        error = "no answer within " + shortNumber(std::chrono::duration<double>(timeout_).count()) +
                " s";
    } else if (error.empty()) {
        error = "the server closed the connection";
    }
    return serverFailure(status, host, port, doing, error);
}

Failure serverFailure(Status status, const std::string& host, Port port, const std::string& doing,
                      const std::string& reason) {
    const int number = static_cast<int>(port);
    Failure failure(status, "can't " + doing + " on " + host + ":" + std::to_string(number) + ": " +
                                reason);
    failure.with("host", host).with("port", number).with("reason", reason);
    return failure;
}

void CallWatch::watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!ended_.wait_for(lock, interval, [this] { return isEnding_; }))
        stopIfDue();
}

void CallWatch::stopIfDue() {
    if (!isRunning_)
        return;
    const bool isLate = Clock::now() > deadline_;
    wasStopped_ = wasStopped_ || isLate;
    if (isLate || isInterrupted()) {
        stop_();
        wake(caller_);
    }
}

} // namespace tool
