// bench: round trips, and frames written and read.
#include "tools/report/Json.h"
#include "tools/session/NodeChanges.h"
#include "tools/transfer/FrameMove.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/NewClip.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numeric>
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
                int count)
        : options_(options) {
        const auto session = std::make_shared<Session>(options, folder.host);
        const Address address = folder.child("lantrix-bench-" + std::to_string(::getpid()));
        clip_ = describeClip(session, openFramePool(*session, options), address,
                             makeClip(*session, address, {format, count, NewClip().type}));
    }
    ~ScratchClip() { withdrawNode(options_, clip_.address, clip_.handle.getNodeId().id()); }
    ScratchClip(const ScratchClip&) = delete;
    ScratchClip& operator=(const ScratchClip&) = delete;

    [[nodiscard]] const LocatedClip& clip() const { return clip_; }

private:
    const Options& options_;
    LocatedClip clip_;
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
    for (std::size_t i = 0; i < count; ++i)
        ping();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    return measurement("ping", count, time.count(), 0);
}

// Moves each frame once.
Json measureFrames(const Options& options, const std::string& what, int count,
                   const OpenSource& source, const OpenTarget& target) {
    const auto steps = static_cast<std::size_t>(count);
    Transfer transfer(options, what, steps, AfterFailure::Repeat);
    moveFrames(transfer, source, target, steps);
    const Progress& progress = transfer.progress();
    return measurement(what, progress.framesDone(), progress.seconds(),
                       static_cast<double>(progress.bytesDone()));
}

std::vector<int> firstFrames(int count) {
    std::vector<int> indices(static_cast<std::size_t>(count));
    std::iota(indices.begin(), indices.end(), 0);
    return indices;
}

// Frames of no particular bytes.
class AnyFrames : public FrameSource {
public:
    explicit AnyFrames(std::size_t size) : size_(size) {}
    bool fetch(Piece& /*piece*/) override { return true; }
    void make(Piece& piece, FrameTarget& target) override { piece.frame = target.room(size_); }

private:
    const std::size_t size_;
};

Json measureWriting(const Options& options, const LocatedClip& clip, int count) {
    const auto size = static_cast<std::size_t>(clip.format.frameBufferSize());
    const OpenSource source = [size](const StepSpan& /*span*/) {
        return std::make_unique<AnyFrames>(size);
    };
    return measureFrames(options, "write", count, source, toClip(clip, firstFrames(count), {}));
}

Json measureReading(const Options& options, const LocatedClip& clip, int count) {
    const auto drop = [](Piece& piece) -> StepResult { return {piece.frame.size(), false, ""}; };
    return measureFrames(options, "read", count, fromClip(clip, firstFrames(count), Missing::Error),
                         toFunction(drop));
}

// The clip at the address; none when the node is another one.
std::optional<LocatedClip> clipAt(const Options& options, const Address& address) {
    const auto session = std::make_shared<Session>(options, address.host);
    const LantrixNodeHandle node = findNode(*session, address);
    if (!session->isClip(node))
        return std::nullopt;
    return describeClip(session, openFramePool(*session, options), address, node);
}

void runBench(Context& context, const BenchArguments& arguments) {
    const Options& options = context.options;
    const Address address = parseAddress(arguments.address, options.host);
    const LantrixClipFormat format = image::parseClipFormat(arguments.format, "");
    const std::optional<LocatedClip> clip = clipAt(options, address);
    if (options.dryRun) {
        const std::string where = address.text();
        context.output.wouldDo(
            {clip ? "read frames of " + where
                  : "make a clip in " + where + ", write and read its frames, and remove it"});
        return;
    }
    std::vector<Json> rows{measurePing(options, address.host)};
    if (clip) {
        rows.push_back(measureReading(options, *clip, std::min(arguments.count, clip->frameCount)));
    } else {
        const ScratchClip scratch(options, address, format, arguments.count);
        rows.push_back(measureWriting(options, scratch.clip(), arguments.count));
        rows.push_back(measureReading(options, scratch.clip(), arguments.count));
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
                ->check(CLI::Range(1, 100000, "1..100000"));
        });
}

} // namespace tool
