#include "tests/tools/FaultyServer.h"

#include <algorithm>
#include <cstdlib>

namespace {

const std::string nul(1, '\0');

std::string changed(Change::Of of, const std::string& request, std::string text,
                    const Fault& fault) {
    for (const Change& change : fault) {
        if (change.of != of || request.find(change.request) == std::string::npos)
            continue;
        const std::size_t at = text.find(change.from);
        if (change.from.empty())
            text = change.to;
        else if (at != std::string::npos)
            text.replace(at, change.from.size(), change.to);
    }
    return text;
}

// The bytes of a frame behind a request or a status; none when the size is not one.
std::string frameOf(RawClient& peer, const std::string& size) {
    const long bytes = std::atol(size.c_str());
    return peer.receive(bytes > 0 && bytes < 1000000 ? static_cast<std::size_t>(bytes) : 0);
}

} // namespace

FaultyServer::FaultyServer(const std::string& address, std::string server, int minor)
    : server_(std::move(server)), minor_(minor),
      commands_(context_, {asio::ip::make_address(address), DevServer::commandPort}),
      frames_(context_, {asio::ip::make_address(address), DevServer::framePort}) {
    accept(commands_, &FaultyServer::relayCommands);
    accept(frames_, &FaultyServer::relayFrames);
    acceptThread_ = std::thread([this] { context_.run(); });
}

FaultyServer::~FaultyServer() {
    context_.stop();
    acceptThread_.join();
    for (std::thread& connection : connections_)
        connection.join();
}

void FaultyServer::setFault(Fault fault) {
    const std::lock_guard<std::mutex> lock(mutex_);
    fault_ = std::move(fault);
}

void FaultyServer::accept(Acceptor& acceptor, Relay relay) {
    acceptor.async_accept([=, &acceptor](std::error_code error, asio::ip::tcp::socket socket) {
        if (error)
            return;
        const unsigned short port = acceptor.local_endpoint().port();
        const std::lock_guard<std::mutex> lock(mutex_);
        connections_.emplace_back([=, fault = fault_, socket = std::move(socket)]() mutable {
            RawClient client(std::move(socket));
            RawClient server(server_, port);
            (this->*relay)(client, server, fault);
        });
        accept(acceptor, relay);
    });
}

void FaultyServer::relayCommands(RawClient& client, RawClient& server, const Fault& fault) const {
    for (std::string line; (line = client.receiveUntil('\n') + "\n") != "\n";) {
        const std::string request = changed(Change::Of::Request, line, line, fault);
        server.send(request);
        std::string reply;
        if (request.substr(0, 5) == "sync ")
            reply = server.receiveUntil('\n') + "\n";
        const bool isOver = reply == "\n"; // the server has closed
        client.send(changed(Change::Of::Reply, line, isOver ? "" : reply, fault));
        if (isOver)
            return;
    }
}

void FaultyServer::relayFrames(RawClient& client, RawClient& server, const Fault& fault) const {
    for (;;) {
        const std::string name = client.receiveUntil('\0');
        const bool writes = name == "WriteFrame";
        const bool reads = name == "ReadFrame";
        const bool isKnown = writes || reads || (name == "ReadAhead" && minor_ >= 5);
        std::string size;
        std::string request = name + nul;
        if (isKnown) {
            const std::string id = client.receiveUntil('\0');
            size = client.receiveUntil('\0');
            request = frameRequest(name, id, size);
        }
        const std::string data = writes ? frameOf(client, size) : "";
        server.send(changed(Change::Of::Request, request, request, fault) + data);
        if (writes && data.size() < static_cast<std::size_t>(std::max(0L, std::atol(size.c_str()))))
            return;
        std::string reply;
        if (writes || reads || !isKnown)
            reply = server.receiveUntil('\0') + nul;
        if (reads && reply == nul)
            reply += frameOf(server, size);
        if (!client.send(changed(Change::Of::Reply, request + data, reply, fault)) || !isKnown ||
            (writes && std::atol(size.c_str()) <= 0))
            return;
    }
}
