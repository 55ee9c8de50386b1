#include "tools/web/NodeQuestions.h"

#include "stream/TreeWalker.h"
#include "tools/session/Address.h"
#include "tools/web/NodeFields.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <utility>
#include <vector>

namespace tool {

namespace {

using lantrix::Failure;
using Starts = std::vector<lantrix::WalkStart>;

constexpr int mostChildren = 1000; // of one reply

std::string textOf(const LantrixStr& text) {
    return {text.c_str(), text.length()};
}

[[noreturn]] void failMissing(const std::string& id) {
    throw WebFailure(WebFailure::Kind::NotFound, "there is no node with the id '" + id + "'");
}

// What is told of one node. That it is missing is an answer, too.
struct ToldNode {
    lantrix::WalkedNode node;
    std::shared_ptr<const frames::ClipFrames> clip; // null for others
    bool isMissing = false;
};

bool askStreams(const LantrixNodeHandle& node, std::vector<std::string>& names) {
    int count = 0;
    if (!node.getNumAvailableMetaDataStreams(count))
        return false;
    names.clear();
    LantrixStr name;
    for (int i = 0; i < count && node.getAvailableMetaDataStream(i, name); ++i)
        names.push_back(textOf(name));
    return true;
}

bool askClip(const LantrixNodeHandle& node, ToldNode& told) {
    LantrixClipFormat format;
    if (!node.getClipFormat(format) || !node.getNumFrames(told.node.frames) ||
        !askStreams(node, told.node.streams))
        return false;
    told.node.format = format;
    told.clip = std::make_shared<frames::ClipFrames>(node, format, told.node.frames,
                                                     image::FrameFile(format, ".raw"));
    return true;
}

// The only reason to refuse the first question is that there is no such node.
Failure askNode(const LantrixServerHandle& server, const std::string& id, ToldNode& told) {
    const LantrixNodeHandle node(server, id.c_str());
    LantrixStr kind;
    LantrixStr name;
    told.node.id = id;
    if (!node.getNodeType(told.node.type)) {
        Failure failure = Failure::lastOf(server);
        told.isMissing = failure.kind == Failure::Kind::Refused;
        return told.isMissing ? Failure{} : failure;
    }
    if (!node.getNodeTypeStr(kind) || !node.getIsClipNode(told.node.isClip) ||
        !node.getDisplayName(name) || !node.getNumChildren(told.node.children) ||
        (told.node.isClip && !askClip(node, told)))
        return Failure::lastOf(server);
    told.node.kind = textOf(kind);
    told.node.name = textOf(name);
    return {};
}

// One page of a node's children.
struct ToldChildren {
    int total = 0;
    Starts nodes;
    bool isMissing = false;
};

Failure askChildren(const LantrixServerHandle& server, const std::string& id, int from, int count,
                    ToldChildren& told) {
    const LantrixNodeHandle node(server, id.c_str());
    LantrixNodeHandle child;
    LantrixStr name;
    told.nodes.clear();
    if (!node.getNumChildren(told.total)) {
        Failure failure = Failure::lastOf(server);
        told.isMissing = failure.kind == Failure::Kind::Refused;
        return told.isMissing ? Failure{} : failure;
    }
    for (int i = from; i < told.total && i - from < count; ++i) {
        if (!node.getChild(i, child) || !child.getDisplayName(name))
            return Failure::lastOf(server);
        told.nodes.push_back({child.getNodeId().id(), textOf(name)});
    }
    return {};
}

// The nodes from the root down to one, or to the last that is there.
struct ToldPath {
    std::vector<lantrix::WalkedNode> nodes;
    std::string missing; // the component that is not there; "" for none
};

std::vector<std::string> componentsOf(const std::string& path) {
    std::vector<std::string> components;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        if (end > begin)
            components.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return components;
}

bool askKind(const LantrixNodeHandle& node, lantrix::WalkedNode& told) {
    LantrixStr kind;
    LantrixStr name;
    if (!node.getNodeType(told.type) || !node.getNodeTypeStr(kind) ||
        !node.getIsClipNode(told.isClip) || !node.getDisplayName(name))
        return false;
    told.id = node.getNodeId().id();
    told.kind = textOf(kind);
    told.name = textOf(name);
    return true;
}

Failure askPath(const LantrixServerHandle& server, const std::vector<std::string>& components,
                ToldPath& told) {
    LantrixNodeHandle node;
    told.nodes.assign(1, {});
    if (!server.getRootNode(node) || !askKind(node, told.nodes.back()))
        return Failure::lastOf(server);
    for (const std::string& component : components) {
        if (!node.getNumChildren(told.nodes.back().children))
            return Failure::lastOf(server);
        if (!LantrixFindChild(node, component.c_str(), node)) {
            told.missing = component;
            return {};
        }
        if (!askKind(node, told.nodes.emplace_back()))
            return Failure::lastOf(server);
    }
    return {};
}

std::string lowered(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return text;
}

// The nodes below one whose names match, one after the other.
class Search {
public:
    Search(lantrix::Pool& pool, const std::string& id, std::string top, const std::string& pattern)
        : top_(std::move(top)), options_(optionsOf(pattern)), walker_(pool, id, options_) {}

