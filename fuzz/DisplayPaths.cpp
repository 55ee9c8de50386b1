// Display paths: any text resolved through the public handles on a small tree, against a walk over
// its names.
#include "base/fileUtil/src/CoFilePath.h"
#include "fuzz/FakeSocket.h"
#include "fuzz/FuzzInput.h"
#include "lantrix/LantrixClientAPI.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace {

// Every node has the same children; a node's id is its parent's and the child's number.
constexpr std::string_view names[] = {"a", "..", "."};

std::string childrenOf(std::string_view id) {
    std::string list = "ok ";
    for (std::size_t i = 0; i < std::size(names); ++i)
        list.append(id).append(std::to_string(i)).append(",").append(names[i]).append(",");
    return list + "\n";
}

std::string answer(std::string_view request) {
    constexpr std::string_view children = "sync 0 GetChildren ";
    if (request == "sync 0 GetRootNode \n")
        return "ok r\n";
    require(request.substr(0, children.size()) == children && request.back() == '\n');
    request.remove_prefix(children.size());
    return childrenOf(request.substr(0, request.size() - 1));
}

// The id of the node that the names lead to; "" where one of them is unknown.
std::string walk(std::string_view path) {
    std::string id = "r";
    while (!path.empty()) {
        const std::string_view name = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(name.size() + 1, path.size()));
        const auto* const found = std::find(std::begin(names), std::end(names), name);
        if (!name.empty() && found == std::end(names))
            return std::string();
        if (!name.empty())
            id += std::to_string(found - names);
    }
    return id;
}

std::string cleaned(const std::string& text) {
    CoFilePath path(text.c_str());
    path.clean();
    std::string generic;
    path.genericPath(generic);
    return generic;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const LantrixServerHandle server("server");
    static LantrixNodeHandle node;
    FakeSocket::instance().serveEach(answer);
    const std::string_view input = FuzzInput(data, size).text();
    const std::string text(input.substr(0, input.find('\0')));
    const std::string expected = walk(cleaned(text));
    const bool found = LantrixResolveDisplayPath(server, text.c_str(), node);
    require(found == !expected.empty());
    if (found)
        require(node.getNodeId().id() == expected);
    return 0;
}
