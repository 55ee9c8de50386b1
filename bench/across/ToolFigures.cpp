// The tool's put and get beside the slower of their two halves.
#include "bench/across/Figures.h"

#include "tools/transfer/ClipFrames.h"

#include <algorithm>
#include <string>
#include <vector>

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr int width = 1280, height = 720, frameCount = 24;

// Neither flat nor noise: what pictures cost to compress lies between the two.
image::Image pictureOf(int number) {
    image::Image image;
    image.layout = {image::SampleKind::Integer8, 3};
    image.width = width;
    image.height = height;
    unsigned noise = static_cast<unsigned>(number);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int channel = 0; channel < 3; ++channel) {
                noise = noise * 1664525 + 1013904223;
                const int shade = (x + y + 40 * channel + 8 * number) / 9;
                image.pixels.push_back(static_cast<char>(shade + static_cast<int>(noise >> 30)));
            }
    return image;
}

/// A sequence of image files and a clip for it, and the halves of what the tool does with them.
class Sequence {
public:
    Sequence(const Arena& arena)
        : folder_(arena.scratch() / "images"), taken_(arena.scratch() / "taken"),
          address_(arena.devServer().host() + ":/Bench/tool"),
          format_(image::clipFormat({image::SampleKind::Integer8, 3}, width, height)),
          files_(format_, /*raw=*/false) {
        fs::create_directories(folder_);
        fs::create_directories(taken_);
        for (int i = 0; i < frameCount; ++i)
            image::writeImage(pictureOf(i), file(folder_, i));
        put();
        clip_ = tool::locateClip(tool::Options(), tool::parseAddress(address_, ""));
    }

    void put() const { runTool({"put", (folder_ / "f.####.png").string(), address_}); }
    void get() const { runTool({"get", address_, (taken_ / "f.####.png").string()}); }
    void decode() {
        forEach([this](int i) { frame_ = files_.decode(file(folder_, i)); });
    }
    void encode() {
        forEach([this](int i) {
            files_.write(file(taken_, i), i, tool::MovedFrame(frame_), tool::ReadBack::No);
        });
    }
    void send() {
        forEach([this](int i) {
            clip_.session->call(clip_.doing("write", i), [&] {
                return clip_.handle.writeFrame(i, frame_.data(), static_cast<int>(frame_.size()));
            });
        });
    }
    void receive() {
        forEach([this](int i) { frame_ = tool::readFrame(clip_, i); });
    }

private:
    template <class Do>
    void forEach(Do&& act) {
        for (int i = 0; i < frameCount; ++i)
            act(i);
    }

    static std::string file(const fs::path& folder, int number) {
        const std::string digits = std::to_string(number);
        return (folder / ("f." + std::string(4 - digits.size(), '0') + digits + ".png")).string();
    }

    static void runTool(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), LANTRIX_BENCH_TOOL);
        arguments.emplace_back("-y"); // files of the turn before are replaced
        Process::executing(arguments).requireSuccess();
    }

    fs::path folder_;
    fs::path taken_; // what get writes
    std::string address_;
    LantrixClipFormat format_;
    tool::FileFrames files_;
    tool::Bytes frame_;
    tool::LocatedClip clip_;
};

std::string frameRate(const Samples& samples) {
    return countText(frameCount * samples.perSecond()) + " frames/s";
}

void addRow(const std::string& verb, const std::vector<std::string>& halves,
            const std::vector<Samples>& samples, Report& report) {
    const std::size_t slower = samples[1].perItem() > samples[2].perItem() ? 1 : 2;
    for (const std::size_t half : {slower, 3 - slower})
        report.add({"lantrix " + verb + ", " + std::to_string(frameCount) + " PNG files of " +
                        std::to_string(width) + "x" + std::to_string(height),
                    frameRate(samples[0]), halves[half - 1] + " alone " + frameRate(samples[half]),
                    ratioText(samples[0].speedBeside(samples[half])),
                    half == slower ? "0.90" : ""});
}

} // namespace

void addToolFigures(const Arena& arena, Report& report) {
    arena.place(Placement::Free);
    Sequence sequence(arena);
    const auto repeat = [](const std::function<void()>& once) {
        return [once](int count) {
            while (count-- > 0)
                once();
        };
    };
    const Effort effort{5, 0.02};
    addRow("put", {"decoding", "sending"},
           race({repeat([&] { sequence.put(); }), repeat([&] { sequence.decode(); }),
                 repeat([&] { sequence.send(); })},
                effort),
           report);
    addRow("get", {"encoding", "receiving"},
           race({repeat([&] { sequence.get(); }), repeat([&] { sequence.encode(); }),
                 repeat([&] { sequence.receive(); })},
                effort),
           report);
}

} // namespace bench
