// How DevTree finds its directory, and what it mends in it that a kill has left unfinished.
#include "devserver/DevTree.h"

#include "base/loggerBase/src/CoText.h"
#include "devserver/DevError.h"
#include "devserver/DevTreeNames.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <random>

namespace {

constexpr char lockName[] = "lock";
constexpr char storageName[] = "storage.json";
constexpr char storageAsideName[] = "storage.json.new";

// Node numbers are reserved on disk in blocks, so that no number is ever used again.
constexpr std::uint64_t numberBlock = 1000;

std::string absolutePath(const std::string& root) {
    std::error_code error;
    std::filesystem::create_directories(root, error);
    const std::filesystem::path path = std::filesystem::canonical(root, error);
    if (error)
        throw DevError(devSystemText("Can't make the directory " + devQuoted(root), error.value()));
    return path.string();
}

// The folder "aside" is emptied later: a directory that somebody else uses must not be taken.
void checkOurs(const DevFolder& root, const std::string& path) {
    if (root.openFile(storageName).isOpen())
        return;
    for (const std::string& name : root.names())
        if (name != lockName && name != storageAsideName)
            throw DevError("The directory " + devQuoted(path) +
                           " is neither empty nor a server's: it holds " + devQuoted(name) + ".");
}

std::string randomStorageId() {
    std::random_device random;
    return coFormatCut(32, "storage-%08x%08x", random(), random());
}

DevFolder madeFolder(const DevFolder& parent, const std::string& name) {
    parent.makeFolder(name);
    return parent.folder(name);
}

} // namespace

DevTree::DevTree(const std::string& root, const DevLog& log)
    : log_(log), path_(absolutePath(root)), root_(DevFolder::open(path_)) {
    checkOurs(root_, path_);
    lock_ = root_.lock(lockName);
    if (!lock_.isOpen())
        throw DevError("The directory " + devQuoted(path_) + " is in use by another server.");
    openStorage();
    nodes_ = madeFolder(root_, DevTreeNames::nodes);
    aside_ = madeFolder(root_, DevTreeNames::aside);
    emptyAside();
    loadNodes();
}

void DevTree::openStorage() {
    root_.remove(storageAsideName);
    const std::optional<std::string> text = root_.read(storageName);
    if (!text) {
        storageId_ = randomStorageId();
        saveStorage();
        return;
    }
    try {
        const nlohmann::json storage = nlohmann::json::parse(*text);
        storageId_ = storage.at("storageId").get<std::string>();
        nextNumber_ = reservedNumber_ = storage.at("nextNode").get<std::uint64_t>();
    } catch (const nlohmann::json::exception& error) {
        throw DevError("Can't read '" + path_ + "/" + storageName + "': " + error.what());
    }
}

void DevTree::saveStorage() const {
    const nlohmann::json storage = {{"storageId", storageId_}, {"nextNode", reservedNumber_}};
    const std::string text = storage.dump(2) + "\n";
    DevAsideFile file(root_, storageAsideName);
    file.write(text.data(), text.size());
    file.moveTo(root_, storageName);
}

std::uint64_t DevTree::takeNumber() {
    if (nextNumber_ == reservedNumber_) {
        reservedNumber_ += numberBlock;
        try {
            saveStorage();
        } catch (...) {
            reservedNumber_ -= numberBlock;
            throw;
        }
    }
    return nextNumber_++;
}

void DevTree::emptyAside() const {
    for (const std::string& name : aside_.names()) {
        try {
            aside_.remove(name);
        } catch (const DevError& error) {
            log_(error.what());
        }
    }
}

void DevTree::loadNodes() {
    std::vector<std::uint64_t> folders;
    for (const std::string& name : nodes_.names())
        if (const auto number = DevTreeNames::numberIn<std::uint64_t>(name, 'n'))
            folders.push_back(*number);
    std::sort(folders.begin(), folders.end());
    if (!std::binary_search(folders.begin(), folders.end(), DevTreeNames::rootNumber))
        makeRoot();
    for (const std::uint64_t number : folders)
        loadNode(number);
    if (entries_.count(DevTreeNames::rootNumber) == 0)
        throw DevError("Can't read the description of the root node in '" + path_ + "'.");
    linkChildren(folders);
    removeOrphans(folders);
    finishDrops();
}

void DevTree::makeRoot() {
    DevNode root;
    root.name = "root";
    root.type = "root";
    DevAsideFolder folder(aside_, asideName());
    folder.addFile(DevTreeNames::descriptionName, devTextOfNode(root));
    folder.moveTo(nodes_, DevTreeNames::folderName(DevTreeNames::rootNumber));
    entries_[DevTreeNames::rootNumber].node = std::move(root);
}

void DevTree::loadNode(std::uint64_t number) {
    const std::string name = DevTreeNames::folderName(number);
    try {
        const std::optional<std::string> text =
            nodes_.folder(name).read(DevTreeNames::descriptionName);
        if (!text)
            throw DevError("There is no description.");
        Entry loaded;
        loaded.node = devNodeOfText(*text);
        // Numbers ascend from parent to child: descriptions that say otherwise would form a ring.
        if (loaded.node.parent >= number && number != DevTreeNames::rootNumber)
            throw DevError("Its parent is younger than the node.");
        loaded.stamps.assign(loaded.node.frames, ++lastStamp_);
        entries_[number] = std::move(loaded);
        nextNumber_ = std::max(nextNumber_, number + 1);
        reservedNumber_ = std::max(reservedNumber_, nextNumber_);
    } catch (const DevError& error) {
        log_("The node '" + name + "' is left out: " + error.what());
    }
}

// Visited in ascending order, so that children are in the order of making.
void DevTree::linkChildren(const std::vector<std::uint64_t>& folders) {
    for (const std::uint64_t number : folders) {
        const auto child = entries_.find(number);
        if (number == DevTreeNames::rootNumber || child == entries_.end())
            continue;
        const auto parent = entries_.find(child->second.node.parent);
        if (parent != entries_.end())
            parent->second.children.push_back(number);
    }
}

// A node whose parent has no folder is what was left of a destroyed subtree. One whose parent is
// there but can't be read is kept, out of reach, until somebody mends the parent.
void DevTree::removeOrphans(const std::vector<std::uint64_t>& folders) {
    for (const std::uint64_t number : folders) {
        const auto found = entries_.find(number);
        if (found == entries_.end() || number == DevTreeNames::rootNumber)
            continue;
        const std::uint64_t parent = found->second.node.parent;
        if (!std::binary_search(folders.begin(), folders.end(), parent))
            for (const std::string& name : detach(number))
                aside_.remove(name);
    }
}

void DevTree::finishDrops() {
    for (const auto& [number, found] : entries_) {
        if (!found.node.leftovers)
            continue;
        try {
            changeClip(number, found.node, true);
        } catch (const DevError& error) {
            log_(error.what());
        }
    }
}
