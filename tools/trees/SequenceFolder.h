// What is in one local folder: folders, and image sequences "NAME.####.EXT", each of which is a
// clip. Links to folders and hidden files are left alone. Reads names, and of each clip one file
// and its record. Failures are thrown as Failure and image::Error.
#ifndef TOOLS_TREES_SEQUENCEFOLDER_H
#define TOOLS_TREES_SEQUENCEFOLDER_H

#include "tools/trees/Tree.h"
#include "tools/trees/TreeRecord.h"

#include <map>

namespace tool {

class SequenceFolder {
public:
    /// Looks into the folder.
    SequenceFolder(std::string folder, TreeRules rules);

    [[nodiscard]] const std::string& folder() const { return folder_; }
    /// Names of folders in it.
    [[nodiscard]] const std::set<std::string>& folders() const { return folders_; }
    /// Names of files that are not frames.
    [[nodiscard]] const std::vector<std::string>& others() const { return others_; }
    /// The clips' names as their files have them; those whose records say that they have no frames
    /// are among them.
    [[nodiscard]] std::set<std::string> clipNames() const;

    /// The clip of a sequence that is to be moved.
    [[nodiscard]] TreeItem source(const TreePath& path, const std::string& fileName) const;
    /// The clip whose files may be replaced.
    [[nodiscard]] TreeItem target(const TreePath& path, const std::string& fileName) const;
    /// All files of the clip, of whatever kind.
    [[nodiscard]] std::vector<std::string> filesOf(const std::string& fileName) const;

private:
    void take(const std::string& name);
    [[nodiscard]] std::vector<std::string> patternsOf(const std::string& fileName) const;
    [[nodiscard]] std::string path(const std::string& name) const { return folder_ + "/" + name; }
    [[nodiscard]] TreeItem item(const TreePath& path, const std::string& fileName,
                                const std::optional<TreeRecord>& record) const;
    void describe(TreeItem& clip, const std::optional<TreeRecord>& record) const;
    void markKnown(TreeItem& clip, const TreeRecord& record) const;

    const std::string folder_;
    const TreeRules rules_;
    std::set<std::string> folders_;
    std::vector<std::string> others_;
    using Ends = std::pair<std::string, std::string>;          // of a name, around its number
    std::map<std::string, std::map<Ends, std::size_t>> clips_; // the least digits of a number
};

/// True when the files of this name hold the bytes of frames.
[[nodiscard]] bool isRawName(const std::string& pattern, const TreeRules& rules);
/// The name of the files that a clip becomes: images, or raw bytes where the rules ask for them, or
/// keep records and nothing else can hold the frames.
[[nodiscard]] std::string patternFor(const std::string& fileName, const LantrixClipFormat& format,
                                     const TreeRules& rules);

} // namespace tool

#endif
