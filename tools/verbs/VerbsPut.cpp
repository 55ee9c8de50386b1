// put: image files to frames.
#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/transfer/FrameMove.h"
#include "tools/transfer/FrameStream.h"
#include "tools/transfer/Manifest.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/Destination.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/ImageOptions.h"
#include "tools/verbs/TreeVerbs.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <unistd.h>

namespace tool {

namespace {

struct PutArguments {
    std::vector<std::string> filesAndClip;
    FrameSelection selection;
    Missing missing = Missing::Error;
    std::string tag;
    std::string format;
    std::string type = NewClip().type;
    float rate = 0;
    std::string manifest;
    image::ReadOptions reading;
    bool raw = false;
    StoreRules rules;
    bool recursive = false;
};

void runPutTree(Context& context, const PutArguments& arguments) {
    if (arguments.filesAndClip.size() != 2)
        throw Failure(Status::Usage, "put -r takes a local folder and the address that it goes to");
    refuseWithTrees(!arguments.selection.range.empty(), "-f");
    refuseWithTrees(!arguments.manifest.empty(), "--manifest");
    TreeRules rules =
        treeRules(arguments.rules, arguments.selection.startNumber, arguments.missing);
    rules.raw = arguments.raw;
    rules.format = arguments.format;
    rules.tag = arguments.tag;
    rules.rate = arguments.rate;
    rules.type = arguments.type;
    rules.reading = arguments.reading;
    putTree(context, arguments.filesAndClip[0], arguments.filesAndClip[1], rules);
}

image::Image firstHeader(const std::vector<FrameStep>& steps, const PutArguments& arguments) {
    const auto first = std::find_if(steps.begin(), steps.end(),
                                    [](const FrameStep& step) { return !step.file.empty(); });
    return image::readImageHeader(first->file, arguments.reading);
}

NewClip newClip(const std::function<image::Image()>& firstImage, const PutArguments& arguments) {
    NewClip clip;
    clip.type = arguments.type;
    if (!arguments.format.empty()) {
        clip.format = image::parseClipFormat(arguments.format, arguments.tag);
    } else if (arguments.raw) {
        throw Failure(Status::Usage, "the clip is not there: to make it from raw frames, its "
                                     "--format is needed");
    } else {
        const image::Image image = firstImage();
        const auto layout = arguments.tag.empty() ? image.source.value_or(image.layout)
                                                  : image::layoutOfTag(arguments.tag);
        if (!layout)
            throw Failure(Status::Usage, "the format tag '" + arguments.tag + "' is not known");
        clip.format = image::clipFormat(*layout, image);
    }
    if (arguments.rate > 0)
        clip.format.setFrameRate(arguments.rate);
    return clip;
}

// Options for a new clip must at least be true of one that is there.
void checkExisting(const LocatedClip& clip, const PutArguments& arguments) {
    const auto refuse = [&](const std::string& option, const std::string& has) {
        throw Failure(Status::Other, "'" + clip.address.text() + "' is already there with " + has +
                                         ": " + option + " would not change it")
            .with("path", clip.address.path());
    };
    const auto rate = static_cast<double>(clip.format.frameRate());
    if (arguments.rate > 0 && std::abs(static_cast<double>(arguments.rate) - rate) > 0.001)
        refuse("--rate", shortNumber(rate) + " frames per second");
    if (!arguments.tag.empty() && arguments.tag != clip.format.formatTag())
        refuse("--tag", std::string("the tag ") + clip.format.formatTag());
    if (!arguments.format.empty() &&
        !image::isSameKind(image::parseClipFormat(arguments.format, arguments.tag), clip.format))
        refuse("--format", "the format " + image::describeFormat(clip.format));
}

void checkFiles(const FileFrames& files, const std::vector<FrameStep>& steps) {
    const std::string* checked = nullptr;
    for (const FrameStep& step : steps) {
        if (!step.file.empty() && (checked == nullptr || *checked != step.file)) {
            files.checkFile(step.file);
            checked = &step.file;
        }
    }
}

// The manifest can only be true of frames that the clip has.
Manifest knownFrames(const Destination& destination, const PutArguments& arguments) {
    Manifest known;
    if (arguments.manifest.empty() || !destination.existing())
        return known;
    const long long end = static_cast<long long>(arguments.selection.startNumber) +
                          destination.existing()->frameCount;
    for (const auto& [number, hash] : readManifest(arguments.manifest))
        if (number < end)
            known[number] = hash;
    return known;
}

// ---- frames one behind the other

// Whose end is not known before it comes.
bool isPipe(const std::vector<std::string>& names) {
    if (names.size() > 1 && std::find(names.begin(), names.end(), "-") != names.end())
        throw Failure(Status::Usage, "'-', standard input, takes the place of all files");
    std::error_code error;
    return names[0] == "-" || std::filesystem::is_fifo(names[0], error);
}

bool holdsManyFrames(const std::string& file, const FileFrames& files) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    return !error && size > files.size() && size % files.size() == 0;
}

// The index of the first frame that is written.
int checkStreamOptions(const PutArguments& arguments) {
    const FrameRange range = arguments.selection.parsed();
    const int startNumber = arguments.selection.startNumber;
    const auto refuse = [](const std::string& why) { throw Failure(Status::Usage, why); };
    if (!range.isAll() && !range.isFromOneOn())
        refuse("the frames of a stream go on to its end: -f takes its first one, like 12-");
    if (arguments.missing != Missing::Error)
        refuse("a stream has no holes that --missing could fill");
    if (!arguments.reading.part.empty() || arguments.reading.fit)
        refuse("--part and --fit are for files, not for images from a pipe");
    if (!range.isAll() && range.first() < startNumber) {
        refuse("frame " + std::to_string(range.first()) + " lies before the start number " +
               std::to_string(startNumber));
    }
    return range.isAll() ? 0 : range.first() - startNumber;
}

void runPutStream(Context& context, const std::string& file, const Address& address,
                  const PutArguments& arguments) {
    const int first = checkStreamOptions(arguments);
    if (file == "-" && ::isatty(STDIN_FILENO) != 0)
        throw Failure(Status::Usage, "standard input is a terminal: pipe images to it");
    const int startNumber = arguments.selection.startNumber;
    Destination destination(context, address, startNumber);
    FrameStream stream(file);
    if (destination.existing())
        checkExisting(*destination.existing(), arguments);
    else
        destination.setNew(newClip([&] { return stream.firstImage(); }, arguments));
    const FileFrames files(destination.format(), arguments.raw);
    if (context.options.dryRun) {
        context.output.wouldDo(
            {(destination.existing() ? ""
                                     : "make " + address.text() + " (" +
                                           image::describeFormat(destination.format()) + ") and ") +
             "write the frames of " + stream.name() + " to " + address.text() + " from frame " +
             std::to_string(first + startNumber) + " on"});
        return;
    }
    StoreRules rules = arguments.rules;
    rules.known = knownFrames(destination, arguments);
    destination.fill("put", stream, files, first, rules);
}

void runPut(Context& context, const PutArguments& arguments) {
    if (arguments.recursive) {
        runPutTree(context, arguments);
        return;
    }
    std::vector<std::string> names = arguments.filesAndClip;
    const Address address = parseAddress(names.back(), context.options.host);
    names.pop_back();
    if (names.empty())
        throw Failure(Status::Usage, "put takes files and the clip that they go to");
    if (isPipe(names)) {
        runPutStream(context, names[0], address, arguments);
        return;
    }
    const int startNumber = arguments.selection.startNumber;
    const std::vector<FrameStep> steps =
        planFromFiles(names, arguments.selection, arguments.missing);
    Destination destination(context, address, startNumber);
    destination.setIndices(indicesOf(steps));
    if (destination.existing())
        checkExisting(*destination.existing(), arguments);
    else
        destination.setNew(newClip([&] { return firstHeader(steps, arguments); }, arguments));
    const FileFrames files(destination.format(), arguments.raw, arguments.reading);
    if (arguments.raw && names.size() == 1 && holdsManyFrames(names[0], files)) {
        runPutStream(context, names[0], address, arguments);
        return;
    }
    checkFiles(files, steps);
    if (context.options.dryRun) {
        context.output.wouldDo({destination.wouldDo(
            "write frames " + describeSteps(steps, startNumber) + " of " + address.text())});
        return;
    }
    StoreRules rules = arguments.rules;
    rules.known = knownFrames(destination, arguments);
    destination.fill("put", fromFiles(files, steps), rules);
}

} // namespace

