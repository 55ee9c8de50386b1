// Ports of a loopback address that nobody else uses, and the loop that accepts on all of them.
// Owns its sockets. Failures throw std::system_error.
#ifndef BENCH_SUPPORT_LISTENERS_H
#define BENCH_SUPPORT_LISTENERS_H

#include "bench/support/Socket.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

class Listeners {
public:
    /// Binds these ports, 0 being any free one, on the first address from \p address (host byte
    /// order) where all of them are free.
    Listeners(std::uint32_t address, const std::vector<std::uint16_t>& ports);

    const std::string& host() const { return host_; }
    /// The port at this place of the list.
    std::uint16_t port(std::size_t place) const { return sockets_[place].port(); }
    /// Gives each connection to \p accepted, with the place of its port. Does not return.
    [[noreturn]] void
    serve(const std::function<void(std::size_t place, Socket client)>& accepted) const;

private:
    std::string host_;
    std::vector<Socket> sockets_;
};

} // namespace bench

#endif
