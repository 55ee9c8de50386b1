#include "tools/web/HttpServer.h"

#include "tools/report/Failure.h"

#include <httplib.h>

#include <algorithm>
#include <cctype>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include <netinet/in.h>
#include <netinet/tcp.h>

namespace tool {

namespace {

constexpr std::size_t mostConnections = 128;
constexpr std::size_t mostWaiting = 128; // beside those
constexpr int mostInBacklog = 128;
constexpr int mostRequests = 10000; // of one connection

// What the library reads requests from and writes replies to.
class PeerStream : public httplib::Stream {
public:
    explicit PeerStream(PeerSocket& peer) : peer_(peer) {}

    [[nodiscard]] bool is_readable() const override { return true; }
    [[nodiscard]] bool is_writable() const override { return !peer_.hasGone(); }
    ssize_t read(char* bytes, std::size_t size) override { return peer_.read(bytes, size); }
    ssize_t write(const char* bytes, std::size_t size) override {
        return peer_.write(bytes, size) ? static_cast<ssize_t>(size) : -1;
    }
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    [[nodiscard]] socket_t socket() const override { return peer_.descriptor(); }

private:
    PeerSocket& peer_;
};

// Threads as they are needed. The library hands in one task for each connection.
class PeerThreads : public httplib::TaskQueue {
public:
    explicit PeerThreads(Peers& peers) : peers_(peers) {}

    // A task that runs in the thread that hands it in refuses its connection.
    void enqueue(std::function<void()> task) override {
        std::unique_lock<std::mutex> lock(mutex_);
        if (tasks_.size() >= mostWaiting || (idle_ <= tasks_.size() && !provide())) {
            lock.unlock();
            task();
            return;
        }
        tasks_.push_back(std::move(task));
        lock.unlock();
        changed_.notify_one();
    }

    void shutdown() override {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            isEnding_ = true;
        }
        changed_.notify_all();
        for (std::thread& thread : threads_)
            thread.join();
    }

private:
    // A further thread, or the end of what another one does; false when there is none.
    bool provide() {
        try {
            if (threads_.size() < mostConnections) {
                threads_.emplace_back([this] { work(); });
                return true;
            }
        } catch (const std::system_error&) {
            if (threads_.empty())
                return false;
        }
        // A browser that has just connected is not cut off unless many more have.
        peers_.endSlowest(tasks_.size() < mostWaiting / 2 ? Peers::Mercy::ForAWhile
                                                          : Peers::Mercy::None);
        return true;
    }

    void work() {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            ++idle_;
            changed_.wait(lock, [this] { return isEnding_ || !tasks_.empty(); });
            --idle_;
            if (tasks_.empty())
                return;
            const std::function<void()> task = std::move(tasks_.front());
            tasks_.pop_front();
            if (tasks_.empty())
                peers_.spareAll();
            lock.unlock();
            task();
            lock.lock();
        }
    }

    Peers& peers_;
    std::mutex mutex_; // guards all that follows
    std::condition_variable changed_;
    std::deque<std::function<void()>> tasks_;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool isEnding_ = false;
};

// Whose request this thread answers: the library hands no such thing to who answers it.
thread_local const Peer* servedPeer = nullptr;

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool hasBody(const httplib::Request& request) {
    return request.has_header("Transfer-Encoding") ||
           (request.has_header("Content-Length") &&
            request.get_header_value("Content-Length") != "0");
}

void fill(httplib::Response& response, const HttpReply& reply) {
    response.status = reply.status;
    for (const auto& [name, value] : reply.headers)
        response.set_header(name, value);
    if (!reply.pieces) {
        if (!reply.type.empty())
            response.set_content(reply.body, reply.type);
        return;
    }
    response.set_chunked_content_provider(
        reply.type, [pieces = reply.pieces](std::size_t /*offset*/, httplib::DataSink& sink) {
            pieces([&sink](const std::string& piece) {
                return sink.write(piece.data(), piece.size());
            });
            sink.done();
            return true;
        });
}

} // namespace

class HttpServer::Listening : public httplib::Server {
public:
    Listening(const std::string& address, int port, const HttpReply::Headers& headers) {
        new_task_queue = [this] { return new PeerThreads(peers_); }; // the library deletes it
        set_payload_max_length(0);
        set_keep_alive_max_count(mostRequests);
        set_default_headers({headers.begin(), headers.end()});
        set_socket_options([](socket_t descriptor) {
            const int yes = 1;
            ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
        set_pre_routing_handler(
            [this](const httplib::Request& request, httplib::Response& response) {
                answer(request, response);
                return HandlerResponse::Handled;
            });
        if (port == 0)
            port_ = bind_to_any_port(address);
        else if (bind_to_port(address, port))
            port_ = port;
        if (port_ <= 0)
            throw Failure(Status::Other, "can't listen on " + address + ":" + std::to_string(port) +
                                             ": it is taken, or not an address of this machine");
        ::listen(svr_sock_, mostInBacklog);
    }
    ~Listening() override {
        peers_.endAll();
        stop();
        if (thread_.joinable())
            thread_.join();
    }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

    [[nodiscard]] int port() const { return port_; }

    void start(Answer answer) {
        answer_ = std::move(answer);
        thread_ = std::thread([this] {
            accepting_ = std::this_thread::get_id();
            listen_after_bind();
        });
        while (!is_running()) // what does not run can't be stopped
            std::this_thread::yield();
    }

private:
    void answer(const httplib::Request& request, httplib::Response& response) {
        HttpRequest asked{request.method, request.path, request.params, {}, *servedPeer};
        for (const auto& [name, value] : request.headers)
            asked.headers.emplace(lowered(name), value);
        fill(response, hasBody(request) ? HttpReply{400, "", "", {{"Connection", "close"}}, nullptr}
                                        : answer_(asked));
    }

    // One connection from its first request to its last. What was not understood, and what has a
    // body, is the last: nobody knows where the next one would begin.
    bool process_and_close_socket(socket_t descriptor) override {
        if (std::this_thread::get_id() == accepting_) {
            refusePeer(descriptor);
            return false;
        }
        const int yes = 1;
        ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        PeerSocket peer(descriptor, peers_);
        PeerStream stream(peer);
        servedPeer = &peer;
        bool isLast = false;
        for (int i = 1; !isLast && i <= mostRequests && peer.awaitRequest(); ++i) {
            bool isUnderstood = false;
            const auto prepare = [&](httplib::Request& request) {
                isUnderstood = !hasBody(request);
                request.ranges.clear();                   // all of a reply is sent
                request.headers.erase("Accept-Encoding"); // as it is
                request.headers.erase("Expect");
            };
            const bool isAnswered = process_request(stream, i == mostRequests, isLast, prepare);
            isLast = isLast || !isAnswered || !isUnderstood;
        }
        servedPeer = nullptr;
        return true;
    }

    Answer answer_;
    Peers peers_;
    int port_ = -1;
    std::thread::id accepting_;
    std::thread thread_;
};

HttpServer::HttpServer(const std::string& address, int port, const HttpReply::Headers& headers)
    : listening_(std::make_unique<Listening>(address, port, headers)) {}

HttpServer::~HttpServer() = default;

int HttpServer::port() const {
    return listening_->port();
}

void HttpServer::start(Answer answer) {
    listening_->start(std::move(answer));
}

} // namespace tool
