// The server's directory: "nodes" has a folder for each node, with its description and one file per
// frame; "aside" is where files are written before they take their final name in one step, and
// where destroyed nodes wait for their removal; "lost" is where nodes go whose parent is missing.
// So a kill at any moment leaves everything whole that was acknowledged, and no half of anything
// under a final name. What must outlast a loss of power is flushed as DevSync says.
// Owns the directory, by a lock in it. Any thread; a caller that changes one node in two threads
// at once decides the order itself. Failures are DevError with the system's text.
#ifndef DEVSERVER_DEVSTORAGE_H
#define DEVSERVER_DEVSTORAGE_H

#include "devserver/DevFolder.h"
#include "devserver/DevLog.h"
#include "devserver/DevNode.h"
#include "devserver/DevServerOptions.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

class DevStorage {
public:
    using Numbers = std::vector<std::uint64_t>; // ascending

    /// Opens or makes the directory. Refuses one that another server has open, and one that is
    /// neither empty nor a server's. One that can't be written is served read-only, with a line in
    /// the log.
    DevStorage(const std::string& root, DevSync sync, const DevLog& log);

    /// Of the directory: absolute and without links.
    [[nodiscard]] const std::string& path() const { return path_; }
    /// Made at random with the directory, and kept in it.
    [[nodiscard]] const std::string& storageId() const { return storageId_; }
    [[nodiscard]] bool isReadOnly() const { return readOnly_; }

    /// The nodes that have a folder, that are being destroyed, and that have no parent.
    [[nodiscard]] Numbers nodes() const { return numbersIn(nodes_); }
    [[nodiscard]] Numbers destroyed() const;
    [[nodiscard]] Numbers lost() const { return numbersIn(lost_); }
    /// What is left in "aside" of writes and destructions that were cut short.
    [[nodiscard]] std::vector<std::string> unfinished() const;

    /// A number that no node ever had.
    [[nodiscard]] std::uint64_t takeNumber();
    /// Sees to it that neither \p number nor a smaller one is taken.
    void leaveOut(std::uint64_t number);

    [[nodiscard]] DevNode read(std::uint64_t number) const;
    [[nodiscard]] DevNode readLost(std::uint64_t number) const;
    void add(std::uint64_t number, const DevNode& node);
    void save(std::uint64_t number, const DevNode& node);
    void lose(std::uint64_t number);
    /// Makes room for another root.
    void loseRoot();
    void bringBack(std::uint64_t number);
    /// Takes a node away from the others; removeAside() frees its space later. One that is not
    /// there is fine.
    void setAside(std::uint64_t number);
    /// Makes sure that what was set aside stays there.
    void flushAside() const;
    void removeAside(const std::string& name) const { aside_.remove(name); }

    /// A file to write a frame's new contents to; storeFrame() puts it in its place.
    [[nodiscard]] DevAsideFile newFrameFile();
    /// Before storeFrame(), and without a lock around it: a frame may take its time.
    void flushFrame(DevAsideFile& file) const;
    void storeFrame(std::uint64_t node, std::size_t index, DevAsideFile& file);
    /// Not open when the frame was never written.
    [[nodiscard]] DevDescriptor openFrame(std::uint64_t node, std::size_t index) const;
    /// Removes the files of frames that the clip doesn't have, or has with another size; what is
    /// in a frame's place and is no file goes to "lost".
    void sweep(std::uint64_t number, const DevNode& node) const;

private:
    [[nodiscard]] static Numbers numbersIn(const DevFolder& folder);
    [[nodiscard]] static DevNode readIn(const DevFolder& folder, std::uint64_t number);
    void takeDirectory();
    void openStorage();
    void saveStorage(std::uint64_t reserved) const;
    void checkWritable() const;
    [[nodiscard]] DevFolder folderOf(std::uint64_t number) const;
    [[nodiscard]] std::string asideName();
    void flush(const DevFolder& folder) const;
    void writeDescription(DevAsideFile& file, const DevNode& node) const;
    void moveNode(std::uint64_t number, const DevFolder& from, const DevFolder& to) const;

    const std::string path_;
    const DevSync sync_;
    const DevLog& log_;
    DevFolder root_;
    DevDescriptor lock_;
    DevFolder nodes_;
    DevFolder aside_;
    DevFolder lost_;
    bool readOnly_ = false;
    std::string storageId_;
    std::atomic<std::uint64_t> asideCount_{0};

    std::mutex mutex_;                 // guards the numbers
    std::uint64_t nextNumber_ = 1;     // never given to a node yet
    std::uint64_t reservedNumber_ = 1; // all numbers below are taken, as far as the disk knows
};

#endif
