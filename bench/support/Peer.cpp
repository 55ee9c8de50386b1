#include "bench/support/Peer.h"

#include "bench/support/Protocols.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <iterator>
#include <system_error>
#include <thread>

#include <poll.h>
#include <unistd.h>

namespace bench {

namespace {

using Serve = void (*)(const Socket& client);

// A client that goes in the middle of a transfer ends its own connection and no other.
void serveGuarded(Serve serve, const Socket& client) {
    try {
        serve(client);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "A connection of the benchmark's peer ended: %s\n", error.what());
    }
}

} // namespace

struct Peer::Listeners {
    /// Binds the first address from \p address on whose ports are free.
    static Listeners from(std::uint32_t address) {
        for (;; ++address) {
            try {
                return {addressText(address), Socket::listenAt(address, 7549),
                        Socket::listenAt(address, 7550), Socket::listenAt(address, 0)};
            } catch (const std::system_error& error) {
                if (error.code() != std::errc::address_in_use)
                    throw;
            }
        }
    }

    void serve() const {
        const Socket* const listeners[] = {&commands, &frames, &copies};
        const Serve serves[] = {serveCommands, serveFrames, serveCopies};
        pollfd polled[3];
        std::transform(std::begin(listeners), std::end(listeners), polled, [](const Socket* each) {
            return pollfd{each->fd(), POLLIN, 0};
        });
        while (::poll(polled, 3, -1) > 0)
            for (const pollfd& each : polled) {
                if (each.revents == 0)
                    continue;
                const auto place = &each - polled;
                std::thread([serve = serves[place], client = listeners[place]->accept()] {
                    serveGuarded(serve, client);
                }).detach();
            }
    }

    std::string host;
    Socket commands;
    Socket frames;
    Socket copies;
};

Peer::Peer()
    : Peer(Listeners::from(0x7F4D0001U + static_cast<std::uint32_t>(::getpid()) % 50000)) {}

Peer::Peer(const Listeners& listeners)
    : host_(listeners.host), copyPort_(listeners.copies.port()),
      process_(Process::running([&listeners] { listeners.serve(); })) {}

} // namespace bench
