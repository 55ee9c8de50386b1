// The file system: what the system asks of a mounted folder, answered from what is known, or when
// the server has answered. No request waits in a thread of this layer, so that any number of
// programs may wait at once.
// Owns the pools, which the requests run on. Any thread. Failures become error numbers.
#ifndef MOUNT_FILESYSTEM_H
#define MOUNT_FILESYSTEM_H

#include "frames/FrameCache.h"
#include "mount/Drafts.h"
#include "mount/Handles.h"
#include "mount/Nodes.h"
#include "mount/Requests.h"

#include <atomic>
#include <functional>
#include <fuse_lowlevel.h>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace mounted {

class FileSystem {
public:
    explicit FileSystem(const MountOptions& options);
    ~FileSystem();
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;

    /// To be called again and again, by one thread: ends what waits too long, lets go what is old.
    void tidy();
    /// Nothing more is asked: answers all that waits, and answers nothing any more when it returns.
    void end();

    // What the system asks, each answered once.
    void lookUp(fuse_req_t request, fuse_ino_t parent, const std::string& name);
    void forget(fuse_ino_t number, std::uint64_t times);
    void tellAttributes(fuse_req_t request, fuse_ino_t whole);
    void openFolder(fuse_req_t request, fuse_ino_t number, const fuse_file_info& info);
    void listFolder(fuse_req_t request, std::size_t size, off_t offset, const fuse_file_info& info);
    void closeFolder(fuse_req_t request, const fuse_file_info& info);
    void open(fuse_req_t request, fuse_ino_t whole, const fuse_file_info& info);
    void read(fuse_req_t request, std::size_t size, off_t offset, const fuse_file_info& info);
    void close(fuse_req_t request, const fuse_file_info& info);
    void create(fuse_req_t request, fuse_ino_t parent, const std::string& name,
                const fuse_file_info& info);
    void write(fuse_req_t request, const char* bytes, std::size_t size, off_t offset,
               const fuse_file_info& info);
    void flush(fuse_req_t request, const fuse_file_info& info);
    void changeAttributes(fuse_req_t request, fuse_ino_t whole, const struct stat& wanted,
                          int which);
    void rename(fuse_req_t request, fuse_ino_t parent, const std::string& name,
                fuse_ino_t newParent, const std::string& newName, unsigned flags);
    void unlink(fuse_req_t request, fuse_ino_t parent, const std::string& name);
    void makeFolder(fuse_req_t request, fuse_ino_t parent, const std::string& name);
    void removeFolder(fuse_req_t request, fuse_ino_t parent, const std::string& name);
    void listStreams(fuse_req_t request, fuse_ino_t whole, std::size_t size);
    void readStream(fuse_req_t request, fuse_ino_t whole, const std::string& name,
                    std::size_t size);
    void writeStream(fuse_req_t request, fuse_ino_t whole, const std::string& name,
                     const std::string& text);

private:
    using FolderPointer = std::shared_ptr<const Folder>;
    using WithFolder = std::function<void(fuse_req_t request, const FolderPointer& folder)>;
    using WithFrame = std::function<void(fuse_req_t request, const frames::FileBytes& file)>;
    using Answer = std::function<void(fuse_req_t request)>;
    using Ask = std::function<lantrix::Failure(lantrix::Connection& connection, int& error)>;
    struct OpenFolder;
    struct OpenFile {
        FileNumber number;
        FolderPointer folder;           // as it was when the file was opened
        Nodes::Clock::time_point since; // a frame is as it was then, or newer
        Drafts::Pointer draft;          // null for what is only read
        bool isWriting = false;
        std::atomic<bool> wasRead{false};
    };
    class Entries;

    // How it is answered.
    void ask(fuse_req_t request, Ask question, Answer answer);
    void withFolder(fuse_req_t request, const Nodes::Pointer& node, WithFolder answer);
    void withFolder(fuse_req_t request, fuse_ino_t number, WithFolder answer);
    void withFrame(fuse_req_t request, const OpenFile& file, WithFrame answer);
    void noteConnection(const lantrix::Failure& failure);
    [[nodiscard]] struct stat attributes(FileNumber number, const Folder* folder) const;
    [[nodiscard]] fuse_entry_param entry(FileNumber number, const Folder* folder) const;
    [[nodiscard]] struct stat attributes(const Draft& draft) const;
    [[nodiscard]] fuse_entry_param entry(const Draft& draft) const;
    [[nodiscard]] double believed() const;

    // How files are changed.
    [[nodiscard]] std::optional<int> frameOfName(std::uint32_t folder, const Clip& clip,
                                                 const std::string& name) const;
    [[nodiscard]] Drafts::Pointer newDraft(std::uint32_t number, const Folder& folder,
                                           const std::string& name);
    [[nodiscard]] std::uint64_t addFile(FileNumber number, const FolderPointer& folder,
                                        const Drafts::Pointer& draft, const fuse_file_info& info);
    void closeFile(std::uint64_t handle);
    void openFrame(fuse_req_t request, FileNumber number, const FolderPointer& folder,
                   const fuse_file_info& info);
    void openDraft(fuse_req_t request, const FolderPointer& folder, const Drafts::Pointer& draft,
                   const fuse_file_info& info);
    void store(fuse_req_t request, const Drafts::Pointer& draft, int index,
               const FolderPointer& folder, Answer answer);
    void renameDraft(fuse_req_t request, const Drafts::Pointer& draft, const FolderPointer& folder,
                     const std::string& name, bool isReplacing);

    const MountOptions options_;
    const timespec mountedAt_;
    const uid_t user_ = ::getuid(); // asked once, not for each file of a list
    const gid_t group_ = ::getgid();
    Nodes nodes_;
    Drafts drafts_;
    std::mutex appending_; // held while a clip is made longer
    Requests requests_;
    Handles<OpenFolder> folders_;
    Handles<OpenFile> files_;
    std::atomic<bool> isAway_{false};  // the server
    Nodes::Clock::time_point dropped_; // when what is old was let go
    lantrix::Pool questions_;
    lantrix::Pool framePool_;
    frames::FrameCache frames_;
    lantrix::WorkGroup asking_; // last: ends first
};

} // namespace mounted

#endif
