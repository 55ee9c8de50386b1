// The names of files and folders in the server's directory, which are the ids on the wire too:
// node 12 is "n12" and its fourth frame "f3" in it, on the wire "n12-f3".
// Stateless; any thread.
#ifndef DEVSERVER_DEVTREENAMES_H
#define DEVSERVER_DEVTREENAMES_H

#include "devserver/DevText.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace DevTreeNames {

constexpr std::uint64_t rootNumber = 0;
constexpr char lock[] = "lock";
constexpr char storage[] = "storage.json";
constexpr char nodes[] = "nodes";
constexpr char aside[] = "aside";
constexpr char lost[] = "lost";
constexpr char frameStart[] = "f";
constexpr char descriptionName[] = "node.json";

inline std::string folderName(std::uint64_t node) {
    return "n" + std::to_string(node);
}

inline std::string frameName(std::size_t index) {
    return frameStart + std::to_string(index);
}

inline std::string frameId(std::uint64_t node, std::size_t index) {
    return folderName(node) + "-" + frameName(index);
}

/// The number of a name that is exactly a letter and that number, written as above.
template <class Integer>
std::optional<Integer> numberIn(std::string_view name, char letter) {
    if (name.size() < 2 || name[0] != letter || (name[1] == '0' && name.size() > 2))
        return std::nullopt;
    return devInteger<Integer>(name.substr(1));
}

} // namespace DevTreeNames

#endif
