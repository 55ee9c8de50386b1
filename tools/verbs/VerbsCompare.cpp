// check, hash: frames compared by their hashes.
#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/transfer/FrameMove.h"
#include "tools/transfer/Manifest.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/ImageOptions.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>

#include <unistd.h>

namespace tool {

namespace {

// ---- hash

struct HashArguments {
    std::string address;
    FrameSelection selection;
    Missing missing = Missing::Error;
};

// A name that a manifest can hold on one line.
std::string clipName(const LocatedClip& clip) {
    std::string name = clip.session->name(clip.handle);
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return c < ' ' || c == '\\'; }, '_');
    return name;
}

void runHash(Context& context, const HashArguments& arguments) {
    const Options& options = context.options;
    const int startNumber = arguments.selection.startNumber;
    const LocatedClip clip =
        locateClip(options, parseAddress(arguments.address, options.host), startNumber);
    const std::string name = clipName(clip);
    const std::vector<int> indices =
        arguments.selection.parsed().indices(startNumber, clip.frameCount);
    Transfer transfer(options, "hash", indices.size(), AfterFailure::Repeat);
    const auto hashFrame = [](Piece& piece) -> StepResult {
        return {piece.frame.size(), false, hashOf(piece.frame.view())};
    };
    moveFrames(transfer, fromClip(clip, indices, arguments.missing), toFunction(hashFrame),
               indices.size());
    std::vector<Json> rows;
    std::string lines;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        const std::string& hash = transfer.results()[i];
        rows.push_back({{"frame", indices[i] + startNumber}, {"hash", hash}});
        lines += manifestLine(hash, name, indices[i] + startNumber);
    }
    context.output.text(lines, {{"frames", rows}});
}

// ---- check

struct CheckArguments {
    std::string address;
    std::vector<std::string> others;
    std::string manifest;
    FrameSelection selection;
    Missing missing = Missing::Error;
    image::ReadOptions reading;
    bool raw = false;
};

// What the clip's frames are compared with.
struct Comparison {
    std::vector<int> indices;        // of the clip
    OpenSource openOther;            // none: the hashes are known
    std::vector<std::string> hashes; // of the other side
};

void requireSameCount(const LocatedClip& clip, std::size_t count, const std::string& others) {
    const auto frameCount = static_cast<std::size_t>(clip.frameCount);
    if (count != frameCount) {
        throw Failure(Status::Differs, "'" + clip.address.text() + "' has " +
                                           countText(frameCount, "frame") + ", and there are " +
                                           std::to_string(count) + " " + others);
    }
}

Comparison compareWithClip(const Options& options, const LocatedClip& clip,
                           const CheckArguments& arguments) {
    const LocatedClip other =
        locateClip(options, parseAddress(arguments.others.front(), options.host), clip.startNumber);
    if (!image::isSameKind(clip.format, other.format)) {
        throw Failure(Status::Differs, "'" + clip.address.text() + "' is " +
                                           image::describeFormat(clip.format) + ", not " +
                                           image::describeFormat(other.format));
    }
    const FrameRange range = arguments.selection.parsed();
    if (range.isAll()) {
        requireSameCount(clip, static_cast<std::size_t>(other.frameCount),
                         "in '" + other.address.text() + "'");
    }
    return {range.indices(clip.startNumber, clip.frameCount),
            fromClip(other, range.indices(clip.startNumber, other.frameCount), arguments.missing),
            {}};
}

Comparison compareWithFiles(const LocatedClip& clip, const CheckArguments& arguments) {
    const std::vector<FrameStep> steps =
        planFromFiles(arguments.others, arguments.selection, arguments.missing);
    if (arguments.selection.range.empty())
        requireSameCount(clip, steps.size(), "files");
    return {indicesOf(steps),
            fromFiles(FileFrames(clip.format, arguments.raw, arguments.reading), steps),
            {}};
}

Comparison compareWithManifest(const LocatedClip& clip, const CheckArguments& arguments) {
    const Manifest manifest = readManifest(arguments.manifest);
    const FrameRange range = arguments.selection.parsed();
    if (range.isAll())
        requireSameCount(clip, manifest.size(), "in '" + arguments.manifest + "'");
    Comparison comparison;
    comparison.indices = range.indices(clip.startNumber, clip.frameCount);
    for (const int index : comparison.indices) {
        const auto entry = manifest.find(index + clip.startNumber);
        if (entry == manifest.end()) {
            throw Failure(Status::FrameMissing, "frame " +
                                                    std::to_string(index + clip.startNumber) +
                                                    " is not in '" + arguments.manifest + "'")
                .with("file", arguments.manifest);
        }
        comparison.hashes.push_back(entry->second);
    }
    return comparison;
}

