#include "devserver/DevServer.h"

#include "devserver/DevClipOption.h"
#include "devserver/DevCommandService.h"
#include "devserver/DevFrameCache.h"
#include "devserver/DevFrameService.h"
#include "devserver/DevLimits.h"
#include "devserver/DevStream.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <signal.h>

namespace {

using asio::ip::tcp;

asio::ip::address listenAddress(const DevServerOptions& options) {
    std::error_code error;
    const asio::ip::address address = asio::ip::make_address(options.listen, error);
    if (error)
        throw std::runtime_error("'" + options.listen + "' is not a numeric address.");
    if (!address.is_loopback() && !options.allowRemote)
        throw std::runtime_error("'" + options.listen +
                                 "' can be reached from other machines, and the protocol has no "
                                 "authentication: pass --allow-remote to allow it.");
    return address;
}

tcp::acceptor listeningAcceptor(asio::io_context& context, const asio::ip::address& address,
                                unsigned short port) {
    try {
        return tcp::acceptor(context, tcp::endpoint(address, port));
    } catch (const std::system_error& error) {
        throw std::runtime_error("Can't listen on port " + std::to_string(port) + " of " +
                                 address.to_string() + ": " + error.code().message() + ".");
    }
}

bool knowsReadAhead(const DevServerOptions& options) {
    return std::make_pair(options.protocolMajor, options.protocolMinor) >= std::make_pair(2, 5);
}

void refuseLine(DevStream& stream) {
    rcResult result;
    result.setCode(rcResult::Error);
    result.setValue(
        ("The request line is longer than " + std::to_string(DevLimits::requestLine) + " bytes.")
            .c_str());
    if (stream.write(result.escapedCommand()))
        stream.finish();
}

// A client that is gone is noticed by results, also where sending knows no flag against the signal.
void dropBrokenPipeSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace

class DevServer::Impl {
public:
    explicit Impl(DevServerOptions options);
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl();

private:
    using Serve = void (Impl::*)(DevStream&);

    // One port and what its connections are served by.
    struct Listener {
        Listener(asio::io_context& context, const asio::ip::address& address, unsigned short port,
                 Serve serveConnection)
            : acceptor(listeningAcceptor(context, address, port)), pause(context),
              serve(serveConnection) {}

        tcp::acceptor acceptor;
        asio::steady_timer pause;
        const Serve serve;
    };

    struct Connection {
        explicit Connection(tcp::socket socket) : stream(std::move(socket)) {}

        DevStream stream;
        std::thread thread;
    };
    using Connections = std::list<Connection>;

    void makeClips();

    // In the accepting thread.
    void accept(Listener& listener);
    void accepted(Listener& listener, const std::error_code& error, tcp::socket socket);
    void startConnection(tcp::socket socket, Serve serve);
    void closeListeners();
    void endByRequest();

    // In a connection's thread.
    void runConnection(Connections::iterator connection, Serve serve);
    void serveCommands(DevStream& stream);
    [[nodiscard]] bool answer(DevStream& stream, const rcCommand& request);
    void serveFrames(DevStream& stream) { frameService_.serve(stream); }

    void endConnections();
    void joinEnded();

    const DevServerOptions options_;
    const DevLog log_;
    asio::io_context context_;
    asio::io_context unwatched_; // of connections: what arrives wakes their own threads alone
    Listener commandListener_;
    Listener frameListener_;
    DevTree tree_;
    DevFrameCache cache_;
    DevCommandService commandService_;
    DevFrameService frameService_;

