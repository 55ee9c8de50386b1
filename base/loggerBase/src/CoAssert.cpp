#include "base/loggerBase/src/CoAssert.h"

#include <cstdio>
#include <cstdlib>

void coAssertionFailed(const char* file, unsigned line, const char* condition) {
    std::fprintf(stderr, "%s:%u: failed assertion `%s'\n", file, line, condition);
    std::abort();
}
