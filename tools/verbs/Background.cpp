#include "tools/verbs/Background.h"

#include "tools/report/Failure.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tool {

namespace {

[[noreturn]] void waitFor(pid_t child, int descriptor) {
    char byte = 0;
    ssize_t count = 0;
    do {
        count = ::read(descriptor, &byte, 1);
    } while (count < 0 && errno == EINTR);
    int status = 0;
    if (count == 1)
        std::_Exit(static_cast<int>(Status::Done));
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    std::_Exit(WIFEXITED(status) ? WEXITSTATUS(status) : static_cast<int>(Status::Other));
}

} // namespace

Background::Background() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        throw fileFailure("can't open", "a pipe", errno);
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0)
        throw fileFailure("can't start", "a process", errno);
    ::close(child == 0 ? ends[0] : ends[1]);
    if (child != 0)
        waitFor(child, ends[0]);
    starter_ = ends[1];
    ::setsid();
}

Background::~Background() {
    if (starter_ >= 0)
        ::close(starter_);
}

void Background::ready() {
    std::fflush(nullptr);
    const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(nowhere, standard);
    ::close(nowhere);
    const char byte = 1;
    const bool isLeft = ::chdir("/") == 0 && ::write(starter_, &byte, 1) == 1;
    static_cast<void>(isLeft); // nobody is there to hear of it
    ::close(starter_);
    starter_ = -1;
}

} // namespace tool
