// Connections: many, slow, silent and hostile ones, and the end of the server.
#include "devserver/DevServer.h"

#include "tests/devserver/RawClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <future>
#include <mutex>
#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>

namespace {

class DevServerTest : public testing::Test {
protected:
    DevServerOptions options(const std::string& address) {
        DevServerOptions options;
        options.root = scratch_ / "root";
        options.listen = address;
        options.clips = {"Reel/clip=1024x1024x32"};
        options.log = [this](const std::string& line) {
            const std::lock_guard<std::mutex> lock(mutex_);
            log_ += line + "\n";
        };
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

    bool isLogged(const std::string& text) {
        const std::lock_guard<std::mutex> lock(mutex_);
        return log_.find(text) != std::string::npos;
    }

    ScratchDirectory scratch_;
    std::mutex mutex_;
    std::string log_;
    const std::string allocate_ = "AllocateFrames n2 2 1024 1024 32 4 4194304 1 30 t 4 m \"\"";
};

TEST_F(DevServerTest, WhatItCannotHaveIsNamed) {
    const DevServer server(options("127.0.0.126"));
    EXPECT_EQ("Can't listen on port 7549 of 127.0.0.126: Address already in use.",
              errorOf(options("127.0.0.126")));
    EXPECT_EQ("'here' is not a numeric address.", errorOf(options("here")));
    EXPECT_EQ("'0.0.0.0' can be reached from other machines, and the protocol has no "
              "authentication: pass --allow-remote to allow it.",
              errorOf(options("0.0.0.0")));
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
        EXPECT_EQ("ok ", client("Ping "));
    const std::string pixels(4194304, 'p');
    EXPECT_EQ("", frames.back().write("n2-f0", pixels));
    EXPECT_EQ("", frames.back().read("n2-f0", pixels.size()));
    EXPECT_TRUE(frames.back().payload == pixels);
    server.stop(); // ends those that stand still
    EXPECT_TRUE(first.isClosed());
}

TEST_F(DevServerTest, AsynchronousRequestsHaveNoReply) {
    const DevServer server(options("127.0.0.128"));
    CommandClient client("127.0.0.128");
    client.send("async 0 CreateNode n0 \"made\" 0 t\nasync 0 Nothing \nsomething else\n");
    EXPECT_EQ("ok n1,Reel,n3,made", client("GetChildren n0"));
    EXPECT_TRUE(isLogged(" connections at once."));
    int kept = 0; // alive, of the sockets that the server has accepted
    for (int descriptor = 0; descriptor < 4096; ++descriptor) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
        int keepsAlive = 0;
        size = sizeof keepsAlive;
        ::getsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &keepsAlive, &size);
        kept += ntohs(address.sin_port) == DevServer::commandPort && keepsAlive != 0 ? 1 : 0;
    }
    EXPECT_EQ(1, kept);
}

TEST_F(DevServerTest, PortsListenWhenTheTreeIsThere) {
    DevServerOptions served = options("127.0.0.144");
    DevServer(served).stop();
    served.clips.clear();
    writeFile(scratch_ / "root/nodes/n2/node.json", "");
    std::error_code whileItStarts;
    served.log = [&](const std::string& line) {
        asio::io_context context;
        if (line.find("is left out") != std::string::npos)
            asio::ip::tcp::socket(context).connect(
                {asio::ip::make_address(served.listen), DevServer::commandPort}, whileItStarts);
    };
    const DevServer server(served);
    EXPECT_EQ(asio::error::connection_refused, whileItStarts);
    EXPECT_EQ("ok ", CommandClient(served.listen)("Ping "));
}

TEST_F(DevServerTest, LinesHaveABoundThatTheErrorNames) {
    const DevServer server(options("127.0.0.129"));
    CommandClient client("127.0.0.129");
    const std::string longest((16U << 20) - std::string("sync 0 Ping ").size(), 'x');
    EXPECT_EQ("ok ", client("Ping " + longest));
    EXPECT_EQ("error The request line is longer than 16777216 bytes.", client("Ping x" + longest));
    EXPECT_TRUE(client.isClosed());
    EXPECT_EQ("ok ", CommandClient("127.0.0.129")("Ping "));
}

