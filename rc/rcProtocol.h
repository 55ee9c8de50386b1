// What a client and a server have to agree on beside the form of requests and replies: the ports,
// the versions that brought methods, and the form of versions and lists inside a value.
// Constants and pure functions; any thread. Only std::bad_alloc is thrown. Not installed.
#ifndef RC_RCPROTOCOL_H
#define RC_RCPROTOCOL_H

#include <cstddef>
#include <string>
#include <string_view>

namespace rcProtocol {

constexpr unsigned short commandPort = 7549;
constexpr unsigned short framePort = 7550;

/// A method that not every server of protocol 2 knows, and the minor version that brought it.
struct LaterMethod {
    std::string_view name;
    int minor;
};

constexpr LaterMethod laterMethods[] = {
    {"GetFramePaths", 5}, {"SetMetaData", 5},  {"ReadAhead", 5},
    {"SetFramePaths", 6}, {"GetStorageId", 6},
};

/// Whether a server of protocol \p major.\p minor knows \p method, which must be one of the
/// protocol's. False while the version is unknown, which is major 0.
constexpr bool knows(int major, int minor, std::string_view method) {
    int sinceMinor = 0;
    for (const LaterMethod& later : laterMethods)
        if (later.name == method)
            sinceMinor = later.minor;
    return major > 2 || (major == 2 && minor >= sinceMinor);
}

/// A version as replies tell it: two decimal numbers and a blank between them.
inline std::string versionText(int major, int minor) {
    return std::to_string(major) + " " + std::to_string(minor);
}

/// Appends an item to a comma-separated list, which is being built from nothing: an empty list
/// takes it without a comma. Items hold no comma; the first must not be empty.
inline void appendItem(std::string& list, std::string_view item) {
    if (!list.empty())
        list += ',';
    list += item;
}

/// The texts with a comma between each two.
template <class Texts>
std::string joined(const Texts& texts) {
    std::string list;
    const char* separator = "";
    for (const auto& text : texts) {
        list.append(separator).append(text);
        separator = ",";
    }
    return list;
}

/// Calls take(std::string_view) for each piece between the commas of \p list, empty ones
/// included, in order; one empty piece for an empty list.
template <class Take>
void forEachPiece(std::string_view list, Take&& take) {
    for (;;) {
        const std::size_t comma = list.find(',');
        take(list.substr(0, comma));
        if (comma == std::string_view::npos)
            return;
        list.remove_prefix(comma + 1);
    }
}

/// As forEachPiece, without the empty pieces: the items of a list reply.
template <class Take>
void forEachItem(std::string_view list, Take&& take) {
    forEachPiece(list, [&take](std::string_view piece) {
        if (!piece.empty())
            take(piece);
    });
}

} // namespace rcProtocol

#endif
