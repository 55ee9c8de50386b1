#include "devserver/DevTree.h"

#include "devserver/DevError.h"
#include "devserver/DevLimits.h"
#include "devserver/DevTreeNames.h"

#include <algorithm>

namespace {

using Lock = std::lock_guard<std::mutex>;

std::string frameIdOf(std::uint64_t node, std::size_t index) {
    return DevTreeNames::folderName(node) + "-" + DevTreeNames::frameName(index);
}

void checkName(const std::string& name) {
    if (name.empty())
        throw DevError("A node needs a name.");
    if (name.find_first_of(",/\n") != std::string::npos)
        throw DevError(
            "The name " + devQuoted(name) +
            " holds a comma, a slash or a line feed, which lists and paths can't carry.");
}

void checkStreamName(const std::string& name) {
    if (name.empty() || name.find_first_of(", \t\n") != std::string::npos)
        throw DevError("The metadata stream name " + devQuoted(name) +
                       " is empty or holds a comma or white space.");
}

void checkTag(const char* tag) {
    if (std::string_view(tag).size() > DevLimits::formatTag)
        throw DevError("A tag of the clip format is longer than " +
                       std::to_string(DevLimits::formatTag) + " bytes.");
}

void checkFormat(const LantrixClipFormat& format) {
    const int size = format.frameBufferSize();
    if (size < 1 || static_cast<std::size_t>(size) > DevLimits::frameSize)
        throw DevError("The frame buffer size " + std::to_string(size) + " is not from 1 to " +
                       std::to_string(DevLimits::frameSize) + " bytes.");
    if (format.width() < 0 || format.height() < 0 || format.bitsPerPixel() < 0 ||
        format.numChannels() < 0)
        throw DevError("A dimension of the clip format is negative.");
    if (format.scanFormat() > LantrixClipFormat::Progressive)
        throw DevError("The scan format " + std::to_string(format.scanFormat()) +
                       " is not from 0 to 4.");
    checkTag(format.formatTag());
    checkTag(format.metaDataTag());
}

void checkFrameCount(std::size_t count) {
    if (count > DevLimits::clipFrames)
        throw DevError("A clip has at most " + std::to_string(DevLimits::clipFrames) + " frames.");
}

void checkLink(const std::string& path) {
    if (path.empty() || path.front() != '/')
        throw DevError("The path " + devQuoted(path) + " is not absolute.");
    (void)devOpenFile(path);
}

std::vector<std::string> frameIdsOf(std::uint64_t node, std::size_t count) {
    std::vector<std::string> ids;
    ids.reserve(count);
    for (std::size_t index = 0; index < count; ++index)
        ids.push_back(frameIdOf(node, index));
    return ids;
}

std::size_t frameSizeOf(const DevNode& node) {
    return static_cast<std::size_t>(node.format.frameBufferSize());
}

} // namespace

std::string DevTree::rootId() {
    return DevTreeNames::folderName(DevTreeNames::rootNumber);
}

std::vector<std::pair<std::string, std::string>> DevTree::children(std::string_view id) const {
    const Lock lock(mutex_);
    const Entry& parent = entry(id);
    std::vector<std::pair<std::string, std::string>> children;
    children.reserve(parent.children.size());
    for (const std::uint64_t child : parent.children)
        children.emplace_back(DevTreeNames::folderName(child), entries_.at(child).node.name);
    return children;
}

std::string DevTree::name(std::string_view id) const {
    const Lock lock(mutex_);
    return entry(id).node.name;
}

std::pair<DevNode::Kind, std::string> DevTree::kindAndType(std::string_view id) const {
    const Lock lock(mutex_);
    const DevNode& node = entry(id).node;
    return {node.kind, node.type};
}

std::string DevTree::createNode(std::string_view parentId, const std::string& name,
                                DevNode::Kind kind, const std::string& type) {
    const Lock lock(mutex_);
    DevNode node;
    node.parent = numberOf(parentId);
    node.name = name;
    node.kind = kind;
    node.type = type;
    return DevTreeNames::folderName(addNode(std::move(node)));
}