void addPutVerb(CLI::App& app, Context& context) {
    addVerb<PutArguments>(
        app, context,
        {"put", "Write image files to a clip, which is made when it is missing",
         "lantrix put shot.####.png farm:/Library/Reel/plate --start-number 1001 --verify"},
        runPut, [](CLI::App& verb, PutArguments& put) {
            verb.add_option("FILES... CLIP", put.filesAndClip,
                            "name.####.png, files in their order, or - for images one behind the "
                            "other on standard input; then the clip")
                ->required();
            verb.add_flag("-r,--recursive", put.recursive,
                          "FILES is a folder: each of its folders becomes one, and each sequence a "
                          "clip, in the folder at the address, which is made when it is missing");
            addFrameOptions(verb, put.selection);
            addMissingOption(verb, put.missing);
            verb.add_option("--tag", put.tag, "Format tag of a new clip, such as rgb10");
            verb.add_option("--rate", put.rate,
                            "Frames per second of a new clip: 24, 23.976 or 24000/1001")
                ->transform(decimalOfFraction)
                ->check(CLI::PositiveNumber)
                ->default_str("");
            verb.add_option("--format", put.format,
                            "WIDTHxHEIGHTxBITS[xCHANNELS][@RATE] of a new clip of raw frames");
            addTypeOption(verb, put.type);
            addReadOptions(verb, put.reading);
            verb.add_flag(
                "--raw", put.raw,
                "Each file holds the bytes of one frame, a single file or a pipe those of "
                "many");
            addStoreOptions(verb, put.rules);
            verb.add_option("--manifest", put.manifest,
                            "Leave out frames whose hash in this file, as hash prints it, is that "
                            "of their file; nothing is read back");
        });
}

} // namespace tool
