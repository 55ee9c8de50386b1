// The server's half of the protocols, from memory: each function serves one connection until the
// client closes it. Failures throw.
#ifndef BENCH_SUPPORT_PROTOCOLS_H
#define BENCH_SUPPORT_PROTOCOLS_H

#include "bench/support/Socket.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

constexpr std::size_t largestFrame = std::size_t{50} << 20;
constexpr int framesInClip = 100; ///< Of each clip.

/// What a client sends first on a connection for copies, as its bytes in memory: then `count`
/// frames of `size` bytes go one way, without anything between them. To those that the client
/// sent, it answers one byte when the last has arrived.
struct CopyOrder {
    std::uint64_t size;
    std::uint32_t count;
    std::uint32_t toClient;
};

/// The value of a "GetChildren" reply with this many children, ids and names alternating: about
/// 33 bytes for each child.
std::string childrenList(int count);
/// The name of the child at \p index in that reply.
std::string childName(int index);

/// Request lines. A node's id says what it is: "GetChildren" of the node "1000" has 1,000
/// children, "GetClipFormat" of the node "65536" answers frames of 65,536 bytes.
void serveCommands(const Socket& client);
/// Frame requests; any id is a frame of any size.
void serveFrames(const Socket& client);
/// Copies, each as its CopyOrder says.
void serveCopies(const Socket& client);

} // namespace bench

#endif
