// Walks the tree of nodes below one over all connections of a pool, and gives the nodes out in the
// order in which one connection would have met them.
// Owns what it has been told and not yet given out; borrows the pool, which must outlive it.
// Threads: next() from one thread at a time.
// Failures are values in the nodes: what can't be asked of one leaves the others alone.
#ifndef STREAM_TREEWALKER_H
#define STREAM_TREEWALKER_H

#include "stream/Pool.h"

#include <climits>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lantrix {

class TreeWalkerCore;

/// What a walk visits, and what it asks of each node besides its children.
struct WalkOptions {
    /// Where a node stands in the order in which nodes are given out.
    enum class Order {
        ParentFirst,  ///< Before all nodes below it.
        ChildrenFirst ///< Behind all nodes below it.
    };

    /// The order of the walk.
    Order order = Order::ParentFirst;
    /// Levels below the first node; that many levels down no children are asked for.
    int depth = INT_MAX;
    /// Kind and type. Sends "GetNodeType" and "GetNodeTypeStr" for each node, and "GetChildren"
    /// only for those that are not clips: these have no nodes below them.
    bool kinds = false;
    /// Of clips, the format ("GetClipFormat") and the count of frames ("GetFrames"). Each has the
    /// kinds asked too.
    bool formats = false;
    bool frames = false;
    /// The names of metadata streams. Sends "QueryMetaDataSupport" for each node.
    bool streams = false;
    /// By its name, whether the above is asked of a node; of all unless set. Called in the pool's
    /// threads; must not throw.
    std::function<bool(const std::string& name)> isDescribed;
};

/// A node at which a walk begins.
struct WalkStart {
    std::string id;   ///< Names it on its server.
    std::string name; ///< The name that people see; when it is empty, "GetDisplayName" is sent.
};

/// One node as a walk has found it. What was not asked is as it is here.
struct WalkedNode {
    /// Something that is asked of a node, in this order.
    enum class Question { None, Name, Kind, Children, Frames, Format, Streams };

    std::string id;                          ///< Names it on its server.
    std::string name;                        ///< The name that people see.
    int depth = 0;                           ///< Levels below the node where the walk began.
    int type = 0;                            ///< The server's number for its kind,
    std::string kind;                        ///< and the server's text for it.
    bool isClip = false;                     ///< Whether it may have a format and frames.
    std::optional<LantrixClipFormat> format; ///< Of a clip.
    int frames = 0;                          ///< Count of a clip's frames.
    std::vector<std::string> streams;        ///< Names of its metadata streams.
    int children = 0;                        ///< Count; 0 too at the depth where the walk ends.
    /// Why something of this node could not be told, or it is not walked into.
    Failure failure;
    /// The first question that failed, and behind which, but for the children's, no other was
    /// asked; none when the failure is another.
    Question unanswered = Question::None;
};

/// Visits a subtree over all connections of a pool, in a stable order.
class LANTRIX_EXPORT TreeWalker {
public:
    /// The most levels that are walked down, whatever the options say.
    static constexpr int deepest = 1000;

    /// Will visit the node named \p id on the pool's host and all below it, children in the order
    /// in which the server lists them, and begins at once. Sends "GetDisplayName" for the first
    /// node, "GetChildren" for each (see WalkOptions), and what \p options ask for, on another
    /// connection again when one broke.
    TreeWalker(Pool& pool, const std::string& id, const WalkOptions& options = WalkOptions());
    /// The same for several nodes, one behind the other.
    TreeWalker(Pool& pool, const std::vector<WalkStart>& starts,
               const WalkOptions& options = WalkOptions());
    /// Ends the walk where it is, within 1.1 s.
    ~TreeWalker();
    TreeWalker(const TreeWalker&) = delete;
    TreeWalker& operator=(const TreeWalker&) = delete;

    /// The next node; waits for it. None behind the last. A node that is among its own ancestors,
    /// and one deeper than `deepest`, is given out with a refusal and not walked into. When the
    /// pool is cancelled, one node is given out as stopped, and then no more.
    /// Only the next few nodes in order are asked ahead, 32 for each connection, so that the walk
    /// holds those, their children's names and those of their ancestors' siblings.
    std::optional<WalkedNode> next();

private:
    std::unique_ptr<TreeWalkerCore> core_; // never null
};

} // namespace lantrix

#endif
