#include "tests/faults/CallFaults.h"

#include "tests/faults/Cases.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <new>

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

thread_local CallFaults* faults = nullptr;
thread_local WaitWatch* watch = nullptr;
thread_local int socketType = 0;
[[maybe_unused]] thread_local long blocks = 0;

bool fails(Call call) {
    return faults != nullptr && faults->strikes(call);
}

bool failsWithError(Call call) {
    if (!fails(call))
        return false;
    errno = errorOf(call);
    return true;
}

// The function that would have been called.
template <class Function>
Function* next(const char* name, Function*) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

template <class Transfer>
ssize_t transfer(Call call, std::size_t length, Transfer&& real) {
    if (!fails(call))
        return real(length);
    if (faults->failure() == Failure::ShortCount)
        return real(std::min<std::size_t>(length, 1));
    errno = errorOf(call);
    return -1;
}

bool canFail(Call call, Failure failure) {
    const bool transfers = call == Call::Read || call == Call::Send;
    const bool waits = transfers || call == Call::Poll || call == Call::Connect;
    return failure == Failure::Error || transfers || (failure == Failure::Interruption && waits);
}

} // namespace

CallFaults::CallFaults(Failure failure, int nth, int times)
    : failure_(failure), untilFailure_(nth), failuresLeft_(times) {
    faults = this;
}

void CallFaults::disarm() {
    faults = nullptr;
}

bool CallFaults::strikes(Call call) {
    if (!canFail(call, failure_) || (struck() && call != failed_))
        return false;
    if (!struck() && --untilFailure_ > 0)
        return false;
    failed_ = call;
    return failuresLeft_-- > 0;
}

int errorOf(Call call) {
    constexpr int errors[] = {ENOMEM, EMFILE, ENETUNREACH, EINVAL, EINVAL, EINVAL,
                              ENOMEM, EIO,    EIO,         EIO,    EINVAL}; // as Call has them
    const bool interrupted = faults != nullptr && faults->failure() == Failure::Interruption;
    return interrupted ? EINTR : errors[static_cast<std::size_t>(call)];
}

int lastSocketType() {
    return socketType;
}

long liveBlocks() {
    return blocks;
}

void WaitWatch::followThisThread() {
    watch = this;
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's are reserved.
#pragma GCC visibility push(default)

#ifdef LANTRIX_SANITIZED

void* operator new(std::size_t size) {
    void* const block = fails(Call::Memory) ? nullptr : std::malloc(size != 0 ? size : 1);
    return block != nullptr ? block : throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

#else

// operator new takes its memory from here, too.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);

static void* counted(void* block) {
    blocks += block != nullptr ? 1 : 0;
    return block;
}

void* malloc(std::size_t size) noexcept {
    return failsWithError(Call::Memory) ? nullptr : counted(__libc_malloc(size));
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    return failsWithError(Call::Memory) ? nullptr : counted(__libc_calloc(count, size));
}
void* realloc(void* block, std::size_t size) noexcept {
    if (failsWithError(Call::Memory))
        return nullptr;
    void* const moved = __libc_realloc(block, size);
    return block != nullptr ? moved : counted(moved);
}
void free(void* block) noexcept {
    blocks -= block != nullptr ? 1 : 0;
    __libc_free(block);
}
}

#endif

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
    static const auto real = next("socket", &::socket);
    socketType = type;
    return failsWithError(Call::Socket) ? -1 : real(domain, type, protocol);
}

// An interrupted connect goes on in the background.
int connect(int fd, const sockaddr* address, socklen_t length) {
    static const auto real = next("connect", &::connect);
    if (!fails(Call::Connect))
        return real(fd, address, length);
    if (faults->failure() == Failure::Interruption)
        real(fd, address, length);
    errno = errorOf(Call::Connect);
    return -1;
}

int fcntl(int fd, int command, ...) {
    static const auto real = next(sizeof(off_t) > sizeof(int) ? "fcntl64" : "fcntl", &::fcntl);
    std::va_list arguments;
    va_start(arguments, command);
    const int argument = va_arg(arguments, int);
    va_end(arguments);
    return failsWithError(Call::Fcntl) ? -1 : real(fd, command, argument);
}

int setsockopt(int fd, int level, int name, const void* value, socklen_t size) noexcept {
    static const auto real = next("setsockopt", &::setsockopt);
    return failsWithError(Call::SetOption) ? -1 : real(fd, level, name, value, size);
}

int getsockopt(int fd, int level, int name, void* value, socklen_t* size) noexcept {
    static const auto real = next("getsockopt", &::getsockopt);
    return failsWithError(Call::GetOption) ? -1 : real(fd, level, name, value, size);
}

int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
    static const auto real = next("poll", &::poll);
    if (failsWithError(Call::Poll))
        return -1;
    if (watch != nullptr)
        watch->step();
    const int ready = real(descriptors, count, milliseconds);
    if (watch != nullptr)
        watch->step();
    return ready;
}

ssize_t read(int fd, void* buffer, std::size_t length) {
    static const auto real = next("read", &::read);
    return transfer(Call::Read, length, [&](std::size_t most) { return real(fd, buffer, most); });
}

ssize_t send(int fd, const void* buffer, std::size_t length, int flags) {
    static const auto real = next("send", &::send);
    return transfer(Call::Send, length,
                    [&](std::size_t most) { return real(fd, buffer, most, flags); });
}

// Systems close the descriptor even when they report an error.
int close(int fd) {
    static const auto real = next("close", &::close);
    const int result = real(fd);
    return failsWithError(Call::Close) ? -1 : result;
}

int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** found) {
    static const auto real = next("getaddrinfo", &::getaddrinfo);
    return fails(Call::Resolve) ? EAI_AGAIN : real(host, service, hints, found);
}
}

#pragma GCC visibility pop
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
