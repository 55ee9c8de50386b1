// Frames of every size in buffers that end where memory ends, sizes and indices at the ends of
// their types, and transfers between a thousand signals a second.
#include "base/tcp/src/CoIoDescriptor.h"
#include "tests/faults/Cases.h"
#include "tests/faults/HealthyServer.h"
#include "tests/faults/PublicOperations.h"
#include "tests/support/WireOperations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>

#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

/// A buffer of healthy bytes with a page behind it, and one before its first megabyte, that can't
/// be touched. The same megabyte of memory stands at all of its places.
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t size)
        : guard_(static_cast<std::size_t>(::sysconf(_SC_PAGESIZE))),
          room_((size + unit - 1) / unit * unit),
          region_(static_cast<char*>(::mmap(nullptr, room_ + 2 * guard_, PROT_NONE,
                                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))) {
        if (region_ == MAP_FAILED)
            throw std::bad_alloc();
        const std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), &std::fclose);
        EXPECT_EQ(0, ::ftruncate(::fileno(file.get()), unit));
        for (std::size_t at = 0; at < room_; at += unit)
            EXPECT_NE(MAP_FAILED, ::mmap(region_ + guard_ + at, unit, PROT_READ | PROT_WRITE,
                                         MAP_SHARED | MAP_FIXED, ::fileno(file.get()), 0));
        data_ = region_ + guard_ + room_ - size;
        healthyBytes().copy(data_, std::min(size, unit));
    }
    ~GuardedBuffer() { ::munmap(region_, room_ + 2 * guard_); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    char* data() const { return data_; }

private:
    static constexpr std::size_t unit = 1 << 20;
    const std::size_t guard_, room_;
    char* const region_;
    char* data_;
};

#ifdef LANTRIX_SANITIZED
constexpr int largestFrame = 1 << 26; // more would take minutes
#else
constexpr int largestFrame = INT_MAX; // more than four gigabytes in all travel on one connection
#endif

TEST(FrameOfEverySize, TravelsBetweenGuardPages) {
    HealthyServer server;
    LantrixServerHandle handle(server.host());
    for (const int size : {1, 5, 1 << 20, (1 << 20) + 1, largestFrame}) {
        SCOPED_TRACE(size);
        const GuardedBuffer frame(static_cast<std::size_t>(size));
        EXPECT_TRUE(handle.writeFrame("f1", frame.data(), size)) << handle.lastError();
        const std::size_t seen = std::min<std::size_t>(static_cast<std::size_t>(size), 1 << 20);
        std::memset(frame.data(), 0, seen);
        EXPECT_TRUE(handle.readFrame("f1", frame.data(), size)) << handle.lastError();
        EXPECT_EQ(0, healthyBytes().compare(0, seen, frame.data(), seen));
    }
}

