#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/transfer/ClipFrames.h"
#include "tools/transfer/FrameQueue.h"
#include "tools/transfer/TransferPlan.h"
#include "tools/transfer/Workers.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/Verbs.h"

namespace tool {

namespace {

// ---- hash

struct HashArguments {
    std::string address;
    FrameSelection frames;
};

void runHash(Context& context, const HashArguments& arguments) {
    const Options& options = context.options;
    const ClipPlace place = locateClip(options, parseAddress(arguments.address, options.host));
    const int startNumber = arguments.frames.startNumber;
    const std::vector<int> indices = arguments.frames.parsed().indices(startNumber, place.frames);
    Transfer transfer(options, "hash", indices.size());
    transfer.run(
        [&](std::size_t begin, std::size_t end, const StepDone& done) {
            ClipFrames clip(options, place);
            overlapFrames(
                begin, end, [&](std::size_t i, Bytes& frame) { clip.read(indices[i], frame); },
                [&](std::size_t i, Bytes& frame) { done(i, frame.size(), hashOf(frame)); });
        },
        false);
    std::vector<Json> rows;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        rows.push_back({{"frame", indices[i] + startNumber}, {"hash", transfer.results()[i]}});
    }
    context.output.table("frames", rows);
}

// ---- check

struct CheckArguments {
    std::string address;
    std::vector<std::string> others;
    FrameSelection frames;
    bool raw = false;
};

using ReadStep = std::function<void(std::size_t step, Bytes& frame)>;

// What the clip's frames are compared with.
struct Comparison {
    std::vector<int> indices;             // of the clip
    std::function<ReadStep()> openOthers; // once for each worker
};

void requireSameCount(const ClipPlace& place, std::size_t count, const std::string& others) {
    if (count != static_cast<std::size_t>(place.frames)) {
        throw Failure(Status::Differs,
                      "'" + place.address.text() + "' has " +
                          countText(static_cast<std::size_t>(place.frames), "frame") +
                          ", and there are " + std::to_string(count) + " " + others);
    }
}

Comparison compareWithClip(const Options& options, const ClipPlace& place,
                           const CheckArguments& arguments) {
    const ClipPlace other =
        locateClip(options, parseAddress(arguments.others.front(), options.host));
    if (!image::isSameKind(place.format, other.format)) {
        throw Failure(Status::Differs, "'" + place.address.text() + "' is " +
                                           image::describeFormat(place.format) + ", not " +
                                           image::describeFormat(other.format));
    }
    const FrameRange range = arguments.frames.parsed();
    if (range.isAll()) {
        requireSameCount(place, static_cast<std::size_t>(other.frames),
                         "in '" + other.address.text() + "'");
    }
    const int startNumber = arguments.frames.startNumber;
    const std::vector<int> indices = range.indices(startNumber, other.frames);
    const auto open = [&options, other, indices]() -> ReadStep {
        const auto frames = std::make_shared<ClipFrames>(options, other);
        return [frames, &indices](std::size_t i, Bytes& frame) { frames->read(indices[i], frame); };
    };
    return {range.indices(startNumber, place.frames), open};
}

Comparison compareWithFiles(const ClipPlace& place, const CheckArguments& arguments) {
    const std::vector<FrameStep> steps =
        planFromFiles(arguments.others, arguments.frames, Missing::Error);
    if (arguments.frames.range.empty()) {
        requireSameCount(place, steps.size(), "files");
    }
    Comparison comparison;
    for (const FrameStep& step : steps) {
        comparison.indices.push_back(step.index);
    }
    comparison.openOthers = [steps, files = FileFrames(place.format, arguments.raw)]() -> ReadStep {
        return [&](std::size_t i, Bytes& frame) { files.read(steps[i].file, frame); };
    };
    return comparison;
}

// The hash of the clip's frame, and behind a blank that of the other one.
std::vector<std::string> hashBoth(const Options& options, const ClipPlace& place,
                                  const Comparison& comparison) {
    Transfer transfer(options, "check", comparison.indices.size());
    transfer.run(
        [&](std::size_t begin, std::size_t end, const StepDone& done) {
            ClipFrames clip(options, place);
            const ReadStep readOther = comparison.openOthers();
            Bytes other;
            overlapFrames(
                begin, end,
                [&](std::size_t i, Bytes& frame) { clip.read(comparison.indices[i], frame); },
                [&](std::size_t i, Bytes& frame) {
                    readOther(i, other);
                    done(i, frame.size(), hashOf(frame) + " " + hashOf(other));
                });
        },
        false);
    return transfer.results();
}

void runCheck(Context& context, const CheckArguments& arguments) {
    const Options& options = context.options;
    const ClipPlace place = locateClip(options, parseAddress(arguments.address, options.host));
    const bool withClip = arguments.others.size() == 1 && looksLikeAddress(arguments.others[0]);
    const Comparison comparison =
        withClip ? compareWithClip(options, place, arguments) : compareWithFiles(place, arguments);
    const std::vector<std::string> hashes = hashBoth(options, place, comparison);
    std::vector<Json> rows;
    std::vector<int> numbers;
    for (std::size_t i = 0; i < hashes.size(); ++i) {
        const std::size_t blank = hashes[i].find(' ');
        const std::string hash = hashes[i].substr(0, blank);
        const std::string other = hashes[i].substr(blank + 1);
        if (hash != other) {
            numbers.push_back(comparison.indices[i] + arguments.frames.startNumber);
            rows.push_back({{"frame", numbers.back()}, {"hash", hash}, {"other", other}});
        }
    }
    context.output.table("differing", rows);
    const std::string count = std::to_string(hashes.size());
    if (!rows.empty()) {
        throw Failure(Status::Differs, std::to_string(rows.size()) + " of " + count +
                                           " frames of '" + place.address.text() +
                                           "' differ: " + describeFrames(numbers));
    }
    context.output.note("check: " + countText(hashes.size(), "frame") +
                        (hashes.size() == 1 ? " is the same" : " are the same"));
}

} // namespace

void addCompareVerbs(CLI::App& app, Context& context) {
    addVerb<CheckArguments>(
        app, context,
        {"check", "Compare a clip with files or another clip, by hash",
         "lantrix check farm:/Library/Reel/plate shot.####.png --start-number 1001"},
        runCheck, [](CLI::App& verb, CheckArguments& check) {
            verb.add_option("CLIP", check.address, "The clip")->required();
            verb.add_option(
                    "OTHER", check.others,
                    "name.####.png, or files in their order; or a clip, as HOST:/path or :/path")
                ->required();
            addFrameOptions(verb, check.frames);
            verb.add_flag("--raw", check.raw, "Each file holds the bytes of one frame");
        });

    addVerb<HashArguments>(app, context,
                           {"hash", "Print the XXH128 of each frame of a clip",
                            "lantrix hash /Library/Reel/plate -f 0-9"},
                           runHash, [](CLI::App& verb, HashArguments& hash) {
                               verb.add_option("CLIP", hash.address, "The clip")->required();
                               addFrameOptions(verb, hash.frames);
                           });
}

} // namespace tool
