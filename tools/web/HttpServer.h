// Requests of browsers, and replies: HTTP as cpp-httplib speaks it, on connections with limits, so
// that those who are slow, silent or hostile take nothing from others.
// Owns its threads: one that accepts, and one for each connection, up to a bound. When all are
// taken, the connection that has kept its thread waiting for longest ends for a new one; when none
// does, the new one waits, and when too many wait, it is answered with 503. Failures of listening
// are thrown as Failure.
#ifndef TOOLS_WEB_HTTPSERVER_H
#define TOOLS_WEB_HTTPSERVER_H

#include "tools/web/Peer.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tool {

struct HttpRequest {
    std::string method; ///< "GET" and the like.
    std::string path;   ///< From the first slash on, decoded, without the arguments.
    std::multimap<std::string, std::string> arguments; ///< Decoded.
    std::multimap<std::string, std::string> headers;   ///< By their names in small letters.
    const Peer& peer;                                  ///< As long as the request is answered.
};

struct HttpReply {
    using Headers = std::vector<std::pair<std::string, std::string>>;
    /// Sends a piece; false when nobody reads it.
    using Send = std::function<bool(const std::string& piece)>;

    int status = 200;
    std::string type; ///< Of the body, in MIME's words.
    std::string body;
    Headers headers;
    /// Instead of the body, where it is not null: called to send it by pieces. Must not throw.
    std::function<void(const Send& send)> pieces;
};

class HttpServer {
public:
    /// Called in the connections' threads.
    using Answer = std::function<HttpReply(const HttpRequest& request)>;

    /// Takes the port of the address, which is numeric; one of the system's choice for 0. Each
    /// reply has \p headers.
    HttpServer(const std::string& address, int port, const HttpReply::Headers& headers);
    /// Ends all connections and waits for the answers under way.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    [[nodiscard]] int port() const;
    /// Begins to answer; once.
    void start(Answer answer);

private:
    class Listening;
    std::unique_ptr<Listening> listening_; // never null
};

} // namespace tool

#endif
