#include "devserver/DevStream.h"

#include <asio/buffer.hpp>

#include <array>

#include <sys/socket.h>

namespace {

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

void DevStream::finish() {
    ::shutdown(socket_.native_handle(), SHUT_WR);
    std::array<char, 4096> discarded;
    while (read(discarded.data(), discarded.size()) > 0) {
    }
}

void DevStream::interrupt() {
    ::shutdown(socket_.native_handle(), SHUT_RDWR);
}