// The folder is made aside with its description in it, so that none is ever without.
std::uint64_t DevTree::addNode(DevNode node) {
    checkName(node.name);
    checkFormat(node.format);
    Entry& parent = entries_.at(node.parent);
    if (parent.node.kind == DevNode::Clip)
        throw DevError("The node " + devQuoted(parent.node.name) +
                       " is a clip, which has no nodes below it.");
    const std::uint64_t number = takeNumber();
    DevAsideFolder folder(aside_, asideName());
    folder.addFile(DevTreeNames::descriptionName, devTextOfNode(node));
    folder.moveTo(nodes_, DevTreeNames::folderName(number));
    parent.children.push_back(number);
    entries_[number].node = std::move(node);
    return number;
}

void DevTree::destroyNode(std::string_view id) {
    std::vector<std::string> remains;
    {
        const Lock lock(mutex_);
        const std::uint64_t number = numberOf(id);
        if (number == DevTreeNames::rootNumber)
            throw DevError("The root node can't be destroyed.");
        remains = detach(number);
    }
    // Without the lock: a clip may have many files. What fails is done when the tree is next
    // opened.
    for (const std::string& name : remains) {
        try {
            aside_.remove(name);
        } catch (const DevError& error) {
            log_(error.what());
        }
    }
}

// Moving the topmost folder away is what destroys the subtree; the rest of it, without that folder,
// is removed when the tree is next opened if this is cut short.
std::vector<std::string> DevTree::detach(std::uint64_t number) {
    std::vector<std::string> remains;
    const std::uint64_t parentNumber = entries_.at(number).node.parent;
    for (const std::uint64_t node : subtree(number)) {
        std::string name = asideName();
        try {
            nodes_.move(DevTreeNames::folderName(node), aside_, name);
            remains.push_back(std::move(name));
        } catch (const DevError& error) {
            if (node == number)
                throw;
            log_(error.what());
        }
        entries_.erase(node);
    }
    const auto parent = entries_.find(parentNumber);
    if (parent != entries_.end()) {
        std::vector<std::uint64_t>& siblings = parent->second.children;
        siblings.erase(std::lower_bound(siblings.begin(), siblings.end(), number));
    }
    return remains;
}

// Parents come before their children.
std::vector<std::uint64_t> DevTree::subtree(std::uint64_t number) const {
    std::vector<std::uint64_t> nodes{number};
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const std::vector<std::uint64_t>& children = entries_.at(nodes[i]).children;
        nodes.insert(nodes.end(), children.begin(), children.end());
    }
    return nodes;
}

std::vector<std::string> DevTree::streamNames(std::string_view id) const {
    const Lock lock(mutex_);
    const DevNode& node = entry(id).node;
    std::vector<std::string> names;
    for (const auto& [name, text] : node.streams)
        names.push_back(name);
    return names;
}

std::string DevTree::stream(std::string_view id, const std::string& name) const {
    const Lock lock(mutex_);
    const DevNode& node = entry(id).node;
    const auto found = node.streams.find(name);
    if (found == node.streams.end())
        throw DevError("The node " + devQuoted(id) + " has no metadata stream " + devQuoted(name) +
                       ".");
    return found->second;
}

void DevTree::setStream(std::string_view id, const std::string& name, const std::string& text) {
    checkStreamName(name);
    const Lock lock(mutex_);
    const std::uint64_t number = numberOf(id);
    DevNode& node = entries_.at(number).node;
    DevNode next = node;
    next.streams[name] = text;
    save(number, next);
    node = std::move(next);
}

LantrixClipFormat DevTree::clipFormat(std::string_view id) const {
    const Lock lock(mutex_);
    return clip(id).node.format;
}

std::vector<std::string> DevTree::frameIds(std::string_view id) const {
    const Lock lock(mutex_);
    return frameIdsOf(numberOf(id), clip(id).node.frames);
}

std::vector<std::string> DevTree::framePaths(std::string_view id) const {
    const Lock lock(mutex_);
    const DevNode& node = clip(id).node;
    const std::string folder = path_ + "/" + DevTreeNames::nodes + "/" + std::string(id) + "/";
    if (folder.find(',') != std::string::npos)
        throw DevError("The path " + devQuoted(folder) +
                       " holds a comma, which a list can't carry.");
    std::vector<std::string> paths = node.links;
    for (std::size_t index = paths.size(); index < node.frames; ++index)
        paths.push_back(folder + DevTreeNames::frameName(index));
    return paths;
}

