// What moves frames of a given size between this process and a server: the library, bare sockets,
// or what a user would take instead. All use one buffer, so that caches treat them alike.
// Failures throw.
#ifndef BENCH_ACROSS_FRAMEMOVER_H
#define BENCH_ACROSS_FRAMEMOVER_H

#include "bench/support/Peer.h"
#include "bench/support/Rounds.h"
#include "lantrix/LantrixClientAPI.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace bench {

/// The application's memory for frames: largestFrame bytes.
char* frameBuffer();

class FrameMover {
public:
    virtual ~FrameMover() = default;
    /// What a curve calls it.
    virtual std::string name(bool reads) const = 0;
    /// Move \p count frames of \p size bytes from or to the server.
    virtual void read(std::size_t size, int count) = 0;
    virtual void write(std::size_t size, int count) = 0;

    /// One direction at one size, as a contender of a race.
    Work moving(bool reads, std::size_t size);
};

/// The id under which a server knows a frame of this size.
using FrameIds = std::function<std::string(std::size_t size)>;

/// A plain stream of frames without requests: what the sockets can do.
std::unique_ptr<FrameMover> bareCopy(const Peer& peer);
/// The same small writes as the library, one status byte, and plain loops of send and recv. With
/// \p waits also the library's poll before the status.
std::unique_ptr<FrameMover> bareExchange(const std::string& host, const FrameIds& ids,
                                         bool waits = false);
/// A server handle of the library. Curves call it \p name.
std::unique_ptr<FrameMover> libraryFrames(const std::string& host, const FrameIds& ids,
                                          const std::string& name);
/// Reads \p count frames of \p size bytes of a peer's clip by their index, one after the other.
void readByIndex(LantrixNodeHandle& clip, std::size_t size, int count);

} // namespace bench

#endif
