// walktree HOST [CONNECTIONS]: lists the whole tree of a server, clips with their format, over
// several connections at once. Ctrl-C ends it.
#include "stream/TreeWalker.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

std::atomic<bool> interrupted{false};

void describe(const lantrix::WalkedNode& node) {
    std::printf("%*s%s: %s", 2 * node.depth, "", node.name.c_str(), node.kind.c_str());
    if (node.format)
        std::printf(", %d frames of %dx%dx%d", node.frames, node.format->width(),
                    node.format->height(), node.format->bitsPerPixel());
    if (node.failure)
        std::printf(" (%s)", node.failure.text.c_str());
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
    const char* const host = argc > 1 ? argv[1] : "127.0.0.1";
    const int connections = argc > 2 ? std::atoi(argv[2]) : 8;
    std::signal(SIGINT, [](int) { interrupted = true; });

    lantrix::Pool pool(host, static_cast<unsigned>(connections > 0 ? connections : 1),
                       &interrupted);
    std::string root;
    const lantrix::Failure failure = pool.run([&root](lantrix::Connection& connection) {
                                             LantrixNodeHandle node;
                                             if (!connection.server.getRootNode(node))
                                                 return lantrix::Failure::lastOf(connection.server);
                                             root = node.getNodeId().id();
                                             return lantrix::Failure();
                                         })
                                         .get();
    if (failure) {
        std::fprintf(stderr, "walktree: cannot ask %s. %s\n", host, failure.text.c_str());
        return 1;
    }

    lantrix::WalkOptions options;
    options.kinds = options.formats = options.frames = true;
    lantrix::TreeWalker walker(pool, root, options);
    bool complete = true;
    while (const std::optional<lantrix::WalkedNode> node = walker.next()) {
        describe(*node);
        complete = complete && !node->failure;
    }
    return complete ? 0 : 1;
}
