// What the page asks about nodes: each question is answered with JSON, as docs/web.md lists it.
// Borrows the media server. Any thread. Failures are thrown as WebFailure.
#ifndef TOOLS_WEB_NODEQUESTIONS_H
#define TOOLS_WEB_NODEQUESTIONS_H

#include "tools/report/Json.h"
#include "tools/web/Media.h"
#include "tools/web/WebArguments.h"

#include <string>

namespace tool {

/// The node that the page shows first, and its server.
struct WebPlace {
    std::string host;   ///< As people call it.
    std::string path;   ///< The display path, or "id=NODE".
    std::string nodeId; ///< The node's.
};

class NodeQuestions {
public:
    NodeQuestions(Media& media, WebPlace place) : media_(media), place_(std::move(place)) {}

    [[nodiscard]] Json about(const Peer& peer);
    [[nodiscard]] Json resolve(const WebArguments& arguments, const Peer& peer);
    [[nodiscard]] Json node(const WebArguments& arguments, const Peer& peer);
    [[nodiscard]] Json children(const WebArguments& arguments, const Peer& peer);
    [[nodiscard]] std::string metadata(const WebArguments& arguments, const Peer& peer);
    [[nodiscard]] Json paths(const WebArguments& arguments, const Peer& peer);
    [[nodiscard]] Json ping(const Peer& peer);
    /// The nodes whose names match, a line of JSON each, as they are found.
    [[nodiscard]] HttpReply search(const WebArguments& arguments, const Peer& peer);

private:
    Media& media_;
    WebPlace place_;
};

} // namespace tool

#endif
