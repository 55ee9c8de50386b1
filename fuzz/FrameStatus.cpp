// Answers on the raw data connection: any status and payload, in any pieces and ending in any way,
// against what the first NUL says. After a failure the next call on a healthy server succeeds.
#include "base/loggerBase/src/CoException.h"
#include "fuzz/FakeSocket.h"
#include "fuzz/FuzzInput.h"
#include "lantrix/LantrixFrameClientAPI.h"
#include "lantrix/LantrixFrameInterface.h"

#include <algorithm>
#include <string>

namespace {

constexpr std::size_t longestText = 511; // of an exception

struct Service {
    LantrixRawDataClientConnection connection{"server", 7550, 0, 0};
    LantrixFrameClientAPI frames{connection};
    LantrixFrameId frame{"frame"};
};

Service& service() {
    static Service shared;
    return shared;
}

// What one call must give, according to the bytes that the peer sends.
struct Expected {
    Expected(std::string_view answer, bool isRead, int size);

    bool succeeds;
    bool staysConnected;
    bool isStatus; // the failure's text is the status
    std::string_view status;
};

Expected::Expected(std::string_view answer, bool isRead, int size) {
    const std::size_t limit = isRead ? 2048 : 1023;
    const std::size_t end = answer.find('\0');
    status = answer.substr(0, std::min(end, limit));
    isStatus = !status.empty() && (end != std::string_view::npos || status.size() == limit);
    const bool isAccepted = end == 0 && (isRead || size >= 0);
    succeeds = isAccepted && (!isRead || (size > 0 && answer.size() > std::size_t(size)));
    staysConnected = succeeds || (isStatus && end < limit);
    if (!isRead && size < 0)
        isStatus = staysConnected = false; // nothing is read: the request itself fails
}

bool callFrame(bool isRead, std::string& buffer, int size, std::string& text) {
    try {
        Service& peer = service();
        const int result = isRead ? peer.frames.readFrame(peer.frame, buffer.data(), size)
                                  : peer.frames.writeFrame(peer.frame, buffer.data(), size);
        require(result == (isRead ? size : 1));
        return true;
    } catch (const CoException& failure) {
        text = failure.what();
        return false;
    }
}

void checkRecovery() {
    FakeSocket& socket = FakeSocket::instance();
    socket.keepUnread(0);
    socket.setArrival(FakeSocket::Arrival::Whole, 0);
    socket.setStop(nullptr, 0);
    socket.serve(std::string_view("\0data", 5), FakeSocket::Ending::Close);
    std::string buffer(4, '\0'), text;
    require(callFrame(/*isRead=*/true, buffer, 4, text) && buffer == "data");
}

void check(const Expected& expected, bool succeeded, const std::string& text) {
    const bool connected = service().connection.isConnected();
    if (FakeSocket::instance().stopCalled()) {
        require(!succeeded && !connected && text.find("Connection stopped") != std::string::npos);
        return;
    }
    require(succeeded == expected.succeeds && connected == expected.staysConnected);
    if (expected.isStatus)
        require(text == expected.status.substr(0, longestText));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const unsigned kind = input.control(), seed = input.control(), end = input.control();
    const bool isRead = kind % 2 == 0;
    const int frameSize = static_cast<int>(kind / 2 % 16) - 1;
    const std::string_view answer = input.text();

    FakeSocket& socket = FakeSocket::instance();
    socket.setArrival(static_cast<FakeSocket::Arrival>(seed % 4), seed);
    socket.setStop([] { service().connection.stop(); }, end / 4);
    socket.serve(answer, static_cast<FakeSocket::Ending>(end % 3));
    std::string buffer(std::size_t(std::max(frameSize, 0)), '#'), text;
    const bool succeeded = callFrame(isRead, buffer, frameSize, text);
    check(Expected(answer, isRead, frameSize), succeeded, text);
    if (succeeded && isRead)
        require(answer.compare(1, buffer.size(), buffer) == 0);
    // Failures are most inputs, and recovering takes as long again.
    if (!succeeded && seed / 4 % 4 == 0)
        checkRecovery();
    socket.keepUnread(0);
    return 0;
}
