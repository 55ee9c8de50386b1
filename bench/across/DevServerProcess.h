// The development server in a process of its own, with a clip of one frame for each size, which it
// keeps at hand, and one clip that is too long for that, so that its frames have to be read ahead.
// Owns the process. Failures throw.
#ifndef BENCH_ACROSS_DEVSERVERPROCESS_H
#define BENCH_ACROSS_DEVSERVERPROCESS_H

#include "bench/support/Process.h"

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace bench {

class DevServerProcess {
public:
    /// Keeps the tree in the new folder \p root, and writes all frames once.
    DevServerProcess(const std::filesystem::path& root, const std::vector<std::size_t>& sizes);

    /// Keeps the tree in the new folder \p root, with these clips, as the server's options name
    /// them.
    DevServerProcess(const std::filesystem::path& root, const std::vector<std::string>& clips);

    const std::string& host() const { return host_; }
    pid_t process() const { return process_.id(); }
    /// The id of a frame of this size, one of those given to the constructor.
    const std::string& frameOf(std::size_t size) const { return frames_.at(size); }

    static const char* longClip() { return "Bench/long"; }
    static constexpr std::size_t longClipFrameSize = std::size_t{12} << 20;
    static constexpr int longClipLength = 16;

private:
    void fill(const std::vector<std::size_t>& sizes);

    std::string host_;
    Process process_;
    std::map<std::size_t, std::string> frames_;
};

} // namespace bench

#endif
