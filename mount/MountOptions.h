// What is mounted, and how. Plain values and functions, which are called from several threads.
#ifndef MOUNT_MOUNTOPTIONS_H
#define MOUNT_MOUNTOPTIONS_H

#include "stream/TreeWalker.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace mounted {

struct MountOptions {
    std::string source;                         ///< What the list of mounts says.
    std::string folder;                         ///< Where; an absolute path.
    std::string host;                           ///< That connections are made to.
    std::string nodeId;                         ///< Of the node that becomes the folder,
    std::string name;                           ///< the name that people see,
    std::string path;                           ///< and its display path.
    lantrix::PoolOptions pool;                  ///< Of the frames' connections.
    std::chrono::milliseconds timeLimit{60000}; ///< Of each request of the system; 0 for any time.

    std::string extension; ///< Of the frames' files, where there is a choice; "" for the best.
    int startNumber = 0;   ///< Of the first frame of each clip.
    std::chrono::milliseconds fresh{2000}; ///< How long what the server has said is believed.
    std::uint64_t memory = std::uint64_t{512} << 20; ///< For the bytes of frames.
    bool isWritable = false;
    bool allowOthers = false; ///< Other users may look, too.

    /// The text of a clip's description, from all that a walk tells, and the display path.
    std::function<std::string(const lantrix::WalkedNode& clip, const std::string& path)> describe;
    /// Hears that the folder is mounted.
    std::function<void()> mounted;
    /// Hears remarks, a line each.
    std::function<void(const std::string& line)> tell;
    /// Ends the mount when it is set.
    const std::atomic<bool>* endFlag = nullptr;
};

} // namespace mounted

#endif
