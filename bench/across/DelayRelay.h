// A link with a round trip, between programs on one machine: a process that forwards connections
// and holds back what passes for half of the round trip, each way. The bytes of a direction wait in
// a queue, each with the time at which it is due, so that the delay bounds no throughput. As over a
// network, making a connection takes a round trip: what a client sends before that has passed waits
// for it.
// Owns the process, of which each connection has four threads. Fork before threads are started.
#ifndef BENCH_ACROSS_DELAYRELAY_H
#define BENCH_ACROSS_DELAYRELAY_H

#include "bench/support/Listeners.h"
#include "bench/support/Process.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

class DelayRelay {
public:
    /// Listens on these ports of an address of its own, and forwards to the same ports of
    /// \p server.
    DelayRelay(const std::string& server, const std::vector<std::uint16_t>& ports,
               std::chrono::microseconds roundTrip);

    const std::string& host() const { return host_; }

private:
    DelayRelay(const Listeners& listeners, const std::string& server,
               const std::vector<std::uint16_t>& ports, std::chrono::microseconds roundTrip);

    std::string host_;
    Process process_;
};

} // namespace bench

#endif
