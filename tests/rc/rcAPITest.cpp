// One call on the command connection.
#include "rc/rcAPI.h"

#include "base/tcp/src/CoIoTcpDescriptor.h"
#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

namespace {

class rcAPITest : public testing::Test {
protected:
    bool ping() { return api.call(0, "Ping", "", true, result); }

    ScriptedServer server;
    rcAPI api;
    std::string result = "unchanged";
};

TEST_F(rcAPITest, CallWithoutAConnectionSaysSo) {
    EXPECT_FALSE(ping());
    EXPECT_EQ("Connection not established.", result);
    EXPECT_EQ(result, api.lastError());
    EXPECT_FALSE(api.isConnected());
}

TEST_F(rcAPITest, LeavesTheSizesOfItsBuffersToTheSystem) {
    server.commands({awaitClose, awaitClose});
    const auto sizesOf = [](int socket) {
        std::array<int, 2> sizes{};
        socklen_t length = sizeof sizes[0];
        EXPECT_EQ(0, ::getsockopt(socket, SOL_SOCKET, SO_SNDBUF, sizes.data(), &length));
        EXPECT_EQ(0, ::getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &sizes[1], &length));
        return sizes;
    };
    const int next = ::dup(0);
    ::close(next);
    ASSERT_TRUE(api.connect(server.host(), 7549));
    const CoIoTcpDescriptor plain(server.host(), 7549, 0, 0, 10);
    EXPECT_EQ(sizesOf(plain.id()), sizesOf(next));
    api.disconnect();
}

TEST_F(rcAPITest, AsynchronousCallReadsNothing) {
    server.commands({expect("async 7 Shutdown \n")});
    ASSERT_TRUE(api.connect(server.host(), 7549));
    EXPECT_TRUE(api.call(7, "Shutdown", "", false, result));
    EXPECT_EQ("", result);
}

TEST_F(rcAPITest, ServerThatClosesInMidReplyLeavesResultAndConnection) {
    server.commands({expect("sync 0 Ping \n"), reply("ok hal"), cut});
    ASSERT_TRUE(api.connect(server.host(), 7549));
    EXPECT_FALSE(ping());
    EXPECT_EQ("unchanged", result);
    EXPECT_STREQ("Connection closed", api.lastError());
    EXPECT_TRUE(api.isConnected());
    errno = EAGAIN; // of an earlier call: that nothing has arrived is told by the read alone
    EXPECT_FALSE(api.isReady());
    EXPECT_FALSE(api.isConnected());
}

TEST_F(rcAPITest, LateRepliesBehindAReplyAreOwedNoMore) {
    server.commands({expect("sync 0 Ping \n"), expect("sync 0 Ping \n"), reply("ok late\nok own\n"),
                     awaitClose});
    ASSERT_TRUE(api.connect(server.host(), 7549));
    std::thread stopping([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        api.stop();
    });
    EXPECT_FALSE(ping());
    stopping.join();
    EXPECT_TRUE(ping());
    EXPECT_TRUE(api.isReady());
    api.disconnect();
}

} // namespace
