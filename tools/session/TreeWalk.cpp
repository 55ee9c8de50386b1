#include "tools/session/TreeWalk.h"

#include <utility>

namespace tool {

namespace {

using Question = lantrix::WalkedNode::Question;

std::vector<lantrix::WalkStart> startsOf(const std::vector<FoundNode>& nodes) {
    std::vector<lantrix::WalkStart> starts;
    starts.reserve(nodes.size());
    for (const FoundNode& node : nodes) {
        const std::string name = node.address.name();
        // The root's name, and that of an id, are not needed and not asked.
        starts.push_back({node.handle.getNodeId().id(), name.empty() ? node.address.path() : name});
    }
    return starts;
}

std::string doing(Question question, const std::string& path) {
    switch (question) {
    case Question::Children:
    case Question::Name:
        return "list '" + path + "'";
    case Question::Frames:
        return "count the clip's frames";
    case Question::Format:
        return "ask the clip's format";
    case Question::Streams:
        return "list metadata";
    default:
        return "ask the kind of a node";
    }
}

} // namespace

TreeWalk::TreeWalk(Session& session, const std::vector<FoundNode>& starts,
                   const lantrix::WalkOptions& options)
    : session_(session), starts_(starts), pool_(session.target(), session.poolOptions()),
      walker_(pool_, startsOf(starts), options) {}

std::optional<VisitedNode> TreeWalk::next() {
    std::optional<lantrix::WalkedNode> node = walker_.next();
    if (!node)
        return std::nullopt;
    VisitedNode visited;
    visited.node = std::move(*node);
    place(visited);
    if (visited.node.failure)
        visited.failure = failureOf(visited);
    return visited;
}

// The address, by that of the node above, which was given out before.
void TreeWalk::place(VisitedNode& visited) {
    const auto depth = static_cast<std::size_t>(visited.node.depth);
    ancestors_.resize(depth);
    if (depth == 0) {
        visited.address = starts_.at(started_++).address;
        visited.path = visited.address.name();
    } else {
        const VisitedNode& above = ancestors_.back();
        visited.address = above.address.child(visited.node.name);
        if (!above.address.nodeId.empty()) // the path from the root is not known
            visited.address.nodeId = visited.node.id;
        visited.path = above.path + "/" + visited.node.name;
    }
    ancestors_.push_back({visited.address, visited.path, {}, {}});
}

Failure TreeWalk::failureOf(const VisitedNode& visited) {
    const lantrix::Failure& failure = visited.node.failure;
    const Question question = visited.node.unanswered;
    if (failure.kind != lantrix::Failure::Kind::Refused)
        throw session_.failureOf(doing(question, visited.address.path()), failure);
    if (question == Question::None)
        throw Failure(Status::Other, "the tree on " + session_.endpoint() + " ends at '" +
                                         visited.address.path() + "': " + failure.text);
    // An id is only known to be one when it is used, and there is no other reason to refuse these.
    if (question == Question::Children || question == Question::Kind)
        return session_.noSuchNode(visited.node.id, failure.text);
    return session_.failureOf(doing(question, visited.address.path()), failure);
}

} // namespace tool
