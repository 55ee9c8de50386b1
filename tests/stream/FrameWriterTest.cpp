// The writer: any order, a bounded window, one result for each frame, and that a frame is sent once
// unless its writer has asked for more.
#include "stream/FrameWriter.h"
#include "tests/stream/CancelMoments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

namespace {

using lantrix::FrameBuffer;
using lantrix::FrameWriter;
using lantrix::Pool;
using lantrix::WriteResult;
using State = lantrix::WriteResult::State;

constexpr std::size_t frameSize = StreamServer::frameSize;

// False when the writer gives no buffer any more.
bool writeFrame(FrameWriter& writer, int index) {
    FrameBuffer buffer = writer.take();
    if (!buffer)
        return false;
    const std::string frame = StreamServer::frame(index + 1000); // not what the clip holds
    std::copy(frame.begin(), frame.end(), buffer.data());
    writer.write(index, std::move(buffer));
    return true;
}

bool isStored(LantrixNodeHandle& clip, int index) {
    std::string bytes(frameSize, '?');
    EXPECT_TRUE(clip.readFrame(index, bytes.data(), int{frameSize})) << clip.lastError();
    return bytes == StreamServer::frame(index + 1000);
}

TEST(FrameWriter, FramesInAnyOrderEachHaveAResult) {
    constexpr int count = 50;
    StreamServer server;
    LantrixNodeHandle clip = server.clip(count);
    Pool pool(server.host(), 3);
    std::vector<int> acknowledged;
    std::set<const void*> buffers;
    FrameWriter writer(pool, clip,
                       [&acknowledged](const WriteResult& result) {
                           EXPECT_EQ(State::Acknowledged, result.state) << result.failure.text;
                           acknowledged.push_back(result.index);
                       },
                       {4 * frameSize, 64});
    for (int i = 0; i < count; ++i) {
        FrameBuffer probe = writer.take();
        buffers.insert(probe.data());
        probe = FrameBuffer();
        writeFrame(writer, i * 7 % count);
    }
    EXPECT_EQ(std::size_t{count}, writer.finish().acknowledged);
    EXPECT_GE(4U, buffers.size());
    std::sort(acknowledged.begin(), acknowledged.end());
    for (int i = 0; i < count; ++i)
        EXPECT_TRUE(acknowledged[static_cast<std::size_t>(i)] == i && isStored(clip, i)) << i;
}

TEST(FrameWriter, WhatWasAcknowledgedIsToldApartFromWhatWasSent) {
    StreamServer server;
    Relayed relayed(server);
    LantrixNodeHandle clip = server.clip(4);
    Pool pool(relayed.host(), 1);
    std::vector<State> states;
    FrameWriter writer(pool, clip,
                       [&states](const WriteResult& result) { states.push_back(result.state); });
    writeFrame(writer, 0);
    writer.finish();
    relayed.relay.arm({Channel::Frame, Side::Reply, Fault::Close, 0});
    writeFrame(writer, 1);
    writer.finish();
    writeFrame(writer, 4); // there is none
    writer.write(2, FrameBuffer());
    writer.finish();
    FrameBuffer late = writer.take();
    relayed.relay.arm({Channel::Frame, Side::Reply, Fault::Stall, 0});
    writeFrame(writer, 2);
    while (!relayed.relay.fired())
        std::this_thread::yield();
    writeFrame(writer, 3);
    pool.cancel();
    const lantrix::WriteCounts counts = writer.finish();
    EXPECT_FALSE(writer.take());
    EXPECT_EQ(Kind::Stopped, writer.failure().kind);
    EXPECT_EQ(1U, counts.acknowledged);
    EXPECT_EQ(2U, counts.refused);
    EXPECT_EQ(2U, counts.sent);
    EXPECT_EQ(1U, counts.notSent);
    // The frame that waits is told of the stop first, the one under way when its call has ended.
    EXPECT_EQ((std::vector<State>{State::Acknowledged, State::Sent, State::Refused, State::Refused,
                                  State::NotSent, State::Sent}),
              states);
    EXPECT_TRUE(isStored(clip, 0) && isStored(clip, 1) && isStored(clip, 2) && !isStored(clip, 3));
}

TEST(FrameWriter, NothingIsSentTwiceWhateverBreaks) {
    constexpr int count = 200;
    StreamServer server;
    Relayed relayed(server);
    LantrixNodeHandle clip = server.clip(count);
    const std::size_t before = server.logged("WriteFrame: stored").size();
    Pool pool(relayed.host(), 3);
    std::set<int> acknowledged;
    std::size_t told = 0;
    FrameWriter writer(pool, clip,
                       [&](const WriteResult& result) {
                           ++told;
                           if (result.state == State::Acknowledged)
                               acknowledged.insert(result.index);
                       },
                       {1 << 20, 4});
    for (int i = 0; i < count; ++i) {
        if (i % 5 == 0)
            relayed.relay.arm({Channel::Frame, i % 2 == 0 ? Side::Reply : Side::Request,
                               i % 3 == 0 ? Fault::Reset : Fault::Close,
                               static_cast<std::size_t>(i) % 60});
        writeFrame(writer, i);
    }
    const lantrix::WriteCounts counts = writer.finish();
    EXPECT_EQ(std::size_t{count}, told);
    EXPECT_EQ(acknowledged.size(), counts.acknowledged);
    EXPECT_LT(0U, counts.sent);
    std::vector<std::string> stored = server.logged("WriteFrame: stored");
    stored.erase(stored.begin(), stored.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_EQ(stored.size(), std::set<std::string>(stored.begin(), stored.end()).size());
    for (const int index : acknowledged)
        EXPECT_TRUE(isStored(clip, index)) << index;
}

// What was sent and not acknowledged may be stored or not.
TEST(FrameWriter, EndsWithItsPoolAtAHundredMoments) {
    constexpr int count = 60;
    StreamServer server;
    LantrixNodeHandle clip = server.clip(count);
    cancelAtAHundredMoments(server, Channel::Frame, [&](Pool& pool) {
        ASSERT_TRUE(clip.setNumFrames(0) && clip.setNumFrames(count)) << clip.lastError();
        std::map<int, State> states;
        FrameWriter writer(pool, clip, [&](const WriteResult& result) {
            EXPECT_TRUE(states.emplace(result.index, result.state).second);
        });
        int taken = 0;
        while (taken < count && writeFrame(writer, taken))
            ++taken;
        writer.finish();
        EXPECT_EQ(static_cast<std::size_t>(taken), states.size());
        for (const auto& [index, state] : states)
            EXPECT_TRUE(state == State::Sent ||
                        isStored(clip, index) == (state == State::Acknowledged))
                << index;
    });
}

} // namespace
