// Ctrl-C and its like: SIGINT and SIGTERM ask for the end, which the running call and then the verb
// come to. Process-wide; any thread may ask.
#ifndef TOOLS_SESSION_INTERRUPT_H
#define TOOLS_SESSION_INTERRUPT_H

namespace tool {

/// Makes SIGINT and SIGTERM end the running call and then the verb; a second one ends the process.
void catchInterrupts();
/// True once a signal has asked for the end.
[[nodiscard]] bool wasInterrupted();

} // namespace tool

#endif
