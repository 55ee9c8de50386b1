#include "tests/faults/HealthyServer.h"

#include "tests/faults/Exchange.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const std::string nul(1, '\0');

int listenAt(in_addr address, std::uint16_t port) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr = address;
    name.sin_port = htons(port);
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&name), sizeof name) == 0 && ::listen(fd, 64) == 0)
        return fd;
    ::close(fd);
    return -1;
}

// The table's reply to each method, and to one request: three frames, so that one of them announces
// its successor.
std::map<std::string, std::string> tableOfReplies() {
    std::map<std::string, std::string> replies;
    for (const WireOperation& operation : wireOperations())
        if (operation.service != WireOperation::Frame)
            replies[methodOf(operation)] = operation.reply;
    replies["GetFrames clip"] = "ok f1,f2,f3\n";
    return replies;
}

} // namespace

// One connection, served by blocking calls until its client goes, or until it is broken.
class HealthyServer::Connection {
public:
    Connection(HealthyServer& server, int fd) : server_(server), fd_(fd), in_(::fdopen(fd, "r")) {
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~Connection() {
        std::fclose(in_);
        std::free(text_);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void serveCommands() {
        static const auto replies = tableOfReplies();
        while (readText('\n')) {
            const std::string line(text_ + std::strlen("sync 0 "));
            const auto whole = replies.find(line.substr(0, line.size() - 1));
            const auto found =
                whole != replies.end() ? whole : replies.find(line.substr(0, line.find(' ')));
            if (!answer(found != replies.end() ? found->second : "error No such method\n"))
                return;
        }
    }

    void serveFrames() {
        while (readText('\0')) {
            const std::string name(text_);
            if (!readText('\0') || !readText('\0'))
                return;
            const std::size_t size = static_cast<std::size_t>(std::max(0L, std::atol(text_)));
            if (name == "WriteFrame" && !(skipPayload(size) && answer(nul)))
                return;
            if (name == "ReadFrame" && !(answer(nul) && sendPayload(size)))
                return;
        }
    }

private:
    bool readText(char end) {
        const ssize_t length = ::getdelim(&text_, &capacity_, end, in_);
        return length > 0 && text_[length - 1] == end;
    }

    bool skipPayload(std::size_t size) {
        while (size > 0 && !std::feof(in_) && !std::ferror(in_))
            size -= std::fread(piece_, 1, std::min(size, sizeof piece_), in_);
        return size == 0;
    }

    bool send(const char* bytes, std::size_t size) {
        return ::send(fd_, bytes, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
    }

    bool sendPayload(std::size_t size) {
        for (std::size_t i = 0; i < sizeof piece_; ++i)
            piece_[i] = "data"[i % 4];
        for (std::size_t count; size > 0; size -= count) {
            count = std::min(size, sizeof piece_);
            if (!send(piece_, count))
                return false;
        }
        return true;
    }

    bool answer(const std::string& bytes) {
        const int count = server_.breaking_ ? ++server_.answers_ : 1;
        if (count % 3 != 0)
            return send(bytes.data(), bytes.size());
        const linger abortive = {count / 3 % 2, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &abortive, sizeof abortive);
        send(bytes.data(), static_cast<std::size_t>(count) % bytes.size());
        return false;
    }

    HealthyServer& server_;
    int fd_;
    FILE* in_;
    char* text_ = nullptr; // of getdelim
    std::size_t capacity_ = 0;
    char piece_[1 << 16];
};

HealthyServer::HealthyServer() {
    std::random_device random;
    while (listeners_[1] < 0) {
        const in_addr address = {htonl(0x7F010000U + random() % 0x00FE0000U)};
        ::close(listeners_[0]);
        listeners_[0] = listenAt(address, 7549);
        listeners_[1] = listeners_[0] < 0 ? -1 : listenAt(address, 7550);
        host_ = ::inet_ntoa(address);
    }
    if (::pipe(ending_) != 0)
        std::abort();
    thread_ = std::thread(&HealthyServer::run, this);
}

HealthyServer::~HealthyServer() {
    ::close(ending_[1]);
    thread_.join();
    for (const int fd : {listeners_[0], listeners_[1], ending_[0]})
        ::close(fd);
    awaitNoConnections();
}

void HealthyServer::awaitNoConnections() const {
    while (connections_ > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void HealthyServer::run() {
    sigset_t all;
    sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, nullptr); // a test's signals are meant for the client
    pollfd polled[] = {
        {ending_[0], POLLIN, 0}, {listeners_[0], POLLIN, 0}, {listeners_[1], POLLIN, 0}};
    while (::poll(polled, 3, -1) < 0 || polled[0].revents == 0)
        for (const int listener : {0, 1}) {
            if (polled[listener + 1].revents == 0)
                continue;
            ++connections_;
            std::thread([this, listener, fd = ::accept(listeners_[listener], nullptr, nullptr)] {
                {
                    Connection connection(*this, fd);
                    listener == 0 ? connection.serveCommands() : connection.serveFrames();
                }
                --connections_;
            }).detach();
        }
}
