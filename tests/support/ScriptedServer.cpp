#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int commandPort = 7549;
constexpr int framePort = 7550;
constexpr int patienceMilliseconds = 20000; // only a broken test waits this long

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return fd_; }
    void reset(int fd = -1) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_;
};

// Addresses 127.1.0.0 to 127.254.255.255, a different range in each process. Those that are
// taken all the same are found out when they are bound.
std::uint32_t nextAddress() {
    static std::atomic<std::uint32_t> next(static_cast<std::uint32_t>(::getpid()) * 256U);
    return 0x7F010000U + next++ % 0x00FE0000U;
}

std::string shown(const std::string& bytes) {
    return testing::PrintToString(bytes.substr(0, 200));
}

void require(int status, const char* call) {
    if (status != 0)
        throw std::system_error(errno, std::generic_category(), call);
}

struct Pipe {
    Pipe() {
        int ends[2];
        require(::pipe(ends), "pipe");
        reader.reset(ends[0]);
        writer.reset(ends[1]);
    }
    // A signal of the test may interrupt its own thread.
    void put() const {
        while (::write(writer.get(), "", 1) < 0 && errno == EINTR)
            continue;
    }
    void take() const {
        char byte;
        while (::read(reader.get(), &byte, 1) < 0 && errno == EINTR)
            continue;
    }

    Descriptor reader, writer;
};

} // namespace

struct ScriptedServer::Shared {
    Pipe finishing; // readable once its writing end is closed
    Pipe reached;   // a byte for each gate that a script has come to
    Pipe opened;    // a byte for each gate that was opened
};

class ScriptedServer::Channel {
public:
    Channel(Shared& shared, std::uint32_t address, int port)
        : shared_(shared), listener_(::socket(AF_INET, SOCK_STREAM, 0)) {
        name_.sin_family = AF_INET;
        name_.sin_addr.s_addr = htonl(address);
        name_.sin_port = htons(static_cast<std::uint16_t>(port));
        require(::bind(listener_.get(), reinterpret_cast<sockaddr*>(&name_), sizeof name_), "bind");
    }

    void play(Script script) {
        script_ = std::move(script);
        require(::listen(listener_.get(), 64), "listen");
        thread_ = std::thread(&Channel::run, this);
    }

    // One connection fills the queue, and nobody takes it from there.
    void ignoreConnections() {
        require(::listen(listener_.get(), 0), "listen");
        connection_.reset(::socket(AF_INET, SOCK_STREAM, 0));
        const int fd = connection_.get();
        require(::connect(fd, reinterpret_cast<sockaddr*>(&name_), sizeof name_), "connect");
    }

