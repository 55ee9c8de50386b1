// Walks over all nodes below one, parents first, in the server's order.
// Borrows the session and the troubles: a node whose children can't be listed is one of these, and
// the walk goes on behind it. The top node's own, and a server that lists a node below itself,
// are a Failure.
#ifndef TOOLS_SESSION_TREEWALK_H
#define TOOLS_SESSION_TREEWALK_H

#include "tools/report/Troubles.h"
#include "tools/session/NodeSearch.h"

#include <functional>
#include <string>

namespace tool {

class TreeWalk {
public:
    /// \p name is the path from the top node on, without a slash in front.
    using Visit = std::function<void(const FoundNode& node, const std::string& name)>;

    TreeWalk(Session& session, Troubles& troubles) : session_(session), troubles_(troubles) {}

    void visitBelow(const FoundNode& top, const Visit& visit) { visitBelow(top, "", 1, visit); }

    /// The children of a node \p depth levels below where a walk began; one request. None when they
    /// can't be listed, but for depth 1.
    [[nodiscard]] std::vector<FoundNode> children(const FoundNode& node, int depth);

private:
    void visitBelow(const FoundNode& node, const std::string& prefix, int depth,
                    const Visit& visit);

    Session& session_;
    Troubles& troubles_;
};

} // namespace tool

#endif
