#include "base/tcp/src/CoIoDescriptor.h"

#include "base/loggerBase/src/CoAssert.h"
#include "base/loggerBase/src/CoText.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const char* const source = "base/tcp/src/CoIoDescriptor";
constexpr int writeStrLine = 210, readLineLine = 318; // of the places that assertions name
constexpr int waitMilliseconds = 1000;
constexpr int notReady = -2; // beside the results of a transfer

// A peer that has gone is an error text, never a signal: where a send flag does not exist, the
// socket carries an option instead.
#ifdef MSG_NOSIGNAL
constexpr int noSignal = MSG_NOSIGNAL;
#else
constexpr int noSignal = 0;
#endif

#ifdef MSG_MORE
constexpr int moreFollows = MSG_MORE;
#else
constexpr int moreFollows = 0;
#endif

// Reads and writes count in ints, and some systems refuse more in one call.
std::size_t boundedSize(unsigned size) {
    return std::min<std::size_t>(size, INT_MAX);
}

ssize_t writeOnce(int fd, const void* buffer, std::size_t size, int flags) {
    const ssize_t written = ::send(fd, buffer, size, flags);
    if (written < 0 && errno == ENOTSOCK)
        return ::write(fd, buffer, size);
    return written;
}

bool wouldBlock(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

} // namespace

const int CoIoDescriptor::IO_WAIT_RESOLUTION = waitMilliseconds / 1000;

CoIoDescriptor::CoIoDescriptor()
    : id_(-1), ownStopFlag_(false), stopFlag_(&ownStopFlag_), moreToCome_(false),
      neverBlocks_(false), readyUnknown_(false), moreExpected_(false) {}

CoIoDescriptor::~CoIoDescriptor() {
    if (id_ >= 0)
        ::close(id_);
}

int CoIoDescriptor::failWithErrno() {
    const int error = errno;
    char text[256] = "";
    coAssignText(lastError_, coErrorText(error, text, sizeof text));
    errno = error;
    return -1;
}

int CoIoDescriptor::fail(const char* text) {
    coAssignText(lastError_, text);
    return -1;
}

CoIoDescriptor::Wait CoIoDescriptor::wait(Direction direction, int milliseconds) const {
    // poll ignores a negative number, and would wait for nothing.
    if (id_ < 0) {
        errno = EBADF;
        return Wait::Failed;
    }
    const short events = direction == Direction::Read ? POLLIN : POLLOUT;
    pollfd descriptor = {id_, events, 0};
    const int ready = ::poll(&descriptor, 1, milliseconds);
    if (ready == 0)
        return Wait::TimedOut;
    if (ready < 0)
        return errno == EINTR ? Wait::Interrupted : Wait::Failed;
    if ((descriptor.revents & POLLNVAL) == 0)
        return Wait::Ready; // with an error or a hang-up too: the transfer itself then says which
    errno = EBADF;
    return Wait::Failed;
}

int CoIoDescriptor::nonBlockingWrite(const void* buffer, unsigned size) {
    if (id_ < 0)
        return fail("Not connected.");
    const int flags = noSignal | (moreToCome_ ? moreFollows : 0);
    ssize_t written;
    do
        written = writeOnce(id_, buffer, boundedSize(size), flags);
    while (written < 0 && errno == EINTR);
    return written < 0 ? failTransfer() : static_cast<int>(written);
}

int CoIoDescriptor::nonBlockingRead(void* buffer, unsigned size) {
    if (id_ < 0) {
        fail("Not connected.");
        return 0; // not -1: callers take a missing descriptor for the end of its stream
    }
    ssize_t count;
    do
        count = ::read(id_, buffer, boundedSize(size));
    while (count < 0 && errno == EINTR);
    return count < 0 ? failTransfer() : static_cast<int>(count);
}

int CoIoDescriptor::nonBlockingReadSelect(void* buffer, unsigned size) {
    switch (wait(Direction::Read, waitMilliseconds)) {
    case Wait::TimedOut:
    case Wait::Interrupted:
        return 0;
    case Wait::Failed:
        return failWithErrno();
    default:
        break;
    }
    const int count = nonBlockingRead(buffer, size);
    return count != 0 ? count : fail("Connection closed");
}

// Results are ints, so a longer transfer could not be told from a failure.
bool CoIoDescriptor::beginTransfer(unsigned size) {
    stopFlag_->store(false);
    if (size <= INT_MAX)
        return true;
    fail("Transfer too long");
    return false;
}

