// Files that are being written in clips' folders: kept in memory, within a bound, until they are
// stored as frames, or go.
// Any thread.
#ifndef MOUNT_DRAFTS_H
#define MOUNT_DRAFTS_H

#include "image/SampleFormat.h"
#include "mount/Nodes.h"

#include <atomic>
#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace mounted {

/// One file. Its lock guards all but the number.
struct Draft {
    Draft(FileNumber itsNumber, std::string itsName, std::optional<int> itsIndex)
        : number(itsNumber), name(std::move(itsName)), index(itsIndex) {}

    const FileNumber number;
    mutable std::mutex mutex;
    std::string name;
    std::optional<int> index; ///< Of the frame that it is to be.
    image::Bytes bytes;
    std::uint64_t changes = 0; ///< How often it was written to,
    std::uint64_t stored = 0;  ///< how often when it was stored,
    std::uint64_t refused = 0; ///< and how often when it was no image of its clip.
    unsigned open = 0;         ///< By how many handles.
    bool isKept = true;        ///< Until it is taken out.
    timespec changed{};

    [[nodiscard]] bool isUnstored() const { return changes != stored; }
    [[nodiscard]] bool wasRefused() const {
        const std::lock_guard<std::mutex> lock(mutex);
        return isRefused();
    }
    [[nodiscard]] std::string shownName() const {
        const std::lock_guard<std::mutex> lock(mutex);
        return name;
    }
    /// Until it is written to again, the frame is as it was.
    [[nodiscard]] bool isRefused() const { return refused != 0 && refused == changes; }
    /// False when the frame says all that there is to say.
    [[nodiscard]] bool isShown() const { return (stored == 0 || isUnstored()) && !isRefused(); }
};

class Drafts {
public:
    using Pointer = std::shared_ptr<Draft>;

    /// Holds \p memory bytes at most, in all files together.
    explicit Drafts(std::uint64_t memory) : memory_(memory) {}

    /// A file that is not a frame yet, or for good; null when the name is taken.
    [[nodiscard]] Pointer make(std::uint32_t folder, const std::string& name,
                               std::optional<int> index);
    /// The file of a frame that is there or comes next; made when there is none, or one that was
    /// refused.
    [[nodiscard]] Pointer ofFrame(FileNumber number, const std::string& name);
    /// Null when there is no such file that is shown.
    [[nodiscard]] Pointer find(FileNumber number) const;
    [[nodiscard]] Pointer find(std::uint32_t folder, const std::string& name) const;
    /// Those in a folder.
    [[nodiscard]] std::vector<Pointer> in(std::uint32_t folder) const;
    [[nodiscard]] std::vector<Pointer> all() const;
    /// Under the new name there is no other one.
    void rename(const Pointer& draft, const std::string& name);
    /// Takes the file out; whoever has it may use it on.
    void remove(const Pointer& draft);

    /// These return an error number, 0 for none.
    [[nodiscard]] int write(Draft& draft, const char* bytes, std::size_t size,
                            std::uint64_t offset);
    [[nodiscard]] int resize(Draft& draft, std::uint64_t size);
    /// What a frame's file holds already; it is not a change.
    [[nodiscard]] int fill(Draft& draft, const char* bytes, std::size_t size);

    /// What the file held after so many changes is the frame now.
    void setStored(Draft& draft, std::uint64_t changes, FileNumber frame);
    /// When a frame was written, as long as that is known; else \p otherwise.
    [[nodiscard]] timespec time(FileNumber frame, timespec otherwise) const;
    void setTime(FileNumber frame, timespec time);

private:
    using Key = std::pair<std::uint32_t, std::string>;

    static Pointer shown(const Pointer& draft);
    void giveUp(Draft& draft);
    [[nodiscard]] int resizeLocked(Draft& draft, std::uint64_t size);
    [[nodiscard]] bool takeRoom(std::uint64_t before, std::uint64_t size);

    const std::uint64_t memory_;
    std::atomic<std::uint64_t> used_{0};
    mutable std::mutex mutex_; // guards all that follows; taken before a file's
    std::map<fuse_ino_t, Pointer> byNumber_;
    std::map<Key, Pointer> byName_;
    std::map<fuse_ino_t, timespec> times_; // of frames that were written here
    std::uint32_t last_ = 0;
};

} // namespace mounted

#endif
