// The frame connection, byte by byte.
#include "tests/devserver/RawClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {

/// A server with the clip n1 of three frames of eight bytes, and a connection to its frame port.
class DevFrameServiceTest : public testing::Test {
protected:
    void start(const std::string& address) {
        DevServerOptions options;
        options.root = scratch_ / "root";
        options.listen = address;
        options.clips = {"clip=8x1x8"};
        options.verbose = true;
        options.log = [this](const std::string& line) { take(line); };
        server_ = std::make_unique<DevServer>(options);
        CommandClient commands(address);
        commands.value("AllocateFrames n1 3 8 1 8 1 8 1 30 t 4 m \"\"");
        client_ = std::make_unique<FrameClient>(address);
    }
    /// Waits until the server has logged the line.
    void awaitLog(const std::string& line) {
        std::unique_lock<std::mutex> lock(mutex_);
        EXPECT_TRUE(logged_.wait_for(lock, std::chrono::seconds(50),
                                     [&] { return log_.find(line + "\n") != std::string::npos; }))
            << line << " is not in\n"
            << log_;
    }

    ScratchDirectory scratch_;
    std::unique_ptr<FrameClient> client_;

private:
    void take(const std::string& line) {
        const std::lock_guard<std::mutex> lock(mutex_);
        log_ += line + "\n";
        logged_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable logged_;
    std::string log_;
    std::unique_ptr<DevServer> server_; // last: its threads log
};

TEST_F(DevFrameServiceTest, ReadsMayBeLargerThanTheFrameButNotSmaller) {
    start("127.0.0.120");
    EXPECT_EQ("", client_->read("n1-f0", 9));
    EXPECT_EQ(std::string(9, '\0'), client_->payload); // never written
    EXPECT_EQ("", client_->write("n1-f0", "abcdefgh"));
    for (int again = 0; again < 2; ++again) { // from disk, then from memory
        EXPECT_EQ("", client_->read("n1-f0", 11));
        EXPECT_EQ(std::string("abcdefgh\0\0\0", 11), client_->payload);
    }
    awaitLog("ReadFrame: from memory n1-f0");
    EXPECT_EQ("The frame has 8 bytes, only 7 were to be read.", client_->read("n1-f0", 7));
    EXPECT_EQ("", client_->write("n1-f0", "ABCDEFGH"));
    EXPECT_EQ("", client_->read("n1-f0", 8));
    EXPECT_EQ("ABCDEFGH", client_->payload); // and no older contents from memory
}

TEST_F(DevFrameServiceTest, RefusedWritesAreDrainedAndStoreNothing) {
    start("127.0.0.121");
    EXPECT_EQ("", client_->write("n1-f0", "abcdefgh"));
    const std::string large(3000000, '\0');
    EXPECT_EQ("The frame 'n1-f0' has 8 bytes, 3000000 were to be written.",
              client_->write("n1-f0", large));
    EXPECT_EQ("There is no frame 'n1-f3'.", client_->write("n1-f3", large));
    EXPECT_EQ("There is no frame 'n1-f/../f0'.", client_->write("n1-f/../f0", large));
    EXPECT_EQ("", client_->read("n1-f0", 8));
    EXPECT_EQ("abcdefgh", client_->payload);
}

TEST_F(DevFrameServiceTest, WhatCannotBeUnderstoodEndsTheConnectionWithAStatus) {
    start("127.0.0.122");
    const std::pair<std::string, std::string> requests[] = {
        {frameRequest("WriteFrame", "n1-f0", "-1"),
         "The size '-1' is not from 0 to 1073741824 bytes."},
        {frameRequest("WriteFrame", "n1-f0", "8x"),
         "The size '8x' is not from 0 to 1073741824 bytes."},
        {frameRequest("EraseFrame", "n1-f0", "8"), "Unknown request 'EraseFrame'."},
        {std::string("ReadFrame\0", 10) + std::string(256, 'i'),
         "A token is longer than 255 bytes."},
    };
    for (const auto& [request, status] : requests) {
        FrameClient client("127.0.0.122");
        client.send(request);
        EXPECT_EQ(status, client.receiveUntil('\0'));
        EXPECT_TRUE(client.isClosed()) << status;
    }
    EXPECT_EQ("", client_->read("n1-f0", 8)); // others are not disturbed
    EXPECT_EQ("The size '1073741825' is not from 0 to 1073741824 bytes.",
              client_->read("n1-f0", 1073741825));
    EXPECT_EQ("", client_->read("n1-f0", 8));
}

TEST_F(DevFrameServiceTest, AnnouncedFramesAreReadAhead) {
    start("127.0.0.123");
    EXPECT_EQ("", client_->write("n1-f1", "abcdefgh"));
    client_->send(frameRequest("ReadAhead", "n9-f9", "8")); // has no reply, and no effect
    client_->send(frameRequest("ReadAhead", "n1-f1", "8"));
    awaitLog("ReadAhead: n1-f1 is at hand");
    std::filesystem::remove(scratch_ / "root/nodes/n1/f1");
    EXPECT_EQ("", client_->read("n1-f1", 8));
    EXPECT_EQ("abcdefgh", client_->payload);
}

TEST_F(DevFrameServiceTest, RequestsMayArriveInOnePiece) {
    start("127.0.0.125");
    client_->send(frameRequest("WriteFrame", "n1-f0", "8") + "abcdefgh" +
                  frameRequest("ReadAhead", "n1-f0", "8") +
                  frameRequest("ReadFrame", "n1-f0", "8") +
                  frameRequest("ReadFrame", "n1-f1", "8"));
    const std::string replies = std::string("\0\0abcdefgh\0", 11) + std::string(8, '\0');
    EXPECT_EQ(replies, client_->receive(replies.size()));
}

#ifdef TCP_CONGESTION
TEST_F(DevFrameServiceTest, FramesWithinAMachineAreNotPaced) {
    start("127.0.0.139");
    EXPECT_EQ("", client_->read("n1-f0", 8));
    int sockets = 0; // that listens, and the one accepted
    for (const auto& entry : std::filesystem::directory_iterator("/dev/fd")) {
        const int descriptor = std::stoi(entry.path().filename());
        sockaddr_in name{};
        socklen_t size = sizeof name;
        if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&name), &size) != 0 ||
            name.sin_addr.s_addr != htonl(0x7F00008B) || name.sin_port != htons(7550))
            continue;
        char control[16] = "";
        size = sizeof control;
        EXPECT_EQ(0, ::getsockopt(descriptor, IPPROTO_TCP, TCP_CONGESTION, control, &size));
        EXPECT_STREQ("reno", control);
        ++sockets;
    }
    EXPECT_EQ(2, sockets);
}
#endif

} // namespace