TEST(SizeAtTheEndsOfItsType, IsAnErrorThatHurtsNothing) {
    using H = Handles;
    struct Case {
        std::vector<int> values;
        const char* error; // "" where the value goes to the server as it is
        bool (*call)(H& handles, int value);
    };
    const std::vector<int> negative = {INT_MIN, -1}, extreme = {INT_MIN, -1, INT_MAX};
    const Case cases[] = {
        {negative, "Cannot read a negative number of bytes",
         [](H& h, int v) { return h.server.readFrame("f1", h.frame.data(), v); }},
        {negative, "Cannot write a negative number of bytes",
         [](H& h, int v) { return h.server.writeFrame("f1", h.frame.data(), v); }},
        {{0},
         "Connection closed",
         [](H& h, int v) { return h.server.readFrame("f1", nullptr, v); }},
        {{0}, "", [](H& h, int v) { return h.server.writeFrame("f1", nullptr, v); }},
        {{INT_MIN, -1, 0, 829439},
         "Unable to read frame: Supplied frame buffer too small",
         [](H& h, int v) { return h.clip.readFrame(INT_MAX, h.frame.data(), v); }},
        {extreme, "Frame index out of range",
         [](H& h, int v) { return h.clip.readFrame(v, h.frame.data(), 829440); }},
        {extreme, "Frame index out of range",
         [](H& h, int v) { return h.clip.writeFrame(v, h.frame.data(), 829440); }},
        {extreme, "Frame index out of range",
         [](H& h, int v) { return h.clip.getFrameId(v, h.text); }},
        {negative, "Frame index out of range",
         [](H& h, int v) { return h.clip.getFrameIdPath(v, h.text); }},
        {{INT_MAX}, "", [](H& h, int v) { return h.clip.getFrameIdPath(v, h.text); }},
        {extreme, "Child node index out of range",
         [](H& h, int v) { return h.clip.getChild(v, h.child); }},
        {extreme, "Metadata stream index out of range",
         [](H& h, int v) { return h.clip.getAvailableMetaDataStream(v, h.text); }},
        {extreme, "", [](H& h, int v) { return h.clip.getMetaData("s", "", v, h.text); }},
        {extreme, "", [](H& h, int v) { return h.clip.setNumFrames(v); }},
        {extreme, "", [](H& h, int v) { return h.clip.linkToFrames(nullptr, v); }},
        {{INT_MIN, -1, 0}, "", [](H& h, int v) {
             return h.server.translatePaths(h.paths, h.paths, v, nullptr, nullptr, LantrixOS::Irix,
                                            LantrixOS::Linux);
         }}};
    HealthyServer server;
    for (const Case& each : cases)
        for (const int value : each.values) {
            SCOPED_TRACE(std::to_string(&each - cases) + " " + std::to_string(value));
            Handles handles(server.host());
            EXPECT_EQ(*each.error == '\0', each.call(handles, value)) << handles.server.lastError();
            EXPECT_STREQ(each.error, handles.server.lastError());
            EXPECT_TRUE(handles.server.ping() && handles.server.writeFrame("f1", "data", 4));
        }
}

TEST(SizeAtTheEndsOfItsType, IsRefusedByADescriptor) {
    CoIoDescriptor descriptor;
    descriptor.setId(::dup(STDIN_FILENO));
    char line[1];
    for (const unsigned length : {INT_MAX + 1U, UINT_MAX}) {
        EXPECT_EQ(-1, descriptor.blockingWrite(line, length));
        EXPECT_EQ(-1, descriptor.blockingRead(line, length));
        EXPECT_STREQ("Transfer too long", descriptor.lastError());
    }
    for (const int length : {INT_MIN, -1, 0})
        EXPECT_EQ(0, descriptor.readLine(line, length));
    EXPECT_STREQ("No room for a line.", descriptor.lastError());
}

std::atomic<int> signals(0);

// Without SA_RESTART every call that waits is interrupted.
TEST(SignalStorm, LetsEveryTransferCompleteByteForByte) {
    HealthyServer server;
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };
    ::sigaction(SIGALRM, &action, nullptr);
    const itimerval everyMillisecond = {{0, 1000}, {0, 1000}}, never{};
    ::setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
    std::string frame;
    while (frame.size() < 8 << 20)
        frame += healthyBytes();
    std::string received(frame.size(), '\0');
    const int size = static_cast<int>(frame.size());
    while (signals < 2000) {
        Services services(server.host());
        for (const WireOperation& operation : wireOperations()) {
            services.forgetOutputs();
            EXPECT_TRUE(operation.run(services)) << operation.name << services.error;
            EXPECT_EQ(operation.outputs, services.outputs());
        }
        EXPECT_EQ(1, services.frameService.writeFrame("f1", frame.data(), size));
        EXPECT_EQ(size, services.frameService.readFrame("f1", received.data(), size));
        EXPECT_TRUE(received == frame);
        received.assign(frame.size(), '\0');
    }
    ::setitimer(ITIMER_REAL, &never, nullptr);
}

} // namespace
