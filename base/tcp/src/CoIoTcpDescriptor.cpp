#include "base/tcp/src/CoIoTcpDescriptor.h"

#include "base/loggerBase/src/CoMsg.h"
#include "base/loggerBase/src/CoText.h"
#include "base/tcp/src/CoFork.h"

#include <cerrno>
#include <cstdio>

#include <sys/socket.h>

namespace {

const char* const source = "base/tcp/src/CoIoTcpDescriptor";
constexpr int reuseAddressLine = 66, sendBufferLine = 75, receiveBufferLine = 84;

void setOption(int fd, int option, int value, int line) {
    if (::setsockopt(fd, SOL_SOCKET, option, &value, sizeof value) == 0)
        return;
    CoMsg::mod_ = source;
    CoMsg::lineNo_ = line;
    CoMsg::postError("Can't set socket option: '%s'.", CoIoTcpDescriptor::getLastSocketError());
}

} // namespace

CoIoTcpDescriptor::CoIoTcpDescriptor(int fd)
    : hostName_("localhost"), generation_(coProcessGeneration()) {
    setId(fd);
}

CoIoTcpDescriptor::~CoIoTcpDescriptor() {
    CoIoTcpDescriptor::close();
}

int CoIoTcpDescriptor::nonBlockingWrite(const void* buffer, unsigned size) {
    return CoIoDescriptor::nonBlockingWrite(buffer, size);
}

int CoIoTcpDescriptor::nonBlockingRead(void* buffer, unsigned size) {
    return CoIoDescriptor::nonBlockingRead(buffer, size);
}

void CoIoTcpDescriptor::init() {}

bool CoIoTcpDescriptor::isInherited() const {
    return generation_ != coProcessGeneration();
}

int CoIoTcpDescriptor::close() {
    return CoIoDescriptor::close();
}

void CoIoTcpDescriptor::setReuseAddressSocketOption(int fd, bool on) {
    setOption(fd, SO_REUSEADDR, on ? 1 : 0, reuseAddressLine);
}

void CoIoTcpDescriptor::setSendBufferSizeSocketOption(int fd, int size) {
    setOption(fd, SO_SNDBUF, size, sendBufferLine);
}

void CoIoTcpDescriptor::setReceiveBufferSizeSocketOption(int fd, int size) {
    setOption(fd, SO_RCVBUF, size, receiveBufferLine);
}

const char* CoIoTcpDescriptor::getLastSocketError() {
    thread_local char text[256];
    return coErrorText(errno, text, sizeof text);
}

const char* CoIoTcpDescriptor::makeConnectionError(int port) {
    thread_local char text[512];
    std::snprintf(text, sizeof text, "TCP connection error on port '%d': %s.", port,
                  getLastSocketError());
    return text;
}
