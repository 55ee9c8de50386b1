// One POSIX file path: joining, cleaning, expansion, its components, and the file behind it.
// Owns its text. One thread at a time per object; the texts of baseName and directoryName belong
// to the calling thread.
// What touches the file system throws CoException with the system's text; the rest never fails.
#ifndef BASE_FILEUTIL_COFILEPATH_H
#define BASE_FILEUTIL_COFILEPATH_H

#include "base/CoExport.h"

#include <cstdint>
#include <string>

class CO_EXPORT CoFilePath {
public:
    /// Who may do what: each field is a sum of Read, Write and Execute. The values are not those
    /// of the POSIX digits, to which they are mapped when used.
    struct Permissions {
        enum { Read = 1, Write = 2, Execute = 4 };
        std::int32_t user;
        std::int32_t group;
        std::int32_t other;
    };

    enum Type { RegularFile = 0, Directory = 1, OtherType = 2 };

    /// The path \p path (null is empty), with the further parts, unless null, joined to it.
    CoFilePath(const char* path = nullptr, const char* part2 = nullptr,
               const char* part3 = nullptr);
    CoFilePath(const CoFilePath&) = default;
    CoFilePath& operator=(const CoFilePath&) = default;
    virtual ~CoFilePath();

    /// The path as it stands; valid until it is changed.
    const char* path() const { return path_.c_str(); }

    /// Joins \p part with exactly one slash; no slash is added to an empty path, null does nothing.
    void concatenate(const char* part);
    /// As basename(3) and dirname(3), cut to the system's PATH_MAX. The text is valid until this
    /// thread's next call of the same operation.
    const char* baseName() const;
    const char* directoryName() const;
    /// What follows the last dot of the base name; "" without one, or when it comes first.
    std::string extension() const;
    /// Cuts the path at its last dot from the second character on, wherever in the path it is.
    void pruneExtension();

    bool isAbsolute() const;
    static bool isPathSeparator(char c) { return c == pathSeparator(); }
    /// True when the path holds any of invalidChars().
    bool pathContainsInvalidChars() const;
    /// \p out becomes the path with slashes for backslashes.
    void genericPath(std::string& out) const;
    /// This path becomes the generic form of \p other.
    void setGenericPath(const CoFilePath& other);

    /// Makes one slash of each run of slashes and of "/./". Nothing else is changed.
    void clean();
    /// Puts home directories for "~" and "~name", and values of the environment for "$name", and
    /// cleans the result. A name ends at the next slash; a "$" without one stays. Throws for an
    /// unknown user or variable, and then keeps the path.
    void expand();
    /// Expands, and where something exists under the path, puts "_1", "_2", … behind the name,
    /// before the extension, up to the first under which nothing does.
    void uniquePath();

    /// Whether anything the path leads to exists.
    bool exists() const;
    Type type() const;
    bool isSymLink() const;
    /// The file's size in bytes.
    std::int64_t size() const;
    /// Renames the file; the path becomes the target's.
    void renameTo(const CoFilePath& target);
    void removeFile() const;
    /// Removes an empty directory.
    void removeDir() const;
    /// The permissions are those asked for, less the process's umask.
    void createDir(const Permissions& permissions) const;
    /// Creates an empty file. One that exists is left as it is, or is a failure when \p exclusive.
    void createFile(const Permissions& permissions, bool exclusive) const;
    /// Makes this path a symbolic or a hard link to \p target.
    void createLink(const CoFilePath& target, bool symbolic) const;

    static char pathSeparator() { return '/'; }
    static const char* invalidChars() { return "*?,;"; }
    static const char* rootDir() { return "/"; }
    static const char* tempDir() { return "/var/tmp"; }
    /// The value of HOME, or tempDir() without one.
    static std::string homeDir();
    static std::string currentWorkingDir();
    /// The system's text for errno.
    static std::string errnoString();

private:
    std::string nameAt(std::string::size_type position) const;
    std::string freePath(const std::string& directory, const std::string& name) const;
    static std::string homeOf(const std::string& user);
    static std::string valueOf(const std::string& variable);
    [[noreturn]] static void failWithErrno(int line, const char* file);

    std::string path_;
};

#endif
