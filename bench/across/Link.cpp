#include "bench/across/Link.h"

#include "bench/across/Arena.h"
#include "bench/across/FrameMover.h"
#include "lantrix/LantrixClientAPI.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bench {

namespace {

constexpr int framesOfAClip = 4; // where clips are listed
constexpr int smallSide = 64;    // of frames of 24 bits

std::string digits(int number) {
    const std::string text = std::to_string(number);
    return std::string(4 - text.size(), '0') + text;
}

std::vector<std::string> listed(const std::string& folder) {
    std::vector<std::string> names;
    for (int i = 0; i < (folder == Link::few ? 200 : 1000); ++i)
        names.push_back(folder + "/c" + digits(i));
    return names;
}

std::vector<std::string> clips() {
    const std::string size =
        "=" + std::to_string(smallSide) + "x" + std::to_string(smallSide) + "x24";
    std::vector<std::string> options{Link::path(Link::large) + "=2048x1536x32",
                                     Link::path(Link::film) + "=512x512x32",
                                     Link::path(Link::small) + size};
    for (const char* const folder : {Link::few, Link::many})
        for (const std::string& name : listed(folder))
            options.push_back(Link::path(name) + size);
    return options;
}

void makeFiles(const std::string& folder, int count, std::size_t size) {
    std::filesystem::create_directories(folder);
    for (int i = 0; i < count; ++i) {
        std::ofstream file(folder + "/f." + digits(i), std::ios::binary);
        if (!file.write(frameBuffer(), static_cast<std::streamsize>(size)))
            throw std::runtime_error("can't write the frames of '" + folder + "'");
    }
}

// Frames that are listed only are not written.
void fillClip(LantrixServerHandle& server, const std::string& name, int count, int written) {
    LantrixNodeHandle clip;
    LantrixClipFormat format;
    bool good = LantrixResolveDisplayPath(server, Link::path(name).c_str(), clip) &&
                clip.getClipFormat(format) && clip.setNumFrames(count);
    for (int i = 0; good && i < written; ++i)
        good = clip.writeFrame(i, frameBuffer(), format.frameBufferSize());
    if (!good)
        throw std::runtime_error("The development server: " + std::string(server.lastError()));
}

std::vector<std::uint16_t> ports() {
    return {7549, 7550, Rclone::port(Rclone::Protocol::WebDav),
            Rclone::port(Rclone::Protocol::Sftp)};
}

} // namespace

Link::Link() : scratch_(placeForFiles()), server_(scratch_ / "tree", clips()) {
    for (const int milliseconds : roundTrips())
        if (milliseconds != 0)
            relays_.try_emplace(milliseconds, server_.host(), ports(),
                                std::chrono::milliseconds(milliseconds));
    for (const char* const folder : {"", "taken", "copied"}) // which are served, and filled later
        std::filesystem::create_directories(files(folder));
    if (Rclone::isInstalled())
        for (const auto protocol : {Rclone::Protocol::WebDav, Rclone::Protocol::Sftp})
            rclones_.emplace_back(protocol, server_.host(), files(""), scratch_ / "rclone");
    fill();
}

void Link::fill() const {
    LantrixServerHandle server(server_.host().c_str());
    for (const char* const folder : {few, many})
        for (const std::string& name : listed(folder)) {
            fillClip(server, name, framesOfAClip, 0);
            makeFiles(files(name), framesOfAClip, std::size_t{3} * smallSide * smallSide);
        }
    for (const char* const clip : {small, large})
        fillClip(server, clip, framesOf(clip), framesOf(clip));
    makeFiles(files(small), framesOf(small), std::size_t{3} * smallSide * smallSide);
    makeFiles(files(large), framesOf(large), std::size_t{12} << 20);
    fillClip(server, film, framesOfFilm, framesOfFilm);
}

const std::vector<int>& Link::roundTrips() {
    static const std::vector<int> milliseconds{0, 1, 5, 20};
    return milliseconds;
}

const std::string& Link::hostAt(int milliseconds) const {
    return milliseconds == 0 ? server_.host() : relays_.at(milliseconds).host();
}

} // namespace bench
