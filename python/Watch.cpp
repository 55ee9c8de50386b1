#include "python/Watch.h"

#include "python/Binding.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

namespace python {

namespace {

std::atomic<unsigned> generation{0};
std::atomic<int> wakeDescriptor{-1};    // where the handler and new time limits write
std::atomic<unsigned> mainCall{0};      // counts the calls that wait in the main thread, from 1,
std::atomic<unsigned> signalledCall{0}; // and the one that the last signal met
struct sigaction chained {};            // what SIGINT did before the call of the main thread

void wake() {
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(wakeDescriptor, &byte, 1); // full is awake too
}

void onSignal(int number, siginfo_t* info, void* context) {
    const int saved = errno;
    signalledCall = mainCall.load();
    wake();
    if ((chained.sa_flags & SA_SIGINFO) != 0)
        chained.sa_sigaction(number, info, context);
    else
        chained.sa_handler(number);
    errno = saved;
}

bool askIsMainThread() {
    const py::module_ threading = py::module_::import("threading");
    return threading.attr("get_ident")().equal(threading.attr("main_thread")().attr("ident"));
}

// Asked once in each thread of a process, since a child's main thread is the one that forked.
bool isMainThread() {
    thread_local unsigned askedIn = ~0U;
    thread_local bool isMain = false;
    if (askedIn != processGeneration()) {
        isMain = askIsMainThread();
        askedIn = processGeneration();
    }
    return isMain;
}

} // namespace

/// The thread that ends calls, and the list of those that it may end. Never destroyed: calls of
/// other threads may outlast the interpreter.
class Watcher {
public:
    static Watcher& instance();

    void add(Watch& watch);
    void remove(Watch& watch);
    void endCallsOn(const Endable& target);
    void waitUntilIdle() { const std::lock_guard<std::mutex> lock(mutex_); }

private:
    using Clock = Watch::Clock;

    Watcher();
    void run();
    int endAll();
    void markEndings(Clock::time_point now);

    std::mutex mutex_; // of all below
    std::vector<Watch*> watches_;
    Clock::time_point nextLook_ = Clock::time_point::max();
    int descriptors_[2]{-1, -1};
};

namespace {

Watcher* theWatcher = nullptr; // made and replaced with the interpreter's lock

// A child has a copy of the watcher without its thread: it gets one of its own when it needs it.
void beginChild() {
    ++generation;
    theWatcher = nullptr;
}

[[gnu::constructor]] void watchForks() {
    ::pthread_atfork(nullptr, nullptr, beginChild);
}

} // namespace

unsigned processGeneration() {
    return generation;
}

Watcher& Watcher::instance() {
    if (theWatcher == nullptr)
        theWatcher = new Watcher;
    return *theWatcher;
}

Watcher::Watcher() {
    if (::pipe(descriptors_) != 0)
        throw std::system_error(errno, std::generic_category(), "can't make a pipe");
    for (const int descriptor : descriptors_) {
        ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
    }
    wakeDescriptor = descriptors_[1];
    sigset_t all, before;
    sigfillset(&all); // signals are for the application's threads
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread([this] { run(); }).detach();
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Watcher::add(Watch& watch) {
    const std::lock_guard<std::mutex> lock(mutex_);
    watches_.push_back(&watch);
    if (watch.deadline_ && *watch.deadline_ < nextLook_) {
        nextLook_ = *watch.deadline_;
        wake();
    }
}

void Watcher::remove(Watch& watch) {
    const std::lock_guard<std::mutex> lock(mutex_);
    watches_.erase(std::remove(watches_.begin(), watches_.end(), &watch), watches_.end());
}

void Watcher::endCallsOn(const Endable& target) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (Watch* const watch : watches_)
        if (&watch->target_ == &target && watch->isInside_)
            watch->ending_ = Ending::Stop;
    wake();
}

void Watcher::markEndings(Clock::time_point now) {
    for (Watch* const watch : watches_) {
        if (watch->ending_ != Ending::None)
            continue;
        if (watch->mainCall_ != 0 && watch->mainCall_ == signalledCall)
            watch->ending_ = Ending::Signal;
        else if (watch->deadline_ && *watch->deadline_ <= now)
            watch->ending_ = Ending::Late;
    }
}

// Ends what is to end; returns the milliseconds until it is to be looked at again, or -1.
int Watcher::endAll() {
    constexpr std::chrono::milliseconds again(20);
    const std::lock_guard<std::mutex> lock(mutex_);
    const Clock::time_point now = Clock::now();
    markEndings(now);
    nextLook_ = Clock::time_point::max();
    for (Watch* const watch : watches_) {
        if (watch->ending_ != Ending::None) {
            if (watch->isInside_)
                watch->target_.end();
            nextLook_ = std::min(nextLook_, now + again);
        } else if (watch->deadline_) {
            nextLook_ = std::min(nextLook_, *watch->deadline_);
        }
    }
    if (nextLook_ == Clock::time_point::max())
        return -1;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(nextLook_ - now).count();
    return static_cast<int>(std::clamp<long long>(wait, 0, 3600LL * 1000));
}

void Watcher::run() {
    for (;;) {
        const int wait = endAll();
        pollfd waited{descriptors_[0], POLLIN, 0};
        ::poll(&waited, 1, wait);
        char drained[64];
        while (::read(descriptors_[0], drained, sizeof drained) > 0) {
        }
    }
}

Watch::Watch(Endable& target, TimeLimit limit)
    : target_(target), mainCall_(isMainThread() ? ++mainCall : 0) {
    constexpr double longest = 1e9; // seconds; more is for ever
    if (limit && *limit < longest) {
        deadline_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                       std::chrono::duration<double>(std::max(*limit, 0.0)));
    }
    Watcher::instance().add(*this);
    if (mainCall_ == 0 || ::sigaction(SIGINT, nullptr, &previous_) != 0)
        return;
    const bool hasHandler = (previous_.sa_flags & SA_SIGINFO) != 0 ||
                            (previous_.sa_handler != SIG_DFL && previous_.sa_handler != SIG_IGN);
    if (!hasHandler)
        return;
    chained = previous_;
    struct sigaction caught = previous_;
    caught.sa_flags |= SA_SIGINFO;
    caught.sa_sigaction = onSignal;
    isCaught_ = ::sigaction(SIGINT, &caught, nullptr) == 0;
}

Watch::~Watch() {
    if (isCaught_)
        ::sigaction(SIGINT, &previous_, nullptr);
    Watcher::instance().remove(*this);
}

// The watcher marks the ending before it looks whether the call is inside: one of the two sees the
// other's change.
bool Watch::leave() {
    isInside_ = false;
    if (ending_ == Ending::None)
        return false;
    Watcher::instance().waitUntilIdle();
    return true;
}

void Watch::endCallsOn(const Endable& target) {
    Watcher::instance().endCallsOn(target);
}

} // namespace python
