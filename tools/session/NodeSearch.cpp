#include "tools/session/NodeSearch.h"

#include "tools/report/NearestName.h"

namespace tool {

std::vector<FoundNode> childrenOf(Session& session, const FoundNode& node) {
    int count = 0;
    try {
        session.call("list '" + node.address.path() + "'",
                     [&] { return node.handle.getNumChildren(count); });
    } catch (const Failure& failure) {
        // An id is only known to be one when it is used.
        throw failure.status() == Status::Refused ? session.noSuchNode(node.handle) : failure;
    }
    std::vector<FoundNode> children;
    children.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        LantrixNodeHandle child;
        session.call("list '" + node.address.path() + "'",
                     [&] { return node.handle.getChild(i, child); });
        children.push_back({node.address.child(session.name(child)), child});
        if (!node.address.nodeId.empty()) // the path from the root is not known
            children.back().address.nodeId = child.getNodeId().id();
    }
    return children;
}

std::optional<FoundNode> findChild(Session& session, const FoundNode& parent,
                                   const std::string& name) {
    int count = 0; // asked first, so that the search below can only fail to find
    session.call("list '" + parent.address.path() + "'",
                 [&] { return parent.handle.getNumChildren(count); });
    FoundNode found{parent.address.child(name), {}};
    if (!LantrixFindChild(parent.handle, name.c_str(), found.handle))
        return std::nullopt;
    return found;
}

Failure missingNode(Session& session, const Address& address, const FoundNode& parent,
                    const std::string& component) {
    std::vector<std::string> names;
    for (const FoundNode& child : childrenOf(session, parent))
        names.push_back(child.address.name());
    const std::string near = nearestName(component, names);
    Failure failure(Status::NodeNotFound,
                    "'" + address.path() + "' is not on " + session.endpoint() + ": there is no '" +
                        component + "' in '" + parent.address.path() + "'" +
                        (near.empty() ? "" : "; did you mean '" + near + "'?"));
    failure.with("host", session.host()).with("port", static_cast<int>(Port::Commands));
    failure.with("path", address.path()).with("missing", component);
    if (!near.empty())
        failure.with("near", near);
    return failure;
}

LantrixNodeHandle findNode(Session& session, const Address& address) {
    if (!address.nodeId.empty())
        return {session.server(), address.nodeId.c_str()};
    FoundNode node{address, session.root()};
    node.address.components.clear();
    for (const std::string& component : address.components) {
        std::optional<FoundNode> below = findChild(session, node, component);
        if (!below)
            throw missingNode(session, address, node, component);
        node = std::move(*below);
    }
    return node.handle;
}

namespace {

void expand(Session& session, const FoundNode& node, const std::vector<std::string>& components,
            std::size_t depth, std::vector<FoundNode>& found) {
    if (depth == components.size()) {
        found.push_back(node);
        return;
    }
    // A name that looks like a pattern is a name first.
    if (const std::optional<FoundNode> named = findChild(session, node, components[depth])) {
        expand(session, *named, components, depth + 1, found);
        return;
    }
    if (!isNamePattern(components[depth]))
        return;
    for (const FoundNode& below : childrenOf(session, node))
        if (matchesNamePattern(components[depth], below.address.name()))
            expand(session, below, components, depth + 1, found);
}

} // namespace

std::vector<FoundNode> findNodes(Session& session, const Address& address) {
    std::vector<FoundNode> found;
    if (isNamePattern(address.path()) && address.nodeId.empty()) {
        Address top = address;
        top.components.clear();
        expand(session, {top, session.root()}, address.components, 0, found);
        if (found.empty())
            throw Failure(Status::NodeNotFound,
                          "nothing on " + session.endpoint() + " matches '" + address.path() + "'")
                .with("host", session.host())
                .with("path", address.path());
        return found;
    }
    found.push_back({address, findNode(session, address)});
    return found;
}

LantrixNodeHandle findClip(Session& session, const Address& address) {
    LantrixNodeHandle node = findNode(session, address);
    if (!session.isClip(node))
        throw Failure(Status::Other, "'" + address.text() + "' is not a clip")
            .with("path", address.path());
    return node;
}

} // namespace tool
