// A server that answers every request on both ports, in any order and on any number of
// connections: what clients must find in order when a fault is over. On demand it breaks
// connections all the time. Listens on a loopback address of its own; owns a thread for each
// connection. Its clients are destroyed before it is.
#ifndef TESTS_FAULTS_HEALTHYSERVER_H
#define TESTS_FAULTS_HEALTHYSERVER_H

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

class HealthyServer {
public:
    HealthyServer();
    ~HealthyServer();
    HealthyServer(const HealthyServer&) = delete;
    HealthyServer& operator=(const HealthyServer&) = delete;

    const char* host() const { return host_.c_str(); }
    /// While set, every third answer is cut, and its connection closed or reset.
    void breakConnections(bool breaking) { breaking_ = breaking; }
    /// Waits until all clients have gone.
    void awaitNoConnections() const;

private:
    class Connection;

    void run();

    std::string host_;
    int listeners_[2] = {-1, -1}; // commands, frames
    int ending_[2] = {-1, -1};    // a pipe: closing the second end ends the thread
    std::atomic<bool> breaking_{false};
    std::atomic<int> answers_{0};
    std::atomic<int> connections_{0};
    std::thread thread_;
};

#endif
