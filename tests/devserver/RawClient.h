// What the server's tests speak to it with: sockets that know nothing of the client library, and
// files in its directory.
#ifndef TESTS_DEVSERVER_RAWCLIENT_H
#define TESTS_DEVSERVER_RAWCLIENT_H

#include "devserver/DevServer.h"
#include "tests/support/ScratchDirectory.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include <string>
#include <utility>

std::string contentsOf(const std::string& path);
void writeFile(const std::string& path, const std::string& contents);

/// A connection. What a peer that closes doesn't send any more is missing in what is returned.
class RawClient {
public:
    RawClient(const std::string& address, unsigned short port);
    /// The other end, which a server has accepted.
    explicit RawClient(asio::ip::tcp::socket socket) : socket_(std::move(socket)) {}

    /// False when the peer has gone.
    bool send(const std::string& bytes);
    /// What arrives up to, and without, the next \p end.
    std::string receiveUntil(char end);
    std::string receive(std::size_t size);
    /// True when the peer closes without sending anything more.
    bool isClosed();
    /// Closes in order, or abortively.
    void close(bool abortive);

private:
    [[nodiscard]] std::string take(std::size_t size);

    asio::io_context context_;
    asio::ip::tcp::socket socket_{context_};
    std::string received_; // and not taken yet
};

class CommandClient : public RawClient {
public:
    explicit CommandClient(const std::string& address)
        : RawClient(address, DevServer::commandPort) {}

    /// The reply line to a request with escaped arguments.
    std::string operator()(const std::string& methodAndArguments);
    /// The value of an "ok" reply; a failure of the test otherwise.
    std::string value(const std::string& methodAndArguments);
};

class FrameClient : public RawClient {
public:
    explicit FrameClient(const std::string& address) : RawClient(address, DevServer::framePort) {}

    /// These return the status; a frame that was read is in payload.
    std::string write(const std::string& frameId, const std::string& bytes);
    std::string read(const std::string& frameId, std::size_t size);

    std::string payload;
};

/// A request of the frame channel as it travels.
std::string frameRequest(const std::string& name, const std::string& frameId,
                         const std::string& size);

#endif
