// What a node shows as a folder: its children, and a clip's frames. Asked of the server in one go,
// none of it for each frame, and never changed afterwards.
// Shared by whoever looks at it; any thread. Failures are values.
#ifndef MOUNT_FOLDER_H
#define MOUNT_FOLDER_H

#include "frames/ClipFrames.h"
#include "mount/MountOptions.h"
#include "mount/Names.h"
#include "stream/Work.h"

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace mounted {

/// A node as its folder's parent knows it.
struct NodeName {
    std::string id;    ///< Names it on its server.
    std::string name;  ///< That people see.
    std::string shown; ///< In the file system.
};

/// The frames of a clip, and the names of their files.
class Clip : public frames::ClipFrames {
public:
    /// \p handle knows the format and the frames, and asks for nothing any more.
    Clip(const LantrixNodeHandle& handle, const LantrixClipFormat& format, FrameNames names,
         image::FrameFile file);

    [[nodiscard]] const FrameNames& names() const { return names_; }

private:
    FrameNames names_;
};

class Folder {
public:
    static constexpr const char* descriptionName = "clip.json";

    /// Asks for what \p node shows, at \p path. \p isGone is set when there is no such node.
    static lantrix::Failure load(lantrix::Connection& connection, const MountOptions& options,
                                 const NodeName& node, const std::string& path, bool& isGone,
                                 std::shared_ptr<const Folder>& folder);

    [[nodiscard]] const std::vector<NodeName>& children() const { return children_; }
    /// The child that is shown by this name; null when there is none.
    [[nodiscard]] const NodeName* child(const std::string& shown) const;
    /// Null for a node that is not a clip.
    [[nodiscard]] const std::shared_ptr<const Clip>& clip() const { return clip_; }
    /// What describes the clip; "" for a node that is not one.
    [[nodiscard]] const std::string& description() const { return description_; }

private:
    lantrix::Failure ask(const LantrixServerHandle& server, const MountOptions& options,
                         const NodeName& node, const std::string& path, bool& isGone);
    bool askChildren(const LantrixNodeHandle& handle);
    bool askClip(const LantrixNodeHandle& handle, const MountOptions& options,
                 const std::string& stem);

    lantrix::WalkedNode facts_;
    std::vector<NodeName> children_;
    std::unordered_map<std::string, std::size_t> places_; // by the name that is shown
    std::shared_ptr<const Clip> clip_;
    std::string description_;
};

} // namespace mounted

#endif
