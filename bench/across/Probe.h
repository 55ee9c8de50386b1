// Another process of this program, which moves frames or makes calls as lines on its standard input
// ask for it: for environment variables that are read when the library is loaded, and for tools
// that count what a whole process does.
// A Probe owns the process. Failures throw.
#ifndef BENCH_ACROSS_PROBE_H
#define BENCH_ACROSS_PROBE_H

#include "bench/support/Process.h"
#include "bench/support/Rounds.h"
#include "bench/support/Socket.h"

#include <cstddef>
#include <string>

namespace bench {

class Probe {
public:
    /// Its library is loaded with this KV_LANTRIX_TCP_BUF_SIZE.
    Probe(const std::string& host, std::size_t bufferSize);

    /// Frames of this size, read or written.
    Work moving(bool reads, std::size_t frameSize);

private:
    struct Pipe {
        Pipe();
        Socket reader; // each owns its descriptor
        Socket writer;
    };

    Pipe orders_;
    Pipe answers_;
    Process process_;
};

/// What a probe does: for each line "WHAT SIZE COUNT" on standard input it prints a dot when that
/// is done. WHAT is "read" or "write" (frames of SIZE bytes through the library), "bare-read" or
/// "bare-write" (the same exchange by plain loops), "ping", or "children" (of a node with SIZE).
void runProbe(const std::string& host);

} // namespace bench

#endif
