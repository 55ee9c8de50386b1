#include "python/Connection.h"

#include <exception>

namespace python {

Connection::Connection(const Text& host, TimeLimit limit)
    : host_(host.bytes), limit_(limit),
      handle_(std::make_unique<LantrixServerHandle>(host_.c_str())),
      turn_(std::make_unique<Turn>()), generation_(processGeneration()) {}

// Nobody else knows the object any more. A handle that another process was using stays as it is.
Connection::~Connection() {
    if (generation_ != processGeneration())
        settleFork();
}

void Connection::end() noexcept {
    handle_->stop();
}

// In a child, the call that another thread of the parent was in will never end: its handle is left
// where it is. One that nobody was using goes on with connections of its own.
void Connection::settleFork() {
    if (generation_ == processGeneration())
        return;
    [[maybe_unused]] const auto* const lostTurn = turn_.release();
    turn_ = std::make_unique<Turn>();
    if (isBusy_) {
        [[maybe_unused]] const auto* const lostHandle = handle_.release();
        isBusy_ = false;
        renew();
    }
    generation_ = processGeneration();
}

void Connection::renew() {
    handle_ = std::make_unique<LantrixServerHandle>(host_.c_str());
    ++handleNumber_;
}

void throwEnded(Ending ending, const lantrix::Failure& failure, const std::string& host, int port) {
    using Kind = lantrix::Failure::Kind;
    if (ending == Ending::Late) {
        throw BindingError(ErrorKind::TimedOut,
                           host + ":" + std::to_string(port) + ": no answer within the time limit");
    }
    if (ending != Ending::None)
        throw errorOf({Kind::Stopped, "the call was stopped"}, host, port);
    throw errorOf(failure, host, port);
}

void Connection::run(Borrowed<Call> operation) {
    settleFork();
    lantrix::Failure failure{lantrix::Failure::Kind::Stopped, ""};
    int port = commandPort;
    bool wasClosed = false;
    auto work = [&](Watch& watch) {
        const auto turn = turn_->wait(watch);
        if (!turn)
            return;
        wasClosed = isClosed_;
        if (wasClosed)
            return;
        isBusy_ = true;
        watch.enter();
        Call call{*handle_, commandPort, {}};
        std::exception_ptr thrown;
        try {
            operation(call);
        } catch (...) {
            thrown = std::current_exception();
        }
        // The answer to a call that was ended may still come: the next call must not take it.
        if (watch.leave())
            renew();
        failure = call.failure;
        port = call.port;
        isBusy_ = false;
        if (thrown)
            std::rethrow_exception(thrown);
    };
    const Ending ending = runBlocking(*this, limit_, work);
    if (wasClosed)
        throw BindingError(ErrorKind::Error, host_ + ": this server has been closed");
    if (failure)
        throwEnded(ending, failure, host_, port);
}

void Connection::close() {
    settleFork();
    auto work = [this](Watch& watch) {
        const auto turn = turn_->wait(watch);
        if (!turn)
            return;
        if (!isClosed_.exchange(true))
            renew();
    };
    if (runBlocking(*this, limit_, work) != Ending::None && !isClosed_)
        throw BindingError(ErrorKind::TimedOut, host_ + ": another thread still uses this server");
}

Text Connection::textOf(bool (LantrixServerHandle::*query)(LantrixStr&) const) {
    LantrixStr text;
    call([&](Call& call) { return call.check((call.server.*query)(text)); });
    return {text.c_str()};
}

std::pair<int, int> Connection::numbersOf(bool (LantrixServerHandle::*query)(int&, int&) const) {
    std::pair<int, int> numbers{0, 0};
    call([&](Call& call) {
        return call.check((call.server.*query)(numbers.first, numbers.second));
    });
    return numbers;
}

Text Connection::vendor() {
    return textOf(&LantrixServerHandle::getVendor);
}

Text Connection::product() {
    return textOf(&LantrixServerHandle::getProduct);
}

std::pair<int, int> Connection::version() {
    return numbersOf(&LantrixServerHandle::getVersion);
}

std::pair<int, int> Connection::protocol() {
    return numbersOf(&LantrixServerHandle::getProtocolVersion);
}

Text Connection::storageId() {
    return textOf(&LantrixServerHandle::getStorageId);
}

void Connection::ping() {
    call([](Call& call) { return call.check(call.server.ping()); });
}

Text Connection::root() {
    Text id;
    call([&](Call& call) {
        LantrixNodeHandle root;
        if (!call.check(call.server.getRootNode(root)))
            return false;
        id.bytes = root.getNodeId().id();
        return true;
    });
    return id;
}

std::vector<Text> Connection::translatePaths(const std::vector<Text>& paths, const Text& fromHost,
                                             const Text& toHost, int fromSystem, int toSystem) {
    std::vector<LantrixStr> from, to(paths.size());
    for (const Text& path : paths)
        from.emplace_back(path.bytes.c_str());
    call([&](Call& call) {
        return call.check(call.server.translatePaths(
            from.data(), to.data(), static_cast<int>(from.size()), fromHost.bytes.c_str(),
            toHost.bytes.c_str(), static_cast<LantrixOS::OsType>(fromSystem),
            static_cast<LantrixOS::OsType>(toSystem)));
    });
    std::vector<Text> translated;
    for (const LantrixStr& path : to)
        translated.push_back({path.c_str()});
    return translated;
}

} // namespace python
