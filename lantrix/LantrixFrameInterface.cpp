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

int LantrixRawDataClientConnection::send(const char* buffer, int size, bool moreFollows) {
    connectIfNeeded();
    if (size < 0)
        failAndDrop("Cannot write a negative number of bytes", writeLine);
    descriptor_->setMoreToCome(moreFollows);
    if (descriptor_->blockingWrite(buffer, static_cast<unsigned>(size)) != size)
        failAndDrop(descriptor_->lastError(), writeLine);
    return size;
}

int LantrixRawDataClientConnection::write(const char* buffer, int size) {
    return send(buffer, size, /*moreFollows=*/false);
}

int LantrixRawDataClientConnection::writePart(const char* buffer, int size) {
    return send(buffer, size, /*moreFollows=*/true);
}

int LantrixRawDataClientConnection::read(char* buffer, int size) {
    connectIfNeeded();
    if (size < 0)
        failAndDrop("Cannot read a negative number of bytes", readLine);
    const int count = descriptor_->blockingRead(buffer, static_cast<unsigned>(size));
    if (count == 0)
        failAndDrop("Connection closed", closedLine);
    if (count < 0) {
        char text[256];
        std::snprintf(text, sizeof text, "Cannot read data on socket: %s",
                      descriptor_->lastError());
        failAndDrop(text, readLine);
    }
    if (count < size)
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
