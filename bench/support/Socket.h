// Plain blocking TCP sockets on loopback, as thin as they can be: what the library is measured
// against must not cost anything of its own.
// A Socket owns its descriptor. Failures throw std::system_error.
#ifndef BENCH_SUPPORT_SOCKET_H
#define BENCH_SUPPORT_SOCKET_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

class Socket {
public:
    /// Listens on \p address (host byte order); port 0 is any free one. What the connections to it
    /// send is not paced.
    static Socket listenAt(std::uint32_t address, std::uint16_t port);
    /// Connects without delaying small segments, as the library does.
    static Socket connectTo(const std::string& host, std::uint16_t port);

    explicit Socket(int fd = -1) : fd_(fd) {}
    Socket(Socket&& other) noexcept : fd_(other.release()) {}
    Socket& operator=(Socket&& other) noexcept;
    ~Socket();

    int fd() const { return fd_; }
    int release();
    /// The port that this socket is bound to.
    std::uint16_t port() const;
    /// The next connection to a listening socket.
    Socket accept() const;

    /// A loop of send over all bytes; \p flags are those of send.
    void sendAll(const void* data, std::size_t size, int flags = 0) const;
    /// A loop of recv until all bytes are there. False when the peer has closed before.
    bool receiveAll(void* data, std::size_t size) const;
    /// One poll, as the library makes before it reads: returns when there is something to receive.
    void awaitData() const;
    /// One recv: the bytes received, 0 when the peer has closed.
    std::size_t receiveSome(void* data, std::size_t most) const;

private:
    int fd_;
};

/// "127.1.2.3" for an address in host byte order.
std::string addressText(std::uint32_t address);
/// A port of 127.0.0.1 that nobody listens on at present.
std::uint16_t freePort();
/// Waits, some seconds at most, until a server listens on this port.
void awaitListener(std::uint16_t port, const std::string& host = "127.0.0.1");
/// Throws std::system_error with the text of errno.
[[noreturn]] void failWithErrno(const char* what);

} // namespace bench

#endif
