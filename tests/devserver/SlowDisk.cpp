// A disk that takes its time, for a process that is started with this library loaded before the
// system's.

#include <unistd.h>

extern "C" int fsync(int) {
    ::sleep(100);
    return 0;
}
