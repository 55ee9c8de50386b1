// What requests and replies may take of the process's memory, for all connections together.
// Any thread. Failures are DevError, which tells the client to try again.
#ifndef DEVSERVER_DEVMEMORY_H
#define DEVSERVER_DEVMEMORY_H

#include <condition_variable>
#include <cstddef>
#include <mutex>

class DevMemory {
public:
    /// What each connection has without asking, so that small requests are always served.
    static constexpr std::size_t allowance = std::size_t{64} << 10;

    explicit DevMemory(std::size_t bound) : bound_(bound) {}
    DevMemory(const DevMemory&) = delete;
    DevMemory& operator=(const DevMemory&) = delete;

    /// What one connection holds; given back by the destructor. One thread at a time.
    class Share {
    public:
        explicit Share(DevMemory& memory) : memory_(memory) {}
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;
        ~Share() {
            if (held_ > 0)
                memory_.giveBack(held_);
        }

        /// Asks for \p bytes in all. More than before may wait a moment for others to finish.
        void resize(std::size_t bytes);

    private:
        DevMemory& memory_;
        std::size_t held_ = 0; // beyond the allowance
    };

private:
    void take(std::size_t bytes);
    void giveBack(std::size_t bytes);

    const std::size_t bound_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t used_ = 0;
};

#endif
