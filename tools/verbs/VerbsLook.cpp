// thumb, sheet: small pictures of frames.
#include "image/ImageFile.h"
#include "image/LocalFile.h"
#include "image/Picture.h"
#include "tools/report/Json.h"
#include "tools/transfer/FrameMove.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/Verbs.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>

namespace tool {

namespace {

// How frames of a clip are made small.
class Miniatures {
public:
    Miniatures(const LantrixClipFormat& format, int width)
        : format_(format), width_(std::min(width, format.width())) {
        const double ratio =
            format_.pixelRatio() > 0 ? static_cast<double>(format_.pixelRatio()) : 1;
        const double height = width_ * (format_.height() / (format_.width() * ratio));
        height_ = std::clamp(static_cast<int>(std::lround(height)), 1, 4 * width_);
    }

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] image::Picture of(Bytes frame) const {
        const image::Image image = image::imageOfFrame(std::move(frame), format_);
        return image::Picture(image).scaledTo(width_, height_);
    }

private:
    LantrixClipFormat format_;
    int width_;
    int height_ = 1;
};

void settleFile(const Context& context, const std::string& file) {
    image::checkPictureName(file);
    if (std::filesystem::exists(file) && !context.options.dryRun)
        confirm(context, "Replace '" + file + "'?");
}

void save(Context& context, const image::Picture& picture, const std::string& file,
          const std::vector<int>& numbers) {
    image::AsideFile aside(file);
    image::writePicture(picture.image(), aside.path());
    aside.commit();
    context.output.note("wrote '" + file + "', " + std::to_string(picture.width()) + "x" +
                        std::to_string(picture.height()) + ", of " +
                        (numbers.size() == 1 ? "frame " : "frames ") + describeFrames(numbers));
    context.output.result({{"file", file},
                           {"width", picture.width()},
                           {"height", picture.height()},
                           {"frames", numbers}});
}

// ---- thumb

struct ThumbArguments {
    std::string address;
    std::string file;
    std::optional<int> frame; // the first unless given
    int startNumber = 0;
    int width = 320;
};

void runThumb(Context& context, const ThumbArguments& arguments) {
    const Options& options = context.options;
    settleFile(context, arguments.file);
    const LocatedClip clip = locateClip(options, parseAddress(arguments.address, options.host));
    const int number = arguments.frame.value_or(arguments.startNumber);
    const int index =
        FrameRange(std::to_string(number)).indices(arguments.startNumber, clip.frameCount).front();
    if (options.dryRun) {
        context.output.wouldDo({"write frame " + std::to_string(number) + " of " +
                                clip.address.text() + " to '" + arguments.file + "'"});
        return;
    }
    const Miniatures miniatures(clip.format, arguments.width);
    save(context, miniatures.of(readFrame(clip, index)), arguments.file, {number});
}

// ---- sheet

struct SheetArguments {
    std::string address;
    std::string file;
    FrameSelection selection;
    int count = 12;
    int columns = 0; // 0: as many as rows
    int width = 320;
};

// As many as are wanted, from the first to the last at even distances.
std::vector<int> spread(const std::vector<int>& all, int count) {
    const std::size_t wanted = std::min(all.size(), static_cast<std::size_t>(count));
    std::vector<int> chosen;
    for (std::size_t i = 0; i < wanted; ++i)
        chosen.push_back(all[wanted == 1 ? 0 : i * (all.size() - 1) / (wanted - 1)]);
    return chosen;
}

// Where the miniatures lie: in rows, each with a strip for its number below.
struct SheetPlan {
    SheetPlan(const Miniatures& miniatures, int count, int columnsWanted)
        : scale(std::max(2, miniatures.width() / 100)),
          columns(columnsWanted > 0
                      ? std::min(columnsWanted, count)
                      : static_cast<int>(std::ceil(std::sqrt(static_cast<double>(count))))),
          rows((count + columns - 1) / columns), cellWidth(miniatures.width() + gap()),
          cellHeight(miniatures.height() + 6 * scale + gap()) {}

    [[nodiscard]] int gap() const { return 4 * scale; }
    [[nodiscard]] int left(int i) const { return gap() + i % columns * cellWidth; }
    [[nodiscard]] int top(int i) const { return gap() + i / columns * cellHeight; }

