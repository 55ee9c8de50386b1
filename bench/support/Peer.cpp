#include "bench/support/Peer.h"

#include "bench/support/Protocols.h"

#include <cstdio>
#include <exception>
#include <thread>
#include <utility>

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

// Any free port is the one for copies.
Peer::Peer()
    : Peer(Listeners(0x7F4D0001U + static_cast<std::uint32_t>(::getpid()) % 50000,
                     {7549, 7550, 0})) {}

Peer::Peer(const Listeners& listeners)
    : host_(listeners.host()), copyPort_(listeners.port(2)), process_(Process::running([&] {
          static constexpr Serve serves[] = {serveCommands, serveFrames, serveCopies};
          listeners.serve([](std::size_t place, Socket client) {
              std::thread([serve = serves[place], client = std::move(client)] {
                  serveGuarded(serve, client);
              }).detach();
          });
      })) {}

} // namespace bench
