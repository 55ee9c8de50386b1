#include "base/tcp/src/CoFork.h"

#include <pthread.h>

namespace {

unsigned generation = 0; // written in a child's only thread, before fork returns there

// GCOVR_EXCL_START: runs in the children of tests, which end without writing their counts
void beginGeneration() {
    ++generation;
}
// GCOVR_EXCL_STOP

__attribute__((constructor)) void watchForks() {
    ::pthread_atfork(nullptr, nullptr, beginGeneration);
}

} // namespace

unsigned coProcessGeneration() {
    return generation;
}
