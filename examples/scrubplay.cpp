// scrubplay HOST PATH FIRST...: plays a clip from each of these frames for a moment, as a player
// does whose user drags the playhead about, and tells how long each jump took.
#include "stream/FrameReader.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <numeric>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int framesAfterEachJump = 5;

// Shows the frame that comes next. Where a player would wait for the right moment and draw the
// pixels, their bytes are counted. The buffer goes back to the reader as the frame goes out of
// scope.
bool show(lantrix::FrameReader& reader, std::size_t& bytes) {
    const std::optional<lantrix::Frame> frame = reader.next();
    if (!frame)
        return false; // behind the last one
    if (frame->failure)
        std::fprintf(stderr, "Frame %d: %s\n", frame->index, frame->failure.text.c_str());
    bytes += frame->pixels.size();
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: scrubplay HOST PATH FIRST...\n");
        return 2;
    }
    const LantrixServerHandle server(argv[1]);
    LantrixNodeHandle clip;
    int frames = 0;
    // Resolving does not fail when the server can't be asked at all, so that is tried first.
    if (!server.ping() || !LantrixResolveDisplayPath(server, argv[2], clip) ||
        !clip.getNumFrames(frames)) {
        std::fprintf(stderr, "scrubplay: cannot find the clip. %s\n", server.lastError());
        return 1;
    }
    std::vector<int> indices(static_cast<std::size_t>(frames));
    std::iota(indices.begin(), indices.end(), 0);

    lantrix::Pool pool(argv[1]);
    lantrix::FrameReader reader(pool, clip, indices);
    for (int i = 3; i < argc; ++i) {
        const auto start = Clock::now();
        std::size_t bytes = 0;
        if (!reader.request(std::atoi(argv[i])) || !show(reader, bytes))
            continue;
        const std::chrono::duration<double, std::milli> jump = Clock::now() - start;
        int shown = 1;
        while (shown < framesAfterEachJump && show(reader, bytes))
            ++shown;
        std::printf("%d frames, %zu bytes from %s on; the first after %.1f ms\n", shown, bytes,
                    argv[i], jump.count());
    }
    return 0;
}
