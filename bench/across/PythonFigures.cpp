// The Python package beside C++, in a process of its own, and beside what a Python program would
// take instead.
#include "bench/across/Figures.h"
#include "bench/across/Probe.h"

#include "bench/support/Protocols.h"
#include "lantrix/LantrixClientAPI.h"
#include "stream/FrameReader.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

namespace {

constexpr int manyFrames = 100000;
constexpr std::size_t manyChildren = 100000;
constexpr std::size_t smallFrame = std::size_t{64} << 10;
constexpr std::size_t largeFrames[] = {std::size_t{1} << 20, std::size_t{12} << 20,
                                       std::size_t{50} << 20};

void require(bool succeeded, const LantrixServerHandle& server) {
    if (!succeeded)
        throw std::runtime_error(server.lastError());
}

Probe startProbe(const Arena& arena, Probe::Environment environment) {
    environment.emplace_back("PYTHONPATH", LANTRIX_BENCH_PYTHON_PATH);
    environment.emplace_back("PYTHONDONTWRITEBYTECODE", "1");
    return {{LANTRIX_BENCH_PYTHON, LANTRIX_BENCH_PYTHON_PROBE, arena.peer().host(),
             arena.devServer().host()},
            environment};
}

/// What Python is compared with in this process: the same from the same peer by C++.
class Cplusplus {
public:
    explicit Cplusplus(const Arena& arena) : server_(arena.peer().host().c_str()) {}

    // As clip.frames() does unless told otherwise.
    Work stream(const std::string& host, std::size_t size) {
        constexpr unsigned connections = 4;
        constexpr std::size_t ahead = 8, given = 4;
        return [this, host, size](int count) {
            std::vector<int> indices(static_cast<std::size_t>(count));
            for (int i = 0; i < count; ++i)
                indices[static_cast<std::size_t>(i)] = i % framesInClip;
            lantrix::Pool pool(host, connections);
            lantrix::FrameReader reader(pool, nodeOf(size), std::move(indices),
                                        {size * 100, connections + ahead + given});
            while (const auto frame = reader.next())
                if (frame->failure)
                    throw std::runtime_error(frame->failure.text);
        };
    }

    Work names(std::size_t size) {
        return [this, size](int count) {
            for (int i = 0; i < count; ++i)
                require(namesOf(nodeOf(size)).size() == size, server_);
        };
    }

private:
    LantrixNodeHandle nodeOf(std::size_t size) const {
        return {server_, std::to_string(size).c_str()};
    }

    std::vector<std::string> namesOf(const LantrixNodeHandle& node) const {
        int count = 0;
        require(node.getNumChildren(count), server_);
        std::vector<std::string> names;
        LantrixNodeHandle child;
        LantrixStr name;
        for (int i = 0; i < count; ++i) {
            require(node.getChild(i, child) && child.getDisplayName(name), server_);
            names.emplace_back(name.c_str());
        }
        return names;
    }

    LantrixServerHandle server_;
};

// Where an interpreter has its pages, and how the system fits its sockets' buffers, make more of a
// difference than the one that is looked for: rows come from several, each with rounds of its own.
constexpr int interpreters = 7;

void raceWithNew(const Arena& arena, const std::string& what, std::size_t size,
                 const Work& yardstick, const Effort& effort, std::vector<Samples>& all) {
    const Probe probe = startProbe(arena, {});
    (void)probe.answer();
    const auto samples = race({probe.doing(what, size), yardstick}, effort);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i].add(samples[i]);
}

// The yardstick has a new process each time as well.
void addReadRow(const Arena& arena, std::size_t size, const char* goal, Report& report) {
    std::vector<Samples> all(2);
    for (int i = 0; i < interpreters; ++i) {
        const Probe handle(arena.peer().host(), 0);
        raceWithNew(arena, "read_into", size, handle.doing("read-by-index", size), {3, 0.1}, all);
    }
    report.add(frameRow(size, "read_into", all[0], "handle", all[1], goal));
}

