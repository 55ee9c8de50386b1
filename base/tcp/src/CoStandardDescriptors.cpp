// Linked into programs, never into the library: keeps the numbers of standard input, output and
// error from being given to a socket or a file. A program that was started without one of them, as
// jobs of cron and daemons are, would otherwise print to its server.
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Opens the numbers from 0 to 2 that are closed, for the wrong direction, so that what is printed
// or read still fails. The system gives the lowest number that is free.
class CoStandardDescriptors {
public:
    CoStandardDescriptors() {
        for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
            const int mode = number == STDIN_FILENO ? O_WRONLY : O_RDONLY;
            if (::fcntl(number, F_GETFD) < 0 && ::open("/dev/null", mode) != number)
                std::abort();
        }
    }
};

const CoStandardDescriptors standardDescriptors; // made before main begins

} // namespace
