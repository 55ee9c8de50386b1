// Descriptors: transfers of pieces and of wholes, lines, and what a failure leaves.
#include "base/tcp/src/CoIoDescriptor.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using testing::Eq;

// A descriptor and its peer, the two ends of one stream.
class CoIoDescriptorTest : public testing::Test {
protected:
    CoIoDescriptorTest() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
        descriptor.setId(ends[0]);
        peer.setId(ends[1]);
    }

    std::string received(unsigned length) {
        std::string bytes(length, '\0');
        bytes.resize(static_cast<std::size_t>(peer.blockingRead(bytes.data(), length)));
        return bytes;
    }

    CoIoDescriptor descriptor;
    CoIoDescriptor peer;
    char buffer[16] = "unchanged";
};

TEST_F(CoIoDescriptorTest, TransferOfNothingReturnsAtOnceAndForgetsAStop) {
    descriptor.stop();
    EXPECT_EQ(0, descriptor.blockingRead(buffer, 0));
    EXPECT_FALSE(descriptor.isStopped());
    descriptor.stop();
    EXPECT_EQ(0, descriptor.blockingWrite(buffer, 0));
    EXPECT_FALSE(descriptor.isStopped());
}

TEST_F(CoIoDescriptorTest, ClosedPeerEndsEveryReadAsItsCallersExpect) {
    errno = EINTR; // of an earlier call: nothing is repeated for it
    EXPECT_EQ(2, peer.nonBlockingWrite("ab", 2));
    errno = EINTR;
    EXPECT_EQ(1, descriptor.nonBlockingRead(buffer, 1));
    peer.close();
    EXPECT_EQ(0, descriptor.blockingRead(buffer, 4));
    EXPECT_EQ(0, descriptor.nonBlockingRead(buffer, 4));
    EXPECT_STREQ("", descriptor.lastError());
    EXPECT_EQ(-1, descriptor.nonBlockingReadSelect(buffer, 4));
    EXPECT_STREQ("Connection closed", descriptor.lastError());
}

TEST_F(CoIoDescriptorTest, ClosedDescriptorRefusesAndNeverWaits) {
    EXPECT_EQ(0, descriptor.close());
    EXPECT_EQ(-1, descriptor.close());
    EXPECT_EQ(-1, descriptor.nonBlockingReadSelect(buffer, 4));
    EXPECT_STREQ(std::strerror(EBADF), descriptor.lastError());
    EXPECT_EQ(-1, descriptor.blockingRead(buffer, 4));
    EXPECT_EQ(-1, descriptor.blockingWrite("data", 4));
    EXPECT_STREQ("Not connected.", descriptor.lastError());
    EXPECT_EQ(-1, descriptor.nonBlockingWrite("data", 4));
    EXPECT_EQ(0, descriptor.nonBlockingRead(buffer, 4));
    descriptor.setId(1 << 20); // a number that names none
    EXPECT_EQ(-1, descriptor.blockingRead(buffer, 4));
    EXPECT_EQ(-1, descriptor.blockingWrite("data", 4));
    EXPECT_STREQ(std::strerror(EBADF), descriptor.lastError());
}

TEST_F(CoIoDescriptorTest, NumberZeroIsAsGoodAsAnyOther) {
    const int input = ::dup(STDIN_FILENO);
    ::dup2(descriptor.id(), STDIN_FILENO);
    {
        CoIoDescriptor zero;
        zero.setId(STDIN_FILENO);
        EXPECT_EQ(2, peer.blockingWrite("ab", 2));
        EXPECT_EQ(2, zero.nonBlockingReadSelect(buffer, 2));
        EXPECT_EQ(2, zero.blockingWrite("cd", 2));
    } // which closes it
    EXPECT_EQ(-1, ::fcntl(STDIN_FILENO, F_GETFD));
    EXPECT_EQ("cd", received(2));
    ::dup2(input, STDIN_FILENO);
    ::close(input);
}

TEST_F(CoIoDescriptorTest, ReadLineCutsALongLineAndConsumesItWhole) {
    peer.writeStr("abcdefghij\nabcdefg\nab\r\n\nend");
    for (const std::string line : {"abcdefg", "abcdefg", "ab\r", ""}) {
        EXPECT_EQ(static_cast<int>(line.size()), descriptor.readLine(buffer, 8));
        EXPECT_EQ(line, buffer);
        EXPECT_STREQ("", descriptor.lastError());
    }
    peer.close();
    EXPECT_EQ(0, descriptor.readLine(buffer, 8));
    EXPECT_STREQ("Unexpected end of data stream.", descriptor.lastError());
}

TEST_F(CoIoDescriptorTest, WritesToWhatIsNotASocket) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(0, ::pipe(ends));
    CoIoDescriptor out;
    out.setId(ends[1]);
    peer.close();
    peer.setId(ends[0]);
    EXPECT_TRUE(out.writeStr("text"));
    EXPECT_EQ("text", received(4));
}

// Counts its tries, and can be told that it never blocks.
class Tried : public CoIoDescriptor {
public:
    using CoIoDescriptor::setNeverBlocks;
    int nonBlockingWrite(const void* buffer, unsigned size) override {
        ++tries;
        return CoIoDescriptor::nonBlockingWrite(buffer, size);
    }
    int tries = 0;
};

TEST_F(CoIoDescriptorTest, WhatIsTriedBeforeAWaitLeavesNothingBehind) {
    Tried tried;
    tried.setId(::dup(descriptor.id()));
    tried.setNeverBlocks(true);
    EXPECT_EQ(1, tried.blockingWrite("a", 1));
    EXPECT_EQ(-1, tried.nonBlockingRead(buffer, 1));
    EXPECT_STREQ(std::strerror(EAGAIN), tried.lastError());
    tried.close();
    tried.setId(::dup(descriptor.id())); // which may block
    while (descriptor.nonBlockingWrite(buffer, sizeof buffer) > 0)
        continue;
    std::thread reader([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        char bytes[1 << 16];
        while (::recv(peer.id(), bytes, sizeof bytes, MSG_DONTWAIT) > 0)
            continue;
    });
    tried.tries = 0;
    EXPECT_EQ(1, tried.blockingWrite("b", 1));
    EXPECT_EQ(1, tried.tries); // a try before the wait would be another
    reader.join();
}

TEST_F(CoIoDescriptorTest, NullBuffersAbort) {
    EXPECT_DEATH(descriptor.writeStr(nullptr),
                 Eq("base/tcp/src/CoIoDescriptor:210: failed assertion `str != 0'\n"));
    EXPECT_DEATH(descriptor.readLine(nullptr, 8),
                 Eq("base/tcp/src/CoIoDescriptor:318: failed assertion `buff != 0'\n"));
}

} // namespace
