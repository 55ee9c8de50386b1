#include "lantrix/LantrixFrameInterface.h"

#include "base/loggerBase/src/CoException.h"
#include "base/loggerBase/src/CoText.h"
#include "base/tcp/src/CoIoTcpDescriptor.h"

#include <cstdio>
#include <cstdlib>

namespace {

const char* const source = "lantrix/LantrixFrameInterface";
constexpr int connectLine = 62, writeLine = 104, closedLine = 124, readLine = 135,
              abortedLine = 142;
constexpr int connectTimeoutSeconds = 10;

// Fixed at the first use, which is while the library is loaded, whatever object comes first.
struct TcpBufferSetting {
    const char* const tcpBufSizeEnv = std::getenv("KV_LANTRIX_TCP_BUF_SIZE");
    const int tcpBufSize = std::atoi(coTextOrEmpty(tcpBufSizeEnv));
};

const TcpBufferSetting& tcpBufferSetting() {
    static const TcpBufferSetting setting;
    return setting;
}

const TcpBufferSetting& settingReadAtLoad = tcpBufferSetting();

} // namespace

LantrixRawDataClientConnection::LantrixRawDataClientConnection(const char* host, int port, int, int)
    : host_(coTextOrEmpty(host)), port_(port), sendBufferSize_(tcpBufferSetting().tcpBufSize),
      receiveBufferSize_(tcpBufferSetting().tcpBufSize), stopFlag_(false) {}

LantrixRawDataClientConnection::~LantrixRawDataClientConnection() = default;

// Allocates nothing: a connection left in the middle of a request must be dropped in any case.
void LantrixRawDataClientConnection::failAndDrop(const char* text, int line) {
    const CoException failure(text, line, source);
    disconnect();
    throw failure;
}

void LantrixRawDataClientConnection::connect() {
    disconnect();
    descriptor_ = std::make_unique<CoIoTcpDescriptor>(host_.c_str(), port_, sendBufferSize_,
                                                      receiveBufferSize_, connectTimeoutSeconds);
    descriptor_->setStopFlag(stopFlag_);
    if (*descriptor_->lastError() != '\0')
        failAndDrop(descriptor_->lastError(), connectLine);
}

void LantrixRawDataClientConnection::connectIfNeeded() {
    if (!isConnected() || descriptor_->isInherited())
        connect();
}

int LantrixRawDataClientConnection::send(const char* buf, int len, bool moreFollows) {
    connectIfNeeded();
    if (len < 0)
        failAndDrop("Cannot write a negative number of bytes", writeLine);
    descriptor_->setMoreToCome(moreFollows);
    if (descriptor_->blockingWrite(buf, static_cast<unsigned>(len)) != len)
        failAndDrop(descriptor_->lastError(), writeLine);
    return len;
}

int LantrixRawDataClientConnection::write(const char* buf, int len) {
    return send(buf, len, false);
}

int LantrixRawDataClientConnection::writePart(const char* buf, int len) {
    return send(buf, len, true);
}

int LantrixRawDataClientConnection::read(char* buf, int len) {
    connectIfNeeded();
    if (len < 0)
        failAndDrop("Cannot read a negative number of bytes", readLine);
    const int count = descriptor_->blockingRead(buf, static_cast<unsigned>(len));
    if (count == 0)
        failAndDrop("Connection closed", closedLine);
    if (count < 0) {
        char text[256];
        std::snprintf(text, sizeof text, "Cannot read data on socket: %s",
                      descriptor_->lastError());
        failAndDrop(text, readLine);
    }
    if (count < len)
        failAndDrop("Operation aborted.", abortedLine);
    return count;
}

void LantrixRawDataClientConnection::disconnect() {
    descriptor_.reset();
}

void LantrixRawDataClientConnection::stop() {
    stopFlag_.store(true);
}

bool LantrixRawDataClientConnection::isConnected() const {
    return descriptor_ != nullptr;
}
