// The library's log for Python's logging: messages are kept as they come, in whatever thread, and
// given to logging by the next call that holds the interpreter's lock. No thread of the library
// ever waits for the interpreter.
#ifndef PYTHON_LOG_H
#define PYTHON_LOG_H

namespace python {

/// Makes this file the router of the library's messages, once for the process.
void takeLogOver();
/// Gives what was kept to logging.getLogger("lantrix"). With the interpreter's lock.
void passLogOn();

} // namespace python

#endif
