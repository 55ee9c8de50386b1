#include "devserver/DevServer.h"

#include "tests/devserver/RawClient.h"

#include <gtest/gtest.h>

#include <deque>
#include <future>

namespace {

class DevServerTest : public testing::Test {
protected:
    DevServerOptions options(const std::string& address) const {
        DevServerOptions options;
        options.root = scratch_ / "root";
        options.listen = address;
        options.clips = {"Reel/clip=1024x1024x32"};
        return options;
    }
    static std::string errorOf(const DevServerOptions& options) {
        try {
            const DevServer server(options);
            return "";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    ScratchDirectory scratch_;
    const std::string allocate_ = "AllocateFrames n2 2 1024 1024 32 4 4194304 1 30 t 4 m \"\"";
};

TEST_F(DevServerTest, WhatItCannotHaveIsNamed) {
    const DevServer server(options("127.0.0.126"));
    EXPECT_EQ(errorOf(options("127.0.0.126")),
              "Can't listen on port 7549 of 127.0.0.126: Address already in use.");
    EXPECT_EQ(errorOf(options("here")), "'here' is not a numeric address.");
    EXPECT_EQ(errorOf(options("0.0.0.0")),
              "'0.0.0.0' can be reached from other machines, and the protocol has no "
              "authentication: pass --allow-remote to allow it.");
}

TEST_F(DevServerTest, TwoHundredClientsAreServedBesideSlowAndVanishingOnes) {
    DevServer server(options("127.0.0.127"));
    CommandClient first("127.0.0.127");
    first.value(allocate_);
    std::deque<CommandClient> commands;
    std::deque<FrameClient> frames;
    for (int i = 0; i < 100; ++i) {
        commands.emplace_back("127.0.0.127");
        frames.emplace_back("127.0.0.127");
        if (i % 10 == 0) { // reads nothing of what it asked for, or stops in the middle of a frame
            frames.back().send(frameRequest("ReadFrame", "n2-f0", "4194304"));
            frames.emplace_back("127.0.0.127");
            frames.back().send(frameRequest("WriteFrame", "n2-f1", "4194304") + "abc");
        }
    }
    for (int i = 0; i < 10; ++i)
        FrameClient("127.0.0.127").send(frameRequest("WriteFrame", "n2-f1", "4194304") + "gone");
    for (CommandClient& client : commands)
        EXPECT_EQ(client("Ping "), "ok ");
    const std::string pixels(4194304, 'p');
    EXPECT_EQ(frames.back().write("n2-f0", pixels), "");
    EXPECT_EQ(frames.back().read("n2-f0", pixels.size()), "");
    EXPECT_TRUE(frames.back().payload == pixels);
    server.stop(); // ends those that stand still
    EXPECT_TRUE(first.isClosed());
}

TEST_F(DevServerTest, AsynchronousRequestsHaveNoReply) {
    const DevServer server(options("127.0.0.128"));
    CommandClient client("127.0.0.128");
    client.send("async 0 CreateNode n0 \"made\" 0 t\nasync 0 Nothing \nsomething else\n");
    EXPECT_EQ(client("GetChildren n0"), "ok n1,Reel,n3,made");
}

TEST_F(DevServerTest, LinesHaveABoundThatTheErrorNames) {
    const DevServer server(options("127.0.0.129"));
    CommandClient client("127.0.0.129");
    const std::string longest((16U << 20) - std::string("sync 0 Ping ").size(), 'x');
    EXPECT_EQ(client("Ping " + longest), "ok ");
    EXPECT_EQ(client("Ping x" + longest), "error The request line is longer than 16777216 bytes.");
    EXPECT_TRUE(client.isClosed());
    EXPECT_EQ(CommandClient("127.0.0.129")("Ping "), "ok ");
}

TEST_F(DevServerTest, ShutdownIsAnsweredBeforeTheEnd) {
    DevServerOptions served = options("127.0.0.130");
    std::promise<void> requested;
    served.shutdownRequested = [&] { requested.set_value(); };
    DevServer server(served);
    CommandClient client("127.0.0.130");
    CommandClient other("127.0.0.130");
    EXPECT_EQ(client("Shutdown "), "ok ");
    EXPECT_TRUE(client.isClosed());
    EXPECT_TRUE(other.isClosed());
    EXPECT_EQ(requested.get_future().wait_for(std::chrono::seconds(50)), std::future_status::ready);
    server.stop();
    const DevServer next(options("127.0.0.130")); // ports and directory are free again
}

} // namespace
