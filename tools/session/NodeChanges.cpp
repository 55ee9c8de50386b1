#include "tools/session/NodeChanges.h"

#include "lantrix/LantrixBaseInterface.h"
#include "lantrix/LantrixNodeClientAPI.h"

namespace tool {

namespace {

// What is below the parent now, whatever its handle remembers.
std::optional<FoundNode> findNow(Session& session, const FoundNode& parent,
                                 const std::string& name) {
    const FoundNode again{parent.address, {session.server(), parent.handle.getNodeId().id()}};
    return findChild(session, again, name);
}

Failure takenMeanwhile(const Session& session, const FoundNode& node) {
    return Failure(Status::Other, "'" + node.address.path() + "' has been made on " +
                                      session.endpoint() + " by somebody else meanwhile")
        .with("host", session.host())
        .with("path", node.address.path());
}

Failure madeBySomebody(const Session& session, const FoundNode& node) {
    return Failure(Status::Other, "the connection broke while '" + node.address.path() +
                                      "' was being made on " + session.endpoint() +
                                      ", where there is such a clip without frames now: it may be "
                                      "somebody else's; remove it unless it is, and try again")
        .with("host", session.host())
        .with("path", node.address.path())
        .with("id", std::string(node.handle.getNodeId().id()));
}

std::string making(const FoundNode& parent, const std::string& name) {
    return "make '" + parent.address.child(name).path() + "'";
}

} // namespace

LantrixNodeHandle makeNode(Session& session, FoundNode& parent, const std::string& name,
                           const std::string& type) {
    LantrixNodeHandle made;
    session.change(
        making(parent, name),
        [&] { return parent.handle.createNode(name.c_str(), type.c_str(), made); },
        [&] {
            const std::optional<FoundNode> found = findNow(session, parent, name);
            if (!found)
                return false;
            if (session.isClip(found->handle))
                throw takenMeanwhile(session, *found);
            made = found->handle;
            return true;
        });
    return made;
}

// Of a clip that is found nobody can say who made it, so that it is neither taken nor removed.
LantrixNodeHandle makeClipNode(Session& session, FoundNode& parent, const std::string& name,
                               const LantrixClipFormat& format, const std::string& type) {
    LantrixNodeHandle made;
    session.change(
        making(parent, name),
        [&] { return parent.handle.createClipNode(name.c_str(), format, type.c_str(), made); },
        [&] {
            const std::optional<FoundNode> found = findNow(session, parent, name);
            if (!found)
                return false;
            if (!session.isClip(found->handle) || session.countFrames(found->handle) > 0)
                throw takenMeanwhile(session, *found);
            throw madeBySomebody(session, *found);
        });
    return made;
}

void setFrameCount(Session& session, FoundNode& clip, int count) {
    session.change(
        "give '" + clip.address.path() + "' " + std::to_string(count) + " frames",
        [&] { return clip.handle.setNumFrames(count); },
        [&] {
            const LantrixNodeHandle again(session.server(), clip.handle.getNodeId().id());
            // A clip without frames may have no format yet, which comes with them.
            const bool isDone = count > 0 && session.countFrames(again) == count;
            if (isDone)
                clip.handle = again;
            return isDone;
        });
}

// Handles have the format of clips that they made; this needs the request itself. A repetition
// changes nothing.
void giveFrames(Session& session, const FoundNode& clip, const LantrixClipFormat& format,
                int count) {
    LantrixClientConnection connection(session.target().c_str(), static_cast<int>(Port::Commands));
    LantrixNodeClientAPI nodes(connection);
    CallWatch watch([&] { connection.stop(); }, session.options().timeout, AtInterrupt::End);
    std::vector<LantrixFrameId> frames;
    watch.startLimit();
    watch.begin();
    const bool isDone = nodes.allocateFrames(clip.handle.getNodeId(), count, format, frames);
    watch.end();
    if (!isDone) {
        throw watch.failure(session.host(), Port::Commands,
                            "give '" + clip.address.path() + "' " + std::to_string(count) +
                                " frames",
                            nodes.lastError());
    }
}

void removeNode(Session& session, FoundNode& node) {
    session.change(
        "remove '" + node.address.path() + "'", [&] { return node.handle.destroyNode(); },
        [&] {
            const LantrixNodeHandle again(session.server(), node.handle.getNodeId().id());
            try {
                static_cast<void>(session.isClip(again));
                return false;
            } catch (const Failure& failure) {
                if (failure.status() != Status::NodeNotFound)
                    throw;
                return true;
            }
        });
}

namespace {

template <class Work>
void withdraw(const Options& options, const Address& address, const std::string& nodeId,
              Work work) {
    Options brief = options;
    brief.timeout = 10;
    Session session(brief, address.host, AtInterrupt::GoOn);
    FoundNode node{address, {session.server(), nodeId.c_str()}};
    try {
        work(session, node);
    } catch (const Failure&) {
        return; // the failure that made this necessary is the one to tell
    }
}

} // namespace

void withdrawNode(const Options& options, const Address& address, const std::string& nodeId) {
    withdraw(options, address, nodeId, removeNode);
}

void withdrawFrames(const Options& options, const Address& address, const std::string& nodeId,
                    int count) {
    withdraw(options, address, nodeId,
             [count](Session& session, FoundNode& node) { setFrameCount(session, node, count); });
}

} // namespace tool
