// The server's half of the protocols, from memory: each function serves one connection until the
// client closes it. Failures throw.
#ifndef BENCH_SUPPORT_PROTOCOLS_H
#define BENCH_SUPPORT_PROTOCOLS_H

#include "bench/support/Socket.h"

namespace bench {

/// Request lines. A node's id says what it is: "GetChildren" of the node "1000" has 1,000
/// children, "GetClipFormat" of the node "65536" tells frames of 65,536 bytes.
void serveCommands(const Socket& client);
/// Frame requests; any id is a frame of any size.
void serveFrames(const Socket& client);
/// Copies, each as its CopyOrder says.
void serveCopies(const Socket& client);

} // namespace bench

#endif
