#include "bench/across/DevServerProcess.h"

#include "bench/across/FrameMover.h"
#include "bench/support/Socket.h"
#include "devserver/DevServer.h"
#include "lantrix/LantrixClientAPI.h"

#include <cstdint>
#include <memory>
#include <stdexcept>

#include <unistd.h>

namespace bench {

namespace {

constexpr std::size_t rowBytes = 4096;
constexpr std::size_t keptBytes = std::size_t{128} << 20; // less than the long clip

std::string clipOption(const std::string& name, std::size_t frameSize) {
    return "Bench/" + name + "=1024x" + std::to_string(frameSize / rowBytes) + "x32";
}

// Tries one loopback address after the other until both ports are free.
std::unique_ptr<DevServer> startAnywhere(DevServerOptions& options) {
    const std::uint32_t first = 0x7F4E0001U + static_cast<std::uint32_t>(::getpid()) % 50000;
    for (std::uint32_t address = first;; ++address) {
        options.listen = addressText(address);
        try {
            return std::make_unique<DevServer>(options);
        } catch (const std::runtime_error&) {
            if (address == first + 20)
                throw;
        }
    }
}

// Writes the address that was found to `pipe` once the server is ready.
[[noreturn]] void serve(DevServerOptions options, int pipe) {
    const std::unique_ptr<DevServer> server = startAnywhere(options);
    const std::string line = options.listen + "\n";
    if (::write(pipe, line.data(), line.size()) < 0)
        failWithErrno("write");
    ::close(pipe);
    for (;;)
        ::pause();
}

Process startServer(const DevServerOptions& options, std::string& host) {
    int ends[2];
    if (::pipe(ends) != 0)
        failWithErrno("pipe");
    Process process = Process::running([&] { serve(options, ends[1]); });
    ::close(ends[1]);
    for (char c = '\0'; ::read(ends[0], &c, 1) == 1 && c != '\n';)
        host += c;
    ::close(ends[0]);
    return process;
}

DevServerOptions optionsFor(const std::filesystem::path& root,
                            const std::vector<std::string>& clips) {
    DevServerOptions options;
    options.root = root;
    options.prefetchBytes = keptBytes;
    options.clips = clips;
    return options;
}

std::vector<std::string> clipsOf(const std::vector<std::size_t>& sizes) {
    std::vector<std::string> clips;
    for (const std::size_t size : sizes)
        clips.push_back(clipOption(std::to_string(size), size));
    clips.push_back(clipOption("long", DevServerProcess::longClipFrameSize));
    return clips;
}

// Gives a clip that many frames, writes them, and returns the id of the first.
std::string fillClip(LantrixServerHandle& server, const std::string& path, std::size_t frameSize,
                     int count) {
    LantrixNodeHandle clip;
    bool good = LantrixResolveDisplayPath(server, path.c_str(), clip) && clip.setNumFrames(count);
    for (int i = 0; good && i < count; ++i)
        good = clip.writeFrame(i, frameBuffer(), static_cast<int>(frameSize));
    LantrixStr id;
    if (!good || !clip.getFrameId(0, id))
        throw std::runtime_error("The development server: " + std::string(server.lastError()));
    return id.c_str();
}

} // namespace

DevServerProcess::DevServerProcess(const std::filesystem::path& root,
                                   const std::vector<std::size_t>& sizes)
    : DevServerProcess(root, clipsOf(sizes)) {
    fill(sizes);
}

DevServerProcess::DevServerProcess(const std::filesystem::path& root,
                                   const std::vector<std::string>& clips)
    : process_(startServer(optionsFor(root, clips), host_)) {}

void DevServerProcess::fill(const std::vector<std::size_t>& sizes) {
    LantrixServerHandle server(host_.c_str());
    for (const std::size_t size : sizes)
        frames_[size] = fillClip(server, "Bench/" + std::to_string(size), size, 1);
    fillClip(server, longClip(), longClipFrameSize, longClipLength);
}

} // namespace bench