std::vector<std::string> DevTree::allocateFrames(std::string_view id, std::size_t count,
                                                 const LantrixClipFormat& format) {
    checkFrameCount(count);
    checkFormat(format);
    const Lock lock(mutex_);
    const DevNode& node = clip(id).node;
    DevNode next = node;
    next.format = format;
    next.frames = count;
    next.links.resize(std::min(count, next.links.size()));
    const bool drops = count < node.frames || frameSizeOf(next) != frameSizeOf(node);
    const std::uint64_t number = numberOf(id);
    changeClip(number, std::move(next), drops);
    return frameIdsOf(number, count);
}

void DevTree::linkFrames(std::string_view id, const std::vector<std::string>& paths,
                         const LantrixClipFormat& format) {
    checkFrameCount(paths.size());
    checkFormat(format);
    std::for_each(paths.begin(), paths.end(), checkLink);
    const Lock lock(mutex_);
    DevNode next = clip(id).node;
    next.format = format;
    next.frames = paths.size();
    next.links = paths;
    changeClip(numberOf(id), std::move(next), true);
}

// The description decides which frames there are. Files of dropped frames go after it is stored,
// and it says so until they are gone: no later frame may ever come by a dropped one's contents.
void DevTree::changeClip(std::uint64_t number, DevNode next, bool drops) {
    Entry& changed = entries_.at(number);
    if (changed.node.leftovers)
        sweep(number, changed.node);
    std::vector<std::uint64_t> stamps(next.frames, ++lastStamp_);
    next.leftovers = drops;
    save(number, next);
    changed.node = std::move(next);
    changed.stamps = std::move(stamps);
    if (!drops)
        return;
    try {
        sweep(number, changed.node);
        next = changed.node;
        next.leftovers = false;
        save(number, next);
        changed.node.leftovers = false;
    } catch (const DevError& error) {
        log_(error.what()); // The change stands; the next one sweeps again.
    }
}

// Removes the files of frames that the clip doesn't have, or has with another size.
void DevTree::sweep(std::uint64_t number, const DevNode& node) const {
    const DevFolder folder = nodes_.folder(DevTreeNames::folderName(number));
    for (const std::string& name : folder.names()) {
        const std::optional<std::size_t> index = DevTreeNames::numberIn<std::size_t>(name, 'f');
        if (!index)
            continue;
        const bool owned = *index >= node.links.size() && *index < node.frames;
        if (!owned || devFileSize(folder.openFile(name), name) != frameSizeOf(node))
            folder.remove(name);
    }
}

void DevTree::ensureClip(const std::vector<std::string>& path, const LantrixClipFormat& format) {
    const Lock lock(mutex_);
    std::uint64_t number = DevTreeNames::rootNumber;
    for (const std::string& name : path) {
        if (const std::optional<std::uint64_t> child = childNamed(number, name)) {
            number = *child;
            continue;
        }
        const bool last = &name == &path.back();
        DevNode node;
        node.parent = number;
        node.name = name;
        node.kind = last ? DevNode::Clip : DevNode::Plain;
        node.type = last ? "clip" : "folder";
        if (last)
            node.format = format;
        number = addNode(std::move(node));
    }
    if (entries_.at(number).node.kind != DevNode::Clip)
        throw DevError("The node " + devQuoted(path.back()) + " is there and is not a clip.");
}

std::optional<std::uint64_t> DevTree::childNamed(std::uint64_t parent,
                                                 const std::string& name) const {
    for (const std::uint64_t child : entries_.at(parent).children)
        if (entries_.at(child).node.name == name)
            return child;
    return std::nullopt;
}

DevFrame DevTree::frame(std::string_view frameId) const {
    const Lock lock(mutex_);
    return lockedFrame(frameId);
}

