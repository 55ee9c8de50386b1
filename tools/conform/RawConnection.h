// One connection to a port of a server, as bytes, with nothing of the client library in between:
// what is checked must be seen as it was sent.
// Owns its socket. Used by one thread. No wait lasts longer than it was told, and no answer takes
// more memory than it may. What does not come is Unheard.
#ifndef TOOLS_CONFORM_RAWCONNECTION_H
#define TOOLS_CONFORM_RAWCONNECTION_H

#include "tools/session/CallWatch.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace tool {

/// What was waited for did not come: the connection could not be opened or has ended, or the time
/// is up. The text says which.
class Unheard : public std::runtime_error {
public:
    Unheard(const std::string& reason, std::string received)
        : std::runtime_error(reason), received_(std::move(received)) {}

    /// The bytes that did come.
    [[nodiscard]] const std::string& received() const { return received_; }

private:
    std::string received_;
};

/// The user has ended the wait.
class Cancelled {};

/// How long to wait for a server, and what ends a wait early.
struct Patience {
    std::chrono::milliseconds time{10000};
    std::function<bool()> isCancelled = [] { return false; };
};

class RawConnection {
public:
    /// The longest answer that is taken.
    static constexpr std::size_t mostBytes = std::size_t{64} << 20;

    RawConnection(const std::string& host, Port port, Patience patience);
    ~RawConnection();
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;

    void send(const std::string& bytes);
    /// What comes up to the next \p end, without it.
    [[nodiscard]] std::string receiveUntil(char end);
    [[nodiscard]] std::string receive(std::size_t size);
    /// What still comes before the server closes.
    [[nodiscard]] std::string receiveRest();

private:
    using Clock = std::chrono::steady_clock;

    void connect(const std::string& host, Port port);
    void waitFor(short events, Clock::time_point end) const;
    /// False when the server has closed.
    bool receiveSome(Clock::time_point end);
    [[nodiscard]] std::string take(std::size_t size);
    [[nodiscard]] Clock::time_point deadline() const { return Clock::now() + patience_.time; }

    const Patience patience_;
    int socket_ = -1;
    std::string received_; // and not taken yet
};

} // namespace tool

#endif
