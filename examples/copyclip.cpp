// copyclip HOST PATH TOHOST TOPATH NAME: copies a clip with its frames to another server, or to
// another place of the same one, below the node TOPATH and under the name NAME.
#include "lantrix/LantrixClientAPI.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

bool fail(const LantrixServerHandle& server, const char* what) {
    std::fprintf(stderr, "%s: cannot %s. %s\n", server.getHostName(), what, server.lastError());
    return false;
}

// Resolving does not fail when the server can't be asked at all, so that is tried first.
bool find(const LantrixServerHandle& server, const char* path, LantrixNodeHandle& node) {
    if (server.ping() && LantrixResolveDisplayPath(server, path, node))
        return true;
    return fail(server, "find the node");
}

bool copyFrames(LantrixNodeHandle& from, LantrixNodeHandle& to, int frames, int frameSize) {
    std::vector<char> frame(static_cast<std::size_t>(std::max(frameSize, 0)));
    for (int i = 0; i < frames; ++i) {
        if (!from.readFrame(i, frame.data(), frameSize))
            return fail(from.getServer(), "read a frame");
        if (!to.writeFrame(i, frame.data(), frameSize))
            return fail(to.getServer(), "write a frame");
    }
    std::printf("%d frames of %d bytes\n", frames, frameSize);
    return true;
}

bool copyClip(LantrixNodeHandle& from, LantrixNodeHandle& parent, const char* name) {
    LantrixClipFormat format;
    LantrixStr type;
    int frames = 0;
    if (!from.getClipFormat(format) || !from.getNodeTypeStr(type) || !from.getNumFrames(frames))
        return fail(from.getServer(), "ask for the clip");
    LantrixNodeHandle to;
    if (!parent.createClipNode(name, format, type, to))
        return fail(parent.getServer(), "create the clip");
    const bool copied = to.setNumFrames(frames)
                            ? copyFrames(from, to, frames, format.frameBufferSize())
                            : fail(to.getServer(), "allocate the frames");
    if (!copied && !to.destroyNode())
        fail(to.getServer(), "remove what was copied of the clip");
    return copied;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fprintf(stderr, "usage: copyclip HOST PATH TOHOST TOPATH NAME\n");
        return 2;
    }
    const LantrixServerHandle source(argv[1]), target(argv[3]);
    LantrixNodeHandle clip, parent;
    const bool found = find(source, argv[2], clip) && find(target, argv[4], parent);
    return found && copyClip(clip, parent, argv[5]) ? 0 : 1;
}
