// A directory for the files of one test, benchmark or soak.
// Owns it: it is removed with the object, whatever is in it. Failures are thrown.
#ifndef TESTS_SUPPORT_SCRATCHDIRECTORY_H
#define TESTS_SUPPORT_SCRATCHDIRECTORY_H

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include <stdlib.h>

class ScratchDirectory {
public:
    /// An empty directory below \p parent, by default the system's place for temporary files.
    explicit ScratchDirectory(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path())
        : path_(parent / "lantrix-XXXXXX") {
        if (::mkdtemp(path_.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), path_);
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

#endif