// EAGAIN is not a failure when nothing said that the descriptor was ready: no text is kept.
int CoIoDescriptor::failTransfer() {
    return readyUnknown_ && wouldBlock(errno) ? -1 : failWithErrno();
}

// Runs one write or read, after a wait that ended as 'waited' says. Returns its result, or notReady
// when there was no room or no data after all.
template <class Transfer>
int CoIoDescriptor::transferOnce(Wait waited, Transfer&& transfer) {
    readyUnknown_ = waited != Wait::Ready;
    const int count = transfer();
    const bool nothingMoved = count < 0 && readyUnknown_ && wouldBlock(errno);
    readyUnknown_ = false;
    return nothingMoved ? notReady : count;
}

// The cost of a small frame is its system calls. Where the descriptor never blocks, what is nearly
// always possible is therefore tried before it is waited for: the first piece of a write, and a
// read behind another, as of a frame's bytes behind their status.
// Returns size, or what the transfer that moved nothing returned.
template <class Transfer>
int CoIoDescriptor::transferAll(Direction direction, unsigned size, bool tryFirst,
                                Transfer&& transfer) {
    unsigned done = 0;
    while (done < size) {
        if (isStopped())
            return fail("Connection stopped");
        const Wait waited = tryFirst ? Wait::Skipped : wait(direction, waitMilliseconds);
        tryFirst = false;
        if (waited == Wait::Failed)
            return failWithErrno();
        // Seen again here: the next transfer, of a status byte perhaps, would clear the flag.
        if (isStopped() || waited == Wait::TimedOut)
            continue;
        // After a signal a write is tried all the same; finding no room then is not a failure.
        if (waited == Wait::Interrupted && direction == Direction::Read)
            continue;
        const int count = transferOnce(waited, [&] { return transfer(done); });
        if (count == notReady)
            continue;
        if (count <= 0)
            return count;
        done += static_cast<unsigned>(count);
    }
    return static_cast<int>(done);
}

int CoIoDescriptor::blockingWrite(const void* buffer, unsigned size) {
    if (id_ < 0)
        return fail("Not connected.");
    if (!beginTransfer(size))
        return -1;
    moreExpected_ = false;
    const char* const bytes = static_cast<const char*>(buffer);
    const int written =
        transferAll(Direction::Write, size, neverBlocks_, [this, bytes, size](unsigned done) {
            return nonBlockingWrite(bytes + done, size - done);
        });
    return written == 0 && size > 0 ? fail("Connection closed") : written;
}

// At the end of the stream what had arrived is dropped, without a text.
int CoIoDescriptor::blockingRead(void* buffer, unsigned size) {
    if (!beginTransfer(size))
        return -1;
    char* const bytes = static_cast<char*>(buffer);
    const bool tryFirst = neverBlocks_ && moreExpected_;
    const int count =
        transferAll(Direction::Read, size, tryFirst, [this, bytes, size](unsigned done) {
            return nonBlockingRead(bytes + done, size - done);
        });
    moreExpected_ = count == static_cast<int>(size);
    return count;
}

void CoIoDescriptor::setId(int fd) {
    id_ = fd;
    neverBlocks_ = false;
}

void CoIoDescriptor::stop() {
    stopFlag_->store(true);
}

int CoIoDescriptor::close() {
    if (id_ < 0)
        return id_;
    const int result = ::close(id_);
    id_ = -1;
    return result;
}

bool CoIoDescriptor::writeStr(const char* str) {
    coAssert(str != nullptr, "str != 0", source, writeStrLine);
    const std::size_t length = std::strlen(str);
    if (length > INT_MAX) {
        fail("Transfer too long"); // GCOVR_EXCL_LINE: a text of 2 GiB,
        return false;              // GCOVR_EXCL_LINE: which 32 bits have no room for
    }
    return blockingWrite(str, static_cast<unsigned>(length)) == static_cast<int>(length);
}

int CoIoDescriptor::readLine(char* buff, int maxLen) {
    coAssert(buff != nullptr, "buff != 0", source, readLineLine);
    if (maxLen < 1) {
        fail("No room for a line.");
        return 0;
    }
    char* p = buff;
    for (;;) {
        if (blockingRead(p, 1) != 1) {
            fail("Unexpected end of data stream.");
            return 0;
        }
        if (*p == '\n') {
            *p = '\0';
            return static_cast<int>(p - buff);
        }
        // In a full buffer the last slot takes the rest of the line, byte by byte.
        if (p - buff < maxLen - 1)
            ++p;
    }
}
