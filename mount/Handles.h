// What the system has open, by the numbers that it is told.
// Any thread; what was given out outlives its closing.
#ifndef MOUNT_HANDLES_H
#define MOUNT_HANDLES_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace mounted {

template <class Open>
class Handles {
public:
    using Pointer = std::shared_ptr<Open>;

    [[nodiscard]] std::uint64_t add(Pointer open) {
        const std::lock_guard<std::mutex> lock(mutex_);
        open_.emplace(++last_, std::move(open));
        return last_;
    }
    /// Null for a number that is not open.
    [[nodiscard]] Pointer find(std::uint64_t number) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = open_.find(number);
        return found != open_.end() ? found->second : nullptr;
    }
    Pointer remove(std::uint64_t number) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = open_.find(number);
        if (found == open_.end())
            return nullptr;
        Pointer open = std::move(found->second);
        open_.erase(found);
        return open;
    }

private:
    mutable std::mutex mutex_; // guards all that follows
    std::map<std::uint64_t, Pointer> open_;
    std::uint64_t last_ = 0;
};

} // namespace mounted

#endif