    std::mutex mutex_; // guards the connections
    std::condition_variable connectionEnded_;
    Connections running_;
    std::vector<std::thread> ended_; // about to return; to be joined
    std::thread acceptThread_;       // last: starts when all else is there
};

DevServer::Impl::Impl(DevServerOptions options)
    : options_(std::move(options)), log_(options_.log, options_.verbose),
      commandListener_(context_, listenAddress(options_), commandPort, &Impl::serveCommands),
      frameListener_(context_, listenAddress(options_), framePort, &Impl::serveFrames),
      tree_(options_.root, options_.sync, log_), cache_(tree_, log_, options_.prefetchBytes),
      commandService_(tree_, log_, options_),
      frameService_(tree_, cache_, log_, knowsReadAhead(options_)) {
    makeClips();
    accept(commandListener_);
    accept(frameListener_);
    acceptThread_ = std::thread([this] { context_.run(); });
    log_("Listening on " + options_.listen +
         ". The protocol has no authentication: whoever "
         "reaches this address can read and change everything.");
}

DevServer::Impl::~Impl() {
    asio::post(context_, [this] { closeListeners(); });
    acceptThread_.join();
    endConnections();
    std::unique_lock<std::mutex> lock(mutex_);
    connectionEnded_.wait(lock, [this] { return running_.empty(); });
    joinEnded();
}

void DevServer::Impl::makeClips() {
    for (const std::string& text : options_.clips) {
        const DevClipOption clip = devClipOption(text);
        tree_.ensureClip(clip.path, clip.format);
    }
}

void DevServer::Impl::accept(Listener& listener) {
    listener.acceptor.async_accept(
        unwatched_, [this, &listener](const std::error_code& error, tcp::socket socket) {
            accepted(listener, error, std::move(socket));
        });
}

void DevServer::Impl::accepted(Listener& listener, const std::error_code& error,
                               tcp::socket socket) {
    if (!listener.acceptor.is_open())
        return;
    if (!error) {
        startConnection(std::move(socket), listener.serve);
        return accept(listener);
    }
    // Most likely no descriptor is left, which may pass.
    log_("Can't accept a connection: " + error.message());
    listener.pause.expires_after(std::chrono::milliseconds(100));
    listener.pause.async_wait([this, &listener](const std::error_code& cancelled) {
        if (!cancelled)
            accept(listener);
    });
}

void DevServer::Impl::startConnection(tcp::socket socket, Serve serve) {
    const std::lock_guard<std::mutex> lock(mutex_);
    joinEnded();
    if (running_.size() == maximumConnections)
        return log_("A connection is refused: there are " + std::to_string(maximumConnections) +
                    " already.");
    running_.emplace_back(std::move(socket));
    const auto connection = std::prev(running_.end());
    try {
        connection->thread =
            std::thread([this, connection, serve] { runConnection(connection, serve); });
    } catch (const std::system_error& error) {
        running_.pop_back();
        log_("A connection is refused: " + std::string(error.what()));
    }
}

void DevServer::Impl::runConnection(Connections::iterator connection, Serve serve) {
    dropBrokenPipeSignals();
    const std::string peer = connection->stream.peer();
    if (log_.isVerbose())
        log_("Connected: " + peer);
    try {
        (this->*serve)(connection->stream);
    } catch (const std::exception& error) {
        log_("The connection of " + peer + " is dropped: " + error.what());
    }
    if (log_.isVerbose())
        log_("Disconnected: " + peer);
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_.push_back(std::move(connection->thread));
    running_.erase(connection);
    connectionEnded_.notify_all();
}

void DevServer::Impl::serveCommands(DevStream& stream) {
    std::array<char, 16384> buffer;
    rcCommand request;
    std::size_t length = 0;
    while (const std::size_t count = stream.read(buffer.data(), buffer.size())) {
        for (std::size_t i = 0; i < count; ++i) {
            if (request.appendChar(buffer[i])) {
                if (!answer(stream, request))
                    return;
                request = rcCommand();
                length = 0;
            } else if (++length > DevLimits::requestLine) {
                return refuseLine(stream);
            }
        }
    }
}

// False when the connection is over.
bool DevServer::Impl::answer(DevStream& stream, const rcCommand& request) {
    const rcResult result = commandService_.answer(request);
    if (request.type() == rcCommand::Sync && !stream.write(result.escapedCommand()))
        return false;
    if (!DevCommandService::asksForEnd(request))
        return true;
    log_("A client has asked for the server's end.");
    asio::post(context_, [this] { endByRequest(); });
    return false;
}

void DevServer::Impl::endByRequest() {
    if (!commandListener_.acceptor.is_open())
        return;
    closeListeners();
    endConnections();
    if (options_.shutdownRequested)
        options_.shutdownRequested();
}

// Without them the accepting thread has nothing left to do, and ends.
void DevServer::Impl::closeListeners() {
    for (Listener* const listener : {&commandListener_, &frameListener_}) {
        std::error_code ignored;
        listener->acceptor.close(ignored);
        listener->pause.cancel();
    }
}

void DevServer::Impl::endConnections() {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (Connection& connection : running_)
        connection.stream.interrupt();
}

void DevServer::Impl::joinEnded() {
    for (std::thread& thread : ended_)
        thread.join();
    ended_.clear();
}

DevServer::DevServer(DevServerOptions options)
    : impl_(std::make_unique<Impl>(std::move(options))) {}

DevServer::~DevServer() {
    stop();
}

void DevServer::stop() {
    const std::lock_guard<std::mutex> lock(stopMutex_);
    impl_.reset();
}
