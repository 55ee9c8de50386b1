// get, cat: frames to files and to standard output.
#include "image/Error.h"
#include "image/LocalFile.h"
#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/transfer/FrameMove.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/TreeVerbs.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <filesystem>
#include <unistd.h>

namespace tool {

namespace {

// ---- get

struct GetArguments {
    std::vector<std::string> words;
    std::string address; // the first of them, and the second
    std::string files;
    FrameSelection selection;
    Missing missing = Missing::Error;
    image::WriteOptions writing;
    bool raw = false;
    StoreRules rules;
    bool recursive = false;
};

void runGetTrees(Context& context, const GetArguments& arguments) {
    std::vector<std::string> addresses = arguments.words;
    if (addresses.size() < 2)
        throw Failure(Status::Usage, "get -r takes nodes and the local folder that they go to");
    const std::string folder = addresses.back();
    addresses.pop_back();
    refuseWithTrees(!arguments.selection.range.empty(), "-f");
    TreeRules rules =
        treeRules(arguments.rules, arguments.selection.startNumber, arguments.missing);
    rules.raw = arguments.raw;
    rules.writing = arguments.writing;
    getTrees(context, addresses, folder, rules);
}

// A path that ends in a slash is a folder, also when it is not there yet.
bool isFolder(const std::string& path) {
    return path.empty() || path.back() == '/' || std::filesystem::is_directory(path);
}

std::string fileNames(const GetArguments& arguments, const LocatedClip& clip,
                      const std::string& clipName) {
    if (!isFolder(arguments.files))
        return arguments.files;
    const std::string extension =
        arguments.raw ? ".raw" : image::layoutOfClip(clip.format).samples().extension;
    return (std::filesystem::path(arguments.files) / (clipName + ".####" + extension)).string();
}

void makeFolder(const std::string& path) {
    std::error_code error;
    if (!path.empty() && path.back() == '/')
        std::filesystem::create_directories(path, error);
    if (error)
        throw fileFailure("can't make", path, error.value());
}

// Takes away what an earlier transfer has finished, and returns how many steps that were. With
// --verify each file is compared with its frame instead, when that has been read.
std::size_t leaveOutWhole(std::vector<FrameStep>& steps, const FileFrames& files,
                          StoreRules rules) {
    if (!rules.resume || rules.verify)
        return 0;
    const std::size_t before = steps.size();
    steps.erase(std::remove_if(steps.begin(), steps.end(),
                               [&](const FrameStep& step) { return files.isWhole(step.file); }),
                steps.end());
    return before - steps.size();
}

std::size_t countReplaced(const std::vector<FrameStep>& steps, const FileFrames& files,
                          StoreRules rules) {
    return static_cast<std::size_t>(
        std::count_if(steps.begin(), steps.end(), [&](const FrameStep& step) {
            return std::filesystem::exists(step.file) &&
                   !(rules.resume && files.isWhole(step.file));
        }));
}

void reportGet(Context& context, const Transfer& transfer, std::size_t leftOut,
               const std::string& names, StoreRules rules) {
    context.output.note("get: " + transfer.progress().summary() +
                        (leftOut > 0 ? "; " + countText(leftOut, "frame") + " left out" : ""));
    Json fields = {{"files", names}, {"verified", rules.verify}};
    fields.update(transfer.figures());
    fields["skipped"] = transfer.progress().framesSkipped() + leftOut;
    context.output.result(fields);
}

void runGetClip(Context& context, const GetArguments& arguments) {
    const Options& options = context.options;
    const int startNumber = arguments.selection.startNumber;
    const Address address = parseAddress(arguments.address, options.host);
    const LocatedClip clip = locateClip(options, address, startNumber);
    const FileFrames files(clip.format, arguments.raw, {}, arguments.writing);
    const std::string names = fileNames(arguments, clip, clip.session->name(clip.handle));
    if (files.layout())
        image::checkImageName(names, *files.layout(), arguments.writing);
    std::vector<FrameStep> steps = planToFiles(names, arguments.selection, clip.frameCount);
    const std::size_t leftOut = leaveOutWhole(steps, files, arguments.rules);
    const std::size_t replaced = countReplaced(steps, files, arguments.rules);
    const std::string replacedText = countText(replaced, "file");
    if (options.dryRun) {
        context.output.wouldDo({"write frames " + describeSteps(steps, startNumber) + " to " +
                                names + (replaced > 0 ? ", replacing " + replacedText : "")});
        return;
    }
    if (replaced > 0)
        confirm(context, "Replace " + replacedText + "?");
    makeFolder(arguments.files);
    const std::filesystem::path folder = std::filesystem::path(names).parent_path();
    image::removeDeadAsideFiles(folder.empty() ? "." : folder.string());
    Transfer transfer(options, "get", steps.size(), AfterFailure::Resume);
    moveFrames(transfer, fromClip(clip, indicesOf(steps), arguments.missing),
               toFiles(files, steps, arguments.rules), steps.size());
    reportGet(context, transfer, leftOut, names, arguments.rules);
}

void runGet(Context& context, const GetArguments& given) {
    if (given.recursive) {
        runGetTrees(context, given);
        return;
    }
    if (given.words.size() > 2)
        throw Failure(Status::Usage, "get takes one clip and its files; with -r, several nodes and "
                                     "a folder");
    GetArguments arguments = given;
    arguments.address = given.words[0];
    arguments.files = given.words.size() > 1 ? given.words[1] : "";
    runGetClip(context, arguments);
}

// ---- cat

struct CatArguments {
    std::string address;
    FrameSelection selection;
    Missing missing = Missing::Error;
    bool raw = false;
    bool pam = false;
    bool png = false;
    bool exr = false;
};

void writeFrame(const LantrixClipFormat& format, const CatArguments& arguments, int index,
                MovedFrame frame) {
    const std::string name = "standard output";
    if (arguments.raw) {
        image::writeAll(STDOUT_FILENO, frame.view(), name);
        return;
    }
    const image::Image image = image::imageOfFrame(frame.takeBytes(), format, index);
    if (arguments.exr)
        image::writeExr(image, STDOUT_FILENO, name, {"none"}); // so that all have one size
    else
        (arguments.png ? image::writePng : image::writePam)(image, STDOUT_FILENO, name);
}

// Halves and floats go to OpenEXR, integers to the others. Said before a frame is read.
void checkPipedImages(const image::PixelLayout& layout, const CatArguments& arguments) {
    if (arguments.exr == (layout.samples().maximum == 0))
        return;
    const std::string kind = arguments.exr ? "OpenEXR" : arguments.png ? "PNG" : "PAM";
    throw image::Error(image::ErrorKind::File, kind + " images can't hold " + layout.tag() +
                                                   " exactly: pass --raw, or " +
                                                   (arguments.exr ? "--pam" : "--exr"));
}

void runCat(Context& context, const CatArguments& arguments) {
    Output::requireNoTerminal();
    const Options& options = context.options;
    const int startNumber = arguments.selection.startNumber;
    const LocatedClip clip =
        locateClip(options, parseAddress(arguments.address, options.host), startNumber);
    if (!arguments.raw)
        checkPipedImages(image::layoutOfClip(clip.format), arguments);
    const std::vector<int> indices =
        arguments.selection.parsed().indices(startNumber, clip.frameCount);
    const auto source = fromClip(clip, indices, arguments.missing)({0, indices.size()});
    Progress progress(options, "cat", indices.size());
    const Progress::Ticker ticker(progress);
    for (Piece piece; piece.step < indices.size(); ++piece.step) {
        (void)source->fetch(piece);
        const std::size_t size = piece.frame.size();
        writeFrame(clip.format, arguments, indices[piece.step], std::move(piece.frame));
        progress.advance(size);
    }
}

void addGet(CLI::App& app, Context& context) {
    addVerb<GetArguments>(
        app, context,
        {"get", "Write the frames of a clip to image files",
         "lantrix get farm:/Library/Reel/plate shot.####.png -f 1001-1100 --start-number 1001"},
        runGet, [](CLI::App& verb, GetArguments& get) {
            verb.add_option("CLIP [FILES]", get.words,
                            "The clip; then name.####.png, name.%04d.exr, or a folder, which is "
                            "made when the name ends in a slash; the clip's name unless given. "
                            "With -r nodes, and the folder that they go to")
                ->required();
            verb.add_flag("-r,--recursive", get.recursive,
                          "Folders with all below, as folders of image sequences");
            addFrameOptions(verb, get.selection);
            addMissingOption(verb, get.missing);
            verb.add_option("--compression", get.writing.compression,
                            "Of .exr files: none, zips, zip, piz, or dwaa, which is lossy; of .tif "
                            "files: none, deflate or lzw");
            verb.add_flag("--raw", get.raw, "The bytes of the frames as they are");
            addStoreOptions(verb, get.rules);
        });
}

void addCat(CLI::App& app, Context& context) {
    addVerb<CatArguments>(
        app, context,
        {"cat", "Write frames to standard output, as PAM, PNG or OpenEXR images or raw",
         "lantrix cat :/Library/Reel/plate | ffmpeg -f image2pipe -c:v pam -i - plate.mov"},
        runCat, [](CLI::App& verb, CatArguments& cat) {
            verb.add_option("CLIP", cat.address, "The clip")->required();
            addFrameOptions(verb, cat.selection);
            addMissingOption(verb, cat.missing);
            CLI::Option* pam = verb.add_flag("--pam", cat.pam, "PAM images, as without it");
            CLI::Option* png = verb.add_flag("--png", cat.png, "PNG images")->excludes(pam);
            CLI::Option* exr =
                verb.add_flag("--exr", cat.exr, "OpenEXR images, uncompressed, so all of one size")
                    ->excludes(pam)
                    ->excludes(png);
            verb.add_flag("--raw", cat.raw, "The bytes of the frames as they are")
                ->excludes(pam)
                ->excludes(png)
                ->excludes(exr);
        });
}

} // namespace

void addGetVerbs(CLI::App& app, Context& context) {
    addGet(app, context);
    addCat(app, context);
}

} // namespace tool
