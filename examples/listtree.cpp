// listtree [HOST [PATH]]: lists the tree of a server below a node, clips with their format.
#include "lantrix/LantrixClientAPI.h"

#include <cstdio>

namespace {

bool describeClip(const LantrixNodeHandle& clip) {
    LantrixClipFormat format;
    int frames = 0;
    if (!clip.getClipFormat(format) || !clip.getNumFrames(frames))
        return false;
    std::printf(", %d frames of %dx%dx%d", frames, format.width(), format.height(),
                format.bitsPerPixel());
    return true;
}

// The first failure ends the listing, for half a tree looks like a whole one.
bool list(const LantrixNodeHandle& node, int depth) {
    LantrixStr name, kind;
    bool isClip = false;
    int count = 0;
    if (!node.getDisplayName(name) || !node.getNodeTypeStr(kind) || !node.getIsClipNode(isClip) ||
        !node.getNumChildren(count))
        return false;
    std::printf("%*s%s: %s", 2 * depth, "", name.c_str(), kind.c_str());
    if (isClip && !describeClip(node))
        return false;
    std::printf("\n");
    for (int i = 0; i < count; ++i) {
        LantrixNodeHandle child;
        if (!node.getChild(i, child) || !list(child, depth + 1))
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const char* const path = argc > 2 ? argv[2] : "/";
    const LantrixServerHandle server(argc > 1 ? argv[1] : "127.0.0.1");
    LantrixNodeHandle node;
    // Resolving does not fail when the server can't be asked at all, so that is tried first.
    if (server.ping() && LantrixResolveDisplayPath(server, path, node) && list(node, 0))
        return 0;
    // A path that leads nowhere leaves no text.
    std::fprintf(stderr, "Cannot list %s on %s. %s\n", path, server.getHostName(),
                 server.lastError());
    return 1;
}
