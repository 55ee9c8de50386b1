#include "mount/Folder.h"

#include <utility>

namespace mounted {

namespace {

std::string textOf(const LantrixStr& text) {
    return {text.c_str(), text.length()};
}

bool askName(const LantrixNodeHandle& handle, std::string& name) {
    LantrixStr text;
    if (!handle.getDisplayName(text))
        return false;
    name = textOf(text);
    return true;
}

// The kind of a node; the only reason to refuse this question is that there is no such node.
bool askKind(const LantrixNodeHandle& handle, lantrix::WalkedNode& facts) {
    LantrixStr type;
    if (!handle.getNodeType(facts.type) || !handle.getNodeTypeStr(type) ||
        !handle.getIsClipNode(facts.isClip))
        return false;
    facts.kind = textOf(type);
    return true;
}

bool askStreams(const LantrixNodeHandle& handle, std::vector<std::string>& names) {
    int count = 0;
    if (!handle.getNumAvailableMetaDataStreams(count))
        return false;
    LantrixStr name;
    for (int i = 0; i < count && handle.getAvailableMetaDataStream(i, name); ++i)
        names.push_back(textOf(name));
    return true;
}

} // namespace

Clip::Clip(const LantrixNodeHandle& handle, const LantrixClipFormat& format, FrameNames names,
           image::FrameFile file)
    : ClipFrames(handle, format, names.count(), std::move(file)), names_(std::move(names)) {}

lantrix::Failure Folder::load(lantrix::Connection& connection, const MountOptions& options,
                              const NodeName& node, const std::string& path, bool& isGone,
                              std::shared_ptr<const Folder>& folder) {
    const auto made = std::make_shared<Folder>();
    lantrix::Failure failure = made->ask(connection.server, options, node, path, isGone);
    if (!failure)
        folder = made;
    return failure;
}

lantrix::Failure Folder::ask(const LantrixServerHandle& server, const MountOptions& options,
                             const NodeName& node, const std::string& path, bool& isGone) {
    const LantrixNodeHandle handle(server, node.id.c_str());
    facts_.id = node.id;
    facts_.name = node.name;
    if (!askKind(handle, facts_)) {
        lantrix::Failure failure = lantrix::Failure::lastOf(server);
        isGone = failure.kind == lantrix::Failure::Kind::Refused;
        return failure;
    }
    if (facts_.isClip && !askClip(handle, options, node.shown))
        return lantrix::Failure::lastOf(server);
    if (!askChildren(handle))
        return lantrix::Failure::lastOf(server);
    facts_.children = static_cast<int>(children_.size());
    if (facts_.isClip)
        description_ = options.describe(facts_, path);
    return {};
}

bool Folder::askClip(const LantrixNodeHandle& handle, const MountOptions& options,
                     const std::string& stem) {
    LantrixClipFormat format;
    if (!handle.getClipFormat(format) || !handle.getNumFrames(facts_.frames) ||
        !askStreams(handle, facts_.streams))
        return false;
    facts_.format = format;
    image::FrameFile file(format, options.extension);
    FrameNames names(stem, options.startNumber, facts_.frames, file.extension());
    clip_ = std::make_shared<Clip>(handle, format, std::move(names), std::move(file));
    return true;
}

bool Folder::askChildren(const LantrixNodeHandle& handle) {
    int count = 0;
    if (!handle.getNumChildren(count))
        return false;
    std::vector<std::string> names;
    LantrixNodeHandle child;
    for (int i = 0; i < count; ++i) {
        NodeName node;
        if (!handle.getChild(i, child) || !askName(child, node.name))
            return false;
        node.id = child.getNodeId().id();
        names.push_back(node.name);
        children_.push_back(std::move(node));
    }
    const auto isTaken = [this](const std::string& name) {
        return clip_ != nullptr && (name == descriptionName || clip_->names().index(name));
    };
    std::vector<std::string> shown = shownNames(names, isTaken);
    for (std::size_t i = 0; i < children_.size(); ++i) {
        places_.emplace(shown[i], i);
        children_[i].shown = std::move(shown[i]);
    }
    return true;
}

const NodeName* Folder::child(const std::string& shown) const {
    const auto found = places_.find(shown);
    return found != places_.end() ? &children_[found->second] : nullptr;
}

} // namespace mounted
