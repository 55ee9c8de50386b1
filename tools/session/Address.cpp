#include "tools/session/Address.h"

#include "tools/report/Failure.h"

#include <clocale>

#include <fnmatch.h>
#include <locale.h>

namespace tool {

std::string Address::path() const {
    if (!nodeId.empty())
        return "id=" + nodeId;
    std::string path;
    for (const std::string& component : components)
        path += "/" + component;
    return path.empty() ? "/" : path;
}

std::string Address::name() const {
    return components.empty() ? "" : components.back();
}

Address Address::parent() const {
    if (components.empty())
        throw Failure(Status::Usage, "'" + text() + "' has no folder above it");
    Address above = *this;
    above.components.pop_back();
    return above;
}

Address Address::child(const std::string& name) const {
    Address below = *this;
    below.nodeId.clear();
    below.components.push_back(name);
    return below;
}

namespace {

constexpr const char* idPrefix = "id=";

// The colon that ends the host: a slash before it makes it part of a path.
std::size_t hostEnd(const std::string& text) {
    const std::size_t colon = text.find(':');
    return colon != std::string::npos && text.find('/') > colon && text.rfind(idPrefix, 0) != 0
               ? colon
               : std::string::npos;
}

std::vector<std::string> splitPath(const std::string& path) {
    std::vector<std::string> components;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (end > start)
            components.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return components;
}

} // namespace

Address parseAddress(const std::string& text, const std::string& defaultHost) {
    Address address;
    const std::size_t colon = hostEnd(text);
    const std::string path = colon == std::string::npos ? text : text.substr(colon + 1);
    address.host = colon == std::string::npos || colon == 0 ? defaultHost : text.substr(0, colon);
    if (path.rfind(idPrefix, 0) == 0) {
        address.nodeId = path.substr(std::char_traits<char>::length(idPrefix));
        if (address.nodeId.empty())
            throw Failure(Status::Usage, "'" + text + "' does not say which node: write id=NODE");
        return address;
    }
    if (!path.empty() && path.front() != '/')
        throw Failure(Status::Usage, "'" + text +
                                         "' is not an address: write /path, HOST:/path, "
                                         "id=NODE or HOST:id=NODE");
    if (path.empty() && colon == std::string::npos)
        throw Failure(Status::Usage, "an address is empty");
    address.components = splitPath(path);
    return address;
}

bool looksLikeAddress(const std::string& text) {
    return hostEnd(text) != std::string::npos || text.rfind(idPrefix, 0) == 0;
}

bool isNamePattern(const std::string& text) {
    return text.find_first_of("*?[") != std::string::npos;
}

bool matchesNamePattern(const std::string& pattern, const std::string& name) {
    // The user's locale may have other characters; names on servers are UTF-8.
    static const locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
    const locale_t before = utf8 != locale_t{} ? ::uselocale(utf8) : locale_t{};
    int result = ::fnmatch(pattern.c_str(), name.c_str(), 0);
    if (before != locale_t{})
        ::uselocale(before);
    if (result != 0 && result != FNM_NOMATCH) // not UTF-8: as bytes
        result = ::fnmatch(pattern.c_str(), name.c_str(), 0);
    return result == 0;
}

void checkNewName(const std::string& name, const std::string& parentId, const std::string& type) {
    if (name.find_first_of(",\n/") != std::string::npos || name.empty())
        throw Failure(Status::Usage, "'" + name +
                                         "' can't be a node's name: it is empty or holds "
                                         "a comma, a line feed or a slash");
    // The library cuts the arguments of a creation at this length, and would cut the name.
    constexpr std::size_t longestArguments = 511;
    const std::size_t quotesAndKind = 6;
    if (parentId.size() + name.size() + type.size() + quotesAndKind > longestArguments)
        throw Failure(Status::Usage, "the name '" + name.substr(0, 40) + "...' is too long");
}

} // namespace tool
