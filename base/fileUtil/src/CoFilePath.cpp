#include "base/fileUtil/src/CoFilePath.h"

#include "base/loggerBase/src/CoException.h"
#include "base/loggerBase/src/CoText.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include <libgen.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* const source = "base/fileUtil/src/CoFilePath";
constexpr int sizeLine = 190, renameLine = 227;

// basename(3) and dirname(3) change the text that they are given and may point into it.
std::string componentOf(std::string path, char* (*component)(char*)) {
    return component(path.data());
}

// Buffers of threads need no destruction: destructors of static objects still find them. They hold
// what the system takes for a path; what is longer is cut.
using ComponentBuffer = char[PATH_MAX];

const char* keptIn(ComponentBuffer& buffer, const std::string& component) {
    buffer[component.copy(buffer, sizeof buffer - 1)] = '\0';
    return buffer;
}

} // namespace

CoFilePath::CoFilePath(const char* path, const char* part2, const char* part3)
    : path_(coTextOrEmpty(path)) {
    concatenate(part2);
    concatenate(part3);
}

CoFilePath::~CoFilePath() = default;

void CoFilePath::failWithErrno(int line, const char* file) {
    throw CoException(errnoString().c_str(), line, file);
}

void CoFilePath::concatenate(const char* part) {
    if (part == nullptr)
        return;
    const std::string addition(isPathSeparator(*part) ? part + 1
                                                      : part); // may be of the path itself
    if (!path_.empty() && !isPathSeparator(path_.back()))
        path_ += pathSeparator();
    path_ += addition;
}

const char* CoFilePath::baseName() const {
    thread_local ComponentBuffer buffer;
    return keptIn(buffer, componentOf(path_, ::basename));
}

const char* CoFilePath::directoryName() const {
    thread_local ComponentBuffer buffer;
    return keptIn(buffer, componentOf(path_, ::dirname));
}

std::string CoFilePath::extension() const {
    const std::string base = componentOf(path_, ::basename);
    const auto dot = base.rfind('.');
    return dot == std::string::npos || dot == 0 ? std::string() : base.substr(dot + 1);
}

void CoFilePath::pruneExtension() {
    const auto dot = path_.rfind('.');
    if (dot != std::string::npos && dot > 0)
        path_.resize(dot);
}

bool CoFilePath::isAbsolute() const {
    return !path_.empty() && isPathSeparator(path_[0]);
}

bool CoFilePath::pathContainsInvalidChars() const {
    return path_.find_first_of(invalidChars()) != std::string::npos;
}

void CoFilePath::genericPath(std::string& out) const {
    out = path_;
    std::replace(out.begin(), out.end(), '\\', pathSeparator());
}

void CoFilePath::setGenericPath(const CoFilePath& other) {
    std::string generic;
    other.genericPath(generic);
    path_ = std::move(generic);
}

void CoFilePath::clean() {
    std::string cleaned;
    for (std::size_t i = 0; i < path_.size(); ++i) {
        if (path_.compare(i, 2, "//") == 0)
            continue;
        if (path_.compare(i, 3, "/./") == 0)
            ++i; // drops the slash and the dot; the second slash is looked at next
        else
            cleaned += path_[i];
    }
    path_ = std::move(cleaned);
}

// The name that begins at a position and ends at the next slash.
std::string CoFilePath::nameAt(std::string::size_type position) const {
    return path_.substr(position, path_.find(pathSeparator(), position) - position);
}

void CoFilePath::expand() {
    CoFilePath expanded;
    for (std::size_t i = 0; i < path_.size(); ++i) {
        const bool isHome = path_[i] == '~';
        const std::string name = isHome || path_[i] == '$' ? nameAt(i + 1) : std::string();
        if (!isHome && name.empty()) {
            expanded.path_ += path_[i];
            continue;
        }
        expanded.path_ += isHome ? homeOf(name) : valueOf(name);
        i += name.size();
    }
    expanded.clean();
    path_ = std::move(expanded.path_);
}

std::string CoFilePath::freePath(const std::string& directory, const std::string& name) const {
    const auto dot = name.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot > 0;
    const std::string stem = directory + "/" + (hasExtension ? name.substr(0, dot) : name);
    const bool isDotOnly = hasExtension && dot + 1 == name.size(); // an empty extension is none
    const std::string ending = hasExtension && !isDotOnly ? name.substr(dot) : std::string();
    for (int n = 1;; ++n) {
        std::string candidate = stem + "_" + std::to_string(n) + ending;
        if (!CoFilePath(candidate.c_str()).exists())
            return candidate;
    }
}

void CoFilePath::uniquePath() {
    expand();
    if (exists())
        path_ = freePath(componentOf(path_, ::dirname), componentOf(path_, ::basename));
}

bool CoFilePath::exists() const {
    return ::access(path(), F_OK) == 0;
}

CoFilePath::Type CoFilePath::type() const {
    struct stat status {};
    if (::stat(path(), &status) != 0)
        return OtherType;
    if (S_ISREG(status.st_mode))
        return RegularFile;
    return S_ISDIR(status.st_mode) ? Directory : OtherType;
}

bool CoFilePath::isSymLink() const {
    struct stat status {};
    return ::lstat(path(), &status) == 0 && S_ISLNK(status.st_mode);
}

std::int64_t CoFilePath::size() const {
    struct stat status {};
    if (::stat(path(), &status) != 0)
        failWithErrno(sizeLine, source);
    return status.st_size;
}

void CoFilePath::renameTo(const CoFilePath& target) {
    if (::rename(path(), target.path()) != 0)
        failWithErrno(renameLine, source);
    path_ = target.path_;
}

std::string CoFilePath::homeDir() {
    const char* const home = std::getenv("HOME");
    return home != nullptr ? home : tempDir();
}

std::string CoFilePath::errnoString() {
    char text[256] = "";
    return coErrorText(errno, text, sizeof text);
}
