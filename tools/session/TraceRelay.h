// Shows what travels between the library and a server: stands between them on a loopback address
// of its own, with the two ports that the protocol fixes, passes all bytes on and prints each
// request and reply line with its time on standard error, of frames the number of bytes; or writes
// them to a file of packets.
// Owns its sockets, two threads and one for each connection. Failures to get an address are thrown
// by the constructor.
#ifndef TOOLS_SESSION_TRACERELAY_H
#define TOOLS_SESSION_TRACERELAY_H

#include "tools/report/Options.h"
#include "tools/session/WireText.h"

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

class CapturedConnection;
class PacketCapture;

/// A loopback address that is likely to be free; another one for each \p attempt.
[[nodiscard]] std::string loopbackAddress(int attempt);
constexpr int loopbackAttempts = 64;

class TraceRelay {
public:
    /// The relay that \p options ask for to \p host, which may be an alias; null when they don't.
    [[nodiscard]] static std::unique_ptr<TraceRelay> of(const Options& options,
                                                        const std::string& host);
    /// Listens; the connections to \p host are opened when the library asks for them.
    TraceRelay(const Options& options, std::string host);
    ~TraceRelay();
    TraceRelay(const TraceRelay&) = delete;
    TraceRelay& operator=(const TraceRelay&) = delete;

    /// The address that stands for the host.
    [[nodiscard]] const std::string& address() const { return address_; }
    /// Why the last connection to the host could not be opened; "" when it could.
    [[nodiscard]] std::string connectError() const;

private:
    using Clock = std::chrono::steady_clock;
    struct Direction; // one of a connection

    static Clock::time_point start();
    bool listenOn(const std::string& address);
    void closeListeners();
    void run(std::size_t side);
    void serve(int client, int port);
    void passAll(int client, int server, int port);
    bool passOn(Direction& direction);
    bool sendAll(int descriptor, const char* data, std::size_t size) const;
    void print(int port, const char* mark, const std::string& line);

    const bool prints_;
    PacketCapture* const capture_; // null without --capture
    const std::string host_;
    std::string address_;
    std::array<int, 2> listeners_{-1, -1}; // commands, frames
    std::atomic<bool> isEnding_{false};
    mutable std::mutex mutex_; // of the error and of the printing
    std::string connectError_;
    std::array<std::thread, 2> threads_;
};

} // namespace tool

#endif
