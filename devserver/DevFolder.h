// Folders and files of the server's directory, reached by descriptor and single names only: no
// symbolic link inside the directory is followed, so that nothing outside is ever touched.
// Each object owns its descriptor. Const functions may be called from any thread.
// Failures are DevError with the system's text.
#ifndef DEVSERVER_DEVFOLDER_H
#define DEVSERVER_DEVFOLDER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// An open file descriptor, closed by the destructor.
class DevDescriptor {
public:
    DevDescriptor() = default;
    explicit DevDescriptor(int descriptor) : descriptor_(descriptor) {}
    DevDescriptor(DevDescriptor&& other) noexcept;
    DevDescriptor& operator=(DevDescriptor&& other) noexcept;
    ~DevDescriptor();

    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }
    [[nodiscard]] int get() const { return descriptor_; }
    /// Leaves the closing to somebody else.
    void release() { descriptor_ = -1; }

private:
    int descriptor_ = -1;
};

/// The size of an open regular file; DevError for anything else.
[[nodiscard]] std::uint64_t devFileSize(const DevDescriptor& file, const std::string& name);

/// Waits until the file, or folder, is on the disk.
void devFlush(const DevDescriptor& file);

/// Locks an open file or folder for as long as it is open; false when another holds the lock.
[[nodiscard]] bool devLock(const DevDescriptor& file);

/// Writes all of \p data.
void devWrite(const DevDescriptor& file, const char* data, std::size_t size);

/// Opens a regular file at any path for reading, links followed; DevError when there is none.
[[nodiscard]] DevDescriptor devOpenFile(const std::string& path);

/// Reads \p size bytes at \p offset of a file that holds them; DevError when it turns out shorter.
void devReadAt(const DevDescriptor& file, char* data, std::size_t size, std::size_t offset);

/// Tells the system that the first \p size bytes of a file are soon to be read. Does not wait.
void devReadAhead(const DevDescriptor& file, std::size_t size);

class DevFolder {
public:
    /// Not open; only to be assigned to.
    DevFolder() = default;
    /// Opens the folder at \p path, links in the path followed.
    static DevFolder open(const std::string& path);
    [[nodiscard]] bool isOpen() const { return descriptor_.isOpen(); }
    /// Whether files can be made in it.
    [[nodiscard]] bool isWritable() const;

    /// Opens a folder inside this one.
    [[nodiscard]] DevFolder folder(const std::string& name) const;
    /// Makes a folder inside this one; one that is there is fine.
    void makeFolder(const std::string& name) const;

    /// Opens a regular file for reading; not open when there is none of that name.
    [[nodiscard]] DevDescriptor openFile(const std::string& name) const;
    /// Makes a file that is not there yet.
    [[nodiscard]] DevDescriptor createFile(const std::string& name) const;
    /// The whole contents of a file; nothing when there is none of that name. One of more than
    /// \p most bytes is an error.
    [[nodiscard]] std::optional<std::string> read(const std::string& name, std::size_t most) const;
    /// The size of a regular file; nothing for anything else.
    [[nodiscard]] std::optional<std::uint64_t> fileSize(const std::string& name) const;

    /// Renames a file or folder of this folder, in one step, over what \p target has of that name.
    void move(const std::string& name, const DevFolder& target,
              const std::string& targetName) const;
    /// As move(), under another name where \p target has something of that name.
    void moveBeside(const std::string& name, const DevFolder& target,
                    const std::string& targetName) const;
    /// False only when there is surely nothing of that name.
    [[nodiscard]] bool holds(const std::string& name) const;
    /// Removes a file, a link, or a folder with all that is in it, unless its folders are deeper
    /// in each other than ours ever are; what is not there is fine.
    void remove(const std::string& name) const;
    /// All entries but "." and "..", in no order.
    [[nodiscard]] std::vector<std::string> names() const;

    /// Locks the file \p name for the life of the result; not open when another holds the lock.
    [[nodiscard]] DevDescriptor lock(const std::string& name) const;
    /// As lock(), of the folder itself: writes nothing.
    [[nodiscard]] DevDescriptor lockItself() const;
    /// Waits until the names in it are on the disk.
    void flush() const { devFlush(descriptor_); }

private:
    void removeAtDepth(const std::string& name, int depth) const;

    explicit DevFolder(DevDescriptor descriptor) : descriptor_(std::move(descriptor)) {}

    DevDescriptor descriptor_;
};

/// A file or folder that is made aside and takes its final name when it is whole. One that never
/// does is removed by the destructor.
class DevAside {
public:
    DevAside(const DevAside&) = delete;
    DevAside& operator=(const DevAside&) = delete;

    /// Moves it to its place, for a file over what was there.
    void moveTo(const DevFolder& target, const std::string& targetName);

protected:
    /// \p parent must outlive this.
    DevAside(const DevFolder& parent, std::string name) : parent_(parent), name_(std::move(name)) {}
    ~DevAside();

    const DevFolder& parent_;
    std::string name_; // empty once moved
};

class DevAsideFile : public DevAside {
public:
    /// Makes the file \p name in \p parent, which must outlive this.
    DevAsideFile(const DevFolder& parent, std::string name);

    void write(const char* data, std::size_t size);
    /// Waits until what was written is on the disk.
    void flush() { devFlush(file_); }

private:
    DevDescriptor file_;
};

class DevAsideFolder : public DevAside {
public:
    /// Makes the folder \p name in \p parent, which must outlive this.
    DevAsideFolder(const DevFolder& parent, std::string name);

    [[nodiscard]] DevFolder folder() const { return parent_.folder(name_); }
};

#endif
