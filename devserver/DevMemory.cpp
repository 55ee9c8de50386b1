#include "devserver/DevMemory.h"

#include "devserver/DevError.h"

#include <chrono>
#include <string>

namespace {

constexpr std::chrono::seconds longestWait{4};

} // namespace

void DevMemory::Share::resize(std::size_t bytes) {
    const std::size_t wanted = bytes > allowance ? bytes - allowance : 0;
    if (wanted > held_)
        memory_.take(wanted - held_);
    else if (wanted < held_)
        memory_.giveBack(held_ - wanted);
    held_ = wanted;
}

void DevMemory::take(std::size_t bytes) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (bytes > bound_ ||
        !changed_.wait_for(lock, longestWait, [&] { return bytes <= bound_ - used_; }))
        throw DevError("Requests and replies may take " + std::to_string(bound_) +
                       " bytes of the server's memory together, which are not left for this one.");
    used_ += bytes;
}

void DevMemory::giveBack(std::size_t bytes) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        used_ -= bytes;
    }
    changed_.notify_all();
}
