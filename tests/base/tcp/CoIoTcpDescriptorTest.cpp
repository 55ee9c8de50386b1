#include "base/tcp/src/CoIoTcpDescriptor.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {

int option(const CoIoDescriptor& descriptor, int level, int name) {
    int value = -1;
    socklen_t size = sizeof value;
    ::getsockopt(descriptor.id(), level, name, &value, &size);
    return value;
}

TEST(CoIoTcpDescriptor, FailureToConnectSaysWhyAndKeepsTheSocket) {
    ScriptedServer silent;
    silent.ignoreConnections();
    const ScriptedServer closed;
    const std::string unresolvable(64, 'x'); // longer than a label may be: nobody is asked
    const std::string dead = closed.host(), mute = silent.host();
    const struct {
        const std::string host, text;
    } cases[] = {{unresolvable, "Unknown host '" + unresolvable + "'"},
                 {"", "Unknown host ''"},
                 {dead, "Can't open connection to host '" + dead + "': 'Connection refused'"},
                 {mute, "Can't open connection to host '" + mute + "': Timed out"}};
    for (const auto& each : cases) {
        const CoIoTcpDescriptor descriptor(each.host.c_str(), 7549, 0, 0, 1);
        EXPECT_EQ(each.text, descriptor.lastError());
        EXPECT_GE(descriptor.id(), 0);
    }
}

TEST(CoIoTcpDescriptor, ConnectedSocketHasTheOptionsAskedFor) {
    ScriptedServer server;
    server.commands({awaitClose, awaitClose});
    const auto defaultSize = [&] {
        const CoIoTcpDescriptor plain(server.host(), 7549, 0, -1, 10);
        EXPECT_STREQ("", plain.lastError());
        EXPECT_NE(0, ::fcntl(plain.id(), F_GETFL) & O_NONBLOCK);
        EXPECT_NE(0, option(plain, IPPROTO_TCP, TCP_NODELAY));
        return option(plain, SOL_SOCKET, SO_SNDBUF);
    }();
    const CoIoTcpDescriptor sized(server.host(), 7549, 20000, 30000, 10);
    EXPECT_EQ(2 * 20000, option(sized, SOL_SOCKET, SO_SNDBUF)); // the system doubles what is asked
    EXPECT_EQ(2 * 30000, option(sized, SOL_SOCKET, SO_RCVBUF));
    EXPECT_NE(2 * 20000, defaultSize);
}

TEST(CoIoTcpDescriptor, RefusedOptionsAreLoggedWithTheirPlace) {
    const LogCapture log;
    CoIoTcpDescriptor::setNoDelaySocketOption(-1, true);
    CoIoTcpDescriptor::setReuseAddressSocketOption(-1, true);
    CoIoTcpDescriptor::setSendBufferSizeSocketOption(-1, 1);
    CoIoTcpDescriptor::setReceiveBufferSizeSocketOption(-1, 1);
    CoIoTcpDescriptor descriptor(-1);
    EXPECT_FALSE(descriptor.setNonBlocking(-1, true));
    EXPECT_STREQ("Couldn't set socket as nonblocking: Bad file descriptor", descriptor.lastError());
    EXPECT_EQ("error CoIoTcpDescriptor_MACOSX:190 Cannot set socket option: Bad file descriptor\n"
              "error CoIoTcpDescriptor:66 Can't set socket option: 'Bad file descriptor'.\n"
              "error CoIoTcpDescriptor:75 Can't set socket option: 'Bad file descriptor'.\n"
              "error CoIoTcpDescriptor:84 Can't set socket option: 'Bad file descriptor'.\n"
              "error CoIoTcpDescriptor_MACOSX:255 Couldn't set socket as nonblocking: "
              "Bad file descriptor\n",
              log.lines);
}

TEST(CoIoTcpDescriptor, ConnectionErrorNamesThePort) {
    errno = ECONNREFUSED;
    EXPECT_STREQ("TCP connection error on port '7549': Connection refused.",
                 CoIoTcpDescriptor::makeConnectionError(7549));
}

TEST(CoIoTcpDescriptor, NullHostAborts) {
    EXPECT_DEATH(
        CoIoTcpDescriptor(nullptr, 1, 0, 0, 1),
        testing::Eq("base/tcp/src/CoIoTcpDescriptor_MACOSX:63: failed assertion `hostName'\n"));
}

} // namespace
