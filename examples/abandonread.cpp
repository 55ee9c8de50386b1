// abandonread HOST PATH MILLISECONDS: reads a clip's frames over and over in a thread of its own,
// as a player in a loop does, and abandons the read that is under way when the time is over.
#include "lantrix/LantrixClientAPI.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <vector>

namespace {

// Ends with the first read that fails, or is stopped; returns the number of frames before it.
int play(LantrixNodeHandle& clip, int frames, int frameSize) {
    std::vector<char> frame(static_cast<std::size_t>(std::max(frameSize, 0)));
    int played = 0;
    while (clip.readFrame(played % frames, frame.data(), frameSize))
        ++played;
    return played;
}

int fail(const char* what, const LantrixServerHandle& server) {
    std::fprintf(stderr, "abandonread: cannot %s. %s\n", what, server.lastError());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: abandonread HOST PATH MILLISECONDS\n");
        return 2;
    }
    LantrixServerHandle server(argv[1]);
    LantrixNodeHandle clip;
    LantrixClipFormat format;
    int frames = 0;
    // Resolving does not fail when the server can't be asked at all, so that is tried first.
    if (!server.ping() || !LantrixResolveDisplayPath(server, argv[2], clip))
        return fail("find the clip", server);
    if (!clip.getClipFormat(format) || !clip.getNumFrames(frames) || frames == 0)
        return fail("play a node without frames", server);

    auto player =
        std::async(std::launch::async, play, std::ref(clip), frames, format.frameBufferSize());
    if (player.wait_for(std::chrono::milliseconds(std::atoi(argv[3]))) == std::future_status::ready)
        return fail("read on", server);

    // A stop ends the transfer that is under way; one that comes between two of them is forgotten,
    // so it is repeated until the thread has ended.
    do
        server.stop();
    while (player.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready);
    std::printf("Abandoned after %d frames: %s\n", player.get(), server.lastError());
    return 0;
}
