#include "devserver/DevStorage.h"

#include "base/loggerBase/src/CoText.h"
#include "devserver/DevError.h"
#include "devserver/DevLimits.h"
#include "devserver/DevTreeNames.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <random>

namespace {

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
    if (root.openFile(DevTreeNames::storage).isOpen())
        return;
    for (const std::string& name : root.names())
        if (name != DevTreeNames::lock && name != storageAsideName)
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

DevStorage::DevStorage(const std::string& root, DevSync sync, const DevLog& log)
    : path_(absolutePath(root)), sync_(sync), log_(log), root_(DevFolder::open(path_)) {
    checkOurs(root_, path_);
    takeDirectory();
    openStorage();
    nodes_ = madeFolder(root_, DevTreeNames::nodes);
    aside_ = readOnly_ ? DevFolder() : madeFolder(root_, DevTreeNames::aside);
    lost_ = readOnly_ ? DevFolder() : madeFolder(root_, DevTreeNames::lost);
    for (const std::string& name : unfinished())
        if (const auto number = DevTreeNames::numberIn<std::uint64_t>(name, 'a'))
            asideCount_ = std::max<std::uint64_t>(asideCount_, *number);
    if (!readOnly_)
        root_.flush();
}

void DevStorage::takeDirectory() {
    readOnly_ = !root_.isWritable();
    lock_ = readOnly_ ? root_.lockItself() : root_.lock(DevTreeNames::lock);
    if (!lock_.isOpen())
        throw DevError("The directory " + devQuoted(path_) + " is in use by another server.");
    if (readOnly_)
        log_("The directory " + devQuoted(path_) + " can't be written: it is served read-only.");
}

void DevStorage::openStorage() {
    if (!readOnly_)
        root_.remove(storageAsideName);
    const std::optional<std::string> text =
        root_.read(DevTreeNames::storage, DevLimits::description);
    if (!text) {
        storageId_ = randomStorageId();
        return saveStorage(reservedNumber_);
    }
    try {
        const nlohmann::json storage = nlohmann::json::parse(*text);
        storageId_ = storage.at("storageId").get<std::string>();
        nextNumber_ = reservedNumber_ = storage.at("nextNode").get<std::uint64_t>();
    } catch (const nlohmann::json::exception& error) {
        throw DevError("Can't read '" + path_ + "/" + DevTreeNames::storage + "': " + error.what());
    }
}

// Seldom, and always flushed: without it the directory is no server's any more.
void DevStorage::saveStorage(std::uint64_t reserved) const {
    const nlohmann::json storage = {{"storageId", storageId_}, {"nextNode", reserved}};
    const std::string text = storage.dump(2) + "\n";
    DevAsideFile file(root_, storageAsideName);
    file.write(text.data(), text.size());
    file.flush();
    file.moveTo(root_, DevTreeNames::storage);
    root_.flush();
}

DevStorage::Numbers DevStorage::numbersIn(const DevFolder& folder) {
    Numbers numbers;
    if (!folder.isOpen())
        return numbers;
    for (const std::string& name : folder.names())
        if (const auto number = DevTreeNames::numberIn<std::uint64_t>(name, 'n'))
            numbers.push_back(*number);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

// Without power a node may be left in both places: it was not destroyed then.
DevStorage::Numbers DevStorage::destroyed() const {
    const Numbers present = nodes();
    const Numbers aside = numbersIn(aside_);
    Numbers destroyed;
    std::set_difference(aside.begin(), aside.end(), present.begin(), present.end(),
                        std::back_inserter(destroyed));
    return destroyed;
}

std::vector<std::string> DevStorage::unfinished() const {
    std::vector<std::string> names;
    if (!aside_.isOpen())
        return names;
    const Numbers remains = destroyed();
    for (const std::string& name : aside_.names()) {
        const auto number = DevTreeNames::numberIn<std::uint64_t>(name, 'n');
        if (!number || !std::binary_search(remains.begin(), remains.end(), *number))
            names.push_back(name);
    }
    return names;
}

std::uint64_t DevStorage::takeNumber() {
    checkWritable();
    const std::lock_guard<std::mutex> lock(mutex_);
    if (nextNumber_ == reservedNumber_) {
        saveStorage(reservedNumber_ + numberBlock);
        reservedNumber_ += numberBlock;
    }
    return nextNumber_++;
}

void DevStorage::leaveOut(std::uint64_t number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    nextNumber_ = std::max(nextNumber_, number + 1);
    reservedNumber_ = std::max(reservedNumber_, nextNumber_);
}

void DevStorage::checkWritable() const {
    if (readOnly_)
        throw DevError("The tree is served read-only: its directory can't be written.");
}

DevFolder DevStorage::folderOf(std::uint64_t number) const {
    return nodes_.folder(DevTreeNames::folderName(number));
}

std::string DevStorage::asideName() {
    return "a" + std::to_string(++asideCount_);
}

void DevStorage::flush(const DevFolder& folder) const {
    if (sync_ != DevSync::None && !readOnly_)
        folder.flush();
}

DevNode DevStorage::readIn(const DevFolder& folder, std::uint64_t number) {
    const std::optional<std::string> text =
        folder.folder(DevTreeNames::folderName(number))
            .read(DevTreeNames::descriptionName, DevLimits::description);
    if (!text)
        throw DevError("There is no description.");
    DevNode node = devNodeOfText(*text);
    // Numbers ascend from parent to child: descriptions that say otherwise would form a ring.
    if (node.parent >= number && number != DevTreeNames::rootNumber)
        throw DevError("Its parent is younger than the node.");
    return node;
}

DevNode DevStorage::read(std::uint64_t number) const {
    return readIn(nodes_, number);
}

DevNode DevStorage::readLost(std::uint64_t number) const {
    return readIn(lost_, number);
}

void DevStorage::writeDescription(DevAsideFile& file, const DevNode& node) const {
    const std::string text = devTextOfNode(node);
    if (text.size() > DevLimits::description)
        throw DevError("The node's description would be longer than " +
                       std::to_string(DevLimits::description) + " bytes.");
    file.write(text.data(), text.size());
    if (sync_ != DevSync::None)
        file.flush();
}

// The folder is made aside with its description in it, so that none is ever without.
void DevStorage::add(std::uint64_t number, const DevNode& node) {
    checkWritable();
    DevAsideFolder made(aside_, asideName());
    {
        const DevFolder folder = made.folder();
        DevAsideFile file(folder, asideName());
        writeDescription(file, node);
        file.moveTo(folder, DevTreeNames::descriptionName);
        flush(folder);
    }
    made.moveTo(nodes_, DevTreeNames::folderName(number));
    flush(nodes_);
}

void DevStorage::save(std::uint64_t number, const DevNode& node) {
    checkWritable();
    DevAsideFile file(aside_, asideName());
    writeDescription(file, node);
    const DevFolder folder = folderOf(number);
    file.moveTo(folder, DevTreeNames::descriptionName);
    flush(folder);
}

void DevStorage::moveNode(std::uint64_t number, const DevFolder& from, const DevFolder& to) const {
    const std::string name = DevTreeNames::folderName(number);
    from.move(name, to, name);
    flush(to);
    flush(from);
}

void DevStorage::lose(std::uint64_t number) {
    moveNode(number, nodes_, lost_);
}

void DevStorage::loseRoot() {
    checkWritable();
    nodes_.moveBeside(DevTreeNames::folderName(DevTreeNames::rootNumber), lost_, "root");
    flush(lost_);
}

void DevStorage::bringBack(std::uint64_t number) {
    moveNode(number, lost_, nodes_);
}

void DevStorage::setAside(std::uint64_t number) {
    checkWritable();
    const std::string name = DevTreeNames::folderName(number);
    try {
        nodes_.move(name, aside_, name);
    } catch (const DevError&) {
        if (nodes_.holds(name)) // else it went with a node above it that is being destroyed too
            throw;
    }
}

void DevStorage::flushAside() const {
    flush(aside_);
    flush(nodes_);
}

DevAsideFile DevStorage::newFrameFile() {
    checkWritable();
    return DevAsideFile(aside_, asideName());
}

void DevStorage::flushFrame(DevAsideFile& file) const {
    if (sync_ == DevSync::All)
        file.flush();
}

void DevStorage::storeFrame(std::uint64_t node, std::size_t index, DevAsideFile& file) {
    const DevFolder folder = folderOf(node);
    file.moveTo(folder, DevTreeNames::frameName(index));
    if (sync_ == DevSync::All)
        folder.flush();
}

DevDescriptor DevStorage::openFrame(std::uint64_t node, std::size_t index) const {
    return folderOf(node).openFile(DevTreeNames::frameName(index));
}

// What is not a regular file was never a frame: whoever put it there may miss it.
void DevStorage::sweep(std::uint64_t number, const DevNode& node) const {
    checkWritable();
    const DevFolder folder = folderOf(number);
    const auto frameSize = static_cast<std::uint64_t>(node.format.frameBufferSize());
    for (const std::string& name : folder.names()) {
        const std::optional<std::size_t> index = DevTreeNames::numberIn<std::size_t>(name, 'f');
        if (!index)
            continue;
        const std::optional<std::uint64_t> size = folder.fileSize(name);
        const bool owned = *index >= node.links.size() && *index < node.frames;
        if (owned && size == frameSize)
            continue;
        if (size) {
            folder.remove(name);
            continue;
        }
        const std::string lostName = DevTreeNames::folderName(number) + "-" + name;
        folder.moveBeside(name, lost_, lostName);
        log_("'" + lostName + "' is not a frame, and was moved to 'lost'.");
    }
    flush(folder);
}
