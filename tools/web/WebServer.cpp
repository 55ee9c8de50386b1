#include "tools/web/WebServer.h"

#include "image/Error.h"
#include "tools/web/NodeFields.h"
#include "tools/web/PageFiles.h"

#include <algorithm>
#include <new>

namespace tool {

namespace {

// Nothing but what this server sends is run, shown or asked, and nobody may put the page into
// theirs or learn its address from it.
const HttpReply::Headers& commonHeaders() {
    static const HttpReply::Headers headers{
        {"Content-Security-Policy",
         "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; "
         "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"Cache-Control", "no-store"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
        {"Permissions-Policy", "camera=(), geolocation=(), microphone=()"}};
    return headers;
}

HttpReply statusAlone(int status) {
    HttpReply reply;
    reply.status = status;
    if (status == 405)
        reply.headers = {{"Allow", "GET, HEAD"}};
    return reply;
}

HttpReply jsonReply(const Json& fields) {
    HttpReply reply;
    reply.type = "application/json; charset=utf-8";
    reply.body = dumpJson(fields);
    return reply;
}

HttpReply failureReply(WebFailure::Kind kind, const std::string& text) {
    HttpReply reply = jsonReply(failureFields(kind, text));
    switch (kind) {
    case WebFailure::Kind::Argument:
        reply.status = 400;
        break;
    case WebFailure::Kind::NotFound:
        reply.status = 404;
        break;
    case WebFailure::Kind::Connection:
    case WebFailure::Kind::Refused:
        reply.status = 502;
        break;
    case WebFailure::Kind::Busy:
        reply.status = 503;
        break;
    }
    return reply;
}

HttpReply fileReply(const std::string& name) {
    const std::vector<PageFile>& files = pageFiles();
    const auto found = std::find_if(files.begin(), files.end(), [&](const PageFile& file) {
        return file.name == (name.empty() ? "index.html" : name);
    });
    if (found == files.end())
        return statusAlone(404);
    HttpReply reply;
    reply.type = found->type;
    reply.body = found->bytes;
    return reply;
}

// All but what addresses may hold as it is, and slashes, which paths are made of.
std::string percentEncoded(const std::string& text) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                             (c >= '0' && c <= '9') ||
                             std::string_view("-._~/=").find(c) != std::string_view::npos;
        if (isPlain)
            encoded += c;
        else
            encoded += {'%', digits[byte >> 4U], digits[byte & 15U]};
    }
    return encoded;
}

} // namespace

WebServer::WebServer(const WebOptions& options)
    : options_(options), token_(randomToken()),
      media_(options.target, options.pool, options.memory), nodes_(media_, options.place),
      frames_(media_), answers_(answers()), http_(options.listen, options.port, commonHeaders()) {
    gate_.emplace(options.listen, http_.port(), token_);
    http_.start([this](const HttpRequest& request) { return answer(request); });
}

std::string WebServer::address() const {
    return "http://" + options_.listen + ":" + std::to_string(http_.port()) + "/" + token_ + "/#" +
           percentEncoded(options_.place.path);
}

std::map<std::string, WebServer::Answer> WebServer::answers() {
    const auto json = [](auto question) -> Answer {
        return [question](const WebArguments& arguments, const Peer& peer) {
            return jsonReply(question(arguments, peer));
        };
    };
    using Arguments = const WebArguments&;
    return {
        {"about", json([this](Arguments, const Peer& peer) { return nodes_.about(peer); })},
        {"resolve", json([this](Arguments arguments, const Peer& peer) {
             return nodes_.resolve(arguments, peer);
         })},
        {"node", json([this](Arguments arguments, const Peer& peer) {
             return nodes_.node(arguments, peer);
         })},
        {"children", json([this](Arguments arguments, const Peer& peer) {
             return nodes_.children(arguments, peer);
         })},
        {"paths", json([this](Arguments arguments, const Peer& peer) {
             return nodes_.paths(arguments, peer);
         })},
        {"ping", json([this](Arguments, const Peer& peer) { return nodes_.ping(peer); })},
        {"statistics", json([this](Arguments, const Peer&) { return statistics(); })},
        {"samples", json([this](Arguments arguments, const Peer& peer) {
             return frames_.samples(arguments, peer);
         })},
        {"search",
         [this](Arguments arguments, const Peer& peer) { return nodes_.search(arguments, peer); }},
        {"metadata",
         [this](Arguments arguments, const Peer& peer) {
             HttpReply reply;
             reply.type = "text/plain; charset=utf-8";
             reply.body = nodes_.metadata(arguments, peer);
             return reply;
         }},
        {"image", [this](Arguments arguments,
                         const Peer& peer) { return frames_.picture(arguments, peer); }},
        {"difference", [this](Arguments arguments,
                              const Peer& peer) { return frames_.difference(arguments, peer); }},
    };
}

HttpReply WebServer::answer(const HttpRequest& request) {
    constexpr std::string_view questions = "api/";
    ++requests_;
    const Gate::Verdict verdict = gate_->judge(request);
    if (verdict.status != 200)
        return statusAlone(verdict.status);
    if (request.method != "GET" && request.method != "HEAD")
        return statusAlone(405);
    if (verdict.name.rfind(questions, 0) != 0)
        return fileReply(verdict.name);
    try {
        return answerQuestion(verdict.name.substr(questions.size()), request);
    } catch (const WebFailure& failure) {
        return failureReply(failure.kind(), failure.what());
    } catch (const image::Error& error) {
        return failureReply(WebFailure::Kind::Argument, error.what());
    } catch (const std::bad_alloc&) {
        return failureReply(WebFailure::Kind::Busy, "there is not enough memory");
    }
}

HttpReply WebServer::answerQuestion(const std::string& name, const HttpRequest& request) {
    const auto found = answers_.find(name);
    if (found == answers_.end())
        throw WebFailure(WebFailure::Kind::NotFound, "there is no question '" + name + "'");
    return found->second(WebArguments(request), request.peer);
}

Json WebServer::statistics() const {
    return {{"requests", requests_.load()},
            {"frames", media_.frameCount()},
            {"bytes", media_.byteCount()},
            {"memory", media_.memory()}};
}

} // namespace tool
