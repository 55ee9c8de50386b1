#include "devserver/DevFolder.h"

#include "devserver/DevError.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const char* verb, const std::string& name) {
    const int error = errno;
    const std::string text = devSystemText(std::string("Can't ") + verb + " '" + name + "'", error);
    if (error == EMFILE || error == ENFILE)
        throw DevNoDescriptors(text);
    throw DevError(text);
}

DevDescriptor opened(int descriptor, const std::string& name) {
    if (descriptor < 0)
        fail("open", name);
    return DevDescriptor(descriptor);
}

struct CloseDirectory {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

// A list that a failure cuts short must not pass for a whole one: what is missing in it would be
// taken for lost.
const dirent* nextEntry(DIR* directory) {
    errno = 0;
    const dirent* const entry = ::readdir(directory);
    if (entry == nullptr && errno != 0)
        fail("list the folder", ".");
    return entry;
}

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
// Non-blocking, so that a pipe in a file's place can't hold the server up.
constexpr int fileFlags = O_RDONLY | O_NONBLOCK | O_CLOEXEC;
constexpr mode_t folderMode = 0777;
constexpr mode_t fileMode = 0666;

} // namespace

DevDescriptor::DevDescriptor(DevDescriptor&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

DevDescriptor& DevDescriptor::operator=(DevDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

DevDescriptor::~DevDescriptor() {
    if (isOpen())
        ::close(descriptor_);
}

std::uint64_t devFileSize(const DevDescriptor& file, const std::string& name) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0)
        fail("examine", name);
    if (!S_ISREG(status.st_mode))
        throw DevError("'" + name + "' is not a regular file.");
    return static_cast<std::uint64_t>(status.st_size);
}

