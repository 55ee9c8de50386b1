// TCP connections: resolving, connecting, options, and the texts of their failures.
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
    const ScriptedServer closed;
    const std::string unresolvable(64, 'x'); // longer than a label may be: nobody is asked
    const std::pair<std::string, std::string> cases[] = {
        {unresolvable, "Unknown host '" + unresolvable + "'"},
        {"", "Unknown host ''"},
        {closed.host(), "Can't open connection to host '" + std::string(closed.host()) +
                            "': 'Connection refused'"}};
    for (const auto& [host, text] : cases) {
        const CoIoTcpDescriptor descriptor(host.c_str(), 7549, 0, 0, 1);
        EXPECT_EQ(text, descriptor.lastError());
        EXPECT_GE(descriptor.id(), 0);
    }
}

TEST(CoIoTcpDescriptor, ConnectedSocketHasTheOptionsAskedFor) {
    ScriptedServer server;
    server.commands({awaitClose, awaitClose, awaitClose, awaitClose});
    const auto sizes = [&](int asked) {
        const CoIoTcpDescriptor descriptor(server.host(), 7549, asked, asked, 10);
        EXPECT_STREQ("", descriptor.lastError());
        EXPECT_NE(0, ::fcntl(descriptor.id(), F_GETFL) & O_NONBLOCK);
        EXPECT_NE(0, option(descriptor, IPPROTO_TCP, TCP_NODELAY));
#ifdef TCP_NOTSENT_LOWAT
        EXPECT_EQ(262144, option(descriptor, IPPROTO_TCP, TCP_NOTSENT_LOWAT));
#endif
        CoIoTcpDescriptor::setNoDelaySocketOption(descriptor.id(), false);
        EXPECT_EQ(0, option(descriptor, IPPROTO_TCP, TCP_NODELAY));
        return std::make_pair(option(descriptor, SOL_SOCKET, SO_SNDBUF),
                              option(descriptor, SOL_SOCKET, SO_RCVBUF));
    };
    const auto defaults = sizes(0), least = sizes(1), sized = sizes(20000);
    EXPECT_EQ(defaults, sizes(-1));
    EXPECT_NE(defaults.first, sized.first);
    CoIoTcpDescriptor input(::open("/dev/null", O_RDONLY)); // whose flags are 0
    EXPECT_TRUE(input.setNonBlocking(input.id(), true));
    EXPECT_EQ(sized.first, sized.second);
    EXPECT_TRUE(least.first < sized.first && least.second < sized.second);
}

TEST(CoIoTcpDescriptor, RefusedOptionsAreLoggedWithTheirPlace) {
    const LogCapture log;
    CoIoTcpDescriptor::setNoDelaySocketOption(-1, true);
    CoIoTcpDescriptor::setReuseAddressSocketOption(-1, true);
    CoIoTcpDescriptor::setSendBufferSizeSocketOption(-1, 1);
    CoIoTcpDescriptor::setReceiveBufferSizeSocketOption(-1, 1);
    CoIoTcpDescriptor descriptor(-1);
    descriptor.init(); // does nothing
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
