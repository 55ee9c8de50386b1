// The page for looking at a media server: its files, and the answers to what it asks.
// Owns what it serves from. The constructor listens; failures of that are thrown as Failure.
#ifndef TOOLS_WEB_WEBSERVER_H
#define TOOLS_WEB_WEBSERVER_H

#include "tools/web/FrameQuestions.h"
#include "tools/web/Gate.h"
#include "tools/web/HttpServer.h"
#include "tools/web/NodeQuestions.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace tool {

struct WebOptions {
    std::string listen = "127.0.0.1"; ///< Numeric.
    int port = 0;                     ///< 0: the system's choice.
    std::string target;               ///< The host that connections are made to.
    lantrix::PoolOptions pool;
    std::uint64_t memory = std::uint64_t{512} << 20; ///< For frames.
    WebPlace place;
};

class WebServer {
public:
    explicit WebServer(const WebOptions& options);

    /// "http://ADDRESS:PORT/TOKEN/#/display/path"
    [[nodiscard]] std::string address() const;

private:
    using Answer = std::function<HttpReply(const WebArguments& arguments, const Peer& peer)>;

    [[nodiscard]] std::map<std::string, Answer> answers();
    [[nodiscard]] HttpReply answer(const HttpRequest& request);
    [[nodiscard]] HttpReply answerQuestion(const std::string& name, const HttpRequest& request);
    [[nodiscard]] Json statistics() const;

    const WebOptions options_;
    const std::string token_;
    std::atomic<std::uint64_t> requests_{0};
    Media media_;
    NodeQuestions nodes_;
    FrameQuestions frames_;
    const std::map<std::string, Answer> answers_; // by the names of the questions
    std::optional<Gate> gate_;                    // set before the first request
    HttpServer http_;                             // last: ends first
};

} // namespace tool

#endif
