// lantrix-bench [FOLDER]: what lies across the library, measured against what the sockets can do
// and against what a user would take instead. Prints the rows of the table, and draws the curves
// into pictures in FOLDER, the current one unless told otherwise. lantrix-bench --python: the
// figures of the Python package alone. lantrix-bench --link [PROGRAM]: those of many connections
// over links with a round trip, and of the tool beside PROGRAM, another build of it. lantrix-bench
// --peer: runs the other end of the measurements and prints its address. lantrix-bench --probe
// HOST: makes the calls that standard input asks for (see Probe.h).
#include "bench/across/Figures.h"
#include "bench/across/Probe.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using namespace bench;

void draw(const std::filesystem::path& file, const std::vector<Panel>& panels) {
    std::ofstream(file) << svgOf(panels);
}

void measureAll(const std::filesystem::path& folder) {
    cores(); // asked before anything is pinned
    const Arena arena;
    Report report;
    std::vector<Panel> panels;
    addFrameFigures(arena, Placement::OneCore, report, panels);
    addCallFigures(arena, report);
    report.print("Across it, both sides on one core");
    addFrameFigures(arena, Placement::TwoCores, report, panels);
    report.print("Across it, a core for each side");
    draw(folder / "throughput.svg", panels);
    addServerFigures(arena, report);
    addMemoryFigures(arena, report);
    report.print("The development server, and memory");
#ifdef LANTRIX_BENCH_TOOL
    addToolFigures(arena, report);
    report.print("The command-line tool");
#endif
#ifdef LANTRIX_BENCH_PYTHON
    addPythonFigures(arena, report);
    report.print("Python");
#endif
    draw(folder / "buffer-size.svg", {addBufferSizeFigures(arena, report)});
    report.print("KV_LANTRIX_TCP_BUF_SIZE");
}

#ifdef LANTRIX_BENCH_PYTHON
void measurePython() {
    cores(); // asked before anything is pinned
    const Arena arena;
    Report report;
    addPythonFigures(arena, report);
    Report::printHeader();
    report.print("Python");
}
#endif

#ifdef LANTRIX_BENCH_TOOL
// All processes are started before any thread is.
void measureLink(const char* otherBuild) {
    Report report;
    const Peer peer;
    const Link link;
    Report::printHeader();
    addStreamFigures(peer, report);
    report.print("Frames read ahead");
    if (otherBuild != nullptr) {
        addBuildFigures(link, otherBuild, report);
        report.print("The command-line tool, beside another build");
    }
    for (const int milliseconds : Link::roundTrips()) {
        addLinkFigures(link, milliseconds, report);
        report.print(milliseconds == 0 ? "Without a link"
                                       : "A link of " + std::to_string(milliseconds) + " ms");
    }
}
#endif

void runPeer() {
    const Peer peer;
    std::printf("%s\n", peer.host().c_str());
    std::fflush(stdout);
    ::pause();
}

} // namespace

int main(int argc, char** argv) {
    try {
        const std::string first = argc > 1 ? argv[1] : ".";
        if (first == "--peer")
            runPeer();
        else if (first == "--probe" && argc == 3)
            bench::runProbe(argv[2]);
#ifdef LANTRIX_BENCH_PYTHON
        else if (first == "--python")
            measurePython();
#endif
#ifdef LANTRIX_BENCH_TOOL
        else if (first == "--link")
            measureLink(argc > 2 ? argv[2] : nullptr);
#endif
        else
            measureAll(first);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lantrix-bench: %s\n", error.what());
        return 1;
    }
}
