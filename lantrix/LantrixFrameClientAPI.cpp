#include "lantrix/LantrixFrameClientAPI.h"

#include "base/loggerBase/src/CoException.h"
#include "base/loggerBase/src/CoText.h"
#include "lantrix/LantrixFrameInterface.h"

#include <charconv>
#include <climits>
#include <cstring>

namespace {

const char* const source = "lantrix/LantrixFrameClientAPI";
constexpr int readLine = 73, writeLine = 141;

// The longest statuses that are read: the two differ, and both are limits of this client.
constexpr std::size_t longestWriteStatus = 1023;
constexpr std::size_t longestReadStatus = 2048;

} // namespace

LantrixFrameClientAPI::LantrixFrameClientAPI(LantrixRawDataClientConnection& connection)
    : connection_(&connection) {}

LantrixFrameClientAPI::~LantrixFrameClientAPI() = default;

int LantrixFrameClientAPI::sendText(const char* text, bool moreFollows) {
    const int length = static_cast<int>(std::strlen(text) + 1);
    return moreFollows ? connection_->writePart(text, length) : connection_->write(text, length);
}

// Three texts, each with a write of its own. What goes last is never held back, so that no
// request waits for a write that does not come.
int LantrixFrameClientAPI::sendRequest(const char* name, const char* frameId, int number,
                                       bool payloadFollows) {
    if (std::strlen(frameId) >= INT_MAX)
        throw CoException("Frame id too long", readLine, source);
    char digits[16] = ""; // more than an int has
    std::to_chars(digits, digits + sizeof digits, number);
    sendText(name, /*moreFollows=*/true);
    sendText(frameId, /*moreFollows=*/true);
    return sendText(digits, payloadFollows);
}

// Returns after an empty status and throws any other. Of a status beyond the limit the rest may
// still be on the way: the connection is dropped, so that it is not read as the next answer.
void LantrixFrameClientAPI::readStatus(char* status, std::size_t limit, int line) {
    std::size_t length = 0;
    bool terminated = false;
    while (!terminated && length < limit) {
        connection_->read(status + length, 1);
        terminated = status[length] == '\0';
        length += terminated ? 0 : 1;
    }
    status[length] = '\0';
    if (length == 0)
        return;
    const CoException failure(status, line, source);
    if (!terminated)
        connection_->disconnect();
    throw failure;
}

int LantrixFrameClientAPI::writeFrame(const LantrixFrameId& frameId, const char* buffer, int size) {
    return writeFrameById(frameId.id(), buffer, size);
}

int LantrixFrameClientAPI::writeFrameById(const char* frameId, const char* buffer, int size) {
    sendRequest("WriteFrame", coTextOrEmpty(frameId), size, /*payloadFollows=*/size > 0);
    connection_->write(buffer, size);
    char status[longestWriteStatus + 1];
    readStatus(status, longestWriteStatus, writeLine);
    return 1;
}

int LantrixFrameClientAPI::readFrame(const LantrixFrameId& frameId, char* buffer, int size) {
    return readFrameById(frameId.id(), buffer, size);
}

int LantrixFrameClientAPI::readFrameById(const char* frameId, char* buffer, int size) {
    sendRequest("ReadFrame", coTextOrEmpty(frameId), size, /*payloadFollows=*/false);
    char status[longestReadStatus + 1];
    readStatus(status, longestReadStatus, readLine);
    return connection_->read(buffer, size);
}

int LantrixFrameClientAPI::readAhead(const LantrixFrameId& frameId, int count) {
    return readAheadById(frameId.id(), count);
}

int LantrixFrameClientAPI::readAheadById(const char* frameId, int count) {
    return sendRequest("ReadAhead", coTextOrEmpty(frameId), count, /*payloadFollows=*/false);
}
