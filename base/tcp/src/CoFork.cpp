#include "base/tcp/src/CoFork.h"

#include <pthread.h>

namespace {

unsigned generation = 0; // written in a child's only thread, before fork returns there

void beginGeneration() {
    ++generation;
}

__attribute__((constructor)) void watchForks() {
    ::pthread_atfork(nullptr, nullptr, beginGeneration);
}

} // namespace

unsigned coProcessGeneration() {
    return generation;
}
