// Ctrl-C and its like: SIGINT, SIGTERM and SIGHUP ask for the end, which the running call and then
// the verb come to. Process-wide; any thread may ask.
#ifndef TOOLS_SESSION_INTERRUPT_H
#define TOOLS_SESSION_INTERRUPT_H

#include <atomic>

#include <pthread.h>

namespace tool {

/// Makes SIGINT, SIGTERM and SIGHUP end the running call and then the verb; a second one ends the
/// process. Those that are ignored stay so.
void catchInterrupts();
/// True once a signal has asked for the end.
[[nodiscard]] bool wasInterrupted();
/// The same as a flag, for pools to watch.
[[nodiscard]] const std::atomic<bool>& interruptFlag();
/// Ends the thread's wait for a descriptor, if it is in one, by a signal that does nothing else.
void wake(pthread_t thread);

} // namespace tool

#endif
