// A development server with one fault: between it and its clients stands a relay that changes what
// a fault names, in requests or in replies, and passes all else on.
// Listens on an address of its own. Owns its threads, one for each connection. A fault is set from
// the test's thread and holds for the connections that follow.
#ifndef TESTS_TOOLS_FAULTYSERVER_H
#define TESTS_TOOLS_FAULTYSERVER_H

#include "tests/devserver/RawClient.h"

#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// One change to requests that hold a text, or to the replies to them.
struct Change {
    enum class Of { Request, Reply };
    Of of;
    std::string request; ///< A part of it. Those of the frame connection hold NULs.
    std::string from;    ///< Empty: all of it, even if it is nothing.
    std::string to;
};
using Fault = std::vector<Change>;

class FaultyServer {
public:
    /// Relays to the server on this address, which speaks protocol 2.MINOR.
    FaultyServer(const std::string& address, std::string server, int minor);
    ~FaultyServer();
    FaultyServer(const FaultyServer&) = delete;
    FaultyServer& operator=(const FaultyServer&) = delete;

    void setFault(Fault fault);

private:
    using Acceptor = asio::ip::tcp::acceptor;
    using Relay = void (FaultyServer::*)(RawClient& client, RawClient& server,
                                         const Fault& fault) const;

    void accept(Acceptor& acceptor, Relay relay);
    void relayCommands(RawClient& client, RawClient& server, const Fault& fault) const;
    void relayFrames(RawClient& client, RawClient& server, const Fault& fault) const;

    const std::string server_;
    const int minor_;
    asio::io_context context_;
    Acceptor commands_, frames_;
    std::mutex mutex_; // guards the fault
    Fault fault_;
    std::list<std::thread> connections_;
    std::thread acceptThread_;
};

#endif
