#include "tools/session/Interrupt.h"

#include <atomic>
#include <csignal>
#include <initializer_list>

#include <pthread.h>

namespace tool {

namespace {

std::atomic<bool> interrupted{false}; // lock-free, so a handler may set it

extern "C" {
static void noteInterrupt(int signal) {
    interrupted.store(true);
    std::signal(signal, SIG_DFL);
}

static void doNothing(int /*signal*/) {}
}

} // namespace

void catchInterrupts() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        // What nohup or a shell's background ignores stays ignored.
        if (std::signal(signal, noteInterrupt) == SIG_IGN)
            std::signal(signal, SIG_IGN);
    }
    std::signal(SIGURG, doNothing);
    // A file that grows beyond a limit is an error of its writing like others.
    std::signal(SIGXFSZ, SIG_IGN);
}

bool wasInterrupted() {
    return interrupted.load();
}

const std::atomic<bool>& interruptFlag() {
    return interrupted;
}

void wake(pthread_t thread) {
    ::pthread_kill(thread, SIGURG);
}

} // namespace tool
