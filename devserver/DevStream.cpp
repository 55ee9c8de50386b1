#include "devserver/DevStream.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#ifdef __linux__
#include <sys/sendfile.h>
#endif

namespace {

// What goes before a file leaves with the file's first bytes, where the system can hold it back.
#ifdef MSG_MORE
constexpr int moreFollows = MSG_MORE;
#else
constexpr int moreFollows = 0;
#endif

// One step; the bytes moved, 0 at the file's end, negative where the system can't.
ssize_t sendFromFile([[maybe_unused]] int socket, [[maybe_unused]] int file,
                     [[maybe_unused]] std::size_t offset, [[maybe_unused]] std::size_t size) {
#ifdef __linux__
    off_t position = static_cast<off_t>(offset);
    return ::sendfile(socket, file, &position, size);
#else
    errno = ENOSYS;
    return -1;
#endif
}

// A client that is gone is noticed by results.
#ifdef MSG_NOSIGNAL
constexpr int noSignal = MSG_NOSIGNAL;
#else
constexpr int noSignal = 0;
#endif

// A peer that lost its power or its network says nothing any more: asked after a minute, and given
// up after ten questions without an answer.
void keepAlive(int socket) {
    const auto set = [socket](int level, int option, int value) {
        ::setsockopt(socket, level, option, &value, sizeof value);
    };
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
#if defined(TCP_KEEPIDLE) && defined(TCP_KEEPINTVL) && defined(TCP_KEEPCNT)
    set(IPPROTO_TCP, TCP_KEEPIDLE, 60);
    set(IPPROTO_TCP, TCP_KEEPINTVL, 6);
    set(IPPROTO_TCP, TCP_KEEPCNT, 10);
#elif defined(TCP_KEEPALIVE)
    set(IPPROTO_TCP, TCP_KEEPALIVE, 60);
#endif
}

iovec pieceOf(std::string_view text) {
    return {const_cast<char*>(text.data()), text.size()}; // only ever read
}

std::string peerOf(const asio::ip::tcp::socket& socket) {
    std::error_code error;
    const asio::ip::tcp::endpoint peer = socket.remote_endpoint(error);
    return error ? "a peer that is gone"
                 : peer.address().to_string() + ":" + std::to_string(peer.port());
}

} // namespace

DevStream::DevStream(asio::ip::tcp::socket socket, std::chrono::seconds idle)
    : socket_(std::move(socket)), peer_(peerOf(socket_)) {
    std::error_code ignored;
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    keepAlive(socket_.native_handle());
    const timeval longest{static_cast<decltype(timeval::tv_sec)>(idle.count()), 0};
    for (const int direction : {SO_RCVTIMEO, SO_SNDTIMEO})
        ::setsockopt(socket_.native_handle(), SOL_SOCKET, direction, &longest, sizeof longest);
}

bool DevStream::mayRepeat() {
    wasIdle_ = wasIdle_ || errno == EAGAIN || errno == EWOULDBLOCK;
    return errno == EINTR;
}

std::size_t DevStream::read(char* data, std::size_t size) {
    for (;;) {
        const ssize_t count = ::recv(socket_.native_handle(), data, size, 0);
        if (count >= 0)
            return static_cast<std::size_t>(count);
        if (!mayRepeat())
            return 0;
    }
}

bool DevStream::write(std::string_view head, std::string_view body) {
    while (!head.empty() || !body.empty()) {
        std::array<iovec, 2> pieces{pieceOf(head), pieceOf(body)};
        msghdr message{};
        message.msg_iov = pieces.data();
        message.msg_iovlen = pieces.size();
        const ssize_t count = ::sendmsg(socket_.native_handle(), &message, noSignal);
        if (count < 0 && !mayRepeat())
            return false;
        const std::size_t sent = count < 0 ? 0 : static_cast<std::size_t>(count);
        const std::size_t ofHead = std::min(sent, head.size());
        head.remove_prefix(ofHead);
        body.remove_prefix(sent - ofHead);
    }
    return true;
}

std::optional<std::size_t> DevStream::writeFile(std::string_view head, int file, std::size_t size) {
    while (!head.empty()) {
        const ssize_t count =
            ::send(socket_.native_handle(), head.data(), head.size(), moreFollows | noSignal);
        if (count < 0 && !mayRepeat())
            return std::nullopt;
        head.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    std::size_t sent = 0;
    while (sent < size) {
        const ssize_t count = sendFromFile(socket_.native_handle(), file, sent, size - sent);
        if (count < 0 && mayRepeat())
            continue;
        if (count <= 0)
            break;
        sent += static_cast<std::size_t>(count);
    }
    return sent;
}

void DevStream::finish() {
    ::shutdown(socket_.native_handle(), SHUT_WR);
    std::array<char, 4096> discarded;
    while (read(discarded.data(), discarded.size()) > 0) {
    }
}

void DevStream::close() {
    std::error_code ignored;
    socket_.close(ignored);
}

void DevStream::interrupt() {
    ::shutdown(socket_.native_handle(), SHUT_RDWR);
}
