// Names in mounted folders: those of nodes, where a file system can't hold every one that a server
// can, and those of a clip's frames.
// Plain values and functions; any thread. No failures.
#ifndef MOUNT_NAMES_H
#define MOUNT_NAMES_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mounted {

/// The names that the nodes of one folder are shown by. A name is shown as it is when a file system
/// can hold it, no node before it has it, and \p isTaken says no. Of another one, slashes, the dots
/// of "." and "..", and nothing at all become "_", it is cut where it is too long, and ends in the
/// first of "~2", "~3" and so on that makes it the only one.
[[nodiscard]] std::vector<std::string>
shownNames(const std::vector<std::string>& names,
           const std::function<bool(const std::string& name)>& isTaken);

/// The names of a clip's frames: "plate.0042.tif".
class FrameNames {
public:
    FrameNames() = default;
    /// \p stem is cut where the names would be too long; \p first is the number of frame 0.
    FrameNames(const std::string& stem, int first, int count, std::string extension);

    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] std::string name(int index) const;
    /// The index of the frame with this name; none for any other name. \p beyond is the number of
    /// frames behind the last that have names, too.
    [[nodiscard]] std::optional<int> index(const std::string& name, int beyond = 0) const;
    /// The same for names that end like another kind of image file.
    [[nodiscard]] std::optional<int> indexOfAnyKind(const std::string& name, int beyond) const;

private:
    std::string stem_;
    int first_ = 0;
    int count_ = 0;
    std::string extension_;
};

} // namespace mounted

#endif
