// The reader: order, bounds, jumps, and that every frame arrives once and whole, or its failure is
// told, whatever happens between pool and server.
#include "stream/FrameReader.h"
#include "tests/stream/CancelMoments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>

namespace {

using lantrix::Frame;
using lantrix::FrameReader;
using lantrix::Pool;

constexpr std::size_t frameSize = StreamServer::frameSize;

std::vector<int> upTo(int count, int step = 1) {
    std::vector<int> indices;
    for (int i = 0; i < count; i += step)
        indices.push_back(i);
    return indices;
}

bool isWhole(const Frame& frame) {
    return !frame.failure && std::string(frame.pixels.data(), frame.pixels.size()) ==
                                 StreamServer::frame(frame.index);
}

TEST(FrameReader, FramesComeInOrderAndAreAskedOnce) {
    StreamServer server;
    const LantrixNodeHandle clip = server.clip(100);
    Pool pool(server.host(), 3);
    for (const int step : {2, 1}) {
        const std::size_t read = server.logged("ReadFrame").size();
        const std::vector<int> indices = upTo(100, step);
        FrameReader reader(pool, clip, indices);
        for (const int index : indices) {
            const std::optional<Frame> frame = reader.next();
            ASSERT_TRUE(frame && frame->index == index && isWhole(*frame)) << index;
        }
        EXPECT_FALSE(reader.next());
        EXPECT_EQ(indices.size(), server.logged("ReadFrame").size() - read);
    }
}

TEST(FrameReader, AnnouncesTheNextFrameThatNobodyHasAskedFor) {
    StreamServer server;
    const LantrixNodeHandle clip = server.clip(6);
    Pool pool(server.host(), 3);
    for (const int step : {2, 1}) {
        FrameReader reader(pool, clip, upTo(6, step), {frameSize, 1});
        while (const std::optional<Frame> frame = reader.next())
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        // The even ones are at hand by then.
        EXPECT_EQ(step == 1 ? 2U : 0U, server.logged("ReadAhead").size());
    }
}

TEST(FrameReader, BuffersGoRoundWithinTheirBound) {
    StreamServer server;
    const LantrixNodeHandle clip = server.clip(30);
    Pool pool(server.host(), 4);
    std::vector<Frame> held;
    std::set<const void*> buffers;
    FrameReader reader(pool, clip, upTo(30), {3 * frameSize + 1, 64});
    for (int i = 0; i < 3; ++i)
        held.push_back(*reader.next());
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(reader.isReady());
    EXPECT_EQ(3U, server.logged("ReadFrame").size());
    for (int i = 3; i < 30; ++i) {
        held[static_cast<std::size_t>(i % 3)] = Frame();
        held[static_cast<std::size_t>(i % 3)] = *reader.next();
        EXPECT_TRUE(std::all_of(held.begin(), held.end(), isWhole));
        for (const Frame& frame : held)
            buffers.insert(frame.pixels.data());
    }
    EXPECT_EQ(3U, buffers.size());
}

TEST(FrameReader, ARequestGoesBeforeWhatWasPlanned) {
    StreamServer server;
    const LantrixNodeHandle clip = server.clip(200);
    Pool pool(server.host(), 2);
    FrameReader reader(pool, clip, upTo(200), {1 << 20, 8});
    EXPECT_EQ(0, reader.next()->index);
    EXPECT_FALSE(reader.request(200));
    for (const int place : {150, 148, 30, 31, 199, 10, 0}) {
        ASSERT_TRUE(reader.request(place));
        for (int i = place; i < std::min(place + 3, 200); ++i) {
            const std::optional<Frame> frame = reader.next();
            ASSERT_TRUE(frame && frame->index == i && isWhole(*frame)) << i;
        }
    }
    // Eight places around each jump at most, and what was under way.
    EXPECT_GE(8U * (8 + 3), server.logged("ReadFrame").size());
}

TEST(FrameReader, FailuresAreToldInTheirPlace) {
    StreamServer server;
    const LantrixNodeHandle clip = server.clip(3);
    Pool pool(server.host(), 2);
    FrameReader reader(pool, clip, {2, 7, 1});
    EXPECT_TRUE(isWhole(*reader.next()));
    EXPECT_EQ("Frame index out of range", reader.next()->failure.text);
    EXPECT_TRUE(isWhole(*reader.next()));

    FrameReader nowhere(pool, LantrixNodeHandle(server.handle(), "none"), {0});
    EXPECT_EQ(Kind::Refused, nowhere.next()->failure.kind);

    FrameReader stopped(pool, clip, upTo(3), {frameSize, 1});
    const Frame held = *stopped.next(), orphan = *FrameReader(pool, clip, {2}).next();
    pool.cancel();
    EXPECT_TRUE(isWhole(held) && isWhole(orphan));
    EXPECT_EQ(Kind::Stopped, stopped.next()->failure.kind);
    EXPECT_EQ(2, stopped.next()->index);
    EXPECT_FALSE(stopped.next());
}

TEST(FrameReader, EveryFrameArrivesOnceAndWholeWhateverBreaks) {
    constexpr int count = 400;
    constexpr Fault faults[] = {Fault::Close, Fault::Reset, Fault::Stall};
    StreamServer server;
    Relayed relayed(server);
    const LantrixNodeHandle clip = server.clip(count);
    Pool pool(relayed.host(), 3);
    FrameReader reader(pool, clip, upTo(count), {1 << 20, 8});
    int broken = 0;
    for (int i = 0; i < count; ++i) {
        const Fault fault = faults[static_cast<std::size_t>(i) / 4 % 3];
        const Side side = i % 8 == 0 ? Side::Reply : Side::Request;
        if (i % 4 == 0) {
            relayed.relay.disarm();
            relayed.relay.release();
            relayed.relay.arm({Channel::Frame, side, fault, static_cast<std::size_t>(i) % 20});
        }
        if (i == count / 2) {
            server.stop();
            server.start();
        }
        while (!reader.isReady()) {
            relayed.relay.release(); // also one that stalled while its plan was being replaced
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const std::optional<Frame> frame = reader.next();
        ASSERT_TRUE(frame && frame->index == i);
        EXPECT_TRUE(isWhole(*frame) || frame->failure.kind == Kind::Connection)
            << frame->failure.text;
        broken += frame->failure ? 1 : 0;
    }
    EXPECT_GE(count / 20, broken) << "of frames that are tried again";
    EXPECT_FALSE(reader.next());
}

TEST(FrameReader, EndsWithItsPoolAtAHundredMoments) {
    constexpr int count = 60;
    StreamServer server;
    const LantrixNodeHandle clip = server.clip(count);
    cancelAtAHundredMoments(server, Channel::Frame, [&](Pool& pool) {
        int index = 0;
        FrameReader reader(pool, clip, upTo(count));
        for (; const std::optional<Frame> frame = reader.next(); ++index)
            EXPECT_TRUE(frame->index == index &&
                        (isWhole(*frame) || frame->failure.kind == Kind::Stopped));
        EXPECT_EQ(count, index);
    });
}

} // namespace
