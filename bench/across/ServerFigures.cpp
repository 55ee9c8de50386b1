// The development server beside what a client can take, alone and with ten clients.
#include "bench/across/Figures.h"
#include "bench/support/Protocols.h"

#include "lantrix/LantrixClientAPI.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace bench {

namespace {

constexpr int crowd = 10;
constexpr std::size_t crowdFrame = std::size_t{1} << 20;
constexpr std::chrono::milliseconds crowdTime(2000);

// Plain loops read from the server what the library could take from the bare peer.
void addCachedRow(const Arena& arena, std::size_t size, Report& report) {
    const auto client = bareExchange(arena.devServer().host(), arena.devServerIds());
    const auto samples =
        race({arena.lantrix->moving(/*reads=*/true, size), client->moving(/*reads=*/true, size)},
             Effort());
    report.add(frameRow(size, "lantrixd, cached frames", samples[1], "lantrix can take", samples[0],
                        "1.00"));
}

// The server does not keep the whole long clip at hand, so each frame has to be announced before
// its read.
void addReadAheadRow(const Arena& arena, Report& report) {
    constexpr std::size_t size = DevServerProcess::longClipFrameSize;
    LantrixServerHandle server(arena.devServer().host().c_str());
    LantrixNodeHandle clip;
    if (!LantrixResolveDisplayPath(server, DevServerProcess::longClip(), clip))
        throw std::runtime_error("The development server has lost its long clip");
    int next = 0;
    const auto inTurn = [&](int count) {
        for (int i = 0; i < count; ++i) {
            if (!clip.readFrame(next, frameBuffer(), static_cast<int>(size)))
                throw std::runtime_error(server.lastError());
            next = (next + 1) % DevServerProcess::longClipLength;
        }
    };
    const auto samples = race({arena.lantrix->moving(/*reads=*/true, size), inTurn}, Effort());
    report.add(frameRow(size, "lantrixd, frames read ahead", samples[1], "lantrix can take",
                        samples[0], "1.00"));
}

// Frames that each of some clients has read at the same time, for a while.
std::vector<int> framesOfClients(const Arena& arena, int clients) {
    std::vector<int> frames(static_cast<std::size_t>(clients));
    std::atomic<bool> over(false);
    const std::string host = arena.devServer().host(), id = arena.devServer().frameOf(crowdFrame);
    const auto read = [&](int& count) {
        LantrixServerHandle server(host.c_str());
        std::vector<char> buffer(crowdFrame);
        while (!over && server.readFrame(id.c_str(), buffer.data(), static_cast<int>(crowdFrame)))
            ++count;
    };
    std::vector<std::thread> threads;
    for (int& count : frames)
        threads.emplace_back(read, std::ref(count));
    std::this_thread::sleep_for(crowdTime);
    over = true;
    for (std::thread& thread : threads)
        thread.join();
    return frames;
}

double sum(const std::vector<int>& counts) {
    double all = 0;
    for (const int count : counts)
        all += count;
    return all;
}

void addCrowdRows(const Arena& arena, Report& report) {
    arena.place(Placement::Free);
    std::vector<double> alone, together, ratios, slowest, fastest;
    for (int round = 0; round < 5; ++round) {
        alone.push_back(sum(framesOfClients(arena, 1)));
        const std::vector<int> each = framesOfClients(arena, crowd);
        together.push_back(sum(each));
        ratios.push_back(together.back() / alone.back());
        const double mean = together.back() / crowd;
        slowest.push_back(*std::min_element(each.begin(), each.end()) / mean);
        fastest.push_back(*std::max_element(each.begin(), each.end()) / mean);
    }
    const auto rate = [](const std::vector<double>& frames) {
        const double seconds = std::chrono::duration<double>(crowdTime).count();
        return rateText(median(frames) * static_cast<double>(crowdFrame) / seconds);
    };
    report.add({"lantrixd, ten clients together, " + sizeText(crowdFrame), rate(together),
                "one client " + rate(alone), ratioText(median(ratios)), "1.00"});
    report.add({"lantrixd, slowest and fastest of the ten",
                ratioText(median(slowest)) + " to " + ratioText(median(fastest)), "their mean", "",
                "0.80 to 1.20"});
}

} // namespace

void addServerFigures(const Arena& arena, Report& report) {
    arena.place(Placement::OneCore);
    addCachedRow(arena, std::size_t{64} << 10, report);
    arena.place(Placement::TwoCores);
    for (const std::size_t size : {std::size_t{1} << 20, std::size_t{12} << 20, largestFrame})
        addCachedRow(arena, size, report);
    addReadAheadRow(arena, report);
    addCrowdRows(arena, report);
}

} // namespace bench
