#include "bench/support/Listeners.h"

#include <system_error>

#include <poll.h>

namespace bench {

namespace {

std::vector<Socket> listenAtAll(std::uint32_t address, const std::vector<std::uint16_t>& ports) {
    std::vector<Socket> sockets;
    for (const std::uint16_t port : ports)
        sockets.push_back(Socket::listenAt(address, port));
    return sockets;
}

} // namespace

Listeners::Listeners(std::uint32_t address, const std::vector<std::uint16_t>& ports) {
    for (; sockets_.empty(); ++address) {
        try {
            sockets_ = listenAtAll(address, ports);
            host_ = addressText(address);
        } catch (const std::system_error& error) {
            if (error.code() != std::errc::address_in_use)
                throw;
        }
    }
}

void Listeners::serve(const std::function<void(std::size_t, Socket)>& accepted) const {
    std::vector<pollfd> polled;
    for (const Socket& socket : sockets_)
        polled.push_back({socket.fd(), POLLIN, 0});
    while (::poll(polled.data(), polled.size(), -1) > 0)
        for (std::size_t place = 0; place < polled.size(); ++place)
            if (polled[place].revents != 0)
                accepted(place, sockets_[place].accept());
    failWithErrno("poll");
}

} // namespace bench
