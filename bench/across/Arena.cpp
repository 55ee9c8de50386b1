#include "bench/across/Arena.h"

#include "bench/support/Protocols.h"

namespace bench {

std::filesystem::path placeForFiles() {
    const std::filesystem::path inMemory = "/dev/shm";
    return std::filesystem::is_directory(inMemory) ? inMemory
                                                   : std::filesystem::temp_directory_path();
}

const std::vector<std::size_t>& curveSizes() {
    static const std::vector<std::size_t> sizes{
        std::size_t{4} << 10, std::size_t{16} << 10, std::size_t{64} << 10, std::size_t{256} << 10,
        std::size_t{1} << 20, std::size_t{4} << 20,  std::size_t{12} << 20, largestFrame};
    return sizes;
}

Arena::Arena()
    : scratch_(placeForFiles()), devServer_(scratch_ / "tree", curveSizes()),
      rivals_(installedRivals(scratch_.path())), copy(bareCopy(peer_)),
      exchange(bareExchange(peer_.host(), peerIds())),
      lantrix(libraryFrames(peer_.host(), peerIds(), "lantrix")),
      lantrixWithServer(libraryFrames(devServer_.host(), devServerIds(), "lantrix, lantrixd")) {
    for (const auto& rival : rivals_)
        for (const std::size_t size : curveSizes())
            rival->write(size, 1);
}

void Arena::place(Placement placement) const {
    const int first = cores().front(), last = cores().back();
    const bool free = placement == Placement::Free;
    const std::vector<int> server = free ? cores() : std::vector<int>{last};
    pin(0, placement == Placement::TwoCores ? std::vector<int>{first} : server);
    pin(peer_.process(), server);
    pin(devServer_.process(), server);
    for (const auto& rival : rivals_)
        pin(rival->process(), server);
}

FrameIds Arena::peerIds() const {
    return [](std::size_t) { return "frame"; };
}

FrameIds Arena::devServerIds() const {
    return [this](std::size_t size) { return devServer_.frameOf(size); };
}

} // namespace bench
