// Opening a connection: the calls of CoIoTcpDescriptor that differ between systems. The file has
// the name that its messages have always given; what it calls is POSIX, so it is built everywhere.
#include "base/tcp/src/CoIoTcpDescriptor.h"

#include "base/loggerBase/src/CoAssert.h"
#include "base/loggerBase/src/CoMsg.h"
#include "base/loggerBase/src/CoText.h"
#include "base/tcp/src/CoFork.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {

const char* const source = "base/tcp/src/CoIoTcpDescriptor_MACOSX";
constexpr int hostNameLine = 63, awaitedLine = 154, connectedLine = 180, noDelayLine = 190,
              nonBlockingLine = 255;

using Clock = std::chrono::steady_clock;

void postConnected(int line, const std::string& hostName) {
    CoMsg::mod_ = source;
    CoMsg::lineNo_ = line;
    CoMsg::postDebug("Connected to host : %s", hostName.c_str());
}

// A program that the application starts does not inherit the connection. Where the system can say
// so while it makes the socket, none that is started in between does either.
int openSocket() {
#ifdef SOCK_CLOEXEC
    return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
#else
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    return fd;
#endif
}

// Where no send flag says that a vanished peer raises no signal, the socket itself does.
void keepFromSignals([[maybe_unused]] int fd) {
#ifdef SO_NOSIGPIPE
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
}

// What is written waits in the system until the network takes it. More of it than keeps the network
// busy would only push itself out of the processor's caches before it is sent: a quarter more time
// for a large frame. Where a system can't bound it, it is not bounded.
void boundUnsent([[maybe_unused]] int fd) {
#ifdef TCP_NOTSENT_LOWAT
    const int bytes = 256 << 10;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &bytes, sizeof bytes);
#endif
}

int millisecondsUntil(Clock::time_point deadline) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

int pendingError(int fd) {
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

} // namespace

CoIoTcpDescriptor::CoIoTcpDescriptor(const char* hostName, int port, int sendBufferSize,
                                     int receiveBufferSize, int timeoutSeconds)
    : hostName_(coTextOrEmpty(hostName)), generation_(coProcessGeneration()) {
    coAssert(hostName != nullptr, "hostName", source, hostNameLine);
    open(port, sendBufferSize, receiveBufferSize, timeoutSeconds);
}

void CoIoTcpDescriptor::open(int port, int sendBufferSize, int receiveBufferSize,
                             int timeoutSeconds) {
    const int fd = openSocket();
    if (fd < 0) {
        const std::string reason = quoted(getLastSocketError());
        fail(("Can't open socket for host " + quoted(hostName_) + ": " + reason).c_str());
        return;
    }
    setId(fd); // owned from here on, so that no failure below leaks it
    keepFromSignals(fd);
    boundUnsent(fd);
    setNoDelaySocketOption(fd, true);
    if (sendBufferSize > 0)
        setSendBufferSizeSocketOption(fd, sendBufferSize);
    if (receiveBufferSize > 0)
        setReceiveBufferSizeSocketOption(fd, receiveBufferSize);
    sockaddr_in address{};
    if (!resolve(port, address)) {
        fail(("Unknown host " + quoted(hostName_)).c_str());
        return;
    }
    if (setNonBlocking(fd, true))
        connectTo(address, timeoutSeconds);
}

// The classic resolver call keeps its answer in storage that all threads share.
bool CoIoTcpDescriptor::resolve(int port, sockaddr_in& address) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (hostName_.empty() || ::getaddrinfo(hostName_.c_str(), nullptr, &hints, &found) != 0)
        return false;
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> release(found, &::freeaddrinfo);
    if (found == nullptr || found->ai_addrlen < sizeof address)
        return false; // GCOVR_EXCL_LINE: no resolver that is known answers so
    std::memcpy(&address, found->ai_addr, sizeof address);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return true;
}

void CoIoTcpDescriptor::failToConnect(const char* reason) {
    fail(("Can't open connection to host " + quoted(hostName_) + ": " + reason).c_str());
}

void CoIoTcpDescriptor::connectTo(const sockaddr_in& address, int timeoutSeconds) {
    if (::connect(id(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        // GCOVR_EXCL_START: some systems reach themselves at once, but this one does not
        postConnected(connectedLine, hostName_);
        return;
        // GCOVR_EXCL_STOP
    }
    // An interrupted connect goes on by itself, like one in progress.
    if (errno == EINPROGRESS || errno == EINTR)
        awaitConnection(timeoutSeconds);
    else
        failToConnect(quoted(getLastSocketError()).c_str());
}

// A wait that fails counts as answered, like one that succeeds: the socket's pending error says
// which.
void CoIoTcpDescriptor::awaitConnection(int timeoutSeconds) {
    const auto deadline = Clock::now() + std::chrono::seconds(timeoutSeconds);
    Wait waited;
    do
        waited = wait(Direction::Write, millisecondsUntil(deadline));
    while (waited == Wait::Interrupted);
    if (waited == Wait::TimedOut) {
        failToConnect("Timed out");
        return;
    }
    errno = pendingError(id());
    if (errno != 0)
        failToConnect(quoted(getLastSocketError()).c_str());
    else
        postConnected(awaitedLine, hostName_);
}

bool CoIoTcpDescriptor::setNonBlocking(int fd, bool on) {
    const int flags = ::fcntl(fd, F_GETFL);
    const int wanted = on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
    if (flags >= 0 && ::fcntl(fd, F_SETFL, wanted) >= 0) {
        if (fd == id())
            setNeverBlocks(on);
        return true;
    }
    const std::string text =
        std::string("Couldn't set socket as nonblocking: ") + getLastSocketError();
    CoMsg::mod_ = source;
    CoMsg::lineNo_ = nonBlockingLine;
    CoMsg::postError("%s", text.c_str());
    fail(text.c_str());
    return false;
}

void CoIoTcpDescriptor::setNoDelaySocketOption(int fd, bool on) {
    const int value = on ? 1 : 0;
    if (::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &value, sizeof value) == 0)
        return;
    CoMsg::mod_ = source;
    CoMsg::lineNo_ = noDelayLine;
    CoMsg::postError("Cannot set socket option: %s", getLastSocketError());
}
