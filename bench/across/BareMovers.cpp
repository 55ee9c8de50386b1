// Frames moved by plain sockets: as a bare stream, and with the exchange that the library makes.
#include "bench/across/FrameMover.h"
#include "bench/support/Protocols.h"

#include <stdexcept>
#include <utility>

#include <sys/socket.h>

namespace bench {

namespace {

void requireSuccess(bool succeeded) {
    if (!succeeded)
        throw std::runtime_error("The benchmark's peer refused a frame or has gone");
}

class BareCopy : public FrameMover {
public:
    explicit BareCopy(const Peer& peer)
        : socket_(Socket::connectTo(peer.host(), peer.copyPort())) {}

    std::string name(bool reads) const override {
        return reads ? "bare copy received" : "bare copy sent";
    }

    void read(std::size_t size, int count) override {
        order(size, count, /*toClient=*/true);
        for (int i = 0; i < count; ++i)
            requireSuccess(socket_.receiveAll(frameBuffer(), size));
    }

    void write(std::size_t size, int count) override {
        order(size, count, /*toClient=*/false);
        for (int i = 0; i < count; ++i)
            socket_.sendAll(frameBuffer(), size);
        char arrived = '\1';
        requireSuccess(socket_.receiveAll(&arrived, 1));
    }

private:
    void order(std::size_t size, int count, bool toClient) {
        const CopyOrder order{size, static_cast<std::uint32_t>(count), toClient ? 1U : 0U};
        socket_.sendAll(&order, sizeof order);
    }

    Socket socket_;
};

class BareExchange : public FrameMover {
public:
    BareExchange(const std::string& host, FrameIds ids, bool waits)
        : socket_(Socket::connectTo(host, 7550)), ids_(std::move(ids)), waits_(waits) {}

    std::string name(bool reads) const override {
        return std::string("bare exchange ") + (reads ? "read" : "write") +
               (waits_ ? ", one poll" : "");
    }

    void read(std::size_t size, int count) override {
        const std::string id = ids_(size), digits = std::to_string(size);
        for (int i = 0; i < count; ++i) {
            request("ReadFrame", id, digits, 0);
            receiveStatus();
            requireSuccess(socket_.receiveAll(frameBuffer(), size));
        }
    }

    void write(std::size_t size, int count) override {
        const std::string id = ids_(size), digits = std::to_string(size);
        for (int i = 0; i < count; ++i) {
            request("WriteFrame", id, digits, MSG_MORE);
            socket_.sendAll(frameBuffer(), size);
            receiveStatus();
        }
    }

private:
    // What is held back leaves with what follows it, as with the library.
    void request(const std::string& operation, const std::string& id, const std::string& digits,
                 int lastFlags) const {
        sendText(operation, MSG_MORE);
        sendText(id, MSG_MORE);
        sendText(digits, lastFlags);
    }

    void sendText(const std::string& text, int flags) const {
        socket_.sendAll(text.c_str(), text.size() + 1, flags);
    }

    void receiveStatus() const {
        char status = '\1';
        if (waits_)
            socket_.awaitData();
        requireSuccess(socket_.receiveAll(&status, 1) && status == '\0');
    }

    Socket socket_;
    FrameIds ids_;
    bool waits_;
};

} // namespace

std::unique_ptr<FrameMover> bareCopy(const Peer& peer) {
    return std::make_unique<BareCopy>(peer);
}

std::unique_ptr<FrameMover> bareExchange(const std::string& host, const FrameIds& ids, bool waits) {
    return std::make_unique<BareExchange>(host, ids, waits);
}

} // namespace bench
