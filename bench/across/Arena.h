// Everything that takes part in the comparison, started once: the bare peer, the development
// server, what else is installed, and what moves frames between them and this process. Owns all of
// it. Build it before threads are started. Failures throw.
#ifndef BENCH_ACROSS_ARENA_H
#define BENCH_ACROSS_ARENA_H

#include "bench/across/DevServerProcess.h"
#include "bench/across/FrameMover.h"
#include "bench/across/Rivals.h"
#include "tests/support/ScratchDirectory.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <vector>

namespace bench {

/// In memory where the system has a place for that, so that no figure is one of the medium.
std::filesystem::path placeForFiles();

/// The sizes of a curve, ascending.
const std::vector<std::size_t>& curveSizes();

/// OneCore: both sides share a core, so that all work adds up and no time is lost in waking another
/// one. TwoCores: client and server have a core each. Free: the system's choice.
enum class Placement { OneCore, TwoCores, Free };

class Arena {
public:
    Arena();

    /// Pins this process and all servers.
    void place(Placement placement) const;

    const Peer& peer() const { return peer_; }
    const DevServerProcess& devServer() const { return devServer_; }
    /// For files of other figures.
    std::filesystem::path scratch() const { return scratch_.path(); }
    FrameIds peerIds() const;
    FrameIds devServerIds() const;

private:
    ScratchDirectory scratch_; // outlives the servers that keep files in it
    Peer peer_;
    DevServerProcess devServer_;
    std::vector<std::unique_ptr<Rival>> rivals_;

public:
    const std::unique_ptr<FrameMover> copy;              ///< Bare, with the peer.
    const std::unique_ptr<FrameMover> exchange;          ///< Bare, with the peer.
    const std::unique_ptr<FrameMover> lantrix;           ///< With the peer.
    const std::unique_ptr<FrameMover> lantrixWithServer; ///< With the development server.
    const std::vector<std::unique_ptr<Rival>>& rivals() const { return rivals_; }
};

} // namespace bench

#endif
