#include "image/LocalFile.h"
#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/transfer/ClipFrames.h"
#include "tools/transfer/FrameQueue.h"
#include "tools/transfer/TransferPlan.h"
#include "tools/transfer/Workers.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/NewClip.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <filesystem>
#include <unistd.h>

namespace tool {

namespace {

// ---- what the moving verbs share

void report(Context& context, const Transfer& transfer, const std::string& verb,
            const Json& about) {
    context.output.note(verb + ": " + transfer.progress().summary());
    Json fields = about;
    fields.update(transfer.figures());
    context.output.result(fields);
}

// What a clip is to be, found or made before anything is sent.
struct Destination {
    std::optional<ClipPlace> existing;
    LantrixClipFormat format; ///< Of the existing clip, or of the one to make.
};

std::optional<ClipPlace> findDestination(Session& session, const Address& address) {
    if (address.nodeId.empty()) {
        const FoundNode parent{address.parent(), findNode(session, address.parent())};
        if (!findChild(session, parent, address.name())) {
            return std::nullopt;
        }
    }
    return locateClip(session, address);
}

// Makes the clip, or gives it more frames, so that it has \p count.
ClipPlace provideClip(Session& session, const Address& address, const Destination& destination,
                      int count) {
    if (!destination.existing) {
        const LantrixNodeHandle clip = makeClip(session, address, destination.format, count);
        return {address, clip.getNodeId().id(), destination.format, count};
    }
    ClipPlace place = *destination.existing;
    if (place.frames < count) {
        LantrixNodeHandle clip(session.server(), place.nodeId.c_str());
        session.call("make more frames in '" + address.path() + "'",
                     [&] { return clip.setNumFrames(count); });
        place.frames = count;
    }
    return place;
}

std::string provideText(const Address& address, const Destination& destination, int count) {
    if (!destination.existing) {
        return "make " + address.text() + " (" + image::describeFormat(destination.format) +
               ") with " + countText(static_cast<std::size_t>(count), "frame") + " and ";
    }
    return destination.existing->frames < count
               ? "give " + address.text() + " " +
                     countText(static_cast<std::size_t>(count), "frame") + " and "
               : "";
}

std::string stepNumbers(const std::vector<FrameStep>& steps, int startNumber) {
    std::vector<int> numbers;
    for (const FrameStep& step : steps) {
        numbers.push_back(step.index + startNumber);
    }
    return describeFrames(numbers);
}

int framesNeeded(const std::vector<FrameStep>& steps) {
    int most = 0;
    for (const FrameStep& step : steps) {
        most = std::max(most, step.index);
    }
    return most + 1;
}

// Writes one frame as put and cp do; returns the bytes that were sent.
std::size_t storeFrame(ClipFrames& clip, int index, const Bytes& frame, bool verify, bool resume) {
    if (resume && clip.holds(index, frame)) {
        return 0;
    }
    clip.write(index, frame);
    if (verify && !clip.holds(index, frame)) {
        throw Failure(Status::Differs,
                      "frame " + std::to_string(index) + " reads back differently");
    }
    return frame.size();
}

// ---- put

struct PutArguments {
    std::vector<std::string> filesAndClip;
    FrameSelection frames;
    Missing missing = Missing::Error;
    std::string tag;
    std::string rawFormat;
    float rate = 0;
    bool raw = false;
    bool verify = false;
    bool resume = false;
};

LantrixClipFormat newClipFormat(const std::vector<FrameStep>& steps,
                                const PutArguments& arguments) {
    LantrixClipFormat format;
    if (!arguments.rawFormat.empty()) {
        format = image::parseClipFormat(arguments.rawFormat, arguments.tag);
    } else if (arguments.raw) {
        throw Failure(Status::Usage, "the clip is not there: to make it from raw frames, its "
                                     "--format is needed");
    } else {
        const auto first = std::find_if(steps.begin(), steps.end(),
                                        [](const FrameStep& step) { return !step.file.empty(); });
        const image::Image image = image::readImageHeader(first->file);
        const auto layout =
            arguments.tag.empty() ? image.layout : image::layoutOfTag(arguments.tag);
        if (!layout) {
            throw Failure(Status::Usage, "the format tag '" + arguments.tag + "' is not known");
        }
        format = image::clipFormat(*layout, image.width, image.height);
    }
    if (arguments.rate > 0) {
        format.setFrameRate(arguments.rate);
    }
    return format;
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

void runPut(Context& context, const PutArguments& arguments) {
    const Options& options = context.options;
    std::vector<std::string> names = arguments.filesAndClip;
    const Address address = parseAddress(names.back(), options.host);
    names.pop_back();
    if (names.empty()) {
        throw Failure(Status::Usage, "put takes files and the clip that they go to");
    }
    const std::vector<FrameStep> steps = planFromFiles(names, arguments.frames, arguments.missing);
    const int count = framesNeeded(steps);

    std::optional<Session> session(std::in_place, options, address.host);
    Destination destination{findDestination(*session, address), {}};
    destination.format =
        destination.existing ? destination.existing->format : newClipFormat(steps, arguments);
    const FileFrames files(destination.format, arguments.raw);
    checkFiles(files, steps);
    if (options.dryRun) {
        context.output.wouldDo({provideText(address, destination, count) + "write frames " +
                                stepNumbers(steps, arguments.frames.startNumber) + " of " +
                                address.text()});
        return;
    }
    const ClipPlace place = provideClip(*session, address, destination, count);
    session.reset(); // no connection may be open when workers start

    Transfer transfer(options, "put", steps.size());
    transfer.run(
        [&](std::size_t begin, std::size_t end, const StepDone& done) {
            ClipFrames clip(options, place);
            overlapFrames(
                begin, end, [&](std::size_t i, Bytes& frame) { files.read(steps[i].file, frame); },
                [&](std::size_t i, Bytes& frame) {
                    done(
                        i,
                        storeFrame(clip, steps[i].index, frame, arguments.verify, arguments.resume),
                        "");
                });
        },
        true);
    report(context, transfer, "put", {{"clip", address.path()}, {"verified", arguments.verify}});
}

// ---- get

struct GetArguments {
    std::string address;
    std::string files;
    FrameSelection frames;
    Missing missing = Missing::Error;
    bool raw = false;
    bool verify = false;
    bool resume = false;
};

std::string fileNames(const GetArguments& arguments, const ClipPlace& place,
                      const std::string& clipName) {
    if (!arguments.files.empty() && !std::filesystem::is_directory(arguments.files)) {
        return arguments.files;
    }
    const std::string extension =
        arguments.raw ? ".raw" : image::layoutOfClip(place.format).samples().extension;
    return (std::filesystem::path(arguments.files) / (clipName + ".####" + extension)).string();
}

// Takes away what an earlier transfer has finished; asks before anything is replaced.
void settleExisting(Context& context, std::vector<FrameStep>& steps, bool resume) {
    const auto isThere = [](const FrameStep& step) { return std::filesystem::exists(step.file); };
    if (resume) {
        steps.erase(std::remove_if(steps.begin(), steps.end(), isThere), steps.end());
        return;
    }
    const auto count = std::count_if(steps.begin(), steps.end(), isThere);
    if (count > 0 && !context.options.dryRun) {
        confirm(context, "Replace " + countText(static_cast<std::size_t>(count), "file") + "?");
    }
}

void runGet(Context& context, const GetArguments& arguments) {
    const Options& options = context.options;
    const Address address = parseAddress(arguments.address, options.host);
    std::optional<Session> session(std::in_place, options, address.host);
    const ClipPlace place = locateClip(*session, address);
    const FileFrames files(place.format, arguments.raw);
    const LantrixNodeHandle clip(session->server(), place.nodeId.c_str());
    const std::string names = fileNames(arguments, place, session->name(clip));
    session.reset(); // no connection may be open when workers start
    if (files.layout()) {
        checkImageName(names, *files.layout());
    }
    std::vector<FrameStep> steps = planToFiles(names, arguments.frames, place.frames);
    settleExisting(context, steps, arguments.resume);
    if (options.dryRun) {
        context.output.wouldDo(
            {"write frames " + stepNumbers(steps, arguments.frames.startNumber) + " to " + names});
        return;
    }
    Transfer transfer(options, "get", steps.size());
    transfer.run(
        [&](std::size_t begin, std::size_t end, const StepDone& done) {
            ClipFrames frames(options, place);
            overlapFrames(
                begin, end,
                [&](std::size_t i, Bytes& frame) {
                    frames.read(steps[i].index, frame, arguments.missing);
                },
                [&](std::size_t i, Bytes& frame) {
                    const std::size_t size = frame.size();
                    files.write(steps[i].file, frame, arguments.verify);
                    done(i, size, "");
                });
        },
        true);
    report(context, transfer, "get", {{"files", names}, {"verified", arguments.verify}});
}

// ---- cp

struct CpArguments {
    std::string from;
    std::string to;
    FrameSelection frames;
    bool verify = false;
    bool resume = false;
};

void runCp(Context& context, const CpArguments& arguments) {
    const Options& options = context.options;
    const Address toAddress = parseAddress(arguments.to, options.host);
    const ClipPlace from = locateClip(options, parseAddress(arguments.from, options.host));
    const std::vector<int> indices =
        arguments.frames.parsed().indices(arguments.frames.startNumber, from.frames);
    const int count = static_cast<int>(indices.size());

    std::optional<Session> session(std::in_place, options, toAddress.host);
    const Destination destination{findDestination(*session, toAddress), from.format};
    if (destination.existing && !image::isSameKind(destination.existing->format, from.format)) {
        throw Failure(Status::Other, "'" + toAddress.text() + "' is " +
                                         image::describeFormat(destination.existing->format) +
                                         ", not " + image::describeFormat(from.format));
    }
    if (options.dryRun) {
        context.output.wouldDo({provideText(toAddress, destination, count) + "copy " +
                                countText(indices.size(), "frame") + " of " + from.address.text()});
        return;
    }
    const ClipPlace to = provideClip(*session, toAddress, destination, count);
    session.reset();

    Transfer transfer(options, "cp", indices.size());
    transfer.run(
        [&](std::size_t begin, std::size_t end, const StepDone& done) {
            ClipFrames source(options, from);
            ClipFrames target(options, to);
            overlapFrames(
                begin, end, [&](std::size_t i, Bytes& frame) { source.read(indices[i], frame); },
                [&](std::size_t i, Bytes& frame) {
                    done(i,
                         storeFrame(target, static_cast<int>(i), frame, arguments.verify,
                                    arguments.resume),
                         "");
                });
        },
        true);
    report(context, transfer, "cp", {{"clip", toAddress.path()}, {"verified", arguments.verify}});
}

// ---- cat

struct CatArguments {
    std::string address;
    FrameSelection frames;
    Missing missing = Missing::Error;
    bool raw = false;
    bool pam = false;
};

void writeFrame(const LantrixClipFormat& format, const std::optional<image::PixelLayout>& layout,
                Bytes& frame) {
    if (layout) {
        writePam(image::imageOfFrame(std::move(frame), *layout, format.width(), format.height()),
                 *layout, STDOUT_FILENO, "standard output");
    } else {
        image::writeAll(STDOUT_FILENO, frame, "standard output");
    }
}

void runCat(Context& context, const CatArguments& arguments) {
    Output::requireNoTerminal();
    const Options& options = context.options;
    const ClipPlace place = locateClip(options, parseAddress(arguments.address, options.host));
    const FileFrames frames(place.format, arguments.raw);
    const std::vector<int> indices =
        arguments.frames.parsed().indices(arguments.frames.startNumber, place.frames);
    ClipFrames clip(options, place);
    Progress progress(options, "cat", indices.size());
    overlapFrames(
        0, indices.size(),
        [&](std::size_t i, Bytes& frame) { clip.read(indices[i], frame, arguments.missing); },
        [&](std::size_t, Bytes& frame) {
            const std::size_t size = frame.size();
            writeFrame(place.format, frames.layout(), frame);
            progress.advance(size);
        });
}

// ---- on the command line

void addGet(CLI::App& app, Context& context) {
    addVerb<GetArguments>(
        app, context,
        {"get", "Write the frames of a clip to image files",
         "lantrix get farm:/Library/Reel/plate shot.####.png -f 1001-1100 --start-number 1001"},
        runGet, [](CLI::App& verb, GetArguments& get) {
            verb.add_option("CLIP", get.address, "The clip")->required();
            verb.add_option(
                "FILES", get.files,
                "name.####.png, name.%04d.exr or a directory; the clip's name unless given");
            addFrameOptions(verb, get.frames);
            addMissingOption(verb, get.missing);
            verb.add_flag("--raw", get.raw, "The bytes of the frames as they are");
            verb.add_flag("--verify", get.verify, "Read each file back and compare");
            verb.add_flag("--resume", get.resume, "Leave out the files that are there");
        });
}

void addPut(CLI::App& app, Context& context) {
    addVerb<PutArguments>(
        app, context,
        {"put", "Write image files to a clip, which is made when it is missing",
         "lantrix put shot.####.png farm:/Library/Reel/plate --start-number 1001 --verify"},
        runPut, [](CLI::App& verb, PutArguments& put) {
            verb.add_option("FILES... CLIP", put.filesAndClip,
                            "name.####.png, or files in their order; then the clip")
                ->required();
            addFrameOptions(verb, put.frames);
            addMissingOption(verb, put.missing);
            verb.add_option("--tag", put.tag, "Format tag of a new clip, such as rgb10");
            verb.add_option("--rate", put.rate, "Frames per second of a new clip")
                ->check(CLI::PositiveNumber);
            verb.add_option("--format", put.rawFormat,
                            "WIDTHxHEIGHTxBITS[xCHANNELS][@RATE] of a new clip of raw frames");
            verb.add_flag("--raw", put.raw, "Each file holds the bytes of one frame");
            verb.add_flag("--verify", put.verify, "Read each frame back and compare");
            verb.add_flag("--resume", put.resume,
                          "Leave out the frames that the server has already");
        });
}

void addCp(CLI::App& app, Context& context) {
    addVerb<CpArguments>(
        app, context,
        {"cp", "Copy frames to another clip, on the same server or another one",
         "lantrix cp farm:/Library/Reel/plate vault:/Archive/plate -f 0-99"},
        runCp, [](CLI::App& verb, CpArguments& cp) {
            verb.add_option("FROM", cp.from, "The clip to read")->required();
            verb.add_option("TO", cp.to, "The clip to write, from its frame 0 on")->required();
            addFrameOptions(verb, cp.frames);
            verb.add_flag("--verify", cp.verify, "Read each frame back and compare");
            verb.add_flag("--resume", cp.resume, "Leave out the frames that are there already");
        });
}

void addCat(CLI::App& app, Context& context) {
    addVerb<CatArguments>(
        app, context,
        {"cat", "Write frames to standard output, as PAM images or raw",
         "lantrix cat :/Library/Reel/plate | ffmpeg -f image2pipe -c:v pam -i - plate.mov"},
        runCat, [](CLI::App& verb, CatArguments& cat) {
            verb.add_option("CLIP", cat.address, "The clip")->required();
            addFrameOptions(verb, cat.frames);
            addMissingOption(verb, cat.missing);
            CLI::Option* pam = verb.add_flag("--pam", cat.pam, "PAM images, as without it");
            verb.add_flag("--raw", cat.raw, "The bytes of the frames as they are")->excludes(pam);
        });
}

} // namespace

void addMoveVerbs(CLI::App& app, Context& context) {
    addGet(app, context);
    addPut(app, context);
    addCp(app, context);
    addCat(app, context);
}

} // namespace tool
