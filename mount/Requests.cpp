#include "mount/Requests.h"

#include <cerrno>
#include <utility>
#include <vector>

namespace mounted {

Requests::Number Requests::hold(fuse_req_t request) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Clock::time_point deadline =
        timeLimit_.count() == 0 ? Clock::time_point::max() : Clock::now() + timeLimit_;
    held_.emplace(++last_, Held{request, deadline});
    return last_;
}

fuse_req_t Requests::take(Number number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = held_.find(number);
    if (found == held_.end())
        return nullptr;
    auto* const request = found->second.request;
    held_.erase(found);
    return request;
}

void Requests::answerLate() {
    std::vector<std::pair<fuse_req_t, int>> answers;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const Clock::time_point now = Clock::now();
        for (auto held = held_.begin(); held != held_.end();) {
            const bool isInterrupted = fuse_req_interrupted(held->second.request) != 0;
            if (!isInterrupted && now < held->second.deadline) {
                ++held;
                continue;
            }
            answers.emplace_back(held->second.request, isInterrupted ? EINTR : EIO);
            held = held_.erase(held);
        }
    }
    for (const auto& [request, error] : answers)
        fuse_reply_err(request, error);
}

void Requests::answerAll(int error) {
    std::map<Number, Held> held;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        held.swap(held_);
    }
    for (const auto& [number, one] : held)
        fuse_reply_err(one.request, error);
}

} // namespace mounted
