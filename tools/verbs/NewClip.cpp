#include "tools/verbs/NewClip.h"

#include "tools/session/NodeChanges.h"

#include <CLI/App.hpp>

#include <algorithm>
#include <cctype>

namespace tool {

void addTypeOption(CLI::App& verb, std::string& type) {
    verb.add_option("--type", type, "The server's name, or number, for the kind of node");
}

Failure alreadyThere(const Session& session, const Address& address) {
    return Failure(Status::Other, "'" + address.path() + "' is already on " + session.endpoint())
        .with("host", session.host())
        .with("path", address.path());
}

void requireFolder(Session& session, const FoundNode& node) {
    if (session.isClip(node.handle)) {
        throw Failure(Status::Other,
                      "'" + node.address.text() + "' is a clip: nothing can be made below it")
            .with("path", node.address.path());
    }
}

void checkType(const std::string& type) {
    if (type.empty() ||
        std::any_of(type.begin(), type.end(), [](unsigned char c) { return std::isspace(c); }))
        throw Failure(Status::Usage, "a node's type is one word, not '" + type + "'");
}

FoundNode findParentOfNew(Session& session, const Address& address, const NewClip& clip) {
    FoundNode parent{address.parent(), findNode(session, address.parent())};
    if (findChild(session, parent, address.name()))
        throw alreadyThere(session, address);
    requireFolder(session, parent);
    checkType(clip.type);
    checkNewName(address.name(), parent.handle.getNodeId().id(), clip.type);
    return parent;
}

LantrixNodeHandle makeClip(Session& session, const Address& address, const NewClip& clip) {
    FoundNode parent = findParentOfNew(session, address, clip);
    FoundNode made{address, makeClipNode(session, parent, address.name(), clip.format, clip.type)};
    try {
        setFrameCount(session, made, clip.frameCount);
    } catch (const Failure&) {
        withdrawNode(session.options(), address,
                     made.handle.getNodeId().id()); // as if it had never been there
        throw;
    }
    return made.handle;
}

} // namespace tool
