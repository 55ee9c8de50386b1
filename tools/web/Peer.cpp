#include "tools/web/Peer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr std::chrono::seconds idleLimit(60);      // between requests
constexpr std::chrono::seconds headLimit(10);      // of a request, from its first byte to its last
constexpr std::chrono::seconds stallLimit(10);     // of a reply that nobody takes
constexpr std::chrono::milliseconds patience(500); // where others wait for a thread
constexpr int mostBytesSent = 512 << 10;           // and not taken, of a connection
constexpr std::size_t mostHeadBytes = std::size_t{16} << 10;

#ifdef MSG_NOSIGNAL
constexpr int sendFlags = MSG_NOSIGNAL;
#else
constexpr int sendFlags = 0; // the signal is ignored by whoever serves
#endif

bool wouldBlock() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

void prepare(int descriptor) {
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    ::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &mostBytesSent, sizeof mostBytesSent);
}

// What has arrived and was not read would make the system take back what was sent.
void closeGently(int descriptor) {
    ::shutdown(descriptor, SHUT_WR);
    std::array<char, 4096> rest{};
    for (int i = 0; i < 16 && ::recv(descriptor, rest.data(), rest.size(), 0) > 0; ++i) {
    }
    ::close(descriptor);
}

} // namespace

void Peers::endSlowest(Mercy mercy) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto since = [](const PeerSocket* peer) -> PeerSocket::Clock::rep {
        const auto waiting = peer->waitingSince_.load();
        return waiting == 0 ? PeerSocket::Clock::duration::max().count() : waiting;
    };
    const auto slowest = std::min_element(
        members_.begin(), members_.end(),
        [&](const PeerSocket* a, const PeerSocket* b) { return since(a) < since(b); });
    const auto least = mercy == Mercy::None ? PeerSocket::Clock::duration::zero() : patience;
    const auto longAgo = (PeerSocket::Clock::now() - least).time_since_epoch().count();
    if (slowest == members_.end() || since(*slowest) > longAgo) {
        ++wanted_;
        return;
    }
    ::shutdown((*slowest)->descriptor_, SHUT_RDWR);
    (*slowest)->waitingSince_ = 0; // it counts once
}

void Peers::endAll() {
    const std::lock_guard<std::mutex> lock(mutex_);
    isEnding_ = true;
    for (const PeerSocket* peer : members_)
        ::shutdown(peer->descriptor_, SHUT_RDWR);
}

PeerSocket::PeerSocket(int descriptor, Peers& peers) : descriptor_(descriptor), peers_(peers) {
    prepare(descriptor);
    const std::lock_guard<std::mutex> lock(peers_.mutex_);
    place_ = peers_.members_.insert(peers_.members_.end(), this);
    if (peers_.isEnding_)
        ::shutdown(descriptor, SHUT_RDWR);
}

PeerSocket::~PeerSocket() {
    {
        const std::lock_guard<std::mutex> lock(peers_.mutex_);
        peers_.members_.erase(place_);
    }
    closeGently(descriptor_);
}

bool PeerSocket::await(short events, Clock::time_point deadline) {
    waitingSince_ = Clock::now().time_since_epoch().count();
    int ready = 0;
    do {
        pollfd entry{descriptor_, events, 0};
        ready = ::poll(&entry, 1, static_cast<int>(patience.count()));
    } while (ready <= 0 && (ready == 0 || errno == EINTR) && Clock::now() < deadline &&
             !hasToEnd());
    waitingSince_ = 0;
    return ready > 0;
}

bool PeerSocket::hasToEnd() {
    int wanted = peers_.wanted_;
    while (wanted > 0)
        if (peers_.wanted_.compare_exchange_weak(wanted, wanted - 1))
            return true;
    return false;
}

bool PeerSocket::fill(Clock::time_point deadline) {
    for (;;) {
        const ssize_t count = ::recv(descriptor_, buffer_.data(), buffer_.size(), 0);
        if (count > 0) {
            begin_ = 0;
            end_ = static_cast<std::size_t>(count);
            return true;
        }
        if (count == 0 || !wouldBlock() || !await(POLLIN, deadline))
            return false;
    }
}

bool PeerSocket::awaitRequest() {
    headSize_ = 0;
    if (begin_ == end_ && !fill(Clock::now() + idleLimit))
        return false;
    deadline_ = Clock::now() + headLimit;
    return true;
}

std::ptrdiff_t PeerSocket::read(char* bytes, std::size_t size) {
    if (headSize_ >= mostHeadBytes || Clock::now() > deadline_ ||
        (begin_ == end_ && !fill(deadline_)))
        return -1;
    const std::size_t count = std::min({size, end_ - begin_, mostHeadBytes - headSize_});
    std::memcpy(bytes, &buffer_[begin_], count);
    begin_ += count;
    headSize_ += count;
    return static_cast<std::ptrdiff_t>(count);
}

bool PeerSocket::write(const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::send(descriptor_, bytes, size, sendFlags);
        if (count < 0 && (!wouldBlock() || !await(POLLOUT, Clock::now() + stallLimit)))
            return false;
        const auto sent = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        bytes += sent;
        size -= sent;
    }
    return true;
}

bool PeerSocket::hasGone() const {
    char byte = 0;
    const ssize_t count = ::recv(descriptor_, &byte, 1, MSG_PEEK);
    return count == 0 || (count < 0 && !wouldBlock());
}

void refusePeer(int descriptor) {
    constexpr std::string_view reply = "HTTP/1.1 503 Service Unavailable\r\nRetry-After: 1\r\n"
                                       "Content-Length: 0\r\nConnection: close\r\n\r\n";
    prepare(descriptor);
    const bool isTold = ::send(descriptor, reply.data(), reply.size(), sendFlags) > 0;
    static_cast<void>(isTold); // one who has gone need not hear it
    closeGently(descriptor);
}

} // namespace tool
