#include "tools/session/Session.h"

#include "base/loggerBase/src/CoMsg.h"
#include "tools/session/TraceRelay.h"

#include <atomic>
#include <csignal>
#include <cstdio>

namespace tool {

namespace {

std::atomic<bool> interrupted{false}; // lock-free, so a handler may set it

extern "C" {
static void noteInterrupt(int signal) {
    interrupted.store(true);
    std::signal(signal, SIG_DFL);
}
}

class ErrorRouter : public CoMsg::Router {
public:
    void post(const CoMsg& message) const override {
        std::fprintf(stderr, "lantrix: %s: %s\n", CoMsg::levelToString(message.level()),
                     message.text());
    }
};

} // namespace

void catchInterrupts() {
    std::signal(SIGINT, noteInterrupt);
    std::signal(SIGTERM, noteInterrupt);
    // A file that grows beyond a limit is an error of its writing like others.
    std::signal(SIGXFSZ, SIG_IGN);
}

bool wasInterrupted() {
    return interrupted.load();
}

void redirectLog(const Options& options) {
    static ErrorRouter router;
    CoMsg::router_ = &router;
    if (options.verbose) {
        CoMsg::filterLevel_ = CoMsg::Debug;
    } else if (options.quiet) {
        CoMsg::filterLevel_ = CoMsg::Error;
    }
}

Session::Session(const Options& options, const std::string& host)
    : host_(host), relay_(options.trace ? std::make_unique<TraceRelay>(host) : nullptr),
      server_(std::make_unique<LantrixServerHandle>((relay_ ? relay_->address() : host).c_str())),
      watch_(std::make_unique<CallWatch>([this] { server_->stop(); }, options.timeout)) {}

Session::~Session() = default;

std::string Session::place() const {
    return host_ + ":" + std::to_string(static_cast<int>(Port::Commands));
}

void Session::beginCall() {
    if (wasInterrupted()) {
        throw Failure(Status::Interrupted, "interrupted");
    }
    watch_->begin();
}

void Session::endCall(bool succeeded, const std::string& doing, Port port) {
    watch_->end();
    if (!succeeded) {
        throw callFailure(doing, port);
    }
}

Failure Session::callFailure(const std::string& doing, Port port) {
    std::string error = server_->lastError();
    if (relay_ && statusOfLibraryError(error) == Status::NoConnection &&
        !relay_->connectError().empty()) {
        error = relay_->connectError(); // the library has only reached the relay
    }
    return watch_->failure(host_, port, doing, error);
}

LantrixNodeHandle Session::root() {
    LantrixNodeHandle node;
    call("find the root", [&] { return server_->getRootNode(node); });
    return node;
}

std::vector<FoundNode> Session::children(const FoundNode& node) {
    int count = 0;
    try {
        call("list '" + node.address.path() + "'",
             [&] { return node.handle.getNumChildren(count); });
    } catch (const Failure& failure) {
        // An id is only known to be one when it is used.
        throw failure.status() == Status::Refused ? noSuchNode(node.handle) : failure;
    }
    std::vector<FoundNode> children;
    children.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        LantrixNodeHandle child;
        call("list '" + node.address.path() + "'", [&] { return node.handle.getChild(i, child); });
        children.push_back({node.address.child(name(child)), child});
    }
    return children;
}

std::optional<FoundNode> Session::child(const FoundNode& parent, const std::string& name) {
    int count = 0; // asked first, so that the search below can only fail to find
    call("list '" + parent.address.path() + "'",
         [&] { return parent.handle.getNumChildren(count); });
    FoundNode found{parent.address.child(name), {}};
    if (!LantrixFindChild(parent.handle, name.c_str(), found.handle)) {
        return std::nullopt;
    }
    return found;
}

std::string Session::name(const LantrixNodeHandle& node) {
    LantrixStr name;
    call("ask a name", [&] { return node.getDisplayName(name); });
    return name.c_str();
}