void devReadAt(const DevDescriptor& file, char* data, std::size_t size, std::size_t offset) {
    while (size > 0) {
        const ssize_t count = ::pread(file.get(), data, size, static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw DevError(devSystemText("Can't read a file", errno));
        if (count == 0)
            throw DevError("A file became shorter while it was read.");
        data += count;
        size -= static_cast<std::size_t>(count);
        offset += static_cast<std::size_t>(count);
    }
}

// Systems read ahead only so much at one request. One that takes none reads the file when it is
// sent.
void devReadAhead([[maybe_unused]] const DevDescriptor& file, [[maybe_unused]] std::size_t size) {
#ifdef POSIX_FADV_WILLNEED
    constexpr std::size_t step = std::size_t{128} << 10;
    for (std::size_t done = 0; done < size; done += step)
        ::posix_fadvise(file.get(), static_cast<off_t>(done), step, POSIX_FADV_WILLNEED);
#endif
}

void devFlush(const DevDescriptor& file) {
    while (::fsync(file.get()) != 0)
        if (errno != EINTR)
            throw DevError(devSystemText("Can't flush to the disk", errno));
}

bool devLock(const DevDescriptor& file) {
    if (::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
        return true;
    if (errno != EWOULDBLOCK)
        throw DevError(devSystemText("Can't lock the directory", errno));
    return false;
}

void devWrite(const DevDescriptor& file, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(file.get(), data, size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw DevError(devSystemText("Can't write to the disk", errno));
        data += count;
        size -= static_cast<std::size_t>(count);
    }
}

DevDescriptor devOpenFile(const std::string& path) {
    DevDescriptor file = opened(::open(path.c_str(), fileFlags), path);
    (void)devFileSize(file, path);
    return file;
}

DevFolder DevFolder::open(const std::string& path) {
    return DevFolder(opened(::open(path.c_str(), folderFlags), path));
}

DevFolder DevFolder::folder(const std::string& name) const {
    const int descriptor = ::openat(descriptor_.get(), name.c_str(), folderFlags | O_NOFOLLOW);
    return DevFolder(opened(descriptor, name));
}

void DevFolder::makeFolder(const std::string& name) const {
    if (::mkdirat(descriptor_.get(), name.c_str(), folderMode) != 0 && errno != EEXIST)
        fail("make the folder", name);
}

DevDescriptor DevFolder::openFile(const std::string& name) const {
    const int descriptor = ::openat(descriptor_.get(), name.c_str(), fileFlags | O_NOFOLLOW);
    if (descriptor < 0 && errno == ENOENT)
        return DevDescriptor();
    DevDescriptor file = opened(descriptor, name);
    (void)devFileSize(file, name);
    return file;
}

DevDescriptor DevFolder::createFile(const std::string& name) const {
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    return opened(::openat(descriptor_.get(), name.c_str(), flags, fileMode), name);
}

std::optional<std::string> DevFolder::read(const std::string& name, std::size_t most) const {
    const DevDescriptor file = openFile(name);
    if (!file.isOpen())
        return std::nullopt;
    const std::uint64_t size = devFileSize(file, name);
    if (size > most)
        throw DevError("'" + name + "' is larger than " + std::to_string(most) + " bytes.");
    std::string contents(static_cast<std::size_t>(size), '\0');
    devReadAt(file, contents.data(), contents.size(), 0);
    return contents;
}

void DevFolder::move(const std::string& name, const DevFolder& target,
                     const std::string& targetName) const {
    if (::renameat(descriptor_.get(), name.c_str(), target.descriptor_.get(), targetName.c_str()) !=
        0)
        fail("write", targetName);
}

void DevFolder::moveBeside(const std::string& name, const DevFolder& target,
                           const std::string& targetName) const {
    std::string free = targetName;
    for (int i = 2; target.holds(free); ++i)
        free = targetName + "." + std::to_string(i);
    move(name, target, free);
}

bool DevFolder::holds(const std::string& name) const {
    struct stat status {};
    return ::fstatat(descriptor_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 ||
           errno != ENOENT;
}

std::optional<std::uint64_t> DevFolder::fileSize(const std::string& name) const {
    struct stat status {};
    if (::fstatat(descriptor_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(status.st_mode))
        return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

bool DevFolder::isWritable() const {
    return ::faccessat(descriptor_.get(), ".", W_OK, AT_EACCESS) == 0;
}

void DevFolder::remove(const std::string& name) const {
    constexpr int deepest = 16;
    removeAtDepth(name, deepest);
}

void DevFolder::removeAtDepth(const std::string& name, int depth) const {
    if (::unlinkat(descriptor_.get(), name.c_str(), 0) == 0 || errno == ENOENT)
        return;
    // Systems differ in what they say of a folder.
    if ((errno != EISDIR && errno != EPERM) || depth == 0)
        fail("remove", name);
    {
        const DevFolder removed = folder(name);
        for (const std::string& entry : removed.names())
            removed.removeAtDepth(entry, depth - 1);
    }
    if (::unlinkat(descriptor_.get(), name.c_str(), AT_REMOVEDIR) != 0)
        fail("remove", name);
}

std::vector<std::string> DevFolder::names() const {
    DevDescriptor folder = opened(::openat(descriptor_.get(), ".", folderFlags), ".");
    const std::unique_ptr<DIR, CloseDirectory> directory(::fdopendir(folder.get()));
    if (directory == nullptr)
        fail("list the folder", ".");
    folder.release();
    std::vector<std::string> names;
    while (const dirent* const entry = nextEntry(directory.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    return names;
}

DevDescriptor DevFolder::lock(const std::string& name) const {
    const int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
    DevDescriptor file = opened(::openat(descriptor_.get(), name.c_str(), flags, fileMode), name);
    return devLock(file) ? std::move(file) : DevDescriptor();
}

DevDescriptor DevFolder::lockItself() const {
    DevDescriptor folder = opened(::openat(descriptor_.get(), ".", folderFlags), ".");
    return devLock(folder) ? std::move(folder) : DevDescriptor();
}

DevAside::~DevAside() {
    if (name_.empty())
        return;
    try {
        parent_.remove(name_);
    } catch (const std::exception&) {
        // What stays aside is removed when the directory is next opened.
    }
}

void DevAside::moveTo(const DevFolder& target, const std::string& targetName) {
    parent_.move(name_, target, targetName);
    name_.clear();
}

DevAsideFile::DevAsideFile(const DevFolder& parent, std::string name)
    : DevAside(parent, std::move(name)), file_(parent.createFile(name_)) {}

void DevAsideFile::write(const char* data, std::size_t size) {
    devWrite(file_, data, size);
}

DevAsideFolder::DevAsideFolder(const DevFolder& parent, std::string name)
    : DevAside(parent, std::move(name)) {
    parent.makeFolder(name_);
}