    // The line of the next one; of the failure that ended the search; null behind the last.
    Json next(const Peer& peer) {
        while (!peer.hasGone()) {
            const std::optional<lantrix::WalkedNode> node = walker_.next();
            if (!node)
                break;
            const std::string path = pathOf(*node);
            const bool isTop = node->depth == 0;
            if (node->failure && (isTop || node->failure.kind != Failure::Kind::Refused))
                return failureFields(kindOf(node->failure), node->failure.text);
            if (!isTop && !node->kind.empty() && options_.isDescribed(node->name))
                return {{"path", path}, {"node", nodeFields(*node)}};
        }
        return nullptr;
    }

private:
    static lantrix::WalkOptions optionsOf(const std::string& pattern) {
        lantrix::WalkOptions options;
        options.kinds = true;
        options.isDescribed = [pattern](const std::string& name) {
            return matchesNamePattern(pattern, lowered(name));
        };
        return options;
    }
    std::string pathOf(const lantrix::WalkedNode& node) {
        const auto depth = static_cast<std::size_t>(node.depth);
        above_.resize(depth);
        above_.push_back(depth == 0 ? top_ : above_[depth - 1] + "/" + node.name);
        return above_.back();
    }

    const std::string top_;
    const lantrix::WalkOptions options_;
    lantrix::TreeWalker walker_;
    std::vector<std::string> above_; // the paths of the last node's ancestors, and its own
};

} // namespace

Json NodeQuestions::about(const Peer& peer) {
    struct Told {
        LantrixStr vendor, product;
        int major = 0, minor = 0, protocolMajor = 0, protocolMinor = 0;
    };
    const auto told = media_.ask<Told>(peer, [](const LantrixServerHandle& server, Told& asked) {
        const bool isTold = server.getVendor(asked.vendor) && server.getProduct(asked.product) &&
                            server.getVersion(asked.major, asked.minor) &&
                            server.getProtocolVersion(asked.protocolMajor, asked.protocolMinor);
        return isTold ? Failure{} : Failure::lastOf(server);
    });
    const auto version = [](int major, int minor) {
        return std::to_string(major) + "." + std::to_string(minor);
    };
    return {{"host", place_.host},
            {"path", place_.path},
            {"rootId", place_.nodeId},
            {"vendor", textOf(told->vendor)},
            {"product", textOf(told->product)},
            {"version", version(told->major, told->minor)},
            {"protocol", version(told->protocolMajor, told->protocolMinor)},
            {"toolVersion", LANTRIX_VERSION}};
}

Json NodeQuestions::resolve(const WebArguments& arguments, const Peer& peer) {
    const std::string path = arguments.text("path");
    const auto told = media_.ask<ToldPath>(
        peer,
        [components = componentsOf(path)](const LantrixServerHandle& server, ToldPath& asked) {
            return askPath(server, components, asked);
        });
    if (!told->missing.empty())
        throw WebFailure(WebFailure::Kind::NotFound, "'" + path + "' is not on " + place_.host +
                                                         ": there is no '" + told->missing +
                                                         "' in it");
    Json nodes = Json::array();
    for (const lantrix::WalkedNode& node : told->nodes)
        nodes.push_back(nodeFields(node));
    for (std::size_t i = 0; i + 1 < nodes.size(); ++i)
        nodes[i]["children"] = told->nodes[i].children;
    return {{"nodes", nodes}};
}

Json NodeQuestions::node(const WebArguments& arguments, const Peer& peer) {
    const std::string id = arguments.text("id");
    const auto begun = frames::FrameCache::Clock::now();
    const auto told =
        media_.ask<ToldNode>(peer, [id](const LantrixServerHandle& server, ToldNode& asked) {
            return askNode(server, id, asked);
        });
    if (told->isMissing)
        failMissing(id);
    if (told->clip != nullptr)
        static_cast<void>(media_.open(id, told->clip, begun));
    Json fields = nodeFields(told->node);
    fields["children"] = told->node.children;
    return fields;
}

Json NodeQuestions::children(const WebArguments& arguments, const Peer& peer) {
    const std::string id = arguments.text("id");
    const int from = arguments.number("from", 0, INT_MAX, 0);
    const int count = arguments.number("count", 0, mostChildren, 100);
    const auto told = media_.ask<ToldChildren>(
        peer, [id, from, count](const LantrixServerHandle& server, ToldChildren& asked) {
            return askChildren(server, id, from, count, asked);
        });
    if (told->isMissing)
        failMissing(id);
    lantrix::WalkOptions asked;
    asked.depth = 0;
    asked.kinds = true;
    asked.formats = asked.frames = asked.streams = arguments.text("details", "0") == "1";
    lantrix::TreeWalker walker(media_.pool(), told->nodes, asked);
    Json nodes = Json::array();
    while (const std::optional<lantrix::WalkedNode> node = walker.next()) {
        if (node->failure && node->failure.kind != Failure::Kind::Refused)
            throw WebFailure(kindOf(node->failure), node->failure.text);
        nodes.push_back(nodeFields(*node)); // of one that was removed meanwhile, what is known
    }
    return {{"total", told->total}, {"nodes", nodes}};
}

std::string NodeQuestions::metadata(const WebArguments& arguments, const Peer& peer) {
    const std::string id = arguments.text("id");
    const std::string name = arguments.text("name");
    if (name.find_first_of(" \t\n") != std::string::npos)
        throw WebFailure(WebFailure::Kind::Argument, "the name of a stream holds no blank");
    return *media_.ask<std::string>(
        peer, [id, name](const LantrixServerHandle& server, std::string& asked) {
            const LantrixNodeHandle node(server, id.c_str());
            LantrixStr text;
            if (!node.getMetaData(name.c_str(), "*", 1, text))
                return Failure::lastOf(server);
            asked = textOf(text);
            return Failure{};
        });
}

Json NodeQuestions::paths(const WebArguments& arguments, const Peer& peer) {
    const std::string id = arguments.text("id");
    const int frame = arguments.number("frame", 0, INT_MAX);
    Media::checkFrame(media_.clip(peer, id), frame);
    struct Told {
        LantrixStr path, frameId;
    };
    const auto told =
        media_.ask<Told>(peer, [id, frame](const LantrixServerHandle& server, Told& asked) {
            const LantrixNodeHandle node(server, id.c_str());
            const bool isTold =
                node.getFrameId(frame, asked.frameId) && node.getFrameIdPath(frame, asked.path);
            return isTold ? Failure{} : Failure::lastOf(server);
        });
    Json paths = Json::array();
    if (told->path.length() > 0)
        paths.push_back(textOf(told->path));
    return {{"paths", paths}, {"frameId", textOf(told->frameId)}};
}

// The first one may have to connect.
Json NodeQuestions::ping(const Peer& peer) {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    const auto time =
        media_.ask<Milliseconds>(peer, [](const LantrixServerHandle& server, Milliseconds& asked) {
            if (!server.ping())
                return Failure::lastOf(server);
            const auto start = std::chrono::steady_clock::now();
            const bool isAnswered = server.ping();
            asked = std::chrono::steady_clock::now() - start;
            return isAnswered ? Failure{} : Failure::lastOf(server);
        });
    return {{"milliseconds", time->count()}};
}

HttpReply NodeQuestions::search(const WebArguments& arguments, const Peer& peer) {
    constexpr std::size_t longestPattern = 200;
    const std::string id = arguments.text("id", place_.nodeId);
    const std::string top = arguments.text("path", id == place_.nodeId ? place_.path : "");
    const int limit = arguments.number("limit", 1, 100000, 200);
    std::string pattern = lowered(arguments.text("name"));
    if (pattern.size() > longestPattern)
        throw WebFailure(WebFailure::Kind::Argument, "the name to search for is too long");
    if (!isNamePattern(pattern))
        pattern = "*" + pattern + "*";
    HttpReply reply;
    reply.type = "application/x-ndjson; charset=utf-8";
    reply.pieces = [this, id, top, limit, pattern, &peer](const HttpReply::Send& send) {
        Search search(media_.pool(), id, top == "/" ? "" : top, pattern);
        for (int found = 0; found < limit && !peer.hasGone(); ++found) {
            const Json line = search.next(peer);
            if (line.is_null() || !send(dumpJson(line) + "\n") || line.contains("error"))
                return;
        }
    };
    return reply;
}

} // namespace tool
