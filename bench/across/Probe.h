// Another process, which moves frames or makes calls as lines on its standard input ask for it:
// this program once more, for environment variables that are read when the library is loaded and
// for tools that count what a whole process does, or one that measures another language. A Probe
// owns the process. Failures throw.
#ifndef BENCH_ACROSS_PROBE_H
#define BENCH_ACROSS_PROBE_H

#include "bench/support/Process.h"
#include "bench/support/Rounds.h"
#include "bench/support/Socket.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace bench {

class Probe {
public:
    /// Names and values of environment variables.
    using Environment = std::vector<std::pair<std::string, std::string>>;

    /// This program; its library is loaded with this KV_LANTRIX_TCP_BUF_SIZE.
    Probe(const std::string& host, std::size_t bufferSize);
    /// A program with these arguments, the first of them its path.
    Probe(const std::vector<std::string>& arguments, const Environment& environment);

    [[nodiscard]] pid_t process() const { return process_.id(); }
    /// The next line that the process prints.
    [[nodiscard]] std::string answer() const;
    /// Asks for something, and returns the answer.
    std::string ask(const std::string& order) const;
    /// Frames of this size, read or written.
    [[nodiscard]] Work moving(bool reads, std::size_t frameSize) const;
    /// What the process does for "WHAT SIZE COUNT PORT", or without the port when it is 0.
    [[nodiscard]] Work doing(const std::string& what, std::size_t size, unsigned port = 0) const;

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

/// What a probe does: for each line "WHAT SIZE COUNT" on standard input it prints an empty one when
/// that is done. WHAT is "read" or "write" (frames of SIZE bytes through the library), "bare-read"
/// or "bare-write" (the same exchange by plain loops), "read-by-index" (of a peer's clip), "ping",
/// or "children" (of a node with SIZE).
void runProbe(const std::string& host);

} // namespace bench

#endif
