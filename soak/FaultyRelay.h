// A relay between a client and a server that breaks an exchange when it is told to: it forwards a
// given number of bytes of a request or a reply, then closes, resets or holds back the rest.
// Owns its sockets; borrows the io_context, whose one thread does all the work. Functions may be
// called from any other thread. Failures of the constructor are std::system_error.
#ifndef SOAK_FAULTYRELAY_H
#define SOAK_FAULTYRELAY_H

#include <asio.hpp>

#include <atomic>
#include <cstddef>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

class FaultyRelay {
public:
    enum class Channel { Command, Frame };
    enum class Side { Request, Reply };
    enum class Fault { Close, Reset, Stall };

    struct Plan {
        Channel channel;
        Side side;
        Fault fault;
        std::size_t offset; ///< Bytes that are still forwarded.
    };

    /// Listens on both ports of \p address and connects each client to \p server.
    FaultyRelay(asio::io_context& context, const std::string& address, const std::string& server);

    /// The next exchange on the plan's channel breaks.
    void arm(const Plan& plan);
    /// True once the plan has been carried out.
    [[nodiscard]] bool fired() const { return fired_; }
    /// Takes a plan back. True when it had been carried out.
    bool disarm();
    /// Ends a stall: delivers the rest of a command's reply and returns when the client's socket
    /// has it; drops a frame connection.
    void release();

    /// Connections that clients have made, and bytes that were forwarded, both ways.
    [[nodiscard]] unsigned connections() const { return connections_; }
    [[nodiscard]] std::size_t bytes() const { return bytes_; }

private:
    class Session;
    struct Cut {
        Fault fault;
        std::size_t offset;
    };

    void accept(Channel channel);
    /// Where a plan breaks the next \p size bytes, if it does.
    [[nodiscard]] std::optional<Cut> cutOf(Channel channel, Side side, std::size_t size);

    asio::io_context& context_;
    const asio::ip::address server_;
    asio::ip::tcp::acceptor commands_;
    asio::ip::tcp::acceptor frames_;
    std::mutex mutex_; // guards plan_
    std::optional<Plan> plan_;
    std::atomic<bool> fired_{false};
    std::weak_ptr<Session> stalled_; // of the context's thread
    std::atomic<unsigned> connections_{0};
    std::atomic<std::size_t> bytes_{0};
};

#endif
