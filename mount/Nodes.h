// The nodes that the system knows, by number, and what each shows, as long as that is believed.
// A file's number says whose it is: a folder, its description, or a frame of its clip; only folders
// are kept here, however many frames there are.
// Any thread.
#ifndef MOUNT_NODES_H
#define MOUNT_NODES_H

#include "mount/Folder.h"

#include <chrono>
#include <cstdint>
#include <fuse_lowlevel.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace mounted {

/// The number of a folder or file, taken apart.
struct FileNumber {
    static constexpr std::uint32_t folderItself = 0;
    static constexpr std::uint32_t description = 1;
    static constexpr std::uint32_t firstFrame = 2;
    static constexpr std::uint32_t firstDraft = 0x90000000; // behind all frames
    static constexpr std::uint32_t mostDrafts = 0x60000000;

    std::uint32_t folder = 1; ///< The root is 1.
    std::uint32_t file = folderItself;

    [[nodiscard]] static FileNumber of(fuse_ino_t number);
    [[nodiscard]] static FileNumber ofFrame(std::uint32_t folder, int index) {
        return {folder, firstFrame + static_cast<std::uint32_t>(index)};
    }
    [[nodiscard]] fuse_ino_t whole() const;
    [[nodiscard]] bool isFolder() const { return file == folderItself; }
    [[nodiscard]] bool isFrame() const { return file >= firstFrame && file < firstDraft; }
    [[nodiscard]] int frame() const { return static_cast<int>(file - firstFrame); }
};

/// A node that is a folder here; never changes.
struct Node {
    std::uint32_t number = 0;
    NodeName name;
    std::string path; ///< Of display names.
};

class Nodes {
public:
    using Clock = std::chrono::steady_clock;
    using Pointer = std::shared_ptr<const Node>;

    Nodes(NodeName root, std::string path, Clock::duration fresh);

    /// Null for a number that was forgotten.
    [[nodiscard]] Pointer find(std::uint32_t number);
    /// The child of a node, which the system will know once more.
    [[nodiscard]] Pointer know(const Node& parent, const NodeName& child);
    /// The system knows a node, or files in it, so many times more, or less.
    void know(std::uint32_t number, std::uint64_t times = 1);
    void forget(std::uint32_t number, std::uint64_t times);

    /// What the node shows; null when that has to be asked.
    [[nodiscard]] std::shared_ptr<const Folder> folder(std::uint32_t number);
    /// \p asked is when asking began.
    void keep(std::uint32_t number, const std::shared_ptr<const Folder>& folder,
              Clock::time_point asked);
    /// What the node shows has to be asked again.
    void drop(std::uint32_t number);
    /// Lets go what is not believed any more.
    void dropOld();

private:
    using Key = std::pair<std::uint32_t, std::string>; // the parent's number, the node's id
    struct Known {
        Pointer node;
        Key key;
        std::uint64_t times = 0;
        std::shared_ptr<const Folder> folder;
        Clock::time_point asked;
        Clock::time_point dropped; // what was asked before is not believed
    };

    const Clock::duration fresh_;
    std::mutex mutex_; // guards all that follows
    std::map<std::uint32_t, Known> known_;
    std::map<Key, std::uint32_t> numbers_;
    std::uint32_t last_ = 1;
};

} // namespace mounted

#endif
