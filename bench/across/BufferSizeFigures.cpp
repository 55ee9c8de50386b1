// What the size of the socket buffers does to large frames.
#include "bench/across/Figures.h"
#include "bench/across/Probe.h"

#include <memory>
#include <string>
#include <vector>

namespace bench {

namespace {

// The first is the library's default: the system chooses.
constexpr std::size_t bufferSizes[] = {0,
                                       std::size_t{16} << 10,
                                       std::size_t{64} << 10,
                                       std::size_t{256} << 10,
                                       std::size_t{1} << 20,
                                       std::size_t{4} << 20,
                                       std::size_t{16} << 20};

// Buffers that hold less than one segment of loopback make frames crawl: only a small one is
// measured.
std::size_t frameSizeFor(std::size_t bufferSize) {
    const bool crawls = bufferSize != 0 && bufferSize < std::size_t{64} << 10;
    return (crawls ? std::size_t{1} : std::size_t{12}) << 20;
}

/// One direction with all buffer sizes.
class Sweep {
public:
    Sweep(bool reads, const std::vector<std::unique_ptr<Probe>>& probes) : reads_(reads) {
        std::vector<Work> works;
        for (std::size_t i = 0; i < probes.size(); ++i)
            works.push_back(probes[i]->moving(reads, frameSizeFor(bufferSizes[i])));
        samples_ = race(works, {5, 0.035});
    }

    void addRows(Report& report) const {
        for (std::size_t i = 1; i < samples_.size(); ++i)
            report.add({title() + " " + sizeText(frameSizeFor(bufferSizes[i])) + ", buffers of " +
                            sizeText(bufferSizes[i]),
                        rateText(rate(i)), "system's own buffers " + rateText(rate(0)),
                        ratioText(rate(i) / rate(0)), ""});
    }

    void addCurves(Panel& panel) const {
        Curve set{title() + ", buffers of this size", {}};
        Curve unset{title() + ", the system's own buffers", {}};
        for (std::size_t i = 1; i < samples_.size(); ++i) {
            set.points.push_back({bufferSizes[i], rate(i)});
            unset.points.push_back({bufferSizes[i], rate(0)});
        }
        panel.curves.push_back(set);
        panel.curves.push_back(unset);
    }

private:
    std::string title() const { return reads_ ? "Read" : "Written"; }
    double rate(std::size_t i) const {
        return static_cast<double>(frameSizeFor(bufferSizes[i])) * samples_[i].perSecond();
    }

    bool reads_;
    std::vector<Samples> samples_;
};

} // namespace

Panel addBufferSizeFigures(const Arena& arena, Report& report) {
    arena.place(Placement::TwoCores);
    std::vector<std::unique_ptr<Probe>> probes;
    for (const std::size_t size : bufferSizes)
        probes.push_back(std::make_unique<Probe>(arena.peer().host(), size));
    Panel panel{"throughput over KV_LANTRIX_TCP_BUF_SIZE, a core for each side", {}};
    for (const bool reads : {true, false}) {
        const Sweep sweep(reads, probes);
        sweep.addRows(report);
        sweep.addCurves(panel);
    }
    return panel;
}

} // namespace bench
