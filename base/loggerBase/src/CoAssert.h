// The library's assertion: a broken precondition prints its place and condition and aborts.
// Places, here as in exceptions and in the log, are literals that follow no file: support staff and
// scripts know messages by them, so they stay what they are when lines move.
#ifndef BASE_LOGGERBASE_COASSERT_H
#define BASE_LOGGERBASE_COASSERT_H

/// Prints "FILE:LINE: failed assertion `CONDITION'" to standard error and aborts the process.
[[noreturn]] void coAssertionFailed(const char* file, unsigned line, const char* condition);

/// Aborts through coAssertionFailed unless \p holds. One comparison when it holds.
inline void coAssert(bool holds, const char* condition, const char* file, unsigned line) {
    if (!holds)
        coAssertionFailed(file, line, condition);
}

#endif
