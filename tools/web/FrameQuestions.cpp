#include "tools/web/FrameQuestions.h"

#include "image/ImageFile.h"
#include "tools/web/NodeFields.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <string_view>

namespace tool {

namespace {

constexpr std::size_t mostTables = 16;
constexpr int widestThumbnail = 480;
constexpr int mostSamples = 64; // each way

// A frame of a clip that the arguments name.
struct AskedFrame {
    OpenClip open;
    image::PixelLayout layout;
    int index = 0;

    [[nodiscard]] const LantrixClipFormat& format() const { return open.clip->format(); }
    [[nodiscard]] std::uint64_t bytes() const { return open.clip->file().size(); }
    [[nodiscard]] image::FrameSamples samples(const frames::FileBytes& file) const {
        return {file.data(), layout, format().width(), format().height()};
    }
};

AskedFrame askedFrame(Media& media, const std::string& id, int index, const Peer& peer) {
    const OpenClip open = media.clip(peer, id);
    Media::checkFrame(open, index);
    return {open, image::layoutOfClip(open.clip->format()), index};
}

image::ShownChannel shownChannel(const std::string& name) {
    using Shown = image::ShownChannel;
    constexpr std::array<std::pair<std::string_view, Shown>, 6> names{{{"rgb", Shown::Colour},
                                                                       {"r", Shown::Red},
                                                                       {"g", Shown::Green},
                                                                       {"b", Shown::Blue},
                                                                       {"a", Shown::Alpha},
                                                                       {"luma", Shown::Luma}}};
    const auto* const found = std::find_if(names.begin(), names.end(),
                                           [&](const auto& row) { return row.first == name; });
    if (found == names.end())
        throw WebFailure(WebFailure::Kind::Argument, "'" + name + "' is not a channel");
    return found->second;
}

int widthOf(const WebArguments& arguments, const LantrixClipFormat& format) {
    return std::min(arguments.number("width", 1, INT_MAX, format.width()), format.width());
}

int qualityOf(const WebArguments& arguments) {
    return arguments.number("quality", 1, 100, 85);
}

// What making a picture of a frame takes besides the frame.
std::uint64_t pictureBytes(const LantrixClipFormat& format) {
    return std::uint64_t{4} * static_cast<std::uint64_t>(format.width()) *
           static_cast<std::uint64_t>(format.height());
}

HttpReply pictureReply(const image::Viewed& viewed, int quality, const AskedFrame& frame) {
    HttpReply reply;
    reply.type = "image/jpeg";
    reply.body = image::bytesOfJpeg(viewed, quality);
    reply.headers = {{"Lantrix-Width", std::to_string(frame.format().width())},
                     {"Lantrix-Height", std::to_string(frame.format().height())},
                     {"Lantrix-Frames", std::to_string(frame.open.clip->count())}};
    return reply;
}

Json numberField(double number, const image::PixelLayout& layout) {
    if (layout.samples().maximum > 0)
        return static_cast<unsigned>(number);
    const std::string text = image::numberText(number, layout.kind);
    double shown = 0;
    if (!std::isfinite(number))
        return text;
    std::from_chars(text.data(), text.data() + text.size(), shown);
    return shown;
}

} // namespace

FrameQuestions::Table FrameQuestions::table(image::SampleKind kind, double stops) {
    const auto key = std::make_pair(kind, image::sampleFormat(kind).maximum > 0 ? 0.0 : stops);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = tables_.find(key);
        if (found != tables_.end())
            return found->second;
    }
    auto made = std::make_shared<const image::ScreenTable>(kind, key.second);
    const std::lock_guard<std::mutex> lock(mutex_);
    if (tables_.size() >= mostTables)
        tables_.clear();
    tables_[key] = made;
    return made;
}

