#include "bench/support/Socket.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

void setOption(int fd, int level, int option) {
    const int on = 1;
    if (::setsockopt(fd, level, option, &on, sizeof on) != 0)
        failWithErrno("setsockopt");
}

Socket newSocket() {
    Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (socket.fd() < 0)
        failWithErrno("socket");
    return socket;
}

sockaddr_in nameOf(std::uint32_t address, std::uint16_t port) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(address);
    name.sin_port = htons(port);
    return name;
}

} // namespace

std::string addressText(std::uint32_t address) {
    char text[INET_ADDRSTRLEN] = "";
    const in_addr name = {htonl(address)};
    return ::inet_ntop(AF_INET, &name, text, sizeof text);
}

std::uint16_t freePort() {
    return Socket::listenAt(INADDR_LOOPBACK, 0).port();
}

void awaitListener(std::uint16_t port, const std::string& host) {
    for (int attemptsLeft = 500;; --attemptsLeft) {
        try {
            Socket::connectTo(host, port);
            return;
        } catch (const std::system_error&) {
            if (attemptsLeft == 0)
                throw;
        }
        ::usleep(10000);
    }
}

void failWithErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

Socket Socket::listenAt(std::uint32_t address, std::uint16_t port) {
    Socket socket = newSocket();
    setOption(socket.fd_, SOL_SOCKET, SO_REUSEADDR);
    const sockaddr_in name = nameOf(address, port);
    if (::bind(socket.fd_, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0)
        failWithErrno("bind");
    // Where the system prefers BBR, its pacing would be what is measured.
    static constexpr char unpaced[] = "reno";
    if (::setsockopt(socket.fd_, IPPROTO_TCP, TCP_CONGESTION, unpaced, sizeof unpaced - 1) != 0)
        failWithErrno("setsockopt");
    if (::listen(socket.fd_, SOMAXCONN) != 0)
        failWithErrno("listen");
    return socket;
}

Socket Socket::connectTo(const std::string& host, std::uint16_t port) {
    Socket socket = newSocket();
    setOption(socket.fd_, IPPROTO_TCP, TCP_NODELAY);
    const sockaddr_in name = nameOf(ntohl(::inet_addr(host.c_str())), port);
    if (::connect(socket.fd_, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0)
        failWithErrno("connect");
    return socket;
}

Socket& Socket::operator=(Socket&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
}

Socket::~Socket() {
    if (fd_ >= 0)
        ::close(fd_);
}

int Socket::release() {
    return std::exchange(fd_, -1);
}

std::uint16_t Socket::port() const {
    sockaddr_in name{};
    socklen_t size = sizeof name;
    if (::getsockname(fd_, reinterpret_cast<sockaddr*>(&name), &size) != 0)
        failWithErrno("getsockname");
    return ntohs(name.sin_port);
}

Socket Socket::accept() const {
    Socket socket(::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC));
    if (socket.fd_ < 0)
        failWithErrno("accept");
    setOption(socket.fd_, IPPROTO_TCP, TCP_NODELAY);
    return socket;
}

void Socket::sendAll(const void* data, std::size_t size, int flags) const {
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t sent = ::send(fd_, next, size, flags | MSG_NOSIGNAL);
        if (sent < 0)
            failWithErrno("send");
        next += sent;
        size -= static_cast<std::size_t>(sent);
    }
}

bool Socket::receiveAll(void* data, std::size_t size) const {
    char* next = static_cast<char*>(data);
    while (size > 0) {
        const std::size_t count = receiveSome(next, size);
        if (count == 0)
            return false;
        next += count;
        size -= count;
    }
    return true;
}

void Socket::awaitData() const {
    constexpr int milliseconds = 1000;
    pollfd descriptor = {fd_, POLLIN, 0};
    while (::poll(&descriptor, 1, milliseconds) == 0) {
    }
}

std::size_t Socket::receiveSome(void* data, std::size_t most) const {
    const ssize_t count = ::recv(fd_, data, most, 0);
    if (count < 0)
        failWithErrno("recv");
    return static_cast<std::size_t>(count);
}

} // namespace bench
