#include "devserver/DevServer.h"

#include "devserver/DevClipOption.h"
#include "devserver/DevCommandConnection.h"
#include "devserver/DevCommandService.h"
#include "devserver/DevDescriptorLimit.h"
#include "devserver/DevFrameCache.h"
#include "devserver/DevFrameService.h"
#include "devserver/DevLimits.h"
#include "devserver/DevMemory.h"
#include "devserver/DevStream.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <list>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>

namespace {

using asio::ip::tcp;

asio::ip::address listenAddress(const DevServerOptions& options) {
    std::error_code error;
    asio::ip::address address = asio::ip::make_address(options.listen, error);
    if (error)
        throw std::runtime_error("'" + options.listen + "' is not a numeric address.");
    if (!address.is_loopback() && !options.allowRemote)
        throw std::runtime_error("'" + options.listen +
                                 "' can be reached from other machines, and the protocol has no "
                                 "authentication: pass --allow-remote to allow it.");
    return address;
}

[[noreturn]] void failToListen(const tcp::endpoint& endpoint, const std::error_code& error) {
    throw std::runtime_error("Can't listen on port " + std::to_string(endpoint.port()) + " of " +
                             endpoint.address().to_string() + ": " + error.message() + ".");
}

// What goes to programs on the same machine is not paced, which they take as fast as it comes:
// where a system prefers BBR, frames would have about half the speed. Connections take it over from
// the socket that listens; one that has begun to pace goes on with it.
void sendUnpaced([[maybe_unused]] tcp::acceptor& acceptor) {
#ifdef TCP_CONGESTION
    constexpr std::string_view unpaced = "reno";
    ::setsockopt(acceptor.native_handle(), IPPROTO_TCP, TCP_CONGESTION, unpaced.data(),
                 unpaced.size());
#endif
}

// Holds the port. Clients are refused until it listens.
tcp::acceptor boundAcceptor(asio::io_context& context, const tcp::endpoint& endpoint) {
    tcp::acceptor acceptor(context);
    std::error_code error;
    acceptor.open(endpoint.protocol(), error);
    if (!error)
        acceptor.set_option(asio::socket_base::reuse_address(true), error);
    if (!error)
        acceptor.bind(endpoint, error);
    if (error)
        failToListen(endpoint, error);
    if (endpoint.address().is_loopback())
        sendUnpaced(acceptor);
    return acceptor;
}

bool knowsReadAhead(const DevServerOptions& options) {
    return std::make_pair(options.protocolMajor, options.protocolMinor) >= std::make_pair(2, 5);
}

std::string commandRefusal(const std::string& problem) {
    rcResult result;
    result.setCode(rcResult::Error);
    result.setValue(problem.c_str());
    return result.escapedCommand();
}

std::string frameRefusal(const std::string& problem) {
    return problem + '\0';
}

constexpr std::chrono::milliseconds acceptPause{100};

// Each has its socket and, now and then, a file; some are the server's own.
std::uint64_t connectionsServed(std::uint64_t bound) {
    constexpr std::uint64_t own = 32;
    const std::uint64_t limit = devDescriptorLimit();
    return std::min(limit > own ? (limit - own) / 2 : 0, bound);
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
    using Refusal = std::string (*)(const std::string& problem);

    // One port and what its connections are served by.
    struct Listener {
        Listener(asio::io_context& context, const asio::ip::address& address, unsigned short port,
                 Serve serveConnection, Refusal refusalText)
            : acceptor(boundAcceptor(context, {address, port})), serve(serveConnection),
              refusal(refusalText) {}

        tcp::acceptor acceptor;
        const Serve serve;
        const Refusal refusal; // as the connection's clients expect an error
    };

    struct Connection {
        Connection(tcp::socket socket, std::string from, std::chrono::seconds idle)
            : address(std::move(from)), stream(std::move(socket), idle) {}

        const std::string address;
        DevStream stream;
        std::thread thread;
    };
    using Connections = std::list<Connection>;

    void makeClips();

    // In the accepting thread.
    void listen(Listener& listener);
    void accept(Listener& listener);
    void accepted(Listener& listener, const std::error_code& error, tcp::socket socket);
    void startConnection(tcp::socket socket, const Listener& listener);
    [[nodiscard]] std::string reasonToRefuse(const std::string& address) const;
    void refuse(tcp::socket socket, const std::string& problem, Refusal refusal);
    void closeListeners();
    void endByRequest();

    // In a connection's thread.
    void runConnection(Connections::iterator connection, Serve serve);
    void serveStream(DevStream& stream, Serve serve);
    void serveCommands(DevStream& stream);
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
    DevMemory memory_;
    DevCommandService commandService_;
    DevFrameService frameService_;

    std::mutex mutex_; // guards the connections
    std::condition_variable connectionEnded_;
    Connections running_;
    Connections ended_;               // their threads are about to return; to be joined
    std::deque<tcp::socket> refused_; // of the accepting thread: closed when their clients had time
    std::thread acceptThread_;        // last: starts when all else is there
};

DevServer::Impl::Impl(DevServerOptions options)
    : options_(std::move(options)), log_(options_.log, options_.verbose),
      commandListener_(context_, listenAddress(options_), commandPort, &Impl::serveCommands,
                       commandRefusal),
      frameListener_(context_, listenAddress(options_), framePort, &Impl::serveFrames,
                     frameRefusal),
      tree_(options_.root, options_.sync, log_), cache_(tree_, log_, options_.prefetchBytes),
      memory_(options_.memoryBytes), commandService_(tree_, cache_, log_, options_),
      frameService_(tree_, cache_, log_, knowsReadAhead(options_)) {
    makeClips();
    listen(commandListener_);
    listen(frameListener_);
    acceptThread_ = std::thread([this] { context_.run(); });
    log_("Listening on " + options_.listen +
         ". The protocol has no authentication: whoever "
         "reaches this address can read and change everything.");
    log_("The process may have " + std::to_string(devDescriptorLimit()) +
         " descriptors, which serve " + std::to_string(connectionsServed(options_.connections)) +
         " connections at once.");
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

void DevServer::Impl::listen(Listener& listener) {
    std::error_code error;
    listener.acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error)
        failToListen(listener.acceptor.local_endpoint(), error);
    accept(listener);
}

// Without memory for it this may pass as well.
void DevServer::Impl::accept(Listener& listener) {
    for (;;) {
        try {
            return listener.acceptor.async_accept(
                unwatched_, [this, &listener](const std::error_code& error, tcp::socket socket) {
                    accepted(listener, error, std::move(socket));
                });
        } catch (const std::bad_alloc&) {
            std::this_thread::sleep_for(acceptPause);
        }
    }
}

void DevServer::Impl::accepted(Listener& listener, const std::error_code& error,
                               tcp::socket socket) {
    if (!listener.acceptor.is_open())
        return;
    if (!error) {
        startConnection(std::move(socket), listener);
        return accept(listener);
    }
    // Most likely no descriptor is left, which may pass.
    log_("Can't accept a connection: ", std::strerror(error.value()));
    refused_.clear();
    if (cache_.dropFiles())
        return accept(listener);
    std::this_thread::sleep_for(acceptPause);
    accept(listener);
}

void DevServer::Impl::startConnection(tcp::socket socket, const Listener& listener) {
    try {
        std::error_code gone;
        const std::string address = socket.remote_endpoint(gone).address().to_string();
        const std::lock_guard<std::mutex> lock(mutex_);
        joinEnded();
        const std::string problem = reasonToRefuse(address);
        if (!problem.empty())
            return refuse(std::move(socket), problem, listener.refusal);
        running_.emplace_back(std::move(socket), address, options_.idle);
        const auto connection = std::prev(running_.end());
        try {
            connection->thread = std::thread(
                [this, connection, serve = listener.serve] { runConnection(connection, serve); });
        } catch (...) {
            running_.pop_back();
            throw;
        }
    } catch (const std::exception& error) {
        log_("A connection is refused: ", error.what());
    }
}

std::string DevServer::Impl::reasonToRefuse(const std::string& address) const {
    if (running_.size() >= options_.connections)
        return "There are " + std::to_string(options_.connections) +
               " connections already: this one is refused.";
    const auto share =
        std::count_if(running_.begin(), running_.end(), [&address](const Connection& connection) {
            return connection.address == address;
        });
    if (static_cast<std::size_t>(share) >= options_.connectionsPerAddress)
        return "The address " + address + " has " + std::to_string(options_.connectionsPerAddress) +
               " connections already, which is its share: this one is refused.";
    return "";
}

// Closed at once, the connection would take the text with it that says why.
void DevServer::Impl::refuse(tcp::socket socket, const std::string& problem, Refusal refusal) {
    constexpr std::size_t mostRefused = 32;
    log_(problem);
    const std::string text = refusal(problem);
    std::error_code ignored;
    socket.non_blocking(true, ignored);
    socket.send(asio::buffer(text), 0, ignored);
    socket.shutdown(tcp::socket::shutdown_send, ignored);
    if (refused_.size() == mostRefused)
        refused_.pop_front();
    refused_.push_back(std::move(socket));
}

void DevServer::Impl::runConnection(Connections::iterator connection, Serve serve) {
    dropBrokenPipeSignals();
    DevStream& stream = connection->stream;
    try {
        serveStream(stream, serve);
    } catch (const std::exception& error) {
        log_("A connection is dropped: ", error.what());
    }
    if (stream.wasIdle())
        log_("A connection is closed, on which nothing has moved for too long: ", stream.peer());
    const std::lock_guard<std::mutex> lock(mutex_);
    stream.close();
    ended_.splice(ended_.end(), running_, connection);
    connectionEnded_.notify_all();
}

void DevServer::Impl::serveStream(DevStream& stream, Serve serve) {
    if (log_.isVerbose())
        log_("Connected: ", stream.peer());
    (this->*serve)(stream);
    if (log_.isVerbose())
        log_("Disconnected: ", stream.peer());
}

void DevServer::Impl::serveCommands(DevStream& stream) {
    DevCommandConnection connection(commandService_, memory_, stream, log_);
    if (connection.serve() != DevCommandConnection::End::ServerShallEnd)
        return;
    log_("A client has asked for the server's end.");
    asio::post(context_, [this] { endByRequest(); });
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
    }
}

void DevServer::Impl::endConnections() {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (Connection& connection : running_)
        connection.stream.interrupt();
}

void DevServer::Impl::joinEnded() {
    for (Connection& connection : ended_)
        connection.thread.join();
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