TEST_F(DevServerTest, WhatAWebPageSendsIsNotCarriedOut) {
    const DevServer server(options("127.0.0.140"));
    for (const std::string head :
         {"POST / HTTP/1.1\r\n\r\n", "P", "synch 0 ", "\n", "sync / HTTP/1.1\r\n\r\n", "async /"}) {
        CommandClient page("127.0.0.140");
        page.send(head);
        EXPECT_TRUE(page.isClosed());
        page.send("sync 0 DestroyNode n1\nsync 0 Shutdown \n");
    }
    FrameClient page("127.0.0.140");
    page.send("POST / HTTP/1.1\r\n\r\n" + frameRequest("WriteFrame", "n2-f0", "1") + "x");
    EXPECT_EQ("Unknown request", page.receiveUntil('\0').substr(0, 15));
    EXPECT_TRUE(page.isClosed());
    CommandClient client("127.0.0.140");
    EXPECT_EQ("ok n1,Reel", client("GetChildren n0"));
    client.send(std::string("sync 0 Ping\0junk \n", 18));
    EXPECT_EQ("error The request holds a NUL byte.", client.receiveUntil('\n'));
    EXPECT_TRUE(isLogged("is closed: what it sent is not a request, but 'POST / HTTP/1.1"));
}

TEST_F(DevServerTest, MemoryOfRequestsAndRepliesIsBounded) {
    DevServerOptions bounded = options("127.0.0.141");
    bounded.memoryBytes = std::size_t{4} << 20;
    const DevServer server(bounded);
    const std::string problem = "error Requests and replies may take 4194304 bytes of the server's "
                                "memory together, which are not left for this one.";
    CommandClient unfinished("127.0.0.141");
    unfinished.send("sync 0 Ping " + std::string(1900000, 'x'));
    CommandClient client("127.0.0.141");
    EXPECT_EQ("ok n2-f0,n2-", client("AllocateFrames n2 9000 1 1 8 1 1 1 30 t 4 m \"\"")
                                  .substr(0, 12)); // small enough to be served at any time
    std::string reply;
    for (int i = 0; i < 1000 && reply != problem; ++i) { // the server may not have read it all yet
        CommandClient another("127.0.0.141");
        reply = another("Ping " + std::string(1900000, 'x'));
        EXPECT_TRUE(reply != problem || another.isClosed());
    }
    EXPECT_EQ(problem, reply);
    EXPECT_EQ(problem, client("AllocateFrames n2 90000 1 1 8 1 1 1 30 t 4 m \"\""));
    unfinished.close(/*abortive=*/false);
    EXPECT_EQ(79892U, client("GetFrames n2").size()); // nothing was changed
    EXPECT_EQ(888892U, client("AllocateFrames n2 90000 1 1 8 1 1 1 30 t 4 m \"\"").size());
}

TEST_F(DevServerTest, EachRequestIsChargedForWhatItTakes) {
    DevServerOptions bounded = options("127.0.0.145");
    bounded.sync = DevSync::None;
    const std::string longName(1000, 'x'), text(100000, 'x');
    {
        const DevServer server(bounded);
        CommandClient client("127.0.0.145");
        for (int i = 0; i < 100; ++i) {
            client.value("CreateNode n1 \"" + longName + "\" 0 t");
            client.value("SetMetaData n1 " + longName + std::to_string(i) + " \"\"");
        }
        client.value("SetMetaData n1 s \"" + text + "\"");
        client.value("AllocateFrames n2 20000 1 1 8 1 1 1 30 t 4 m \"" + text + "\"");
    }
    bounded.memoryBytes = 100000;
    const DevServer server(bounded);
    CommandClient client("127.0.0.145");
    for (const std::string request :
         {"GetChildren n1", "GetMetaData n1 s  0", "QueryMetaDataSupport n1", "GetFrames n2",
          "GetFramePaths n2 h 0 v", "GetClipFormat n2", "SetMetaData n1 s \"\"",
          "AllocateFrames n2 1 1 1 8 1 1 1 30 t 4 m \"\"",
          "SetFramePaths n2 / h 0 v 1 1 8 1 1 1 30 t 4 m \"\""})
        EXPECT_EQ("error Requests and replies may", client(request).substr(0, 30)) << request;
    EXPECT_EQ("error Requests and replies may",
              client("TranslatePaths \"\" 0 \"\" 0 " + std::string(9000, ',')).substr(0, 30));
    EXPECT_EQ("ok 1 0", client("GetNodeType n2"));
}

