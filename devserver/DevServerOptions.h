// What a development server is to do: where it keeps its tree, where it listens, what it answers.
// A plain value.
#ifndef DEVSERVER_DEVSERVEROPTIONS_H
#define DEVSERVER_DEVSERVEROPTIONS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

/// What is flushed to the disk before its reply is sent, and so outlasts a loss of power. What was
/// acknowledged always outlasts the end of the process.
enum class DevSync {
    None,
    Descriptions, ///< Nodes and their metadata, and the folders that they are in.
    All           ///< Frames too.
};

/// As command lines name them.
inline std::map<std::string, DevSync> devSyncNames() {
    return {
        {"none", DevSync::None}, {"descriptions", DevSync::Descriptions}, {"all", DevSync::All}};
}

struct DevServerOptions {
    /// Where the tree is kept; made when missing. One server at a time uses a directory.
    std::string root;
    /// Numeric address to listen on.
    std::string listen = "127.0.0.1";
    /// Must be set for an address that is not loopback.
    bool allowRemote = false;
    DevSync sync = DevSync::Descriptions;
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
    /// Ends a connection on which nothing has moved for so long; zero never does.
    std::chrono::seconds idle{0};
    /// Bound of what the requests and replies of all connections take of memory together; small
    /// ones are always served.
    std::size_t memoryBytes = std::size_t{512} << 20;
    /// Connections in all, and those of one address; a further one is told so and closed.
    std::size_t connections = 1024;
    std::size_t connectionsPerAddress = 512;
    /// Log each request too.
    bool verbose = false;
    /// Takes one line of the log, without a line feed and of 2 KiB at most; null drops it. Called
    /// from the server's threads, by one at a time; what it waits for, the service waits for.
    std::function<void(const std::string& line)> log;
    /// Called once when a client has asked for the server's end, after its reply was sent and both
    /// ports were closed. stop() is still to be called, from another thread.
    std::function<void()> shutdownRequested;
};

#endif
