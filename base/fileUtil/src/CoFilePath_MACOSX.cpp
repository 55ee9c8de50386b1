// The file-system side of CoFilePath: the calls that differ between systems. The file has the name
// that its messages have always given; what it calls is POSIX, so it is built everywhere.
#include "base/fileUtil/src/CoFilePath.h"

#include <cerrno>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* const source = "base/fileUtil/src/CoFilePath_MACOSX";
constexpr int createDirLine = 96, removeDirLine = 107, createFileLine = 123, removeFileLine = 137,
              createLinkLine = 152, workingDirLine = 168, homeLine = 186, variableLine = 204;

mode_t modeBits(std::int32_t allowed, mode_t read, mode_t write, mode_t execute) {
    using Permissions = CoFilePath::Permissions;
    return ((allowed & Permissions::Read) != 0 ? read : 0) |
           ((allowed & Permissions::Write) != 0 ? write : 0) |
           ((allowed & Permissions::Execute) != 0 ? execute : 0);
}

mode_t modeOf(const CoFilePath::Permissions& permissions) {
    return modeBits(permissions.user, S_IRUSR, S_IWUSR, S_IXUSR) |
           modeBits(permissions.group, S_IRGRP, S_IWGRP, S_IXGRP) |
           modeBits(permissions.other, S_IROTH, S_IWOTH, S_IXOTH);
}

} // namespace

void CoFilePath::createDir(const Permissions& permissions) const {
    if (::mkdir(path(), modeOf(permissions)) != 0)
        failWithErrno(createDirLine, source);
}

void CoFilePath::removeDir() const {
    if (::rmdir(path()) != 0)
        failWithErrno(removeDirLine, source);
}

void CoFilePath::createFile(const Permissions& permissions, bool exclusive) const {
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (exclusive ? O_EXCL : 0);
    const int fd = ::open(path(), flags, modeOf(permissions));
    if (fd < 0)
        failWithErrno(createFileLine, source);
    ::close(fd);
}

void CoFilePath::removeFile() const {
    if (::unlink(path()) != 0)
        failWithErrno(removeFileLine, source);
}

void CoFilePath::createLink(const CoFilePath& target, bool symbolic) const {
    const int result = symbolic ? ::symlink(target.path(), path()) : ::link(target.path(), path());
    if (result != 0)
        failWithErrno(createLinkLine, source);
}

std::string CoFilePath::currentWorkingDir() {
    std::vector<char> buffer(256);
    while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
        if (errno != ERANGE)
            failWithErrno(workingDirLine, source);
        buffer.resize(buffer.size() * 2);
    }
    return buffer.data();
}

std::string CoFilePath::homeOf(const std::string& user) {
    if (user.empty())
        return homeDir();
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    int error;
    while ((error = ::getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found)) ==
           ERANGE)
        buffer.resize(buffer.size() * 2);
    if (found != nullptr)
        return found->pw_dir;
    // A user who simply does not exist is reported without an error number.
    errno = error != 0 ? error : ENOENT;
    failWithErrno(homeLine, source);
}

std::string CoFilePath::valueOf(const std::string& variable) {
    const char* const value = std::getenv(variable.c_str());
    if (value != nullptr)
        return value;
    errno = ENOENT;
    failWithErrno(variableLine, source);
}