TEST_F(DevServerTest, SilentConnectionsEndAndNoAddressTakesThemAll) {
    DevServerOptions strict = options("127.0.0.142");
    strict.idle = std::chrono::seconds(1);
    strict.connectionsPerAddress = 2;
    const DevServer server(strict);
    CommandClient command("127.0.0.142");
    FrameClient frame("127.0.0.142");
    command.value(allocate_);
    const std::string problem = "The address 127.0.0.1 has 2 connections already, which is its "
                                "share: this one is refused.";
    EXPECT_EQ("error " + problem, CommandClient("127.0.0.142").receiveUntil('\n'));
    EXPECT_EQ(problem, FrameClient("127.0.0.142").receiveUntil('\0'));
    asio::io_context context;
    asio::ip::tcp::socket elsewhere(context, {asio::ip::make_address("127.0.0.143"), 0});
    elsewhere.connect({asio::ip::make_address("127.0.0.142"), DevServer::commandPort});
    RawClient other(std::move(elsewhere));
    other.send("sync 0 Ping \n");
    EXPECT_EQ("ok ", other.receiveUntil('\n'));
    EXPECT_TRUE(command.isClosed()); // after a second
    EXPECT_TRUE(frame.isClosed());
    EXPECT_EQ("ok ", CommandClient("127.0.0.142")("Ping "));
    FrameClient unread("127.0.0.142");
    std::string reads;
    for (int i = 0; i < 10; ++i)
        reads += frameRequest("ReadFrame", "n2-f0", "4194304");
    unread.send(reads);
    std::this_thread::sleep_for(std::chrono::seconds(8)); // two idle times, on a busy machine
    EXPECT_LT(unread.receive(std::size_t{10} * 4194305).size(), std::size_t{10} * 4194305);
}

TEST_F(DevServerTest, ConnectionsHaveABoundTogether) {
    DevServerOptions bounded = options("127.0.0.124");
    bounded.connections = 2;
    const DevServer server(bounded);
    CommandClient first("127.0.0.124");
    CommandClient second("127.0.0.124");
    EXPECT_EQ("ok ok ", first("Ping ") + second("Ping "));
    EXPECT_EQ("error There are 2 connections already: this one is refused.",
              CommandClient("127.0.0.124").receiveUntil('\n'));
    second.close(/*abortive=*/false);
    std::string reply;
    for (int i = 0; i < 1000 && reply != "ok "; ++i) // once the end is noticed
        reply = CommandClient("127.0.0.124")("Ping ");
    EXPECT_EQ("ok ", reply);
}

TEST_F(DevServerTest, ShutdownIsAnsweredBeforeTheEnd) {
    DevServerOptions served = options("127.0.0.130");
    std::promise<void> requested;
    served.shutdownRequested = [&] { requested.set_value(); };
    DevServer server(served);
    CommandClient client("127.0.0.130");
    CommandClient other("127.0.0.130");
    EXPECT_EQ("ok ", client("Shutdown "));
    EXPECT_TRUE(client.isClosed());
    EXPECT_TRUE(other.isClosed());
    EXPECT_EQ(std::future_status::ready, requested.get_future().wait_for(std::chrono::seconds(50)));
    server.stop();
    const DevServer next(options("127.0.0.130")); // ports and directory are free again
}

} // namespace
