// lantrix-bench [PICTURE]: what lies across the library, measured against what the sockets can do
// and against what a user would take instead. Prints tables and draws the curve of throughput over
// frame size into the file PICTURE.
#include "bench/across/Figures.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <vector>

namespace {

using namespace bench;

constexpr const char* thisProgram = "/proc/self/exe";

void measureAll(const char* picture) {
    cores(); // asked before anything is pinned
    const Arena arena;
    Report report;
    std::vector<Panel> panels;
    panels.push_back(addFrameFigures(arena, Placement::OneCore, report));
    addCallFigures(arena, report);
    report.print("Both sides on one core");
    panels.push_back(addFrameFigures(arena, Placement::TwoCores, report));
    report.print("A core for each side");
    addServerFigures(arena, report);
    addMemoryFigures(arena, report);
    report.print("The development server, and memory");
    addBufferSizeFigures(arena, thisProgram, report);
    report.print("KV_LANTRIX_TCP_BUF_SIZE");
    std::ofstream(picture) << svgOf(panels);
    std::printf("\n%s", skippedRivals().c_str());
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 3 && std::strcmp(argv[1], "--probe") == 0)
            bench::probeBufferSize(argv[2]);
        else
            measureAll(argc > 1 ? argv[1] : "throughput.svg");
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lantrix-bench: %s\n", error.what());
        return 1;
    }
}