DevOpenFrame DevTree::openFrame(std::string_view frameId) const {
    const Lock lock(mutex_);
    DevOpenFrame opened{lockedFrame(frameId), DevDescriptor()};
    const DevFrameKey& key = opened.frame.key;
    if (opened.frame.linked) {
        const std::string& path = entries_.at(key.node).node.links[key.index];
        opened.file = devOpenFile(path);
        const std::size_t held = devFileSize(opened.file, path);
        if (held < opened.frame.size)
            throw DevError("The file " + devQuoted(path) + " holds " + std::to_string(held) +
                           " bytes, a frame of the clip has " + std::to_string(opened.frame.size) +
                           ".");
        return opened;
    }
    opened.file = nodes_.folder(DevTreeNames::folderName(key.node))
                      .openFile(DevTreeNames::frameName(key.index));
    if (opened.file.isOpen() && devFileSize(opened.file, std::string(frameId)) != opened.frame.size)
        throw DevError("The file of the frame " + devQuoted(frameId) + " has been damaged.");
    return opened;
}

DevAsideFile DevTree::newFrameFile() {
    return DevAsideFile(aside_, asideName());
}

void DevTree::checkWrite(std::string_view frameId, std::size_t size) const {
    const Lock lock(mutex_);
    lockedCheckWrite(frameId, size);
}

void DevTree::commitFrame(std::string_view frameId, DevAsideFile& file, std::size_t size) {
    const Lock lock(mutex_);
    lockedCheckWrite(frameId, size);
    const DevFrameKey key = lockedFrame(frameId).key;
    file.moveTo(nodes_.folder(DevTreeNames::folderName(key.node)),
                DevTreeNames::frameName(key.index));
    entries_.at(key.node).stamps[key.index] = ++lastStamp_;
}

void DevTree::lockedCheckWrite(std::string_view frameId, std::size_t size) const {
    const DevFrame frame = lockedFrame(frameId);
    if (frame.linked)
        throw DevError("The frame " + devQuoted(frameId) +
                       " is a linked file, which is only ever read.");
    if (frame.size != size)
        throw DevError("The frame " + devQuoted(frameId) + " has " + std::to_string(frame.size) +
                       " bytes, " + std::to_string(size) + " were to be written.");
}

DevFrame DevTree::lockedFrame(std::string_view frameId) const {
    const auto [number, index] = frameNumbers(frameId);
    const Entry& owner = entries_.at(number);
    return {{number, index, owner.stamps[index]},
            frameSizeOf(owner.node),
            index < owner.node.links.size()};
}

std::pair<std::uint64_t, std::size_t> DevTree::frameNumbers(std::string_view id) const {
    const std::size_t dash = id.find('-');
    if (dash != std::string_view::npos) {
        const auto number = DevTreeNames::numberIn<std::uint64_t>(id.substr(0, dash), 'n');
        const auto index = DevTreeNames::numberIn<std::size_t>(id.substr(dash + 1), 'f');
        const auto found = number ? entries_.find(*number) : entries_.end();
        if (index && found != entries_.end() && *index < found->second.stamps.size())
            return {*number, *index};
    }
    throw DevError("There is no frame " + devQuoted(id) + ".");
}

std::uint64_t DevTree::numberOf(std::string_view id) const {
    const auto number = DevTreeNames::numberIn<std::uint64_t>(id, 'n');
    if (!number || entries_.count(*number) == 0)
        throw DevError("There is no node " + devQuoted(id) + ".");
    return *number;
}

const DevTree::Entry& DevTree::entry(std::string_view id) const {
    return entries_.at(numberOf(id));
}

const DevTree::Entry& DevTree::clip(std::string_view id) const {
    const Entry& found = entry(id);
    if (found.node.kind != DevNode::Clip)
        throw DevError("The node " + devQuoted(id) + " is not a clip.");
    return found;
}

std::string DevTree::asideName() const {
    return "a" + std::to_string(++asideCount_);
}

void DevTree::save(std::uint64_t number, const DevNode& node) const {
    const std::string text = devTextOfNode(node);
    DevAsideFile file(aside_, asideName());
    file.write(text.data(), text.size());
    file.moveTo(nodes_.folder(DevTreeNames::folderName(number)), DevTreeNames::descriptionName);
}
