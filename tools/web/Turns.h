// Who may hold frames at once: as many as the memory has room for, players before thumbnails.
// A turn is its holder's until it is destroyed, and must not outlive the turns. Any thread.
#ifndef TOOLS_WEB_TURNS_H
#define TOOLS_WEB_TURNS_H

#include "tools/web/Peer.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <set>
#include <utility>

namespace tool {

enum class Urgency { Player, Thumbnail };

class Turns {
public:
    /// \p count holders at most, who hold \p memory bytes at most, or one of them more.
    Turns(unsigned count, std::uint64_t memory) : count_(count), memory_(memory) {}

    class Turn {
    public:
        Turn(Turns& turns, std::uint64_t bytes) : turns_(turns), bytes_(bytes) {}
        ~Turn() { turns_.giveBack(bytes_); }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        Turns& turns_;
        std::uint64_t bytes_;
    };

    /// Waits for a turn to hold so many bytes. Throws a WebFailure when the peer has gone
    /// meanwhile.
    [[nodiscard]] Turn take(Urgency urgency, std::uint64_t bytes, const Peer& peer);
    /// Bytes of all turns.
    [[nodiscard]] std::uint64_t used() const;

private:
    using Place = std::pair<Urgency, std::uint64_t>; // the second counts up

    void giveBack(std::uint64_t bytes);
    [[nodiscard]] bool isNext(const Place& place, std::uint64_t bytes) const;

    const unsigned count_;
    const std::uint64_t memory_;
    mutable std::mutex mutex_; // guards all that follows
    std::condition_variable changed_;
    std::set<Place> waiting_;
    std::uint64_t last_ = 0;
    std::uint64_t used_ = 0;
    unsigned held_ = 0;
};

} // namespace tool

#endif