void addStreamRow(const Arena& arena, Cplusplus& cplusplus, std::size_t size, Report& report) {
    const Effort effort{3, 0.2}; // connections are opened in each turn
    std::vector<Samples> all(2);
    for (int i = 0; i < interpreters; ++i)
        raceWithNew(arena, "stream", size, cplusplus.stream(arena.peer().host(), size), effort,
                    all);
    report.add(frameRow(size, "clip.frames()", all[0], "FrameReader", all[1], "0.95"));
}

void addNamesRow(Cplusplus& cplusplus, Probe& probe, Report& report) {
    const auto samples =
        race({probe.doing("names", manyChildren), cplusplus.names(manyChildren)}, {5, 0.05});
    const auto each = [](const Samples& of) {
        return timeText(of.perItem() / static_cast<double>(manyChildren)) + "/child";
    };
    report.add({"names of " + countText(manyChildren) + " children", each(samples[0]),
                "vector of strings " + each(samples[1]),
                ratioText(samples[0].speedBeside(samples[1])), "0.50"});
}

// Each gives a new array for each frame, from its own server.
void addRivalRows(const Arena& arena, Probe& probe, const std::string& installed, std::size_t size,
                  Report& report) {
    std::vector<Work> works{probe.doing("read", size)};
    std::vector<std::string> names;
    for (const auto& rival : arena.rivals()) {
        if (installed.find(rival->pythonModule()) == std::string::npos)
            continue;
        works.push_back(probe.doing(rival->pythonModule(), size, rival->port()));
        names.push_back("Python's " + rival->pythonModule());
    }
    const auto samples = race(works, Effort());
    for (std::size_t i = 0; i < names.size(); ++i)
        report.add(
            frameRow(size, "clip[0], lantrixd", samples[0], names[i], samples[i + 1], "1.00"));
}

void addMemoryRows(const Arena& arena, Probe& probe, Report& report) {
    Probe counted = startProbe(arena, {{"LD_PRELOAD", LANTRIX_BENCH_ALLOCATIONS}});
    (void)counted.answer();
    for (const auto& [size, count] : {std::pair{smallFrame, "1000"}, {largeFrames[1], "50"}})
        report.add({"Allocations per frame, read_into, " + sizeText(size),
                    counted.ask("allocations " + std::to_string(size) + " " + count), "", "", "0"});
    for (const std::string what : {"read_into", "stream"}) {
        const Work work = probe.doing(what, curveSizes().front());
        work(manyFrames); // the list of their indices has its place from now on
        const std::size_t before = residentBytes(probe.process());
        work(manyFrames);
        const double growth =
            static_cast<double>(residentBytes(probe.process())) - static_cast<double>(before);
        report.add({"Growth over " + countText(manyFrames) + " frames, " + what,
                    countText(growth / 1024) + " KiB", "", "", "0"});
    }
}

} // namespace

void addPythonFigures(const Arena& arena, Report& report) {
    arena.place(Placement::OneCore); // the probe takes its place over
    Probe probe = startProbe(arena, {});
    const std::string installed = probe.answer();
    const auto place = [&](Placement placement) {
        arena.place(placement);
        pin(probe.process(),
            placement == Placement::TwoCores ? std::vector<int>{cores().front()} : cores());
    };
    Cplusplus cplusplus(arena);
    addReadRow(arena, smallFrame, "0.80", report);
    addNamesRow(cplusplus, probe, report);
    place(Placement::TwoCores);
    for (const std::size_t size : largeFrames)
        addReadRow(arena, size, "0.97", report);
    for (const std::size_t size : largeFrames)
        addRivalRows(arena, probe, installed, size, report);
    place(Placement::Free);
    for (const std::size_t size : {largeFrames[0], largeFrames[1]})
        addStreamRow(arena, cplusplus, size, report);
    addMemoryRows(arena, probe, report);
}

} // namespace bench
