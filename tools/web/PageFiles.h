// The files of the page, which the build puts into the program (cmake/PageFiles.cmake).
#ifndef TOOLS_WEB_PAGEFILES_H
#define TOOLS_WEB_PAGEFILES_H

#include <string_view>
#include <vector>

namespace tool {

struct PageFile {
    std::string_view name;
    std::string_view type; ///< In MIME's words.
    std::string_view bytes;
};

[[nodiscard]] const std::vector<PageFile>& pageFiles();

} // namespace tool

#endif
