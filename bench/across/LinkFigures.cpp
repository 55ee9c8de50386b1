// The tool over links with a round trip: listing, moving frames, and beside another build of it and
// what a user would take instead.
#include "bench/across/Figures.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

namespace {

using Words = std::vector<std::string>;

constexpr double rowSeconds = 1; // in which rounds begin
constexpr int mostRounds = 5;

std::string connectionsText(int connections) {
    return std::to_string(connections) + (connections == 1 ? " connection" : " connections");
}

Work once(std::function<void()> act) {
    return [act = std::move(act)](int /*count*/) { act(); };
}

/// What the tool does in a row, over one of the links.
class Verb {
public:
    static Verb listing(const Link& link, int milliseconds, const std::string& verb,
                        const std::string& folder) {
        Words words = verb == "ls" ? Words{"ls", "-l"} : Words{verb};
        words.push_back(link.hostAt(milliseconds) + ":" + Link::path(folder));
        return {(verb == "ls" ? "ls -l" : verb) + " of " + (folder == Link::few ? "200" : "1,000") +
                    " clips",
                words, 0};
    }
    static Verb moving(const Link& link, int milliseconds, const std::string& verb,
                       const std::string& clip) {
        const std::string address = link.hostAt(milliseconds) + ":" + Link::path(clip);
        const int frames = Link::framesOf(clip);
        Words words = verb == "get" ? Words{verb, address, link.pattern("taken")}
                                    : Words{verb, link.pattern(clip), address};
        words.insert(words.end(), {"--raw", "-y"});
        return {verb + " of " + countText(frames) + (clip == Link::small ? " small" : " large") +
                    " frames",
                words, frames};
    }
    static Verb single(const Link& link, const std::string& clip) {
        const std::string address = link.hostAt(0) + ":" + Link::path(clip);
        return {std::string("get of one ") + clip + " frame",
                {"get", address, link.pattern("taken"), "-f", "5", "--raw", "-y"},
                0};
    }

    const std::string& name() const { return name_; }
    Work with(const std::string& program, int connections = 0) const {
        Words words = words_;
        words.insert(words.begin(), program);
        if (connections != 0)
            words.insert(words.end(), {"-j", std::to_string(connections)});
        return once([words] { Process::executing(words).requireSuccess(); });
    }
    /// Frames in a second, or the time where none are moved.
    std::string measured(const Samples& samples) const {
        return frames_ == 0 ? timeText(samples.perItem())
                            : countText(frames_ * samples.perSecond()) + " frames/s";
    }

private:
    Verb(std::string name, Words words, int frames)
        : name_(std::move(name)), words_(std::move(words)), frames_(frames) {}

    std::string name_;
    Words words_;
    int frames_;
};

// So many connections beside one.
void addConnectionsRow(const Verb& verb, int connections, const char* goal, Report& report) {
    const auto samples =
        raceItems({verb.with(LANTRIX_BENCH_TOOL, connections), verb.with(LANTRIX_BENCH_TOOL, 1)},
                  rowSeconds, mostRounds);
    report.add({verb.name() + ", " + connectionsText(connections), verb.measured(samples[0]),
                connectionsText(1) + " " + verb.measured(samples[1]),
                ratioText(samples[0].speedBeside(samples[1])), goal});
}

/// What takes the verb's place with one rival.
using Instead = std::function<void(const Rclone& rival)>;

void addRivalRows(const Link& link, const Verb& verb, const Instead& instead, Report& report) {
    std::vector<Work> works{verb.with(LANTRIX_BENCH_TOOL)};
    for (const Rclone& rival : link.rclones())
        works.push_back(once([&] { instead(rival); }));
    const auto samples = raceItems(works, rowSeconds, mostRounds);
    for (std::size_t i = 1; i < samples.size(); ++i)
        report.add({verb.name(), verb.measured(samples[0]),
                    link.rclones()[i - 1].name() + " " + verb.measured(samples[i]),
                    ratioText(samples[0].speedBeside(samples[i])), "1.00"});
}

void addAllRivalRows(const Link& link, int milliseconds, Report& report) {
    const std::string host = link.hostAt(milliseconds);
    for (const char* const verb : {"ls", "du"})
        for (const char* const folder : {Link::few, Link::many})
            addRivalRows(
                link, Verb::listing(link, milliseconds, verb, folder),
                [&](const Rclone& rival) { rival.list(host, folder); }, report);
    for (const char* const clip : {Link::small, Link::large}) {
        addRivalRows(
            link, Verb::moving(link, milliseconds, "get", clip),
            [&](const Rclone& rival) { rival.get(host, clip, link.files("copied")); }, report);
        addRivalRows(
            link, Verb::moving(link, milliseconds, "put", clip),
            [&](const Rclone& rival) { rival.put(link.files(clip), host, "stored"); }, report);
    }
}

} // namespace

void addLinkFigures(const Link& link, int milliseconds, Report& report) {
    const bool isFar = milliseconds == 20;
    addConnectionsRow(Verb::listing(link, milliseconds, "ls", Link::few), 8, isFar ? "2.5 s" : "",
                      report);
    addConnectionsRow(Verb::listing(link, milliseconds, "du", Link::few), 8, "", report);
    for (const char* const clip : {Link::small, Link::large})
        for (const char* const verb : {"get", "put"})
            addConnectionsRow(Verb::moving(link, milliseconds, verb, clip), 4,
                              isFar && clip == Link::small ? "3.60" : "", report);
    addPlayerFigures(link, milliseconds, report);
    if (isFar || milliseconds == 0) // the ends tell enough of what takes long
        addAllRivalRows(link, milliseconds, report);
}

void addBuildFigures(const Link& link, const std::string& program, Report& report) {
    constexpr double seconds = 5;
    constexpr int most = 31;
    const auto add = [&](const Verb& verb, int connections) {
        const auto samples =
            raceItems({verb.with(LANTRIX_BENCH_TOOL, connections), verb.with(program, connections)},
                      seconds, most);
        report.add({verb.name() + (connections == 0 ? "" : ", " + connectionsText(connections)),
                    verb.measured(samples[0]), "other build " + verb.measured(samples[1]),
                    ratioText(samples[0].speedBeside(samples[1])), "0.97"});
    };
    for (const char* const verb : {"ls", "du"})
        add(Verb::listing(link, 0, verb, Link::few), 0);
    for (const char* const clip : {Link::small, Link::large}) {
        for (const char* const verb : {"get", "put"})
            for (const int connections : {1, 4})
                add(Verb::moving(link, 0, verb, clip), connections);
        add(Verb::single(link, clip), 0);
    }
}

} // namespace bench
