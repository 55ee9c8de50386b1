#include "mount/Nodes.h"

namespace mounted {

namespace {

constexpr unsigned folderBits = 32;

} // namespace

FileNumber FileNumber::of(fuse_ino_t number) {
    if (number == FUSE_ROOT_ID)
        return {};
    return {static_cast<std::uint32_t>(number >> folderBits),
            static_cast<std::uint32_t>(number & 0xFFFFFFFFU)};
}

fuse_ino_t FileNumber::whole() const {
    const bool isRoot = folder == FileNumber().folder && isFolder();
    return isRoot ? FUSE_ROOT_ID : std::uint64_t{folder} << folderBits | file;
}

Nodes::Nodes(NodeName root, std::string path, Clock::duration fresh) : fresh_(fresh) {
    const Key key{0, root.id};
    Known& known = known_[1];
    known.node = std::make_shared<Node>(Node{1, std::move(root), std::move(path)});
    known.key = key;
    known.times = 1;
    numbers_[key] = 1;
}

Nodes::Pointer Nodes::find(std::uint32_t number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = known_.find(number);
    return found != known_.end() ? found->second.node : nullptr;
}

// A node that has another name now is another node for the system.
Nodes::Pointer Nodes::know(const Node& parent, const NodeName& child) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Key key{parent.number, child.id};
    const auto found = numbers_.find(key);
    if (found != numbers_.end()) {
        Known& known = known_[found->second];
        if (known.node->name.shown == child.shown) {
            ++known.times;
            return known.node;
        }
    }
    while (++last_ == 0 || known_.count(last_) != 0) {
    }
    const std::string slash = parent.path.empty() || parent.path.back() != '/' ? "/" : "";
    Known& known = known_[last_];
    known.node = std::make_shared<Node>(Node{last_, child, parent.path + slash + child.name});
    known.key = key;
    known.times = 1;
    numbers_[key] = last_;
    return known.node;
}

void Nodes::know(std::uint32_t number, std::uint64_t times) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = known_.find(number);
    if (found != known_.end())
        found->second.times += times;
}

void Nodes::forget(std::uint32_t number, std::uint64_t times) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = known_.find(number);
    if (found == known_.end() || number == FileNumber().folder)
        return;
    if (found->second.times > times) {
        found->second.times -= times;
        return;
    }
    const auto byKey = numbers_.find(found->second.key);
    if (byKey != numbers_.end() && byKey->second == number)
        numbers_.erase(byKey);
    known_.erase(found);
}

std::shared_ptr<const Folder> Nodes::folder(std::uint32_t number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = known_.find(number);
    const bool isThere = found != known_.end() && found->second.folder != nullptr &&
                         Clock::now() - found->second.asked < fresh_;
    return isThere ? found->second.folder : nullptr;
}

void Nodes::keep(std::uint32_t number, const std::shared_ptr<const Folder>& folder,
                 Clock::time_point asked) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = known_.find(number);
    if (found == known_.end() || asked < found->second.dropped)
        return;
    found->second.folder = folder;
    found->second.asked = asked;
}

void Nodes::drop(std::uint32_t number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = known_.find(number);
    if (found == known_.end())
        return;
    found->second.folder = nullptr;
    found->second.dropped = Clock::now();
}

void Nodes::dropOld() {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Clock::time_point now = Clock::now();
    for (auto& [number, known] : known_)
        if (now - known.asked >= fresh_)
            known.folder = nullptr;
}

} // namespace mounted
