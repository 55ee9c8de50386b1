#include "tools/verbs/NewClip.h"

namespace tool {

namespace {

constexpr const char* clipType = "clip";

} // namespace

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

FoundNode findParentOfNew(Session& session, const Address& address) {
    FoundNode parent{address.parent(), findNode(session, address.parent())};
    if (findChild(session, parent, address.name())) {
        throw alreadyThere(session, address);
    }
    requireFolder(session, parent);
    checkNewName(address.name(), parent.handle.getNodeId().id(), clipType);
    return parent;
}

LantrixNodeHandle makeClip(Session& session, const Address& address,
                           const LantrixClipFormat& format, int frames) {
    FoundNode parent = findParentOfNew(session, address);
    LantrixNodeHandle clip;
    session.call("make '" + address.path() + "'", [&] {
        return parent.handle.createClipNode(address.name().c_str(), format, clipType, clip);
    });
    try {
        session.call("make the frames of '" + address.path() + "'",
                     [&] { return clip.setNumFrames(frames); });
    } catch (const Failure&) {
        clip.destroyNode(); // as if it had never been there
        throw;
    }
    return clip;
}

} // namespace tool
