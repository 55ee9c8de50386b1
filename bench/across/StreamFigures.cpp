// Frames read ahead: a reader beside a bare copy and over a link as a player jumps about, and the
// memory that readers and writers hold.
#include "bench/across/Figures.h"
#include "bench/support/Protocols.h"
#include "stream/FrameReader.h"
#include "stream/FrameWriter.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace bench {

namespace {

using lantrix::FrameReader;
using lantrix::FrameWindow;
using lantrix::Pool;

constexpr std::size_t largeFrame = std::size_t{12} << 20;
constexpr int framesOfPeer = 100; // of each of its clips
constexpr int manyFrames = 100000;

std::vector<int> indices(int count) {
    std::vector<int> all;
    for (int i = 0; i < count; ++i)
        all.push_back(i % framesOfPeer);
    return all;
}

const lantrix::Frame& whole(const std::optional<lantrix::Frame>& frame) {
    if (!frame || frame->failure)
        throw std::runtime_error("A frame was not read: " +
                                 (frame ? frame->failure.text : std::string("none is left")));
    return *frame;
}

// The peer's clip whose frames have this size.
LantrixNodeHandle clipOf(LantrixServerHandle& server, std::size_t frameSize) {
    return {server, std::to_string(frameSize).c_str()};
}

void readAll(Pool& pool, const LantrixNodeHandle& clip, int count, const FrameWindow& window) {
    FrameReader reader(pool, clip, indices(count), window);
    for (int i = 0; i < count; ++i)
        whole(reader.next());
}

std::string kibibytes(double bytes) {
    return countText(bytes / 1024) + " KiB";
}

double resident() {
    return static_cast<double>(residentBytes(0));
}

// The growth behind the first tenth.
void addGrowthRows(const Peer& peer, Report& report) {
    const FrameWindow window{std::size_t{1} << 20, 64};
    LantrixServerHandle server(peer.host().c_str());
    const LantrixNodeHandle clip = clipOf(server, 4096);
    Pool pool(peer.host(), 4);
    double before = 0;
    const auto reached = [&before](int i) {
        if (i == manyFrames / 10)
            before = resident();
    };
    const auto add = [&](const char* what) {
        report.add({"Growth over " + countText(manyFrames) + " frames, " + what,
                    kibibytes(resident() - before), "", "", "0"});
    };
    FrameReader reader(pool, clip, indices(manyFrames), window);
    for (int i = 0; i < manyFrames; ++i) {
        whole(reader.next());
        reached(i);
    }
    add("a reader");
    lantrix::FrameWriter writer(pool, clip, nullptr, window);
    for (int i = 0; i < manyFrames; ++i) {
        writer.write(i % framesOfPeer, writer.take());
        reached(i);
    }
    if (writer.finish().acknowledged != manyFrames)
        throw std::runtime_error("A frame was not written: " + writer.failure().text);
    add("a writer");
}

void addBoundRow(const Peer& peer, Report& report) {
    const FrameWindow window{std::size_t{64} << 20, 64};
    LantrixServerHandle server(peer.host().c_str());
    Pool pool(peer.host(), 4);
    FrameReader reader(pool, clipOf(server, largeFrame), indices(100), window);
    const double before = resident();
    double most = 0;
    for (int i = 0; i < 100; ++i) {
        whole(reader.next());
        most = std::max(most, resident() - before);
    }
    report.add({"Held by a reader of 12 MiB frames, bound 64 MiB", kibibytes(most), "", "",
                kibibytes(static_cast<double>(window.bytes))});
}

/// Where a player's user drags to: on in one direction, now and then back, seldom far away.
class Drag {
public:
    int next() {
        const auto roll = random_() % 20;
        if (roll == 0)
            place_ = static_cast<int>(random_() % Link::framesOfFilm);
        else if (roll < 3)
            direction_ = -direction_;
        place_ += direction_ * static_cast<int>(1 + random_() % 3);
        place_ = (place_ + Link::framesOfFilm) % Link::framesOfFilm;
        return place_;
    }

private:
    std::minstd_rand random_; // the same drag each time
    int place_ = 0;
    int direction_ = 1;
};

// The times from a request to its frame, 25 requests a second unless that is too fast.
Samples drag(const std::function<void(int index)>& show) {
    constexpr int requests = 100;
    constexpr std::chrono::milliseconds pace(40);
    Samples samples;
    Drag drag;
    for (int i = 0; i < requests; ++i) {
        const int index = drag.next();
        const double taken = secondsOf([&] { show(index); });
        samples.add(taken);
        std::this_thread::sleep_for(pace - std::chrono::duration<double>(taken));
    }
    return samples;
}

} // namespace

void addPlayerFigures(const Link& link, int milliseconds, Report& report) {
    LantrixServerHandle server(link.hostAt(milliseconds).c_str());
    LantrixNodeHandle clip;
    LantrixClipFormat format;
    if (!LantrixResolveDisplayPath(server, Link::path(Link::film).c_str(), clip) ||
        !clip.getClipFormat(format))
        throw std::runtime_error(server.lastError());
    std::vector<int> all;
    for (int i = 0; i < Link::framesOfFilm; ++i)
        all.push_back(i);
    Pool pool(link.hostAt(milliseconds), 4);
    FrameReader reader(pool, clip, all, {std::size_t{32} << 20, 64});
    const Samples ahead = drag([&](int index) {
        reader.request(index);
        if (whole(reader.next()).index != index)
            throw std::runtime_error("The reader gave another frame than the one asked for");
    });
    const Samples alone = drag([&](int index) {
        if (!clip.readFrame(index, frameBuffer(), format.frameBufferSize()))
            throw std::runtime_error(server.lastError());
    });
    report.add({"Scrubbing, from request to frame: median", timeText(ahead.perItem()),
                "one handle " + timeText(alone.perItem()),
                ratioText(alone.perItem() / ahead.perItem()), ""});
    report.add({"Scrubbing, from request to frame: 90th percentile", timeText(ahead.ninetieth()),
                "one handle " + timeText(alone.ninetieth()),
                ratioText(alone.ninetieth() / ahead.ninetieth()), ""});
}

void addStreamFigures(const Peer& peer, Report& report) {
    const auto copy = bareCopy(peer);
    LantrixServerHandle server(peer.host().c_str());
    const LantrixNodeHandle clip = clipOf(server, largeFrame);
    Pool pool(peer.host(), 2);
    const Work reading = [&](int count) { readAll(pool, clip, count, FrameWindow()); };
    const auto samples = race({reading, copy->moving(/*reads=*/true, largeFrame)}, Effort{7, 0.5});
    report.add(
        frameRow(largeFrame, "reader", samples[0], "bare copy received", samples[1], "0.95"));
    addBoundRow(peer, report);
    addGrowthRows(peer, report);
}

} // namespace bench
