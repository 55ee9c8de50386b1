// What is measured over a link: a development server with clips, a folder with the same frames as
// files, and relays that delay what passes; beside them, where it is installed, rclone with a
// server of that folder. Owns all of it. Build it before threads are started. Failures throw.
#ifndef BENCH_ACROSS_LINK_H
#define BENCH_ACROSS_LINK_H

#include "bench/across/DelayRelay.h"
#include "bench/across/DevServerProcess.h"
#include "bench/across/Rclone.h"
#include "tests/support/ScratchDirectory.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace bench {

class Link {
public:
    // Each name is that of a clip or folder of the server, and of a folder of files.
    static constexpr const char* few = "few";     ///< 200 clips.
    static constexpr const char* many = "many";   ///< 1,000 clips.
    static constexpr const char* small = "small"; ///< A clip of 1,000 frames of 12 KiB.
    static constexpr const char* large = "large"; ///< A clip of 48 frames of 12 MiB.
    static constexpr const char* film = "film";   ///< A clip of 250 frames of 1 MiB; no files.
    static constexpr int framesOfFilm = 250;
    static int framesOf(const std::string& clip) { return clip == small ? 1000 : 48; }

    Link();

    /// Round trips, in milliseconds. 0 is the server itself, without a relay.
    static const std::vector<int>& roundTrips();
    /// The server, over a link with one of the round trips.
    const std::string& hostAt(int milliseconds) const;
    /// On the server, below a folder of its own.
    static std::string path(const std::string& name) { return "/Link/" + name; }
    /// A pattern of the tool for files of frames.
    std::string pattern(const std::string& folder) const { return files(folder) + "/f.####"; }
    std::string files(const std::string& folder) const { return scratch_ / "files/" + folder; }
    /// Those that are installed.
    const std::vector<Rclone>& rclones() const { return rclones_; }

private:
    void fill() const;

    ScratchDirectory scratch_; // outlives the servers that keep files in it
    DevServerProcess server_;
    std::map<int, DelayRelay> relays_; // by round trip
    std::vector<Rclone> rclones_;
};

} // namespace bench

#endif
