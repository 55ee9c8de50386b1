#include "tools/session/TraceRelay.h"

#include "base/tcp/src/CoIoTcpDescriptor.h"
#include "rc/rcProtocol.h"
#include "tools/report/Failure.h"
#include "tools/report/PrintableText.h"
#include "tools/session/HostAliases.h"
#include "tools/session/PacketCapture.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace tool {

namespace {

constexpr std::array<int, 2> ports{rcProtocol::commandPort, rcProtocol::framePort};

// Opens a listening socket; -1 when the address is taken.
int openListener(const std::string& address, int port) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(static_cast<in_port_t>(port));
    ::inet_pton(AF_INET, address.c_str(), &name.sin_addr);
    CoIoTcpDescriptor::setReuseAddressSocketOption(descriptor, true);
    if (::bind(descriptor, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 ||
        ::listen(descriptor, SOMAXCONN) != 0) {
        ::close(descriptor);
        return -1;
    }
    return descriptor;
}

// Waits a little; false when nothing happened.
bool waitFor(pollfd* entries, nfds_t count) {
    constexpr int milliseconds = 50; // how soon the relay's end is seen
    return ::poll(entries, count, milliseconds) > 0;
}

// The other end of a connection; nothing when it has gone already.
sockaddr_in peerOf(int descriptor) {
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) != 0)
        peer = sockaddr_in{};
    return peer;
}

} // namespace

std::string loopbackAddress(int attempt) {
    const unsigned number = static_cast<unsigned>(::getpid()) * 31 + static_cast<unsigned>(attempt);
    return "127." + std::to_string(200 + number / 62500 % 50) + "." +
           std::to_string(1 + number / 250 % 250) + "." + std::to_string(1 + number % 250);
}

std::unique_ptr<TraceRelay> TraceRelay::of(const Options& options, const std::string& host) {
    if (!options.trace && options.capture == nullptr)
        return nullptr;
    return std::make_unique<TraceRelay>(options, aliasedHost(host));
}

// The same for all relays of the process.
TraceRelay::Clock::time_point TraceRelay::start() {
    static const Clock::time_point start = Clock::now();
    return start;
}

TraceRelay::TraceRelay(const Options& options, std::string host)
    : prints_(options.trace), capture_(options.capture), host_(std::move(host)) {
    (void)start();
    for (int attempt = 0; attempt < loopbackAttempts && address_.empty(); ++attempt)
        if (listenOn(loopbackAddress(attempt)))
            address_ = loopbackAddress(attempt);
    if (address_.empty())
        throw Failure(Status::Other,
                      "--trace and --capture found no loopback address with free ports " +
                          std::to_string(ports[0]) + " and " + std::to_string(ports[1]));
    for (std::size_t side = 0; side < ports.size(); ++side)
        threads_[side] = std::thread(&TraceRelay::run, this, side);
}

TraceRelay::~TraceRelay() {
    isEnding_.store(true);
    for (std::thread& thread : threads_)
        thread.join();
    closeListeners();
}

bool TraceRelay::listenOn(const std::string& address) {
    for (std::size_t side = 0; side < ports.size(); ++side) {
        listeners_[side] = openListener(address, ports[side]);
        if (listeners_[side] < 0) {
            closeListeners();
            return false;
        }
    }
    return true;
}

void TraceRelay::closeListeners() {
    for (int& listener : listeners_) {
        if (listener >= 0)
            ::close(listener);
        listener = -1;
    }
}

std::string TraceRelay::connectError() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return connectError_;
}

// Each connection has a thread of its own, for they all wait at once.
void TraceRelay::run(std::size_t side) {
    std::vector<std::thread> connections;
    while (!isEnding_.load()) {
        pollfd entry{listeners_[side], POLLIN, 0};
        if (!waitFor(&entry, 1))
            continue;
        const int client = ::accept(listeners_[side], nullptr, nullptr);
        if (client >= 0) {
            connections.emplace_back([this, client, side] {
                serve(client, ports[side]);
                ::close(client);
            });
        }
    }
    for (std::thread& connection : connections)
        connection.join();
}

void TraceRelay::serve(int client, int port) {
    CoIoTcpDescriptor server(host_.c_str(), port, 0, 0, 10);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        connectError_ = server.lastError();
        if (!connectError_.empty())
            return;
    }
    // A piece that waits for more to send with it would wait for the other side's delayed answer.
    for (const int side : {client, server.id()})
        CoIoTcpDescriptor::setNoDelaySocketOption(side, true);
    print(port, "=", "connected to " + host_);
    passAll(client, server.id(), port);
    print(port, "=", "closed");
}

struct TraceRelay::Direction {
    int from;
    int to;
    int port;
    const char* mark; // in front of each line
    WireText& text;
    CapturedConnection* captured; // null without --capture
    CapturedConnection::Side sender;
};

void TraceRelay::passAll(int client, int server, int port) {
    OwedPayloads owed;
    CommandText commands[2];
    FrameRequestText frameRequests(owed);
    FrameReplyText frameReplies(owed);
    std::optional<CapturedConnection> captured;
    if (capture_ != nullptr)
        captured.emplace(*capture_, peerOf(client), peerOf(server));
    CapturedConnection* const packets = captured ? &*captured : nullptr;
    const bool isCommands = port == ports[0];
    Direction requests{client,
                       server,
                       port,
                       ">",
                       isCommands ? static_cast<WireText&>(commands[0]) : frameRequests,
                       packets,
                       CapturedConnection::Client};
    Direction replies{server,
                      client,
                      port,
                      "<",
                      isCommands ? static_cast<WireText&>(commands[1]) : frameReplies,
                      packets,
                      CapturedConnection::Server};
    // A request and its reply take turns, so one thread passes both directions on.
    bool isOpen = true;
    while (isOpen && !isEnding_.load()) {
        pollfd entries[]{{client, POLLIN, 0}, {server, POLLIN, 0}};
        waitFor(entries, 2);
        if (entries[0].revents != 0)
            isOpen = passOn(requests);
        if (isOpen && entries[1].revents != 0)
            isOpen = passOn(replies);
    }
}

bool TraceRelay::passOn(Direction& direction) {
    char buffer[65536];
    const ssize_t size = ::recv(direction.from, buffer, sizeof buffer, 0);
    if (size < 0)
        return errno == EINTR || errno == EAGAIN;
    if (size == 0)
        return false;
    const auto count = static_cast<std::size_t>(size);
    const std::vector<ByteRange> frames =
        direction.text.take(buffer, count, [&](const std::string& line) {
            print(direction.port, direction.mark, line);
        });
    if (direction.captured != nullptr)
        direction.captured->send(direction.sender, buffer, count, frames);
    return sendAll(direction.to, buffer, count);
}

bool TraceRelay::sendAll(int descriptor, const char* data, std::size_t size) const {
    std::size_t done = 0;
    while (done < size && !isEnding_.load()) {
        pollfd entry{descriptor, POLLOUT, 0};
        if (!waitFor(&entry, 1))
            continue;
        const ssize_t sent =
            ::send(descriptor, data + done, size - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno != EINTR && errno != EAGAIN)
            return false;
        done += sent > 0 ? static_cast<std::size_t>(sent) : 0;
    }
    return done == size;
}

void TraceRelay::print(int port, const char* mark, const std::string& line) {
    if (!prints_)
        return;
    const std::chrono::duration<double> time = Clock::now() - start();
    const std::lock_guard<std::mutex> lock(mutex_);
    std::fprintf(stderr, "%10.6f %d %s %s\n", time.count(), port, mark,
                 printableText(line).c_str());
}

} // namespace tool
