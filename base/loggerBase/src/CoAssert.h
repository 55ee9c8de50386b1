// The library's assertion: a broken precondition prints its place and condition and aborts.
// The place is a literal given by the caller, so that the message does not change when lines move.
#ifndef BASE_LOGGERBASE_COASSERT_H
#define BASE_LOGGERBASE_COASSERT_H

#include "base/CoExport.h"

/// Prints "FILE:LINE: failed assertion `CONDITION'" to standard error and aborts the process.
[[noreturn]] CO_EXPORT void coAssertionFailed(const char* file, unsigned line,
                                              const char* condition);

/// Aborts through coAssertionFailed unless \p holds. One comparison when it holds.
inline void coAssert(bool holds, const char* condition, const char* file, unsigned line) {
    if (!holds)
        coAssertionFailed(file, line, condition);
}

#endif
