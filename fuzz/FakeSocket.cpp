#include "fuzz/FakeSocket.h"

#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

FakeSocket& FakeSocket::instance() {
    static FakeSocket socket;
    return socket;
}

void FakeSocket::serve(std::string_view reply, Ending ending) {
    pending_.assign(reply);
    pendingEnding_ = ending;
    bytesRead_ = 0;
    waits_ = 0;
    stopCalled_ = false;
}

void FakeSocket::serveEach(std::function<std::string(std::string_view)> answer) {
    answer_ = std::move(answer);
}

void FakeSocket::keepUnread(std::size_t size) {
    incoming_.resize(std::min(incoming_.size(), position_ + size));
}

void FakeSocket::setArrival(Arrival arrival, unsigned seed) {
    arrival_ = arrival;
    random_ = seed;
}

void FakeSocket::setStop(std::function<void()> stop, unsigned wait) {
    stop_ = std::move(stop);
    stopWait_ = wait;
}

unsigned FakeSocket::random(unsigned bound) {
    random_ = random_ * 1664525 + 1013904223;
    return (random_ >> 16) % bound;
}

std::size_t FakeSocket::pieceOf(std::size_t size) {
    if (arrival_ == Arrival::Whole)
        return size;
    return std::min<std::size_t>(size, arrival_ == Arrival::Singly ? 1 : 1 + random(8));
}

int FakeSocket::open() {
    require(!open_);
    open_ = true;
    broken_ = false;
    incoming_.clear();
    position_ = 0;
    ending_ = Ending::Stall;
    return descriptor;
}

int FakeSocket::connect() {
    require(open_);
    if (arrival_ != Arrival::Disturbed)
        return 0;
    errno = EINPROGRESS;
    return -1;
}

void FakeSocket::callStop() {
    require(stop_ != nullptr);
    stopCalled_ = true;
    stop_();
}

int FakeSocket::pollForReply() {
    if (++waits_ == stopWait_)
        callStop();
    if (broken_ || position_ < incoming_.size() || ending_ != Ending::Stall)
        return POLLIN;
    if (!stopCalled_)
        callStop();
    return 0;
}

int FakeSocket::poll(short events) {
    require(open_);
    if (arrival_ == Arrival::Disturbed && random(4) == 0) {
        errno = EINTR;
        return events == POLLIN && random(2) == 0 ? 0 : -1;
    }
    return events == POLLIN ? pollForReply() : POLLOUT;
}

ssize_t FakeSocket::read(char* buffer, std::size_t size) {
    require(open_);
    if (position_ < incoming_.size() && !broken_) {
        const std::size_t count = pieceOf(std::min(size, incoming_.size() - position_));
        std::memcpy(buffer, incoming_.data() + position_, count);
        position_ += count;
        bytesRead_ += count;
        return static_cast<ssize_t>(count);
    }
    if (!broken_ && ending_ == Ending::Stall) {
        errno = EAGAIN;
        return -1;
    }
    errno = ECONNRESET;
    return std::exchange(broken_, true) || ending_ == Ending::Close ? 0 : -1;
}

ssize_t FakeSocket::send(std::string_view bytes, int flags) {
    require(open_ && (flags & MSG_NOSIGNAL) != 0);
    if (broken_) {
        errno = EPIPE;
        return -1;
    }
    if (arrival_ == Arrival::Disturbed)
        bytes = bytes.substr(0, pieceOf(bytes.size()));
    if (answer_ != nullptr)
        pending_ = answer_(bytes);
    incoming_.erase(0, std::exchange(position_, 0));
    incoming_ += pending_;
    ending_ = pendingEnding_;
    pending_.clear();
    return static_cast<ssize_t>(bytes.size());
}

int FakeSocket::close() {
    require(std::exchange(open_, false));
    return 0;
}

extern "C" {

int __wrap_socket(int, int, int);
int __wrap_connect(int, const sockaddr*, socklen_t);
int __wrap_setsockopt(int, int, int, const void*, socklen_t);
int __wrap_getsockopt(int, int, int, void*, socklen_t*);
int __wrap_fcntl(int, int, ...);
int __wrap_fcntl64(int, int, ...);
int __wrap_getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**);
void __wrap_freeaddrinfo(addrinfo*);
int __wrap_poll(pollfd*, nfds_t, int);
ssize_t __wrap_read(int, void*, std::size_t);
ssize_t __wrap_send(int, const void*, std::size_t, int);
int __wrap_close(int);
ssize_t __real_read(int, void*, std::size_t);
int __real_close(int);

int __wrap_socket(int, int, int) {
    return FakeSocket::instance().open();
}

int __wrap_connect(int, const sockaddr*, socklen_t) {
    return FakeSocket::instance().connect();
}

int __wrap_setsockopt(int, int, int, const void*, socklen_t) {
    return 0;
}

// NOLINTNEXTLINE(readability-non-const-parameter): as the system declares it
int __wrap_getsockopt(int, int, int, void* value, socklen_t* size) {
    std::memset(value, 0, *size);
    return 0;
}

int __wrap_fcntl(int, int, ...) {
    return 0;
}

int __wrap_fcntl64(int, int, ...) {
    return 0;
}

int __wrap_getaddrinfo(const char*, const char*, const addrinfo*, addrinfo** found) {
    static sockaddr_in address{};
    static addrinfo answer{};
    answer.ai_addrlen = sizeof address;
    answer.ai_addr = reinterpret_cast<sockaddr*>(&address);
    *found = &answer;
    return 0;
}

void __wrap_freeaddrinfo(addrinfo*) {}

int __wrap_poll(pollfd* descriptors, nfds_t, int) {
    const int result = FakeSocket::instance().poll(descriptors->events);
    descriptors->revents = static_cast<short>(std::max(result, 0));
    return std::min(result, 1);
}

ssize_t __wrap_read(int fd, void* buffer, std::size_t size) {
    if (fd != FakeSocket::descriptor)
        return __real_read(fd, buffer, size);
    return FakeSocket::instance().read(static_cast<char*>(buffer), size);
}

ssize_t __wrap_send(int, const void* buffer, std::size_t size, int flags) {
    return FakeSocket::instance().send({static_cast<const char*>(buffer), size}, flags);
}

int __wrap_close(int fd) {
    return fd == FakeSocket::descriptor ? FakeSocket::instance().close() : __real_close(fd);
}
}
