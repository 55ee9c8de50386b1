// The tree of nodes: what is known of it in memory, and the directory that keeps it.
// Owns both. Any thread: what only looks waits for neither the disk nor a client; changes of one
// node wait for each other. Failures are DevError, and change nothing.
#ifndef DEVSERVER_DEVTREE_H
#define DEVSERVER_DEVTREE_H

#include "devserver/DevIndex.h"
#include "devserver/DevRemover.h"
#include "devserver/DevStorage.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A frame opened for reading; a file that is not open is a frame that was never written.
struct DevOpenFrame {
    DevFrame frame;
    DevDescriptor file;
};

class DevTree {
public:
    using Node = DevIndex::Node;

    /// Opens or makes the directory, as DevStorage. Node descriptions that can't be read are logged
    /// and left be; nodes whose parent is missing go to "lost", and return when it does.
    DevTree(const std::string& root, DevSync sync, const DevLog& log);
    DevTree(const DevTree&) = delete;
    DevTree& operator=(const DevTree&) = delete;

    [[nodiscard]] static std::string rootId();
    [[nodiscard]] const std::string& storageId() const { return storage_.storageId(); }

    /// The description as it is now; a later change makes another one.
    [[nodiscard]] Node node(std::string_view id) const;
    /// As node(), for a clip.
    [[nodiscard]] Node clip(std::string_view id) const;
    /// Numbers and descriptions, in the order of making.
    [[nodiscard]] std::vector<DevIndex::Child> children(std::string_view id) const;
    /// Returns the new node's id. Names may repeat, but hold no comma, slash or line feed.
    std::string createNode(std::string_view parentId, const std::string& name, DevNode::Kind kind,
                           const std::string& type);
    /// With all below it; their space is freed later. The root can't be destroyed.
    void destroyNode(std::string_view id);

    void setStream(std::string_view id, const std::string& name, const std::string& text);

    // Of clips only.
    /// Where frames that are not linked are, or will be once they are written; ends in a slash.
    [[nodiscard]] std::string frameFolder(std::string_view id) const;
    /// Gives the clip \p count frames. Frames that remain keep their id, and their contents unless
    /// the frame buffer size changes.
    void allocateFrames(std::string_view id, std::size_t count, const LantrixClipFormat& format);
    /// Makes the clip consist of existing files anywhere on this host, which are only ever read.
    void linkFrames(std::string_view id, const std::vector<std::string>& paths,
                    const LantrixClipFormat& format);
    /// The clip at a path of names, made with the nodes above it unless it is there.
    void ensureClip(const std::vector<std::string>& path, const LantrixClipFormat& format);

    /// Returns when the space of all that was destroyed is free.
    void awaitRemovals() { remover_.await(); }

    [[nodiscard]] DevFrame frame(std::string_view frameId) const;
    /// A linked file must hold a frame at least; its first bytes are the frame.
    [[nodiscard]] DevOpenFrame openFrame(std::string_view frameId) const;
    /// A file to write a frame's new contents to; commitFrame() makes them the frame's.
    [[nodiscard]] DevAsideFile newFrameFile() { return storage_.newFrameFile(); }
    /// Checks again that the frame is there and takes \p size bytes.
    void commitFrame(std::string_view frameId, DevAsideFile& file, std::size_t size);
    /// Refuses a write that commitFrame() would refuse.
    void checkWrite(std::string_view frameId, std::size_t size) const;

private:
    using Lock = std::lock_guard<std::mutex>;
    /// Of each node that has no place in the tree, the topmost one that is aside or missing.
    using Ancestors = std::map<std::uint64_t, std::uint64_t>;
    enum class Frames { Kept, Dropped };

    // Opening, in DevTreeOpening.cpp.
    void load();
    void loadNode(std::uint64_t number);
    void makeRoot();
    void bringBackLost();
    void settleOrphans();
    void removeRemains(const Ancestors& destroyed);
    void loseNodes(const Ancestors& lost);
    void finishDrops();

    [[nodiscard]] std::uint64_t numberOf(std::string_view id) const;
    [[nodiscard]] Node node(std::uint64_t number) const;
    /// Serialises the changes of one node, which wait for the disk.
    [[nodiscard]] std::unique_lock<std::mutex> editing(std::uint64_t number);
    std::uint64_t addNode(DevNode added);
    void changeClip(std::uint64_t number, DevNode next, Frames frames);
    [[nodiscard]] DevDescriptor openedFrame(const DevFrame& frame, const DevNode& owner) const;

    const DevLog& log_;
    mutable std::mutex mutex_; // guards the index, and is never held while the disk is waited for
    DevIndex index_;
    std::array<std::mutex, 64> edits_; // of the nodes whose number has this remainder
    DevStorage storage_;
    DevRemover remover_;
};

#endif
