#include "image/LocalFile.h"

#include "image/Error.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace image {

Descriptor::Descriptor(const std::string& file, int flags)
    : number_(::open(file.c_str(), flags | O_CLOEXEC)) {
    if (number_ < 0)
        failFile("can't open", file, errno);
}

Descriptor::~Descriptor() {
    ::close(number_);
}

namespace {

// As much as there is, at most \p size.
std::size_t readUpTo(int descriptor, char* to, std::size_t size, const std::string& name) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::read(descriptor, to + done, size - done);
        if (count < 0 && errno != EINTR)
            failFile("can't read", name, errno);
        if (count == 0)
            break;
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return done;
}

} // namespace

Bytes readFile(const std::string& file, std::size_t most) {
    const Descriptor input(file, O_RDONLY);
    Bytes bytes(most);
    bytes.resize(readUpTo(input.number(), bytes.data(), most, file));
    return bytes;
}

bool readWholeFile(const std::string& file, char* to, std::size_t size) {
    const Descriptor input(file, O_RDONLY);
    char more = 0;
    return readUpTo(input.number(), to, size, file) == size &&
           readUpTo(input.number(), &more, 1, file) == 0;
}

namespace {

constexpr std::size_t bufferSize = std::size_t{64} << 10;

}

InputBuffer::InputBuffer(int descriptor, std::string name)
    : descriptor_(descriptor), name_(std::move(name)), buffer_(bufferSize) {}

void InputBuffer::fail(const std::string& why) const {
    failFile("can't read", name_, why);
}

bool InputBuffer::isAtEnd() {
    if (next_ < end_)
        return false;
    next_ = 0;
    end_ = 0;
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, buffer_.data(), buffer_.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0)
        failFile("can't read", name_, errno);
    end_ = static_cast<std::size_t>(count);
    return end_ == 0;
}

std::size_t InputBuffer::readUpTo(char* to, std::size_t size) {
    const std::size_t buffered = std::min(size, end_ - next_);
    std::copy_n(&buffer_[next_], buffered, to);
    next_ += buffered;
    if (size - buffered >= buffer_.size()) // large: not by way of the buffer
        return buffered + image::readUpTo(descriptor_, to + buffered, size - buffered, name_);
    std::size_t done = buffered;
    while (done < size && !isAtEnd()) {
        const std::size_t part = std::min(size - done, end_);
        std::copy_n(buffer_.data(), part, to + done);
        next_ = part;
        done += part;
    }
    return done;
}

void InputBuffer::read(char* to, std::size_t size) {
    if (readUpTo(to, size) != size)
        fail("the data has been cut off");
}

void InputBuffer::read(Bytes& bytes, std::size_t size) {
    constexpr std::size_t step = std::size_t{1} << 20;
    requireRoomFor(size, 1);
    bytes.clear();
    bytes.reserve(size); // the system gives the memory when it is written to
    while (bytes.size() < size) {
        const std::size_t done = bytes.size();
        const std::size_t part = std::min(step, size - done);
        bytes.resize(done + part);
        read(&bytes[done], part);
    }
}

std::uint64_t InputBuffer::remaining() const {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode))
        return UINT64_MAX;
    const off_t position = ::lseek(descriptor_, 0, SEEK_CUR);
    const off_t unread = std::max<off_t>(0, status.st_size - position);
    return static_cast<std::uint64_t>(unread) + (end_ - next_);
}

void InputBuffer::requireRoomFor(std::uint64_t size, std::uint64_t ratio) {
    if (remaining() < size / ratio)
        fail("the data has been cut off");
}

void OutputBuffer::write(const char* bytes, std::size_t size) {
    buffer_.insert(buffer_.end(), bytes, bytes + size);
    if (buffer_.size() >= bufferSize)
        flush();
}

void OutputBuffer::flush() {
    writeAll(descriptor_, buffer_, name_);
    buffer_.clear();
}

void writeAll(int descriptor, std::string_view bytes, const std::string& name) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            failFile("can't write", name, errno);
        bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
}

void writeAll(int descriptor, const Bytes& bytes, const std::string& name) {
    writeAll(descriptor, std::string_view(bytes.data(), bytes.size()), name);
}

namespace {

constexpr const char* asidePrefix = ".part-";

// False when another process is just about to remove the file, which it took for a dead one.
bool lockAside(int descriptor) {
    struct stat status {};
    const bool isLocked =
        ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; // else: can't lock
    return isLocked && ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

// The mask can only be asked for by setting another one, which files that other threads make
// meanwhile would have. So that is done once.
mode_t modeOfNewFiles() {
    static const mode_t mask = [] {
        const mode_t found = ::umask(0);
        ::umask(found);
        return found;
    }();
    return 0666 & ~mask;
}

} // namespace

AsideFile::AsideFile(std::string finalName) : finalName_(std::move(finalName)) {
    const std::filesystem::path final(finalName_);
    const std::string ending = "-" + final.filename().string();
    do {
        path_ = (final.parent_path() / (asidePrefix + ("XXXXXX" + ending))).string();
        if (descriptor_ >= 0)
            ::close(descriptor_);
        descriptor_ = ::mkstemps(path_.data(), static_cast<int>(ending.size()));
        if (descriptor_ < 0)
            failFile("can't write", finalName_, errno);
    } while (!lockAside(descriptor_));
    ::fchmod(descriptor_, modeOfNewFiles());
}

AsideFile::~AsideFile() {
    if (!path_.empty())
        ::unlink(path_.c_str());
    ::close(descriptor_);
}

void removeDeadAsideFiles(const std::string& folder) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.path().filename().string().rfind(asidePrefix, 0) != 0 ||
            !entry.is_regular_file(error))
            continue;
        const int descriptor =
            ::open(entry.path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (descriptor < 0)
            continue;
        if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            ::unlink(entry.path().c_str());
        ::close(descriptor);
    }
}

void AsideFile::write(std::string_view bytes) const {
    writeAll(descriptor_, bytes, finalName_);
}

void AsideFile::commit() {
    if (std::rename(path_.c_str(), finalName_.c_str()) != 0)
        failFile("can't write", finalName_, errno);
    path_.clear();
}

} // namespace image
