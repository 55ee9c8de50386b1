#include "devserver/DevCheck.h"

#include "devserver/DevError.h"
#include "devserver/DevLimits.h"
#include "devserver/DevNodeChecks.h"
#include "devserver/DevTree.h"
#include "devserver/DevTreeNames.h"

#include <algorithm>
#include <map>
#include <utility>

namespace {

// A walk through a directory that is not being served.
class Check {
public:
    /// With \p lost it tells only of what it moves there.
    Check(const DevFolder& root, const DevTell& tell, const DevFolder* lost)
        : root_(root), tell_(tell), lost_(lost) {}

    std::size_t run();

private:
    void checkNode(const std::string& name);
    void checkFrames(const DevFolder& folder, const std::string& node, const DevNode& description);
    void checkParents();
    void checkAside();
    void found(const std::string& line);

    const DevFolder& root_;
    const DevTell& tell_;
    const DevFolder* lost_;
    std::size_t findings_ = 0;
    std::map<std::uint64_t, std::uint64_t> parents_; // of the nodes that can be read
    std::vector<std::uint64_t> nodes_;               // that have a folder
};

void Check::found(const std::string& line) {
    ++findings_;
    if (lost_ == nullptr)
        tell_(line);
}

std::size_t Check::run() {
    const DevFolder nodes = root_.folder(DevTreeNames::nodes);
    std::vector<std::string> names = nodes.names();
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        if (const auto number = DevTreeNames::numberIn<std::uint64_t>(name, 'n')) {
            nodes_.push_back(*number);
            checkNode(name);
        } else {
            found("nodes/" + name + " does not belong there.");
        }
    }
    std::sort(nodes_.begin(), nodes_.end());
    checkParents();
    checkAside();
    return findings_;
}

void Check::checkNode(const std::string& name) {
    try {
        const DevFolder folder = root_.folder(DevTreeNames::nodes).folder(name);
        const auto text = folder.read(DevTreeNames::descriptionName, DevLimits::description);
        if (!text)
            throw DevError("There is no description.");
        const DevNode node = devNodeOfText(*text);
        devCheckNode(node);
        parents_[*DevTreeNames::numberIn<std::uint64_t>(name, 'n')] = node.parent;
        checkFrames(folder, name, node);
    } catch (const DevError& error) {
        found("nodes/" + name + ": " + error.what());
    }
}

void Check::checkFrames(const DevFolder& folder, const std::string& node,
                        const DevNode& description) {
    const auto frameSize = static_cast<std::uint64_t>(description.format.frameBufferSize());
    for (const std::string& name : folder.names()) {
        if (name == DevTreeNames::descriptionName)
            continue;
        const auto index = DevTreeNames::numberIn<std::size_t>(name, 'f');
        const bool isFrame =
            index && *index >= description.links.size() && *index < description.frames;
        const auto size = folder.fileSize(name);
        if (isFrame && size == frameSize)
            continue;
        const std::string path = "nodes/" + node + "/" + name;
        if (isFrame && lost_ != nullptr) {
            folder.moveBeside(name, *lost_, node + "-" + name);
            tell_(path + " was moved to 'lost': it can't be a frame of this clip.");
        } else if (!isFrame) {
            found(path + " is not a frame of this clip.");
        } else {
            found(path + (size ? " has " + std::to_string(*size) + " bytes, a frame has " +
                                     std::to_string(frameSize) + "."
                               : " is not a regular file."));
        }
    }
}

void Check::checkParents() {
    const auto has = [this](std::uint64_t number) {
        return std::binary_search(nodes_.begin(), nodes_.end(), number);
    };
    if (!has(DevTreeNames::rootNumber))
        found("nodes/n0, the root node, is missing.");
    for (const auto& [number, parent] : parents_)
        if (number != DevTreeNames::rootNumber && (parent >= number || !has(parent)))
            found("nodes/" + DevTreeNames::folderName(number) + ": its parent nodes/" +
                  DevTreeNames::folderName(parent) + " is missing.");
}

void Check::checkAside() {
    const std::vector<std::string> names = root_.names();
    const auto has = [&names](const char* name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    if (has(DevTreeNames::aside))
        for (const std::string& name : root_.folder(DevTreeNames::aside).names())
            found("aside/" + name + " is left of what was not finished.");
    if (has(DevTreeNames::lost))
        for (const std::string& name : root_.folder(DevTreeNames::lost).names())
            found("lost/" + name + " is out of reach.");
}

DevFolder openedRoot(const std::string& path) {
    DevFolder root = DevFolder::open(path);
    if (!root.openFile(DevTreeNames::storage).isOpen())
        throw DevError("'" + path + "' is not the directory of a server.");
    return root;
}

} // namespace

std::size_t devCheck(const std::string& path, const DevTell& tell) {
    const DevFolder root = openedRoot(path);
    const DevDescriptor lock = root.openFile(DevTreeNames::lock);
    if (lock.isOpen() && !devLock(lock))
        throw DevError("The directory '" + path + "' is in use by a server.");
    return Check(root, tell, nullptr).run();
}

std::size_t devRepair(const std::string& path, const DevTell& tell) {
    const DevFolder root = openedRoot(path);
    {
        const DevLog log(tell, /*verbose=*/false);
        DevTree tree(path, DevSync::Descriptions, log);
        tree.awaitRemovals();
        const DevFolder lost = root.folder(DevTreeNames::lost);
        (void)Check(root, tell, &lost).run();
    }
    return devCheck(path, tell);
}
