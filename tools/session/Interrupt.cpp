#include "tools/session/Interrupt.h"

#include <atomic>
#include <csignal>

namespace tool {

namespace {

std::atomic<bool> interrupted{false}; // lock-free, so a handler may set it

extern "C" {
static void noteInterrupt(int signal) {
    interrupted.store(true);
    std::signal(signal, SIG_DFL);
}
}

} // namespace

void catchInterrupts() {
    std::signal(SIGINT, noteInterrupt);
    std::signal(SIGTERM, noteInterrupt);
    // A file that grows beyond a limit is an error of its writing like others.
    std::signal(SIGXFSZ, SIG_IGN);
}

bool wasInterrupted() {
    return interrupted.load();
}

} // namespace tool
