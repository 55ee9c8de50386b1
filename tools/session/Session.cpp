#include "tools/session/Session.h"

#include "tools/report/LibraryError.h"
#include "tools/report/NumberText.h"
#include "tools/report/PrintableText.h"
#include "tools/session/CallWatch.h"
#include "tools/session/HostAliases.h"
#include "tools/session/Interrupt.h"
#include "tools/session/TraceRelay.h"

#include <cstdio>

namespace tool {

namespace {

constexpr std::chrono::milliseconds firstPause(200);

// Set as long as it lives.
class Flag {
public:
    explicit Flag(bool& flag) : flag_(flag) { flag = true; }
    ~Flag() { flag_ = false; }
    Flag(const Flag&) = delete;
    Flag& operator=(const Flag&) = delete;

private:
    bool& flag_;
};

} // namespace

Session::Session(const Options& options, const std::string& host, AtInterrupt atInterrupt)
    : options_(options), host_(host), relay_(TraceRelay::of(options, host)),
      server_(std::make_unique<LantrixServerHandle>(
          (relay_ ? relay_->address() : aliasedHost(host)).c_str())),
      watch_(
          std::make_unique<CallWatch>([this] { server_->stop(); }, options.timeout, atInterrupt)) {}

Session::~Session() = default;

std::string Session::endpoint() const {
    return host_ + ":" + std::to_string(static_cast<int>(Port::Commands));
}

void Session::retry(const std::function<void()>& step) {
    if (isRetrying_)
        return step();
    const lantrix::Retries retries = this->retries();
    watch_->startLimit();
    const Flag retrying(isRetrying_);
    for (unsigned failures = 0;; ++failures) {
        try {
            return step();
        } catch (const Failure& failure) {
            if (failure.status() != Status::NoConnection || failures == retries.count)
                throw;
            const std::chrono::milliseconds pause = retries.pause(failures);
            announceRetry(failure.what(), pause);
            if (!watch_->rest(pause))
                throw watch_->isInterrupted() ? Failure(Status::Interrupted, "interrupted")
                                              : failure;
        }
    }
}

lantrix::Retries Session::retries() const {
    return {static_cast<unsigned>(options_.retries), firstPause};
}

void Session::announceRetry(const std::string& reason, std::chrono::milliseconds pause) const {
    if (options_.verbose || options_.trace) {
        const std::chrono::duration<double> seconds = pause;
        std::fprintf(stderr, "lantrix: %s; tried again in %s s\n", printableText(reason).c_str(),
                     shortNumber(seconds.count()).c_str());
    }
}

void Session::beginCall() {
    if (watch_->isInterrupted())
        throw Failure(Status::Interrupted, "interrupted");
    watch_->begin();
}

void Session::endCall(bool succeeded, const std::string& doing, Port port) {
    watch_->end();
    if (!succeeded)
        throw callFailure(doing, port);
}

Failure Session::callFailure(const std::string& doing, Port port) {
    return watch_->failure(host_, port, doing, reasonOf(server_->lastError()));
}

// The library may only have reached the relay.
std::string Session::reasonOf(const std::string& error) const {
    const bool isRelays = relay_ && statusOfLibraryError(error) == Status::NoConnection &&
                          !relay_->connectError().empty();
    return isRelays ? relay_->connectError() : error;
}

Failure Session::failureOf(const std::string& doing, const lantrix::Failure& failure,
                           Port port) const {
    if (failure.kind == lantrix::Failure::Kind::Stopped)
        return {Status::Interrupted, "interrupted"};
    const bool isRefused = failure.kind == lantrix::Failure::Kind::Refused;
    return serverFailure(isRefused ? statusOfLibraryError(failure.text) : Status::NoConnection,
                         host_, port, doing, reasonOf(failure.text));
}

std::string Session::target() const {
    return relay_ ? relay_->address() : aliasedHost(host_);
}

lantrix::PoolOptions Session::poolOptions() {
    lantrix::PoolOptions pool;
    pool.connections = static_cast<unsigned>(options_.connections.value_or(8));
    pool.cancelFlag = &interruptFlag();
    pool.retries = retries();
    pool.retrying = [this](const lantrix::Failure& failure, std::chrono::milliseconds pause) {
        announceRetry(failure.text, pause);
    };
    pool.timeLimit = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::duration<double>(options_.timeout.value_or(0)));
    pool.wake = wake;
    pool.first = server_.get();
    return pool;
}

LantrixNodeHandle Session::root() {
    LantrixNodeHandle node;
    call("find the root", [&] { return server_->getRootNode(node); });
    return node;
}

std::string Session::name(const LantrixNodeHandle& node) {
    LantrixStr name;
    call("ask a name", [&] { return node.getDisplayName(name); });
    return name.c_str();
}

std::string Session::typeName(const LantrixNodeHandle& node) {
    LantrixStr type;
    call("ask the kind of a node", [&] { return node.getNodeTypeStr(type); });
    return type.c_str();
}

std::vector<std::string> Session::streamNames(const LantrixNodeHandle& node) {
    int count = 0;
    call("list metadata", [&] { return node.getNumAvailableMetaDataStreams(count); });
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) {
        LantrixStr name;
        call("list metadata", [&] { return node.getAvailableMetaDataStream(i, name); });
        names.emplace_back(name.c_str());
    }
    return names;
}

Failure Session::noSuchNode(const LantrixNodeHandle& node) {
    return noSuchNode(node.getNodeId().id(), server_->lastError());
}

Failure Session::noSuchNode(const std::string& id, const std::string& reason) const {
    return Failure(Status::NodeNotFound,
                   "there is no node with the id '" + id + "' on " + endpoint() + ": " + reason)
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

int Session::protocol() {
    int major = 0;
    int minor = 0;
    call("ask the protocol version", [&] { return server_->getProtocolVersion(major, minor); });
    return major * 100 + minor;
}

} // namespace tool
