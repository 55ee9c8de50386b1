// Making nodes and clips that are not there yet, and what keeps them from being made.
// Plain functions on a session. Failures are thrown as Failure.
#ifndef TOOLS_VERBS_NEWCLIP_H
#define TOOLS_VERBS_NEWCLIP_H

#include "tools/session/NodeSearch.h"

#include <string>

namespace CLI {
class App;
}

namespace tool {

struct NewClip {
    LantrixClipFormat format;
    int frameCount = 0;
    std::string type = "clip"; ///< The server's name, or number, for the kind of node.
};

/// Adds --type.
void addTypeOption(CLI::App& verb, std::string& type);

/// The failure to make a node where one is.
[[nodiscard]] Failure alreadyThere(const Session& session, const Address& address);
/// Refuses a clip, in which nothing can be made.
void requireFolder(Session& session, const FoundNode& node);
/// Refuses a text that can't be sent as the type of a node.
void checkType(const std::string& type);

/// The folder above a clip that is to be made; refuses what keeps it from being made.
[[nodiscard]] FoundNode findParentOfNew(Session& session, const Address& address,
                                        const NewClip& clip);
/// Makes a clip that is not there yet; the folder above it must be.
[[nodiscard]] LantrixNodeHandle makeClip(Session& session, const Address& address,
                                         const NewClip& clip);

} // namespace tool

#endif
