#include "tools/web/Turns.h"

#include "tools/web/WebFailure.h"

#include <chrono>

namespace tool {

namespace {

constexpr std::chrono::milliseconds lookInterval(50);

} // namespace

Turns::Turn Turns::take(Urgency urgency, std::uint64_t bytes, const Peer& peer) {
    std::unique_lock<std::mutex> lock(mutex_);
    const Place place{urgency, ++last_};
    waiting_.insert(place);
    while (!changed_.wait_for(lock, lookInterval, [&] { return isNext(place, bytes); })) {
        if (!peer.hasGone())
            continue;
        waiting_.erase(place);
        changed_.notify_all();
        throw WebFailure(WebFailure::Kind::Busy, "nobody waits for it any more");
    }
    waiting_.erase(place);
    ++held_;
    used_ += bytes;
    changed_.notify_all(); // the next one may have room, too
    return {*this, bytes};
}

bool Turns::isNext(const Place& place, std::uint64_t bytes) const {
    return *waiting_.begin() == place && held_ < count_ && (held_ == 0 || used_ + bytes <= memory_);
}

void Turns::giveBack(std::uint64_t bytes) {
    const std::lock_guard<std::mutex> lock(mutex_);
    --held_;
    used_ -= bytes;
    changed_.notify_all();
}

std::uint64_t Turns::used() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return used_;
}

} // namespace tool
