#include "rc/rcAPI.h"

#include "base/loggerBase/src/CoText.h"
#include "base/tcp/src/CoIoTcpDescriptor.h"
#include "rc/rcCommand.h"
#include "rc/rcResult.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

namespace {

constexpr unsigned receiveBufferSize = 32768;
constexpr int connectTimeoutSeconds = 10;
constexpr std::size_t longestReplyLine = std::size_t{256} * 1024 * 1024;
const char* const replyTooLong = "Reply line longer than 256 MiB.";

std::string requestLine(int id, const char* method, const char* args, bool sync) {
    rcCommand command;
    command.setType(sync ? rcCommand::Sync : rcCommand::Async);
    command.setId(id);
    command.setMethod(method);
    command.setValue(args);
    return command.escapedCommand();
}

} // namespace

rcAPI::rcAPI() : result_(std::make_unique<rcResult>()), stopFlag_(false), repliesOwed_(0) {}

rcAPI::~rcAPI() = default;

bool rcAPI::isConnected() const {
    return connection_ != nullptr;
}

void rcAPI::disconnect() {
    connection_.reset();
    buffer_.reset();
    forgetReply();
    repliesOwed_ = 0;
}

bool rcAPI::isReady() {
    return isConnected() && !connection_->isInherited() && dropLateReplies() && repliesOwed_ == 0;
}

// Also the escape that an incomplete line has left open, and the memory of its value.
void rcAPI::forgetReply() {
    static_cast<void>(result_->takeValue());
    *result_ = rcResult();
}

bool rcAPI::fail(const char* text) {
    coAssignText(lastError_, text);
    return false;
}

bool rcAPI::failAndDrop(const char* text) {
    fail(text); // which may be the connection's
    disconnect();
    return false;
}

bool rcAPI::connect(const char* host, int port) {
    disconnect();
    try {
        buffer_ = std::make_unique<char[]>(receiveBufferSize);
        connection_ = std::make_unique<CoIoTcpDescriptor>(host, port, 0, 0, connectTimeoutSeconds);
        connection_->setStopFlag(stopFlag_);
    } catch (const std::bad_alloc&) {
        disconnect();
        return fail("Cannot allocate result buffer.");
    }
    if (*connection_->lastError() == '\0')
        return true;
    return failAndDrop(connection_->lastError());
}

bool rcAPI::call(int id, const char* method, const char* args, bool sync, std::string& result) {
    try {
        return exchange(id, method, args, sync, result);
    } catch (const std::bad_alloc&) {
        // Without the rest of this reply, the next one could not be told from it.
        disconnect();
        fail("Cannot allocate memory for the call.");
        coAssignText(result, lastError());
        return false;
    }
}

bool rcAPI::exchange(int id, const char* method, const char* args, bool sync, std::string& result) {
    const bool sent = isConnected()
                          ? dropLateReplies() && sendRequest(requestLine(id, method, args, sync))
                          : fail("Connection not established.");
    if (!sent) {
        coAssignText(result, lastError());
        return false;
    }
    if (!sync) {
        result.clear();
        return true;
    }
    Reply reply;
    if (!readReply(reply)) {
        if (!isConnected())
            coAssignText(result, lastError());
        return false; // after a failed read the caller keeps its own, usually empty, result
    }
    if (!connection_->isStopped())
        return takeResult(reply, result);
    if (!reply.complete)
        abandonReply();
    fail(stoppedText(method).c_str());
    coAssignText(result, lastError());
    return false;
}

std::string rcAPI::stoppedText(const char* method) {
    return coFormatCut(128, "%s command stopped.", coTextOrEmpty(method));
}

void rcAPI::stop() {
    stopFlag_.store(true);
}

bool rcAPI::sendRequest(const std::string& line) {
    const bool fits = line.size() <= INT_MAX;
    const int length = fits ? static_cast<int>(line.size()) : 0;
    if (fits && connection_->blockingWrite(line.data(), static_cast<unsigned>(length)) == length)
        return true;
    return failAndDrop(fits ? connection_->lastError() : "Request too long");
}

// Reads until the line is complete or the call is stopped. The bytes behind the line feed are
// dropped: a server sends one reply for each request. No more is read than a line may have left,
// so that the value never grows beyond the line's bound. A long value is read to where it stays,
// unless the bytes behind it may have to be looked at.
bool rcAPI::readReply(Reply& reply) {
    result_->reset();
    std::size_t room = longestReplyLine;
    while (!reply.complete && !connection_->isStopped()) {
        if (room == 0)
            return failAndDrop(replyTooLong);
        const std::size_t wanted = std::min<std::size_t>(receiveBufferSize, room);
        char* const place = repliesOwed_ == 0 ? result_->lend(wanted) : nullptr;
        char* const data = place != nullptr ? place : buffer_.get();
        const int count = connection_->nonBlockingReadSelect(data, static_cast<unsigned>(wanted));
        if (count < 0) {
            abandonReply(); // the connection is kept, and may live after all
            return fail(connection_->lastError());
        }
        const std::size_t size = static_cast<std::size_t>(count);
        reply.holdsNul = reply.holdsNul || std::memchr(data, '\0', size) != nullptr;
        const std::size_t taken = result_->append(data, size, reply.complete);
        if (repliesOwed_ > 0)
            countReplies(data + taken, size - taken);
        room -= taken;
    }
    return true;
}

// The rest of the line may still arrive; an escape that its beginning left open ends with it.
void rcAPI::abandonReply() {
    forgetReply();
    ++repliesOwed_;
}

bool rcAPI::takeResult(const Reply& reply, std::string& result) {
    result = result_->takeValue();
    if (reply.holdsNul)
        result.resize(std::min(result.find('\0'), result.size())); // it ends a value
    return result_->code() == rcResult::Ok || fail(result.c_str());
}

// What has arrived for a call that was given up does not answer the next one. Nothing is waited
// for, and nothing is read when no reply is owed. Writing does not reveal that
// a connection has ended where the peer closed only its own side.
bool rcAPI::dropLateReplies() {
    std::size_t dropped = 0;
    while (repliesOwed_ > 0) {
        const int count = connection_->nonBlockingRead(buffer_.get(), receiveBufferSize);
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return true;
        if (count <= 0)
            return failAndDrop(count < 0 ? connection_->lastError() : "Connection closed");
        dropped += static_cast<std::size_t>(count);
        countReplies(buffer_.get(), static_cast<std::size_t>(count));
        if (dropped > longestReplyLine)
            return failAndDrop(replyTooLong); // GCOVR_EXCL_LINE: sent faster than it is read
    }
    return true;
}

void rcAPI::countReplies(const char* data, std::size_t size) {
    const auto lines = std::count(data, data + size, '\n');
    repliesOwed_ -= std::min(repliesOwed_, static_cast<std::size_t>(lines));
}