    std::string join() {
        if (thread_.joinable())
            thread_.join();
        return problem_;
    }

private:
    void run() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr); // a test's signals are meant for the client
        std::size_t step = 0;
        try {
            for (; step < script_.size(); ++step)
                play(script_[step]);
            refuseMore();
        } catch (const std::exception& error) {
            problem_ = "step " + std::to_string(step) + ": " + error.what() + "\n";
            connection_.reset(); // so that nobody waits for the rest
            listener_.reset();
            shared_.reached.put();
        }
    }

    void play(const Step& step) {
        if (step.then == Step::Then::Gate)
            return passGate();
        requireConnection();
        receive(step.expected);
        send(step.sent, step.byteByByte ? 1 : step.sent.size());
        if (step.then == Step::Then::AwaitClose)
            requireSilence();
        else if (step.then == Step::Then::HalfClose)
            ::shutdown(connection_.get(), SHUT_WR);
        else if (step.then != Step::Then::GoOn)
            close(step.then == Step::Then::Reset);
    }

    void close(bool abortive) {
        const linger atOnce = {abortive ? 1 : 0, 0};
        ::setsockopt(connection_.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        connection_.reset();
    }

    // False when the test is over and nothing is left to be read.
    bool awaitReadable(int fd) const {
        pollfd polled[] = {{fd, POLLIN, 0}, {shared_.finishing.reader.get(), POLLIN, 0}};
        if (::poll(polled, 2, patienceMilliseconds) == 0)
            throw std::runtime_error("the client is silent");
        return polled[0].revents != 0;
    }

    void requireConnection() {
        if (connection_.get() >= 0)
            return;
        if (!awaitReadable(listener_.get()))
            throw std::runtime_error("no connection");
        connection_.reset(::accept(listener_.get(), nullptr, nullptr));
        const int on = 1;
        ::setsockopt(connection_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }

    // What one read gives; "" at the end of the stream, however the client ended it.
    std::string receiveSome(std::size_t most) {
        std::string bytes(most, '\0');
        const ssize_t count = ::recv(connection_.get(), bytes.data(), most, 0);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }

    void receive(const std::string& expected) {
        std::string received;
        while (received.size() < expected.size()) {
            const bool readable = awaitReadable(connection_.get());
            const std::string bytes =
                readable ? receiveSome(expected.size() - received.size()) : "";
            received += bytes;
            if (bytes.empty() || expected.compare(0, received.size(), received) != 0)
                throw std::runtime_error("expected " + shown(expected) + ", received " +
                                         shown(received));
        }
    }

    // A client may hang up on what it is sent: the next step then finds it gone.
    void send(const std::string& bytes, std::size_t segment) const {
        for (std::size_t at = 0; at < bytes.size(); at += segment)
            if (::send(connection_.get(), &bytes[at], segment, MSG_NOSIGNAL) < 0)
                return;
    }

    // Until the client closes, or the test is over.
    void requireSilence() {
        while (awaitReadable(connection_.get())) {
            const std::string bytes = receiveSome(4096);
            if (bytes.empty())
                break;
            throw std::runtime_error("received beyond the script: " + shown(bytes));
        }
        connection_.reset();
    }

    void refuseMore() {
        if (connection_.get() >= 0)
            requireSilence();
        if (awaitReadable(listener_.get()))
            throw std::runtime_error("one connection more than the script knows");
    }

    void passGate() {
        shared_.reached.put();
        if (awaitReadable(shared_.opened.reader.get()))
            shared_.opened.take();
    }

    Shared& shared_;
    sockaddr_in name_{};
    Descriptor listener_;
    Descriptor connection_;
    Script script_;
    std::string problem_;
    std::thread thread_;
};

Step expect(std::string bytes) {
    return {std::move(bytes), ""};
}

Step reply(std::string bytes) {
    return {"", std::move(bytes)};
}

Step dribble(std::string bytes) {
    return {"", std::move(bytes), Step::Then::GoOn, true};
}

Step call(const std::string& request, const std::string& reply) {
    return {"sync 0 " + request + "\n", reply + "\n"};
}

ScriptedServer::ScriptedServer() : shared_(std::make_unique<Shared>()) {
    while (frames_ == nullptr) {
        const std::uint32_t address = nextAddress();
        try {
            commands_ = std::make_unique<Channel>(*shared_, address, commandPort);
            frames_ = std::make_unique<Channel>(*shared_, address, framePort);
        } catch (const std::system_error& error) {
            if (error.code() != std::errc::address_in_use)
                throw;
        }
        const in_addr name = {htonl(address)};
        host_ = ::inet_ntoa(name);
    }
}

ScriptedServer::~ScriptedServer() {
    const std::string problems = finish();
    if (!problems.empty())
        ADD_FAILURE() << problems;
}

const char* ScriptedServer::host() const {
    return host_.c_str();
}

void ScriptedServer::commands(Script script) {
    commands_->play(std::move(script));
}

void ScriptedServer::frames(Script script) {
    frames_->play(std::move(script));
}

void ScriptedServer::ignoreConnections() {
    commands_->ignoreConnections();
    frames_->ignoreConnections();
}

void ScriptedServer::awaitGate() {
    shared_->reached.take();
}

void ScriptedServer::openGate() {
    shared_->opened.put();
}

std::string ScriptedServer::finish() {
    shared_->finishing.writer.reset();
    return commands_->join() + frames_->join();
}
