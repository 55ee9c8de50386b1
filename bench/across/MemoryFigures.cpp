// Allocations for each frame, and memory over many frames.
#include "bench/across/Figures.h"

#include "bench/support/AllocationCount.h"
#include "bench/support/Protocols.h"

#include <functional>
#include <string>

namespace bench {

namespace {

constexpr int manyReads = 90000, manyWrites = 10000;

// Allocations of `count` frames, once connections and caches are there.
void addAllocationRow(const std::string& name, std::size_t size, const Work& work, int count,
                      Report& report) {
    work(framesInClip);
    const std::uint64_t allocations = allocationCount(), bytes = allocatedBytes();
    work(count);
    const double perFrame = static_cast<double>(allocationCount() - allocations) / count;
    const double bytesPerFrame = static_cast<double>(allocatedBytes() - bytes) / count;
    report.add({"Allocations per frame, " + name + ", " + sizeText(size),
                ratioText(perFrame) + " of " + countText(bytesPerFrame) + " B", "", "", "0"});
}

void addAllocationFigures(const Arena& arena, std::size_t size, int count, Report& report) {
    LantrixServerHandle server(arena.peer().host().c_str());
    LantrixNodeHandle clip(server, std::to_string(size).c_str());
    const auto byIndex = [&](int frames) { readByIndex(clip, size, frames); };
    addAllocationRow("read by index, with read-ahead", size, byIndex, count, report);
    addAllocationRow("read by id", size, arena.lantrix->moving(/*reads=*/true, size), count,
                     report);
    addAllocationRow("written by id", size, arena.lantrix->moving(false, size), count, report);
}

std::string growth(std::size_t before, std::size_t after) {
    return countText((static_cast<double>(after) - static_cast<double>(before)) / 1024) + " KiB";
}

} // namespace

void addMemoryFigures(const Arena& arena, Report& report) {
    arena.place(Placement::TwoCores);
    addAllocationFigures(arena, std::size_t{64} << 10, 1000, report);
    addAllocationFigures(arena, std::size_t{12} << 20, 50, report);

    FrameMover& mover = *arena.lantrixWithServer;
    const std::size_t size = curveSizes().front();
    mover.read(size, 1000);
    mover.write(size, 1000);
    const std::size_t client = residentBytes(0);
    const std::size_t server = residentBytes(arena.devServer().process());
    mover.read(size, manyReads);
    mover.write(size, manyWrites);
    const std::string frames = countText(manyReads + manyWrites) + " frames";
    report.add(
        {"Growth over " + frames + ", client", growth(client, residentBytes(0)), "", "", "0"});
    report.add({"Growth over " + frames + ", lantrixd",
                growth(server, residentBytes(arena.devServer().process())), "", "", "0"});
}

} // namespace bench
