// The file system: what the system asks of a mounted folder, answered from what is known, or when
// the server has answered. No request waits in a thread of this layer, so that any number of
// programs may wait at once.
// Owns the pools, which the requests run on. Any thread. Failures become error numbers.
#ifndef MOUNT_FILESYSTEM_H
#define MOUNT_FILESYSTEM_H

#include "mount/FrameCache.h"
#include "mount/Fuse.h"
#include "mount/Handles.h"
#include "mount/Nodes.h"
#include "mount/Requests.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include <sys/stat.h>

namespace mounted {

class FileSystem {
public:
    explicit FileSystem(const MountOptions& options);
    ~FileSystem();
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;

    /// To be called again and again: ends what waits too long, lets go what is old.
    void tidy();
    /// Nothing more is asked: answers all that waits, and answers nothing any more when it returns.
    void end();

    // What the system asks, each answered once.
    void lookUp(fuse_req_t request, fuse_ino_t parent, const std::string& name);
    void forget(fuse_ino_t number, std::uint64_t times);
    void tellAttributes(fuse_req_t request, fuse_ino_t number);
    void openFolder(fuse_req_t request, fuse_ino_t number, const fuse_file_info& info);
    void listFolder(fuse_req_t request, std::size_t size, off_t offset, const fuse_file_info& info);
    void closeFolder(fuse_req_t request, const fuse_file_info& info);
    void open(fuse_req_t request, fuse_ino_t number, const fuse_file_info& info);
    void read(fuse_req_t request, std::size_t size, off_t offset, const fuse_file_info& info);
    void close(fuse_req_t request, const fuse_file_info& info);
    void listStreams(fuse_req_t request, fuse_ino_t number, std::size_t size);
    void readStream(fuse_req_t request, fuse_ino_t number, const std::string& name,
                    std::size_t size);

private:
    using FolderPointer = std::shared_ptr<const Folder>;
    using WithFolder = std::function<void(fuse_req_t request, const FolderPointer& folder)>;
    using Ask = std::function<lantrix::Failure(lantrix::Connection& connection, int& error)>;
    struct OpenFolder;
    struct OpenFile;
    class Entries;

    // How it is answered.
    void ask(fuse_req_t request, Ask question, std::function<void(fuse_req_t request)> answer);
    void withFolder(fuse_req_t request, const Nodes::Pointer& node, WithFolder answer);
    void withFolder(fuse_req_t request, fuse_ino_t number, WithFolder answer);
    void noteConnection(const lantrix::Failure& failure);
    [[nodiscard]] struct stat attributes(FileNumber number, const Folder* folder) const;
    [[nodiscard]] fuse_entry_param entry(FileNumber number, const Folder* folder) const;
    [[nodiscard]] double believed() const;

    const MountOptions options_;
    const timespec mountedAt_;
    Nodes nodes_;
    Requests requests_;
    Handles<OpenFolder> folders_;
    Handles<OpenFile> files_;
    std::atomic<bool> isAway_{false}; // the server
    lantrix::Pool questions_;
    lantrix::Pool framePool_;
    FrameCache frames_;
    lantrix::WorkGroup asking_; // last: ends first
};

} // namespace mounted

#endif