// Whether what the clip is compared with is another clip: an address, or a path that is not a file
// here.
bool isOneClip(const std::vector<std::string>& others) {
    if (others.size() != 1)
        return false;
    const std::string& other = others.front();
    const bool isPattern = other.find('#') != std::string::npos;
    return looksLikeAddress(other) ||
           (other.rfind('/', 0) == 0 && !isPattern && ::access(other.c_str(), F_OK) != 0);
}

Comparison compare(const Options& options, const LocatedClip& clip,
                   const CheckArguments& arguments) {
    if (!arguments.manifest.empty())
        return compareWithManifest(clip, arguments);
    if (arguments.others.empty())
        throw Failure(Status::Usage, "check takes files, a clip or a --manifest to compare with");
    return isOneClip(arguments.others) ? compareWithClip(options, clip, arguments)
                                       : compareWithFiles(clip, arguments);
}

// The result of a step is the hash of the clip's frame, and behind a blank that of the other one.
class BothHashes : public FrameTarget {
public:
    BothHashes(const Comparison& comparison, const StepSpan& span)
        : comparison_(comparison),
          other_(comparison.openOther ? comparison.openOther(span) : nullptr) {}

    void prepare(Piece& piece, Cores& /*cores*/) override {
        Piece other{piece.step, {}, {}};
        if (other_)
            (void)other_->fetch(other);
        piece.other = std::move(other.frame);
    }
    void take(Piece piece, const StepDone& done) override {
        const std::size_t size = piece.frame.size();
        const std::string hash = hashOf(piece.frame.view());
        if (!other_) {
            done(piece.step, {size, false, hash + " " + comparison_.hashes[piece.step]});
            return;
        }
        piece.frame = std::move(piece.other);
        other_->make(piece, *this);
        done(piece.step, {size, false, hash + " " + hashOf(piece.frame.view())});
    }

private:
    const Comparison& comparison_;
    const std::unique_ptr<FrameSource> other_; // null when the hashes are known
};

void runCheck(Context& context, const CheckArguments& arguments) {
    const Options& options = context.options;
    const LocatedClip clip = locateClip(options, parseAddress(arguments.address, options.host),
                                        arguments.selection.startNumber);
    const Comparison comparison = compare(options, clip, arguments);
    Transfer transfer(options, "check", comparison.indices.size(), AfterFailure::Repeat);
    const OpenTarget target = [&](const StepSpan& span) {
        return std::make_unique<BothHashes>(comparison, span);
    };
    moveFrames(transfer, fromClip(clip, comparison.indices, arguments.missing), target,
               comparison.indices.size());
    std::vector<Json> rows;
    std::vector<int> numbers;
    for (std::size_t i = 0; i < comparison.indices.size(); ++i) {
        const std::string& hashes = transfer.results()[i];
        const std::size_t blank = hashes.find(' ');
        const std::string hash = hashes.substr(0, blank);
        const std::string other = hashes.substr(blank + 1);
        if (hash != other) {
            numbers.push_back(comparison.indices[i] + clip.startNumber);
            rows.push_back({{"frame", numbers.back()}, {"hash", hash}, {"other", other}});
        }
    }
    context.output.table("differing", rows);
    const std::string count = countText(comparison.indices.size(), "frame");
    if (!rows.empty()) {
        throw Failure(Status::Differs, std::to_string(rows.size()) + " of " + count + " of '" +
                                           clip.address.text() +
                                           (rows.size() == 1 ? "' differs: " : "' differ: ") +
                                           describeFrames(numbers));
    }
    context.output.note("check: " + count +
                        (comparison.indices.size() == 1 ? " is the same" : " are the same"));
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
                "name.####.png, or files in their order; or a clip: HOST:/path, :/path, or a /path "
                "where no file is");
            verb.add_option("--manifest", check.manifest,
                            "Compare with the hashes in a file, as hash prints them");
            addFrameOptions(verb, check.selection);
            addMissingOption(verb, check.missing);
            addReadOptions(verb, check.reading);
            verb.add_flag("--raw", check.raw, "Each file holds the bytes of one frame");
        });

    addVerb<HashArguments>(app, context,
                           {"hash", "Print the XXH128 of each frame of a clip",
                            "lantrix hash /Library/Reel/plate -f 0-9"},
                           runHash, [](CLI::App& verb, HashArguments& hash) {
                               verb.add_option("CLIP", hash.address, "The clip")->required();
                               addFrameOptions(verb, hash.selection);
                               addMissingOption(verb, hash.missing);
                           });
}

} // namespace tool
