#include "devserver/DevLogWriter.h"

#include <poll.h>
#include <unistd.h>

void DevLogWriter::operator()(const std::string& line) {
    if (dropped_ > 0 && write(std::to_string(dropped_) + " lines of the log were dropped."))
        dropped_ = 0;
    if (dropped_ > 0 || !write(line))
        ++dropped_;
}

// A pipe that is ready takes PIPE_BUF bytes at least, which is more than a line has.
bool DevLogWriter::write(const std::string& text) const {
    pollfd state{descriptor_, POLLOUT, 0};
    if (::poll(&state, 1, 0) != 1 || (state.revents & POLLOUT) == 0)
        return false;
    const std::string whole = prefix_ + text + "\n";
    return ::write(descriptor_, whole.data(), whole.size()) == static_cast<ssize_t>(whole.size());
}
