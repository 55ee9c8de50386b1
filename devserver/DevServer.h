// A media server for development: it serves the whole command and frame protocol from a tree of
// nodes that it keeps in a directory. Embedded by tests, the demo and the tool; lantrixd runs it.
// Owns its listening sockets, its threads (one per connection) and, while it lives, the directory.
// The constructor returns when both ports accept connections. All functions may be called from any
// thread, except from the two callbacks. Failures of the constructor are std::runtime_error.
// The protocol has no authentication: whoever reaches the address may read and change everything,
// and may link clips to any file that the server's user can read.
#ifndef DEVSERVER_DEVSERVER_H
#define DEVSERVER_DEVSERVER_H

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

struct DevServerOptions {
    /// Where the tree is kept; made when missing. One server at a time uses a directory.
    std::string root;
    /// Numeric address to listen on.
    std::string listen = "127.0.0.1";
    /// Must be set for an address that is not loopback.
    bool allowRemote = false;
    /// The protocol to speak: methods that came later are unknown to the server.
    int protocolMajor = 2;
    int protocolMinor = 6;
    /// What the plug-in queries answer.
    std::string vendor = "Lantrix";
    std::string product = "lantrixd";
    /// Clips to make unless they are there, each "PATH=WxHxBITS[xCHANNELS][@RATE]". Missing nodes
    /// on the way are made too.
    std::vector<std::string> clips;
    /// Bound of the frames that are kept at hand, read before or announced with "ReadAhead", in
    /// bytes. Large ones are in the system's file cache, which gives way to other needs.
    std::size_t prefetchBytes = std::size_t{256} << 20;
    /// Log each request too.
    bool verbose = false;
    /// Takes one line of the log, without a line feed; null drops it. Called from the server's
    /// threads, by one at a time.
    std::function<void(const std::string& line)> log;
    /// Called once when a client has asked for the server's end, after its reply was sent and both
    /// ports were closed. stop() is still to be called, from another thread.
    std::function<void()> shutdownRequested;
};

class DevServer {
public:
    static constexpr unsigned short commandPort = 7549;
    static constexpr unsigned short framePort = 7550;
    /// A further connection is closed at once, with a line in the log.
    static constexpr std::size_t maximumConnections = 1024;

    /// Opens the directory, makes the clips and listens. The error names the port and address that
    /// can't be had, the directory that is in use, or what is wrong with a clip.
    explicit DevServer(DevServerOptions options);
    /// As stop().
    ~DevServer();
    DevServer(const DevServer&) = delete;
    DevServer& operator=(const DevServer&) = delete;

    /// Ends all connections and threads, releases the ports and the directory. What was
    /// acknowledged is kept. A second call does nothing.
    void stop();

private:
    class Impl;
    std::mutex stopMutex_;       // lets a second stop() wait for the first
    std::unique_ptr<Impl> impl_; // null once stopped
};

#endif
