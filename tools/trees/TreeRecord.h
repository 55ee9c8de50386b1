// What is known of a clip, or of a folder, beside its files: of which clip they were the same as,
// the files' sizes and times then, the format, which not every kind of file tells, and metadata
// streams. Plain values, kept as JSON. A record that is damaged is none. Failures to write are
// thrown as image::Error.
#ifndef TOOLS_TREES_TREERECORD_H
#define TOOLS_TREES_TREERECORD_H

#include "lantrix/LantrixTypes.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace tool {

/// Changes when a file does.
struct FileStamp {
    std::uint64_t size = 0;
    std::int64_t time = 0; ///< In the file system's own unit.
    bool operator==(const FileStamp& other) const {
        return size == other.size && time == other.time;
    }
};
/// None when there is no such file.
[[nodiscard]] std::optional<FileStamp> stampOf(const std::string& file);

struct TreeRecord {
    std::string type;                        ///< The server's name for its kind.
    std::string place;                       ///< Where the clip was that had the same frames.
    std::optional<LantrixClipFormat> format; ///< Of a clip.
    int frames = 0;                          ///< Of a clip.
    std::string pattern;                     ///< Of a clip: the name of its files.
    std::map<int, FileStamp> same;           ///< Files of the frames that were the same.
    std::map<std::string, std::string> streams;
};

/// None when there is none that can be read.
[[nodiscard]] std::optional<TreeRecord> readRecord(const std::string& file);
/// Replaces the file when it is written, and makes its folder.
void writeRecord(const std::string& file, const TreeRecord& record);

/// The folder of records in a folder.
[[nodiscard]] std::string recordFolder(const std::string& folder);
/// The file of the record of a clip, by the name of its files, and of the folder itself.
[[nodiscard]] std::string clipRecord(const std::string& folder, const std::string& fileName);
[[nodiscard]] std::string folderRecord(const std::string& folder);

} // namespace tool

#endif
