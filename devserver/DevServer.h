// A media server for development: it serves the whole command and frame protocol from a tree of
// nodes that it keeps in a directory. Embedded by tests, the demo and the tool; lantrixd runs it.
// Owns its listening sockets, its threads (one per connection) and, while it lives, the directory.
// The constructor returns when both ports accept connections. All functions may be called from any
// thread, except from the two callbacks. Failures of the constructor are std::runtime_error.
// The protocol has no authentication: whoever reaches the address may read and change everything,
// and may link clips to any file that the server's user can read.
#ifndef DEVSERVER_DEVSERVER_H
#define DEVSERVER_DEVSERVER_H

#include "devserver/DevServerOptions.h"
#include "rc/rcProtocol.h"

#include <cstddef>
#include <memory>
#include <mutex>

class DevServer {
public:
    static constexpr unsigned short commandPort = rcProtocol::commandPort;
    static constexpr unsigned short framePort = rcProtocol::framePort;
    /// A further connection is told so and closed, with a line in the log.

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
