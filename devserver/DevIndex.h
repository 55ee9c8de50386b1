// What the server knows of its nodes in memory: their descriptions, who is below whom, and which
// state each frame's contents are in. A frame that was never written in this run costs nothing.
// Owns the descriptions, which are never changed but replaced: a holder may go on reading one.
// No lock: one thread at a time. Failures are DevError and change nothing.
#ifndef DEVSERVER_DEVINDEX_H
#define DEVSERVER_DEVINDEX_H

#include "devserver/DevNode.h"

#include <cstddef>
#include <cstdint>
#include <memory>
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

class DevIndex {
public:
    using Node = std::shared_ptr<const DevNode>;
    using Child = std::pair<std::uint64_t, Node>;
    struct Entry {
        Node node;
        std::vector<std::uint64_t> children; // ascending, which is the order of making
        std::uint64_t stamp = 0;             // of all frames but those that were written since
        std::unordered_map<std::size_t, std::uint64_t> written; // their stamps
    };
    /// Taken out, to be freed without a lock around it.
    using Removed = std::vector<std::unordered_map<std::uint64_t, Entry>::node_type>;

    /// The number of an id on the wire.
    [[nodiscard]] std::uint64_t numberOf(std::string_view id) const;
    [[nodiscard]] bool has(std::uint64_t number) const { return entries_.count(number) != 0; }
    [[nodiscard]] const Node& node(std::uint64_t number) const;
    /// As node(), for a clip.
    [[nodiscard]] const Node& clip(std::uint64_t number) const;
    [[nodiscard]] std::vector<Child> children(std::uint64_t number) const;
    [[nodiscard]] std::optional<std::uint64_t> childNamed(std::uint64_t parent,
                                                          const std::string& name) const;
    [[nodiscard]] DevFrame frame(std::string_view frameId) const;

    /// Adds a node that stands below none yet; its contents are in a state of their own.
    void add(std::uint64_t number, Node node);
    /// Puts a node below the parent that its description names.
    void link(std::uint64_t number);
    /// Replaces the description. All frames are in a new state if \p newContents.
    enum class Contents { Kept, Changed };
    void replace(std::uint64_t number, Node node, Contents contents);
    /// Tells that a frame was written.
    void touch(const DevFrameKey& frame);
    /// Takes a node out with all below it; parents come before their children.
    [[nodiscard]] Removed remove(std::uint64_t number);

private:
    [[nodiscard]] const Entry& entry(std::uint64_t number) const;

    std::unordered_map<std::uint64_t, Entry> entries_;
    std::uint64_t lastStamp_ = 0;
};

#endif