HttpReply FrameQuestions::picture(const WebArguments& arguments, const Peer& peer) {
    const image::ShownChannel channel = shownChannel(arguments.text("channel", "rgb"));
    const double stops = arguments.real("exposure", -20, 20, 0);
    const int quality = qualityOf(arguments);
    const AskedFrame frame =
        askedFrame(media_, arguments.text("id"), arguments.number("frame", 0, INT_MAX), peer);
    const int width = widthOf(arguments, frame.format());
    const bool isThumbnail = arguments.has("width") && width <= widestThumbnail;
    const Turns::Turn turn =
        media_.turns().take(isThumbnail ? Urgency::Thumbnail : Urgency::Player,
                            frame.bytes() + pictureBytes(frame.format()), peer);
    const frames::FrameCache::File file = media_.frame(peer, frame.open, frame.index);
    if (!isThumbnail)
        media_.readAhead(frame.open, frame.index);
    return pictureReply(
        image::viewOf(frame.samples(*file), *table(frame.layout.kind, stops), channel, width),
        quality, frame);
}

Json FrameQuestions::samples(const WebArguments& arguments, const Peer& peer) {
    const AskedFrame frame =
        askedFrame(media_, arguments.text("id"), arguments.number("frame", 0, INT_MAX), peer);
    const LantrixClipFormat& format = frame.format();
    const int left = arguments.number("x", 0, format.width() - 1);
    const int top = arguments.number("y", 0, format.height() - 1);
    const int width = std::min(arguments.number("width", 1, mostSamples, 1), format.width() - left);
    const int height =
        std::min(arguments.number("height", 1, mostSamples, 1), format.height() - top);
    const Turns::Turn turn = media_.turns().take(Urgency::Player, frame.bytes(), peer);
    const frames::FrameCache::File file = media_.frame(peer, frame.open, frame.index);
    const image::FrameSamples samples = frame.samples(*file);
    Json values = Json::array();
    for (int y = top; y < top + height; ++y) {
        for (int x = left; x < left + width; ++x) {
            Json pixel = Json::array();
            for (int channel = 0; channel < frame.layout.channels; ++channel)
                pixel.push_back(numberField(samples.at(x, y, channel), frame.layout));
            values.push_back(std::move(pixel));
        }
    }
    return {{"x", left},
            {"y", top},
            {"width", width},
            {"height", height},
            {"channels", channelNames(frame.layout.channels)},
            {"values", std::move(values)}};
}

HttpReply FrameQuestions::difference(const WebArguments& arguments, const Peer& peer) {
    const double gain = arguments.real("gain", 0, 1e6, 1);
    const int quality = qualityOf(arguments);
    const AskedFrame one =
        askedFrame(media_, arguments.text("id"), arguments.number("frame", 0, INT_MAX), peer);
    const AskedFrame other = askedFrame(media_, arguments.text("other"),
                                        arguments.number("otherFrame", 0, INT_MAX), peer);
    if (one.format().width() != other.format().width() ||
        one.format().height() != other.format().height() || !(one.layout == other.layout))
        throw WebFailure(WebFailure::Kind::Argument, "the frames can't be compared: one is " +
                                                         image::describeFormat(one.format()) +
                                                         ", the other " +
                                                         image::describeFormat(other.format()));
    const Turns::Turn turn =
        media_.turns().take(Urgency::Player, 2 * one.bytes() + pictureBytes(one.format()), peer);
    const frames::FrameCache::File oneFile = media_.frame(peer, one.open, one.index);
    const frames::FrameCache::File otherFile = media_.frame(peer, other.open, other.index);
    const image::Difference difference = image::differenceOf(
        one.samples(*oneFile), other.samples(*otherFile), widthOf(arguments, one.format()), gain);
    HttpReply reply = pictureReply(difference.view, quality, one);
    reply.headers.emplace_back("Lantrix-Largest",
                               image::numberText(difference.largest, one.layout.kind));
    reply.headers.emplace_back("Lantrix-Differing", std::to_string(difference.pixels));
    return reply;
}

} // namespace tool