    int scale; // pixels of a digit's square
    int columns;
    int rows;
    int cellWidth;
    int cellHeight;
};

// All cores make the frames small; each has its place on the sheet.
image::Picture drawSheet(const LocatedClip& clip, const std::vector<int>& indices,
                         const SheetArguments& arguments) {
    const Miniatures miniatures(clip.format, arguments.width);
    constexpr image::Colour background{24, 24, 24};
    constexpr image::Colour ink{224, 224, 224};
    const SheetPlan plan(miniatures, static_cast<int>(indices.size()), arguments.columns);
    image::Picture sheet(plan.gap() + plan.columns * plan.cellWidth,
                         plan.gap() + plan.rows * plan.cellHeight);
    sheet.fill(0, 0, sheet.width(), sheet.height(), background);
    std::mutex drawing; // one at a time
    const auto draw = [&](Piece& piece) -> StepResult {
        const image::Picture miniature = miniatures.of(piece.frame.takeBytes());
        const int i = static_cast<int>(piece.step);
        const std::lock_guard<std::mutex> lock(drawing);
        sheet.paste(miniature, plan.left(i), plan.top(i));
        sheet.drawNumber(plan.left(i), plan.top(i) + miniatures.height() + plan.scale, plan.scale,
                         std::to_string(indices[piece.step] + arguments.selection.startNumber),
                         ink);
        return {};
    };
    const StepSpan all{0, indices.size()};
    const auto source = fromClip(clip, indices, Missing::Error)(all);
    const auto target = toFunction(draw)(all);
    const StepDone done = [](std::size_t /*step*/, const StepResult& /*result*/) {};
    Cores cores;
    moveFrames(*source, *target, all, cores, done);
    return sheet;
}

void runSheet(Context& context, const SheetArguments& arguments) {
    const Options& options = context.options;
    settleFile(context, arguments.file);
    const LocatedClip clip = locateClip(options, parseAddress(arguments.address, options.host));
    const int startNumber = arguments.selection.startNumber;
    const std::vector<int> indices =
        spread(arguments.selection.parsed().indices(startNumber, clip.frameCount), arguments.count);
    if (indices.empty())
        throw Failure(Status::FrameMissing, "'" + clip.address.text() + "' has no frames");
    std::vector<int> numbers = indices;
    for (int& number : numbers)
        number += startNumber;
    if (options.dryRun) {
        context.output.wouldDo({"write frames " + describeFrames(numbers) + " of " +
                                clip.address.text() + " to '" + arguments.file + "'"});
        return;
    }
    save(context, drawSheet(clip, indices, arguments), arguments.file, numbers);
}

} // namespace

void addLookVerbs(CLI::App& app, Context& context) {
    addVerb<ThumbArguments>(
        app, context,
        {"thumb", "Write one frame, made small, to an image file",
         "lantrix thumb /Library/Reel/plate plate.png --frame 42"},
        runThumb, [](CLI::App& verb, ThumbArguments& thumb) {
            verb.add_option("CLIP", thumb.address, "The clip")->required();
            verb.add_option("FILE", thumb.file, "The image file, .png, .jpg, .tif or .dpx")
                ->required();
            verb.add_option("--frame", thumb.frame, "The frame's number; the first unless given")
                ->check(CLI::Range(0, std::numeric_limits<int>::max(), "0.."));
            addStartNumberOption(verb, thumb.startNumber);
            verb.add_option("--width", thumb.width, "Pixels per line, at most those of the clip")
                ->check(CLI::Range(8, 8192, "8..8192"));
        });

    addVerb<SheetArguments>(
        app, context,
        {"sheet", "Write a contact sheet of a clip to an image file",
         "lantrix sheet /Library/Reel/plate plate.png --count 20 --columns 5"},
        runSheet, [](CLI::App& verb, SheetArguments& sheet) {
            verb.add_option("CLIP", sheet.address, "The clip")->required();
            verb.add_option("FILE", sheet.file, "The image file, .png, .jpg, .tif or .dpx")
                ->required();
            addFrameOptions(verb, sheet.selection);
            verb.add_option("--count", sheet.count, "How many frames, at even distances")
                ->check(CLI::Range(1, 400, "1..400"));
            verb.add_option("--columns", sheet.columns,
                            "Frames side by side; a square unless given")
                ->check(CLI::Range(1, 400, "1..400"));
            verb.add_option("--width", sheet.width, "Pixels per line of each frame")
                ->check(CLI::Range(8, 1920, "8..1920"));
        });
}

} // namespace tool
