#include "devserver/DevStream.h"

#include <asio/buffer.hpp>

#include <array>
#include <cerrno>

#include <sys/socket.h>
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

std::string peerOf(const asio::ip::tcp::socket& socket) {
    std::error_code error;
    const asio::ip::tcp::endpoint peer = socket.remote_endpoint(error);
    return error ? "a peer that is gone"
                 : peer.address().to_string() + ":" + std::to_string(peer.port());
}

} // namespace

DevStream::DevStream(asio::ip::tcp::socket socket)
    : socket_(std::move(socket)), peer_(peerOf(socket_)) {
    std::error_code ignored;
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
}

std::size_t DevStream::read(char* data, std::size_t size) {
    for (;;) {
        std::error_code error;
        const std::size_t count = socket_.read_some(asio::buffer(data, size), error);
        if (error != asio::error::interrupted)
            return error ? 0 : count;
    }
}

bool DevStream::write(std::string_view head, std::string_view body) {
    while (!head.empty() || !body.empty()) {
        const std::array<asio::const_buffer, 2> pieces{asio::buffer(head), asio::buffer(body)};
        std::error_code error;
        std::size_t count = socket_.write_some(pieces, error);
        if (error && error != asio::error::interrupted)
            return false;
        const std::size_t ofHead = std::min(count, head.size());
        head.remove_prefix(ofHead);
        body.remove_prefix(count - ofHead);
    }
    return true;
}

std::optional<std::size_t> DevStream::writeFile(std::string_view head, int file, std::size_t size) {
    while (!head.empty()) {
        std::error_code error;
        head.remove_prefix(socket_.send(asio::buffer(head), moreFollows, error));
        if (error && error != asio::error::interrupted)
            return std::nullopt;
    }
    std::size_t sent = 0;
    while (sent < size) {
        const ssize_t count = sendFromFile(socket_.native_handle(), file, sent, size - sent);
        if (count < 0 && errno == EINTR)
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

void DevStream::interrupt() {
    ::shutdown(socket_.native_handle(), SHUT_RDWR);
}
