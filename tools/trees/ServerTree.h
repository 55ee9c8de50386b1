// Trees on servers as ends of a transfer. Each end owns a session, for listing and for folders, and
// a pool, over which the frames of all clips move; each lane has a session of its own for what is
// asked about its clip.
// The ends are the main thread's, a lane one thread's. Failures are thrown as Failure.
#ifndef TOOLS_TREES_SERVERTREE_H
#define TOOLS_TREES_SERVERTREE_H

#include "tools/session/NodeSearch.h"
#include "tools/trees/Tree.h"

#include <map>

namespace tool {

/// Nodes of one server and all below them.
class ServerSource : public TreeSource {
public:
    ServerSource(const Options& options, const std::string& host, TreeRules rules);

    [[nodiscard]] Session& session() { return *session_; }
    /// Adds a node, whose path in the tree will be \p path.
    void add(const FoundNode& node, const TreePath& path);
    /// The id of the first node that was added.
    [[nodiscard]] std::string topId() const { return starts_.front().handle.getNodeId().id(); }

    [[nodiscard]] std::vector<TreeItem> list(Troubles& troubles) override;
    [[nodiscard]] std::unique_ptr<SourceLane> openLane() override;
    [[nodiscard]] std::string text(const TreePath& path) const override;

private:
    const TreeRules rules_;
    std::shared_ptr<Session> session_; // never null
    std::shared_ptr<lantrix::Pool> pool_;
    std::vector<FoundNode> starts_;
    std::vector<TreePath> paths_; // of the starts
};

/// What is below one folder, which is made when it is missing.
class ServerTarget : public TreeTarget {
public:
    /// Looks how much of the address is there. A clip is refused.
    ServerTarget(const Options& options, const Address& top, TreeRules rules);

    [[nodiscard]] Session& session() { return *session_; }
    [[nodiscard]] bool isThere() const { return missing_.empty(); }
    /// The lowest node on the way to the top that is there.
    [[nodiscard]] std::string lowestId() const { return top_.handle.getNodeId().id(); }

    [[nodiscard]] std::vector<TreeItem> list(Troubles& troubles,
                                             const std::set<std::string>& tops) override;
    void checkName(const TreeItem& item) const override;
    void makeTop() override;
    void makeFolder(const TreeItem& folder) override;
    [[nodiscard]] std::unique_ptr<TargetLane> openLane() override;
    void remove(const TreeItem& item) override;
    void cut(const TreeItem& clip, int count) override;
    [[nodiscard]] std::string text(const TreePath& path) const override;

private:
    [[nodiscard]] FoundNode make(const FoundNode& parent, const std::string& name,
                                 const std::string& type);

    const TreeRules rules_;
    const Address address_;
    std::shared_ptr<Session> session_; // never null
    std::shared_ptr<lantrix::Pool> pool_;
    FoundNode top_;                       // or the lowest node above it, while names are missing
    std::vector<std::string> missing_;    // names on the way to the top
    std::map<TreePath, std::string> ids_; // of folders
};

/// The same storage, whatever names its server has.
[[nodiscard]] bool isSameStorage(Session& a, Session& b);

} // namespace tool

#endif
