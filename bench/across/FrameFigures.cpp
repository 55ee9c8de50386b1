// Frames of all sizes, read and written, beside plain sockets and what a user would take instead.
#include "bench/across/Figures.h"
#include "bench/support/Protocols.h"

#include <string>
#include <vector>

namespace bench {

namespace {

constexpr std::size_t largeFrame = std::size_t{1} << 20;

/// One direction at one size, on one placement: who raced, and how it went.
class Heat {
public:
    Heat(const Arena& arena, bool reads, std::size_t size) : reads_(reads), size_(size) {
        add(*arena.copy);
        add(*arena.exchange);
        add(*arena.lantrix);
        add(*arena.lantrixWithServer);
        for (const auto& rival : arena.rivals())
            add(*rival);
    }

    void run(const Effort& effort) { samples_ = race(works_, effort); }

    std::size_t size() const { return movers_.size(); }
    std::string name(std::size_t i) const { return movers_[i]->name(reads_); }
    double rate(std::size_t i) const {
        return static_cast<double>(size_) * samples_[i].perSecond();
    }

    /// The row that compares one contender with another.
    Row compare(std::size_t one, std::size_t yardstick, const char* goal) const {
        return frameRow(size_, name(one), samples_[one], name(yardstick), samples_[yardstick],
                        goal);
    }

private:
    void add(FrameMover& mover) {
        movers_.push_back(&mover);
        works_.push_back(mover.moving(reads_, size_));
    }

    bool reads_;
    std::size_t size_;
    std::vector<FrameMover*> movers_;
    std::vector<Work> works_;
    std::vector<Samples> samples_;
};

enum Place : std::size_t { Copy, Exchange, Library, WithServer, FirstRival };

void addSmallFrameRows(const Heat& heat, Report& report) {
    report.add(heat.compare(Library, Exchange, "0.90"));
    report.add(heat.compare(Library, Copy, ""));
    report.add(heat.compare(Exchange, Copy, ""));
}

void addLargeFrameRows(const Heat& heat, Report& report) {
    report.add(heat.compare(Library, Copy, "0.97"));
    report.add(heat.compare(Library, Exchange, ""));
    for (std::size_t rival = FirstRival; rival < heat.size(); ++rival)
        report.add(heat.compare(WithServer, rival, "1.00"));
}

// The sizes that have rows: those below 1 MiB on one core, the others on two.
bool hasRows(std::size_t size, Placement placement) {
    if (placement == Placement::OneCore)
        return size == std::size_t{64} << 10;
    return size == largeFrame || size == std::size_t{12} << 20 || size == largestFrame;
}

Heat measure(const Arena& arena, bool reads, std::size_t size, Placement placement) {
    Heat heat(arena, reads, size);
    Effort effort;
    if (!hasRows(size, placement)) {
        effort.rounds = 5;
        effort.seconds = 0.015;
    }
    heat.run(effort);
    return heat;
}

// How near the library comes to the bare exchange when that waits for the status as it does.
void addWaitingRow(const Arena& arena, bool reads, Report& report) {
    constexpr std::size_t size = std::size_t{64} << 10;
    const auto waiting = bareExchange(arena.peer().host(), arena.peerIds(), /*waits=*/true);
    const auto samples =
        race({arena.lantrix->moving(reads, size), waiting->moving(reads, size)}, Effort());
    report.add(frameRow(size, arena.lantrix->name(reads), samples[0], waiting->name(reads),
                        samples[1], ""));
}

// The panel of one direction; rows go to the report.
Panel addDirection(const Arena& arena, bool reads, Placement placement, Report& report) {
    const bool oneCore = placement == Placement::OneCore;
    Panel panel{std::string(reads ? "reading frames, " : "writing frames, ") +
                    (oneCore ? "both sides on one core" : "a core for each side"),
                {}};
    for (const std::size_t size : curveSizes()) {
        const Heat heat = measure(arena, reads, size, placement);
        panel.curves.resize(heat.size());
        for (std::size_t i = 0; i < heat.size(); ++i) {
            panel.curves[i].name = heat.name(i);
            panel.curves[i].points.push_back({size, heat.rate(i)});
        }
        if (!hasRows(size, placement))
            continue;
        if (oneCore)
            addSmallFrameRows(heat, report);
        else
            addLargeFrameRows(heat, report);
    }
    return panel;
}

} // namespace

Row frameRow(std::size_t size, const std::string& name, const Samples& samples,
             const std::string& yardstick, const Samples& yardsticks, const char* goal) {
    const auto rate = [size](const Samples& of) {
        return rateText(static_cast<double>(size) * of.perSecond());
    };
    return {name + ", " + sizeText(size), rate(samples), yardstick + " " + rate(yardsticks),
            ratioText(samples.speedBeside(yardsticks)), goal};
}

void addFrameFigures(const Arena& arena, Placement placement, Report& report,
                     std::vector<Panel>& panels) {
    arena.place(placement);
    for (const bool reads : {true, false}) {
        panels.push_back(addDirection(arena, reads, placement, report));
        if (placement == Placement::OneCore)
            addWaitingRow(arena, reads, report);
    }
}

} // namespace bench
