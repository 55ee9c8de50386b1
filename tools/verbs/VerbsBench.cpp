#include "tools/report/Json.h"
#include "tools/transfer/ClipFrames.h"
#include "tools/transfer/Workers.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/NewClip.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <unistd.h>

namespace tool {

namespace {

struct BenchArguments {
    std::string address;
    std::string format = "1920x1080x24";
    int count = 48;
};

// A clip to measure with, removed with its frames at the end, also after a failure.
class ScratchClip {
public:
    ScratchClip(const Options& options, const Address& folder, const LantrixClipFormat& format,
                int frames) {
        Session session(options, folder.host);
        place_.address = folder.child("lantrix-bench-" + std::to_string(::getpid()));
        place_.nodeId = makeClip(session, place_.address, format, frames).getNodeId().id();
        place_.format = format;
        place_.frames = frames;
    }
    // By a handle of its own, since an interrupt has ended the others.
    ~ScratchClip() {
        const LantrixServerHandle server(place_.address.host.c_str());
        LantrixNodeHandle(server, place_.nodeId.c_str()).destroyNode();
    }
    ScratchClip(const ScratchClip&) = delete;
    ScratchClip& operator=(const ScratchClip&) = delete;

    [[nodiscard]] const ClipPlace& place() const { return place_; }

private:
    ClipPlace place_;
};

double rounded(double number) {
    return std::round(number * 1000) / 1000;
}

Json measurement(const std::string& what, std::size_t count, double seconds, double bytes) {
    const double time = std::max(seconds, 1e-9);
    return {{"what", what},
            {"count", count},
            {"seconds", rounded(seconds)},
            {"perSecond", rounded(static_cast<double>(count) / time)},
            {"megabytesPerSecond", bytes > 0 ? Json(rounded(bytes / time / 1e6)) : Json()}};
}

Json measurePing(const Options& options, const std::string& host) {
    constexpr std::size_t count = 200;
    Session session(options, host);
    const auto ping = [&] { session.call("ping", [&] { return session.server().ping(); }); };
    ping(); // connects
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < count; ++i) {
        ping();
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    return measurement("ping", count, time.count(), 0);
}

// Moves each frame once in one direction, with a connection for each worker.
Json measureFrames(const Options& options, const std::string& what, const ClipPlace& place,
                   int count, const std::function<void(ClipFrames&, int, Bytes&)>& move) {
    Transfer transfer(options, what, static_cast<std::size_t>(count));
    transfer.run(
        [&](std::size_t begin, std::size_t end, const StepDone& done) {
            ClipFrames clip(options, place);
            Bytes frame(static_cast<std::size_t>(place.format.frameBufferSize()), '\x5a');
            for (std::size_t i = begin; i < end; ++i) {
                move(clip, static_cast<int>(i), frame);
                done(i, frame.size(), "");
            }
        },
        false);
    const Progress& progress = transfer.progress();
    return measurement(what, progress.framesDone(), progress.seconds(),
                       static_cast<double>(progress.bytesDone()));
}

void writeOne(ClipFrames& clip, int index, Bytes& frame) {
    clip.write(index, frame);
}

void readOne(ClipFrames& clip, int index, Bytes& frame) {
    clip.read(index, frame);
}

// The clip at the address; none when the node is another one.
std::optional<ClipPlace> clipAt(const Options& options, const Address& address) {
    Session session(options, address.host);
    const LantrixNodeHandle node = findNode(session, address);
    if (!session.isClip(node)) {
        return std::nullopt;
    }
    return ClipPlace{address, node.getNodeId().id(), session.format(node),
                     session.countFrames(node)};
}

void runBench(Context& context, const BenchArguments& arguments) {
    const Options& options = context.options;
    const Address address = parseAddress(arguments.address, options.host);
    const LantrixClipFormat format = image::parseClipFormat(arguments.format, "");
    const std::optional<ClipPlace> clip = clipAt(options, address);
    if (options.dryRun) {
        const std::string where = address.text();
        context.output.wouldDo(
            {clip ? "read frames of " + where
                  : "make a clip in " + where + ", write and read its frames, and remove it"});
        return;
    }
    std::vector<Json> rows{measurePing(options, address.host)};
    if (clip) {
        rows.push_back(measureFrames(options, "read", *clip,
                                     std::min(arguments.count, clip->frames), readOne));
    } else {
        const ScratchClip scratch(options, address, format, arguments.count);
        rows.push_back(measureFrames(options, "write", scratch.place(), arguments.count, writeOne));
        rows.push_back(measureFrames(options, "read", scratch.place(), arguments.count, readOne));
    }
    context.output.table("measurements", rows);
}

} // namespace

void addBenchVerb(CLI::App& app, Context& context) {
    addVerb<BenchArguments>(
        app, context,
        {"bench", "Measure round trips, and frames written and read",
         "lantrix bench farm:/Library/Reel -j 4"},
        runBench, [](CLI::App& verb, BenchArguments& bench) {
            verb.add_option(
                    "ADDRESS", bench.address,
                    "A clip, which is read; or a folder, in which one is made and removed again")
                ->required();
            verb.add_option("--format", bench.format,
                            "WIDTHxHEIGHTxBITS[xCHANNELS][@RATE] of the clip that is made");
            verb.add_option("--count", bench.count, "How many frames")
                ->check(CLI::Range(1, 100000));
        });
}

} // namespace tool
