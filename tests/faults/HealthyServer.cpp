#include "tests/faults/HealthyServer.h"

#include "tests/faults/Exchange.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <system_error>
#include <utility>

namespace {

const std::string nul(1, '\0');
constexpr std::size_t longestPiece = 1 << 18;

bool sendFrame(RawClient& client, std::size_t size) {
    for (std::size_t count; size > 0; size -= count) {
        count = std::min(size, longestPiece);
        if (!client.send(healthyBytes().substr(0, count)))
            return false;
    }
    return true;
}

// All of it is taken, whatever it is.
bool receiveFrame(RawClient& client, std::size_t size) {
    bool isSound = true;
    for (std::size_t count; size > 0; size -= count) {
        count = std::min(size, longestPiece);
        const std::string bytes = client.receive(count);
        isSound = isSound && healthyBytes().compare(0, count, bytes) == 0;
        if (bytes.size() < count)
            return false;
    }
    return isSound;
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

// The name of the system that asks for paths, or its version, the last word.
bool lacksText(const std::string& request) {
    return request.rfind("GetFramePaths ", 0) == 0 &&
           (request.find("  ") != std::string::npos || request.find(" 0 \n") != std::string::npos);
}

} // namespace

const std::string& healthyBytes() {
    static const std::string bytes = [] {
        std::string pattern(1 << 20, '\0');
        for (std::size_t i = 0; i < pattern.size(); ++i)
            pattern[i] = "data"[i % 4];
        return pattern;
    }();
    return bytes;
}

HealthyServer::HealthyServer() {
    std::random_device random;
    while (!frames_.is_open())
        try {
            const asio::ip::address_v4 address(0x7F010000U + random() % 0x00FE0000U);
            commands_ = Acceptor(context_, {address, DevServer::commandPort});
            frames_ = Acceptor(context_, {address, DevServer::framePort});
            host_ = address.to_string();
        } catch (const std::system_error&) {
            continue; // taken, by another test perhaps
        }
    acceptNext(commands_);
    acceptNext(frames_);
    thread_ = std::thread([this] {
        sigset_t all;
        sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr); // a test's signals are meant for the client
        context_.run();
    });
}

HealthyServer::~HealthyServer() {
    context_.stop();
    thread_.join();
    awaitNoConnections();
}

void HealthyServer::awaitNoConnections() const {
    while (connections_ > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void HealthyServer::acceptNext(Acceptor& acceptor) {
    acceptor.async_accept([&](std::error_code, asio::ip::tcp::socket socket) {
        ++connections_;
        std::thread([this, &acceptor, socket = std::move(socket)]() mutable {
            {
                RawClient client(std::move(socket));
                &acceptor == &commands_ ? serveCommands(client) : serveFrames(client);
            }
            --connections_;
        }).detach();
        acceptNext(acceptor);
    });
}

void HealthyServer::serveCommands(RawClient& client) {
    static const auto replies = tableOfReplies();
    bool isServed = true;
    for (std::string line; isServed && !(line = client.receiveUntil('\n')).empty();) {
        const std::string request = line.substr(std::strlen("sync 0 "));
        const auto whole = replies.find(request);
        const auto found =
            whole != replies.end() ? whole : replies.find(request.substr(0, request.find(' ')));
        std::string bytes = found != replies.end() ? found->second : "error No such method\n";
        if (lacksText(request))
            bytes = "ok for another request\n";
        if (late_) {
            std::this_thread::sleep_for(std::chrono::milliseconds(std::random_device()() % 3000));
            if (bytes == "ok \n")
                bytes = "error " + request.substr(0, request.find(' ')) + " refused\n";
        }
        isServed = answer(client, bytes);
    }
}

void HealthyServer::serveFrames(RawClient& client) {
    bool isServed = true;
    for (std::string name; isServed && !(name = client.receiveUntil('\0')).empty();) {
        client.receiveUntil('\0');
        const long size = std::max(0L, std::atol(client.receiveUntil('\0').c_str()));
        const std::size_t bytes = static_cast<std::size_t>(size);
        if (name == "WriteFrame")
            isServed = answer(client, (receiveFrame(client, bytes) ? "" : "Other bytes") + nul);
        else if (name == "ReadFrame")
            isServed = answer(client, nul) && sendFrame(client, bytes);
    }
}

bool HealthyServer::answer(RawClient& client, const std::string& bytes) {
    const int count = breaking_ ? ++answers_ : 1;
    if (count % 3 != 0)
        return client.send(bytes);
    client.send(bytes.substr(0, static_cast<std::size_t>(count) % bytes.size()));
    client.close(count / 3 % 2 != 0);
    return false;
}