Failure Session::missing(const Address& address, const FoundNode& parent,
                         const std::string& component) {
    std::vector<std::string> names;
    for (const FoundNode& child : children(parent)) {
        names.push_back(child.address.name());
    }
    const std::string near = nearestName(component, names);
    Failure failure(Status::NodeNotFound,
                    "'" + address.path() + "' is not on " + place() + ": there is no '" +
                        component + "' in '" + parent.address.path() + "'" +
                        (near.empty() ? "" : "; did you mean '" + near + "'?"));
    failure.with("host", host_).with("port", static_cast<int>(Port::Commands));
    failure.with("path", address.path()).with("missing", component);
    if (!near.empty()) {
        failure.with("near", near);
    }
    return failure;
}

LantrixNodeHandle Session::find(const Address& address) {
    if (!address.nodeId.empty()) {
        return {*server_, address.nodeId.c_str()};
    }
    FoundNode node{address, root()};
    node.address.components.clear();
    for (const std::string& component : address.components) {
        std::optional<FoundNode> below = child(node, component);
        if (!below) {
            throw missing(address, node, component);
        }
        node = std::move(*below);
    }
    return node.handle;
}

void Session::expand(const FoundNode& node, const std::vector<std::string>& components,
                     std::size_t depth, std::vector<FoundNode>& found) {
    if (depth == components.size()) {
        found.push_back(node);
        return;
    }
    // A name that looks like a pattern is a name first.
    if (const std::optional<FoundNode> named = child(node, components[depth])) {
        expand(*named, components, depth + 1, found);
        return;
    }
    if (!isNamePattern(components[depth])) {
        return;
    }
    for (const FoundNode& below : children(node)) {
        if (matchesNamePattern(components[depth], below.address.name())) {
            expand(below, components, depth + 1, found);
        }
    }
}

std::vector<FoundNode> Session::findAll(const Address& address) {
    std::vector<FoundNode> found;
    if (isNamePattern(address.path()) && address.nodeId.empty()) {
        Address top = address;
        top.components.clear();
        expand({top, root()}, address.components, 0, found);
        if (found.empty()) {
            throw Failure(Status::NodeNotFound,
                          "nothing on " + place() + " matches '" + address.path() + "'")
                .with("host", host_)
                .with("path", address.path());
        }
        return found;
    }
    found.push_back({address, find(address)});
    return found;
}

Failure Session::noSuchNode(const LantrixNodeHandle& node) {
    const std::string id = node.getNodeId().id();
    return Failure(Status::NodeNotFound, "there is no node with the id '" + id + "' on " + place() +
                                             ": " + server_->lastError())
        .with("host", host_)
        .with("port", static_cast<int>(Port::Commands))
        .with("missing", id);
}

bool Session::isClip(const LantrixNodeHandle& node) {
    bool isClip = false;
    try {
        call("ask the kind of a node", [&] { return node.getIsClipNode(isClip); });
    } catch (const Failure& failure) {
        // The only reason to refuse this question is that there is no such node.
        throw failure.status() == Status::Refused ? noSuchNode(node) : failure;
    }
    return isClip;
}

LantrixClipFormat Session::format(const LantrixNodeHandle& clip) {
    LantrixClipFormat format;
    call("ask the clip's format", [&] { return clip.getClipFormat(format); });
    return format;
}

int Session::countFrames(const LantrixNodeHandle& clip) {
    int count = 0;
    call("count the clip's frames", [&] { return clip.getNumFrames(count); });
    return count;
}

LantrixNodeHandle Session::findClip(const Address& address) {
    LantrixNodeHandle node = find(address);
    if (!isClip(node)) {
        throw Failure(Status::Other, "'" + address.text() + "' is no clip")
            .with("path", address.path());
    }
    return node;
}

int Session::protocol() {
    int major = 0;
    int minor = 0;
    call("ask the protocol version", [&] { return server_->getProtocolVersion(major, minor); });
    return major * 100 + minor;
}

} // namespace tool
