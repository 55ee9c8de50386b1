#include "devserver/DevTree.h"

#include "devserver/DevError.h"
#include "devserver/DevNodeChecks.h"
#include "devserver/DevTreeNames.h"

#include <algorithm>

namespace {

std::size_t frameSizeOf(const DevNode& node) {
    return static_cast<std::size_t>(node.format.frameBufferSize());
}

void checkLink(const std::string& path) {
    devCheckLinkPath(path);
    (void)devOpenFile(path);
}

void checkFrameWrite(const DevFrame& frame, std::string_view frameId, std::size_t size) {
    if (frame.linked)
        throw DevError("The frame " + devQuoted(frameId) +
                       " is a linked file, which is only ever read.");
    if (frame.size != size)
        throw DevError("The frame " + devQuoted(frameId) + " has " + std::to_string(frame.size) +
                       " bytes, " + std::to_string(size) + " were to be written.");
}

} // namespace

std::string DevTree::rootId() {
    return DevTreeNames::folderName(DevTreeNames::rootNumber);
}

std::uint64_t DevTree::numberOf(std::string_view id) const {
    const Lock lock(mutex_);
    return index_.numberOf(id);
}

DevTree::Node DevTree::node(std::uint64_t number) const {
    const Lock lock(mutex_);
    return index_.node(number);
}

DevTree::Node DevTree::node(std::string_view id) const {
    const Lock lock(mutex_);
    return index_.node(index_.numberOf(id));
}

DevTree::Node DevTree::clip(std::string_view id) const {
    const Lock lock(mutex_);
    return index_.clip(index_.numberOf(id));
}

std::vector<DevIndex::Child> DevTree::children(std::string_view id) const {
    const Lock lock(mutex_);
    return index_.children(index_.numberOf(id));
}

std::unique_lock<std::mutex> DevTree::editing(std::uint64_t number) {
    return std::unique_lock<std::mutex>(edits_[static_cast<std::size_t>(number % edits_.size())]);
}

std::string DevTree::createNode(std::string_view parentId, const std::string& name,
                                DevNode::Kind kind, const std::string& type) {
    DevNode node;
    node.parent = numberOf(parentId);
    node.name = name;
    node.kind = kind;
    node.type = type;
    return DevTreeNames::folderName(addNode(std::move(node)));
}

std::uint64_t DevTree::addNode(DevNode added) {
    devCheckNode(added);
    const Node parent = node(added.parent);
    if (parent->kind == DevNode::Clip)
        throw DevError("The node " + devQuoted(parent->name) +
                       " is a clip, which has no nodes below it.");
    const std::uint64_t number = storage_.takeNumber();
    storage_.add(number, added);
    {
        const Lock lock(mutex_);
        if (index_.has(added.parent)) {
            index_.add(number, std::make_shared<const DevNode>(std::move(added)));
            index_.link(number);
            return number;
        }
    }
    storage_.setAside(number); // The parent was destroyed meanwhile.
    remover_.removeNodes({number});
    throw DevError("There is no node " + devQuoted(DevTreeNames::folderName(added.parent)) + ".");
}

// Moving the topmost folder away is what destroys the subtree.
void DevTree::destroyNode(std::string_view id) {
    const std::uint64_t number = numberOf(id);
    if (number == DevTreeNames::rootNumber)
        throw DevError("The root node can't be destroyed.");
    const std::unique_lock<std::mutex> edit = editing(number);
    (void)node(number);
    storage_.setAside(number);
    DevIndex::Removed removed;
    {
        const Lock lock(mutex_);
        removed = index_.remove(number);
    }
    storage_.flushAside();
    std::vector<std::uint64_t> nodes;
    for (const auto& each : removed)
        nodes.push_back(each.key());
    remover_.removeNodes(std::move(nodes));
}

void DevTree::setStream(std::string_view id, const std::string& name, const std::string& text) {
    devCheckStreamName(name);
    const std::uint64_t number = numberOf(id);
    const std::unique_lock<std::mutex> edit = editing(number);
    const auto next = std::make_shared<DevNode>(*node(number));
    next->streams[name] = text;
    storage_.save(number, *next);
    const Lock lock(mutex_);
    index_.replace(number, next, DevIndex::Contents::Kept);
}

std::string DevTree::frameFolder(std::string_view id) const {
    std::string folder = storage_.path() + "/" + DevTreeNames::nodes + "/" + std::string(id) + "/";
    if (folder.find(',') != std::string::npos)
        throw DevError("The path " + devQuoted(folder) +
                       " holds a comma, which a list can't carry.");
    return folder;
}

void DevTree::allocateFrames(std::string_view id, std::size_t count,
                             const LantrixClipFormat& format) {
    devCheckFrameCount(count);
    devCheckFormat(format);
    (void)clip(id);
    const std::uint64_t number = numberOf(id);
    const std::unique_lock<std::mutex> edit = editing(number);
    const Node present = node(number);
    DevNode next = *present;
    next.format = format;
    next.frames = count;
    next.links.resize(std::min(count, next.links.size()));
    const bool drops = count < present->frames || frameSizeOf(next) != frameSizeOf(*present);
    changeClip(number, std::move(next), drops ? Frames::Dropped : Frames::Kept);
}

