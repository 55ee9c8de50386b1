// The other end of what is measured: a process that speaks the command and the frame protocol and
// answers from memory, with plain loops of send and recv. It is as fast as such an end can be, so
// that the client is what a figure shows. It takes part in bare copies as well.
// Each connection has a thread of that process. A Peer owns the process. Fork before threads are
// started, so build peers first.
#ifndef BENCH_SUPPORT_PEER_H
#define BENCH_SUPPORT_PEER_H

#include "bench/support/Listeners.h"
#include "bench/support/Process.h"

#include <cstdint>
#include <string>

namespace bench {

class Peer {
public:
    Peer();

    /// An address of its own, whose ports 7549 and 7550 are the peer's.
    const std::string& host() const { return host_; }
    std::uint16_t copyPort() const { return copyPort_; }
    pid_t process() const { return process_.id(); }

private:
    explicit Peer(const Listeners& listeners);

    std::string host_;
    std::uint16_t copyPort_;
    Process process_;
};

} // namespace bench

#endif
