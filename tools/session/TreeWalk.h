// Visits nodes, and all below them, on up to -j connections, of which the session's is the first;
// gives them out in the order in which one connection would meet them, the server's.
// Borrows the session, which asks nothing meanwhile. What can't be told of one node is a failure in
// it, and the walk goes on; what ends all (no connection, an interrupt, a node below itself) is
// thrown as Failure.
#ifndef TOOLS_SESSION_TREEWALK_H
#define TOOLS_SESSION_TREEWALK_H

#include "stream/TreeWalker.h"
#include "tools/session/NodeSearch.h"

#include <optional>
#include <string>
#include <vector>

namespace tool {

/// What a walk tells of a node, and where it is.
struct VisitedNode {
    Address address;
    std::string path; ///< From the node on where the walk began: names with slashes between.
    lantrix::WalkedNode node;
    std::optional<Failure> failure; ///< What could not be told.

    [[nodiscard]] bool isMissing() const {
        return failure && failure->status() == Status::NodeNotFound;
    }
};

class TreeWalk {
public:
    /// Begins at once. Without \p starts no connection is used.
    TreeWalk(Session& session, const std::vector<FoundNode>& starts,
             const lantrix::WalkOptions& options);

    /// The next node; none behind the last.
    [[nodiscard]] std::optional<VisitedNode> next();

private:
    void place(VisitedNode& visited);
    [[nodiscard]] Failure failureOf(const VisitedNode& visited);

    Session& session_;
    const std::vector<FoundNode> starts_;
    std::size_t started_ = 0;            // of the starts
    std::vector<VisitedNode> ancestors_; // of the last node, and itself; only address and path
    lantrix::Pool pool_;
    lantrix::TreeWalker walker_; // last: needs the pool
};

} // namespace tool

#endif