void DevTree::linkFrames(std::string_view id, const std::vector<std::string>& paths,
                         const LantrixClipFormat& format) {
    devCheckFrameCount(paths.size());
    devCheckFormat(format);
    std::for_each(paths.begin(), paths.end(), checkLink);
    (void)clip(id);
    const std::uint64_t number = numberOf(id);
    const std::unique_lock<std::mutex> edit = editing(number);
    DevNode next = *node(number);
    next.format = format;
    next.frames = paths.size();
    next.links = paths;
    changeClip(number, std::move(next), Frames::Dropped);
}

// The description decides which frames there are. Files of dropped frames go after it is stored,
// and it says so until they are gone: no later frame may ever come by a dropped one's contents.
void DevTree::changeClip(std::uint64_t number, DevNode next, Frames frames) {
    const Node present = node(number);
    if (present->leftovers)
        storage_.sweep(number, *present);
    next.leftovers = frames == Frames::Dropped;
    storage_.save(number, next);
    {
        const Lock lock(mutex_);
        index_.replace(number, std::make_shared<const DevNode>(next), DevIndex::Contents::Changed);
    }
    if (frames == Frames::Kept)
        return;
    try {
        storage_.sweep(number, next);
        next.leftovers = false;
        storage_.save(number, next);
        const Lock lock(mutex_);
        index_.replace(number, std::make_shared<const DevNode>(next), DevIndex::Contents::Kept);
    } catch (const DevError& error) {
        log_(error.what()); // The change stands; the next one sweeps again.
    }
}

void DevTree::ensureClip(const std::vector<std::string>& path, const LantrixClipFormat& format) {
    std::uint64_t number = DevTreeNames::rootNumber;
    for (const std::string& name : path) {
        std::optional<std::uint64_t> child;
        {
            const Lock lock(mutex_);
            child = index_.childNamed(number, name);
        }
        if (child) {
            number = *child;
            continue;
        }
        const bool last = &name == &path.back();
        DevNode made;
        made.parent = number;
        made.name = name;
        made.kind = last ? DevNode::Clip : DevNode::Plain;
        made.type = last ? "clip" : "folder";
        if (last)
            made.format = format;
        number = addNode(std::move(made));
    }
    if (node(number)->kind != DevNode::Clip)
        throw DevError("The node " + devQuoted(path.back()) + " is there and is not a clip.");
}

DevFrame DevTree::frame(std::string_view frameId) const {
    const Lock lock(mutex_);
    return index_.frame(frameId);
}

// Without the lock: what was opened is the frame's if nothing has changed it meanwhile.
DevOpenFrame DevTree::openFrame(std::string_view frameId) const {
    for (;;) {
        DevOpenFrame opened;
        Node owner;
        {
            const Lock lock(mutex_);
            opened.frame = index_.frame(frameId);
            owner = index_.node(opened.frame.key.node);
        }
        std::string problem;
        try {
            opened.file = openedFrame(opened.frame, *owner);
        } catch (const DevNoDescriptors&) {
            throw;
        } catch (const DevError& error) {
            problem = error.what();
        }
        if (!(frame(frameId).key == opened.frame.key))
            continue;
        if (!problem.empty())
            throw DevError(problem);
        return opened;
    }
}

DevDescriptor DevTree::openedFrame(const DevFrame& frame, const DevNode& owner) const {
    if (frame.linked) {
        const std::string& path = owner.links[frame.key.index];
        DevDescriptor file = devOpenFile(path);
        const std::uint64_t held = devFileSize(file, path);
        if (held < frame.size)
            throw DevError("The file " + devQuoted(path) + " holds " + std::to_string(held) +
                           " bytes, a frame of the clip has " + std::to_string(frame.size) + ".");
        return file;
    }
    DevDescriptor file = storage_.openFrame(frame.key.node, frame.key.index);
    const std::string name = DevTreeNames::frameId(frame.key.node, frame.key.index);
    if (!file.isOpen() || devFileSize(file, name) == frame.size)
        return file;
    if (owner.leftovers) // a dropped frame's, which is about to be removed
        return DevDescriptor();
    throw DevError("The file of the frame " + devQuoted(name) + " has been damaged.");
}

void DevTree::checkWrite(std::string_view frameId, std::size_t size) const {
    checkFrameWrite(frame(frameId), frameId, size);
}

void DevTree::commitFrame(std::string_view frameId, DevAsideFile& file, std::size_t size) {
    storage_.flushFrame(file);
    const std::unique_lock<std::mutex> edit = editing(frame(frameId).key.node);
    const DevFrame written = frame(frameId);
    checkFrameWrite(written, frameId, size);
    storage_.storeFrame(written.key.node, written.key.index, file);
    const Lock lock(mutex_);
    if (index_.has(written.key.node))
        index_.touch(written.key);
}
