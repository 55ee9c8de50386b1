#include "tools/session/TreeWalk.h"

namespace tool {

namespace {
// Deeper than anybody nests folders, and far from the end of the stack.
constexpr int deepestLevel = 1000;
} // namespace

std::vector<FoundNode> TreeWalk::children(const FoundNode& node, int depth) {
    if (depth == 1) // what was asked for
        return childrenOf(session_, node);
    std::vector<FoundNode> children;
    troubles_.attempt([&] { children = childrenOf(session_, node); });
    if (depth > deepestLevel && !children.empty())
        throw Failure(Status::Other, "the tree on " + session_.endpoint() + " has more than " +
                                         std::to_string(deepestLevel) +
                                         " levels: is a node below itself?");
    return children;
}

void TreeWalk::visitBelow(const FoundNode& node, const std::string& prefix, int depth,
                          const Visit& visit) {
    for (const FoundNode& child : children(node, depth)) {
        const std::string name = prefix + child.address.name();
        visit(child, name);
        visitBelow(child, name + "/", depth + 1, visit);
    }
}

} // namespace tool
