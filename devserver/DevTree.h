// The tree of nodes, kept in a directory: "nodes" has a folder for each node, with its description
// and one file per frame; "aside" is where files are written before they take their final name in
// one step, and where destroyed nodes go first. So a kill at any moment leaves everything whole
// that was acknowledged, and no half of anything under a final name. Nothing is forced to the
// medium: the promise is about the process, not about the loss of power.
// Owns the directory (by a lock in it) and an index of all descriptions in memory.
// Any thread; no function waits for a client. Failures are DevError, and change nothing.
#ifndef DEVSERVER_DEVTREE_H
#define DEVSERVER_DEVTREE_H

#include "devserver/DevFolder.h"
#include "devserver/DevLog.h"
#include "devserver/DevNode.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

/// One state of a frame's contents: a write or a new format changes the stamp, and no other frame
/// ever has the same.
struct DevFrameKey {
    std::uint64_t node = 0;
    std::size_t index = 0;
    std::uint64_t stamp = 0;

    bool operator==(const DevFrameKey& other) const {
        return std::tie(node, index, stamp) == std::tie(other.node, other.index, other.stamp);
    }
    bool operator<(const DevFrameKey& other) const {
        return std::tie(node, index, stamp) < std::tie(other.node, other.index, other.stamp);
    }
};

/// What is known of a frame without opening it.
struct DevFrame {
    DevFrameKey key;
    std::size_t size = 0;
    bool linked = false; ///< Its contents are a file outside the directory.
};

/// A frame opened for reading; a file that is not open is a frame that was never written.
struct DevOpenFrame {
    DevFrame frame;
    DevDescriptor file;
};

class DevTree {
public:
    /// Opens or makes the directory. Refuses one that another server has open, and one that is
    /// neither empty nor a server's. Node descriptions that can't be read are logged and left be.
    DevTree(const std::string& root, const DevLog& log);
    DevTree(const DevTree&) = delete;
    DevTree& operator=(const DevTree&) = delete;

    [[nodiscard]] static std::string rootId();
    /// Made at random with the directory, and kept in it.
    [[nodiscard]] const std::string& storageId() const { return storageId_; }

    /// Pairs of id and name, in the order of making.
    [[nodiscard]] std::vector<std::pair<std::string, std::string>>
    children(std::string_view id) const;
    [[nodiscard]] std::string name(std::string_view id) const;
    [[nodiscard]] std::pair<DevNode::Kind, std::string> kindAndType(std::string_view id) const;
    /// Returns the new node's id. Names may repeat, but hold no comma, slash or line feed.
    std::string createNode(std::string_view parentId, const std::string& name, DevNode::Kind kind,
                           const std::string& type);
    /// With all below it. The root can't be destroyed.
    void destroyNode(std::string_view id);

    [[nodiscard]] std::vector<std::string> streamNames(std::string_view id) const;
    [[nodiscard]] std::string stream(std::string_view id, const std::string& name) const;
    void setStream(std::string_view id, const std::string& name, const std::string& text);

    // Of clips only.
    [[nodiscard]] LantrixClipFormat clipFormat(std::string_view id) const;
    [[nodiscard]] std::vector<std::string> frameIds(std::string_view id) const;
    /// Where the contents of each frame are, or will be once it is written.
    [[nodiscard]] std::vector<std::string> framePaths(std::string_view id) const;
    /// Gives the clip \p count frames. Frames that remain keep their id, and their contents unless
    /// the frame buffer size changes. Returns all ids.
    std::vector<std::string> allocateFrames(std::string_view id, std::size_t count,
                                            const LantrixClipFormat& format);
    /// Makes the clip consist of existing files anywhere on this host, which are only ever read.
    void linkFrames(std::string_view id, const std::vector<std::string>& paths,
                    const LantrixClipFormat& format);
    /// The clip at a path of names, made with the nodes above it unless it is there.
    void ensureClip(const std::vector<std::string>& path, const LantrixClipFormat& format);

    [[nodiscard]] DevFrame frame(std::string_view frameId) const;
    /// A linked file must hold a frame at least; its first bytes are the frame.
    [[nodiscard]] DevOpenFrame openFrame(std::string_view frameId) const;
    /// A file to write a frame's new contents to; commitFrame() makes them the frame's.
    [[nodiscard]] DevAsideFile newFrameFile();
    /// Checks again that the frame is there and takes \p size bytes.
    void commitFrame(std::string_view frameId, DevAsideFile& file, std::size_t size);
    /// Refuses a write that commitFrame() would refuse.
    void checkWrite(std::string_view frameId, std::size_t size) const;

private:
    struct Entry {
        DevNode node;
        std::vector<std::uint64_t> children; // ascending, which is the order of making
        std::vector<std::uint64_t> stamps;   // one for each frame
    };
    using Entries = std::unordered_map<std::uint64_t, Entry>;

    // Opening, in DevTreeOpening.cpp; "folders" are the numbers of all node folders, ascending.
    void openStorage();
    void emptyAside() const;
    void loadNodes();
    void makeRoot();
    void loadNode(std::uint64_t number);
    void linkChildren(const std::vector<std::uint64_t>& folders);
    void removeOrphans(const std::vector<std::uint64_t>& folders);
    void finishDrops();

    // All that follows wants the lock.
    [[nodiscard]] std::uint64_t numberOf(std::string_view id) const;
    [[nodiscard]] const Entry& entry(std::string_view id) const;
    [[nodiscard]] const Entry& clip(std::string_view id) const;
    [[nodiscard]] std::pair<std::uint64_t, std::size_t> frameNumbers(std::string_view id) const;
    [[nodiscard]] DevFrame lockedFrame(std::string_view frameId) const;
    void lockedCheckWrite(std::string_view frameId, std::size_t size) const;

    [[nodiscard]] std::string asideName() const;
    std::uint64_t takeNumber();
    void saveStorage() const;
    void save(std::uint64_t number, const DevNode& node) const;
    std::uint64_t addNode(DevNode node);
    [[nodiscard]] std::optional<std::uint64_t> childNamed(std::uint64_t parent,
                                                          const std::string& name) const;
    void changeClip(std::uint64_t number, DevNode next, bool drops);
    void sweep(std::uint64_t number, const DevNode& node) const;
    [[nodiscard]] std::vector<std::uint64_t> subtree(std::uint64_t number) const;
    [[nodiscard]] std::vector<std::string> detach(std::uint64_t number);

    const DevLog& log_;
    mutable std::mutex mutex_; // guards all that is not const after construction
    const std::string path_;   // of the root: absolute and without links
    DevFolder root_;
    DevDescriptor lock_;
    DevFolder nodes_;
    DevFolder aside_;
    std::string storageId_;
    Entries entries_;
    std::uint64_t nextNumber_ = 1;     // never given to a node yet
    std::uint64_t reservedNumber_ = 1; // all numbers below are taken, as far as the disk knows
    std::uint64_t lastStamp_ = 0;
    mutable std::atomic<std::uint64_t> asideCount_{0};
};

#endif
