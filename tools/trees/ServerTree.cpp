#include "tools/trees/ServerTree.h"

#include "tools/session/NodeChanges.h"
#include "tools/session/TreeWalk.h"
#include "tools/trees/ServerLanes.h"

#include <algorithm>
#include <cctype>

namespace tool {

namespace {

std::string storageOf(Session& session) {
    LantrixStr storage;
    session.call("ask the storage id", [&] { return session.server().getStorageId(storage); });
    return storage.c_str();
}

lantrix::WalkOptions everything() {
    lantrix::WalkOptions options;
    options.kinds = options.formats = options.frames = options.streams = true;
    return options;
}

TreeItem itemOf(const VisitedNode& visited, TreePath path) {
    TreeItem item;
    item.path = std::move(path);
    item.isClip = visited.node.isClip;
    item.type = visited.node.kind;
    item.format = visited.node.format;
    item.frames = visited.node.frames;
    item.streams = visited.node.streams;
    item.id = visited.node.id;
    item.place = placeOf(visited.address.host, item.id);
    return item;
}

// All below the starts, whose paths are given.
std::vector<TreeItem> listBelow(Session& session, const std::vector<FoundNode>& starts,
                                const std::vector<TreePath>& paths, Troubles& troubles) {
    std::vector<TreeItem> items;
    TreeWalk walk(session, starts, everything());
    std::size_t start = 0;
    while (const std::optional<VisitedNode> visited = walk.next()) {
        start += visited->node.depth == 0 ? 1U : 0U;
        TreePath path = paths[start - 1];
        const auto& names = visited->address.components;
        path.insert(path.end(), names.end() - visited->node.depth, names.end());
        if (visited->failure)
            troubles.attempt([&] { throw *visited->failure; });
        else
            items.push_back(itemOf(*visited, std::move(path)));
    }
    return items;
}

// A kind that a request can carry; servers have others for what can't be made.
std::string typeOf(const TreeItem& folder) {
    const bool isWord = !folder.type.empty() && !folder.path.empty() &&
                        std::none_of(folder.type.begin(), folder.type.end(),
                                     [](unsigned char c) { return std::isspace(c) != 0; });
    return isWord ? folder.type : "folder";
}

} // namespace

bool isSameStorage(Session& a, Session& b) {
    return a.host() == b.host() || storageOf(a) == storageOf(b);
}

ServerSource::ServerSource(const Options& options, const std::string& host, TreeRules rules)
    : rules_(std::move(rules)), session_(std::make_shared<Session>(options, host)),
      pool_(openFramePool(*session_, options)) {}

void ServerSource::add(const FoundNode& node, const TreePath& path) {
    starts_.push_back(node);
    paths_.push_back(path);
}

std::vector<TreeItem> ServerSource::list(Troubles& troubles) {
    return listBelow(*session_, starts_, paths_, troubles);
}

std::unique_ptr<SourceLane> ServerSource::openLane() {
    return openServerSourceLane(session_->options(), session_->host(), pool_, rules_);
}

std::string ServerSource::text(const TreePath& path) const {
    // The start that the path goes through.
    for (std::size_t i = 0; i < starts_.size(); ++i) {
        const TreePath& above = paths_[i];
        if (above.size() <= path.size() && std::equal(above.begin(), above.end(), path.begin())) {
            const TreePath below(path.begin() + static_cast<std::ptrdiff_t>(above.size()),
                                 path.end());
            const std::string top = starts_[i].address.text();
            return top + (below.empty() || top.back() == '/' ? "" : "/") + pathText(below);
        }
    }
    return session_->host() + ":" + pathText(path);
}

// ---- the other end

ServerTarget::ServerTarget(const Options& options, const Address& top, TreeRules rules)
    : rules_(std::move(rules)), address_(top),
      session_(std::make_shared<Session>(options, top.host)),
      pool_(openFramePool(*session_, options)), missing_(top.components) {
    top_.address = top;
    top_.address.components.clear();
    top_.handle = findNode(*session_, top_.address);
    while (!missing_.empty()) {
        std::optional<FoundNode> below = findChild(*session_, top_, missing_.front());
        if (!below)
            break;
        top_ = std::move(*below);
        missing_.erase(missing_.begin());
    }
    if (session_->isClip(top_.handle)) {
        throw Failure(Status::Other,
                      "'" + top_.address.text() + "' is a clip: nothing can be made below it")
            .with("path", top_.address.path());
    }
}

std::vector<TreeItem> ServerTarget::list(Troubles& troubles, const std::set<std::string>& tops) {
    std::vector<TreeItem> items;
    if (!isThere())
        return items;
    const TreePath none;
    ids_[none] = top_.handle.getNodeId().id();
    std::vector<FoundNode> starts{top_};
    std::vector<TreePath> paths{none};
    if (!tops.empty()) {
        starts.clear();
        paths.clear();
        for (const FoundNode& child : childrenOf(*session_, top_)) {
            if (tops.count(child.address.name()) != 0) {
                starts.push_back(child);
                paths.push_back({child.address.name()});
            }
        }
    }
    items = listBelow(*session_, starts, paths, troubles);
    for (const TreeItem& item : items)
        if (!item.isClip)
            ids_.emplace(item.path, item.id);
    return items;
}

FoundNode ServerTarget::make(const FoundNode& parent, const std::string& name,
                             const std::string& type) {
    checkTreeName(name, parent.handle.getNodeId().id(), type);
    FoundNode above = parent;
    FoundNode made{parent.address.child(name), makeNode(*session_, above, name, type)};
    if (!made.address.nodeId.empty())
        made.address.nodeId = made.handle.getNodeId().id();
    return made;
}

void ServerTarget::checkName(const TreeItem& item) const {
    checkTreeName(item.path.back(), "", item.type);
}

void ServerTarget::makeTop() {
    for (; !missing_.empty(); missing_.erase(missing_.begin()))
        top_ = make(top_, missing_.front(), "folder");
    ids_[{}] = top_.handle.getNodeId().id();
}

void ServerTarget::makeFolder(const TreeItem& folder) {
    TreePath above = folder.path;
    above.pop_back();
    const FoundNode parent{top_.address, {session_->server(), ids_.at(above).c_str()}};
    const FoundNode made = make(parent, folder.path.back(), typeOf(folder));
    ids_[folder.path] = made.handle.getNodeId().id();
}

std::unique_ptr<TargetLane> ServerTarget::openLane() {
    return openServerTargetLane(session_->options(), top_.address, pool_, rules_, ids_);
}

void ServerTarget::remove(const TreeItem& item) {
    FoundNode node{below(top_.address, item.path), {session_->server(), item.id.c_str()}};
    removeNode(*session_, node);
}

void ServerTarget::cut(const TreeItem& clip, int count) {
    FoundNode node{below(top_.address, clip.path), {session_->server(), clip.id.c_str()}};
    setFrameCount(*session_, node, count);
}

std::string ServerTarget::text(const TreePath& path) const {
    return below(address_, path).text();
}

} // namespace tool
