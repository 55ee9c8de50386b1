// A server that answers every request on both ports, in any order and on any number of
// connections: what clients must find in order when a fault is over. The bytes of each frame are
// "datadata..."; it refuses a frame with others. On demand it breaks connections all the time.
// Listens on a loopback address of its own; owns a thread for each connection. Its clients are
// destroyed before it is.
#ifndef TESTS_FAULTS_HEALTHYSERVER_H
#define TESTS_FAULTS_HEALTHYSERVER_H

#include "tests/devserver/RawClient.h"

#include <atomic>
#include <string>
#include <thread>

/// "datadata...", a megabyte of it.
const std::string& healthyBytes();

class HealthyServer {
public:
    HealthyServer();
    ~HealthyServer();
    HealthyServer(const HealthyServer&) = delete;
    HealthyServer& operator=(const HealthyServer&) = delete;

    const char* host() const { return host_.c_str(); }
    /// While set, every third answer is cut, and its connection closed or reset.
    void breakConnections(bool breaking) { breaking_ = breaking; }
    /// While set, each command is answered up to three seconds late, and those whose success has no
    /// other sign are refused: "METHOD refused".
    void answerLate(bool late) { late_ = late; }
    /// Waits until all clients have gone.
    void awaitNoConnections() const;

private:
    using Acceptor = asio::ip::tcp::acceptor;

    void acceptNext(Acceptor& acceptor);
    void serveCommands(RawClient& client);
    void serveFrames(RawClient& client);
    bool answer(RawClient& client, const std::string& bytes);

    asio::io_context context_;
    Acceptor commands_{context_}, frames_{context_};
    std::string host_;
    std::atomic<bool> breaking_{false};
    std::atomic<bool> late_{false};
    std::atomic<int> answers_{0};
    std::atomic<int> connections_{0};
    std::thread thread_;
};

#endif
