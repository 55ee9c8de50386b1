#include "tools/conform/RawConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tool {

namespace {

#ifdef MSG_NOSIGNAL
constexpr int sendFlags = MSG_NOSIGNAL;
#else
constexpr int sendFlags = 0;
#endif

std::string systemText(const std::string& what, int error) {
    return what + ": " + std::generic_category().message(error);
}

std::string portText(Port port) {
    return std::to_string(static_cast<int>(port));
}

using Addresses = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

Addresses addressesOf(const std::string& host, Port port) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int error = ::getaddrinfo(host.c_str(), portText(port).c_str(), &hints, &list);
    if (error != 0)
        throw Unheard("'" + host + "' can't be resolved: " + ::gai_strerror(error), "");
    return {list, ::freeaddrinfo};
}

// Small requests leave at once, and a server that is gone is a result and not a signal.
void setOptions(int socket) {
    const int on = 1;
    ::fcntl(socket, F_SETFD, FD_CLOEXEC);
    ::fcntl(socket, F_SETFL, O_NONBLOCK);
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
#ifdef SO_NOSIGPIPE
    ::setsockopt(socket, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
}

} // namespace

RawConnection::RawConnection(const std::string& host, Port port, Patience patience)
    : patience_(std::move(patience)) {
    try {
        connect(host, port);
    } catch (...) {
        ::close(socket_);
        throw;
    }
}

RawConnection::~RawConnection() {
    ::close(socket_);
}

void RawConnection::connect(const std::string& host, Port port) {
    const std::string failed = "no connection to port " + portText(port);
    const Addresses addresses = addressesOf(host, port);
    socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
    if (socket_ < 0)
        throw Unheard(systemText(failed, errno), "");
    setOptions(socket_);
    int error = ::connect(socket_, addresses->ai_addr, addresses->ai_addrlen) == 0 ? 0 : errno;
    if (error == EINPROGRESS || error == EINTR) {
        waitFor(POLLOUT, deadline());
        socklen_t size = sizeof error;
        ::getsockopt(socket_, SOL_SOCKET, SO_ERROR, &error, &size);
    }
    if (error != 0)
        throw Unheard(systemText(failed, error), "");
}

// Short steps, so that a cancellation is seen soon.
void RawConnection::waitFor(short events, Clock::time_point end) const {
    for (;;) {
        if (patience_.isCancelled())
            throw Cancelled();
        pollfd watched{socket_, events, 0};
        if (::poll(&watched, 1, 50) > 0)
            return;
        if (Clock::now() >= end) {
            throw Unheard("nothing more within " + std::to_string(patience_.time.count()) + " ms",
                          received_);
        }
    }
}

void RawConnection::send(const std::string& bytes) {
    const Clock::time_point end = deadline();
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, sendFlags);
        if (count > 0)
            sent += static_cast<std::size_t>(count);
        else if (errno == EAGAIN || errno == EWOULDBLOCK)
            waitFor(POLLOUT, end);
        else if (errno != EINTR)
            throw Unheard(systemText("the request can't be sent", errno), received_);
    }
}

std::string RawConnection::receiveUntil(char end) {
    const Clock::time_point deadlineOfAll = deadline();
    std::size_t searched = 0;
    for (;;) {
        const std::size_t found = received_.find(end, searched);
        if (found != std::string::npos) {
            std::string text = take(found + 1);
            text.pop_back();
            return text;
        }
        searched = received_.size();
        if (!receiveSome(deadlineOfAll))
            throw Unheard("the server closed the connection", received_);
    }
}

std::string RawConnection::receive(std::size_t size) {
    const Clock::time_point end = deadline();
    while (received_.size() < size)
        if (!receiveSome(end))
            throw Unheard("the server closed the connection", received_);
    return take(size);
}

std::string RawConnection::receiveRest() {
    const Clock::time_point end = deadline();
    while (receiveSome(end)) {
    }
    return take(received_.size());
}

bool RawConnection::receiveSome(Clock::time_point end) {
    if (received_.size() > mostBytes || Clock::now() >= end) {
        throw Unheard(received_.size() > mostBytes ? "an answer without an end"
                                                   : "bytes, but no end of the answer in time",
                      received_);
    }
    std::array<char, 16384> buffer;
    for (;;) {
        waitFor(POLLIN, end);
        const ssize_t count = ::recv(socket_, buffer.data(), buffer.size(), 0);
        if (count >= 0) {
            received_.append(buffer.data(), static_cast<std::size_t>(count));
            return count > 0;
        }
        if (errno == ECONNRESET || errno == EPIPE)
            return false;
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
            throw Unheard(systemText("the answer can't be received", errno), received_);
    }
}

std::string RawConnection::take(std::size_t size) {
    std::string bytes = received_.substr(0, size);
    received_.erase(0, size);
    return bytes;
}

} // namespace tool
